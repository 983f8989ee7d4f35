"""beacond -d: what it says and how it holds the terminal."""

import os
import pty
import select
import signal

import pytest

from lab.device import BROWSE_LIST

START = ("Run beacond as Non-Daemonized\n"
         "initializing pubsub object\n"
         "Open: The diagnostic thread has started\n"
         "PubSub started\n")


def read_terminal(master, text, timeout=20):
    """What arrives on a terminal up to a text."""
    seen = b""
    while text not in seen:
        assert select.select([master], [], [], timeout)[0], f"only {seen!r}"
        seen += os.read(master, 4096)
    return seen


@pytest.fixture
def beacond(device):
    """A beacond in the foreground, for one test."""
    device.path(BROWSE_LIST).unlink(missing_ok=True)
    yield device.start_beacond()
    device.stop_beacond()


def test_it_says_how_it_starts(beacond):
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
    beacond.wait_output("PubSub started")
    assert device.read(BROWSE_LIST) == "[]"


def test_it_keeps_the_terminal_until_the_terminal_ends_it(device):
    master, terminal = pty.openpty()
    beacond = device.start_beacond(stdin=terminal, stdout=terminal, stderr=terminal)
    os.close(terminal)
    seen = read_terminal(master, b"PubSub started\r\n")
    assert seen.startswith(b"Run beacond as Non-Daemonized\r\ninitializing pubsub object\r\n")
    links = {os.readlink(f"/proc/{beacond.pid}/fd/{number}") for number in (0, 1, 2)}
    assert len(links) == 1 and links.pop().startswith("/dev/pts/")
    assert beacond.stop(signal.SIGINT) == 0
    os.close(master)
