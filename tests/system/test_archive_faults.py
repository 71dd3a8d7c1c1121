"""Tests interrupted runs and writes, and the protection of existing files."""

import errno
import fcntl
import os
import signal
import time

from harness.case import (CHAIN, FOLDER, OUTPUT, SHARED, Settings, SystemTest, messages,
                          some_records, wait_until)
from harness.lines import file_text
from harness.settings import PATH
from harness.settings_window import SettingsWindow

_SIGNALS = (signal.SIGTERM, signal.SIGINT, signal.SIGHUP)
_LONGEST_END = 2  # seconds from the signal to the program's exit
_CLOSING = ["-[QuilletAppDelegate windowWillClose:]",
            "-[SyncController stopNotification]",
            "-[SyncController Terminate]"]
_ARCHIVE = "/tmp/.local/state/quillet/runs"
_INTERRUPTED = "A synchronization was interrupted. Check its records in the archive."
_SETTINGS_FILE = "Records cannot be written to the settings file. Choose another file."
_REPLACES = ("Each synchronization replaces this file. To keep its contents, turn on \"Add to the "
             "file instead of replacing it\".")
_OLD = "saved yesterday\r\n"


def put(path, contents=_OLD):
    with open(path, "w", encoding="utf-8", newline="") as file:
        file.write(contents)


class ArchiveFaultsTest(SystemTest):

    faults = "file_faults"


