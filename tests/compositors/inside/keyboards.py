"""Simulates the user's keyboard, with one class for each kind of desktop. Keys are evdev codes."""

import array
import ctypes
import os
import socket
import struct
import subprocess
import threading
import time

LEFT_SHIFT = 42
SPACE_BAR = 57
CAPS_LOCK = 58


def _milliseconds():
    return int(time.monotonic() * 1000) & 0xFFFFFFFF


class WaylandKeyboard:
    """A keyboard on a compositor that supports zwp_virtual_keyboard_manager_v1. Implements only the
    required part of the Wayland wire protocol."""

    _REGISTRY, _SYNC, _SEAT, _MANAGER, _KEYBOARD = 2, 3, 4, 5, 6

    def __init__(self, environment):
        path = os.path.join(environment["XDG_RUNTIME_DIR"], environment["WAYLAND_DISPLAY"])
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self._socket.connect(path)
        self._send(1, 1, struct.pack("<I", self._REGISTRY))  # wl_display.get_registry
        self._send(1, 0, struct.pack("<I", self._SYNC))  # wl_display.sync
        globals_ = self._read_globals()
        self._bind(globals_["wl_seat"], b"wl_seat", self._SEAT)
        self._bind(globals_["zwp_virtual_keyboard_manager_v1"],
                   b"zwp_virtual_keyboard_manager_v1", self._MANAGER)
        self._send(self._MANAGER, 0, struct.pack("<II", self._SEAT, self._KEYBOARD))
        threading.Thread(target=self._drain, daemon=True).start()

    def _send(self, target, opcode, body, descriptor=None):
        message = struct.pack("<IHH", target, opcode, 8 + len(body)) + body
        rights = []
        if descriptor is not None:
            rights = [(socket.SOL_SOCKET, socket.SCM_RIGHTS, array.array("i", [descriptor]))]
        self._socket.sendmsg([message], rights)

    def _read_globals(self):
        found = {}
        data = b""
        while True:
            data += self._socket.recv(65536)
            while len(data) >= 8:
                target, opcode, size = struct.unpack_from("<IHH", data)
                if len(data) < size:
                    break
                body, data = data[8:size], data[size:]
                if target == self._SYNC:
                    return found
                if target == self._REGISTRY and opcode == 0:
                    name, length = struct.unpack_from("<II", body)
                    found[body[8:8 + length - 1].decode()] = name
        raise AssertionError("unreachable")

    def _bind(self, name, interface, new):
        text = interface + b"\0"
        text += bytes(-len(text) % 4)
        self._send(self._REGISTRY, 0, struct.pack("<II", name, len(interface) + 1) + text
                   + struct.pack("<II", 1, new))

    def _drain(self):
        while self._socket.recv(65536):
            pass

    def set_layout(self, layout, variant):
        keymap = subprocess.run(["xkbcli", "compile-keymap", "--layout", layout, "--variant",
                                 variant], capture_output=True, check=True).stdout + b"\0"
        descriptor = os.memfd_create("keymap")
        os.write(descriptor, keymap)
        self._send(self._KEYBOARD, 0, struct.pack("<II", 1, len(keymap)), descriptor)
        os.close(descriptor)
        self.set_modifiers()

    def set_modifiers(self, depressed=0, locked=0, group=0):
        self._send(self._KEYBOARD, 2, struct.pack("<IIII", depressed, 0, locked, group))

    def key(self, code, down):
        self._send(self._KEYBOARD, 1, struct.pack("<III", _milliseconds(), code, down))


class MutterKeyboard:
    """A keyboard of a Mutter remote desktop session."""

    _NAME = "org.gnome.Mutter.RemoteDesktop"

    def __init__(self, bus):
        self._bus = bus
        path, = self._call("/org/gnome/Mutter/RemoteDesktop", self._NAME, "CreateSession")
        self._path = path
        self._session("Start")
        # Mutter creates the keyboard when the first key is pressed.
        self.key(LEFT_SHIFT, True)
        self.key(LEFT_SHIFT, False)

    def _call(self, path, interface, method, arguments=None):
        return self._bus.call_sync(self._NAME, path, interface, method, arguments, None, 0,
                                   10_000, None).unpack()

    def _session(self, method, arguments=None):
        self._call(self._path, self._NAME + ".Session", method, arguments)

    def key(self, code, down):
        from gi.repository import GLib
        self._session("NotifyKeyboardKeycode", GLib.Variant("(ub)", (code, down)))


