"""The virtual network is isolated, leaves nothing on the machine, and reports what fails on it."""

import contextlib
import signal
import socket
import subprocess
import sys
import threading
from pathlib import Path

import pytest

from health import udp_count
from lab import DeviceSpec, Lab, wait_until
from leftovers import host_state, processes_of, still_running

SCRIPT = """
import sys, time
sys.path.insert(0, sys.argv[1])
from lab import Lab
with Lab(sys.argv[2]) as lab:
    lab.add_device().detach_beacond()
    lab.add_peer()
    print(lab.mark, flush=True)
    time.sleep(3600)
"""


@pytest.fixture
def lab_of_another_program(programs):
    """A program that owns a lab, and the lab's mark."""
    tools = str(Path(sys.modules["lab"].__file__).parents[1])
    with subprocess.Popen([sys.executable, "-B", "-c", SCRIPT, tools, programs],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True) as program:
        yield program, program.stdout.readline().strip()
        program.kill()


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGKILL])
def test_nothing_is_left_after_a_signal(lab_of_another_program, number):
    program, mark = lab_of_another_program
    # Switch, device and peer have two processes each: one that owns the namespaces, and
    # process 1. Each service of the device has another process that entered the device to
    # start it.
    wanted = sorted(3 * ["unshare", "cat", "nsenter"]
                    + ["dbus-daemon", "avahi-daemon", "beacon-configd", "beacond"])
    wait_until(lambda: sorted(each.name for each in processes_of(mark)) == wanted, 20,
               "the lab's processes", lambda: processes_of(mark))
    before = processes_of(mark)
    program.send_signal(number)
    program.wait(20)
    wait_until(lambda: not still_running(before, mark), 20, "no process left",
               lambda: still_running(before, mark))


def test_closing_leaves_nothing(programs):
    before = host_state()
    with Lab(programs) as lab:
        lab.add_device()
        made = processes_of(lab.mark)
        assert made
        assert host_state() == before
    assert not still_running(made, lab.mark)
    assert host_state() == before


def test_an_error_while_a_device_is_created_leaves_nothing(programs):
    with pytest.raises(RuntimeError, match="no \"ready\""):
        with Lab(programs) as lab:
            lab.add_device(address="not an address")
    assert not processes_of(lab.mark)


def test_the_programs_may_be_under_tmp(programs, tmp_path):
    folder = tmp_path / "bin"
    folder.mkdir()
    for program in ("beacond", "beacon-configd"):
        (folder / program).write_bytes((Path(programs) / program).read_bytes())
        (folder / program).chmod(0o755)
    assert str(folder).startswith("/tmp/")
    with Lab(folder) as lab:
        device = lab.add_device()
        assert device.run("ls", "/tmp").stdout == ""
        assert device.run("ls", "/mnt").stdout == "beacon-configd\nbeacond\n"


def test_a_device_has_its_own_folders(device):
    name = f"own-{device.environment['BEACOND_LAB']}"  # a name that no folder of the host has
    for path in (f"/var/www/html/{name}", f"/run/{name}", f"/tmp/{name}"):
        device.run("sh", "-c", f"echo mine >{path}")
        assert device.read(path) == "mine\n"
        assert not Path(path).exists()


def test_no_datagram_reaches_the_host(lab, device, peer, wire):
    """Multicast on the virtual network arrives there, and not on this machine's interfaces."""
    every_protocol = 3
    with socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(every_protocol)) as host:
        host.settimeout(0)
        message = b"NOTIFY * HTTP/1.1\r\nUSN: seen-in-the-lab-only\r\n\r\n"
        other = lab.add_peer()
        with other.udp_socket() as sock:
            for _ in range(20):
                sock.sendto(message, ("239.255.255.250", 1900))
        wire.wait_for(20, source=other.address, starting=message)
        packets = []
        try:
            while True:
                packets.append(host.recv(65536))
        except BlockingIOError:
            pass
        assert not [packet for packet in packets if b"seen-in-the-lab-only" in packet]


def test_no_two_sockets_get_the_same_free_port(peer):
    """If two sockets had the same port, one would receive nothing. With this many sockets, two
    random ports would be equal almost certainly."""
    with contextlib.ExitStack() as stack:
        sockets = [stack.enter_context(peer.udp_socket()) for _ in range(800)]
        assert len({sock.getsockname()[1] for sock in sockets}) == 800


def test_a_query_waits_for_a_port_that_is_not_open_yet(lab, peer):
    other = lab.add_peer()

    def open_late():
        wait_until(lambda: udp_count(other, "NoPorts"), 20, "a refused question")
        with other.udp_socket(1900) as sock:
            _, asker = sock.recvfrom(100)
            sock.sendto(b"answer", asker)
    late = threading.Thread(target=open_late)
    late.start()
    assert peer.ask(b"question", other.address) == b"answer"
    late.join()


def test_a_query_to_a_port_that_stays_closed_reports_it(lab, peer):
    other = lab.add_peer()
    with pytest.raises(TimeoutError, match=f"port 1900 of {other.address} stayed closed"):
        peer.ask(b"question", other.address, timeout=1)


def test_a_device_resolves_the_names_of_twenty_others_by_multicast_dns(lab, device):
    others = lab.add_devices([DeviceSpec() for _ in range(20)])
    names = [f"{each.name}.local" for each in others]
    answer = device.run("avahi-resolve", "-4", "--name", *names).stdout
    assert dict(line.split() for line in answer.splitlines()) == dict(
        zip(names, (each.address for each in others)))


def test_pulling_the_cable_disconnects_a_device(lab, device, peer):
    def carrier():
        return device.read("/sys/class/net/net0/carrier") == "1\n"
    assert carrier()
    lab.set_cable(device, False)
    assert not carrier()
    lab.set_cable(device, True)
    wait_until(carrier, 10, "the carrier back")


def test_a_program_that_ends_early_is_reported_with_its_output(device):
    program = device.start("talker", ["sh", "-c", "echo some words >&2; exit 3"])
    with pytest.raises(RuntimeError, match="status 3\n(.*\n)*some words"):
        program.wait_output("never written")


def test_a_wait_that_fails_reports_the_last_state():
    with pytest.raises(TimeoutError, match="an event: not within 0.01 s; last result: 0\nthe state"):
        wait_until(lambda: 0, 0.01, "an event", lambda: "the state")


def test_a_zombie_process_has_ended(peer):
    program = peer.start("parent", ["sh", "-c", "sleep 0 & exec tail -f /dev/null"])
    wait_until(lambda: "Z sleep" in peer.run("ps", "-eo", "state=,comm=").stdout, 10, "it ended")
    assert peer.processes("sleep") == []
    assert peer.processes("tail") == [program.pid]
    program.stop()


def test_a_node_forgets_processes_that_have_ended(device, peer):
    def states(node):
        return node.run("ps", "-eo", "state=,comm=").stdout
    for node in (device, peer):
        node.run("sh", "-c", "true & exec true")  # exec replaces the parent of the first
        wait_until(lambda: "Z" not in states(node), 10, f"{node.name}: none left",
                   lambda: states(node))
