"""The scanner is unplugged, and plugged in again."""

from harness.case import FOLDER, Settings, SystemTest, messages, some_records
from harness.lines import file_text
from harness.waiting import wait_until

_PATH = f"{FOLDER}/out.txt"
_FAILED_ATTEMPT = (messages.ATTEMPT + messages.trying() + messages.FAILED
                   + messages.FAILED_TO_CONNECT)


class UnplugTest(SystemTest):

    def setUp(self):
        super().setUp()
        Settings(filename=_PATH).save()

    def test_idle_scanner_is_disconnected_and_connected_again(self):
        records = some_records(3)
        scanner = self.plugged_in_scanner(records)
        quillet = self.start_connected()
        scanner.unplug()
        quillet.wait_for_view("Disconnected from Tavo[005771]\n")
        quillet.wait_for_connect_label("Connect")
        # One "None" from the start, one because nothing is left, and one of the disconnecting.
        quillet.wait_for_ports(["None", "None", "None"])

        scanner.plug_in()
        text = messages.disconnected() + messages.connecting()
        quillet.wait_for_view(text)
        quillet.wait_for_connect_label("Disconnect")
        # Each step takes away one entry behind the first, so one that does not belong there stays.
        quillet.wait_for_ports(["None", "usbmodem310", "Tavo[005771]"])

        quillet.wait_until_attempt_is_over()
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.file_run(3, _PATH))
        self.assert_file(_PATH, file_text(records))

    def test_unplugged_while_connecting(self):
        scanner = self.plugged_in_scanner(faults=["on V 1 unplug"])
        quillet = self.start()
        scanner.wait_until_line_is_down()
        quillet.wait_for_view(messages.STARTED + _FAILED_ATTEMPT)
        scanner.leave_socket()
        quillet.wait_for_ports(["None", "None"])

    def test_unplugged_in_the_middle_of_a_burst(self):
        records = some_records(200)
        scanner = self.plugged_in_scanner(records)
        quillet = self.start_connected()
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.file_run(200, _PATH))
        self.assert_file(_PATH, file_text(records))
        quillet.wait_until_attempt_is_over()

        scanner.fault("after-sent 1000 unplug")
        quillet.press("Synchronize")
        scanner.wait_until_line_is_down()
        scanner.leave_socket()
        text = messages.RUN_STARTED + messages.disconnected()
        quillet.wait_for_view(text)
        quillet.wait_for_connect_label("Connect")
        # The run is still under way as far as the buttons are concerned.
        for label in ("Connect", "Synchronize", "Clear"):
            quillet.press(label)

        # The burst is still waited for, and so nothing is sent to the scanner that comes back ...
        before = scanner.commands()
        self.assertEqual(["W", "N", "GS1", "P"], before[-4:])
        scanner.plug_in()
        text += _FAILED_ATTEMPT
        quillet.wait_for_view(text)
        self.assertEqual(before, scanner.commands())
        quillet.press("Synchronize")

        # ... until the end of an answer arrives. It ends the run, which has brought nothing.
        scanner.fault("at 0ms send 40")
        text += messages.NO_DATA + messages.FINISHED + messages.connected() + messages.CLOCK_SET
        quillet.wait_for_view(text)
        quillet.wait_for_connect_label("Disconnect")
        self.assertEqual([*before, "W", "M", "V", "w1#", "W", "GS0", "C"], scanner.commands())
        self.assert_file(_PATH, file_text(records))

        # From here on everything is as ever.
        quillet.wait_until_attempt_is_over()
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.file_run(200, _PATH))
        self.assert_file(_PATH, file_text(records))
        self.assert_no_stray_files(_PATH)

    def test_unplugged_in_the_middle_of_a_record(self):
        settings = Settings(filename=_PATH, burst_sync=0, clear_memory=1)
        settings.save()
        records = some_records(80)
        scanner = self.plugged_in_scanner(records)
        quillet = self.start_connected()
        with open(_PATH, "w", encoding="ascii", newline="") as file:
            file.write("saved yesterday\r\n")
        before = len(scanner.all_commands())
        scanner.fault("on p4# 1 truncate 10")
        quillet.press("Synchronize")
        wait_until(lambda: scanner.all_commands()[-1] == "p4#", "record 4 to be asked for")
        scanner.unplug()
        quillet.wait_for_view(messages.RUN_STARTED + "." + messages.disconnected())
        self.assert_file(_PATH, "saved yesterday\r\n")

        # The run goes on as soon as the scanner is back, without what was asked for meanwhile.
        scanner.plug_in()
        quillet.wait_for_view_end(messages.ERASED + messages.FINISHED + messages.connected()
                                  + messages.CLOCK_SET)
        asked = [int(command[1:-1], 16) for command in scanner.all_commands()[before:]
                 if command.startswith("p")]
        self.assertEqual([0, 1, 2, 3, 4], asked[:5])
        self.assertEqual(list(range(asked[5], len(records))), asked[5:])
        self.assert_file(_PATH, file_text([records[index] for index in asked if index != 4],
                                          settings))
        wait_until(lambda: scanner.record_count() == 0, "the scanner to be erased")
        quillet.wait_until_attempt_is_over()
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.EMPTY_RUN)
        self.assert_no_stray_files(_PATH)

    def test_scanner_that_wakes_late_is_connected_by_hand(self):
        scanner = self.plugged_in_scanner(
            faults=[f"on W {number} ignore" for number in range(1, 6)])
        quillet = self.start()
        quillet.wait_for_view(messages.STARTED + _FAILED_ATTEMPT)
        self.assertEqual(["W"] * 5, scanner.all_commands())
        quillet.wait_for_ports(["None", "usbmodem310"])
        quillet.wait_until_attempt_is_over()
        quillet.press("Connect")
        quillet.wait_for_view(messages.connecting())
        quillet.wait_for_ports(["None", "Tavo[005771]"])
