"""The sizes of the programs, on the disk and in memory: the target size-report."""

import argparse
import os
import shutil
import tempfile
from contextlib import contextmanager
from pathlib import Path

from lab import Lab, wait_until

from . import footprint, memory


def show(what, figure):
    print(f"  {what:28}{figure:>12}", flush=True)


def show_file(program, compiler, strip):
    """Bytes by section, without symbols, and of the libraries."""
    sections = footprint.output_of("size", program).splitlines()[1].split()
    for what, size in zip(["text", "data", "bss"], sections):
        show(what, size)
    with tempfile.TemporaryDirectory() as scratch:
        show("file without symbols", footprint.stripped_size(program, scratch, strip))
    direct = footprint.needed_libraries(program)
    sizes = {name: Path(file).stat().st_size
             for name, file in footprint.libraries(program, compiler).items()}
    for name, size in sizes.items():
        show(name if name in direct else f"  {name}", size)
    show("all libraries", sum(sizes.values()))


@contextmanager
def idle_device(folder):
    """A device at rest whose programs are those of `folder`. Yields the process ids of its
    daemons by name, after a check that they use the libraries that are measured."""
    os.sync()  # the pages of a file that is not written yet count as private and dirty
    with Lab(folder) as lab:
        device = lab.add_device(product="corvia12")
        device.start_beacond()
        wait_until(device.browse_list, 60, "the device in its own list", device.beacond.explain)
        pids = {"beacond": device.beacond.pid, "beacon-configd": device.configd.pid}
        for name, pid in pids.items():
            memory.check_libraries(pid, footprint.libraries(Path(folder) / name).values())
        yield pids


def show_memory(name, pid):
    """Resident, proportional and private KiB, and the libraries in use."""
    total = memory.total(pid)
    print(f"{name} running, KiB")
    show("resident", total["Rss"])
    show("proportional", total["Pss"])
    show("private", total["Private_Clean"] + total["Private_Dirty"])
    show("private and changed", total["Private_Dirty"])
    print(f"{name} running, private and changed KiB of")
    for owner, kilobytes in sorted(memory.by_owner(pid, name).items()):
        show(owner, kilobytes["Private_Dirty"])
    print(f"{name} running, libraries in use")
    for path in memory.mapped_libraries(pid):
        print(f"  {path}")


def show_running(folder):
    if shutil.which("valgrind"):
        print("beacond starting")
        show("instructions", footprint.start_instructions(f"{folder}/beacond"))
    else:
        print("The instructions of a start: counting them needs valgrind.")
    if os.geteuid() != 0:
        print("In memory: starting the daemons on a virtual device needs root.")
        return
    with idle_device(folder) as pids:
        for name, pid in pids.items():
            show_memory(name, pid)


def main():
    parser = argparse.ArgumentParser(prog="size-report", description=__doc__)
    parser.add_argument("--compiler", default="c++")
    parser.add_argument("--strip", default="strip")
    parser.add_argument("--run", metavar="FOLDER", help="start the daemons of this folder, as root")
    parser.add_argument("programs", nargs="+")
    options = parser.parse_args()
    for program in options.programs:
        print(f"{Path(program).name}, bytes")
        show_file(program, options.compiler, options.strip)
    if options.run:
        show_running(options.run)


if __name__ == "__main__":
    main()
