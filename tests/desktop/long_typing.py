"""Long-running tests of typing on X11; see tests/desktop/typing."""

import signal
import subprocess
import time

from editors import KeyWindow, Terminal
from harness.case import wait_until
from typing_case import PRINTABLE, TypingCase, data_only, lines, long_texts

_RULES = "/usr/share/X11/xkb/rules/evdev.lst"
_RECORD = "1" + PRINTABLE + "\t"
_SCAN = _RECORD.replace("\\", "\\\\").replace("\t", "\\t")  # in the simulator's notation
_ROUNDS = 3


def layouts():
    """Returns all (layout, variant) pairs of the installed XKB data."""
    pairs, section = [], ""
    with open(_RULES, encoding="utf-8") as rules:
        for line in rules:
            if line.startswith("!"):
                section = line[1:].strip()
            elif section == "layout" and line.strip():
                pairs.append((line.split()[0], ""))
            elif section == "variant" and line.strip():
                variant, layout = line.split()[:2]
                pairs.append((layout.rstrip(":"), variant))
    return pairs


class LongTyping(TypingCase):

    def layouts_with_num_lock(self):
        self.desktop.xdotool("key", "Num_Lock")
        self.layouts()

    def layouts(self):
        self.connect([], data_only(destination=2))
        window = KeyWindow(self)
        (scanner,) = self.scanners
        exact, others, missing, pairs = 0, [], [], layouts()
        for layout, variant in pairs:
            name = f"{layout}({variant})"
            try:
                self.use_layout("-layout", layout, "-variant", variant)
            except subprocess.CalledProcessError:
                missing.append(f"{name}: setxkbmap cannot load it")
                continue
            length = len(window.text())
            scanner.scan(4, _SCAN)
            try:
                wait_until(lambda: len(window.text()) > length + len(_RECORD), "the record", 10)
            except AssertionError:
                pass
            typed = window.text()[length:]
            if typed == _RECORD + "\n":
                exact += 1
            else:
                others.append(f"{name}: {typed!r}")
                print(others[-1], flush=True)
        # The window manager would handle thousands of keymap changes before closing the window.
        self.quillet.process.send(signal.SIGTERM)
        self.quillet.wait_for_end()
        print(f"\n{exact} of {len(pairs)} layouts exact", *others, *missing, sep="\n", flush=True)
        self.assertEqual([], others)

    def million(self):
        texts = [f"{number:05d}{text[5:]}" for number, text in enumerate(long_texts() * 10)]
        self.use_layout("-layout", "de")
        self.connect(texts, data_only(destination=2))
        window = Terminal(self)
        start = time.monotonic()
        self.quillet.press("Synchronize")
        window.wait_for_text(lines(texts), limit=600)
        print(f"\n{len(lines(texts))} characters in {time.monotonic() - start:.0f} s, none lost",
              flush=True)

    def speed(self):
        whole = lines(long_texts())
        self.connect(long_texts(), data_only(destination=2))
        with open("/tmp/whole.txt", "w", encoding="ascii") as file:
            file.write(whole)
        for layout in ("us", "de", "ru"):
            self.use_layout("-layout", layout)
            rates = {}
            for number in range(_ROUNDS):
                for name in ("quillet", "xdotool"):
                    rates.setdefault(name, []).append(self.rate(name, f"{layout}{number}", whole))
            ours, theirs = (sorted(rates[name])[_ROUNDS // 2] for name in ("quillet", "xdotool"))
            print(f"\n{layout}: {ours:.0f} and {theirs:.0f} characters per second: "
                  f"{ours / theirs:.1f} times as fast", flush=True)

    def rate(self, program, name, whole):
        """Returns the number of characters typed per second. For xdotool, timing ends when xdotool
        exits, not when the expected text has arrived, because xdotool may type wrong text."""
        window = Terminal(self, f"/tmp/{program}-{name}.text")
        start = time.monotonic()
        if program == "quillet":
            self.quillet.press("Clear")
            self.quillet.press("Synchronize")
            window.wait_for_text(whole, limit=300)
        else:
            subprocess.run(["xdotool", "type", "--delay", "0", "--file", "/tmp/whole.txt"],
                           env=self.desktop.environment, check=True)
        taken = time.monotonic()
        window.process.stop()
        return len(whole) / (taken - start)
