"""Plants single faults into the sources, and prints those that no unit test finds and that
tests/mutation/unseen.txt does not explain.

Each fault is compiled alone and linked into the unit tests that can see it: first into the
program with the tests of the protocol core; if they do not find it, into the other test
programs of the source's folder. No source is changed.
"""

import argparse
import hashlib
import json
import os
import re
import shlex
import subprocess
import sys
import tempfile
import threading
import time
from collections import Counter
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from pathlib import Path

from faults import faults_of
from reasons import read_reasons

TOP = Path(__file__).resolve().parents[2]
BUILD = TOP / "build" / "mutation"
REASONS = Path(__file__).with_name("unseen.txt")
CORE = "core_test"
CORE_FOLDERS = ("src/formats", "src/product", "src/ssdp")
LEAST_FOUND_PERCENT = 95
NO_FAULT = "no fault"  # refused by compiler or linker, or compiled to the same code
MEMORY = 4 << 30  # the limit of a test program, in bytes: some faults allocate endlessly


@dataclass
class Program:
    """A test program: how it is linked, and how long it takes without a fault."""
    name: str
    link: list
    members: list  # the objects that it takes from libraries
    seconds: float = 60.0

    def objects(self):
        return [word for word in self.link if word.endswith(".o")]


class NotBuilt(Exception):
    """The compiler or the linker finds the fault."""


def run(command, seconds=None, **options):
    """The exit status of a command and its output. After a time-out the status is -1, the
    command's process group was killed, and the output is that until then."""
    with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, start_new_session=True, **options) as process:
        try:
            output, _ = process.communicate(timeout=seconds)
            return process.returncode, output
        except subprocess.TimeoutExpired as late:
            os.killpg(process.pid, 9)
            # Does not wait for the end of the output: a process that has left the group may
            # keep the pipe open for ever.
            return -1, late.output or b""


def end_all_of(program):
    """Ends the processes of a program that have left its process group: a fault in the code
    that detaches the daemon may make one of them run for ever."""
    for link in Path("/proc").glob("[0-9]*/exe"):
        try:
            if os.readlink(link) == str(program):
                os.kill(int(link.parent.name), 9)
        except (FileNotFoundError, ProcessLookupError, PermissionError):
            pass  # it has ended meanwhile, or it is another user's


def in_random_order(faults, seed):
    """The place of a fault in the order depends only on the seed, its title, its line's text, and
    the number of faults before it in the list that have the same title and text."""
    seen = Counter()
    places = []
    for fault in faults:
        seen[fault.title(), fault.text] += 1
        identity = repr((seed, fault.title(), fault.text, seen[fault.title(), fault.text]))
        places.append((hashlib.sha256(identity.encode()).digest(), fault))
    return [fault for _, fault in sorted(places, key=lambda place: place[0])]


def ninja(*arguments):
    return subprocess.run(["ninja", "-C", BUILD, *arguments], check=True, text=True,
                          stdout=subprocess.PIPE).stdout


