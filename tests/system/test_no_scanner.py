"""Starting with no scanner plugged in."""

from harness.case import FOLDER, Settings, SystemTest, messages, some_records
from harness.lines import file_text

_WAITING = messages.STARTED + messages.ATTEMPT + "Trying to connect"


class NoScannerTest(SystemTest):

    def test_waits_20_seconds_and_connects_a_scanner_that_comes_later(self):
        quillet = self.start()
        quillet.wait_for_view(_WAITING + "." * 20 + "\nFailed to connect to Tavo\n")
        quillet.wait_for_ports(["None", "None"])
        self.assertEqual("Connect", quillet.connect_label())
        quillet.wait_until_attempt_is_over()

        quillet.press("Connect")
        self.log.wait_for("-[SyncController connectButton:]")
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.NOT_CONNECTED)

        scanner = self.plugged_in_scanner()
        quillet.wait_for_view(messages.NOT_CONNECTED + messages.connecting())
        quillet.wait_for_ports(["None", "Tavo[005771]"])
        self.assertEqual(["W", "M", "V", "w1#", "C"], scanner.commands())

    def test_scanner_is_connected_while_the_program_waits(self):
        path = f"{FOLDER}/out.txt"
        Settings(filename=path).save()
        records = some_records(2)
        quillet = self.start()
        quillet.wait_for_view_start(_WAITING + "..")
        quillet.wait_for_ports(["None", "None"])
        quillet.press("Connect")  # nothing: an attempt runs
        self.plugged_in_scanner(records)
        quillet.wait_for_ports(["None", "usbmodem310"])
        quillet.wait_for_view_end(messages.connected() + messages.CLOCK_SET)
        self.assertRegex(quillet.view().removeprefix(_WAITING),
                         r"\A\.{3,20}\nTrying to connect /dev/ttyACM0: \n"
                         r"Connected to Tavo\[005771\]\nTavo Time sychronized\.\.\.\n\Z")
        quillet.wait_for_ports(["None", "Tavo[005771]"])
        quillet.wait_until_attempt_is_over()
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.file_run(2, path))
        self.assert_file(path, file_text(records))

    def test_other_serial_devices_are_not_tried(self):
        self.devices.add_converter()
        quillet = self.start()
        quillet.wait_for_view_start(_WAITING + ".")
        quillet.wait_for_ports(["None", "None"])
        self.log.wait_for("USB Serial Converter-ttyUSB0")
        # One that comes later starts no attempt of its own.
        self.devices.add_converter("ttyUSB1", "1-5:1.0")
        self.log.wait_for("USB Serial Converter-ttyUSB1")
        quillet.wait_for_view_start(_WAITING + "..")
        quillet.wait_for_ports(["None", "None"])
