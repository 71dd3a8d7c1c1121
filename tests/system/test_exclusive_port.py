"""Tests that only one program at a time can use a port."""

import errno
import fcntl
import os

from harness.case import OUTPUT, Settings, messages, some_records
from port_case import PORT, PortTest


class ExclusivePortTest(PortTest):

    def is_locked(self):
        """Returns whether a program has locked the port."""
        port = os.open(PORT, os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)
        try:
            fcntl.flock(port, fcntl.LOCK_EX | fcntl.LOCK_NB)
            return False
        except BlockingIOError:
            return True
        finally:
            os.close(port)

    def reconnect(self):
        """Disconnects, connects and clears the view. The view must be empty at the start."""
        self.disconnect()
        self.connect()
        self.quillet.wait_for_view(messages.disconnected() + messages.connecting())
        self.quillet.wait_for_connect_label("Disconnect")
        self.quillet.clear()

    def test_connecting_to_a_locked_port_fails(self):
        scanner = self.plugged_in_scanner()
        port = self.lock_port()
        self.start().wait_for_view(messages.STARTED + messages.failed_attempt())
        self.assertEqual([], scanner.commands())
        self.quillet.clear()
        fcntl.flock(port, fcntl.LOCK_UN)
        self.connect()
        self.quillet.wait_for_view(messages.connecting())
        self.assertTrue(self.is_locked())
        self.quillet.wait_for_connect_label("Disconnect")
        self.quillet.clear()
        self.disconnect()
        self.assertFalse(self.is_locked())

    def test_killed_program_leaves_the_port_unlocked(self):
        self.plugged_in_scanner()
        self.start_connected()
        self.assertTrue(self.is_locked())
        self.quillet.kill()
        self.assertFalse(self.is_locked())
        self.start_connected()

    def test_real_port_refuses_other_programs_while_connected(self):
        records = some_records(3)
        Settings(filename=OUTPUT).save()
        self.plugged_in_scanner(records)
        self.start(environment=self.preload(REAL_PORTS="1"))
        self.quillet.wait_for_view(messages.STARTED + messages.connecting())
        self.quillet.wait_for_connect_label("Disconnect")
        with self.assertRaises(OSError) as refused:
            os.open(PORT, os.O_RDONLY | os.O_NOCTTY | os.O_NONBLOCK)
        self.assertEqual(errno.EBUSY, refused.exception.errno)
        self.quillet.clear()
        self.reconnect()
        self.synchronize_to_file(records)
        self.quillet.clear()
        self.disconnect()
        self.assertFalse(self.is_locked())

    def test_connects_to_real_port_after_a_failed_attempt(self):
        scanner = self.plugged_in_scanner(faults=["on M 1 silence"])
        self.start(environment=self.preload(REAL_PORTS="1"))
        self.quillet.wait_for_view(messages.STARTED + messages.failed_attempt())
        self.quillet.clear()
        self.connect()
        self.quillet.wait_for_view_start(messages.ATTEMPT + messages.trying())
        scanner.fault("at 0ms send \"2104005771@\"")
        self.quillet.wait_for_view_end(messages.connected() + messages.CLOCK_SET)
