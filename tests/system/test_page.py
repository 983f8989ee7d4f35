"""The web server for the pages of the demonstration's devices."""

import http.client
import os
import re
import socket
from types import SimpleNamespace

import pytest

from conftest import TOP
from lab.page import DEVICE_PAGES, DiscoveryPages

FILES = sorted(file for file in (TOP / "web/discovery").iterdir() if file.name != DEVICE_PAGES.name)
LIST = b'[{"hostName":"studio-a"}]'
OUTSIDE = "README.md"  # two folders above the page
FOLDER = "/192.0.2.10/discovery/"  # of the device in these tests
LISTED = FOLDER + "browse.json"


@pytest.fixture
def page(device):
    """The served pages of the device, with LIST as its list."""
    list_file(device).write_bytes(LIST)
    with DiscoveryPages([device]) as served:
        yield served
    if list_file(device).is_dir():
        list_file(device).rmdir()
    else:
        list_file(device).unlink(missing_ok=True)


def list_file(device):
    return device.path("/var/www/discovery/browse.json")


def ask(page, path, method="GET", **headers):
    """Requests exactly this path; returns the answer and its body."""
    connection = http.client.HTTPConnection("127.0.0.1", page.port, timeout=10)
    try:
        connection.request(method, path, headers=headers)
        answer = connection.getresponse()
        return answer, answer.read()
    finally:
        connection.close()


@pytest.mark.parametrize("file", FILES, ids=lambda file: file.name)
def test_every_file_of_the_page_is_served_with_its_type(page, file):
    answer, body = ask(page, FOLDER + file.name)
    assert answer.status == 200
    assert body == file.read_bytes()
    assert answer.headers["Content-Type"] == {
        ".html": "text/html; charset=utf-8", ".css": "text/css", ".js": "text/javascript",
        ".svg": "image/svg+xml"}[file.suffix]


def test_the_address_of_the_folder_shows_the_page(page, device):
    assert page.url(device) == f"http://127.0.0.1:{page.port}/192.0.2.10/discovery/"
    assert page.fetch(FOLDER) == (200, (TOP / "web/discovery/index.html").read_bytes())


def test_the_page_gets_the_device_pages_js_of_the_demonstration(page):
    answer, body = ask(page, f"{FOLDER}device_pages.js")
    assert answer.headers["Content-Type"] == "text/javascript"
    assert body == (TOP / "tools/lab/device_pages.js").read_bytes()


def test_both_versions_of_device_pages_js_export_the_same_functions():
    def exported(path):
        return re.findall(r"^export function (\w+)", path.read_text(), re.M)
    assert exported(DEVICE_PAGES) == exported(TOP / "web/discovery" / DEVICE_PAGES.name) \
        == ["pageOf", "hostOfThisPage"]


START = """<!DOCTYPE html>
<html lang="en">
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<meta name="color-scheme" content="light dark">
<title>{0}</title>
<h1>{0}</h1>
<p>A virtual device: {1} at 192.0.2.10.</p>
<p><a href="discovery/">The devices that {0} sees</a></p>
"""


def test_each_device_has_a_start_page_with_the_name_that_it_has_now(page, device):
    for name, shown in [("studio-a", "studio-a"), ("a&b", "a&amp;b"), ("studio-a", "studio-a")]:
        device.host_name = name
        answer, body = ask(page, "/192.0.2.10/")
        assert answer.status == 200
        assert answer.headers["Content-Type"] == "text/html; charset=utf-8"
        assert body.decode() == START.format(shown, device.spec.product)
    answer, body = ask(page, "/192.0.2.10/", "HEAD")
    assert (answer.status, body) == (200, b"")


def test_the_list_is_read_from_the_device_at_every_request(page, device):
    answer, body = ask(page, LISTED)
    assert (answer.status, body) == (200, LIST)
    assert answer.headers["Content-Type"] == "application/json"
    assert answer.headers["Cache-Control"] == "no-cache"
    list_file(device).write_bytes(b"[]")
    assert page.fetch(LISTED) == (200, b"[]")


def test_without_a_list_the_status_is_404(page, device):
    list_file(device).unlink()
    assert page.fetch(LISTED)[0] == 404


def test_an_unchanged_list_is_not_sent_again(page):
    first, _ = ask(page, LISTED)
    again, body = ask(page, LISTED, **{"If-None-Match": first.headers["ETag"]})
    assert (again.status, body) == (304, b"")
    assert again.headers["ETag"] == first.headers["ETag"]
    assert again.headers["Last-Modified"] == first.headers["Last-Modified"]


