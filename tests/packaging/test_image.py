"""An image without packages, made with the commands of docs/embedded.md, boots as a device."""

import subprocess

import pytest

import expected
import web_folders
from conftest import TOP
from documented import block
from lab import DeviceSpec, wait_until
from lab.device import BROWSE_LIST
from machine import Machine

LIMIT = 60
UNITS = ["beacond.service", "beacon-configd.service", "beacon-configd.socket"]

# The other packages that the image needs, according to the document.
NEEDED = ["dbus", "avahi-daemon", "libqt5core5a", "libavahi-client3", "libmnl0"]
ACCOUNTS = ["passwd", "group", "shadow", "gshadow"]

INSTALL = block("docs/embedded.md", "image=")
ENABLE = block("docs/embedded.md", "SYSTEMCTL_SKIP_SYSV=1 systemctl")


@pytest.fixture(scope="module")
def machine(lab, clean_root, tmp_path_factory):
    """A Debian without the packages. The documented commands run on the host, which cannot write
    to the machine's root folder. They write to a folder that is /mnt on the machine, and the
    machine copies its files to /."""
    folder = tmp_path_factory.mktemp("image")
    made = lab.add_node(Machine("studio-a", "192.0.2.10", str(clean_root), str(folder), lab.mark))
    made.spec = DeviceSpec("studio-a", made.address, product="corvia12")
    made.install_as_image("systemd-sysv", "busybox", *NEEDED)
    made.lift_limits_of_avahi()
    folder.chmod(0o755)  # will be the mode of /
    (folder / "etc").mkdir()
    for name in ACCOUNTS:
        (folder / "etc" / name).write_bytes(made.path(f"/etc/{name}").read_bytes())
    commands = INSTALL.replace("/path/of/image", str(folder)) + ENABLE
    result = subprocess.run(["bash", "-ec", commands], cwd=TOP, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True)
    assert result.returncode == 0, result.stdout
    made.run("cp", "-a", "/mnt/.", "/")
    assert "beacon" not in made.run("dpkg-query", "-W").stdout
    return made


@pytest.fixture(scope="module")
def booted(machine, wire):
    machine.boot()
    return machine


def wait_for_list(machine):
    wait_until(lambda: machine.read(BROWSE_LIST) == expected.browse_json(machine), LIMIT,
               "the browse list", lambda: machine.read(BROWSE_LIST))


def test_the_users_folders_and_links_are_in_the_image(machine):
    web_folders.assert_as_the_packages_make_them(machine)
    web_folders.assert_the_page_is_linked(machine)
    assert machine.stat("/var/lib/beacon-configd") == "755 beacon-configd:beacon-configd"


@pytest.mark.parametrize("unit", UNITS)
def test_the_units_are_enabled_and_run(booted, unit):
    assert booted.property(unit, "UnitFileState") == "enabled"
    assert booted.property(unit, "ActiveState") == "active"


@pytest.mark.parametrize("name", ["beacond", "beacon-configd"])
def test_each_daemon_runs_as_its_own_user(booted, name):
    assert booted.user(name) == name


def test_the_device_announces_itself_and_finds_no_fault(booted, wire):
    first = wire.wait_for(source=booted.address, starting=b"NOTIFY")[0]
    expected.assert_alive(first.data, booted)
    wait_for_list(booted)
    assert booted.run("beaconctl", "status").stdout.startswith("beacond on this device: healthy\n")


def test_a_web_server_has_the_page_and_the_list(booted):
    wait_for_list(booted)
    web_folders.assert_the_web_server_reads(booted)
    # The last line of the block serves the folders.
    booted.start("web", ["sh", "-ec", block("docs/operations.md", "ln -sfn")])
    def get(path):
        return booted.run("busybox", "wget", "-q", "-O", "-", f"http://{booted.address}{path}",
                          check=False).stdout
    wait_until(lambda: get("/"), LIMIT, "the web server")
    assert get("/") == booted.read("/usr/share/beacond-web/start.html")
    assert get("/discovery/") == booted.read("/usr/share/beacond-web/index.html")
    assert get("/discovery/browse.json") == expected.browse_json(booted)
