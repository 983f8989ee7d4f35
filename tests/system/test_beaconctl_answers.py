"""beaconctl with missing, damaged, forged or cut answers."""

import fcntl
import json
import os
import pty
import re
import signal
import struct
import termios

import pytest

from diagnostic_port import LARGEST, LARGEST_ENTRY, answering, filled, listed

COLOURS = {b"\x1b[32m", b"\x1b[33m", b"\x1b[31m", b"\x1b[0m"}  # green, yellow, red, none
NO_ANSWER = ("beaconctl: no answer from 192.0.2.201\n"
             "beaconctl: run 'beaconctl status' on that device to find the cause\n")
NO_LISTING = "beaconctl: invalid answer from 192.0.2.201\n"
CUT = ("beaconctl: the listing of 192.0.2.201 is cut at the size of a datagram: "
       "devices may be missing\n")
EMPTY = {"nodes": "beaconctl: 192.0.2.201 knows no services\n",
         "hosts": "beaconctl: 192.0.2.201 announces no services\n"}
HEADS = "  HOST NAME  PRODUCT  ADDRESS     USN\n"

ONE, TWO = listed(10, "studio-a"), listed(11, "studio-b")
THREE, RENAMED = listed(12, "studio-c"), listed(12, "gallery")


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
def test_an_answer_that_is_not_a_listing_is_reported_in_one_line(
        peer, answerer, beaconctl, command, heading, answer):
    with answering(answerer, 49821, answer.replace(b"%s", heading)):
        result = peer.run(beaconctl, "--host", answerer.address, command, check=False)
    assert outcome(result) == (3, "", NO_LISTING)


@pytest.mark.parametrize("command", ["nodes", "hosts"])
def test_a_missing_answer_is_reported_with_the_command_that_finds_its_cause(
        peer, answerer, beaconctl, command):
    result = peer.run(beaconctl, "--host", answerer.address, "--timeout", "0.3", command,
                      check=False)
    assert outcome(result) == (3, "", NO_ANSWER)


@pytest.mark.parametrize("command, fault", [("nodes", "cannot ask 203.0.113.1"),
                                            ("search", "cannot search")])
def test_an_unreachable_address_is_reported_in_one_line(peer, beaconctl, command, fault):
    result = peer.run(beaconctl, "--host", "203.0.113.1", command, check=False)
    assert outcome(result) == (3, "", f"beaconctl: {fault}: Network is unreachable\n")


@pytest.mark.parametrize("usn, row", [
    pytest.param("uuid:x\ny", "uuid:x\\x0ay", id="line feed"),
    pytest.param("uuid:x\n  USN:        uuid:1", "uuid:x\\x0a  USN:        uuid:1", id="label"),
    pytest.param("uuid:x\n\n  ProductName:", "uuid:x\\x0a\\x0a  ProductName:",
                 id="incomplete start of an entry"),
])
def test_a_line_feed_in_a_text_leaves_every_entry_readable(peer, answerer, beaconctl, usn, row):
    with answering(answerer, 49821, b"NodeList" + ONE + listed(12, "studio-c", usn) + TWO):
        result = peer.run(beaconctl, "--host", answerer.address, "nodes")
    assert result.stdout == (HEADS + "  studio-a   Lumen    192.0.2.10  uuid:10\n"
                             "  studio-b   Lumen    192.0.2.11  uuid:11\n"
                             f"  studio-c   Lumen    192.0.2.12  {row}\n")


def test_a_text_that_imitates_the_start_of_an_entry_does_not_damage_the_next_entry(
        peer, answerer, beaconctl):
    forged = listed(12, "studio-c", "uuid:x\n\n  ProductName:\"forged")
    with answering(answerer, 49821, b"NodeList" + ONE + forged + TWO):
        result = peer.run(beaconctl, "--host", answerer.address, "nodes")
    assert result.stdout == ("  HOST NAME  PRODUCT  ADDRESS     USN\n"
                             "             forged\n"
                             "  studio-a   Lumen    192.0.2.10  uuid:10\n"
                             "  studio-b   Lumen    192.0.2.11  uuid:11\n"
                             "  studio-c   Lumen    192.0.2.12  uuid:x\n")


