"""The daemon's memory by kind, and the sizes of its files."""

import subprocess
from pathlib import Path

START_PAUSE = 0.5   # the specified pause before the first announcement, in seconds
RECEIVE_BUFFER = 2000 * 2304    # bytes that the daemon requests, see ssdp_tunables.h

OWNERS = {"beacond": "beacond's code and data", "libQt": "Qt", "libicu": "Qt", "libpcre2": "Qt",
          "libglib": "Qt", "libdouble": "Qt", "libzstd": "Qt", "libz.": "Qt",
          "libavahi": "Avahi", "libdbus": "Avahi", "libsystemd": "Avahi", "[heap]": "heap",
          "[stack]": "stacks"}


def owner(path):
    name = path.rsplit("/", 1)[-1]
    for start, group in OWNERS.items():
        if name.startswith(start):
            return group
    return "C and C++ libraries" if ".so" in name else "anonymous (stacks of threads, heap arenas)"


def memory(pid):
    """Kilobytes by kind, summed over all mappings by the kernel."""
    lines = Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines()[1:]
    return {line.split(":")[0]: int(line.split()[1]) for line in lines}


def by_owner(pid):
    """Proportional and private kilobytes of each owner's mappings."""
    totals = {}
    group = None
    for line in Path(f"/proc/{pid}/smaps").read_text().splitlines():
        words = line.split()
        if "-" in words[0] and not words[0].endswith(":"):
            group = totals.setdefault(owner(words[5] if len(words) > 5 else ""), [0, 0])
        elif words[0] == "Pss:":
            group[0] += int(words[1])
        elif words[0] in ("Private_Clean:", "Private_Dirty:"):
            group[1] += int(words[1])
    return totals


def stripped_size(program, scratch, strip="strip"):
    """Bytes of a program without its symbols."""
    target = Path(scratch) / "stripped"
    subprocess.run([strip, "-o", str(target), program], check=True)
    return target.stat().st_size


def needed_libraries(program):
    """The libraries that the program is linked with directly."""
    output = subprocess.run(["readelf", "-d", program], check=True, text=True,
                            stdout=subprocess.PIPE).stdout
    return [line.split("[")[1].rstrip("]") for line in output.splitlines() if "(NEEDED)" in line]
