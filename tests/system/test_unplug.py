"""Unplugs the scanner and plugs it in again."""

from harness.case import CHAIN, OUTPUT, Settings, SystemTest, messages, some_records, wait_until
from harness.lines import file_text


class UnplugTest(SystemTest):

    def setUp(self):
        super().setUp()
        Settings(filename=OUTPUT).save()

    def test_reconnects_an_idle_scanner_after_replugging(self):
        records = some_records(3)
        scanner = self.plugged_in_scanner(records)
        quillet = self.start_connected()
        scanner.unplug()
        quillet.wait_for_view("Disconnected from Tavo[005771]\n")
        quillet.wait_for_connect_label("Connect")
        # The first "None" is permanent. The program adds a second one when no port remains, and a
        # third when it disconnects.
        quillet.wait_for_ports(["None", "None", "None"])

        scanner.plug_in()
        quillet.wait_for_view(messages.disconnected() + messages.connecting())
        quillet.wait_for_connect_label("Disconnect")
        # Each update of the list removes only one entry, so "usbmodem310" remains.
        quillet.wait_for_ports(["None", "usbmodem310", "Tavo[005771]"])
        quillet.clear()
        self.synchronize_to_file(records)

    def test_fails_to_connect_if_unplugged_during_the_attempt(self):
        scanner = self.plugged_in_scanner(faults=["on V 1 unplug"])
        quillet = self.start()
        scanner.wait_until_line_is_closed()
        quillet.wait_for_view(messages.STARTED + messages.failed_attempt())
        scanner.remove_device()
        quillet.wait_for_ports(["None", "None"])

    def test_reconnects_after_unplugging_during_a_burst(self):
        records = some_records(200)
        scanner = self.plugged_in_scanner(records)
        quillet = self.start_connected()
        self.synchronize_to_file(records)
        quillet.clear()

        scanner.fault("after-sent 1000 unplug")
        quillet.press("Synchronize")
        scanner.wait_until_unplugged()
        text = messages.RUN_STARTED + messages.disconnected()
        quillet.wait_for_view(text)
        quillet.wait_for_connect_label("Connect")
        # The run has not ended, so the buttons have no effect.
        quillet.press("Connect", "Synchronize", "Clear")

        # The program is still waiting for the burst, so it sends no command after reconnecting.
        before = scanner.commands()
        self.assertEqual(["W", "N", "GS1", "P"], before[-4:])
        scanner.plug_in()
        text += messages.failed_attempt()
        quillet.wait_for_view(text)
        self.assertEqual(before, scanner.commands())
        quillet.press("Synchronize")

        # Sends an end-of-answer byte, which ends the run. The run has received no records.
        scanner.fault("at 0ms send 40")
        text += messages.NO_DATA + messages.FINISHED + messages.connected() + messages.CLOCK_SET
        quillet.wait_for_view(text)
        quillet.wait_for_connect_label("Disconnect")
        self.assertEqual([*before, *CHAIN[:-1], "W", "GS0", "C"], scanner.commands())
        self.assert_file(OUTPUT, file_text(records))

        quillet.clear()
        self.synchronize_to_file(records)
        self.assert_no_stray_files(OUTPUT)

    def test_continues_run_if_replugged_during_record_request(self):
        settings = Settings(filename=OUTPUT, burst_sync=0, clear_memory=1)
        settings.save()
        records = some_records(80)
        scanner = self.plugged_in_scanner(records)
        quillet = self.start_connected()
        with open(OUTPUT, "w", encoding="ascii", newline="") as file:
            file.write("saved yesterday\r\n")
        before = len(scanner.all_commands())
        scanner.fault("on p4# 1 truncate 10")
        quillet.press("Synchronize")
        wait_until(lambda: scanner.all_commands()[-1] == "p4#", "the request for record 4")
        scanner.unplug()
        quillet.wait_for_view(messages.RUN_STARTED + "." + messages.disconnected())
        self.assert_file(OUTPUT, "saved yesterday\r\n")

        # The run continues when the scanner is plugged in again. The records requested in the
        # meantime are missing from the file.
        scanner.plug_in()
        quillet.wait_for_view_end(messages.ERASED + messages.FINISHED + messages.connected()
                                  + messages.CLOCK_SET)
        requested = [int(command[1:-1], 16) for command in scanner.all_commands()[before:]
                     if command.startswith("p")]
        self.assertEqual([0, 1, 2, 3, 4], requested[:5])
        self.assertEqual(list(range(requested[5], len(records))), requested[5:])
        self.assert_file(OUTPUT, file_text([records[index] for index in requested if index != 4],
                                           settings))
        wait_until(lambda: scanner.record_count() == 0, "the scanner to be erased")
        quillet.clear()
        self.synchronize(messages.EMPTY_RUN)
        self.assert_no_stray_files(OUTPUT)

    def test_connect_button_works_after_unanswered_wake_ups(self):
        scanner = self.plugged_in_scanner(
            faults=[f"on W {number} ignore" for number in range(1, 6)])
        quillet = self.start()
        quillet.wait_for_view(messages.STARTED + messages.failed_attempt())
        self.assertEqual(["W"] * 5, scanner.all_commands())
        quillet.wait_for_ports(["None", "usbmodem310"])
        quillet.clear()
        quillet.press("Connect")
        quillet.wait_for_view(messages.connecting())
        quillet.wait_for_ports(["None", "Tavo[005771]"])
