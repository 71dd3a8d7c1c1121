"""Types all ASCII characters with each layout on each desktop, and prints the results.

    matrix.py [--desktops NAME,...] [--layouts NAME,...] [--receivers NAME,...] [--states NAME,...]
              [--repeat COUNT]
"""

import argparse
import collections
import os
import subprocess
import sys
import time

from desktops import X11, Fcitx, Gnome, Ibus, Kwin, Sway
from harness.waiting import wait_until
from keyboards import SPACE_BAR

HERE = os.path.dirname(os.path.abspath(__file__))
TYPE_TEXT = os.environ.get("TYPE_TEXT", "/programs/bin/type_text")
LAYOUTS = ("us us(dvorak) de de(neo) fr fr(bepo) gb tr tr(f) ru gr jp ch(fr) es it pl cz se il br"
           .split())
DESKTOPS = {desktop.name: desktop for desktop in (X11, Ibus, Fcitx, Gnome, Kwin, Sway)}
TEXT = "".join(map(chr, range(0x20, 0x7F))) + "\tTavo 4006381333931 aAbB11!!\n"
# Incorrect text counts as final after QUIET seconds without a change. For text that ends with a
# line feed, like TEXT, QUIET_AT_END applies instead.
QUIET_AT_END, QUIET = 0.3, 2.0


class Receiver:
    """A program that writes the text it receives to a file."""

    _COMMANDS = {
        "gtk": ["python3", f"{HERE}/receivers/gtk_field.py"],
        "qt": ["python3", f"{HERE}/receivers/qt_field.py"],
        "foot": ["foot", "python3", "/programs/terminal_reader.py"],
        "xwayland": ["env", "GDK_BACKEND=x11", "python3", f"{HERE}/receivers/gtk_field.py"]}
    _count = 0

    def __init__(self, desktop, name):
        Receiver._count += 1
        self._desktop = desktop
        self._path = f"{desktop.folder}/received{Receiver._count}"
        self._process = desktop.run(name, *self._COMMANDS[name], self._path)
        wait_until(lambda: os.path.exists(self._path), name)
        wait_until(self._has_focus, f"{name} to have focus")

    def _has_focus(self):
        """Presses Space on the user's keyboard. Returns whether the receiver gets the space."""
        length = len(self.text())
        self._desktop.press(SPACE_BAR)
        end = time.monotonic() + 0.5
        while time.monotonic() < end:
            if len(self.text()) > length:
                return True
            time.sleep(0.02)
        return False

    def text(self):
        with open(self._path, encoding="utf-8", errors="replace", newline="") as file:
            return file.read()

    def wait_for(self, before, text, limit=20):
        """Waits until `text` is received after `before`. Gives up if the received text differs from
        `text` and no longer changes, or if no text arrives for `limit` seconds. Returns all text
        received after `before`."""
        last, changed = "", time.monotonic()
        end = changed + limit
        while time.monotonic() < end:
            received = self.text()[len(before):]
            if received == text:
                return received
            if received != last:
                last, changed = received, time.monotonic()
                end = changed + limit
            elif last and time.monotonic() - changed > \
                    (QUIET_AT_END if last.endswith("\n") else QUIET):
                break
            time.sleep(0.01 + len(last) / 1e6)  # long texts are read less often
        return last

    def wait_for_length(self, length, limit=5):
        """Waits up to `limit` seconds until the receiver has at least `length` characters."""
        end = time.monotonic() + limit
        while len(self.text()) < length and time.monotonic() < end:
            time.sleep(0.005)

    def stop(self):
        self._desktop.end(self._process)


def difference(expected, received):
    """Describes the first difference between two texts."""
    if not received:
        return "nothing arrived"
    if len(received) < len(expected) and expected.endswith(received):
        return f"first {len(expected) - len(received)} lost"
    for place, (wanted, got) in enumerate(zip(expected, received)):
        if wanted != got:
            return f"{wanted!r} became {got!r} at {place} of {len(expected)}"
    return f"{len(received)} of {len(expected)} arrived"


