#!/usr/bin/python3
"""A window that is one text field of Tk's: text_window.py [FILE]

Writes the field's whole text into FILE whenever it has changed. FILE is else named as the program
is, with ".text" behind it, and its number goes into a file with ".starts".
"""

import os
import sys
import tkinter

own = os.path.abspath(sys.argv[0])
path = sys.argv[1] if len(sys.argv) > 1 else own + ".text"
with open(own + ".starts" if len(sys.argv) == 1 else path + ".starts", "a",
          encoding="ascii") as starts:
    starts.write(f"{os.getpid()}\n")

root = tkinter.Tk(className="Textwindow")
root.title("text window")
field = tkinter.Text(root, undo=False)
field.pack(fill="both", expand=True)
field.focus_set()


def save(_event=None):
    if field.edit_modified():
        with open(path + ".new", "w", encoding="utf-8", newline="") as file:
            file.write(field.get("1.0", "end-1c"))
        os.replace(path + ".new", path)
        field.edit_modified(False)


field.bind("<<Modified>>", lambda _event: root.after_idle(save))
with open(path, "w", encoding="ascii"):
    pass
root.mainloop()