class SignalTest(ArchiveFaultsTest):

    def start(self, **popen):
        # Restores the default actions. Shells start background commands with SIGINT ignored, and
        # the program keeps ignoring signals that are ignored at startup.
        popen.setdefault("preexec_fn", lambda: [signal.signal(each, signal.SIG_DFL)
                                                for each in _SIGNALS])
        # Disables leak detection, which could exceed the time limit.
        environment = {"ASAN_OPTIONS": "verify_asan_link_order=0:detect_leaks=0",
                       **popen.pop("environment", {})}
        return super().start(environment=environment, **popen)

    def check_end(self, number):
        """Sends a signal. The program must close normally within two seconds."""
        began = time.monotonic()
        self.quillet.process.send(number)
        self.assertEqual(0, self.quillet.wait_for_end())
        self.assertLess(time.monotonic() - began, _LONGEST_END)
        wait_until(lambda: "-[SyncController findSerialPorts]" in self.lines_of_the_end(),
                   self.lines_of_the_end)
        lines = self.log.lines(self.quillet.pid)
        # Other threads may log lines between these.
        self.assertEqual(_CLOSING, [line for line in lines if line in _CLOSING])

    def lines_of_the_end(self):
        lines = self.log.lines(self.quillet.pid)
        return "\n".join(lines[lines.index(_CLOSING[0]):]) if _CLOSING[0] in lines else ""

    def check_each_signal(self, prepare):
        """For each termination signal, calls prepare() and sends the signal."""
        for number in _SIGNALS:
            with self.subTest(number):
                prepare()
                self.check_end(number)
                if self.scanners:
                    self.assertEqual("", self.scanners.pop().stop(), "invalid commands")

    def connect(self, *faults, **settings):
        """Starts the program and connects a scanner whose records take seconds to arrive."""
        Settings(filename=OUTPUT, **settings).save()
        scanner = self.plugged_in_scanner(some_records(130))
        self.start_connected()
        scanner.fault(*faults)
        return scanner

    def test_signal_ends_program_while_connected(self):
        def prepare():
            scanner = self.connect()
            self.addCleanup(lambda: self.assertIn("port closed", scanner.transcript()))
        self.check_each_signal(prepare)

    def test_signal_ends_program_during_a_burst(self):
        def prepare():
            self.connect("on P chunks 10 20").wait_for_commands(CHAIN)
            self.quillet.press("Synchronize")
            self.quillet.wait_for_view(messages.RUN_STARTED)
        self.check_each_signal(prepare)
        self.assert_no_stray_files()

    def test_signal_ends_program_during_a_record_by_record_run(self):
        def prepare():
            self.connect(burst_sync=0)
            self.synchronize(messages.RUN_STARTED + ".")
        self.check_each_signal(prepare)
        self.assert_no_stray_files()

    def test_signal_ends_program_with_settings_window_open(self):
        def prepare():
            self.connect()
            SettingsWindow(self.desktop, self.quillet).open()
        self.check_each_signal(prepare)

    def test_signal_ends_program_with_file_panel_open(self):
        def prepare():
            self.connect()
            window = SettingsWindow(self.desktop, self.quillet)
            window.open()
            window.open_panel()
        self.check_each_signal(prepare)

    def test_signal_ends_program_waiting_for_a_port(self):
        def prepare():
            self.start().wait_for_view_start(messages.STARTED + messages.ATTEMPT
                                             + "Trying to connect.")
        self.check_each_signal(prepare)

    def test_signal_ends_program_waiting_for_the_scanner(self):
        def prepare():
            self.plugged_in_scanner(faults=["on any ignore"])
            self.start().wait_for_view_start(messages.STARTED + messages.ATTEMPT
                                             + messages.trying())
        self.check_each_signal(prepare)

    def test_signal_ends_a_hung_program(self):
        Settings().save()
        self.plugged_in_scanner()
        self.start(environment=self.preload(BLOCKED_SYNC="/.QuilletRegistry.txt.quillet-"))
        self.quillet.clear()
        window = SettingsWindow(self.desktop, self.quillet)
        window.open()
        window.type_keys("Return")
        wait_until(lambda: len(os.listdir(FOLDER)) == 2, "the main thread to hang")
        began = time.monotonic()
        self.quillet.process.send(signal.SIGTERM)
        self.assertEqual(1, self.quillet.wait_for_end())
        self.assertLess(time.monotonic() - began, _LONGEST_END)

    def test_keeps_ignoring_a_signal_ignored_at_startup(self):
        self.start(preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        self.quillet.process.send(signal.SIGHUP)
        self.desktop.wait_for_window_manager()
        self.assertTrue(self.quillet.process.is_running())
        self.check_end(signal.SIGTERM)

    def test_reports_interrupted_run_once_at_next_start(self):
        for number in (signal.SIGTERM, signal.SIGKILL):
            with self.subTest(number):
                scanner = self.connect(burst_sync=0)
                self.synchronize(messages.RUN_STARTED + ".")
                self.quillet.process.send(number)
                self.assertEqual(-number if number == signal.SIGKILL else 0,
                                 self.quillet.wait_for_end())
                scanner.unplug()
                self.start().wait_for_progress(_INTERRUPTED)
                self.close()
                self.start()
                self.quillet.wait_for_progress(messages.WAITING)
                self.close()
                self.scanners.pop().stop()


class TemporaryFilesTest(ArchiveFaultsTest):

    def test_removes_unfinished_files_at_startup(self):
        Settings(filename=f"{SHARED}/Lists/out.txt").save()
        os.mkdir(f"{SHARED}/Lists")
        unfinished = [f"{FOLDER}/.QuilletRegistry.txt.quillet-abcdefghijkl",
                      f"{SHARED}/Lists/.out.txt.quillet-234567zzzzzz",
                      f"{SHARED}/Lists/.out.txt.quillet-yyyyyyyyyyyy"]
        others = [f"{FOLDER}/.out.txt.quillet-abcdefghijk", f"{FOLDER}/out.txt.quillet-abcdefghijkl",
                  f"{FOLDER}/.out.txt.quillet-ABCDEFGHIJKL", f"{FOLDER}/.out.txt.backup"]
        being_written = f"{FOLDER}/.out.txt.quillet-mmmmmmmmmmmm"
        for path in (*unfinished, *others, being_written):
            put(path)
        link = f"{FOLDER}/.out.txt.quillet-llllllllllll"
        os.symlink("nowhere", link)
        message = ("3 incomplete temporary files were deleted. If records are missing, "
                   "synchronize again.")
        with open(being_written, "rb") as writer:
            fcntl.flock(writer, fcntl.LOCK_EX)
            self.start().wait_for_progress(message)
            self.log.wait_for("Quillet: " + message)
            self.close()
            self.assert_no_stray_files(*others, being_written, link)
        self.start().wait_for_progress("1 incomplete temporary file was deleted. If records are "
                                       "missing, synchronize again.")
        self.close()
        self.assert_no_stray_files(*others, link)
        self.start()
        self.quillet.wait_for_progress(messages.WAITING)

    def test_removes_the_unfinished_file_of_a_killed_run(self):
        def unfinished():
            return [name for name in os.listdir(SHARED)
                    if name.startswith(".QuilletData005771_") and ".txt.quillet-" in name]
        self.plugged_in_scanner(some_records(3))
        self.start(environment=self.preload(BLOCKED_SYNC="/.QuilletData005771_"))
        self.quillet.wait_for_view(messages.STARTED + messages.connecting())
        self.quillet.clear()
        self.quillet.press("Synchronize")
        wait_until(unfinished, "a temporary file")
        self.quillet.kill()
        self.assertEqual(1, len(unfinished()))
        self.scanners[0].unplug()
        self.start().wait_for_progress(_INTERRUPTED + " 1 incomplete temporary file was deleted.")
        self.assert_no_stray_files()


class SettingsAsOutputTest(ArchiveFaultsTest):

    def open_window(self, **settings):
        """Starts the program and opens the settings window."""
        Settings(filename=OUTPUT, **settings).save()
        self.start()
        self.quillet.clear()
        self.window = SettingsWindow(self.desktop, self.quillet)
        self.window.open()

    def choose(self, path):
        """Chooses a path in the file panel."""
        self.window.open_panel()
        self.window.type_keys("ctrl+a")
        self.desktop.xdotool("type", "--", path)
        self.window.type_keys("Return")
        self.window.wait_until_open()

    def wait_for_no_message(self):
        wait_until(lambda: not self.quillet.progress(), self.quillet.progress)

    def wait_for_path(self, path):
        wait_until(lambda: self.window.field("Path").text() == path,
                   lambda: f"the path {path}, not {self.window.field('Path').text()}")

    def test_rejects_the_settings_file_as_output(self):
        self.plugged_in_scanner()
        self.open_window()
        os.symlink(PATH, f"{FOLDER}/link")
        for path in (PATH, f"{FOLDER}/link"):
            self.choose(path)
            self.quillet.wait_for_progress(_SETTINGS_FILE)
            self.wait_for_path(OUTPUT)
        self.choose(f"{FOLDER}/new.txt")
        self.wait_for_path(f"{FOLDER}/new.txt")
        self.wait_for_no_message()

    def test_warns_that_the_chosen_file_will_be_replaced(self):
        self.plugged_in_scanner()
        for path in (f"{FOLDER}/list.txt", f"{FOLDER}/sn_timestamp.txt"):
            os.makedirs(FOLDER, exist_ok=True)
            put(path)
        self.open_window()
        self.choose(f"{FOLDER}/list.txt")
        self.wait_for_path(f"{FOLDER}/list.txt")
        self.quillet.wait_for_progress(_REPLACES)
        for path in (f"{FOLDER}/sn_timestamp.txt", f"{FOLDER}/new.txt"):
            self.choose(path)
            self.wait_for_path(path)
            self.wait_for_no_message()

    def test_does_not_warn_if_records_will_be_appended(self):
        self.plugged_in_scanner()
        self.open_window(append_data=1)
        put(f"{FOLDER}/list.txt")
        self.choose(f"{FOLDER}/list.txt")
        self.wait_for_path(f"{FOLDER}/list.txt")
        self.desktop.wait_for_window_manager()
        self.assertFalse(self.quillet.progress())

    def test_run_does_not_write_to_the_settings_file(self):
        link, hard_link = f"{SHARED}/link.txt", f"{SHARED}/hard.txt"
        for append, path in ((0, PATH), (1, PATH), (0, f"{SHARED}//QuilletData///QuilletRegistry.txt"),
                             (0, f"{FOLDER}/../QuilletData/./QuilletRegistry.txt"), (0, link),
                             (0, hard_link), (1, hard_link)):
            with self.subTest(path, append=append):
                settings = Settings(filename=path, append_data=append)
                settings.save()
                if path == link:
                    os.symlink(PATH, link)
                if path == hard_link and not append:
                    os.link(PATH, hard_link)
                records = some_records(3)
                self.plugged_in_scanner(records)
                self.start_connected()
                self.synchronize(messages.file_run(3, path))
                self.quillet.wait_for_progress(
                    _SETTINGS_FILE + " 3 records are in the archive.")
                self.assert_file(PATH, settings.text())
                archived = sorted(name for name in os.listdir(_ARCHIVE) if name.endswith(".txt"))
                self.assert_file(f"{_ARCHIVE}/{archived[-1]}", file_text(records))
                self.end_program()
        self.assertEqual(PATH, os.readlink(link))
        self.assertEqual(os.stat(PATH).st_ino, os.stat(hard_link).st_ino)
        self.assert_no_stray_files(link, hard_link)


class RefusedModesTest(ArchiveFaultsTest):

    def test_replaces_files_even_if_modes_cannot_be_set(self):
        records = some_records(3)
        Settings(filename=OUTPUT).save()
        for error in (errno.EPERM, errno.ENOTSUP, errno.EINVAL, errno.ENOSYS):
            self.plugged_in_scanner(records)
            self.start(environment=self.preload(REFUSED_MODES=str(error)))
            self.quillet.wait_for_view(messages.STARTED + messages.connecting())
            for mode in (0o600, 0o644):
                with self.subTest(error=error, mode=mode):
                    self.quillet.clear()
                    if os.path.exists(OUTPUT):
                        os.unlink(OUTPUT)
                    put(OUTPUT)
                    os.chmod(OUTPUT, mode)
                    self.synchronize(messages.file_run(3, OUTPUT))
                    self.assert_file(OUTPUT, file_text(records))
                    self.assertEqual(0o600, os.stat(OUTPUT).st_mode & 0o777)
            self.end_program()
        self.assert_no_stray_files(OUTPUT)
