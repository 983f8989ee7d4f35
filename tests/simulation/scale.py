#!/usr/bin/env python3
"""Measures large numbers of devices: prints tables for docs/scale.md, and makes its plots.

    tests/simulation/scale.py [TABLE...]    all tables, or those named: starts (with the plots),
                                            averages, variations, tunables, buffers, groups,
                                            losses, days, operation. ./simulate must have built
                                            the program. Some runs take many minutes, so results
                                            in build/scale are used again.
"""

import json
import pathlib
import re
import shutil
import subprocess
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
PROGRAM = TOP / "build/simulate/bin/beacon-simulate"
RESULTS = TOP / "build/scale"
SCENARIOS = TOP / "tests/simulation/scenarios"
IMAGES = TOP / "docs/images"
LINKS = {
    "wired": "The link is wired.\n",
    "wifi": "The link is wifi.\n",
    "wifi, 10 % loss": "The link is wifi.\nThe link loses 10 % of multicast.\n",
}
# Devices, link, when a newcomer starts, end; in seconds.
RUNS = {
    **{f"{count} {link}": (count, link, 200, 320) for count in (10, 100) for link in LINKS},
    **{f"300 {link}": (300, link, 400, 700) for link in LINKS if link != "wired"},
    "1000 wired": (1000, "wired", 200, 320),
    **{f"1000 {link}": (1000, link, 1500, 2100) for link in LINKS if link != "wired"},
    "2000 wired": (2000, "wired", 200, 300),
    **{f"2000 {link}": (2000, link, 230, 240) for link in LINKS if link != "wired"},
    "4000 wired": (4000, "wired", 200, 500),
}
# 4,000 whole devices need more than 30 GB of memory, and 2,000 wireless ones need many hours, so
# these runs have light devices. 2,000 wireless ones take seven seconds for each virtual second, and
# list 3 or 4 % of their peers in four minutes, so those runs are short.
LIGHT = ("2000 wifi", "2000 wifi, 10 % loss", "4000 wired")
SEEDS = range(1, 7)
MANY_SEEDS = range(1, 21)
# kDescriptionMaxAgeSeconds and kRefreshPauseMs of src/ssdp/ssdp_tunables.h, in seconds.
REFRESH_AGE = 900
REFRESH_PAUSE = 4
EXCHANGE = ("request", "document")
ANNOUNCING = ("alive", "goodbye", "search", "search answer")
# Changes of src/ssdp/ssdp_tunables.h, to measure their effect.
TUNABLES = {
    "as built": {},
    "announcements every 30 to 49 s": {"kAnnounceBaseSeconds": 30, "kAnnounceSpreadSeconds": 20},
    "requests and documents wait up to six ticks": {"kExchangeSpreadTicks": 6},
    "both": {"kAnnounceBaseSeconds": 30, "kAnnounceSpreadSeconds": 20, "kExchangeSpreadTicks": 6},
}
VARIATIONS = {"as built": (), "no equal numbers": ("--shifted-draws",),
              "ticks of even length": ("--even-ticks",),
              "both": ("--shifted-draws", "--even-ticks")}


def is_played(name, text):
    """Whether there are figures of this scenario."""
    figures = RESULTS / f"{name}.json"
    return figures.exists() and figures.with_suffix(".txt").read_text() == text


def play(name, text, *options, program=PROGRAM):
    """The figures of one run, or of the same scenario in an earlier one."""
    scenario = RESULTS / f"{name}.txt"
    figures = RESULTS / f"{name}.json"
    if not is_played(name, text):
        scenario.write_text(text)
        unfinished = figures.with_suffix(".part")
        subprocess.run([program, *options, "--figures", unfinished, scenario], check=True,
                       stdout=subprocess.DEVNULL)
        unfinished.rename(figures)
    return json.loads(figures.read_text())


def start_scenario(name):
    """All devices but one start in the same second, the last one starts later. They have receive
    buffers of the size that the package sets. No device is a ZR1, because a device lists a ZR1
    only if it searches after the ZR1 has started."""
    count, link, newcomer, end = RUNS[name]
    light = "Only the last 2 devices keep a list.\n" if name in LIGHT else ""
    return (f"There are {count + 1} devices.\n{light}There is no ZR1.\n{LINKS[link]}"
            "The receive buffers have the size that the package sets.\n"
            f"At 0 s devices 1 to {count} start within 1 s.\n"
            f"At {newcomer} s device {count + 1} starts.\nIt ends at {end} s.\n")


def until(figures, share, since, before, wanted):
    """The seconds after `since` until this share of the new entries was correct: `before` were
    correct at `since`, and `wanted` is the number of all at the end. None if never reached."""
    for second, right in enumerate(figures["right"]):
        if second >= since and right - before >= share * (wanted - before):
            return second + 1 - since
    return None


