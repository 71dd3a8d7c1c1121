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

    def restart(self):
        """What a user does when nothing goes on: the window is closed, the scanner plugged in
        again, and the program started anew."""
        self.close()
        self.scanners[0].unplug()
        self.scanners[0].plug_in()
        self.start_connected()

    def check_lost_run(self, faults, wait, **settings):
        """A run that never ends, because of what the scanner does, harms nothing and erases
        nothing, and the next one after a restart is whole."""
        scanner = self.begin(some_records(3), clear_memory=1, **settings)
        quillet = self.start_connected()
        for fault in faults:
            scanner.fault(fault)
        quillet.press("Synchronize")
        wait(quillet)
        self.assertEqual(messages.RUN_STARTED, quillet.view().rstrip("."))
        self.assert_old_file()
        self.assertEqual(3, scanner.record_count())
        self.restart()
        quillet = self.quillet
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.file_run(3, PATH).replace(
            messages.FINISHED, messages.ERASED + messages.FINISHED))
        self.assert_file(PATH, self.text())

    def clear(self):
        self.quillet.wait_until_attempt_is_over()

    def assert_old_file(self):
        self.assert_file(PATH, OLD)

    def put_old_file(self):
        with open(PATH, "w", encoding="ascii", newline="") as file:
            file.write(OLD)


__all__ = ["BURST", "CHAIN", "FAILED_ATTEMPT", "FOLDER", "END_OF_ANSWER", "OLD", "PATH", "FaultTest",
           "Record", "Settings", "messages", "some_records"]
