"""Socket activation of the configuration service."""

import os
import socket
import threading
from contextlib import contextmanager
from pathlib import Path

import pytest

from conftest import OLDER
from lab import wait_until

SERVICE = "beacon-configd.service"
SOCKET = "beacon-configd.socket"
FOLDER = "/var/lib/beacon-configd"
STATE = f"{FOLDER}/system.json"
DROP_IN = "/run/systemd/system/beacon-configd.service.d/test.conf"
LIMIT = 60


@pytest.fixture(scope="module")
def booted(machine, installing):
    machine.prepare("systemd-sysv")
    machine.apt_get(*installing(OLDER))
    machine.boot()
    return machine


def states(machine):
    return [machine.property(unit, "ActiveState") for unit in (SOCKET, SERVICE)]


def wait_for(machine, *wanted):
    """Waits for the states of the socket and of the service."""
    wait_until(lambda: states(machine) == list(wanted), LIMIT, f"the states {wanted}",
               lambda: machine.run("systemctl", "status", SOCKET, SERVICE, check=False).stdout)


def refuses(machine):
    """Whether the port refuses connections."""
    with machine.network(), socket.socket() as client:
        return client.connect_ex(("127.0.0.1", 8080)) != 0


@contextmanager
def clients_that_never_stop(machine):
    """Connects repeatedly. Yields a list of two counts: attempts, and refused attempts."""
    counted = [0, 0]
    end = threading.Event()

    def connect():
        while not end.is_set():
            counted[1] += refuses(machine)
            counted[0] += 1

    thread = threading.Thread(target=connect)
    thread.start()
    try:
        yield counted
    finally:
        end.set()
        thread.join()


def restarted(machine, old):
    return machine.property(SERVICE, "MainPID") not in ("0", old)


def test_the_socket_unit_is_valid_and_enabled(booted):
    result = booted.run("systemd-analyze", "--man=no", "verify", SOCKET)
    assert result.stdout + result.stderr == ""
    assert booted.property(SOCKET, "UnitFileState") == "enabled"
    assert states(booted) == ["active", "active"]


def test_the_service_listens_on_the_socket_of_systemd(booted):
    service = booted.wait_for_process("beacon-configd")
    held = {os.readlink(each) for each in Path(f"/proc/{booted.pid}/fd").iterdir()}
    assert os.readlink(f"/proc/{service}/fd/3") in held


def test_the_port_is_never_closed_between_two_starts(booted):
    old = booted.property(SERVICE, "MainPID")
    with clients_that_never_stop(booted) as counted:
        booted.run("systemctl", "kill", "--kill-whom=main", "--signal=KILL", SERVICE)
        wait_until(lambda: restarted(booted, old), LIMIT, "the service started again")
        booted.run("systemctl", "restart", SERVICE)
        wait_until(lambda c=counted, n=counted[0]: c[0] > n + 10, LIMIT, "more connections")
    assert counted[1] == 0
    assert booted.request("GET", "/api/v1/system")[0] == 200
    assert states(booted) == ["active", "active"]


def test_a_client_starts_a_stopped_service(booted):
    booted.run("systemctl", "stop", "beacond.service", SERVICE)
    assert booted.request("GET", "/api/v1/system")[0] == 200
    assert states(booted) == ["active", "active"]
    booted.run("systemctl", "start", "beacond.service")


def damage_the_file(machine):
    machine.path(STATE).write_text("{")


def mend_the_file(machine):
    machine.path(STATE).write_text("{}")


def override(machine, settings):
    machine.path(DROP_IN).parent.mkdir(parents=True)
    machine.path(DROP_IN).write_text(f"[Service]\n{settings}")
    machine.run("systemctl", "daemon-reload")


def end_override(machine):
    machine.run("rm", "-r", "/run/systemd/system/beacon-configd.service.d")
    machine.run("systemctl", "daemon-reload")


def use_it_wrongly(machine):
    override(machine, "ExecStart=\nExecStart=beacon-configd --port 0\n")