def text_of(value):
    return "not yet" if value is None else f"{value:,.0f}" if value >= 10 else f"{value:.2g}"


def times(figures, *what):
    """The seconds until 50, 99 and 100 % of some entries were correct (see until)."""
    return " / ".join(text_of(until(figures, share, *what)) for share in (0.5, 0.99, 1))


def share_of(part):
    """A part of the whole, in per cent."""
    percent = 100 * part
    if percent < 0.01:
        return "under 0.01 %"
    return f"{percent:,.2f} %" if percent < 1 else f"{percent:,.0f} %"


def datagrams(figures, second):
    return sum(figures[kind][second] for kind in EXCHANGE + ANNOUNCING)


def row(name, figures):
    """One line of the table."""
    count, link, newcomer, end = RUNS[name]
    lists = 1 if name in LIGHT else count  # without the newcomer's
    complete = until(figures, 1, 0, 0, lists * count)
    before = figures["right"][newcomer - 1]
    rest = range(newcomer - 30, newcomer)
    worst = max(range(end), key=lambda second: figures["bytes"][second])
    wires = 1 if link != "wired" else count
    asked = figures["asked again"] / max(1, sum(figures["request"]))
    return [f"{count:,}", link,
            times(figures, 0, 0, lists * count),
            times(figures, newcomer, before, (lists + 1) * (count + 1)) if complete else "not measured",
            f"{datagrams(figures, worst):,}", f"{figures['bytes'][worst] * 8 / 1e6:,.1f}",
            share_of(figures["busy us"][worst] / 1e6 / wires),
            f"{sum(datagrams(figures, s) for s in rest) / 30:,.1f}",
            f"{sum(figures['bytes'][s] for s in rest) * 8 / 30 / 1000:,.1f}",
            share_of(sum(figures["busy us"][s] for s in rest) / 30e6 / wires),
            share_of(asked),
            "" if name in LIGHT else
            f"{sum(figures['processor us'][s] for s in rest) / 30 / count:,.0f}"]


HEAD = ["devices", "link", "start: 50 / 99 / 100 % of entries, s",
        "newcomer: 50 / 99 / 100 %, s", "worst second: datagrams", "Mbit/s", "link in use",
        "at rest: datagrams/s", "kbit/s", "link in use", "repeated requests",
        "processor, µs/s per device"]

STYLE = """<style>
text { font: 12px sans-serif; fill: #333 }
.axis { stroke: #888; fill: none } .grid { stroke: #888; stroke-opacity: .25 }
.c0 { stroke: #0b62c4 } .c1 { stroke: #c2410c } .c2 { stroke: #15803d } .c3 { stroke: #7e22ce }
.c4 { stroke: #64748b }
.line { fill: none; stroke-width: 2 }
@media (prefers-color-scheme: dark) {
  text { fill: #ddd } .axis { stroke: #999 }
  .c0 { stroke: #6cb2ff } .c1 { stroke: #ff9d5c } .c2 { stroke: #6fdc8c } .c3 { stroke: #d0a2ff }
  .c4 { stroke: #cbd5e1 }
}
</style>"""


def plot(path, title, unit, curves, seconds):
    """Writes curves over time, {label: values}, as an SVG with light and dark colours."""
    left, top, width, height = 60, 40, 560, 240
    largest = max(max(values[:seconds]) for values in curves.values()) or 1
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 800 330" role="img">'
             f"<title>{title}</title>{STYLE}<text x='{left}' y='20'>{title}</text>"]
    for step in range(5):
        y = top + height * (1 - step / 4)
        x = left + width * step / 4
        parts.append(f"<path class='grid' d='M{left} {y:.1f}H{left + width}'/>"
                     f"<text x='{left - 8}' y='{y + 4:.1f}' text-anchor='end'>"
                     f"{largest * step / 4:,.4g}</text>"
                     f"<text x='{x:.1f}' y='{top + height + 18}' text-anchor='middle'>"
                     f"{seconds * step / 4:g}</text>")
    parts.append(f"<path class='axis' d='M{left} {top}V{top + height}H{left + width}'/>"
                 f"<text x='{left + width / 2}' y='{top + height + 38}' text-anchor='middle'>"
                 f"seconds after the start (horizontal); {unit} (vertical)</text>")
    for number, (label, values) in enumerate(curves.items()):
        points = " ".join(f"{left + width * (s + 1) / seconds:.1f},"
                          f"{top + height * (1 - value / largest):.1f}"
                          for s, value in enumerate(values[:seconds]))
        y = top + 16 * number + 8
        parts.append(f"<polyline class='line c{number}' points='{points}'/>"
                     f"<path class='line c{number}' d='M{left + width + 12} {y}h20'/>"
                     f"<text x='{left + width + 38}' y='{y + 4}'>{label}</text>")
    path.write_text("\n".join(parts) + "\n</svg>\n")


