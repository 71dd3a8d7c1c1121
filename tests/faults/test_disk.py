"""Files and folders that cannot be written."""

import os
import unittest

from fault_case import FOLDER, OLD, OUTPUT, FaultTest, Settings, messages, some_records
from harness.sandbox import PRIVATE_DISK

_LINKED = "/Users/Shared/elsewhere.txt"


class DiskTest(FaultTest):

    def run_into(self, path):
        """Synchronizes. The view reports success even if the file cannot be written."""
        self.synchronize(messages.file_run(len(self.records), path))
        self.quillet.clear()

    def start_with_file(self, path, **settings):
        self.begin(some_records(3))
        Settings(filename=path, **settings).save()
        self.start_connected()

    def check_failure(self, path):
        self.start_with_file(path)
        self.run_into(path)
        self.log.wait_for("Fail to write")
        # The log contains all records.
        for line in self.text().split("\r\n")[:-1]:
            self.assertTrue([entry for entry in self.log.lines() if line in entry], line)

    @unittest.skipUnless(PRIVATE_DISK, "needs a disk of limited size, which needs namespaces")
    def test_full_disk_keeps_the_old_file(self):
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
                self.run_into(OUTPUT)
                self.log.wait_for("Fail to write", times=1 + append)
                self.assert_old_file()
                self.assert_no_stray_files(OUTPUT)
                os.truncate("/Users/filler", 0)
                self.run_into(OUTPUT)
                self.assert_file(OUTPUT, (OLD if append else "") + self.text())
                self.end_program()

    def test_read_only_folder_keeps_the_old_file(self):
        self.start_with_file(OUTPUT)
        os.chmod(FOLDER, 0o555)
        self.run_into(OUTPUT)
        self.log.wait_for("Fail to write")
        self.assert_old_file()
        os.chmod(FOLDER, 0o755)
        self.run_into(OUTPUT)
        self.assert_file(OUTPUT, self.text())

    def test_missing_folder_is_not_created(self):
        self.check_failure("/Users/Shared/nowhere/out.txt")
        self.assertFalse(os.path.exists("/Users/Shared/nowhere"))

    def test_file_instead_of_folder_is_kept(self):
        self.check_failure(f"{OUTPUT}/out.txt")
        self.assert_old_file()

    def test_folder_instead_of_file_is_kept(self):
        os.makedirs(f"{FOLDER}/folder/within")
        self.check_failure(f"{FOLDER}/folder")
        self.assertEqual(["within"], os.listdir(f"{FOLDER}/folder"))
        self.assert_no_stray_files(OUTPUT)

    def test_replaces_a_symbolic_link(self):
        self.start_with_file(f"{FOLDER}/link.txt")
        with open(_LINKED, "w", encoding="ascii") as file:
            file.write("not ours\n")
        os.symlink(_LINKED, f"{FOLDER}/link.txt")
        self.run_into(f"{FOLDER}/link.txt")
        self.assertFalse(os.path.islink(f"{FOLDER}/link.txt"))
        self.assert_file(f"{FOLDER}/link.txt", self.text())
        self.assert_file(_LINKED, "not ours\n")

    def test_appending_replaces_an_unreadable_file(self):
        # The file cannot be read, but the folder's permissions allow replacing it.
        self.start_with_file(OUTPUT, append_data=1)
        os.chmod(OUTPUT, 0)
        self.run_into(OUTPUT)
        os.chmod(OUTPUT, 0o600)
        self.assert_file(OUTPUT, self.text())
