"""The command ./test, in a tree that contains only ./test and its scripts."""

import os
import select
import shutil
import subprocess
import sys
from pathlib import Path

import pytest

TOP = Path(__file__).resolve().parents[2]
sys.path[:0] = [str(TOP / "tools"), str(TOP / "tests/support")]

from documented import block  # noqa: E402
from lab import wait_until  # noqa: E402

STAGES = ["format", "unit", "clang", "asan", "tsan", "fuzz", "simulate", "system", "package", "web",
          "arm64"]
ONLY_NAMED = ["qt6", "armhf", "s390x", "debian", "qt-core", "machine"]


@pytest.fixture
def tree(tmp_path):
    for file in ("test", "scripts/sum_tests.py"):
        (tmp_path / file).parent.mkdir(exist_ok=True)
        shutil.copy(TOP / file, tmp_path / file)
    (tmp_path / "scripts/setup.sh").write_text("install_packages() { :; }\n", encoding="ascii")
    return tmp_path


def stand_in(tree, text, command="tests/web/run"):
    """Puts a script in the place of a program that a stage runs."""
    path = tree / command
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(f"#!/bin/sh\n{text}\n", encoding="ascii")
    path.chmod(0o755)


def run(tree, *command):
    result = subprocess.run(command, cwd=tree, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                            text=True)
    return result.returncode, result.stdout, result.stderr


def run_test(tree, *arguments):
    return run(tree, "./test", *arguments)


REPORT = """cat >build/web-tests.xml <<END
<testsuites><testcase name="one"/><testcase name="two">{}</testcase></testsuites>
END
exit {}"""


@pytest.mark.parametrize("script, status, total", [
    (REPORT.format("", 0), 0, "2 passed, 0 failed"),
    (REPORT.format("<failure/>", 1), 1, "1 passed, 1 failed"),
    (REPORT.format("", 1), 1, "2 passed, 1 failed"),
    ("exit 0", 1, "0 passed, 1 failed"),
    ("exit 1", 1, "0 passed, 1 failed")])
def test_the_last_line_counts_the_failures_and_the_status_is_1_if_there_are_any(
        tree, script, status, total):
    stand_in(tree, script)
    ended, output, _ = run_test(tree, "web")
    assert (ended, output.splitlines()[-1]) == (status, total)


def test_without_arguments_all_stages_run_and_every_failure_is_counted(tree):
    _, command, _ = block("README.md", "./run ").splitlines()
    ended, output, _ = run(tree, "bash", "-c", command)
    lines = [line for line in output.partition("======== summary\n")[2].splitlines()
             if not line.startswith("    ")]
    assert [line.split()[:2] for line in lines[:-2]] == [[name, "FAILED"] for name in STAGES]
    failed = [int(line.split()[-2]) for line in lines[:-2]]
    assert min(failed) >= 1
    assert (ended, lines[-1]) == (1, f"0 passed, {sum(failed)} failed")


@pytest.mark.parametrize("failing, status", [("nothing", 0), ("all", 1), ("machine", 1)])
def test_continuous_integration_runs_the_readmes_commands_and_repeats_the_first_summary(
        tree, failing, status):
    (tree / ".ci").mkdir()
    shutil.copy(TOP / ".ci/run", tree / ".ci/run")
    stand_in(tree, f'''echo "./test $*" >>asked
        printf 'log\\n\\n======== summary\\n%s\\n' "$#"
        case "${{*:-all}}" in *{failing}) exit 1 ;; esac''', "test")
    ended, output, _ = run(tree, ".ci/run")
    summary = "\n======== summary\n{}\n"
    first = f"\n======== ./test without arguments: status {int(failing == 'all')}\n"
    assert (ended, output) == (status, "log\n" + summary.format(0) + "log\n" + summary.format(5)
                               + first + summary.format(0)[1:])
    _, *commands = block("README.md", "./run ").splitlines()
    assert [line.split() for line in (tree / "asked").read_text(encoding="ascii").splitlines()] \
        == [line.partition("#")[0].split() for line in commands]


# Succeeds only if another script runs these lines at the same time, with both names exchanged.
MEET = """touch at-{}
for turn in $(seq 600); do [ ! -e at-{} ] || exit 0; sleep 0.1; done"""


def test_stages_that_compute_and_stages_that_wait_run_side_by_side(tree):
    report = "mkdir -p build/fuzz/reports; echo '<testcase/>' >build/{}.xml\n"
    stand_in(tree, report.format("fuzz/reports/a") + MEET.format("fuzz", "web") + "\nexit 1", "fuzz")
    stand_in(tree, report.format("web-tests") + MEET.format("web", "fuzz") + "\nexit 1")
    _, output, _ = run_test(tree)
    summary = output.partition("======== summary\n")[2].splitlines()
    assert [line.split()[:2] for line in summary if line.startswith(("fuzz", "web"))] == [
        ["fuzz", "passed"], ["web", "passed"]]


@pytest.mark.parametrize("stages", [[], ["web"]], ids=["all", "named"])
def test_ended_by_a_signal_it_ends_what_the_stages_started(tree, stages):
    stand_in(tree, "touch started; exec sleep 90")
    reader, writer = os.pipe()  # inherited by all processes that ./test starts
    with subprocess.Popen([tree / "test", *stages], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          pass_fds=[writer]) as command:
        os.close(writer)
        wait_until((tree / "started").exists, 60, "the stage web")
        command.terminate()
    assert command.returncode == 1
    assert select.select([reader], [], [], 60)[0], "something still runs"
    assert os.read(reader, 1) == b""
    os.close(reader)


def test_each_stage_ends_with_its_line_and_the_names_of_its_failures(tree):
    stand_in(tree, REPORT.format("<failure/>", 1))
    _, output, _ = run_test(tree, "web", "fuzz")
    web, fuzz = output.partition("======== summary\n")[0].split("======== ")[1:]
    for stage, failures in ((web, ["    failed: two"]),
                            (fuzz, ["    failed: the stage ended with status 1"])):
        line, *names = stage.rstrip("\n").splitlines()[-2:]
        assert line.split()[:2] == [stage.splitlines()[0], "FAILED"]
        assert names == failures


def test_help_names_every_stage(tree):
    status, output, _ = run_test(tree, "--help")
    assert status == 0
    assert output.startswith("usage: ./test [STAGE...]\n")
    assert [line.split()[0] for line in output.splitlines()
            if line[:2] == "  " and line[2] != " "] == STAGES + ONLY_NAMED


def test_the_stages_armhf_and_s390x_ask_for_their_libraries(tree):
    stand_in(tree, 'echo "$@" >asked', "scripts/target_root.sh")
    run_test(tree, "web", *ONLY_NAMED)
    assert (tree / "asked").read_text(encoding="ascii") == "armhf s390x\n"


def test_emulated_machines_ask_for_the_packages_of_their_processor_too(tree):
    (tree / "scripts/setup.sh").write_text('install_packages() { echo "$@" >asked; }\n',
                                           encoding="ascii")
    run_test(tree, "machine")
    assert (tree / "asked").read_text(encoding="ascii") == "build network tests machine arm64\n"


def test_an_unknown_stage_is_refused_before_anything_runs(tree):
    status, output, errors = run_test(tree, "web", "nonsense")
    assert (status, output) == (2, "")
    assert errors.startswith("usage: ./test [STAGE...]\n")
    assert not (tree / "build").exists()
