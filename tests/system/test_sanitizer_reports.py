"""Every report of a sanitizer is found: programs with one fault each, built with the flags of
the presets, and run like the programs under test."""

import pytest

from sanitizer_reports import REPORT, WatchedLab

FREED = """
#include <stdlib.h>
int main(void) { char *volatile p = malloc(1); free(p); return *p; }
"""
LOST = """
#include <stdlib.h>
int main(void) { malloc(1); return 0; }
"""
OVERFLOW = """
#include <limits.h>
int main(void) { volatile int most = INT_MAX; return most + 1 == 0; }
"""
RACE = """
#include <pthread.h>
int shared;
void *increase(void *unused) { ++shared; return unused; }
int main(void) {
    pthread_t thread;
    pthread_create(&thread, 0, increase, 0);
    ++shared;
    return pthread_join(thread, 0);
}
"""


@pytest.mark.parametrize("sanitizers, program, report", [
    ("address,undefined", FREED, "ERROR: AddressSanitizer: heap-use-after-free"),
    ("address,undefined", LOST, "ERROR: LeakSanitizer: detected memory leaks"),
    ("address,undefined", OVERFLOW, "runtime error: signed integer overflow"),
    ("thread", RACE, "WARNING: ThreadSanitizer: data race"),
], ids=["freed", "lost", "overflow", "race"])
def test_a_report_is_found(programs, sanitizers, program, report):
    with WatchedLab(programs) as lab:
        node = lab.add_peer()
        source = node.path("/run/lab/program.c")
        source.write_text(program)
        node.run("clang", "-w", f"-fsanitize={sanitizers}", "-fno-sanitize-recover=all",
                 "-o", "/run/lab/program", "/run/lab/program.c")
        node.run("/run/lab/program", check=False)
    assert len(lab.reports) == 1
    assert lab.reports[0].startswith(f"{node.name}: ") and report in lab.reports[0]


def test_a_report_is_found_on_a_removed_node(programs):
    with WatchedLab(programs) as lab:
        node = lab.add_peer()
        node.path(f"{REPORT}.7").write_text("a report\n")
        lab.remove(node)
        assert lab.reports == [f"{node.name}: a report\n"]
