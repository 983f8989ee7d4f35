"""The packages on a device with systemd."""

import json
import os
import re
from pathlib import Path

import pytest

import expected
import web_folders
from conftest import OLDER
from lab import wait_until
from lab.device import BROWSE_LIST

NAMES = ["beacond", "beacon-configd", "beaconctl", "beacond-web"]
UNITS = ["beacond.service", "beacon-configd.service"]
LIMIT = 60


@pytest.fixture(scope="module")
def booted(machine, installing, wire):
    """A machine that boots an image with the packages installed, but without /var/www and
    the users."""
    machine.prepare("systemd-sysv")
    machine.apt_get(*installing(OLDER))
    assert machine.processes("beacond") + machine.processes("beacon-configd") == []
    machine.path("/etc/product_id").write_text("lumenplus\n")
    machine.run("rm", "-r", "/var/www")
    machine.run("userdel", "beacond")
    machine.run("userdel", "beacon-configd")
    machine.boot()
    return machine


def process_status(machine, unit):
    """The lines of /proc/PID/status of a unit's main process."""
    text = machine.read(f"/proc/{machine.property(unit, 'MainPID')}/status")
    return dict(re.findall(r"^(\w+):\s*(.*)$", text, re.M))


@pytest.mark.parametrize("unit", UNITS)
def test_runs_from_the_first_boot_as_its_own_user(booted, unit):
    assert booted.property(unit, "ActiveState") == "active"
    assert booted.property(unit, "UnitFileState") == "enabled"
    assert booted.property(unit, "NRestarts") == "0"
    assert booted.user(unit.removesuffix(".service")) == unit.removesuffix(".service")


def test_the_device_announces_itself_and_lists_itself_for_everybody(booted, wire):
    first = wire.wait_for(source=booted.address, starting=b"NOTIFY")[0]
    expected.assert_alive(first.data, booted)
    wait_until(lambda: booted.read(BROWSE_LIST) == expected.browse_json(booted), LIMIT,
               "the browse list", lambda: booted.read(BROWSE_LIST))
    assert booted.stat(BROWSE_LIST) == "644 beacond:beacond"


@pytest.mark.parametrize("user", [[], ["setpriv", "--reuid", "65534", "--clear-groups"]],
                         ids=["root", "nobody"])
def test_beaconctl_status_finds_no_fault(booted, user):
    wait_until(lambda: booted.read(BROWSE_LIST) == expected.browse_json(booted), LIMIT,
               "the browse list", lambda: booted.read(BROWSE_LIST))
    result = booted.run(*user, "beaconctl", "--json", "status", check=False)
    checks = {check["check"]: check for check in json.loads(result.stdout)["checks"]}
    # The limit of the receive buffer is that of the host, and the version of the packages is
    # older than that of their programs.
    states = {name: check["state"] for name, check in checks.items()
              if name not in ("receive buffer", "versions")}
    assert (result.returncode, set(states.values())) == (0, {"ok"}), result.stdout
    assert checks["receive buffer"]["state"] in ("ok", "note")
    assert " of user beacond since " in checks["daemon"]["text"]
    assert f"package beacond {OLDER}" in checks["versions"]["text"]


def test_booting_creates_the_folders_and_links_the_page(booted):
    web_folders.assert_as_the_packages_make_them(booted)
    web_folders.assert_the_page_is_linked(booted)


def test_the_web_server_reads_what_the_daemon_writes(booted):
    web_folders.assert_the_web_server_reads(booted)


@pytest.mark.parametrize("owner", ["root", "www-data"])
def test_the_daemon_cannot_replace_files_of_others_in_its_folders(booted, owner):
    web_folders.assert_the_daemon_cannot_replace(booted, owner)


def test_booting_with_the_folders_of_an_earlier_version_changes_their_owner_and_mode(booted):
    web_folders.make_as_before(booted)
    # systemd-tmpfiles-setup.service runs this command.
    booted.run("systemd-tmpfiles", "--create", "--remove", "--boot", "--exclude-prefix=/dev")
    web_folders.assert_as_the_packages_make_them(booted)


@pytest.mark.parametrize("unit", UNITS)
def test_the_unit_is_valid(booted, unit):
    result = booted.run("systemd-analyze", "--man=no", "verify", unit)
    assert result.stdout + result.stderr == ""