def test_nodes_are_sorted_by_name_and_then_by_address(
        peer, answerer, beaconctl):
    entries = (listed(9, "b", "uuid:4") + listed(10, "b", "uuid:1") + listed(11, "a", "uuid:2") +
               listed(7, "c", "uuid:3"))
    with answering(answerer, 49821, b"NodeList" + entries):
        result = peer.run(beaconctl, "--json", "--host", answerer.address, "nodes")
    assert [node["address"] for node in json.loads(result.stdout)] == [
        "192.0.2.11", "192.0.2.9", "192.0.2.10", "192.0.2.7"]


def test_a_long_name_hides_no_address(peer, answerer, beaconctl):
    with answering(answerer, 49821, b"NodeList" + ONE + listed(12, "n" * 1400)):
        result = peer.run(beaconctl, "--host", answerer.address, "nodes")
    assert result.stdout == (f"  {'HOST NAME':36}  PRODUCT  ADDRESS     USN\n"
                             f"  {'n' * 33}...  Lumen    192.0.2.12  uuid:12\n"
                             f"  {'studio-a':36}  Lumen    192.0.2.10  uuid:10\n")


@pytest.mark.parametrize("command, heading", [("nodes", b"NodeList"), ("hosts", b"HostList")])
def test_a_listing_that_may_have_been_cut_is_reported(
        peer, answerer, beaconctl, command, heading):
    whole = filled(heading + ONE, LARGEST - LARGEST_ENTRY)
    cut = filled(heading + ONE, LARGEST - LARGEST_ENTRY + 1)
    with answering(answerer, 49821, whole, cut, filled(heading + ONE), heading):
        results = [peer.run(beaconctl, "--json", "--host", answerer.address, command, check=False)
                   for _ in range(4)]
    assert [(result.returncode, result.stderr) for result in results] == [
        (0, ""), (0, CUT), (0, CUT), (1, EMPTY[command])]
    marks = [{node.get("listingCut") for node in json.loads(result.stdout)} for result in results]
    assert marks == [{None}, {True}, {True}, set()]


def test_a_name_of_several_devices_is_refused(peer, beaconctl):
    twice = b"NodeList" + listed(11, "studio-b") + listed(9, "studio-b", "uuid:z")
    with answering(peer, 49821, twice):
        result = peer.run(beaconctl, "--host", "studio-b", "nodes", check=False)
    assert outcome(result) == (3, "", 'beaconctl: several devices are named "studio-b", such as '
                               "192.0.2.9 and 192.0.2.11: give an address\n")


def test_watch_does_not_report_entries_of_a_cut_listing_as_gone(peer, answerer, beaconctl):
    before = filled(b"NodeList" + ONE, 50000)
    with answering(answerer, 49821, before + TWO, filled(before), before + THREE):
        watch = peer.start("watch", [beaconctl, "--json", "--host", answerer.address, "watch"])
        watch.wait_output('"change":"came","hostName":"studio-c"')
        assert watch.stop(signal.SIGINT) == 0
    lines = [json.loads(line) for line in watch.stdout.splitlines()]
    changes = [line["change"] + " " + line["hostName"] for line in lines
               if line.get("hostName") and line["change"] != "present"]
    assert sorted(changes) == ["came studio-c", "went studio-b"]
    order = [line["change"] for line in lines]
    assert order.index("cut") < order.index("whole") < order.index("went")
    assert watch.stderr == CUT


def test_watch_survives_invalid_answers_and_reports_the_fault_once(peer, answerer, beaconctl):
    with answering(answerer, 49821, b"NodeList" + ONE, b"", b"NodeList" + ONE[:-1], b"\xff",
                   b"x" * LARGEST, b"NodeList" + ONE + TWO):
        watch = peer.start("watch", [beaconctl, "--host", answerer.address, "watch"])
        watch.wait_output("+ studio-b  Lumen  192.0.2.11\n")
        assert watch.stop(signal.SIGINT) == 0
    assert watch.stdout == "  studio-a  Lumen  192.0.2.10\n+ studio-b  Lumen  192.0.2.11\n"
    assert watch.stderr == NO_LISTING


