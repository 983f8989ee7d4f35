"""A device that a test simulates byte by byte on a peer, and ways to wait until a device under
test, or a capture, has read all datagrams."""

import itertools

from expected import Product
from lab import wait_until

_markers = itertools.count(1)


class RawDevice:
    """The messages and the description of a simulated device. It has the attributes from which
    `expected` composes a list entry."""

    def __init__(self, address, name="raw", product=Product("Lumen", "0x10660001", "4K encoder"),
                 file="raw.xml"):
        self.address = address
        self.name = name  # its host name
        self.product = product
        self.usn = f"uuid:65746500-{product.model}-{address}-0"
        self.location = f"http://{address}:80/{file}"

    def alive(self, max_age=1800):
        return (f"NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: upnp:rootdevice\r\n"
                f"NTS: ssdp:alive\r\nLOCATION: {self.location}\r\nUSN: {self.usn}\r\n"
                f"CACHE-CONTROL: max-age={max_age}\r\nSERVER: raw\r\n\r\n").encode()

    def byebye(self):
        return (f"NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: upnp:rootdevice\r\n"
                f"NTS: ssdp:byebye\r\nLOCATION: {self.location}\r\nUSN: {self.usn}\r\n\r\n"
                ).encode()

    def search_response(self):
        return (f"HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age=1800\r\nEXT:\r\n"
                f"LOCATION: {self.location}\r\nSERVER: raw\r\nST: upnp:rootdevice\r\n"
                f"USN: {self.usn}\r\n\r\n").encode()

    def get_request(self):
        """The request for this description, which a device sends to port 1900 of `address`."""
        return f"GET {self.location} HTTP/1.1\r\nHOST:{self.address}:1900\r\n\r\n".encode()

    def description(self):
        """The answer to that request, with the elements that devices read."""
        return ("HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\n\r\n<root>"
                f"<friendlyName>{self.name}</friendlyName>"
                f"<modelDescription>{self.product.category}</modelDescription>"
                f"<modelName>{self.product.model}</modelName>"
                f"<modelNumber>{self.product.board}</modelNumber><UDN>{self.usn}</UDN>"
                f"<presentationURL>http://{self.address}:80/index.html</presentationURL></root>"
                ).encode()


def wait_until_read(device, peer):
    """Waits until the device has read all datagrams to its SSDP port so far, and has sent its
    immediate answers: until it reports the fault of a later datagram."""
    marker = f"marker {next(_markers)}"
    with peer.udp_socket() as sock:
        sock.sendto(marker.encode(), (device.address, 1900))
    line = f"ParseSSDPPacket: Don't know what to do with this method:\n{marker}\n"
    wait_until(lambda: line in device.beacond.stderr, 20, f"{device.name} at {marker}",
               device.beacond.explain)


def wait_until_recorded(wire, peer):
    """Waits until the capture of `peer` contains all datagrams that it has received so far."""
    marker = f"marker {next(_markers)}".encode()
    with peer.udp_socket() as sock:
        sock.sendto(marker, (peer.address, 1900))
    wire.wait_for(source=peer.address, starting=marker)