def print_row(cells):
    print("| " + " | ".join(cells) + " |", flush=True)


def print_head(titles):
    print_row(titles)
    print("|" + "---|" * len(titles))


def starts():
    """Common starts, and one newcomer."""
    IMAGES.mkdir(exist_ok=True)
    found = {}
    print_head(HEAD)
    for name in RUNS:
        found[name] = play(name, start_scenario(name))
        print_row(row(name, found[name]))
    shares = {name: [100 * right / RUNS[name][0] ** 2 for right in found[name]["right"]]
              for name in ("100 wired", "1000 wired", "2000 wired", "100 wifi", "300 wifi")}
    plot(IMAGES / "scale-entries.svg", "Entries over time after a common start",
         "per cent of all", shares, 200)
    loads = {label: play(f"100 wifi {label}", start_scenario("100 wifi"), *options)
              for label, options in VARIATIONS.items()}
    plot(IMAGES / "scale-load.svg", "Load after a common start of 100 devices on a wireless link",
         "Mbit/s", {label: [b * 8 / 1e6 for b in each["bytes"]] for label, each in loads.items()},
         80)


def averages():
    """The average load of common starts, until 99 % of the entries are there. A run that ends
    earlier has no row."""
    print_head(["devices", "link", "datagrams/s", "Mbit/s", "link in use"])
    for name, (count, link, _, _) in RUNS.items():
        run = play(name, start_scenario(name))
        duration = until(run, 0.99, 0, 0, (1 if name in LIGHT else count) * count)
        if duration is None:
            continue
        seconds = range(duration)
        wires = 1 if link != "wired" else count
        print_row([f"{count:,}", link, f"{mean(datagrams(run, second) for second in seconds):,.0f}",
                   text_of(mean(run["bytes"][second] for second in seconds) * 8 / 1e6),
                   share_of(mean(run["busy us"][second] for second in seconds) / 1e6 / wires)])


def mean(values):
    values = list(values)
    return sum(values) / len(values)


def variations():
    """Averages of common starts of 100 devices, with the variations of the simulator."""
    print_head(["link", "variation", "50 / 99 / 100 %, s", "worst second, Mbit/s", "air time in it"])
    count, _, newcomer, _ = RUNS["100 wired"]
    for link in ("wired", "wifi"):
        for label, options in VARIATIONS.items():
            runs = [play(f"100 {link} {label} seed {seed}", start_scenario(f"100 {link}"),
                         "--seeds", f"{seed}-{seed}", *options) for seed in SEEDS]
            worst = [max(range(newcomer), key=lambda second: run["bytes"][second]) for run in runs]
            times = [mean(until(run, share, 0, 0, count * count) for run in runs)
                     for share in (0.5, 0.99, 1)]
            bits = mean(8 * run["bytes"][second] for run, second in zip(runs, worst))
            busy = mean(run["busy us"][second] / 1e6 for run, second in zip(runs, worst))
            print_row([link, label, " / ".join(f"{time:.0f}" for time in times), f"{bits / 1e6:.0f}",
                       share_of(busy) if link == "wifi" else ""])


def build(changes):
    """Builds a simulator of devices with other tunables; returns the program."""
    if not changes:
        return PROGRAM
    tree = RESULTS / "tree"
    shutil.rmtree(tree, ignore_errors=True)
    shutil.copytree(TOP, tree, ignore=shutil.ignore_patterns("build", ".git", "corpora"))
    header = tree / "src/ssdp/ssdp_tunables.h"
    text = header.read_text()
    for name, value in changes.items():
        text, found = re.subn(rf"\b{name} = [^;]*;", f"{name} = {value};", text)
        assert found == 1, name
    header.write_text(text)
    subprocess.run(["cmake", "--preset", "simulate"], cwd=tree, check=True,
                   stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", tree / "build/simulate", "--target", "simulate"],
                   check=True, stdout=subprocess.DEVNULL)
    return tree / "build/simulate/bin/beacon-simulate"


def tunables():
    """Common starts with other values of the protocol's tunables."""
    print_head(["devices", "change", "50 / 99 / 100 %, s", "worst second, Mbit/s",
                "repeated requests", "at rest, datagrams/s"])
    names = ("100 wired", "300 wifi")
    for label, changes in TUNABLES.items():
        played = all(is_played(f"{name} {label}", start_scenario(name)) for name in names)
        program = PROGRAM if played else build(changes)
        for name in names:
            count, link, newcomer, _ = RUNS[name]
            run = play(f"{name} {label}", start_scenario(name), program=program)
            rest = range(newcomer - 100, newcomer)
            print_row([f"{count}, {link}", label, times(run, 0, 0, count * count),
                       f"{max(run['bytes'][:newcomer]) * 8 / 1e6:,.0f}",
                       share_of(run["asked again"] / sum(run["request"])),
                       f"{mean(datagrams(run, second) for second in rest):,.0f}"])


