"""Base class of the tests of the scanner's port."""

import fcntl
import os
import subprocess
import tempfile

from harness.case import SystemTest

PORT = "/dev/ttyACM0"


class PortTest(SystemTest):

    def preload(self, **environment):
        """Builds port_faults.c. Returns `environment` with the variable that preloads it."""
        library = f"{tempfile.gettempdir()}/port_faults.so"
        source = os.path.join(os.path.dirname(os.path.abspath(__file__)), "port_faults.c")
        subprocess.run(["gcc", "-shared", "-fPIC", "-Wall", "-Werror", "-o", library, source],
                       check=True)
        before = self.devices.environment["LD_PRELOAD"]
        return {"LD_PRELOAD": f"{library}:{before}", **environment}

    def lock_port(self):
        """Locks the port, like another program that uses it. Returns a descriptor."""
        port = os.open(PORT, os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)
        self.addCleanup(os.close, port)
        fcntl.flock(port, fcntl.LOCK_EX)
        return port

    def connect(self):
        self.quillet.choose_port(1)
        self.quillet.press("Connect")
