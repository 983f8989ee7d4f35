"""The daemons on a device without systemd are supervised: by the init scripts, and by BusyBox's
init. D-Bus and avahi-daemon are supervised by BusyBox's init, as docs/embedded.md says."""

import os
import re
import signal
from pathlib import Path

import pytest

import expected
import web_folders
from documented import block
from lab import wait_until
from lab.device import BROWSE_LIST

OURS = ["beacond", "beacon-configd"]
OTHERS = ["avahi-daemon", "dbus-daemon"]
FOLDER = "/var/lib/beacon-configd"
STATE = f"{FOLDER}/system.json"
LOG = "/var/log/messages"
LIMIT = 60
BACK = 30  # seconds


def inittab(ours):
    """The lines for /etc/inittab in docs/embedded.md. `ours`: with those of our daemons."""
    lines = block("docs/embedded.md", "::sysinit:").splitlines(keepends=True)
    assert len(lines) == 7
    return "".join(line for line in lines if ours or "/usr/lib/beacon" not in line)


def main_process(machine, name):
    """The process id of a daemon; ignores its helper processes. None unless exactly one runs."""
    found = machine.processes(name)
    mains = [pid for pid in found if parent(pid) not in found]
    return mains[0] if len(mains) == 1 else None


def parent(pid):
    try:
        return int(re.search(r"^PPid:\s*(\d+)", Path(f"/proc/{pid}/status").read_text(), re.M)[1])
    except FileNotFoundError:  # it has ended meanwhile
        return None


def wait_for(machine, *names):
    for name in names:
        wait_until(lambda each=name: main_process(machine, each), LIMIT, f"{name} runs",
                   lambda: log(machine)[-3000:])


def init(machine, name, action):
    return machine.run(f"/etc/init.d/{name}", action, check=False)


@pytest.fixture(scope="module")
def installed(machine, installing):
    """A machine with BusyBox's init, its system log, D-Bus, avahi-daemon and the packages."""
    # The package sysvinit-core asks init to restart itself; a process must read the request.
    machine.run("mkfifo", "/run/initctl")
    machine.start("initctl", ["cat", "/run/initctl"])
    machine.prepare("sysvinit-core", "busybox")
    machine.run("ln", "-s", "/bin/busybox", "/sbin/syslogd")
    machine.path("/run/runlevel").write_text("2")  # as sysvinit's init does
    machine.path("/etc/product_id").write_text("lumenplus\n")
    machine.path("/etc/inittab").write_text(inittab(ours=False))
    machine.boot_busybox()
    wait_for(machine, *OTHERS)
    machine.apt_get(*installing())
    return machine


@pytest.fixture(scope="module", params=["init scripts", "inittab"])
def supervised(installed, request):
    if request.param == "inittab":
        for name in OURS:
            assert init(installed, name, "stop").returncode == 0
        installed.path("/etc/inittab").write_text(inittab(ours=True))
        os.kill(installed.pid, signal.SIGHUP)
    wait_for(installed, *OURS)
    assert [installed.user(name) for name in OURS] == OURS
    wait_until(lambda: has_list(installed), LIMIT, "the browse list",
               lambda: log(installed)[-3000:])
    return installed


def log(machine):
    return machine.read(LOG) or ""


def list_time(machine):
    return machine.path(BROWSE_LIST).stat().st_mtime_ns


def has_list(machine, after=0):
    """Whether the browse list contains only the device, and is newer than `after`."""
    return machine.read(BROWSE_LIST) == expected.browse_json(machine) and list_time(machine) > after


@pytest.mark.parametrize("name", [*OURS, *OTHERS])
def test_everything_works_again_within_30_s_after_a_daemon_was_killed(supervised, wire, name):
    machine = supervised
    killed = main_process(machine, name)
    since, logged, listed = wire.mark(), len(log(machine)), list_time(machine)
    restarts_beacond = name != "beacon-configd"
    line = (f"Service '{machine.name}' successfully established." if restarts_beacond else
            "WSConfig: 127.0.0.1:8080: stream is back")

    def all_is_back():
        return (main_process(machine, name) not in (None, killed) and
                line in log(machine)[logged:] and
                (not restarts_beacond or has_list(machine, after=listed) and
                 wire.datagrams(machine.address, since, b"NOTIFY")))
    os.kill(killed, signal.SIGKILL)
    wait_until(all_is_back, BACK, "all",
               lambda: f"{machine.read(BROWSE_LIST)}\n{log(machine)[logged:]}")
    for each in wire.datagrams(machine.address, since, b"NOTIFY"):
        expected.assert_alive(each.data, machine)
    web_folders.assert_the_web_server_reads(machine)
    assert machine.request("GET", "/api/v1/system")[0] == 200
    assert None not in [main_process(machine, each) for each in [*OURS, *OTHERS]]


def test_lines_go_to_the_system_log(supervised):
    text = log(supervised)
    assert re.search(r"^\w+ +\d+ \S+ studio-a user\.notice beacond: PubSub started$", text, re.M)
    assert re.search(r" user\.notice beacon-configd: beacon-configd: listening on 127.0.0.1:8080$",
                     text, re.M)
    assert " beacond: ended with status 137, starts again\n" in text
    assert " beacon-configd: ended with status 137, starts again\n" in text
