"""tests/debian/run, which runs commands with another root folder: here one with BusyBox."""

import os
import select
import shutil
import signal
import subprocess
from pathlib import Path

import pytest

from lab import wait_until

TOP = Path(__file__).resolve().parents[2]

# Replaces scripts/setup.sh: this machine appears to have Debian 13, so the other Debian is 12.
SETUP = """
codename() { echo trixie; }
listed_packages() { echo busybox; }
"""


@pytest.fixture
def tree(tmp_path):
    """A folder of sources with only tests/debian and SETUP. The root folder of the other Debian
    exists already."""
    shutil.copytree(TOP / "tests/debian", tmp_path / "tests/debian")
    (tmp_path / "scripts").mkdir()
    (tmp_path / "scripts/setup.sh").write_text(SETUP)
    root = tmp_path / "build/debian/bookworm"
    for name in ("dev", "proc", "run", "sys", "tmp", "usr/bin"):
        (root / name).mkdir(parents=True)
    (root / "packages").write_text("busybox\n")
    busybox = shutil.which("busybox")
    libraries = subprocess.run(["ldd", busybox], stdout=subprocess.PIPE, text=True).stdout.split()
    for file in [busybox, *(word for word in libraries if word.startswith("/"))]:
        (root / file[1:]).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(file, root / file[1:])
    (root / "bin").mkdir(exist_ok=True)
    for name in ("sh", "env", "cat", "ls", "rmdir", "sleep", "touch", "umount"):
        (root / "usr/bin" / name).unlink(missing_ok=True)
        (root / "usr/bin" / name).symlink_to(busybox)
    (root / "bin/sh").symlink_to(busybox)
    return tmp_path


def start(tree, command, **options):
    # These tests may run under nohup, whose programs inherit that SIGHUP is ignored.
    return subprocess.Popen(["env", "--default-signal=INT,TERM,HUP", tree / "tests/debian/run",
                             "sh", "-c", command], text=True,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **options)


def test_the_command_sees_the_other_root_and_the_sources_with_another_build_folder(tree):
    (tree / "build/ours").touch()
    with start(tree, "pwd; cat /packages; ls . build; echo made >build/made; exit 7") as program:
        output = program.communicate(timeout=60)[0]
    assert (program.returncode, output) == (
        7, f"{tree}\nbusybox\n.:\nbuild\nscripts\ntests\n\nbuild:\nstages\n")
    assert (tree / "build/debian/build/made").read_text() == "made\n"
    assert sorted(each.name for each in (tree / "build").iterdir()) == ["debian", "ours", "stages"]


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_a_signal_ends_the_command_and_what_it_started(tree, number):
    reader, writer = os.pipe()  # inherited by all processes of the command
    command = "trap '' INT TERM HUP; sleep 600 & touch build/started; wait"
    with start(tree, command, pass_fds=[writer], start_new_session=True) as program:
        os.close(writer)
        wait_until((tree / "build/debian/build/started").exists, 60, "the command")
        os.killpg(program.pid, number)
        program.communicate(timeout=60)
    assert program.returncode != 0
    assert select.select([reader], [], [], 60)[0], "something still runs"
    assert os.read(reader, 1) == b""
    os.close(reader)
    assert str(tree) not in Path("/proc/mounts").read_text()
