"""The table that ./bench prints."""

COLUMNS = (74, 24, 22)


class Table:
    """Rows of what was measured, its target and whether it was met, each printed
    as soon as it is known."""

    def __init__(self):
        self._missed = []
        self._print("measured as", "ratio or figure", "target", "")

    def add(self, what, measured, target=None, limit=None):
        """A row: `measured` against `limit`, the most that it may be; without one
        the row informs only. `target` says the limit in words."""
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
