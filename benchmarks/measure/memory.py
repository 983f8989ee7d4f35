"""The memory of a running program: its size, its owners, and the libraries in it."""

import dataclasses
import os
import re
from pathlib import Path

OWNERS = {"libQt": "Qt", "libicu": "Qt", "libpcre2": "Qt", "libglib": "Qt", "libdouble": "Qt",
          "libz.": "Qt", "libavahi": "Avahi and D-Bus", "libdbus": "Avahi and D-Bus",
          **dict.fromkeys(["libsystemd", "libcap", "libgcrypt", "libgpg", "liblz", "libzstd"],
                          "libsystemd and its libraries"),
          "[heap]": "heap", "[stack]": "stack of the main thread"}
ARENA_ALIGNMENT = 64 << 20  # of the C library's heap arenas, HEAP_MAX_SIZE in its sources


@dataclasses.dataclass
class Mapping:
    """One line of /proc/PID/smaps with the lines below it."""

    start: int
    end: int
    file: str       # a path, a kind in brackets, or nothing
    kilobytes: dict


def mappings(pid):
    found = []
    for line in Path(f"/proc/{pid}/smaps").read_text().splitlines():
        if heading := re.match(r"([0-9a-f]+)-([0-9a-f]+) \S+ \S+ \S+ \d+ *(.*)", line):
            found.append(Mapping(int(heading[1], 16), int(heading[2], 16), heading[3], {}))
        elif row := re.fullmatch(r"(\w+): +(\d+) kB", line):
            found[-1].kilobytes[row[1]] = int(row[2])
    return found


def total(pid):
    """Kilobytes by kind, summed over all mappings by the kernel."""
    lines = Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines()[1:]
    return {line.split(":")[0]: int(line.split()[1]) for line in lines}


def private_bytes(pid):
    """The private bytes of heaps and stacks, without those of files. Whether the pages of
    libraries count as private depends on the other programs that run."""
    return 1024 * sum(each.kilobytes["Private_Clean"] + each.kilobytes["Private_Dirty"]
                      for each in mappings(pid) if not each.file.startswith("/"))


def _stack_pointers(pid):
    """The stack pointers of all threads. The threads wait in system calls."""
    calls = [(task / "syscall").read_text().split()
             for task in Path(f"/proc/{pid}/task").iterdir()]
    return [int(call[-2], 16) for call in calls if len(call) > 2]


def _owner_of_file(file, program):
    name = file.rsplit("/", 1)[-1]
    for start, group in {program: f"{program}'s code and data", **OWNERS}.items():
        if name.startswith(start):
            return group
    return "C and C++ libraries" if ".so" in name else "other files"


def _owner(mapping, neighbour, program, stack_pointers):
    """The owner of a mapping. `neighbour` is the file of the mapping that ends where this one
    starts: the variables of a program or library that have no initial values follow its file.
    (Some records of the loader may also lie there. The kernel does not show the difference.)"""
    if mapping.file:
        return _owner_of_file(mapping.file, program)
    if any(mapping.start <= pointer < mapping.end for pointer in stack_pointers):
        return "stacks of other threads"
    if mapping.start % ARENA_ALIGNMENT == 0:
        return "heaps of other threads"
    if ".so" in neighbour or neighbour.endswith(f"/{program}"):
        return _owner_of_file(neighbour, program)
    return "the loader's records"


def by_owner(pid, program="beacond"):
    """The kilobytes of each owner's mappings, by kind."""
    pointers = _stack_pointers(pid)
    totals = {}
    end, file = 0, ""
    for mapping in mappings(pid):
        neighbour = file if end == mapping.start else ""
        group = totals.setdefault(_owner(mapping, neighbour, program, pointers), {})
        for kind, size in mapping.kilobytes.items():
            group[kind] = group.get(kind, 0) + size
        end, file = mapping.end, mapping.file
    return totals


def _identity(file):
    status = os.stat(file)
    return status.st_dev, status.st_ino


def mapped_libraries(pid):
    """The paths of the libraries in /proc/PID/maps, as the process sees them."""
    lines = Path(f"/proc/{pid}/maps").read_text().splitlines()
    return sorted({line.split(maxsplit=5)[5] for line in lines
                   if re.search(r"/[^/]*\.so[^/]*$", line)})


def check_libraries(pid, expected):
    """Raises RuntimeError unless the process has mapped exactly the expected library files."""
    mapped = {_identity(f"/proc/{pid}/root{path}"): path for path in mapped_libraries(pid)}
    wanted = {_identity(path): path for path in expected}
    wrong = [f"in use, but not measured: {mapped[key]}" for key in mapped.keys() - wanted.keys()]
    wrong += [f"measured, but not in use: {wanted[key]}" for key in wanted.keys() - mapped.keys()]
    if wrong:
        raise RuntimeError("\n".join(["other libraries than those measured", *sorted(wrong)]))
