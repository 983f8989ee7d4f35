"""How beacond leaves at SIGTERM or SIGINT, whatever delays it."""

import signal
from contextlib import contextmanager

import pytest

import expected
from health import PASS
from lab import wait_until
from lab.device import BROWSE_LIST
from misbehaving_service import MisbehavingService
from raw_device import wait_until_recorded

LIMIT = 2  # seconds: the longest time for leaving
SCRATCH = "/var/www/discovery/__browse.json"
ENDED = "SSDPThread: Exiting...\nSSDPDiagnosticThread: Exiting...\nThreadLoop: Exiting...\n"


def service_names(observer):
    return sorted(each["name"] for each in observer.mdns_services())


def assert_leaves(device, number=signal.SIGTERM, also=()):
    """Sends a signal to the device's beacond and to the programs in `also`; checks that beacond
    exits in time with status 0, and removes its list."""
    device.beacond.kill(number)
    for program in also:
        program.kill(number)
    assert device.beacond.wait(LIMIT) == 0
    assert device.read(BROWSE_LIST) is None
    assert device.read(SCRATCH) is None


@contextmanager
def stalled(program):
    """The program is stopped inside this block."""
    program.kill(signal.SIGSTOP)
    try:
        yield
    finally:
        program.kill(signal.SIGCONT)


class Wire:
    """A device's announcements and goodbyes since this object was made."""

    def __init__(self, wire, peer, device):
        self._wire, self._peer, self._device = wire, peer, device
        self._mark = wire.mark()

    def wait_for_alive(self):
        self._wire.wait_for(since=self._mark, source=self._device.address, starting=b"NOTIFY")

    def assert_ends_with_a_goodbye(self):
        goodbye = expected.goodbye(self._device)
        assert self.notifies()[-1] == goodbye
        assert self.notifies().count(goodbye) == 1

    def notifies(self):
        wait_until_recorded(self._wire, self._peer)
        return [each.data for each in self._wire.datagrams(self._device.address, self._mark,
                                                           b"NOTIFY")]


@pytest.fixture
def sent(wire, peer, device):
    return Wire(wire, peer, device)


@pytest.fixture
def beacond(device, sent):
    """A beacond that is announced by SSDP and DNS-SD, for one test."""
    device.path(BROWSE_LIST).unlink(missing_ok=True)
    started = device.start_beacond()
    sent.wait_for_alive()
    started.wait_output("successfully established.\n")
    yield started
    device.stop_beacond()


@pytest.fixture(scope="module")
def observer(lab):
    """Another device, which sees the first."""
    made = lab.add_device("observer", product="talonmx")
    made.start_beacond()
    return made


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
def test_it_sends_a_goodbye_ends_its_threads_and_removes_the_list(device, beacond, sent, number):
    assert device.read(BROWSE_LIST) is not None
    written = len(beacond.stdout)
    assert_leaves(device, number)
    assert beacond.stdout[written:] == ENDED
    sent.assert_ends_with_a_goodbye()


def test_others_remove_it_from_their_lists_at_once(device, beacond, observer):
    def listed():
        return device.address in [each["ipAddress"] for each in observer.browse_list()]
    wait_until(listed, 60, "the device in the other's list", lambda: observer.read(BROWSE_LIST))
    wait_until(lambda: service_names(observer) == ["observer", "studio-a"], PASS, "both services",
               lambda: str(service_names(observer)))
    assert_leaves(device)
    # The list is written again after about 5 s. Without the goodbye, the entry would stay for more
    # than three minutes.
    wait_until(lambda: not listed(), PASS, "the entry gone", lambda: observer.read(BROWSE_LIST))
    assert service_names(observer) == ["observer"]


def test_a_detached_daemon_leaves_in_the_same_way(device, sent):
    assert device.detach_beacond().returncode == 0
    daemon = device.wait_for_process("beacond")
    sent.wait_for_alive()
    device.run("kill", "-TERM", device.run("pidof", "beacond").stdout.strip())
    wait_until(lambda: daemon not in device.processes("beacond"), LIMIT, "the daemon's end")
    assert device.read(BROWSE_LIST) is None
    sent.assert_ends_with_a_goodbye()


