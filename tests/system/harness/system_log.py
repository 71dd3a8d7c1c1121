"""The system log's socket, and what the program writes to it."""

import os
import re
import socket
import threading

from harness.waiting import wait_until

# As syslog(3) of the C library writes it: priority, time, identity.
_HEADER = re.compile(rb"<14>[A-Z][a-z]{2} [ \d]\d \d\d:\d\d:\d\d quillet\[(\d+)\]: ")


class SystemLog:
    def __init__(self, path="/dev/log"):
        self._path = path
        self._lines = []
        self._lock = threading.Lock()
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 20)
        self._socket.bind(path)
        self._thread = threading.Thread(target=self._receive, daemon=True)
        self._thread.start()

    def _receive(self):
        # A buffer of its own for each would be as many mappings of memory, which are limited.
        buffer = memoryview(bytearray(1 << 20))
        while True:
            size = self._socket.recv_into(buffer)
            if not size:
                return
            with self._lock:
                self._lines.append(bytes(buffer[:size]))

    def remove_socket(self):
        """From now on the system has no log."""
        os.unlink(self._path)

    def stop(self):
        # The empty datagram that ends the thread cannot be sent by name when the name has gone.
        self._socket.shutdown(socket.SHUT_RD)
        self._thread.join()
        self._socket.close()
        if os.path.exists(self._path):
            self.remove_socket()

    def datagrams(self):
        """Everything that was sent, as it came."""
        with self._lock:
            return list(self._lines)

    def lines(self, pid=None):
        """The texts of the lines that the program wrote, or only those of one process."""
        lines = []
        for datagram in self.datagrams():
            header = _HEADER.match(datagram)
            if not header:
                raise AssertionError(f"not a line of the program's: {datagram!r}")
            if pid in (None, int(header.group(1))):
                lines.append(datagram[header.end():].decode("utf-8", "replace"))
        return lines

    def wait_for(self, line, times=1):
        """Waits until this very line was written so many times."""
        wait_until(lambda: self.lines().count(line) >= times,
                   lambda: f"{times} x {line!r} in the log, which ends with\n"
                           + "\n".join(self.lines()[-40:]))
