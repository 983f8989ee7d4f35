"""A machine on the lab's network: namespaces with their own Debian, on the host's kernel."""

import subprocess
import tempfile
from contextlib import contextmanager
from pathlib import Path

from lab import Device, DeviceSpec, wait_until
from lab.node import Node

HERE = Path(__file__).resolve().parent

# Packages of every Debian that its installer has set up.
INSTALLER = ["systemd-sysv", "udev", "ifupdown", "initramfs-tools"]

# The limit in avahi-daemon.conf counts the processes of avahi's user ID on all machines together.
AVAHI_WITHOUT_LIMITS = """\
[Service]
ExecStart=
ExecStart=/usr/sbin/avahi-daemon -s --no-rlimits
"""

REMOVE_GROUP = """
mount -t cgroup2 cgroup2 /mnt
[ ! -d "/mnt/$1" ] || find "/mnt/$1" -depth -type d -exec rmdir {} +
"""

# Except for the host name and the network, /proc/sys belongs to the host.
BUSYBOX_INIT = """
mount -o bind,ro /proc/sys /proc/sys
exec env -i PATH=/usr/sbin:/usr/bin busybox init
"""


def child_called(name, parent):
    for pid in Path(f"/proc/{parent}/task/{parent}/children").read_text().split():
        try:
            if Path(f"/proc/{pid}/comm").read_text() == name + "\n":
                return int(pid)
        except FileNotFoundError:  # it has ended meanwhile
            pass
    return None


class Machine(Node):
    """A fresh root with the packages on /mnt, nothing installed and nothing running."""

    def __init__(self, name, address, root, packages, mark):
        super().__init__(name, HERE / "machine.sh", [name, address, root, packages], mark)
        self.environment["DEBIAN_FRONTEND"] = "noninteractive"
        self.address = address
        self.spec = DeviceSpec(name, address, product="lumenplus")
        self.host_name = name
        self._group = None

    # The configuration service, as on the lab's devices.
    request = Device.request
    configure = Device.configure

    def close(self):
        super().close()
        if self._group is not None:
            subprocess.run(["unshare", "--mount", "sh", "-c", REMOVE_GROUP, "remove", self._group],
                           check=True)

    def apt_get(self, *arguments):
        return self.run("apt-get", "-q", "-y", "--no-install-recommends", *arguments,
                        timeout=300).stdout

    def prepare(self, *packages):
        """Installs `packages` and what the packages on /mnt depend on. Starts no service."""
        self.install_as_image(*packages, *self._dependencies())
        # The limit counts the processes of avahi's user ID on all machines together.
        self.run("sed", "-i", "/^rlimit-nproc/d", "/etc/avahi/avahi-daemon.conf")

    def install_as_image(self, *packages):
        """Installs packages and starts no service."""
        policy = self.path("/usr/sbin/policy-rc.d")
        policy.write_text("#!/bin/sh\nexit 101\n")
        policy.chmod(0o755)
        self.apt_get("satisfy", *packages)
        policy.unlink()

    def lift_limits_of_avahi(self):
        """For machines with systemd. avahi-daemon need not be installed yet."""
        folder = self.path("/etc/systemd/system/avahi-daemon.service.d")
        folder.mkdir(parents=True)
        (folder / "lab.conf").write_text(AVAHI_WITHOUT_LIMITS)

    def paste(self, commands, folder="/", timeout=120):
        """Runs the lines of `commands` in one shell, which reads them one by one like lines
        pasted into a terminal. A line that fails is an error. A question would take the next
        line as its answer."""
        with tempfile.TemporaryFile("w+") as text:
            text.write(f"cd {folder}\n{commands}")
            text.seek(0)
            return self.run("env", "--unset=DEBIAN_FRONTEND", "bash", "-e", stdin=text,
                            timeout=timeout).stdout

    def _dependencies(self):
        files = self.run("sh", "-c", "ls /mnt/*.deb").stdout.split()
        fields = [self.run("dpkg-deb", "--field", each, "Depends").stdout for each in files]
        return [field for field in fields if field != "beacond\n"]

    def boot(self):
        """Starts systemd. Later commands run in its process namespace."""
        self._group = f"{self.name}-{self.environment['BEACOND_LAB']}"
        text = (HERE / "boot.sh").read_text()
        program = self.start("boot", ["sh", "-c", text, "boot", self._group])
        self.pid = wait_until(lambda: child_called("systemd", program.pid), 20,
                              f"{self.name}: systemd", program.explain)
        wait_until(lambda: self.state() in ("running", "degraded"), 60, f"{self.name}: booted",
                   lambda: f"{self.state()}\n{program.explain()}")

    def boot_busybox(self):
        """Boots BusyBox's init with the machine's /etc/inittab as process 1 of a process
        namespace inside the machine's. Later commands run in it."""
        program = self.start("boot", ["unshare", "--pid", "--mount", "--fork", "--kill-child",
                                      "--mount-proc", "sh", "-c", BUSYBOX_INIT])
        self.pid = wait_until(lambda: child_called("busybox", program.pid), 20,
                              f"{self.name}: init", program.explain)

    @contextmanager
    def limit_of_receive_buffers(self, limit):
        """Inside this block, a file replaces the system's limit. Yields the file."""
        file = self.path("/run/limit")
        file.write_text(f"{limit}\n")
        self.run("mount", "--bind", "/run/limit", "/proc/sys/net/core/rmem_max")
        try:
            yield file
        finally:
            self.run("umount", "/proc/sys/net/core/rmem_max")

    def installed(self, name):
        return self.run("dpkg-query", "-W", "-f", "${db:Status-Status} ${Version}", name).stdout

    def user(self, process):
        """The name of the user that runs the only process of this name."""
        pid = self.wait_for_process(process)
        number = str(Path(f"/proc/{pid}").stat().st_uid)
        return self.run("getent", "passwd", number).stdout.split(":")[0]

    def stat(self, path):
        return self.run("stat", "-c", "%a %U:%G", path).stdout.strip()

    def state(self):
        return self.run("systemctl", "is-system-running", check=False).stdout.strip()

    def property(self, unit, name):
        return self.run("systemctl", "show", "--value", f"--property={name}", unit).stdout.strip()
