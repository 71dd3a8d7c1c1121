"""All records in one transfer, to a file."""

from harness.case import SystemTest, messages, some_records
from harness.lines import lines


class BurstTest(SystemTest):

    def test_130_records_reach_the_file_and_the_view(self):
        records = some_records(130)
        scanner = self.plugged_in_scanner(records)
        self.start_connected()
        self.quillet.press("Synchronize")
        path = self.wait_for_generated_file()
        self.quillet.wait_for_view(messages.RUN_STARTED + "...\nSynchronized to " + path
                                   + "\n130 barcodes synchronized\n" + messages.FINISHED)
        self.assert_file(path, lines(records))
