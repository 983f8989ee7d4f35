"""The private memory that a known device takes."""

import json
import re
from pathlib import Path

import pytest

import flood
from lab import wait_until
from lab.device import BROWSE_LIST

PEERS = 4000
LIMIT = 1536  # bytes for each; about 880 are taken
# A pass comes after at most 5.75 s; the list is written within eleven waits of 500 ms then.
LISTED = 30


def private_bytes(process):
    """The private bytes that are no part of a file. Whether the pages of libraries count as
    private depends on the other programs that run."""
    text = Path(f"/proc/{process.pid}/smaps").read_text()
    mappings = re.findall(r"^[0-9a-f]+-\S+ \S+ \S+ \S+ (\d+) .*\n((?:\w+:.*\n)+)", text, re.M)
    return 1024 * sum(int(size) for inode, fields in mappings if inode == "0"
                      for size in re.findall(r"^Private_\w+: +(\d+) kB$", fields, re.M))


@pytest.fixture(scope="module")
def attackers(lab):
    """Sockets with many addresses on three machines."""
    return [sock for number in range(3)
            for sock in flood.sockets_of(lab.add_peer(), flood.ADDRESSES[number::3])]


def listed(device):
    return len(json.loads(device.read(BROWSE_LIST)))


def test_a_known_device_takes_at_most_1536_bytes(running_device, programs, peer, attackers):
    """The registry's record and what remains of the list's copy and text count together."""
    program = (Path(programs) / "beacond").read_bytes()
    if any(symbol in program for symbol in (b"__asan_init", b"__tsan_init")):
        pytest.skip("sanitizers take memory of their own")
    before = private_bytes(running_device.beacond)
    assert before > 0
    flood.send(attackers, running_device, peer, map(flood.description, range(PEERS)))
    flood.send(attackers, running_device, peer, map(flood.alive, range(PEERS)))
    wait_until(lambda: listed(running_device) == PEERS + 1, LISTED, "the list",
               lambda: listed(running_device))

    def taken():
        return (private_bytes(running_device.beacond) - before) / PEERS
    wait_until(lambda: taken() <= LIMIT, LISTED, f"at most {LIMIT} bytes", taken)
