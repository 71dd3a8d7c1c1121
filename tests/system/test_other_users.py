"""Tests the protection against harmful files, links and programs of other users."""

import datetime
import os
import re
import stat

from harness import other_user
from harness.case import FOLDER, SHARED, OtherUserTest, Settings, messages, some_records, wait_until
from harness.lines import file_text
from harness.settings import PATH
from harness.settings_window import SettingsWindow

_PRIVATE = "/tmp/private"  # a file that only the user of the program can read
_TEAM = f"{SHARED}/team"  # the other user's folder, in which all users may create files
_OUTPUT = f"{_TEAM}/out.txt"


def put(path, text, mode=0o600):
    with open(path, "w", encoding="utf-8", newline="") as file:
        os.fchmod(file.fileno(), mode)
        file.write(text)


def contents(path):
    with open(path, encoding="utf-8", newline="") as file:
        return file.read()


class OtherUsersTest(OtherUserTest):

    def remove_files(self):
        for path in (_PRIVATE, "/tmp/settings"):
            if os.path.exists(path):
                os.unlink(path)
        super().remove_files()

    def connect(self, records=2, serial="2104005771", **popen):
        """Starts the program with a scanner and waits until it is connected."""
        self.plugged_in_scanner(some_records(records), serial=serial)
        self.start(**popen)
        self.quillet.wait_for_view_end(messages.CLOCK_SET)
        self.quillet.clear()  # has an effect only after the attempt to connect

    def synchronize_to(self, path):
        self.synchronize(messages.file_run(2, path))

    def save_settings(self):
        """Saves the settings that the settings window shows."""
        window = SettingsWindow(self.desktop, self.quillet)
        window.open()
        window.press("Save")
        window.wait_until_closed()


class CreatedFilesTest(OtherUsersTest):

    def test_other_users_cannot_write_to_created_files(self):
        self.connect(preexec_fn=lambda: os.umask(0))
        self.quillet.press("Synchronize")
        output = self.wait_for_generated_file()
        for command in (f"touch {FOLDER}/new", f": >>{PATH}", f": >>{output}", f"rm -f {output}"):
            self.assertFalse(other_user.succeeds(command), command)
        self.assertEqual(["0o755", "0o644", "0o644"],
                         [oct(stat.S_IMODE(os.stat(path).st_mode))
                          for path in (FOLDER, PATH, output)])

    def test_serial_number_cannot_change_the_output_folder(self):
        other_user.run(f"mkdir -m 0777 {SHARED}/QuilletDataAB")
        self.connect(serial="2104AB/C")
        self.quillet.press("Synchronize")
        wait_until(lambda: any(re.fullmatch(r"QuilletDataAB_C_\d{8}_\d{6}\.txt", name)
                               for name in os.listdir(SHARED)), "the output file")
        self.assertEqual([], os.listdir(f"{SHARED}/QuilletDataAB"))

    def check_alternative_name(self, target):
        """The other user creates a link to `target` for each name that the program can generate in
        the next five minutes. A run must then write to a file with a longer name."""
        now = datetime.datetime.now()
        times = [now + datetime.timedelta(seconds=second) for second in range(300)]
        names = " ".join(f"QuilletData005771_{time:%Y%m%d_%H%M%S}.txt" for time in times)
        put(_PRIVATE, "private\r\n")
        # The other user must own the folder, because only the owner can replace other users' files.
        os.rmdir(SHARED)
        os.chmod("/Users", 0o1777)
        other_user.run(f"mkdir -m 1777 {SHARED}")
        other_user.run(f"cd {SHARED}; for name in {names}; do ln -s {target} $name; done")
        self.connect()
        self.quillet.press("Synchronize")
        strip = self.quillet.wait_for_message(r"2 records in \d+ s: (.*)", "Open file",
                                              "Show in folder")
        self.assertRegex(strip[1], rf"{SHARED}/QuilletData005771_\d{{8}}_\d{{6}}_\d{{6}}\.txt")
        self.quillet.wait_for_view(messages.file_run(2, strip[1]))
        self.assert_file(strip[1], file_text(some_records(2)))
        self.assertEqual("private\r\n", contents(_PRIVATE))

    def test_writes_file_if_generated_names_are_taken(self):
        self.check_alternative_name(_PRIVATE)

    def test_writes_file_if_generated_names_are_taken_by_links(self):
        self.check_alternative_name(PATH)


