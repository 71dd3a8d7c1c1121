"""Waiting for conditions. Nothing in these tests waits for a time to pass."""

import os
import time

PATIENCE = float(os.environ.get("SYSTEM_TEST_PATIENCE", "40"))
"""How long a condition gets, in seconds: many times what it takes on an idle machine."""

# Between two checks, in seconds: a share of the time waited so far, within limits. Each check costs
# several processes time.
_SHARE = 0.05
_SHORTEST = 0.02
_LONGEST = 0.1


def wait_until(condition, what, limit=PATIENCE):
    """Asks `condition` until it answers with something true, and returns that.

    `what` says, for a person, what was waited for: a text, or a function that makes one when the
    waiting was in vain.
    """
    start = time.monotonic()
    while True:
        result = condition()
        if result:
            return result
        waited = time.monotonic() - start
        if waited > limit:
            text = what() if callable(what) else what
            raise AssertionError(f"waited {limit:.0f} s in vain for: {text}")
        time.sleep(min(max(_SHORTEST, _SHARE * waited), _LONGEST))
