"""Virtual devices on a virtual network, for demonstrations and system tests.

A Lab is a switch (a bridge in its own network namespace) to which Devices, Machines and
Peers are connected. A Device is a small machine with its own network, processes, /var, /run
and /tmp, D-Bus, avahi-daemon, beacon-configd and beacond. A Machine is emulated, with its own
processor, kernel and init. A Peer is only a network, in which a test opens sockets.

All namespaces are anonymous. They belong to processes that end with the program that made
them, so no namespace is left, however the program ends. Nothing is sent outside the
namespaces. Needs root.
"""

from .capture import Capture, Datagram
from .device import Device, DeviceSpec
from .machine import Machine, MachineSpec
from .network import Lab
from .peer import Peer
from .program import Program
from .waiting import wait_until

__all__ = ["Capture", "Datagram", "Device", "DeviceSpec", "Lab", "Machine", "MachineSpec", "Peer",
           "Program", "wait_until"]
