"""Reads Quillet's archive of received records."""

import dataclasses
import datetime
import os

FOLDER = "/tmp/.local/state/quillet/runs"
_HEADER = b"quillet-archive 1\n"
_ERASED = 0xFF


@dataclasses.dataclass
class ArchivedRun:
    """The contents of a records file."""

    entries: dict = dataclasses.field(default_factory=dict)  # last value, by entry name
    records: list = dataclasses.field(default_factory=list)  # as received


def _records_of_burst(burst, newer):
    """Returns the records in a burst, except erased ones. Stops at an invalid length."""
    records = []
    while burst:
        size = int.from_bytes(burst[:2], "big") if newer else burst[0] + 1
        if size == 0 or size > len(burst):
            break
        if burst[2 if newer else 1:][:1] != bytes([_ERASED]):
            records.append(burst[:size])
        burst = burst[size:]
    return records


def read_run(contents):
    """Parses a records file. Ignores an incomplete last entry."""
    run = ArchivedRun()
    if not contents.startswith(_HEADER):
        return run
    while b"\n" in contents:
        line, contents = contents.split(b"\n", 1)
        name, _, value = line.decode("utf-8", "replace").partition(" ")
        if name not in ("record", "burst"):
            run.entries[name] = value
            continue
        size = int(value)
        if size >= len(contents):
            break
        unit, contents = contents[:size], contents[size + 1:]
        run.records += ([unit] if name == "record" else
                        _records_of_burst(unit, run.entries.get("layout") == "300"))
    return run


def records_files(folder=FOLDER):
    """Returns the paths of all records files, oldest first."""
    if not os.path.isdir(folder):
        return []
    return sorted(f"{folder}/{name}" for name in os.listdir(folder) if name.endswith(".records"))


def archived_records(folder=FOLDER):
    """Returns the records in all records files, as received."""
    records = []
    for path in records_files(folder):
        with open(path, "rb") as file:
            records += read_run(file.read()).records
    return records


def stored(record):
    """Encodes a record in the layout of the older scanners."""
    time = datetime.datetime.fromisoformat(record.time)
    date = ((time.year - 2000) << 10 | time.month << 6 | time.day << 1 | (time.hour >= 12))
    clock = (time.hour % 12) << 12 | time.minute << 6 | time.second
    body = (bytes([record.symbology]) + record.data + date.to_bytes(2, "big")
            + clock.to_bytes(2, "big"))
    return bytes([len(body)]) + body