class SettingsOfOthersTest(OtherUsersTest):

    def check_not_saved(self, reason):
        self.quillet.wait_for_message(f"The settings were not saved: {reason}.*", "Try again")

    def test_does_not_follow_link_at_settings_path(self):
        stolen = f"{SHARED}/stolen.txt"
        put(_PRIVATE, Settings(auto_sync=1, filename=stolen).text()[:700] + "secret\n" * 40)
        other_user.run(f"mkdir -m 0777 {FOLDER}; ln -s {_PRIVATE} {PATH}")
        self.connect()
        self.check_not_saved("the path contains a symbolic link")
        self.assertEqual(_PRIVATE, os.readlink(PATH))
        self.assertFalse(os.path.exists(stolen), "used the settings")
        other_user.run(f"rm {PATH}; echo >{PATH}")
        self.save_settings()
        wait_until(lambda: os.stat(PATH).st_uid == os.getuid(), "the saved settings")
        self.assertEqual(Settings().text(), contents(PATH))

    def test_does_not_replace_fifo_at_settings_path(self):
        other_user.run(f"mkdir -m 0777 {FOLDER}; mkfifo -m 0666 {PATH}")
        self.connect()
        self.check_not_saved("the path is not a regular file")
        self.assertTrue(stat.S_ISFIFO(os.stat(PATH).st_mode))

    def test_saving_drops_extra_text_in_another_users_settings(self):
        put("/tmp/settings", (Settings().text()[:700] + "secret\n" * 50)[:1023], 0o644)
        other_user.run(f"mkdir -m 0777 {FOLDER}; cp /tmp/settings {PATH}")
        self.connect()
        self.save_settings()
        wait_until(lambda: os.stat(PATH).st_uid == os.getuid(), "the saved settings")
        self.assertEqual(Settings().text(), contents(PATH))


class AddedRecordsTest(OtherUsersTest):

    def setUp(self):
        super().setUp()
        other_user.run(f"mkdir -m 0777 {_TEAM}")
        Settings(append_data=1, filename=_OUTPUT).save()

    def check_refused(self, reason):
        self.connect()
        self.synchronize_to(_OUTPUT)
        self.quillet.wait_for_message(rf"{_OUTPUT} was not written: {reason}\. "
                                      r"2 records are in the archive\.", "Save as…")
        self.assertEqual(["out.txt"], os.listdir(_TEAM))

    def test_does_not_append_through_another_users_link(self):
        put(_PRIVATE, "private\r\n")
        other_user.run(f"ln -s {_PRIVATE} {_OUTPUT}")
        self.check_refused("the path contains a symbolic link")
        self.assertEqual("private\r\n", contents(_PRIVATE))
        self.assertEqual(_PRIVATE, os.readlink(_OUTPUT))

    def test_appending_does_not_change_an_unreadable_file(self):
        other_user.run(f"umask 077; echo theirs >{_OUTPUT}")
        self.check_refused("permission denied")
        self.assertEqual("theirs", other_user.run(f"cat {_OUTPUT}"))

    def test_appending_keeps_the_files_permissions(self):
        other_user.run(f"echo theirs >{_OUTPUT}; chmod 0604 {_OUTPUT}")
        self.connect()
        self.synchronize_to(_OUTPUT)
        self.assertEqual("theirs\n" + file_text(some_records(2)), contents(_OUTPUT))
        self.assertEqual(0o604, stat.S_IMODE(os.stat(_OUTPUT).st_mode))

    def test_appends_records_through_the_users_own_link(self):
        put(_PRIVATE, "private\r\n")
        os.symlink(_PRIVATE, _OUTPUT)
        self.connect()
        self.synchronize_to(_OUTPUT)
        self.assertEqual("private\r\n" + file_text(some_records(2)), contents(_OUTPUT))
        self.assertEqual(0o600, stat.S_IMODE(os.lstat(_OUTPUT).st_mode))


class ProgramsOfOthersTest(OtherUsersTest):

    def test_ignores_processes_owned_by_other_users(self):
        os.mkdir("/tmp/editor.starts")
        os.chmod("/tmp/editor.starts", 0o1777)
        put("/tmp/editor", "#!/bin/sh\n: >/tmp/editor.starts/$(id -u)\nsleep 600\n", 0o755)
        other_user.run("/tmp/editor >/dev/null 2>&1 & :")
        wait_until(lambda: os.listdir("/tmp/editor.starts"), "the program of the other user")
        Settings(destination=3, application="/tmp/editor").save()
        self.connect(records=0)
        self.synchronize(messages.EMPTY_RUN)
        wait_until(lambda: os.path.exists(f"/tmp/editor.starts/{os.getuid()}"), "the user's program")
