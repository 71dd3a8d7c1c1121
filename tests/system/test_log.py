"""What goes to the system log."""

import unicodedata

from harness.case import FOLDER, Record, Settings, SystemTest, messages, some_records
from harness.lines import file_text

_TIME = "2026-11-16 09:15:00"


class LogTest(SystemTest):

    def test_start_is_told_in_order(self):
        self.plugged_in_scanner()
        self.start_connected()
        self.close()
        lines = iter(self.log.lines(self.quillet.pid))
        for expected in ("-[LumetFile CreateBarcodeDirectory]",
                         "-[Lumet init]",
                         "-[SyncController findSerialPorts][1]",
                         "usbmodem310",
                         "/dev/ttyACM0",
                         "-[SyncController updatePortList:][1]",
                         "-[SyncController updatePortList:][usbmodem310]",
                         "-[LumetFile ReadDataFromFile::]",
                         "-[SyncController RestoreSettings]: Read registry file done...",
                         "-[QuilletAppDelegate changeWindowTitle:]",
                         "-[SyncController startNotification]",
                         "deviceAdded",
                         "deviceRemoved",
                         "-[SyncController ConnectThread]",
                         "-[SyncController TryToConnectTavo]:1",
                         "-[Lumet connectTavo:]",
                         "[/dev/ttyACM0]:Open succeeded !!!",
                         "-[Lumet InitTavo]",
                         "-[Lumet HandleCommandData::][2104005771@:11:11:4d]",
                         "-[Lumet InitialSetting]",
                         "-[SyncController TavoInitializationDone:]",
                         "-[SyncController DisplayConnectionMessage:][0:1]usbmodem310",
                         "-[QuilletAppDelegate windowWillClose:]"):
            # Takes lines up to the expected one: so the order is checked too.
            self.assertIn(expected, lines)

    def test_control_characters_are_made_harmless(self):
        path = f"{FOLDER}/out\x1b[2J\n.txt"
        Settings(filename=path).save()
        data = bytes(range(1, 32)) + b"\x7f\x1b]0;title\x07"
        # The same beyond ASCII, as one byte and as a character.
        more = [Record(6, b"\x9b2J", _TIME), Record(6, "\u009b2J".encode(), _TIME)]
        scanner = self.plugged_in_scanner([Record(6, data, _TIME), *more])
        quillet = self.start_connected()
        scanner.fault('on N before "\\x1b[31m"')
        quillet.press("Synchronize")
        quillet.wait_for_view_end(messages.FINISHED)
        self.close()
        for datagram in self.log.datagrams():
            controls = [character for character in datagram.decode("utf-8")
                        if unicodedata.category(character) == "Cc"]
            self.assertEqual([], controls, datagram)
        lines = self.log.lines()
        self.assertIn(f"-[SyncController SynchronizeFinished][{FOLDER}/out\\x1b[2J\\n.txt]", lines)
        self.assertTrue([line for line in lines if line.startswith("-[LumetFile WriteDataToFile")
                         and "\\x7f\\x1b]0;title\\x07" in line], "the record's data")

    def test_long_lines_come_in_pieces_and_whole(self):
        records = some_records(200)
        path = f"{FOLDER}/out.txt"
        Settings(filename=path).save()
        self.plugged_in_scanner(records)
        self.start_connected()
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(messages.file_run(200, path))
        self.close()
        with open(path, encoding="utf-8", newline="") as file:
            text = file.read().replace("\r", "\\r").replace("\n", "\\n")
        self.assertIn(f"-[LumetFile WriteDataToFile::::][{path}]{text}",
                      "".join(self.log.lines()))

    def test_system_without_a_log_does_no_harm(self):
        self.log.remove_socket()
        path = f"{FOLDER}/out.txt"
        Settings(filename=path).save()
        records = some_records(3)
        self.plugged_in_scanner(records)
        self.start_connected()
        self.quillet.press("Synchronize")
        self.quillet.wait_for_view(messages.file_run(3, path))
        self.assert_file(path, file_text(records))
        self.close()
