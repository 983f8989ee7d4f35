"""The output of the target size-report."""

import contextlib
import re
import shutil
import subprocess
import sys
from pathlib import Path

import pytest

from conftest import TOP

sys.path.append(str(TOP / "benchmarks"))

from measure import footprint, memory  # noqa: E402

DAEMONS = ["beacond", "beacon-configd"]
PROGRAMS = ["beacond", "beacon-configd", "beaconctl"]
FILE_ROWS = ["text", "data", "bss", "file without symbols"]


@pytest.fixture(scope="module")
def report(programs):
    """The rows of the report by heading. A row is a name with a size, or the path of a file."""
    result = subprocess.run(["cmake", "--build", Path(programs).resolve().parent, "--target",
                             "size-report"], stdout=subprocess.PIPE, text=True, check=True)
    rows, heading = {}, None
    for line in result.stdout.splitlines():
        if row := re.fullmatch(r"  (.*?) +(\d+)", line):
            rows[heading].append((row[1], int(row[2])))
        elif line.startswith("  /"):
            rows[heading].append(line.strip())
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


@pytest.mark.parametrize("name", DAEMONS)
def test_reports_the_memory_of_each_running_daemon(report, name):
    rows = report[f"{name} running, KiB"]
    assert [what for what, _ in rows] == ["resident", "proportional", "private",
                                          "private and changed"]
    resident, proportional, private, changed = (size for _, size in rows)
    assert resident > proportional > private >= changed > 0
    assert changed == sum(size for _, size in report[f"{name} running, private and changed KiB of"])


@pytest.mark.parametrize("name", DAEMONS)
def test_the_libraries_in_use_are_those_whose_sizes_are_reported(report, programs, name):
    in_use = report[f"{name} running, libraries in use"]
    assert in_use
    reported = footprint.libraries(Path(programs).resolve() / name)
    assert sorted(map(str, map(Path.resolve, map(Path, reported.values())))) == in_use
    assert sum(Path(path).stat().st_size for path in in_use) == report[f"{name}, bytes"][-1][1]


def test_measures_the_library_in_the_folder_that_the_program_names(tmp_path):
    """Not the system's library of this name."""
    (tmp_path / "main.c").write_text("int main(void) {}\n", encoding="ascii")
    library = shutil.copy(footprint.libraries("/bin/cat")["libc.so.6"], tmp_path)
    subprocess.run(["cc", tmp_path / "main.c", "-o", tmp_path / "main", "-Wl,-rpath,$ORIGIN"],
                   check=True)
    assert footprint.libraries(tmp_path / "main")["libc.so.6"] == str(library)


@contextlib.contextmanager
def running_cat(**environment):
    with subprocess.Popen(["cat"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                          env=environment) as process:
        process.stdin.write(b"\n")
        process.stdin.flush()
        assert process.stdout.read(1) == b"\n"  # its libraries are loaded now
        yield process.pid
        process.stdin.close()


def test_another_library_in_use_than_the_measured_one_is_an_error(tmp_path):
    measured = footprint.libraries("/bin/cat")
    other = shutil.copy(measured["libc.so.6"], tmp_path)
    with running_cat() as pid:
        memory.check_libraries(pid, measured.values())
    with running_cat(LD_LIBRARY_PATH=str(tmp_path)) as pid:
        with pytest.raises(RuntimeError) as error:
            memory.check_libraries(pid, measured.values())
    assert str(error.value).splitlines() == [
        "other libraries than those measured",
        f"in use, but not measured: {other}",
        f"measured, but not in use: {measured['libc.so.6']}"]


