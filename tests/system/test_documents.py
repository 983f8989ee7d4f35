"""The documents agree with the sources, with the tests, and with the devices' messages."""

import re
from pathlib import Path
from types import SimpleNamespace

import pytest
import yaml

import expected

TOP = Path(__file__).resolve().parents[2]


def unit_tests():
    """The names of unit tests in the notation of the documents: Suite.Name."""
    sources = "".join(path.read_text(encoding="utf-8")
                      for path in (TOP / "tests/unit").rglob("*_test.cpp"))
    return {".".join(name) for name in re.findall(r"^TEST(?:_[FP])?\((\w+),\s*(\w+)\)", sources, re.M)}


def constants():
    """The constants in the sources, by name."""
    values = {}
    for path in ("src/formats/ssdp_protocol.h", "src/ssdp/ssdp_tunables.h",
                 "platform/wsconfig/watch_policy.h"):
        text = (TOP / path).read_text(encoding="utf-8")
        for name, value in re.findall(r"^constexpr [\w:]+ (k\w+) = ([\w\s*+()<:]+);", text, re.M):
            value = re.sub(r"formats::|(?<=\d)U\b", "", value)
            values[name] = eval(value, {}, values)  # sums and products of each other
    return values


def unit_memory():
    unit = (TOP / "packaging/systemd/beacond.service").read_text(encoding="utf-8")
    return int(re.search(r"^MemoryMax=(\d+)M$", unit, re.M)[1]) * 1_000_000


def written(figure, in_megabytes):
    """A figure in the notation of the table."""
    if in_megabytes:
        return f"{round(figure / 1e6, 1):g} MB"
    return f"{figure:,}" if figure >= 10_000 else str(figure)


def bounds():
    """The rows of the table of bounds: container, bound, and tests."""
    text = (TOP / "docs/security.md").read_text(encoding="utf-8")
    table = text.split("## Bounds\n\n")[1].split("\n\n")[0].splitlines()[2:]
    rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in table]
    return [(row[0], row[1], row[3]) for row in rows]


FIGURES = {
    "a datagram read": ["kReceiveSize"],
    "devices from the network (`NodeList`)": ["kMaxDiscoveredNodes"],
    "all known devices, as the browse list writes them": ["kMaxKnownBytes"],
    "announcements that are recognised (`KnownAlives`)": ["kMaxKnownAliveBytes"],
    "delayed requests": ["kMaxDelayedRequests", "kBytesOfPlace"],
    "delayed responses": ["kMaxDelayedResponses", "kBytesOfPlace"],
    "diagnostic answers": ["kDiagnosticBurstBytes", "kDiagnosticBytesPerSecond"],
    "answers to other subnets": ["kOffLinkBurstBytes", "kOffLinkBytesPerSecond"],
    "a served document": ["kMaxDatagram"],
    "a diagnostic listing": ["kMaxDatagram"],
    "max-age": ["kLargestMaxAge"],
    "the socket's receive buffer": ["kReceiveBufferBytes"],
    "the socket's send buffer": ["kSparedByRequests", "kSparedByAnswers"],
    "the configuration service's header": ["kMaxHeaderBytes"],
    "one configuration event": ["kMaxEventBytes"],
    "configuration read in one turn": ["kMaxBodyPieceBytes"],
}


@pytest.mark.parametrize("what, bound, _", bounds())
def test_every_bound_has_the_figure_of_the_sources(what, bound, _):
    figures = [constants()[name] for name in FIGURES[what]] if what in FIGURES else [unit_memory()]
    in_numbers = re.findall(r"\d+(?:[.,]\d+)*(?: MB)?", bound)
    assert in_numbers == [written(figure, "MB" in text) for figure, text in
                          zip(figures, in_numbers, strict=True)]


@pytest.mark.parametrize("what, _, shown_by", bounds())
def test_every_bound_names_an_existing_test(what, _, shown_by):
    if shown_by == "the same":
        return
    names = re.findall(r"`([^`]+)`", shown_by)
    assert names, f"no test named for {what}"
    for name in names:
        assert name in unit_tests() or (TOP / "tests/system" / name).is_file(), name


def attacks():
    """The rows of the table of attacks: attack and test."""
    text = (TOP / "docs/security.md").read_text(encoding="utf-8")
    table = text.split("## Attacks\n")[1].split("\n\n")[1].splitlines()[2:]
    rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in table]
    return [(row[0], row[-1].strip("`")) for row in rows]


@pytest.mark.parametrize("what, test", attacks())
def test_every_attack_names_an_existing_test(what, test):
    sources = "".join(path.read_text(encoding="utf-8")
                      for path in (TOP / "tests/system").glob("test_*.py"))
    assert f"\ndef {test}(" in sources, what


@pytest.mark.parametrize("document", ["CHANGELOG.md", "docs/architecture.md", "docs/embedded.md",
                                      "docs/security.md"])
