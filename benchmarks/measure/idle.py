"""What doing nothing costs: wake-ups of each thread, and files written."""

import time
from pathlib import Path

from lab import wait_until

SECONDS = 30
POLL_INTERVAL = 4.250   # the shortest, seconds
BROWSER_STEP = 0.5
HEARTBEAT = 10          # of the configuration service's event stream
WRITING_PAUSE = 12      # in which a change has been heard of, listed and written


def settle(subject):
    """Waits until the browse list has not been written for a while from now on."""
    path = subject.node.path("/var/www/discovery/browse.json")
    now = time.time()
    wait_until(lambda: time.time() - max(now, path.stat().st_mtime) > WRITING_PAUSE, 90,
               "a quiet list")


def datagrams_heard(subject):
    """UDP datagrams that the kernel has delivered in the program's network so far."""
    lines = Path(f"/proc/{subject.pid}/net/snmp").read_text().splitlines()
    names, values = (line.split() for line in lines if line.startswith("Udp:"))
    return int(values[names.index("InDatagrams")])


class Rest:
    """What a program does by itself while nothing changes."""

    def __init__(self, subject):
        settle(subject)
        before = subject.wake_ups(), datagrams_heard(subject), bytes_written(subject)
        time.sleep(SECONDS)
        after = subject.wake_ups()
        self.rates = {name: (after[name] - before[0][name]) / SECONDS for name in after}
        self.heard = (datagrams_heard(subject) - before[1]) / SECONDS
        self.written = bytes_written(subject) - before[2]

    def floor(self):
        """What the intervals and what comes from outside make inevitable, a second."""
        return 1 / BROWSER_STEP + 1 / POLL_INTERVAL + 1 / HEARTBEAT + self.heard


def bytes_written(subject):
    """Bytes that the program has handed to file systems so far."""
    for line in Path(f"/proc/{subject.pid}/io").read_text().splitlines():
        if line.startswith("wchar:"):
            return int(line.split()[1])
    raise ValueError("no wchar")
