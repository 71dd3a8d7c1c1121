"""The cable is pulled after every byte of a whole session."""

import re

from fault_case import OLD, PATH, FaultTest, messages, some_records
from harness.waiting import wait_until

_SENT_OR_RECEIVED = re.compile(r"^[\d.]+ [<>] ((?:[0-9a-f]{2} )+) ", re.MULTILINE)


class EveryByteTest(FaultTest):
    """One whole session, from plugging in to the saved file, is measured. Then one session is cut
    after each of its bytes; each test does a quarter of them."""

    PARTS = 4

    def session_bytes(self, scanner):
        return sum(len(bytes.fromhex(line)) for line in _SENT_OR_RECEIVED.findall(
            scanner.transcript()))

    def check(self, part, **settings):
        model = settings.pop("model", "old")
        scanner = self.begin(some_records(3), auto_sync=1, scanner={"model": model}, **settings)
        whole = messages.STARTED + messages.connecting() + messages.file_run(3, PATH)
        self.start().wait_for_view(whole)
        self.assert_file(PATH, self.text())
        self.close()
        self.whole = whole
        total = self.session_bytes(scanner)
        outcomes = {"not connected": 0, "run lost": 0, "file saved": 0}
        for count in range(1 + part, total + 1, self.PARTS):
            with self.subTest(bytes=count):
                outcomes[self.cut_session(scanner, count)] += 1
        print(f"{self.id()}: {total} bytes, {sum(outcomes.values())} sessions cut, "
              f"{outcomes}", flush=True)
        scanner.unplug()
        scanner.plug_in()
        self.start().wait_for_view(whole)
        self.assert_file(PATH, self.text())

    def cut_session(self, scanner, count):
        self.put_old_file()
        scanner.unplug()
        scanner.plug_in()
        scanner.fault(f"after-bytes {count} unplug")
        quillet = self.start()
        scanner.wait_until_line_is_down()
        scanner.leave_socket()
        # Once when it begins to listen, and once for the scanner.
        wait_until(lambda: self.log.lines(quillet.pid).count("deviceRemoved") == 2,
                   "the program to notice")
        connected = self.check_view()
        self.close()
        with open(PATH, encoding="utf-8", newline="") as file:
            text = file.read()
        self.assertIn(text, (OLD, self.text()))
        self.assert_no_stray_files(PATH)
        scanner.plug_in()
        if text != OLD:
            return "file saved"
        return "run lost" if connected else "not connected"

    def check_view(self):
        """The view has what a whole session shows, up to some place, and one that was connected
        says somewhere that it is no more. Returns whether it was."""
        connected = messages.connected() in self.quillet.view()
        if connected:
            wait_until(lambda: messages.disconnected() in self.quillet.view(), "the disconnecting")
        view = self.quillet.view()
        self.assertTrue(self.whole.startswith(view.replace(messages.disconnected(), "")), view)
        return connected

    def test_burst_first_quarter(self):
        self.check(0)

    def test_burst_second_quarter(self):
        self.check(1)

    def test_burst_third_quarter(self):
        self.check(2)

    def test_burst_fourth_quarter(self):
        self.check(3)

    def test_one_by_one_first_quarter(self):
        self.check(0, model="300", burst_sync=0)

    def test_one_by_one_second_quarter(self):
        self.check(1, model="300", burst_sync=0)

    def test_one_by_one_third_quarter(self):
        self.check(2, model="300", burst_sync=0)

    def test_one_by_one_fourth_quarter(self):
        self.check(3, model="300", burst_sync=0)
