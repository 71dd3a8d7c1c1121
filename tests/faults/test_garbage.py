"""Bytes that are not an answer, and answers with wrong lengths or counts."""

from fault_case import PATH, FaultTest, Record, erasing_run, messages, some_records
from harness.waiting import wait_until

_HARMLESS = '"garbage" 00 ff 0a 1b'  # no end of an answer in it, and no 0x03 in front
_ROOM = 4 << 20  # bytes of a burst that the program keeps
_FIRST_RECORD = 3 + 19  # bytes of a burst of records of 13 characters: its length, and one of them
_SINGLY = {"burst_sync": 0}
# Records whose own length is zero, one, or beyond the end, in both layouts.
_FRAMES = {
    "old": [bytes(20), b"\xff" * 20, b"\x01" * 20, b"\x10\x06" + b"a" * 18],
    "300": [bytes(20), b"\xff" * 20, b"\x00\x01" * 10, b"\x00\x10\x06" + b"a" * 17],
}


class GarbageTest(FaultTest):

    def test_misleading_bytes(self):
        self.check_silent_runs(
            # The frame that 0x03 begins takes up what follows.
            ("on W 1 after 03", "Requesting records from the scanner", {}),
            ("on P 1 before ff", "3 records  ·  0.1 of 16711.7 kB", {}),
            # The rest of the record is taken up too, until something ends an answer.
            ("on p1# 1 before ff", "Received 1 of 3 records", _SINGLY),
            # 8,453 is 00 00 21 05. The exclamation mark ends the answer, and the fourth byte is
            # where the scanner's version has left a zero, 0x30.
            ("on N 1 answer 00 00 21 05 40", "Received 3 of 8496 records", _SINGLY))

    def test_unusable_lengths(self):
        self.check_silent_runs(
            ("on P 1 length 0", "Waiting for 3 records", {}),
            ("on P 1 length 3", "Waiting for 3 records", {}),
            ("on P 1 length 70", "3 records  ·  0.1 of 0.1 kB", {}),
            ("on P 1 length 16777215", "3 records  ·  0.1 of 16777.2 kB", {}),
            ("on p1# 1 length 0", "Received 1 of 3 records", _SINGLY))

    def test_behind_every_answer(self):
        scanner = self.begin(some_records(3))
        scanner.fault(f"on any every after {_HARMLESS}")
        self.start_connected()
        self.synchronize()

    def test_before_the_serial_number(self):
        scanner = self.begin(some_records(1))
        scanner.fault('on M 1 before "xx"')
        quillet = self.start()
        quillet.wait_for_view(messages.STARTED + messages.connecting(serial="040057"))
        self.clear()
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.file_run(1, PATH))
        self.assert_file(PATH, self.text(serial="xx21040057"))

    def test_before_the_count(self):
        self.begin_connected(3, "on N 1 before ff")
        self.synchronize()

    def test_before_the_count_one_by_one(self):
        # The number is negative then: nothing is asked for, and what is there is erased.
        scanner = self.begin_connected(3, "on N 1 before ff", burst_sync=0, clear_memory=1)
        before = scanner.commands()
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(messages.EMPTY_RUN)
        self.assert_old_file()
        scanner.wait_for_commands([*before, "W", "N", "GS1", "GS0", "E"])
        self.assertEqual(0, scanner.record_count())

    def test_barcode_scanned_behind_a_burst_that_was_cut(self):
        scanner = self.begin(some_records(130), clear_memory=1)
        quillet = self.start_connected()
        scanner.fault("after-sent 500 unplug")
        quillet.press("Synchronize")
        scanner.wait_until_line_is_down()
        scanner.leave_socket()
        quillet.wait_for_connect_label("Connect")
        scanner.plug_in()
        quillet.wait_for_view_end(messages.trying())
        scanner.scan(0, "4006381333931")
        quillet.wait_for_view(
            messages.RUN_STARTED + messages.disconnected() + messages.ATTEMPT + messages.trying()
            + "." + erasing_run(1).removeprefix(messages.RUN_STARTED + ".") + messages.connected() + messages.CLOCK_SET)
        # The scan is taken for the burst, and the rest is erased with it.
        with open(PATH, encoding="utf-8", newline="") as file:
            self.assertRegex(file.read(), r"\AEAN 13,4006381333931,\[[^]]*\],005771\r\n\Z")
        wait_until(lambda: scanner.record_count() == 0, "the scanner to be erased", limit=8)

    def test_pause_in_a_count_that_holds_the_end_of_an_answer(self):
        # 33 is 0x21, an exclamation mark; the last byte answers what is asked next.
        self.begin_connected(33, "on N 1 chunks 4 250")
        self.synchronize()

    def test_between_the_records_of_a_burst(self):
        # It counts as a record of its own that is longer than what is left.
        self.begin_connected(3, f"on P 1 within {_FIRST_RECORD} ff")
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(messages.file_run(2, PATH))
        with open(PATH, encoding="utf-8", newline="") as file:
            self.assertEqual(self.text(self.records[:1]), file.readline())
        self.clear()
        self.synchronize()

    def test_burst_that_says_it_is_shorter(self):
        # By one byte and by a record. The complete records arrive complete.
        size = 3 + 3 * 19
        scanner = self.begin_connected(3)
        for length, count in ((size - 1, 3), (size - 19, 2)):
            with self.subTest(length):
                scanner.fault(f"on P 1 length {length}")
                self.quillet.press("Synchronize")
                self.quillet.wait_for_view(messages.file_run(count, PATH))
                with open(PATH, encoding="utf-8", newline="") as file:
                    lines = file.readlines()
                self.assertEqual(self.text(self.records[:2]), "".join(lines[:2]))
                self.assertNotIn(self.text(self.records[2:]), lines[2:])
                self.clear()
                self.synchronize()

    def check_lengths(self, command, head, check, **settings):
        """Answers a command with each frame. A run with it ends, and the next one is complete."""
        for model, frames in _FRAMES.items():
            scanner = self.begin(some_records(3), scanner={"model": model}, **settings)
            self.start_connected()
            for frame in frames:
                with self.subTest(model=model, frame=frame.hex()):
                    scanner.fault(f"on {command} 1 answer {head} 00 00 {len(frame) + 3:02x} "
                                  f"{frame.hex(' ')}")
                    self.quillet.press("Synchronize")
                    self.quillet.wait_for_view_end(messages.FINISHED)
                    check()
                    self.clear()
            self.synchronize()
            self.end_program()

    def test_lengths_within_a_burst(self):
        self.check_lengths("P", "", lambda: None)

    def test_lengths_within_a_record(self):
        def check():
            # The record's frame is right; so the records around it arrive unchanged.
            self.assertEqual(messages.file_run(3, PATH), self.quillet.view())
            first, _, last = self.text().splitlines(keepends=True)
            with open(PATH, encoding="utf-8", errors="surrogateescape", newline="") as file:
                text = file.read()
            self.assertEqual((first, last), (text[:len(first)], text[-len(last):]))
        self.check_lengths("p1#", "03", check, **_SINGLY)

    def check_more_than_fits(self, run, left, **settings):
        """A burst can announce four times the room. What does not fit is left out, and the number
        at the end shows it."""
        data = bytes(range(0x20, 0x7F)) * 2
        scanner = self.begin([Record(6, data, "2026-11-16 09:15:00")] * 22_000,
                             scanner={"options": ["--speed", "unlimited"]}, **settings)
        quillet = self.start_connected()
        quillet.press("Synchronize")
        fits = (_ROOM - 3) // (len(data) + 6)
        quillet.wait_for_view(run(fits))
        self.assert_file(PATH, self.text(self.records[:fits]))
        wait_until(lambda: scanner.record_count() == left, f"{left} records in the scanner")
        self.clear()
        scanner.fault("on N 1 answer 00 00 00 00 40")
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.EMPTY_RUN)

    def test_more_than_fits(self):
        self.check_more_than_fits(lambda count: messages.file_run(count, PATH), left=22_000)

    def test_more_than_fits_is_erased_too(self):
        self.check_more_than_fits(erasing_run, left=0, clear_memory=1)

    def check_count(self, count, **settings):
        with self.subTest(count):
            self.begin(some_records(count), scanner={"options": ["--speed", "unlimited"]},
                       **settings)
            self.start_connected()
            self.synchronize()
            self.end_program()

    def test_counts(self):
        # The bytes of all but the first hold the end of an answer.
        for count in (1, 8448, 16384):
            self.check_count(count)
        for count in (33, 64):
            self.check_count(count, burst_sync=0)

    def test_100000(self):
        self.check_count(100_000)
