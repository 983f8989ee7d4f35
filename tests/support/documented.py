"""The blocks of commands, configuration and output in the documents.

Tests that run a block get its text from the document, by `block`. Therefore
tests/repository/test_blocks.py finds the blocks of README.md and docs/operations.md that no
test runs.
"""

import re
import textwrap
from pathlib import Path

TOP = Path(__file__).resolve().parents[2]
# Between fences, or indented by four or more spaces after an empty line.
BLOCK = re.compile(r"^```[^\n]*\n(?P<fenced>(?:.*\n)*?)```$|(?<=\n\n)(?P<indented>(?: {4}.*\n|\n(?= {4}))+)",
                   re.M)


def blocks(text):
    """For each block of a document's text: the paragraph before it, and the block."""
    for found in BLOCK.finditer(text):
        before = text[:found.start()].rstrip("\n").rpartition("\n\n")[2]
        yield before, found["fenced"] or textwrap.dedent(found["indented"])


def block(document, beginning):
    """The only block of a document that begins with this text."""
    text = (TOP / document).read_text(encoding="utf-8")
    found = [each for _, each in blocks(text) if each.startswith(beginning)]
    assert len(found) == 1, f"{document}: {len(found)} blocks begin with {beginning!r}"
    return found[0]
