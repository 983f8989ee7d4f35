"""A web server for the pages of the devices, for browsers on this machine."""

import html
import http.client
import http.server
import json
import os
import stat
import sys
import threading
from email.utils import formatdate
from pathlib import Path

from .device import BROWSE_LIST

PAGE_FOLDER = Path(__file__).resolve().parents[2] / "web/discovery"
DEVICE_PAGES = Path(__file__).with_name("device_pages.js")
TYPES = {".html": "text/html; charset=utf-8", ".css": "text/css", ".js": "text/javascript",
         ".svg": "image/svg+xml", ".json": "application/json"}

START_PAGE = """<!DOCTYPE html>
<html lang="en">
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<meta name="color-scheme" content="light dark">
<title>{name}</title>
<h1>{name}</h1>
<p>A virtual device: {product} at {address}.</p>
<p><a href="discovery/">The devices that {name} sees</a></p>
"""


class DiscoveryPages:
    """A web server on this machine's loopback interface. Each device has a folder that is
    named by its address: with a start page, and in the subfolder discovery/ the discovery page
    and the device's browse list. Use it in a `with` statement."""

    def __init__(self, devices):
        self._server = _Server(("127.0.0.1", 0), _Handler)
        self._server.devices = {f"/{device.address}/": device for device in devices}
        self._server.files = {}
        for folder, device in self._server.devices.items():
            self._add_files(folder + "discovery/", device)
        # Open requests must not delay the end of the program.
        self._thread = threading.Thread(target=self._server.serve_forever, args=(0.1,),
                                        daemon=True)

    def _add_files(self, folder, device):
        files = {file.name: file for file in PAGE_FOLDER.iterdir()}
        files |= {"": files["index.html"], "browse.json": device.path(BROWSE_LIST),
                  # Links lead to the devices' folders, not to addresses out of reach.
                  DEVICE_PAGES.name: DEVICE_PAGES}
        self._server.files |= {folder + name: file for name, file in files.items()}

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *unused):
        self._server.shutdown()
        self._thread.join()
        self._server.server_close()

    @property
    def port(self):
        return self._server.server_port

    def start_url(self, device):
        return f"http://127.0.0.1:{self.port}/{device.address}/"

    def url(self, device):
        """The address of a device's discovery page."""
        return f"{self.start_url(device)}discovery/"

    def fetch(self, path):
        """Fetches a file by HTTP; returns the status and the bytes."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=10)
        try:
            connection.request("GET", path)
            answer = connection.getresponse()
            return answer.status, answer.read()
        finally:
            connection.close()

    def missing(self, devices):
        """Sentences that say which of `devices` a browser does not see on the first one's
        discovery page, and which start pages do not answer."""
        url, folder = self.url(devices[0]), f"/{devices[0].address}/discovery/"
        status, text = self.fetch(folder)
        if (status, text) != (200, (PAGE_FOLDER / "index.html").read_bytes()):
            yield f"{url} answers with status {status} and {text[:100]!r}"
        status, text = self.fetch(folder + "browse.json")
        listed = [entry["hostName"] for entry in json.loads(text)] if status == 200 else []
        for device in devices:
            if device.host_name not in listed:
                yield f"{url}browse.json, status {status}, does not list {device.host_name}"
            started, _ = self.fetch(f"/{device.address}/")
            if started != 200:
                yield f"{self.start_url(device)} answers with status {started}"


class _Server(http.server.ThreadingHTTPServer):
    def handle_error(self, request, client_address):
        if not isinstance(sys.exc_info()[1], ConnectionError):  # a browser that has left
            super().handle_error(request, client_address)


class _Handler(http.server.BaseHTTPRequestHandler):
    """Serves only the start pages of the server's `devices` and its `files`, two dictionaries by
    path. The path of a request is looked up there, and never opened."""

    def do_GET(self):
        self._answer(with_body=True)

    def do_HEAD(self):
        self._answer(with_body=False)

    def log_message(self, *unused):
        pass  # the terminal shows the devices

    def _answer(self, with_body):
        path = self.path.partition("?")[0]
        if path in self.server.devices:
            self._answer_start_page(self.server.devices[path], with_body)
            return
        file = self.server.files.get(path)
        content = read_file(file) if file else None
        if content is None:
            self.send_error(404)
            return
        self._answer_file(file, *content, with_body)

    def _answer_start_page(self, device, with_body):
        texts = {"name": device.host_name, "product": device.spec.product, "address": device.address}
        body = START_PAGE.format_map({key: html.escape(text) for key, text in texts.items()}).encode()
        self.send_response(200)
        self.send_header("Cache-Control", "no-cache")
        self._send_body(".html", body, with_body)

    def _answer_file(self, file, body, changed, with_body):
        # Last-Modified counts in seconds, and two lists can be written within one second.
        tag = f'"{changed:x}"'
        is_known = self.headers["If-None-Match"] == tag
        self.send_response(304 if is_known else 200)
        self.send_header("ETag", tag)
        self.send_header("Last-Modified", formatdate(changed // 10**9, usegmt=True))
        self.send_header("Cache-Control", "no-cache")
        if is_known:
            self.end_headers()
        else:
            self._send_body(file.suffix, body, with_body)

    def _send_body(self, suffix, body, with_body):
        self.send_header("Content-Type", TYPES[suffix])
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        if with_body:
            self.wfile.write(body)


def read_file(path):
    """The bytes of a regular file and its modification time in ns; None for anything else.
    Symbolic links are not followed: a link in a device would be resolved on this machine."""
    try:
        descriptor = os.open(path, os.O_RDONLY | os.O_NOFOLLOW | os.O_NONBLOCK)
    except OSError:
        return None
    try:
        state = os.fstat(descriptor)
        if not stat.S_ISREG(state.st_mode):
            return None
        with open(descriptor, "rb", closefd=False) as file:
            return file.read(), state.st_mtime_ns
    finally:
        os.close(descriptor)
