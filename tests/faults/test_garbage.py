"""Bytes that are no answer, and answers that say something wrong about themselves."""

from fault_case import PATH, FaultTest, Record, messages, some_records
from harness.waiting import wait_until

_HARMLESS = '"garbage" 00 ff 0a 1b'  # no end of an answer in it, and no 0x03 in front
_ROOM = 4 << 20  # bytes of a burst that the program keeps
_FIRST_RECORD = 3 + 19  # bytes of a burst of records of 13 characters: its length, and one of them


class GarbageTest(FaultTest):

    def check_silence(self, fault, progress, **settings):
        self.check_lost_run([fault], lambda quillet: quillet.wait_for_silence(progress), **settings)

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
        scanner = self.begin(some_records(3))
        self.start_connected()
        scanner.fault("on N 1 before ff")
        self.synchronize()

    def test_before_the_count_one_by_one(self):
        # The number is negative then: nothing is asked for, and what is there is erased.
        scanner = self.begin(some_records(3), burst_sync=0, clear_memory=1)
        quillet = self.start_connected()
        scanner.fault("on N 1 before ff")
        before = scanner.commands()
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.EMPTY_RUN)
        self.assert_old_file()
        scanner.wait_for_commands([*before, "W", "N", "GS1", "GS0", "E"])
        self.assertEqual(0, scanner.record_count())

    def test_count_that_ends_in_its_third_byte_one_by_one(self):
        # 8,453 is 00 00 21 05. The exclamation mark ends the answer, and the fourth byte is taken from
        # where the scanner's version has left a zero, 0x30.
        self.check_silence("on N 1 answer 00 00 21 05 40", "Received 3 of 8496 records",
                           burst_sync=0)

    def test_start_of_a_frame_behind_an_answer(self):
        # What follows is taken for the frame.
        self.check_silence("on W 1 after 03", "Asking the scanner for its records")

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
            + "." + messages.file_run(1, PATH).removeprefix(messages.RUN_STARTED + ".").replace(
                messages.FINISHED, messages.ERASED + messages.FINISHED)
            + messages.connected() + messages.CLOCK_SET)
        # The scan is taken for the burst, and the rest is erased with it.
        with open(PATH, encoding="utf-8", newline="") as file:
            self.assertRegex(file.read(), r"\AEAN 13,4006381333931,\[[^]]*\],005771\r\n\Z")
        wait_until(lambda: scanner.record_count() == 0, "the scanner to be erased", limit=8)

    def test_pause_in_a_count_that_holds_the_end_of_an_answer(self):
        # 33 is 0x21, an exclamation mark; the last byte answers what is asked next.
        scanner = self.begin(some_records(33))
        self.start_connected()
        scanner.fault("on N 1 chunks 4 250")
        self.synchronize()

    def test_before_a_burst(self):
        self.check_silence("on P 1 before ff",
                            "3 records  ·  0.1 of 16711.7 kB")

    def test_between_the_records_of_a_burst(self):
        # It counts as a record of its own that is longer than what is left.
        scanner = self.begin(some_records(3))
        quillet = self.start_connected()
        scanner.fault(f"on P 1 within {_FIRST_RECORD} ff")
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.file_run(2, PATH))
        with open(PATH, encoding="utf-8", newline="") as file:
            self.assertEqual(self.text(self.records[:1]), file.readline())
        self.clear()
        self.synchronize()

    def test_before_a_record(self):
        # What follows it is taken for its rest, until something ends an answer.
        self.check_silence("on p1# 1 before ff", "Received 1 of 3 records", burst_sync=0)

    def test_burst_that_says_it_has_no_bytes(self):
        self.check_silence("on P 1 length 0", "Waiting for 3 records")

    def test_burst_that_says_it_is_its_length_alone(self):
        self.check_silence("on P 1 length 3", "Waiting for 3 records")

    def test_burst_that_says_it_is_longer(self):
        self.check_silence("on P 1 length 70",
                            "3 records  ·  0.1 of 0.1 kB")

    def test_burst_that_says_it_is_huge(self):
        self.check_silence("on P 1 length 16777215",
                            "3 records  ·  0.1 of 16777.2 kB")

    def check_shorter(self, bytes_less, whole, **more):
        """A burst that says it is shorter than it is: the records that are whole come whole."""
        scanner = self.begin(some_records(3), **more)
        quillet = self.start_connected()
        size = 3 + 3 * 19
        scanner.fault(f"on P 1 length {size - bytes_less}")
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.file_run(3 if bytes_less == 1 else whole, PATH))
        with open(PATH, encoding="utf-8", newline="") as file:
            lines = file.readlines()
        self.assertEqual(self.text(self.records[:whole]), "".join(lines[:whole]))
        self.assertNotIn(self.text(self.records[2:]), lines[whole:])
        self.clear()
        self.synchronize()

    def test_burst_that_says_it_is_a_byte_shorter(self):
        self.check_shorter(1, 2)

    def test_burst_that_says_it_is_a_record_shorter(self):
        self.check_shorter(19, 2)

    def check_lengths_within(self, model, *frames):
        """Records of a burst that say something wrong about their own length end in good order."""
        scanner = self.begin(some_records(3), scanner={"model": model})
        quillet = self.start_connected()
        for frame in frames:
            scanner.fault(f"on P 1 answer 00 00 {len(frame) + 3:02x} {frame.hex(' ')}")
            quillet.press("Synchronize")
            quillet.wait_for_view_end(messages.FINISHED)
            self.clear()
        self.synchronize()

    def test_lengths_within_a_burst(self):
        self.check_lengths_within("old", bytes(20), b"\xff" * 20, b"\x01" * 20,
                                  b"\x10\x06" + b"a" * 18)

    def test_lengths_within_a_burst_of_the_300_series(self):
        self.check_lengths_within("300", bytes(20), b"\xff" * 20, b"\x00\x01" * 10,
                                  b"\x00\x10\x06" + b"a" * 17)

    def check_lengths_one_by_one(self, model, *frames):
        """A record that says something wrong about its own length, in a frame that is right, ends
        like any other, and those around it come as they are."""
        scanner = self.begin(some_records(3), burst_sync=0, scanner={"model": model})
        quillet = self.start_connected()
        first, _, last = self.text().splitlines(keepends=True)
        for frame in frames:
            with self.subTest(frame.hex()):
                scanner.fault(f"on p1# 1 answer 03 00 00 {len(frame) + 3:02x} {frame.hex(' ')}")
                quillet.press("Synchronize")
                quillet.wait_for_view(messages.file_run(3, PATH))
                with open(PATH, encoding="utf-8", errors="surrogateescape", newline="") as file:
                    text = file.read()
                self.assertEqual((first, last), (text[:len(first)], text[-len(last):]))
                self.clear()
        self.synchronize()

    def test_lengths_within_a_record(self):
        self.check_lengths_one_by_one("old", bytes(20), b"\xff" * 20, b"\x01" * 20,
                                      b"\x10\x06" + b"a" * 18)

    def test_lengths_within_a_record_of_the_300_series(self):
        self.check_lengths_one_by_one("300", bytes(20), b"\xff" * 20, b"\x00\x01" * 10,
                                      b"\x00\x10\x06" + b"a" * 17)

    def test_record_that_says_it_has_no_bytes(self):
        self.check_silence("on p1# 1 length 0", "Received 1 of 3 records",
                            burst_sync=0)

    def test_more_than_fits(self):
        # A burst can announce four times as much as there is room for. What does not fit is left
        # out, and the number that is shown tells.
        data = bytes(range(0x20, 0x7F)) * 2
        self.begin([Record(6, data, "2026-11-16 09:15:00")] * 22_000,
                   scanner={"options": ["--speed", "unlimited"]})
        quillet = self.start_connected()
        quillet.press("Synchronize")
        fits = (_ROOM - 3) // (len(data) + 6)
        quillet.wait_for_view(messages.file_run(fits, PATH))
        self.assert_file(PATH, self.text(self.records[:fits]))
        self.clear()
        self.scanners[0].fault("on N 1 answer 00 00 00 00 40")
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.EMPTY_RUN)


class CountTest(FaultTest):

    def check(self, count, *, dots=None, **settings):
        self.begin(some_records(count), scanner={"options": ["--speed", "unlimited"]}, **settings)
        self.start_connected()
        self.synchronize()

    def test_1(self):
        self.check(1)

    def test_33_one_by_one(self):
        self.check(33, burst_sync=0)

    def test_64_one_by_one(self):
        self.check(64, burst_sync=0)

    def test_8448(self):
        self.check(8448)

    def test_16384(self):
        self.check(16384)

    def test_100000(self):
        self.check(100000)
