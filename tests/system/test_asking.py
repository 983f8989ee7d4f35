"""Which descriptions a device requests, and what it reads from them."""

from collections import Counter

import pytest

import expected
from expected import Product
from lab import wait_until
from lab.device import BROWSE_LIST
from raw_device import RawDevice, wait_until_read

GROUP = ("239.255.255.250", 1900)
SSDP_PORT = 1900
# A request is sent at one of the next three ticks, at random. Of this many later requests,
# at least one is sent at the third tick, after all earlier ones (except once in ten million
# runs).
LATER = 40
# Three ticks of at most 5.75 s, each of which can take twice as long.
LIMIT = 40

ZR1 = Product("ZR1", "0x10680001", "Field recorder")
UNDESCRIBED = Product("Undescribed", "0x1", "never described")
FOREIGN = b"uuid:0a1b2c3d-0000-0000-0000-000000000000::upnp:rootdevice"


@pytest.fixture(scope="module")
def other(lab):
    """A second machine without a daemon, and a capture of its SSDP port."""
    machine = lab.add_peer()
    return machine, machine.capture()


def named(peer, file, product=UNDESCRIBED):
    return RawDevice(peer.address, name=file, product=product, file=file)


def as_foreign(device, message):
    return message.replace(device.usn.encode(), FOREIGN)


def without(header, message):
    lines = message.split(b"\r\n")
    return b"\r\n".join(line for line in lines if not line.startswith(header + b":"))


def asked_for(peer, other_address):
    """Datagrams that cause a request, each with the device whose description is requested."""
    alive, found = named(peer, "alive.xml"), named(peer, "found.xml")
    other_place = RawDevice(other_address, file="elsewhere.xml")
    folded = named(peer, "folded.xml")
    return [
        (alive.alive(), alive),
        (alive.alive(max_age=0), alive),  # requested again, because its description has not arrived
        (found.search_response(), found),
        (other_place.alive(), other_place),
        (folded.alive().replace(b"USN: ", b"usn:\t\"").replace(b"ssdp:alive", b"SSDP:Alive  "),
         folded),
        (named(peer, "zr1.xml", product=ZR1).search_response(), named(peer, "zr1.xml")),
    ]


def not_asked_for(peer):
    """Datagrams that cause no request."""
    quiet = named(peer, "quiet.xml")
    alive = quiet.alive()
    return [
        as_foreign(quiet, alive), as_foreign(quiet, quiet.search_response()),
        named(peer, "quiet.xml", product=ZR1).alive(),  # can be proxied: others may announce it
        without(b"NT", alive), without(b"USN", alive), without(b"LOCATION", alive),
        without(b"NTS", alive), alive.replace(b"ssdp:alive", b"ssdp:update"),
        quiet.byebye(), alive.replace(b":80/", b":8080/").replace(b":80", b":79"),
        alive.replace(b"http://", b"https://"),
        alive.replace(f"//{peer.address}:80".encode(), b"//0.0.0.0:80"),
        alive.replace(f"//{peer.address}:80".encode(), b"//raw.local:80"),
        quiet.search_response().replace(b"uuid:", b"guid:"),
        quiet.search_response().replace(b"LOCATION: ", b"LOCATION:"),
        quiet.search_response().partition(b"USN: ")[0] + b"USN: " + quiet.usn.encode(),
    ]


@pytest.fixture(scope="module")
def requests(running_device, peer, wire, other):
    """The messages with the devices that they name, the GETs that the first and the second machine
    received because of them, and the lines on standard error. Waits until every request must have
    been sent."""
    machine, other_wire = other
    sock = wire.socket
    before = len(running_device.beacond.stderr)
    wanted = asked_for(peer, machine.address)
    for message in [message for message, _ in wanted] + not_asked_for(peer):
        sock.sendto(message, (running_device.address, SSDP_PORT))
    wait_until_read(running_device, peer)
    said = running_device.beacond.stderr[before:]
    later = [named(peer, f"later-{number}.xml") for number in range(LATER)]
    for each in later:
        sock.sendto(each.alive(), GROUP)
    sent = wire.wait_for(LATER + len(wanted) - 1, timeout=LIMIT, starting=b"GET")
    sent = [each.data for each in sent if b"/later-" not in each.data]
    sent_elsewhere = other_wire.wait_for(starting=b"GET")
    return wanted, sent, [each.data for each in sent_elsewhere], said


def test_each_message_of_an_unknown_device_of_the_family_causes_one_request(requests, peer):
    wanted, sent, _, _ = requests
    assert Counter(sent) == Counter(device.get_request() for _, device in wanted
                                    if device.address == peer.address)


def test_the_request_goes_to_the_host_of_the_location(requests, other):
    _, _, sent_elsewhere, _ = requests
    address = other[0].address
    assert sent_elsewhere == [
        f"GET http://{address}:80/elsewhere.xml HTTP/1.1\r\nHOST:{address}:1900\r\n\r\n".encode()]


