"""beaconctl and what does not answer it, or answers with nonsense."""

import os
import pty
import re
import signal
import threading
from contextlib import contextmanager

import pytest

LARGEST = 65507  # bytes that a datagram can carry
COLOURS = {b"\x1b[32m", b"\x1b[33m", b"\x1b[31m", b"\x1b[0m"}  # green, yellow, red, none
NO_LISTING = "beaconctl: 192.0.2.201 answered with something that is no listing\n"


def listed(number, name):
    return (f"\n  ProductName:\"Lumen\"\n  HostName:   \"{name}\"\n  IP:         192.0.2.{number}\n"
            f"  USN:        uuid:{number}\n").encode()


ONE, TWO = listed(10, "studio-a"), listed(11, "studio-b")
THREE, RENAMED = listed(12, "studio-c"), listed(12, "gallery")


@pytest.fixture(scope="module")
def answerer(lab, peer):
    """Another machine, 192.0.2.201: the first is the one that asks."""
    assert peer.address == "192.0.2.200"
    return lab.add_peer()


@pytest.fixture(scope="module")
def beaconctl(programs):
    return f"{os.path.abspath(programs)}/beaconctl"


@contextmanager
def answering(machine, port, *answers):
    """Answers whoever asks on a port, the last answer again and again."""
    with machine.udp_socket(port, timeout=None) as sock:
        def serve():
            waiting = list(answers)
            while True:
                asked, asker = sock.recvfrom(65536)
                if asked == b"end":
                    return
                sock.sendto(waiting.pop(0) if len(waiting) > 1 else waiting[0], asker)
        thread = threading.Thread(target=serve, daemon=True)
        thread.start()
        try:
            yield
        finally:
            with machine.udp_socket() as end:
                end.sendto(b"end", (machine.address, port))
            thread.join()


def outcome(result):
    return result.returncode, result.stdout, result.stderr


@pytest.mark.parametrize("command, heading", [("nodes", b"NodeList"), ("hosts", b"HostList")])
@pytest.mark.parametrize("answer", [
    pytest.param(b"", id="empty"),
    pytest.param(b"%s" + ONE + TWO[:40], id="partial"),
    pytest.param(b"Invalid operation\n", id="malformed"),
    pytest.param(b"\xff\0\x1b[2J", id="binary"),
    pytest.param(b"%s" + b"x" * (LARGEST - 8), id="enormous"),
])
def test_an_answer_that_is_no_listing_is_told_in_one_line(
        peer, answerer, beaconctl, command, heading, answer):
    with answering(answerer, 49821, answer.replace(b"%s", heading)):
        result = peer.run(beaconctl, "--host", answerer.address, command, check=False)
    assert outcome(result) == (3, "", NO_LISTING)


@pytest.mark.parametrize("command", ["nodes", "hosts"])
def test_no_answer_is_told_in_one_line(peer, answerer, beaconctl, command):
    result = peer.run(beaconctl, "--host", answerer.address, "--timeout", "0.3", command,
                      check=False)
    assert outcome(result) == (3, "", "beaconctl: no answer from 192.0.2.201\n")


@pytest.mark.parametrize("command, fault", [("nodes", "cannot ask 203.0.113.1"),
                                            ("search", "cannot search")])
def test_a_network_without_a_way_there_is_told_in_one_line(peer, beaconctl, command, fault):
    result = peer.run(beaconctl, "--host", "203.0.113.1", command, check=False)
    assert outcome(result) == (3, "", f"beaconctl: {fault}: Network is unreachable\n")


def test_the_largest_listing_is_shown_whole_and_an_empty_one_has_status_1(
        peer, answerer, beaconctl):
    count = (LARGEST - 8) // len(ONE)
    name = "s" * len("studio-a")
    rows = "".join(f"  {name}   Lumen    192.0.2.10  uuid:10\n" for _ in range(count))
    with answering(answerer, 49821, b"NodeList" + listed(10, name) * count, b"NodeList"):
        large, empty = (peer.run(beaconctl, "--host", answerer.address, "nodes", check=False)
                        for _ in range(2))
    head = "  HOST NAME  PRODUCT  ADDRESS     USN\n"
    assert outcome(large) == (0, head + rows, "")
    assert outcome(empty) == (1, "  HOST NAME  PRODUCT  ADDRESS  USN\n", "")


def test_watch_outlives_every_answer_and_tells_each_fault_once(peer, answerer, beaconctl):
    with answering(answerer, 49821, b"NodeList" + ONE, b"", b"NodeList" + ONE[:-1], b"\xff",
                   b"x" * LARGEST, b"NodeList" + ONE + TWO):
        watch = peer.start("watch", [beaconctl, "--host", answerer.address, "watch"])
        watch.wait_output("+ studio-b  Lumen  192.0.2.11\n")
        assert watch.stop(signal.SIGINT) == 0
    assert watch.stdout == "+ studio-a  Lumen  192.0.2.10\n+ studio-b  Lumen  192.0.2.11\n"
    assert watch.stderr == NO_LISTING


