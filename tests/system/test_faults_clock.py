"""The time of day is set back and forth while the daemon runs."""

import datetime

import pytest

import expected
from health import assert_works, faults
from other_clock import LIBRARY, OtherClock

# Two periods of announcements, of at most 24 s each, in whole ticks.
PERIODS = 60


@pytest.fixture(scope="module")
def clock(device, wire):
    clock = OtherClock(device, steady=True)
    device.start_beacond()
    wire.wait_for(source=device.address, starting=b"NOTIFY")
    return clock


def year_of_the_device(device):
    return int(device.run("date", "+%Y").stdout)


def test_the_device_is_on_another_clock(device, clock):
    name = LIBRARY.rsplit("/", 1)[1]
    with open(f"/proc/{device.beacond.pid}/maps", encoding="utf-8") as maps:
        assert name in maps.read()
    clock.set("-4000d")
    assert year_of_the_device(device) <= datetime.date.today().year - 10
    clock.set("+0")


@pytest.mark.parametrize("offset", ["-4000d", "+0"])
def test_setting_the_clock_changes_no_period(device, clock, wire, peer, offset):
    since = wire.mark()
    first = wire.wait_for(since=since, source=device.address, starting=b"NOTIFY")[-1]
    since = wire.mark()
    clock.set(offset)
    second = wire.wait_for(since=since, source=device.address, starting=b"NOTIFY",
                           timeout=PERIODS)[0]
    # An expired entry would be announced at the next tick, after at most 5.75 s.
    assert second.time - first.time > 8
    expected.assert_alive(second.data, device)
    assert_works(device, peer)
    assert faults(device) == ""
