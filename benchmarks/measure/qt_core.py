"""The table of docs/embedded.md: the daemon with Debian's Qt Core and with reduced ones."""

import argparse
import sys
import tempfile
from pathlib import Path

from . import footprint, memory, sizes

# Rows by heading: the digits after the point, and the limit of the shared, reduced Qt Core.
ROWS = {"program and all libraries, MB": (1, 12.5),
        "of these only for libdbus, MB": (1, None),
        "libraries": (0, None),
        "resident memory when idle, KiB": (0, None),
        "proportional memory when idle, KiB": (0, 4000),
        "private and changed memory when idle, KiB": (0, 600),
        "instructions of a start, millions": (1, 4.5)}


def bytes_of(files):
    return sum(Path(file).stat().st_size for file in files)


def figures(folder):
    """The figures of the programs in `folder`, in the order of ROWS."""
    program = f"{folder}/beacond"
    libraries = footprint.libraries(program)
    only_for_dbus = libraries.keys() - footprint.libraries(program, leaf="libdbus-1.so.3").keys()
    with tempfile.TemporaryDirectory() as scratch:
        size = footprint.stripped_size(program, scratch)
    with sizes.idle_device(folder) as pids:
        total = memory.total(pids["beacond"])
    return [(size + bytes_of(libraries.values())) / 1e6,
            bytes_of(libraries[name] for name in only_for_dbus) / 1e6, len(libraries),
            total["Rss"], total["Pss"], total["Private_Dirty"],
            footprint.start_instructions(program) / 1e6]


def print_row(heading, cells):
    print(f"| {heading} | {' | '.join(cells)} |")


def main():
    parser = argparse.ArgumentParser(prog="compare", description=__doc__)
    parser.add_argument("builds", nargs="+", metavar="NAME=FOLDER")
    builds = dict(build.split("=", 1) for build in parser.parse_args().builds)
    columns = {name: figures(folder) for name, folder in builds.items()}
    print_row("", columns)
    print_row("---", ["---"] * len(columns))
    missed = []
    for index, (heading, (digits, limit)) in enumerate(ROWS.items()):
        values = {name: column[index] for name, column in columns.items()}
        print_row(heading, [f"{value:,.{digits}f}" for value in values.values()])
        if limit is not None and values.get("reduced, shared", 0) > limit:
            missed.append(f"{heading}: more than {limit:,}")
    print("\n".join(["", "Missed by the shared, reduced Qt Core:", *missed]) if missed else "")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
