"""The effects of changes of the configuration on datagrams, the SSDP port and the DNS-SD service,
and changes that have no effect.

To show that a change has no effect, a test makes a second change that has one. The daemon
handles changes in order. Its output shows when the port is closed and opened."""

import pytest

import expected
from health import PASS, ssdp_port_open
from lab import wait_until
from raw_device import wait_until_recorded
from test_configuration import notifies

REOPENED = ("SSDPThread: Exiting...\nSSDPDiagnosticThread: Exiting...\n"
            "Open: The diagnostic thread has started\n")
OPENED = "Open: The diagnostic thread has started\n"
CLOSED = "SSDPThread: Exiting...\nSSDPDiagnosticThread: Exiting...\n"


@pytest.fixture(scope="module")
def device(lab, wire):
    """An announced device, published by DNS-SD, whose network state comes from the test."""
    made = lab.add_device("by-hand", product="lumenplus", network_from_test=True)
    made.start_beacond().wait_output("Service 'by-hand' successfully established.\n")
    wire.wait_for(source=made.address, starting=b"NOTIFY")
    return made


class Since:
    """The device's datagrams and output since this object was made."""

    def __init__(self, device, wire, peer):
        wait_until_recorded(wire, peer)
        self._device, self._wire, self._peer = device, wire, peer
        self._mark = wire.mark()
        self._written = len(device.beacond.stdout)
        self._reported = len(device.beacond.stderr)

    def said(self):
        """The device's announcements and goodbyes in words, without repeated announcements."""
        words = []
        for each in notifies(self._wire, self._device, self._mark):
            if each == expected.goodbye(self._device):
                words.append("goodbye")
            else:
                expected.assert_alive(each, self._device)
                if words[-1:] != ["alive"]:
                    words.append("alive")
        return words

    def all_said(self):
        wait_until_recorded(self._wire, self._peer)
        return self.said()

    def wait_until_said(self, *words):
        wait_until(lambda: self.said() == list(words), PASS, f"{words}", self.said)

    def wait_until_announced_again(self):
        """Waits for one goodbye and one announcement; the previous announcement may be repeated
        before them."""
        both = ["goodbye", "alive"]
        wait_until(lambda: self.said()[-2:] == both, PASS, "goodbye and announcement", self.said)
        assert self.said() in (both, ["alive", *both])

    def wait_until_written(self, text):
        wait_until(lambda: self.written() == text, PASS, f"{text!r} written", self.written)

    def written(self):
        return self._device.beacond.stdout[self._written:]

    def publications(self):
        """The number of times that it has published its DNS-SD service."""
        return self._device.beacond.stderr[self._reported:].count("successfully established.\n")


@pytest.fixture
def since(device, wire, peer):
    return Since(device, wire, peer)


def hosts(device, peer):
    return peer.ask(b"gh", device.address, 49821)


def service_names(device):
    return [each["name"] for each in device.mdns_services()]


def named_in_its_document(device, name):
    """Whether a device's description contains a name. The description is written just before
    the announcement."""
    document = device.read("/var/www/html/lumen_plus_upnp_ssdp_1.xml")
    return f"<friendlyName>{name}</friendlyName>\n" in (document or "")


def put_reported_address(device, address):
    """Lets the configuration service report another address. net0 keeps its address."""
    devices = [{"name": "net0", "activeParams": {"address": address},
                "status": {"interfaceSetupState": "Complete", "connected": True}}]
    assert device.request("PUT", "/api/v1/network/devices", devices)[0] == 200


def test_other_states_of_the_interface_have_no_effect(device, since):
    device.put_network(state="Failed")
    device.put_network(state="Idle")
    device.configure(hostName="by-hand-2")
    since.wait_until_announced_again()
    assert since.written() == REOPENED  # the name reopened it


def test_complete_announces_and_publishes_by_dns_sd_again(device, since):
    device.put_network(state="Complete")
    since.wait_until_announced_again()
    wait_until(lambda: since.publications() == 1, PASS, "published again", device.beacond.explain)
    assert since.written() == REOPENED
    assert service_names(device) == ["by-hand-2"]


def test_connected_again_leaves_an_open_port_open(device, since):
    device.put_network(connected=False)
    since.wait_until_written(CLOSED)
    device.configure(hostName="by-hand-3")  # opens it
    since.wait_until_written(CLOSED + OPENED)
    device.put_network(connected=True)
    device.configure(hostName="by-hand")
    since.wait_until_written(CLOSED + OPENED + REOPENED)  # the second name reopened it
    wait_until(lambda: named_in_its_document(device, "by-hand"), PASS, "the second name announced")
    wait_until(lambda: since.said()[-1:] == ["alive"], PASS, "announced", since.said)


def test_a_lost_connection_leaves_a_closed_port_closed(device, since):
    device.put_network(state="Preparing")
    since.wait_until_written(CLOSED)
    assert since.all_said()[-1:] == ["goodbye"]
    assert since.said().count("goodbye") == 1
    device.put_network(state="Preparing", connected=False)
    assert not ssdp_port_open(device)
    device.put_network(state="Preparing", connected=True)
    since.wait_until_written(CLOSED + OPENED)
    device.put_network(state="Complete")
    wait_until(lambda: since.said()[-1:] == ["alive"], PASS, "announced", since.said)
    assert since.said().count("goodbye") == 1
    assert since.written() == CLOSED + OPENED + REOPENED


def test_with_ssdp_off_only_complete_has_an_effect_and_announces_nothing(
        device, wire, peer, since):
    device.configure(ssdpEnable=False)
    wait_until(lambda: since.said()[-1:] == ["goodbye"], PASS, "the goodbye", since.said)
    assert since.written() == ""
    off = Since(device, wire, peer)
    put_reported_address(device, "192.0.2.99")
    put_reported_address(device, device.address)
    device.put_network(state="Preparing")
    device.put_network(state="Preparing", connected=False)
    device.put_network(state="Preparing", connected=True)
    device.configure(hostName="unheard-of")
    device.put_network(state="Complete")
    off.wait_until_written(REOPENED)
    assert ssdp_port_open(device)
    wait_until(lambda: off.publications() == 1, PASS, "published again", device.beacond.explain)
    assert service_names(device) == ["by-hand"]  # DNS-SD gets a name only while SSDP is on
    assert off.all_said() == []
    assert hosts(device, peer) == b"HostList"


def test_switching_ssdp_on_announces_without_reopening_the_port(device, peer, since):
    device.configure(ssdpEnable=True)
    since.wait_until_said("alive")
    assert since.written() == ""
    assert named_in_its_document(device, "unheard-of")
    assert since.publications() == 0
    assert service_names(device) == ["by-hand"]


def test_a_new_name_is_also_published_by_dns_sd(device, since):
    device.configure(hostName="by-hand-4")
    since.wait_until_announced_again()
    wait_until(lambda: service_names(device) == ["by-hand-4"], 20, "the new name",
               lambda: service_names(device))
    assert since.publications() == 1
