#!/usr/bin/python3
"""Evaluates the scanner's udev rule for mocked USB devices: umockdev-wrapper scanner_rule.py RULES

Checks which ports the logged-in user may open and which ones modem managers ignore. Checks the rule
as packaged and with its optional lines enabled. Needs namespaces, to put the rules into
/run/udev/rules.d.
"""

import pathlib
import shutil
import subprocess
import sys
import tempfile

import gi

gi.require_version("UMockdev", "1.0")
from gi.repository import UMockdev  # noqa: E402

SKIPPED = 77
CDC_ACM = [(2, 2, 0), (10, 0, 0)]  # class, subclass and protocol of the interfaces
CDC_ACM_AT = [(2, 2, 1), (10, 0, 0)]
NETWORK = [(2, 6, 0), (10, 0, 0)]

# Model, manufacturer, interfaces, whether the rule matches as packaged, and whether it matches with
# the optional lines.
DEVICES = [
    ("Tavo", "Somebody", CDC_ACM, True, True),
    ("Tavo Scanner", "Somebody", CDC_ACM, True, True),
    ("Tavo-300", "Somebody", CDC_ACM, True, True),
    ("Tavo300", "Somebody", CDC_ACM + NETWORK, True, True),
    ("Serial Thing", "Tavo", CDC_ACM, True, True),
    ("Serial Thing", "Tavo Inc.", CDC_ACM, True, True),
    ("Serial Thing", "Somebody", CDC_ACM, False, True),
    ("Serial Thing", "Somebody", CDC_ACM_AT, False, True),
    ("OcTavo Board", "McTavo", CDC_ACM_AT, False, True),
    ("My Tavo", "The Tavo", CDC_ACM, False, True),
    ("Tavola", "Tavolo", CDC_ACM, False, True),
    ("tavo", "TAVO", CDC_ACM, False, True),
    ("Serial Thing", "Somebody", CDC_ACM + CDC_ACM, False, False),
    ("Serial Thing", "Somebody", CDC_ACM + NETWORK, False, False),
    ("Serial Thing", "Somebody", [(255, 0, 0)], False, False),
]


def skip(reason):
    """Ends the test with the output that scripts/skipped expects."""
    print(f"... skipped '{reason}'")
    sys.exit(SKIPPED)


def descriptors(interfaces):
    """Returns the contents of a device's "descriptors" file in hexadecimal."""
    device = bytes([18, 1, 0, 2, 0, 0, 0, 64, 9, 18, 1, 0, 0, 1, 1, 2, 3, 1])
    endpoint = bytes([7, 5, 0x81, 3, 8, 0, 255])
    parts = b"".join(bytes([9, 4, number, 0, 1, *kind, 0]) + endpoint
                     for number, kind in enumerate(interfaces))
    length = 9 + len(parts)
    configuration = bytes([9, 2, length & 255, length >> 8, len(interfaces), 1, 0, 0x80, 50])
    return (device + configuration + parts).hex()


def plug_in(testbed, model, maker, interfaces):
    """Adds a device with a terminal. Returns the sysfs paths of the device and the terminal."""
    device = "/devices/pci0000:00/0000:00:14.0/usb1/1-1"
    kind = [f"{number:02x}" for number in interfaces[0]]
    for lines in (
            [f"P: {device}", "E: SUBSYSTEM=usb", "E: DEVTYPE=usb_device",
             f"A: product={model}", f"A: manufacturer={maker}", "A: idVendor=1209",
             "A: idProduct=0001", "A: bcdDevice=0100", f"A: bNumInterfaces={len(interfaces):2}",
             f"H: descriptors={descriptors(interfaces)}"],
            [f"P: {device}/1-1:1.0", "E: SUBSYSTEM=usb", "E: DEVTYPE=usb_interface",
             f"A: bInterfaceClass={kind[0]}", f"A: bInterfaceSubClass={kind[1]}",
             f"A: bInterfaceProtocol={kind[2]}", "A: bInterfaceNumber=00"],
            [f"P: {device}/1-1:1.0/tty/ttyACM0", "E: SUBSYSTEM=tty", "E: DEVNAME=/dev/ttyACM0"]):
        testbed.add_from_string("\n".join(lines) + "\n")
    return "/sys" + device, f"/sys{device}/1-1:1.0/tty/ttyACM0"


def sandbox(rules, *command):
    """Runs a command with the folder `rules` mounted as udev's rules folder, and without access to
    the machine's /dev and /run."""
    return subprocess.run(
        ["bwrap", "--ro-bind", "/", "/", "--dev", "/dev", "--tmpfs", "/run", "--ro-bind", rules,
         "/run/udev/rules.d", *command], capture_output=True, text=True, check=False)


def properties(rules, path):
    """Returns the properties of a device after udev has applied all rules."""
    done = sandbox(rules, "udevadm", "test", path)
    pairs = (line.strip().partition("=") for line in done.stdout.splitlines())
    found = {key: value for key, _, value in pairs}
    if done.returncode != 0 or "ID_VENDOR" not in found:
        sys.exit(f"udevadm failed:\n{done.stdout}{done.stderr}")
    return found


def matches(rules, *description):
    """Returns whether the rule matches a device and its terminal."""
    testbed = UMockdev.Testbed.new()
    device, terminal = (properties(rules, path) for path in plug_in(testbed, *description))
    effects = {device.get("ID_MM_DEVICE_IGNORE") == "1", terminal.get("ID_MM_PORT_IGNORE") == "1",
               ":uaccess:" in terminal.get("TAGS", "")}
    if len(effects) != 1 or ":uaccess:" in device.get("TAGS", ""):
        sys.exit(f"{description}: only a part of the rule matches: {device} {terminal}")
    return effects.pop()


def main():
    if shutil.which("udevadm") is None:
        skip("udev is not installed")
    text = pathlib.Path(sys.argv[1]).read_text(encoding="utf-8")
    failed = 0
    with tempfile.TemporaryDirectory() as folder:
        if sandbox(folder, "true").returncode != 0:
            skip("the system does not allow namespaces")
        rules = pathlib.Path(folder)
        # Imports the device's USB properties, as systemd's rules for terminals do.
        (rules / "60-serial.rules").write_text('SUBSYSTEMS=="usb", IMPORT{builtin}="usb_id"\n')
        for optional in (False, True):
            changed = text.replace("\n#ENV", "\nENV") if optional else text
            (rules / "70-quillet-scanner.rules").write_text(changed)
            for *description, packaged, extended in DEVICES:
                expected = extended if optional else packaged
                if matches(folder, *description) != expected:
                    print(f"ERROR: optional lines {optional}: {description} should "
                          f"{'' if expected else 'not '}match")
                    failed += 1
    sys.exit(failed != 0)


main()
