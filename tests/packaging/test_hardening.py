"""The hardening flags: their traces in the programs, and the compile commands."""

import json
import platform
import re
import subprocess

import pytest

from conftest import TOP

PROGRAMS = ["beacond", "beacon-configd", "beaconctl"]
FLAGS = ["-D_FORTIFY_SOURCE=3", "-fstack-protector-strong",
         "-fstack-clash-protection", "-Wformat-security", "-Werror"]
PAGE = 4096  # bytes: the guard below the stack of a thread

only_on_amd64 = pytest.mark.skipif(platform.machine() != "x86_64",
                                   reason="amd64's instructions; see tests/minimal/run for arm64's")


@pytest.fixture(params=PROGRAMS)
def program(request, unpacked):
    return unpacked / "usr/bin" / request.param


def shown(*command):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True,
                          env={"LC_ALL": "C", "PATH": "/usr/bin"}).stdout


def code(program):
    return shown("objdump", "--disassemble", "--no-show-raw-insn", program)


def test_is_loaded_at_a_random_address(program):
    assert "DYN (Position-Independent Executable file)" in shown("readelf", "--file-header", program)


def test_has_read_only_function_tables(program):
    assert "GNU_RELRO" in shown("readelf", "--segments", "--wide", program)
    dynamic = shown("readelf", "--dynamic", "--wide", program)
    assert re.search(r"\(FLAGS\) +BIND_NOW\n", dynamic)
    assert re.search(r"\(FLAGS_1\) +Flags: NOW PIE\n", dynamic)
    assert not re.search(r"TEXTREL|RPATH|RUNPATH", dynamic)


def test_has_a_stack_that_is_not_executable(program):
    assert re.search(r"GNU_STACK .* RW  ", shown("readelf", "--segments", "--wide", program))


def test_checks_for_overflows_of_the_stack_and_of_buffers(program):
    needed = shown("nm", "--dynamic", "--undefined-only", program)
    assert "__stack_chk_fail@" in needed
    assert re.search(r" __\w+_chk@", needed)


@only_on_amd64
def test_touches_each_page_of_a_large_frame(program):
    sizes = [int(size, 16) for size in re.findall(r"sub +\$0x([0-9a-f]{1,8}),%rsp", code(program))]
    assert 0 < max(sizes) <= PAGE


@only_on_amd64
def test_marks_the_targets_of_indirect_calls(program):
    # Without the compiler's option there are two, in its start-up code.
    assert code(program).count("endbr64") > 100


@pytest.mark.parametrize("flag", FLAGS)
def test_every_file_is_compiled_with(build, flag):
    commands = json.loads((build / "compile_commands.json").read_text())
    own = [each for each in commands
           if each["file"].startswith(tuple(f"{TOP}/{folder}/" for folder in ("src", "platform",
                                                                              "tools")))]
    assert len(own) > 50
    assert [each["file"] for each in own if flag not in each["command"].split()] == []
