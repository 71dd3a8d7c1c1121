"""The test case of all faults: a connected scanner, and a file that must not be harmed."""

from harness.case import FOLDER, Record, Settings, SystemTest, messages, some_records
from harness.lines import file_text

PATH = f"{FOLDER}/out.txt"
OLD = "saved yesterday\r\n"
FAILED_ATTEMPT = (messages.ATTEMPT + messages.trying() + messages.FAILED
                  + messages.FAILED_TO_CONNECT)
CHAIN = ["W", "M", "V", "w1#", "C"]
BURST = ["W", "N", "GS1", "P", "W", "GS0"]
END_OF_ANSWER = "at 0ms send 40"
"""The end of an answer, for a link that waits for one."""


class FaultTest(SystemTest):

    def begin(self, records, *, scanner=None, **settings):
        """Settings for the file, which holds what was saved yesterday, and a scanner with these
        records, plugged in. Returns the scanner."""
        self.settings = Settings(filename=PATH, **settings)
        self.settings.save()
        with open(PATH, "w", encoding="ascii", newline="") as file:
            file.write(OLD)
        self.records = records
        self.scanner_options = scanner or {}
        self.model = self.scanner_options.get("model", "old")
        return self.plugged_in_scanner(records, **self.scanner_options)

    def text(self, records=None, serial="2104005771"):
        """What the file is to hold of the records, of all if nothing is said."""
        records = self.records if records is None else records
        return file_text(records, self.settings, serial, self.model)

    def synchronize(self, records=None):
        """A run in which nothing goes wrong any more. The view is empty before and behind it."""
        self.quillet.press("Synchronize")
        count = len(self.records if records is None else records)
        self.quillet.wait_for_view(messages.file_run(count, PATH))
        self.assert_file(PATH, self.text(records))
        self.clear()

    def clear(self):
        self.quillet.wait_until_attempt_is_over()

    def assert_old_file(self):
        self.assert_file(PATH, OLD)

    def put_old_file(self):
        with open(PATH, "w", encoding="ascii", newline="") as file:
            file.write(OLD)


__all__ = ["BURST", "CHAIN", "FAILED_ATTEMPT", "FOLDER", "END_OF_ANSWER", "OLD", "PATH", "FaultTest",
           "Record", "Settings", "messages", "some_records"]
