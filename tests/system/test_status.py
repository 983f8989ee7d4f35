"""beaconctl status: every fault of docs/operations.md that is visible on the device itself."""

import ctypes
import itertools
import json
import os
import re
import signal
import socket
from contextlib import contextmanager
from pathlib import Path

import pytest

from health import wait_until_closed
from lab import wait_until
from lab.device import BEACOND, BROWSE_LIST
from test_faults_files import fill, make_missing, make_read_only

BEACONCTL = "/mnt/beaconctl"
NOBODY = ["setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups"]
CHECKS = ["daemon", "interface", "product", "configuration", "engine", "port", "documents", "lists",
          "announcement", "browse list", "avahi-daemon", "receive buffer", "versions"]
PIDFD_GETFD = 438

# Each device gets a new address.
addresses = (f"192.0.2.{number}" for number in itertools.count(30))


@pytest.fixture
def idle(lab):
    """A device for one test. beacond is not started."""
    device = lab.add_device(product="corvia12", address=next(addresses))
    yield device
    lab.remove(device)


def started(device, *command, **environment):
    """Starts beacond on the device, and returns the device."""
    program = device.start("beacond", [*command, BEACOND, "-d"],
                           {**device.daemon_environment(), **environment})
    device.beacond = program
    program.wait_output("PubSub started\n")
    return device


@pytest.fixture
def running(idle):
    device = started(idle)
    device.beacond.wait_output("successfully established.")
    return device


class Status:
    """The result of `beaconctl --json status`."""

    def __init__(self, device, *command):
        result = device.run(*command, BEACONCTL, "--json", "--timeout", "1", "status", check=False)
        assert result.stderr == ""
        report = json.loads(result.stdout)
        self.code, self.health = result.returncode, report["status"]
        self.checks = {check["check"]: check for check in report["checks"]}
        assert [*self.checks] == CHECKS
        assert all(check["advice"] for check in self.checks.values() if check["state"] == "fault")

    def text(self, check):
        return self.checks[check]["text"]

    def having(self, state):
        return [name for name, check in self.checks.items() if check["state"] == state]


def faults(device, *command):
    """The text of each fault of a degraded device, by its check."""
    status = Status(device, *command)
    assert (status.code, status.health) == (1, "degraded")
    return {check: status.text(check) for check in status.having("fault")}


def test_a_device_on_which_all_is_right_is_healthy(running):
    status = Status(running)
    assert (status.code, status.health, status.having("ok")) == (0, "healthy", CHECKS)
    assert re.fullmatch(r"process \d+ of user root since 20\d\d-\d\d-\d\d \d\d:\d\d:\d\d",
                        status.text("daemon"))
    assert {check: status.text(check) for check in CHECKS[1:8]} == {
        "interface": f"net0 has the address {running.address}",
        "product": "Corvia 12 (corvia12), board 0x10650001",
        "configuration": f'name "{running.name}", SSDP on, link up, setup of net0 Complete',
        "engine": "announces 1 and knows 1 services",
        "port": "no other program uses UDP port 1900",
        "documents": "/var/www/html is writable for beacond's user",
        "lists": "/var/www/discovery is writable for beacond's user"}
    assert status.text("announcement") == f'"{running.name}", Corvia 12, {running.address}'
    assert status.text("avahi-daemon") == f'announces "{running.name}"'
    assert status.text("receive buffer") == "4608000 bytes of 4608000 requested"


def test_the_screen_has_a_line_for_each_check(running):
    result = running.run(BEACONCTL, "status")
    lines = result.stdout.splitlines()
    assert lines[:2] == ["beacond on this device: healthy", ""]
    assert [line[:23].rstrip() for line in lines[2:]] == [f"ok     {check}" for check in CHECKS]


def test_without_a_daemon_its_absence_is_the_only_fault(idle):
    status = Status(idle)
    assert (status.code, status.health, status.having("fault")) == (3, "not running", ["daemon"])
    assert status.text("daemon") == "beacond does not run"


