"""The buttons, their menu entries and their keys."""

from harness.case import FOLDER, Settings, SystemTest, messages, some_records

_PATH = f"{FOLDER}/out.txt"


class ButtonsTest(SystemTest):

    def test_synchronize_says_that_nothing_is_connected(self):
        self.plugged_in_scanner()
        quillet = self.start_connected()
        quillet.press("Disconnect")
        quillet.wait_for_view(messages.disconnected())
        quillet.press("Synchronize")
        text = (messages.disconnected()
                + "Tavo is not connected. Please try after connecting Tavo.\n")
        quillet.wait_for_view(text)
        quillet.press("Synchronize")
        quillet.wait_for_view(text + messages.NOT_CONNECTED)

    def test_clear_empties_the_view(self):
        Settings(filename=_PATH).save()
        self.plugged_in_scanner(some_records(1))
        quillet = self.start_connected()
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.file_run(1, _PATH))
        quillet.press("Clear")
        quillet.wait_for_view("")
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.file_run(1, _PATH))

    def test_disconnected_scanner_is_connected_again(self):
        scanner = self.plugged_in_scanner()
        quillet = self.start_connected()
        quillet.press("Disconnect")
        quillet.wait_for_view(messages.disconnected())
        quillet.wait_for_ports(["None", "usbmodem310"])
        quillet.wait_for_connect_label("Connect")
        quillet.press("Connect")
        quillet.wait_for_view(messages.disconnected() + messages.connecting())
        quillet.wait_for_ports(["None", "Tavo[005771]"])
        quillet.wait_for_connect_label("Disconnect")
        self.assertEqual(["W", "M", "V", "w1#", "C"] * 2, scanner.commands())

    def test_nothing_can_be_started_while_connecting(self):
        self.plugged_in_scanner(faults=["on M 1 delay 3000"])
        quillet = self.start()
        quillet.wait_for_view_start(messages.STARTED + messages.ATTEMPT + messages.trying())
        for label in ("Connect", "Synchronize", "Clear"):
            quillet.press(label)
        self.log.wait_for("-[SyncController connectButton:]")
        quillet.wait_for_view(messages.STARTED + messages.connecting())

    def test_nothing_can_be_started_while_synchronizing(self):
        Settings(filename=_PATH).save()
        scanner = self.plugged_in_scanner(some_records(1), faults=["on P delay 4000"])
        quillet = self.start_connected()
        before = scanner.commands()
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.RUN_STARTED)
        for label in ("Disconnect", "Synchronize", "Clear"):
            quillet.press(label)
        self.log.wait_for("-[SyncController connectButton:]")
        quillet.wait_for_view(messages.file_run(1, _PATH))
        self.assertEqual([*before, "W", "N", "GS1", "P", "W", "GS0"], scanner.commands())

    def test_keys_do_what_the_buttons_do(self):
        self.plugged_in_scanner()
        quillet = self.start_connected()
        quillet.type_keys("F5")
        quillet.wait_for_view(messages.EMPTY_RUN)
        quillet.type_keys("ctrl+l")
        quillet.wait_for_view("")
        quillet.type_keys("ctrl+k")
        quillet.wait_for_view(messages.disconnected())
        quillet.type_keys("ctrl+q")
        self.assertEqual(0, quillet.wait_for_end())
