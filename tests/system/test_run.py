"""The demonstration of ./run."""

import fcntl
import http.client
import json
import os
import pty
import re
import select
import subprocess
import sys
import termios
from contextlib import contextmanager
from pathlib import Path

import pytest

import lab.__main__ as demo
import lab.story
from documented import block
from lab import DeviceSpec, Lab
from lab.page import DiscoveryPages
from lab.view import View

TOP = Path(__file__).resolve().parents[2]


@contextmanager
def demonstration(programs, *options, **popen):
    """The running program. It ends with the `with` block, even if a check in it fails."""
    program = subprocess.Popen([sys.executable, "-B", "-m", "lab", *options, str(programs)],
                               env={**os.environ, "PYTHONPATH": str(TOP / "tools")}, **popen)
    with program:
        try:
            yield program
        finally:
            program.kill()


def fetch(port, path):
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=10)
    try:
        connection.request("GET", path)
        answer = connection.getresponse()
        return answer.status, answer.read()
    finally:
        connection.close()


def take_terminal():
    """Makes standard input the controlling terminal, so that Ctrl-C interrupts this process."""
    fcntl.ioctl(0, termios.TIOCSCTTY, 0)


def test_an_unknown_option_prints_the_usage_with_status_2():
    result = subprocess.run([TOP / "run", "--nonsense"], capture_output=True, text=True, check=False)
    assert result.returncode == 2
    assert result.stdout == ""
    assert result.stderr.startswith("usage: ./run [--check]\n")


def test_it_requires_root():
    result = subprocess.run(["unshare", "--user", TOP / "run"], capture_output=True, text=True,
                            check=False)
    assert result.returncode == 1
    assert result.stderr == "./run makes network namespaces and needs root: sudo ./run\n"


def test_the_check_fails_if_a_daemon_ends(programs, tmp_path):
    for name, source in (("beacond", "/bin/false"), ("beacon-configd", f"{programs}/beacon-configd")):
        (tmp_path / name).write_bytes(Path(source).read_bytes())
        (tmp_path / name).chmod(0o755)
    with demonstration(tmp_path, "--check", stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                       text=True) as program:
        output, errors = program.communicate(timeout=60)
    assert program.returncode == 1
    assert output == ""
    assert re.match("beacond ended.\nstudio-[abc]: beacond, status 1\n", errors)


def test_a_failed_check_lists_the_missing_devices(programs, monkeypatch, capsys):
    monkeypatch.setattr(demo, "CHECK_LIMIT", 0)
    with Lab(programs) as network:
        devices = network.add_devices([DeviceSpec("studio-a"), DeviceSpec("studio-b")])
        for device in devices:
            device.start_beacond().wait_output("PubSub started")
        with DiscoveryPages(devices) as pages:
            assert demo.check(devices, [View(device) for device in devices], pages) == 1
        url = pages.url(devices[0])
    said = capsys.readouterr()
    assert said.out == ""
    assert said.err.startswith("After 0 s:\n")
    assert "\n  studio-a does not list studio-b in browse.json\n" in said.err
    assert "\n  studio-b does not see studio-a by _http._tcp\n" in said.err
    assert re.search(rf"\n  {url}browse.json, status \d+, does not list studio-b\n", said.err)


def test_it_draws_a_table_until_interrupted(programs):
    master, terminal = pty.openpty()
    with demonstration(programs, stdin=terminal, stdout=terminal, stderr=terminal,
                       start_new_session=True, preexec_fn=take_terminal) as program:
        os.close(terminal)
        seen = b""
        while b"seen by mDNS (this device)" not in seen:
            assert select.select([master], [], [], 30)[0], f"only {seen!r}"
            seen += os.read(master, 65536)
        start = re.search(rb"\033\[2J\033\[H3 devices on a virtual network\. Ctrl-C ends it\."
                          rb"\033\[K\r\nThe discovery page of studio-a: "
                          rb"http://127\.0\.0\.1:(\d+)/192\.0\.2\.10/discovery/\033\[K\r\n"
                          rb"What it sees, in another terminal: (nsenter --target \d+ --net "
                          rb"\S+/beaconctl watch)\033\[K\r\n\033\[K\r\n"
                          rb"studio-a \(192\.0\.2\.10\) sees\033\[K\r\n  host name  address", seen)
        assert start, seen
        port = int(start[1])
        for address in ("192.0.2.10", "192.0.2.11", "192.0.2.12"):
            assert fetch(port, f"/{address}/")[0] == 200
            folder = f"/{address}/discovery/"
            assert fetch(port, folder) == (200, (TOP / "web/discovery/index.html").read_bytes())
            status, listed = fetch(port, f"{folder}browse.json")
            assert (status, type(json.loads(listed))) == (200, list)
        watch = subprocess.Popen(start[2].split(), stdout=subprocess.PIPE, text=True)
        assert re.search(r"\bstudio-[abc]\b", watch.stdout.readline())
        watch.terminate()
        watch.communicate(timeout=20)
        os.write(master, b"\x03")
        assert program.wait(20) == 0
    os.close(master)
    with pytest.raises(ConnectionRefusedError):
        fetch(port, "/192.0.2.10/discovery/")


