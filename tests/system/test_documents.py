"""What the documents say of the sources and of the tests."""

import re
from pathlib import Path

import pytest

TOP = Path(__file__).resolve().parents[2]


def unit_tests():
    """Names as the documents write them: Suite.Name."""
    sources = "".join(path.read_text(encoding="utf-8")
                      for path in (TOP / "tests/unit").rglob("*_test.cpp"))
    return {".".join(name) for name in re.findall(r"^TEST(?:_[FP])?\((\w+),\s*(\w+)\)", sources, re.M)}


def constants():
    """The tunables of the sources by name."""
    values = {}
    for path in ("src/ssdp/ssdp_protocol.h", "platform/wsconfig/watch_policy.h"):
        text = (TOP / path).read_text(encoding="utf-8")
        for name, value in re.findall(r"^constexpr [\w:]+ (k\w+) = ([\w\s*+()]+);", text, re.M):
            values[name] = eval(value, {}, values)  # sums and products of each other
    return values


def unit_memory():
    unit = (TOP / "packaging/systemd/beacond.service").read_text(encoding="utf-8")
    return int(re.search(r"^MemoryMax=(\d+)M$", unit, re.M)[1]) * 1_000_000


def written(figure, in_megabytes):
    """A figure as the table writes it."""
    if in_megabytes:
        return f"{round(figure / 1e6, 1):g} MB"
    return f"{figure:,}" if figure >= 10_000 else str(figure)


def bounds():
    """The rows of the table of bounds: what is bounded, and the tests named for it."""
    text = (TOP / "docs/security.md").read_text(encoding="utf-8")
    table = text.split("## Bounds\n\n")[1].split("\n\n")[0].splitlines()[2:]
    rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in table]
    return [(row[0], row[1], row[3]) for row in rows]


FIGURES = {
    "a datagram read": ["kReceiveSize"],
    "devices heard (`NodeList`)": ["kMaxHeardNodes"],
    "texts of all devices known": ["kMaxHeardBytes"],
    "delayed requests": ["kMaxDelayedRequests", "kMaxDelayedRequestBytes"],
    "delayed responses": ["kMaxDelayedResponses", "kMaxDelayedResponseBytes"],
    "a served document": ["kMaxDatagram"],
    "a diagnostic listing": ["kMaxDatagram"],
    "max-age": ["kLargestMaxAge"],
    "the socket's receive buffer": ["kReceiveBuffer"],
    "the socket's send buffer": ["kSparedByRequests", "kSparedByAnswers"],
    "the configuration service's header": ["kMaxHeaderBytes"],
    "one configuration event": ["kMaxEventBytes"],
    "configuration read in one turn": ["kMaxBodyPieceBytes"],
}


@pytest.mark.parametrize("what, bound, _", bounds())
def test_every_bound_has_the_figure_that_the_sources_have(what, bound, _):
    figures = [constants()[name] for name in FIGURES[what]] if what in FIGURES else [unit_memory()]
    in_numbers = re.findall(r"\d+(?:[.,]\d+)*(?: MB)?", bound)
    assert in_numbers == [written(figure, "MB" in text) for figure, text in
                          zip(figures, in_numbers, strict=True)]


@pytest.mark.parametrize("what, _, shown_by", bounds())
def test_every_bound_is_shown_by_a_test_that_exists(what, _, shown_by):
    if shown_by == "the same":
        return
    names = re.findall(r"`([^`]+)`", shown_by)
    assert names, f"no test named for {what}"
    for name in names:
        assert name in unit_tests() or (TOP / "tests/system" / name).is_file(), name
