"""The window is closed, or the program killed, in any state. The file is unharmed."""

import os

from fault_case import BURST, CHAIN, FAILED_ATTEMPT, PATH, FaultTest, messages, some_records
from harness.settings_window import SettingsWindow

_FAREWELL = ["-[QuilletAppDelegate windowWillClose:]",
             "-[SyncController stopNotification]",
             "-[SyncController Terminate]"]


class StatesTest(FaultTest):

    def check_close(self):
        """The log shows, to its last line, that the program disconnected and listed the ports."""
        self.close()
        lines = self.log.lines(self.quillet.pid)
        at = lines.index(_FAREWELL[0])
        self.assertEqual(_FAREWELL, lines[at:at + 3])
        self.assertTrue([line for line in lines[at:]
                         if line.startswith("-[SyncController updatePortList:]")], lines[at:])
        self.assert_old_file()

    def test_connected(self):
        scanner = self.begin_connected(3)
        self.check_close()
        self.assertIn("port closed", scanner.transcript())
        self.assertEqual(CHAIN, scanner.commands())

    def test_disconnected(self):
        self.begin_connected(3)
        self.quillet.press("Disconnect")
        self.quillet.wait_for_view(messages.disconnected())
        self.check_close()

    def test_waiting_for_a_port(self):
        self.begin([]).unplug()
        self.start().wait_for_view_start(messages.STARTED + messages.ATTEMPT
                                         + "Trying to connect.")
        self.check_close()

    def test_connecting(self):
        self.begin([], scanner={"faults": ["on any ignore"]})
        self.start().wait_for_view_start(messages.STARTED + messages.ATTEMPT + messages.trying())
        self.check_close()

    def test_unanswered(self):
        self.begin([]).fault("on V 1 silence")
        self.start().wait_for_view(messages.STARTED + FAILED_ATTEMPT)
        self.check_close()

    def test_in_a_burst(self):
        scanner = self.begin_connected(130, "on P chunks 10 20")
        self.quillet.press("Synchronize")
        scanner.wait_for_commands([*CHAIN, *BURST[:4]])
        self.check_close()

    def test_one_by_one(self):
        scanner = self.begin_connected(130, burst_sync=0)
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(messages.RUN_STARTED + ".")
        self.check_close()
        self.assertNotIn("GS0", scanner.commands())

    def test_unplugged_in_a_burst(self):
        scanner = self.begin_connected(130, "on P 1 chunks 10 20", "after-sent 500 unplug")
        self.quillet.press("Synchronize")
        scanner.wait_until_line_is_down()
        self.check_close()

    def test_waiting_for_the_end_of_a_run(self):
        self.begin_connected(3, "on GS0 1 silence")
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(messages.RUN_STARTED + ".")
        self.check_close()

    def test_settings_open(self):
        self.begin_connected(3)
        SettingsWindow(self.desktop, self.quillet).open()
        self.check_close()

    def test_file_panel_open(self):
        self.begin_connected(3)
        window = SettingsWindow(self.desktop, self.quillet)
        window.open()
        window.open_panel()
        # The panel has to be answered first.
        self.quillet.close_window()
        window.type_keys("Escape")
        window.wait_until_open()
        self.check_close()

    def check_delivering(self, **settings):
        self.begin_connected(100, destination=2, **settings)
        self.quillet.press("Synchronize")
        self.log.wait_for("-[SyncController DisplayBarcode:]", times=3)
        self.check_close()

    def test_pasting(self):
        self.check_delivering(non_english=1)

    def test_typing(self):
        self.check_delivering(non_english=0, burst_sync=0)

    def test_killed(self):
        scanner = self.begin_connected(65, "on P 1 chunks 10 20")
        self.quillet.press("Synchronize")
        scanner.wait_for_commands([*CHAIN, *BURST[:4]])
        self.quillet.kill()
        self.assert_old_file()
        self.assert_no_stray_files(PATH)

        os.unlink(PATH)
        # The scanner would continue its burst for the next program that opens the line.
        scanner.unplug()
        scanner.plug_in()
        self.start_connected()
        self.synchronize()
