"""Three devices of different products find each other."""

import re
from pathlib import Path

import pytest

import expected
from lab import wait_until
from lab.device import BROWSE_LIST
from minissdpd import Minissdpd

# A request and its answer each wait up to three ticks of at most 5.75 s, in whole ticks. The
# list is written at most 5.5 s later. An announcement that was sent before a device had started
# is repeated within 24 s.
LIMIT = 90

# The list that the tests of the discovery page use.
SAMPLE = Path(__file__).resolve().parents[1] / "web/fixtures/browse.json"


@pytest.fixture(scope="module")
def all_found(wire, three_devices):
    """The devices, after each list contains all of them."""
    def short_lists():
        return [each.name for each in three_devices if len(each.browse_list()) < 3]
    wait_until(lambda: not short_lists(), LIMIT, "three entries in every list", short_lists)
    return three_devices


def test_every_list_contains_every_device(all_found):
    for device in all_found:
        assert device.read(BROWSE_LIST) == expected.browse_json(*all_found)


def test_the_discovery_page_is_tested_with_a_list_that_a_device_wrote(all_found):
    assert all_found[0].read(BROWSE_LIST) == SAMPLE.read_text(encoding="utf-8")


def test_the_registries_and_the_lists_contain_the_same_devices(all_found, peer):
    for device in all_found:
        assert peer.ask(b"gn", device.address, 49821) == expected.listing("NodeList", *all_found)
        assert peer.ask(b"gh", device.address, 49821) == expected.listing("HostList", device)


def test_every_device_sees_every_other_by_dns_sd(all_found):
    def services(device):
        return {(each["name"], each["address"], each["port"], each["text"])
                for each in device.mdns_services()}
    wanted = {(each.name, each.address, 80, "\"path=/\" \"txtvers=1\"") for each in all_found}
    for device in all_found:
        wait_until(lambda: services(device) == wanted, 20, f"all services seen by {device.name}",
                   lambda: services(device))


def test_every_device_sends_its_own_announcement_and_one_search(all_found, wire):
    for device in all_found:
        notifies = wire.datagrams(device.address, starting=b"NOTIFY")
        for each in notifies:
            assert each.data == notifies[0].data
        expected.assert_alive(notifies[0].data, device)
        searches = wire.datagrams(device.address, starting=b"M-SEARCH")
        assert [each.data for each in searches] == [expected.SEARCH]


def test_minissdpd_receives_the_announcements_of_all(all_found, lab):
    """minissdpd, on a machine where no other program uses the SSDP port."""
    listener = Minissdpd(lab.add_peer())
    wanted = {(expected.location(each), "upnp:rootdevice", expected.usn(each))
              for each in all_found}
    wait_until(lambda: listener.services() == wanted, 40, "all devices in minissdpd's list",
               listener.services)


def test_upnpc_finds_all(all_found, lab):
    """upnpc searches for gateways, and finally for any root device. It then requests each
    description by HTTP. No web server runs here, so it exits with status 1."""
    result = lab.add_peer().run("upnpc", "-l", "-m", "net0", check=False)
    found = re.findall(r"^ desc: (.*)\n st: (.*)$", result.stdout, re.M)
    assert sorted(found) == sorted((expected.location(each), "upnp:rootdevice")
                                   for each in all_found)


def test_a_new_host_name_reaches_the_others(all_found):
    first, *others = all_found
    first.configure(hostName="studio-x")
    wanted = expected.browse_entry(first, "studio-x")
    for device in all_found:
        wait_until(lambda: wanted in device.read(BROWSE_LIST), LIMIT,
                   f"the new name in the list of {device.name}", lambda: device.read(BROWSE_LIST))
    for device in others:
        assert len(device.browse_list()) == 3


def test_a_device_that_says_goodbye_leaves_the_lists(all_found, peer):
    *others, last = all_found
    last.configure(ssdpEnable=False)
    expected.wait_until_dropped(last, others, peer, LIMIT)
    wait_until(lambda: last.address not in last.read(BROWSE_LIST), LIMIT, "gone from its own list",
               lambda: last.read(BROWSE_LIST))
    # The switch affects only SSDP: the DNS-SD service stays.
    assert last.name in {each["name"] for each in others[0].mdns_services()}
