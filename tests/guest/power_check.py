#!/usr/bin/python3
"""Checks that a power failure loses no record that has been erased from the scanner.

Usage: power_check.py TYPE IMAGE LOG RUNS LIST [--OPTION N]...

  TYPE   file system: ext4, xfs or btrfs
  IMAGE  disk image from before the recording
  LOG    all writes to the disk, recorded by QEMU's driver blklogwrites
  RUNS   output of power_runs, which lists the records of each run
  LIST   path of the program power_runs

When the power fails, a disk keeps all data that was written before the last completed flush, and
any subset of the later writes. At each erase command and at random writes after an erase, this
script creates such states, mounts them and compares the archives with all records erased so far.

  --at-erase      number of random states per erase command (default 20)
  --later         number of random writes after an erase at which to check two states
                  (default 2000)
  --atomic        number of bytes that the disk writes atomically (default 4096)
  --random-state  seed for the random choices (default 1)

Needs root to mount file systems. Prints the number of states. Exits with status 1 if a record is
missing from a state or a state cannot be mounted.
"""

import argparse
import collections
import ctypes
import os
import random
import struct
import subprocess
import sys
import tempfile

SECTOR = 512
FILE_SYSTEM_START = 2048  # in sectors
MARKS = 1 << 20  # size in bytes of the area at the end of the disk for the erase marks

_MAGIC = 0x6A736677736872
_FLUSH, _FUA, _DISCARD = 1, 2, 4
_CHUNK = 16384
_MS_RDONLY = 1
_libc = ctypes.CDLL(None, use_errno=True)

Write = collections.namedtuple("Write", "offset data")  # in bytes, from the file system's start


def read_log(path):
    """Yields the log's entries as (flags, offset, data), in order of completion."""
    with open(path, "rb") as log:
        magic, _version, _entries, size = struct.unpack("<QQQI", log.read(SECTOR)[:28])
        if magic != _MAGIC or size != SECTOR:
            raise ValueError("not a log")
        while header := log.read(SECTOR):
            sector, count, flags, _ = struct.unpack("<QQQQ", header[:32])
            if sector == count == flags == 0:
                return
            data = b"" if flags & _DISCARD else log.read(count * SECTOR)
            if flags & (_FUA | _DISCARD):
                raise ValueError("unexpected entry")
            yield flags, sector * SECTOR, data


def read_runs(path):
    """Returns the records of each run, keyed by the process ID and the number of the run's first
    erase command."""
    runs = {}
    with open(path, encoding="ascii") as lines:
        for line in lines:
            word, *rest = line.split()
            if word == "run":
                runs[int(rest[0]), int(rest[1])] = frozenset(rest[2:])
    return runs


class Disk:
    """The disk contents at the last flush. Can be mounted with some of the later writes applied."""

    def __init__(self, image, kind, folder):
        self._kind = kind
        start = FILE_SYSTEM_START * SECTOR
        with open(image, "rb") as file:
            file.seek(start)
            self._stable = bytearray(file.read(os.path.getsize(image) - start - MARKS))
        zeros = bytes(_CHUNK)
        self._used = {offset for offset in range(0, len(self._stable), _CHUNK)
                      if self._stable[offset:offset + _CHUNK] != zeros[:len(self._stable) - offset]}
        self._path = f"{folder}/state"
        self._file = os.open(self._path, os.O_RDWR | os.O_CREAT, 0o600)
        os.ftruncate(self._file, len(self._stable))
        self._device = subprocess.run(["losetup", "--find", "--show", self._path], check=True,
                                      capture_output=True, text=True).stdout.strip()
        self.mounted_at = f"{folder}/mounted"
        os.mkdir(self.mounted_at)

    def close(self):
        subprocess.run(["losetup", "--detach", self._device], check=True)

    def write(self, write):
        end = write.offset + len(write.data)
        self._stable[write.offset:end] = write.data
        self._used.update(range(write.offset - write.offset % _CHUNK, end, _CHUNK))

    def mount(self, writes):
        """Mounts the disk contents as of the last flush, with the given writes applied. Returns 0
        or an error number."""
        os.ftruncate(self._file, 0)
        os.ftruncate(self._file, len(self._stable))
        view = memoryview(self._stable)
        for offset in self._used:
            os.pwrite(self._file, view[offset:offset + _CHUNK], offset)
        view.release()
        for write in writes:
            os.pwrite(self._file, write.data, write.offset)
        result = _libc.mount(self._device.encode(), self.mounted_at.encode(), self._kind.encode(),
                             _MS_RDONLY, None)
        return ctypes.get_errno() if result != 0 else 0

    def unmount(self):
        if _libc.umount2(self.mounted_at.encode(), 0) != 0:
            raise OSError(ctypes.get_errno(), "umount")


