"""A configuration service that is missing, silent or sends invalid data."""

import itertools
import json

import pytest

import expected
from health import PASS, status
from lab import wait_until
from lab.device import BROWSE_LIST
from misbehaving_service import HEADER, MisbehavingService, event

SERVICE = "WSConfig: 127.0.0.1:8080: "
START = ("Run beacond as Non-Daemonized\n"
         "initializing pubsub object\n"
         "Open: The diagnostic thread has started\n"
         "PubSub started\n")
REOPENED = ("SSDPThread: Exiting...\nSSDPDiagnosticThread: Exiting...\n"
            "Open: The diagnostic thread has started\n")
LARGE = 10_000_000  # bytes

# A valid event.
STATE = event(24, '{"ssdpEnable":true}')

names = (f"studio-{number}" for number in itertools.count(1))


def start_without_values(device, wire):
    """Starts beacond when no values arrive in time, and checks that it runs without them."""
    device.start_beacond().wait_output("-1HE000000' successfully established.\n")
    wire.wait_for(source=device.address, starting=b"M-SEARCH")
    assert device.beacond.stdout == START


def start_lines(device):
    """The daemon's lines on standard error about its product, and about the fall-back name,
    which it uses because it gets no host name. It composes this name twice: before and after
    the product and the serial number are known."""
    product = expected.product(device)
    name = f"vex-{product.model}-1HE000000"
    return ("getProductID productID is not initialized\n"
            f"*** getProductID: Found PRODUCT_ID env var, set to {device.spec.product}.\n"
            f"GetBoardIDFromProductID: found board ID {product.board} for productID "
            f"{device.spec.product}\n"
            "avahi host/service updating to: vex--\n"
            "name changed\n"
            f"avahi host/service updating to: {name}\n"
            f"Service '{name}' successfully established.\n")


def service_lines(device, start):
    """The daemon's lines on standard error about the configuration service, from the position
    `start` on."""
    return "".join(line for line in device.beacond.stderr[start:].splitlines(keepends=True)
                   if line.startswith(SERVICE))


def rename_and_wait(device, wire, rename):
    """Renames a device by calling `rename`, and waits for the effects."""
    since, name = wire.mark(), next(names)
    rename(name)
    sent = wire.wait_for(2, since=since, source=device.address, starting=b"NOTIFY", timeout=PASS)
    assert sent[0].data == expected.goodbye(device)
    expected.assert_alive(sent[1].data, device)
    assert f"<friendlyName>{name}<" in device.read("/var/www/html/corvia_12_upnp_ssdp_1.xml")


@pytest.fixture(scope="module")
def silent_start(lab, wire):
    """A device and its service, which accepts connections and never answers. Started first,
    because the stream counts as lost only after 45 s."""
    device = lab.add_device("silence", product="lumenplus")
    device.configd.stop()
    with MisbehavingService(device, b"") as service:
        start_without_values(device, wire)
        yield device, service


def test_a_silent_service_delays_the_start_by_5_s_only(silent_start, peer):
    device, service = silent_start
    assert device.beacond.stderr == (
        SERVICE + "not every value came within 5000 ms\n" + start_lines(device))
    service.wait_for_connections(1)
    assert peer.ask(b"gh", device.address, 49821) == b"HostList"


def test_without_a_service_it_starts_unannounced_and_answers(silent_start, device, wire, peer):
    device.configd.stop()
    start_without_values(device, wire)
    assert device.beacond.stderr == (
        SERVICE + "stream lost: Connection refused\n" +
        SERVICE + "not every value came within 5000 ms\n" + start_lines(device))
    assert not [each for each in wire.datagrams(device.address) if b"NOTIFY" in each.data]
    assert peer.ask(b"gh", device.address, 49821) == b"HostList"
    assert device.read(BROWSE_LIST) == "[]"


def test_a_service_that_starts_late_is_followed_at_once(device, wire):
    before = len(device.beacond.stderr)
    device.start_configd()
    sent = wire.wait_for(source=device.address, starting=b"NOTIFY", timeout=PASS)
    expected.assert_alive(sent[0].data, device)
    device.beacond.wait_output("Service 'studio-a' successfully established.\n")
    wait_until(lambda: device.read(BROWSE_LIST) == expected.browse_json(device), PASS,
               "the device in its own list", lambda: device.read(BROWSE_LIST))
    assert device.beacond.stderr[before:] == (
        SERVICE + "stream is back\nname changed\navahi host/service updating to: studio-a\n"
        "Service 'studio-a' successfully established.\n")
    # The name reopens the engine, and so do the interface's state and its address.
    assert device.beacond.stdout == START + 3 * REOPENED


def test_a_restarted_service_is_followed_again_without_a_goodbye_or_a_search(device, wire):
    since = wire.mark()
    out, err = len(device.beacond.stdout), len(device.beacond.stderr)
    device.configd.stop()
    wait_until(lambda: service_lines(device, err), PASS, "the line of the loss")
    device.start_configd()
    wait_until(lambda: service_lines(device, err) == (
        SERVICE + "stream lost: closed by the service\n" + SERVICE + "stream is back\n"),
        PASS, "the lines of loss and return", lambda: service_lines(device, err))
    wire.wait_for(since=since, source=device.address, starting=b"NOTIFY")
    for each in wire.datagrams(device.address, since):
        expected.assert_alive(each.data, device)  # regular announcements: no goodbye, no search
    assert device.beacond.stdout[out:] == ""
    rename_and_wait(device, wire, lambda name: device.configure(hostName=name))


