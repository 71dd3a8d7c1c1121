#!/usr/bin/python3
"""A Qt 6 window with a text field: qt_field.py FILE

Writes the text to FILE at the start and after each change.
"""

import sys

from PyQt6.QtCore import QTimer
from PyQt6.QtWidgets import QApplication, QPlainTextEdit

from saved_text import SavedText

application = QApplication([])
field = QPlainTextEdit()
field.setWindowTitle("receiver")
field.resize(800, 600)
saved = SavedText(sys.argv[1])
saved.schedule = lambda: QTimer.singleShot(0, lambda: saved.write(field.toPlainText()))
field.textChanged.connect(saved.changed)
saved.write("")
field.show()
field.activateWindow()
application.exec()
