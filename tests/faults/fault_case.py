"""Base class of the fault tests."""

from harness.case import (BURST, CHAIN, FOLDER, OUTPUT, Record, Settings, SystemTest, messages,
                          some_records, wait_until)
from harness.lines import file_text

OLD = "saved yesterday\r\n"
END_OF_ANSWER = "at 0ms send 40"


class FaultTest(SystemTest):
    """Base class of tests with one scanner and an output file that contains OLD."""

    def begin(self, records, *faults, model="old", options=(), **settings):
        """Saves the settings, writes OLD to the output file and plugs in a scanner. Returns the
        scanner."""
        self.settings = Settings(filename=OUTPUT, **settings)
        self.settings.save()
        self.put_old_file()
        self.records = records
        self.model = model
        return self.plugged_in_scanner(records, model=model, options=options, faults=faults)

    def begin_connected(self, count, *faults, **more):
        """Like begin() with `count` records, but connects the program before adding the faults."""
        scanner = self.begin(some_records(count), **more)
        self.start_connected()
        scanner.fault(*faults)
        return scanner

    def text(self, records=None, serial="2104005771"):
        """Returns the expected text of the output file for these records (default: all)."""
        records = self.records if records is None else records
        return file_text(records, self.settings, serial, self.model)

    def check_run(self, records=None, clear=True):
        """Synchronizes and checks the view and the file. The view must be empty before the call.
        Finally clears the view, unless `clear` is False."""
        records = self.records if records is None else records
        run = messages.erasing_run if self.settings.clear_memory else messages.file_run
        self.synchronize(run(len(records), OUTPUT))
        self.assert_file(OUTPUT, self.text(records))
        if clear:
            self.quillet.clear()

    def connect(self):
        """Selects the first port and presses Connect. The program must be disconnected."""
        self.quillet.choose_port(1)
        self.quillet.press("Connect")

    def wait_until_reconnected(self):
        """Waits until disconnect() and connect() have taken effect, and clears the view."""
        self.quillet.wait_for_view(messages.disconnected() + messages.connecting())
        self.quillet.wait_for_connect_label("Disconnect")
        self.quillet.clear()

    def restart(self):
        """Closes the program, plugs the scanner in again, and starts the program."""
        self.close()
        self.scanners[0].unplug()
        self.scanners[0].plug_in()
        self.start_connected()

    def check_lost_run(self, faults, wait, **settings):
        """Checks a run with these faults. The run must not end, and must not change the file or
        erase the scanner. The first run after a restart must be complete. `wait` returns when the
        faults have taken effect."""
        scanner = self.begin_connected(3, *faults, clear_memory=1, **settings)
        self.quillet.press("Synchronize")
        wait()
        self.assertEqual(messages.RUN_STARTED, self.quillet.view().rstrip("."))
        self.assert_old_file()
        self.assertEqual(3, scanner.record_count())
        self.restart()
        self.check_run(clear=False)
        self.end_program()

    def check_given_up_run(self, *faults, records=0):
        self.check_lost_run(faults,
                            lambda: self.quillet.wait_for_progress(messages.gave_up(records)))

    def check_silent_runs(self, *runs):
        """Calls check_lost_run() for each run. A run is a tuple of a fault, the progress text that
        is shown when data stops arriving, and settings."""
        for fault, progress, settings in runs:
            with self.subTest(fault):
                self.check_lost_run(
                    [fault], lambda text=progress: self.quillet.wait_for_silence(text), **settings)

    def assert_old_file(self):
        self.assert_file(OUTPUT, OLD)

    def put_old_file(self):
        with open(OUTPUT, "w", encoding="ascii", newline="") as file:
            file.write(OLD)

    @staticmethod
    def read_file():
        with open(OUTPUT, encoding="utf-8", errors="surrogateescape", newline="") as file:
            return file.read()


__all__ = ["BURST", "CHAIN", "END_OF_ANSWER", "FOLDER", "OLD", "OUTPUT", "FaultTest", "Record",
           "Settings", "messages", "some_records", "wait_until"]
