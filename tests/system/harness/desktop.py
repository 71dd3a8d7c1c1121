"""A desktop session: X server, window manager, session bus and accessibility services."""

import os
import subprocess

from harness.accessibility import Accessibility
from harness.processes import Process, read_line
from harness.sandbox import PYTHON
from harness.waiting import PATIENCE, wait_until


class Desktop:
    def __init__(self, display_options=()):
        self._processes = []
        self.environment = dict(os.environ)
        # Only the program under test sees the mocked devices.
        self.environment.pop("UMOCKDEV_DIR", None)
        self.environment["LD_PRELOAD"] = os.environ.get("SYSTEM_TEST_PRELOAD", "")
        try:
            self._start(display_options)
        except BaseException:
            self.stop()
            raise

    def _start(self, display_options):
        display = self._start_announced(
            "Xvfb", ["-displayfd", "{}", "-screen", "0", "1280x1024x24", "-nolisten", "tcp",
                     "-noreset", *display_options])
        self.environment["DISPLAY"] = f":{display}"
        self._start_program("openbox", ["--sm-disable"])
        # The window manager may miss windows that open while it starts.
        wait_until(lambda: self.xdotool("get_num_desktops"), "the window manager")
        address = self._start_announced(
            "dbus-daemon", ["--session", "--nofork", "--nopidfile", "--print-address={}"])
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = address
        self.accessibility = Accessibility(address)

    def _start_program(self, program, arguments, **popen):
        process = Process(program, [program, *arguments], self.environment, **popen)
        self._processes.append(process)
        return process

    def _start_announced(self, program, arguments):
        """Starts a program and returns the address that the program writes to a descriptor. "{}" in
        the arguments is replaced with the descriptor's number."""
        reader, writer = os.pipe()
        arguments = [argument.format(writer) for argument in arguments]
        process = self._start_program(program, arguments, pass_fds=[writer])
        os.close(writer)
        return read_line(process, reader)

    def report(self):
        """Returns the output of the desktop's programs, for failure messages."""
        return [f"{process.name}: {process.output() or 'no output'}" for process in self._processes]

    def stop(self):
        while self._processes:
            self._processes.pop().stop()

    def xdotool(self, *arguments):
        """Runs xdotool. Returns its output, or None if it fails."""
        done = subprocess.run(["xdotool", *map(str, arguments)], env=self.environment,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              timeout=PATIENCE / 2)
        return done.stdout.rstrip("\n") if done.returncode == 0 else None

    def wait_for_window_manager(self):
        """Waits until the window manager has handled all earlier requests. The window manager
        handles requests in order."""
        number = str(int(self.xdotool("get_num_desktops")) + 1)
        self.xdotool("set_num_desktops", number)
        wait_until(lambda: self.xdotool("get_num_desktops") == number, "the window manager")

    def clipboard_text(self):
        script = ("import sys, tkinter; root = tkinter.Tk(); root.withdraw(); "
                  "sys.stdout.write(root.clipboard_get())")
        return subprocess.run([PYTHON, "-c", script], env=self.environment, check=True, text=True,
                              capture_output=True).stdout
