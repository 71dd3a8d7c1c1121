"""Connects a USB scanner."""

import os

from bus import BusTrace, as_root, port_name
from case import UsbTest, messages


class ConnectTest(UsbTest):

    def test_connects_to_a_plugged_in_scanner(self):
        scanner = self.plugged_in_scanner()
        properties = as_root("udevadm", "info", "--query=property", "--name=/dev/ttyACM0")
        for expected in ("ID_USB_DRIVER=cdc_acm", "ID_MODEL=Tavo_Scanner", "SUBSYSTEM=tty"):
            self.assertIn(f"{expected}\n", properties)
        quillet = self.start()
        quillet.wait_for_view(messages.STARTED + messages.connecting())
        quillet.wait_for_title("Quillet V1.25[005771]")
        quillet.wait_for_connect_label("Disconnect")
        quillet.wait_for_ports(["None", "Tavo[005771]"])
        name = port_name("ttyACM0")
        self.log.wait_for(f"-[SyncController updatePortList:][{name}]")
        self.assertEqual(["W", "M", "V", "w1#", "C"], scanner.commands())
        self.say(f"found as {name} at {os.path.realpath('/sys/class/tty/ttyACM0')}")

    def test_sets_115200_8n1_and_control_lines(self):
        with BusTrace() as trace:
            self.plugged_in_scanner()
            quillet = self.start_connected()
            raised = trace.line_requests()
            quillet.press("Disconnect")
            quillet.wait_for_view(messages.disconnected())
        lowered = trace.line_requests()[len(raised):]
        self.say(f"sent to the device: {', '.join(raised)}; then {', '.join(lowered)}")
        # The driver sets its default line coding first, so only the last request counts.
        self.assertEqual("115200 8N1", [each for each in raised if "DTR" not in each][-1])
        self.assertEqual("DTR 1 RTS 1", [each for each in raised if "DTR" in each][-1])
        self.assertEqual(["DTR 0 RTS 0"], lowered)
