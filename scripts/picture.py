#!/usr/bin/python3 -B
"""Makes the picture of the discovery page for the README (docs/images/devices.png): runs
the demonstration of ./run and takes a screenshot. Needs root, the programs built by ./run,
and an earlier run of tests/web; takes two minutes."""

import os
import re
import subprocess
import sys
from pathlib import Path

TOP = Path(__file__).resolve().parents[1]
PICTURE = TOP / "docs/images/devices.png"


def main():
    demonstration = subprocess.Popen(
        [sys.executable, "-B", "-m", "lab", TOP / "build/run/bin"],
        env={**os.environ, "PYTHONPATH": str(TOP / "tools")}, stdout=subprocess.PIPE, text=True)
    with demonstration:
        try:
            for line in demonstration.stdout:
                if found := re.search(r"http://127\.0\.0\.1:\d+/\S+", line):
                    address = found[0]
                if "All have found each other" in line:
                    return subprocess.call(["node", TOP / "tests/web/picture.js", address, PICTURE])
        finally:
            demonstration.terminate()
    return 1


if __name__ == "__main__":
    sys.exit(main())
