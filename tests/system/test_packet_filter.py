"""The packet filter rules in docs/security.md."""

import re
import socket
import subprocess
import time
from pathlib import Path

import pytest

import expected
from health import answer_to, udp_count
from lab import DeviceSpec, wait_until
from lab.device import BROWSE_LIST

TOP = Path(__file__).resolve().parents[2]
# An announcement comes within 24 s. The request and the document each wait up to three ticks of
# 5.75 s, and are sent at the next tick. The list follows within 5.5 s.
LIMIT = 90

# The limit of the rules for the SSDP port (datagrams per second, and at once), and the
# number of datagrams that the test sends.
RATE, BURST = 2000, 4000
FLOOD = 40_000

# The ends of a second cable between the device and the peer.
DEVICE_END, PEER_END = "192.0.2.201", "192.0.2.202"


def documented_rules():
    text = (TOP / "docs/security.md").read_text(encoding="utf-8")
    (rules,) = re.findall(r"^```\n(table .*?)^```$", text, re.M | re.S)
    return rules


@pytest.fixture(scope="module")
def devices(lab):
    """A device with the rules, and one without them."""
    devices = lab.add_devices([DeviceSpec("studio-a", product="corvia12"),
                               DeviceSpec("studio-b", product="lumenplus")])
    devices[0].run("nft", "--file", "-", stdin=None, input=documented_rules())
    for each in devices:
        each.start_beacond()
    return devices


def test_devices_with_the_rules_find_others_and_are_found(devices):
    wanted = expected.browse_json(*devices)
    for device in devices:
        wait_until(lambda: device.read(BROWSE_LIST) == wanted, LIMIT,
                   f"both in the list of {device.name}", device.beacond.explain)


def test_a_search_is_answered_through_the_rules(devices, peer):
    answer = answer_to(expected.SEARCH, peer, devices[0], 1900)
    assert answer == expected.search_response(devices[0], expected.max_age(answer))


def test_the_diagnostic_port_is_open_only_to_the_device_itself(devices, peer):
    filtered, other = devices
    assert peer.ask(b"gh", other.address, 49821) == expected.listing("HostList", other)
    with pytest.raises(TimeoutError):
        peer.ask(b"gh", filtered.address, 49821, timeout=2)
    with filtered.network():
        asking = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    with asking:
        asking.settimeout(5)
        asking.sendto(b"gh", ("127.0.0.1", 49821))
        assert asking.recv(65536) == expected.listing("HostList", filtered)


@pytest.fixture(scope="module")
def second_wire(devices, peer):
    """A second cable between the peer and the device with the rules."""
    # Enters only the network namespace: `netns` takes a process id as seen from here.
    subprocess.run(["nsenter", "--target", str(peer.pid), "--net", "ip", "link", "add", "net1",
                    "netns", str(devices[0].pid), "type", "veth", "peer", "name", "net1"],
                   check=True)
    for node, own, other in ((devices[0], DEVICE_END, PEER_END), (peer, PEER_END, DEVICE_END)):
        node.run("ip", "addr", "add", own, "peer", other, "dev", "net1")
        node.run("ip", "link", "set", "net1", "up")


def test_the_ssdp_port_is_closed_on_other_interfaces(second_wire, devices, peer):
    with devices[0].network():
        receiver = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    with receiver, peer.udp_socket() as sock:
        receiver.settimeout(10)
        receiver.bind((DEVICE_END, 1901))
        sock.sendto(b"other ports are open", (DEVICE_END, 1901))
        assert receiver.recv(100) == b"other ports are open"
    with pytest.raises(TimeoutError):
        peer.ask(expected.SEARCH, DEVICE_END, timeout=2)
    # On the device's own network, a search is answered meanwhile.
    answer = answer_to(expected.SEARCH, peer, devices[0], 1900)
    assert answer == expected.search_response(devices[0], expected.max_age(answer))


def received(device):
    """The number of datagrams that the kernel delivered to the device's programs."""
    return udp_count(device, "InDatagrams")


def test_a_flood_is_limited_to_the_rate(devices, peer):
    filtered = devices[0]
    start, before = time.monotonic(), received(filtered)
    with peer.udp_socket() as sock:
        for _ in range(FLOOD):
            sock.sendto(b"NOTIFY", (filtered.address, 1900))
    passed, seconds = received(filtered) - before, time.monotonic() - start
    assert BURST / 2 < passed < BURST + RATE * (seconds + 1)


def test_without_the_rules_both_ports_are_open_to_everybody(second_wire, devices, peer):
    """Shows that the tests above pass because of the rules."""
    filtered = devices[0]
    filtered.run("nft", "delete", "table", "inet", "beacond")
    assert peer.ask(b"gh", filtered.address, 49821) == expected.listing("HostList", filtered)
    answer = peer.ask(expected.SEARCH, DEVICE_END)
    assert answer == expected.search_response(filtered, expected.max_age(answer))
