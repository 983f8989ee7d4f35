"""The processes of a lab, and the state of this machine that a lab could change."""

import os
import re
import subprocess
from pathlib import Path
from typing import NamedTuple

from lab.node import MARK


class Process(NamedTuple):
    number: int
    start: int  # clock ticks after the machine's start: numbers are used again
    name: str
    namespace: str  # of process ids
    environment: bytes


def processes():
    """All processes on this machine."""
    for folder in Path("/proc").glob("[0-9]*"):
        try:
            name, _, rest = (folder / "stat").read_text().partition(" (")[2].rpartition(") ")
            yield Process(int(folder.name), int(rest.split()[19]), name,
                          os.readlink(folder / "ns/pid"), (folder / "environ").read_bytes())
        except OSError:  # it has ended meanwhile
            continue


def processes_of(mark):
    """The processes of a lab: they have its mark in the environment, or share a process
    namespace with one that has it (avahi-daemon overwrites its environment)."""
    everything = list(processes())
    ours = os.readlink("/proc/self/ns/pid")
    marked = [each for each in everything
              if f"{MARK}={mark}".encode() in each.environment.split(b"\0")]
    namespaces = {each.namespace for each in marked} - {ours}
    return {each for each in everything if each in marked or each.namespace in namespaces}


def still_running(before, mark):
    """The processes of a lab that still run, including those in `before`."""
    return processes_of(mark) | (before & set(processes()))


def host_state():
    """The state of this machine that a lab could change: interfaces, named namespaces,
    mounts."""
    links = subprocess.run(["ip", "-o", "link"], capture_output=True, text=True, check=True).stdout
    named = sorted(path.name for path in Path("/run/netns").glob("*"))
    return re.findall(r"^\d+: ([^:]+):", links, re.M), named, Path("/proc/self/mountinfo").read_text()
