"""Includes go in one direction only, and the check finds each violation."""

from graphlib import TopologicalSorter
from pathlib import Path

import pytest

from includes import MAY_INCLUDE, sources, violations, without_integers

TOP = Path(__file__).resolve().parents[2]


def test_every_include_is_allowed():
    assert violations(TOP) == []


def test_every_folder_with_sources_has_its_row_in_the_table():
    assert {path.parent.name for path in sources(TOP)} == set(MAY_INCLUDE)


def test_the_table_allows_no_cycle():
    TopologicalSorter({folder: {allowed.partition("/")[0] for allowed in row}
                       for folder, row in MAY_INCLUDE.items()}).prepare()


def found_in(top, file, include):
    path = top / file
    path.parent.mkdir(parents=True)
    path.write_text(f"#pragma once\n\n#include {include}\n", encoding="utf-8")
    return violations(top)


@pytest.mark.parametrize("file, include", [
    ("src/ssdp/usn.cpp", '"ssdp/usn.h"'),
    ("src/ssdp/usn.cpp", '"vexbase/vex_lock.h"'),
    ("src/browser/vex_browser.cpp", '"ssdp/vex_ssdp.h"'),
    ("src/mdns/mdns.h", "<QObject>"),
    ("src/mdns/avahi_qt_poll.cpp", '"moc_avahi_qt_poll.cpp"'),
    ("src/mdns/mdns.h", "<sys/socket.h>"),
    ("tools/configd/api.cpp", '"vexbase/vex_lock.h"')])
def test_includes_of_the_table_and_of_the_system_pass(tmp_path, file, include):
    assert found_in(tmp_path, file, include) == []


@pytest.mark.parametrize("file, include, violation", [
    ("src/ssdp/usn.cpp", '"pubsub/config_map.h"', "ssdp may not include pubsub/config_map.h"),
    ("src/ssdp/usn.cpp", "<pubsub/config_map.h>", "ssdp may not include pubsub/config_map.h"),
    ("src/ssdp/usn.cpp", '"usn.h"', "ssdp may not include usn.h"),
    ("src/ssdp/usn.cpp", '"../mdns/mdns.h"', "ssdp may not include ../mdns/mdns.h"),
    ("src/browser/vex_browser.cpp", '"ssdp/device_registry.h"',
     "browser may not include ssdp/device_registry.h"),
    ("platform/vexbase/vex_lock.h", '"ssdp/usn.h"', "vexbase may not include ssdp/usn.h"),
    ("tools/configd/api.cpp", '"product/product_id.h"',
     "configd may not include product/product_id.h"),
    ("src/strange/strange.cpp", '"vexbase/vex_lock.h"',
     "strange may not include vexbase/vex_lock.h")])
def test_an_include_that_the_table_lacks_is_found(tmp_path, file, include, violation):
    assert found_in(tmp_path, file, include) == [f"{file}:3: {violation}"]


def test_each_source_with_sized_integers_includes_their_header():
    assert without_integers(TOP) == []


def test_a_source_that_relies_on_other_standard_headers_is_found(tmp_path):
    folder = tmp_path / "src/formats"
    folder.mkdir(parents=True)
    for name, text in {"with.h": "#include <cstdint>\nstd::uint8_t a;\n",
                       "through.cpp": '#include "formats/with.h"\nstd::uint64_t b;\n',
                       "without.cpp": "#include <string>\nstd::int32_t c;\n"}.items():
        (folder / name).write_text(text, encoding="utf-8")
    assert without_integers(tmp_path) == ["src/formats/without.cpp"]
