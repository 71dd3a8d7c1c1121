"""Commands that are answered never, or late."""

from fault_case import (BURST, CHAIN, FAILED_ATTEMPT, END_OF_ANSWER, PATH, FaultTest, erasing_run,
                        messages, some_records)

# The answer to each command of the start, for when it comes after all.
_LATE = {"M": '"2104005771@"', "V": '"0.00.41000@"', "w1#": "40", "C": "40"}
_GIVEN_UP = "The scanner did not answer. Restart Quillet."
_TOO_LATE_MS = 5500  # an answer is waited for 5 seconds
_IN_TIME_MS = 4500


class SilenceTest(FaultTest):

    def test_each_command_of_the_start(self):
        scanner = self.begin_connected(3)
        for command, answer in _LATE.items():
            with self.subTest(command):
                self.quillet.press("Disconnect")
                self.quillet.wait_for_view(messages.disconnected())
                self.quillet.wait_for_connect_label("Connect")
                before = len(scanner.commands())
                scanner.fault(f"on {command} 1 silence")
                self.quillet.choose_port(1)
                self.quillet.press("Connect")
                text = messages.disconnected() + messages.ATTEMPT + messages.trying()
                self.quillet.wait_for_view(text + messages.FAILED)
                sent = CHAIN[:CHAIN.index(command) + 1]
                self.assertEqual(sent, scanner.commands()[before:])
                scanner.fault(f"at 0ms send {answer}")
                self.quillet.wait_for_view(text + messages.FAILED + messages.connected()
                                      + messages.CLOCK_SET)
                self.quillet.wait_for_connect_label("Disconnect")
                self.clear()
        self.synchronize()

    def test_wake_up_of_a_run(self):
        records = some_records(3)
        scanner = self.begin(records)
        quillet = self.start_connected()
        before = scanner.all_commands()
        for number in range(1, 6):
            scanner.fault(f"on W {number} ignore")
        quillet.press("Synchronize")
        quillet.wait_for_progress(_GIVEN_UP)
        self.assertEqual([*before, *["W"] * 5], scanner.all_commands())
        for label in ("Synchronize", "Disconnect", "Clear"):
            quillet.press(label)
        self.assertEqual(messages.RUN_STARTED, quillet.view())
        self.assert_old_file()
        self.close()
        self.start_connected()
        self.synchronize()

    def check_late(self, delay):
        """Answers of a run that are late by so much change nothing but how long it takes."""
        scanner = self.begin_connected(3, clear_memory=1)
        for command in ("N", "GS1", "GS0", "E"):
            scanner.fault(f"on {command} 1 delay {delay}")
        before = scanner.commands()
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(erasing_run(3))
        self.assert_file(PATH, self.text())
        scanner.wait_for_commands([*before, *BURST, "E"])
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(erasing_run(3) + messages.EMPTY_RUN)
        self.assert_file(PATH, self.text())

    def test_answers_of_a_run_just_in_time(self):
        self.check_late(_IN_TIME_MS)

    def test_answers_of_a_run_too_late(self):
        self.check_late(_TOO_LATE_MS)

    def test_unanswered_end_of_a_run_keeps_its_records_until_an_answer_comes(self):
        scanner = self.begin_connected(3, "on GS0 1 silence")
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(messages.RUN_STARTED + ".")
        self.quillet.wait_for_silence("Received 3 records")
        self.assert_old_file()
        scanner.fault(END_OF_ANSWER)
        self.quillet.wait_for_view(messages.file_run(3, PATH))
        self.assert_file(PATH, self.text())

    def test_record_that_is_not_answered_is_left_out(self):
        records = some_records(4)
        scanner = self.begin(records, burst_sync=0)
        quillet = self.start_connected()
        scanner.fault("on p1# 1 ignore")
        quillet.press("Synchronize")
        rest = [*records[:1], *records[2:]]
        quillet.wait_for_view(messages.file_run(3, PATH))
        self.assert_file(PATH, self.text(rest))
        self.clear()
        self.synchronize()

    def test_record_just_in_time(self):
        self.begin_connected(4, f"on p1# 1 delay {_IN_TIME_MS}", burst_sync=0)
        self.synchronize()

    def test_record_too_late(self):
        # It is taken for the next one, whose own answer then waits for an end that never comes.
        self.check_lost_run([f"on p1# 1 delay {_TOO_LATE_MS}"],
                            lambda quillet: quillet.wait_for_silence("Received 3 records"),
                            burst_sync=0)

    def test_wake_up_just_in_time_and_too_late(self):
        scanner = self.begin_connected(4)
        for delay in (400, 700):
            scanner.fault(f"on W 1 delay {delay}")
            self.synchronize()

    def test_wake_up_behind_a_burst(self):
        # Its records have come; what ends the run, and writes the file, was dropped.
        self.check_lost_run([f"on W {number} ignore" for number in range(2, 7)],
                            lambda quillet: quillet.wait_for_progress(_GIVEN_UP))

    def test_commands_of_a_run(self):
        self.check_silent_runs(
            ("on N 1 silence", "Requesting records from the scanner", {}),
            ("on GS1 1 silence", "Requesting records from the scanner", {}),
            ("on P 1 silence", "Waiting for 3 records", {}))

    def test_erasing(self):
        scanner = self.begin_connected(3, "on E 1 silence", clear_memory=1)
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(erasing_run(3))
        self.assert_file(PATH, self.text())
        # The next run waits for the answer too.
        self.quillet.press("Synchronize")
        self.quillet.wait_for_silence("Requesting records from the scanner")
        scanner.fault(END_OF_ANSWER)
        self.quillet.wait_for_view(erasing_run(3) + messages.EMPTY_RUN)
        self.assert_file(PATH, self.text())

    def check_clock_answered_late(self, delay, text):
        scanner = self.begin(some_records(3))
        scanner.fault(f"on C 1 delay {delay}")
        self.start().wait_for_view(messages.STARTED + text)
        self.assert_old_file()
        self.quillet.wait_for_connect_label("Disconnect")
        self.clear()
        self.synchronize()

    def test_start_just_in_time(self):
        self.check_clock_answered_late(_IN_TIME_MS, messages.connecting())

    def test_start_too_late(self):
        self.check_clock_answered_late(
            7000, FAILED_ATTEMPT + messages.connected() + messages.CLOCK_SET)
