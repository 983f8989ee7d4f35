"""How scripts/sum_tests.py counts the reports of a stage."""

import os
import subprocess
import sys
from pathlib import Path

import pytest

TOP = Path(__file__).resolve().parents[2]
PASSED = '<testcase classname="Suite" name="Good"/>'
FAILED = '<testcase classname="Suite" name="Bad"><failure/></testcase>'


@pytest.fixture
def stage(tmp_path):
    """The folder of a stage that succeeded after 12 seconds, without a report so far."""
    folder = tmp_path / "unit"
    folder.mkdir()
    (folder / "ended").write_text("0 12\n", encoding="ascii")
    return folder


def suite(*cases):
    return f"<testsuites><testsuite>{''.join(cases)}</testsuite></testsuites>"


def report(stage, name, text):
    path = stage / name
    path.parent.mkdir(exist_ok=True)
    path.write_text(text, encoding="utf-8")


def run_sum(*folders):
    result = subprocess.run([TOP / "scripts/sum_tests.py", *folders], stdout=subprocess.PIPE,
                            text=True, env={**os.environ, "PYTHONIOENCODING": "ascii"})
    return result.returncode, result.stdout


def counted(stage):
    """The numbers of passed and failed tests, after a check that the whole output agrees."""
    status, output = run_sum(stage)
    line, *below, empty, total = output.splitlines()
    failures = [each for each in below if each.startswith("    failed: ")]
    passed, failed = int(total.split()[0]), int(total.split()[2])
    result = "FAILED" if failed else "passed"
    assert (line, empty) == (f"unit     {result}      12 s  {passed:5} passed  {failed} failed", "")
    assert total == f"{passed} passed, {failed} failed"
    assert len(failures) == failed
    assert status == (1 if failed else 0)
    return passed, failed


def test_passed_and_failed_tests_of_all_reports_are_added(stage):
    report(stage, "build.xml", suite('<testcase name="build"/>'))
    report(stage, "pytest.xml", suite(PASSED, FAILED, PASSED))
    assert counted(stage) == (3, 1)


@pytest.mark.parametrize("case", [
    '<testcase name="a"><skipped/></testcase>',
    '<testcase name="a" status="notrun" result="suppressed"/>'])
def test_a_test_that_did_not_run_is_neither_passed_nor_failed(stage, case):
    report(stage, "pytest.xml", suite(PASSED, case))
    assert counted(stage) == (1, 0)


def test_a_test_with_several_failures_counts_once(stage):
    report(stage, "unit.xml", suite(PASSED, '<testcase name="a"><failure/><failure/></testcase>'))
    assert counted(stage) == (1, 1)


def test_characters_that_xml_forbids_hide_no_test(stage):
    report(stage, "web.xml", suite(PASSED, '<testcase name="a"><failure message="\a\0"/></testcase>'))
    assert counted(stage) == (1, 1)


def test_two_failed_tests_of_one_name_count_twice(stage):
    report(stage, "web.xml", suite(FAILED, FAILED))
    assert counted(stage) == (0, 2)


@pytest.mark.parametrize("text", ["", "<testsuites><testsui", "<testsuites/>", suite()])
def test_a_report_without_a_test_is_a_failure(stage, text):
    report(stage, "build.xml", suite(PASSED))
    report(stage, "pytest.xml", text)
    assert counted(stage) == (1, 1)


def test_a_stage_without_a_report_is_a_failure(stage):
    assert counted(stage) == (0, 1)


def test_a_stage_whose_tests_were_all_skipped_is_a_failure(stage):
    report(stage, "pytest.xml", suite('<testcase name="a"><skipped/></testcase>'))
    assert counted(stage) == (0, 1)


def test_a_failed_stage_without_a_failed_test_is_a_failure(stage):
    report(stage, "pytest.xml", suite(PASSED))
    (stage / "ended").write_text("1 12\n", encoding="ascii")
    assert counted(stage) == (1, 1)


def test_a_failed_stage_with_a_failed_test_is_no_further_failure(stage):
    report(stage, "pytest.xml", suite(PASSED, FAILED))
    (stage / "ended").write_text("1 12\n", encoding="ascii")
    assert counted(stage) == (1, 1)


def test_a_stage_that_did_not_reach_its_end_is_a_failure(stage):
    report(stage, "pytest.xml", suite(PASSED))
    (stage / "ended").unlink()
    assert run_sum(stage) == (1, "unit     FAILED       0 s      1 passed  1 failed\n"
                                 "    failed: the stage ended with status 1\n"
                                 "\n1 passed, 1 failed\n")


def test_a_stage_that_never_began_is_a_failure(tmp_path):
    assert run_sum(tmp_path / "unit")[1].splitlines()[-1] == "0 passed, 1 failed"


# What ctest reports about a test program that succeeded, and about one that failed. The program
# writes a report of its own, too.
ENDED_WELL = '<testcase name="usn_test" status="run"/>'
ENDED_BADLY = '<testcase name="usn_test" status="fail"><failure/></testcase>'


