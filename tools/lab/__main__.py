"""Shows how three devices find each other. The command ./run starts this program."""

import argparse
import signal
import sys
import time

from . import DeviceSpec, Lab
from .page import DiscoveryPage
from .story import story
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


def check(devices, views, page):
    """Waits until all devices, and a browser of the page, see all devices. Returns the exit
    status."""
    start = time.monotonic()
    while True:
        fail_if_ended(devices)
        missing = [text for view in (*views, page) for text in view.missing(devices)]
        spent = time.monotonic() - start
        if not missing:
            print(*table(views), sep="\n")
            print(f"All {len(devices)} devices found each other by SSDP and mDNS "
                  f"in {spent:.0f} s.")
            print(f"{page.device.name}'s page showed them: {page.url}")
            return 0
        if spent > CHECK_LIMIT:
            print(f"After {CHECK_LIMIT} s:", *missing, sep="\n  ", file=sys.stderr)
            return 1
        time.sleep(0.5)


def heading(page, programs):
    return [f"{len(DEVICES)} devices on a virtual network. Ctrl-C ends it.",
            f"The discovery page of {page.device.name}: {page.url}",
            f"What it sees, in another terminal: nsenter --target {page.device.pid} --net "
            f"{programs}/beaconctl watch"]


def show_on_terminal(devices, views, title):
    """Redraws the tables in place until interrupted."""
    print("\033[2J", end="")
    for news in story(devices, views):
        fail_if_ended(devices)
        lines = [*title, "", *table(views), news]
        print("\033[H" + "".join(f"{line}\033[K\n" for line in lines) + "\033[J", end="", flush=True)
        time.sleep(0.5)


def show_as_lines(devices, views, title):
    """Prints a line for each change until interrupted."""
    print(*title, sep="\n", flush=True)
    start = time.monotonic()
    before, said = {}, None
    for news in story(devices, views):
        fail_if_ended(devices)
        stamp = f"{time.monotonic() - start:6.1f} s "
        now = {(view.device.name, row.address): row for view in views for row in view.rows()}
        for name, address in sorted(before.keys() - now.keys()):
            print(stamp, f"{name}: {address} is gone", flush=True)
        for (name, _), row in sorted(now.items() - before.items()):
            print(stamp, f"{name}: {row}", flush=True)
        if news != said:
            print(stamp, news, flush=True)
        before, said = now, news
        time.sleep(0.5)


def main():
    parser = argparse.ArgumentParser(prog="lab", description=__doc__)
    parser.add_argument("programs", help="the folder that holds the programs")
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
        with DiscoveryPage(devices[0]) as page:
            if options.check:
                return check(devices, views, page)
            show = show_on_terminal if sys.stdout.isatty() else show_as_lines
            try:
                show(devices, views, heading(page, options.programs))
            except KeyboardInterrupt:
                return 0


if __name__ == "__main__":
    sys.exit(main())
