"""How often a device repeats its announcement, by the wire's own clock."""

import pytest

import expected
from lab import DeviceSpec, Lab

COUNT = 3  # devices
REPEATS = 3
# Every 15 to 24 s, counted in whole ticks of 4.25 to 5.75 s and one tick early.
SHORTEST, LONGEST = 15 - 5.75, 24
# What a busy machine makes of it: a moment late, and the next one early by that.
TOLERANCE = 3


@pytest.fixture(scope="module")
def announcements(programs):
    """The first announcements of devices that are alone, each on its network: a datagram
    that arrives makes a tick longer."""
    labs = [Lab(programs) for _ in range(COUNT)]
    try:
        devices = [each.add_devices([DeviceSpec("studio-a", product="corvia12")])[0]
                   for each in labs]
        wires = [each.add_peer().capture() for each in labs]
        for device in devices:
            device.start_beacond()
        yield [(device, wire.wait_for(REPEATS + 1, timeout=60 + REPEATS * LONGEST,
                                      source=device.address, starting=b"NOTIFY"))
               for device, wire in zip(devices, wires)]
    finally:
        for each in labs:
            each.close()


def test_each_repeats_the_same_datagram(announcements):
    for device, heard in announcements:
        expected.assert_alive(heard[0].data, device)
        assert {each.data for each in heard} == {heard[0].data}


def test_the_pauses_are_between_two_and_five_ticks(announcements):
    for _, heard in announcements:
        for earlier, later in zip(heard, heard[1:]):
            assert SHORTEST - TOLERANCE < later.time - earlier.time < LONGEST + TOLERANCE