class Cell:
    """Types TEXT into a receiver. STATES lists the test methods, one per desktop state."""

    def __init__(self, desktop, receiver, repeat=1):
        self._desktop = desktop
        self._receiver = receiver
        self._text = TEXT * repeat

    def start(self, text, *options):
        """Starts typing. Returns the process and the text that the receiver already contained."""
        before = self._receiver.text()
        path = f"{self._desktop.folder}/typed"
        with open(path, "w", encoding="ascii") as file:
            file.write(text)
        process = subprocess.Popen([TYPE_TEXT, path, "--permission", "60", *options],
                                   env=self._desktop.environment, stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        return process, before

    def finish(self, process, before, text):
        """Waits for the result. Returns an error message, or "" if `text` was typed exactly."""
        with process:
            for line in process.stdout:
                if line.startswith("posted"):
                    print("    ", line.strip(), flush=True)
                    received = self._receiver.wait_for(before, text)
                    return "" if received == text else difference(text, received)
                if line.startswith(("untypable", "refused")):
                    return line.strip()
        return f"type_text ended with {process.returncode}"

    def _type(self):
        return self.finish(*self.start(self._text), self._text)

    def plain(self, layout):
        self._desktop.set_layouts(layout)
        return self._type()

    def caps(self, layout):
        self._desktop.set_layouts(layout)
        self._desktop.has_caps_lock = layout != "de(neo)"  # the key is a modifier of this layout
        self._desktop.press_caps_lock()
        try:
            return self._type()
        finally:
            self._desktop.press_caps_lock()

    def shift(self, layout):
        self._desktop.set_layouts(layout)
        self._desktop.hold_shift(True)
        try:
            return self._type()
        finally:
            self._desktop.hold_shift(False)

    def group(self, layout):
        self._desktop.set_layouts("de" if layout == "us" else "us", layout)
        self._desktop.set_group(1)
        return self._type()

    def change(self, layout):
        """Changes the layout while three copies of TEXT are being typed."""
        self._desktop.prepare_change("de" if layout == "us" else "us", layout)
        text = TEXT * 3
        process, before = self.start(text, "--pace", "4000")
        self._receiver.wait_for_length(len(before) + len(text) // 4)
        self._desktop.change_to(layout)
        return self.finish(process, before, text)


def get_permission(desktop):
    """Grants the permission to type. The program saves the permission."""
    receiver = Receiver(desktop, "gtk")
    answer = desktop.answer_dialog("Share", "Allow")
    problem = Cell(desktop, receiver).plain("us")
    print("ok  " if not problem else "FAIL", desktop.name, "permission", problem, flush=True)
    desktop.end(answer)
    receiver.stop()


STATES = ("plain", "caps", "shift", "group", "change")


def measure(desktop, receiver_name, options, report):
    receiver = Receiver(desktop, receiver_name)
    for layout in options.layouts:
        for state in options.states:
            try:
                problem = getattr(Cell(desktop, receiver, options.repeat), state)(layout)
            except (AssertionError, subprocess.CalledProcessError) as error:
                problem = f"not measured: {error}"
            report(desktop.name, receiver_name, layout, state, problem)
            if problem:
                # After a failure, a dead key may be pending or a menu may be open.
                receiver.stop()
                receiver = Receiver(desktop, receiver_name)
    receiver.stop()


def table(results, states):
    """Returns a Markdown table with the number of exact, refused and wrong results."""
    lines = ["| Desktop | Receiver | " + " | ".join(states) + " |", "|---" * (2 + len(states)) + "|"]
    rows = collections.defaultdict(lambda: collections.defaultdict(collections.Counter))
    for (desktop, receiver, _layout, state), problem in results.items():
        refused = problem.startswith(("untypable", "refused"))
        kind = "refused" if refused else "wrong" if problem else "exact"
        rows[desktop, receiver][state][kind] += 1
    for (desktop, receiver), counts in rows.items():
        cells = [", ".join(f"{counts[state][kind]} {kind}" for kind in ("exact", "refused", "wrong")
                           if counts[state][kind]) for state in states]
        lines.append(f"| {desktop} | {receiver} | {' | '.join(cells)} |")
    return "\n".join(lines)


def names(text):
    return text.split(",")


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--desktops", type=names, default=list(DESKTOPS))
    parser.add_argument("--layouts", type=names, default=LAYOUTS)
    parser.add_argument("--receivers", type=names, default=["gtk", "qt", "foot", "xwayland"])
    parser.add_argument("--states", type=names, default=STATES)
    parser.add_argument("--repeat", type=int, default=1, help="types the text several times")
    options = parser.parse_args()

    results = {}

    def report(*cell_and_problem):
        *cell, problem = cell_and_problem
        results[tuple(cell)] = problem
        print("ok  " if not problem else "FAIL", *cell, problem, flush=True)

    for name in options.desktops:
        desktop = DESKTOPS[name]()
        try:
            if desktop.asks:
                get_permission(desktop)
            for receiver in options.receivers:
                if not (desktop.is_x11 and receiver in ("foot", "xwayland")):
                    measure(desktop, receiver, options, report)
        finally:
            desktop.stop()
    print(table(results, options.states))
    return any(results.values())


if __name__ == "__main__":
    sys.exit(main())
