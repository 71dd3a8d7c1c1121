"""Tests the program's lines in the system log."""

import unicodedata

from harness.case import FOLDER, Record, Settings, SystemTest, messages

_TIME = "2026-11-16 09:15:00"


class LogTest(SystemTest):

    def test_logs_session_steps_in_order(self):
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
            # Each assertIn continues after the line that was found last, so the order is checked.
            self.assertIn(expected, lines)

    def test_escapes_control_characters(self):
        path = f"{FOLDER}/out\x1b[2J\n.txt"
        Settings(filename=path).save()
        data = bytes(range(1, 32)) + b"\x7f\x1b]0;title\x07"
        # The second record contains an invalid byte. The third contains CSI (U+009B) in UTF-8.
        scanner = self.plugged_in_scanner([Record(6, each, _TIME) for each in
                                           (data, b"\x9b2J", "\u009b2J".encode())])
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
