"""Announcements of devices at unused addresses."""

import itertools
import threading

import pytest

import expected
import flood
from health import answer_to

# BURST announcements, then a pause of PAUSE seconds: more than enough to fill the device's
# send buffer with requests.
BURST, PAUSE = 100, 0.5


@pytest.fixture
def announcing(lab, running_device):
    """Announces devices at unused addresses again and again. The kernel searches for each
    address for some seconds before it drops the datagrams for it."""
    stop = threading.Event()
    sock = lab.add_peer().udp_socket()

    def announce():
        for number in itertools.count():
            somewhere = flood.alive(number)
            nowhere = somewhere.replace(f"http://{flood.address(number)}:".encode(),
                                        b"http://192.0.2.%d:" % (1 + number % 8))
            sock.sendto(nowhere, (running_device.address, 1900))
            if number % BURST == 0 and stop.wait(PAUSE):
                return
    thread = threading.Thread(target=announce)
    thread.start()
    yield
    stop.set()
    thread.join()
    sock.close()


def test_announcements_of_unused_addresses_do_not_block_sending(announcing, running_device, wire,
                                                                peer):
    device = running_device
    since = wire.mark()
    # One announcement can be sent before the requests, but not three.
    for each in wire.wait_for(3, since=since, source=device.address, starting=b"NOTIFY",
                              timeout=100):
        expected.assert_alive(each.data, device)
    for _ in range(10):
        answer = answer_to(expected.SEARCH, peer, device, 1900)
        assert answer == expected.search_response(device, expected.max_age(answer))
