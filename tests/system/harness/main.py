"""Runs tests. The arguments are those of unittest.

Exits with status SKIPPED if no test failed and at least one was skipped.
"""

import sys
import unittest

SKIPPED = 77  # SKIP_RETURN_CODE in ProductTests.cmake

if __name__ == "__main__":
    outcome = unittest.main(module=None, exit=False).result
    if not outcome.wasSuccessful() or not outcome.testsRun:
        sys.exit(1)
    sys.exit(SKIPPED if outcome.skipped else 0)
