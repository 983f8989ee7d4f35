"""The state of a device: its use of resources, its faults, and whether it works."""

import os
import re
from pathlib import Path

import expected
from lab import wait_until
from lab.device import BROWSE_LIST

# The next registry pass comes after at most two poll intervals of 5.75 s.
PASS = 15
# An announcement is repeated after at most 24 s, at the next pass.
REPEATED = 40

# Beginnings of lines on standard error that report no faults of SSDP or of files.
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
    """A counter of UDP datagrams in a node's kernel, by its name in /proc/net/snmp."""
    names, values = re.findall(r"^Udp: (.*)$", node.run("cat", "/proc/net/snmp").stdout, re.M)
    return dict(zip(names.split(), map(int, values.split())))[name]


def faults(device, start=0):
    """The lines on standard error from a position on, without the ordinary ones."""
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


def wait_for_alive(device, wire, since, number=1, timeout=PASS):
    """Waits for the device's announcement, and ignores goodbyes. `number` is the number of the
    device's description document.

    If the device's link has just come up, `timeout` must be REPEATED: a busy switch may notice
    the link after the first announcement, and not forward that announcement."""
    def announcements():
        return [each.data for each in wire.datagrams(device.address, since, b"NOTIFY")
                if b"ssdp:byebye" not in each.data]
    wait_until(announcements, timeout, f"{device.name} announced", device.beacond.explain)
    message = announcements()[0]
    wanted = expected.alive(device, expected.max_age(message)).decode()
    assert message.decode() == wanted.replace("_upnp_ssdp_1.xml", f"_upnp_ssdp_{number}.xml")


def answer_to(data, peer, device, port):
    """The device's answer. The request is repeated until an answer comes: it is lost while
    the port is closed, for instance between two changes of the interface."""
    def answer():
        try:
            return peer.ask(data, device.address, port, timeout=1)
        except TimeoutError:
            return None
    return wait_until(answer, PASS, f"an answer to {data!r}", device.beacond.explain)


def assert_works(device, peer):
    """Checks that the device announces only itself, answers a search and the diagnostic port,
    and lists only itself."""
    answer = answer_to(expected.SEARCH, peer, device, 1900)
    assert answer == expected.search_response(device, expected.max_age(answer))
    assert answer_to(b"gh", peer, device, 49821) == expected.listing("HostList", device)
    wait_until(lambda: device.read(BROWSE_LIST) == expected.browse_json(device), PASS,
               "the device in its own list", lambda: device.read(BROWSE_LIST))