def test_it_writes_lines_without_a_terminal(programs):
    with demonstration(programs, stdout=subprocess.PIPE) as program:
        for line in program.stdout:
            if b"studio-a: studio-a, 192.0.2.10, seen by mDNS (this device)\n" in line:
                break
        assert b"\033" not in line
        program.terminate()
        assert program.wait(20) == 128 + 15


def test_the_command_in_the_readme_shows_where_the_page_is(programs, tmp_path):
    # A fake cmake builds nothing, and makes a symbolic link to the programs under test.
    for name in ("run", "scripts", "tools"):
        (tmp_path / name).symlink_to(TOP / name)
    builds = tmp_path / "bin/cmake"
    builds.parent.mkdir()
    builds.write_text("#!/bin/sh\nmkdir -p build/run\n"
                      f"ln -sfn '{Path(programs).resolve()}' build/run/bin\n")
    builds.chmod(0o755)
    command, *_ = block("README.md", "./run ").splitlines()
    with subprocess.Popen(["bash", "-c", command], cwd=tmp_path, stdout=subprocess.PIPE,
                          env={**os.environ, "PATH": f"{builds.parent}:{os.environ['PATH']}"},
                          text=True) as program:
        assert program.stdout.readline() == "3 devices on a virtual network. Ctrl-C ends it.\n"
        url = re.fullmatch(r"The discovery page of studio-a: http://127\.0\.0\.1:(\d+)(/.*)\n",
                           program.stdout.readline())
        assert fetch(int(url[1]), url[2])[0] == 200
        program.terminate()
        assert program.wait(20) == 128 + 15


@pytest.mark.parametrize("options", [[], ["--check"]], ids=["show", "check"])
def test_it_ends_quietly_when_its_output_is_closed(programs, options):
    with demonstration(programs, *options, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as program:
        if not options:
            assert program.stdout.readline() == b"3 devices on a virtual network. Ctrl-C ends it.\n"
        program.stdout.close()
        assert program.wait(60) == 128 + 13
        assert program.stderr.read() == b""


def test_without_a_standard_output_it_exits_at_once_with_status_0():
    result = subprocess.run(["sh", "-c", 'exec "$0" >&-', TOP / "run"], stderr=subprocess.PIPE,
                            timeout=60, check=False)
    assert (result.returncode, result.stderr) == (0, b"")


class StandIn:
    """A device and its view in one object. The test sets `found`, whether the others know the
    device, and `listed`, whether the view contains it."""

    def __init__(self, name):
        self.name = self.host_name = name
        self.address = f"address of {name}"
        self.configured = []
        self.found = self.listed = True

    def configure(self, **members):
        self.configured.append(members)
        self.host_name = members.get("hostName", self.host_name)
        self.found = False

    def missing(self, devices):
        return [] if all(device.found for device in devices) else ["somebody"]

    def ssdp(self):
        return {self.address: {}} if self.listed else {}


def test_the_last_device_is_renamed_leaves_and_returns(monkeypatch):
    monkeypatch.setattr(lab.story, "PAUSE", 0)
    devices = [StandIn("first"), StandIn("last")]
    last = devices[1]
    news = lab.story.story(devices, devices)
    for name in ("gallery", "last", "gallery"):
        last.found = last.listed = False
        assert next(news) == "The devices are finding each other. That takes up to 45 s."
        last.found = last.listed = True
        assert next(news) == f"{last.address} is called {name} now. The others ask for its new " \
                             "description."
        last.found = True
        assert next(news) == f"{name} has switched SSDP off and said goodbye."
        last.listed = False
        last.found = False
        next(news)
        assert last.configured == [{"hostName": name}, {"ssdpEnable": False}, {"ssdpEnable": True}]
        last.configured.clear()
    assert devices[0].configured == []
