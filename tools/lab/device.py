"""A virtual device: the daemon under test with everything that it needs."""

import dataclasses
import http.client
import json
import os
import socket

from .node import Node
from .waiting import wait_until

BEACOND = "/mnt/beacond"  # the programs under test are bound to /mnt in every device
CONFIGD = "/mnt/beacon-configd"
BROWSE_LIST = "/var/www/discovery/browse.json"
PRODUCTS = ["corvia12", "lumenplus", "talonmx", "zr2",
            "corvia12plus", "lumen", "talonvt", "zr1"]


@dataclasses.dataclass(frozen=True)
class DeviceSpec:
    """The properties of a device. If the name, address or product is empty, it gets a value from
    the device's number."""

    name: str = ""      # of the device in the lab; also its first host name
    address: str = ""   # IPv4, in a /24 network
    product: str = ""   # product ID
    ssdp: bool = True   # the SSDP switch at the start
    network_from_test: bool = False  # put_network sets the state of net0, in place of the kernel
    programs: str = ""  # the folder of its beacond and beacon-configd; empty: the lab's
    emulator: str = ""  # the command that runs programs for another processor; empty: none

    def completed(self, number):
        return dataclasses.replace(
            self,
            name=self.name or f"device-{number}",
            address=self.address or f"192.0.2.{10 + number}",
            product=self.product or PRODUCTS[number % len(PRODUCTS)])


class Device(Node):
    """A node with D-Bus, avahi-daemon, beacon-configd and, once started,
    beacond. `dbus`, `avahi`, `configd` and `beacond` are its Programs."""

    def __init__(self, spec, programs, mark):
        super().__init__(spec.name, "device.sh",
                         [spec.name, spec.address, os.path.abspath(spec.programs or programs)],
                         mark)
        self.spec = spec
        self.address = spec.address
        self.host_name = spec.name
        self.dbus = self.avahi = self.configd = self.beacond = None

    def runnable(self, *command):
        """The command that starts one of the programs under test."""
        return [self.spec.emulator, *command] if self.spec.emulator else [*command]

    # Setting the device up. The Lab calls start_bus, start_services and wait_for_services.

    def start_bus(self):
        self.dbus = self.start("dbus", ["dbus-daemon", "--config-file=/run/lab/bus.conf",
                                        "--nofork", "--nopidfile", "--nosyslog"])

    def start_services(self):
        self.start_configd()
        wait_until(self._bus_listens, 20, f"{self.name}: the bus", self.dbus.explain)
        self.start_avahi()

    def _bus_listens(self):
        """Whether the bus accepts connections. Its socket exists earlier."""
        with socket.socket(socket.AF_UNIX) as client:
            path = self.path("/run/dbus/system_bus_socket")
            return client.connect_ex(str(path)) == 0

    def wait_for_services(self):
        self.wait_for_configd()
        self.configure(hostName=self.name, ssdpEnable=self.spec.ssdp)
        if self.spec.network_from_test:
            self.put_network()
        self.avahi.wait_output("Server startup complete.")

    def start_configd(self):
        arguments = ["--devices", "/var/lib/beacon-configd/devices.json"]
        self.configd = self.start("configd", self.runnable(
            CONFIGD, *(arguments if self.spec.network_from_test else [])))

    def start_avahi(self):
        self.avahi = self.start("avahi", ["avahi-daemon", "--no-drop-root", "--no-chroot",
                                          "--no-rlimits"])

    # The daemon under test.

    def daemon_environment(self):
        return {**self.environment, "PRODUCT_ID": self.spec.product}

    def start_beacond(self, *arguments, **options):
        """Starts beacond in the foreground (-d unless other arguments are given)."""
        if self.beacond is not None and self.beacond.status is None:
            raise RuntimeError(f"{self.name}: beacond runs already")
        self.beacond = self.start("beacond", self.runnable(BEACOND, *(arguments or ["-d"])),
                                  self.daemon_environment(), **options)
        return self.beacond

    def detach_beacond(self, **options):
        """Starts beacond without -d, as start-up scripts do. Returns the CompletedProcess of
        the command; the detached daemon keeps running."""
        return self.run(*self.runnable(BEACOND), env=self.daemon_environment(), **options)

    def stop_beacond(self):
        """Ends the beacond of start_beacond, if it runs."""
        if self.beacond is not None:
            self.beacond.stop()
            self.beacond = None

    def browse_list(self):
        """The entries of browse.json; none if the file does not exist."""
        return json.loads(self.read(BROWSE_LIST) or "[]")

    def mdns_services(self, kind="_http._tcp"):
        """The services that avahi-browse finds now, as a list of dictionaries."""
        found = self.run("avahi-browse", "--resolve", "--parsable", "--terminate", kind).stdout
        return [service for service in map(resolved_service, found.splitlines()) if service]

    # The configuration service.

    def request(self, method, path, value=None):
        """One HTTP request to the device's configuration service, with `value` as JSON.
        Returns the status and the value of the answer."""
        connection = http.client.HTTPConnection("127.0.0.1", 8080, timeout=10)
        with self.network():
            connection.sock = socket.create_connection(("127.0.0.1", 8080), timeout=10)
        try:
            body = None if value is None else json.dumps(value)
            connection.request(method, path, body, {"Content-Type": "application/json"})
            answer = connection.getresponse()
            text = answer.read()
            return answer.status, json.loads(text) if text else None
        finally:
            connection.close()

    def wait_for_configd(self):
        def answers():
            try:
                return self.request("GET", "/api/v1/system")[0] == 200
            except OSError:
                return False
        wait_until(answers, 20, f"{self.name}: the configuration service", self.configd.explain)

    def configure(self, **members):
        """Changes members of the system configuration."""
        status, answer = self.request("PATCH", "/api/v1/system", members)
        if status != 200:
            raise RuntimeError(f"{self.name}: PATCH {members}: {status} {answer}")
        self.host_name = members.get("hostName", self.host_name)

    def put_network(self, state="Complete", connected=True):
        """Sets the state of net0 in a configuration service that does not follow the kernel."""
        devices = [{"name": "net0", "activeParams": {"address": self.address},
                    "status": {"interfaceSetupState": state, "connected": connected}}]
        status, answer = self.request("PUT", "/api/v1/network/devices", devices)
        if status != 200:
            raise RuntimeError(f"{self.name}: PUT {devices}: {status} {answer}")

    # The network.

    def set_link(self, up):
        """Takes net0 down or up, as `ip link set` does."""
        self.run("ip", "link", "set", "net0", "up" if up else "down")

    def add_address(self, address):
        self.run("ip", "addr", "add", f"{address}/24", "dev", "net0")

    def remove_address(self, address):
        self.run("ip", "addr", "del", f"{address}/24", "dev", "net0")

    def change_address(self, address):
        """Replaces the address of net0. At no moment is net0 without an address."""
        self.add_address(address)
        self.remove_address(self.address)
        self.address = address


def resolved_service(line):
    """The service in a line of `avahi-browse -rp`; None for other lines."""
    fields = line.split(";")
    if fields[0] != "=" or len(fields) < 10:
        return None
    _, interface, _, name, kind, domain, host, address, port, text = fields[:10]
    return {"interface": interface, "name": name, "type": kind, "domain": domain,
            "host": host, "address": address, "port": int(port), "text": text}
