"""beaconctl monitor shows the SSDP traffic of the link, and takes no datagram from other
programs."""

import json
import os
import re
import signal

import pytest

import expected
from expected import Product
from lab import DeviceSpec, wait_until
from lab.peer import GROUP
from raw_device import RawDevice

BEACONCTL = "/mnt/beaconctl"
BOTH = "beaconctl: monitoring multicast and unicast through a packet socket\n"
MULTICAST = "beaconctl: monitoring multicast only: unicast needs CAP_NET_RAW, as root has it\n"
# Runs a program without the right to open a packet socket.
AS_NOBODY = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
# Two requests with answers, each of which waits at most three ticks of 5.75 s, and a list
# written at most 5.5 s later.
LIMIT = 90
ROOT_DEVICE = "upnp:rootdevice"


@pytest.fixture(scope="module")
def beaconctl(programs):
    return f"{os.path.abspath(programs)}/beaconctl"


@pytest.fixture(scope="module")
def monitored(lab, wire):
    """Two devices that have found each other, and two monitors that ran on the first one
    meanwhile: as root, and without the right to open a packet socket. The monitors were started
    after the daemon of that device."""
    a, b = lab.add_devices([DeviceSpec("studio-a", product="corvia12"),
                            DeviceSpec("studio-b", product="lumenplus")])
    a.start_beacond()
    wire.wait_for(source=a.address, starting=b"NOTIFY")  # its search comes before or right after
    root = a.start("root", [BEACONCTL, "--json", "monitor"])
    nobody = a.start("nobody", [*AS_NOBODY, BEACONCTL, "monitor"])
    root.wait_output(BOTH)
    nobody.wait_output(MULTICAST)
    b.start_beacond()
    for device in (a, b):
        wait_until(lambda device=device: device.read("/var/www/discovery/browse.json")
                   == expected.browse_json(a, b), LIMIT,
                   f"both devices in the list of {device.name}", device.beacond.explain)
    return a, b, root, nobody


def as_shown(sender, receiver, method, kind, usn, location, meaning):
    return {"from": sender, "to": receiver, "method": method, "type": kind, "usn": usn,
            "location": location, "meaning": meaning}


def shown(monitor):
    """The datagrams in the output of monitor --json, without their times and lifetimes."""
    found = [json.loads(line) for line in monitor.stdout.splitlines()]
    for each in found:
        assert re.fullmatch(r"20\d\d-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z", each.pop("time"))
        each["meaning"] = re.sub(r"for 12\d s$", "for 12N s", each["meaning"])
    return found


def conversation(a, b):
    """The datagrams by which two devices find each other after the start of b."""
    def announced(device):
        return as_shown(device.address, GROUP, "NOTIFY", ROOT_DEVICE, expected.usn(device),
                        expected.location(device), "announces itself for 12N s")

    def asked(asker, device):
        return as_shown(asker.address, device.address, "GET", "", "", "",
                        f"asks {device.address} for its description, "
                        f"{expected.document_name(device)}")

    def described(device, asker):
        return as_shown(device.address, asker.address, "HTTP", "", expected.usn(device), "",
                        f'describes "{device.name}" ({expected.product(device).model}) to '
                        f"{asker.address}")

    return [as_shown(b.address, GROUP, "M-SEARCH", ROOT_DEVICE, "", "",
                     "searches for services of this type"),
            as_shown(a.address, b.address, "HTTP", ROOT_DEVICE, expected.usn(a),
                     expected.location(a), f"answers a search of {b.address}"),
            announced(a), announced(b), asked(a, b), asked(b, a), described(a, b), described(b, a)]


def test_the_daemon_on_the_same_device_receives_its_unicast_and_finds_its_peer(monitored):
    a, b, _, _ = monitored
    assert a.read("/var/www/discovery/browse.json") == expected.browse_json(a, b)


def test_it_shows_the_whole_conversation_of_two_devices(monitored):
    a, b, root, _ = monitored
    wait_until(lambda: all(each in shown(root) for each in conversation(a, b)), LIMIT,
               "the conversation", root.explain)
    assert [each for each in shown(root) if each not in conversation(a, b)] == []


