"""beacond -d: its output, and its use of the terminal."""

import os
import pty
import re
import select
import signal

import pytest

import expected
from health import PASS, answer_to
from lab import wait_until
from lab.device import BROWSE_LIST

START = ("Run beacond as Non-Daemonized\n"
         "initializing pubsub object\n"
         "Open: The diagnostic thread has started\n"
         "PubSub started\n")


def fill(pipe):
    """Fills a pipe, so that the next writer must wait."""
    os.set_blocking(pipe, False)
    try:
        while True:
            os.write(pipe, b"\n")
    except BlockingIOError:
        os.set_blocking(pipe, True)


def read_until(reader, text, timeout=20):
    """The output on a terminal or a pipe, up to a text."""
    seen = b""
    while text not in seen:
        assert select.select([reader], [], [], timeout)[0], f"only {seen[-500:]!r}"
        seen += os.read(reader, 65536)
    return seen


@pytest.fixture
def publisher_debugged(device, monkeypatch):
    """Lets beacond write the publisher's debug lines, too."""
    monkeypatch.setitem(device.environment, "QT_LOGGING_RULES", "beacond.mdns.debug=true")


@pytest.fixture
def beacond(device):
    """A beacond in the foreground, for one test."""
    device.path(BROWSE_LIST).unlink(missing_ok=True)
    yield device.start_beacond()
    device.stop_beacond()


def test_it_reports_its_start(beacond):
    beacond.wait_output("PubSub started\n")
    beacond.wait_output("Service 'studio-a' successfully established.\n")
    assert beacond.stdout == START
    assert beacond.stderr.splitlines()[:3] == [
        "getProductID productID is not initialized",
        "*** getProductID: Found PRODUCT_ID env var, set to corvia12.",
        "GetBoardIDFromProductID: found board ID 0x10650001 for productID corvia12"]
    assert "avahi host/service updating to: studio-a\n" in beacond.stderr
    assert beacond.stderr.count("name changed\n") == 1


def test_the_browse_list_is_empty_at_first(device, beacond):
    wait_until(lambda: device.read(BROWSE_LIST) == "[]", PASS, "an empty list", beacond.explain)


def test_it_keeps_the_terminal_and_ends_at_sigint(device):
    master, terminal = pty.openpty()
    beacond = device.start_beacond(stdin=terminal, stdout=terminal, stderr=terminal)
    os.close(terminal)
    seen = read_until(master, b"PubSub started\r\n")
    assert seen.startswith(b"Run beacond as Non-Daemonized\r\ninitializing pubsub object\r\n")
    links = {os.readlink(f"/proc/{beacond.pid}/fd/{number}") for number in (0, 1, 2)}
    assert len(links) == 1 and links.pop().startswith("/dev/pts/")
    assert beacond.stop(signal.SIGINT) == 0
    os.close(master)


def test_the_debug_lines_of_the_publisher_are_written_on_request(publisher_debugged, beacond):
    beacond.wait_output("beacond.mdns: publishing _http._tcp 80\n")
    assert "beacond.mdns: publishing _http._tcp 80\n" in beacond.stderr


def test_a_stalled_reader_of_its_lines_does_not_block_it(
        device, peer, wire, publisher_debugged):
    reader, writer = os.pipe()
    fill(writer)
    since = wire.mark()
    device.start_beacond(stdout=writer, stderr=writer)
    os.close(writer)
    wire.wait_for(since=since, source=device.address, starting=b"NOTIFY")
    with peer.udp_socket() as sock:
        sock.sendto(b"first", (device.address, 1900))
    answer_to(expected.SEARCH, peer, device, 1900)  # it answers after the line about "first"
    assert peer.ask(b"gh", device.address, 49821) == expected.listing("HostList", device)
    os.set_blocking(reader, False)
    while select.select([reader], [], [], 0)[0]:
        os.read(reader, 65536)
    with peer.udp_socket() as sock:
        sock.sendto(b"second", (device.address, 1900))
    seen = read_until(reader, b"second\n")
    assert re.match(rb"Lines lost: \d+ \(no room, or no reader\)\n", seen), seen
    assert b"ParseSSDPPacket: Don't know what to do with this method:\nsecond\n" in seen
    assert b"first" not in seen
    device.stop_beacond()
    os.close(reader)


def test_a_closed_pipe_for_its_lines_does_not_end_it(device, peer):
    reader, writer = os.pipe()
    beacond = device.start_beacond(stdout=writer, stderr=writer)
    os.close(writer)
    read_until(reader, b"successfully established.\n")
    answer_to(expected.SEARCH, peer, device, 1900)  # the port is open
    os.close(reader)
    with peer.udp_socket() as sock:
        sock.sendto(b"to nobody", (device.address, 1900))
    answer_to(expected.SEARCH, peer, device, 1900)  # it answers after the line about "to nobody"
    assert beacond.status is None
    device.stop_beacond()
