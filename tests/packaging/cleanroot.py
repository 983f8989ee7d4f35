"""A root folder with a fresh Debian, and with the packages' dependencies downloaded."""

import platform
import shutil
import subprocess
from pathlib import Path

SETUP = Path(__file__).resolve().parents[2] / "scripts/setup.sh"

# Packages that are built here can be installed on RELEASES: this machine's release and later ones.
SUPPORTED = ["12", "13"]
RELEASES = SUPPORTED[SUPPORTED.index(platform.freedesktop_os_release()["VERSION_ID"]):]

# Separate mount and process namespaces: nothing is left, however this program ends.
APART = ["unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc"]

# Downloads three groups for the root $1: the dependencies of our packages (in the folder $2); the
# packages $3... with their dependencies, one by one, since some of them conflict; and all that apt
# installs for a user of the documents: nginx-light, curl, and the dependencies of our packages,
# with recommended packages. They are installed later, on a network that is not the host's.
FETCH = """
set -e
mount --bind "$2" "$1/mnt"
mount -t proc proc "$1/proc"
root=$1
shift 2
exec chroot "$root" sh -ec '
    fetch() { apt-get -q -y --download-only install "$@"; }
    apt-get -q update
    fetch --no-install-recommends /mnt/*.deb
    for other in "$@"; do fetch --no-install-recommends "$other"; done
    fetch /mnt/*.deb nginx-light curl' fetch "$@"
"""


def run(command):
    result = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True)
    if result.returncode != 0:
        raise RuntimeError(f"{' '.join(command)}: status {result.returncode}\n"
                           f"{result.stdout[-3000:]}")
    return result.stdout


def mirror():
    """The Debian mirror of this machine."""
    found = run(["bash", "-c", '. "$0"; debian_mirror', SETUP]).strip()
    if not found:
        raise RuntimeError("apt knows no source of Debian; has apt-get update run?")
    return found


def make(root, codename, packages, others):
    remove(root)
    run([*APART, "debootstrap", "--variant=minbase", codename, root, mirror()])
    run([*APART, "sh", "-c", FETCH, "fetch", root, packages, *others])


def remove(root):
    shutil.rmtree(root, ignore_errors=True)
