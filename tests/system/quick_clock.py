"""A beacond whose clock runs six times as fast: what takes minutes is seen in seconds, and
the rest is unchanged.

The clock is libfaketime's. What the daemon waits for in the system keeps the real time, so
that a tick is as short as the clock makes it only while datagrams arrive: see Chatter. The
browse list is late there, since the library does not know the call that its writer waits in."""

import threading

from lab.device import BEACOND

SPEED = 6
_GROUP = ("239.255.255.250", 1900)


class Chatter:
    """Somebody who announces a device again and again until the end of a `with` block."""

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
    device.run("mount", "-t", "tmpfs", "tmpfs", "/dev/shm")  # libfaketime leaves files there
    device.beacond = device.start("beacond", ["faketime", "-f", f"+0 x{SPEED}", BEACOND, "-d"],
                                  device.daemon_environment())
    device.beacond.wait_output("Open: The diagnostic thread has started\n")
