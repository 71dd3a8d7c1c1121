"""Bursts that begin just before and just after the time-out of 50 s."""

from fault_case import OUTPUT, FaultTest, messages, wait_until


class BurstWaitTest(FaultTest):

    def check(self, delay):
        self.begin_connected(3, f"on P 1 delay {delay}")
        self.quillet.press("Synchronize")
        wait_until(lambda: self.quillet.view() == messages.file_run(3, OUTPUT),
                   "the end of the run", limit=2 * delay / 1000)
        self.assert_file(OUTPUT, self.text())
        self.quillet.clear()
        self.check_run()

    def test_accepts_a_burst_after_49_s(self):
        self.check(49_000)

    def test_accepts_a_burst_after_52_s(self):
        self.check(52_000)
