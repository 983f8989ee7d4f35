"""A device's discovery page, served to browsers of this machine."""

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
FOLDER = "/discovery/"
TYPES = {".html": "text/html; charset=utf-8", ".css": "text/css", ".js": "text/javascript",
         ".svg": "image/svg+xml", ".json": "application/json"}


class DiscoveryPage:
    """A web server on this machine's loopback with the page and, beside it, the
    browse list as it lies in the device. Use it in a `with` statement."""

    def __init__(self, device):
        self.device = device
        self._server = _Server(("127.0.0.1", 0), _Handler)
        self._server.files = {FOLDER + file.name: file for file in PAGE_FOLDER.iterdir()}
        self._server.files[FOLDER] = PAGE_FOLDER / "index.html"
        self._server.files[FOLDER + "browse.json"] = device.path(BROWSE_LIST)
        # Never in the way of the program's end, at whatever moment that comes.
        self._thread = threading.Thread(target=self._server.serve_forever, args=(0.1,),
                                        daemon=True)

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

    @property
    def url(self):
        return f"http://127.0.0.1:{self.port}{FOLDER}"

    def fetch(self, name=""):
        """The status and the bytes of a file of the page, by HTTP."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=10)
        try:
            connection.request("GET", FOLDER + name)
            answer = connection.getresponse()
            return answer.status, answer.read()
        finally:
            connection.close()

    def missing(self, devices):
        """What a browser does not get to see yet, as sentences."""
        status, text = self.fetch()
        if (status, text) != (200, (PAGE_FOLDER / "index.html").read_bytes()):
            yield f"{self.url} answers with status {status} and {text[:100]!r}"
        status, text = self.fetch("browse.json")
        listed = [entry["hostName"] for entry in json.loads(text)] if status == 200 else []
        for device in devices:
            if device.host_name not in listed:
                yield f"{self.url}browse.json, status {status}, does not list {device.host_name}"


class _Server(http.server.ThreadingHTTPServer):
    def handle_error(self, request, client_address):
        if not isinstance(sys.exc_info()[1], ConnectionError):  # a browser that went away
            super().handle_error(request, client_address)


class _Handler(http.server.BaseHTTPRequestHandler):
    """Hands out the server's `files`, a dictionary from path to file, and nothing
    else: what a request says is looked up, never opened."""

    def do_GET(self):
        self._answer(with_body=True)

    def do_HEAD(self):
        self._answer(with_body=False)

    def log_message(self, *unused):
        pass  # the terminal shows the devices

    def _answer(self, with_body):
        file = self.server.files.get(self.path.partition("?")[0])
        content = read_file(file) if file else None
        if content is None:
            self.send_error(404)
            return
        body, changed = content
        # Two lists may be of the same second, which is all that Last-Modified tells.
        tag = f'"{changed:x}"'
        is_known = self.headers["If-None-Match"] == tag
        self.send_response(304 if is_known else 200)
        self.send_header("ETag", tag)
        self.send_header("Last-Modified", formatdate(changed // 10**9, usegmt=True))
        self.send_header("Cache-Control", "no-cache")
        if not is_known:
            self.send_header("Content-Type", TYPES[file.suffix])
            self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        if with_body and not is_known:
            self.wfile.write(body)


def read_file(path):
    """The bytes of a regular file and its time of change in ns; None if there is
    no such file. A link is none: one in a device would lead out into this machine."""
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
