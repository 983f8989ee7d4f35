"""Runs all measurements and prints one table. The command ./bench starts this program."""

import json
import subprocess
import sys
import tempfile
import time

from lab import Lab, wait_until

from . import answering, footprint, idle, memory, receiving
from .subject import Subject
from .table import Table

SIZES = [0, 1, 100, 1000, 4000]     # numbers of known peers; 0: a device of another maker
RATES = [1000, 20000]


def of(peers):
    return f"{peers} known peers" if peers else "foreign devices"


class Bench:
    """The virtual network with all programs that are measured."""

    def __init__(self, lab, programs):
        self.lab = lab
        self.programs = programs
        self.table = Table()
        self.sender = lab.add_peer("sender")
        self.searcher = lab.add_peer("searcher")
        self.traffic = receiving.Traffic(self.sender, programs)
        self.device = lab.add_device("studio-a", product="corvia12")
        self.wire = lab.add_peer("witness").capture()
        self.beacond = self._start_daemon()
        self.heap = memory.private_bytes(self.beacond.pid)
        self.bare = self._peer_program("bare", f"{programs}/bench-bare_receiver")
        self.echo = self._peer_program("echo", f"{programs}/bench-echo_server")
        self.minissdpd = self._start_minissdpd()
        self.gssdp = self._peer_program("gssdp-discover", "gssdp-discover", "-i", "net0")

    def _start_daemon(self):
        start = time.monotonic()
        daemon = self.device.start_beacond()
        announced = self.wire.wait_for(source=self.device.address, starting=b"NOTIFY")[0].time
        self.start_up = announced - start
        return Subject("beacond", self.device, daemon.pid)

    def _peer_program(self, label, *command):
        node = self.lab.add_peer(label)
        return Subject(label, node, node.start(label, list(command)).pid)

    def _start_minissdpd(self):
        node = self.lab.add_peer("minissdpd")
        node.run("minissdpd", "-i", "net0", "-p", "/run/minissdpd.pid")
        return Subject("minissdpd", node, node.wait_for_process("minissdpd"))

    def measure_receiving(self):
        subjects = [self.bare, self.beacond, self.minissdpd, self.gssdp]
        own = {}
        for peers in SIZES:
            if peers:
                self._make_known(peers)
            own[peers] = self._receive_backlog(subjects, peers)
            idle.settle(self.beacond)
            self._receive_paced(subjects[:-1], peers)
        self.table.add("receiving from known peers, beacond: from 4000 / from 1", own[4000] / own[1],
                       "at most 1.5", 1.5)

    def _make_known(self, peers):
        self.traffic.describe(self.device.address, peers)
        path = self.device.path("/var/www/discovery/browse.json")
        wait_until(lambda: len(json.loads(path.read_text())) >= peers, 60, f"{peers} listed peers")

    def _receive_backlog(self, subjects, peers):
        costs = receiving.medians(
            subjects, lambda subject: receiving.backlog_cost(subject, self.traffic, peers))
        what = f"receiving from {of(peers)}"
        own = costs["beacond"]
        self.table.add(f"{what}: bare receiver, µs", costs["bare"] / 1000)
        self.table.add(f"{what}: beacond / bare receiver", own / costs["bare"],
                       "at most 1.5", 1.5)
        self.table.add(f"{what}: bare receiver / minissdpd", costs["bare"] / costs["minissdpd"])
        limit = 0.1 if peers == 4000 else 1.0
        self.table.add(f"{what}: beacond / minissdpd", own / costs["minissdpd"],
                       f"at most {limit}", limit)
        self.table.add(f"{what}: beacond / gssdp-discover", own / costs["gssdp-discover"],
                       "at most 0.1", 0.1)
        return own

    def _receive_paced(self, subjects, peers):
        for rate in RATES:
            costs = receiving.medians(
                subjects, lambda subject, rate=rate:
                receiving.paced_cost(subject, self.traffic, rate, peers))
            what = f"receiving from {of(peers)}, {rate}/s"
            self.table.add(f"{what}: beacond / bare receiver", costs["beacond"] / costs["bare"],
                           "at most 1.5", 1.5)
            self.table.add(f"{what}: beacond / minissdpd", costs["beacond"] / costs["minissdpd"],
                           "at most 1.0", 1.0)

    def measure_losses(self):
        what = f"burst of {receiving.BURST}"
        self.table.add(f"{what}: receive buffer granted to beacond / requested",
                       self.beacond.receive_buffer() / footprint.RECEIVE_BUFFER)
        self.table.add(f"{what} lost by beacond, share",
                       receiving.burst_loss(self.beacond, self.traffic), "0", 0)
        self.table.add(f"{what} of 1,472 bytes lost by beacond while stopped, share",
                       receiving.stopped_burst_loss(self.beacond, self.traffic), "0", 0)
        for other in [self.minissdpd, self.gssdp]:
            self.table.add(f"{what} lost by {other.label}, share",
                           receiving.burst_loss(other, self.traffic))

    def measure_answers(self):
        answering.register_with_minissdpd(self.minissdpd.node.path("/run/minissdpd.sock"))
        figures = answering.medians(self.sender, self.programs,
                                    [self.echo, self.beacond, self.minissdpd])
        own, echo, other = figures["beacond"], figures["echo"], figures["minissdpd"]
        self.table.add("answering: bare echo, median µs", echo.median)
        self.table.add("answering: beacond / bare echo, median", own.median / echo.median,
                       "at most 1.2", 1.2)
        self.table.add("answering: beacond / bare echo, 99th percentile",
                       own.percentile_99 / echo.percentile_99, "at most 1.2", 1.2)
        self.table.add("answering: processor time with a wake-up, beacond / bare echo",
                       own.processor / echo.processor)
        self.table.add("answering: processor time with a wake-up, beacond / minissdpd",
                       own.processor / other.processor)
        self.table.add("answering: searches without an answer", own.unanswered, "0", 0)
        costs = receiving.medians(
            [self.echo, self.beacond, self.minissdpd],
            lambda subject: answering.backlog_cost(self.sender, subject))
        for label, cost in costs.items():
            self.table.add(f"answering a backlog: {label}, answers per second and core", 1e9 / cost)
        self.table.add("answering a backlog: beacond / minissdpd, time for an answer",
                       costs["beacond"] / costs["minissdpd"], "under 1", 1)

    def measure_answers_under_churn(self):
        for peers, limit in [(1000, 1000), (4000, 5000)]:
            path = self.device.path("/var/www/discovery/browse.json")
            before = path.stat().st_ino, path.stat().st_mtime
            own, histogram = answering.under_churn(self.searcher, self.programs, self.beacond,
                                                   self.traffic, peers)
            if (path.stat().st_ino, path.stat().st_mtime) == before:
                raise RuntimeError("the churn changed nothing")
            echo, _ = answering.under_churn(self.searcher, self.programs, self.echo,
                                            self.traffic, peers)
            what = f"churn of {peers} peers"
            self.table.add(f"{what}: answers by µs", histogram)
            self.table.add(f"{what}: 99.9th percentile of answers, µs", own.percentile_999,
                           f"under {limit}", limit)
            self.table.add(f"{what}: longest answer of the bare echo, µs", echo.longest)
            self.table.add(f"{what}: longest answer minus the bare echo's, µs",
                           own.longest - echo.longest, f"under {limit}", limit)

    def measure_idle(self, peers):
        rest = idle.Rest(self.beacond, self.wire)
        for thread, floor in idle.FLOORS.items():
            what = f"idle with {peers} peers: {thread} thread, wake-ups per second"
            if floor:
                self.table.add(f"{what} / floor", rest.rates[thread] / floor, "at most 1.1", 1.1)
            else:
                self.table.add(what, rest.rates[thread], "0", 0)
        self.table.add(f"idle with {peers} peers: bytes written", float(rest.written), "0", 0)

    def measure_growth_of_heap(self):
        self.table.add("memory after 4000 peers: resident MiB",
                       memory.total(self.beacond.pid)["Rss"] / 1024)
        self.table.add("private memory of a known peer, KiB",
                       (memory.private_bytes(self.beacond.pid) - self.heap) / 4000 / 1024,
                       "at most 1.5", 1.5)

    def measure_sizes(self):
        self.table.add("memory with 100 peers: resident MiB",
                       memory.total(self.beacond.pid)["Rss"] / 1024, "under 24", 24)
        for group, kilobytes in sorted(memory.by_owner(self.beacond.pid).items()):
            private = kilobytes["Private_Clean"] + kilobytes["Private_Dirty"]
            self.table.add(f"memory of {group}: proportional / private KiB",
                           f"{kilobytes['Pss']} / {private}")
        program = f"{self.programs}/beacond"
        with tempfile.TemporaryDirectory() as scratch:
            self.table.add("stripped program, KiB",
                           footprint.stripped_size(program, scratch) / 1024)
        self.table.add("linked with", " ".join(
            name for name in footprint.needed_libraries(program) if "Qt" in name or "avahi" in name))
        self.table.add("start to first announcement, without the pause of half a second, s",
                       self.start_up - footprint.START_PAUSE)


