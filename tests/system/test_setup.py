"""How scripts/setup.sh installs packages, with a fake apt-get."""

import os
import re
import signal
import subprocess
from pathlib import Path

import pytest

from lab import wait_until

TOP = Path(__file__).resolve().parents[2]
POLICY = "/usr/sbin/policy-rc.d"

# Mounts an overlay from the folder $2 on /usr/sbin, so that changes there are discarded.
# $1: the administrator's existing policy for services, or empty.
INSTALL = f"""
mount -t tmpfs tmpfs "$2"
mkdir "$2/written" "$2/work"
mount -t overlay -o "lowerdir=/usr/sbin,upperdir=$2/written,workdir=$2/work" overlay /usr/sbin
rm -f {POLICY}
[ -z "$1" ] || echo "$1" >{POLICY}
trap : INT TERM HUP # continues after an interrupt that ends the other processes
said=$(bash -c '. "$0"; install_packages build' {TOP}/scripts/setup.sh)
status=$?
echo "$said"
cat {POLICY} 2>&1
exit $status
"""
LINES_BEFORE = 2  # lines of output before the installation


class Setup:
    """Installs packages on a machine that has none of them."""

    def __init__(self, folder):
        self.temporary = folder / "temporary"
        self._programs = folder / "programs"
        self._overlay = folder / "overlay"
        for each in (self.temporary, self._programs, self._overlay):
            each.mkdir()
        self._program("dpkg-query", "")

    def _program(self, name, text):
        path = self._programs / name
        path.write_text(f"#!/bin/sh\n{text}\n")
        path.chmod(0o755)

    def start(self, apt_get, policy=""):
        """`apt_get`: the shell commands of the fake apt-get."""
        self._program("apt-get", f'[ "$1" = update ] && exit\n{apt_get}')
        environment = {"PATH": f"{self._programs}:/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C",
                       "TMPDIR": str(self.temporary)}
        # These tests may run under nohup, whose programs inherit that SIGHUP is ignored.
        return subprocess.Popen(
            ["env", "--default-signal=INT,TERM,HUP", "unshare", "--mount",
             "sh", "-c", INSTALL, "install", policy, self._overlay],
            env=environment, text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            start_new_session=True)

    def run(self, *arguments):
        """Returns the status, the policy for services afterwards, and the errors."""
        program = self.start(*arguments)
        output, errors = program.communicate(timeout=60)
        return program.returncode, output.splitlines()[LINES_BEFORE:], errors.splitlines()

    def left(self):
        return list(self.temporary.iterdir())


@pytest.fixture
def setup(tmp_path):
    return Setup(tmp_path)


NO_POLICY = [f"cat: {POLICY}: No such file or directory"]


def test_success_leaves_nothing(setup):
    assert setup.run("exit 0") == (0, NO_POLICY, [])
    assert setup.left() == []


def test_the_packages_and_a_readable_log_are_named_before_the_installation(setup, tmp_path):
    program = setup.start(f"stat -c '%n %a' $TMPDIR/* >{tmp_path}/log; kill -KILL $PPID")
    installing, log = program.communicate(timeout=60)[0].splitlines()[:LINES_BEFORE]
    assert re.fullmatch("Installing these Debian packages, which takes some minutes: g\\+\\+ cmake .*",
                        installing)
    name, mode = (tmp_path / "log").read_text().split()
    assert (log, mode) == (f"The log of the installation: {name}", "644")


def test_services_do_not_start_during_the_installation(setup):
    assert setup.run(f"sh {POLICY}; [ $? = 101 ] && [ -x {POLICY} ]") == (0, NO_POLICY, [])


def test_an_existing_policy_for_services_stays(setup):
    assert setup.run("exit 0", "exit 104")[:2] == (0, ["exit 104"])


def test_failure_keeps_a_readable_log_and_prints_its_name(setup):
    status, policy, errors = setup.run("seq 30; exit 100")
    log, = setup.left()
    assert log.stat().st_mode & 0o777 == 0o644
    assert log.read_text().split() == [str(number) for number in range(1, 31)]
    assert errors == [*(str(number) for number in range(11, 31)),
                      f"Installing the packages failed. The whole log is {log}"]
    assert (status, policy) == (1, NO_POLICY)


def test_the_logs_of_two_installations_have_different_names(setup):
    for _ in range(2):
        setup.run("exit 100")
    assert len({log.name for log in setup.left()}) == 2


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_an_interrupt_leaves_nothing(setup, tmp_path, number):
    begun = tmp_path / "begun"
    program = setup.start(f"ls {POLICY} >{begun}.new && mv {begun}.new {begun}; exec sleep 600")
    wait_until(begun.exists, 20, "apt-get to begin")
    assert begun.read_text() == f"{POLICY}\n"
    assert setup.left() != []
    os.killpg(program.pid, number)
    output, _ = program.communicate(timeout=60)
    assert output.splitlines()[LINES_BEFORE:] == NO_POLICY
    assert setup.left() == []
