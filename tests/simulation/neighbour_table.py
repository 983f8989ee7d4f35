#!/usr/bin/env python3
"""Announces 150 devices to a real device of the lab, with the usual limits of the kernel's
neighbour table and with limits lower than the number of devices. Prints for how many of them the
device has requested the document in time. For docs/scale.md.

    tests/simulation/neighbour_table.py [PROGRAMS]    needs root and build/dev/bin (or the folder
                                                      named); no other program may use the network

The limits apply to all networks of this machine. They are restored at the end.
"""

import pathlib
import signal
import subprocess
import sys
import time

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path[:0] = [str(TOP / "tools"), str(TOP / "tests/system"), str(TOP / "tests/support")]

from lab import Lab  # noqa: E402
from raw_device import RawDevice  # noqa: E402

COUNT = 150
# Seconds. At the start and at each of them but the last, the devices whose documents were not
# requested announce themselves.
TIMES = (24, 48, 72, 96)
LIMITS = [pathlib.Path(f"/proc/sys/net/ipv4/neigh/default/gc_thresh{n}") for n in (1, 2, 3)]


def play(programs):
    """The number of requested documents at each of TIMES."""
    with Lab(programs) as lab:
        device = lab.add_device("studio-a")
        peer = lab.add_peer()
        others = {}
        with peer.network():
            for number in range(30, 30 + COUNT):
                address = f"192.0.2.{number}"
                subprocess.run(["ip", "address", "add", f"{address}/24", "dev", "net0"], check=True)
                other = RawDevice(address)
                others[other.get_request()] = other
        capture = peer.capture()
        sock = peer.udp_socket()
        device.start_beacond()
        capture.wait_for(source=device.address, starting=b"M-SEARCH")  # it receives from now on
        start = time.monotonic()
        found = []
        for end in TIMES:
            asked = {each.data for each in capture.datagrams()} & others.keys()
            for request in others.keys() - asked:
                sock.sendto(others[request].alive(), ("239.255.255.250", 1900))
            time.sleep(max(0.0, start + end - time.monotonic()))
            found.append(len({each.data for each in capture.datagrams()} & others.keys()))
        sock.close()
        return found


def main(programs):
    for ending in (signal.SIGTERM, signal.SIGHUP):  # the limits are restored then, too
        signal.signal(ending, lambda number, _: sys.exit(128 + number))
    usual = [limit.read_text() for limit in LIMITS]
    print("| limit of the table | documents requested after " +
          " / ".join(f"{seconds} s" for seconds in TIMES) + " |\n|---|---|")
    try:
        for values in (usual, ["16", "32", "64"]):
            for limit, value in zip(LIMITS, values):
                limit.write_text(value)
            print(f"| {values[-1].strip()} | {' / '.join(map(str, play(programs)))} |", flush=True)
    finally:
        for limit, value in zip(LIMITS, usual):
            limit.write_text(value)


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else TOP / "build/dev/bin")
