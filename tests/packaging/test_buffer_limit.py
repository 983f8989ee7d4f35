"""The script that raises the limit of receive buffers. test_systemd.py and test_install.py show
that the unit and the init script run it."""

import re
import subprocess

import pytest

from conftest import TOP

LIMIT = "/proc/sys/net/core/rmem_max"
ALONE = 'mount -o bind,"$1" "$2" ' + LIMIT + ' && exec "$3"'


def requested_by_the_daemon():
    text = (TOP / "src/ssdp/ssdp_tunables.h").read_text()
    datagrams, size = re.search(r"kReceiveBufferBytes = (\d+) \* (\d+);", text).groups()
    return str(int(datagrams) * int(size))


def raise_limit(path, limit, access="rw"):
    """Runs raise-buffer-limit with a file instead of the system's limit. Returns the new limit."""
    file = path / "limit"
    file.write_text(limit + "\n")
    result = subprocess.run(["unshare", "--mount", "sh", "-c", ALONE, "alone", access, file,
                             TOP / "packaging/raise-buffer-limit"],
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    assert result.stdout == ""
    return file.read_text().strip()


@pytest.mark.parametrize("limit", ["212992", "4607999"])
def test_a_lower_limit_is_raised_to_the_buffer_that_the_daemon_requests(tmp_path, limit):
    assert raise_limit(tmp_path, limit) == requested_by_the_daemon()


@pytest.mark.parametrize("limit", ["4608000", "4608001", "16777216", "2147483647"])
def test_a_limit_that_is_high_enough_stays(tmp_path, limit):
    assert raise_limit(tmp_path, limit) == limit


def test_a_limit_that_cannot_be_changed_stays_without_a_message(tmp_path):
    assert raise_limit(tmp_path, "212992", access="ro") == "212992"
