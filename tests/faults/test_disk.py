"""Tests of writing the output file to a full disk or a read-only folder."""

import os
import unittest

from fault_case import FOLDER, OLD, OUTPUT, FaultTest, messages, some_records
from harness.sandbox import PRIVATE_DISK


class DiskTest(FaultTest):

    def check_failed_run(self, failures=1):
        """Synchronizes. Checks that the file is unchanged and that the log contains all records and
        `failures` write errors, although the view reports success."""
        self.synchronize(messages.file_run(3, OUTPUT))
        self.log.wait_for("Fail to write", failures)
        self.assert_old_file()
        self.assert_no_stray_files(OUTPUT)
        for line in self.text().split("\r\n")[:-1]:
            self.assertTrue([entry for entry in self.log.lines() if line in entry], line)
        self.quillet.clear()

    @unittest.skipUnless(PRIVATE_DISK, "needs namespaces for a disk of limited size")
    def test_keeps_old_file_if_disk_is_full(self):
        for append in (0, 1):
            with self.subTest(append=append):
                self.begin(some_records(3), append_data=append)
                with open("/Users/filler", "wb") as filler:
                    try:
                        while True:
                            filler.write(bytes(1 << 20))
                            filler.flush()
                    except OSError:
                        pass
                self.start_connected()
                self.check_failed_run(1 + append)
                os.truncate("/Users/filler", 0)
                self.synchronize(messages.file_run(3, OUTPUT))
                self.assert_file(OUTPUT, (OLD if append else "") + self.text())
                self.end_program()

    def test_keeps_old_file_if_folder_is_read_only(self):
        self.begin_connected(3)
        os.chmod(FOLDER, 0o555)
        self.check_failed_run()
        os.chmod(FOLDER, 0o755)
        self.check_run()