@pytest.mark.parametrize("program, own_report, counts", [
    (ENDED_WELL, suite(PASSED, PASSED), (2, 0)),
    (ENDED_BADLY, suite(PASSED, FAILED, FAILED), (1, 2))])
def test_the_tests_of_a_program_count_in_its_place(stage, program, own_report, counts):
    report(stage, "programs.xml", suite(program))
    report(stage, "programs/usn_test.xml", own_report)
    assert counted(stage) == counts


def test_a_program_that_crashed_counts_as_one_failure(stage):
    report(stage, "programs.xml", suite(ENDED_BADLY, '<testcase name="other_test"/>'))
    report(stage, "programs/other_test.xml", suite(PASSED))
    assert counted(stage) == (1, 1)


def test_a_program_that_failed_after_its_tests_passed_counts_as_one_failure(stage):
    report(stage, "programs.xml", suite(ENDED_BADLY))
    report(stage, "programs/usn_test.xml", suite(PASSED))
    assert counted(stage) == (1, 1)


@pytest.mark.parametrize("own_report", [None, "", suite()])
def test_a_program_that_reports_no_test_is_a_failure_however_it_ended(stage, own_report):
    report(stage, "programs.xml", suite(ENDED_WELL, '<testcase name="other_test"/>'))
    report(stage, "programs/other_test.xml", suite(PASSED))
    if own_report is not None:
        report(stage, "programs/usn_test.xml", own_report)
    assert counted(stage) == (1, 1)


PYTEST_FILE = """
import pytest

@pytest.fixture
def cleaned_up():
    yield
    raise OSError

@pytest.fixture
def never_set_up():
    raise OSError

def test_passes(): pass
def test_fails(): assert False
def test_fails_and_cannot_be_cleaned_up(cleaned_up): assert False
def test_cannot_be_cleaned_up(cleaned_up): pass
def test_cannot_be_set_up(never_set_up, cleaned_up): pass
def test_is_skipped(): pytest.skip()
"""


def test_a_failed_pytest_test_counts_once_however_its_clean_up_ends(stage, tmp_path):
    report(tmp_path, "test_sample.py", PYTEST_FILE)
    subprocess.run([sys.executable, "-B", "-m", "pytest", "-p", "no:cacheprovider",
                    f"--junit-xml={stage}/pytest.xml", tmp_path], stdout=subprocess.DEVNULL)
    assert counted(stage) == (1, 4)


def test_a_line_for_each_stage_comes_before_the_total(tmp_path):
    for name, end, cases in (("unit", "0 45", [PASSED] * 1037), ("package", "1 1200", [FAILED])):
        report(tmp_path / name, "cases.xml", suite(*cases))
        report(tmp_path / name, "ended", end)
    assert run_sum(tmp_path / "unit", tmp_path / "package") == (
        1, "unit     passed      45 s   1037 passed  0 failed\n"
           "package  FAILED    1200 s      0 passed  1 failed\n"
           "    failed: Suite.Bad\n"
           "\n1037 passed, 1 failed\n")


@pytest.mark.parametrize("files, failure", [
    ({"pytest.xml": suite(PASSED, FAILED)}, "Suite.Bad"),
    ({"pytest.xml": suite(PASSED, '<testcase name="alone"><error/></testcase>')}, "alone"),
    ({"build.xml": suite(PASSED), "pytest.xml": suite()}, "pytest.xml: no test in this report"),
    ({"programs.xml": suite(ENDED_WELL), "programs/usn_test.xml": suite()},
     "usn_test.xml: no test in this report"),
    ({"programs.xml": suite(ENDED_BADLY), "programs/usn_test.xml": suite(PASSED)},
     "usn_test: failed outside its tests"),
    ({"pytest.xml": suite(PASSED), "ended": "3 12"}, "the stage ended with status 3"),
    ({}, "no test of the stage passed")])
def test_each_failure_is_named(stage, files, failure):
    for name, text in files.items():
        report(stage, name, text)
    assert run_sum(stage)[1].splitlines()[1:-2] == [f"    failed: {failure}"]


@pytest.mark.parametrize("failure, shown", [
    ('<failure message="one&#10;&#10;two">trace</failure>', ["one", "two"]),
    ("<failure>one\ntwo</failure>", ["one", "two"]),
    ('<error message="one"/>', ["one"]),
    ('<failure message="1&#10;2&#10;3&#10;4&#10;5&#10;6"/>', ["1", "2", "3", "4", "5"]),
    (f'<failure message="{"x" * 201}"/>', ["x" * 200]),
    ('<failure message="\u2026"/>', ["\\u2026"])])
def test_the_first_lines_of_a_failures_message_stand_below_its_name(stage, failure, shown):
    report(stage, "pytest.xml", suite(PASSED, f'<testcase name="a">{failure}</testcase>'))
    assert run_sum(stage)[1].splitlines()[1:-2] == [
        "    failed: a", *(f"        {line}" for line in shown)]
