"""The DNS-SD service of a device with a real avahi-daemon, as avahi-browse shows it."""

import re

import pytest

from conftest import TOP
from lab import DeviceSpec, wait_until

LIMIT = 30


@pytest.fixture(scope="module")
def pair(lab):
    """A device that is published, and one that only browses."""
    devices = lab.add_devices([DeviceSpec("studio-a", product="corvia12"),
                               DeviceSpec("studio-b", product="lumenplus")])
    devices[0].start_beacond().wait_output("Service 'studio-a' successfully established.")
    return devices


def seen(observer):
    return [(each["name"], each["address"], each["port"], each["text"])
            for each in observer.mdns_services()]


def test_the_service_has_name_address_port_and_txt(pair):
    published, observer = pair
    wait_until(lambda: seen(observer) == [
        ("studio-a", published.address, 80, '"path=/" "txtvers=1"')], LIMIT,
        "the service", lambda: str(seen(observer)))


def test_others_resolve_a_changed_address(pair):
    published, observer = pair
    published.change_address("192.0.2.77")
    wait_until(lambda: [each[:2] for each in seen(observer)] == [("studio-a", "192.0.2.77")], LIMIT,
               "the new address", lambda: str(seen(observer)))
    assert published.beacond.status is None


def test_a_renamed_host_is_found_only_by_its_new_name(pair):
    published, observer = pair
    published.configure(hostName="2nd Studio_A")
    wait_until(lambda: [each[0] for each in seen(observer)] == ["ndStudioA"], LIMIT,
               "the new name", lambda: str(seen(observer)))


def test_the_service_follows_a_new_host_name_of_avahi_daemon(pair):
    published, observer = pair
    published.run("avahi-set-host-name", "other")
    wait_until(lambda: [(each["name"], each["host"]) for each in observer.mdns_services()] == [
        ("ndStudioA", "other.local")], LIMIT, "the service of the new host",
        lambda: str(observer.mdns_services()))


def test_the_service_names_are_those_of_the_table_in_the_document(pair):
    published, observer = pair
    table = re.search(r"\| `hostName` \| DNS-SD service \|\n\|---\|---\|\n((?:\|.*\n)+)",
                      (TOP / "docs/operations.md").read_text())[1]
    rows = re.findall(r"^\| `(.*)` \| `(.*)` \|$", table, re.M)
    assert len(rows) == 3
    for name, kept in rows:
        published.configure(hostName=name)
        wait_until(lambda kept=kept: [each[0] for each in seen(observer)] == [kept], LIMIT, kept,
                   lambda: str(seen(observer)))


def test_with_ssdp_switched_off_the_service_stays(pair):
    published, observer = pair
    published.configure(ssdpEnable=False)
    published.configure(hostName="hidden")  # kept for later, not published
    published.configure(ssdpEnable=True)
    assert [each[0] for each in seen(observer)] == ["Bro31"]  # the last name of the table
    published.configure(hostName="studio-a")
    wait_until(lambda: [each[0] for each in seen(observer)] == ["studio-a"], LIMIT,
               "the first name again", lambda: str(seen(observer)))


def test_the_end_of_avahi_daemon_ends_the_daemon_with_status_1(pair):
    published, observer = pair
    published.avahi.stop()
    assert published.beacond.wait() == 1
    assert published.beacond.stderr.endswith("Client failure: Daemon connection failed\n")
    wait_until(lambda: not seen(observer), LIMIT, "the goodbye of avahi-daemon")


def test_without_an_avahi_daemon_the_daemon_ends_with_status_1(pair):
    published, _ = pair
    beacond = published.start_beacond()
    assert beacond.wait() == 1
    assert beacond.stderr.endswith("Failed to create client: Daemon not running\n")
    assert "PubSub started" not in beacond.stdout
