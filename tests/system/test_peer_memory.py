"""The private memory that a known device takes."""

import json
import sys
from pathlib import Path

import pytest

import flood
from lab import wait_until
from lab.device import BROWSE_LIST

sys.path.append(str(Path(__file__).resolve().parents[2] / "benchmarks"))

from measure.memory import private_bytes  # noqa: E402

PEERS = 4000
LIMIT = 1536  # bytes for each device, which takes about 1,270
# A registry pass comes after at most two poll intervals of 5.75 s. The list is then written
# within eleven waits of 500 ms.
LISTED = 30
KNOWN = 100
ANNOUNCEMENTS = 20_000


def listed(device):
    return len(json.loads(device.read(BROWSE_LIST)))


def test_different_announcements_of_known_devices_do_not_accumulate(running_device, sanitized, peer,
                                                                    attackers):
    """The daemon keeps about one announcement for each device, of at most 512 bytes. If it kept
    all that are sent here, of some 300 bytes each, they would take far more than the limit."""
    if sanitized:
        pytest.skip("sanitizers take memory of their own")
    flood.send(attackers, running_device, peer, map(flood.description, range(KNOWN)))
    wait_until(lambda: listed(running_device) > KNOWN, LISTED, "the list",
               lambda: listed(running_device))
    before = private_bytes(running_device.beacond.pid)
    flood.send(attackers, running_device, peer,
               (flood.alive(number % KNOWN) + b"X: %d" % number for number in range(ANNOUNCEMENTS)))
    grown = private_bytes(running_device.beacond.pid) - before
    assert grown < 256 << 10 < ANNOUNCEMENTS * 300 / 4


def test_a_known_device_takes_at_most_1536_bytes(running_device, sanitized, peer, attackers):
    """Includes the memory that stays allocated after the list was copied and written."""
    if sanitized:
        pytest.skip("sanitizers take memory of their own")
    before = private_bytes(running_device.beacond.pid)
    assert before > 0
    flood.send(attackers, running_device, peer, map(flood.description, range(PEERS)))
    for _ in range(3):  # the second and third ones are recognised
        flood.send(attackers, running_device, peer, map(flood.alive, range(PEERS)))
    wait_until(lambda: listed(running_device) == PEERS + 1, LISTED, "the list",
               lambda: listed(running_device))

    def taken():
        return (private_bytes(running_device.beacond.pid) - before) / PEERS
    wait_until(lambda: taken() <= LIMIT, LISTED, f"at most {LIMIT} bytes", taken)
