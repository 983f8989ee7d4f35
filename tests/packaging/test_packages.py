"""The packages as files."""

import re
import subprocess

import pytest

from conftest import TOP
from documented import block

NAMES = ["beacond", "beacon-configd", "beaconctl", "beacond-web"]

FILES = {
    "beacond": """
        /etc/default/beacond /etc/init.d/beacond /usr/bin/beacond
        /usr/lib/beacond/raise-buffer-limit /usr/lib/beacond/supervise
        /usr/lib/systemd/system/beacond.service /usr/lib/sysusers.d/beacond.conf
        /usr/lib/tmpfiles.d/beacond.conf /usr/share/doc/beacond/SECURITY.md
        /usr/share/doc/beacond/configuration-service.yaml /usr/share/doc/beacond/embedded.md
        /usr/share/doc/beacond/examples/10-net0.link.example /usr/share/doc/beacond/operations.md
        /usr/share/doc/beacond/performance.md /usr/share/doc/beacond/protocol.md
        /usr/share/doc/beacond/security.md
        /usr/share/man/man5/browse.json.5.gz /usr/share/man/man8/beacond.8.gz""",
    "beacon-configd": """
        /etc/init.d/beacon-configd /usr/bin/beacon-configd /usr/lib/beacon-configd/supervise
        /usr/lib/systemd/system/beacon-configd.service
        /usr/lib/systemd/system/beacon-configd.socket /usr/lib/sysusers.d/beacon-configd.conf
        /usr/lib/tmpfiles.d/beacon-configd.conf
        /usr/share/doc/beacon-configd/configuration-service.yaml
        /usr/share/man/man8/beacon-configd.8.gz""",
    "beaconctl": """
        /usr/bin/beaconctl /usr/share/bash-completion/completions/beaconctl
        /usr/share/man/man1/beaconctl.1.gz""",
    "beacond-web": "/usr/lib/tmpfiles.d/beacond-web.conf",
}

DESCRIPTIONS = {
    "beacond": """\
discovery daemon of a video device
 Announces the device on the local network by SSDP and DNS-SD, receives its
 neighbours' announcements, and lists them for the device's web interface.
""",
    "beacon-configd": """\
configuration service of a video device
 Stores host name and SSDP switch, follows the network interface, and reports
 every change to the discovery daemon. For devices without another
 configuration service.
""",
    "beaconctl": """\
queries discovery daemons
 Shows which neighbours this or another device knows and which services it
 announces, and searches the network by SSDP.
""",
    "beacond-web": """\
discovery page of a video device
 A static page that shows the device's neighbours, for the web server that
 serves /var/www.
""",
}

# Without versions, which depend on the build machine.
C_PLUS_PLUS = {"libc6", "libgcc-s1", "libstdc++6"}
DEPENDS = {
    "beacond": {*C_PLUS_PLUS, "adduser", "avahi-daemon", "dbus | dbus-system-bus",
                "libavahi-client3", "libavahi-common3", "libqt5core5a"},
    "beacon-configd": {*C_PLUS_PLUS, "adduser", "libmnl0"},
    "beaconctl": {*C_PLUS_PLUS, "libqt5core5a"},
    "beacond-web": {"beacond"},
}


def output(*command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True, **options).stdout


def field(path, name):
    return output("dpkg-deb", "--field", path, name)


def contents(path):
    """The files of a package with their modes and owners."""
    for line in output("dpkg-deb", "--contents", path).splitlines():
        mode, owner, _, _, _, name = line.split(maxsplit=5)
        if not mode.startswith("d"):
            yield name.removeprefix("."), mode, owner


def test_lintian_reports_no_error_and_no_warning(packages):
    result = subprocess.run(["lintian", "--fail-on", "error,warning", *packages.glob("*.deb")],
                            stdout=subprocess.PIPE, text=True)
    assert (result.stdout, result.returncode) == ("", 0)


def test_the_manual_pages_have_no_faults(unpacked):
    # Also checks that the referenced pages exist.
    manuals = unpacked / "usr/share/man"
    pages = sorted((TOP / "packaging/man").iterdir())
    assert len(pages) == len(list(manuals.glob("*/*.gz"))) == 4
    result = subprocess.run(["mandoc", "-T", "lint", "-W", "style", *pages],
                            env={"MANPATH": f"{manuals}:/usr/share/man", "PATH": "/usr/bin"},
                            stdout=subprocess.PIPE, text=True)
    assert (result.stdout, result.returncode) == ("", 0)


@pytest.mark.parametrize("name", NAMES)
def test_has_this_description(package, name):
    assert field(package(name), "Description") == DESCRIPTIONS[name]


@pytest.mark.parametrize("name", NAMES)
def test_has_these_dependencies(package, name):
    depends = re.sub(r" \([^)]*\)", "", field(package(name), "Depends").strip())
    depends = depends.replace("libqt5core5t64", "libqt5core5a")  # its name in Debian 13
    assert set(depends.split(", ")) == DEPENDS[name]


def page_files(path):
    """The files of the page, as they are installed: index.html, start.html, and all others in
    one folder."""
    folder = "/usr/share/beacond-web/"
    inner, = {file.split("/")[-2] for file, _, _ in contents(path) if file.endswith("/discovery.js")}
    assert re.fullmatch("page-[0-9a-f]{12}", inner)
    names = {each.name for each in (TOP / "web/discovery").iterdir()} - {"index.html"}
    return {f"{folder}index.html", f"{folder}start.html", *(f"{folder}{inner}/{name}" for name in names)}


@pytest.mark.parametrize("name", NAMES)
def test_installs_exactly_these_files(package, name):
    wanted = {*FILES[name].split(), f"/usr/share/doc/{name}/changelog.gz",
              f"/usr/share/doc/{name}/copyright"}
    if name == "beacond-web":
        wanted |= page_files(package(name))
    assert {file for file, _, _ in contents(package(name))} == wanted


def test_the_links_between_the_documents_lead_to_files_of_the_package(unpacked):
    folder = unpacked / "usr/share/doc/beacond"
    links = {(file.name, link) for file in folder.glob("*.md")
             for link in re.findall(r"\]\((?!https?:)([^)#]+)", file.read_text())}
    assert ("operations.md", "SECURITY.md") in links
    assert [link for link in links if not (folder / link[1]).is_file()] == []


@pytest.mark.parametrize("name", NAMES)
def test_files_belong_to_root_and_only_programs_are_executable(package, name):
    for file, mode, owner in contents(package(name)):
        program = re.match(r"/usr/bin/|/etc/init\.d/|/usr/lib/beacon[^/]*/", file) is not None
        assert (file, mode, owner) == (file, "-rwxr-xr-x" if program else "-rw-r--r--", "root/root")


@pytest.mark.parametrize("name", NAMES)
def test_all_files_in_etc_are_conffiles(package, name, tmp_path):
    output("dpkg-deb", "--control", package(name), tmp_path)
    listed = tmp_path / "conffiles"
    conffiles = set(listed.read_text().split()) if listed.exists() else set()
    assert conffiles == {file for file, _, _ in contents(package(name)) if file.startswith("/etc")}


def test_the_commands_of_the_operations_page_build_identical_packages(packages):
    # build/release is up to date, so these commands compile nothing.
    output("bash", "-ec", block("docs/operations.md", "cmake --preset release"), cwd=TOP)
    again = TOP / "build/packages"
    files = sorted(packages.glob("*.deb"))
    assert [each.name for each in files] == sorted(each.name for each in again.glob("*.deb"))
    for each in files:
        assert each.read_bytes() == (again / each.name).read_bytes(), each.name
