"""Tests the failure of each system call on the archive and the output file, and hanging flushes."""

import collections
import errno
import signal

from archive_case import ERRORS, TO_FILE, TO_VIEW, ArchiveTest, Point, some_records
from fault_case import FaultTest, Settings, messages

_RECORDS = some_records(20)
_EVERY_NUMBER = {"write", "fsync"}
_LAST = 10 ** 9


class EveryCallTest(ArchiveTest):

    def points(self, destination, burst):
        """Counts the system calls of a run without faults, and returns the faults to simulate."""
        counts = collections.Counter()
        for call in self.check_faults(_RECORDS, destination, burst):
            if call.call in ERRORS:
                counts[call.call, call.file] += 1
        points = []
        for (call, file), count in sorted(counts.items()):
            numbers = {1, 2, (count + 1) // 2, count} if call in _EVERY_NUMBER else {1, count}
            if file == "root" or (call, file) == ("open", "data"):
                # Libraries open the root folder at startup, and the program opens the data folder
                # to read the settings. A fault in one of these calls would keep the run from
                # starting, so only the last call fails.
                numbers = {count}
            points += [Point(call, file, number, number, error)
                       for number in sorted(numbers) if number <= count for error in ERRORS[call]]
            if call in ("write", "fsync", "create"):
                points.append(Point(call, file, 1, _LAST, errno.EIO))
        return points

    def check(self, destination, burst):
        """Synchronizes once per fault. If the destination is a file, repeats each EIO fault of the
        output file while the archive cannot be flushed."""
        results = collections.Counter()
        points = self.points(destination, burst)
        runs = [[point] for point in points]
        if destination == TO_FILE:
            lost = Point("fsync", "records", 1, _LAST, errno.EIO)
            runs += [[lost, point] for point in points
                     if point.file in ("output", "data") and point.error == errno.EIO]
        for faults in runs:
            with self.subTest("; ".join(map(str, faults))):
                self.check_faults(_RECORDS, destination, burst, *faults)
                kept = self.scanners[-1].record_count() != 0
                results["kept" if kept else "erased"] += 1
        print(f"destination {destination}, burst {burst}: {len(runs)} failed calls: {dict(results)}",
              flush=True)

    def test_burst_to_file_survives_failed_calls(self):
        self.check(TO_FILE, 1)

    def test_record_by_record_run_to_file_survives_failed_calls(self):
        self.check(TO_FILE, 0)

    def test_burst_shown_in_window_survives_failed_calls(self):
        self.check(TO_VIEW, 1)

    def test_record_by_record_view_run_survives_failed_calls(self):
        self.check(TO_VIEW, 0)


class HangingFlushTest(FaultTest):
    faults = "file_faults"

    def begin(self):
        """Synchronizes three records with erasing on, while the archive cannot be flushed."""
        Settings(destination=TO_VIEW, clear_memory=1).save()
        scanner = self.plugged_in_scanner(_RECORDS[:3])
        self.start(environment=self.preload(BLOCKED_SYNC="/quillet/runs/"))
        self.quillet.wait_for_view(messages.STARTED + messages.connecting())
        self.quillet.clear()
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view_end(messages.FINISHED)
        return scanner

    def test_scanner_is_not_erased_if_a_flush_hangs(self):
        scanner = self.begin()
        self.quillet.wait_for_message("The scanner was not erased because 3 records were not saved. "
                                      "Check the disk.", "Show")
        self.assertNotIn("E", scanner.commands())
        self.assertEqual(3, scanner.record_count())

    def test_signal_ends_the_program_while_a_flush_hangs(self):
        scanner = self.begin()
        self.quillet.process.send(signal.SIGTERM)
        self.assertIn(self.quillet.wait_for_end(), (0, 1))
        self.assertEqual(3, scanner.record_count())
