"""The kinds of faults that scripts/mutation.sh plants, and the faults explained in unseen.txt."""

import os
import sys
from pathlib import Path

import pytest

TOP = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TOP / "tests/mutation"))

from faults import faults_of  # noqa: E402
from mutation import in_random_order, run  # noqa: E402
from reasons import read_reasons  # noqa: E402


def planted(text):
    source = f"void F()\n{{\n    {text}\n}}\n"
    return [fault.planted(source)[len("void F()\n{\n    "):-len("\n}\n")]
            for fault in faults_of("f.cpp", source)]


@pytest.mark.parametrize("text, faults", [
    ("return a < b;", ["return a <= b;"]),
    ("return a == b || c;", ["return a != b || c;", "return a == b && c;"]),
    ("return a + b;", ["return a - b;"]),
    ("return a[i++];", ["return a[i--];"]),
    ("return !a;", ["return a;"]),
    ("return 1'000U;", ["return (1'000U + 1);"]),
    ("return true;", ["return false;"]),
    ('return "a\\"b";', ['return "~a\\"b";']),
    ("return '\\'';", ["return '~';"]),
    ("while (IsOpen()) {}", ["while (!(IsOpen())) {}"]),
    ("if (auto x = F(); x.Has()) {}", ["if (auto x = F(); !(x.Has())) {}"]),
    ("mList.erase(F(a, b));", [";"]),
    ("static_cast<void>(F());", [";"]),
    ("if (a)\n        F();", ["if (!(a))\n        F();", "if (a)\n        ;"]),
    ("case kA:\n        F();", ["case kA:\n        ;"]),
    ("mA = b;", [";"]),
    ("*out++ = c;", [";", "*out-- = c;"])])
def test_each_kind_of_fault_is_planted(text, faults):
    assert planted(text) == faults


@pytest.mark.parametrize("text", [
    "const std::vector<int> a = F();",
    "Type &a = F();",
    "Type a(b);",
    "F(const A &a, B &&b);",
    "// a < 1",
    "/* a == b */",
    "#include \"a.h\"",
    "A() = default;",
    "if (const auto a = F()) {}",
    "return a * b;"])
def test_declarations_comments_and_templates_are_left_alone(text):
    # One of these declarations looks like a call; the fault ";", which drops it, is accepted.
    assert [fault for fault in planted(text) if fault != ";"] == []


def test_a_changed_comparison_is_not_planted_twice():
    assert planted("if (a == b) {}") == ["if (a != b) {}"]


def test_a_reason_is_read_with_its_fault():
    assert read_reasons("## heading\n\nsrc/a.cpp: constant: 1 becomes (1 + 1)\n    int a = 1;\n"
                        "Nobody\nreads it.\n") == {
        ("src/a.cpp: constant: 1 becomes (1 + 1)", "int a = 1;"): "Nobody reads it."}


def test_every_fault_with_a_reason_can_still_be_planted():
    reasons = read_reasons((TOP / "tests/mutation/unseen.txt").read_text(encoding="utf-8"))
    files = {title.partition(":")[0] for title, _ in reasons}
    exist = {(fault.title(), fault.text) for file in files
             for fault in faults_of(file, (TOP / file).read_text(encoding="utf-8"))}
    assert set(reasons) - exist == set()
    assert all(reasons.values())


def titles_in_random_order(seed, text):
    return [(fault.title(), fault.text)
            for fault in in_random_order(faults_of("f.cpp", text), seed)]


def test_a_change_of_the_sources_keeps_the_order_of_all_other_faults():
    text = "".join(f"    int a{number} = {number} + F();\n    a++;\n" for number in range(20))
    changed = "    int b = 3 - G();\n" + text
    before = titles_in_random_order(1, text)
    after = titles_in_random_order(1, changed)
    assert before != [(fault.title(), fault.text) for fault in faults_of("f.cpp", text)]
    assert [each for each in after if "b = 3" not in each[1]] == before
    assert len(after) > len(before)


def test_another_seed_is_another_order():
    text = "".join(f"    int a{number} = {number} + F();\n" for number in range(20))
    assert sorted(titles_in_random_order(1, text)) == sorted(titles_in_random_order(2, text))
    assert titles_in_random_order(1, text) != titles_in_random_order(2, text)


def test_a_program_is_not_awaited_if_it_left_its_process_group(tmp_path):
    end = tmp_path / "end"
    status, output = run(
        ["sh", "-c", f"setsid sh -c 'echo $$; sleep 60; touch {end}' & sleep 90"], 5)
    os.killpg(int(output), 9)
    assert status == -1
    assert not end.exists()
