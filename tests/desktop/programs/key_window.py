#!/usr/bin/python3
"""A plain Xlib client: key_window.py FILE

Opens a window and writes the characters of each key press, as translated by XLookupString(3), to
FILE. It reads the keymap again after each MappingNotify event, as XRefreshKeyboardMapping(3)
requires. Return is written as a line feed.
"""

import ctypes
import sys

KEY_PRESS, MAPPING_NOTIFY = 2, 34
KEY_PRESS_MASK = 1

xlib = ctypes.CDLL("libX11.so.6")
for name in ("XOpenDisplay", "XCreateSimpleWindow", "XDefaultRootWindow"):
    getattr(xlib, name).restype = ctypes.c_void_p
display = ctypes.c_void_p(xlib.XOpenDisplay(None))
root = ctypes.c_ulong(xlib.XDefaultRootWindow(display))
window = ctypes.c_ulong(xlib.XCreateSimpleWindow(display, root, 0, 0, 200, 100, 0,
                                                 ctypes.c_ulong(0), ctypes.c_ulong(0)))
xlib.XStoreName(display, window, b"key window")
xlib.XSelectInput(display, window, ctypes.c_long(KEY_PRESS_MASK))
xlib.XMapWindow(display, window)
event = (ctypes.c_long * 24)()
characters = ctypes.create_string_buffer(32)
with open(sys.argv[1], "wb", buffering=0) as file:
    while True:
        xlib.XNextEvent(display, ctypes.byref(event))
        kind = ctypes.cast(event, ctypes.POINTER(ctypes.c_int))[0]
        if kind == MAPPING_NOTIFY:
            xlib.XRefreshKeyboardMapping(ctypes.byref(event))
        elif kind == KEY_PRESS:
            count = xlib.XLookupString(ctypes.byref(event), characters, len(characters), None, None)
            file.write(characters.raw[:count].replace(b"\r", b"\n"))