class Build:
    """The commands of the build, and the sources of each object."""

    def __init__(self):
        with open(BUILD / "compile_commands.json", encoding="utf-8") as file:
            self.commands = {re.search(r" -o (\S+)", entry["command"])[1]: entry
                             for entry in json.load(file)}
        self.sources = {}  # object: all files that it depends on
        for block in ninja("-t", "deps").split("\n\n"):
            output, *files = block.splitlines() or [""]
            self.sources[output.partition(":")[0]] = {
                os.path.normpath(BUILD / file.strip()) for file in files}

    def program(self, name):
        command = ninja("-t", "commands", "-s", f"bin/{name}").strip()
        words = shlex.split(command.partition("&& ")[2].rpartition(" && :")[0])
        return Program(name, words, self._members(words))

    @staticmethod
    def _members(words):
        """The objects that the linker takes from the project's libraries."""
        with tempfile.TemporaryDirectory() as folder:
            trial = list(words)
            trial[trial.index("-o") + 1] = f"{folder}/trial"
            _, output = run([*trial, "-Wl,-t,-t"], cwd=BUILD)
        taken = re.findall(r"^\(([^/\n][^\n]*)/lib([^/\n]*)\.a\)(\S+)$", output.decode(),
                           re.MULTILINE)
        return [f"{folder}/CMakeFiles/{library}.dir/{member}" for folder, library, member in taken]

    def affected(self, program, file):
        """The objects of a program that depend on a source."""
        return [each for each in program.objects() + program.members
                if str(TOP / file) in self.sources.get(each, ())]

    def product_objects(self, file):
        """All objects outside the tests that depend on a source."""
        return [output for output, files in self.sources.items() if output in self.commands
                and not output.startswith("tests/") and str(TOP / file) in files]

    def compile(self, output, overlay, result, optimised=False):
        """Compiles an object again; the file in overlay replaces the usual one."""
        entry = self.commands[output]
        words = shlex.split(entry["command"])
        if "ccache" in words[0]:
            words = words[1:]
        source = overlay / os.path.relpath(entry["file"], TOP)
        if source.exists():
            words[words.index(entry["file"])] = str(source)
        if source.exists() or optimised:
            words = [word for word in words if not re.fullmatch(r"-O\d|-g\d?", word)]
            words += ["-O2" if optimised else "-O0", "-g0", "-frandom-seed=0"]
        words[1:1] = [f"-I{overlay / 'include'}"]
        words[words.index("-o") + 1] = str(result)
        for option in ("-MF", "-MT"):
            if option in words:
                words[words.index(option) + 1] = str(result) + ".d"
        if run([*words, "-w"], cwd=entry["directory"])[0] != 0:
            raise NotBuilt


class Trial:
    """One planted fault: compiled, linked and tested in a separate folder."""

    def __init__(self, build, fault, text, folder):
        self.build = build
        self.fault = fault
        self.folder = Path(folder)
        self.objects = {}  # object of the build: the one with the fault
        self.overlay = self._overlay("planted", fault.planted(text))
        self.untouched = self._overlay("untouched", text)

    def _overlay(self, name, text):
        overlay = self.folder / name
        path = Path(self.fault.file)
        for file in (path, Path("include", path.parent.name, path.name)):
            (overlay / file).parent.mkdir(parents=True, exist_ok=True)
            (overlay / file).write_text(text, encoding="utf-8")
        return overlay

    def is_found_by(self, program):
        for output in self.build.affected(program, self.fault.file):
            if output not in self.objects:
                result = self.folder / f"{len(self.objects)}.o"
                self.build.compile(output, self.overlay, result)
                self.objects[output] = str(result)
        linked = self._link(program)
        status, _ = run(["prlimit", f"--as={MEMORY}", linked, "--gtest_fail_fast",
                         "--gtest_brief=1"], 10 + 5 * program.seconds, cwd=BUILD)
        end_all_of(linked)
        linked.unlink()
        return status != 0

    def _link(self, program):
        words = [self.objects.get(word, word) for word in program.link]
        place = words.index("-o")
        linked = self.folder / program.name
        words[place + 1] = str(linked)
        # Before the libraries: then the linker does not take their versions of these objects.
        words[place:place] = [self.objects[each] for each in program.members
                              if each in self.objects]
        if run([*words, "-fuse-ld=gold"], cwd=BUILD)[0] != 0:
            raise NotBuilt
        return linked

    def is_same_code(self):
        """Whether the product compiles to the same code with and without the fault."""
        outputs = self.build.product_objects(self.fault.file)
        return outputs != [] and all(
            self._optimised(each, self.overlay) == self._optimised(each, self.untouched)
            for each in outputs)

    def _optimised(self, output, overlay):
        result = self.folder / "optimised.o"
        self.build.compile(output, overlay, result, optimised=True)
        return result.read_bytes()


