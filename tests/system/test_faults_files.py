"""The folders of the daemon or of its settings are missing, read-only or on a full disk, and are
then repaired."""

import itertools

import pytest

import expected
from health import PASS, assert_works, faults, wait_for_alive, wait_for_faults
from lab.device import BROWSE_LIST

SETTINGS = "/var/lib/beacon-configd"
SCRATCH = "/var/www/discovery/__browse.json"
DOCUMENT = "/var/www/html/corvia_12_upnp_ssdp_{}.xml"
NO_DOCUMENT = "GenerateDeviceDescriptionFile: Failed to open the SSDP XML file\n"
ROOM = 64 << 10  # bytes on the small disk

# Each device gets a new address: the peer remembers the hardware address of a used one.
addresses = (f"192.0.2.{number}" for number in itertools.count(30))


@pytest.fixture
def device(lab, wire):
    """A device for one test. beacond is not started."""
    device = lab.add_device(product="corvia12", address=next(addresses))
    yield device
    lab.remove(device)


def not_announced(device):
    return (NO_DOCUMENT + "UpdateContainers: Unable to generate a description file for "
            f"{expected.usn(device)}, Corvia 12\n")


def not_listed(path, error):
    return f'WriteJSONFileCould not open "{path}" (errno:{error})\n'


def make_missing(device, folder):
    device.run("rm", "-r", folder)


def make_read_only(device, folder):
    device.run("sh", "-c", f"mount --bind {folder} {folder} && mount -o remount,ro,bind {folder}")


def fill(device, folder):
    device.run("sh", "-c", f"mount -t tmpfs -o size={ROOM} tmpfs {folder}; "
                           f"dd if=/dev/zero of={folder}/filler bs=4k count={ROOM // 4096} 2>&1")


def mend(device, folder):
    device.run("sh", "-c", f"umount {folder} 2>&1; mkdir -p {folder}; rm -f {folder}/filler",
               check=False)


def switch_off_and_on(device, wire, number=1):
    since = wire.mark()
    device.configure(ssdpEnable=False)
    device.configure(ssdpEnable=True)
    wait_for_alive(device, wire, since, number)


@pytest.mark.parametrize("spoil", [make_missing, make_read_only])
def test_without_a_folder_for_documents_it_is_unannounced_until_it_is_published_again(
        device, wire, peer, spoil):
    spoil(device, "/var/www/html")
    device.start_beacond().wait_output("PubSub started\n")
    wait_for_faults(device, 0, not_announced(device))
    # Everything else works: it receives, answers, and writes its (empty) list.
    assert peer.ask(b"gh", device.address, 49821) == b"HostList"
    assert peer.ask(b"gn", device.address, 49821) == b"NodeList"
    assert device.read(BROWSE_LIST) == "[]"
    mend(device, "/var/www/html")
    switch_off_and_on(device, wire, number=2)  # the number of the failed document stays in use
    assert faults(device) == not_announced(device)


@pytest.mark.parametrize("spoil", [make_missing, make_read_only])
def test_a_lost_folder_for_documents_is_reported_when_the_device_is_published_again(
        device, wire, peer, spoil):
    device.start_beacond()
    wire.wait_for(source=device.address, starting=b"NOTIFY")
    spoil(device, "/var/www/html")
    assert_works(device, peer)
    since = wire.mark()
    device.configure(ssdpEnable=False)
    wire.wait_for(since=since, source=device.address, starting=expected.goodbye(device),
                  timeout=PASS)
    device.configure(ssdpEnable=True)
    wait_for_faults(device, 0, not_announced(device))
    assert peer.ask(b"gh", device.address, 49821) == b"HostList"
    mend(device, "/var/www/html")
    switch_off_and_on(device, wire, number=2)  # the number of the failed document stays in use


@pytest.mark.parametrize("spoil, error", [(make_missing, 2), (make_read_only, 30)])
def test_without_a_folder_for_the_list_it_continues_and_writes_the_next_change(
        device, wire, peer, spoil, error):
    device.path(BROWSE_LIST).write_text("as it was")
    spoil(device, "/var/www/discovery")
    device.start_beacond()
    lines = not_listed(BROWSE_LIST, error) + not_listed(SCRATCH, error)
    wait_for_faults(device, 0, lines)
    assert device.read(BROWSE_LIST) == ("as it was" if spoil is make_read_only else None)
    answer = peer.ask(expected.SEARCH, device.address)
    assert answer == expected.search_response(device, expected.max_age(answer))
    assert peer.ask(b"gn", device.address, 49821) == expected.listing("NodeList", device)
    mend(device, "/var/www/discovery")
    switch_off_and_on(device, wire)
    assert_works(device, peer)
    assert faults(device) == lines


def test_on_a_full_disk_the_device_is_announced_with_an_empty_document(device, wire, peer):
    fill(device, "/var/www/html")
    device.start_beacond()
    wire.wait_for(source=device.address, starting=b"NOTIFY")
    assert device.read(DOCUMENT.format(1)) == ""
    assert faults(device) == ""
    assert_works(device, peer)
    mend(device, "/var/www/html")
    since = wire.mark()
    device.configure(hostName="mended")
    wait_for_alive(device, wire, since)
    assert "<friendlyName>mended<" in device.read(DOCUMENT.format(1))


def test_a_full_disk_for_the_list_is_reported_and_the_next_change_is_listed(device, wire, peer):
    fill(device, "/var/www/discovery")
    device.start_beacond()
    lines = (f'WriteJSONFile: Could not write to "{BROWSE_LIST}" (errno:28)\n'
             f'WriteJSONFile: Could not write to "{SCRATCH}" (errno:28)\n')
    wait_for_faults(device, 0, lines)
    assert device.read(BROWSE_LIST) == ""
    assert peer.ask(b"gn", device.address, 49821) == expected.listing("NodeList", device)
    device.run("rm", "/var/www/discovery/filler")
    switch_off_and_on(device, wire)
    assert_works(device, peer)
    assert faults(device) == lines


@pytest.mark.parametrize("spoil, error", [(make_missing, "No such file or directory"),
                                          (make_read_only, "Read-only file system")])
def test_without_a_place_for_settings_it_is_announced_under_the_default_name(
        device, wire, peer, spoil, error):
    device.run("hostname", "factory")
    device.configd.stop()
    device.run("rm", f"{SETTINGS}/system.json")
    spoil(device, SETTINGS)
    device.start_configd()
    device.wait_for_configd()
    fault = f"cannot write {SETTINGS}/system.json: {error}"
    assert device.configd.stderr == (
        f"beacon-configd: {fault}; using the defaults, refusing changes\n")
    since = wire.mark()
    device.start_beacond()
    wait_for_alive(device, wire, since)
    device.name = "factory"
    assert_works(device, peer)
    assert device.request("PATCH", "/api/v1/system", {"ssdpEnable": False}) == (
        503, {"error": fault})
    mend(device, SETTINGS)
    switch_off_and_on(device, wire)
    assert_works(device, peer)