class Check:
    def __init__(self, arguments, disk):
        self._runs = read_runs(arguments.runs)
        self._list = arguments.list
        self._disk = disk
        self._random = random.Random(arguments.random_state)
        self._atomic = arguments.atomic
        self._seen = set()  # states checked since the last flush
        self._expected = set()
        self.states = collections.Counter()
        self.erased = 0
        self.lost = collections.Counter()

    def erase(self, mark):
        _, process, number = mark.rstrip(b"\0").split()
        self._expected |= self._runs.get((int(process), int(number)), frozenset())
        self.erased += 1
        self._seen.clear()

    def flush(self):
        self._seen.clear()

    def missing(self):
        """Returns the number of erased records that are missing from the mounted disk."""
        listed = subprocess.run([self._list, "list", self._disk.mounted_at], capture_output=True,
                                text=True, check=False)
        return len(self._expected - set(listed.stdout.split()))

    def state(self, kind, writes):
        """Checks the state with the given writes applied, unless it has already been checked since
        the last flush or erase."""
        key = hash(tuple(writes))
        if key in self._seen:
            return
        self._seen.add(key)
        self.states[kind] += 1
        error = self._disk.mount(writes)
        if error:
            self.lost[f"cannot be mounted, {kind}: {os.strerror(error)}"] += 1
            return
        missing = self.missing()
        self._disk.unmount()
        if missing:
            self.lost[f"lacks records, {kind}"] += 1

    def subset(self, writes):
        """Returns randomly selected writes. Some are truncated at the beginning or the end."""
        kept = []
        for write in writes:
            start = -write.offset % self._atomic
            cuts = range(start or self._atomic, len(write.data), self._atomic)
            choice = self._random.randrange(8)
            if choice < 4:
                kept.append(write)
            elif choice == 4 and cuts:
                cut = self._random.choice(cuts)
                kept.append(self._random.choice([
                    Write(write.offset, write.data[:cut]),
                    Write(write.offset + cut, write.data[cut:])]))
        return kept

    def at_erase(self, pending, count):
        """Checks disk states that are possible when an erase command is sent. `pending`: the writes since the last
        flush. `count`: number of random states to check."""
        self.state("all writes", pending)
        for length in range(len(pending)):
            self.state("first writes", pending[:length])
            self.state("all but one", pending[:length] + pending[length + 1:])
        for _ in range(count):
            self.state("some writes", self.subset(pending))

    def later(self, pending):
        self.state("all writes", pending)
        self.state("some writes", self.subset(pending))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("type")
    parser.add_argument("image")
    parser.add_argument("log")
    parser.add_argument("runs")
    parser.add_argument("list")
    parser.add_argument("--at-erase", type=int, default=20)
    parser.add_argument("--later", type=int, default=2000)
    parser.add_argument("--atomic", type=int, default=4096)
    parser.add_argument("--random-state", type=int, default=1)
    arguments = parser.parse_args()
    start = FILE_SYSTEM_START * SECTOR
    end = os.path.getsize(arguments.image) - MARKS
    places = [number for number, (flags, offset, _) in enumerate(read_log(arguments.log))
              if not flags & _FLUSH and start <= offset < end]
    chosen = set(random.Random(arguments.random_state).sample(
        places, min(arguments.later, len(places))))
    with tempfile.TemporaryDirectory(dir="/dev/shm") as folder:
        disk = Disk(arguments.image, arguments.type, folder)
        check = Check(arguments, disk)
        pending = []
        most = 0
        try:
            for number, (flags, offset, data) in enumerate(read_log(arguments.log)):
                if flags & _FLUSH:
                    for write in pending:
                        disk.write(write)
                    pending = []
                    check.flush()
                elif offset >= end:
                    check.erase(data)
                    most = max(most, len(pending))
                    check.at_erase(pending, arguments.at_erase)
                elif offset >= start:
                    pending.append(Write(offset - start, data))
                    if check.erased and number in chosen:
                        check.later(pending)
        finally:
            disk.close()
    counts = ", ".join(f"{number} with {kind}" for kind, number in check.states.items())
    print(f"{arguments.type}: {len(places)} writes, {check.erased} erase commands, up to {most} pending writes; "
          f"{check.states.total()} states ({counts}); "
          f"{check.lost.total()} failed {dict(check.lost) or ''}")
    sys.exit(1 if check.lost or not check.erased else 0)


if __name__ == "__main__":
    main()
