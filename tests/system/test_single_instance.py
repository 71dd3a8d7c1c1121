"""Tests starting the program a second time as the same user on the same display."""

import os
import signal

from harness.case import OUTPUT, Settings, SystemTest, messages, some_records, wait_until
from harness.desktop import Desktop
from harness.processes import Process
from harness.product import Quillet
from harness.sandbox import PYTHON
from harness.settings_window import SettingsWindow

# A program whose window becomes active when it opens.
_WINDOW = "import tkinter; root = tkinter.Tk(className='other'); root.title('other'); root.mainloop()"


class SingleInstanceTest(SystemTest):

    def start_again(self):
        """Starts the program again. Expects exit status 0."""
        environment = self.desktop.environment | self.devices.environment
        second = Process("second", [os.environ["SYSTEM_TEST_QUILLET"]], environment)
        self.addCleanup(second.stop)
        self.assertEqual(0, second.wait())
        self.assertEqual("", second.output())

    def active_window(self):
        return self.desktop.xdotool("getactivewindow")

    def hide_behind_another_window(self):
        """Opens another program's window, which becomes active."""
        other = Process("other", [PYTHON, "-c", _WINDOW], self.desktop.environment)
        self.addCleanup(other.stop)
        wait_until(lambda: self.desktop.xdotool("getactivewindow", "getwindowname") == "other",
                   "the other program's window to be active")

    def wait_until_active(self):
        wait_until(lambda: self.active_window() == self.quillet.window(), "the window to be active")

    def test_raises_the_window(self):
        self.start()
        self.hide_behind_another_window()
        self.start_again()
        self.wait_until_active()
        self.desktop.xdotool("windowminimize", "--sync", self.quillet.window())
        self.start_again()
        self.wait_until_active()

    def test_raises_an_open_dialog(self):
        self.plugged_in_scanner()
        self.start_connected()
        settings = SettingsWindow(self.desktop, self.quillet)
        settings.open()
        settings.open_panel()
        panel = self.active_window()
        self.hide_behind_another_window()
        self.start_again()
        wait_until(lambda: self.active_window() == panel, "the file panel to be active")
        self.desktop.xdotool("key", "Escape")
        settings.wait_until_open()

    def test_raises_the_window_during_a_run(self):
        Settings(filename=OUTPUT).save()
        records = some_records(3)
        scanner = self.plugged_in_scanner(records, faults=["on P delay 1500"])
        self.start_connected()
        self.hide_behind_another_window()
        self.quillet.press("Synchronize")
        scanner.wait_for_commands(["W", "M", "V", "w1#", "C", "W", "N", "GS1", "P"])
        self.start_again()
        self.wait_until_active()
        self.quillet.wait_for_view(messages.file_run(3, OUTPUT))

    def test_raises_the_window_once_a_busy_program_responds(self):
        self.start()
        self.hide_behind_another_window()
        self.quillet.process.send(signal.SIGSTOP)
        self.start_again()
        self.quillet.process.send(signal.SIGCONT)
        self.wait_until_active()

    def test_starts_again_after_being_killed(self):
        self.start()
        self.quillet.kill()
        self.start()
        self.start_again()

    def test_runs_one_instance_per_display(self):
        self.start()
        other = Desktop()
        self.addCleanup(other.stop)
        second = Quillet(other, self.devices)
        self.addCleanup(second.process.stop)
        second.wait_for_window()
        second.close_window()
        self.assertEqual(0, second.wait_for_end())
        self.assertTrue(self.quillet.process.is_running())
