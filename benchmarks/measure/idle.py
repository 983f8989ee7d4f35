"""What doing nothing costs: wake-ups of each thread, and files written."""

import time
from pathlib import Path

SECONDS = 30
POLL_INTERVAL = 4.250   # the shortest, seconds
BROWSER_STEP = 0.5


def wake_ups_a_second(subject, seconds=SECONDS):
    """By thread, most first."""
    before = subject.wake_ups()
    time.sleep(seconds)
    after = subject.wake_ups()
    rates = {name: (after[name] - before[name]) / seconds for name in after if name in before}
    return dict(sorted(rates.items(), key=lambda item: -item[1]))


def floor():
    """What the specified intervals make inevitable, a second."""
    return 1 / BROWSER_STEP + 1 / POLL_INTERVAL


def bytes_written(subject):
    """Bytes that the program has handed to file systems so far."""
    for line in Path(f"/proc/{subject.pid}/io").read_text().splitlines():
        if line.startswith("wchar:"):
            return int(line.split()[1])
    raise ValueError("no wchar")
