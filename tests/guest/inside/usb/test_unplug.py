"""The cable is pulled while something goes on, and put in again."""

from bus import modem_terminals
from case import OUTPUT, Settings, UsbTest, messages, some_records
from harness.lines import file_text

_FAILED = messages.ATTEMPT + messages.trying() + messages.FAILED + messages.FAILED_TO_CONNECT


class UnplugTest(UsbTest):

    def synchronize(self, records, settings):
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(messages.file_run(len(records), OUTPUT))
        self.assert_file(file_text(records, settings))
        self.quillet.wait_until_attempt_is_over()

    def test_in_the_middle_of_a_burst(self):
        settings = Settings(filename=OUTPUT)
        settings.save()
        records = some_records(200)
        scanner = self.plugged_in_scanner(records)
        quillet = self.start_connected()
        self.synchronize(records, settings)

        before = scanner.sent_bytes()
        scanner.fault("on P 1 truncate 1000")
        quillet.press("Synchronize")
        scanner.wait_for_more_sent(before, 1000)
        self.log.wait_for("-[Lumet SendCommand][P:1]", 2)
        scanner.unplug()
        text = messages.RUN_STARTED + messages.disconnected()
        quillet.wait_for_view(text)
        self.assert_file(file_text(records, settings))

        # The burst is still waited for, so the scanner that comes back is sent nothing ...
        commands = scanner.commands()
        self.assertEqual(["W", "N", "GS1", "P"], commands[-4:])
        scanner.plug_in()
        text += _FAILED
        quillet.wait_for_view(text)
        self.assertEqual(commands, scanner.commands())

        # ... until the end of an answer arrives. It ends the run, which has brought nothing.
        scanner.fault("at 0ms send 40")
        quillet.wait_for_view(text + messages.NO_DATA + messages.FINISHED + messages.connected()
                              + messages.CLOCK_SET)
        self.assert_file(file_text(records, settings))
        quillet.wait_until_attempt_is_over()
        self.synchronize(records, settings)

    def test_comes_back_under_another_name_while_its_line_is_open(self):
        """A scanner that does not wake is given up, but its line stays open."""
        scanner = self.plugged_in_scanner(faults=[f"on W {n} ignore" for n in range(1, 6)])
        quillet = self.start()
        text = messages.STARTED + _FAILED
        quillet.wait_for_view(text)
        quillet.wait_until_attempt_is_over()
        scanner.unplug()
        self.log.wait_for("deviceRemoved", 2)
        scanner.plug_in()
        self.assertEqual(["ttyACM1"], modem_terminals())
        quillet.wait_for_view(messages.connecting("ttyACM1"))
        quillet.wait_for_ports(["None", "Tavo[005771]"])

        # The old line was given back with that: from now on it has its name again.
        quillet.wait_until_attempt_is_over()
        scanner.unplug()
        quillet.wait_for_view(messages.disconnected())
        scanner.plug_in()
        self.assertEqual(["ttyACM0"], modem_terminals())
        quillet.wait_for_view(messages.disconnected() + messages.connecting())
