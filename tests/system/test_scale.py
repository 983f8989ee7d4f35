"""Twenty devices at once."""

import contextlib

import pytest

import expected
from lab import DeviceSpec, wait_until
from lab.device import BROWSE_LIST

COUNT = 20
PRODUCTS = sorted(expected.PRODUCTS)
# A request and its answer each wait up to three ticks of 5.75 s, the list up to 5.5 s. An
# announcement that was sent before a device had started is repeated within 24 s. Together
# 65 s, and twice that on a busy machine.
LIMIT = 130


@pytest.fixture(scope="module")
def twenty(lab):
    devices = lab.add_devices([DeviceSpec(product=PRODUCTS[number % len(PRODUCTS)])
                               for number in range(COUNT)])
    for each in devices:
        each.start_beacond()
    return devices


def test_twenty_devices_started_at_once_list_each_other(twenty):
    wanted = expected.browse_json(*twenty)

    def short_lists():
        return {each.name: len(each.browse_list()) for each in twenty
                if each.read(BROWSE_LIST) != wanted}
    wait_until(lambda: not short_lists(), LIMIT, "the same whole list everywhere", short_lists)


def ask_twice(peer, command, device):
    """The answer to a diagnostic command. On a busy machine the first one may be lost."""
    with contextlib.suppress(TimeoutError):
        return peer.ask(command, device.address, 49821)
    return peer.ask(command, device.address, 49821)


def test_every_node_list_has_all_twenty_and_every_host_list_only_the_device_itself(twenty, peer):
    for each in twenty:
        assert ask_twice(peer, b"gn", each) == expected.listing("NodeList", *twenty)
        assert ask_twice(peer, b"gh", each) == expected.listing("HostList", each)


def test_one_search_is_answered_by_all_twenty(twenty, peer):
    with peer.udp_socket(timeout=20) as sock:
        sock.sendto(b"M-SEARCH * HTTP/1.1\r\nST: upnp:rootdevice\r\n\r\n",
                    ("239.255.255.250", 1900))
        answers = {}
        while len(answers) < COUNT:
            data, (source, _) = sock.recvfrom(65536)
            assert source not in answers
            answers[source] = data
    for each in twenty:
        assert answers[each.address] == expected.search_response(
            each, expected.max_age(answers[each.address]))


def test_a_device_that_leaves_is_removed_everywhere(twenty, peer):
    leaver, *others = twenty
    leaver.configure(ssdpEnable=False)
    expected.wait_until_dropped(leaver, others, peer, LIMIT)
