"""One record after the other."""

from harness.case import FOLDER, Record, Settings, SystemTest, messages, some_records
from harness.lines import file_text

_START_CHAIN = ["W", "M", "V", "w1#", "C"]


class RecordByRecordTest(SystemTest):

    path = f"{FOLDER}/out.txt"

    def check(self, records, *, closing, model="old", **settings):
        chosen = Settings(burst_sync=0, filename=self.path, **settings)
        chosen.save()
        scanner = self.plugged_in_scanner(records, model=model)
        self.start_connected()
        self.quillet.press("Synchronize")
        run = messages.file_run(len(records), self.path)
        if not records:
            run = messages.EMPTY_RUN
        elif chosen.clear_memory:
            run = run.replace(messages.FINISHED, messages.ERASED + messages.FINISHED)
        self.quillet.wait_for_view(run)
        scanner.wait_for_commands([*_START_CHAIN, "W", "N", "GS1",
                                   *(f"p{index:x}#" for index in range(len(records))), *closing])
        if records:
            self.assert_file(self.path, file_text(records, chosen, model=model))
        else:
            self.assert_no_stray_files()
        return scanner

    def test_each_record_is_asked_for(self):
        records = [*some_records(16), Record(0xFF, b"slot", "2026-11-16 09:15:00")]
        self.check(records, closing=["GS0"])

    def test_series_300(self):
        self.check(some_records(3), closing=["GS0"], model="300")

    def test_clearing_the_memory_erases_twice(self):
        scanner = self.check(some_records(2), closing=["GS0", "E", "E"], clear_memory=1)
        self.assertEqual(0, scanner.record_count())

    def test_clearing_an_empty_memory_erases_once(self):
        self.check([], closing=["GS0", "E"], clear_memory=1)
