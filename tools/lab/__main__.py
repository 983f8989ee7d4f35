"""Shows how three devices find each other. The command ./run starts this program."""

import argparse
import os
import select
import signal
import sys
import time

from . import DeviceSpec, Lab
from .page import DiscoveryPages
from .story import story
from .view import View, table

DEVICES = [DeviceSpec("studio-a", product="corvia12"),
           DeviceSpec("studio-b", product="lumenplus"),
           DeviceSpec("studio-c", product="talonmx")]
CHECK_LIMIT = 120  # seconds
STDOUT = 1  # the file descriptor


def end_by_signal(number, _frame=None):
    sys.exit(128 + number)


def end_as_unread():
    """Ends the program without a message, with the status of a program that SIGPIPE ended."""
    # Otherwise the interpreter would write its buffer at the end, and report an error.
    os.dup2(os.open(os.devnull, os.O_WRONLY), STDOUT)
    end_by_signal(signal.SIGPIPE)


def say(*lines, end="\n"):
    try:
        print(*lines, sep="\n", end=end, flush=True)
    except BrokenPipeError:
        end_as_unread()


def end_if_unread():
    """Ends the program if its output has no reader any more. A write would also notice this, but
    the program may have nothing to write for a long time."""
    poller = select.poll()
    poller.register(STDOUT, 0)
    if poller.poll(0):
        end_as_unread()


def fail_if_ended(devices):
    for device in devices:
        if device.beacond.status is not None:
            sys.exit(f"beacond ended.\n{device.beacond.explain()}")


def check(devices, views, pages):
    """Waits until all devices see all devices, and the list for the page of the first one has
    all devices. Returns the exit status."""
    start = time.monotonic()
    while True:
        fail_if_ended(devices)
        end_if_unread()
        missing = [text for view in (*views, pages) for text in view.missing(devices)]
        spent = time.monotonic() - start
        if not missing:
            say(*table(views),
                f"All {len(devices)} devices found each other by SSDP and mDNS in {spent:.0f} s.",
                f"{devices[0].name}'s page showed them: {pages.url(devices[0])}")
            return 0
        if spent > CHECK_LIMIT:
            print(f"After {CHECK_LIMIT} s:", *missing, sep="\n  ", file=sys.stderr)
            return 1
        time.sleep(0.5)


def heading(device, pages, programs):
    return [f"{len(DEVICES)} devices on a virtual network. Ctrl-C ends it.",
            f"The discovery page of {device.name}: {pages.url(device)}",
            f"What it sees, in another terminal: nsenter --target {device.pid} --net "
            f"{programs}/beaconctl watch"]


def show_on_terminal(devices, views, title):
    """Redraws the tables in place until interrupted."""
    clear = "\033[2J"
    for news in story(devices, views):
        fail_if_ended(devices)
        end_if_unread()
        lines = [*title, "", *table(views), news]
        say(f"{clear}\033[H" + "".join(f"{line}\033[K\n" for line in lines) + "\033[J", end="")
        clear = ""
        time.sleep(0.5)


def show_as_lines(devices, views, title):
    """Prints a line for each change until interrupted."""
    say(*title)
    start = time.monotonic()
    before, said = {}, None
    for news in story(devices, views):
        fail_if_ended(devices)
        end_if_unread()
        stamp = f"{time.monotonic() - start:6.1f} s "
        now = {(view.device.name, row.address): row for view in views for row in view.rows()}
        for name, address in sorted(before.keys() - now.keys()):
            say(f"{stamp} {name}: {address} is gone")
        for (name, _), row in sorted(now.items() - before.items()):
            say(f"{stamp} {name}: {row}")
        if news != said:
            say(f"{stamp} {news}")
        before, said = now, news
        time.sleep(0.5)


def main():
    parser = argparse.ArgumentParser(prog="lab", description=__doc__)
    parser.add_argument("programs", help="the folder that holds the programs")
    parser.add_argument("--check", action="store_true",
                        help="end as soon as all devices have found each other")
    options = parser.parse_args()
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, end_by_signal)
    with Lab(options.programs) as lab:
        devices = lab.add_devices(DEVICES)
        views = [View(device) for device in devices]
        for device in devices:
            device.start_beacond()
        with DiscoveryPages(devices) as pages:
            if options.check:
                return check(devices, views, pages)
            show = show_on_terminal if sys.stdout.isatty() else show_as_lines
            try:
                show(devices, views, heading(devices[0], pages, options.programs))
            except KeyboardInterrupt:
                return 0


if __name__ == "__main__":
    sys.exit(main())
