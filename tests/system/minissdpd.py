"""minissdpd, an SSDP listener of another project."""

import socket

from lab import wait_until

_PATH = "/run/minissdpd.sock"


class Minissdpd:
    """A running minissdpd on a machine of the lab."""

    def __init__(self, node):
        self._program = node.start("minissdpd", ["minissdpd", "-d", "-i", "net0", "-s", _PATH])
        self._socket_path = node.path(_PATH)
        wait_until(self._socket_path.exists, 10, "minissdpd's socket", self._program.explain)

    def services(self):
        """The services that it knows, read from its socket: triples of location, type and USN."""
        with socket.socket(socket.AF_UNIX) as sock:
            sock.settimeout(5)
            sock.connect(str(self._socket_path))
            sock.sendall(b"\x03\x00")  # request 3: all services; an empty name
            answer = sock.recv(65536)
        count, texts, rest = answer[0], [], answer[1:]
        while rest:
            length, rest = rest[0], rest[1:]
            assert length < 0x80  # longer texts have a second length byte
            texts.append(rest[:length].decode())
            rest = rest[length:]
        assert len(texts) == 3 * count
        return set(zip(texts[0::3], texts[1::3], texts[2::3]))

    def stop(self):
        self._program.stop()
