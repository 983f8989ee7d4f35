"""The layout and the length of the sources. .clang-tidy limits the length of functions."""

import subprocess
from pathlib import Path

TOP = Path(__file__).resolve().parents[2]
MAX_LINES = 400


def tracked(*patterns):
    return subprocess.run(["git", "ls-files", "-z", "--", *patterns], cwd=TOP, check=True,
                          stdout=subprocess.PIPE, text=True).stdout.split("\0")[:-1]


def too_long(top, files):
    lengths = {file: len((top / file).read_text(encoding="utf-8").splitlines()) for file in files}
    return [f"{file}: {length} lines" for file, length in lengths.items() if length > MAX_LINES]


def test_cpp_files_have_the_layout_of_clang_format():
    files = tracked("*.cpp", "*.h")
    assert files
    # Debian 12 and 13 both have this version. Others lay out some lines differently.
    result = subprocess.run(["clang-format-19", "--dry-run", "-Werror", *files], cwd=TOP,
                            stderr=subprocess.PIPE, text=True)
    assert (result.returncode, result.stderr) == (0, "")


def test_sources_have_at_most_400_lines():
    assert too_long(TOP, tracked("src", "platform", "tools")) == []


def test_a_file_of_401_lines_is_found(tmp_path):
    (tmp_path / "short.cpp").write_text("\n" * 400, encoding="utf-8")
    (tmp_path / "long.cpp").write_text("\n" * 401, encoding="utf-8")
    assert too_long(tmp_path, ["short.cpp", "long.cpp"]) == ["long.cpp: 401 lines"]
