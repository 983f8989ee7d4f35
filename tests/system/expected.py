"""A device's messages, documents and lists, byte for byte."""

import contextlib
import re
from typing import NamedTuple

from lab import Machine, wait_until


class Product(NamedTuple):
    model: str
    board: str
    category: str


PRODUCTS = {
    "corvia12": Product("Corvia 12", "0x10650001", "HD recorder"),
    "lumenplus": Product("Lumen Plus", "0x10660002", "4K encoder"),
    "talonmx": Product("TalonMx", "0x10670001", "Multichannel streamer"),
}

SEARCH = (b"M-SEARCH * HTTP/1.1\r\nHOST:239.255.255.250:1900\r\nST:upnp:rootdevice\r\n"
          b"MAN:\"ssdp:discover\"\r\nMX:3\r\n\r\n")


def product(device):
    """The product of a device of the lab, or of any object with a `product`."""
    return getattr(device, "product", None) or PRODUCTS[device.spec.product]


def usn(device):
    return f"uuid:65746500-{product(device).model}-{device.address}-0"


def document_name(device, number=1):
    slug = product(device).model.lower().replace(" ", "_")
    return f"{slug}_upnp_ssdp_{number}.xml"


def location(device, number=1):
    return f"http://{device.address}:80/{document_name(device, number)}"


def alive(device, max_age):
    return ("NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: upnp:rootdevice\r\n"
            f"NTS: ssdp:alive\r\nLOCATION: {location(device)}\r\nUSN: {usn(device)}\r\n"
            f"CACHE-CONTROL: max-age={max_age}\r\nSERVER: Linux/2.6, UPnP/1.0, SSDP/1.0\r\n\r\n"
            ).encode()


def goodbye(device):
    return ("NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: upnp:rootdevice\r\n"
            f"NTS: ssdp:byebye\r\nLOCATION: {location(device)}\r\nUSN: {usn(device)}\r\n\r\n"
            ).encode()


def search_response(device, max_age):
    return (f"HTTP/1.1 200 OK\r\nCACHE-CONTROL: max-age={max_age}\r\nEXT:\r\n"
            f"LOCATION: {location(device)}\r\nSERVER: Linux/2.6, UPnP/1.0, SSDP/1.0\r\n"
            f"ST: upnp:rootdevice\r\nUSN: {usn(device)}\r\n\r\n").encode()


def serial_number(device):
    """The serial number in the description. Virtual devices have none and use the default."""
    return device.spec.serial_number if isinstance(device, Machine) else "1HE000000"


def document(device):
    """The description document."""
    what = product(device)
    return (
        "<?xml version=\"1.0\"?>\n"
        "<root xmlns=\"urn:schemas-upnp-org:device-1-0\">\n"
        "  <specVersion>\n"
        "    <major>1</major>\n"
        "    <minor>0</minor>\n"
        "  </specVersion>\n"
        "  <device>\n"
        "    <deviceType>urn:schemas-upnp-org:device:Basic:1</deviceType>\n"
        f"    <friendlyName>{device.name}</friendlyName>\n"
        "    <manufacturer>Vexwell Devices</manufacturer>\n"
        "    <manufacturerURL>http://www.vexwell.example/</manufacturerURL>\n"
        f"    <modelDescription>{what.category}</modelDescription>\n"
        f"    <modelName>{what.model}</modelName>\n"
        f"    <modelNumber>{what.board}</modelNumber>\n"
        f"    <modelURL>http://www.vexwell.example/en/products/{what.model}</modelURL>\n"
        f"    <serialNumber>{serial_number(device)}</serialNumber>\n"
        f"    <UDN>{usn(device)}</UDN>\n"
        "    <serviceList>\n"
        "      <service>\n"
        "        <serviceType>urn:vex-com:service:BasicService:1</serviceType>\n"
        "        <serviceId>urn:vex-com:serviceId:BasicServiceId</serviceId>\n"
        f"        <SCPDURL>{document_name(device)}</SCPDURL>\n"
        "        <controlURL>/upnp/control/BasicServiceId</controlURL>\n"
        "        <eventSubURL>/upnp/event/BasicServiceId</eventSubURL>\n"
        "      </service>\n"
        "    </serviceList>\n"
        f"    <presentationURL>http://{device.address}:80/index.html</presentationURL>\n"
        "  </device>\n"
        f"  <URLBase>http://{device.address}:80/</URLBase>\n"
        "</root>\n")


def served(text, length=None):
    """The answer to a GET for a file with this text. `length`: the CONTENT-LENGTH, if it is not
    the length of the text."""
    return (f"HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\n"
            f"CONTENT-LENGTH: {len(text) if length is None else length}\r\n"
            f"CONTENT-TYPE: text/xml; charset=\"utf-8\"\r\n{text}\r\n\r\n").encode()


def max_age(message):
    """The max-age in a message. A device chooses it at random: 120 to 129 seconds."""
    drawn = int(re.search(rb"max-age=(\d+)\r\n", message)[1])
    assert 120 <= drawn <= 129
    return drawn


def assert_alive(message, device):
    assert message == alive(device, max_age(message))


def browse_entry(device, host_name=None):
    what = product(device)
    return (f'{{"serviceDescription":"{what.model}","serviceType":"_http._tcp",'
            f'"serviceDomain":"local","hostName":"{host_name or device.name}",'
            f'"ipAddress":"{device.address}","port":80,"deviceName":"{what.model}",'
            f'"description":"{what.category}","boardType":"{what.model}","boardNumber":"0",'
            f'"boardID":"{what.board}"}}')


def browse_json(*devices):
    """The browse list of a device that knows these devices."""
    return "[" + ",".join(map(browse_entry, sorted(devices, key=usn))) + "]"


def listing(heading, *devices):
    """A diagnostic reply."""
    entries = (f"\n  ProductName:\"{product(each).model}\"\n  HostName:   \"{each.name}\""
               f"\n  IP:         {each.address}\n  USN:        {usn(each)}\n"
               for each in sorted(devices, key=usn))
    return (heading + "".join(entries)).encode()


def wait_until_dropped(leaver, others, peer, timeout):
    """Waits until each of the others has removed a device that said goodbye. Removing it once
    is enough: a late answer to a second request can bring it back."""
    still = {each.address for each in others}

    def all_have():
        for address in list(still):
            with contextlib.suppress(TimeoutError):  # lost on a busy machine: asked again
                if usn(leaver).encode() not in peer.ask(b"gn", address, 49821):
                    still.discard(address)
        return not still
    wait_until(all_have, timeout, f"{leaver.name} dropped", lambda: f"not by {still}")
