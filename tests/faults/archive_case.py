"""Base class of tests that cause archive errors and check that no records are lost."""

import collections
import errno
import os
import shutil
import tempfile

from fault_case import OUTPUT, FaultTest, Settings, messages, some_records, wait_until
from harness import archive
from harness.lines import file_text, view_text
from harness.product import Quillet

TO_FILE, TO_VIEW, TO_FRONTMOST, TO_NAMED = range(4)

_CALLS = f"{tempfile.gettempdir()}/calls"
_STATE = "/tmp/.local"
_FAST = ["--speed", "2000000", "--latency", "0.5"]
HALF = -1
NOTHING = 0

# The errors that fail_calls.c injects into each call.
ERRORS = {
    "open": [errno.EIO, errno.EACCES, errno.EINTR],
    "create": [errno.ENOSPC, errno.EIO, errno.EDQUOT, errno.EROFS, errno.EACCES, errno.EINTR],
    "mkdir": [errno.ENOSPC, errno.EIO, errno.EDQUOT, errno.EROFS, errno.EACCES],
    "write": [errno.ENOSPC, errno.EIO, errno.EDQUOT, errno.EINTR, HALF, NOTHING],
    "fsync": [errno.EIO, errno.ENOSPC, errno.EDQUOT, errno.EROFS, errno.EINTR],
    "rename": [errno.ENOSPC, errno.EIO, errno.EDQUOT, errno.EROFS, errno.EACCES],
    "flock": [errno.EIO, errno.ENOLCK],
    "fchmod": [errno.EIO, errno.EROFS, errno.EACCES],
    "close": [errno.EIO, errno.ENOSPC, errno.EDQUOT, errno.EINTR],
    "unlink": [errno.EIO, errno.EROFS, errno.EACCES],
}

Call = collections.namedtuple("Call", "call file number result path")


class Point(collections.namedtuple("Point", "call file first last error")):
    """A fault: calls number `first` to `last` of `call` on `file` fail with `error`. Numbers start
    at 1."""

    def __str__(self):
        name = {HALF: "short write", NOTHING: "zero write"}.get(self.error)
        calls = str(self.first) if self.last == self.first else f"{self.first} to {self.last}"
        return f"{self.call} {self.file} {calls}: {name or errno.errorcode[self.error]}"


class Disk:
    """A model of the data that survives a power failure, based on the logged calls."""

    def __init__(self):
        self.written = collections.Counter()  # number of bytes, by file
        self.begun = {}  # number of bytes and folder entries when the latest fsync() began, by path
        self.safe = {}  # number of bytes on the disk, by file
        self.failed = set()  # files for which fsync() failed
        self.output = None  # path of the temporary file that becomes the output file
        self.entries = collections.defaultdict(set)  # new files and folders, by parent folder
        self.safe_entries = set()  # new files and folders whose directory entries are on the disk

    def apply(self, entry):
        path = entry.path.rstrip("/") or "/"
        if entry.call == "begin":
            self.begun[path] = (self.written[path], set(self.entries[entry.file]))
        elif entry.result < 0:
            if entry.call == "open" and entry.result == -errno.EACCES:
                # The folder belongs to another user, so the program did not create its entries.
                self.safe_entries |= self.entries[entry.file]
            if entry.call == "fsync" and entry.result != -errno.EINTR:
                self.failed.add(path)
        elif entry.call == "write":
            self.written[path] += entry.result
        elif entry.call == "create" and entry.file == "records":
            self.entries["runs"].add(path)
        elif entry.call == "create" and entry.file == "output":
            self.output = path
        elif entry.call == "mkdir":
            parent = {"runs": "quillet", "quillet": "state", "state": "local", "local": "tmp"}
            self.entries[parent[entry.file]].add(entry.file)
        elif entry.call == "rename" and entry.file == "output":
            if self.output and self.safe.get(self.output) == self.written[self.output]:
                self.entries["data"].add("output")
        elif entry.call == "fsync":
            self.safe[path], entries = self.begun[path]
            if path in self.failed:
                self.safe[path] = 0
            self.safe_entries |= entries

    def archived(self):
        """Returns the archived records that would survive a power failure."""
        records = []
        for path in archive.records_files():
            if path not in self.safe or not {path, "runs", "quillet"} <= self.safe_entries:
                continue
            with open(path, "rb") as file:
                records += archive.read_run(file.read()[:self.safe[path]]).records
        return records


