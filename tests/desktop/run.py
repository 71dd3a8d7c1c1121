#!/usr/bin/python3
"""Runs desktop tests in a sandbox: run.py --quillet PROGRAM --simulator PROGRAM [TEST...]

A TEST is a module of this folder, a class in it or one test, as unittest names them, for example
test_typing.TypingTest.test_terminal_reads_every_character. Without one, all are run.
"""

import argparse
import os
import shutil
import subprocess
import sys

sys.dont_write_bytecode = True  # the sources may belong to somebody else
HERE = os.path.dirname(os.path.realpath(__file__))
SYSTEM = os.path.join(os.path.dirname(HERE), "system")
sys.path.insert(0, SYSTEM)
from harness import sandbox  # noqa: E402


def missing_packages():
    missing = sandbox.missing_packages()
    for program, package in {"xterm": "xterm", "xset": "x11-xserver-utils"}.items():
        if shutil.which(program) is None:
            missing.append(package)
    if subprocess.run([sandbox.PYTHON, "-c", "import tkinter"], capture_output=True).returncode:
        missing.append("python3-tk")
    return missing


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--quillet", required=True, help="the program under test")
    parser.add_argument("--simulator", required=True, help="the simulated scanner")
    parser.add_argument("--figures", action="store_true", help="measure instead of testing")
    parser.add_argument("tests", nargs="*", metavar="TEST")
    arguments = parser.parse_args()

    missing = missing_packages()
    if missing:
        sys.exit("The desktop tests need these packages: " + " ".join(missing))
    environment = {"SYSTEM_TEST_QUILLET": os.path.realpath(arguments.quillet),
                   "SYSTEM_TEST_SIMULATOR": os.path.realpath(arguments.simulator)}
    pattern = "measure_*.py" if arguments.figures else "test_*.py"
    tests = arguments.tests or ["discover", "--start-directory", HERE, "--pattern", pattern]
    inner = [sandbox.PYTHON, "-m", "unittest", *tests, "--verbose"]
    os.chdir(HERE)
    command = sandbox.command(inner, [HERE, SYSTEM, *environment.values()],
                              environment | {"PYTHONPATH": SYSTEM})
    sys.stdout.flush()
    os.execvp(command[0], command)


if __name__ == "__main__":
    main()
