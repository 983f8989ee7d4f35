"""A faulty configuration service."""

import socket
import threading

HEADER = b"HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n\r\n"
PORT = 8080


def event(parameter, data):
    """One event in the service's format; `data` is a text that should be JSON."""
    return f"event: {parameter}\ndata: {data}\n\n".encode()


class MisbehavingService:
    """Listens on a device's loopback instead of its configuration service, whose port must be
    free. Each connection gets the next of the `answers` and is closed. The last answer is
    repeated, and its connections stay open. Use this in a `with` statement."""

    def __init__(self, device, *answers):
        self._answers = list(answers)
        self._arrived = threading.Condition()
        self._connections = []
        with device.network():
            self._listener = socket.create_server(("127.0.0.1", PORT))
        self._thread = threading.Thread(target=self._accept, daemon=True)
        self._thread.start()

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        self._listener.shutdown(socket.SHUT_RDWR)  # wakes the thread
        self._thread.join()
        self._listener.close()
        for connection in self._connections:
            connection.close()

    def wait_for_connections(self, count, timeout=30):
        """Waits until `count` connections in total have been answered."""
        with self._arrived:
            if not self._arrived.wait_for(lambda: len(self._connections) >= count, timeout):
                raise TimeoutError(f"{len(self._connections)} of {count} connections")

    def send(self, data):
        """Sends data on the newest connection."""
        self._connections[-1].sendall(data)

    def _accept(self):
        while True:
            try:
                connection, _ = self._listener.accept()
            except OSError:  # shut down
                return
            connection.settimeout(20)
            try:
                self._answer(connection)
            except OSError:  # the daemon has closed the connection
                pass
            with self._arrived:
                self._connections.append(connection)
                self._arrived.notify_all()

    def _answer(self, connection):
        connection.recv(4096)  # reads the request, since closing without reading would send a reset
        last = len(self._answers) == 1
        connection.sendall(self._answers[0] if last else self._answers.pop(0))
        if not last:
            connection.close()