def buffers():
    """1,000 devices with the kernel's usual receive buffer and with that of the package."""
    print_head(["receive buffer", "variation", "100 % of entries, s", "dropped datagrams, million",
                "entries missing at the end"])
    count = 1000
    text = (f"There are {count} devices.\nThe link is wired.\nThere is no ZR1.\n"
            "At 0 s all devices start within 1 s.\nIt ends at 240 s.\n")
    large = "The receive buffers have the size that the package sets.\n"
    for buffer, more, label in (("usual", "", "as built"), ("usual", "", "no equal numbers"),
                                ("of the package", large, "as built")):
        run = play(f"1000 {buffer} {label}", text + more, *VARIATIONS[label])
        print_row([buffer, label, text_of(until(run, 1, 0, 0, count * count)),
                   f"{sum(run['dropped']) / 1e6:.1f}",
                   share_of(1 - run["right"][-1] / run["wanted"][-1])])


def groups():
    """Starts in groups."""
    print_head(["devices", "link", "group", "pause, s",
                "last request or document of a group after, s",
                "after the last start: 99 / 100 % of entries, s", "worst second, Mbit/s"])
    for count, link, group, pause in ((300, "wifi", 100, 120), (300, "wifi", 30, 60),
                                      (1000, "wired", 100, 60)):
        last = (count // group - 1) * pause
        starts = "".join(f"At {pause * n} s devices {group * n + 1} to {group * n + group} "
                         "start within 1 s.\n" for n in range(count // group))
        run = play(f"{count} {link} in groups of {group}",
                   f"There are {count} devices.\nThere is no ZR1.\n{LINKS[link]}"
                   "The receive buffers have the size that the package sets.\n"
                   f"{starts}It ends at {last + 300} s.\n")
        busy = [second % pause for second in range(last)
                if any(run[kind][second] for kind in EXCHANGE)]
        print_row([f"{count:,}", link, f"{group}", f"{pause}", f"{max(busy)}",
                   " / ".join(text_of(until(run, share, last, 0, count ** 2))
                              for share in (0.99, 1)),
                   f"{max(run['bytes']) * 8 / 1e6:,.0f}"])


def seeds_of(name):
    """The figures of a scenario with many seeds."""
    text = (SCENARIOS / f"{name}.txt").read_text()
    return [play(f"{name} seed {seed}", text, "--seeds", f"{seed}-{seed}") for seed in MANY_SEEDS]


def losses():
    """How often a running device is missing from a list, with lost multicast: an hour each."""
    print_head(["scenario", "runs", "missing, times", "longest, s"])
    for name in ("loss_10", "loss_30"):
        runs = seeds_of(name)
        longest = max(run["longest lapse us"] for run in runs) / 1e6
        print_row([name, f"{len(runs)}", f"{sum(run['lapses'] for run in runs)}", f"{longest:.0f}"])


def days():
    """How often a document lists a device again after its goodbye, in a busy day."""
    print_head(["goodbyes", "listed again"])
    runs = seeds_of("busy_day")
    print_row([f"{mean(sum(run['goodbye']) for run in runs):.0f}",
               f"{mean(run['relisted'] for run in runs):.0f}"])


def operation():
    """The load before and after the time at which peers are asked again for their documents."""
    print_head(["devices", "announcements alone, Mbit/s", "with requests and documents, Mbit/s",
                "each peer was asked again after, minutes"])
    for count in (20, 100, 1000):
        run = play(f"{count} in operation",
                   f"There are {count} devices.\nThe link is wired.\nThere is no ZR1.\n"
                   "The receive buffers have the size that the package sets.\n"
                   "At 0 s all devices start within 1 s.\nIt ends at 3600 s.\n")
        rates = [mean(run["bytes"][first:last]) * 8 / 1e6
                 for first, last in ((600, REFRESH_AGE), (REFRESH_AGE, 3600))]
        print_row([f"{count:,}", *(f"{rate:.2g}" for rate in rates),
                   f"{(REFRESH_AGE + count * REFRESH_PAUSE) / 60:.0f}"])


TABLES = {"starts": starts, "averages": averages, "variations": variations, "tunables": tunables,
          "buffers": buffers, "groups": groups, "losses": losses, "days": days,
          "operation": operation}


def main(names):
    RESULTS.mkdir(parents=True, exist_ok=True)
    for name in names or TABLES:
        print(f"{name}:")
        TABLES[name]()


if __name__ == "__main__":
    main(sys.argv[1:])
