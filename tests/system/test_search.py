"""The searches that a device answers, and its answers."""

import pytest

import expected
from raw_device import wait_until_read

GROUP = ("239.255.255.250", 1900)
UNKNOWN = "ParseSSDPPacket: Don't know what to do with this method:\n"
USN = b"uuid:65746500-Corvia 12-192.0.2.10-0"


def search(*lines):
    return b"\r\n".join([b"M-SEARCH * HTTP/1.1", b"HOST: 239.255.255.250:1900",
                         b"MAN: \"ssdp:discover\"", b"MX: 1", *lines, b"", b""])


def answers(device, peer, request, destination=GROUP):
    """All answers to a request. A device answers at once, before it reads the next datagram."""
    received = []
    with peer.udp_socket() as sock:
        sock.sendto(request, destination)
        wait_until_read(device, peer)
        sock.setblocking(False)
        try:
            while True:
                received.append(sock.recvfrom(65536))
        except BlockingIOError:
            pass
    assert all(source == (device.address, 1900) for _, source in received)
    return [data for data, _ in received]


@pytest.fixture(scope="module")
def answer(running_device, wire):
    """The only answer of the device to searches."""
    sent = wire.datagrams(running_device.address, starting=b"NOTIFY")
    return expected.search_response(running_device, expected.max_age(sent[0].data))


def test_it_announces_itself_searches_once_and_sends_nothing_else(running_device, wire):
    # The announcement comes first if the service was added before the port was opened.
    wire.wait_for(source=running_device.address, starting=b"M-SEARCH")
    sent = [each.data for each in wire.datagrams(running_device.address)]
    sent.remove(expected.SEARCH)
    for each in sent:
        assert each == sent[0]
    expected.assert_alive(sent[0], running_device)


@pytest.mark.parametrize("target", [b"ssdp:all", b"upnp:rootdevice", b"upnp:rootdevice:1",
                                    b"upnp:rootdevice:9", USN])
def test_a_target_that_names_its_service_is_answered_once(running_device, peer, answer, target):
    assert answers(running_device, peer, search(b"ST: " + target)) == [answer]


@pytest.mark.parametrize("target", [
    b"ssdp:ALL", b"ssdp:all:1", b"UPNP:rootdevice", b"upnp:rootdevic", b"upnp:rootdevices",
    b"upnp:rootdevice:10", b"upnp:rootdevice:x", b"upnp:rootdevice:", b"upnp:rootdevice:1:1",
    USN[:-1] + b"1", USN + b"0", USN[:-2], USN + b":1", USN.lower(), b"x" + USN,
    USN + b"::upnp:rootdevice", b"uuid:", b"uuid:x", b"upnp:rootdevice uuid:",
    b"urn:schemas-upnp-org:device:Basic:1", b"urn:vex-com:service:BasicService:1", b"*"])
def test_a_target_that_names_something_else_is_not_answered(running_device, peer, target):
    assert answers(running_device, peer, search(b"ST: " + target)) == []


@pytest.mark.parametrize("lines", [
    [b"st:upnp:rootdevice"], [b"St:\t \"upnp:rootdevice\" "], [b"ST: nothing", b"ST: ssdp:all"],
    [b"ST: ssdp:all", b"ST:"], [b"ST", b":ST", b"", b"ST: ssdp:all"]])
def test_a_target_is_read_in_other_notations_too(running_device, peer, answer, lines):
    assert answers(running_device, peer, search(*lines)) == [answer]


def test_a_search_with_bare_line_feeds_and_no_other_header_is_answered(
        running_device, peer, answer):
    assert answers(running_device, peer, b"M-SEARCH\nST: ssdp:all") == [answer]


@pytest.mark.parametrize("lines", [[], [b"ST:"], [b"ST: \"\""], [b"ST : ssdp:all"],
                                   [b"NT: ssdp:all"], [b"ST: ssdp:all", b"ST: nothing"]])
def test_a_search_without_a_target_or_with_an_unknown_last_one_is_not_answered(
        running_device, peer, lines):
    assert answers(running_device, peer, search(*lines)) == []


@pytest.mark.parametrize("method", [b"m-search", b"M-SEARCHES", b"MSEARCH", b" M-SEARCH", b""])
def test_a_datagram_of_another_method_is_reported_and_not_answered(running_device, peer, method):
    request = search(b"ST: ssdp:all").replace(b"M-SEARCH", method)
    before = len(running_device.beacond.stderr)
    assert answers(running_device, peer, request) == []
    report = UNKNOWN + request.decode().replace("\r\n", "\n") + "\n"  # as Python reads lines
    assert running_device.beacond.stderr[before:].count(report) == 1


def test_a_unicast_search_is_answered(running_device, peer, answer):
    destination = (running_device.address, 1900)
    assert answers(running_device, peer, search(b"ST: ssdp:all"), destination) == [answer]


def test_every_search_is_answered_separately(running_device, peer, answer):
    with peer.udp_socket() as sock:
        for _ in range(50):
            sock.sendto(search(b"ST: ssdp:all"), GROUP)
        assert [sock.recv(65536) for _ in range(50)] == 50 * [answer]


def test_a_device_that_announces_nothing_answers_nothing(running_device, peer, wire):
    since = wire.mark()
    running_device.configure(ssdpEnable=False)
    wire.wait_for(since=since, starting=expected.goodbye(running_device))
    for target in (b"ssdp:all", b"upnp:rootdevice", USN):
        assert answers(running_device, peer, search(b"ST: " + target)) == []
