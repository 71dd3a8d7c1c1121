"""Tests failures of some system calls while records are archived. long_archive.py makes each
system call fail in turn."""

import errno

from archive_case import (HALF, NOTHING, TO_FILE, TO_VIEW, ArchiveTest, Point, some_records)
from fault_case import OUTPUT

_RECORDS = some_records(20)


class FailedCallsTest(ArchiveTest):

    def check(self, destination, burst, kept, *faults):
        """Synchronizes with the given faults. `kept`: whether the scanner must keep its records."""
        with self.subTest("; ".join(map(str, faults))):
            self.check_faults(_RECORDS, destination, burst, *faults)
            self.assertEqual(len(_RECORDS) if kept else 0, self.scanners[-1].record_count())

    def test_erases_only_after_the_archive_is_flushed(self):
        for burst in (0, 1):
            self.check(TO_VIEW, burst, False)
            self.check(TO_VIEW, burst, True, Point("fsync", "records", 1, 1, errno.EIO))
            self.check(TO_VIEW, burst, True, Point("write", "records", 2, 2, HALF),
                       Point("write", "records", 3, 3, errno.ENOSPC))
        for error in (errno.EIO, errno.EROFS, errno.EINVAL):
            self.check(TO_VIEW, 1, True, Point("fsync", "runs", 1, 9, error))
        self.check(TO_VIEW, 1, True, Point("fsync", "lines", 1, 1, errno.EIO))
        self.check(TO_VIEW, 1, True, Point("write", "records", 3, 3, NOTHING))
        self.check(TO_VIEW, 1, False, Point("fsync", "records", 1, 1, errno.EINTR))

    def test_erases_if_one_of_two_copies_is_flushed(self):
        lost = Point("fsync", "records", 1, 1, errno.EIO)
        for burst in (0, 1):
            self.check(TO_FILE, burst, False, lost)
            self.check(TO_FILE, burst, True, lost, Point("fsync", "output", 1, 1, errno.EIO))
        self.check(TO_FILE, 1, False, Point("create", "output", 1, 1, errno.EROFS))
        self.check(TO_FILE, 1, True, lost, Point("rename", "output", 1, 1, errno.EIO))
        for error in (errno.EIO, errno.EROFS, errno.EINVAL):
            self.check(TO_FILE, 1, True, lost, Point("fsync", "data", 1, 1, error))
        self.assert_no_stray_files(OUTPUT)
