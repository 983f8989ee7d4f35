"""beaconctl with devices, used like a support engineer uses it."""

import json
import os
import pty
import re
import signal

import pytest

from conftest import TOP
from lab import DeviceSpec, Lab, wait_until
from lab.device import CONFIGD

BEACONCTL = "/mnt/beaconctl"


@pytest.fixture(scope="module")
def pair(programs):
    """Two devices that see each other."""
    with Lab(programs) as lab:
        devices = lab.add_devices([DeviceSpec("studio-a", product="corvia12"),
                                   DeviceSpec("studio-b", product="lumenplus")])
        for device in devices:
            device.start_beacond()
        for device in devices:
            wait_until(lambda device=device: len(device.browse_list()) == 2, 90,
                       f"{device.name} lists both", device.beacond.explain)
        yield lab, *devices


def usn(device, product):
    return f"uuid:65746500-{product}-{device.address}-0"


def test_nodes_shows_every_known_device_as_an_aligned_table(pair):
    _, a, b = pair
    result = a.run(BEACONCTL, "nodes")
    assert result.stdout == (
        "  HOST NAME  PRODUCT     ADDRESS     USN\n"
        f"  studio-a   Corvia 12   192.0.2.10  {usn(a, 'Corvia 12')}\n"
        f"  studio-b   Lumen Plus  192.0.2.11  {usn(b, 'Lumen Plus')}\n")
    assert result.stderr == ""


def test_hosts_of_another_device_as_json(pair):
    _, a, b = pair
    result = a.run(BEACONCTL, "--json", "--host", b.address, "hosts")
    assert json.loads(result.stdout) == [{"hostName": "studio-b", "product": "Lumen Plus",
                                          "address": b.address, "usn": usn(b, "Lumen Plus")}]


def test_browse_shows_the_devices_browse_list(pair):
    _, a, _ = pair
    assert a.run(BEACONCTL, "browse").stdout == (
        "  HOST NAME  PRODUCT     ADDRESS     DESCRIPTION  BOARD ID\n"
        "  studio-a   Corvia 12   192.0.2.10  HD recorder  0x10650001\n"
        "  studio-b   Lumen Plus  192.0.2.11  4K encoder   0x10660002\n")


def test_browse_as_json_has_the_members_of_the_list_as_they_are(pair):
    _, a, _ = pair
    printed = a.run(BEACONCTL, "--json", "browse").stdout
    assert json.loads(printed) == a.browse_list()
    assert printed.count("\n") == 1


def test_a_host_is_an_address_a_listed_name_or_a_host_name(pair):
    _, a, b = pair
    wanted = {host: a.run(BEACONCTL, "--host", host, "hosts").stdout
              for host in (b.address, "studio-b", "127.0.0.1", "localhost")}
    assert usn(b, "Lumen Plus") in wanted["studio-b"]
    assert wanted["studio-b"] == wanted[b.address]
    assert usn(a, "Corvia 12") in wanted["localhost"]
    assert wanted["localhost"] == wanted["127.0.0.1"]
    search = a.run(BEACONCTL, "--host", "studio-b", "--timeout", "1", "search")
    assert search.stdout.startswith(f"{b.address}  {usn(b, 'Lumen Plus')}\n")


def test_a_host_that_nobody_knows_is_reported_on_one_line(pair):
    _, a, _ = pair
    result = a.run(BEACONCTL, "--host", "studio\x1b", "nodes", check=False)
    assert (result.returncode, result.stdout, result.stderr) == (
        3, "", 'beaconctl: no listed device and no host is named "studio\\x1b"\n')


def test_help_is_a_command_and_an_option(pair):
    _, a, _ = pair
    text = a.run(BEACONCTL, "--help").stdout
    assert text.startswith("usage: beaconctl [OPTION...] COMMAND\n")
    assert a.run(BEACONCTL, "help").stdout == text


def test_every_tool_prints_its_version(pair):
    _, a, _ = pair
    version = re.search(r"^project\(beacond VERSION (\S+)", (TOP / "CMakeLists.txt").read_text(),
                        re.M)[1]
    assert a.run(BEACONCTL, "--version").stdout == f"beaconctl {version}\n"
    assert a.run(CONFIGD, "--version").stdout == f"beacon-configd {version}\n"


