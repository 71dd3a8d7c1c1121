"""Simulates suspending the computer. A port that loses power is removed, and is added again when
the computer resumes."""

import signal

from harness.case import OUTPUT, Settings, SystemTest, messages, some_records, wait_until

_LOST = "The connection to the scanner was lost. "


class SuspendTest(SystemTest):

    def suspend_and_resume(self, scanner):
        """Suspends the program, removes the port, adds the port again and resumes the program."""
        self.devices.listener = None
        self.quillet.process.send(signal.SIGSTOP)
        scanner.unplug()
        scanner.plug_in()
        self.quillet.process.send(signal.SIGCONT)

    def assert_attempts(self, count):
        attempts = [line for line in self.log.lines() if "SyncController ConnectThread]" in line]
        self.assertEqual(count, len(attempts), attempts)

    def test_reconnects_an_idle_scanner_once_after_resume(self):
        scanner = self.plugged_in_scanner()
        quillet = self.start_connected()
        self.suspend_and_resume(scanner)
        quillet.wait_for_view(messages.disconnected() + messages.connecting())
        quillet.wait_for_connect_label("Disconnect")
        self.assert_attempts(2)

    def test_says_how_to_reconnect_if_the_line_is_dead(self):
        scanner = self.plugged_in_scanner()
        quillet = self.start_connected()
        scanner.hang_up()
        quillet.wait_for_message(_LOST + "Press Disconnect, then Connect.")
        scanner.plug_in()
        self.disconnect()
        quillet.press("Connect")
        quillet.wait_for_view(messages.disconnected() + messages.connecting())
        quillet.wait_for_message("")

    def start_run_without_records(self):
        """Starts a run whose request for the records is never answered. Returns the scanner."""
        Settings(filename=OUTPUT).save()
        scanner = self.plugged_in_scanner(some_records(200), faults=["on P ignore"])
        self.start_connected().press("Synchronize")
        wait_until(lambda: scanner.all_commands()[-1] == "P", "the request for the records")
        return scanner

    def test_suggests_restart_if_the_line_is_dead_during_a_run(self):
        self.start_run_without_records().hang_up()
        self.quillet.wait_for_message(_LOST + "No records were received. Restart Quillet to continue.",
                                      "Restart Quillet")

    def test_tries_to_reconnect_only_once_during_a_run(self):
        scanner = self.start_run_without_records()
        quillet = self.quillet
        self.suspend_and_resume(scanner)
        text = messages.RUN_STARTED + messages.disconnected() + messages.failed_attempt()
        quillet.wait_for_view(text)
        quillet.wait_for_connect_label("Connect")
        self.assert_attempts(2)
        # The run has not ended, so the buttons have no effect.
        quillet.press("Connect", "Synchronize", "Clear")
        quillet.wait_for_view(text)
        self.assert_attempts(2)
