"""Unplugs the scanner after every byte of a session."""

import re

from fault_case import OLD, OUTPUT, FaultTest, messages, some_records, wait_until

_SENT_OR_RECEIVED = re.compile(r"^[\d.]+ [<>] ((?:[0-9a-f]{2} )+) ", re.MULTILINE)


class EveryByteTest(FaultTest):

    def session_bytes(self, scanner):
        return sum(len(bytes.fromhex(line)) for line in _SENT_OR_RECEIVED.findall(
            scanner.transcript()))

    def check(self, **settings):
        """Counts the bytes of a session, from the start of the program to the saved file. Then runs
        one session per byte, and unplugs the scanner after that byte."""
        scanner = self.begin(some_records(3), auto_sync=1, **settings)
        self.whole = messages.STARTED + messages.connecting() + messages.file_run(3, OUTPUT)
        self.check_whole_session()
        self.close()
        total = self.session_bytes(scanner)
        outcomes = {"not connected": 0, "run lost": 0, "file saved": 0}
        for count in range(1, total + 1):
            with self.subTest(bytes=count):
                outcomes[self.cut_session(scanner, count)] += 1
        print(f"{self.id()}: {total} bytes, {sum(outcomes.values())} sessions cut, "
              f"{outcomes}", flush=True)
        scanner.unplug()
        scanner.plug_in()
        self.check_whole_session()

    def check_whole_session(self):
        self.start().wait_for_view(self.whole)
        self.assert_file(OUTPUT, self.text())

    def cut_session(self, scanner, count):
        self.put_old_file()
        scanner.unplug()
        scanner.plug_in()
        scanner.fault(f"after-bytes {count} unplug")
        quillet = self.start()
        scanner.wait_until_unplugged()
        # The program logs "deviceRemoved" once at the start and once when the scanner is removed.
        wait_until(lambda: self.log.lines(quillet.pid).count("deviceRemoved") == 2,
                   "the removal in the log")
        connected = self.check_view()
        self.close()
        text = self.read_file()
        self.assertIn(text, (OLD, self.text()))
        self.assert_no_stray_files(OUTPUT)
        scanner.plug_in()
        if text != OLD:
            return "file saved"
        return "run lost" if connected else "not connected"

    def check_view(self):
        """Checks that the view shows the messages for starting, connecting and, if the program was
        connected, disconnecting. Returns whether the program was connected."""
        connected = messages.connected() in self.quillet.view()
        if connected:
            wait_until(lambda: messages.disconnected() in self.quillet.view(), "the disconnection")
        view = self.quillet.view()
        self.assertTrue(self.whole.startswith(view.replace(messages.disconnected(), "")), view)
        return connected

    def test_unplugging_during_a_burst_keeps_file_intact(self):
        self.check()

    def test_unplugging_between_records_keeps_file_intact(self):
        self.check(model="300", burst_sync=0)