@pytest.mark.parametrize("spoil, mend, status", [(damage_the_file, mend_the_file, 3),
                                                 (use_it_wrongly, end_override, 2)])
def test_permanent_faults_are_not_retried(booted, spoil, mend, status):
    spoil(booted)
    with clients_that_never_stop(booted) as counted:
        booted.run("systemctl", "kill", "--kill-whom=main", "--signal=KILL", SERVICE)
        wait_for(booted, "inactive", "failed")
        wait_until(lambda c=counted, n=counted[1]: c[1] > n + 10, LIMIT, "refused connections")
    assert booted.property(SERVICE, "ExecMainStatus") == str(status)
    assert booted.property(SERVICE, "NRestarts") == "1"  # after the signal
    assert states(booted) == ["inactive", "failed"]
    mend(booted)
    booted.run("systemctl", "start", SERVICE)
    wait_for(booted, "active", "active")
    assert booted.request("GET", "/api/v1/system")[0] == 200


def test_temporary_faults_are_retried(booted):
    # The service then cannot receive the kernel's messages about interfaces.
    override(booted, "RestrictAddressFamilies=\nRestrictAddressFamilies=AF_INET\n")
    booted.run("systemctl", "kill", "--kill-whom=main", "--signal=KILL", SERVICE)
    # By default, systemd gives up after five starts within 10 s.
    wait_until(lambda: int(booted.property(SERVICE, "NRestarts")) > 6, LIMIT, "seven restarts",
               lambda: booted.property(SERVICE, "NRestarts"))
    assert booted.property(SERVICE, "ExecMainStatus") in ("0", "1")
    assert booted.property(SOCKET, "ActiveState") == "active"
    end_override(booted)
    assert booted.request("GET", "/api/v1/system")[0] == 200
    assert states(booted) == ["active", "active"]


def system(machine):
    return machine.request("GET", "/api/v1/system")[1]


def test_a_failed_data_partition_does_not_stop_the_service_and_is_used_when_it_returns(booted):
    stored = {"hostName": "stored", "ssdpEnable": False}
    booted.configure(**stored)
    booted.run("cp", "-a", FOLDER, "/var/stored")
    # systemd itself does this, except in containers.
    booted.run("mount", "--make-rshared", "/")
    # On a read-only root, the empty mount point remains if the partition cannot be mounted.
    booted.run("mount", "-t", "tmpfs", "-o", "ro,mode=755", "tmpfs", FOLDER)
    booted.run("systemctl", "restart", SERVICE)
    assert system(booted) == {"hostName": "studio-a", "ssdpEnable": True}
    assert booted.request("PATCH", "/api/v1/system", {"hostName": "refused"}) == (
        503, {"error": f"cannot write {STATE}: Read-only file system"})
    assert states(booted) == ["active", "active"]
    booted.run("mount", "--bind", "/var/stored", FOLDER)
    wait_until(lambda: system(booted) == stored, LIMIT, "the stored settings",
               lambda: str(system(booted)))
    booted.configure(hostName="changed")
    assert "changed" in booted.read("/var/stored/system.json")
    booted.run("umount", FOLDER)
    booted.run("umount", FOLDER)
    booted.run("systemctl", "restart", SERVICE)
    assert system(booted) == stored


def test_an_upgrade_keeps_the_port_open(booted, installing):
    old = booted.property(SERVICE, "MainPID")
    with clients_that_never_stop(booted) as counted:
        booted.apt_get(*installing())
        wait_until(lambda: restarted(booted, old), LIMIT, "the service started again")
    assert counted[0] > 0
    assert counted[1] == 0
    assert states(booted) == ["active", "active"]


def test_removing_closes_the_port_and_purging_leaves_nothing(booted):
    booted.apt_get("remove", "beacon-configd")
    assert states(booted) == ["inactive", "inactive"]
    assert refuses(booted)
    booted.apt_get("purge", "beacon-configd")
    assert booted.run("find", "/etc", "/var/lib", "-name", "*beacon-configd*").stdout == ""
