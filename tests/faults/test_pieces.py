"""Answers that are split at every position."""

from fault_case import BURST, CHAIN, FaultTest, some_records


class PiecesTest(FaultTest):

    def check_runs(self, commands, longest, **settings):
        """Runs once per size of pieces. `longest` is the size of the longest answer in bytes."""
        scanner = self.begin(some_records(2), **settings)
        self.start_connected()
        for size in range(1, longest + 1):
            for command in set(commands):
                scanner.fault(*(f"on {command} {number} chunks {size} 1"
                                for number in range(1, commands.count(command) + 1)))
            self.put_old_file()
            self.check_run()

    def test_accepts_burst_answers_in_pieces(self):
        self.check_runs(BURST, 3 + 2 * (2 + 13 + 4))

    def test_accepts_record_answers_in_pieces(self):
        self.check_runs(["W", "N", "GS1", "p0#", "p1#", "GS0"], 4 + 3 + 13 + 4,
                        burst_sync=0, model="300")

    def test_accepts_start_answers_in_pieces(self):
        scanner = self.begin_connected(2)
        for size in range(1, len("2104005771@")):
            self.disconnect()
            scanner.fault(*(f"on {command} 1 chunks {size} 1" for command in CHAIN))
            self.connect()
            self.wait_until_reconnected()
        self.check_run()