def test_right_after_its_start_it_leaves_unannounced_or_with_a_goodbye(device, sent):
    """It waits half a second before it announces itself. The signal may come before or after
    the announcement."""
    device.start_beacond().wait_output("initializing pubsub object\n")
    assert_leaves(device)
    if "Open: " in device.beacond.stdout and sent.notifies():
        sent.assert_ends_with_a_goodbye()
    else:
        assert sent.notifies() == []


def test_it_leaves_while_it_waits_for_an_address(lab):
    device = lab.add_device(product="corvia12")
    device.remove_address(device.address)
    device.start_beacond().wait_output("avahi host/service updating to: ")
    assert_leaves(device)
    assert "Open: " not in device.beacond.stderr


def test_it_leaves_while_it_waits_for_its_configuration_service(lab):
    device = lab.add_device(product="corvia12")
    device.configd.stop()
    with MisbehavingService(device, b"") as service:
        device.start_beacond()
        service.wait_for_connections(1)
        assert_leaves(device)
    assert "PubSub started" not in device.beacond.stdout


def test_it_leaves_while_its_start_waits_for_avahi_daemon(device):
    with stalled(device.avahi):
        device.start_beacond().wait_output("avahi host/service updating to: ")
        assert_leaves(device)
    assert "PubSub started" not in device.beacond.stdout


def test_it_leaves_cleanly_while_avahi_daemon_is_stopped(
        device, beacond, sent, observer):
    with stalled(device.avahi):
        assert_leaves(device)
        sent.assert_ends_with_a_goodbye()
        assert beacond.stdout.endswith(ENDED)
    wait_until(lambda: service_names(observer) == ["observer"], PASS, "the DNS-SD service gone",
               lambda: str(service_names(observer)))


def test_it_sends_a_goodbye_while_it_waits_for_avahi_daemon(device, beacond, sent, observer):
    with stalled(device.avahi):
        name = device.host_name
        device.configure(hostName="held-up")
        beacond.wait_output("avahi host/service updating to: held-up\n")
        assert_leaves(device)
        sent.assert_ends_with_a_goodbye()
    wait_until(lambda: service_names(observer) == ["observer"], PASS, "the DNS-SD service gone",
               lambda: str(service_names(observer)))
    device.configure(hostName=name)


def test_it_leaves_cleanly_when_avahi_daemon_is_ended_at_the_same_time(lab, wire, peer):
    device = lab.add_device(product="corvia12")
    sent = Wire(wire, peer, device)
    device.start_beacond().wait_output("successfully established.\n")
    sent.wait_for_alive()
    assert_leaves(device, also=[device.avahi])
    assert device.beacond.stdout.endswith(ENDED)
    sent.assert_ends_with_a_goodbye()


def test_it_leaves_with_a_full_disk(device, sent):
    device.run("mount", "-t", "tmpfs", "-o", "size=64k", "tmpfs", "/var/www/discovery")
    device.run("sh", "-c", "cat /dev/zero >/var/www/discovery/filler 2>/dev/null", check=False)
    device.start_beacond().wait_output(f'Could not write to "{SCRATCH}" (errno:28)\n')
    assert_leaves(device)
    sent.assert_ends_with_a_goodbye()
    device.run("umount", "/var/www/discovery")


def test_a_killed_daemon_sends_no_goodbye_and_does_not_remove_the_list(device, beacond, wire, peer):
    mark = wire.mark()
    assert beacond.stop(signal.SIGKILL) == -signal.SIGKILL
    assert device.read(BROWSE_LIST) is not None
    wait_until_recorded(wire, peer)
    assert expected.goodbye(device) not in [
        each.data for each in wire.datagrams(device.address, mark)]
