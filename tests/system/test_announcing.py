"""The interval of repeated announcements, measured by the arrival of the datagrams."""

import pytest

import expected
from lab import DeviceSpec, Lab

COUNT = 3  # devices
REPEATS = 3
# The interval is 15 to 24 s, in whole ticks of at most 5.75 s, and may end one tick early. The
# first one may end two ticks early: a service that is added at the end of a tick is aged by it.
TICK = 5.75
SHORTEST, LONGEST = 15 - TICK, 24
# On a busy machine one announcement may be late, and the next pause shorter by that time.
TOLERANCE = 3


@pytest.fixture(scope="module")
def announcements(programs):
    """The first announcements of devices, each alone on its network, because received
    datagrams prolong a tick."""
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
    for device, sent in announcements:
        expected.assert_alive(sent[0].data, device)
        assert {each.data for each in sent} == {sent[0].data}


def test_the_pauses_are_between_9_and_24_seconds_and_the_first_may_be_a_tick_shorter(announcements):
    for _, sent in announcements:
        pauses = [later.time - earlier.time for earlier, later in zip(sent, sent[1:])]
        assert SHORTEST - TICK - TOLERANCE < pauses[0] < LONGEST + TOLERANCE
        assert all(SHORTEST - TOLERANCE < each < LONGEST + TOLERANCE for each in pauses[1:])
