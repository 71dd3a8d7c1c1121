"""Tests runs that request each record separately."""

from harness.case import CHAIN, OUTPUT, Record, Settings, SystemTest, messages, some_records
from harness.lines import file_text


class RecordByRecordTest(SystemTest):

    def check(self, records, *, closing, model="old", **settings):
        """Checks a run. `closing` lists the commands expected after the last record request."""
        chosen = Settings(burst_sync=0, filename=OUTPUT, **settings)
        chosen.save()
        scanner = self.plugged_in_scanner(records, model=model)
        self.start_connected()
        run = messages.erasing_run if chosen.clear_memory else messages.file_run
        self.synchronize(run(len(records), OUTPUT) if records else messages.EMPTY_RUN)
        scanner.wait_for_commands([*CHAIN, "W", "N", "GS1",
                                   *(f"p{index:x}#" for index in range(len(records))), *closing])
        if records:
            self.assert_file(OUTPUT, file_text(records, chosen, model=model))
        else:
            self.assert_no_stray_files()
        return scanner

    def test_requests_each_record(self):
        records = [*some_records(16), Record(0xFF, b"slot", "2026-11-16 09:15:00")]
        self.check(records, closing=["GS0"])

    def test_requests_records_of_the_300_series(self):
        self.check(some_records(3), closing=["GS0"], model="300")

    def test_sends_erase_command_twice_after_a_run(self):
        scanner = self.check(some_records(2), closing=["GS0", "E", "E"], clear_memory=1)
        self.assertEqual(0, scanner.record_count())

    def test_sends_erase_command_once_if_scanner_is_empty(self):
        self.check([], closing=["GS0", "E"], clear_memory=1)