def test_without_a_packet_socket_it_shows_multicast_only(monitored):
    a, b, _, nobody = monitored

    def lines():
        return {re.sub(r"^\d\d:\d\d:\d\d\.\d{3}  (.*?)(for 12\d s)?$", r"\1", line)
                for line in nobody.stdout.splitlines()}
    wanted = {f"{b.address}       M-SEARCH  upnp:rootdevice  -  searches for services of this type",
              *(f"{each.address}       NOTIFY    upnp:rootdevice  {expected.usn(each)}  "
                "announces itself " for each in (a, b))}
    wait_until(lambda: wanted <= lines(), LIMIT, "the multicast", nobody.explain)
    assert lines() == wanted


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_a_signal_ends_it_with_status_0_if_it_showed_anything_and_with_1_if_not(
        peer, beaconctl, number):
    monitor = peer.start("monitor", [beaconctl, "monitor", "--host", peer.address])
    monitor.wait_output(BOTH)
    assert monitor.stop(number) == 1
    monitor = peer.start("monitor", [beaconctl, "monitor", "--host", peer.address])
    monitor.wait_output(BOTH)
    with peer.udp_socket() as sock:
        sock.sendto(b"x", (GROUP, 1900))
    monitor.wait_output("not SSDP: ignored\n")
    assert monitor.stop(number) == 0
    assert monitor.stderr == BOTH


@pytest.fixture(scope="module")
def raw_devices(lab, peer):
    """Two machines that send as a Lumen and a Lumen Plus, and their messages."""
    devices = []
    for model in ("Lumen", "Lumen Plus"):
        machine = lab.add_peer()
        device = RawDevice(machine.address, product=Product(model, "0x10660001", "4K encoder"),
                           file=f"{model.lower().replace(' ', '_')}_upnp_ssdp_1.xml")
        devices.append((machine, device))
    return devices


def send_from_both(raw_devices, receiver):
    """Each device sends all its messages but the goodbye. At the end, only the first one says
    goodbye."""
    for machine, device in reversed(raw_devices):
        with machine.udp_socket(1900) as sock:
            for message in (device.alive(), b"M-SEARCH\r\nST: ssdp:all\r\n\r\n"):
                sock.sendto(message, (GROUP, 1900))
            for message in (device.get_request(), device.description(), device.search_response()):
                sock.sendto(message, (receiver.address, 1900))
    machine, device = raw_devices[0]
    with machine.udp_socket(1900) as sock:
        sock.sendto(device.byebye(), (GROUP, 1900))


LUMEN = ["announces itself for 1800 s", "asks 192.0.2.200 for its description, lumen_upnp_ssdp_1.xml",
         'describes "raw" (Lumen) to 192.0.2.200', "answers a search of 192.0.2.200",
         "says goodbye"]


@pytest.mark.parametrize("selection, meanings", [
    pytest.param(["--product", "lumen"], LUMEN, id="product"),
    pytest.param(["--host", "192.0.2.201"], [LUMEN[0], "searches for every service", *LUMEN[1:]],
                 id="address"),
    pytest.param(["--host", "192.0.2.201", "--product", "Lumen"], LUMEN, id="both"),
])
def test_it_shows_only_the_datagrams_of_an_address_or_a_product(
        peer, raw_devices, beaconctl, selection, meanings):
    assert (peer.address, raw_devices[0][0].address) == ("192.0.2.200", "192.0.2.201")
    monitor = peer.start("monitor", [beaconctl, "--json", "monitor", *selection])
    monitor.wait_output(BOTH)
    send_from_both(raw_devices, peer)
    monitor.wait_output("says goodbye")
    assert [each["meaning"] for each in shown(monitor)] == meanings
    assert {each["from"] for each in shown(monitor)} == {"192.0.2.201"}
    assert monitor.stop(signal.SIGINT) == 0


def test_no_byte_of_a_datagram_acts_on_the_terminal(peer, raw_devices, beaconctl):
    machine, _ = raw_devices[0]
    monitor = peer.start("monitor", [beaconctl, "monitor", "--host", machine.address])
    monitor.wait_output(BOTH)
    with machine.udp_socket(1900) as sock:
        sock.sendto(b"NOTIFY\r\nNT: \x1b[2J\r\nUSN: \xff\xe2\x80\xae" + b"u" * 1000 +
                    b"\r\nLOCATION: x\r\nNTS: ssdp:byebye\r\n\r\n", (GROUP, 1900))
    monitor.wait_output("goodbye\n")
    assert monitor.stop(signal.SIGINT) == 0
    assert monitor.stdout[len("00:00:00.000"):] == (
        "  192.0.2.201      NOTIFY    \\x1b[2J          \\xff\\u{202e}" + "u" * 49 +
        "...  says goodbye\n")


@pytest.mark.parametrize("restore, status, error", [
    pytest.param(True, -signal.SIGPIPE, "", id="default"),
    pytest.param(False, 3, "beaconctl: cannot write: Broken pipe\n", id="ignored"),
])
def test_it_ends_when_its_reader_has_ended_even_if_nothing_arrives(
        peer, beaconctl, restore, status, error):
    reader, writer = os.pipe()
    monitor = peer.start("monitor", [beaconctl, "monitor", "--host", peer.address], stdout=writer,
                         restore_signals=restore)
    os.close(writer)
    monitor.wait_output(BOTH)
    os.close(reader)
    assert (monitor.wait(), monitor.stderr) == (status, BOTH + error)
