"""Tests unexpected bytes, and answers with wrong lengths or counts."""

from fault_case import (CHAIN, OUTPUT, FaultTest, Record, messages, some_records,
                        wait_until)

_HARMLESS = '"garbage" 00 ff 0a 1b'  # no end-of-answer byte (21, 40), no frame start (03)
_BURST_LIMIT = 4 << 20  # number of bytes of a burst that the program keeps
_HEADER = 3  # number of bytes before the first record of a burst
_RECORD = 19  # size in bytes of a record with 13 characters
_ONE_BY_ONE = {"burst_sync": 0}


class GarbageTest(FaultTest):

    def test_unexpected_bytes_make_the_run_hang(self):
        self.check_silent_runs(
            # 03 starts a frame. The program reads the following answers as the frame's contents.
            ("on W 1 after 03", messages.REQUESTING, {}),
            ("on P 1 before ff", "3 records  ·  0.1 of 16711.7 kB", {}),
            ("on p1# 1 before ff", "Received 1 of 3 records", _ONE_BY_ONE),
            # The count is 00 00 21 05 (8,453). Its byte 21 ends the answer early. The fourth byte
            # in the buffer is still 30, from the version answer, so the program reads 00 00 21 30
            # (8,496).
            ("on N 1 answer 00 00 21 05 40", "Received 3 of 8496 records", _ONE_BY_ONE))

    def test_invalid_lengths_make_the_run_hang(self):
        self.check_silent_runs(
            ("on P 1 length 0", "Waiting for 3 records", {}),
            ("on P 1 length 3", "Waiting for 3 records", {}),
            ("on P 1 length 70", "3 records  ·  0.1 of 0.1 kB", {}),
            ("on P 1 length 16777215", "3 records  ·  0.1 of 16777.2 kB", {}),
            ("on p1# 1 length 0", "Received 1 of 3 records", _ONE_BY_ONE))

    def test_ignores_garbage_after_every_answer(self):
        self.begin(some_records(3), f"on any every after {_HARMLESS}")
        self.start_connected()
        self.check_run()

    def test_garbage_becomes_part_of_serial_number(self):
        records = some_records(1)
        self.begin(records, 'on M 1 before "xx"')
        self.start().wait_for_view(messages.STARTED + messages.connecting(serial="040057"))
        self.quillet.clear()
        self.synchronize_to_file(records, serial="xx21040057")

    def test_garbage_before_count_does_not_affect_burst(self):
        self.begin_connected(3, "on N 1 before ff")
        self.check_run()

    def test_garbage_before_count_leads_to_premature_erase(self):
        # The program interprets this count as negative. A record-by-record run then requests no
        # records.
        scanner = self.begin_connected(3, "on N 1 before ff", clear_memory=1, **_ONE_BY_ONE)
        self.synchronize(messages.EMPTY_RUN)
        self.assert_old_file()
        scanner.wait_for_commands([*CHAIN, "W", "N", "GS1", "GS0", "E"])
        self.assertEqual(0, scanner.record_count())

    def test_live_scan_completes_an_interrupted_burst(self):
        scanner = self.begin_connected(130, "after-sent 500 unplug", clear_memory=1)
        quillet = self.quillet
        quillet.press("Synchronize")
        scanner.wait_until_unplugged()
        quillet.wait_for_connect_label("Connect")
        scanner.plug_in()
        quillet.wait_for_view_end(messages.trying())
        scanner.scan(0, "4006381333931")
        quillet.wait_for_view(
            messages.RUN_STARTED + messages.disconnected() + messages.ATTEMPT + messages.trying()
            + messages.erasing_run(1, OUTPUT).removeprefix(messages.RUN_STARTED)
            + messages.connected() + messages.CLOCK_SET)
        # The program treats the scan as the whole burst, and erases all other records.
        self.assertRegex(self.read_file(), r"\AEAN 13,4006381333931,\[[^]]*\],005771\r\n\Z")
        wait_until(lambda: scanner.record_count() == 0, "the scanner to be erased", limit=8)
        quillet.wait_for_message("The connection was lost during the transfer: 1 record was "
                                 "delivered. The scanner was erased.", "Show")

    def test_accepts_a_count_if_end_of_answer_arrives_late(self):
        # The count 00 00 00 21 (33) contains 21, which also ends an answer. The actual end, 40,
        # arrives 250 ms after the count.
        self.begin_connected(33, "on N 1 chunks 4 250")
        self.check_run()

    def test_garbage_in_a_burst_corrupts_later_records(self):
        # The program reads the extra byte as a record length that exceeds the burst.
        self.begin_connected(3, f"on P 1 within {_HEADER + _RECORD} ff")
        self.synchronize(messages.file_run(2, OUTPUT))
        self.assertEqual(self.text(self.records[:1]),
                         self.read_file().splitlines(keepends=True)[0])
        self.quillet.clear()
        self.check_run()

    def test_keeps_complete_records_of_a_truncated_burst(self):
        size = _HEADER + 3 * _RECORD
        scanner = self.begin_connected(3)
        for length, count in ((size - 1, 3), (size - _RECORD, 2)):
            with self.subTest(length):
                scanner.fault(f"on P 1 length {length}")
                self.synchronize(messages.file_run(count, OUTPUT))
                lines = self.read_file().splitlines(keepends=True)
                self.assertEqual(self.text(self.records[:2]), "".join(lines[:2]))
                self.assertNotIn(self.text(self.records[2:]), lines[2:])
                self.quillet.clear()
                self.check_run()

    def test_keeps_4_mib_of_an_oversized_burst(self):
        data = bytes(range(0x20, 0x7F)) * 2
        scanner = self.begin([Record(6, data, "2026-11-16 09:15:00")] * 22_000,
                             options=["--speed", "unlimited"], clear_memory=1)
        self.start_connected()
        count = (_BURST_LIMIT - _HEADER) // (len(data) + 6)
        self.check_run(self.records[:count], clear=False)
        self.quillet.wait_for_progress(messages.cut_off(count))
        self.assertEqual(22_000, scanner.record_count())

    def check_count(self, count, **settings):
        with self.subTest(count):
            self.begin_connected(count, options=["--speed", "unlimited"], **settings)
            self.check_run()
            self.end_program()

    def test_accepts_counts_that_contain_an_end_of_answer_byte(self):
        # 8448 (0x2100) and 16384 (0x4000) contain an end-of-answer byte (0x21 or 0x40).
        for count in (1, 8448, 16384):
            self.check_count(count)
        for count in (33, 64):
            self.check_count(count, **_ONE_BY_ONE)

    def test_accepts_100000_records(self):
        self.check_count(100_000)
