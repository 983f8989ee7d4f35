"""The cost of receiving a NOTIFY."""

from statistics import median

ROUNDS = 5
BACKLOG = 150           # datagrams that fit into a receive buffer of the default size
BACKLOGS_PER_ROUND = 27  # enough for one datagram of each of 4,000 peers in a round
BURST = 2000
PACED_SECONDS = 1


class Traffic:
    """Sends datagrams from a separate node."""

    def __init__(self, peer, programs):
        self.peer = peer
        self.program = f"{programs}/bench-traffic"

    def send(self, kind, count, rate, peers=0, first=0):
        """Sends `count` NOTIFYs. If `peers` is not 0, they come from this number of peers in
        turn, from position `first` on."""
        extra = [str(peers), str(first)] if peers else []
        self.peer.run(self.program, kind, str(count), str(rate), *extra)

    def describe(self, address, peers):
        self.peer.run(self.program, "describe", address, str(peers))

    def start_describing(self, address, peers):
        """Starts a program that sends the descriptions again and again until it is stopped."""
        return self.peer.start("describing", ["sh", "-c", f"while :; do {self.program} describe "
                                              f"{address} {peers}; done"])


def kind_of(peers):
    return "peers" if peers else "foreign"


def backlog_cost(subject, traffic, peers):
    """Nanoseconds for each NOTIFY of a backlog."""
    return cost_of_backlogs(subject, lambda number: traffic.send(
        kind_of(peers), BACKLOG, 0, peers, number * BACKLOG))


def cost_of_backlogs(subject, send):
    """Nanoseconds for each datagram of a backlog, without wake-ups. `send(number)` sends one
    backlog. The cost of pausing the program, which grows with its number of threads, is
    measured without datagrams and subtracted."""
    drops = subject.drops()

    def spend(fill):
        spent = 0
        for number in range(BACKLOGS_PER_ROUND):
            subject.pause()
            fill(number)
            before = subject.cpu()
            subject.go_on()
            subject.settle()
            spent += subject.cpu() - before
        return spent

    spent = spend(send) - spend(lambda number: None)
    if subject.drops() != drops:
        raise RuntimeError(f"{subject.label} lost datagrams of a backlog")
    return spent / (BACKLOG * BACKLOGS_PER_ROUND)


def paced_cost(subject, traffic, rate, peers):
    """Nanoseconds for each received datagram if they are sent at a constant rate."""
    sent = rate * PACED_SECONDS
    before = subject.cpu(), subject.drops()
    traffic.send(kind_of(peers), sent, rate, peers)
    subject.settle()
    return (subject.cpu() - before[0]) / (sent - (subject.drops() - before[1]))


def medians(subjects, measure):
    """The median of `measure` for each subject, by label. The subjects take turns in each
    round."""
    results = {subject.label: [] for subject in subjects}
    for _ in range(ROUNDS):
        for subject in subjects:
            results[subject.label].append(measure(subject))
    return {label: median(values) for label, values in results.items()}


def burst_loss(subject, traffic):
    """The share of a burst, sent without pauses, that a running program lost: the worst of
    ROUNDS rounds."""
    return max(_lost(subject, lambda: traffic.send("foreign", BURST, 0))
               for _ in range(ROUNDS)) / BURST


def stopped_burst_loss(subject, traffic):
    """The same for a stopped program, whose receive buffer must hold the whole burst, and for
    datagrams of 1,472 bytes."""
    def burst():
        subject.pause()
        traffic.send("large", BURST, 0)
        subject.go_on()
    return max(_lost(subject, burst) for _ in range(ROUNDS)) / BURST


def _lost(subject, burst):
    before = subject.drops()
    burst()
    subject.settle()
    return subject.drops() - before
