"""A web server for a device's discovery page, for browsers on this machine."""

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
    """A web server on this machine's loopback interface, with the page and the device's
    browse list. Use it in a `with` statement."""

    def __init__(self, device):
        self.device = device
        self._server = _Server(("127.0.0.1", 0), _Handler)
        self._server.files = {FOLDER + file.name: file for file in PAGE_FOLDER.iterdir()}
        self._server.files[FOLDER] = PAGE_FOLDER / "index.html"
        self._server.files[FOLDER + "browse.json"] = device.path(BROWSE_LIST)
        # Open requests must not delay the end of the program.
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
        """Fetches a file of the page by HTTP; returns the status and the bytes."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=10)
        try:
            connection.request("GET", FOLDER + name)
            answer = connection.getresponse()
            return answer.status, answer.read()
        finally:
            connection.close()

    def missing(self, devices):
        """Sentences that say what a browser cannot see yet."""
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
        if not isinstance(sys.exc_info()[1], ConnectionError):  # a browser that has left
            super().handle_error(request, client_address)


class _Handler(http.server.BaseHTTPRequestHandler):
    """Serves only the server's `files`, a dictionary from path to file. The path of a request
    is looked up there, and never opened."""

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
        # Last-Modified counts in seconds, and two lists can be written within one second.
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
    """The bytes of a regular file and its modification time in ns; None for anything else.
    A symbolic link in a device would be resolved on this machine."""
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
