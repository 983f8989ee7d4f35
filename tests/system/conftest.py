"""Whole devices on a virtual network: see tools/lab."""

import os
import signal
import sys
from pathlib import Path

import pytest

TOP = Path(__file__).resolve().parents[2]
sys.path[:0] = [str(TOP / "tools"), str(TOP / "tests/support")]

import flood  # noqa: E402
from lab import DeviceSpec, Lab  # noqa: E402
from sanitizer_reports import WatchedLab, set_options  # noqa: E402


def pytest_addoption(parser):
    parser.addoption("--programs", default=str(TOP / "build/dev/bin"),
                     help="the folder that holds the programs")
    parser.addoption("--arm64-programs",
                     help="a folder of programs for arm64, which one of three devices then runs")


def pytest_configure():
    set_options()
    # A process in the background of a script ignores SIGINT. Programs that the tests
    # start and interrupt would inherit this.
    signal.signal(signal.SIGINT, signal.default_int_handler)


def pytest_sessionstart(session):
    if hasattr(session.config, "workerinput"):
        return  # a worker process: the first process has checked
    if os.geteuid() != 0:
        pytest.exit("The system tests make network namespaces and need root.", returncode=1)
    for name in ("beacond", "beacon-configd", "beaconctl"):
        if not (Path(session.config.getoption("--programs")) / name).exists():
            pytest.exit(f"There is no {name}; build it first: "
                        f"cmake --preset dev && cmake --build --preset dev", returncode=1)


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item):
    """Adds the daemons' output to the report of a failure."""
    report = (yield).get_result()
    lab = getattr(item, "funcargs", {}).get("lab")
    if report.failed and isinstance(lab, Lab):
        for device in lab.devices:
            if device.beacond is not None:
                report.sections.append(("beacond", device.beacond.explain()))


@pytest.fixture(scope="session")
def programs(pytestconfig):
    return pytestconfig.getoption("--programs")


@pytest.fixture(scope="module")
def lab(programs):
    """An empty virtual network, shared by the tests of a file."""
    with WatchedLab(programs) as network:
        yield network
    assert not network.reports, "\n".join(network.reports)


@pytest.fixture(scope="module")
def peer(lab):
    """A machine without a daemon on the network."""
    return lab.add_peer()


@pytest.fixture(scope="module")
def answerer(lab, peer):
    """Another machine, 192.0.2.201; `peer` asks it."""
    assert peer.address == "192.0.2.200"
    return lab.add_peer()


@pytest.fixture(scope="module")
def beaconctl(programs):
    """The path of the program."""
    return f"{os.path.abspath(programs)}/beaconctl"


@pytest.fixture(scope="module")
def wire(peer):
    """A capture of all datagrams to the SSDP group, and to the SSDP port of `peer`."""
    return peer.capture()


@pytest.fixture(scope="module")
def device(lab):
    """A device on which beacond is not started."""
    return lab.add_device("studio-a", product="corvia12")


@pytest.fixture(scope="module")
def running_device(device, wire):
    """A device whose beacond has announced itself."""
    device.start_beacond()
    wire.wait_for(source=device.address, starting=b"NOTIFY")
    return device


@pytest.fixture(scope="module")
def three_devices(lab, pytestconfig):
    """Three devices of different products with beacond running."""
    arm64 = pytestconfig.getoption("--arm64-programs")
    other = {"programs": arm64, "emulator": "qemu-aarch64-static"} if arm64 else {}
    devices = lab.add_devices([DeviceSpec("studio-a", product="corvia12"),
                               DeviceSpec("studio-b", product="lumenplus", **other),
                               DeviceSpec("studio-c", product="talonmx")])
    if arm64:
        # The emulator does not support the socket option by which beacond chooses the
        # multicast interface, so this device needs a route.
        devices[1].run("ip", "route", "add", "239.0.0.0/8", "dev", "net0")
    for each in devices:
        each.start_beacond()
    return devices


@pytest.fixture(scope="module")
def sanitized(programs):
    """Whether the program was built with a sanitizer, which needs additional memory."""
    program = (Path(programs) / "beacond").read_bytes()
    return any(symbol in program for symbol in (b"__asan_init", b"__tsan_init"))


@pytest.fixture(scope="module")
def attackers(lab):
    """Sockets with many addresses on three machines."""
    return [sock for number in range(3)
            for sock in flood.sockets_of(lab.add_peer(), flood.ADDRESSES[number::3])]
