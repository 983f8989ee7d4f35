"""Waiting for something to become true, with a limit and a reason when it does not."""

import time


def wait_until(predicate, timeout, what, explain=None):
    """Calls `predicate` until its result is true, and returns that result.

    After `timeout` seconds it raises TimeoutError, which says `what` was waited
    for, the predicate's last result and what `explain()` has to add.
    """
    end = time.monotonic() + timeout
    pause = 0.005
    while True:
        result = predicate()
        if result:
            return result
        if time.monotonic() >= end:
            break
        time.sleep(pause)
        pause = min(pause * 1.5, 0.1)
    text = f"{what}: not within {timeout} s; last result: {result!r}"
    if explain is not None:
        text += f"\n{explain()}"
    raise TimeoutError(text)
