#!/usr/bin/python3
"""A window with a text field: text_window.py [FILE [SECONDS] | --palette]

Writes the text to FILE (default: this program's path plus ".text") after each change. Appends its
process ID to FILE.starts (default: this program's path plus ".starts"). With SECONDS, waits that
long before handling each paste key. With --palette, also opens a second window, which stays on top of
all windows. Writes the text of its field to this program's path plus ".palette".
"""

import os
import sys
import time
import tkinter

own = os.path.abspath(sys.argv[0])
has_palette = sys.argv[1:] == ["--palette"]
path = sys.argv[1] if len(sys.argv) > 1 and not has_palette else own + ".text"
delay = float(sys.argv[2]) if len(sys.argv) > 2 else 0
with open((own if path == own + ".text" else path) + ".starts", "a", encoding="ascii") as starts:
    starts.write(f"{os.getpid()}\n")


def add_field(window, file_path):
    field = tkinter.Text(window, undo=False)
    field.pack(fill="both", expand=True)
    field.focus_set()

    def save():
        if field.edit_modified():
            with open(file_path + ".new", "w", encoding="utf-8", newline="") as file:
                file.write(field.get("1.0", "end-1c"))
            os.replace(file_path + ".new", file_path)
            field.edit_modified(False)

    field.bind("<<Modified>>", lambda _event: root.after_idle(save))
    field.bind("<<Paste>>", lambda _event: time.sleep(delay))
    with open(file_path, "w", encoding="ascii"):
        pass


root = tkinter.Tk(className="Textwindow")
root.title("text window")
if has_palette:
    palette = tkinter.Toplevel(root)
    palette.title("palette")
    palette.attributes("-type", "utility", "-topmost", True)
    add_field(palette, own + ".palette")
add_field(root, path)
root.mainloop()
