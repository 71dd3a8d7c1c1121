"""Tests the permission to type, using GNOME's portal and its dialog.

Denies the permission, grants it, restarts the program, revokes the permission during a run, and
restarts the compositor.
"""

import sys
import time

from desktops import Gnome
from matrix import TEXT, Cell, Receiver

# LISTEN collects GNOME Shell's remote access handles. STOP stops the latest one, as the indicator
# in the panel does.
LISTEN = ("global.backend.get_remote_access_controller().connect('new-handle', (_, handle) =>"
          " (globalThis.accesses ??= []).push(handle))")
STOP = "accesses.pop().stop() === undefined"



class Permission:
    def __init__(self):
        self._desktop = Gnome()
        self._failures = 0
        self._receiver = None

    def _expect(self, what, is_right, result):
        print("ok  " if is_right else "FAIL", what, result, flush=True)
        self._failures += not is_right

    def _type(self, *answer):
        """Types TEXT. If `answer` is not empty, presses a button with one of these labels in the
        portal's dialog. Returns an error message or ""."""
        dialog = self._desktop.answer_dialog(*answer) if answer else None
        problem = Cell(self._desktop, self._receiver).plain("us")
        if dialog is not None:
            self._desktop.end(dialog)
        return problem

    def _revoke(self):
        """Stops remote access while text is being typed. Returns an error message or ""."""
        cell = Cell(self._desktop, self._receiver)
        self._desktop.evaluate(LISTEN)
        process, before = cell.start(TEXT * 3, "--pace", "10000")
        self._receiver.wait_for_length(len(before) + 20)
        assert self._desktop.evaluate(STOP) == "true", "GNOME Shell knows no remote access"
        return cell.finish(process, before, TEXT * 3)

    def run(self):
        try:
            self._receiver = Receiver(self._desktop, "gtk")
            problem = self._type("Cancel")
            self._expect("denied: nothing is typed", problem.startswith("refused"), problem)
            problem = self._type("Share")
            self._expect("granted", not problem, problem)
            problem = self._type()
            self._expect("restored after a restart of the program", not problem, problem)
            problem = self._revoke()
            self._expect("revoked during a run", problem.startswith("refused"), problem)
            self._desktop.restart()
            self._receiver = Receiver(self._desktop, "gtk")
            problem = self._type()
            self._expect("restored after a restart of the compositor", not problem, problem)
        finally:
            self._desktop.stop()
        return self._failures


if __name__ == "__main__":
    START = time.monotonic()
    FAILURES = Permission().run()
    print(f"{time.monotonic() - START:.0f} s")
    sys.exit(bool(FAILURES))
