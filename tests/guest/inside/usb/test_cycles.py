"""Plugged in, connected, synchronized by itself and unplugged, again and again."""

import os

from bus import modem_terminals
from case import OUTPUT, Settings, UsbTest, messages, some_records, wait_until
from harness.lines import file_text

_CYCLES = int(os.environ.get("QUILLET_CYCLES", "200"))
_RECORDS = 3
# The first cycles take memory that stays. Behind so many it may grow by so much, in kB.
_WARM_UP = max(1, min(20, _CYCLES // 2))
_GROWTH = 4096


class CyclesTest(UsbTest):

    def figures(self):
        """Descriptors, threads and kB of resident memory."""
        folder = f"/proc/{self.quillet.pid}"
        with open(f"{folder}/status", encoding="ascii") as file:
            status = dict(line.split(":", 1) for line in file)
        return (len(os.listdir(f"{folder}/fd")), int(status["Threads"]),
                int(status["VmRSS"].split()[0]))

    def settled_figures(self, cycles):
        """The same when the thread that sends commands has ended, which it does within a tenth of
        a second, so many times in all."""
        self.log.wait_for("-[Lumet CommandThread] has finished", cycles)
        return self.figures()

    def wait_for_log(self, line):
        """Waits for the line's next coming: reading the view all the time costs the program as much
        as what it does, and the whole log is long."""
        def comes():
            for datagram in self.log.datagrams()[self.log_position:]:
                self.log_position += 1
                if datagram.endswith(line.encode()):
                    return True
            return False
        wait_until(comes, line)

    def one_cycle(self, scanner, expected):
        """Returns the number of bytes in the file."""
        quillet = self.quillet
        scanner.plug_in()
        self.assertEqual(["ttyACM0"], modem_terminals())
        self.wait_for_log("-[SyncController SynchronizeFinished]")
        text = messages.connecting() + messages.file_run(_RECORDS, OUTPUT)
        quillet.wait_for_view(text)
        written = self.assert_file(expected)
        os.unlink(OUTPUT)
        scanner.unplug()
        self.wait_for_log("-[SyncController Terminate]")
        quillet.wait_for_view(text + messages.disconnected())
        quillet.wait_until_attempt_is_over()
        return written

    def test_many_times(self):
        Settings(filename=OUTPUT, auto_sync=1).save()
        records = some_records(_RECORDS)
        scanner = self.scanner(records)
        self.log_position = 0
        self.start().wait_for_view_end(messages.FAILED_TO_CONNECT)
        self.quillet.wait_until_attempt_is_over()
        expected = file_text(records, Settings(auto_sync=1))
        written = 0
        for number in range(1, _CYCLES + 1):
            written += self.one_cycle(scanner, expected)
            if number == _WARM_UP:
                first = self.settled_figures(_WARM_UP)
            if number % 20 == 0:
                self.say(f"after {number} cycles: descriptors, threads, kB: {self.figures()}")
        last = self.settled_figures(_CYCLES)
        self.say(f"{_CYCLES} cycles, {written} bytes written and compared; descriptors, threads, kB "
                 f"after {_WARM_UP} cycles {first}, after the last {last}")
        self.assertEqual(first[:2], last[:2])
        self.assertLess(last[2] - first[2], _GROWTH)
