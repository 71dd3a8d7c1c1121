"""Base class of the fault tests: a connected scanner, and a file that must not be harmed."""

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


def erasing_run(count):
    """The view after a run that erases the scanner."""
    return messages.file_run(count, PATH).replace(messages.FINISHED,
                                                  messages.ERASED + messages.FINISHED)


class FaultTest(SystemTest):

    def begin(self, records, *, scanner=None, **settings):
        """Saves settings for the file, which holds OLD, and plugs in a scanner with the records.
        Returns the scanner."""
        self.settings = Settings(filename=PATH, **settings)
        self.settings.save()
        self.put_old_file()
        self.records = records
        self.model = (scanner or {}).get("model", "old")
        return self.plugged_in_scanner(records, **scanner or {})

    def begin_connected(self, count, *faults, **more):
        """Begins with as many records and starts the program; then the faults are in effect."""
        scanner = self.begin(some_records(count), **more)
        self.start_connected()
        for fault in faults:
            scanner.fault(fault)
        return scanner

    def text(self, records=None, serial="2104005771"):
        """The file's expected content for the records, by default for all."""
        records = self.records if records is None else records
        return file_text(records, self.settings, serial, self.model)

    def synchronize(self, records=None):
        """A run without faults. The view is empty before and after it."""
        self.quillet.press("Synchronize")
        count = len(self.records if records is None else records)
        self.quillet.wait_for_view(messages.file_run(count, PATH))
        self.assert_file(PATH, self.text(records))
        self.clear()

    def restart(self):
        """Closes the window, plugs the scanner in again, and starts the program."""
        self.close()
        self.scanners[0].unplug()
        self.scanners[0].plug_in()
        self.start_connected()

    def end_program(self):
        """Removes program and scanner, so that a test can begin again."""
        self.close()
        self.assertEqual("", self.scanners.pop().stop(), "sent to the scanner")

    def check_lost_run(self, faults, wait, **settings):
        """A run that a fault keeps from ending harms and erases nothing. After a restart the next
        run is complete."""
        scanner = self.begin_connected(3, *faults, clear_memory=1, **settings)
        self.quillet.press("Synchronize")
        wait(self.quillet)
        self.assertEqual(messages.RUN_STARTED, self.quillet.view().rstrip("."))
        self.assert_old_file()
        self.assertEqual(3, scanner.record_count())
        self.restart()
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(erasing_run(3))
        self.assert_file(PATH, self.text())
        self.end_program()

    def check_silent_runs(self, *runs):
        """The same for several runs: fault, progress while nothing new arrives, settings."""
        for fault, progress, settings in runs:
            with self.subTest(fault):
                self.check_lost_run(
                    [fault], lambda quillet: quillet.wait_for_silence(progress), **settings)

    def clear(self):
        self.quillet.wait_until_attempt_is_over()

    def assert_old_file(self):
        self.assert_file(PATH, OLD)

    def put_old_file(self):
        with open(PATH, "w", encoding="ascii", newline="") as file:
            file.write(OLD)


__all__ = ["BURST", "CHAIN", "FAILED_ATTEMPT", "FOLDER", "END_OF_ANSWER", "OLD", "PATH", "FaultTest",
           "Record", "Settings", "erasing_run", "messages", "some_records"]