@pytest.mark.parametrize("unit", UNITS)
def test_has_an_exposure_of_at_most_2(booted, unit):
    booted.run("systemd-analyze", "security", "--offline=true", "--threshold=20",
               f"/lib/systemd/system/{unit}")


@pytest.mark.parametrize("unit", UNITS)
def test_the_running_daemon_is_confined(booted, unit):
    status = process_status(booted, unit)
    confined = {"NoNewPrivs": "1", "Seccomp": "2", "CapEff": "0" * 16, "CapBnd": "0" * 16}
    assert {name: status[name] for name in confined} == confined
    mounts = booted.read(f"/proc/{booted.property(unit, 'MainPID')}/mountinfo")
    assert re.search(r" / / ro,", mounts)


def journal(machine, *options):
    """The entries of the machine's journal, the oldest first."""
    # The status is 1 if nothing is found.
    lines = machine.run("journalctl", "--output=json", *options, check=False).stdout.splitlines()
    return [json.loads(line) for line in lines]


def messages(machine, text):
    """The discovery daemon's lines that contain a text."""
    return [entry for entry in journal(machine, "--unit=beacond.service")
            if text in str(entry["MESSAGE"])]


def test_no_datagram_can_set_the_priority_of_a_line(booted, peer):
    with peer.udp_socket() as sock:
        sock.sendto(b"x\n<0>Disk failing", (booted.address, 1900))
    found = wait_until(lambda: messages(booted, "Disk failing"), LIMIT, "the line in the journal")
    assert {entry["PRIORITY"] for entry in found} == {"6"}
    assert journal(booted, "--unit=beacond.service", "--priority=warning") == []


