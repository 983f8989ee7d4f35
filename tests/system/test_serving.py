"""A device's answers to GET on the SSDP port."""

import os

import pytest

import expected
from lab import wait_until
from raw_device import wait_until_read

WEB_ROOT = "/var/www/html"
NOTE = "GET /note.xml HTTP/1.1\r\n\r\n"
UNKNOWN = "ParseSSDPPacket: Don't know what to do with this method:\n"
# An answer is sent at one of the next three ticks, at random. Of this many later answers, at
# least one is sent at the third tick, after all earlier ones (except once in ten million
# runs).
LATER = 40
# Three ticks of at most 5.75 s, each of which can take twice as long.
LIMIT = 40

# Requests that are answered, and the files whose contents are sent.
SERVED = {
    "as a device of the family asks": (
        "GET http://192.0.2.10:80/corvia_12_upnp_ssdp_1.xml HTTP/1.1\r\n"
        "HOST:192.0.2.10:1900\r\n\r\n",
        "corvia_12_upnp_ssdp_1.xml"),
    "a path alone": ("GET /note.xml", "note.xml"),
    "another host and folders": ("GET http://elsewhere:8080/some/where/note.xml", "note.xml"),
    "something after the name": ("GET /note.xml?query#part", "note.xml"),
    "headers that name another file": (f"{NOTE}X: /missing.xml\r\n", "note.xml"),
    "a file called xml": ("GET /xml", "xml"),
    "a folder that is called like a part of the ending": ("GET /a.x/note.xml", "note.xml"),
    "an empty file": ("GET /empty.xml", "empty.xml"),
    "a host without the two slashes": ("GET x:/note.xml", "note.xml"),
}

REFUSED = {
    "a missing file": "GET /missing.xml",
    "a file of another type": "GET /page.html",
    "no name": "GET / HTTP/1.1\r\n\r\n",
    "nothing": "GET",
    "no slash": "GET note.xml",
    "a file above the web root": "GET /../above.xml",
    "a file above the web root by its encoded path": "GET /..%2fabove.xml",
    "a file in a folder": "GET /folder/inner.xml",
    "a folder": "GET /folder.xml",
    "a pipe": "GET /pipe.xml",
    "a file larger than a datagram": "GET /large.xml",
    "other capitals": "GET /NOTE.XML",
    "the name after a NUL": "GET \0/note.xml",
}

UNKNOWN_METHODS = ["get /note.xml", "GETS /note.xml", "HEAD /note.xml", "POST /note.xml"]


def fill_web_root(device):
    root = device.path(WEB_ROOT)
    (root / "note.xml").write_text("two lines\nof text")
    (root / "xml").write_text("a file called xml\n")
    (root / "empty.xml").write_text("")
    (root / "torn.xml").write_text("before\0after")
    (root / "page.html").write_text("not served")
    (root / "large.xml").write_text(65508 * "x")
    (root / "../above.xml").write_text("not served")
    (root / "folder").mkdir()
    (root / "folder/inner.xml").write_text("not served")
    (root / "folder.xml").mkdir()
    os.mkfifo(root / "pipe.xml")


class Question:
    """A request from its own port, and the answers to it."""

    def __init__(self, device, peer, request):
        self._socket = peer.udp_socket()
        self._socket.setblocking(False)
        self._socket.sendto(request.encode(), (device.address, 1900))
        self._answers = []

    def answers(self):
        """All answers so far, each with its sender."""
        try:
            while True:
                self._answers.append(self._socket.recvfrom(65536))
        except BlockingIOError:
            return self._answers

    def close(self):
        self._socket.close()


@pytest.fixture(scope="module")
def asked(running_device, peer):
    """All requests by name. They were sent at once, and all their answers must have arrived."""
    fill_web_root(running_device)
    requests = {name: request for name, (request, _) in SERVED.items()} | REFUSED
    requests["torn"] = "GET /torn.xml"
    requests |= {method: method for method in UNKNOWN_METHODS}
    questions = {name: Question(running_device, peer, request)
                 for name, request in requests.items()}
    wait_until_read(running_device, peer)
    later = [Question(running_device, peer, NOTE) for _ in range(LATER)]
    wait_until(lambda: all(each.answers() for each in later), LIMIT, "the later answers",
               running_device.beacond.explain)
    yield questions
    for each in [*questions.values(), *later]:
        each.close()


@pytest.mark.parametrize("name", SERVED)
def test_a_file_of_the_web_root_is_sent_completely_to_the_requesting_port(
        asked, running_device, name):
    text = running_device.read(f"{WEB_ROOT}/{SERVED[name][1]}")
    assert asked[name].answers() == [(expected.served(text), (running_device.address, 1900))]


def test_the_served_description_is_the_announced_one(asked, running_device):
    [(answer, _)] = asked["as a device of the family asks"].answers()
    assert answer == expected.served(expected.document(running_device))
    assert len(answer) <= 1472  # fits into an Ethernet frame


def test_a_served_text_ends_at_its_first_nul_but_has_the_length_of_the_file(
        asked, running_device):
    assert asked["torn"].answers() == [(expected.served("before", length=12),
                                        (running_device.address, 1900))]


@pytest.mark.parametrize("name", REFUSED)
def test_anything_else_is_not_answered(asked, name):
    assert asked[name].answers() == []


@pytest.mark.parametrize("request_line", UNKNOWN_METHODS)
def test_another_method_is_reported_and_not_answered(asked, running_device, request_line):
    assert asked[request_line].answers() == []
    assert running_device.beacond.stderr.count(f"{UNKNOWN}{request_line}\n") == 1


def test_refusals_are_silent(asked, running_device):
    assert "xml" not in running_device.beacond.stderr.replace("/note.xml", "")
