"""Places that cannot be written."""

import os
import unittest

from fault_case import FOLDER, OLD, PATH, FaultTest, Settings, messages, some_records
from harness.sandbox import PRIVATE_DISK

_LINKED = "/Users/Shared/elsewhere.txt"


class DiskTest(FaultTest):

    def run_into(self, path):
        """A run, which says that it was written to the path whatever became of it."""
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(messages.file_run(len(self.records), path))
        self.clear()

    def start_with_file(self, path, **settings):
        self.begin(some_records(3))
        Settings(filename=path, **settings).save()
        self.start_connected()

    def check_failure(self, path):
        self.start_with_file(path)
        self.run_into(path)
        self.log.wait_for("Fail to write")
        # Nothing is lost: the log holds the records.
        for line in self.text().split("\r\n")[:-1]:
            self.assertTrue([entry for entry in self.log.lines() if line in entry], line)

    @unittest.skipUnless(PRIVATE_DISK, "needs a namespace, for a disk that can be filled")
    def test_full(self):
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
                self.run_into(PATH)
                self.log.wait_for("Fail to write", times=1 + append)
                self.assert_old_file()
                self.assert_no_stray_files(PATH)
                os.truncate("/Users/filler", 0)
                self.run_into(PATH)
                self.assert_file(PATH, (OLD if append else "") + self.text())
                self.end_program()

    def test_read_only_folder(self):
        self.start_with_file(PATH)
        os.chmod(FOLDER, 0o555)
        self.run_into(PATH)
        self.log.wait_for("Fail to write")
        self.assert_old_file()
        os.chmod(FOLDER, 0o755)
        self.run_into(PATH)
        self.assert_file(PATH, self.text())

    def test_missing_folder(self):
        self.check_failure("/Users/Shared/nowhere/out.txt")
        self.assertFalse(os.path.exists("/Users/Shared/nowhere"))

    def test_folder_that_is_a_file(self):
        self.check_failure(f"{PATH}/out.txt")
        self.assert_old_file()

    def test_folder_in_the_files_place(self):
        os.makedirs(f"{FOLDER}/folder/within")
        self.check_failure(f"{FOLDER}/folder")
        self.assertEqual(["within"], os.listdir(f"{FOLDER}/folder"))
        self.assert_no_stray_files(PATH)

    def test_link_is_replaced_and_not_followed(self):
        self.start_with_file(f"{FOLDER}/link.txt")
        with open(_LINKED, "w", encoding="ascii") as file:
            file.write("not ours\n")
        os.symlink(_LINKED, f"{FOLDER}/link.txt")
        self.run_into(f"{FOLDER}/link.txt")
        self.assertFalse(os.path.islink(f"{FOLDER}/link.txt"))
        self.assert_file(f"{FOLDER}/link.txt", self.text())
        self.assert_file(_LINKED, "not ours\n")

    def test_file_without_permission(self):
        # It may be replaced, since its folder may be written; but nothing can be added to what
        # cannot be read.
        self.start_with_file(PATH, append_data=1)
        os.chmod(PATH, 0)
        self.run_into(PATH)
        os.chmod(PATH, 0o600)
        self.assert_file(PATH, self.text())
