"""The output of the target size-report."""

import re
import subprocess
from pathlib import Path

import pytest

PROGRAMS = ["beacond", "beacon-configd", "beaconctl"]
FILE_ROWS = ["text", "data", "bss", "file without symbols"]


@pytest.fixture(scope="module")
def report(programs):
    """The rows of the report by heading: lists of name and size."""
    result = subprocess.run(["cmake", "--build", Path(programs).resolve().parent, "--target",
                             "size-report"], stdout=subprocess.PIPE, text=True, check=True)
    rows, heading = {}, None
    for line in result.stdout.splitlines():
        if row := re.fullmatch(r"  (.*?) +(\d+)", line):
            rows[heading].append((row[1], int(row[2])))
        else:
            heading = line
            rows[heading] = []
    return rows


@pytest.mark.parametrize("name", PROGRAMS)
def test_reports_the_sections_and_the_file_of_each_program(report, programs, name):
    file = Path(programs) / name
    sections = subprocess.run(["size", file], stdout=subprocess.PIPE, text=True, check=True)
    sizes = [int(size) for size in sections.stdout.splitlines()[1].split()[:3]]
    rows = report[f"{name}, bytes"][:4]
    assert [what for what, _ in rows] == FILE_ROWS
    assert [size for _, size in rows[:3]] == sizes
    assert sum(sizes[:2]) < rows[3][1] < file.stat().st_size


def test_reports_the_libraries_of_the_daemon_and_their_libraries(report):
    libraries = report["beacond, bytes"][4:-1]
    assert {what for what, _ in libraries if not what.startswith(" ")} == {
        "libQt5Core.so.5", "libavahi-client.so.3", "libavahi-common.so.3", "libstdc++.so.6",
        "libgcc_s.so.1", "libc.so.6"}
    assert "  libdbus-1.so.3" in {what for what, _ in libraries}
    assert report["beacond, bytes"][-1] == ("all libraries", sum(size for _, size in libraries))


@pytest.mark.parametrize("name", ["beacond", "beacon-configd"])
def test_reports_the_memory_of_each_running_daemon(report, name):
    rows = report[f"{name} running, KiB"]
    assert [what for what, _ in rows] == ["resident", "proportional", "private"]
    resident, proportional, private = (size for _, size in rows)
    assert resident > proportional > private > 0
