"""What hearing a NOTIFY costs."""

from statistics import median

ROUNDS = 5
BACKLOG = 150           # fits the receive buffer that a program gets unasked
BACKLOGS_PER_ROUND = 27  # so that each of 4,000 peers is heard in every round
BURST = 2000
PACED_SECONDS = 1


class Traffic:
    """Datagrams from a machine of their own."""

    def __init__(self, peer, programs):
        self.peer = peer
        self.program = f"{programs}/bench-traffic"

    def send(self, kind, count, rate, peers=0, first=0):
        """`count` NOTIFYs; of `peers` peers, when there are any, in turn from number
        `first` on."""
        extra = [str(peers), str(first)] if peers else []
        self.peer.run(self.program, kind, str(count), str(rate), *extra)

    def describe(self, address, peers):
        self.peer.run(self.program, "describe", address, str(peers))

    def start_describing(self, address, peers):
        """Describes them over and over, until the program is stopped."""
        return self.peer.start("describing", ["sh", "-c", f"while :; do {self.program} describe "
                                              f"{address} {peers}; done"])


def kind_of(peers):
    return "peers" if peers else "foreign"


def backlog_cost(subject, traffic, peers):
    """Nanoseconds a NOTIFY when they wait in the queue."""
    return cost_of_backlogs(subject, lambda number: traffic.send(
        kind_of(peers), BACKLOG, 0, peers, number * BACKLOG))


def cost_of_backlogs(subject, send):
    """Nanoseconds a datagram when they wait in the queue, without wake-ups; `send`
    sends one backlog, told its number. What pausing a program costs by itself,
    which grows with its threads, is taken off."""
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
    """Nanoseconds a datagram received when they come evenly."""
    sent = rate * PACED_SECONDS
    before = subject.cpu(), subject.drops()
    traffic.send(kind_of(peers), sent, rate, peers)
    subject.settle()
    return (subject.cpu() - before[0]) / (sent - (subject.drops() - before[1]))


def medians(subjects, measure):
    """The median over rounds in which the subjects take turns."""
    results = {subject.label: [] for subject in subjects}
    for _ in range(ROUNDS):
        for subject in subjects:
            results[subject.label].append(measure(subject))
    return {label: median(values) for label, values in results.items()}


def burst_loss(subject, traffic):
    """The share of a burst, sent back to back, that a running program lost: the
    most of some rounds."""
    return max(_lost(subject, lambda: traffic.send("foreign", BURST, 0))
               for _ in range(ROUNDS)) / BURST


def stopped_burst_loss(subject, traffic):
    """The same when nothing is taken out of the receive buffer until all were sent,
    and each is as long as an SSDP datagram may be."""
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
