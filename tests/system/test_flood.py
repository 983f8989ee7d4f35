"""The effects of a flood of all kinds of datagrams on the SSDP port, and the recovery."""

import pytest

import expected
import flood
from health import answer_to, descriptors, status, threads
from lab import wait_until
from lab.device import BEACOND, BROWSE_LIST

COUNT = 200_000
# The memory limit in the package's unit.
MEMORY = 64 << 20
# An announcement within 24 s, then two waits of up to three ticks of 5.75 s, in whole ticks,
# and a registry pass.
REDISCOVERED = 90
GET = (b"GET http://192.0.2.10:80/corvia_12_upnp_ssdp_1.xml HTTP/1.1\r\n"
       b"HOST:192.0.2.10:1900\r\n\r\n")


@pytest.fixture(scope="module")
def neighbour(lab, device):
    """A real device next to the flooded one."""
    neighbour = lab.add_device("studio-b", product="lumenplus")
    neighbour.start_beacond()
    return neighbour


@pytest.fixture(scope="module")
def before(device, neighbour, sanitized, wire):
    """Starts the device with the memory limit; returns its use of resources before the
    flood."""
    limit = [] if sanitized else ["prlimit", f"--data={MEMORY}"]
    device.beacond = device.start("beacond", [*limit, BEACOND, "-d"], device.daemon_environment())
    wire.wait_for(source=device.address, starting=b"NOTIFY")
    return {"threads": threads(device.beacond), "descriptors": descriptors(device.beacond)}


@pytest.fixture(scope="module")
def flooded(before, device, peer, attackers):
    flood.send(attackers, device, peer, flood.datagrams(COUNT))
    return device


def test_it_survives_and_answers_throughout(flooded, peer):
    device = flooded
    assert device.beacond.status is None
    answer = answer_to(expected.SEARCH, peer, device, 1900)
    assert answer == expected.search_response(device, expected.max_age(answer))
    assert answer_to(b"gh", peer, device, 49821) == expected.listing("HostList", device)
    listing = answer_to(b"gn", peer, device, 49821)
    assert listing.startswith(b"NodeList\n  ProductName:\"") and 60_000 < len(listing) <= 65_507
    assert "Exiting" not in device.beacond.stdout


def test_the_full_registry_and_both_full_queues_were_reported(flooded):
    lines = set(flooded.beacond.stderr.splitlines())
    assert {"ProcessDescriptionResponse: Too many devices, dropping what comes more",
            "SendGETRequest: Too many delayed requests, dropping what comes more",
            "SendGETResponse: Too many delayed responses, dropping what comes more"} <= lines


def test_the_list_is_full_and_valid(flooded):
    wait_until(lambda: len(flooded.read(BROWSE_LIST)) > flood.LIST * 0.9, 20, "a full list")
    assert len(flooded.read(BROWSE_LIST).encode()) <= flood.LIST
    assert len(flooded.browse_list()) <= flood.NODES + 1


def wait_until_room(device, sock):
    """Waits for a registry pass, at which removed devices make room. The list can become short
    earlier, but a new device is listed only after the pass."""
    def listed():
        sock.sendto(flood.description(0, "newcomer"), (device.address, 1900))
        return "newcomer" in device.read(BROWSE_LIST)
    wait_until(listed, 40, "a newcomer in the list")


def test_descriptions_with_large_fields_are_limited_by_their_bytes(flooded, peer, attackers):
    """Each of them needs many times the size of its datagram, in the registry and in the
    list."""
    flood.send(attackers, flooded, peer, map(flood.byebye, range(flood.SPOOFED)))
    wait_until(lambda: len(flooded.browse_list()) < 3, 20, "a short list")
    wait_until_room(flooded, attackers[0])
    err = len(flooded.beacond.stderr)
    flood.send(attackers, flooded, peer, map(flood.swollen_description, range(flood.NODES)))
    assert flooded.beacond.stderr[err:].count(
        "ProcessDescriptionResponse: Too many devices, dropping what comes more\n") == 1
    wait_until(lambda: len(flooded.read(BROWSE_LIST)) > flood.LIST * 0.9, 20, "them in the list")
    assert len(flooded.read(BROWSE_LIST).encode()) <= flood.LIST
    assert len(flooded.browse_list()) < 100


def test_it_keeps_within_its_memory_threads_and_descriptors(flooded, before, sanitized):
    assert threads(flooded.beacond) == before["threads"]
    assert descriptors(flooded.beacond) == before["descriptors"]
    if not sanitized:
        assert status(flooded.beacond, "VmHWM") < MEMORY


def test_afterwards_only_real_devices_are_left(flooded, neighbour, peer, attackers):
    flood.send(attackers, flooded, peer, map(flood.byebye, range(flood.SPOOFED)))
    real = expected.listing("NodeList", flooded, neighbour)
    wait_until(lambda: answer_to(b"gn", peer, flooded, 49821) == real, REDISCOVERED,
               "only the real devices", lambda: answer_to(b"gn", peer, flooded, 49821))
    wait_until(lambda: flooded.read(BROWSE_LIST) == expected.browse_json(flooded, neighbour), 20,
               "only the real devices in the list", lambda: flooded.read(BROWSE_LIST))
    assert flooded.run("ls", "/var/www/html", "/var/www/discovery").stdout == (
        "/var/www/discovery:\nbrowse.json\n\n/var/www/html:\ncorvia_12_upnp_ssdp_1.xml\n")


def test_afterwards_its_document_is_served_again(flooded, peer):
    document = flooded.read("/var/www/html/corvia_12_upnp_ssdp_1.xml").encode()
    assert peer.ask(GET, flooded.address, timeout=30) == (
        b"HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\nCONTENT-LENGTH: %d\r\n"
        b"CONTENT-TYPE: text/xml; charset=\"utf-8\"\r\n%s\r\n\r\n" % (len(document), document))
