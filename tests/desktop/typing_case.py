"""Base class of the tests that type and paste records."""

import subprocess

from harness.case import Record, Settings, SystemTest, messages, wait_until

PRINTABLE = "".join(map(chr, range(0x20, 0x7F)))


def data_only(record_delimiter=1, **more):
    """Returns settings for lines that contain only the barcode's data. By default, each line
    ends with LF."""
    return Settings(attach_serial=0, attach_timestamp=0, attach_type=0, data_delimiter=0,
                    record_delimiter=record_delimiter, **more)


def lines(texts):
    return "".join(text + "\n" for text in texts)


def long_texts():
    """Returns 500 distinct strings. With a line feed after each, they total 100,000 characters."""
    return [(f"{number:04d} " + PRINTABLE * 3)[:199] for number in range(500)]


class TypingCase(SystemTest):

    def use_layout(self, *arguments):
        """Changes the keyboard layout. The arguments are those of setxkbmap(1)."""
        subprocess.run(["setxkbmap", *arguments], env=self.desktop.environment, check=True,
                       capture_output=True)

    def keyboard(self):
        """Returns the keymap and the keyboard's indicators, such as Caps Lock, as text."""
        run = {"env": self.desktop.environment, "capture_output": True, "text": True}
        keymap = subprocess.run(["xkbcomp", "-w0", self.desktop.environment["DISPLAY"], "-"],
                                check=True, **run).stdout
        return keymap + subprocess.run(["xset", "q"], check=True, **run).stdout.split("Auto")[0]

    def connect(self, texts, settings):
        """Starts the program with a scanner that has a record for each text."""
        settings.save()
        self.count = len(texts)
        self.plugged_in_scanner([Record(6, text.encode(), "2026-11-16 09:15:00") for text in texts],
                                options=["--speed", "unlimited"])
        self.start_connected()

    def deliver(self):
        """Synchronizes and waits until the run ends."""
        self.quillet.press("Synchronize")
        wait_until(lambda: self.quillet.view().endswith(
            messages.count(self.count) + messages.FINISHED), "the end of the run", 100)
