"""Creates the program's settings file, and defines the path of its data folder."""

import dataclasses
import os

FOLDER = "/Users/Shared/QuilletData"
PATH = f"{FOLDER}/QuilletRegistry.txt"
OUTPUT = f"{FOLDER}/out.txt"  # the output file in many tests
SIZE = 1023

_APPLICATION_POSITION = 256
_FILE_POSITION = 384


@dataclasses.dataclass
class Settings:
    """The settings, in the order of the settings file. The defaults are those of a new settings
    file."""

    attach_serial: int = 1
    attach_timestamp: int = 1
    attach_type: int = 1
    data_delimiter: int = 3
    record_delimiter: int = 4
    sync_clock: int = 1
    clear_memory: int = 0
    destination: int = 0
    burst_sync: int = 1
    auto_sync: int = 0
    append_data: int = 0
    serial_position: int = 1
    data_order: int = 0
    non_english: int = 0
    application: str = "/Applications/TextEdit"
    filename: str = f"{FOLDER}/sn_timestamp.txt"

    def text(self):
        """Returns the text of the settings file."""
        *choices, application, filename = dataclasses.astuple(self)
        text = "".join(map(str, choices)).ljust(_APPLICATION_POSITION, "0")
        text = (text + application + "\r").ljust(_FILE_POSITION, "0")
        return (text + filename + "\r").ljust(SIZE, "0")

    def save(self):
        os.makedirs(FOLDER, exist_ok=True)
        with open(PATH, "w", encoding="ascii", newline="") as file:
            file.write(self.text())
