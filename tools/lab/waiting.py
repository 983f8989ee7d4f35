"""Waiting for a condition, with a time limit and an explanation if it is not met."""

import time


def wait_until(predicate, timeout, what, explain=None):
    """Calls `predicate` until its result is true, and returns that result.

    Raises TimeoutError after `timeout` seconds. Its text contains `what`, the last result
    of the predicate, and the result of `explain()`.
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
