"""Runs tests. Takes the same arguments as unittest.

Exits with status SKIPPED if no test failed and at least one was skipped.
"""

import os
import sys
import unittest

from harness import other_user, sandbox

SKIPPED = 77  # SKIP_RETURN_CODE in ProductTests.cmake

if __name__ == "__main__":
    if os.environ.get("SYSTEM_TEST_OTHER_USER") == "1":
        other_user.start()
        sandbox.drop_privileges()
    outcome = unittest.main(module=None, exit=False).result
    other_user.stop()
    if not outcome.wasSuccessful() or not outcome.testsRun:
        sys.exit(1)
    sys.exit(SKIPPED if outcome.skipped else 0)
