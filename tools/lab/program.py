"""A program that runs in a node, its output and its exit status."""

import os
import signal
import subprocess
from pathlib import Path

from .waiting import wait_until


def only_child(pid):
    """Waits until a process has a child, and returns the child's id."""
    children = Path(f"/proc/{pid}/task/{pid}/children")
    return int(wait_until(children.read_text, 10, f"a child of process {pid}").split()[0])


class Program:
    """A program started in a node by Node.start."""

    def __init__(self, name, node, command, environment, **options):
        self.name = name
        self.node = node
        # In the node's private /run, so nothing is left on the host's disk.
        with open(self._file("out"), "wb") as out, open(self._file("err"), "wb") as err:
            options.setdefault("stdin", subprocess.DEVNULL)
            options.setdefault("stdout", out)
            options.setdefault("stderr", err)
            self._enter = subprocess.Popen(command, env=environment, start_new_session=True,
                                           **options)

    def _file(self, kind):
        return self.node.path(f"/run/lab/{self.name}.{kind}")

    @property
    def pid(self):
        """The program's process id, in the process namespace of the caller."""
        return only_child(self._enter.pid)

    @property
    def stdout(self):
        return self._file("out").read_text(errors="backslashreplace")

    @property
    def stderr(self):
        return self._file("err").read_text(errors="backslashreplace")

    @property
    def status(self):
        """The exit status; the negative signal number after a signal; None while it runs."""
        return self._enter.poll()

    def explain(self):
        return (f"{self.node.name}: {self.name}, status {self.status}\n"
                f"--- standard output\n{self.stdout}--- standard error\n{self.stderr}---")

    def wait_output(self, text, timeout=20):
        """Waits until the program has written `text`. Fails at once if it ends before."""
        def written():
            ended = self.status is not None
            if text in self.stdout or text in self.stderr:
                return True
            if ended:
                raise RuntimeError(f"ended before it wrote {text!r}\n{self.explain()}")
            return False
        wait_until(written, timeout, f"{text!r} written by {self.name}", self.explain)

    def wait(self, timeout=20):
        """Waits for the program's end and returns its status."""
        try:
            return self._enter.wait(timeout)
        except subprocess.TimeoutExpired as error:
            raise TimeoutError(f"no end within {timeout} s\n{self.explain()}") from error

    def kill(self, number):
        os.kill(self.pid, number)
        if number == signal.SIGCONT:
            # nsenter stops itself along with its child, and would outlive the node.
            os.kill(self._enter.pid, number)

    def stop(self, number=signal.SIGTERM):
        """Ends the program by a signal, if it still runs, and returns its status."""
        if self.status is None:
            self.kill(number)
        return self.wait()
