"""What hearing a NOTIFY costs."""

from statistics import median

ROUNDS = 5
BACKLOG = 150           # fits the receive buffer that a program gets unasked
BACKLOGS_PER_ROUND = 20
BURST = 2000
PACED_SECONDS = 3


class Traffic:
    """Datagrams from a machine of their own."""

    def __init__(self, peer, programs):
        self.peer = peer
        self.program = f"{programs}/bench-traffic"

    def send(self, kind, count, rate, peers=0, first=0):
        """`count` NOTIFYs; of `peers` peers in turn from number `first` on."""
        extra = [str(peers), str(first)] if kind == "peers" else []
        self.peer.run(self.program, kind, str(count), str(rate), *extra)

    def describe(self, address, peers):
        self.peer.run(self.program, "describe", address, str(peers))

    def start_describing(self, address, peers):
        """Describes them over and over, until the program is stopped."""
        return self.peer.start("describing", ["sh", "-c", f"while :; do {self.program} describe "
                                              f"{address} {peers}; done"])


def backlog_cost(subject, traffic, kind, peers):
    """Nanoseconds a datagram when they wait in the queue, without wake-ups. What
    pausing a program costs by itself, which grows with its threads, is taken
    off."""
    def spend(count):
        spent = 0
        for number in range(BACKLOGS_PER_ROUND):
            subject.pause()
            if count:
                traffic.send(kind, count, 0, peers, number * count)
            before = subject.cpu()
            subject.go_on()
            subject.settle()
            spent += subject.cpu() - before
        return spent

    return (spend(BACKLOG) - spend(0)) / (BACKLOG * BACKLOGS_PER_ROUND)


def paced_cost(subject, traffic, kind, rate, peers):
    """Nanoseconds a datagram when they come evenly."""
    before = subject.cpu()
    traffic.send(kind, rate * PACED_SECONDS, rate, peers)
    subject.settle()
    return (subject.cpu() - before) / (rate * PACED_SECONDS)


def medians(subjects, measure):
    """The median over rounds in which the subjects take turns."""
    results = {subject.label: [] for subject in subjects}
    for _ in range(ROUNDS):
        for subject in subjects:
            results[subject.label].append(measure(subject))
    return {label: median(values) for label, values in results.items()}


def burst_loss(subject, traffic):
    """The share of a burst, sent back to back, that was lost."""
    before = subject.drops()
    traffic.send("foreign", BURST, 0)
    subject.settle()
    return (subject.drops() - before) / BURST