class EisKeyboard:
    """A keyboard of KWin's emulated input server, used through libei."""

    _SENDER_CAPABILITY = 4  # EI_DEVICE_CAP_KEYBOARD
    _SEAT_ADDED, _DEVICE_REMOVED, _DEVICE_RESUMED = 3, 6, 8  # enum ei_event_type
    _SETTLING = 0.1  # seconds without events after which the keyboard is ready

    def __init__(self, bus):
        from gi.repository import GLib
        reply, descriptors = bus.call_with_unix_fd_list_sync(
            "org.kde.KWin", "/org/kde/KWin/EIS/RemoteDesktop", "org.kde.KWin.EIS.RemoteDesktop",
            "connectToEIS", GLib.Variant("(i)", (1,)), None, 0, 10_000, None, None)
        self._bus = bus  # KWin removes the keyboard when its creator leaves the bus
        self._lib = lib = ctypes.CDLL("libei.so.1")
        for name in ("ei_new_sender", "ei_get_event", "ei_event_get_seat", "ei_event_get_device",
                     "ei_device_ref"):
            getattr(lib, name).restype = ctypes.c_void_p
        lib.ei_now.restype = ctypes.c_uint64
        self._ei = ctypes.c_void_p(lib.ei_new_sender(None))
        lib.ei_setup_backend_fd(self._ei, descriptors.get(reply.unpack()[0]))
        self._device = None
        self.settle()

    def settle(self):
        """Waits until the keyboard is ready. KWin replaces it when the layouts change."""
        ready = end = time.monotonic() + 10
        while time.monotonic() < min(end, ready + self._SETTLING):
            if self._dispatch():
                ready = time.monotonic() if self._device else end
            time.sleep(0.01)
        assert self._device is not None, "KWin offers no keyboard"

    def _dispatch(self):
        lib = self._lib
        lib.ei_dispatch(self._ei)
        has_changed = False
        while event := lib.ei_get_event(self._ei):
            event = ctypes.c_void_p(event)
            kind = lib.ei_event_get_type(event)
            if kind == self._SEAT_ADDED:
                seat = ctypes.c_void_p(lib.ei_event_get_seat(event))
                lib.ei_seat_bind_capabilities(seat, self._SENDER_CAPABILITY, None)
            elif kind == self._DEVICE_REMOVED:
                has_changed = True
                self._device = None
            elif kind == self._DEVICE_RESUMED:
                has_changed = True
                device = ctypes.c_void_p(lib.ei_event_get_device(event))
                if lib.ei_device_has_capability(device, self._SENDER_CAPABILITY):
                    self._device = ctypes.c_void_p(lib.ei_device_ref(device))
                    lib.ei_device_start_emulating(self._device, 1)
            lib.ei_event_unref(event)
        return has_changed

    def key(self, code, down):
        self._dispatch()
        self._lib.ei_device_keyboard_key(self._device, code, down)
        self._lib.ei_device_frame(self._device, ctypes.c_uint64(self._lib.ei_now(self._ei)))
        self._dispatch()


class X11Keyboard:
    """The X server's physical keyboard. XTEST uses a different device."""

    def __init__(self, display):
        self._x = ctypes.CDLL("libX11.so.6")
        self._xi = ctypes.CDLL("libXi.so.6")
        self._test = ctypes.CDLL("libXtst.so.6")
        self._x.XOpenDisplay.restype = ctypes.c_void_p
        self._xi.XOpenDevice.restype = ctypes.c_void_p
        self._display = ctypes.c_void_p(self._x.XOpenDisplay(display.encode()))
        assert self._display, f"no X server at {display}"
        number = subprocess.run(["xinput", "list", "--id-only", "keyboard:Xvfb keyboard"],
                                capture_output=True, check=True, text=True,
                                env={**os.environ, "DISPLAY": display}).stdout
        self._device = ctypes.c_void_p(self._xi.XOpenDevice(self._display,
                                                            ctypes.c_ulong(int(number))))

    def key(self, code, down):
        self._test.XTestFakeDeviceKeyEvent(self._display, self._device, ctypes.c_uint(code + 8),
                                           int(down), None, 0, ctypes.c_ulong(0))
        self._x.XSync(self._display, 0)

    def lock_group(self, group):
        self._x.XkbLockGroup(self._display, 0x100, ctypes.c_uint(group))  # XkbUseCoreKbd
        self._x.XSync(self._display, 0)
