"""Attacks that make a device send, store or omit data: one test for each."""

import itertools
import re
import socket
import threading
import time

import pytest

import expected
import flood
from health import PASS, REPEATED, answer_to, faults
from lab import wait_until
from lab.device import BROWSE_LIST
from raw_device import RawDevice, wait_until_read

LISTING_BURST, LISTING_RATE = 1 << 20, 256 << 10  # bytes, bytes per second
OFF_LINK_BURST, OFF_LINK_RATE = 64 << 10, 16 << 10


@pytest.fixture(scope="module")
def attacker(lab):
    return lab.add_peer()


def received(sock):
    """All datagrams that a socket has received."""
    sock.setblocking(False)
    datagrams = []
    try:
        while True:
            datagrams.append(sock.recv(65536))
    except BlockingIOError:
        return datagrams


def wait_until_asked(device, peer):
    """Waits until the diagnostic thread has handled all commands so far. It answers in their
    order."""
    answer_to(b"gh", peer, device, 49821)


def test_a_reply_from_another_diagnostic_port_is_not_answered(running_device, attacker, peer):
    with attacker.udp_socket(49821) as sock:
        for question in (b"x", b"gn", b"gh", b"Invalid operation\n"):
            sock.sendto(question, (running_device.address, 49821))
        wait_until_asked(running_device, peer)
        assert received(sock) == []


def test_listing_commands_spend_a_budget(running_device, attacker, peer):
    for number in range(200):
        with attacker.udp_socket() as sock:
            sock.sendto(flood.description(number), (running_device.address, 1900))
    wait_until_read(running_device, peer)
    assert len(peer.ask(b"gn", running_device.address, 49821)) > 20_000
    with attacker.udp_socket() as sock:
        begin = time.monotonic()
        for _ in range(2000):
            sock.sendto(b"gn", (running_device.address, 49821))
        wait_until_asked(running_device, peer)
        took = time.monotonic() - begin
        sent = sum(map(len, received(sock)))
    assert 20_000 < sent <= LISTING_BURST + LISTING_RATE * (took + 1)


@pytest.fixture(scope="module")
def small_subnet(lab):
    """A device in the subnet 192.0.2.0 to 192.0.2.127, with a route to the other half."""
    device = lab.add_device("studio-s", product="lumenplus", address="192.0.2.20")
    device.run("ip", "addr", "add", "192.0.2.20/25", "dev", "net0")
    device.run("ip", "addr", "del", "192.0.2.20/24", "dev", "net0")
    device.run("ip", "route", "add", "192.0.2.128/25", "dev", "net0")
    device.start_beacond()
    return device


def answers_to_searches(device, asker, count):
    """The answers to `count` short searches, and the time that they took."""
    search = b"M-SEARCH\nST:ssdp:all"
    with asker.udp_socket() as sock:
        begin = time.monotonic()
        for number in range(count):
            sock.sendto(search, (device.address, 1900))
            if number % 100 == 99:
                wait_until_read(device, asker)
        return received(sock), time.monotonic() - begin


def test_only_answers_to_other_subnets_spend_a_budget(lab, small_subnet, attacker):
    neighbour = lab.add_peer(address="192.0.2.100")
    answer = answer_to(expected.SEARCH, neighbour, small_subnet, 1900)
    assert answer == expected.search_response(small_subnet, expected.max_age(answer))
    assert attacker.ask(expected.SEARCH, small_subnet.address) == answer
    answers, took = answers_to_searches(small_subnet, attacker, 2000)
    assert set(answers) == {answer}
    assert len(answers) * len(answer) <= OFF_LINK_BURST + OFF_LINK_RATE * (took + 1)
    answers, _ = answers_to_searches(small_subnet, neighbour, 2000)
    assert answers == [answer] * 2000


