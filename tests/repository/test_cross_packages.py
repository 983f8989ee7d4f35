"""Packages of a cross build have the architecture of the target."""

import subprocess
from pathlib import Path

import pytest

TOP = Path(__file__).resolve().parents[2]


@pytest.mark.parametrize("target, architecture", [("aarch64-linux-gnu", "arm64"),
                                                  ("arm-linux-gnueabihf", "armhf")])
def test_the_packages_architecture_is_that_of_the_target(tmp_path, target, architecture):
    subprocess.run(["cmake", "-D", "CMAKE_CROSSCOMPILING=ON",
                    "-D", f"CMAKE_LIBRARY_ARCHITECTURE={target}",
                    "-P", TOP / "packaging/Packages.cmake"], cwd=tmp_path, check=True)
    settings = (tmp_path / "CPackConfig.cmake").read_text(encoding="utf-8")
    assert f'set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE "{architecture}")' in settings.splitlines()
