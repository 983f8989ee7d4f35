"""browse.json while devices appear, change and leave: always complete, and not too often."""

import json
import os
import threading
import time

import pytest

import expected
from expected import Product
from lab import wait_until
from lab.device import BROWSE_LIST
from raw_device import RawDevice

GROUP = ("239.255.255.250", 1900)
# Two ticks of at most 5.75 s, each of which can take twice as long, and 5.5 s for the writer.
LIMIT = 40
DURATION = 45  # seconds
# The writer waits at least eleven times between two writes, 500 ms each. A change ends a wait
# early, but the registry reports changes only once in a tick of at least 4.25 s: at most two
# of the waits end early.
SHORTEST = 9 * 0.5


class Reader:
    """A thread that reads a file again and again, as fast as possible, and keeps each new
    version."""

    def __init__(self, path):
        self._path = path
        self.reads = 0
        self.versions = []  # time, file number, text
        self._end = threading.Event()
        self._thread = threading.Thread(target=self._run)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *unused):
        self._end.set()
        self._thread.join()

    def _run(self):
        while not self._end.is_set():
            descriptor = os.open(self._path, os.O_RDONLY)
            number, text = os.fstat(descriptor).st_ino, os.read(descriptor, 1 << 20)
            os.close(descriptor)
            self.reads += 1
            if not self.versions or self.versions[-1][1:] != (number, text):
                self.versions.append((time.monotonic(), number, text))


def crowd(peer, generation):
    """Fifty devices. Their names contain the generation, and are longer in a later generation."""
    return [RawDevice(f"198.51.100.{number}", f"{generation}-" + generation * "x",
                      Product("Lumen", "0x10660001", "4K encoder")) for number in range(50)]


@pytest.fixture(scope="module")
def read(running_device, wire, peer):
    """All versions of the list that a reader saw while all entries changed again and again,
    including the last change."""
    def describe(generation):
        for each in crowd(peer, generation):
            wire.socket.sendto(each.description(), (running_device.address, 1900))

    with Reader(running_device.path(BROWSE_LIST)) as reader:
        end = time.monotonic() + DURATION
        generation = 0
        while time.monotonic() < end:
            generation += 1
            describe(generation)
            time.sleep(0.5)  # the interval of the changes; waits for nothing
        wanted = expected.browse_json(running_device, *crowd(peer, generation))
        wait_until(lambda: running_device.read(BROWSE_LIST) == wanted, LIMIT,
                   "the last generation listed", lambda: running_device.read(BROWSE_LIST))
        wait_until(lambda: reader.versions[-1][2] == wanted.encode(), LIMIT, "that list read")
    return reader


def generations(text):
    """The generation of each of the fifty devices in a list."""
    return {int(entry["ipAddress"].rpartition(".")[2]): int(entry["hostName"].partition("-")[0])
            for entry in json.loads(text) if entry["ipAddress"].startswith("198.51.100.")}


def whole_list(device, peer, text):
    """A list of the same devices, each with its generation in `text`."""
    members = [crowd(peer, generation)[number]
               for number, generation in generations(text).items()]
    return expected.browse_json(device, *members).encode()


def test_every_read_returns_a_complete_list(read, running_device, peer):
    assert read.reads > 1000
    for _, _, text in read.versions:
        assert text == b"[]" or text == whole_list(running_device, peer, text)
        # A registry pass can come when only the first devices have the next generation.
        seen = [generation for _, generation in sorted(generations(text).items())]
        assert seen == sorted(seen, reverse=True) and len(set(seen)) <= 2


def test_every_list_is_a_new_file(read):
    """A list is renamed into its place, not written there."""
    numbers = [number for _, number, _ in read.versions]
    assert len(set(numbers)) == len(numbers) > 5


def test_lists_are_written_at_least_4_5_s_apart(read):
    times = [when for when, _, text in read.versions if text != b"[]"]
    for earlier, later in zip(times, times[1:]):
        assert later - earlier > SHORTEST - 1  # a busy reader can see the earlier one late


def test_a_goodbye_removes_a_device_from_the_list(read, running_device, wire, peer):
    del read
    for each in crowd(peer, 1):
        wire.socket.sendto(each.byebye(), GROUP)
    wanted = expected.browse_json(running_device)
    wait_until(lambda: running_device.read(BROWSE_LIST) == wanted, LIMIT, "the device alone",
               lambda: running_device.read(BROWSE_LIST))
