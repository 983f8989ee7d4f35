"""net0 without an address, with two, without a link or with another name; ports in use."""

import itertools
import socket

import pytest

import expected
from health import (PASS, REPEATED, assert_works, descriptors, faults, ssdp_port_open, threads,
                    wait_for_alive, wait_until_closed)
from lab import wait_until

START = ("Run beacond as Non-Daemonized\n"
         "initializing pubsub object\n")
OPENED = "Open: The diagnostic thread has started\n"
CLOSED = "SSDPThread: Exiting...\nSSDPDiagnosticThread: Exiting...\n"
NO_ADDRESS = "Open: The IP Interface container is empty\n"
TWO_ADDRESSES = ("Open: The IP Interface container must have one, and only one member\n"
                 "since we do not support multihomed SSDP at this time.\n")


# Each device gets a new address: the peer remembers the hardware address of a used one.
addresses = (f"192.0.2.{number}" for number in itertools.count(30))


@pytest.fixture
def fresh_device(lab, wire):
    """A device for one test. beacond is not started."""
    device = lab.add_device(product="corvia12", address=next(addresses))
    yield device
    lab.remove(device)


def test_a_start_without_an_address_waits_for_one(fresh_device, wire, peer):
    device = fresh_device
    device.remove_address(device.address)
    device.start_beacond().wait_output("PubSub started\n")
    assert device.beacond.stdout == START + "PubSub started\n"
    assert faults(device) == NO_ADDRESS
    assert not ssdp_port_open(device)
    since = wire.mark()
    device.add_address(device.address)
    wait_for_alive(device, wire, since)
    assert faults(device) == NO_ADDRESS
    assert_works(device, peer)


@pytest.mark.parametrize("first_goes", [True, False])
def test_a_start_with_two_addresses_waits_until_one_is_removed(fresh_device, wire, peer,
                                                               first_goes):
    device = fresh_device
    both = [device.address, "192.0.2.120"]
    device.add_address(both[1])
    device.start_beacond().wait_output("PubSub started\n")
    assert device.beacond.stdout == START + "PubSub started\n"
    assert faults(device) == TWO_ADDRESSES
    assert not ssdp_port_open(device)
    since = wire.mark()
    device.remove_address(both[0 if first_goes else 1])
    device.address = both[1 if first_goes else 0]
    wait_for_alive(device, wire, since)
    assert faults(device) == TWO_ADDRESSES
    assert_works(device, peer)


def test_a_second_address_stops_discovery_until_it_is_removed(running_device, wire, peer):
    device = running_device
    err, since = len(device.beacond.stderr), wire.mark()
    device.add_address("192.0.2.121")
    wire.wait_for(since=since, source=device.address, starting=expected.goodbye(device),
                  timeout=PASS)
    wait_until_closed(device)
    since = wire.mark()
    device.remove_address("192.0.2.121")
    wait_for_alive(device, wire, since)
    assert faults(device, err) == ""
    assert_works(device, peer)


def test_an_address_that_is_removed_and_restored_is_announced_again(running_device, wire, peer):
    device = running_device
    err, since = len(device.beacond.stderr), wire.mark()
    device.remove_address(device.address)
    device.beacond.wait_output(NO_ADDRESS)
    wait_until_closed(device)
    device.add_address(device.address)
    wait_for_alive(device, wire, since)
    assert faults(device, err).replace(NO_ADDRESS, "") == ""
    assert_works(device, peer)


def connected(device):
    """Whether the configuration service reports that the link is up."""
    return device.request("GET", "/api/v1/network/devices")[1][0]["status"]["connected"]


def test_after_its_link_was_down_the_device_is_announced_again(running_device, wire, peer):
    device = running_device
    err = len(device.beacond.stderr)
    for _ in range(3):
        device.set_link(False)
        # A closed port alone does not show this: an earlier change can close it for a moment.
        wait_until(lambda: not connected(device), PASS, "the link reported down")
        wait_until_closed(device)
        since = wire.mark()
        device.set_link(True)
        wait_for_alive(device, wire, since, timeout=REPEATED)
    assert faults(device, err).replace(NO_ADDRESS, "") == ""
    assert_works(device, peer)


def test_after_net0_was_renamed_and_renamed_back_the_device_is_announced_again(running_device, wire,
                                                                               peer):
    device = running_device
    err = len(device.beacond.stderr)
    device.run("sh", "-c", "ip link set net0 down; ip link set net0 name other; ip link set other up")
    wait_until_closed(device)
    device.run("sh", "-c", "ip link set other down; ip link set other name net0")
    since = wire.mark()
    device.run("ip", "link", "set", "net0", "up")
    wait_for_alive(device, wire, since, timeout=REPEATED)
    assert faults(device, err).replace(NO_ADDRESS, "") == ""
    assert_works(device, peer)


def test_a_flapping_link_leaves_the_device_announced(running_device, wire, peer):
    device = running_device
    before = threads(device.beacond), descriptors(device.beacond)
    for _ in range(5):
        device.set_link(False)
        device.set_link(True)
    device.configure(hostName="last")  # reported after the changes of the link
    device.beacond.wait_output("Service 'last' successfully established.\n", timeout=60)
    since = wire.mark()
    device.configure(hostName=device.name)
    wait_for_alive(device, wire, since)
    assert_works(device, peer)
    assert (threads(device.beacond), descriptors(device.beacond)) == before


@pytest.fixture
def port_taken(fresh_device):
    """A function that binds a UDP port of the fresh device and returns the socket."""
    sockets = []

    def take(port):
        with fresh_device.network():
            sockets.append(socket.socket(socket.AF_INET, socket.SOCK_DGRAM))
        sockets[0].bind(("", port))
        return sockets[0]
    yield take
    sockets[0].close()


def test_an_ssdp_port_in_use_is_opened_at_the_first_change_of_a_setting_after_it_is_free(
        fresh_device, port_taken, wire, peer):
    device = fresh_device
    with port_taken(1900):
        device.start_beacond().wait_output("PubSub started\n")
        assert device.beacond.stdout == START + "PubSub started\n"
        assert faults(device) == ""
        # Its ports are closed, but it runs and follows the configuration.
        device.configure(hostName="waiting")
        # Written by the event loop, after the attempt to open the port.
        device.beacond.wait_output("Service 'waiting' successfully established.\n")
        assert device.beacond.stdout == START + "PubSub started\n"
    since = wire.mark()
    device.configure(hostName=device.name)
    wait_for_alive(device, wire, since)
    assert device.beacond.stdout == START + "PubSub started\n" + OPENED
    assert_works(device, peer)


def test_a_diagnostic_port_in_use_disables_only_the_diagnostics(fresh_device, port_taken, wire,
                                                                peer):
    device = fresh_device
    with port_taken(49821):
        device.start_beacond().wait_output("PubSub started\n")
        wire.wait_for(source=device.address, starting=b"NOTIFY")
        answer = peer.ask(expected.SEARCH, device.address)
        assert answer == expected.search_response(device, expected.max_age(answer))
        assert device.beacond.stdout == START + "PubSub started\n"
        assert faults(device) == ""
    device.configure(hostName="other")
    device.beacond.wait_output("Service 'other' successfully established.\n")
    since = wire.mark()
    device.configure(hostName=device.name)
    wait_for_alive(device, wire, since)
    device.beacond.wait_output(OPENED)
    assert_works(device, peer)
