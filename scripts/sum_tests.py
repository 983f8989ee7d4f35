#!/usr/bin/python3 -B
"""Counts the tests in the stages of ./test.

usage: sum_tests.py FOLDER...

Each folder has the name of a stage and holds
  *.xml       the reports of its test runners, as JUnit XML
  NAME/*.xml  the reports of the test programs, if the cases of NAME.xml are programs
  ended       the exit status of the stage and the seconds it took

Prints a line for each stage. Below it stand the names of its failures, each with the first
lines of its message. The last line is "N passed, N failed".
The exit status is 1 if anything failed.
"""

import re
import sys
from pathlib import Path
from typing import NamedTuple
from xml.etree import ElementTree


# A message can be a whole packet or the log of a device. The whole text is in the report.
MOST_LINES = 5
MOST_COLUMNS = 200


class Failure(NamedTuple):
    name: str
    message: str = ""


class Counts(NamedTuple):
    passed: int
    failures: list


def total(counts):
    counts = list(counts)
    return Counts(sum(each.passed for each in counts), sum((each.failures for each in counts), []))


def read_cases(report):
    """The test cases of a report; none if it is missing, empty or cut off."""
    try:
        text = report.read_text(encoding="utf-8", errors="replace")
        # Node's reports contain control characters from messages. XML forbids them.
        text = re.sub(r"[\0-\x08\x0b\x0c\x0e-\x1f]", "", text)
        return list(ElementTree.fromstring(text).iter("testcase"))
    except (OSError, ElementTree.ParseError):
        return []


def has(case, *tags):
    return any(part.tag in tags for part in case)


def name(case):
    return ".".join(filter(None, [case.get("classname"), case.get("name")]))


def failure_of(case):
    parts = [part for part in case if part.tag in ("failure", "error")]
    return Failure(name(case), parts[0].get("message") or parts[0].text or "")


def is_passed(case):
    # GoogleTest lists disabled tests as "notrun".
    return not has(case, "failure", "error", "skipped") and case.get("status") != "notrun"


def count_cases(cases):
    failed = [failure_of(case) for case in cases if has(case, "failure")]
    # pytest reports an error while cleaning up after a failed test as a second case.
    names = {failure.name for failure in failed}
    errors = [failure_of(case) for case in cases if has(case, "error")
              and not has(case, "failure") and name(case) not in names]
    return Counts(sum(map(is_passed, cases)), failed + errors)


def count_program(case, report):
    """A program that failed counts as a failure even if no test in its report failed: it
    crashed, timed out, or was ended by a sanitizer."""
    counts = count_report(report)
    if is_passed(case) or counts.failures:
        return counts
    return Counts(counts.passed, [Failure(f"{name(case)}: failed outside its tests")])


def count_report(report):
    cases = read_cases(report)
    programs = report.with_suffix("")
    if not cases:
        return Counts(0, [Failure(f"{report.name}: no test in this report")])
    if programs.is_dir():
        return total(count_program(case, programs / f"{case.get('name')}.xml") for case in cases)
    return count_cases(cases)


def read_end(folder):
    """The exit status and the seconds of a stage; status 1 if it did not finish."""
    try:
        status, seconds = (folder / "ended").read_text(encoding="ascii").split()
        return int(status), int(seconds)
    except (OSError, ValueError):
        return 1, 0


def count_stage(folder):
    """A stage that failed, or in which no test passed, has at least one failure."""
    counts = total(map(count_report, sorted(folder.glob("*.xml"))))
    status, _ = read_end(folder)
    if counts.failures or (status == 0 and counts.passed > 0):
        return counts
    return Counts(counts.passed, [Failure(f"the stage ended with status {status}" if status != 0
                                          else "no test of the stage passed")])


def failure_lines(failure):
    lines = [line for line in failure.message.splitlines() if line.strip()]
    return [f"    failed: {failure.name}",
            *(f"        {line[:MOST_COLUMNS]}" for line in lines[:MOST_LINES])]


def stage_lines(folder, counts):
    _, seconds = read_end(folder)
    result = "FAILED" if counts.failures else "passed"
    return [f"{folder.name:8} {result:8} {seconds:5} s  {counts.passed:5} passed  "
            f"{len(counts.failures)} failed",
            *(line for failure in counts.failures for line in failure_lines(failure))]


def main(folders):
    sys.stdout.reconfigure(errors="backslashreplace")  # a message may contain any character
    counts = {folder: count_stage(folder) for folder in folders}
    for folder in folders:
        print(*stage_lines(folder, counts[folder]), sep="\n")
    passed, failures = total(counts.values())
    print(f"\n{passed} passed, {len(failures)} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main([Path(folder) for folder in sys.argv[1:]]))