WRONG_ANSWERS = {
    b"\x00\xff no HTTP at all\r\n\r\n": "bad HTTP answer: bad version",
    b"HTTP/1.1 500 Internal Server Error\r\nContent-Length: 0\r\n\r\n": "status 500",
    b"HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n\r\n{}": "not an event stream",
    b"HTTP/1.1 200 OK\r\nX: " + b"x" * LARGE: "bad HTTP answer: header limit exceeded",
    HEADER[:30]: "",  # only "closed by the service" is reported
    b"": "",
}


def test_a_repeated_wrong_answer_is_reported_once(device):
    err = len(device.beacond.stderr)
    lines = ""
    for fault in WRONG_ANSWERS.values():
        lines += SERVICE + "stream lost: closed by the service\n"
        if fault:
            lines += SERVICE + f"stream lost: {fault}\n"
        lines += SERVICE + "stream is back\n"
    answers = [each for wrong in WRONG_ANSWERS for each in (wrong, wrong, HEADER + STATE)]
    device.configd.stop()
    with MisbehavingService(device, *answers) as service:
        service.wait_for_connections(len(answers))
        wait_until(lambda: service_lines(device, err) == lines, PASS, "the lines",
                   lambda: service_lines(device, err))
    device.start_configd()
    wait_until(lambda: service_lines(device, err) == lines + (
        SERVICE + "stream lost: closed by the service\n" + SERVICE + "stream is back\n"), PASS,
        "the stream's return", lambda: service_lines(device, err))


DROPPED_EVENTS = {
    event(24, '{"hostName":"half'): "parameter 24: unterminated string",
    event(19, '[{"name":"net0","status"'): "parameter 19: unterminated string",
    event(19, "net0"): "parameter 19: illegal value",
    event(19, "[" * 200_000): "parameter 19: too deeply nested document",
    event(24, '{"hostName":"' + "x" * LARGE + '"}'): "over 262144 bytes",
    event(7, "{}"): "not of a watched parameter",
}
# JSON of the wrong type is ignored without a line.
WRONG_VALUES = [
    event(24, "[]"), event(24, "{}"), event(24, '{"hostName":7,"ssdpEnable":"no"}'),
    event(19, "{}"), event(19, "[1,2,3,4,5]"), event(19, '[{"activeParams":3,"status":[]}]'),
]


def test_invalid_events_are_dropped_and_the_stream_continues(device, wire, peer):
    out, err = len(device.beacond.stdout), len(device.beacond.stderr)
    before = status(device.beacond, "VmRSS")
    device.configd.stop()
    with MisbehavingService(device, HEADER) as service:
        service.wait_for_connections(1)
        for data in [*DROPPED_EVENTS, *WRONG_VALUES]:
            service.send(data)
        lines = (SERVICE + "stream lost: closed by the service\n" +
                 "".join(SERVICE + f"event dropped: {line}\n" for line in DROPPED_EVENTS.values()) +
                 SERVICE + "stream is back\n")
        wait_until(lambda: service_lines(device, err) == lines, PASS, "the lines",
                   lambda: service_lines(device, err))
        assert device.beacond.stdout[out:] == ""
        rename_and_wait(device, wire, lambda name: service.send(
            event(24, json.dumps({"hostName": name}))))
    # 10 MB were sent, but at most 256 KiB of an event are stored.
    assert status(device.beacond, "VmHWM") - before < 4 << 20
    assert peer.ask(b"gh", device.address, 49821).startswith(b"HostList\n  ProductName:")
    device.start_configd()
    device.wait_for_configd()


def test_a_silent_service_counts_as_lost_after_45_s_and_the_next_is_followed(
        silent_start, wire):
    device, service = silent_start
    device.beacond.wait_output(SERVICE + "stream lost: silent for 45000 ms\n", timeout=60)
    service.wait_for_connections(2)
    service.send(HEADER + event(24, '{"hostName":"found","ssdpEnable":true}') +
                 event(19, json.dumps([{
                     "name": "net0", "activeParams": {"address": device.address},
                     "status": {"interfaceSetupState": "Complete", "connected": True}}])))
    sent = wire.wait_for(source=device.address, starting=b"NOTIFY", timeout=PASS)
    expected.assert_alive(sent[0].data, device)


def test_a_host_name_too_long_for_dns_sd_ends_the_daemon(device):
    device.configd.stop()
    with MisbehavingService(device, HEADER + event(24, json.dumps({"hostName": "a" * 200_000}))):
        assert device.beacond.wait() == 1
    assert device.beacond.stderr.endswith(
        f"name changed\navahi host/service updating to: {'a' * 255}\n"
        f"Failed to add service {'a' * 255}: Invalid service name\n")
