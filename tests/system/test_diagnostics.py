"""The diagnostic channel: two-byte commands by UDP, and their answers byte for byte."""

import socket

import pytest

import expected
from expected import Product
from lab import Lab
from raw_device import RawDevice, wait_until_read

PORT = 49821
LARGEST = 65507  # bytes in the largest datagram
KNOWN = [RawDevice(address, name, Product(model, "0x1", "")) for address, name, model in [
    ("192.0.2.9", "a \"quoted\" name", "Corvia 12"), ("192.0.2.100", "", "Corvia 12"),
    ("192.0.2.13", "Stüdio\t", "Corvia 12 Plus"), ("192.0.2.12", "plain", "corvia")]]
UNKNOWN = "ParseSSDPDiagnosticMessages: No such command as "


@pytest.fixture(scope="module")
def quiet_device(running_device):
    """A device that has written all lines of its start."""
    running_device.beacond.wait_output("Service 'studio-a' successfully established.\n")
    return running_device


@pytest.fixture(scope="module")
def alone(programs):
    """A device that announces nothing, and a peer, alone on a network."""
    with Lab(programs) as network:
        device = network.add_device("studio-b", product="lumenplus", ssdp=False)
        device.start_beacond().wait_output("Open: The diagnostic thread has started\n")
        yield device, network.add_peer()


def test_an_empty_list_has_only_its_heading(alone):
    device, peer = alone
    assert peer.ask(b"gh", device.address, PORT) == b"HostList"
    assert peer.ask(b"gn", device.address, PORT) == b"NodeList"


def test_the_device_itself_is_in_both_lists(running_device, peer):
    entry = (b"\n  ProductName:\"Corvia 12\""
             b"\n  HostName:   \"studio-a\""
             b"\n  IP:         192.0.2.10"
             b"\n  USN:        uuid:65746500-Corvia 12-192.0.2.10-0\n")
    assert peer.ask(b"gh", running_device.address, PORT) == b"HostList" + entry
    assert peer.ask(b"gn", running_device.address, PORT) == b"NodeList" + entry


def send_descriptions(device, peer, others):
    with peer.udp_socket() as sock:
        for number, each in enumerate(others):
            sock.sendto(each.description(), (device.address, 1900))
            if number % 50 == 0:  # fifty fit even into a small receive buffer
                wait_until_read(device, peer)
    wait_until_read(device, peer)


def test_peers_are_listed_as_nodes_in_the_order_of_their_usns(running_device, peer):
    send_descriptions(running_device, peer, KNOWN)
    assert peer.ask(b"gn", running_device.address, PORT) == expected.listing(
        "NodeList", running_device, *KNOWN)
    assert peer.ask(b"gh", running_device.address, PORT) == expected.listing(
        "HostList", running_device)


def test_peers_are_nodes_and_not_hosts_of_a_device_that_announces_nothing(alone):
    device, peer = alone
    send_descriptions(device, peer, KNOWN)
    assert peer.ask(b"gn", device.address, PORT) == expected.listing("NodeList", *KNOWN)
    assert peer.ask(b"gh", device.address, PORT) == b"HostList"


@pytest.mark.parametrize("command", [b"GH", b"gH", b"xy", b"g ", b"\n\n", b"\0g", b"\xff\xfe"])
def test_two_other_bytes_are_reported_as_an_unknown_command(quiet_device, peer, command):
    before = len(quiet_device.beacond.stderr)
    assert peer.ask(command, quiet_device.address, PORT) == (
        b"No such command as \"" + command + b"\"")
    reported = UNKNOWN + command.decode(errors="backslashreplace") + "\n"
    assert quiet_device.beacond.stderr[before:] == reported


@pytest.mark.parametrize("request_bytes", [b"g", b"gh\n", b"gh\0", b"HostList", 1600 * b"g"])
def test_any_other_length_except_0_is_invalid(quiet_device, peer, request_bytes):
    before = len(quiet_device.beacond.stderr)
    assert peer.ask(request_bytes, quiet_device.address, PORT) == b"Invalid operation\n"
    assert quiet_device.beacond.stderr[before:] == ""


def test_an_empty_datagram_is_not_answered(running_device, peer):
    with peer.udp_socket() as sock:
        sock.sendto(b"", (running_device.address, PORT))
        sock.sendto(b"gh", (running_device.address, PORT))
        assert sock.recv(65536) == expected.listing("HostList", running_device)
        sock.sendto(b"g", (running_device.address, PORT))
        assert sock.recv(65536) == b"Invalid operation\n"


def test_the_device_can_query_itself_by_loopback(running_device):
    with running_device.network():
        sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    with sock:
        sock.settimeout(5)
        sock.sendto(b"gh", ("127.0.0.1", PORT))
        assert sock.recv(65536) == expected.listing("HostList", running_device)


def test_a_listing_too_large_for_a_datagram_ends_after_the_last_whole_entry(
        running_device, peer):
    many = [RawDevice(f"198.51.100.{number}", 200 * "x", Product("Many", "0x1", ""))
            for number in range(255)]
    send_descriptions(running_device, peer, many)
    wanted = b"NodeList"
    for each in sorted([running_device, *KNOWN, *many], key=expected.usn):
        entry = expected.listing("", each)
        if len(wanted) + len(entry) > LARGEST:
            break
        wanted += entry
    else:
        pytest.fail("everything would fit")
    assert peer.ask(b"gn", running_device.address, PORT) == wanted
