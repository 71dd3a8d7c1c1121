"""Tests the toolbar buttons and their keyboard shortcuts."""

from harness.case import CHAIN, OUTPUT, Settings, SystemTest, messages, some_records


class ButtonsTest(SystemTest):

    def test_clear_button_empties_the_view(self):
        Settings(filename=OUTPUT).save()
        self.plugged_in_scanner(some_records(1))
        self.start_connected()
        self.synchronize(messages.file_run(1, OUTPUT))
        self.quillet.press("Clear")
        self.quillet.wait_for_view("")
        self.synchronize(messages.file_run(1, OUTPUT))

    def test_connect_button_reconnects_the_scanner(self):
        scanner = self.plugged_in_scanner()
        quillet = self.start_connected()
        self.disconnect()
        quillet.wait_for_ports(["None", "usbmodem310"])
        quillet.press("Connect")
        quillet.wait_for_view(messages.disconnected() + messages.connecting())
        quillet.wait_for_ports(["None", "Tavo[005771]"])
        quillet.wait_for_connect_label("Disconnect")
        self.assertEqual(CHAIN * 2, scanner.commands())

    def test_keyboard_shortcuts_trigger_actions(self):
        self.plugged_in_scanner()
        quillet = self.start_connected()
        for key, text in (("F5", messages.EMPTY_RUN), ("ctrl+l", ""),
                          ("ctrl+k", messages.disconnected())):
            quillet.type_keys(key)
            quillet.wait_for_view(text)
        quillet.type_keys("ctrl+q")
        self.assertEqual(0, quillet.wait_for_end())
