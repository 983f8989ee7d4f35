"""The packages on a device without systemd, from installation to purge."""

import dataclasses
import os
import re
import signal

import pytest

import expected
import web_folders
from conftest import OLDER
from lab import wait_until
from lab.device import BROWSE_LIST

NAMES = ["beacond", "beacon-configd", "beaconctl", "beacond-web"]
DAEMONS = ["beacond", "beacon-configd"]
LIMIT = 60

# Files that a purge may leave changed.
EXPLAINED = re.compile("|".join([
    r"/var/log/.*",  # logs of the installation and the purge
    r"/var/lib/dpkg/(status|status-old|diversions-old|statoverride-old|lock.*|triggers/.*)",
    r"/var/lib/apt/extended_states",
    r"/var/cache/.*",
    r"/etc/init\.d/\.depend\..*",  # the order of all init scripts, rewritten each time
    r"/etc/(passwd|group|shadow|gshadow)-?",  # accounts are kept: no reuse of user IDs
]))

LIST = r"""
find / -xdev -printf '%p\t%y %m %u:%g %l\n'
find / -xdev -type f -exec sha256sum {} + | sed 's/\(.*\)  \(.*\)/\2 contents\t\1/'
"""


def listing(machine):
    """All files with their modes, owners and contents."""
    return dict(line.split("\t") for line in machine.run("sh", "-c", LIST).stdout.splitlines())


def init(machine, name, action):
    return machine.run(f"/etc/init.d/{name}", action, check=False)


def wait_for_list(machine):
    wanted = expected.browse_json(machine)
    wait_until(lambda: machine.read(BROWSE_LIST) == wanted, LIMIT, "the browse list",
               lambda: machine.read(BROWSE_LIST))


@pytest.fixture(scope="module")
def before(machine):
    """The files of a device with D-Bus and avahi-daemon, before the packages are installed."""
    # The package sysvinit-core asks init to restart itself; a process must read the request.
    machine.run("mkfifo", "/run/initctl")
    machine.start("initctl", ["cat", "/run/initctl"])
    machine.prepare("sysvinit-core", "bash-completion")
    machine.path("/run/runlevel").write_text("2")  # init writes this at the end of booting
    machine.path("/etc/product_id").write_text("lumenplus\n")
    machine.run("/etc/init.d/dbus", "start")
    machine.run("avahi-daemon", "--daemonize")
    return listing(machine)


@pytest.fixture(scope="module")
def installed(machine, before, installing, wire):
    machine.apt_get(*installing(OLDER))
    return machine


def test_installing_starts_the_daemons_as_their_own_users(installed):
    for name in DAEMONS:
        assert installed.user(name) == name
        assert init(installed, name, "status").returncode == 0


def test_the_device_announces_itself_and_lists_itself(installed, wire):
    first = wire.wait_for(source=installed.address, starting=b"NOTIFY")[0]
    expected.assert_alive(first.data, installed)
    wait_for_list(installed)


def test_the_folders_have_their_owners_and_modes(installed):
    web_folders.assert_as_the_packages_make_them(installed)
    assert installed.stat("/var/lib/beacon-configd") == "755 beacon-configd:beacon-configd"


def test_the_web_server_reads_what_the_daemon_writes(installed):
    web_folders.assert_the_web_server_reads(installed)


@pytest.mark.parametrize("owner", ["root", "www-data"])
def test_the_daemon_cannot_replace_files_of_others_in_its_folders(installed, owner):
    web_folders.assert_the_daemon_cannot_replace(installed, owner)


def test_the_page_is_in_the_folder_of_the_list_and_the_start_page_in_the_web_root(installed):
    web_folders.assert_the_page_is_linked(installed)


def test_bash_loads_the_completion_on_demand(installed):
    script = ". /usr/share/bash-completion/bash_completion; _completion_loader beaconctl; " \
             "complete -p beaconctl"
    assert installed.run("bash", "-c", script).stdout == "complete -F _beaconctl beaconctl\n"


