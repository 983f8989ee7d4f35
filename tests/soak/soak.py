"""The soak test that tests/soak/run starts."""

import sys
import time

import health
from lab import Lab
from neighbours import Neighbourhood

ADDRESSES = [f"192.0.2.{number}" for number in range(100, 150)]
SETTLED = 10      # minutes until the number of listed neighbours no longer grows
MEMORY_SLACK = 1 << 20  # bytes of resident memory that the allocator may keep after a peak
# A neighbour that left without a goodbye stays listed for up to 300 s. A new neighbour is
# listed sooner.
QUIET = 330       # seconds


class Reading:
    """The daemon's present use of memory, descriptors and threads."""

    def __init__(self, program):
        self.memory = health.status(program, "VmRSS")
        self.descriptors = health.descriptors(program)
        self.threads = health.threads(program)

    def __str__(self):
        return (f"{self.memory // 1024} kB resident, {self.descriptors} descriptors, "
                f"{self.threads} threads")


def listed(device):
    """The names of all other devices in the device's list, by address."""
    return {entry["ipAddress"]: entry["hostName"] for entry in device.browse_list()
            if entry["ipAddress"] != device.address}


def say(start, text):
    print(f"{(time.monotonic() - start) / 60:6.1f} min  {text}", flush=True)


def wait_until_listed(device, neighbours):
    """Keeps the neighbours unchanged until the device's list is correct. Returns False if it
    does not become correct in time."""
    end = time.monotonic() + QUIET
    while listed(device) != neighbours.present() and time.monotonic() < end:
        neighbours.run(1, frozen=True)
    return listed(device) == neighbours.present()


def soak(device, neighbours, minutes):
    """Runs for the given minutes; returns the faults found."""
    start = time.monotonic()
    settled = min(SETTLED, (minutes + 1) // 2)
    for minute in range(1, minutes + 1):
        neighbours.run(60)
        if device.beacond.status is not None:
            return [f"beacond ended\n{device.beacond.explain()}"]
        now = Reading(device.beacond)
        say(start, f"{now}; {len(listed(device))} listed, {len(neighbours.present())} present")
        if minute == settled:
            first = now
    correct = wait_until_listed(device, neighbours)
    last = Reading(device.beacond)
    print(f"after {settled} min: {first}\nat the end: {last}")
    print(", ".join(f"{count} {what}" for what, count in neighbours.counts.items()))
    faults = {
        f"more than {MEMORY_SLACK // 1024} kB of memory gained":
            last.memory > first.memory + MEMORY_SLACK,
        "other descriptors": last.descriptors != first.descriptors,
        "other threads": last.threads != first.threads,
        f"listed {listed(device)}, present {neighbours.present()}": not correct,
        f"wrote faults:\n{health.faults(device)}": health.faults(device) != "",
    }
    return [text for text, wrong in faults.items() if wrong]


def main():
    minutes, programs = int(sys.argv[1]), sys.argv[2]
    with Lab(programs) as lab:
        device = lab.add_device("studio-a", product="corvia12")
        device.start_beacond()
        neighbours = Neighbourhood(lab.add_peer(), ADDRESSES)
        try:
            faults = soak(device, neighbours, minutes)
        finally:
            neighbours.close()
    for each in faults:
        print(f"FAILED: {each}")
    print("failed" if faults else "passed")
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
