"""Answers that arrive in pieces."""

from fault_case import BURST, CHAIN, FaultTest, messages, some_records

_ONE_BY_ONE = ["W", "N", "GS1", "p0#", "p1#", "GS0"]


class PiecesTest(FaultTest):

    def check_runs(self, commands, longest):
        """One run with each size of pieces, up to that of the longest answer."""
        scanner = self.scanners[0]
        for size in range(1, longest + 1):
            for command in set(commands):
                for number in range(1, commands.count(command) + 1):
                    scanner.fault(f"on {command} {number} chunks {size} 1")
            self.put_old_file()
            self.synchronize()

    def test_burst_in_pieces_of_every_size(self):
        self.begin(some_records(2))
        self.start_connected()
        self.check_runs(BURST, 3 + 2 * (2 + 13 + 4))

    def test_records_in_pieces_of_every_size(self):
        self.begin(some_records(2), burst_sync=0, scanner={"model": "300"})
        self.start_connected()
        self.check_runs(_ONE_BY_ONE, 4 + 3 + 13 + 4)

    def test_start_in_pieces_of_every_size(self):
        scanner = self.begin_connected(2)
        for size in range(1, len("2104005771@")):
            self.quillet.press("Disconnect")
            self.quillet.wait_for_view(messages.disconnected())
            self.quillet.wait_for_connect_label("Connect")
            for command in CHAIN:
                scanner.fault(f"on {command} 1 chunks {size} 1")
            self.quillet.choose_port(1)
            self.quillet.press("Connect")
            self.quillet.wait_for_view(messages.disconnected() + messages.connecting())
            self.quillet.wait_for_connect_label("Disconnect")
            self.clear()
        self.synchronize()
