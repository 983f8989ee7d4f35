"""Announcing a silent ZR1 by proxy, measured on an accelerated clock."""

import time

import pytest

import expected
from expected import Product
from lab import wait_until
from quick_clock import SPEED, Chatter, start_quick
from raw_device import RawDevice, wait_until_read, wait_until_recorded

LIMIT = 60
DIAGNOSTIC_PORT = 49821
ZR1 = Product("ZR1", "0x10680001", "Field recorder")
SILENT = "192.0.2.77"  # the ZR1's address in the configuration


@pytest.fixture(scope="module")
def speaker(peer):
    """A device that announces itself all the time."""
    return RawDevice(peer.address, "speaker", Product("Lumen", "0x10660001", "4K encoder"))


@pytest.fixture(scope="module")
def recorder(lab, peer, wire, speaker):
    """A device that must announce another, silent one: its configuration service reports that
    device's address."""
    device = lab.add_device("studio-z", product="zr1", network_from_test=True)
    devices = [{"name": "net0", "activeParams": {"address": SILENT},
                "status": {"interfaceSetupState": "Complete", "connected": True}}]
    assert device.request("PUT", "/api/v1/network/devices", devices)[0] == 200
    start_quick(device)
    wire.socket.sendto(speaker.description(), (device.address, 1900))
    with Chatter(peer, speaker):
        wait_until(lambda: nodes(device, peer) == listing("NodeList", silent(), speaker), LIMIT,
                   "both listed", lambda: nodes(device, peer))
        yield device


def silent():
    """The ZR1. It sends nothing."""
    return RawDevice(SILENT, "studio-z", ZR1)


def listing(heading, *devices):
    return expected.listing(heading, *devices)


def nodes(device, peer):
    return peer.ask(b"gn", device.address, DIAGNOSTIC_PORT)


def hosts(device, peer):
    return peer.ask(b"gh", device.address, DIAGNOSTIC_PORT)


def notifies(wire, device, since):
    return [each.data for each in wire.datagrams(device.address, since, b"NOTIFY")]


def add_again(device, wire, since):
    """Adds the service again until it is announced; returns the number of attempts."""
    for attempt in range(1, 20):
        device.configure(ssdpEnable=False)
        device.configure(ssdpEnable=True)
        try:
            wire.wait_for(timeout=3, since=since, source=device.address, starting=b"NOTIFY")
            return attempt
        except TimeoutError:
            continue
    raise TimeoutError(f"never announced\n{device.beacond.explain()}")


def announced(device, message):
    """The device's announcement for the silent one. The device serves the document."""
    return (f"NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: upnp:rootdevice\r\n"
            f"NTS: ssdp:alive\r\nLOCATION: http://{device.address}:80/zr1_upnp_ssdp_1.xml\r\n"
            f"USN: uuid:65746500-ZR1-{SILENT}-0\r\n"
            f"CACHE-CONTROL: max-age={expected.max_age(message)}\r\n"
            "SERVER: Linux/2.6, UPnP/1.0, SSDP/1.0\r\n\r\n").encode()


def withdrawn(device):
    return (f"NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: upnp:rootdevice\r\n"
            f"NTS: ssdp:byebye\r\nLOCATION: http://{device.address}:80/zr1_upnp_ssdp_1.xml\r\n"
            f"USN: uuid:65746500-ZR1-{SILENT}-0\r\n\r\n").encode()


def test_a_silent_zr1_is_announced_three_more_times_and_withdrawn(recorder, wire, peer):
    wait_until_recorded(wire, peer)
    assert notifies(wire, recorder, 0) == []  # the ZR1 first has time to announce itself
    since = wire.mark()
    add_again(recorder, wire, since)
    assert hosts(recorder, peer) == listing("HostList", silent())
    assert expected.served(recorder.read("/var/www/html/zr1_upnp_ssdp_1.xml")) == peer.ask(
        b"GET /zr1_upnp_ssdp_1.xml", recorder.address, timeout=LIMIT)
    wire.wait_for(5, timeout=LIMIT, since=since, source=recorder.address, starting=b"NOTIFY")
    said = notifies(wire, recorder, since)
    alive = announced(recorder, said[0])
    assert said == [alive, alive, alive, alive, withdrawn(recorder)]
    assert hosts(recorder, peer) == b"HostList"
    assert nodes(recorder, peer) == listing("NodeList", RawDevice(
        peer.address, "speaker", Product("Lumen", "", "")))


def test_the_document_number_of_the_zr1_is_used_again(recorder, wire, peer):
    since = wire.mark()
    # The ZR1 is a new entry, so it again has time to announce itself.
    assert add_again(recorder, wire, since) > 1
    [said] = notifies(wire, recorder, since)[:1]
    assert said == announced(recorder, said)
    assert "/zr1_upnp_ssdp_1.xml\r\n" in said.decode()


def test_the_zr1_is_handed_back_without_a_goodbye_when_it_announces_itself(recorder, wire, peer):
    assert hosts(recorder, peer) == listing("HostList", silent())
    wire.socket.sendto(silent().alive(max_age=30), (recorder.address, 1900))
    wait_until_read(recorder, peer)
    wait_until_recorded(wire, peer)
    since, start = wire.mark(), time.monotonic()
    assert hosts(recorder, peer) == b"HostList"
    assert silent().usn in nodes(recorder, peer).decode()
    # The ZR1 is silent again, so it is forgotten after half of its max-age, which counts as at
    # least 120 s. Nothing is sent for it.
    wait_until(lambda: silent().usn not in nodes(recorder, peer).decode(), LIMIT,
               "the ZR1 forgotten", lambda: nodes(recorder, peer))
    wait_until_recorded(wire, peer)
    assert (time.monotonic() - start) * SPEED > 30
    assert notifies(wire, recorder, since) == []
