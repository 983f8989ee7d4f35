"""What answering an M-SEARCH takes, in a closed loop."""

import socket
from statistics import median
from typing import NamedTuple

ROUNDS = 5
SEARCHES = 20000
TARGET = "upnp:rootdevice"


class Figures(NamedTuple):
    """Of one run of searches; times in microseconds."""
    median: float
    percentile_99: float
    percentile_999: float
    longest: float
    unanswered: float
    processor: float  # of the responder, an answer


def register_with_minissdpd(path):
    """Gives minissdpd a service to answer for, by the protocol of its socket: a
    request number, then texts with their length before them."""
    texts = [TARGET, f"uuid:2fac1234-31f8-11b4-a222-08002b34c003::{TARGET}",
             "Linux/2.6, UPnP/1.0, SSDP/1.0", "http://192.0.2.250:80/description.xml"]
    request = b"\x04" + b"".join(bytes([len(text)]) + text.encode() for text in texts)
    with socket.socket(socket.AF_UNIX) as client:
        client.connect(str(path))
        client.sendall(request)


def search(peer, programs, subject, count=SEARCHES):
    before = subject.cpu()
    output = peer.run(f"{programs}/bench-searcher", subject.node.address, str(count),
                      timeout=600).stdout
    times = [float(word) for word in output.splitlines()[0].split()]
    return Figures(*times, (subject.cpu() - before) / 1000 / count)


def under_churn(peer, programs, subject, traffic, peers):
    """The 99.9th percentile of answers in microseconds, and their histogram, while
    another machine describes so many peers anew, over and over: each changes the
    registry, which is then copied and written."""
    churn = traffic.start_describing(subject.node.address, peers)
    output = peer.run(f"{programs}/bench-searcher", subject.node.address, str(SEARCHES),
                      timeout=600).stdout
    churn.stop()
    figures, histogram = output.splitlines()
    return float(figures.split()[2]), histogram


def medians(peer, programs, subjects):
    """For each label the medians of the figures; the subjects take turns."""
    results = {subject.label: [] for subject in subjects}
    for _ in range(ROUNDS):
        for subject in subjects:
            results[subject.label].append(search(peer, programs, subject))
    return {label: Figures(*(median(column) for column in zip(*rows)))
            for label, rows in results.items()}
