"""The daemon without memory."""

import re
import resource
from pathlib import Path

import flood
from lab.waiting import wait_until


def writable_memory(process):
    """The allocated bytes of a process, counted like RLIMIT_DATA."""
    status = Path(f"/proc/{process}/status").read_text()
    return int(re.search(r"VmData:\s+(\d+) kB", status)[1]) << 10


def test_a_thread_without_memory_ends_the_daemon_with_status_1(
        running_device, peer):
    beacond = running_device.beacond
    limit = writable_memory(beacond.pid)
    resource.prlimit(beacond.pid, resource.RLIMIT_DATA, (limit, limit))
    numbers = iter(range(flood.NODES))

    def ended():
        with peer.udp_socket() as sock:
            for number, _ in zip(numbers, range(50)):
                sock.sendto(flood.swollen_description(number), (running_device.address, 1900))
        return beacond.status is not None

    wait_until(ended, 60, "the daemon's end", beacond.explain)
    assert beacond.status == 1
    assert re.search(r'^ThreadRun: An exception ended the thread "beacond": std::bad_alloc$',
                     beacond.stderr, re.MULTILINE)
