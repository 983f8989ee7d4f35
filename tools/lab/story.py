"""The changes that the demonstration makes to its devices."""

import itertools
import time

PAUSE = 15  # seconds between two changes
NEW_NAME = "gallery"


def until(predicate, line):
    while not predicate():
        yield line


def pause(line):
    end = time.monotonic() + PAUSE
    yield from until(lambda: time.monotonic() >= end, line)


def story(devices, views):
    """Renames the last device, switches its SSDP off and on, and repeats this without end. Each
    step makes the next change if it is due, and yields a line that describes the state."""
    last = devices[-1]

    def all_found():
        return not any(text for view in views for text in view.missing(devices))

    def is_gone():
        return not any(last.address in view.ssdp() for view in views)

    for name in itertools.cycle([NEW_NAME, last.host_name]):
        yield from until(all_found, "The devices are finding each other. That takes up to 45 s.")
        yield from pause(f"All have found each other. Soon {last.host_name} becomes {name}.")
        last.configure(hostName=name)
        yield from until(all_found, f"{last.address} is called {name} now. The others ask for "
                         "its new description.")
        yield from pause(f"All know {name}. Soon it switches SSDP off.")
        last.configure(ssdpEnable=False)
        yield from until(is_gone, f"{name} has switched SSDP off and said goodbye.")
        yield from pause(f"{name} has gone, except for its DNS-SD service. Soon it comes back.")
        last.configure(ssdpEnable=True)
