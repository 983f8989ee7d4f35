"""The sanitizers' reports on the programs under test, in builds with sanitizers.

They are written to files in each device: tests compare standard error, and a detached
daemon has none. Leaks are reported if a program exits, not if a signal kills it."""

import os

from lab import Lab

REPORT = "/run/lab/sanitizer"  # the sanitizer appends the process id

# A Lab passes these variables to its programs.
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
    """A Lab that collects the sanitizers' reports: read `reports` after the Lab is closed."""

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
