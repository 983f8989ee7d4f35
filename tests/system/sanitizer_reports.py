"""What the sanitizers say of the programs under test, in builds that have them.

They write to files in each device: standard error is the tests' matter, and a daemon that
detached has none. A leak is reported where a program ends by itself, not by a signal."""

import os

from lab import Lab

REPORT = "/run/lab/sanitizer"  # the sanitizer appends the process id

# A Lab hands these on to the programs in it.
OPTIONS = {
    "ASAN_OPTIONS": "detect_stack_use_after_return=1:check_initialization_order=1:"
                    "strict_init_order=1:strict_string_checks=1",
    "TSAN_OPTIONS": "second_deadlock_stack=1",
    "UBSAN_OPTIONS": "print_stacktrace=1",
}


def set_options():
    for name, options in OPTIONS.items():
        os.environ[name] = f"log_path={REPORT}:{options}"


class WatchedLab(Lab):
    """A Lab that keeps what the sanitizers reported in it: read `reports` after its end."""

    def __init__(self, programs):
        self.reports = []
        super().__init__(programs)

    def remove(self, node):
        self._collect(node)
        super().remove(node)

    def close(self):
        for node in [*self.devices, *self.peers]:
            self._collect(node)
        super().close()

    def _collect(self, node):
        files = node.path(os.path.dirname(REPORT)).glob(os.path.basename(REPORT) + ".*")
        for file in sorted(files):
            self.reports.append(f"{node.name}: {file.read_text(errors='backslashreplace')}")
