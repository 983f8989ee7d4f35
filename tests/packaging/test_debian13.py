"""The packages on Debian 13. Its systemd limits the daemons to their ports with BPF
(libbpf1); Debian 12's systemd is built without BPF."""

import pytest

import cleanroot
import expected
from lab import wait_until
from lab.device import BROWSE_LIST

LIMIT = 60

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


@pytest.fixture(scope="module")
def clean_root(build, packages):
    root = build / "root-13"
    try:
        cleanroot.make(str(root), "trixie", str(packages), ["systemd-sysv", "libbpf1"])
        yield root
    finally:
        cleanroot.remove(root)


@pytest.fixture(scope="module")
def booted(machine, installing, wire):
    machine.prepare("systemd-sysv", "libbpf1")
    machine.apt_get(*installing())
    machine.path("/etc/product_id").write_text("lumenplus\n")
    machine.boot()
    return machine


def test_the_device_announces_itself_and_lists_itself(booted, wire):
    first = wire.wait_for(source=booted.address, starting=b"NOTIFY")[0]
    expected.assert_alive(first.data, booted)
    wait_until(lambda: booted.read(BROWSE_LIST) == expected.browse_json(booted), LIMIT,
               "the browse list", lambda: booted.read(BROWSE_LIST))


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
def test_a_daemon_can_bind_only_its_own_ports(booted, unit, port, protocol, wanted):
    assert booted.run("sh", "-ec", BIND, unit, str(port), protocol).stdout == wanted
