"""The emulator ends with the tests, however they end, and its logs stay."""

import re
import signal
import subprocess
import sys
from pathlib import Path

import pytest

from lab import Lab, MachineSpec, wait_until
from leftovers import host_state, processes_of, still_running

HERE = Path(__file__).resolve().parent
IMAGES = HERE.parents[1] / "build/machine"

SCRIPT = """
import sys, time
sys.path.insert(0, sys.argv[1])
from lab import Lab, MachineSpec
with Lab("/") as lab:
    lab.add_machine(MachineSpec("machine-a", "192.0.2.50"), sys.argv[2], sys.argv[3]).power_on()
    print(lab.mark, flush=True)
    time.sleep(3600)
"""

FAILING = """
def test_fails(add_machine):
    add_machine(name="machine-a", address="192.0.2.50").power_on()
    assert False
"""


@pytest.fixture
def lab_of_another_program(tmp_path):
    """A program that owns a lab with an emulated machine, and the lab's mark."""
    tools = str(Path(sys.modules["lab"].__file__).parents[1])
    with subprocess.Popen([sys.executable, "-B", "-c", SCRIPT, tools, IMAGES, tmp_path],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True) as program:
        yield program, program.stdout.readline().strip()
        program.kill()


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGKILL])
def test_no_emulator_is_left_after_a_signal(lab_of_another_program, number):
    program, mark = lab_of_another_program
    before = processes_of(mark)
    assert "qemu-system-aar" in {each.name for each in before}
    program.send_signal(number)
    program.wait(60)
    wait_until(lambda: not still_running(before, mark), 60, "no process left",
               lambda: still_running(before, mark))


def test_closing_leaves_no_emulator_no_interface_and_no_mount(tmp_path):
    before = host_state()
    with Lab("/") as lab:
        lab.add_machine(MachineSpec("machine-a", "192.0.2.50", serial_number="1"), IMAGES,
                        tmp_path).power_on()
        made = processes_of(lab.mark)
        assert host_state() == before
    assert not still_running(made, lab.mark)
    assert host_state() == before


def test_a_failure_names_the_logs_which_stay(tmp_path):
    file = tmp_path / "test_failing.py"
    file.write_text(FAILING, encoding="ascii")
    result = subprocess.run(
        # With a root folder above this one, only tests in this folder would get conftest.py's
        # fixtures.
        [sys.executable, "-B", "-m", "pytest", "--rootdir", tmp_path, "-p", "no:cacheprovider",
         "-p", "conftest", file],
        env={"PYTHONPATH": str(HERE), "PATH": "/usr/sbin:/usr/bin"}, stdout=subprocess.PIPE,
        text=True)
    assert result.returncode == 1
    logs = re.search(r"^-+ the end of (\S+)/machine-a\.serial\.log; the others are beside it -+$",
                     result.stdout, re.M)[1]
    assert sorted(each.name for each in Path(logs).iterdir()) == [
        "machine-a.qmp.log", "machine-a.serial.log", "machine-a.shell.log"]
    assert '"QMP"' in (Path(logs) / "machine-a.qmp.log").read_text(encoding="ascii")
