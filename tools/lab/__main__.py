"""Shows three devices finding each other; what the command ./run starts."""

import argparse
import signal
import sys
import time

from . import DeviceSpec, Lab
from .view import View, table

DEVICES = [DeviceSpec("studio-a", product="corvia12"),
           DeviceSpec("studio-b", product="lumenplus"),
           DeviceSpec("studio-c", product="talonmx")]
CHECK_LIMIT = 120  # seconds


def end(number, _frame):
    sys.exit(128 + number)


def fail_if_ended(devices):
    for device in devices:
        if device.beacond.status is not None:
            sys.exit(f"beacond ended.\n{device.beacond.explain()}")


def check(devices, views):
    """Waits until everybody sees everybody; returns the exit status."""
    start = time.monotonic()
    while True:
        fail_if_ended(devices)
        missing = [text for view in views for text in view.missing(devices)]
        spent = time.monotonic() - start
        if not missing:
            print(*table(views), sep="\n")
            print(f"All {len(devices)} devices found each other by SSDP and mDNS "
                  f"in {spent:.0f} s.")
            return 0
        if spent > CHECK_LIMIT:
            print(f"After {CHECK_LIMIT} s:", *missing, sep="\n  ", file=sys.stderr)
            return 1
        time.sleep(0.5)


def show_on_terminal(devices, views):
    """Redraws the table in place until interrupted."""
    print("\033[2J", end="")
    while True:
        fail_if_ended(devices)
        lines = ["Three devices on a virtual network. Ctrl-C ends it.", "", *table(views)]
        print("\033[H" + "".join(f"{line}\033[K\n" for line in lines) + "\033[J", end="", flush=True)
        time.sleep(0.5)


def show_as_lines(devices, views):
    """Prints a line for each change until interrupted."""
    start = time.monotonic()
    before = set()
    while True:
        fail_if_ended(devices)
        now = {(view.device.name, row) for view in views for row in view.rows()}
        stamp = f"{time.monotonic() - start:6.1f} s "
        for name, row in sorted(before - now):
            print(stamp, f"{name}: no longer: {', '.join(row)}", flush=True)
        for name, row in sorted(now - before):
            print(stamp, f"{name}: {', '.join(row)}", flush=True)
        before = now
        time.sleep(0.5)


def main():
    parser = argparse.ArgumentParser(prog="lab", description=__doc__)
    parser.add_argument("programs", help="the folder that holds beacond and beacon-configd")
    parser.add_argument("--check", action="store_true",
                        help="end as soon as all devices have found each other")
    options = parser.parse_args()
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, end)
    with Lab(options.programs) as lab:
        devices = lab.add_devices(DEVICES)
        views = [View(device) for device in devices]
        for device in devices:
            device.start_beacond()
        if options.check:
            return check(devices, views)
        try:
            (show_on_terminal if sys.stdout.isatty() else show_as_lines)(devices, views)
        except KeyboardInterrupt:
            return 0


if __name__ == "__main__":
    sys.exit(main())
