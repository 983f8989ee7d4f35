"""Reads unseen.txt: faults that no test can see, each with the reason."""


def read_reasons(text):
    """The reason by the title of the fault and the line of the source."""
    reasons = {}
    for block in text.split("\n\n"):
        lines = [line for line in block.splitlines() if not line.startswith("##")]
        if lines:
            title, line, *reason = lines
            reasons[title, line.strip()] = " ".join(each.strip() for each in reason)
    return reasons
