#!/usr/bin/python3
"""Starts the installed program from its desktop entry and synchronizes with a simulated scanner:

    umockdev-wrapper drive.py SYSTEM SIMULATOR PICTURE

SYSTEM is the root folder of a Debian system with the package and a user "tester". The display and
the simulated scanner run on the host. Saves a screenshot of the window to PICTURE.
"""

import configparser
import glob
import os
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(os.path.dirname(os.path.realpath(__file__)), "..", "system"))
from harness.desktop import Desktop  # noqa: E402
from harness.devices import Devices  # noqa: E402
from harness.lines import file_text  # noqa: E402
from harness.processes import Process  # noqa: E402
from harness.scanner import Scanner, some_records  # noqa: E402
from harness.waiting import wait_until  # noqa: E402

ENTRY = "/usr/share/applications/org.quillet.Quillet.desktop"
PRELOAD = "/usr/lib/x86_64-linux-gnu/libumockdev-preload.so.0"
AS_USER = ["setpriv", "--reuid=1000", "--regid=1000", "--clear-groups"]
RECORDS = some_records(130)


class UserScanner(Scanner):
    """A simulator that runs as the ordinary user, who therefore owns the terminal."""

    _USER = AS_USER

    def __init__(self, folder, *arguments):
        self._FOLDER = folder
        super().__init__(*arguments)


def paint(desktop, window, path):
    """Saves a screenshot of a window, or of the whole screen if `window` is "root"."""
    subprocess.run(["import", "-window", window, path], env=desktop.environment, check=False)


def program(desktop, devices, scanner, system):
    """Returns the command that runs the desktop entry's program as the ordinary user."""
    entry = configparser.ConfigParser(interpolation=None)
    entry.optionxform = str
    entry.read(system + ENTRY)
    command = entry["Desktop Entry"]["Exec"]
    print(f"Exec={command}")
    testbed = devices.environment["UMOCKDEV_DIR"]
    subprocess.run(["chmod", "-R", "a+rX", testbed], check=True)
    return ["bwrap", "--bind", system, "/", "--dev", "/dev", "--proc", "/proc",
            "--dev-bind", os.path.realpath(scanner.link), "/dev/ttyACM0",
            "--tmpfs", "/run", "--perms", "1777", "--tmpfs", "/tmp",
            "--ro-bind", "/tmp/.X11-unix", "/tmp/.X11-unix",
            "--bind", testbed, testbed, "--ro-bind", PRELOAD, "/tmp/preload.so",
            "--unshare-pid", "--unshare-net", "--die-with-parent", "--clearenv",
            "--setenv", "PATH", "/usr/bin:/bin", "--setenv", "HOME", "/home/tester",
            "--setenv", "LANG", "C.UTF-8", "--setenv", "DISPLAY", desktop.environment["DISPLAY"],
            "--setenv", "XDG_RUNTIME_DIR", "/tmp/runtime",
            "--setenv", "UMOCKDEV_DIR", testbed, "--chdir", "/home/tester",
            *AS_USER, "sh", "-c",
            f"mkdir -m 700 $XDG_RUNTIME_DIR; LD_PRELOAD=/tmp/preload.so exec {command}"]


def synchronize(desktop, running, scanner, system, picture):
    """Runs a synchronization, then closes the program. Returns a list of errors."""
    def report():
        return f"{scanner.transcript()}\n{running.output()}"

    window = wait_until(lambda: desktop.xdotool("search", "--name", r"^Quillet V[0-9.]+\[005771\]$"),
                        lambda: f"a connected scanner\n{report()}")
    print("Connected:", desktop.xdotool("getwindowname", window))

    def is_started():
        desktop.xdotool("windowfocus", "--sync", window, "key", "F5")
        return "GS1" in scanner.all_commands()

    wait_until(is_started, "the start of a run")
    written = wait_until(lambda: glob.glob(f"{system}/Users/Shared/QuilletData005771_*.txt"),
                         "the file")
    wait_until(lambda: "GS0" in scanner.all_commands(), "the end of the run")
    errors = []
    with open(written[0], encoding="utf-8", newline="") as file:
        text = file.read()
    if len(written) != 1 or text != file_text(RECORDS):
        errors.append(f"{written} does not match the scanner's records:\n{text}")
    print(f"{written[0].removeprefix(system)}: {text.count(chr(10))} lines. First line:")
    print("  " + text.splitlines()[0])
    paint(desktop, window, picture)
    desktop.xdotool("windowfocus", "--sync", window, "key", "ctrl+q")
    status = running.wait()
    print(f"Exit status {status}")
    if status != 0 or running.output():
        errors.append(f"exit status {status}\n{report()}")
    return errors


def main():
    system, simulator, picture = sys.argv[1:]
    os.environ["SYSTEM_TEST_SIMULATOR"] = os.path.realpath(simulator)
    with tempfile.TemporaryDirectory() as folder:
        os.chmod(folder, 0o777)
        tempfile.tempdir = folder  # for the files of the harness
        devices = Devices()
        desktop = Desktop()
        scanner = UserScanner(folder, desktop, devices, RECORDS)
        running = None
        try:
            scanner.plug_in()
            running = Process("quillet", program(desktop, devices, scanner, system),
                              desktop.environment)
            errors = synchronize(desktop, running, scanner, system, picture)
        except BaseException:
            paint(desktop, "root", picture)
            raise
        finally:
            for process in (running, scanner, desktop):
                if process is not None:
                    process.stop()
    for text in errors:
        print("ERROR:", text)
    sys.exit(1 if errors else 0)


main()
