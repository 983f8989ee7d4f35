"""beaconctl when it cannot write its output, when it gets a signal, and in the C locale."""

import array
import fcntl
import json
import os
import signal
import termios

import pytest

from diagnostic_port import answering, listed
from lab import wait_until

BROKEN = "beaconctl: cannot write: Broken pipe\n"
LISTING = b"NodeList" + listed(10, "studio-a")
PIPE_SIZE = 65536


@pytest.fixture(scope="module")
def commands(peer, answerer):
    """Commands and options that print, each with an answer to print."""
    browse_list = "/run/browse.json"
    peer.path(browse_list).write_text('[{"hostName":"studio-a"}]')
    host = ["--host", answerer.address]
    answer = b"HTTP/1.1 200 OK\r\nUSN: uuid:1\r\n\r\n"
    with answering(answerer, 49821, LISTING), answering(answerer, 1900, answer):
        yield [["--help"], ["--version"], ["browse", browse_list], [*host, "nodes"],
               [*host, "--json", "nodes"], [*host, "watch"], [*host, "--json", "watch"],
               [*host, "--timeout", "60", "search"]]


@pytest.fixture
def closed_pipe():
    """The writing end of a pipe without a reader."""
    reader, writer = os.pipe()
    os.close(reader)
    yield writer
    os.close(writer)


def test_a_full_disk_ends_a_command_with_status_3_and_a_line(peer, beaconctl, commands):
    for command in commands:
        with open("/dev/full", "wb") as full:
            program = peer.start("full", [beaconctl, *command], stdout=full)
        assert (command, program.wait(), program.stderr) == (
            command, 3, "beaconctl: cannot write: No space left on device\n")


def test_a_pipe_without_a_reader_ends_a_command_by_sigpipe(
        peer, beaconctl, commands, closed_pipe):
    for command in commands:
        program = peer.start("pipe", [beaconctl, *command], stdout=closed_pipe)
        assert (command, program.wait(), program.stderr) == (command, -signal.SIGPIPE, "")


def test_a_pipe_without_a_reader_ends_a_command_with_status_3_if_sigpipe_is_ignored(
        peer, beaconctl, commands, closed_pipe):
    # Python ignores SIGPIPE; without restore_signals its children inherit that.
    for command in commands:
        program = peer.start("pipe", [beaconctl, *command], stdout=closed_pipe,
                             restore_signals=False)
        assert (command, program.wait(), program.stderr) == (command, 3, BROKEN)


def test_a_closed_standard_output_ends_a_command_with_status_3_and_a_line(
        peer, answerer, beaconctl):
    with answering(answerer, 49821, LISTING):
        result = peer.run("sh", "-c", f"exec {beaconctl} --host {answerer.address} nodes >&-",
                          check=False)
    assert (result.returncode, result.stderr) == (
        3, "beaconctl: cannot write: Bad file descriptor\n")


@pytest.mark.parametrize("restore, status, error", [
    pytest.param(True, -signal.SIGPIPE, "", id="default"),
    pytest.param(False, 3, BROKEN, id="ignored"),
])
def test_watch_ends_when_its_reader_has_ended_even_if_nothing_changes(
        peer, answerer, beaconctl, restore, status, error):
    reader, writer = os.pipe()
    with answering(answerer, 49821, LISTING):
        watch = peer.start("watch", [beaconctl, "--host", answerer.address, "watch"],
                           stdout=writer, restore_signals=restore)
        os.close(writer)
        assert os.read(reader, 4096) == b"  studio-a  Lumen  192.0.2.10\n"
        os.close(reader)
        assert (watch.wait(), watch.stderr) == (status, error)


def test_a_signal_ends_a_watch_whose_output_is_not_read(peer, answerer, beaconctl):
    listing = b"NodeList" + b"".join(listed(10, "\x01" * 100, str(number)) for number in range(200))
    reader, writer = os.pipe()
    waiting = array.array("i", [0])

    def is_full():
        fcntl.ioctl(reader, termios.FIONREAD, waiting)
        return waiting[0] == PIPE_SIZE

    with answering(answerer, 49821, listing):
        watch = peer.start("watch", [beaconctl, "--json", "--host", answerer.address, "watch"],
                           stdout=writer)
        os.close(writer)
        wait_until(is_full, 20, "a full pipe", watch.explain)
        assert watch.stop(signal.SIGINT) == 0
    os.close(reader)


@pytest.mark.parametrize("locale", ["C", "C.UTF-8"])
@pytest.mark.parametrize("text", [
    pytest.param("caf\u00e9-\u65e5", id="UTF-8"),
    pytest.param(os.fsdecode(b"caf\xe9"), id="Latin-1"),
])
def test_operands_keep_their_bytes_in_any_locale(peer, answerer, beaconctl, locale, text):
    environment = {**peer.environment, "LC_ALL": locale}
    peer.path(f"/run/{text}").write_text('[{"hostName":"studio-a"}]')
    result = peer.run(beaconctl, "--json", "browse", f"/run/{text}", env=environment)
    assert json.loads(result.stdout)[0]["hostName"] == "studio-a"
    with answerer.udp_socket(1900) as sock:
        search = peer.start("search", [beaconctl, "--host", answerer.address, "search", text],
                            environment)
        assert b"\r\nST: " + os.fsencode(text) + b"\r\n" in sock.recv(65536)
        search.stop()


def test_operands_in_errors_are_escaped(peer, beaconctl):
    result = peer.run(beaconctl, "browse", "/run/\x1b[2J\u009b\n.json", check=False)
    assert (result.returncode, result.stderr) == (
        3, "beaconctl: /run/\\x1b[2J\\u{009b}\\x0a.json: No such file or directory\n")
