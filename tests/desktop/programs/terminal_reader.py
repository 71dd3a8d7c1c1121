"""Writes everything that is typed into its terminal to a file: terminal_reader.py FILE

The terminal translates Return to a line feed. All other bytes are unchanged, and control characters
have no effect. FILE.time contains the time of the last read.
"""

import os
import select
import sys
import termios
import time

path = sys.argv[1]
settings = termios.tcgetattr(0)
settings[0] &= ~(termios.IXON | termios.IXOFF)
settings[3] &= ~(termios.ICANON | termios.ECHO | termios.ISIG | termios.IEXTEN)
settings[6][termios.VMIN] = 1
settings[6][termios.VTIME] = 0
termios.tcsetattr(0, termios.TCSANOW, settings)
with open(path, "wb", buffering=0) as file:
    last = None
    while True:
        # The time is written only during pauses, so that reading is not slowed down.
        if last is not None and not select.select([0], [], [], 0.1)[0]:
            with open(path + ".new", "w", encoding="ascii") as times:
                times.write(f"{last}\n")
            os.replace(path + ".new", path + ".time")
            last = None
        data = os.read(0, 65536)
        if not data:
            break
        file.write(data)
        last = time.monotonic()