def test_search_prints_each_answer(pair):
    _, a, b = pair
    result = a.run(BEACONCTL, "--json", "--timeout", "1", "search", "upnp:rootdevice")
    answers = [json.loads(line) for line in result.stdout.splitlines()]
    assert sorted((answer["address"], answer["usn"]) for answer in answers) == [
        (a.address, usn(a, "Corvia 12")), (b.address, usn(b, "Lumen Plus"))]
    alone = a.run(BEACONCTL, "--host", b.address, "--timeout", "1", "search")
    assert alone.stdout.startswith(f"{b.address}  {usn(b, 'Lumen Plus')}\n    ST        upnp:rootdevice\n")


def test_an_empty_result_has_status_1_and_a_missing_answer_status_3(pair):
    lab, a, _ = pair
    silent = lab.add_peer()
    nothing = a.run(BEACONCTL, "--timeout", "0.3", "search", "urn:nobody", check=False)
    assert (nothing.returncode, nothing.stdout, nothing.stderr) == (
        1, "", "beaconctl: nobody answered\n")
    away = a.run(BEACONCTL, "--host", silent.address, "--timeout", "0.3", "nodes", check=False)
    assert (away.returncode, away.stdout, away.stderr) == (
        3, "", f"beaconctl: no answer from {silent.address}\n"
        "beaconctl: run 'beaconctl status' on that device to find the cause\n")


def test_an_invalid_command_line_has_status_2(pair):
    _, a, _ = pair
    result = a.run(BEACONCTL, "frob", check=False)
    assert (result.returncode, result.stdout, result.stderr) == (
        2, "", "beaconctl: no such command: \"frob\"\nTry 'beaconctl --help'.\n")


def test_watch_shows_the_state_then_a_rename_and_ends_on_an_interrupt(pair):
    _, a, b = pair
    watch = a.start("watch", [BEACONCTL, "watch"])
    watch.wait_output("  studio-a  Corvia 12  192.0.2.10\n  studio-b  Lumen Plus  192.0.2.11\n")
    b.configure(hostName="studio-x")
    watch.wait_output("- studio-b  Lumen Plus  192.0.2.11\n", 60)
    watch.wait_output("+ studio-x  Lumen Plus  192.0.2.11\n", 90)
    assert watch.stop(signal.SIGINT) == 0
    b.configure(hostName="studio-b")


def drawn_on_terminal(device, *command, environment=None, status=0):
    """The output of a command on a device's terminal, up to its second drawing."""
    master, terminal = pty.openpty()
    program = device.start("terminal", list(command), environment, stdin=terminal,
                           stdout=terminal, stderr=terminal)
    os.close(terminal)
    drawn = b""
    while drawn.count(b"Ctrl-C ends.") < 2:
        drawn += os.read(master, 65536)
    assert program.stop(signal.SIGINT) == status
    os.close(master)
    return drawn


def test_watch_on_a_terminal_draws_in_place_without_colours_if_asked(pair):
    _, a, _ = pair
    plain = drawn_on_terminal(a, BEACONCTL, "watch", environment={"NO_COLOR": "1"})
    assert plain.startswith(b"\x1b[2J\x1b[?7l\x1b[HNodes of this device. New +, changed ~, gone -. "
                            b"Ctrl-C ends.\x1b[K\r\n")
    assert b"\r\n  studio-a" in plain  # present from the start: not marked as new
    assert not re.search(rb"\x1b\[\d+m", plain)


def test_watch_on_a_terminal_reports_a_missing_answer(pair):
    _, a, _ = pair
    drawn = drawn_on_terminal(a, BEACONCTL, "watch", "--host", "192.0.2.99", "--timeout", "0.1",
                              status=3)
    assert (b"Nodes of 192.0.2.99: no answer from 192.0.2.99; trying again. Ctrl-C ends.\x1b[K\r\n"
            in drawn)


def test_a_description_with_line_feeds_hides_no_device(pair):
    lab, a, b = pair
    forger = lab.add_peer()
    with forger.udp_socket() as sock:
        sock.sendto(b"HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\n"
                    b"<friendlyName>x\ny</friendlyName><modelName>Lu\nmen</modelName>"
                    b"<UDN>uuid:\n\n  ProductName:\"z</UDN>\r\n\r\n", (a.address, 1900))

    def listing():
        result = a.run(BEACONCTL, "nodes", check=False)
        return result if "x\\x0ay" in result.stdout and "studio-b" in result.stdout else None
    # Long enough for studio-b, whose name may just have changed.
    result = wait_until(listing, 90, "all devices are listed", a.beacond.explain)
    assert (result.returncode, result.stderr) == (0, "")
    assert [line.split("  ")[1] for line in result.stdout.splitlines()[1:]] == [
        "", "studio-a", "studio-b", "x\\x0ay"]