@pytest.mark.parametrize("environment, colours", [
    pytest.param({}, COLOURS, id="no NO_COLOR"),
    pytest.param({"NO_COLOR": ""}, COLOURS, id="empty NO_COLOR"),
    pytest.param({"NO_COLOR": "1"}, set(), id="NO_COLOR"),
])
def test_watch_on_a_terminal_marks_and_colours_changes(
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


def test_watch_on_a_terminal_shows_changed_devices_first_if_not_all_fit(
        peer, answerer, beaconctl):
    master, terminal = pty.openpty()
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("4H", 7, 80, 0, 0))  # 7 lines
    four = ONE + TWO + THREE + listed(13, "studio-d")
    more = four.replace(b"studio-c", b"studio-x") + listed(14, "studio-e")
    drawn = b""
    with answering(answerer, 49821, b"NodeList" + four, b"NodeList" + more):
        watch = peer.start("watch", [beaconctl, "--host", answerer.address, "watch"],
                           {"NO_COLOR": "1"}, stdin=terminal, stdout=terminal, stderr=terminal)
        os.close(terminal)
        while not re.search(rb"studio-e.*\x1b\[J", drawn, re.S):
            assert drawn.count(b"Ctrl-C ends.") < 20, drawn
            drawn += os.read(master, 65536)
        assert watch.stop(signal.SIGINT) == 0
    os.close(master)
    first, last = [re.findall(rb"\r\n(. studio-.|  and . more)", screen)
                   for screen in (drawn.split(b"Ctrl-C ends.")[1], drawn.split(b"Ctrl-C ends.")[-1])]
    assert first == [b"  studio-a", b"  studio-b", b"  and 2 more"]
    assert last == [b"+ studio-e", b"~ studio-x", b"  and 3 more"]


@pytest.mark.parametrize("answer", [
    pytest.param(b"", id="empty"),
    pytest.param(b"HTT", id="partial"),
    pytest.param(b"NOTIFY * HTTP/1.1\r\nUSN: uuid:1\r\n\r\n", id="malformed"),
    pytest.param(b"\x1b" * LARGEST, id="enormous"),
])
def test_an_invalid_answer_to_a_search_is_ignored(peer, answerer, beaconctl, answer):
    with answering(answerer, 1900, answer):
        result = peer.run(beaconctl, "--host", answerer.address, "--timeout", "0.5", "search",
                          check=False)
    assert outcome(result) == (1, "", "beaconctl: nobody answered\n")


def test_the_largest_answer_to_a_search_is_shown_shortened(
        peer, answerer, beaconctl):
    start = b"HTTP/1.1 200 OK\r\nSERVER: \x1b[2J\r\nUSN: "
    usn = "u" * (LARGEST - len(start))
    with answering(answerer, 1900, start + usn.encode()):
        result = peer.run(beaconctl, "--host", answerer.address, "--timeout", "0.5", "search",
                          check=False)
    assert outcome(result) == (
        0, f"192.0.2.201  {usn[:125]}...\n    ST        \n    LOCATION  \n"
           "    SERVER    \\x1b[2J\n", "")


def test_a_search_from_a_free_port_prints_each_answer_at_once(
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
    "empty": (b"", "invalid JSON at byte 1"),
    "partial": (b'[{"hostName":"studio', "invalid JSON at byte 21"),
    "malformed": (b"<html>Log in</html>", "invalid JSON at byte 1"),
    "no list": (b'{"hostName":"studio-a"}', "not a browse list: not a JSON array"),
    "enormous": (b"[" + b" " * (16 << 20), "larger than any browse list"),
}


@pytest.mark.parametrize("text, fault", LISTS.values(), ids=LISTS)
def test_a_file_that_is_not_a_browse_list_is_reported_in_one_line(peer, beaconctl, text, fault):
    file = "/run/browse.json"
    peer.path(file).unlink(missing_ok=True)
    if text is not None:
        peer.path(file).write_bytes(text)
    result = peer.run(beaconctl, "browse", file, check=False)
    assert outcome(result) == (3, "", f"beaconctl: {file}: {fault}\n")
