"""Starts when the system refuses threads or descriptors."""

from harness.case import messages
from harness.product import Quillet
from port_case import PortTest


class LimitsTest(PortTest):

    def test_runs_without_threads(self):
        self.plugged_in_scanner()
        self.start(environment=self.preload(NO_THREADS="1")).wait_for_view(messages.STARTED)
        self.connect()
        self.close()

    def test_says_that_no_pipe_can_be_created(self):
        program = Quillet(self.desktop, self.devices, environment=self.preload(NO_PIPES="1"))
        self.addCleanup(program.process.stop)
        self.assertEqual(1, program.wait_for_end())
        self.assertEqual("quillet: main queue: Too many open files\n", program.process.output())
