"""The links of the documents, the licence, the maker's address, and the tests that CHANGELOG.md
names."""

import re
from pathlib import Path

from test_sources import tracked

TOP = Path(__file__).resolve().parents[2]
LINK = re.compile(r"\]\((?!https?:)([^)#]*)(?:#([^)]*))?\)")


def anchors(document):
    headings = re.findall(r"^#+ (.*)$", document.read_text(encoding="utf-8"), re.M)
    return {re.sub(r"[^a-z0-9 -]", "", heading.lower()).replace(" ", "-") for heading in headings}


def broken_links(document):
    for file, anchor in LINK.findall(document.read_text(encoding="utf-8")):
        target = (document.parent / file).resolve() if file else document
        if not target.exists() or anchor and anchor not in anchors(target):
            yield f"{document.name}: {file}#{anchor}"


def test_every_link_in_a_document_leads_somewhere():
    documents = [TOP / name for name in tracked("*.md")]
    assert TOP / "SECURITY.md" in documents
    assert [link for document in documents for link in broken_links(document)] == []


def test_a_link_that_leads_nowhere_is_found(tmp_path):
    document = tmp_path / "a.md"
    document.write_text("# Two words!\n[a](#two-words) [b](a.md#none) [c](no.md) [d](a.md)\n",
                        encoding="utf-8")
    assert list(broken_links(document)) == ["a.md: a.md#none", "a.md: no.md#"]


def test_every_request_to_report_a_fault_has_a_link_to_the_address():
    text = (TOP / "docs/operations.md").read_text(encoding="utf-8")
    assert text.count("report it") == text.count("[report it](../SECURITY.md#reporting)") > 0


def test_the_address_for_reports_is_that_of_the_packages():
    contact = re.search(r'CPACK_PACKAGE_CONTACT "(.*) <(.*)>"',
                        (TOP / "packaging/Packages.cmake").read_text(encoding="utf-8"))
    assert f"Write to {contact[1]}, <{contact[2]}>." in (TOP / "SECURITY.md").read_text(encoding="utf-8")


def test_the_licence_is_that_of_the_packages():
    licence = (TOP / "packaging/debian/copyright").read_text(encoding="utf-8")
    name = re.search(r"^Upstream-Name: (.*)$", licence, re.M)[1]
    holder, kind, terms = re.search(r"^Files: \*\nCopyright: (.*)\nLicense: (.*)\n (.*)$", licence,
                                    re.M).groups()
    assert (TOP / "LICENSE").read_text(encoding="utf-8") == \
        f"{name}\n\nCopyright {holder}\n\nLicense: {kind}\n{terms}\n"


NAMED_TEST = re.compile(r"`(test_\w+|[A-Z]\w*\.[A-Z]\w*)`")
DEFINED_TEST = re.compile(r"^def (test_\w+)|^TEST(?:_[FP])?\((\w+),\s*(\w+)\)", re.M)


def defined_tests():
    for path in (TOP / "tests").rglob("*test*.*"):
        if path.suffix in (".py", ".cpp"):
            for name, suite, case in DEFINED_TEST.findall(path.read_text(encoding="utf-8")):
                yield name or f"{suite}.{case}"


def test_each_test_that_the_changelog_names_exists():
    named = set(NAMED_TEST.findall((TOP / "CHANGELOG.md").read_text(encoding="utf-8")))
    assert len(named) > 100
    assert named - set(defined_tests()) == set()
