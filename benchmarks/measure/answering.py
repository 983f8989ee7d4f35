"""The cost of answering an M-SEARCH: one after another, and many at once."""

import socket
from statistics import median
from typing import NamedTuple

from . import receiving

ROUNDS = 5
SEARCHES = 20000
SEARCHES_UNDER_CHURN = 500000   # about 30 s: six ticks, each with a change
TARGET = "upnp:rootdevice"


class Figures(NamedTuple):
    """The figures of one run of searches; times in microseconds."""
    median: float
    percentile_99: float
    percentile_999: float
    longest: float
    unanswered: float
    processor: float  # processor time of the responder for each search


def register_with_minissdpd(path):
    """Registers a service with minissdpd, which then answers searches for it. The protocol of
    minissdpd's socket: a request number, then texts, each after its length."""
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


def backlog_cost(peer, subject):
    """Nanoseconds for each answer to a backlog of searches."""
    search = (f'M-SEARCH * HTTP/1.1\r\nHOST:239.255.255.250:1900\r\nST:{TARGET}\r\n'
              'MAN:"ssdp:discover"\r\nMX:3\r\n\r\n').encode()
    with peer.udp_socket() as sock:
        def send(_):
            for _ in range(receiving.BACKLOG):
                sock.sendto(search, (subject.node.address, 1900))
        cost = receiving.cost_of_backlogs(subject, send)
        sock.setblocking(False)
        for _ in range(receiving.BACKLOG * receiving.BACKLOGS_PER_ROUND):
            sock.recv(2048)     # fails if one was not answered
    return cost


def under_churn(peer, programs, subject, traffic, peers):
    """The figures of answers, and their histogram, while another machine describes `peers`
    peers again and again: the daemon then copies its registry about twice a second."""
    churn = traffic.start_describing(subject.node.address, peers)
    output = peer.run(f"{programs}/bench-searcher", subject.node.address,
                      str(SEARCHES_UNDER_CHURN), timeout=600).stdout
    churn.stop()
    figures, histogram = output.splitlines()
    return Figures(*(float(word) for word in figures.split()), 0), histogram


def medians(peer, programs, subjects):
    """The medians of the figures of each subject, by label; of `unanswered`, the maximum. The
    subjects take turns."""
    results = {subject.label: [] for subject in subjects}
    for _ in range(ROUNDS):
        for subject in subjects:
            results[subject.label].append(search(peer, programs, subject))
    return {label: Figures(*(median(column) for column in zip(*rows)))._replace(
                unanswered=max(row.unanswered for row in rows))
            for label, rows in results.items()}
