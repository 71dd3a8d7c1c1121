"""A burst is waited for 50 seconds."""

from fault_case import PATH, FaultTest, messages, some_records
from harness.waiting import wait_until


class BurstWaitTest(FaultTest):

    def check(self, delay):
        scanner = self.begin(some_records(3))
        self.start_connected()
        scanner.fault(f"on P 1 delay {delay}")
        self.quillet.press("Synchronize")
        wait_until(lambda: self.quillet.view() == messages.file_run(3, PATH), "the run to end",
                   limit=2 * delay / 1000)
        self.assert_file(PATH, self.text())
        self.clear()
        self.synchronize()

    def test_just_in_time(self):
        self.check(49_000)

    def test_too_late(self):
        self.check(52_000)
