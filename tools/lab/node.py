"""A set of anonymous namespaces, and the process that owns them."""

import ctypes
import os
import subprocess
from contextlib import contextmanager
from pathlib import Path

from .program import Program, only_child
from .waiting import wait_until

CLONE_NEWNET = 0x40000000
MARK = "BEACOND_LAB"  # an environment variable of every process of a lab
# Variables of this program's environment that programs with a sanitizer read.
SANITIZER_OPTIONS = ("ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS")
SCRIPTS = Path(__file__).resolve().parent

_libc = ctypes.CDLL(None, use_errno=True)


def _setns(descriptor, kind):
    if _libc.setns(descriptor, kind) != 0:
        error = ctypes.get_errno()
        raise OSError(error, f"setns: {os.strerror(error)}")


class Node:
    """One node of the virtual network: a network, a mount, a process and a host name
    namespace, set up by `script` (a file of this folder, run as process 1 of the node).

    The script prints "made" when the namespaces exist, waits for a line, prints "ready",
    and finally becomes a `cat` that reads a pipe from this program. When this program ends,
    for any reason, the pipe closes and process 1 of the node ends. The kernel then removes
    every process, mount and interface of the node.
    """

    def __init__(self, name, script, arguments, mark):
        self.name = name
        self.environment = {
            "PATH": "/usr/sbin:/usr/bin:/sbin:/bin",
            "LC_ALL": "C.UTF-8",
            MARK: mark,
            **{option: os.environ[option] for option in SANITIZER_OPTIONS if option in os.environ},
        }
        text = (SCRIPTS / script).read_text()
        # In a new session: an interrupt from the terminal must reach only this program.
        self._holder = subprocess.Popen(
            ["unshare", "--pid", "--net", "--mount", "--uts", "--fork", "--kill-child",
             "--mount-proc", "sh", "-c", text, script, *arguments],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1,
            env=self.environment, start_new_session=True)
        self._expect("made")
        self.pid = only_child(self._holder.pid)

    def _expect(self, word):
        line = self._holder.stdout.readline()
        if line.strip() != word:
            status = self._holder.wait()
            raise RuntimeError(f"{self.name}: no \"{word}\", status {status}, said {line!r}")

    def begin_setup(self):
        """Lets the script continue. Call it when the node is connected to the switch."""
        self._holder.stdin.write("go\n")

    def finish_setup(self):
        """Waits until the script is ready."""
        self._expect("ready")

    def begin_close(self):
        """Ends process 1 and thereby the node, as if its power were cut."""
        self._holder.stdin.close()

    def close(self):
        """Removes the node and waits until it is gone."""
        self.begin_close()
        try:
            self._holder.wait(10)
        except subprocess.TimeoutExpired:  # still in its script: --kill-child ends it
            self._holder.kill()
            self._holder.wait()
        self._holder.stdout.close()

    def path(self, path):
        """The path of the node's file `path` for this program."""
        return Path(f"/proc/{self.pid}/root") / path.lstrip("/")

    def read(self, path):
        """The text of the node's file; None if it does not exist."""
        try:
            return self.path(path).read_text()
        except FileNotFoundError:
            return None

    def _entering(self, command):
        return ["nsenter", "--target", str(self.pid), "--pid", "--net", "--mount", "--uts",
                *command]

    def run(self, *command, check=True, timeout=60, **options):
        """Runs a command in the node and returns its CompletedProcess with the output as
        text. A status other than 0 is an error unless `check` is False."""
        options.setdefault("stdin", subprocess.DEVNULL)
        options.setdefault("env", self.environment)
        result = subprocess.run(self._entering(command), timeout=timeout, text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                start_new_session=True, **options)
        if check and result.returncode != 0:
            raise RuntimeError(f"{self.name}: {' '.join(command)}: status {result.returncode}\n"
                               f"{result.stdout}{result.stderr}")
        return result

    def start(self, name, command, environment=None, **options):
        """Starts a program in the node. Its output goes to the node's files /run/lab/NAME.out
        and /run/lab/NAME.err."""
        return Program(name, self, self._entering(command),
                       {**self.environment, **(environment or {})}, **options)

    def processes(self, name):
        """The process ids, as this program sees them, of the node's running processes with
        the name `name`."""
        namespace = os.readlink(f"/proc/{self.pid}/ns/pid")
        return [pid for pid in map(int, filter(str.isdigit, os.listdir("/proc")))
                if _name_and_namespace(pid) == (name, namespace)]

    def wait_for_process(self, name, timeout=10):
        """Waits until exactly one process has the name `name`, and returns its id."""
        def one():
            found = self.processes(name)
            return found[0] if len(found) == 1 else None
        return wait_until(one, timeout, f"{self.name}: one process {name}")

    @contextmanager
    def network(self):
        """Inside this block, the calling thread is in the node's network. A socket that is
        made there stays there."""
        home = os.open("/proc/thread-self/ns/net", os.O_RDONLY)
        there = os.open(f"/proc/{self.pid}/ns/net", os.O_RDONLY)
        try:
            _setns(there, CLONE_NEWNET)
            try:
                yield
            finally:
                _setns(home, CLONE_NEWNET)
        finally:
            os.close(there)
            os.close(home)


def _name_and_namespace(pid):
    try:
        os.readlink(f"/proc/{pid}/exe")  # missing for a zombie
        return Path(f"/proc/{pid}/comm").read_text().rstrip("\n"), os.readlink(f"/proc/{pid}/ns/pid")
    except OSError:  # ended in between
        return None
