"""The five steps of README.md, pasted one after the other on a fresh Debian with systemd.

Differences from a real device: the network port is a virtual one, and udev does not run, so the
test renames the port after step 1, as udev does after a restart. The device uses the host's
kernel, so there is no initial file system for `update-initramfs` to write. The packages are
built on the host, with the commands of step 3.
"""

import http.client
import json
import subprocess

import pytest

import expected
from cleanroot import RELEASES
from conftest import TOP
from documented import block
from lab import DeviceSpec, wait_until
from lab.device import BROWSE_LIST
from machine import INSTALLER, Machine

LIMIT = 60
FOLDER = "/root/beacond"  # of the sources

INTERFACES = """\
auto lo
iface lo inet loopback

auto eth0
iface eth0 inet static
    address {}/24
"""

BUILD_TOOLS = block("README.md", "apt install -y g++")
BUILD = block("README.md", "cmake --preset release")
INSTALL = block("README.md", "apt install -y ./build/packages/*.deb")


@pytest.fixture(scope="module")
def built(packages):
    """The folder of the packages that the commands of step 3 build."""
    # The stage has built build/release, so these commands compile nothing.
    subprocess.run(["bash", "-ec", BUILD], cwd=TOP, check=True, stdout=subprocess.DEVNULL)
    return TOP / "build/packages"


def as_the_installer_leaves_it(machine):
    """A Debian with the port eth0."""
    machine.install_as_image(*INSTALLER)
    machine.run("sh", "-ec", """
        ip link set net0 down
        ip link set net0 name eth0
        ip link set eth0 up""")
    machine.path("/etc/network/interfaces").write_text(INTERFACES.format(machine.address))
    machine.lift_limits_of_avahi()


def restart(machine):
    """The first boot. Before it, the port gets the name that the link file has for its hardware
    address."""
    text = machine.read("/etc/systemd/network/10-net0.link")
    settings = dict(line.split("=", 1) for line in text.splitlines() if "=" in line)
    ports = json.loads(machine.run("ip", "-json", "link").stdout)
    port, = [each["ifname"] for each in ports
             if each["address"] == settings["PermanentMACAddress"]]
    machine.run("ip", "address", "flush", "dev", port)
    machine.run("ip", "link", "set", port, "down")
    machine.run("ip", "link", "set", port, "name", settings["Name"])
    machine.boot()


@pytest.fixture(scope="module", params=RELEASES)
def release(request):
    return request.param


@pytest.fixture(scope="module")
def device(request, lab, release, built):
    """A device after the five steps."""
    root = request.getfixturevalue(f"debian_{release}")
    address = f"192.0.2.{release}"  # others remember the hardware address of an IP address
    machine = lab.add_node(Machine("debian", address, str(root), str(built), lab.mark))
    as_the_installer_leaves_it(machine)
    machine.paste(block("README.md", "port="))
    restart(machine)
    machine.paste(block("README.md", "echo corvia12"))
    machine.run("sh", "-ec", f"mkdir -p {FOLDER}/build; ln -s /mnt {FOLDER}/build/packages")
    machine.paste(INSTALL, FOLDER)
    machine.paste(block("README.md", "apt install -y nginx-light"))
    machine.paste(block("README.md", "apt install -y curl"))
    machine.name = "studio-a"
    machine.spec = DeviceSpec("studio-a", address, product="corvia12")
    yield machine
    lab.remove(machine)


def test_the_last_step_finds_no_fault_and_lists_the_device(device):
    status, _, nodes = device.paste(block("README.md", "beaconctl status")).partition("  HOST NAME")
    assert status.startswith("beacond on this device: healthy\n")
    assert nodes.splitlines()[1:] == [f"  studio-a   Corvia 12  {device.address}  "
                                      f"uuid:65746500-Corvia 12-{device.address}-0"]


def fetch(peer, address, path):
    connection = http.client.HTTPConnection(address, timeout=10)
    with peer.network():
        connection.connect()
    connection.request("GET", path)
    answer = connection.getresponse()
    return answer.status, answer.read().decode()


def test_the_page_its_files_and_the_list_are_served(device, peer):
    files = device.path("/usr/share/beacond-web")
    loaded = ["index.html", *(str(each.relative_to(files)) for each in files.glob("page-*/*"))]
    assert len(loaded) > 20
    for name in loaded:
        path = "/discovery/" + name.removeprefix("index.html")
        assert fetch(peer, device.address, path) == (200, (files / name).read_text()), name
    assert fetch(peer, device.address, "/") == (200, (files / "start.html").read_text())
    wait_until(lambda: fetch(peer, device.address, "/discovery/browse.json")
               == (200, expected.browse_json(device)), LIMIT, "the list")


