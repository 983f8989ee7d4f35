"""Each block of README.md and docs/operations.md is taken by a test, or called an example."""

import ast
import re
import sys
from pathlib import Path

import pytest

TOP = Path(__file__).resolve().parents[2]
sys.path.append(str(TOP / "tests/support"))

import documented  # noqa: E402

DOCUMENTS = ["README.md", "docs/operations.md"]


def requests(source):
    """The arguments of all calls of documented.block in a Python source."""
    for node in ast.walk(ast.parse(source)):
        if isinstance(node, ast.Call) and getattr(node.func, "id", None) == "block":
            yield tuple(ast.literal_eval(argument) for argument in node.args)


def requested(document):
    """The beginnings of the blocks of a document that tests take from it."""
    sources = [path.read_text(encoding="utf-8") for path in (TOP / "tests").rglob("test_*.py")]
    found = {request for source in sources for request in requests(source)}
    return tuple(beginning for where, beginning in found if where == document)


def untested(text, beginnings):
    """The blocks that no test requests, and that the text before them does not call an example."""
    return [block for before, block in documented.blocks(text)
            if not block.startswith(beginnings) and not re.search(r"\bAn example\b[^.]*:$", before)]


@pytest.mark.parametrize("document", DOCUMENTS)
def test_each_block_is_taken_by_a_test_or_called_an_example(document):
    text = (TOP / document).read_text(encoding="utf-8")
    assert untested(text, requested(document)) == []


SOURCE = '''
from documented import block
INSTALL = block("README.md", "apt install")
'''

TEXT = """\
Run:

    apt install one
    # and then

    beaconctl nodes

1. Further:

       echo two

   An example of its output:

       two

```
three

four
```
An example in another paragraph:

Not an example, but 10-net0.link.example:

```
five
```
"""


def test_a_block_without_a_test_is_found():
    beginnings = tuple(beginning for _, beginning in requests(SOURCE))
    assert beginnings == ("apt install",)
    assert untested(TEXT, beginnings) == ["echo two\n", "three\n\nfour\n", "five\n"]
    assert untested(TEXT, ("echo",)) == ["apt install one\n# and then\n\nbeaconctl nodes\n",
                                         "three\n\nfour\n", "five\n"]


def test_a_test_cannot_request_a_block_that_is_missing_or_ambiguous():
    for beginning in ("no such block", "apt install -y"):
        with pytest.raises(AssertionError):
            documented.block("README.md", beginning)
