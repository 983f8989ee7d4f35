"""The two folders that the daemon writes and the web server reads."""

from lab.device import BROWSE_LIST

FOLDERS = ["/var/www/html", "/var/www/discovery"]
TEXT = "another's\n"

# Ways to remove, replace or change the file $1. "own" is a file of the daemon.
WAYS = [
    'rm -f "$1"',
    'mv -f own "$1"',
    'ln -sf own "$1"',
    'mv -f "$1" away',
    'echo changed >"$1"',
]


def _as(machine, user, script, folder, *arguments, **options):
    return machine.run("runuser", "-u", user, "--", "sh", "-ec", f'cd "$0"\n{script}', folder,
                       *arguments, **options)


def assert_the_daemon_cannot_replace(machine, owner):
    """Neither folder lets the daemon replace a file that `owner` put there."""
    for folder in FOLDERS:
        other = machine.path(f"{folder}/others.html")
        other.write_text(TEXT)
        machine.run("chown", f"{owner}:{owner}", f"{folder}/others.html")
        before = machine.run("stat", "-c", "%i %a %U", f"{folder}/others.html").stdout
        for way in WAYS:
            _as(machine, "beacond", "echo own >own", folder)
            result = _as(machine, "beacond", way, folder, "others.html", check=False)
            assert result.returncode != 0, f"{folder}: {way}"
            assert other.read_text() == TEXT, f"{folder}: {way}"
            assert machine.run("stat", "-c", "%i %a %U", f"{folder}/others.html").stdout == before
        _as(machine, "beacond", "echo new >scratch; mv -f scratch own; echo newer >own; rm own", folder)
        other.unlink()


def assert_as_the_packages_make_them(machine):
    assert [machine.stat(folder) for folder in FOLDERS] == ["1775 root:beacond"] * 2, \
        [machine.stat(folder) for folder in FOLDERS]


def assert_the_page_is_linked(machine):
    """The page's index and its folder lie beside the list, and the start page in the web root."""
    page = "/usr/share/beacond-web"
    names = machine.run("ls", page).stdout.split()
    folder, = (name for name in names if name.startswith("page-"))
    assert sorted(names) == ["index.html", folder, "start.html"]
    for link, target in [("discovery/index.html", "index.html"), (f"discovery/{folder}", folder),
                         ("html/index.html", "start.html")]:
        assert machine.run("readlink", f"/var/www/{link}").stdout == f"{page}/{target}\n"


def make_as_before(machine):
    """Gives the folders the owners and modes of earlier versions of the packages, without the
    sticky bit, and the files the mode with which a detached daemon writes them."""
    machine.run("chown", "beacond:beacond", "/var/www/discovery")
    machine.run("chmod", "755", "/var/www/discovery")
    machine.run("chmod", "775", "/var/www/html")
    for path in _written(machine):
        machine.run("chmod", "640", path)


def assert_the_web_server_reads(machine):
    """Checks that a user who is not in the daemon's group can read all files of the daemon."""
    for path in _written(machine):
        assert machine.stat(path) == "644 beacond:beacond"
        assert machine.run("runuser", "-u", "www-data", "--", "cat", path).stdout != ""


def _written(machine):
    documents = machine.run("sh", "-c", "ls /var/www/html/*_upnp_ssdp_*.xml").stdout.split()
    return [*documents, BROWSE_LIST]
