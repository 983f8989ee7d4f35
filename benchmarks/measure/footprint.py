"""The sizes of a program's files, and the instructions of its start."""

import re
import subprocess
from pathlib import Path

START_PAUSE = 0.5   # the specified pause before the first announcement, in seconds
RECEIVE_BUFFER = 2000 * 2304    # bytes that the daemon requests, see ssdp_tunables.h


def output_of(*command):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE).stdout


def stripped_size(program, scratch, strip="strip"):
    """Bytes of a program without its symbols."""
    target = Path(scratch) / "stripped"
    subprocess.run([strip, "-o", str(target), program], check=True)
    return target.stat().st_size


def _dynamic_entries(file, *kinds):
    """The texts in brackets of the entries of these kinds in the file's dynamic section."""
    return [line.split("[")[1].rstrip("]") for line in output_of("readelf", "-d", file).splitlines()
            if any(f"({kind})" in line for kind in kinds)]


def needed_libraries(program):
    """The libraries that the program is linked with directly."""
    return _dynamic_entries(program, "NEEDED")


def _library_file(name, user, compiler):
    """The file of the library `name` that the loader takes for `user`, a program or library: from
    the folders that `user` names, or else from those that the compiler knows."""
    for folder in ":".join(_dynamic_entries(user, "RUNPATH", "RPATH")).split(":"):
        file = Path(folder.replace("$ORIGIN", str(Path(user).parent))) / name
        if folder and file.exists():
            return str(file)
    return output_of(compiler, f"-print-file-name={name}").strip()


def libraries(program, compiler="c++", leaf=None):
    """The files of the libraries that a program needs, directly and indirectly, by name,
    without those that only the library `leaf` needs."""
    found = {}
    waiting = [str(program)]
    while waiting:
        user = waiting.pop()
        for name in needed_libraries(user):
            if name not in found:
                found[name] = _library_file(name, user, compiler)
                waiting += [found[name]] if name != leaf else []
    return dict(sorted(found.items()))


def start_instructions(program):
    """The number of instructions that the daemon executes until it has read its options. This
    includes loading the program and constructing its application object. Valgrind counts them;
    an option that does not exist ends the daemon at this point."""
    ended = subprocess.run(["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null",
                            program, "-x"], env={"PATH": "/usr/bin"}, text=True,
                           stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, check=False)
    counted = re.search(r"Collected : (\d+)", ended.stderr)
    if ended.returncode != 1 or not counted:
        raise RuntimeError(f"valgrind {program} -x: status {ended.returncode}\n{ended.stderr}")
    return int(counted[1])
