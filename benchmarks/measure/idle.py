"""What doing nothing costs: wake-ups of each thread, and files written."""

import time
from pathlib import Path
from statistics import median

from lab import wait_until

ROUNDS = 5
SECONDS = 20
# Wake-ups a second that the intervals make inevitable: a step of the browser's
# thread, the shortest interval of the SSDP thread's poll, the heartbeat of the
# configuration service's event stream for the main thread, and none of the
# diagnostic channel and of the thread that waits for a signal to leave. The threads are
# told apart by these sizes.
FLOORS = {"browser": 1 / 0.5, "SSDP": 1 / 4.250, "main": 1 / 10, "diagnostic": 0, "leaving": 0}
WRITING_PAUSE = 12      # in which a change has been heard of, listed and written


def settle(subject):
    """Waits until the browse list has not been written for a while from now on."""
    path = subject.node.path("/var/www/discovery/browse.json")
    now = time.time()
    wait_until(lambda: time.time() - max(now, path.stat().st_mtime) > WRITING_PAUSE, 90,
               "a quiet list")


class Rest:
    """What a program does by itself while nothing changes. What the SSDP thread
    hears from others, as `capture` does, is not its doing."""

    def __init__(self, subject, capture):
        settle(subject)
        written = bytes_written(subject)
        rounds = [self._watch(subject, capture) for _ in range(ROUNDS)]
        self.rates = {name: median(rates[name] for rates in rounds) for name in rounds[0]}
        self.written = bytes_written(subject) - written

    @staticmethod
    def _watch(subject, capture):
        before, heard = subject.wake_ups(), capture.mark()
        time.sleep(SECONDS)
        others = [each for each in capture.datagrams(since=heard)
                  if each.source != subject.node.address]
        counts = sorted((count - before[thread] for thread, count in subject.wake_ups().items()),
                        reverse=True)
        rates = {name: count / SECONDS for name, count in zip(FLOORS, counts, strict=True)}
        rates["SSDP"] -= len(others) / SECONDS
        return rates


def bytes_written(subject):
    """Bytes that the program has handed to file systems so far."""
    for line in Path(f"/proc/{subject.pid}/io").read_text().splitlines():
        if line.startswith("wchar:"):
            return int(line.split()[1])
    raise ValueError("no wchar")
