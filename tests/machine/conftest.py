"""Emulated machines with their own kernel and init, on the lab's network."""

import os
import shutil
import signal
import sys
from pathlib import Path

import pytest

TOP = Path(__file__).resolve().parents[2]
sys.path[:0] = [str(TOP / each) for each in ("tools", "tests/support", "tests/system",
                                             "tests/packaging")]

from lab import Lab, MachineSpec  # noqa: E402

IMAGES = TOP / "build/machine"


def logs_of(file):
    """The folder for the logs of the machines in a file of tests."""
    return IMAGES / "logs" / file.stem


def pytest_addoption(parser):
    parser.addoption("--programs", default=str(TOP / "build/dev/bin"),
                     help="the folder that holds the programs of the lab's devices")


def pytest_configure():
    # A process in the background of a script ignores SIGINT. Programs that the tests start and
    # interrupt would inherit this.
    signal.signal(signal.SIGINT, signal.default_int_handler)


def pytest_sessionstart(session):
    if hasattr(session.config, "workerinput"):
        return  # a worker process: the first process has checked
    if os.geteuid() != 0:
        pytest.exit("The tests make network namespaces and need root.", returncode=1)
    if not (IMAGES / "data.img").exists():
        pytest.exit("There are no images; run ./test machine once.", returncode=1)


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item):
    """Adds the names of the machines' logs, and the ends of their consoles, to the report of a
    failure."""
    report = (yield).get_result()
    if report.failed:
        for serial in sorted(logs_of(item.path).glob("*.serial.log")):
            text = serial.read_text(errors="backslashreplace")
            report.sections.append((f"the end of {serial}; the others are beside it", text[-3000:]))


@pytest.fixture(scope="session")
def programs(pytestconfig):
    return pytestconfig.getoption("--programs")


@pytest.fixture(scope="module")
def lab(programs):
    """An empty virtual network, shared by the tests of a file."""
    with Lab(programs) as network:
        yield network


@pytest.fixture(scope="module")
def add_machine(lab, request):
    """A function that makes a machine from the members of a MachineSpec. The machine is off."""
    logs = logs_of(request.path)
    shutil.rmtree(logs, ignore_errors=True)
    return lambda **members: lab.add_machine(MachineSpec(**members), IMAGES, logs)


@pytest.fixture(scope="module")
def peer(lab):
    """A node of the lab's network without daemons, for the tests' own sockets. Not emulated."""
    return lab.add_peer()


@pytest.fixture(scope="module")
def wire(peer):
    """A capture of all datagrams to the SSDP group, and to the SSDP port of `peer`."""
    return peer.capture()
