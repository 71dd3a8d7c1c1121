"""Tests how often the idle program wakes up."""

import os
import time

from harness.case import OUTPUT, Settings, SystemTest, some_records, wait_until

_MOST_PER_SECOND = 500  # wake-ups; reading every 200 µs would need about 3,500


class IdleTest(SystemTest):

    def wake_ups(self):
        """Returns the number of wake-ups of all threads since the start of the program."""
        total = 0
        for task in os.listdir(f"/proc/{self.quillet.pid}/task"):
            with open(f"/proc/{self.quillet.pid}/task/{task}/status", encoding="ascii") as file:
                status = dict(line.split(":", 1) for line in file)
            total += int(status["voluntary_ctxt_switches"])
        return total

    def wake_ups_per_second(self):
        before, start = self.wake_ups(), time.monotonic()
        time.sleep(0.5)
        return (self.wake_ups() - before) / (time.monotonic() - start)

    def test_wakes_up_rarely_until_data_arrives(self):
        records = some_records(200)
        Settings(filename=OUTPUT).save()
        self.plugged_in_scanner(records)
        self.start_connected()
        for _ in range(2):
            wait_until(lambda: self.wake_ups_per_second() < _MOST_PER_SECOND, "an idle program")
            self.synchronize_to_file(records)
            self.quillet.clear()
        self.disconnect()
        wait_until(lambda: self.wake_ups_per_second() < _MOST_PER_SECOND, "an idle program")
