"""A machine with systemd. The commands of docs/embedded.md have put our programs into its
image."""

import pytest

import expected
import web_folders
from documented import block
from lab import wait_until
from lab.device import BROWSE_LIST

LIMIT = 300  # seconds; alone on two processors, the machine is announced after 40
UNITS = ["beacond.service", "beacon-configd.service", "beacon-configd.socket"]


@pytest.fixture(scope="module")
def machine(add_machine, wire):
    made = add_machine(name="studio-a", address="192.0.2.10", image="installed",
                       mac="00:00:5e:00:53:01")
    made.power_on()
    return made


@pytest.fixture(scope="module")
def listed(machine):
    """The machine after it has written its list."""
    wait_until(lambda: machine.read(BROWSE_LIST) == expected.browse_json(machine), LIMIT,
               "the browse list", machine.explain)
    return machine


def test_it_announces_itself(machine, wire):
    first = wire.wait_for(source=machine.address, starting=b"NOTIFY", timeout=LIMIT)[0]
    expected.assert_alive(first.data, machine)


@pytest.mark.parametrize("unit", UNITS)
def test_the_units_are_enabled_and_run(listed, unit):
    state = listed.run("systemctl", "show", "--property=UnitFileState,ActiveState", unit).stdout
    assert sorted(state.splitlines()) == ["ActiveState=active", "UnitFileState=enabled"]


@pytest.mark.parametrize("name", ["beacond", "beacon-configd"])
def test_each_daemon_runs_as_its_own_user(listed, name):
    assert listed.run("ps", "-o", "user:32=", "-C", name).stdout == f"{name}\n"


def test_the_folders_and_links_of_the_image_are_on_the_volatile_var(listed):
    web_folders.assert_as_the_packages_make_them(listed)
    web_folders.assert_the_page_is_linked(listed)
    assert listed.stat("/var/lib/beacon-configd") == "755 beacon-configd:beacon-configd"


def test_it_finds_no_fault_in_itself(listed):
    assert listed.run("beaconctl", "status").stdout.startswith("beacond on this device: healthy\n")


def test_a_web_server_has_the_page_and_the_list(listed, peer):
    commands = block("docs/operations.md", "ln -sfn").replace("httpd -f ", "httpd ")
    listed.run("sh", "-ec", commands)
    def get(path):
        return peer.run("busybox", "wget", "-q", "-O", "-", f"http://{listed.address}{path}").stdout
    assert get("/") == listed.read("/usr/share/beacond-web/start.html")
    assert get("/discovery/") == listed.read("/usr/share/beacond-web/index.html")
    assert get("/discovery/browse.json") == expected.browse_json(listed)
