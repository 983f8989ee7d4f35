"""The table that ./bench prints."""

COLUMNS = (74, 24, 22)


class Table:
    """Each row has a figure, its target, and whether the figure meets the target. A row is printed
    when it is added."""

    def __init__(self):
        self._missed = []
        self._print("measured as", "ratio or figure", "target", "")

    def add(self, what, measured, target=None, limit=None):
        """Adds a row. `measured` meets its target if it is at most `limit`; without a limit
        there is no target. `target` is the limit in words."""
        verdict = ""
        if limit is not None:
            verdict = "met" if measured <= limit else "MISSED"
        if verdict == "MISSED":
            self._missed.append(what)
        text = measured if isinstance(measured, str) else f"{measured:.2f}"
        self._print(what, text, target or "", verdict)

    def missed(self):
        return self._missed

    @staticmethod
    def _print(*cells):
        padded = [cell.ljust(width) for cell, width in zip(cells, COLUMNS)]
        print("  ".join([*padded, cells[-1]]).rstrip(), flush=True)
