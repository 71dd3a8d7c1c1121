"""Traces how the program opens files in folders that another user can write to."""

import glob
import os
import re
import subprocess

from harness import other_user
from harness.case import FOLDER, SHARED, OtherUserTest, Settings, messages, some_records, wait_until
from harness.settings import PATH
from harness.settings_window import SettingsWindow

_TRACE = "/tmp/trace"  # strace appends the thread's ID
_STRACE = ("strace", "-D", "-ff", "-y", "-s", "4096", "-e", "trace=open,openat,openat2,creat",
           "-o", _TRACE)
# Matches lines such as: openat(AT_FDCWD</tmp>, "name", O_RDONLY|O_NOFOLLOW) = 5</tmp/name>
_OPEN = re.compile(r'open\w*\((?:[^<"]*<(?P<folder>[^>]*)>, )?"(?P<name>[^"]*)", (?P<flags>[^)]*)\)'
                   r"\s+= (?P<result>-1 \w+|\d+<(?P<opened>[^>]*)>)")


def opened_files():
    """Returns a pair for each traced call: the match of _OPEN, and the path. Deletes the trace
    files."""
    calls = []
    for trace in sorted(glob.glob(_TRACE + ".*")):
        wait_until(lambda path=trace: read(path).endswith(" +++\n"), "the end of the trace")
        for call in filter(None, map(_OPEN.match, read(trace).splitlines())):
            path = os.path.join(call["folder"] or "", call["name"])
            calls.append((call, os.path.normpath(path)))
        os.unlink(trace)
    return calls


def read(path):
    with open(path, encoding="utf-8", errors="replace") as file:
        return file.read()


class OpenedFilesTest(OtherUserTest):

    def setUp(self):
        if subprocess.run([*_STRACE, "true"], capture_output=True, check=False).returncode != 0:
            self.skipTest("strace cannot be run here")
        opened_files()
        super().setUp()

    def connect(self):
        self.plugged_in_scanner(some_records(2))
        # The leak detector does not work under strace.
        self.start(prefix=_STRACE,
                   environment={"ASAN_OPTIONS": "verify_asan_link_order=0:detect_leaks=0"})
        self.quillet.wait_for_view_end(messages.CLOCK_SET)
        self.quillet.clear()

    def check_opened_files(self, *expected):
        """Expects that every path opened in /Users was opened without following links, and that
        the paths in `expected` were opened."""
        found = set()
        for call, path in opened_files():
            if not path.startswith("/Users"):
                continue
            print(f"{path}  {call['flags']}  {call['result']}")
            found.add(path)
            self.assertRegex(call["flags"], "O_NOFOLLOW|O_EXCL", path)
            self.assertNotIn("/", call["name"])
            if call["opened"]:
                self.assertEqual(path, call["opened"])
        self.assertLessEqual(set(expected), found)

    def test_does_not_follow_links_at_startup_save_or_run(self):
        other_user.run(f"mkdir -m 0777 {FOLDER}; ln -s /etc/passwd {PATH}")
        self.connect()
        window = SettingsWindow(self.desktop, self.quillet)
        window.open()
        window.press("Save")
        window.wait_until_closed()
        self.quillet.press("Synchronize")
        self.wait_for_generated_file()
        self.quillet.wait_for_view_end(messages.FINISHED)
        self.end_program()
        self.check_opened_files(PATH)

    def test_run_does_not_follow_links_to_folders(self):
        other_user.run(f"mkdir -m 0777 {SHARED}/real; ln -s real {SHARED}/link")
        Settings(filename=f"{SHARED}/link/out.txt").save()
        self.connect()
        self.synchronize(messages.file_run(2, f"{SHARED}/link/out.txt"))
        self.end_program()
        self.check_opened_files(PATH, f"{SHARED}/link")
        self.assertEqual([], os.listdir(f"{SHARED}/real"))

    def test_appending_does_not_follow_links(self):
        other_user.run(f"mkdir -m 0777 {SHARED}/team; ln -s /etc/passwd {SHARED}/team/out.txt")
        Settings(append_data=1, filename=f"{SHARED}/team/out.txt").save()
        self.connect()
        self.synchronize(messages.file_run(2, f"{SHARED}/team/out.txt"))
        self.end_program()
        self.check_opened_files(PATH, f"{SHARED}/team/out.txt")
