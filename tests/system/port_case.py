"""Base class of the scanner port tests."""

import fcntl
import os

from harness.case import SystemTest

PORT = "/dev/ttyACM0"


class PortTest(SystemTest):

    faults = "port_faults"

    def lock_port(self):
        """Locks the port as another program would. Returns the descriptor that holds the lock."""
        port = os.open(PORT, os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)
        self.addCleanup(os.close, port)
        fcntl.flock(port, fcntl.LOCK_EX)
        return port

    def connect(self):
        self.quillet.choose_port(1)
        self.quillet.press("Connect")