def test_a_flood_of_lines_does_not_fill_the_journal(booted, peer):
    sent = 6000
    with peer.udp_socket() as sock:
        def suppression_is_reported():
            """Causes a line. The first line after the interval makes the journal report how many
            it suppressed."""
            sock.sendto(b"one more", (booted.address, 1900))
            return journal(booted, "--grep=^Suppressed [0-9]+ messages from beacond.service")
        for _ in range(sent // 100):
            for _ in range(100):
                sock.sendto(b"flood", (booted.address, 1900))
            peer.ask(expected.SEARCH, booted.address)  # the answer follows all earlier lines
        wait_until(suppression_is_reported, LIMIT, "the journal's line about suppressed lines")
    assert 0 < len(messages(booted, "flood")) < sent / 2


def bound_ports(machine, process):
    """The ports on which a process listens, in the notation of systemctl."""
    pid = machine.wait_for_process(process)
    sockets = {os.readlink(each) for each in Path(f"/proc/{pid}/fd").iterdir()}
    for protocol, state in [("tcp", "0A"), ("udp", "07")]:
        for line in Path(f"/proc/{pid}/net/{protocol}").read_text().splitlines()[1:]:
            fields = line.split()
            if fields[3] == state and f"socket:[{fields[9]}]" in sockets:
                yield f"ipv4:{protocol}{int(fields[1].split(':')[1], 16)}"


@pytest.mark.parametrize("unit", UNITS)
def test_may_bind_only_the_ports_that_it_uses(booted, unit):
    # Debian 12's systemd reads the setting, but cannot enforce it.
    assert booted.property(unit, "SocketBindDeny") == "any"
    allowed = booted.property(unit, "SocketBindAllow").split()
    assert sorted(bound_ports(booted, unit.removesuffix(".service"))) == sorted(allowed)


def test_restarts_after_the_end_of_avahi_daemon(booted, wire):
    old = booted.property("beacond.service", "MainPID")
    mark = wire.mark()
    booted.run("systemctl", "kill", "--kill-whom=main", "--signal=KILL", "avahi-daemon.service")
    wait_until(lambda: booted.property("beacond.service", "MainPID") not in ("0", old), LIMIT,
               "beacond started again")
    wire.wait_for(source=booted.address, starting=b"NOTIFY", since=mark, timeout=LIMIT)
    assert booted.property("beacond.service", "ActiveState") == "active"


def wait_for_list(booted):
    wait_until(lambda: booted.read(BROWSE_LIST) is not None, LIMIT, "the browse list")


# A crash ends the main process alone. Without --kill-whom, newer versions of systemd also
# kill the command that removes the list.
def test_stopping_and_crashing_leave_no_browse_list(booted):
    override = booted.path("/run/systemd/system/beacond.service.d/once.conf")
    override.parent.mkdir(parents=True)
    override.write_text("[Service]\nRestart=no\n")
    booted.run("systemctl", "daemon-reload")
    wait_for_list(booted)
    booted.run("systemctl", "kill", "--kill-whom=main", "--signal=KILL", "beacond.service")
    wait_until(lambda: booted.property("beacond.service", "ActiveState") == "failed", LIMIT,
               "the crash")
    assert booted.read(BROWSE_LIST) is None
    booted.run("systemctl", "reset-failed", "beacond.service")
    booted.run("systemctl", "start", "beacond.service")
    wait_for_list(booted)
    booted.run("systemctl", "stop", "beacond.service")
    assert booted.read(BROWSE_LIST) is None
    assert booted.property("beacond.service", "Result") == "success"
    assert booted.property("beacond.service", "ExecMainStatus") == "0"
    override.unlink()
    booted.run("systemctl", "daemon-reload")
    booted.run("systemctl", "start", "beacond.service")
    wait_for_list(booted)


@pytest.mark.parametrize("old, new", [(212992, 4608000), (16777216, 16777216)])
def test_starting_raises_a_lower_limit_of_receive_buffers(booted, old, new):
    with booted.limit_of_receive_buffers(old) as limit:
        booted.run("systemctl", "restart", "beacond.service")
        assert limit.read_text() == f"{new}\n"


def test_the_documented_edit_keeps_a_lower_limit_of_receive_buffers(booted):
    edit = booted.path("/etc/systemd/system/beacond.service.d/override.conf")
    edit.parent.mkdir()
    edit.write_text("[Service]\nExecStartPre=\n")
    booted.run("systemctl", "daemon-reload")
    with booted.limit_of_receive_buffers(212992) as limit:
        booted.run("systemctl", "restart", "beacond.service")
        assert limit.read_text() == "212992\n"
    edit.unlink()
    edit.parent.rmdir()
    booted.run("systemctl", "daemon-reload")


def test_an_upgrade_keeps_settings_and_state_and_restarts(booted, installing, version, wire):
    settings = "# kept\n"
    booted.path("/etc/default/beacond").write_text(settings)
    wait_until(lambda: booted.read(BROWSE_LIST) == expected.browse_json(booted), LIMIT,
               "the browse list", lambda: booted.read(BROWSE_LIST))
    booted.configure(hostName="studio-b")
    state = booted.read("/var/lib/beacon-configd/system.json")
    old = [booted.property(unit, "MainPID") for unit in UNITS]
    web_folders.make_as_before(booted)
    mark = wire.mark()

    booted.apt_get(*installing())

    for name in NAMES:
        assert booted.installed(name) == f"installed {version}"
    for unit, pid in zip(UNITS, old):
        assert booted.property(unit, "ActiveState") == "active"
        assert booted.property(unit, "MainPID") != pid
    assert booted.read("/etc/default/beacond") == settings
    assert booted.read("/var/lib/beacon-configd/system.json") == state
    wire.wait_for(source=booted.address, starting=b"NOTIFY", since=mark, timeout=LIMIT)
    booted.name = "studio-b"
    wait_until(lambda: booted.read(BROWSE_LIST) == expected.browse_json(booted), LIMIT,
               "the browse list", lambda: booted.read(BROWSE_LIST))
    web_folders.assert_as_the_packages_make_them(booted)
    web_folders.assert_the_web_server_reads(booted)
    # The new daemon has replaced the file of the old one.
    assert booted.read(f"/var/www/html/{expected.document_name(booted)}") == expected.document(booted)


def test_removing_stops_the_daemons_and_purging_leaves_nothing(booted):
    booted.apt_get("remove", *NAMES)
    for unit in UNITS:
        assert booted.property(unit, "ActiveState") == "inactive"
        assert booted.processes(unit.removesuffix(".service")) == []
    assert booted.read("/etc/default/beacond") == "# kept\n"
    booted.apt_get("purge", *NAMES)
    found = booted.run("find", "/", "-xdev", "-name", "*beacon*", "-o", "-path", "/var/www",
                       "-o", "-name", "browse.json*").stdout
    assert found == ""
    for unit in UNITS:
        assert booted.property(unit, "LoadState") == "not-found"
