"""A node without daemons, in which tests open sockets."""

import socket
import struct
import time

from .capture import Capture
from .node import Node

GROUP = "239.255.255.250"
SSDP_PORT = 1900
_SO_RCVBUFFORCE = 33
_IP_RECVERR = 11


class Peer(Node):
    """A network with one address, `address`, connected to the switch."""

    def __init__(self, name, address, mark):
        super().__init__(name, "peer.sh", [address], mark)
        self.address = address
        self._captures = []

    def close(self):
        for capture in self._captures:
            capture.stop()
        super().close()

    def udp_socket(self, port=0, timeout=5):
        """A UDP socket on `port` (0: any free one), sending multicast on net0."""
        with self.network():
            sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
            interface = socket.if_nametoindex("net0")
        if port != 0:  # with SO_REUSEADDR, port 0 could give another socket's port
            sock.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        # Room for a flood: a lost datagram would look like one that was not sent.
        sock.setsockopt(socket.SOL_SOCKET, _SO_RCVBUFFORCE, 4 << 20)
        index = struct.pack("=4s4si", bytes(4), bytes(4), interface)
        sock.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, index)
        sock.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_LOOP, 0)
        sock.bind(("", port))
        sock.settimeout(timeout)
        return sock

    def ssdp_socket(self):
        """A UDP socket on port 1900 that has joined the SSDP group."""
        sock = self.udp_socket(SSDP_PORT)
        with self.network():
            member = struct.pack("=4s4si", socket.inet_aton(GROUP), bytes(4),
                                 socket.if_nametoindex("net0"))
        sock.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, member)
        return sock

    def capture(self):
        """Starts to record every datagram that this node receives on port 1900."""
        capture = Capture(self.ssdp_socket())
        self._captures.append(capture)
        return capture

    def ask(self, data, address, port=SSDP_PORT, timeout=5):
        """Sends one datagram and returns the first answer. Sends it again while the port is
        closed: a program opens its ports one after another."""
        end = time.monotonic() + timeout
        with self.udp_socket(timeout=timeout) as sock:
            sock.setsockopt(socket.IPPROTO_IP, _IP_RECVERR, 1)
            while True:
                try:
                    sock.sendto(data, (address, port))
                    return sock.recv(65536)
                except ConnectionRefusedError as error:
                    if time.monotonic() > end:
                        raise TimeoutError(f"port {port} of {address} stayed closed") from error
                    time.sleep(1)  # the kernel limits its refusals to one a second
