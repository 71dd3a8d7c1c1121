"""Delivers records from a simulated USB scanner to a terminal: desktop.py KIND

Runs in a desktop session in the guest. desktop-session lists the values of KIND.
"""

import glob
import os
import subprocess
import sys
import threading
import time

import evdev

from harness.scanner import Record
from harness.settings import Settings
from harness.system_log import SystemLog
from harness.waiting import wait_until

KIND = sys.argv[1]
HERE = os.path.dirname(os.path.abspath(__file__))
TYPED = "/tmp/typed"
LOG = "/tmp/log.socket"
PRINTABLE = "".join(map(chr, range(0x20, 0x7F)))
TYPED_RECORDS = [PRINTABLE, "tab\tand\ttab",
                 *(f"{number:04d} Tavo-4006381333931 {PRINTABLE[:60]}" for number in range(20))]
PASTED_RECORDS = [f"Größe {number} € – 条码 {number * 37}" for number in range(20)]
RECORDS = PASTED_RECORDS if KIND == "paste" else TYPED_RECORDS
TEXT = "".join(record + "\n" for record in RECORDS)
REFUSAL = ("Quillet cannot type on this desktop: /dev/uinput: Permission denied. Install the "
           "udev rule 70-quillet-uinput.rules.")
FINISHED = "-[SyncController SynchronizeFinished]"
THROUGH_COMPOSITOR = "Typing through the compositor's virtual keyboard"
THROUGH_UINPUT = "Typing through /dev/uinput"
WAY = THROUGH_COMPOSITOR if KIND in ("sway", "caps", "paste") else THROUGH_UINPUT
CAPS_LOCK = KIND in ("caps", "weston-caps")
QUILLET_KEYBOARD = "Quillet keyboard"


def as_root(*command):
    subprocess.run([*([] if os.getuid() == 0 else ["sudo"]), *command], check=True)


class Log(SystemLog):
    """The system log, with lines from the program and from sudo."""

    def lines(self):
        return [datagram.decode("utf-8", "replace").split("]: ", 1)[-1]
                for datagram in self.datagrams()]

    def failures(self):
        return [line for line in self.lines() if line.startswith("Cannot type")]


def start(name, *command):
    with open(f"/tmp/{name}.out", "w", encoding="ascii") as output:
        return subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output, stderr=output)


def start_scanner():
    with open("/tmp/records.csv", "w", encoding="ascii") as table:
        table.writelines(Record(6, record.encode(), "2026-11-16 09:15:00").table_line()
                         for record in RECORDS)
    as_root("bash", f"{HERE}/usb-scanner", "create")
    # The simulator starts before the scanner is plugged in. Until the simulator opens its end of
    # the line, the terminal echoes the program's commands.
    start("simulator", f"{HERE}/tavo-simulator", "--csv", "/tmp/records.csv", "--device",
          "/dev/ttyGS0", "--speed", "unlimited")


def start_user_keyboard():
    """Creates the user's keyboard, with Caps Lock on if the test case requires it."""
    start("keyboard", "sudo", "python3", f"{HERE}/user_keyboard.py", *["caps-lock"] * CAPS_LOCK)
    wait_until(lambda: os.path.getsize("/tmp/keyboard.out"), "the keyboard")
    if CAPS_LOCK:
        wait_until(lambda: caps_lock_is_lit("User's keyboard"), "the Caps Lock LED")


class Terminal:
    def __init__(self):
        reader = ["python3", f"{HERE}/terminal_reader.py", TYPED]
        # By default, foot does not paste with Ctrl+V.
        start("terminal", "foot", "--override=key-bindings.clipboard-paste=Control+v", *reader)
        wait_until(lambda: os.path.exists(TYPED), "the terminal")
        # Wayland provides no way to wait until another program has focus.
        time.sleep(3)

    @staticmethod
    def text():
        with open(TYPED, encoding="utf-8", errors="replace", newline="") as file:
            return file.read()