def test_descriptions_for_other_subnets_spend_the_budget(lab, small_subnet, attacker, wire):
    """A thousand searches spend the budget; each description needs 1.3 kB of it."""
    answers_to_searches(small_subnet, attacker, 1000)
    path = f"http://{small_subnet.address}:80/{expected.document_name(small_subnet)}"
    get = f"GET {path} HTTP/1.1\r\n\r\n".encode()
    begin = time.monotonic()
    with attacker.udp_socket() as sock:
        for _ in range(500):
            sock.sendto(get, (small_subnet.address, 1900))
        wait_until_read(small_subnet, attacker)
        took = time.monotonic() - begin
        # All answers are sent within three ticks. The third announcement from now comes at the
        # fifth tick or later.
        since = wire.mark()
        wire.wait_for(3, since=since, source=small_subnet.address, starting=b"NOTIFY", timeout=100)
        answers = received(sock)
    assert sum(map(len, answers)) <= OFF_LINK_RATE * (took + 1)


IMPOSSIBLE_PEERS = ["239.255.255.250", "224.0.0.1", "255.255.255.255", "192.0.2.255", "127.0.0.1",
                    "0.0.0.1", "240.0.0.1"]


def test_no_document_is_requested_from_an_address_that_no_peer_can_have(running_device, attacker,
                                                                        peer, wire):
    start, since = len(running_device.beacond.stderr), wire.mark()
    with attacker.udp_socket() as sock:
        for number, address in enumerate(IMPOSSIBLE_PEERS):
            notify = flood.alive(10_000 + number)
            sock.sendto(re.sub(rb"http://[^:]+", b"http://" + address.encode(), notify),
                        (running_device.address, 1900))
    wait_until_read(running_device, peer)
    lines = faults(running_device, start).splitlines()
    assert [line for line in lines if "Invalid" in line] == [
        f'SendGETRequest: Invalid IP address: "{address}"' for address in IMPOSSIBLE_PEERS]
    wire.wait_for(3, since=since, source=running_device.address, starting=b"NOTIFY", timeout=100)
    assert wire.datagrams(running_device.address, since, b"GET") == []


def test_forged_announcements_in_its_name_do_not_stop_its_own(running_device, attacker, wire):
    """The attacker sends one every second, for the time of three announcements."""
    since = wire.mark()
    forged = expected.alive(running_device, 1_000_000)
    with attacker.udp_socket() as sock:
        def announced(times):
            sock.sendto(forged, (running_device.address, 1900))
            time.sleep(1)
            return len(wire.datagrams(running_device.address, since, b"NOTIFY")) >= times
        for times in (1, 2, 3):
            wait_until(lambda: announced(times), REPEATED, f"announcement {times}")
    for each in wire.datagrams(running_device.address, since, b"NOTIFY"):
        expected.assert_alive(each.data, running_device)


def test_a_forged_description_in_its_name_is_replaced_at_its_next_announcement(
        running_device, attacker, peer, wire):
    forged = RawDevice(running_device.address, "forged", expected.product(running_device))
    with attacker.udp_socket() as sock:
        sock.sendto(forged.description(), (running_device.address, 1900))
    wait_until_read(running_device, peer)
    since = wire.mark()
    wire.wait_for(since=since, source=running_device.address, starting=b"NOTIFY", timeout=REPEATED)
    wait_until(lambda: b"forged" not in peer.ask(b"gn", running_device.address, 49821), PASS,
               "its own name in the listing")
    wait_until(lambda: expected.browse_entry(running_device) in running_device.read(BROWSE_LIST),
               PASS, "its own name in the list")


class Flood:
    """Sends datagrams in turn, `rate` per second, from one socket, until the `with` block
    ends."""

    def __init__(self, node, address, datagrams, rate):
        self._socket = node.udp_socket()
        self._stop = threading.Event()
        self._thread = threading.Thread(target=self._send, args=(address, datagrams, rate))

    def _send(self, address, datagrams, rate):
        for number, data in enumerate(itertools.cycle(datagrams)):
            self._socket.sendto(data, (address, 1900))
            if number % (rate // 20) == 0 and self._stop.wait(0.05):
                return

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *unused):
        self._stop.set()
        self._thread.join()
        self._socket.close()


