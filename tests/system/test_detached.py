"""The daemon started without -d, like start-up scripts start it."""

import os
import time

import pytest

import expected
from lab import wait_until
from lab.device import BROWSE_LIST

TICKS = os.sysconf("SC_CLK_TCK")


def links(pid):
    return {int(path): os.readlink(f"/proc/{pid}/fd/{path}") for path in os.listdir(f"/proc/{pid}/fd")}


def cpu_seconds(pid):
    """The user and system time of all threads of a process so far."""
    with open(f"/proc/{pid}/stat", encoding="ascii") as file:
        fields = file.read().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / TICKS


class Started:
    """A detached daemon, and the command that started it."""

    def __init__(self, device):
        reader, writer = os.pipe()
        os.dup2(writer, 57)
        self.inherited = {os.readlink(f"/proc/self/fd/{writer}")}
        try:
            self.result = device.detach_beacond(pass_fds=(writer, 57), umask=0o077)
        finally:
            for number in (writer, 57):
                os.close(number)
        self.reader = reader
        self.pid = device.wait_for_process("beacond")


@pytest.fixture(scope="module")
def started(device, wire):
    made = Started(device)
    wire.wait_for(source=device.address, starting=b"NOTIFY")
    yield made
    os.close(made.reader)


def test_the_command_returns_0(started):
    assert started.result.returncode == 0
    assert started.result.stdout == "Daemonize beacond\n"
    assert started.result.stderr == ""


def test_it_leads_a_session_without_a_terminal(started):
    with open(f"/proc/{started.pid}/stat", encoding="ascii") as file:
        fields = file.read().rpartition(")")[2].split()
    _, parent, group, session, terminal = fields[:5]
    assert (int(group), int(session), int(terminal)) == (started.pid, started.pid, 0)
    assert parent != "1"  # the parent is the device's process 1: here it has another id


def test_its_standard_descriptors_are_on_dev_null(started):
    assert [links(started.pid)[number] for number in (0, 1, 2)] == ["/dev/null"] * 3


def test_it_closes_all_inherited_descriptors(started):
    assert not started.inherited & set(links(started.pid).values())
    assert os.read(started.reader, 1) == b""  # no process has the other end open


def test_its_files_are_not_accessible_to_other_users(started, device):
    with open(f"/proc/{started.pid}/status", encoding="ascii") as file:
        assert "Umask:\t0027\n" in file.readlines()
    document = device.path("/var/www/html/corvia_12_upnp_ssdp_1.xml")
    assert document.stat().st_mode & 0o777 == 0o640


def test_it_announces_itself(started, device, wire):
    expected.assert_alive(wire.datagrams(device.address, starting=b"NOTIFY")[0].data, device)
    wire.wait_for(source=device.address, starting=b"M-SEARCH")
    assert wire.datagrams(device.address, starting=b"M-SEARCH")[0].data == expected.SEARCH


def test_it_answers_a_search(started, device, peer, wire):
    announced = wire.datagrams(device.address, starting=b"NOTIFY")[0].data
    answer = peer.ask(expected.SEARCH, device.address)
    assert answer == expected.search_response(device, expected.max_age(announced))


def test_it_answers_the_diagnostic_port(started, device, peer):
    assert peer.ask(b"gh", device.address, 49821) == expected.listing("HostList", device)
    assert peer.ask(b"gn", device.address, 49821) == expected.listing("NodeList", device)
    assert peer.ask(b"GH", device.address, 49821) == b"No such command as \"GH\""
    assert peer.ask(b"gh\n", device.address, 49821) == b"Invalid operation\n"


def test_it_writes_the_browse_list(started, device):
    wait_until(lambda: device.read(BROWSE_LIST) == expected.browse_json(device), 30,
               "the device's own entry", lambda: device.read(BROWSE_LIST))


def test_it_takes_no_processor_time_when_idle(started):
    """Measured for longer than a poll interval. A busy loop would use a whole processor."""
    before, start = cpu_seconds(started.pid), time.monotonic()
    time.sleep(6)
    share = (cpu_seconds(started.pid) - before) / (time.monotonic() - start)
    assert share < 0.01


def test_it_follows_a_change_of_the_configuration(started, device, wire):
    since = wire.mark()
    device.configure(hostName="studio-z")
    sent = wire.wait_for(2, since=since, source=device.address, starting=b"NOTIFY")
    assert sent[0].data == expected.goodbye(device)
    expected.assert_alive(sent[1].data, device)
    wanted = "[" + expected.browse_entry(device, "studio-z") + "]"
    wait_until(lambda: device.read(BROWSE_LIST) == wanted, 30, "the new name in the list",
               lambda: device.read(BROWSE_LIST))
    wait_until(lambda: [each["name"] for each in device.mdns_services()] == ["studio-z"], 20,
               "the new name by multicast DNS", device.mdns_services)


def test_the_command_does_not_wait_until_the_daemon_is_ready(lab, wire):
    """Without its configuration service, the daemon waits for 5 s before it continues and sends
    its first search."""
    device = lab.add_device("late", product="talonmx")
    device.configd.stop()
    assert device.detach_beacond().returncode == 0
    returned = time.monotonic()
    search, *_ = wire.wait_for(source=device.address, starting=b"M-SEARCH")
    assert search.time > returned
    # It continues without the service, and applies the settings when the service starts.
    wire.wait_for(source=device.address, starting=b"M-SEARCH")
    assert not wire.datagrams(device.address, starting=b"NOTIFY")
    device.start_configd()
    sent = wire.wait_for(source=device.address, starting=b"NOTIFY")
    expected.assert_alive(sent[0].data, device)
