"""Tests the program without a scanner."""

from harness.case import CHAIN, SystemTest, messages

_WAITING = messages.STARTED + messages.ATTEMPT + "Trying to connect"


class NoScannerTest(SystemTest):

    def test_connects_to_scanner_plugged_in_after_time_out(self):
        quillet = self.start()
        quillet.wait_for_view(_WAITING + "." * 20 + "\nFailed to connect to Tavo\n")
        quillet.wait_for_ports(["None", "None"])
        self.assertEqual("Connect", quillet.connect_label())
        quillet.clear()

        quillet.press("Connect")
        self.log.wait_for("-[SyncController connectButton:]")
        self.synchronize(messages.NOT_CONNECTED)

        scanner = self.plugged_in_scanner()
        quillet.wait_for_view(messages.NOT_CONNECTED + messages.connecting())
        quillet.wait_for_ports(["None", "Tavo[005771]"])
        self.assertEqual(CHAIN, scanner.commands())

    def test_ignores_other_serial_devices(self):
        self.devices.add_converter()
        quillet = self.start()
        quillet.wait_for_view_start(_WAITING + ".")
        quillet.wait_for_ports(["None", "None"])
        self.log.wait_for("USB Serial Converter-ttyUSB0")
        self.devices.add_converter("ttyUSB1", "1-5:1.0")
        self.log.wait_for("USB Serial Converter-ttyUSB1")
        quillet.wait_for_view_start(_WAITING + "..")
        quillet.wait_for_ports(["None", "None"])