def test_a_daemon_that_is_starting_is_given_time_to_answer(idle):
    idle.start("beacond", [BEACOND, "-d"], idle.daemon_environment())
    idle.wait_for_process("beacond")
    status = Status(idle)
    assert status.text("engine") == "announces 1 and knows 1 services"
    assert status.text("receive buffer").endswith(" requested")


def test_two_daemons_on_one_device_are_reported_with_the_advice_to_stop_one(running):
    second = running.start("second", [BEACOND, "-d"], running.daemon_environment())
    second.wait_output("PubSub started\n")
    status = Status(running)
    assert status.code == 1
    assert re.fullmatch(r"2 beacond share the ports and the browse list: process \d+ of user root "
                        r"since [-\d]+ [:\d]+, process \d+ of user root since [-\d]+ [:\d]+",
                        status.text("daemon"))
    assert status.checks["daemon"]["advice"] == (
        "Stop all but one. Before beacond -d, stop the service: systemctl stop beacond")
    second.stop()


def rename_net0(device):
    device.run("sh", "-c", "ip link set net0 down; ip link set net0 name other; ip link set other up")


@pytest.mark.parametrize("spoil, text", [
    (rename_net0, "there is no network interface net0"),
    (lambda device: device.set_link(False), "net0 is down"),
    (lambda device: device.remove_address(device.address), "net0 has no IPv4 address"),
], ids=["missing", "down", "without address"])
def test_a_net0_that_cannot_be_used_is_reported_as_the_cause(running, spoil, text):
    spoil(running)
    wait_until_closed(running)
    found = faults(running)
    assert next(iter(found.items())) == ("interface", text)
    assert found["engine"] == "discovery does not run on net0"


def test_two_addresses_of_net0_are_reported(idle):
    idle.add_address("192.0.2.120")
    started(idle)
    found = faults(idle)
    assert found["interface"] == f"net0 has 2 IPv4 addresses: 192.0.2.120, {idle.address}"
    assert found["engine"] == "discovery does not run on net0"


def test_a_cable_that_is_unplugged_is_reported(lab, running):
    lab.set_cable(running, False)
    wait_until_closed(running)
    assert faults(running)["interface"] == "net0 has no link"


@contextmanager
def port_taken(device, port):
    """Another program's socket on a port of the device."""
    with device.network():
        taken = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    with taken:
        taken.bind(("", port))
        yield


def test_a_taken_ssdp_port_is_reported(idle):
    with port_taken(idle, 1900):
        started(idle)
        assert faults(idle)["engine"] == "discovery does not run: another program has UDP port 1900"


def test_a_taken_diagnostic_port_is_reported(idle):
    with port_taken(idle, 49821):
        started(idle)
        assert faults(idle)["engine"] == ("discovery runs, but not the diagnostic port: "
                                          "no answer from 127.0.0.1")


def test_another_program_on_the_ssdp_port_is_noted(running):
    with running.network():
        other = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    with other:
        other.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        other.bind(("", 1900))
        status = Status(running)
    assert (status.code, status.having("note")) == (0, ["port"])
    assert status.text("port") == "other programs use UDP port 1900: it has 2 sockets"


def test_an_unknown_product_is_reported(idle):
    started(idle, PRODUCT_ID="frob")
    assert faults(idle) == {
        "product": '"frob" is not a product: the device is an "Unknown Model"'}


def test_a_configuration_service_that_is_down_is_reported(running):
    running.configd.stop()
    assert faults(running) == {
        "configuration": "no configuration service on 127.0.0.1:8080: Connection refused"}


def test_a_configuration_service_that_does_not_answer_is_reported(running):
    running.configd.kill(signal.SIGSTOP)
    assert faults(running) == {
        "configuration": "no configuration service on 127.0.0.1:8080: no answer"}
    running.configd.kill(signal.SIGCONT)


