"""How fast records are typed, beside another program that types the same text into the same
window."""

import subprocess
import time

from editors import Terminal
from harness.case import Record, SystemTest, messages
from harness.waiting import wait_until
from test_typing import data_only, long_texts

_TIME = "2026-11-16 09:15:00"
_ROUNDS = 3


class TypingSpeed(SystemTest):

    def test_characters_per_second(self):
        """100,000 characters, three rounds of each in turn. The time is from the press of the
        button, or the start of the other program, to the last character read by the window."""
        texts = long_texts()
        whole = "".join(text + "\n" for text in texts)
        data_only(destination=2).save()
        self.plugged_in_scanner([Record(6, text.encode(), _TIME) for text in texts],
                                options=["--speed", "unlimited"])
        self.start_connected()
        with open("/tmp/whole.txt", "w", encoding="ascii") as file:
            file.write(whole)
        rates = {"quillet": [], "other": []}
        for round_number in range(_ROUNDS):
            for name, type_it in (("quillet", self.by_quillet), ("other", self.by_the_other)):
                window = Terminal(self, f"/tmp/{name}{round_number}.text")
                start = time.monotonic()
                type_it()
                window.wait_for_text(whole, limit=300)
                self.assertEqual(whole, window.text())
                wait_until(lambda: window.time_of_last_read() > start, "the time of the last read")
                taken = window.time_of_last_read() - start
                rates[name].append(len(whole) / taken)
                print(f"\n{name}: {len(whole)} characters in {taken:.2f} s, "
                      f"{rates[name][-1]:.0f} per second", end="", flush=True)
                window.process.stop()
        median = {name: sorted(values)[_ROUNDS // 2] for name, values in rates.items()}
        ratio = median["quillet"] / median["other"]
        print(f"\nmedian {median['quillet']:.0f} beside {median['other']:.0f} characters per "
              f"second: {ratio:.1f} times as fast")
        self.assertGreaterEqual(ratio, 5)

    def by_quillet(self):
        self.quillet.press("Clear")
        self.quillet.press("Synchronize")
        wait_until(lambda: self.quillet.view().endswith(
            messages.count(len(long_texts())) + messages.FINISHED), "the end of the run", 100)

    def by_the_other(self):
        subprocess.run(["xdotool", "type", "--delay", "0", "--file", "/tmp/whole.txt"],
                       env=self.desktop.environment, check=True)
