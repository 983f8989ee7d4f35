"""A set of anonymous namespaces and the process that holds them."""

import ctypes
import os
import subprocess
from contextlib import contextmanager
from pathlib import Path

from .program import Program, only_child
from .waiting import wait_until

CLONE_NEWNET = 0x40000000
MARK = "BEACOND_LAB"  # the environment variable that every process of a lab carries
# What programs that are built with a sanitizer take from this program's environment.
SANITIZER_OPTIONS = ("ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS")
SCRIPTS = Path(__file__).resolve().parent

_libc = ctypes.CDLL(None, use_errno=True)


def _setns(descriptor, kind):
    if _libc.setns(descriptor, kind) != 0:
        error = ctypes.get_errno()
        raise OSError(error, f"setns: {os.strerror(error)}")


class Node:
    """One machine on the virtual network: a network, a mount, a process and a
    host name namespace, made by `script` (a file of this folder, run as process 1 there).

    The script says "made" when the namespaces stand, waits for a line, and says
    "ready" at its end; it then turns into a `cat` on a pipe from this program.
    When this program ends, in whatever way, the pipe closes, process 1 of the
    node ends, and the kernel takes away every process, mount and interface.
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
        # A session of its own: an interrupt from the terminal is for this program.
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
        """Lets the script go on, once the node's cable is plugged in."""
        self._holder.stdin.write("go\n")

    def finish_setup(self):
        """Waits for the script's end."""
        self._expect("ready")

    def begin_close(self):
        """Lets process 1 end, and with it the node, like pulling its power plug."""
        self._holder.stdin.close()

    def close(self):
        """Takes the node away and waits until it is gone."""
        self.begin_close()
        try:
            self._holder.wait(10)
        except subprocess.TimeoutExpired:  # still in its script: --kill-child ends it
            self._holder.kill()
            self._holder.wait()
        self._holder.stdout.close()

    def path(self, path):
        """Where this program finds the node's file `path`."""
        return Path(f"/proc/{self.pid}/root") / path.lstrip("/")

    def read(self, path):
        """The text of the node's file, None if there is no such file."""
        try:
            return self.path(path).read_text()
        except FileNotFoundError:
            return None

    def _entering(self, command):
        return ["nsenter", "--target", str(self.pid), "--pid", "--net", "--mount", "--uts",
                *command]

    def run(self, *command, check=True, timeout=60, **options):
        """Runs a command in the node to its end and returns the CompletedProcess
        with its texts; a status other than 0 is an error unless `check` is False."""
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
        """Starts a program in the node; its output goes to the node's files
        /run/lab/NAME.out and /run/lab/NAME.err."""
        return Program(name, self, self._entering(command),
                       {**self.environment, **(environment or {})}, **options)

    def processes(self, name):
        """The process ids, as this program sees them, of the node's processes
        called `name` that have not ended."""
        namespace = os.readlink(f"/proc/{self.pid}/ns/pid")
        return [pid for pid in map(int, filter(str.isdigit, os.listdir("/proc")))
                if _name_and_namespace(pid) == (name, namespace)]

    def wait_for_process(self, name, timeout=10):
        """The id of the one process called `name`, once there is just one."""
        def one():
            found = self.processes(name)
            return found[0] if len(found) == 1 else None
        return wait_until(one, timeout, f"{self.name}: one process {name}")

    @contextmanager
    def network(self):
        """The calling thread is in the node's network inside this block: a socket
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
        os.readlink(f"/proc/{pid}/exe")  # gone when it has ended, and only waits to be reaped
        return Path(f"/proc/{pid}/comm").read_text().rstrip("\n"), os.readlink(f"/proc/{pid}/ns/pid")
    except OSError:  # ended in between
        return None
