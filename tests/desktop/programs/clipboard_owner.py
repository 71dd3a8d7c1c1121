#!/usr/bin/python3
"""Owns the clipboard until it is killed: clipboard_owner.py TEXT

With --manager instead of TEXT, acts as a clipboard manager (freedesktop.org, ClipboardManager).
When a program requests SAVE_TARGETS, copies that program's text and becomes the owner.
"""

import sys
import tkinter

root = tkinter.Tk()
root.withdraw()


def own(text):
    root.clipboard_clear()
    root.clipboard_append(text)


def save(_offset, _length):
    own(root.selection_get(selection="CLIPBOARD", type="UTF8_STRING"))
    return ""


if sys.argv[1:] == ["--manager"]:
    root.selection_handle(save, selection="CLIPBOARD_MANAGER", type="SAVE_TARGETS")
    root.selection_own(selection="CLIPBOARD_MANAGER")
else:
    own(sys.argv[1])
root.update()
print("ready", flush=True)
root.mainloop()