@pytest.mark.parametrize("name", DAEMONS)
def test_the_init_script_stops_and_starts(installed, name):
    first = installed.wait_for_process(name)
    assert init(installed, name, "start").returncode == 0
    assert installed.processes(name) == [first]
    assert init(installed, name, "stop").returncode == 0
    assert installed.processes(name) == []
    assert init(installed, name, "status").returncode == 3
    assert init(installed, name, "stop").returncode == 0
    assert init(installed, name, "start").returncode == 0
    second = installed.wait_for_process(name)
    assert init(installed, name, "restart").returncode == 0
    assert installed.wait_for_process(name) != second
    assert init(installed, name, "status").returncode == 0


def kill_supervisors(machine):
    for pid in machine.processes("supervise"):
        os.kill(pid, signal.SIGKILL)
    wait_until(lambda: machine.processes("supervise") == [], LIMIT, "the supervisors' end")


@pytest.mark.parametrize("name", DAEMONS)
def test_a_daemon_whose_supervisor_was_killed_is_supervised_again_or_stopped(installed, name):
    daemon = installed.wait_for_process(name)
    kill_supervisors(installed)
    assert init(installed, name, "start").returncode == 0
    assert installed.processes(name) == [daemon]
    os.kill(daemon, signal.SIGKILL)
    wait_until(lambda: installed.processes(name) not in ([], [daemon]), LIMIT, "another daemon")
    kill_supervisors(installed)
    assert init(installed, name, "stop").returncode == 0
    assert installed.processes(name) == []
    for each in DAEMONS:
        assert init(installed, each, "start").returncode == 0
        installed.wait_for_process(each)


def test_a_supervisor_leaves_no_process_at_whichever_moment_it_is_killed(installed):
    """A supervisor opens its pipe to the log, then starts the program. This one does not exist, so
    the supervisor ends."""
    assert installed.path("/usr/lib/beacond/supervise").exists()
    own = installed.processes("supervise")
    installed.run("sh", "-c", """for round in $(seq 20); do
        for pause in 0 0.001 0.002 0.003 0.004 0.005 0.006 0.007; do
            /usr/lib/beacond/supervise /nowhere/nobody >/dev/null 2>&1 &
            sleep $pause
            kill -KILL $!
        done
    done
    rm -f /run/nobody.pipe""")
    wait_until(lambda: installed.processes("supervise") == own, LIMIT, "the supervisors' end")


def test_permanent_faults_are_not_retried(installed):
    state = installed.path("/var/lib/beacon-configd/system.json")
    state.write_text("{")
    os.kill(installed.wait_for_process("beacon-configd"), signal.SIGKILL)
    wait_until(lambda: len(installed.processes("supervise")) == 1, LIMIT, "the supervisor's end")
    assert init(installed, "beacon-configd", "status").returncode == 3
    state.unlink()
    assert init(installed, "beacon-configd", "start").returncode == 0
    installed.wait_for_process("beacon-configd")


def answer_to_a_change(machine):
    try:
        return machine.request("PATCH", "/api/v1/system", {"ssdpEnable": False})[0]
    except OSError:  # the service does not listen yet
        return None


def test_a_failed_data_partition_does_not_stop_the_service(installed):
    # On a read-only root, the empty mount point remains if the partition cannot be mounted.
    installed.run("mount", "-t", "tmpfs", "-o", "ro,mode=755", "tmpfs", "/var/lib/beacon-configd")
    assert init(installed, "beacon-configd", "restart").returncode == 0
    wait_until(lambda: answer_to_a_change(installed) == 503, LIMIT, "a refusal")
    installed.run("umount", "/var/lib/beacon-configd")
    assert init(installed, "beacon-configd", "restart").returncode == 0
    installed.wait_for_process("beacon-configd")


