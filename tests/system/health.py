"""How a device is: what it takes of the system, what it complains about, whether it works."""

import os
import re
from pathlib import Path

import expected
from lab import wait_until
from lab.device import BROWSE_LIST

# A pass comes after at most two poll intervals of 5.75 s.
PASS = 15
# An announcement is repeated after at most 24 s, at a pass.
REPEATED = 40

# How the lines on standard error begin that are no faults of SSDP or of files.
ORDINARY = ("getProductID", "*** getProductID", "GetBoardIDFromProductID", "avahi host/service",
            "name changed", "Service '", "WSConfig:")


def status(program, key):
    """A number from /proc/PID/status; sizes are in bytes."""
    for line in Path(f"/proc/{program.pid}/status").read_text(encoding="ascii").splitlines():
        name, value = line.split(":", 1)
        if name == key:
            number, *unit = value.split()
            return int(number) * (1024 if unit == ["kB"] else 1)
    raise KeyError(key)


def threads(program):
    return status(program, "Threads")


def descriptors(program):
    return len(os.listdir(f"/proc/{program.pid}/fd"))


def udp_count(node, name):
    """A number that a node's kernel keeps of the datagrams it got."""
    names, values = re.findall(r"^Udp: (.*)$", node.run("cat", "/proc/net/snmp").stdout, re.M)
    return dict(zip(names.split(), map(int, values.split())))[name]


def faults(device, start=0):
    """What it wrote to standard error from a place on, without the ordinary lines."""
    return "".join(line for line in device.beacond.stderr[start:].splitlines(keepends=True)
                   if not line.startswith(ORDINARY))


def wait_for_faults(device, start, lines):
    wait_until(lambda: faults(device, start) == lines, PASS, f"the lines {lines!r}",
               device.beacond.explain)


def ssdp_port_open(device):
    return ":1900 " in device.run("ss", "--no-header", "--udp", "--listening", "--numeric").stdout


def wait_until_closed(device):
    wait_until(lambda: not ssdp_port_open(device), PASS, "the SSDP port closed",
               device.beacond.explain)


def hear_alive(device, wire, since, number=1, timeout=PASS):
    """Waits for the device's announcement, behind which goodbyes may stand; `number` is its
    document's.

    When its link has just come up, `timeout` is to be REPEATED: a busy switch may learn of
    that only after the first announcement, and not hand it on."""
    def heard():
        return [each.data for each in wire.datagrams(device.address, since, b"NOTIFY")
                if b"ssdp:byebye" not in each.data]
    wait_until(heard, timeout, f"{device.name} announced", device.beacond.explain)
    message = heard()[0]
    wanted = expected.alive(device, expected.max_age(message)).decode()
    assert message.decode() == wanted.replace("_upnp_ssdp_1.xml", f"_upnp_ssdp_{number}.xml")


def answer_to(data, peer, device, port):
    """What the device answers, asked again while nothing comes: a datagram that meets the
    port closed, as between two changes of the interface, is lost."""
    def answer():
        try:
            return peer.ask(data, device.address, port, timeout=1)
        except TimeoutError:
            return None
    return wait_until(answer, PASS, f"an answer to {data!r}", device.beacond.explain)


def assert_works(device, peer):
    """The device, and no other, is announced: it answers a search and the diagnostic port,
    and is in its own list."""
    answer = answer_to(expected.SEARCH, peer, device, 1900)
    assert answer == expected.search_response(device, expected.max_age(answer))
    assert answer_to(b"gh", peer, device, 49821) == expected.listing("HostList", device)
    wait_until(lambda: device.read(BROWSE_LIST) == expected.browse_json(device), PASS,
               "the device in its own list", lambda: device.read(BROWSE_LIST))
