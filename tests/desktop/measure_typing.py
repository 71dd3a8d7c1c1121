"""Compares the program's typing speed with that of xdotool."""

import subprocess
import time

from editors import Terminal
from harness.case import wait_until
from typing_case import TypingCase, data_only, lines, long_texts

_ROUNDS = 3


class TypingSpeed(TypingCase):

    def test_types_five_times_as_fast_as_xdotool(self):
        """Types 100,000 characters into a terminal with each program in turn, three times.
        Measures the time from the start to the last character that the terminal reads."""
        whole = lines(long_texts())
        self.connect(long_texts(), data_only(destination=2))
        with open("/tmp/whole.txt", "w", encoding="ascii") as file:
            file.write(whole)
        rates = {"quillet": [], "other": []}
        for round_number in range(_ROUNDS):
            for name, type_text in (("quillet", self.type_with_quillet),
                                    ("other", self.type_with_xdotool)):
                window = Terminal(self, f"/tmp/{name}{round_number}.text")
                start = time.monotonic()
                type_text()
                window.wait_for_text(whole, limit=300)
                wait_until(lambda: window.time_of_last_read() > start, "the time of the last read")
                taken = window.time_of_last_read() - start
                rates[name].append(len(whole) / taken)
                print(f"\n{name}: {len(whole)} characters in {taken:.2f} s, "
                      f"{rates[name][-1]:.0f} per second", end="", flush=True)
                window.process.stop()
        median = {name: sorted(values)[_ROUNDS // 2] for name, values in rates.items()}
        ratio = median["quillet"] / median["other"]
        print(f"\nmedian {median['quillet']:.0f} and {median['other']:.0f} characters per "
              f"second: {ratio:.1f} times as fast")
        self.assertGreaterEqual(ratio, 5)

    def type_with_quillet(self):
        self.quillet.press("Clear")
        self.deliver()

    def type_with_xdotool(self):
        subprocess.run(["xdotool", "type", "--delay", "0", "--file", "/tmp/whole.txt"],
                       env=self.desktop.environment, check=True)
