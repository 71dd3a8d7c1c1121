"""Sets the computer's clock while the program runs."""

import calendar
import mmap
import os
import struct
import time

from fault_case import FaultTest, Settings, messages, some_records, wait_until

_OFFSET = "/tmp/clock-offset"


class ClockTest(FaultTest):
    """Changes CLOCK_REALTIME only. Time-outs use the monotonic clock."""

    faults = "set_clock"

    def setUp(self):
        super().setUp()
        with open(_OFFSET, "wb+") as file:
            file.write(bytes(8))
            file.flush()
            self.offset = mmap.mmap(file.fileno(), 8)

    def set_clock(self, *when):
        """Sets the clock to `when`: year, month, day, hour, minute and second in UTC."""
        seconds = calendar.timegm((*when, 0, 0, 0)) - int(time.time())
        struct.pack_into("=q", self.offset, 0, seconds)

    def test_file_name_reflects_clock_changes_during_a_run(self):
        scanner = self.begin(some_records(3))
        Settings().save()
        self.set_clock(2031, 5, 6, 7, 8, 9)
        quillet = self.start(environment=self.preload(TZ="UTC"))
        quillet.wait_for_view(messages.STARTED + messages.connecting())
        self.assertEqual((31, 5, 6, 7), scanner.clock_settings()[0][:4])
        quillet.wait_for_connect_label("Disconnect")
        quillet.clear()
        for year, command in ((1999, "P"), (2035, "GS0"), (1999, "N"), (2031, "GS1")):
            scanner.fault(f"on {command} 1 delay 300")
            times = scanner.commands().count(command)
            quillet.press("Synchronize")
            wait_until(lambda: scanner.commands().count(command) > times, f"{command} to be sent")
            self.set_clock(year, 1, 2, 3, 4, 5)
            quillet.wait_for_view_end(messages.count(3) + messages.FINISHED)
            (path,) = self.generated_files()
            self.assertRegex(path, rf"/QuilletData005771_{year}0102_0304\d\d\.txt\Z")
            self.assert_file(path, self.text())
            os.unlink(path)
            quillet.clear()
