"""Receives the program's log lines in place of the system log."""

import os
import re
import socket
import threading

from harness.waiting import wait_until

# The header that glibc's syslog(3) writes: priority, time, identity.
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
        # All datagrams share one buffer. A new buffer of 1 MiB for each datagram would exhaust the
        # process's memory mappings.
        buffer = memoryview(bytearray(1 << 20))
        while True:
            size = self._socket.recv_into(buffer)
            if not size:
                return
            with self._lock:
                self._lines.append(bytes(buffer[:size]))

    def stop(self):
        self._socket.shutdown(socket.SHUT_RD)
        self._thread.join()
        self._socket.close()
        os.unlink(self._path)

    def datagrams(self):
        """Returns all received datagrams."""
        with self._lock:
            return list(self._lines)

    def lines(self, pid=None):
        """Returns the lines, without headers, from all processes or only from `pid`."""
        lines = []
        for datagram in self.datagrams():
            header = _HEADER.match(datagram)
            if not header:
                raise AssertionError(f"not a line of the program: {datagram!r}")
            if pid in (None, int(header.group(1))):
                lines.append(datagram[header.end():].decode("utf-8", "replace"))
        return lines

    def wait_for(self, line, times=1):
        """Waits until exactly this line has been written at least `times` times."""
        wait_until(lambda: self.lines().count(line) >= times,
                   lambda: f"{times} x {line!r} in the log. The log ends with:\n"
                           + "\n".join(self.lines()[-40:]))
