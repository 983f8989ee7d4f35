"""The table that ./bench prints."""


class Table:
    """Rows of what was measured, its target and whether it was met."""

    def __init__(self):
        self._rows = []

    def add(self, what, measured, target=None, limit=None, above=False):
        """A row: `measured` against `limit` (at most, or at least if `above`).
        Without a limit the row informs only. `target` says the limit in words."""
        verdict = ""
        if limit is not None:
            met = measured >= limit if above else measured <= limit
            verdict = "met" if met else "MISSED"
        text = measured if isinstance(measured, str) else f"{measured:.2f}"
        self._rows.append((what, text, target or "", verdict))

    def missed(self):
        return [what for what, _, _, verdict in self._rows if verdict == "MISSED"]

    def lines(self):
        heads = ("measured as", "ratio or figure", "target", "")
        widths = [max(len(row[column]) for row in [heads, *self._rows]) for column in range(4)]
        for row in [heads, *self._rows]:
            yield "  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip()
