"""docs/operations.md explains every line that the programs write."""

import re

from conftest import TOP

CALLS = ("WriteFault", "WriteProgress", "WriteError", "ReportFault", "fprintf", "EndProcess",
         "report", "lose", "Require", "Throw", "Failure", "Because", "system_error", "WrongUsage")
STATEMENT = re.compile(
    rf"\b(?P<call>{'|'.join(CALLS)})\s*\((?P<arguments>[^;]*);"
    r"|std::c(?:out|err)\s*<<([^;]*);"
    r"|\bBoundReport\s+\w+\{([^}]*)\};"
    r"|\bm(?:Responses|Requests)\{\{([^;{}]*)\}"
    r"|\b(?:m_fault|error|notice)\s*=(?!=)([^;]*);|\bdropped\.\w+\(([^;]*);")
LITERAL = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
# Headings of listings that are written only if somebody calls their functions in a debugger.
NOT_WRITTEN = {"DisplayHostElements", "DisplayNodeElements"}


def joined_literals(call, text):
    """The string literals of a text; adjacent ones are joined."""
    between = r"[\s,]*" if call in ("WriteFault", "WriteProgress", "ReportFault") else r"\s*"
    joined, end = [], -1
    for literal in LITERAL.finditer(text.replace("'\"'", "")):
        if joined and re.fullmatch(between, text[end:literal.start()]):
            joined[-1] += literal[1]
        else:
            joined.append(literal[1])
        end = literal.end()
    return joined


def fixed_texts(source):
    """The constant parts of the lines that this source writes."""
    for found in STATEMENT.finditer(source):
        arguments = next((group for group in found.groups()[1:] if group), "")
        for literal in joined_literals(found["call"], arguments):
            text = literal.replace('\\"', '"').replace("\\n", "\n")
            for piece in re.split(r"%[a-z]|\n", text):
                if re.search("[A-Za-z]{3}", piece) and piece not in NOT_WRITTEN:
                    yield " ".join(piece.split())


def written():
    sources = [file for folder in ("src", "platform", "tools/configd", "tools/beaconctl")
               for file in (TOP / folder).rglob("*") if file.suffix in (".cpp", ".h")]
    return {text for file in sources for text in fixed_texts(file.read_text())}


def test_the_lines_are_found_in_the_sources():
    texts = written()
    assert {"PubSub started", "SSDPThread: Exiting...", "Service name collision, renaming service to '",
            "WriteJSONFileCould not open \"", "stream lost:", "devices", "delayed requests",
            "beacon-configd: listening on 127.0.0.1:", "cannot read",
            ": Too many", ", dropping what comes more",
            "run 'beaconctl status' on that device to find the cause"} <= texts
    assert len(texts) > 60


def test_every_line_is_explained():
    document = " ".join((TOP / "docs/operations.md").read_text().split())
    assert [text for text in sorted(written()) if text not in document] == []