def test_a_list_rewritten_within_a_second_is_sent(page, device):
    os.utime(list_file(device), ns=(0, 1_700_000_000_000_000_000))
    first, _ = ask(page, LISTED)
    assert first.headers["Last-Modified"] == "Tue, 14 Nov 2023 22:13:20 GMT"
    list_file(device).write_bytes(b"[]")
    os.utime(list_file(device), ns=(0, 1_700_000_000_500_000_000))
    again, body = ask(page, LISTED, **{"If-None-Match": first.headers["ETag"]})
    assert (again.status, body) == (200, b"[]")
    assert again.headers["Last-Modified"] == first.headers["Last-Modified"]


@pytest.mark.parametrize("path", [
    "/", "/discovery/", f"{FOLDER}.", f"{FOLDER}./", f"{FOLDER}browse.json/",
    f"{FOLDER}absent.js", "/browse.json", "/index.html", f"{FOLDER}__browse.json",
    "/192.0.2.10", "/192.0.2.11/", "/192.0.2.11/discovery/",
    f"/../{OUTSIDE}", f"{FOLDER}../../{OUTSIDE}", f"{FOLDER}%2e%2e/%2e%2e/{OUTSIDE}",
    f"{FOLDER}..%2f..%2f{OUTSIDE}", f"{FOLDER}..\\..\\{OUTSIDE}",
    "/etc/passwd", "//etc/passwd", f"{FOLDER}/etc/passwd", f"{FOLDER}%2fetc/passwd",
    f"{FOLDER}index.html%00", "file:///etc/passwd", f"http://192.0.2.1{FOLDER}"])
def test_no_other_files_can_be_read(page, path):
    assert (TOP / "web/discovery/../.." / OUTSIDE).is_file()
    answer, body = ask(page, path)
    assert answer.status == 404
    assert b"root:" not in body and b"beacond" not in body


@pytest.mark.parametrize("target", ["/etc/passwd", "../../../etc/passwd", "../html/other"])
def test_a_symbolic_link_instead_of_the_list_is_not_followed(page, device, target):
    device.path("/var/www/html/other").write_text("other")
    list_file(device).unlink()
    list_file(device).symlink_to(target)
    assert page.fetch(LISTED)[0] == 404


@pytest.mark.parametrize("make", [os.mkdir, os.mkfifo])
def test_only_regular_files_are_served(page, device, make):
    list_file(device).unlink()
    make(list_file(device))
    assert page.fetch(LISTED)[0] == 404


def test_the_answer_to_head_has_no_body(page):
    answer, body = ask(page, LISTED, "HEAD")
    assert (answer.status, body) == (200, b"")
    assert answer.headers["Content-Length"] == str(len(LIST))


@pytest.mark.parametrize("method", ["POST", "PUT", "PATCH", "DELETE", "OPTIONS", "CONNECT"])
def test_other_methods_are_refused(page, device, method):
    answer, _ = ask(page, LISTED, method)
    assert answer.status == 501
    assert list_file(device).read_bytes() == LIST


def test_it_listens_only_on_one_loopback_address(page):
    with pytest.raises(ConnectionRefusedError):
        socket.create_connection(("127.0.0.2", page.port), timeout=5)


def test_a_browser_that_disconnects_causes_no_output(page, capsys):
    with socket.create_connection(("127.0.0.1", page.port), timeout=5) as sock:
        sock.sendall(f"GET {LISTED} HTTP/1.0\r\n".encode())
        sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, b"\1\0\0\0\0\0\0\0")
    assert page.fetch(FOLDER)[0] == 200
    assert capsys.readouterr() == ("", "")


def test_it_ends_at_once_and_frees_the_port(page, device):
    with DiscoveryPages([device]) as other:
        assert other.fetch(FOLDER)[0] == 200
    with pytest.raises(ConnectionRefusedError):
        other.fetch(FOLDER)


def test_missing_entries_and_unreachable_pages_are_reported(page, device):
    assert list(page.missing([device])) == []
    list_file(device).write_bytes(b"[]")
    assert list(page.missing([device])) == [
        f"{page.url(device)}browse.json, status 200, does not list studio-a"]
    list_file(device).unlink()
    assert list(page.missing([device])) == [
        f"{page.url(device)}browse.json, status 404, does not list studio-a"]
    other = SimpleNamespace(address="192.0.2.11", host_name="studio-b")
    assert list(page.missing([device, other]))[1:] == [
        f"{page.url(device)}browse.json, status 404, does not list studio-b",
        f"{page.start_url(other)} answers with status 404"]
