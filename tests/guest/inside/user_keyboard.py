"""Creates a virtual keyboard that desktops treat like a physical keyboard:

    user_keyboard.py [caps-lock]

Run as root. Prints "ready" when desktops can use the keyboard. With "caps-lock", presses and
releases Caps Lock first. The keyboard exists until this program ends.
"""

import signal
import sys
import time

from evdev import UInput, ecodes

_TIME_TO_OPEN = 3  # seconds that udev and the desktop need to open a new keyboard

# udev treats a device as a keyboard only if it has all keys from KEY_ESC (1) to KEY_S (31).
keys = range(ecodes.KEY_ESC, ecodes.KEY_POWER)
with UInput({ecodes.EV_KEY: keys, ecodes.EV_LED: [ecodes.LED_CAPSL]},
            name="User's keyboard") as keyboard:
    time.sleep(_TIME_TO_OPEN)
    for value in (1, 0) if "caps-lock" in sys.argv else ():
        keyboard.write(ecodes.EV_KEY, ecodes.KEY_CAPSLOCK, value)
        keyboard.syn()
    print("ready", flush=True)
    signal.pause()
