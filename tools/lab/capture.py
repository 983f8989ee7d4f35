"""Recording datagrams in the background."""

import threading
import time
from typing import NamedTuple


class Datagram(NamedTuple):
    time: float  # of time.monotonic, seconds
    source: str  # the sender's IPv4 address
    data: bytes


class Capture:
    """Records all datagrams that a socket receives, in order, until it is stopped."""

    def __init__(self, sock):
        self._socket = sock
        self._socket.settimeout(0.1)
        self._arrived = threading.Condition()  # its lock is re-entrant
        self._datagrams = []
        self._stop = False
        self._thread = threading.Thread(target=self._receive, daemon=True)
        self._thread.start()

    @property
    def socket(self):
        """The socket, for sending."""
        return self._socket

    def stop(self):
        self._stop = True
        self._thread.join()
        self._socket.close()

    def mark(self):
        """The number of datagrams so far. Passed as `since`, it makes other calls skip them."""
        with self._arrived:
            return len(self._datagrams)

    def datagrams(self, source=None, since=0, starting=b""):
        """The recorded datagrams; on request only those from one address or with a given
        beginning."""
        with self._arrived:
            return [each for each in self._datagrams[since:]
                    if source in (None, each.source) and each.data.startswith(starting)]

    def wait_for(self, count=1, timeout=60, **which):
        """Waits for at least `count` datagrams, selected as by `datagrams`, and returns
        them."""
        with self._arrived:
            if not self._arrived.wait_for(lambda: len(self.datagrams(**which)) >= count, timeout):
                raise TimeoutError(f"no {count} datagrams {which} within {timeout} s; there were\n"
                                   + "\n".join(map(str, self._datagrams[which.get("since", 0):])))
            return self.datagrams(**which)

    def _receive(self):
        while not self._stop:
            try:
                data, (source, _) = self._socket.recvfrom(65536)
            except TimeoutError:
                continue
            with self._arrived:
                self._datagrams.append(Datagram(time.monotonic(), source, data))
                self._arrived.notify_all()