def serve_http(device, *options):
    """Another HTTP server on the port of the configuration service."""
    server = device.start("web", ["python3", "-u", "-m", "http.server", "--bind", "127.0.0.1",
                                  *options, "8080"])
    server.wait_output("Serving HTTP")
    return server


def test_another_program_on_the_port_of_the_configuration_service_is_reported(running):
    running.configd.stop()
    web = serve_http(running)
    assert faults(running) == {
        "configuration": "no configuration service on 127.0.0.1:8080: status 404"}
    web.stop()


def test_ssdp_that_is_switched_off_is_reported(running):
    running.configure(ssdpEnable=False)
    status = Status(running)
    assert (status.code, status.having("fault")) == (1, ["configuration"])
    assert status.text("configuration") == (
        f'name "{running.name}", SSDP off, link up, setup of net0 Complete: '
        "others do not see this device by SSDP")


def test_a_setup_that_is_not_complete_is_reported(lab):
    device = lab.add_device(product="corvia12", address=next(addresses), network_from_test=True)
    started(device)
    device.put_network(state="Preparing")
    wait_until_closed(device)
    assert faults(device) == {
        "configuration": f'name "{device.name}", SSDP on, link up, setup of net0 Preparing',
        "engine": "discovery does not run on net0"}
    lab.remove(device)


def test_an_avahi_daemon_that_does_not_run_is_reported(running):
    running.avahi.stop()
    assert running.beacond.wait() == 1
    status = Status(running)
    assert (status.code, status.having("fault")) == (3, ["daemon", "avahi-daemon"])
    assert status.text("avahi-daemon") == "avahi-daemon does not run"


def test_an_avahi_daemon_that_does_not_answer_is_reported(running):
    running.avahi.kill(signal.SIGSTOP)
    assert faults(running) == {"avahi-daemon": "runs, but does not announce this device"}
    running.avahi.kill(signal.SIGCONT)


def test_a_name_that_another_device_has_is_reported_by_its_effect(lab, running):
    namesake = lab.add_device(product="corvia12", address=next(addresses))
    namesake.configure(hostName=running.name)
    started(namesake).beacond.wait_output("Service name collision, renaming service to '")
    assert faults(namesake) == {"avahi-daemon": "runs, but does not announce this device"}
    lab.remove(namesake)


def test_a_name_that_is_too_long_for_dns_sd_is_reported(idle):
    """beacon-configd accepts no such name, but other configuration services may."""
    idle.configd.stop()
    idle.run("mkdir", "-p", "/run/service/api/v1/network")
    idle.path("/run/service/api/v1/system").write_text(json.dumps({"hostName": "n" * 64}))
    idle.path("/run/service/api/v1/network/devices").write_text("[]")
    service = serve_http(idle, "--directory", "/run/service")
    assert Status(idle).text("configuration") == (
        f'name "{"n" * 64}", SSDP not reported, link not reported, setup of net0 not reported: '
        "the name is too long for DNS-SD, and beacond ends")
    service.stop()


FOLDERS = pytest.mark.parametrize("check, folder", [("documents", "/var/www/html"),
                                                    ("lists", "/var/www/discovery")])


@FOLDERS
@pytest.mark.parametrize("spoil, text", [
    (make_missing, "{} is missing"),
    (make_read_only, "{} is on a read-only file system"),
    (fill, "the disk of {} is full"),
])
def test_a_folder_that_cannot_be_written_is_reported(running, spoil, text, check, folder):
    spoil(running, folder)
    assert faults(running)[check] == text.format(folder)


@FOLDERS
def test_a_folder_of_another_user_is_reported(idle, check, folder):
    idle.run("chmod", "1777", "/var/www/html", "/var/www/discovery")
    idle.run("chmod", "755", folder)
    started(idle, *NOBODY)
    assert faults(idle)[check] == f"beacond's user may not write {folder}"