def test_debian_has_the_build_tools(device):
    # Only a simulation: they are half a gigabyte.
    device.path("/etc/apt/apt.conf.d/simulate").write_text('APT::Get::Simulate "true";\n')
    simulated = device.paste(BUILD_TOOLS)
    device.path("/etc/apt/apt.conf.d/simulate").unlink()
    assert "\nConf g++ (" in simulated


def test_the_build_tools_are_those_of_the_commands_in_the_top_folder():
    groups = (TOP / "scripts/packages.txt").read_text().split("[build]\n")[1]
    assert BUILD_TOOLS.replace("\\\n", "").split()[3:] == groups.partition("\n\n")[0].split()


def test_the_operations_page_installs_the_packages_with_the_same_command():
    assert block("docs/operations.md", "apt install -y") == INSTALL


@pytest.fixture(scope="module")
def looker(lab):
    """A device that sees DNS-SD services."""
    return lab.add_device(address="192.0.2.20")


def wait_for_service(looker, name, host):
    wait_until(lambda: [(each["name"], each["host"]) for each in looker.mdns_services()]
               == [(name, host)], LIMIT, name, lambda: str(looker.mdns_services()))


@pytest.mark.parametrize("release", RELEASES[:1], indirect=True)
def test_both_names_of_the_device_can_be_made_equal(device, looker):
    device.configure(hostName="former")
    wait_for_service(looker, "former", "debian.local")
    device.paste(block("docs/operations.md", "hostnamectl"))
    wait_for_service(looker, "studio-a", "studio-a.local")
    assert looker.run("avahi-resolve", "-4", "--name", "studio-a.local").stdout \
        == f"studio-a.local\t{device.address}\n"


@pytest.mark.parametrize("release", RELEASES[:1], indirect=True)
def test_switching_ssdp_off_removes_the_device_only_from_ssdp(device, looker, wire):
    wait_until(lambda: device.read(BROWSE_LIST) == expected.browse_json(device), LIMIT,
               "the browse list", lambda: device.read(BROWSE_LIST))
    mark = wire.mark()
    device.paste(block("docs/operations.md", "curl -X PATCH"))
    wait_until(lambda: expected.goodbye(device) in
               [each.data for each in wire.datagrams(device.address, mark)], LIMIT, "the goodbye")
    wait_until(lambda: device.read(BROWSE_LIST) == "[]", LIMIT, "an empty list",
               lambda: device.read(BROWSE_LIST))
    wait_for_service(looker, "studio-a", "studio-a.local")


# Binds port $1 of protocol $2 as a process of the unit $0. The unit's daemon already uses
# the allowed ports.
BIND = """
echo $$ >"/sys/fs/cgroup/system.slice/$0/cgroup.procs"
exec perl -MSocket -e '
    socket(S, PF_INET, $ARGV[1] eq "tcp" ? SOCK_STREAM : SOCK_DGRAM, 0) or die;
    bind(S, sockaddr_in($ARGV[0], INADDR_LOOPBACK)) or print $!' "$@"
"""
ALLOWED = "Address already in use"
DENIED = "Operation not permitted"


# Debian 13's systemd limits the daemons to their ports with BPF; Debian 12's is built without BPF.
@pytest.mark.parametrize("release", ["13"], indirect=True)
@pytest.mark.parametrize("unit, port, protocol, wanted", [
    ("beacond.service", 1900, "udp", ALLOWED),
    ("beacond.service", 49821, "udp", ALLOWED),
    ("beacond.service", 1901, "udp", DENIED),
    ("beacond.service", 0, "udp", DENIED),
    ("beacond.service", 1900, "tcp", DENIED),
    ("beacon-configd.service", 8080, "tcp", ALLOWED),
    ("beacon-configd.service", 8081, "tcp", DENIED),
    ("beacon-configd.service", 8080, "udp", DENIED),
])
def test_on_debian_13_a_daemon_can_bind_only_its_own_ports(device, unit, port, protocol, wanted):
    assert device.run("sh", "-ec", BIND, unit, str(port), protocol).stdout == wanted
