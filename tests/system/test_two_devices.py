"""Starts the program with several serial devices."""

from harness.case import CHAIN, OUTPUT, Settings, SystemTest, messages, some_records, wait_until

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

    def test_connects_to_second_scanner_if_first_is_silent(self):
        self.plugged_in_scanner(faults=["on any ignore"])
        self.second_scanner().plug_in()
        self.start()
        self.wait_until_second_is_connected()

    def test_connects_to_the_selected_port(self):
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

    def test_keeps_selection_among_ports_with_the_same_title(self):
        terminals = [self.devices.add_converter(f"ttyUSB{number}", f"1-{4 + number}:1.0",
                                                "Tavo Scanner") for number in range(3)]
        self.scanner(node="ttyUSB0").switch_on()
        self.scanner(node="ttyUSB2", serial=_OTHER_SERIAL).switch_on()
        quillet = self.start()
        # The port list changes before the last message of the attempt.
        quillet.wait_for_view(messages.STARTED + messages.connecting(node="ttyUSB0"))
        quillet.wait_for_ports(["None", "Tavo[005771]"])
        quillet.clear()
        self.disconnect()
        quillet.wait_for_ports(["None", *["Tavo Scanner"] * 3])
        self.assertEqual(["/dev/ttyUSB0", "/dev/ttyUSB1", "/dev/ttyUSB2"], quillet.port_paths()[1:])

        quillet.choose_port(3)
        wait_until(lambda: quillet.chosen_port_path() == "/dev/ttyUSB2", "the third port")
        self.devices.remove(terminals[0])
        quillet.wait_for_ports(["None", *["Tavo Scanner"] * 2])
        self.assertEqual("/dev/ttyUSB2", quillet.chosen_port_path())
        quillet.press("Connect")
        quillet.wait_for_view(messages.disconnected()
                              + messages.connecting(node="ttyUSB2", serial="009999"))

    def test_connects_to_scanner_plugged_in_during_an_attempt(self):
        self.scanner(faults=["on any ignore"], node="ttyACM1", place="3-2:1.0").plug_in()
        quillet = self.start()
        # The attempt takes 6 seconds. On a busy machine, it may end before the test reads the view,
        # so the test waits for the log line instead.
        self.log.wait_for("[/dev/ttyACM1]:Open succeeded !!!")
        # ttyACM0 precedes ttyACM1, which is being tried, so this attempt does not try ttyACM0.
        self.plugged_in_scanner()
        quillet.wait_for_view_end(messages.FAILED_TO_CONNECT + messages.connecting())
        quillet.wait_for_ports(["None", "Tavo[005771]"])
        attempts = [line for line in self.log.lines() if "SyncController ConnectThread]" in line]
        self.assertEqual(2, len(attempts), attempts)

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
