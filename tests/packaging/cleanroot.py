"""A root folder with a fresh Debian 12 and what the packages depend on, downloaded."""

import shutil
import subprocess

# Mounts and processes of their own, so that none is left however this ends.
APART = ["unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc"]

# With the packages on /mnt. Nothing is set up here, where the network is the host's.
FETCH = """
set -e
mount --bind "$2" "$1/mnt"
mount -t proc proc "$1/proc"
exec chroot "$1" sh -ec '
    fetch() { apt-get -q -y --no-install-recommends --download-only install "$@"; }
    apt-get -q update
    fetch /mnt/*.deb bash-completion systemd-sysv
    fetch sysvinit-core'
"""


def run(command):
    result = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True)
    if result.returncode != 0:
        raise RuntimeError(f"{' '.join(command)}: status {result.returncode}\n"
                           f"{result.stdout[-3000:]}")
    return result.stdout


def mirror():
    """Where this machine takes its own Debian packages from."""
    found = run(["apt-get", "indextargets", "--format", "$(REPO_URI)", "Created-By: Packages",
                 "Origin: Debian", "Codename: bookworm", "Component: main"]).split()
    if not found:
        raise RuntimeError("apt knows no source of Debian 12; has apt-get update run?")
    return found[0]


def make(root, packages):
    remove(root)
    run([*APART, "debootstrap", "--variant=minbase", "bookworm", root, mirror()])
    run([*APART, "sh", "-c", FETCH, "fetch", root, packages])


def remove(root):
    shutil.rmtree(root, ignore_errors=True)
