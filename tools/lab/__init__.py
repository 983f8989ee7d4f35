"""Virtual devices on a virtual network, for demonstrations and system tests.

A Lab is a switch (a bridge in a network namespace of its own) with any number
of Devices and Peers plugged into it. A Device is a whole small machine: its own
network, processes, /var, /run and /tmp, D-Bus, avahi-daemon, beacon-configd and
beacond. A Peer is a bare network in which a test opens sockets.

All namespaces are anonymous and held by processes that live only as long as the
program that made them, so that nothing is left behind however that program ends.
Nothing is ever sent outside the namespaces. Needs root.
"""

from .capture import Capture, Datagram
from .device import Device, DeviceSpec
from .network import Lab
from .peer import Peer
from .program import Program
from .waiting import wait_until

__all__ = ["Capture", "Datagram", "Device", "DeviceSpec", "Lab", "Peer", "Program", "wait_until"]
