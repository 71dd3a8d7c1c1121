"""Frames that nobody asked for."""

from fault_case import PATH, FaultTest, messages, some_records

_FRAME = "03 00 00 0f 0b 06 61 62 63 64 65 66 31 47 41 09 40"


class UnsolicitedTest(FaultTest):

    def test_while_nothing_was_ever_run(self):
        scanner = self.begin_connected(3)
        for _ in range(3):
            scanner.fault(f"at 0ms send {_FRAME}")
        self.quillet.wait_for_view(".")  # for the first one
        self.log.wait_for("-[SyncController DisplayBarcode:]", times=3)
        self.assert_old_file()
        self.clear()
        self.synchronize()

    def begin_with_frame_for_version(self, model):
        """The frame takes the place of the firmware's version, which tells the layout."""
        scanner = self.begin(some_records(3), scanner={"model": model})
        scanner.fault("on V 1 before 03 00 00 06 61 62 63")
        self.start_connected()

    def test_while_connecting(self):
        self.begin_with_frame_for_version("old")
        self.synchronize()

    def test_while_connecting_to_the_300_series(self):
        # The older layout is assumed: nothing that comes is right, until the next connection.
        self.begin_with_frame_for_version("300")
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view_end(messages.FINISHED)
        with open(PATH, encoding="utf-8", newline="") as file:
            self.assertNotEqual(self.text(), file.read())
        self.restart()
        self.synchronize()

    def test_cut_short_by_more(self):
        # Nothing that is answered brings its end.
        for frame in ("03 00 00 00", "03 00 01 00"):
            with self.subTest(frame):
                self.check_lost_run(
                    [f"at 0ms send {frame}"], lambda quillet: quillet.wait_for_progress(
                        "The scanner did not answer. Restart Quillet."))

    def test_cut_short(self):
        # The frame waits for its end, which the next answer brings.
        self.begin_connected(3, "at 0ms send 03 00 00 06 61 62")
        self.synchronize()
