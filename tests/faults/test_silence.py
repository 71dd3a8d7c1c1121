"""Tests commands that the scanner answers late or not at all."""

from fault_case import BURST, CHAIN, END_OF_ANSWER, OUTPUT, FaultTest, messages, some_records

_LATE_MS = 5500  # the time-out for an answer is 5 s
# Answers to the commands sent when connecting. The tests delay these answers.
_LATE = {"M": '"2104005771@"', "V": '"0.00.41000@"', "w1#": "40", "C": "40"}


class SilenceTest(FaultTest):

    def test_connects_when_late_answer_arrives(self):
        scanner = self.begin_connected(3)
        for command, answer in _LATE.items():
            with self.subTest(command):
                self.disconnect()
                before = len(scanner.commands())
                scanner.fault(f"on {command} 1 silence")
                self.connect()
                text = (messages.disconnected() + messages.ATTEMPT + messages.trying()
                        + messages.FAILED)
                self.quillet.wait_for_view(text)
                sent = CHAIN[:CHAIN.index(command) + 1]
                self.assertEqual(sent, scanner.commands()[before:])
                scanner.fault(f"at 0ms send {answer}")
                self.quillet.wait_for_view(text + messages.connected() + messages.CLOCK_SET)
                self.quillet.wait_for_connect_label("Disconnect")
                self.quillet.clear()
        self.check_run()

    def test_aborts_run_after_5_unanswered_wake_ups(self):
        scanner = self.begin_connected(3)
        before = scanner.all_commands()
        scanner.fault(*(f"on W {number} ignore" for number in range(1, 6)))
        self.quillet.press("Synchronize")
        self.quillet.wait_for_progress(messages.gave_up())
        self.assertEqual([*before, *["W"] * 5], scanner.all_commands())
        self.quillet.press("Synchronize", "Disconnect", "Clear")
        self.assertEqual(messages.RUN_STARTED, self.quillet.view())
        self.assert_old_file()
        self.close()
        self.start_connected()
        self.check_run()

    def test_run_completes_if_answers_take_5_5_s(self):
        scanner = self.begin_connected(3, *(f"on {command} 1 delay {_LATE_MS}"
                                            for command in ("N", "GS1", "GS0", "E")),
                                       clear_memory=1)
        self.check_run(clear=False)
        scanner.wait_for_commands([*CHAIN, *BURST, "E"])
        self.synchronize(messages.erasing_run(3, OUTPUT) + messages.EMPTY_RUN)
        self.assert_file(OUTPUT, self.text())

    def test_writes_file_when_last_answer_arrives_late(self):
        scanner = self.begin_connected(3, "on GS0 1 silence")
        self.synchronize(messages.RUN_STARTED + ".")
        self.quillet.wait_for_silence("Received 3 records")
        self.assert_old_file()
        scanner.fault(END_OF_ANSWER)
        self.quillet.wait_for_view(messages.file_run(3, OUTPUT))
        self.assert_file(OUTPUT, self.text())

    def test_omits_record_if_request_is_unanswered(self):
        self.begin_connected(4, "on p1# 1 ignore", burst_sync=0)
        self.check_run([*self.records[:1], *self.records[2:]])
        self.check_run()

    def test_record_that_takes_5_5_s_makes_the_run_hang(self):
        # The program reads the late record as the answer to its next request. It then waits for the
        # end of the actual answer to that request.
        self.check_silent_runs(
            (f"on p1# 1 delay {_LATE_MS}", "Received 3 records", {"burst_sync": 0}))

    def test_accepts_answers_byte_by_byte(self):
        for settings in ({}, {"burst_sync": 0, "model": "300"}):
            with self.subTest(settings):
                self.begin(some_records(2), "on any every chunks 1 1", **settings)
                self.start_connected()
                self.check_run()
                self.end_program()

    def test_accepts_wake_up_answers_after_0_4_and_0_7_s(self):
        scanner = self.begin_connected(4)
        for delay in (400, 700):
            scanner.fault(f"on W 1 delay {delay}")
            self.check_run()

    def test_aborts_run_if_scanner_is_silent_after_burst(self):
        self.check_given_up_run(*(f"on W {number} ignore" for number in range(2, 7)), records=3)

    def test_unanswered_commands_do_not_change_the_file(self):
        self.check_silent_runs(("on N 1 silence", messages.REQUESTING, {}),
                               ("on GS1 1 silence", messages.REQUESTING, {}),
                               ("on P 1 silence", "Waiting for 3 records", {}))

    def test_next_run_waits_for_answer_to_erase_command(self):
        scanner = self.begin_connected(3, "on E 1 silence", clear_memory=1)
        self.check_run(clear=False)
        self.quillet.press("Synchronize")
        self.quillet.wait_for_silence(messages.REQUESTING)
        scanner.fault(END_OF_ANSWER)
        self.quillet.wait_for_view(messages.erasing_run(3, OUTPUT) + messages.EMPTY_RUN)
        self.assert_file(OUTPUT, self.text())

    def test_connects_when_late_clock_answer_arrives(self):
        self.begin(some_records(3), "on C 1 delay 7000")
        self.start().wait_for_view(messages.STARTED + messages.failed_attempt()
                                   + messages.connected() + messages.CLOCK_SET)
        self.assert_old_file()
        self.quillet.wait_for_connect_label("Disconnect")
        self.quillet.clear()
        self.check_run()