def test_every_test_named_in_a_document_exists(document):
    text = (TOP / document).read_text(encoding="utf-8")
    python = "".join(path.read_text(encoding="utf-8")
                     for path in (TOP / "tests").rglob("test_*.py"))
    in_python = set(re.findall(r"^def (test_\w+)", python, re.M))
    named = set(re.findall(r"`([A-Z]\w+\.[A-Z]\w+|test_\w+|tests/[\w./-]+)`", text))
    assert named
    assert {name for name in named - unit_tests() - in_python
            if not (name.startswith("tests/") and (TOP / name).exists())} == set()


def test_every_test_that_the_emulator_leaves_out_exists():
    listed = (TOP / "tests/unit/emulation.cmake").read_text(encoding="utf-8")
    named = set(re.findall(r"^ +([A-Z]\w+\.[A-Z]\w+)", listed, re.M))
    assert named and named - unit_tests() == set()


def example_device(name, address, product):
    return SimpleNamespace(name=name, address=address, product=expected.PRODUCTS[product])


STUDIO_A = example_device("studio-a", "192.0.2.10", "corvia12")
STUDIO_B = example_device("studio-b", "192.0.2.11", "lumenplus")


def get_request(device):
    return (f"GET {expected.location(device)} HTTP/1.1\r\n"
            f"HOST:{device.address}:1900\r\n\r\n").encode()


def protocol_examples():
    """The code blocks of docs/protocol.md."""
    text = (TOP / "docs/protocol.md").read_text(encoding="utf-8")
    return re.findall(r"^```\w*\n(.*?)^```$", text, re.M | re.S)


def test_the_messages_in_the_protocol_document_are_those_of_devices():
    messages = [block.replace("\n", "\r\n").encode() for block in protocol_examples()[:5]]
    assert messages == [expected.alive(STUDIO_A, 124), expected.goodbye(STUDIO_A), expected.SEARCH,
                        expected.search_response(STUDIO_A, 124), get_request(STUDIO_A)]


def test_the_files_in_the_protocol_document_are_those_of_devices():
    answer, document, entry, browse_list = protocol_examples()[5:9]
    head, _, _ = answer.partition("<?xml")
    served = expected.served(expected.document(STUDIO_A))
    assert head.replace("\n", "\r\n").encode() == served[:served.index(b"<?xml")]
    assert document == expected.document(STUDIO_A)
    assert entry.encode() == expected.listing("", STUDIO_A)
    assert browse_list == expected.browse_json(STUDIO_A) + "\n"


def test_the_sizes_in_the_example_capture_are_those_of_the_messages():
    a, b = STUDIO_A, STUDIO_B
    messages = [(b, expected.SEARCH), (a, expected.search_response(a, 124)),
                (b, expected.alive(b, 124)), (a, get_request(b)), (b, get_request(a)),
                (b, expected.served(expected.document(b))),
                (a, expected.served(expected.document(a))), (a, expected.alive(a, 124))]
    shown = re.findall(r"^ *[\d.]+  (\S+) -> \S+ +(\d+)  ", protocol_examples()[-1], re.M)
    assert shown == [(sender.address, str(len(data))) for sender, data in messages]


def plain(path):
    """A document's words, without its line breaks."""
    return " ".join((TOP / path).read_text(encoding="utf-8").split())


def test_both_documents_give_the_rule_for_names_of_the_sources():
    source = (TOP / "tools/configd/name.h").read_text(encoding="utf-8")
    rule = re.search(r'kNameRule =\s*"(.*)";', source)[1].replace('\\"', '"')
    assert rule in plain("docs/configuration-service.yaml")
    assert rule in plain("packaging/man/beacon-configd.8")


def referred(part):
    """All references in a part of an OpenAPI document."""
    if isinstance(part, dict):
        return {part["$ref"]} if "$ref" in part else set().union(*map(referred, part.values()))
    return set().union(*map(referred, part)) if isinstance(part, list) else set()


def test_the_openapi_document_can_be_read_and_defines_all_that_it_refers_to():
    text = (TOP / "docs/configuration-service.yaml").read_text(encoding="utf-8")
    document = yaml.safe_load(text)
    defined = {f"#/components/{kind}/{name}" for kind, members in document["components"].items()
               for name in members}
    assert referred(document) == defined


def configd_bounds():
    """The rows of the table of bounds of beacon-configd: what is bounded, and the tests."""
    text = (TOP / "docs/security.md").read_text(encoding="utf-8")
    section = text.split("## beacon-configd\n")[1].split("\n## ")[0]
    table = [line for line in section.splitlines() if line.startswith("|")][2:]
    rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in table]
    return [(row[0], row[-1]) for row in rows]


@pytest.mark.parametrize("what, shown_by", configd_bounds())
def test_every_bound_of_the_configuration_service_names_an_existing_test(what, shown_by):
    names = re.findall(r"`([^`]+)`", shown_by)
    assert names, f"no test named for {what}"
    for name in names:
        assert name in unit_tests() or (TOP / "tests/packaging" / name).is_file(), name