def test_stopping_removes_the_browse_list_also_after_a_crash(installed):
    wait_for_list(installed)
    assert init(installed, "beacond", "stop").returncode == 0
    assert installed.read(BROWSE_LIST) is None
    assert init(installed, "beacond", "start").returncode == 0
    wait_for_list(installed)
    os.kill(installed.wait_for_process("beacond"), signal.SIGKILL)
    wait_until(lambda: installed.processes("beacond") == [], LIMIT, "the crash")
    assert installed.read(BROWSE_LIST) is not None
    assert init(installed, "beacond", "stop").returncode == 0
    assert installed.read(BROWSE_LIST) is None
    assert init(installed, "beacond", "start").returncode == 0


@pytest.mark.parametrize("old, new", [(212992, 4608000), (16777216, 16777216)])
def test_starting_raises_a_lower_limit_of_receive_buffers(installed, old, new):
    with installed.limit_of_receive_buffers(old) as limit:
        assert init(installed, "beacond", "restart").returncode == 0
        assert limit.read_text() == f"{new}\n"


def test_an_upgrade_keeps_settings_and_state_and_restarts(installed, installing, version, wire):
    settings = "PRODUCT_ID=corvia12\n"
    installed.path("/etc/default/beacond").write_text(settings)
    wait_until(lambda: installed.run("beaconctl", "hosts", check=False).returncode == 0, LIMIT,
               "the daemon announces")
    installed.configure(hostName="studio-b")
    state = installed.read("/var/lib/beacon-configd/system.json")
    old = {name: installed.wait_for_process(name) for name in DAEMONS}
    web_folders.make_as_before(installed)
    mark = wire.mark()

    installed.apt_get(*installing())

    for name in NAMES:
        assert installed.installed(name) == f"installed {version}"
    for name in DAEMONS:
        assert installed.wait_for_process(name) != old[name]
    assert installed.read("/etc/default/beacond") == settings
    assert installed.read("/var/lib/beacon-configd/system.json") == state
    installed.name = "studio-b"
    installed.spec = dataclasses.replace(installed.spec, product="corvia12")
    location = expected.location(installed).encode()
    wait_until(lambda: any(location in each.data for each in wire.datagrams(since=mark)), LIMIT,
               "an announcement as the new product")
    wait_for_list(installed)
    web_folders.assert_as_the_packages_make_them(installed)
    web_folders.assert_the_web_server_reads(installed)


def test_a_downgrade_and_the_next_upgrade_keep_settings_and_state(installed, installing, version):
    state = installed.read("/var/lib/beacon-configd/system.json")
    for arguments, number in ((["--allow-downgrades", *installing(OLDER)], OLDER),
                              (installing(), version)):
        installed.apt_get(*arguments)
        for name in NAMES:
            assert installed.installed(name) == f"installed {number}"
        for name in DAEMONS:
            assert init(installed, name, "status").returncode == 0
        assert installed.read("/etc/default/beacond") == "PRODUCT_ID=corvia12\n"
        assert installed.read("/var/lib/beacon-configd/system.json") == state
    wait_for_list(installed)


def test_starting_creates_missing_folders(installed):
    assert init(installed, "beacond", "stop").returncode == 0
    installed.run("rm", "-r", "/var/www/html")
    installed.run("chmod", "755", "/var/www/discovery")
    assert init(installed, "beacond", "start").returncode == 0
    web_folders.assert_as_the_packages_make_them(installed)


def test_removing_stops_the_daemons_and_keeps_settings_and_state(installed):
    installed.apt_get("remove", *NAMES)
    for name in DAEMONS:
        assert installed.processes(name) == []
    assert installed.read("/etc/default/beacond") == "PRODUCT_ID=corvia12\n"
    assert "studio-b" in installed.read("/var/lib/beacon-configd/system.json")


def test_purging_leaves_nothing(installed, before):
    installed.apt_get("purge", *NAMES)
    after = listing(installed)
    changed = {path for path in before.keys() | after.keys() if before.get(path) != after.get(path)}
    assert sorted(each for each in changed if not EXPLAINED.fullmatch(each.split(" ")[0])) == []
