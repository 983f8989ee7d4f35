"""The largest amount of memory, and the largest browse list, that a network can cause."""

import json
import re
from pathlib import Path

import pytest

import flood
from health import status
from lab import wait_until
from lab.device import BROWSE_LIST

PEAK = 40_000_000  # bytes of resident memory
# The kernel may count waiting datagrams as memory of the daemon: up to the receive buffer that
# the daemon requests, and the usual send buffer.
BUFFERS = 4_608_000 + 212_992
UNIT = Path(__file__).resolve().parents[2] / "packaging/systemd/beacond.service"
# A registry pass comes after at most two poll intervals of 5.75 s. The list is then written
# within eleven waits of 500 ms.
LISTED = 30


def unit_memory():
    """The memory limit of the package's unit, in bytes."""
    return int(re.search(r"^MemoryMax=(\d+)M$", UNIT.read_text(encoding="utf-8"), re.M)[1]) << 20


@pytest.fixture(scope="module")
def fill(running_device, peer, attackers):
    """Sends as many descriptions as the registry can hold, and waits until some of them are
    listed. Checks the bound of the list. Returns the list, parsed."""
    def send(kind, name):
        flood.send(attackers, running_device, peer,
                   (kind(number, name) for number in range(flood.NODES)))
        wait_until(lambda: name in running_device.read(BROWSE_LIST), LISTED, f"a list of {name}")
        text = running_device.read(BROWSE_LIST)
        assert len(text.encode()) <= flood.LIST
        return json.loads(text)
    return send


def test_a_list_of_control_bytes_stays_within_its_bound(fill, running_device):
    """In the list, each of these bytes takes six, and the model name occurs three times. Each turn
    replaces the entries of the previous turn while the list is copied and written."""
    for turn in range(3):
        model = fill(flood.control_description, f"control-{turn}")[-1]["deviceName"]
        assert len(model) > 1_300 and set(model) == {"\x01"}
        assert len(running_device.read(BROWSE_LIST)) > flood.LIST * 0.98


def test_a_list_of_texts_that_contain_each_other_stays_within_its_bound(fill, running_device):
    fill(flood.swollen_description, "swollen")
    assert len(running_device.read(BROWSE_LIST)) > flood.LIST * 0.95


def test_texts_that_are_only_in_the_registry_count_too(fill):
    """Plain texts that the list contains once or not at all take the most memory."""
    assert 1_000 < len(fill(flood.long_usn_description, "long-usn")) < 1_500
    assert 1_000 < len(fill(flood.long_number_description, "long-number")) < 1_500


def test_after_a_full_queue_of_requests_a_list_stays_within_its_bound(fill, running_device, peer,
                                                                      attackers):
    def queue_is_full():
        flood.send(attackers, running_device, peer, map(flood.long_alive, range(flood.NODES)))
        return ("SendGETRequest: Too many delayed requests, dropping what comes more\n"
                in running_device.beacond.stderr)
    wait_until(queue_is_full, 60, "a full queue of requests", running_device.beacond.explain)
    fill(flood.control_description, "beside-requests")


def test_the_peak_memory_is_within_the_limit_of_the_unit(running_device, sanitized):
    """The list and its scratch file count, too: /var may be in memory, as here."""
    if sanitized:
        pytest.skip("sanitizers take memory of their own")
    peak = status(running_device.beacond, "VmHWM")
    assert peak < PEAK
    assert peak + 2 * flood.LIST + BUFFERS < unit_memory()
