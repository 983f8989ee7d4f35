"""All kinds of datagrams that an attacker can send to the SSDP port, the same in each run."""

import random
import socket

import expected

NODES = 4096          # the bound on devices from the network
LIST = 4 << 20        # the bound on the browse list, in bytes
SPOOFED = 3 * NODES   # distinct devices in the flood
BURST = 500           # datagrams of this mix that the receive buffer holds

# All addresses are in use. Datagrams for unused addresses fill the send buffer while the
# kernel searches for them, and the answers to the tests' searches would be lost.
ADDRESSES = [f"192.0.2.{number}" for number in range(100, 130)]


def address(number):
    return ADDRESSES[number % len(ADDRESSES)]


def usn(number):
    return f"uuid:65746500-Corvia 12-{address(number)}-{number}"


def alive(number, max_age=120):
    return ("NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: upnp:rootdevice\r\n"
            f"NTS: ssdp:alive\r\nLOCATION: http://{address(number)}:80/corvia_12_upnp_ssdp_1.xml\r\n"
            f"USN: {usn(number)}\r\nCACHE-CONTROL: max-age={max_age}\r\n\r\n").encode()


def byebye(number):
    return ("NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nNT: upnp:rootdevice\r\n"
            f"NTS: ssdp:byebye\r\nLOCATION: http://192.0.2.1:80/x.xml\r\nUSN: {usn(number)}\r\n\r\n"
            ).encode()


def description(number, host_name="spoofed"):
    """A description document that the device did not request."""
    return ("HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\n"
            f"<friendlyName>{host_name}</friendlyName><modelName>Corvia 12</modelName>"
            "<modelNumber>0x10650001</modelNumber><modelDescription>HD recorder"
            f"</modelDescription><UDN>{usn(number)}</UDN><presentationURL>"
            f"http://{address(number)}:80/index.html</presentationURL>\r\n\r\n").encode()


def filled(frame, byte):
    """The largest datagram that is read: a frame with a byte repeated in the place of its {}."""
    return frame.format(byte * (1500 - len(frame) + 2)).encode()


def control_description(number, host_name):
    """A description document with the longest possible model name, of bytes that need the most
    space in JSON."""
    return filled("HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\n"
                  f"<friendlyName>{host_name}</friendlyName><modelName>{{}}</modelName>"
                  f"<UDN>{usn(number)}</UDN>", "\x01")


def long_usn_description(number, host_name):
    """A description document whose longest text is not in the list."""
    return filled("HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\n"
                  f"<friendlyName>{host_name}</friendlyName><UDN>{{}}-{number}</UDN>", "u")


def long_number_description(number, host_name):
    """A description document whose longest text is once in the list, and twice in the registry."""
    return filled("HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\n"
                  f"<friendlyName>{host_name}</friendlyName><modelNumber>0x1{{}}</modelNumber>"
                  f"<UDN>{usn(number)}</UDN>", "0")


def swollen_description(number, host_name=""):
    """The largest description document that is read. Its elements are nested, so each value
    contains those of the inner elements. Its bytes need the most space in JSON."""
    open_tags, close_tags = "", ""
    for name in ("friendlyName", "modelDescription", "modelNumber", "modelName"):
        open_tags += f"<{name}>" + ("0x1" if name == "modelNumber" else "")
        close_tags = f"</{name}>" + close_tags
    return filled(f"HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\n{open_tags}{host_name}{{}}"
                  f"{close_tags}<UDN>{usn(number)}</UDN>", "\x01")


def long_alive(number):
    """An announcement of an unknown device, with the longest possible LOCATION."""
    return filled("NOTIFY * HTTP/1.1\r\nNT: upnp:rootdevice\r\nNTS: ssdp:alive\r\n"
                  f"USN: uuid:65746500-unknown-{number}\r\n"
                  f"LOCATION: http://{address(number)}:80/{{}}.xml\r\n\r\n", "l")


def search_response(number):
    return (f"HTTP/1.1 200 OK\r\nLOCATION: http://{address(number)}:80/a.xml\r\n"
            f"ST: upnp:rootdevice\r\nUSN: {usn(number)}\r\n\r\n").encode()


def search(number):
    target = ("ssdp:all", "upnp:rootdevice", "upnp:rootdevice:1", usn(number), "")[number % 5]
    return (f"M-SEARCH * HTTP/1.1\r\nHOST:239.255.255.250:1900\r\nST:{target}\r\n"
            "MAN:\"ssdp:discover\"\r\nMX:3\r\n\r\n").encode()


def get(number):
    name = ("corvia_12_upnp_ssdp_1.xml", "missing.xml", "../../etc/passwd", "..xml")[number % 4]
    return f"GET http://192.0.2.10:80/{name} HTTP/1.1\r\nHOST:192.0.2.10:1900\r\n\r\n".encode()


def datagrams(count, seed=1):
    """`count` datagrams of random kinds, weighted."""
    chance = random.Random(seed)
    kinds = {
        alive: 30, byebye: 4, description: 20, swollen_description: 4, search_response: 10,
        search: 10, get: 10,
        lambda number: chance.randbytes(number % 120): 8,
        lambda number: b"": 2,
        lambda number: alive(number).ljust(1501 + number % 20000, b"x"): 2,
    }
    for kind in chance.choices(list(kinds), list(kinds.values()), k=count):
        yield kind(chance.randrange(SPOOFED))


def sockets_of(peer, addresses):
    """Gives a peer more addresses, and returns a socket for each."""
    sockets = []
    for each in addresses:
        peer.run("ip", "addr", "add", f"{each}/24", "dev", "net0")
        with peer.network():
            sockets.append(socket.socket(socket.AF_INET, socket.SOCK_DGRAM))
        sockets[-1].bind((each, 0))
    return sockets


def wait_until_handled(device, peer):
    """Waits until the device answers a search: then it has read all earlier datagrams. Repeats
    a lost search from another port, where no late answer can arrive."""
    for _ in range(30):
        try:
            return peer.ask(expected.SEARCH, device.address, timeout=1)
        except TimeoutError:
            pass
    raise TimeoutError(f"no answer to a search\n{device.beacond.explain()[-2000:]}")


def send(sockets, device, peer, what):
    """Sends all datagrams, from each socket in turn, no faster than the device reads them: it
    must answer a search after each burst."""
    for number, data in enumerate(what, 1):
        sockets[number % len(sockets)].sendto(data, (device.address, 1900))
        if number % BURST == 0:
            wait_until_handled(device, peer)
    wait_until_handled(device, peer)
