"""An emulated machine (64-bit Arm) with its own kernel and init, on the lab's switch."""

import dataclasses
import json
import shlex
import shutil
import signal
import subprocess
from pathlib import Path

from .console import ControlPort, Shell
from .device import Device

BUSYBOX = "/usr/lib/machine/init"  # BusyBox's init in the images
# One HTTP request to the configuration service of the machine. $1: the bytes of the request.
REQUEST = 'exec 3<>/dev/tcp/127.0.0.1/8080 && printf %s "$1" >&3 && cat <&3'
LOGS = ("serial", "shell", "qmp")  # the logs that QEMU writes about a machine


@dataclasses.dataclass(frozen=True)
class MachineSpec:
    """The properties of a machine."""

    name: str
    address: str               # IPv4, in a /24 network
    image: str = "packages"    # its root: a file of the folder of images, without .img
    init: str = "/sbin/init"   # or BUSYBOX
    memory: int = 128          # MB
    mac: str = ""              # of the network port; by default made from the address
    serial_number: str = ""    # in the device tree
    clock: str = "utc"         # when the machine is switched on: "utc" for now, or a date
    product: str = "corvia12"  # of the images


class Machine:
    """QEMU with an image of tests/machine/make_images, without KVM. The machine is off until
    `power_on`. Its data partition is a file that stays until the lab is closed.

    QEMU runs in the namespaces of the switch, and so ends with the lab. It writes the serial
    console, the output of the shell and the messages of its control port to files in `logs`,
    which stay.
    """

    def __init__(self, spec, images, logs, switch, port):
        self.spec = spec
        self.name = spec.name
        self.address = spec.address
        self.host_name = spec.name
        self.port = port  # of the switch
        self.data = switch.path(f"/run/lab/{spec.name}.data")
        self._images = Path(images)
        self._logs = Path(logs)
        self._switch = switch
        self._program = self._shell = self._control = None
        self._logs.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(self._images / "data.img", self.data)
        if spec.serial_number:
            self._make_device_tree()

    # These are the same as for the lab's devices.
    configure = Device.configure
    browse_list = Device.browse_list

    # Power, reset and cable.

    def power_on(self):
        for kind in ("shell", "qmp"):
            self._switch.path(f"{self._inside(kind)}.socket").unlink(missing_ok=True)
        self._program = self._switch.start(self.name, self._emulator() + self._boot() +
                                           self._disks() + self._connections())
        try:
            self._shell = Shell(self._switch.path(f"{self._inside('shell')}.socket"))
            self._control = ControlPort(self._switch.path(f"{self._inside('qmp')}.socket"))
        except TimeoutError as error:
            raise RuntimeError(self._program.explain()) from error

    def cut_power(self):
        """Ends QEMU by SIGKILL. Data that the machine has not written to its disk is lost."""
        self._program.stop(signal.SIGKILL)
        self.close()

    def close(self):
        """Closes the connections to the machine. If it is on, it ends with the lab."""
        for each in (self._shell, self._control):
            if each is not None:
                each.close()
        self._shell = self._control = None

    def reset(self):
        """Presses the reset button: the machine boots again, without being shut down."""
        self._shell.expect_boot()
        self._control.run("system_reset")

    def set_link(self, up):
        """Plugs the network cable in, or unplugs it."""
        self._control.run("set_link", name="nic0", up=up)

    # Operations inside the machine. Each waits until the machine has booted.

    def run(self, *command, check=True, timeout=300):
        """Runs a command as root and returns its CompletedProcess with standard output and
        standard error as one text. A status other than 0 is an error unless `check` is False."""
        try:
            status, output = self._shell.run(shlex.join(command), timeout)
        except (TimeoutError, EOFError) as error:
            raise type(error)(f"{self.name}: {command}: {error}\n{self.explain()}") from error
        if check and status != 0:
            raise RuntimeError(f"{self.name}: {command}: status {status}\n{output}"
                               f"{self.explain()}")
        return subprocess.CompletedProcess(command, status, output)

    def read(self, path):
        """The text of a file; None if it cannot be read."""
        result = self.run("cat", path, check=False)
        return result.stdout if result.returncode == 0 else None

    def stat(self, path):
        return self.run("stat", "-c", "%a %U:%G", path).stdout.strip()

    def request(self, method, path, value=None):
        """One HTTP request to the configuration service, with `value` as JSON. Returns the
        status and the value of the answer."""
        body = "" if value is None else json.dumps(value)
        request = (f"{method} {path} HTTP/1.1\r\nHost: 127.0.0.1:8080\r\nConnection: close\r\n"
                   f"Content-Type: application/json\r\nContent-Length: {len(body)}\r\n\r\n{body}")
        answer = self.run("bash", "-c", REQUEST, "request", request).stdout
        head, _, text = answer.partition("\r\n\r\n")
        return int(head.split()[1]), json.loads(text) if text else None

    def explain(self):
        """The names of the logs, and the end of the serial console."""
        serial = self._log("serial")
        text = serial.read_text(errors="backslashreplace") if serial.exists() else ""
        return (f"{self.name}: the logs are {', '.join(str(self._log(kind)) for kind in LOGS)}\n"
                f"--- the end of the serial console\n{text[-3000:]}---")

    # QEMU's command line.

    def _log(self, kind):
        return self._logs / f"{self.name}.{kind}.log"

    def _inside(self, kind):
        """The path of a file of this machine in the switch's mount namespace."""
        return f"/run/lab/{self.name}.{kind}"

    def _machine(self):
        return ["qemu-system-aarch64", "-cpu", "cortex-a53", "-smp", "1",
                "-m", str(self.spec.memory), "-nodefaults", "-no-user-config", "-display", "none"]

    def _make_device_tree(self):
        file = self._inside("dtb")
        self._switch.run(*self._machine(), "-M", f"virt,gic-version=2,dumpdtb={file}")
        self._switch.run("fdtput", "-t", "s", file, "/", "serial-number", self.spec.serial_number)

    def _emulator(self):
        tree = ["-dtb", self._inside("dtb")] if self.spec.serial_number else []
        return [*self._machine(), "-M", "virt,gic-version=2", "-accel", "tcg,tb-size=64", *tree,
                "-rtc", f"base={self.spec.clock}"]

    def _boot(self):
        words = ["console=ttyAMA0 quiet panic=5",
                 "cma=0",  # Debian's kernel reserves 64 MB otherwise
                 f"init={self.spec.init}",
                 f"ip={self.address}::192.0.2.1:255.255.255.0::net0:none",
                 f"systemd.hostname={self.name}",
                 "systemd.getty_auto=no systemd.show_status=no",
                 "systemd.journald.forward_to_console=yes"]
        return ["-kernel", str(self._images / "vmlinuz"), "-initrd", str(self._images / "initrd"),
                "-append", " ".join(words)]

    def _disks(self):
        return [*_disk("root", self._images / f"{self.spec.image}.img", ",readonly=on"),
                *_disk("data", self._inside("data"))]

    def _connections(self):
        digits = "".join(f":{int(each):02x}" for each in self.address.split("."))
        mac = self.spec.mac or "52:54" + digits
        return ["-netdev", f"tap,id=net,ifname={self.port},script=no,downscript=no",
                "-device", f"virtio-net-device,netdev=net,id=nic0,mac={mac}",
                "-device", "virtio-rng-device", "-device", "virtio-serial-device",
                "-chardev", f"null,id=serial,{self._logged('serial')}", "-serial", "chardev:serial",
                *self._socket("shell"), "-device", "virtconsole,chardev=shell",
                *self._socket("qmp"), "-mon", "chardev=qmp,mode=control"]

    def _socket(self, kind):
        return ["-chardev", f"socket,id={kind},path={self._inside(kind)}.socket,server=on,wait=off,"
                f"{self._logged(kind)}"]

    def _logged(self, kind):
        return f"logfile={self._log(kind)},logappend=on"


def _disk(name, path, options=""):
    return ["-drive", f"if=none,id={name},file={path},format=raw{options}",
            "-device", f"virtio-blk-device,drive={name},serial={name}"]
