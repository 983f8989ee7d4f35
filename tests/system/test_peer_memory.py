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
LIMIT = 1536  # bytes for each; about 1,070 are taken
# A pass comes after at most 5.75 s; the list is written within eleven waits of 500 ms then.
LISTED = 30


def listed(device):
    return len(json.loads(device.read(BROWSE_LIST)))


def test_a_known_device_takes_at_most_1536_bytes(running_device, sanitized, peer, attackers):
    """Includes the memory that stays allocated after the list was copied and written."""
    if sanitized:
        pytest.skip("sanitizers take memory of their own")
    before = private_bytes(running_device.beacond.pid)
    assert before > 0
    flood.send(attackers, running_device, peer, map(flood.description, range(PEERS)))
    flood.send(attackers, running_device, peer, map(flood.alive, range(PEERS)))
    wait_until(lambda: listed(running_device) == PEERS + 1, LISTED, "the list",
               lambda: listed(running_device))

    def taken():
        return (private_bytes(running_device.beacond.pid) - before) / PEERS
    wait_until(lambda: taken() <= LIMIT, LISTED, f"at most {LIMIT} bytes", taken)
