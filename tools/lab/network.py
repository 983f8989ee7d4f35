"""The switch, and everything that is connected to it."""

import json
import os
import secrets
import subprocess

from .device import Device, DeviceSpec
from .machine import Machine
from .node import Node
from .peer import Peer
from .waiting import wait_until


class Lab:
    """A virtual network. Use it in a `with` statement, from one thread.

    `programs` is the folder of beacond and beacon-configd. By default devices get the
    addresses from 192.0.2.10 on, and peers those from 192.0.2.200 on.
    """

    def __init__(self, programs):
        if os.geteuid() != 0:
            raise PermissionError("making virtual devices needs root")
        self.programs = os.path.abspath(programs)
        self.mark = f"{os.getpid()}-{secrets.token_hex(4)}"
        self.devices = []
        self.peers = []
        self.machines = []
        self._ports = 0
        self._switch = Node("switch", "switch.sh", [], self.mark)
        self._switch.begin_setup()
        self._switch.finish_setup()

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        self.close()

    def close(self):
        """Removes everything."""
        for machine in self.machines:
            machine.close()
        nodes = [*self.devices, *self.peers, self._switch]
        for node in nodes:
            node.begin_close()
        for node in nodes:
            node.close()
        self.devices, self.peers, self.machines = [], [], []

    def add_device(self, name="", **fields):
        """Makes a device with the properties of a DeviceSpec. Does not start beacond."""
        return self.add_devices([DeviceSpec(name, **fields)])[0]

    def add_devices(self, specs):
        """Makes several devices in parallel."""
        made = []
        for spec in specs:
            number = len(self.devices)
            spec = spec.completed(number)
            device = Device(spec, self.programs, self.mark)
            self.devices.append(device)
            made.append(device)
            self._plug_in(device)
            device.begin_setup()
        for device in made:
            device.finish_setup()
            self._wait_until_forwarded(device)
            device.start_bus()
        for device in made:
            device.start_services()
        for device in made:
            device.wait_for_services()
        return made

    def add_peer(self, name="", address=None):
        """Makes a node without daemons, in which a test opens sockets."""
        number = len(self.peers)
        return self.add_node(Peer(name or f"peer-{number}", address or f"192.0.2.{200 + number}",
                                  self.mark))

    def add_node(self, node):
        """Connects a node that was made with the lab's mark, and returns it."""
        self.peers.append(node)
        self._plug_in(node)
        node.begin_setup()
        node.finish_setup()
        self._wait_until_forwarded(node)
        return node

    def add_machine(self, spec, images, logs):
        """Makes an emulated machine from a MachineSpec. It is off. `images` is the folder of
        the images, `logs` the folder for its logs."""
        port = self._next_port()
        self._switch_ip("tuntap", "add", port, "mode", "tap")
        self._switch_ip("link", "set", port, "master", "br0", "up")
        machine = Machine(spec, images, logs, self._switch, port)
        self.machines.append(machine)
        return machine

    def remove(self, node):
        """Removes a device or a peer, as if its power were cut."""
        (self.devices if node in self.devices else self.peers).remove(node)
        node.close()

    def set_cable(self, node, plugged_in):
        """Unplugs a node's network cable, or plugs it in."""
        self._switch_ip("link", "set", node.port, "up" if plugged_in else "down")

    def _next_port(self):
        self._ports += 1
        return f"port{self._ports}"

    def _plug_in(self, node):
        node.port = self._next_port()
        self._switch_ip("link", "add", "net0", "netns", str(node.pid),
                        "type", "veth", "peer", "name", node.port)
        self._switch_ip("link", "set", node.port, "master", "br0", "up")

    def _wait_until_forwarded(self, node):
        """Waits until the switch forwards datagrams of the node. The switch notices a plugged
        cable up to a second late; datagrams sent before are lost."""
        def forwarding():
            described = json.loads(self._switch_ip("-json", "-details", "link", "show", node.port))
            return described[0]["linkinfo"]["info_slave_data"]["state"] == "forwarding"
        wait_until(forwarding, 20, f"the switch to forward from {node.name}")

    def _switch_ip(self, *arguments):
        # Enters only the network namespace: `netns` takes a process id as seen from here.
        return subprocess.run(["nsenter", "--target", str(self._switch.pid), "--net", "ip",
                               *arguments], check=True, stdout=subprocess.PIPE).stdout
