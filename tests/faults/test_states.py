"""The window closed in states in which something else is under way."""

from fault_case import FAILED_ATTEMPT, FaultTest, messages, some_records
from harness.settings_window import SettingsWindow


class StatesTest(FaultTest):

    def test_disconnected(self):
        self.begin(some_records(3))
        quillet = self.start_connected()
        quillet.press("Disconnect")
        quillet.wait_for_view(messages.disconnected())
        self.close()
        self.assert_old_file()

    def test_settings_open(self):
        self.begin(some_records(3))
        quillet = self.start_connected()
        SettingsWindow(self.desktop, quillet).open()
        self.close()
        self.assert_old_file()

    def test_unanswered(self):
        scanner = self.begin(some_records(3))
        scanner.fault("on V 1 silence")
        self.start().wait_for_view(messages.STARTED + FAILED_ATTEMPT)
        self.close()
        self.assert_old_file()

    def test_unplugged_in_a_burst(self):
        scanner = self.begin(some_records(130))
        quillet = self.start_connected()
        scanner.fault("on P 1 chunks 10 20")
        scanner.fault("after-sent 500 unplug")
        quillet.press("Synchronize")
        scanner.wait_until_line_is_down()
        self.close()
        self.assert_old_file()

    def test_waiting_for_the_end_of_a_run(self):
        scanner = self.begin(some_records(3))
        quillet = self.start_connected()
        scanner.fault("on GS0 1 silence")
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.RUN_STARTED + ".")
        self.close()
        self.assert_old_file()

    def test_file_panel_open(self):
        self.begin(some_records(3))
        quillet = self.start_connected()
        window = SettingsWindow(self.desktop, quillet)
        window.open()
        window.open_panel()
        # The panel has to be answered first.
        quillet.close_window()
        window.type_keys("Escape")
        window.wait_until_open()
        self.close()
        self.assert_old_file()

    def check_delivering(self, **settings):
        self.begin(some_records(100), destination=2, **settings)
        quillet = self.start_connected()
        quillet.press("Synchronize")
        self.log.wait_for("-[SyncController DisplayBarcode:]", times=3)
        self.close()
        self.assert_old_file()

    def test_pasting(self):
        self.check_delivering(non_english=1)

    def test_typing(self):
        self.check_delivering(non_english=0, burst_sync=0)
