"""Kills the program while it writes the file and the archive."""

import collections
import os
import random
import time

from archive_case import (TO_FILE, TO_FRONTMOST, TO_NAMED, TO_VIEW, ArchiveTest, archive,
                          wait_until)
from fault_case import FOLDER, OUTPUT, FaultTest, some_records
from harness.product import Quillet

_KILLS = 250
_LONGEST_DELAY = 0.030  # seconds from the start of writing to the kill
_OLD_LINES = 100_000
_TIMEOUT = 30  # seconds until the program must have begun to write
_START_TIMEOUT = 40  # seconds after which a run that has not begun is started again
_STARTS = 5

_ARCHIVE_KILLS = 250  # number of kills per destination
_RECORDS = {1: 300, 0: 60}  # number of records in a burst and in a record-by-record run
_LINE_DELAY = 0.3  # seconds within which the scanner reads all bytes that the program sent
_APPLICATION = "/tmp/typed-text"


class KillTest(FaultTest):

    def check(self, seed):
        """Kills the program at random times while it appends records to a 6.6 MB file.
        Afterwards, the file must contain the complete old contents or the complete new contents."""
        chance = random.Random(seed)
        self.begin(some_records(64), auto_sync=1, append_data=1)
        old = "".join(f"{line:08d} a line that was saved yesterday and must remain intact.\r\n"
                      for line in range(_OLD_LINES))
        new = old + self.text()
        counts = {"old": 0, "new": 0}
        left = 0
        while sum(counts.values()) < _KILLS:
            with open(OUTPUT, "w", encoding="ascii", newline="") as file:
                file.write(old)
            self.quillet = Quillet(self.desktop, self.devices)
            began = self.wait_for_writing()
            time.sleep(chance.uniform(0, _LONGEST_DELAY))
            self.quillet.kill()
            with open(OUTPUT, encoding="utf-8", newline="") as file:
                text = file.read()
            self.assertIn(text, (old, new))
            if not began:
                continue
            counts["old" if text == old else "new"] += 1
            for name in self.temporary_files():
                left += 1
                os.unlink(f"{FOLDER}/{name}")
        print(f"{seed}: {_KILLS} kills, {counts}, {left} temporary files left", flush=True)
        self.quillet = None

    def temporary_files(self):
        return [name for name in os.listdir(FOLDER) if name.startswith(".out.txt.quillet-")]

    def wait_for_writing(self):
        """Waits until the program begins to write. Returns False after a time-out."""
        end = time.monotonic() + _TIMEOUT
        before = os.stat(OUTPUT).st_ino
        # A new inode number means that the file was already replaced.
        while not self.temporary_files() and os.stat(OUTPUT).st_ino == before:
            self.assertTrue(self.quillet.process.is_running(), self.quillet.process.status())
            if time.monotonic() > end:
                return False
            time.sleep(0.0002)
        return True

    def test_kill_while_writing_keeps_file_intact_seed_1(self):
        self.check(1)

    def test_kill_while_writing_keeps_file_intact_seed_2(self):
        self.check(2)

    def test_kill_while_writing_keeps_file_intact_seed_3(self):
        self.check(3)

    def test_kill_while_writing_keeps_file_intact_seed_4(self):
        self.check(4)


class ArchiveKillTest(ArchiveTest):
    """Kills the program during runs that erase the scanner."""

    def check(self, destination):
        """Kills the program during many runs with this destination. Half of the kills occur at
        random times during the run, a quarter after the archive's first file is created, and a
        quarter near the erase command."""
        chance = random.Random(destination)
        counts = collections.Counter()
        try:
            for way in (1, 0):
                records = some_records(_RECORDS[way])
                length = self.time_run(records, destination, way)
                for kill in range(_ARCHIVE_KILLS // 2):
                    counts[self.kill_once(records, destination, way, length, kill, chance)] += 1
        finally:
            print(f"destination {destination}, seed {destination}: {sum(counts.values())} kills, "
                  f"{dict(counts)}", flush=True)
        self.quillet = None

    def begin_run(self, records, destination, way):
        """Starts the program and waits until it begins a run. Returns the scanner."""
        settings = {}
        if destination in (TO_FRONTMOST, TO_NAMED):
            # Digits only: if the program types into its own window, digits have no effect.
            settings = {"attach_serial": 0, "attach_timestamp": 0, "attach_type": 0,
                        "data_delimiter": 0, "record_delimiter": 0, "application": _APPLICATION}
        # On a busy computer, the scanner may answer too late for the program to connect.
        for _ in range(_STARTS):
            scanner = self.begin_attempt(records, destination, way, **settings)
            end = time.monotonic() + _START_TIMEOUT
            while time.monotonic() < end:
                if "N" in scanner.all_commands():
                    return scanner
                time.sleep(0.01)
            self.quillet.kill()
        self.fail("no run has begun")

    def time_run(self, records, destination, way):
        """Returns the duration of an uninterrupted run, in seconds."""
        scanner = self.begin_run(records, destination, way)
        start = time.monotonic()
        wait_until(lambda: scanner.record_count() == 0, "the scanner to be erased")
        length = time.monotonic() - start
        self.assertEqual([], self.missing_from_archive())
        self.quillet.kill()
        return length

    def kill_once(self, records, destination, way, length, kill, chance):
        """Kills the program during a run. Returns the location of the records: only in the scanner,
        only in the archive, or in both."""
        scanner = self.begin_run(records, destination, way)
        if kill % 4 == 0:
            wait_until(archive.records_files, "the archive")
            time.sleep(chance.uniform(0, _LONGEST_DELAY))
        else:
            earliest = 0.8 * length if kill % 4 == 1 else 0
            time.sleep(chance.uniform(earliest, 1.2 * length))
        self.quillet.kill()
        missing = self.missing_from_archive()
        if missing:
            time.sleep(_LINE_DELAY)  # the scanner may not have read the last byte yet
        in_scanner = scanner.record_count() == len(records)
        self.assertTrue(in_scanner or not missing, f"kill {kill}: {len(missing)} records lost")
        if not in_scanner:
            return "only in the archive"
        return "only in the scanner" if missing else "in both"

    def test_kill_loses_no_records_sent_to_file(self):
        self.check(TO_FILE)

    def test_kill_loses_no_records_sent_to_view(self):
        self.check(TO_VIEW)

    def test_kill_loses_no_records_sent_to_active_application(self):
        self.check(TO_FRONTMOST)

    def test_kill_loses_no_records_sent_to_named_application(self):
        with open(_APPLICATION, "w", encoding="ascii") as program:
            program.write("#!/usr/bin/python3\nimport tkinter\ntkinter.Text().pack()\n"
                          "tkinter.mainloop()\n")
        os.chmod(_APPLICATION, 0o755)
        self.check(TO_NAMED)
