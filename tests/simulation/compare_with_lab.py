#!/usr/bin/env python3
"""Starts the real daemon on 20 devices of the lab, one each second, and 20 simulated devices at
the same times with the same random numbers. Compares the times until they list each other, and
the datagrams that they send. Repeats this, since some milliseconds decide which device ends its
tick first.

    tests/simulation/compare_with_lab.py [PROGRAMS]    needs root, build/dev/bin (or the folder
                                                       named) and build/simulate

The status is 0 if both complete all lists within a tick of each other, and if the numbers of
datagrams of each kind differ by at most 5 %. Compares averages of all runs; the simulation plays
each run with ten seeds.
"""

import json
import os
import pathlib
import socket
import struct
import subprocess
import sys
import threading
import time

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(TOP / "tools"))

from lab import DeviceSpec, Lab, wait_until  # noqa: E402

COUNT = 20
RUNS = 3
SEEDS = 10
WATCHED = 120  # seconds from the first start
TICK = 5.75
# In the order of the simulator, without ZR1.
PRODUCTS = ["corvia12", "corvia12plus", "lumen", "lumenplus", "talonmx", "talonvt", "zr2"]
KINDS = {"alive": b"ssdp:alive", "search": b"M-SEARCH", "search answer": b"\r\nEXT:\r\n",
         "request": b"GET ", "document": b"CONTENT-LANGUAGE"}
ETH_P_ALL = 3  # a socket for IPv4 only does not see the frames that a bridge forwards
ETH_P_IP = 0x0800
PACKET_OUTGOING = 4


class Counter:
    """Counts the SSDP datagrams that reach the switch, by kind, and notes the time of each
    device's search, which is its start."""

    def __init__(self, switch):
        self.counts = dict.fromkeys(KINDS, 0)
        self.starts = {}
        self.announced = {}  # the first time
        self.stopped = False
        with switch.network():
            self._socket = socket.socket(socket.AF_PACKET, socket.SOCK_DGRAM,
                                         socket.htons(ETH_P_ALL))
        self._socket.setsockopt(socket.SOL_SOCKET, 33, 64 << 20)  # SO_RCVBUFFORCE
        self._socket.settimeout(0.5)
        self._thread = threading.Thread(target=self._run, daemon=True)
        self._thread.start()

    def stop(self):
        self.stopped = True
        self._thread.join()
        self._socket.close()

    def _run(self):
        while not self.stopped:
            try:
                packet, (port, protocol, way, *_) = self._socket.recvfrom(65536)
            except TimeoutError:
                continue
            if (protocol != ETH_P_IP or way == PACKET_OUTGOING or not port.startswith("port")
                    or packet[9] != socket.IPPROTO_UDP):
                continue
            header = (packet[0] & 15) * 4
            source, destination = struct.unpack("!HH", packet[header:header + 4])
            if 1900 in (source, destination):
                self._note(socket.inet_ntoa(packet[12:16]), packet[header + 8:])

    def _note(self, sender, text):
        for kind, mark in KINDS.items():
            if mark in text:
                self.counts[kind] += 1
                if kind in ("search", "alive"):
                    noted = self.starts if kind == "search" else self.announced
                    noted.setdefault(sender, time.time())
                return


def wait_until_early_in_a_second():
    """The engine starts half a second later, and takes its random numbers from the second in which
    it starts."""
    time.sleep((0.3 - time.time()) % 1)


def play_in_lab(programs):
    """For each device: its start, and whether it was published before the engine's thread
    ran. Then the time until all lists were complete, and the counts."""
    with Lab(programs) as lab:
        devices = lab.add_devices([DeviceSpec(product=PRODUCTS[n % len(PRODUCTS)])
                                   for n in range(COUNT)])
        peer = lab.add_peer()
        counter = Counter(lab._switch)
        for device in devices:
            wait_until_early_in_a_second()
            device.start_beacond()
        wait_until(lambda: len(counter.starts) == COUNT, 60, "all devices to search")
        first = min(counter.starts.values())
        complete = None
        while time.time() < first + WATCHED:
            if complete is None and all(peer.ask(b"gn", each.address, 49821).count(b"USN:") >= COUNT
                                        for each in devices):
                complete = time.time() - first
            time.sleep(0.5)
        counter.stop()
        if complete is None:
            raise RuntimeError(f"the lists are not complete after {WATCHED} s")
        starts = [(counter.starts[each.address],
                   counter.announced[each.address] < counter.starts[each.address] + 1)
                  for each in devices]
        return starts, {"complete, s": complete, **counter.counts}


def write_scenario(starts):
    """The same starts for simulated devices. They share as many processors as this machine has,
    as the devices in the lab do."""
    first = int(min(starts)[0])
    lines = [f"There are {COUNT} devices.", "There is no ZR1.", "The link is wired.",
             f"The devices share {os.cpu_count()} processors.",
             f"The time is {first} s at the beginning."]
    lines += [f"At {start - first:.6f} s device {number + 1} starts"
              + (" and is published at once." if at_once else ".")
              for number, (start, at_once) in enumerate(starts)]
    lines.append(f"It ends at {WATCHED + 2} s.")
    scenario = TOP / "build/lab.txt"
    scenario.write_text("\n".join(lines) + "\n")
    return scenario


def play_simulation(starts):
    """The averages of all seeds."""
    scenario = write_scenario(starts)
    first = min(starts)[0]
    sums = dict.fromkeys(["complete, s", *KINDS], 0)
    for seed in range(1, SEEDS + 1):
        figures = TOP / "build/lab.json"
        subprocess.run([TOP / "build/simulate/bin/beacon-simulate", "--seeds", f"{seed}-{seed}",
                        "--figures", figures, scenario], check=True, stdout=subprocess.DEVNULL)
        found = json.loads(figures.read_text())
        complete = next(second + 1 for second, right in enumerate(found["right"])
                        if right == COUNT * COUNT)
        sums["complete, s"] += complete - first % 1
        for kind in KINDS:
            sums[kind] += sum(found[kind][:WATCHED + 1])
    return {what: value / SEEDS for what, value in sums.items()}


def average(runs):
    return {what: sum(run[what] for run in runs) / len(runs) for what in runs[0]}


def main(arguments):
    programs = arguments[0] if arguments else TOP / "build/dev/bin"
    real = []
    simulated = []
    for _ in range(RUNS):
        starts, figures = play_in_lab(programs)
        real.append(figures)
        simulated.append(play_simulation(starts))
    for number, (lab, simulation) in enumerate(zip(real, simulated), 1):
        print(f"run {number}: " + "; ".join(f"{what} {value:.1f}, {simulation[what]:.1f}"
                                            for what, value in lab.items()))
    alike = True
    print(f"{'':15} {'lab':>8} {'simulated':>10}")
    for what, value in average(real).items():
        other = average(simulated)[what]
        print(f"{what:15} {value:8.1f} {other:10.1f}")
        alike = alike and abs(value - other) <= (TICK if what == "complete, s" else 0.05 * value)
    print("alike" if alike else "NOT ALIKE")
    return 0 if alike else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