@FOLDERS
def test_a_file_of_another_user_is_reported(idle, check, folder):
    idle.run("chmod", "1777", "/var/www/html", "/var/www/discovery")
    file = {"documents": f"{folder}/corvia_12_upnp_ssdp_1.xml", "lists": f"{folder}/browse.json"}[check]
    idle.path(file).write_text("as it was")
    started(idle, *NOBODY)
    assert faults(idle)[check] == f"{file} belongs to another user: beacond cannot replace it"


def test_a_device_that_is_not_announced_is_reported(idle):
    make_missing(idle, "/var/www/html")
    started(idle)
    idle.beacond.wait_output(": Unable to generate a description file for ")
    idle.run("mkdir", "/var/www/html")
    assert faults(idle) == {"announcement": "the device is not announced by SSDP"}


def test_a_browse_list_that_beacond_does_not_update_is_reported(running):
    Status(running)  # waits until the device is in its list
    running.path(BROWSE_LIST).write_text("[]")
    found = faults(running)
    assert [*found] == ["browse list"]
    assert re.fullmatch(r"0 devices, 2 bytes, written \d+ s ago: "
                        r"not what beacond knows, and not updated", found["browse list"])


def test_a_missing_browse_list_is_reported(running):
    Status(running)  # waits until the device is in its list
    running.run("rm", BROWSE_LIST)
    assert faults(running) == {"browse list": f"{BROWSE_LIST}: No such file or directory"}


def ssdp_socket(program):
    """A duplicate of the program's socket on port 1900."""
    inode = next(line.split()[9] for line in
                 Path(f"/proc/{program.pid}/net/udp").read_text().splitlines()
                 if line.split()[1].endswith(":076C"))
    number = next(int(link.name) for link in Path(f"/proc/{program.pid}/fd").iterdir()
                  if os.readlink(link) == f"socket:[{inode}]")
    process = os.pidfd_open(program.pid)
    try:
        return socket.socket(fileno=ctypes.CDLL(None).syscall(PIDFD_GETFD, process, number, 0))
    finally:
        os.close(process)


def test_a_small_receive_buffer_is_noted(running):
    with ssdp_socket(running.beacond) as ssdp:
        ssdp.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 100000)
    status = Status(running)
    assert (status.code, status.having("note")) == (0, ["receive buffer"])
    assert status.text("receive buffer") == (
        "200000 bytes of 4608000 requested: bursts on very large networks may be lost")


def test_the_installed_packages_are_listed_and_differences_noted(running):
    running.run("mkdir", "-p", "/var/lib/dpkg/info", "/var/lib/dpkg/updates")
    running.path("/var/lib/dpkg/status").write_text(
        "Package: beacond\nStatus: install ok installed\nArchitecture: all\nVersion: 0.9.0\n"
        "Maintainer: nobody\nDescription: none\n\n")
    status = Status(running)
    assert (status.code, status.having("note")) == (0, ["versions"])
    assert re.fullmatch(r"beaconctl [\d.]+; package beacond 0\.9\.0", status.text("versions"))


def test_an_ordinary_user_sees_the_same_where_the_system_allows_it(running):
    status = Status(running, *NOBODY)
    assert (status.code, status.having("ok")) == (0, CHECKS)
    running.configure(ssdpEnable=False)
    wait_for_empty_hosts(running)
    status = Status(running, *NOBODY)
    assert (status.code, status.having("unknown")) == (1, ["product"])
    assert status.text("product") == "not visible for this user"


def wait_for_empty_hosts(device):
    wait_until(lambda: device.run(BEACONCTL, "hosts", check=False).returncode == 1, 15,
               "no service announced", device.beacond.explain)


def test_checks_that_need_hidden_processes_are_unknown(running):
    running.run("mount", "-o", "remount,hidepid=2", "/proc")
    status = Status(running, *NOBODY)
    assert (status.code, status.having("unknown")) == (0, ["daemon", "documents", "lists",
                                                            "receive buffer"])
    assert status.text("daemon") == "this user may not see the processes of others"
