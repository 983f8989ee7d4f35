"""cmake/Qt.cmake chooses the version of Qt. CMake finds only fake packages of Qt here."""

import subprocess
from pathlib import Path

import pytest

TOP = Path(__file__).resolve().parents[2]
PROJECT = f"""\
cmake_minimum_required(VERSION 3.25)
project(choice NONE)
set(CMAKE_FIND_USE_CMAKE_SYSTEM_PATH OFF)
set(CMAKE_FIND_USE_SYSTEM_ENVIRONMENT_PATH OFF)
include({TOP}/cmake/Qt.cmake)
"""
VERSION = """\
set(PACKAGE_VERSION {})
if(NOT PACKAGE_FIND_VERSION VERSION_GREATER PACKAGE_VERSION)
    set(PACKAGE_VERSION_COMPATIBLE TRUE)
endif()
"""


@pytest.fixture
def configure(tmp_path):
    """Configures with fake packages of the versions `installed`; returns status and output."""
    def configure(installed, *options):
        (tmp_path / "CMakeLists.txt").write_text(PROJECT, encoding="utf-8")
        for version in installed:
            qt = f"Qt{version[0]}"
            folder = tmp_path / "lib/cmake" / qt
            folder.mkdir(parents=True)
            (folder / f"{qt}Config.cmake").write_text("add_library(Qt::Core INTERFACE IMPORTED)\n")
            (folder / f"{qt}ConfigVersion.cmake").write_text(VERSION.format(version))
        result = subprocess.run(
            ["cmake", "-G", "Ninja", "-S", tmp_path, "-B", tmp_path / "build",
             f"-DCMAKE_PREFIX_PATH={tmp_path}", *options],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        return result.returncode, " ".join(result.stdout.split())
    return configure


@pytest.mark.parametrize("installed, options, wanted", [
    (["5.15.2", "6.4.2"], [], "Qt5 5.15.2"),
    (["5.15.2"], [], "Qt5 5.15.2"),
    (["6.8.2"], [], "Qt6 6.8.2"),
    (["5.12.8", "6.4.2"], [], "Qt6 6.4.2"),
    (["5.15.2", "6.4.2"], ["-DBEACOND_QT=6"], "Qt6 6.4.2"),
    (["5.15.2", "6.4.2"], ["-DBEACOND_QT=6;5"], "Qt6 6.4.2"),
])
def test_qt_5_is_preferred_unless_another_order_is_asked_for(configure, installed, options, wanted):
    status, output = configure(installed, *options)
    assert (status, f"-- Building with {wanted} " in output) == (0, True), output


@pytest.mark.parametrize("installed, options, asked", [
    ([], [], "5;6"),
    (["5.12.8", "6.2.4"], [], "5;6"),
    (["5.15.2"], ["-DBEACOND_QT=6"], "6"),
    (["5.15.2", "6.4.2"], ["-DBEACOND_QT=4"], "4"),
])
def test_without_a_fitting_qt_the_error_names_the_packages(configure, installed, options, asked):
    status, output = configure(installed, *options)
    assert (status, f"Found no Qt of the versions in BEACOND_QT ({asked}). beacond needs Qt 5.15 "
            "(Debian: qtbase5-dev) or Qt 6.4 or later (qt6-base-dev)." in output) == (1, True), output
