"""What changes of the configuration and of the network do on the wire."""

import expected
from lab import wait_until

# The engine sees a withdrawal in its next pass, at most two poll intervals of 5.75 s away.
PASS = 15


def notifies(wire, device, since):
    return [each.data for each in wire.datagrams(device.address, since, b"NOTIFY")]


def ssdp_port_open(device):
    return ":1900 " in device.run("ss", "--no-header", "--udp", "--listening", "--numeric").stdout


def sent_before_now(wire, lab):
    """Waits until what was sent so far has reached the record: a datagram from elsewhere
    that follows it."""
    since = wire.mark()
    with lab.add_peer().udp_socket() as sock:
        sock.sendto(b"mark", ("239.255.255.250", 1900))
    wire.wait_for(since=since, starting=b"mark", timeout=10)


def published(wire, device, since):
    """Waits for an announcement and returns the number of datagrams up to then."""
    wire.wait_for(since=since, source=device.address, starting=b"NOTIFY", timeout=PASS)
    assert b"ssdp:alive" in notifies(wire, device, since)[-1]
    return wire.mark()


def test_a_new_host_name_is_a_goodbye_and_an_announcement(running_device, wire):
    device = running_device
    since = wire.mark()
    device.configure(hostName="studio-b")
    heard = wire.wait_for(2, since=since, source=device.address, starting=b"NOTIFY", timeout=PASS)
    assert heard[0].data == expected.goodbye(device)
    expected.assert_alive(heard[1].data, device)
    document = device.read("/var/www/html/corvia_12_upnp_ssdp_1.xml")
    assert "    <friendlyName>studio-b</friendlyName>\n" in document


def test_the_same_host_name_again_changes_nothing(running_device, wire):
    device = running_device
    since = wire.mark()
    device.configure(hostName="studio-b")
    # The next announcement of its own accord comes without a goodbye before it.
    published(wire, device, since)
    assert expected.goodbye(device) not in notifies(wire, device, since)


def test_switching_ssdp_off_is_a_goodbye_and_silence(running_device, wire, peer):
    device = running_device
    since = wire.mark()
    device.configure(ssdpEnable=False)
    wire.wait_for(since=since, source=device.address, starting=expected.goodbye(device),
                  timeout=PASS)
    assert notifies(wire, device, since)[-1] == expected.goodbye(device)
    assert notifies(wire, device, since).count(expected.goodbye(device)) == 1
    # The socket stays open, with nothing to tell.
    assert ssdp_port_open(device)
    assert peer.ask(b"gh", device.address, 49821) == b"HostList"


def test_a_new_host_name_with_ssdp_off_waits_for_the_switch(running_device, wire):
    device = running_device
    since = wire.mark()
    device.configure(hostName="studio-c")
    device.configure(ssdpEnable=True)
    heard = wire.wait_for(since=since, source=device.address, starting=b"NOTIFY", timeout=PASS)
    expected.assert_alive(heard[0].data, device)
    assert "<friendlyName>studio-c<" in device.read("/var/www/html/corvia_12_upnp_ssdp_1.xml")


def test_a_new_address_is_a_goodbye_for_the_old_and_an_announcement_for_the_new(
        running_device, wire):
    device = running_device
    since = wire.mark()
    old_goodbye = expected.goodbye(device)
    device.change_address("192.0.2.110")
    heard = wire.wait_for(since=since, source=device.address, starting=b"NOTIFY", timeout=30)
    wire.wait_for(since=since, starting=old_goodbye, timeout=1)
    expected.assert_alive([each for each in heard if b"ssdp:alive" in each.data][0].data, device)


def test_a_pulled_cable_closes_the_port_without_a_goodbye(running_device, wire, lab):
    device = running_device
    published(wire, device, 0)
    since = wire.mark()
    lab.set_cable(device, False)
    wait_until(lambda: not ssdp_port_open(device), 20, "the SSDP port closed",
               device.beacond.explain)
    lab.set_cable(device, True)
    wait_until(lambda: ssdp_port_open(device), 20, "the SSDP port open again",
               device.beacond.explain)
    sent_before_now(wire, lab)
    assert expected.goodbye(device) not in notifies(wire, device, since)


def test_a_device_with_ssdp_off_from_the_start_says_nothing(lab, wire, peer):
    since = wire.mark()
    device = lab.add_device("quiet", product="corvia12", ssdp=False)
    device.start_beacond().wait_output("PubSub started")
    # The port is open and the search of the start is sent, but nothing is announced.
    wire.wait_for(since=since, source=device.address, starting=b"M-SEARCH", timeout=PASS)
    assert ssdp_port_open(device)
    assert notifies(wire, device, since) == []
    assert peer.ask(b"gh", device.address, 49821) == b"HostList"
    device.configure(hostName="loud")
    heard = wire.wait_for(since=since, source=device.address, starting=b"NOTIFY", timeout=PASS)
    # With SSDP off from the start, a new host name publishes all the same: the switch counts
    # as on until it is first turned.
    expected.assert_alive(heard[0].data, device)
