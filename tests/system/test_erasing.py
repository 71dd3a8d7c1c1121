"""Tests archiving received records and erasing the scanner."""

import os
import stat

from harness.case import (BURST, CHAIN, FOLDER, OUTPUT, Settings, SystemTest, messages,
                          some_records, wait_until)
from harness.lines import file_text

_STATE = "/tmp/.local"  # HOME is /tmp
_ARCHIVE = f"{_STATE}/state/quillet/runs"


class ErasingTest(SystemTest):

    def begin(self, records, *, options=(), archive=True, **settings):
        """Starts the program and connects a scanner. If `archive` is false, creates a file at
        the path of the archive folder, so that the program cannot create the folder."""
        self.settings = Settings(filename=OUTPUT, clear_memory=1, **settings)
        self.settings.save()
        self.addCleanup(os.system, f"rm -rf {_STATE}")
        if not archive:
            with open(_STATE, "w", encoding="ascii"):
                pass
        self.records = records
        scanner = self.plugged_in_scanner(records, options=options)
        self.start_connected()
        return scanner

    def archived(self, ending):
        """Returns the paths of the archived files with this extension."""
        names = os.listdir(_ARCHIVE) if os.path.isdir(_ARCHIVE) else []
        return sorted(f"{_ARCHIVE}/{name}" for name in names if name.endswith(ending))

    def assert_archived(self, records):
        """Expects the archive to contain exactly one run, with these records."""
        (path,) = self.archived(".txt")
        self.assert_file(path, file_text(records, self.settings))
        (path,) = self.archived(".records")
        with open(path, "rb") as file:
            contents = file.read()
        for record in records:
            self.assertIn(record.data, contents)

    def wait_for_erasing(self, scanner):
        wait_until(lambda: scanner.record_count() == 0, "the scanner to be erased")

    def run_to_view(self, count, end):
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view_end(messages.count(count) + messages.ERASED + messages.FINISHED)
        self.quillet.wait_for_progress(end)

    def test_archives_a_run_shown_in_the_view(self):
        scanner = self.begin(some_records(3), destination=1)
        self.quillet.press("Synchronize")
        self.wait_for_erasing(scanner)
        self.assert_archived(self.records)
        for path in (*self.archived(".txt"), *self.archived(".records")):
            self.assertEqual(0o600, stat.S_IMODE(os.stat(path).st_mode), path)
        self.assertEqual(0o700, stat.S_IMODE(os.stat(_ARCHIVE).st_mode))
        wait_until(lambda: b"\nerased " in open(self.archived(".records")[0], "rb").read(),
                   "the entry \"erased\" in the archive")

    def test_erases_if_only_the_archive_was_written(self):
        scanner = self.begin(some_records(3), destination=0)
        os.chmod(FOLDER, 0o555)
        self.synchronize(messages.erasing_run(3, OUTPUT))
        self.wait_for_erasing(scanner)
        self.assertFalse(os.path.exists(OUTPUT))
        self.assert_archived(self.records)
        os.chmod(FOLDER, 0o755)

    def test_erases_if_only_the_output_file_was_written(self):
        for burst in (1, 0):
            with self.subTest(burst=burst):
                scanner = self.begin(some_records(3), archive=False, burst_sync=burst)
                self.synchronize(messages.erasing_run(3, OUTPUT))
                self.wait_for_erasing(scanner)
                self.assert_file(OUTPUT, file_text(self.records, self.settings))
                self.end_program()

    def test_does_not_erase_records_that_were_not_saved(self):
        scanner = self.begin(some_records(3), archive=False, destination=1)
        self.run_to_view(3, messages.no_copy(3))
        self.assertEqual([*CHAIN, *BURST], scanner.commands())
        os.unlink(_STATE)
        self.quillet.clear()
        self.quillet.press("Synchronize")
        self.wait_for_erasing(scanner)
        self.assert_archived(self.records)

    def test_does_not_erase_if_records_are_incomplete(self):
        scanner = self.begin(some_records(3), destination=1)
        scanner.fault("on P 1 length 40")
        self.quillet.press("Synchronize")
        self.quillet.wait_for_message(r"Only \d records? could be read\. .*", "Show")
        self.assertEqual(3, scanner.record_count())

    def test_reports_an_interrupted_run_once(self):
        scanner = self.begin(some_records(40), destination=1, burst_sync=0)
        self.quillet.press("Synchronize")
        wait_until(lambda: "p14#" in scanner.commands(), "half of the records")
        self.assertEqual(1, len(self.archived(".open")))
        self.quillet.kill()
        self.assertEqual(40, scanner.record_count())
        for message in ("A synchronization was interrupted. Check its records in the archive.", ""):
            self.start()
            self.quillet.wait_for_connect_label("Disconnect")
            self.quillet.wait_for_progress(message)
            self.close()
        (path,) = self.archived(".txt")
        with open(path, "rb") as file:
            lines = file.read().count(b"\r\n")
        self.assertGreaterEqual(lines, 20)
