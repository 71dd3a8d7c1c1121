"""Waits until a condition becomes true."""

import os
import time

# Default time-out in seconds, many times longer than an idle machine needs.
PATIENCE = float(os.environ.get("SYSTEM_TEST_PATIENCE", "40"))

# The pause between two checks is the fraction _SHARE of the time waited so far, but at least
# _SHORTEST and at most _LONGEST seconds. Each check involves several processes, so longer pauses
# save processor time.
_SHARE = 0.05
_SHORTEST = 0.02
_LONGEST = 0.1


def wait_until(condition, what, limit=PATIENCE):
    """Calls `condition` until it returns a true value, and returns that value.

    Fails after `limit` seconds. `what` describes the expected event in the failure message: a
    string, or a function that returns one.
    """
    start = time.monotonic()
    while True:
        result = condition()
        if result:
            return result
        waited = time.monotonic() - start
        if waited > limit:
            text = what() if callable(what) else what
            raise AssertionError(f"timed out after {limit:.0f} s, waiting for {text}")
        time.sleep(min(max(_SHORTEST, _SHARE * waited), _LONGEST))