class Series:
    """The trials of one run of this program."""

    def __init__(self, build, options):
        self.build = build
        self.options = options
        self.texts = {file: (TOP / file).read_text(encoding="utf-8") for file in self._files()}
        self.tests = self._tests()
        self.mutex = threading.Lock()
        self.counts = Counter()
        self.reasons = read_reasons(REASONS.read_text(encoding="utf-8"))

    def _tests(self):
        """The test programs that may see a fault, by source."""
        core = self.build.program(CORE)
        in_core = {Path(each).name.partition(".")[0] for each in core.objects()}
        folders = {Path(file).parent for file in self.texts}
        programs = {folder: [core] if str(folder) in CORE_FOLDERS else [] for folder in folders}
        for folder in folders if not self.options.core else ():
            programs[folder] += [self.build.program(path.stem) for path in
                                 sorted((TOP / "tests/unit" / folder.name).glob("*_test.cpp"))
                                 if path.stem not in in_core]
        return {file: [each for each in programs[Path(file).parent]
                       if self.build.affected(each, file)] for file in self.texts}

    def _files(self):
        paths = []
        for part in self.options.parts:
            path = TOP / part
            paths += sorted(path.rglob("*")) if path.is_dir() else [path]
        return [str(path.relative_to(TOP)) for path in paths if path.suffix in (".cpp", ".h")]

    def sample(self):
        """All faults that the chosen unit tests could find, in random order. Changes of the sources
        hardly change this order."""
        faults, unseen = [], []
        for file, text in self.texts.items():
            found = faults_of(file, text)
            if self.tests[file]:
                faults += found
            elif found:
                unseen.append(file)
        if unseen:
            print("In none of the chosen unit tests, so without planted faults:", *unseen)
        return in_random_order(faults, self.options.seed)

    def measure(self, pool):
        """Measures how long the test programs take without a fault, and sorts them: the core's
        first, then the shortest."""
        programs = {each.name: each for tests in self.tests.values() for each in tests}
        for failure in pool.map(self.measure_program, programs.values()):
            if failure:
                sys.exit(failure)
        for tests in self.tests.values():
            tests.sort(key=lambda each: (each.name != CORE, each.seconds))

    @staticmethod
    def measure_program(program):
        start = time.monotonic()
        status, output = run([BUILD / "bin" / program.name, "--gtest_brief=1"], 300, cwd=BUILD)
        program.seconds = time.monotonic() - start
        return f"{program.name} fails without a fault:\n{output.decode()}" if status else None

    def try_fault(self, fault):
        with tempfile.TemporaryDirectory(prefix="beacond-mutation-") as folder:
            trial = Trial(self.build, fault, self.texts[fault.file], folder)
            outcome = self.outcome(trial)
        with self.mutex:
            self.report(fault, outcome)

    def outcome(self, trial):
        try:
            if any(trial.is_found_by(each) for each in self.tests[trial.fault.file]):
                return "found"
            return NO_FAULT if trial.is_same_code() else "not found"
        except NotBuilt:
            return NO_FAULT

    def report(self, fault, outcome):
        reason = self.reasons.get((fault.title(), fault.text))
        if outcome == "not found" and reason is not None:
            outcome = "not found, with a reason"
        self.counts[outcome] += 1
        if outcome == "not found":
            print(f"{fault.file}:{fault.line}\n{fault.title()}\n    {fault.text}\n", flush=True)
        done = sum(self.counts.values())
        if done % 50 == 0:
            print(f"({done} tried)", flush=True)

    def planted(self):
        return sum(self.counts.values()) - self.counts[NO_FAULT]

    def play(self):
        faults = self.sample()
        with ThreadPoolExecutor(self.options.jobs) as pool:
            self.measure(pool)
            try:
                while faults and (left := self.options.count - self.planted()) > 0:
                    list(pool.map(self.try_fault, faults[:left]))
                    del faults[:left]
            except KeyboardInterrupt:
                pool.shutdown(cancel_futures=True)
                print("interrupted")
        found, missed = self.counts["found"], self.counts["not found"]
        explained = self.counts["not found, with a reason"]
        total = found + missed + explained
        print(f"seed {self.options.seed}: {total} faults, {found} found, {explained} not found "
              f"for a reason that {REASONS.relative_to(TOP)} gives, {missed} not found")
        return missed == 0 and found * 100 >= total * LEAST_FOUND_PERCENT


def main():
    parser = argparse.ArgumentParser(prog="scripts/mutation.sh", description=__doc__)
    parser.add_argument("--seed", type=int, default=1, help="of the sample (1)")
    parser.add_argument("--count", type=int, default=300, help="how many faults (300)")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="how many at a time")
    parser.add_argument("--core", action="store_true",
                        help="only the protocol core's tests, which need no root")
    parser.add_argument("parts", nargs="*", default=["src"], metavar="FOLDER-OR-FILE",
                        help="where the faults are planted (src)")
    options = parser.parse_args()
    os.nice(10)
    sys.exit(0 if Series(Build(), options).play() else 1)


if __name__ == "__main__":
    main()
