"""Checks that repeated connections, runs and disconnections leak no resources."""

import os

from bus import modem_terminals
from case import OUTPUT, Settings, UsbTest, messages, some_records, wait_until
from harness.lines import file_text

_CYCLES = int(os.environ.get("QUILLET_CYCLES", "200"))
_RECORDS = 3
_WARM_UP = max(1, min(20, _CYCLES // 2))  # cycles
_GROWTH = 4096  # allowed increase of resident memory after the warm-up, in KiB


class CyclesTest(UsbTest):

    def settled_resources(self, cycles):
        """Waits until the command threads of all cycles have ended. Returns the program's resource
        usage."""
        self.log.wait_for("-[Lumet CommandThread] has finished", cycles)
        return self.quillet.process.resources()

    def wait_for_log(self, line):
        """Waits for the next occurrence of a log line. Polling the view instead would slow down the
        program, and SystemLog.wait_for() reads the whole log each time."""
        def is_logged():
            for datagram in self.log.datagrams()[self.log_position:]:
                self.log_position += 1
                if datagram.endswith(line.encode()):
                    return True
            return False
        wait_until(is_logged, line)

    def one_cycle(self, scanner, expected):
        quillet = self.quillet
        scanner.plug_in()
        self.assertEqual(["ttyACM0"], modem_terminals())
        self.wait_for_log("-[SyncController SynchronizeFinished]")
        text = messages.connecting() + messages.file_run(_RECORDS, OUTPUT)
        quillet.wait_for_view(text)
        self.assert_file(OUTPUT, expected)
        os.unlink(OUTPUT)
        scanner.unplug()
        self.wait_for_log("-[SyncController Terminate]")
        quillet.wait_for_view(text + messages.disconnected())
        quillet.clear()

    def test_repeated_connections_and_runs_do_not_leak(self):
        Settings(filename=OUTPUT, auto_sync=1).save()
        records = some_records(_RECORDS)
        scanner = self.scanner(records)
        self.log_position = 0
        self.start().wait_for_view_end(messages.FAILED_TO_CONNECT)
        self.quillet.clear()
        expected = file_text(records)
        for number in range(1, _CYCLES + 1):
            self.one_cycle(scanner, expected)
            if number == _WARM_UP:
                first = self.settled_resources(_WARM_UP)
            if number % 20 == 0:
                self.say(f"after {number} cycles: {self.quillet.process.resources()}")
        last = self.settled_resources(_CYCLES)
        self.say(f"{_CYCLES} cycles, {_CYCLES * len(expected.encode())} bytes written and compared; "
                 f"after {_WARM_UP} cycles {first}, after the last {last}")
        self.assertLess(last.pop("resident KiB") - first.pop("resident KiB"), _GROWTH)
        self.assertEqual(first, last)
