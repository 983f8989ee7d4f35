"""The cost of idling: the wake-ups of each thread, and the bytes written to files."""

import time
from pathlib import Path
from statistics import median

from lab import wait_until

ROUNDS = 5
SECONDS = 20
# The wake-ups per second that the specified intervals require: each step of the browser's
# thread, each poll interval of the SSDP thread (at least 4.25 s), and each heartbeat of the
# configuration service for the main thread. The diagnostic thread and the thread that waits
# for a signal need none. The threads are identified by this order of their wake-ups.
FLOORS = {"browser": 1 / 0.5, "SSDP": 1 / 4.250, "main": 1 / 10, "diagnostic": 0, "leaving": 0}
WRITING_PAUSE = 12      # seconds in which a change is received, listed and written


def settle(subject):
    """Waits until the browse list has not been written for WRITING_PAUSE seconds, which count from
    this call at the earliest."""
    path = subject.node.path("/var/www/discovery/browse.json")
    now = time.time()
    wait_until(lambda: time.time() - max(now, path.stat().st_mtime) > WRITING_PAUSE, 90,
               "a quiet list")


class Rest:
    """The activity of a program while nothing changes. The number of datagrams
    from others, which `capture` records, is subtracted from the wake-ups of the SSDP thread."""

    def __init__(self, subject, capture):
        settle(subject)
        written = bytes_written(subject)
        rounds = [self._watch(subject, capture) for _ in range(ROUNDS)]
        self.rates = {name: median(rates[name] for rates in rounds) for name in rounds[0]}
        self.written = bytes_written(subject) - written

    @staticmethod
    def _watch(subject, capture):
        before, mark = subject.wake_ups(), capture.mark()
        time.sleep(SECONDS)
        others = [each for each in capture.datagrams(since=mark)
                  if each.source != subject.node.address]
        counts = sorted((count - before[thread] for thread, count in subject.wake_ups().items()),
                        reverse=True)
        rates = {name: count / SECONDS for name, count in zip(FLOORS, counts, strict=True)}
        rates["SSDP"] -= len(others) / SECONDS
        return rates


def bytes_written(subject):
    """Bytes that the program has written so far."""
    for line in Path(f"/proc/{subject.pid}/io").read_text().splitlines():
        if line.startswith("wchar:"):
            return int(line.split()[1])
    raise ValueError("no wchar")
