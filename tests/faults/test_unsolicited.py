"""Tests unsolicited frames from the scanner."""

from fault_case import FaultTest, messages, some_records

_FRAME = "03 00 00 0f 0b 06 61 62 63 64 65 66 31 47 41 09 40"


class UnsolicitedTest(FaultTest):

    def test_accepts_unsolicited_frames_before_the_first_run(self):
        self.begin_connected(3, *[f"at 0ms send {_FRAME}"] * 3)
        self.quillet.wait_for_view(".")  # one dot for up to 64 frames
        self.log.wait_for("-[SyncController DisplayBarcode:]", times=3)
        self.assert_old_file()
        self.quillet.clear()
        self.check_run()

    def begin_with_frame_as_version(self, model):
        """Connects a scanner that sends a frame before its version. The program treats the frame as
        the version, which determines the layout of records."""
        self.begin(some_records(3), "on V 1 before 03 00 00 06 61 62 63", model=model)
        self.start_connected()

    def test_older_scanner_tolerates_frame_read_as_version(self):
        self.begin_with_frame_as_version("old")
        self.check_run()

    def test_frame_read_as_version_corrupts_300_series_records(self):
        # The program assumes the older layout and misreads all records until it reconnects.
        self.begin_with_frame_as_version("300")
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view_end(messages.FINISHED)
        self.assertNotEqual(self.text(), self.read_file())
        self.restart()
        self.check_run()

    def test_aborts_run_after_incomplete_frame(self):
        # Later answers do not complete these frames.
        for frame in ("03 00 00 00", "03 00 01 00"):
            with self.subTest(frame):
                self.check_given_up_run(f"at 0ms send {frame}")

    def test_reads_next_answer_as_the_rest_of_a_frame(self):
        self.begin_connected(3, "at 0ms send 03 00 00 06 61 62")
        self.check_run()
