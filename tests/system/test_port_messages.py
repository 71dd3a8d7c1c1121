"""Tests messages in the status strip about ports that cannot be used."""

import errno
import fcntl
import grp
import os

from harness.case import messages
from port_case import PORT, PortTest

_FAILED = messages.STARTED + messages.failed_attempt()


class PortMessagesTest(PortTest):

    def start_failing(self, **popen):
        self.start(**popen).wait_for_view(_FAILED)
        self.quillet.clear()

    def test_says_how_to_get_permission(self):
        self.plugged_in_scanner()
        terminal = os.path.realpath(PORT)
        os.chmod(terminal, 0)
        self.start_failing()
        self.quillet.wait_for_message(f"No udev rule gives you access to {PORT}. Install the "
                                      "Quillet package, or copy the command and run it in a "
                                      "terminal.", "Copy command")
        self.quillet.press_in_strip("Copy command")
        self.assertEqual(f"sudo chown \"$USER\" {PORT}", self.desktop.clipboard_text())
        os.chmod(terminal, 0o600)
        self.connect()
        self.quillet.wait_for_view(messages.connecting())
        self.quillet.wait_for_message("")

    def test_names_the_group_to_join(self):
        self.plugged_in_scanner()
        os.chmod(os.path.realpath(PORT), 0)
        group = grp.getgrnam("dialout").gr_gid
        self.start_failing(environment=self.preload(PORT_GROUP=str(group)))
        self.quillet.wait_for_message(f"You do not have permission to use {PORT}. Copy the command "
                                      "and run it in a terminal to join the dialout group, or add "
                                      "the device to 70-quillet-scanner.rules.", "Copy command")
        self.quillet.press_in_strip("Copy command")
        self.assertEqual("sudo usermod -aG dialout \"$USER\"", self.desktop.clipboard_text())

    def test_says_that_the_system_blocks_the_port(self):
        self.plugged_in_scanner()
        self.start_failing(environment=self.preload(PORT_ERROR=str(errno.EPERM)))
        self.quillet.wait_for_message(f"The system is blocking access to {PORT}. If Quillet is "
                                      "running in a container or sandbox, give it access to the port.",
                                      "Try again")

    def test_names_the_program_that_uses_the_port(self):
        self.plugged_in_scanner()
        port = self.lock_port()
        with open("/proc/self/comm", encoding="ascii") as file:
            name = file.read().rstrip("\n")
        self.start_failing()
        self.quillet.wait_for_message(f"{name} is using {PORT}. Close that program, then try "
                                      "again.", "Try again")
        fcntl.flock(port, fcntl.LOCK_UN)
        self.quillet.press_in_strip("Try again")
        self.quillet.wait_for_view(messages.connecting())
        self.quillet.wait_for_message("")

    def test_says_how_to_wake_a_silent_scanner(self):
        scanner = self.plugged_in_scanner(faults=[f"on W {number} ignore"
                                                  for number in range(1, 6)])
        self.start_failing()
        self.quillet.wait_for_message(f"No scanner is responding on {PORT}. Press the scanner's "
                                      "button, check the cable, then try again.", "Try again")
        self.quillet.press_in_strip("Try again")
        self.quillet.wait_for_view(messages.connecting())
        self.quillet.wait_for_message("")
        scanner.unplug()
