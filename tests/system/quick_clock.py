"""A beacond whose clock runs six times as fast, so that minutes take seconds.

The clock comes from libfaketime. System calls wait in real time, so ticks are short only
while datagrams arrive: see Chatter. The browse list is written late, because the library
does not change the system call in which its writer waits."""

import threading

from lab.device import BEACOND

SPEED = 6
_GROUP = ("239.255.255.250", 1900)


class Chatter:
    """Announces a device again and again until the end of a `with` block."""

    def __init__(self, peer, device):
        self._peer, self._device = peer, device
        self._end = threading.Event()
        self._thread = threading.Thread(target=self._run)

    def __enter__(self):
        self._thread.start()

    def __exit__(self, *unused):
        self._end.set()
        self._thread.join()

    def _run(self):
        with self._peer.udp_socket() as sock:
            while not self._end.wait(0.1):
                sock.sendto(self._device.alive(), _GROUP)


def start_quick(device):
    """Starts beacond with a quick clock."""
    device.run("mount", "-t", "tmpfs", "tmpfs", "/dev/shm")  # libfaketime writes files there
    device.beacond = device.start("beacond", ["faketime", "-f", f"+0 x{SPEED}", BEACOND, "-d"],
                                  device.daemon_environment())
    device.beacond.wait_output("Open: The diagnostic thread has started\n")
