"""Counts the daemon's instructions in user space for each NOTIFY of a backlog, by valgrind:
`./bench instructions`. Unlike times, these numbers hardly depend on the machine and its load."""

import re
import sys

from lab import Lab, wait_until
from lab.device import BEACOND, BROWSE_LIST

from . import receiving
from .subject import Subject

PEERS = 100
BACKLOGS = 50
COUNTED = "/run/counted"


class Counter:
    """A daemon under valgrind."""

    def __init__(self, device):
        self._device = device
        self._dumps = 0
        command = ["valgrind", "--tool=callgrind", f"--callgrind-out-file={COUNTED}", BEACOND, "-d"]
        program = device.start("beacond", command, device.daemon_environment())
        program.wait_output("successfully established.\n", timeout=60)
        self._subject = Subject("beacond", device, program.pid)

    def _take(self):
        """The instructions since the last call."""
        self._subject.settle(60)
        self._dumps += 1
        self._device.run("callgrind_control", "--dump")
        path = self._device.path(f"{COUNTED}.{self._dumps}")
        wait_until(lambda: path.exists() and "\ntotals: " in path.read_text(), 60, path.name)
        return int(re.search(r"^totals: (\d+)$", path.read_text(), re.M)[1])

    def cost(self, traffic, peers):
        """Instructions for each NOTIFY."""
        self._take()
        drops = self._subject.drops()
        for number in range(BACKLOGS):
            first = number * receiving.BACKLOG
            traffic.send(receiving.kind_of(peers), receiving.BACKLOG, 0, peers, first)
            self._subject.settle(60)
        if self._subject.drops() != drops:
            raise RuntimeError("the daemon lost datagrams")
        return self._take() / (BACKLOGS * receiving.BACKLOG)


def main(programs):
    with Lab(programs) as lab:
        device = lab.add_device("studio-a", product="corvia12")
        traffic = receiving.Traffic(lab.add_peer("sender"), programs)
        counter = Counter(device)
        print(f"a NOTIFY of a foreign device: {counter.cost(traffic, 0):.0f} instructions")
        traffic.describe(device.address, PEERS)
        wait_until(lambda: device.read(BROWSE_LIST).count("hostName") == PEERS + 1, 60, "the list")
        counter.cost(traffic, PEERS)  # not shown: includes the first NOTIFY of each peer
        print(f"a NOTIFY of one of {PEERS} known peers: {counter.cost(traffic, PEERS):.0f}"
              " instructions")


if __name__ == "__main__":
    main(sys.argv[1])
