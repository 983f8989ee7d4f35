"""The sizes of the programs, on the medium and in memory: the target size-report."""

import argparse
import os
import subprocess
import tempfile
from pathlib import Path

from lab import Lab, wait_until

from . import footprint


def output_of(*command):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE).stdout


def show(what, number):
    print(f"  {what:28}{number:>12}", flush=True)


def libraries(program, compiler):
    """The libraries that a program needs, directly and indirectly, sorted by name: pairs of a
    name and the file that the compiler would use."""
    found = {}
    waiting = [program]
    while waiting:
        for name in footprint.needed_libraries(waiting.pop()):
            if name not in found:
                found[name] = output_of(compiler, f"-print-file-name={name}").strip()
                waiting.append(found[name])
    return sorted(found.items())


def show_file(program, compiler, strip):
    """Bytes by section, without symbols, and of the libraries."""
    sections = output_of("size", program).splitlines()[1].split()
    for what, size in zip(["text", "data", "bss"], sections):
        show(what, size)
    with tempfile.TemporaryDirectory() as scratch:
        show("file without symbols", footprint.stripped_size(program, scratch, strip))
    direct = footprint.needed_libraries(program)
    total = 0
    for name, path in libraries(program, compiler):
        size = Path(path).stat().st_size
        total += size
        show(name if name in direct else f"  {name}", size)
    show("all libraries", total)


def show_memory(folder):
    """Resident, proportional and private KiB of a device's daemons at rest."""
    with Lab(folder) as lab:
        device = lab.add_device(product="corvia12")
        device.start_beacond()
        wait_until(device.browse_list, 60, "the device in its own list", device.beacond.explain)
        for name, program in [("beacond", device.beacond), ("beacon-configd", device.configd)]:
            memory = footprint.memory(program.pid)
            print(f"{name} running, KiB")
            show("resident", memory["Rss"])
            show("proportional", memory["Pss"])
            show("private", memory["Private_Clean"] + memory["Private_Dirty"])


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
    if options.run and os.geteuid() != 0:
        print("In memory: starting the daemons on a virtual device needs root.")
    elif options.run:
        show_memory(options.run)


if __name__ == "__main__":
    main()
