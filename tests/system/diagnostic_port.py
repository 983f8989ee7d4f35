"""A program that answers like a daemon on the diagnostic port, and listings for it."""

import threading
from contextlib import contextmanager

LARGEST = 65507  # bytes in the largest datagram
LARGEST_ENTRY = 65 + 4 * 1500  # bytes: labels, and four texts of one description


def listed(number, name, usn=None):
    """The entry of 192.0.2.`number` in a listing."""
    return (f"\n  ProductName:\"Lumen\"\n  HostName:   \"{name}\"\n  IP:         192.0.2.{number}\n"
            f"  USN:        {usn or f'uuid:{number}'}\n").encode()


def filled(listing, size=LARGEST):
    """A listing of `size` bytes, padded with entries of devices that do not exist."""
    entry = len(listed(99, "", "0000000"))
    count, rest = divmod(size - len(listing), entry)
    return listing + b"".join(listed(99, "", f"{number:07}") for number in range(count - 1)) + \
        listed(99, "", "x" * (7 + rest))


@contextmanager
def answering(machine, port, *answers):
    """Answers each datagram to a port with the next answer; repeats the last one."""
    with machine.udp_socket(port, timeout=None) as sock:
        def serve():
            waiting = list(answers)
            while True:
                asked, asker = sock.recvfrom(65536)
                if asked == b"end":
                    return
                sock.sendto(waiting.pop(0) if len(waiting) > 1 else waiting[0], asker)
        thread = threading.Thread(target=serve, daemon=True)
        thread.start()
        try:
            yield
        finally:
            with machine.udp_socket() as end:
                end.sendto(b"end", (machine.address, port))
            thread.join()