class ArchiveTest(FaultTest):
    """Base class of tests that run the program one or more times. Each time, the program starts,
    synchronizes immediately and erases the scanner."""

    faults = "fail_calls"

    def begin_attempt(self, records, destination, burst, faults=None, **settings):
        """Removes the files of earlier attempts, plugs in a new scanner and starts the program.
        `faults`: points at which calls fail, or None to run without the preloaded library."""
        shutil.rmtree(_STATE, ignore_errors=True)
        if os.path.exists(_CALLS):
            os.unlink(_CALLS)
        self.settings = Settings(destination=destination, burst_sync=burst, auto_sync=1,
                                 clear_memory=1, filename=OUTPUT, **settings)
        self.settings.save()
        self.put_old_file()
        if self.quillet:
            self.quillet.process.stop()  # it is still running if the last attempt failed
        while self.scanners:
            self.scanners.pop().stop()
        self.records = records
        scanner = self.plugged_in_scanner(records, options=_FAST)
        environment = None
        if faults is not None:
            environment = self.preload(
                FAIL_LOG=_CALLS,
                FAIL_CALLS=";".join(" ".join(map(str, fault)) for fault in faults))
        self.quillet = Quillet(self.desktop, self.devices, environment=environment)
        self.devices.listener = self.quillet.process
        return scanner

    def missing_from_archive(self, found=None):
        """Returns the scanner's records that are missing from `found` (default: the archive)."""
        found = set(archive.archived_records() if found is None else found)
        return [record for record in self.records if archive.stored(record) not in found]

    def view_of_run(self):
        count = len(self.records)
        start = messages.STARTED + messages.connecting()
        if self.settings.destination == TO_FILE:
            return start + messages.erasing_run(count, OUTPUT)
        return (start + messages.RUN_STARTED + view_text(self.records, self.settings)
                + messages.count(count) + messages.ERASED + messages.FINISHED)

    @staticmethod
    def calls():
        with open(_CALLS, encoding="utf-8") as log:
            return [Call(call, file, int(number), int(result), path) for call, file, number, result,
                    path in (line.rstrip("\n").split(" ", 4) for line in log)]

    def check_faults(self, records, destination, burst, *faults):
        """Synchronizes while the calls in `faults` fail. Returns the logged calls."""
        earlier = len(self.log.datagrams())
        # A record-by-record run tries to erase the scanner twice.
        decisions = 1 if burst else 2
        scanner = self.begin_attempt(records, destination, burst, faults)
        self.quillet.wait_for_view(self.view_of_run())
        wait_until(lambda: self.withheld(earlier) + self.erasures(scanner) >= decisions,
                   "the scanner to be erased or kept")
        self.close()
        self.assertEqual("", self.quillet.process.output(), "standard streams")
        self.check_calls(scanner)
        return self.calls()

    def withheld(self, earlier):
        return sum(b"withheld" in line for line in self.log.datagrams()[earlier:])

    @staticmethod
    def erasures(scanner):
        return scanner.all_commands().count("E")

    def check_calls(self, scanner):
        """Checks that no record would be lost if the power failed at any erase command."""
        calls = self.calls()
        erasures = self.erasures(scanner)
        self.assertEqual(0 if erasures else len(self.records), scanner.record_count())
        positions = [at for at, call in enumerate(calls) if call.call == "erase"]
        # Earlier "E" bytes belong to the command that sets the scanner's clock.
        positions = positions[len(positions) - erasures:]
        disk = Disk()
        for at, call in enumerate(calls):
            if at in positions:
                self.assertTrue(self.is_safe(disk), f"erased too early:\n{calls[:at + 1]}")
            disk.apply(call)

    def is_safe(self, disk):
        """Returns whether the archive or the output file would contain all records after a power
        failure."""
        if not self.missing_from_archive(disk.archived()):
            return True
        return ("output" in disk.safe_entries
                and self.read_file() == file_text(self.records, self.settings))


__all__ = ["ERRORS", "HALF", "NOTHING", "TO_FILE", "TO_FRONTMOST", "TO_NAMED", "TO_VIEW",
           "ArchiveTest", "Disk", "Point", "archive", "file_text", "messages", "some_records",
           "wait_until"]
