"""How long known devices stay in the registry, measured on an accelerated clock."""

import time

import pytest

import expected
from expected import Product
from lab import wait_until
from quick_clock import SPEED, Chatter, start_quick
from raw_device import RawDevice, wait_until_read

# An entry lives for twice the max-age, and a max-age below 120 s counts as at least 120 s. An
# entry expires up to a tick early, and a busy machine prolongs ticks.
LIFE = 240
EARLY = 80

ANNOUNCING = Product("Lumen", "0x10660001", "4K encoder")
SILENT = Product("Lumen Plus", "0x10660002", "4K encoder")
ZR1 = Product("ZR1", "0x10680001", "Field recorder")
LEAVING = Product("TalonMx", "0x10670001", "Multichannel streamer")


@pytest.fixture(scope="module")
def known(lab, peer, wire):
    """A device with a quick clock, and four others: one announces itself repeatedly, one was
    only described, one was described and announced itself once with a short max-age, and one
    leaves. Also the time before the first of them appeared."""
    device = lab.add_device("studio-a", product="corvia12")
    start_quick(device)
    wire.wait_for(source=device.address, starting=b"NOTIFY")
    announcing, silent, zr1, leaving = (RawDevice(peer.address, what.model, what)
                                        for what in (ANNOUNCING, SILENT, ZR1, LEAVING))
    start = time.monotonic()
    for each in (announcing, silent, zr1, leaving):
        wire.socket.sendto(each.description(), (device.address, 1900))
    wire.socket.sendto(zr1.alive(max_age=30), (device.address, 1900))
    wait_until_read(device, peer)
    with Chatter(peer, announcing):
        yield device, announcing, silent, zr1, leaving, start


def listed(device, peer):
    return peer.ask(b"gn", device.address, 49821)


def test_a_goodbye_removes_a_device_at_once(known, peer, wire):
    device, announcing, silent, zr1, leaving, _ = known
    assert listed(device, peer) == expected.listing(
        "NodeList", device, announcing, silent, zr1, leaving)
    # A goodbye of another device and a goodbye without a LOCATION remove nothing.
    wire.socket.sendto(RawDevice("192.0.2.99", "", LEAVING).byebye(), (device.address, 1900))
    wire.socket.sendto(leaving.byebye().replace(b"LOCATION: http", b"X: "), (device.address, 1900))
    wait_until_read(device, peer)
    assert leaving.usn in listed(device, peer).decode()
    wire.socket.sendto(leaving.byebye(), (device.address, 1900))
    wait_until_read(device, peer)
    assert listed(device, peer) == expected.listing("NodeList", device, announcing, silent, zr1)


def test_a_silent_device_is_removed_after_four_minutes_and_an_announced_one_stays(known, peer):
    device, announcing, silent, zr1, _, start = known
    gone = {}

    def all_gone():
        text = listed(device, peer).decode()
        for each in (silent, zr1):
            if each.usn not in text:
                gone.setdefault(each.usn, (time.monotonic() - start) * SPEED)
        return len(gone) == 2
    wait_until(all_gone, 3 * LIFE / SPEED, "two devices forgotten", lambda: listed(device, peer))
    assert min(gone.values()) > LIFE - EARLY
    assert listed(device, peer) == expected.listing("NodeList", device, announcing)
