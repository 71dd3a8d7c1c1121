#!/usr/bin/python3
"""Runs tests of the program in a sandbox (harness/sandbox.py):

    run.py --quillet PROGRAM --simulator PROGRAM [--folder FOLDER] [--figures] [TEST...]

TEST is a unittest name of a module, class or test in FOLDER, for example
test_start.StartTest.test_connects_to_the_scanner. Without TEST, all tests are run.
"""

import argparse
import os
import sys

sys.dont_write_bytecode = True  # the source folder may be read-only
HERE = os.path.dirname(os.path.realpath(__file__))
sys.path.insert(0, HERE)
from harness import sandbox  # noqa: E402


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--quillet", required=True, help="the program under test")
    parser.add_argument("--simulator", required=True, help="the simulated scanner")
    parser.add_argument("--folder", default=HERE, help="folder of the tests (default: %(default)s)")
    parser.add_argument("--figures", action="store_true", help="run measure_*.py, not test_*.py")
    parser.add_argument("tests", nargs="*", metavar="TEST")
    arguments = parser.parse_args()

    missing = sandbox.missing_packages()
    if missing:
        sys.exit("Packages are missing. Install them: sudo apt-get install " + " ".join(missing))
    environment = {"SYSTEM_TEST_QUILLET": os.path.realpath(arguments.quillet),
                   "SYSTEM_TEST_SIMULATOR": os.path.realpath(arguments.simulator),
                   "PYTHONPATH": HERE}
    folder = os.path.realpath(arguments.folder)
    pattern = "measure_*.py" if arguments.figures else "test_*.py"
    tests = arguments.tests or ["discover", "--start-directory", folder, "--pattern", pattern]
    inner = [sandbox.PYTHON, "-m", "harness.main", *tests, "--verbose"]
    os.chdir(folder)
    programs = os.path.dirname(environment["SYSTEM_TEST_SIMULATOR"])
    suppressions = os.path.dirname(HERE) + "/libraries.tsan"
    visible = sorted({HERE, folder, programs, suppressions,
                      os.path.dirname(environment["SYSTEM_TEST_QUILLET"])})
    sys.stdout.flush()
    if sandbox.has_namespaces():
        environment["SYSTEM_TEST_PRIVATE_DISK"] = "1"
        command = sandbox.in_namespaces(inner, visible, environment)
        os.execvp(command[0], command)
    sys.exit(sandbox.run_with_private_paths(inner, visible, environment,
                                            programs + "/private_paths.so"))


if __name__ == "__main__":
    main()