def test_unusable_locations_and_usns_are_reported(requests):
    _, _, _, said = requests
    lines = [line for line in said.split("\n")
             if line.startswith(("SendGETRequest", "ParseHTTPResponse"))]
    assert lines == [
        "SendGETRequest: Unable to find the http string",
        "SendGETRequest: Unable to find the http string",
        "SendGETRequest: Invalid IP address: \"0.0.0.0\"",
        "SendGETRequest: Invalid IP address: \"raw.local\"",
        "ParseHTTPResponse: Unable to find the \"uuid\"",
        "SendGETRequest: Unable to find the http string",
        "ParseHTTPResponse: Unable to retrieve the USN",
    ]


def test_no_device_is_listed_without_a_description(requests, running_device, peer):
    assert peer.ask(b"gn", running_device.address, 49821) == expected.listing(
        "NodeList", running_device)


def with_board(device, board):
    """The device, with the board that the list must show."""
    return RawDevice(device.address, device.name, device.product._replace(board=board))


# Model name and number of a description, and the resulting board.
BOARDS = [
    ("Lumen", "0x10660001", "0x10660001"),
    ("Corvia 12", "0x1", "0x1"),
    ("Lumen Plus", "0x2abc", "0x10660002"),
    ("TalonMx", "7", "0x10670001"),
    ("TalonVt", "", "0x10670002"),
    ("ZR2", "0x1ffff", "0x10680002"),
    ("Prototype", "0x1A", "0x1A"),
    ("Prototype X", "1.0", "0xffffffff"),
]


@pytest.fixture(scope="module")
def described(running_device, wire, peer):
    """The devices of BOARDS with their expected entries, after their descriptions were read."""
    devices = []
    for model, number, board in BOARDS:
        device = RawDevice(peer.address, f"a {model}", Product(model, number, f"kind of {model}"))
        wire.socket.sendto(device.description(), (running_device.address, SSDP_PORT))
        devices.append(with_board(device, board))
    wait_until_read(running_device, peer)
    return devices


def test_a_description_creates_an_entry_in_both_lists(described, running_device, peer):
    assert peer.ask(b"gn", running_device.address, 49821) == expected.listing(
        "NodeList", running_device, *described)
    wanted = expected.browse_json(running_device, *described)
    wait_until(lambda: running_device.read(BROWSE_LIST) == wanted, LIMIT, "the browse list",
               lambda: f"{running_device.read(BROWSE_LIST)}\nwanted {wanted}")


def test_the_description_of_a_known_device_is_not_requested_again(described, running_device, wire,
                                                                  peer):
    since = wire.mark()
    known = described[0]
    for message in (known.alive(), known.search_response()):
        wire.socket.sendto(message, (running_device.address, SSDP_PORT))
    wait_until_read(running_device, peer)
    for number in range(LATER):
        wire.socket.sendto(named(peer, f"last-{number}.xml").alive(), GROUP)
    # These requests show that the time for a request to the known device has passed.
    asked = wire.wait_for(LATER, timeout=LIMIT, since=since, starting=b"GET")
    assert len([each for each in asked if b"/last-" in each.data]) == LATER
    assert known.get_request() not in [each.data for each in asked]


def test_a_second_description_replaces_the_first(described, running_device, wire, peer):
    renamed = RawDevice(peer.address, "renamed", described[0].product)
    wire.socket.sendto(renamed.description(), (running_device.address, SSDP_PORT))
    wait_until_read(running_device, peer)
    described[0] = renamed
    assert peer.ask(b"gn", running_device.address, 49821) == expected.listing(
        "NodeList", running_device, *described)


def test_a_description_without_a_name_changes_nothing(described, running_device, wire, peer):
    nameless = RawDevice(peer.address, product=Product("Unnamed", "0x1", ""))
    message = nameless.description().replace(b"friendlyName", b"friendlyname")
    wire.socket.sendto(message, (running_device.address, SSDP_PORT))
    wait_until_read(running_device, peer)
    assert peer.ask(b"gn", running_device.address, 49821) == expected.listing(
        "NodeList", running_device, *described)


def test_an_announcement_leads_to_a_request_a_description_and_an_entry(described, running_device,
                                                                       wire, peer):
    newcomer = RawDevice(peer.address, "Studio \"Ä\"", Product("Newcomer", "0x1010", "a\\b"))
    since = wire.mark()
    wire.socket.sendto(newcomer.alive(), GROUP)
    wire.wait_for(timeout=LIMIT, since=since, starting=newcomer.get_request())
    wire.socket.sendto(newcomer.description(), (running_device.address, SSDP_PORT))
    entry = ('{"serviceDescription":"Newcomer","serviceType":"_http._tcp","serviceDomain":"local",'
             f'"hostName":"Studio \\"Ä\\"","ipAddress":"{peer.address}","port":80,'
             '"deviceName":"Newcomer","description":"a\\\\b","boardType":"Newcomer",'
             '"boardNumber":"0","boardID":"0x1010"}')
    wait_until(lambda: entry in running_device.read(BROWSE_LIST), LIMIT, "the newcomer's entry",
               lambda: running_device.read(BROWSE_LIST))
