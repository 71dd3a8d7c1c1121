"""More than one serial device."""

from harness.case import FOLDER, Settings, SystemTest, messages, some_records
from harness.lines import file_text

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
        self.quillet.wait_until_attempt_is_over()

    def test_silent_scanner_is_given_up_for_the_next_one(self):
        self.plugged_in_scanner(faults=["on any ignore"])
        self.second_scanner().plug_in()
        self.start()
        self.wait_until_second_is_connected()

    def test_first_port_is_connected_and_the_other_on_request(self):
        Settings(filename=f"{FOLDER}/out.txt").save()
        records = some_records(2)
        first = self.plugged_in_scanner()
        second = self.second_scanner(records)
        second.plug_in()
        quillet = self.start_connected()
        quillet.press("Disconnect")
        quillet.wait_for_view(messages.disconnected())
        quillet.wait_for_connect_label("Connect")
        quillet.wait_for_ports(["None", "usbmodem310", "usbmodem320"])

        quillet.choose_port(2)
        before = first.commands()
        quillet.press("Connect")
        quillet.wait_for_view(messages.disconnected()
                              + messages.connecting(node="ttyACM1", serial="009999"))
        quillet.wait_for_ports(["None", "Tavo[009999]"])
        self.assertEqual(before, first.commands())
        quillet.wait_until_attempt_is_over()
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.file_run(2, f"{FOLDER}/out.txt"))
        self.assert_file(f"{FOLDER}/out.txt", file_text(records, serial=_OTHER_SERIAL))

    def test_chosen_port_is_told(self):
        self.plugged_in_scanner()
        self.second_scanner().plug_in()
        quillet = self.start_connected()
        quillet.wait_for_chosen_port("Tavo[005771]")
        quillet.press("Disconnect")
        quillet.wait_for_chosen_port("usbmodem310")
        quillet.choose_port(2)
        quillet.wait_for_chosen_port("usbmodem320")

    def test_none_is_a_choice_that_fails(self):
        scanner = self.plugged_in_scanner()
        quillet = self.start_connected()
        before = scanner.commands()
        quillet.press("Disconnect")
        quillet.wait_for_ports(["None", "usbmodem310"])
        quillet.wait_for_connect_label("Connect")
        quillet.choose_port(0)
        quillet.press("Connect")
        text = messages.disconnected() + messages.ATTEMPT + "Trying to connect : Failed\n"
        quillet.wait_for_view(text)
        self.assertEqual(before, scanner.commands())
        self.assertEqual("Connect", quillet.connect_label())

    def test_unrelated_device_going_ends_a_connection_on_the_second_port(self):
        converter = self.devices.add_converter()
        self.devices.add_scanner("ttyACM0", "3-1:1.0")  # without a terminal
        second = self.second_scanner()
        second.plug_in()
        self.start()
        self.wait_until_second_is_connected()
        self.devices.remove(converter)
        self.quillet.wait_for_view(messages.disconnected("009999"))
        self.quillet.wait_for_ports(["None", "usbmodem310", "usbmodem320"])
        self.quillet.wait_for_connect_label("Connect")
        self.assertEqual(["W", "M", "V", "w1#", "C"], second.commands())

    def test_other_device_coming_and_going_leaves_the_only_scanner_connected(self):
        scanner = self.plugged_in_scanner()
        quillet = self.start_connected()
        before = scanner.commands()
        converter = self.devices.add_converter()
        self.log.wait_for("USB Serial Converter-ttyUSB0")
        self.devices.remove(converter)
        self.log.wait_for("deviceRemoved", 2)  # the first is logged when the program begins to listen
        second = self.second_scanner()
        second.plug_in()
        self.log.wait_for("deviceAdded", 3)
        quillet.wait_for_ports(["None", "Tavo[005771]"])
        second.unplug()
        self.log.wait_for("deviceRemoved", 3)
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.EMPTY_RUN)
        self.assertEqual([*before, "W", "N", "GS1", "GS0"], scanner.commands())
        quillet.wait_for_ports(["None", "Tavo[005771]"])
        self.assertEqual([], second.commands())
