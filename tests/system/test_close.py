"""Closing the window, and the program's end."""

import os

from harness.case import FOLDER, Settings, SystemTest, messages, some_records
from harness.lines import file_text

_PATH = f"{FOLDER}/out.txt"
_FAREWELL = ["-[QuilletAppDelegate windowWillClose:]",
             "-[SyncController stopNotification]",
             "-[SyncController Terminate]"]


class CloseTest(SystemTest):

    def close_and_check_log(self):
        """The log tells, to its last line, that the program disconnected and listed the ports."""
        self.close()
        lines = self.log.lines(self.quillet.pid)
        at = lines.index(_FAREWELL[0])
        self.assertEqual(_FAREWELL, lines[at:at + 3])
        self.assertTrue([line for line in lines[at:]
                         if line.startswith("-[SyncController updatePortList:]")], lines[at:])

    def test_connected_scanner_is_disconnected(self):
        scanner = self.plugged_in_scanner()
        self.start_connected()
        self.close_and_check_log()
        self.assertIn("port closed", scanner.transcript())
        self.assertEqual(["W", "M", "V", "w1#", "C"], scanner.commands())

    def test_while_waiting_for_a_port(self):
        self.start().wait_for_view_start(messages.STARTED + messages.ATTEMPT
                                         + "Trying to connect.")
        self.close_and_check_log()

    def test_while_connecting(self):
        self.plugged_in_scanner(faults=["on any ignore"])
        self.start().wait_for_view_start(messages.STARTED + messages.ATTEMPT + messages.trying())
        self.close_and_check_log()

    def test_during_a_burst(self):
        Settings(filename=_PATH).save()
        scanner = self.plugged_in_scanner(some_records(130), faults=["on P chunks 10 20"])
        self.start_connected()
        self.quillet.press("Synchronize")
        scanner.wait_for_commands([*scanner.commands()[:5], "W", "N", "GS1", "P"])
        self.close_and_check_log()
        self.assertFalse(os.path.exists(_PATH))

    def test_during_a_record_by_record_run(self):
        Settings(filename=_PATH, burst_sync=0).save()
        scanner = self.plugged_in_scanner(some_records(130))
        self.start_connected()
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(messages.RUN_STARTED + ".")
        self.close_and_check_log()
        self.assertNotIn("GS0", scanner.commands())
        self.assertFalse(os.path.exists(_PATH))

    def test_killed_program_leaves_the_last_file_and_starts_again(self):
        Settings(filename=_PATH).save()
        records = some_records(65)
        scanner = self.plugged_in_scanner(records)
        self.start_connected()
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(messages.file_run(65, _PATH))
        scanner.fault("on P 1 chunks 10 20")
        self.quillet.press("Synchronize")
        scanner.wait_for_commands([*scanner.commands()[:11], "W", "N", "GS1", "P"])
        self.quillet.kill()
        self.assert_file(_PATH, file_text(records))
        self.assert_no_stray_files(_PATH)

        os.unlink(_PATH)
        # The scanner would go on with its burst to whoever opens the line.
        scanner.unplug()
        scanner.plug_in()
        self.start_connected()
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(messages.file_run(65, _PATH))
        self.assert_file(_PATH, file_text(records))
