"""Tests random user actions and device events for ten minutes."""

import random
import time

from fault_case import END_OF_ANSWER, FaultTest, messages, some_records, wait_until
from harness.settings import PATH as SETTINGS_PATH
from harness.settings_window import SettingsWindow

_MINUTES = 10
_TOGGLED = ["Symbology", "Time of the scan", "Scanner's serial number",
            "Download all records in one transfer", "Add to the file instead of replacing it",
            "Set the scanner's clock to the computer's time"]


class SoakTest(FaultTest):

    def test_survives_ten_minutes_of_random_actions(self):
        self.chance = random.Random(1)
        self.device = self.begin(some_records(40))
        self.second = self.scanner(some_records(2), serial="2104009999", node="ttyACM1",
                                   place="3-2:1.0")
        self.start_connected()
        actions = [self.run_once, self.run_once, self.change_settings, self.connect_again,
                   self.plug_again, self.unplug_in_a_run, self.other_devices, self.scan]
        counts = {action.__name__: 0 for action in actions}
        end = time.monotonic() + 60 * _MINUTES
        while time.monotonic() < end:
            action = self.chance.choice(actions)
            action()
            counts[action.__name__] += 1
            self.quillet.clear()
        print(f"{_MINUTES} minutes of {counts}", flush=True)

    def run_once(self):
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view_end(messages.count(len(self.records)) + messages.FINISHED)

    def change_settings(self):
        window = SettingsWindow(self.desktop, self.quillet)
        window.open()
        for name in self.chance.sample(_TOGGLED, 3):
            window.box(name).act("Toggle")
        window.press(self.chance.choice(["Save", "Cancel"]))
        window.wait_until_closed()

    def connect_again(self):
        self.quillet.press("Disconnect")
        self.quillet.wait_for_connect_label("Connect")
        self.connect()
        self.quillet.wait_for_connect_label("Disconnect")

    def plug_again(self):
        self.device.unplug()
        self.quillet.wait_for_connect_label("Connect")
        self.device.plug_in()
        self.quillet.wait_for_connect_label("Disconnect")

    def unplug_in_a_run(self):
        self.device.fault(f"after-sent {self.chance.randrange(1, 400)} unplug")
        self.quillet.press("Synchronize")
        self.device.wait_until_unplugged()
        self.quillet.wait_for_connect_label("Connect")
        self.device.plug_in()

        # The scanner must complete the pending answer before the program can reconnect.
        def is_connected():
            self.device.fault(END_OF_ANSWER)
            time.sleep(1)
            return self.quillet.connect_label() == "Disconnect"
        wait_until(is_connected, "the scanner to be connected again", limit=120)
        if messages.FINISHED not in self.quillet.view():
            # Reconnecting has cancelled the run.
            self.close()
            self.start_connected(clock_set=self.clock_set())

    def clock_set(self):
        with open(SETTINGS_PATH, encoding="ascii") as file:
            return file.read()[5] == "1"

    def other_devices(self):
        converter = self.devices.add_converter()
        self.second.plug_in()
        self.second.unplug()
        self.devices.remove(converter)

    def scan(self):
        count = self.log_count()
        self.device.fault("at 0ms send 03 00 00 0f 0b 06 61 62 63 64 65 66 31 47 41 09 40")
        wait_until(lambda: self.log_count() > count, "the scan to arrive")

    def log_count(self):
        return self.log.lines().count("-[SyncController DisplayBarcode:]")
