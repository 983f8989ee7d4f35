"""Debian's web servers with the configuration of docs/operations.md serve the discovery page."""

import http.client
import json
import re
import socket
import subprocess
from urllib.parse import urljoin, urlsplit

import pytest

from conftest import TOP
from documented import block
from lab import wait_until

NGINX = block("docs/operations.md", "location ~")
LIGHTTPD = block("docs/operations.md", "server.modules")
BUSYBOX = block("docs/operations.md", "ln -sfn")
PAGE = "/var/lib/beacond-web"  # /usr/share belongs to this machine
TYPES = {"js": {"application/javascript", "text/javascript"}, "css": {"text/css"},
         "svg": {"image/svg+xml"}, "html": {"text/html"}}


def write_over(device, path, text):
    """Replaces one of this machine's files for the device only."""
    copy = "/run/lab/" + path.replace("/", "-")
    device.path(copy).write_text(text)
    device.run("mount", "--bind", copy, path)


def nginx(device):
    site = "/etc/nginx/sites-available/default"
    before, _, after = (TOP / site).read_text().partition("\tlocation / {")
    assert after
    write_over(device, site, f"{before}{NGINX}\tlocation / {{{after}")
    device.run("mkdir", "-p", "/var/log/nginx", "/var/lib/nginx")
    return ["nginx", "-g", "daemon off;"]


def lighttpd(device):
    device.run("sh", "-ec", """
        mkdir -p /var/log/lighttpd /var/cache/lighttpd/uploads /var/cache/lighttpd/compress /run/conf
        chown www-data /var/log/lighttpd
        cp -a /etc/lighttpd/conf-enabled/. /run/conf
        mount --bind /run/conf /etc/lighttpd/conf-enabled""")
    device.path("/etc/lighttpd/conf-enabled/50-beacond.conf").write_text(LIGHTTPD)
    return ["lighttpd", "-D", "-f", "/etc/lighttpd/lighttpd.conf"]


def busybox(_device):
    link, server = BUSYBOX.splitlines()
    return ["sh", "-c", f"{link} && exec {server}"]


@pytest.fixture(scope="module")
def page(running_device):
    """Makes the device's folders as the package beacond-web does. Returns the folder of the page's
    files."""
    running_device.run("mkdir", "-p", PAGE)
    subprocess.run(["cmake", f"-DOUTPUT={running_device.path(PAGE)}", "-P",
                    TOP / "web/compose.cmake"], check=True)
    postinst = (TOP / "packaging/debian/beacond-web/postinst").read_text()
    running_device.run("sh", "-c", postinst.replace("/usr/share/beacond-web", PAGE))
    wait_until(running_device.browse_list, 60, "the browse list")
    return running_device.path(PAGE)


@pytest.fixture(scope="module", params=[nginx, lighttpd, busybox], ids=lambda server: server.__name__)
def web(request, running_device, page):
    """Serves the device's page by a web server. Returns a function that fetches a path."""
    server = running_device.start(request.param.__name__, request.param(running_device))

    def fetch(path, **headers):
        connection = http.client.HTTPConnection(running_device.address, timeout=10)
        with running_device.network():
            connection.sock = socket.create_connection((running_device.address, 80), timeout=10)
        try:
            connection.request("GET", path, headers=headers)
            answer = connection.getresponse()
            return answer, answer.read()
        finally:
            connection.close()

    def answers():
        try:
            return fetch("/")
        except ConnectionRefusedError:
            return None
    wait_until(answers, 20, "the web server", server.explain)
    fetch.is_busybox = request.param is busybox
    yield fetch
    server.stop()


def test_the_readme_has_the_lines_for_nginx():
    assert NGINX in block("README.md", "apt install -y nginx-light")


def test_the_page_and_all_that_it_loads_is_served_with_its_type(web, page):
    loaded = ["index.html", *(str(file.relative_to(page)) for file in page.glob("page-*/*"))]
    assert len(loaded) > 20
    for name in loaded:
        answer, body = web("/discovery/" + name.removeprefix("index.html"))
        assert (answer.status, body) == (200, (page / name).read_bytes()), name
        assert answer.headers["Content-Type"].split(";")[0] in TYPES[name.rpartition(".")[2]]


def test_without_the_slash_the_address_leads_to_the_page(web):
    answer, _ = web("/discovery", Host="studio-a.example:8000")
    assert answer.status in (301, 302)
    asked = "http://studio-a.example:8000/discovery"
    assert urljoin(asked, answer.headers["Location"]) == "http://studio-a.example:8000/discovery/"


def test_the_list_is_served_with_the_times_that_the_page_needs(web, running_device):
    answer, body = web("/discovery/browse.json")
    assert (answer.status, json.loads(body)) == (200, running_device.browse_list())
    assert answer.headers["Last-Modified"] and answer.headers["Date"]


def test_a_list_that_the_browser_has_is_not_sent_again(web):
    first, _ = web("/discovery/browse.json")
    again, body = web("/discovery/browse.json", **{"If-None-Match": first.headers["ETag"]})
    assert (again.status, body) == (304, b"")


def test_nginx_and_lighttpd_send_no_cache_with_every_file(web, page):
    # BusyBox cannot send this header; tests/web/browser/upgrade_test.js shows what browsers do
    # without it.
    wanted = None if web.is_busybox else "no-cache"
    folder = next(page.glob("page-*")).name
    for name in ("", "browse.json", f"{folder}/discovery.js"):
        assert web(f"/discovery/{name}")[0].headers["Cache-Control"] == wanted, name


def test_the_presentation_url_of_the_description_is_a_page_that_leads_to_the_list(web, running_device):
    _, description = web("/corvia_12_upnp_ssdp_1.xml")
    url = re.search(b"<presentationURL>(.*)</presentationURL>", description)[1].decode()
    assert url == f"http://{running_device.address}:80/index.html"
    answer, body = web(urlsplit(url).path)
    assert answer.status == 200
    link, = re.findall('href="(.*?)"', body.decode())
    assert urljoin(url, link) == f"http://{running_device.address}:80/discovery/"
    assert web("/")[1] == body


def test_nothing_outside_the_two_folders_is_served(web, running_device):
    running_device.path("/var/www/secret").write_text("secret")
    running_device.run("mkdir", "-p", "/var/www/discovery2")
    running_device.path("/var/www/discovery2/secret").write_text("secret")
    for path in ("/secret", "/../secret", "/discovery/../secret", "/discovery/../../secret",
                 "/discovery../secret", "/discovery/%2e%2e/secret", "/discovery2/secret"):
        assert b"secret" not in web(path)[1], path
