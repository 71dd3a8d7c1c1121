"""Waiting for conditions. Nothing in these tests waits for a time to pass."""

import os
import time

PATIENCE = float(os.environ.get("SYSTEM_TEST_PATIENCE", "40"))
"""How long a condition gets, in seconds: many times what it takes on an idle machine."""

_PAUSE = 0.02


def wait_until(condition, what, limit=PATIENCE):
    """Asks `condition` until it answers with something true, and returns that.

    `what` says, for a person, what was waited for: a text, or a function that makes one when the
    waiting was in vain.
    """
    end = time.monotonic() + limit
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > end:
            text = what() if callable(what) else what
            raise AssertionError(f"waited {limit:.0f} s in vain for: {text}")
        time.sleep(_PAUSE)
