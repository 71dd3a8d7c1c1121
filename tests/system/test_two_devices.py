"""Starts with several serial devices."""

from harness.case import CHAIN, OUTPUT, Settings, SystemTest, messages, some_records

_OTHER_SERIAL = "2104009999"


class TwoDevicesTest(SystemTest):

    def second_scanner(self, records=()):
        return self.scanner(records, serial=_OTHER_SERIAL, node="ttyACM1", place="3-2:1.0")

    def wait_until_second_is_connected(self):
        self.quillet.wait_for_view(messages.STARTED + messages.ATTEMPT
                                   + "Trying to connect /dev/ttyACM0: Failed\n"
                                   + "Trying to connect /dev/ttyACM1: \n"
                                   + "Connected to Tavo[009999]\n" + messages.CLOCK_SET)
        self.quillet.wait_for_ports(["None", "Tavo[009999]"])
        self.quillet.clear()

    def test_connects_second_scanner_if_first_is_silent(self):
        self.plugged_in_scanner(faults=["on any ignore"])
        self.second_scanner().plug_in()
        self.start()
        self.wait_until_second_is_connected()

    def test_connects_the_selected_port(self):
        Settings(filename=OUTPUT).save()
        records = some_records(2)
        first = self.plugged_in_scanner()
        self.second_scanner(records).plug_in()
        quillet = self.start_connected()
        quillet.wait_for_chosen_port("Tavo[005771]")
        self.disconnect()
        quillet.wait_for_ports(["None", "usbmodem310", "usbmodem320"])
        quillet.wait_for_chosen_port("usbmodem310")

        quillet.choose_port(2)
        quillet.wait_for_chosen_port("usbmodem320")
        quillet.press("Connect")
        quillet.wait_for_view(messages.disconnected()
                              + messages.connecting(node="ttyACM1", serial="009999"))
        quillet.wait_for_ports(["None", "Tavo[009999]"])
        self.assertEqual(CHAIN, first.commands())
        quillet.clear()
        self.synchronize_to_file(records, serial=_OTHER_SERIAL)

    def test_other_devices_do_not_disconnect_the_scanner(self):
        scanner = self.plugged_in_scanner()
        quillet = self.start_connected()
        converter = self.devices.add_converter()
        self.log.wait_for("USB Serial Converter-ttyUSB0")
        self.devices.remove(converter)
        self.log.wait_for("deviceRemoved", 2)  # the first was logged at the start
        second = self.second_scanner()
        second.plug_in()
        self.log.wait_for("deviceAdded", 3)
        quillet.wait_for_ports(["None", "Tavo[005771]"])
        second.unplug()
        self.log.wait_for("deviceRemoved", 3)
        self.synchronize(messages.EMPTY_RUN)
        self.assertEqual([*CHAIN, "W", "N", "GS1", "GS0"], scanner.commands())
        quillet.wait_for_ports(["None", "Tavo[005771]"])
        self.assertEqual([], second.commands())
