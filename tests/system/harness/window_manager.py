"""Sends window manager requests that xdotool does not support."""

import ctypes

_SUBSTRUCTURE = 1 << 19 | 1 << 20  # SubstructureNotifyMask | SubstructureRedirectMask
_CLIENT_MESSAGE = 33


class _ClientMessage(ctypes.Structure):
    """Xlib's XClientMessageEvent, padded to the size of XEvent."""

    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int),
                ("display", ctypes.c_void_p), ("window", ctypes.c_ulong),
                ("message_type", ctypes.c_ulong), ("format", ctypes.c_int),
                ("data", ctypes.c_long * 5), ("padding", ctypes.c_long * 24)]


def close_window(display_name, window):
    """Asks the window manager to close a window, as the window's close button does."""
    x11 = ctypes.CDLL("libX11.so.6")
    x11.XOpenDisplay.restype = ctypes.c_void_p
    x11.XDefaultRootWindow.argtypes = [ctypes.c_void_p]
    x11.XDefaultRootWindow.restype = ctypes.c_ulong
    x11.XInternAtom.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int]
    x11.XInternAtom.restype = ctypes.c_ulong
    x11.XSendEvent.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int, ctypes.c_long,
                               ctypes.c_void_p]
    x11.XCloseDisplay.argtypes = [ctypes.c_void_p]

    display = x11.XOpenDisplay(display_name.encode())
    if not display:
        raise AssertionError(f"cannot open display {display_name}")
    message = _ClientMessage(type=_CLIENT_MESSAGE, window=window, format=32,
                             message_type=x11.XInternAtom(display, b"_NET_CLOSE_WINDOW", 0))
    x11.XSendEvent(display, x11.XDefaultRootWindow(display), 0, _SUBSTRUCTURE,
                   ctypes.byref(message))
    x11.XCloseDisplay(display)  # also sends the pending request