class Neighbour:
    """A simulated device: announces itself, requests the device's document, and answers
    requests for its own."""

    def __init__(self, node, address, name):
        self.raw = RawDevice(address, name)
        with node.network():
            self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind((address, 1900))
        self.socket.setblocking(False)
        self.served = False

    def take_turn(self, device, get):
        """Answers all received requests, announces itself, and requests the document if it has
        none."""
        while True:
            try:
                data, sender = self.socket.recvfrom(65536)
            except BlockingIOError:
                break
            if data.startswith(b"GET "):
                self.socket.sendto(self.raw.description(), sender)
            self.served = self.served or b"CONTENT-LANGUAGE" in data
        self.socket.sendto(self.raw.alive(), (device.address, 1900))
        if get and not self.served:
            self.socket.sendto(get, (device.address, 1900))


@pytest.fixture
def neighbours(lab, request):
    """Eight neighbours, named after the test, at addresses of one machine."""
    node = lab.add_peer()
    made = []
    for number in range(8):
        address = f"192.0.2.{60 + 8 * len(lab.peers) + number}"
        node.run("ip", "addr", "add", f"{address}/24", "dev", "net0")
        made.append(Neighbour(node, address, f"{request.node.name}-{number}"))
    yield made
    for each in made:
        each.socket.close()


def missing_from_list(neighbours, device):
    listed = device.read(BROWSE_LIST)
    return [each.raw.name for each in neighbours if f'"{each.raw.name}"' not in listed]


# A document waits in the queue for up to three ticks of 5.75 s, and is sent at a tick.
TRY = 25
LISTED = 60  # seconds until a neighbour is in the list, during a flood, too


def wait_until_a_queue_is_full(device, start):
    """Waits for the line about the queue of responses on standard error, from a position
    on. The queue of requests has four times as many places: a slow machine may never send
    enough to fill it."""
    line = "SendGETResponse: Too many delayed responses, dropping what comes more\n"
    wait_until(lambda: line in device.beacond.stderr[start:], 3 * TRY, "a full queue",
               device.beacond.explain)


def test_a_flood_from_one_address_does_not_starve_others(running_device, attacker, neighbours):
    address, start = running_device.address, len(running_device.beacond.stderr)
    get = flood.get(0).replace(b"192.0.2.10:80", address.encode() + b":80")
    with Flood(attacker, address, [get, flood.alive(0), get, flood.alive(1)], 2000):
        wait_until_a_queue_is_full(running_device, start)
        begin = time.monotonic()
        tries = [begin + number * TRY for number in range(3)]
        listed = []  # the times at which all neighbours were listed

        def served_and_listed():
            request_now = tries and time.monotonic() >= tries[0]
            if request_now:
                tries.pop(0)
            for each in neighbours:
                each.take_turn(running_device, get if request_now else None)
            time.sleep(2)
            if not missing_from_list(neighbours, running_device):
                listed.append(time.monotonic())
            return listed and all(each.served for each in neighbours)
        wait_until(served_and_listed, 3 * TRY, "all neighbours served and listed",
                   lambda: ([each.served for each in neighbours],
                            missing_from_list(neighbours, running_device)))
    assert listed[0] - begin < LISTED


def test_forged_descriptions_do_not_keep_real_devices_out(running_device, attacker, neighbours):
    """The attacker sends more than fit into the registry, with the longest max-age, and no
    goodbye."""
    with attacker.udp_socket() as sock:
        for number in range(flood.NODES + 50):
            sock.sendto(b"HTTP CONTENT-LANGUAGE max-age=1073741\r\n"
                        b"friendlyName></friendlyName UDN>forged-%d</UDN" % number,
                        (running_device.address, 1900))
            if number % 500 == 499:
                wait_until_read(running_device, attacker)

    def listed():
        for each in neighbours:
            each.take_turn(running_device, None)
        time.sleep(2)
        return not missing_from_list(neighbours, running_device)
    wait_until(listed, LISTED, "all neighbours in the list",
               lambda: missing_from_list(neighbours, running_device))
    assert len(running_device.browse_list()) <= flood.NODES + 1