@pytest.mark.parametrize("environment, colours", [
    pytest.param({}, COLOURS, id="asked nothing"),
    pytest.param({"NO_COLOR": ""}, COLOURS, id="empty NO_COLOR"),
    pytest.param({"NO_COLOR": "1"}, set(), id="NO_COLOR"),
])
def test_watch_on_a_terminal_marks_and_colours_what_came_changed_and_went(
        peer, answerer, beaconctl, environment, colours):
    master, terminal = pty.openpty()
    drawn = b""
    with answering(answerer, 49821, b"NodeList" + ONE + THREE, b"NodeList" + TWO + RENAMED):
        watch = peer.start("watch", [beaconctl, "--host", answerer.address, "watch"], environment,
                           stdin=terminal, stdout=terminal, stderr=terminal)
        os.close(terminal)
        while not re.search(rb"- studio-a .*\+ studio-b .*~ gallery .*\x1b\[J", drawn, re.S):
            assert drawn.count(b"Ctrl-C ends.") < 20, drawn
            drawn += os.read(master, 65536)
        assert watch.stop(signal.SIGINT) == 0
    os.close(master)
    assert set(re.findall(rb"\x1b\[\d+m", drawn)) == colours


@pytest.mark.parametrize("answer", [
    pytest.param(b"", id="empty"),
    pytest.param(b"HTT", id="partial"),
    pytest.param(b"NOTIFY * HTTP/1.1\r\nUSN: uuid:1\r\n\r\n", id="malformed"),
    pytest.param(b"\x1b" * LARGEST, id="enormous"),
])
def test_what_is_no_answer_to_a_search_counts_as_none(peer, answerer, beaconctl, answer):
    with answering(answerer, 1900, answer):
        result = peer.run(beaconctl, "--host", answerer.address, "--timeout", "0.5", "search",
                          check=False)
    assert outcome(result) == (1, "", "beaconctl: nobody answered\n")


def test_an_answer_to_a_search_is_shown_as_far_as_it_goes_however_large(
        peer, answerer, beaconctl):
    start = b"HTTP/1.1 200 OK\r\nSERVER: \x1b[2J\r\nUSN: "
    usn = "u" * (LARGEST - len(start))
    with answering(answerer, 1900, start + usn.encode()):
        result = peer.run(beaconctl, "--host", answerer.address, "--timeout", "0.5", "search",
                          check=False)
    assert outcome(result) == (
        0, f"192.0.2.201  {usn}\n    ST        \n    LOCATION  \n    SERVER    \\x1b[2J\n", "")


def test_a_search_from_a_port_of_its_own_prints_each_answer_as_it_comes(
        peer, answerer, beaconctl):
    with answerer.udp_socket(1900) as sock:
        search = peer.start("search", [beaconctl, "--host", answerer.address, "--timeout", "60",
                                       "search", "upnp:rootdevice"])
        asked, asker = sock.recvfrom(65536)
        assert asked == (b"M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\n"
                         b"MAN: \"ssdp:discover\"\r\nMX: 3\r\nST: upnp:rootdevice\r\n\r\n")
        assert asker[1] != 1900
        shown = ""
        for usn in ("uuid:1", "uuid:2"):
            sock.sendto(f"HTTP/1.1 200 OK\r\nUSN: {usn}\r\n\r\n".encode(), asker)
            shown += f"192.0.2.201  {usn}\n    ST        \n    LOCATION  \n    SERVER    \n"
            search.wait_output(shown)
        assert search.status is None
        search.stop()
    assert search.stdout == shown


LISTS = {
    "absent": (None, "No such file or directory"),
    "empty": (b"", "illegal value at byte 0"),
    "partial": (b'[{"hostName":"studio', "unterminated string at byte 21"),
    "malformed": (b"<html>Log in</html>", "illegal value at byte 1"),
    "no list": (b'{"hostName":"studio-a"}', "not a browse list: no JSON array"),
    "enormous": (b"[" + b" " * (16 << 20), "larger than any browse list"),
}


@pytest.mark.parametrize("text, fault", LISTS.values(), ids=LISTS)
def test_a_file_that_is_no_browse_list_is_told_in_one_line(peer, beaconctl, text, fault):
    file = "/run/browse.json"
    peer.path(file).unlink(missing_ok=True)
    if text is not None:
        peer.path(file).write_bytes(text)
    result = peer.run(beaconctl, "browse", file, check=False)
    assert outcome(result) == (3, "", f"beaconctl: {file}: {fault}\n")
