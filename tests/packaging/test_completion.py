"""beaconctl's bash completion, called like readline calls it."""

import subprocess

import pytest

COMPLETE = """
source "$1"
shift
COMP_WORDS=("$@")
COMP_CWORD=$(($# - 1))
_beaconctl
[ ${#COMPREPLY[@]} -eq 0 ] || printf '%s\\n' "${COMPREPLY[@]}"
"""
COMMANDS = ["nodes", "hosts", "watch", "browse", "search", "monitor", "status", "help"]
OPTIONS = ["--host", "--timeout", "--product", "--json", "--help", "--version"]


def offered(script, words, folder):
    """The completions of the last of `words`."""
    result = subprocess.run(["bash", "--norc", "-c", COMPLETE, "complete", script, *words],
                            cwd=folder, check=True, text=True, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT)
    return result.stdout.splitlines()


@pytest.mark.parametrize("line, wanted", [
    ("beaconctl ", COMMANDS),
    ("beaconctl n", ["nodes"]),
    ("beaconctl x", []),
    ("beaconctl -", OPTIONS),
    ("beaconctl --h", ["--host", "--help"]),
    ("beaconctl --json ", COMMANDS),
    ("beaconctl --host ", []),
    ("beaconctl --host 192.0.2.10 s", ["search", "status"]),
    ("beaconctl --timeout ", []),
    ("beaconctl monitor --product ", []),
    ("beaconctl monitor ", []),
    ("beaconctl nodes ", []),
    ("beaconctl nodes --j", ["--json"]),
    ("beaconctl browse b", ["browse.json"]),
    ("beaconctl search ", ["ssdp:all", "upnp:rootdevice"]),
    ("beaconctl search u", ["upnp:rootdevice"]),
])
def test_completes(unpacked, tmp_path, line, wanted):
    (tmp_path / "browse.json").write_text("[]")
    script = unpacked / "usr/share/bash-completion/completions/beaconctl"
    assert offered(script, line.split(" "), tmp_path) == wanted
