"""A model of a disk that loses all data that has not been flushed with fsync().

According to fsync(2), fsync() on a file may write only the file's data to the disk. On a folder,
fsync() may write only the folder's entries. Most file systems write more.
"""

import os


class _File:
    def __init__(self):
        self.data = b""
        self.data_on_disk = b""

    def content(self):
        return self.data

    def store(self, content):
        self.data_on_disk = content


class _Folder:
    def __init__(self):
        self.entries = {}
        self.entries_on_disk = {}

    def content(self):
        return dict(self.entries)

    def store(self, content):
        self.entries_on_disk = content


class Disk:
    """Replays a trace recorded by disk_calls.c. Ignores files that existed before the trace."""

    def __init__(self):
        self._root = _Folder()
        self._begun = {}  # calls of fsync() in progress, by thread

    def _find(self, path):
        """Returns the file or folder at `path`, or None if the trace does not contain it."""
        item = self._root
        for name in filter(None, path.split("/")):
            if not isinstance(item, _Folder):
                return None
            item = item.entries.get(name)
        return item

    def _folder_of(self, path):
        """Returns the entries of the parent folder. Adds folders that existed before the trace."""
        item = self._root
        for name in filter(None, os.path.dirname(path).split("/")):
            if name not in item.entries:
                item.entries[name] = item.entries_on_disk[name] = _Folder()
            item = item.entries[name]
        return item.entries

    def apply(self, call, *arguments):
        path = arguments[-1] if call in ("begin", "end") else arguments[0]
        name = os.path.basename(path)
        if call == "folder":
            self._folder_of(path)[name] = _Folder()
        elif call == "create":
            self._folder_of(path).setdefault(name, _File())
        elif call == "write":
            file = self._find(path)
            if file is not None:
                file.data += bytes.fromhex(arguments[1])
        elif call == "rename":
            moved = self._folder_of(path).pop(name)
            self._folder_of(arguments[1])[os.path.basename(arguments[1])] = moved
        elif call == "remove":
            self._folder_of(path).pop(name, None)
        elif call == "begin":
            # fsync() need not flush bytes that are written after it begins.
            item = self._find(path)
            self._begun[arguments[0]] = item and (item, item.content())
        elif call == "end":
            begun = self._begun.pop(arguments[0])
            if begun:
                item, content = begun
                item.store(content)
        else:
            raise ValueError(call)

    def survivors(self):
        """Returns the contents of all files after a power failure, keyed by path."""
        found = {}

        def walk(path, item):
            if isinstance(item, _File):
                found[path] = item.data_on_disk
            else:
                for name, entry in item.entries_on_disk.items():
                    walk(f"{path}/{name}", entry)
        walk("", self._root)
        return found


def read_trace(path):
    """Returns the calls in a trace. Each call is a tuple of its name and arguments."""
    with open(path, encoding="utf-8") as trace:
        return [tuple(line.rstrip("\n").split("\t")) for line in trace]


def synchronized_paths(calls):
    return sorted({call[2] for call in calls if call[0] == "end"})


def survivors_at_erases(calls, skipped=None):
    """For each erase command, returns the files that survive a power failure at that time.

    skipped: path of a file or folder for which fsync() is ignored
    """
    disk = Disk()
    at_erases = []
    for call in calls:
        if call[0] == "erase":
            at_erases.append(disk.survivors())
        elif call[0] not in ("begin", "end") or call[2] != skipped:
            disk.apply(*call)
    return at_erases


def archived_bytes(contents):
    """Returns the bytes of all complete records and bursts in a records file, as received."""
    received = b""
    while b"\n" in contents:
        line, contents = contents.split(b"\n", 1)
        kind, _, size = line.partition(b" ")
        if kind in (b"record", b"burst"):
            if len(contents) <= int(size):
                break
            received += contents[:int(size)]
            contents = contents[int(size) + 1:]
    return received
