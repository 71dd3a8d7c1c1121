"""Ports that are not what they seem."""

import os
import signal

from fault_case import FAILED_ATTEMPT, PATH, FaultTest, messages, some_records

_OTHER = "2104009999"


class PortsTest(FaultTest):

    def test_without_permission(self):
        scanner = self.begin(some_records(3))
        terminal = os.path.realpath(scanner.link)
        os.chmod(terminal, 0)
        quillet = self.start()
        quillet.wait_for_view(messages.STARTED + FAILED_ATTEMPT)
        self.clear()
        self.log.wait_for("[/dev/ttyACM0]:Open failed !!!")
        self.assertEqual([], scanner.commands())
        os.chmod(terminal, 0o600)
        quillet.choose_port(1)
        quillet.press("Connect")
        quillet.wait_for_view(messages.connecting())
        self.clear()
        self.synchronize()

    def test_port_that_is_a_file(self):
        self.begin(some_records(3))
        self.scanners[0].unplug()
        with open("/dev/ttyACM0", "w", encoding="ascii") as file:
            file.write("no scanner\n@@@")
        self.devices.add_scanner("ttyACM0", "3-1:1.0")
        quillet = self.start()
        quillet.wait_for_view(messages.STARTED + FAILED_ATTEMPT)
        os.unlink("/dev/ttyACM0")

    def test_other_scanner_takes_the_place(self):
        self.begin(some_records(3))
        quillet = self.start_connected()
        self.synchronize()
        first = self.scanners[0]
        quillet.process.send(signal.SIGSTOP)
        first.unplug()
        other = self.scanner(some_records(5), serial=_OTHER)
        other.switch_on()
        # As the kernel has it, the other one has the number before anybody can know of the change.
        other.plug_in()
        quillet.process.send(signal.SIGCONT)
        quillet.wait_for_view(messages.disconnected()
                              + messages.connecting(serial=_OTHER[4:]))
        quillet.wait_for_connect_label("Disconnect")
        self.clear()
        self.records = some_records(5)
        quillet.press("Synchronize")
        quillet.wait_for_view(messages.file_run(5, PATH))
        self.assert_file(PATH, self.text(serial=_OTHER))
