"""Saves the text of a receiver to a file."""

import os


class SavedText:
    """Writes the text when the toolkit is idle: `schedule` asks the toolkit to call write()."""

    def __init__(self, path):
        self._path = path
        self._pending = False
        self.schedule = None

    def changed(self):
        if not self._pending:
            self._pending = True
            self.schedule()

    def write(self, text):
        self._pending = False
        with open(self._path + ".new", "w", encoding="utf-8", newline="") as file:
            file.write(text)
        os.replace(self._path + ".new", self._path)
