"""Devices and SSDP programs of other projects."""

import pytest

import expected
from lab import DeviceSpec, wait_until
from minissdpd import Minissdpd

# Two requests with answers, each of which waits at most three ticks of 5.75 s, and a list
# written at most 5.5 s later.
LIMIT = 90


@pytest.fixture(scope="module")
def pair(lab):
    """Two devices with beacond running, and the minissdpd of the first one, which opened the SSDP
    port before beacond."""
    shared, other = lab.add_devices([DeviceSpec("studio-a", product="corvia12"),
                                     DeviceSpec("studio-b", product="lumenplus")])
    shared_with = Minissdpd(shared)
    for device in (shared, other):
        device.start_beacond()
    return shared, other, shared_with


def found(device):
    return ("resource available\n"
            f"  USN:      {expected.usn(device)}\n"
            f"  Location: {expected.location(device)}\n")


def discovered(machine, target):
    """The devices that gssdp-discover finds by a search within a second."""
    output = machine.run("gssdp-discover", "-i", "net0", "-m", "available", "-n", "1",
                         "-t", target).stdout
    heading = ("Using network interface net0\n"
               f"Scanning for resources matching {target}\n"
               "Showing \"available\" messages\n")
    assert output.startswith(heading)
    return output[len(heading):]


def test_a_device_and_minissdpd_share_the_port(pair):
    shared, other, minissdpd = pair
    wanted = {(expected.location(each), "upnp:rootdevice", expected.usn(each))
              for each in (shared, other)}
    wait_until(lambda: minissdpd.services() == wanted, LIMIT, "both devices in minissdpd's list",
               minissdpd.services)
    for device in (shared, other):
        wait_until(lambda: device.read("/var/www/discovery/browse.json")
                   == expected.browse_json(shared, other), LIMIT,
                   f"both devices in the list of {device.name}", device.beacond.explain)


@pytest.mark.parametrize("target", ["upnp:rootdevice", "ssdp:all"])
def test_a_search_finds_both_devices(pair, peer, target):
    shared, other, _ = pair
    answer = discovered(peer, target)
    assert answer in (found(shared) + found(other), found(other) + found(shared))


def test_a_search_for_another_type_finds_no_device(pair, peer):
    del pair
    assert discovered(peer, "urn:schemas-upnp-org:device:Basic:1") == ""


def test_gssdp_discover_receives_announcements_and_goodbyes(pair, peer, wire, lab):
    shared, other, _ = pair
    listener = lab.add_peer()
    listening = listener.start("gssdp-discover", ["gssdp-discover", "-i", "net0", "-m", "all",
                                                  "-t", "upnp:rootdevice"])
    for device in (shared, other):
        listening.wait_output(found(device))
    # gssdp-discover searches three times. If it reads an answer after the goodbye, it lists the
    # device again.
    wire.wait_for(3, source=listener.address, starting=b"M-SEARCH")
    peer.ask(expected.SEARCH, other.address)
    before = len(listening.stdout)
    other.configure(ssdpEnable=False)
    gone = f"resource unavailable\n  USN:      {expected.usn(other)}\n"
    listening.wait_output(gone)
    assert listening.stdout[before:] == gone
    other.configure(ssdpEnable=True)
    wait_until(lambda: listening.stdout[before:] == gone + found(other), 20,
               "the device found again", listening.explain)


def test_a_control_point_reads_the_description_from_a_web_server(pair, lab):
    """upnpc takes the base URL of later requests from the document. It searches for gateways, so
    it only reports that it found another device, and exits with status 1."""
    shared, _, _ = pair
    server = shared.start("server", ["python3", "-u", "-m", "http.server", "80",
                                     "--directory", "/var/www/html"])
    server.wait_output("Serving HTTP on 0.0.0.0 port 80")
    result = lab.add_peer().run("upnpc", "-l", "-m", "net0", check=False)
    assert f" desc: {expected.location(shared)}\n st: upnp:rootdevice\n" in result.stdout
    assert result.stdout.endswith(
        f"\n\nUPnP device found. Is it an IGD ? : http://{shared.address}:80/\n")
    assert f"\"GET /{expected.document_name(shared)} HTTP/1.1\" 200 -\n" in server.stderr
