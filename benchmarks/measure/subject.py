"""Programs under measurement."""

import os
import signal
import time
from pathlib import Path

from lab import wait_until

SSDP_PORT_HEX = ":076C"


class Subject:
    """A running program that receives SSDP, in a node of the virtual network."""

    def __init__(self, label, node, pid):
        self.label = label
        self.node = node
        self.pid = pid
        wait_until(lambda: self._sockets(), 20, f"{label} to open port 1900")

    def cpu(self):
        """Processor time so far, in nanoseconds."""
        return sum(int((task / "schedstat").read_text().split()[0])
                   for task in Path(f"/proc/{self.pid}/task").iterdir())

    def wake_ups(self):
        """Voluntary context switches so far, by the name and the id of the thread."""
        found = {}
        for task in Path(f"/proc/{self.pid}/task").iterdir():
            name = (task / "comm").read_text().strip()
            line = next(text for text in (task / "status").read_text().splitlines()
                        if text.startswith("voluntary_ctxt_switches"))
            found[f"{name} {task.name}"] = int(line.split()[1])
        return found

    def _sockets(self):
        """The fields of the sockets on the SSDP port, in the table of the program's network."""
        rows = Path(f"/proc/{self.pid}/net/udp").read_text().splitlines()[1:]
        fields = [row.split() for row in rows]
        return [row for row in fields if row[1].endswith(SSDP_PORT_HEX)]

    def queued(self):
        """Bytes that wait to be received."""
        return int(self._sockets()[0][4].split(":")[1], 16)

    def drops(self):
        """Datagrams that the kernel dropped because the buffer was full."""
        return int(self._sockets()[0][12])

    def receive_buffer(self):
        """Bytes that may wait to be received, as the kernel counts them."""
        output = self.node.run("ss", "-Huamn", "sport = :1900").stdout
        return int(output.split(",rb")[1].split(",")[0])

    def pause(self):
        os.kill(self.pid, signal.SIGSTOP)

    def go_on(self):
        os.kill(self.pid, signal.SIGCONT)
        # Its parent, the program that entered the node for it, is stopped together with it,
        # and must be continued, too.
        parent = int(Path(f"/proc/{self.pid}/stat").read_text().rsplit(")", 1)[1].split()[1])
        os.kill(parent, signal.SIGCONT)

    def settle(self, limit=20):
        """Waits until the program has received and handled all datagrams."""
        end = time.monotonic() + limit
        before = -1
        while time.monotonic() < end:
            now = self.cpu()
            if self.queued() == 0 and now == before:
                return
            before = now
            time.sleep(0.02)
        raise TimeoutError(f"{self.label} has not handled all datagrams")
