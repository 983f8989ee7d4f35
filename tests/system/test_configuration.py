"""The datagrams that changes of the configuration and of the network cause."""

import pytest

import expected
from health import PASS, REPEATED, ssdp_port_open
from lab import wait_until

DOCUMENT = "/var/www/html/corvia_12_upnp_ssdp_1.xml"


def notifies(wire, device, since):
    return [each.data for each in wire.datagrams(device.address, since, b"NOTIFY")]


def reported_address(device):
    """The address of net0 in the configuration service."""
    return device.request("GET", "/api/v1/network/devices")[1][0]["activeParams"]["address"]


def wait_until_all_sent_has_arrived(wire, lab):
    """Waits until the capture contains all datagrams sent so far: until it contains a later
    one."""
    since = wire.mark()
    with lab.add_peer().udp_socket() as sock:
        def later_arrived():
            sock.sendto(b"later", ("239.255.255.250", 1900))
            return wire.datagrams(since=since, starting=b"later")
        wait_until(later_arrived, PASS, "what was sent later")


def test_a_new_host_name_causes_a_goodbye_and_an_announcement(running_device, wire):
    device = running_device
    since = wire.mark()
    device.configure(hostName="studio-b")
    sent = wire.wait_for(2, since=since, source=device.address, starting=b"NOTIFY", timeout=PASS)
    assert sent[0].data == expected.goodbye(device)
    expected.assert_alive(sent[1].data, device)
    assert "    <friendlyName>studio-b</friendlyName>\n" in device.read(DOCUMENT)


def test_the_same_host_name_again_changes_nothing(running_device, wire):
    device = running_device
    since, before = wire.mark(), device.beacond.stdout
    device.configure(hostName="studio-b")
    device.configure(hostName="studio-a")
    sent = wire.wait_for(2, since=since, source=device.address, starting=b"NOTIFY", timeout=PASS)
    assert sent[0].data == expected.goodbye(device)
    expected.assert_alive(sent[1].data, device)
    # Only the second of the two changes reopened the engine.
    assert device.beacond.stdout[len(before):] == (
        "SSDPThread: Exiting...\nSSDPDiagnosticThread: Exiting...\n"
        "Open: The diagnostic thread has started\n")


def test_switching_ssdp_off_causes_a_goodbye_and_nothing_else(running_device, wire, peer):
    device = running_device
    since = wire.mark()
    device.configure(ssdpEnable=False)
    wire.wait_for(since=since, source=device.address, starting=expected.goodbye(device),
                  timeout=PASS)
    assert notifies(wire, device, since)[-1] == expected.goodbye(device)
    assert notifies(wire, device, since).count(expected.goodbye(device)) == 1
    # The socket stays open, and nothing is announced.
    assert ssdp_port_open(device)
    assert peer.ask(b"gh", device.address, 49821) == b"HostList"


def test_a_new_host_name_with_ssdp_off_is_announced_when_ssdp_is_on_again(running_device, wire):
    device = running_device
    since = wire.mark()
    device.configure(hostName="studio-c")
    device.configure(ssdpEnable=True)
    sent = wire.wait_for(since=since, source=device.address, starting=b"NOTIFY", timeout=PASS)
    expected.assert_alive(sent[0].data, device)
    assert "<friendlyName>studio-c<" in device.read(DOCUMENT)


def test_a_new_address_causes_a_goodbye_for_the_old_and_an_announcement_for_the_new(
        running_device, wire):
    device = running_device
    since, old_goodbye = wire.mark(), expected.goodbye(device)
    device.change_address("192.0.2.110")
    sent = wire.wait_for(2, since=since, starting=b"NOTIFY", timeout=PASS)
    assert sent[0].data == old_goodbye
    expected.assert_alive(sent[1].data, device)
    assert sent[1].source == device.address


def test_an_address_that_changed_with_ssdp_off_is_announced_when_ssdp_is_on_again(
        running_device, wire):
    device = running_device
    since = wire.mark()
    device.configure(ssdpEnable=False)
    wire.wait_for(since=since, source=device.address, starting=expected.goodbye(device),
                  timeout=PASS)
    device.change_address("192.0.2.112")
    wait_until(lambda: reported_address(device) == "192.0.2.112", PASS, "the new address reported")
    since = wire.mark()
    device.configure(ssdpEnable=True)
    sent = wire.wait_for(since=since, starting=b"NOTIFY", timeout=PASS)
    expected.assert_alive(sent[0].data, device)
    assert sent[0].source == device.address


