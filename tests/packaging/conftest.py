"""The Debian packages: as files, and on machines with their own Debian."""

import os
import subprocess
import sys
from pathlib import Path

import pytest

TOP = Path(__file__).resolve().parents[2]
sys.path += [str(TOP / "tools"), str(TOP / "tests/system"), str(TOP / "tests/support")]

import cleanroot  # noqa: E402
from lab import Lab  # noqa: E402
from machine import INSTALLER, Machine  # noqa: E402

OLDER = "0.9.0"


def pytest_sessionstart():
    if os.geteuid() != 0:
        pytest.exit("The tests of the packages make namespaces and need root.", returncode=1)


def make_packages(build, name, version):
    """Builds the packages with a version and returns their folder."""
    folder = build / name
    changelog = TOP / "packaging/debian/changelog"
    date = subprocess.run(["dpkg-parsechangelog", "-l", changelog, "-S", "Timestamp"], check=True,
                          stdout=subprocess.PIPE, text=True).stdout.strip()
    for old in folder.glob("*.deb"):
        old.unlink()
    result = subprocess.run(
        ["cpack", "-G", "DEB", "-B", folder, "-D", f"CPACK_PACKAGE_VERSION={version}"], cwd=build,
        env={**os.environ, "SOURCE_DATE_EPOCH": date}, stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT, text=True)
    assert result.returncode == 0, result.stdout
    return folder


@pytest.fixture(scope="session")
def build():
    """The folder that the programs were built in."""
    return TOP / "build/release"


@pytest.fixture(scope="session")
def version():
    return subprocess.run(["dpkg-parsechangelog", "-l", TOP / "packaging/debian/changelog", "-S",
                           "Version"], check=True, stdout=subprocess.PIPE, text=True).stdout.strip()


@pytest.fixture(scope="session")
def packages(build, version):
    """The folder of the packages."""
    return make_packages(build, "packages", version)


@pytest.fixture(scope="session")
def package(packages, version):
    """The path of one package."""
    def path(name):
        return next(packages.glob(f"{name}_{version}_*.deb"))
    return path


@pytest.fixture(scope="session")
def unpacked(packages, build):
    """A folder with all files that the packages install."""
    folder = build / "unpacked"
    subprocess.run(["rm", "-rf", folder], check=True)
    for each in packages.glob("*.deb"):
        subprocess.run(["dpkg-deb", "--extract", each, folder], check=True)
    return folder


@pytest.fixture(scope="session")
def on_machine(packages, build):
    """A folder with both versions of the packages, for the machines."""
    folder = build / "on-machine"
    subprocess.run(["rm", "-rf", folder], check=True)
    folder.mkdir()
    older = make_packages(build, "older", OLDER)
    for each in [*packages.glob("*.deb"), *older.glob("*.deb")]:
        os.link(each, folder / each.name)
    return folder


# Packages that tests install on machines with the host's release of Debian.
OTHERS = ["bash-completion", "sysvinit-core", "busybox"]


def new_root(root, codename, packages):
    try:
        cleanroot.make(str(root), codename, str(packages), [*INSTALLER, *OTHERS])
        yield root
    finally:
        cleanroot.remove(root)


@pytest.fixture(scope="session")
def debian_12(build, packages):
    """A folder with a fresh Debian 12. No machine changes it."""
    yield from new_root(build / "root", "bookworm", packages)


@pytest.fixture(scope="session")
def debian_13(build, packages):
    """A folder with a fresh Debian 13."""
    yield from new_root(build / "root-13", "trixie", packages)


@pytest.fixture(scope="session")
def clean_root(request):
    """A folder with a fresh Debian of the host's release."""
    return request.getfixturevalue(f"debian_{cleanroot.RELEASES[0]}")


@pytest.fixture(scope="module")
def lab(build):
    with Lab(str(build / "bin")) as network:
        yield network


@pytest.fixture(scope="module")
def peer(lab):
    """A machine without a daemon on the network."""
    return lab.add_peer()


@pytest.fixture(scope="module")
def wire(peer):
    """A capture of all datagrams to the SSDP group, and to the SSDP port of `peer`."""
    return peer.capture()


@pytest.fixture(scope="module")
def machine(lab, clean_root, on_machine):
    """A machine with a fresh Debian."""
    return lab.add_node(Machine("studio-a", "192.0.2.10", str(clean_root), str(on_machine),
                                lab.mark))


@pytest.fixture(scope="module")
def installing(on_machine, version):
    """The arguments with which apt-get installs the packages on a machine."""
    def arguments(which=version):
        return ["install", *(f"/mnt/{each.name}" for each in on_machine.glob(f"*_{which}_*.deb"))]
    return arguments