class Events:
    """Reads the virtual keyboard's events. Pauses several times to imitate a busy desktop."""

    _PAUSE = 0.3  # seconds
    _PAUSES = 3

    _KEYS = {"MINUS": "-_", "EQUAL": "=+", "LEFTBRACE": "[{", "RIGHTBRACE": "]}",
             "BACKSLASH": "\\|", "SEMICOLON": ";:", "APOSTROPHE": "'\"", "COMMA": ",<", "DOT": ".>",
             "SLASH": "/?", "GRAVE": "`~", "SPACE": "  ", "ENTER": "\n\n", "TAB": "\t\t",
             **{pair[0]: pair for pair in "1! 2@ 3# 4$ 5% 6^ 7& 8* 9( 0)".split()}}

    def __init__(self):
        self._text = ""
        self._paused = 0
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        keyboard = None
        while keyboard is None:
            found = [device for device in map(evdev.InputDevice, evdev.list_devices())
                     if device.name == QUILLET_KEYBOARD]
            keyboard = found[0] if found else None
        shift = False
        for event in keyboard.read_loop():
            if len(self._text) >= (self._paused + 1) * len(TEXT) // (self._PAUSES + 1) \
                    and self._paused < self._PAUSES:
                self._paused += 1
                time.sleep(self._PAUSE)
            if event.type == evdev.ecodes.EV_SYN and event.code == evdev.ecodes.SYN_DROPPED:
                self._text += "(dropped)"
            if event.type != evdev.ecodes.EV_KEY:
                continue
            name = evdev.ecodes.KEY[event.code].removeprefix("KEY_")
            if name == "LEFTSHIFT":
                shift = event.value == 1
            elif event.value == 1:
                plain, shifted = self._KEYS.get(name, (name.lower(), name))
                self._text += shifted if shift else plain

    def text(self):
        return self._text


def caps_lock_is_lit(keyboard):
    """Returns whether the Caps Lock LED of a keyboard is on."""
    for light in glob.glob("/sys/class/leds/*::capslock"):
        with open(f"{light}/device/name", encoding="ascii") as name, \
                open(f"{light}/brightness", encoding="ascii") as brightness:
            if name.read() == keyboard + "\n":
                return brightness.read() != "0\n"
    raise AssertionError(f"{keyboard} has no Caps Lock LED")


def main():
    log = Log(LOG)
    as_root("ln", "-sf", LOG, "/dev/log")
    # Each line consists of the data and LF. The program synchronizes right after connecting.
    Settings(attach_serial=0, attach_timestamp=0, attach_type=0, data_delimiter=0,
             record_delimiter=1, destination=2, auto_sync=1, non_english=int(KIND == "paste")).save()
    start_scanner()
    if KIND != "events":
        start_user_keyboard()
    program = start("quillet", f"{HERE}/quillet")
    wait_until(lambda: "-[SyncController ConnectThread]" in log.lines(), "the program's start")
    time.sleep(2)
    window = Events() if KIND == "events" else Terminal()
    began = time.monotonic()
    as_root("bash", f"{HERE}/usb-scanner", "plug")
    wait_until(lambda: FINISHED in log.lines(),
               lambda: "the end of the run\n" + "\n".join(log.lines()[-20:]), 120)
    print(f"the run ended {time.monotonic() - began:.1f} s after plugging in")
    if KIND == "refused":
        assert log.lines().count(REFUSAL) == 1, log.lines()
        assert window.text() == "", window.text()
    else:
        wait_until(lambda: window.text() == TEXT,
                   lambda: f"{len(TEXT)} characters, got {len(window.text())}:\n{window.text()}\n"
                   + "\n".join(log.failures()))
        assert not log.failures(), log.failures()
        print(f"received {len(TEXT)} characters without errors")
        if WAY == THROUGH_UINPUT:
            assert caps_lock_is_lit(QUILLET_KEYBOARD) == CAPS_LOCK
    assert log.lines().count(WAY) == 1, log.lines()
    assert program.poll() is None, "the program ended"
    with open("/tmp/quillet.out", encoding="utf-8", errors="replace") as output:
        print("the program's standard streams:", repr(output.read()))


main()
sys.stdout.flush()
os._exit(0)
