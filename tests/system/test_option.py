"""The command line."""

import signal

import pytest

from lab.device import BEACOND


def test_an_unknown_option_prints_the_usage(device):
    result = device.run(BEACOND, "-x", check=False)
    assert result.returncode == 1
    assert result.stderr == f"{BEACOND}: invalid option -- 'x'\n"
    assert result.stdout == (f"{BEACOND}: Unknown option \"?\"\n"
                             "Possible options:\n"
                             "  -d: debug (don't daemonize)\n")
    assert device.processes("beacond") == []


@pytest.mark.parametrize("arguments", [["-dx"], ["-d", "-x"], ["--help"]])
def test_an_unknown_option_ends_it_even_with_a_known_one(device, arguments):
    result = device.run(BEACOND, *arguments, check=False)
    assert result.returncode == 1
    assert result.stdout.startswith(f"{BEACOND}: Unknown option \"?\"\n")
    assert device.processes("beacond") == []


def test_the_usage_shows_the_name_by_which_the_program_was_called(device):
    result = device.run("sh", "-c", "cd /mnt && ./beacond -x", check=False)
    assert result.stdout.startswith("./beacond: Unknown option \"?\"\n")


def test_started_by_process_1_it_ends_at_once(device):
    """A daemon whose parent is process 1 counts as detached already, and exits."""
    # The shell is process 1 of its own process namespace. Because of `;`, it does not
    # replace itself with the last command.
    script = f"{BEACOND}; echo status $?; ps -e -o comm="
    result = device.run("unshare", "--pid", "--fork", "--mount-proc", "sh", "-c", script,
                        env=device.daemon_environment())
    assert result.stdout == "Daemonize beacond\nstatus 0\nsh\nps\n"
    assert result.stderr == ""


def test_in_the_foreground_it_runs_under_process_1_too(device):
    init = device.start("init", ["unshare", "--pid", "--fork", "--kill-child", "--mount-proc",
                                 "sh", "-c", f"{BEACOND} -d; echo ended"],
                        device.daemon_environment())
    init.wait_output("PubSub started\n")
    assert "Run beacond as Non-Daemonized\n" in init.stdout
    assert "ended" not in init.stdout
    init.stop(signal.SIGKILL)  # unshare ignores other signals while it waits