def test_without_an_address_the_port_is_closed_until_there_is_one(running_device, wire):
    device = running_device
    device.remove_address(device.address)
    device.beacond.wait_output("Open: The IP Interface container is empty\n")
    assert not ssdp_port_open(device)
    since = wire.mark()
    device.add_address(device.address)
    sent = wire.wait_for(since=since, source=device.address, starting=b"NOTIFY", timeout=PASS)
    expected.assert_alive(sent[0].data, device)


def test_two_addresses_cause_a_goodbye_and_are_refused_until_one_is_removed(running_device, wire):
    device = running_device
    since = wire.mark()
    device.add_address("192.0.2.111")
    wire.wait_for(since=since, source=device.address, starting=expected.goodbye(device),
                  timeout=PASS)
    device.configure(hostName="studio-d")
    device.beacond.wait_output(
        "Open: The IP Interface container must have one, and only one member\n"
        "since we do not support multihomed SSDP at this time.\n")
    assert not ssdp_port_open(device)
    since = wire.mark()
    device.remove_address("192.0.2.111")
    sent = wire.wait_for(since=since, source=device.address, starting=b"NOTIFY", timeout=PASS)
    expected.assert_alive(sent[0].data, device)
    assert "<friendlyName>studio-d<" in device.read(DOCUMENT)


def test_pulling_the_cable_closes_the_port_and_plugging_it_in_causes_an_announcement(
        running_device, wire, lab):
    device = running_device
    lab.set_cable(device, False)
    wait_until(lambda: not ssdp_port_open(device), PASS, "the SSDP port closed",
               device.beacond.explain)
    since = wire.mark()
    lab.set_cable(device, True)
    sent = wire.wait_for(since=since, source=device.address, starting=b"NOTIFY", timeout=REPEATED)
    expected.assert_alive(sent[0].data, device)


@pytest.fixture(scope="module")
def device_with_network_from_test(lab, wire):
    """A device whose network state comes from the test instead of the kernel."""
    device = lab.add_device("by-hand", product="lumenplus", network_from_test=True)
    device.start_beacond()
    wire.wait_for(source=device.address, starting=b"NOTIFY")
    return device


def test_a_lost_connection_closes_the_port_without_a_goodbye(
        device_with_network_from_test, wire, lab):
    device = device_with_network_from_test
    since = wire.mark()
    device.put_network(connected=False)
    wait_until(lambda: not ssdp_port_open(device), PASS, "the SSDP port closed",
               device.beacond.explain)
    wait_until_all_sent_has_arrived(wire, lab)
    assert expected.goodbye(device) not in notifies(wire, device, since)


def test_a_restored_connection_opens_the_port_without_an_announcement(
        device_with_network_from_test, wire, peer):
    device = device_with_network_from_test
    since = wire.mark()
    device.put_network(connected=True)
    # Each opening sends a search, after the first registry pass.
    wire.wait_for(since=since, source=device.address, starting=b"M-SEARCH", timeout=PASS)
    assert notifies(wire, device, since) == []
    assert peer.ask(b"gh", device.address, 49821) == b"HostList"


def test_complete_publishes_and_preparing_causes_one_goodbye(
        device_with_network_from_test, wire, lab):
    device = device_with_network_from_test
    since = wire.mark()
    device.put_network(state="Preparing")
    wait_until(lambda: not ssdp_port_open(device), PASS, "the SSDP port closed",
               device.beacond.explain)
    device.put_network(state="Complete")
    sent = wire.wait_for(since=since, source=device.address, starting=b"NOTIFY", timeout=PASS)
    expected.assert_alive(sent[0].data, device)  # no goodbye before it: nothing was announced
    device.put_network(state="Preparing")
    wait_until(lambda: not ssdp_port_open(device), PASS, "the SSDP port closed",
               device.beacond.explain)
    wait_until_all_sent_has_arrived(wire, lab)
    assert notifies(wire, device, since)[-1] == expected.goodbye(device)
    assert notifies(wire, device, since).count(expected.goodbye(device)) == 1


def test_a_device_with_ssdp_off_from_the_start_announces_nothing_until_its_name_changes(
        lab, wire, peer):
    since = wire.mark()
    device = lab.add_device("quiet", product="corvia12", ssdp=False)
    device.start_beacond().wait_output("PubSub started")
    # The port is open and the search was sent, but nothing is announced.
    wire.wait_for(since=since, source=device.address, starting=b"M-SEARCH", timeout=PASS)
    assert ssdp_port_open(device)
    assert notifies(wire, device, since) == []
    assert peer.ask(b"gh", device.address, 49821) == b"HostList"
    device.configure(hostName="loud")
    sent = wire.wait_for(since=since, source=device.address, starting=b"NOTIFY", timeout=PASS)
    # If SSDP is off from the start, a new host name is published nevertheless: the switch
    # counts as on until it is first changed.
    expected.assert_alive(sent[0].data, device)
