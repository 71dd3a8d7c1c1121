"""Frames that nobody asked for."""

from fault_case import FaultTest, some_records

_FRAME = "03 00 00 0f 0b 06 61 62 63 64 65 66 31 47 41 09 40"


class UnsolicitedTest(FaultTest):

    def test_while_nothing_was_ever_run(self):
        scanner = self.begin(some_records(3))
        quillet = self.start_connected()
        for _ in range(3):
            scanner.fault(f"at 0ms send {_FRAME}")
        quillet.wait_for_view(".")  # for the first one
        self.log.wait_for("-[SyncController DisplayBarcode:]", times=3)
        self.assert_old_file()
        self.clear()
        self.synchronize()

    def test_while_connecting(self):
        # It takes the place of the firmware's version, upon which the older layout is assumed.
        scanner = self.begin(some_records(3))
        scanner.fault("on V 1 before 03 00 00 06 61 62 63")
        self.start_connected()
        self.synchronize()

    def test_cut_short(self):
        # The frame waits for its end, which the next answer brings.
        scanner = self.begin(some_records(3))
        self.start_connected()
        scanner.fault("at 0ms send 03 00 00 06 61 62")
        self.synchronize()
