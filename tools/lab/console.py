"""Connections to an emulated machine: a shell in it, and QEMU's own control port."""

import json
import secrets
import socket
import time

from .waiting import wait_until

READY = b"shell ready\n"  # written by the shell of the images


def _connect(path):
    """Connects to a socket that a program is about to open."""
    def connected():
        client = socket.socket(socket.AF_UNIX)
        try:
            client.connect(str(path))
            return client
        except OSError:
            client.close()
            return None
    return wait_until(connected, 60, f"a socket at {path}")


class Shell:
    """A shell that reads commands from a console of the machine. It answers from the moment
    when the machine has booted, and again after each reset."""

    def __init__(self, path):
        self._socket = _connect(path)
        self._received = b""
        self._is_ready = False

    def close(self):
        self._socket.close()

    def expect_boot(self):
        """Discards the output so far. The machine is about to be reset."""
        self._socket.settimeout(0)
        try:
            while self._socket.recv(65536):
                pass
        except BlockingIOError:
            pass
        self._received = b""
        self._is_ready = False

    def run(self, command, timeout):
        """Runs a command line, once the machine has booted. Returns its status and its output
        as text."""
        end = time.monotonic() + timeout
        if not self._is_ready:
            self._read_until(READY, end)
            self._is_ready = True
        mark = secrets.token_hex(8)
        # Output before the first mark comes from a former command that has timed out.
        line = f"echo {mark}; ( {command}\n) </dev/null 2>&1; echo {mark} $?\n"
        self._socket.sendall(line.encode())
        self._read_until(f"{mark}\n".encode(), end)
        output = self._read_until(f"{mark} ".encode(), end)
        status = self._read_until(b"\n", end)
        return int(status), output.decode(errors="backslashreplace")

    def _read_until(self, word, end):
        """All that comes before `word`."""
        while word not in self._received:
            self._socket.settimeout(max(0.01, end - time.monotonic()))
            try:
                data = self._socket.recv(65536)
            except TimeoutError as error:
                raise TimeoutError(f"no {word!r} on the console; the last output is "
                                   f"{self._received[-1000:]!r}") from error
            if not data:
                raise EOFError(f"the emulator ended before it wrote {word!r}")
            self._received += data
        before, _, self._received = self._received.partition(word)
        return before


class ControlPort:
    """QEMU's control port (QMP): one JSON object on each line."""

    def __init__(self, path):
        self._socket = _connect(path)
        self._socket.settimeout(60)
        self._file = self._socket.makefile("r", encoding="utf-8")
        self._file.readline()  # the greeting
        self.run("qmp_capabilities")

    def close(self):
        self._file.close()
        self._socket.close()

    def run(self, command, **arguments):
        """Runs a command and returns its result. Events that come before are skipped."""
        self._socket.sendall(json.dumps({"execute": command, "arguments": arguments}).encode())
        for line in self._file:
            answer = json.loads(line)
            if "error" in answer:
                raise RuntimeError(f"QEMU: {command} {arguments}: {answer['error']}")
            if "return" in answer:
                return answer["return"]
        raise EOFError(f"the emulator ended before it answered {command}")
