"""Tests the line limit of the main view, and the Clear button."""

from harness.archive import archived_records, stored
from harness.case import Settings, SystemTest, messages, some_records, wait_until
from harness.lines import view_text

_LIMIT = 100_000  # maximum number of record lines in the view
_CUT = "The window shows only the latest records. All records are in the archive."


class MainViewTest(SystemTest):

    def test_records_removed_from_view_stay_in_the_archive(self):
        settings = Settings(destination=1, attach_type=0, attach_timestamp=0, attach_serial=0)
        settings.save()
        records = some_records(_LIMIT + 1_000)
        self.plugged_in_scanner(records, options=["--speed", "unlimited"])
        self.start_connected()
        self.quillet.press("Synchronize")
        end = messages.count(len(records)) + messages.FINISHED
        self.quillet.wait_for_view_end(end)
        shown = messages.RUN_STARTED + view_text(records[1_000:], settings) + end
        self.assertTrue(self.quillet.view() == shown, "the view")
        self.quillet.wait_for_progress(_CUT)
        archived = set(archived_records())
        self.assertEqual([], [record for record in records if stored(record) not in archived])

    def test_cleared_records_stay_in_the_archive(self):
        Settings(destination=1, attach_timestamp=0, record_delimiter=1).save()
        scanner = self.plugged_in_scanner()
        self.start_connected()
        before = len(archived_records())
        for data in ("A-1", "A-2"):
            scanner.scan(4, data)
            self.quillet.wait_for_view(f"Code 39,{data},005771\n")
            self.quillet.press("Clear")
            self.quillet.wait_for_view("")
        wait_until(lambda: len(archived_records()) == before + 2, "two archived records")
