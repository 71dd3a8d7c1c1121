"""Desktops for the typing tests. None of them needs a graphics card."""

import os
import re
import shutil
import signal
import subprocess
import tempfile

import gi

from harness.waiting import wait_until
from keyboards import (CAPS_LOCK, LEFT_SHIFT, EisKeyboard, MutterKeyboard, WaylandKeyboard,
                       X11Keyboard)

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402 # pylint: disable=wrong-import-position

HERE = os.path.dirname(os.path.abspath(__file__))
LED = "/sys/class/leds/input0::capslock"


class Desktop:
    """A display server with its own session bus, folders and processes."""

    name = ""
    is_x11 = False
    asks = False  # whether the portal asks the user for permission to type

    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix="desktop-")
        self._processes = []
        self.keyboard = None
        self.caps_lock = False
        self.has_caps_lock = True
        for name in ("runtime", "config", "state", "cache", "data"):
            os.makedirs(f"{self.folder}/{name}", mode=0o700)
        self.environment = {
            "PATH": os.environ["PATH"], "LANG": "C.UTF-8", "HOME": self.folder,
            "XDG_RUNTIME_DIR": f"{self.folder}/runtime", "XDG_CONFIG_HOME": f"{self.folder}/config",
            "XDG_STATE_HOME": f"{self.folder}/state", "XDG_CACHE_HOME": f"{self.folder}/cache",
            "XDG_DATA_HOME": f"{self.folder}/data", "PYTHONDONTWRITEBYTECODE": "1",
            "XDG_SESSION_TYPE": "x11" if self.is_x11 else "wayland",
            "LIBGL_ALWAYS_SOFTWARE": "1", "QT_QPA_PLATFORM": "xcb" if self.is_x11 else "wayland",
            "GDK_BACKEND": "x11" if self.is_x11 else "wayland", "GSK_RENDERER": "cairo",
            # The receivers do not need a portal.
            "GDK_DEBUG": "no-portals", "QT_NO_XDG_DESKTOP_PORTAL": "1",
            "QT_FORCE_STDERR_LOGGING": "1"}
        self._start_all()

    def _start_all(self):
        self._start_bus()
        try:
            self.start()
            self.set_layouts("us")
            if not self.is_x11:
                self.start_portal()
        except BaseException:
            self.stop()
            raise

    def restart(self):
        """Ends the session and starts a new one. Keeps the user's files."""
        self.stop()
        shutil.rmtree(f"{self.folder}/runtime")
        os.mkdir(f"{self.folder}/runtime", mode=0o700)
        self._start_all()

    def _start_bus(self):
        buses = {"DBUS_SESSION_BUS_ADDRESS": "bus", "DBUS_SYSTEM_BUS_ADDRESS": "system-bus"}
        for variable, name in buses.items():
            self.environment[variable] = f"unix:path={self.folder}/runtime/{name}"
        for variable, name in buses.items():
            self.run(name, "dbus-daemon", "--session", "--nofork", "--nopidfile",
                     f"--address={self.environment[variable]}")
            self.wait_for_file(f"{self.folder}/runtime/{name}")

    def bus(self):
        """Returns a new connection to the session bus."""
        flags = (Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
                 | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION)
        return Gio.DBusConnection.new_for_address_sync(
            self.environment["DBUS_SESSION_BUS_ADDRESS"], flags, None, None)

    def call(self, bus, name, path, interface, method, arguments=None):
        return bus.call_sync(name, path, interface, method, arguments, None, 0, 10_000,
                             None).unpack()

    def owns(self, name):
        """Returns whether a program owns a name on the session bus."""
        return self.call(self.bus(), "org.freedesktop.DBus", "/", "org.freedesktop.DBus",
                         "NameHasOwner", GLib.Variant("(s)", (name,)))[0]

    def run(self, name, *command, **popen):
        """Starts a program on the desktop. Saves its output in the desktop's folder."""
        with open(f"{self.folder}/{name}.log", "ab") as output:
            process = subprocess.Popen(command, env=self.environment, stdin=subprocess.DEVNULL,
                                       stdout=output, stderr=output, start_new_session=True,
                                       **popen)
        self._processes.append(process)
        return process

    def start_portal(self):
        """Starts the portal, which starts the desktop's backend. Call this after all environment
        variables of the session have been set."""
        variables = {name: value for name, value in self.environment.items()
                     if name not in ("GDK_DEBUG", "QT_NO_XDG_DESKTOP_PORTAL")}
        self.call(self.bus(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                  "org.freedesktop.DBus", "UpdateActivationEnvironment",
                  GLib.Variant("(a{ss})", (variables,)))
        self.run("portal", "/usr/libexec/xdg-desktop-portal", "--replace", "--verbose")
        wait_until(lambda: self.owns("org.freedesktop.portal.Desktop"), "the portal")

    def answer_dialog(self, *labels):
        """Starts a program that presses a button with one of these labels in the portal's next
        dialog."""
        return self.run("answer", "python3", f"{HERE}/answer.py", *labels)

    def wait_for_file(self, path):
        wait_until(lambda: os.path.exists(path), lambda: f"{path}")

    def end(self, process):
        """Ends a program started by run(), and its children."""
        if process in self._processes:
            self._processes.remove(process)
        for number in (signal.SIGTERM, signal.SIGKILL):
            try:
                os.killpg(process.pid, number)
                process.wait(3)
                return
            except ProcessLookupError:
                process.wait()
                return
            except subprocess.TimeoutExpired:
                pass

    def stop(self):
        for process in reversed(list(self._processes)):
            self.end(process)

    def start(self):
        """Starts the display server and the user's keyboard."""
        raise NotImplementedError

    def set_layouts(self, *layouts):
        """Sets the user's layouts, such as ("us", "de(neo)"), and selects the first."""
        raise NotImplementedError

    def set_group(self, group):
        """Selects the user's layout at the zero-based index `group`."""
        raise NotImplementedError

    def prepare_change(self, before, _after):
        """Selects the layout `before`, so that change_to can select the layout `after`."""
        self.set_layouts(before)

    def change_to(self, layout):
        """Changes the layout as the user would."""
        self.set_layouts(layout)

    def hold_shift(self, on):
        self.keyboard.key(LEFT_SHIFT, on)

    def press_caps_lock(self):
        """Presses Caps Lock, and sets its LED as a desktop does for a real keyboard."""
        self.press(CAPS_LOCK)
        self.caps_lock = self.has_caps_lock and not self.caps_lock
        os.makedirs(LED, exist_ok=True)
        with open(f"{LED}/brightness", "w", encoding="ascii") as file:
            file.write(f"{int(self.caps_lock)}\n")

    def press(self, code):
        """Presses and releases the key with this evdev code on the user's keyboard."""
        self.keyboard.key(code, True)
        self.keyboard.key(code, False)


def split(layout):
    """Splits "de(neo)" into "de" and "neo"."""
    return re.fullmatch(r"(\w+)(?:\(([^)]*)\))?", layout).groups("")


def _joined(layouts):
    names, variants = zip(*map(split, layouts))
    return ",".join(names), ",".join(variants)


class X11(Desktop):
    """Xvfb with a window manager."""

    name = "X11"
    is_x11 = True

    def start(self):
        reader, writer = os.pipe()
        self.run("xvfb", "Xvfb", "-displayfd", str(writer), "-screen", "0", "1024x768x24",
                 "-nolisten", "tcp", pass_fds=[writer])
        os.close(writer)
        with os.fdopen(reader) as number:
            self.environment["DISPLAY"] = ":" + number.readline().strip()
        self.run("openbox", "openbox")
        self.keyboard = X11Keyboard(self.environment["DISPLAY"])

    def set_layouts(self, *layouts):
        names, variants = _joined(layouts)
        subprocess.run(["setxkbmap", "-layout", names, "-variant", variants],
                       env=self.environment, check=True)
        self.set_group(0)

    def set_group(self, group):
        self.keyboard.lock_group(group)


class Ibus(X11):
    """X11 with the IBus input method."""

    name = "IBus"

    def start(self):
        super().start()
        self.environment.update(GTK_IM_MODULE="ibus", QT_IM_MODULE="ibus", XMODIFIERS="@im=ibus")
        self.run("ibus", "ibus-daemon", "--xim", "--panel=disable")
        wait_until(lambda: self.owns("org.freedesktop.portal.IBus") or self.owns(
            "org.freedesktop.IBus"), "IBus")


class Fcitx(X11):
    """X11 with the input method Fcitx."""

    name = "Fcitx"

    def start(self):
        super().start()
        self.environment.update(GTK_IM_MODULE="fcitx", QT_IM_MODULE="fcitx",
                                XMODIFIERS="@im=fcitx")
        self.run("fcitx", "fcitx5")
        wait_until(lambda: self.owns("org.fcitx.Fcitx5"), "Fcitx")


class Sway(Desktop):
    """sway, a compositor based on wlroots. The user types on a virtual keyboard."""

    name = "sway"

    def start(self):
        config = f"{self.folder}/sway.config"
        with open(config, "w", encoding="ascii") as file:
            file.write("output HEADLESS-1 resolution 1024x768\nxwayland force\n"
                       f"exec env >{self.folder}/sway.env\n")
        self.environment.update(WLR_BACKENDS="headless", WLR_LIBINPUT_NO_DEVICES="1",
                                WLR_RENDERER="pixman", XDG_CURRENT_DESKTOP="sway")
        self.run("sway", "sway", "-c", config)
        wait_until(lambda: "WAYLAND_DISPLAY=" in self._variables(), "sway")
        for name in ("WAYLAND_DISPLAY", "DISPLAY", "SWAYSOCK"):
            self.environment[name] = re.search(f"(?m)^{name}=(.*)$", self._variables()).group(1)
        self.keyboard = WaylandKeyboard(self.environment)

    def _variables(self):
        try:
            with open(f"{self.folder}/sway.env", encoding="utf-8") as file:
                return file.read()
        except FileNotFoundError:
            return ""

    def set_layouts(self, *layouts):
        self.keyboard.set_layout(*_joined(layouts))

    def set_group(self, group):
        self.keyboard.set_modifiers(group=group)

    def hold_shift(self, on):
        self.keyboard.key(LEFT_SHIFT, on)
        self.keyboard.set_modifiers(depressed=int(on))

    def press_caps_lock(self):
        super().press_caps_lock()
        self.keyboard.set_modifiers(locked=2 * self.caps_lock)


class Gnome(Desktop):
    """GNOME Shell on Mutter."""

    name = "Mutter"
    asks = True

    def start(self):
        self.environment.update(XDG_CURRENT_DESKTOP="GNOME", WAYLAND_DISPLAY="wayland-gnome",
                                GNOME_SHELL_SESSION_MODE="user")
        self._settings("set", "org.gnome.shell", "welcome-dialog-last-shown-version", "'99'")
        self._settings("set", "org.gnome.desktop.session", "idle-delay", "uint32 0")
        environment = self.environment.pop("WAYLAND_DISPLAY")
        self.run("shell", "gnome-shell", "--headless", "--virtual-monitor", "1024x768",
                 "--wayland-display", environment, "--unsafe-mode")
        self.environment["WAYLAND_DISPLAY"] = environment
        self.wait_for_file(f"{self.folder}/runtime/{environment}")
        wait_until(lambda: self.owns("org.gnome.Shell"), "GNOME Shell")
        wait_until(lambda: self.evaluate("Main.layoutManager._startingUp") == "false", "the start")
        self.evaluate("Main.overview.hide()")
        for name in ("DISPLAY", "XAUTHORITY"):
            self.environment[name] = self.evaluate(f"GLib.getenv('{name}')").strip('"')
        self.keyboard = MutterKeyboard(self.bus())

    def _settings(self, *arguments):
        return subprocess.run(["gsettings", *arguments], env=self.environment, check=True,
                              capture_output=True, text=True).stdout

    def evaluate(self, script):
        """Runs JavaScript in GNOME Shell. Returns its result as JSON, or "" if it fails."""
        try:
            done, value = self.call(self.bus(), "org.gnome.Shell", "/org/gnome/Shell",
                                    "org.gnome.Shell", "Eval", GLib.Variant("(s)", (script,)))
        except GLib.Error:
            return ""
        return value if done else ""

    def set_layouts(self, *layouts):
        sources = ", ".join(f"('xkb', '{'+'.join(filter(None, split(layout)))}')"
                            for layout in layouts)
        self._settings("set", "org.gnome.desktop.input-sources", "sources", f"[{sources}]")
        manager = "Main.panel.statusArea.keyboard._inputSourceManager"
        wait_until(lambda: self.evaluate(f"Object.keys({manager}.inputSources).length")
                   == str(len(layouts)), "the layouts")
        self.set_group(0)

    def set_group(self, group):
        manager = "Main.panel.statusArea.keyboard._inputSourceManager"
        self.evaluate(f"{manager}.inputSources[{group}].activate(true)")
        wait_until(lambda: self.evaluate(f"{manager}.currentSource.index") == str(group),
                   "the layout")

    def prepare_change(self, before, after):
        self.set_layouts(before, after)

    def change_to(self, _layout):
        self.set_group(1)


class Kwin(Desktop):
    """KWin without the Plasma shell."""

    name = "KWin"
    asks = True

    def start(self):
        self.environment.update(XDG_CURRENT_DESKTOP="KDE")
        self._write_layouts("us")
        # Without PipeWire, KWin does not support screen casts, and KDE's portal refuses all sessions.
        self.run("pipewire", "pipewire")
        wait_until(lambda: os.path.exists(f"{self.folder}/runtime/pipewire-0"), "PipeWire")
        self.run("kwin", "env", "--unset=QT_QPA_PLATFORM", "KWIN_WAYLAND_NO_PERMISSION_CHECKS=1", "kwin_wayland", "--virtual", "--width", "1024", "--height", "768",
                 "--xwayland", "--no-lockscreen", "--socket", "wayland-kwin",
                 "--exit-with-session", f"sh -c 'env >{self.folder}/kwin.env; exec sleep infinity'")
        self.environment["WAYLAND_DISPLAY"] = "wayland-kwin"
        self.wait_for_file(f"{self.folder}/runtime/wayland-kwin")
        wait_until(lambda: self.owns("org.kde.KWin"), "KWin")
        wait_until(lambda: "DISPLAY=" in self._variables(), "KWin's Xwayland")
        self.environment["DISPLAY"] = re.search("(?m)^DISPLAY=(.*)$", self._variables()).group(1)
        self.keyboard = EisKeyboard(self.bus())

    def _variables(self):
        try:
            with open(f"{self.folder}/kwin.env", encoding="utf-8") as file:
                return file.read()
        except FileNotFoundError:
            return ""

    def start_portal(self):
        super().start_portal()
        # Grants the permission in advance, because the dialog of KDE's portal needs Plasma.
        self.call(self.bus(), "org.freedesktop.impl.portal.PermissionStore",
                  "/org/freedesktop/impl/portal/PermissionStore",
                  "org.freedesktop.impl.portal.PermissionStore", "SetPermission",
                  GLib.Variant("(sbssas)", ("kde-authorized", True, "remote-desktop", "", ["yes"])))

    def _write_layouts(self, *layouts):
        names, variants = _joined(layouts)
        with open(f"{self.folder}/config/kxkbrc", "w", encoding="ascii") as file:
            file.write(f"[Layout]\nUse=true\nLayoutList={names}\nVariantList={variants}\n")

    def set_layouts(self, *layouts):
        self._write_layouts(*layouts)
        bus = self.bus()
        bus.emit_signal(None, "/Layouts", "org.kde.keyboard", "reloadConfig", None)
        bus.flush_sync(None)
        wait_until(lambda: self._layouts() == [split(layout)[0] for layout in layouts],
                   "the layouts")
        self.keyboard.settle()
        self.set_group(0)

    def _layouts(self):
        found, = self.call(self.bus(), "org.kde.keyboard", "/Layouts", "org.kde.KeyboardLayouts",
                           "getLayoutsList")
        return [name for name, *_more in found]

    def set_group(self, group):
        self.call(self.bus(), "org.kde.keyboard", "/Layouts", "org.kde.KeyboardLayouts",
                  "setLayout", GLib.Variant("(u)", (group,)))

    def prepare_change(self, before, after):
        self.set_layouts(before, after)

    def change_to(self, _layout):
        self.set_group(1)
