"""Closes or kills the program in various states. The output file must not change."""

import os

from fault_case import BURST, CHAIN, OUTPUT, FaultTest, messages
from harness.settings_window import SettingsWindow

_CLOSING = ["-[QuilletAppDelegate windowWillClose:]",
            "-[SyncController stopNotification]",
            "-[SyncController Terminate]"]


class StatesTest(FaultTest):

    def check_close(self):
        """Closes the program. The log must contain _CLOSING and, after it, the port list."""
        self.close()
        lines = self.log.lines(self.quillet.pid)
        at = lines.index(_CLOSING[0])
        self.assertEqual(_CLOSING, lines[at:at + 3])
        self.assertTrue([line for line in lines[at:]
                         if line.startswith("-[SyncController updatePortList:]")], lines[at:])
        self.assert_old_file()

    def begin_burst(self, scanner):
        self.quillet.press("Synchronize")
        scanner.wait_for_commands([*CHAIN, *BURST[:4]])

    def test_closes_while_connected(self):
        scanner = self.begin_connected(3)
        self.check_close()
        self.assertIn("port closed", scanner.transcript())
        self.assertEqual(CHAIN, scanner.commands())

    def test_closes_while_waiting_for_a_port(self):
        self.begin([]).unplug()
        self.start().wait_for_view_start(messages.STARTED + messages.ATTEMPT
                                         + "Trying to connect.")
        self.check_close()

    def test_closes_while_connecting(self):
        self.begin([], "on any ignore")
        self.start().wait_for_view_start(messages.STARTED + messages.ATTEMPT + messages.trying())
        self.check_close()

    def test_closes_after_a_failed_connection_attempt(self):
        self.begin([], "on V 1 silence")
        self.start().wait_for_view(messages.STARTED + messages.failed_attempt())
        self.check_close()

    def test_closes_during_a_burst(self):
        scanner = self.begin_connected(130, "on P chunks 10 20")
        self.begin_burst(scanner)
        self.check_close()

    def test_closes_between_records(self):
        scanner = self.begin_connected(130, burst_sync=0)
        self.synchronize(messages.RUN_STARTED + ".")
        self.check_close()
        self.assertNotIn("GS0", scanner.commands())

    def test_closes_after_unplugging_during_a_burst(self):
        scanner = self.begin_connected(130, "on P 1 chunks 10 20", "after-sent 500 unplug")
        self.quillet.press("Synchronize")
        scanner.wait_until_line_is_closed()
        self.check_close()

    def test_closes_while_waiting_for_end_of_run(self):
        self.begin_connected(3, "on GS0 1 silence")
        self.synchronize(messages.RUN_STARTED + ".")
        self.check_close()

    def test_closes_with_settings_window_open(self):
        self.begin_connected(3)
        SettingsWindow(self.desktop, self.quillet).open()
        self.check_close()

    def test_closes_after_file_panel_is_cancelled(self):
        self.begin_connected(3)
        window = SettingsWindow(self.desktop, self.quillet)
        window.open()
        window.open_panel()
        # The file panel is modal: a request to close the window has no effect.
        self.quillet.close_window()
        self.desktop.wait_for_window_manager()
        window.type_keys("Escape")
        window.wait_until_open()
        self.check_close()

    def check_delivering(self, **settings):
        self.begin_connected(100, destination=2, **settings)
        self.quillet.press("Synchronize")
        self.log.wait_for("-[SyncController DisplayBarcode:]", times=3)
        self.check_close()

    def test_closes_while_pasting(self):
        self.check_delivering(non_english=1)

    def test_closes_while_typing(self):
        self.check_delivering(non_english=0, burst_sync=0)

    def test_kill_during_a_burst_keeps_the_old_file(self):
        scanner = self.begin_connected(65, "on P 1 chunks 10 20")
        self.begin_burst(scanner)
        self.quillet.kill()
        self.assert_old_file()
        self.assert_no_stray_files(OUTPUT)

        os.unlink(OUTPUT)
        # Unplugging stops the burst, so the restarted program does not receive the remaining bytes.
        scanner.unplug()
        scanner.plug_in()
        self.start_connected()
        self.check_run()
