#!/usr/bin/python3
"""Runs system tests in a sandbox: run.py --quillet PROGRAM --simulator PROGRAM [TEST...]

A TEST is a module of this folder, a class in it or one test, as unittest names them, for example
test_start.StartTest.test_one_scanner_is_connected_by_itself. Without one, all are run.
"""

import argparse
import os
import sys

sys.dont_write_bytecode = True  # the sources may belong to somebody else
from harness import sandbox  # noqa: E402

HERE = os.path.dirname(os.path.realpath(__file__))


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--quillet", required=True, help="the program under test")
    parser.add_argument("--simulator", required=True, help="the simulated scanner")
    parser.add_argument("tests", nargs="*", metavar="TEST")
    arguments = parser.parse_args()

    missing = sandbox.missing_packages()
    if missing:
        sys.exit("The system tests need these packages: " + " ".join(missing))
    environment = {"SYSTEM_TEST_QUILLET": os.path.realpath(arguments.quillet),
                   "SYSTEM_TEST_SIMULATOR": os.path.realpath(arguments.simulator)}
    tests = arguments.tests or ["discover", "--start-directory", HERE]
    inner = [sandbox.PYTHON, "-m", "unittest", *tests, "--verbose"]
    os.chdir(HERE)
    command = sandbox.command(inner, [HERE, *environment.values()], environment)
    sys.stdout.flush()
    os.execvp(command[0], command)


if __name__ == "__main__":
    main()
