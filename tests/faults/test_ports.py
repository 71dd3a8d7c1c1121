"""Tests ports without a scanner, without permission, or with another scanner."""

import os
import signal

from fault_case import FaultTest, messages, some_records

_OTHER = "2104009999"


class PortsTest(FaultTest):

    def test_connects_after_permission_is_granted(self):
        scanner = self.begin(some_records(3))
        terminal = os.path.realpath(scanner.link)
        os.chmod(terminal, 0)
        self.start().wait_for_view(messages.STARTED + messages.failed_attempt())
        self.quillet.clear()
        self.log.wait_for("[/dev/ttyACM0]:Open failed !!!")
        self.assertEqual([], scanner.commands())
        os.chmod(terminal, 0o600)
        self.connect()
        self.quillet.wait_for_view(messages.connecting())
        self.quillet.clear()
        self.check_run()

    def test_connecting_to_a_regular_file_fails(self):
        self.begin(some_records(3)).unplug()
        with open("/dev/ttyACM0", "w", encoding="ascii") as file:
            file.write("no scanner\n@@@")
        self.devices.add_scanner("ttyACM0", "3-1:1.0")
        self.start().wait_for_view(messages.STARTED + messages.failed_attempt())
        os.unlink("/dev/ttyACM0")

    def test_connects_to_another_scanner_on_the_same_port(self):
        scanner = self.begin(some_records(3))
        quillet = self.start_connected()
        self.check_run()
        # The other scanner gets the same device name before the program reads the events.
        quillet.process.send(signal.SIGSTOP)
        scanner.unplug()
        other = self.scanner(some_records(5), serial=_OTHER)
        other.switch_on()
        other.plug_in()
        quillet.process.send(signal.SIGCONT)
        quillet.wait_for_view(messages.disconnected() + messages.connecting(serial=_OTHER[4:]))
        quillet.wait_for_connect_label("Disconnect")
        quillet.clear()
        self.synchronize_to_file(some_records(5), serial=_OTHER)
