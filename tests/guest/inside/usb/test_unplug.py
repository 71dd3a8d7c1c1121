"""Unplugs the scanner and plugs it in again."""

from bus import modem_terminals
from case import OUTPUT, Settings, UsbTest, messages, some_records
from harness.lines import file_text


class UnplugTest(UsbTest):

    def test_reconnects_after_unplugging_during_a_burst(self):
        Settings(filename=OUTPUT).save()
        records = some_records(200)
        scanner = self.plugged_in_scanner(records)
        quillet = self.start_connected()
        self.synchronize_to_file(records)
        quillet.clear()

        before = scanner.sent_bytes()
        scanner.fault("on P 1 truncate 1000")
        quillet.press("Synchronize")
        scanner.wait_for_more_sent(before, 1000)
        self.log.wait_for("-[Lumet SendCommand][P:1]", 2)
        scanner.unplug()
        text = messages.RUN_STARTED + messages.disconnected()
        quillet.wait_for_view(text)
        self.assert_file(OUTPUT, file_text(records))

        # The program is still waiting for the burst, so it sends no command after reconnecting.
        commands = scanner.commands()
        self.assertEqual(["W", "N", "GS1", "P"], commands[-4:])
        scanner.plug_in()
        text += messages.failed_attempt()
        quillet.wait_for_view(text)
        self.assertEqual(commands, scanner.commands())

        # Sends an end-of-answer byte, which ends the run. The run has received no records.
        scanner.fault("at 0ms send 40")
        quillet.wait_for_view(text + messages.NO_DATA + messages.FINISHED + messages.connected()
                              + messages.CLOCK_SET)
        self.assert_file(OUTPUT, file_text(records))
        quillet.clear()
        self.synchronize_to_file(records)

    def test_connects_to_a_scanner_with_a_new_device_name(self):
        """The program keeps the port of a silent scanner open, so the kernel chooses a new name
        when the scanner is plugged in again."""
        scanner = self.plugged_in_scanner(faults=[f"on W {n} ignore" for n in range(1, 6)])
        quillet = self.start()
        quillet.wait_for_view(messages.STARTED + messages.failed_attempt())
        quillet.clear()
        scanner.unplug()
        self.log.wait_for("deviceRemoved", 2)
        scanner.plug_in()
        self.assertEqual(["ttyACM1"], modem_terminals())
        quillet.wait_for_view(messages.connecting("ttyACM1"))
        quillet.wait_for_ports(["None", "Tavo[005771]"])

        # Connecting to the new port closed the old one, so the old port's name is free again.
        quillet.clear()
        scanner.unplug()
        quillet.wait_for_view(messages.disconnected())
        scanner.plug_in()
        self.assertEqual(["ttyACM0"], modem_terminals())
        quillet.wait_for_view(messages.disconnected() + messages.connecting())
