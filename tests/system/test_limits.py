"""Starts the program when the system refuses to create threads or pipes."""

import os

from harness.case import messages
from harness.processes import Process
from port_case import PortTest

_NO_THREAD = ("Quillet could not connect because the system is out of threads or memory. "
              "Close other programs, then try again.")


class LimitsTest(PortTest):

    def test_starts_even_if_no_thread_can_be_created(self):
        self.plugged_in_scanner()
        self.start(environment=self.preload(NO_THREADS="1")).wait_for_view(messages.STARTED)
        self.quillet.wait_for_message(_NO_THREAD, "Try again")
        self.quillet.press_in_strip("Try again")
        self.close()

    def test_reports_that_a_pipe_cannot_be_created(self):
        environment = self.desktop.environment | self.preload(NO_PIPES="1")
        program = Process("refused", [os.environ["SYSTEM_TEST_QUILLET"]], environment)
        self.addCleanup(program.stop)
        self.assertEqual(1, program.wait())
        self.assertEqual("quillet: main queue: Too many open files\n", program.output())