def add_growth(table, programs):
    """Adds the rows of the micro-benchmarks: scanning a NOTIFY, and the registry and the browse
    list with different numbers of peers."""
    output = subprocess.run([f"{programs}/beacond-bench", "--benchmark_format=json",
                             "--benchmark_repetitions=5",
                             "--benchmark_report_aggregates_only=true"],
                            check=True, text=True, stdout=subprocess.PIPE,
                            stderr=subprocess.DEVNULL).stdout
    runs = {run["run_name"]: run for run in json.loads(output)["benchmarks"]
            if run["aggregate_name"] == "median"}
    scan = runs["ClassifyAndScanNotify"]
    table.add("classifying and scanning a NOTIFY of 300 bytes, ns", scan["cpu_time"],
              "under 1000", 1000)
    table.add("classifying and scanning a NOTIFY, allocations", scan["allocations"], "0", 0)
    for name in ["PassWithoutChange", "ExpiryOfAll", "CopyOfChange"]:
        for size, limit in [(1000, 1000), (4000, 5000)]:
            table.add(f"lock held: {name}/{size}, µs", runs[f"{name}/{size}"]["real_time"],
                      f"under {limit}", limit)
    for name in ["PassWithoutChange", "CopyOfChange", "BrowseDocument"]:
        times = [runs[f"{name}/{size}"]["cpu_time"] / size for size in [10, 100, 1000, 4000]]
        table.add(f"{name}: ns per entry, with 10, 100, 1000, 4000 entries",
                  ", ".join(f"{1000 * time:.0f}" for time in times))
        table.add(f"{name}: time per entry, with 4000 entries / with 100",
                  times[3] / times[1], "at most 1.5", 1.5)
    peers = runs["MemoryOfPeers/4000/iterations:1"]
    table.add("memory of a known peer / (1.5 times its texts + 1 KiB)",
              peers["taken"] / (1.5 * peers["texts"] + 1024), "at most 1", 1)


def main():
    programs = sys.argv[1]
    with Lab(programs) as lab:
        bench = Bench(lab, programs)
        bench.measure_idle(0)
        bench.traffic.describe(bench.device.address, 100)
        bench.measure_idle(100)
        bench.wire.stop()
        bench.measure_sizes()
        bench.measure_receiving()
        bench.measure_losses()
        bench.measure_answers()
        bench.measure_answers_under_churn()
        bench.measure_growth_of_heap()
    add_growth(bench.table, programs)
    missed = bench.table.missed()
    if missed:
        print("", "Missed:", *missed, sep="\n  ")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
