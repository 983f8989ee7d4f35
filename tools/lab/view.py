"""The devices that a device sees, and tables of them."""

from typing import NamedTuple

from .device import resolved_service

HEADINGS = ("host name", "address", "product", "state")


class Row(NamedTuple):
    """A device, as itself or another device sees it."""

    host_name: str
    address: str
    product: str
    state: str

    def __str__(self):
        return ", ".join(filter(None, self))


class View:
    """All devices that one device sees, by SSDP (its browse.json) and by mDNS."""

    def __init__(self, device):
        self.device = device
        # It keeps running and writes a line for each change.
        self._browser = device.start("avahi-browse", ["avahi-browse", "--resolve", "--parsable",
                                                      "_http._tcp"])

    def ssdp(self):
        """The entries of browse.json, by address."""
        return {entry["ipAddress"]: entry for entry in self.device.browse_list()}

    def mdns(self):
        """The service names of _http._tcp, by address."""
        services = {}
        for line in self._browser.stdout.splitlines():
            service = resolved_service(line)
            if service:
                services[service["name"]] = service["address"]
            elif line.startswith("-"):
                services.pop(line.split(";")[3], None)
        return {address: name for name, address in services.items()}

    def rows(self):
        ssdp, mdns = self.ssdp(), self.mdns()
        return [self._row(address, ssdp.get(address), mdns.get(address))
                for address in sorted(ssdp.keys() | mdns.keys())]

    def _row(self, address, entry, service):
        by = " and ".join(way for way, seen in (("SSDP", entry), ("mDNS", service)) if seen)
        own = " (this device)" if address == self.device.address else ""
        return Row(entry["hostName"] if entry else service, address,
                   entry["deviceName"] if entry else "", f"seen by {by}{own}")

    def missing(self, devices):
        """Sentences that say which of `devices` this device does not see yet."""
        ssdp, mdns = self.ssdp(), self.mdns()
        for other in devices:
            if ssdp.get(other.address, {}).get("hostName") != other.host_name:
                yield f"{self.device.name} does not list {other.host_name} in browse.json"
            if other is not self.device and mdns.get(other.address) != other.host_name:
                yield f"{self.device.name} does not see {other.host_name} by _http._tcp"


def table(views):
    """The lines of a table for each device, with the devices that it sees."""
    lines = []
    for view in views:
        rows = view.rows()
        widths = [max(map(len, column)) for column in zip(HEADINGS, *rows)]
        lines.append(f"{view.device.host_name} ({view.device.address}) sees")
        for row in [HEADINGS, *rows]:
            lines.append("  " + "  ".join(map(str.ljust, row, widths)).rstrip())
        lines.append("")
    return lines
