"""Three machines of 96 MB with BusyBox's init and the /etc/inittab of docs/embedded.md, on a
network with two virtual devices. The machines' clocks start in 1970."""

import time

import pytest

import expected
from lab import DeviceSpec, wait_until
from lab.device import BROWSE_LIST
from lab.machine import BUSYBOX

LIMIT = 300  # seconds; an idle computer with two processors needs 50


@pytest.fixture(scope="module")
def machines(lab, add_machine, wire):
    made = [add_machine(name=name, address=address, init=BUSYBOX, memory=96,
                        clock="1970-01-01T00:00:00")
            for name, address in [("machine-a", "192.0.2.50"), ("machine-b", "192.0.2.51"),
                                  ("machine-c", "192.0.2.52")]]
    for each in made:
        each.power_on()
    return made


@pytest.fixture(scope="module")
def devices(lab, wire):
    made = lab.add_devices([DeviceSpec("studio-a", product="lumenplus"),
                            DeviceSpec("studio-b", product="talonmx")])
    for each in made:
        each.start_beacond()
    return made


@pytest.fixture(scope="module")
def everybody(machines, devices):
    return [*machines, *devices]


def wait_for_lists(everybody, wanted):
    for each in everybody:
        wait_until(lambda: each.read(BROWSE_LIST) == wanted, LIMIT, f"the list of {each.name}",
                   lambda: each.read(BROWSE_LIST))


def test_every_list_contains_every_machine_and_device(everybody):
    wait_for_lists(everybody, expected.browse_json(*everybody))


def test_the_registries_contain_every_machine_and_device(everybody, peer):
    wait_for_lists(everybody, expected.browse_json(*everybody))
    for each in everybody:
        assert peer.ask(b"gn", each.address, 49821, timeout=60) == expected.listing(
            "NodeList", *everybody)


def test_every_machine_announces_itself(machines, wire):
    for machine in machines:
        first = wire.wait_for(source=machine.address, starting=b"NOTIFY", timeout=LIMIT)[0]
        expected.assert_alive(first.data, machine)


def test_a_device_sees_every_machine_by_dns_sd(machines, devices):
    wanted = {(each.name, each.address) for each in [*machines, *devices]}
    def services():
        return {(each["name"], each["address"]) for each in devices[0].mdns_services()}
    wait_until(lambda: services() == wanted, LIMIT, "all services", services)


def test_a_step_of_the_clock_from_1970_to_now_removes_nobody(lab, everybody, wire):
    machine = everybody[0]
    wait_for_lists(everybody, expected.browse_json(*everybody))
    assert machine.run("date", "+%Y").stdout == "1970\n"
    since = wire.mark()
    machine.run("date", "-s", f"@{int(time.time())}")
    # The lists contain a later device, so they were written after the step. The test does not wait
    # for a new name of a listed device: a list may keep the former name for 15 minutes
    # (docs/scale.md, "A former name stays").
    later = lab.add_device("studio-c")
    later.start_beacond()
    wait_for_lists(everybody, expected.browse_json(*everybody, later))
    assert not [each for each in wire.datagrams(machine.address, since) if b"byebye" in each.data]


def test_a_command_that_fails_or_hangs_is_reported_with_the_logs(machines):
    machine = machines[0]
    logs = f"{machine.name}: the logs are .*/{machine.name}.serial.log"
    with pytest.raises(RuntimeError, match=f"status 7\nnothing\n{logs}"):
        machine.run("sh", "-c", "echo nothing; exit 7")
    with pytest.raises(TimeoutError, match=logs):
        machine.run("sleep", "5", timeout=0)
    assert machine.run("echo", "still there").stdout == "still there\n"
