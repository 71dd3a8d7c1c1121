#!/usr/bin/python3
"""Starts the installed program as a desktop does, and synchronizes with a simulated scanner:

    umockdev-wrapper drive.py SYSTEM SIMULATOR PICTURE

SYSTEM is the folder of a Debian system in which the package is installed and a user "tester" exists.
The display, its window manager, the scanner and what the scanner is plugged into are this machine's;
the program sees nothing else of it. PICTURE is where the window is painted at the end.
"""

import configparser
import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(os.path.dirname(os.path.realpath(__file__)), "..", "system"))
from harness.case import some_records  # noqa: E402
from harness.devices import Devices  # noqa: E402
from harness.lines import file_text  # noqa: E402
from harness.waiting import wait_until  # noqa: E402

USER = 1000
ENTRY = "/usr/share/applications/org.quillet.Quillet.desktop"
PRELOAD = "/usr/lib/x86_64-linux-gnu/libumockdev-preload.so.0"
AS_USER = ["setpriv", f"--reuid={USER}", f"--regid={USER}", "--clear-groups"]


class Machine:
    """A display and a scanner, for as long as the program needs them."""

    def __init__(self, simulator):
        self.processes = []
        self.environment = {name: value for name, value in os.environ.items()
                            if name not in ("LD_PRELOAD", "UMOCKDEV_DIR")}
        self.folder = tempfile.mkdtemp()
        os.chmod(self.folder, 0o777)
        reader, writer = os.pipe()
        self.start(["Xvfb", "-displayfd", str(writer), "-screen", "0", "1280x900x24",
                    "-nolisten", "tcp"], pass_fds=[writer])
        os.close(writer)
        with os.fdopen(reader) as stream:
            self.environment["DISPLAY"] = ":" + stream.readline().strip()
        self.start(["openbox"])
        wait_until(lambda: self.xdotool("get_num_desktops"), "the window manager")
        self.plug_in(simulator)

    def start(self, command, **popen):
        popen.setdefault("stdout", subprocess.DEVNULL)
        popen.setdefault("stderr", subprocess.DEVNULL)
        process = subprocess.Popen(command, env=self.environment, stdin=subprocess.DEVNULL, **popen)
        self.processes.append(process)
        return process

    def plug_in(self, simulator):
        self.records = some_records(130)
        with open(f"{self.folder}/records.csv", "w", encoding="ascii") as table:
            table.writelines(record.table_line() for record in self.records)
        self.devices = Devices()
        self.testbed = self.devices.environment["UMOCKDEV_DIR"]
        self.line = f"{self.folder}/line"
        self.transcript_path = f"{self.folder}/transcript"
        scanner = self.start([*AS_USER, os.path.realpath(simulator), "--csv",
                              f"{self.folder}/records.csv", "--link", self.line,
                              "--transcript", self.transcript_path],
                             stdout=subprocess.PIPE, stderr=None)
        if not scanner.stdout.readline().startswith(b"ready"):
            sys.exit("the simulated scanner does not start")
        self.devices.add_scanner()
        subprocess.run(["chmod", "-R", "a+rX", self.testbed], check=True)

    def transcript(self):
        with open(self.transcript_path, encoding="utf-8") as transcript:
            return transcript.read()

    def received(self):
        """What the scanner has been sent."""
        lines = re.findall(r"^[\d.]+ < ((?:[0-9a-f]{2} )+) ", self.transcript(), re.MULTILINE)
        return b"".join(map(bytes.fromhex, lines))

    def xdotool(self, *arguments):
        done = subprocess.run(["xdotool", *arguments], env=self.environment, capture_output=True,
                              text=True)
        return done.stdout.strip() if done.returncode == 0 else ""

    def paint(self, window, path):
        """A picture of a window, or of everything ("root")."""
        subprocess.run(["import", "-window", window, path], env=self.environment, check=False)

    def stop(self):
        for process in reversed(self.processes):
            process.terminate()
            process.wait()
        shutil.rmtree(self.folder)


def command_of_entry(system):
    """What a desktop runs for the entry. Field codes, of which there are none, would be left out."""
    entry = configparser.ConfigParser(interpolation=None)
    entry.optionxform = str
    entry.read(system + ENTRY)
    return entry["Desktop Entry"]["Exec"]


def program(machine, system):
    """The command that runs it in the system, by a user who is in no group but their own."""
    command = command_of_entry(system)
    print(f"Exec={command}")
    return ["bwrap", "--bind", system, "/", "--dev", "/dev", "--proc", "/proc",
            "--dev-bind", os.path.realpath(machine.line), "/dev/ttyACM0", "--tmpfs", "/run", "--perms", "1777", "--tmpfs", "/tmp",
            "--ro-bind", "/tmp/.X11-unix", "/tmp/.X11-unix",
            "--bind", machine.testbed, machine.testbed, "--ro-bind", PRELOAD, "/tmp/preload.so",
            "--unshare-pid", "--unshare-net", "--die-with-parent", "--clearenv",
            "--setenv", "PATH", "/usr/bin:/bin", "--setenv", "HOME", "/home/tester",
            "--setenv", "LANG", "C.UTF-8", "--setenv", "DISPLAY", machine.environment["DISPLAY"],
            "--setenv", "XDG_RUNTIME_DIR", "/tmp/runtime",
            "--setenv", "UMOCKDEV_DIR", machine.testbed, "--chdir", "/home/tester",
            *AS_USER, "sh", "-c",
            f"mkdir -m 700 $XDG_RUNTIME_DIR; LD_PRELOAD=/tmp/preload.so exec {command}"]


def synchronize(machine, system, picture):
    """One run, from the start of the program to its end. Returns what is wrong."""
    output_path = f"{machine.folder}/output"
    with open(output_path, "wb") as output:
        running = machine.start(program(machine, system), stdout=output, stderr=output)

    def story():
        with open(output_path, encoding="utf-8", errors="replace") as output:
            return f"{machine.transcript()}\n{output.read()}"

    window = wait_until(lambda: machine.xdotool("search", "--name", r"^Quillet V[0-9.]+\[005771\]$"),
                        lambda: f"a connected scanner\n{story()}")
    print("Connected:", machine.xdotool("getwindowname", window))

    def counted():
        machine.xdotool("windowfocus", "--sync", window, "key", "F5")
        return b"GS1" in machine.received()

    wait_until(counted, "the start of a run")
    written = wait_until(lambda: glob.glob(f"{system}/Users/Shared/QuilletData005771_*.txt"),
                         "the file")
    wait_until(lambda: b"GS0" in machine.received(), "the end of the run")
    wrong = []
    with open(written[0], encoding="utf-8", newline="") as file:
        text = file.read()
    if len(written) != 1 or text != file_text(machine.records):
        wrong.append(f"{written} do not hold what was scanned:\n{text}")
    print(f"{written[0].removeprefix(system)}: {text.count(chr(10))} lines, the first")
    print("  " + text.splitlines()[0])
    machine.paint(window, picture)
    machine.xdotool("windowfocus", "--sync", window, "key", "ctrl+q")
    status = running.wait(timeout=20)
    print(f"Ended with {status}")
    if status != 0 or os.path.getsize(output_path) > 0:
        wrong.append(f"it ended with {status}\n{story()}")
    return wrong


def main():
    system, simulator, picture = sys.argv[1:]
    machine = Machine(simulator)
    try:
        wrong = synchronize(machine, system, picture)
    except BaseException:
        machine.paint("root", picture)
        raise
    finally:
        machine.stop()
    for text in wrong:
        print("WRONG:", text)
    sys.exit(1 if wrong else 0)


main()
