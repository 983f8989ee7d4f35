"""What answering an M-SEARCH takes, in a closed loop."""

from statistics import median

ROUNDS = 5
SEARCHES = 20000


def search(peer, programs, address):
    """Median and 99th percentile in microseconds, answers a second, searches
    without an answer."""
    output = peer.run(f"{programs}/bench-searcher", address, str(SEARCHES)).stdout
    return [float(word) for word in output.split()]


def medians(peer, programs, addresses):
    """For each label the medians of the four figures; the subjects take turns."""
    results = {label: [] for label in addresses}
    for _ in range(ROUNDS):
        for label, address in addresses.items():
            results[label].append(search(peer, programs, address))
    return {label: [median(column) for column in zip(*rows)] for label, rows in results.items()}
