"""Processes that end with the test that started them."""

import os
import signal
import subprocess

from harness.waiting import wait_until

# How long a process gets to end by itself once it was told to.
_FAREWELL = 5.0


class Process:
    """A program that runs beside the test. Its output goes to a file of the sandbox's."""

    def __init__(self, name, arguments, environment, **popen):
        self.name = name
        self.output_path = f"/tmp/{name}.output"
        # The mode shares one file offset among everybody who writes into it, and keeps what an
        # earlier process of this name has written.
        with open(self.output_path, "ab") as output:
            popen.setdefault("stdin", subprocess.DEVNULL)
            popen.setdefault("stdout", output)
            popen.setdefault("stderr", output)
            self._popen = subprocess.Popen(arguments, env=environment, **popen)

    @property
    def pid(self):
        return self._popen.pid

    @property
    def stdin(self):
        return self._popen.stdin

    @property
    def stdout(self):
        return self._popen.stdout

    def is_running(self):
        return self._popen.poll() is None

    def status(self):
        """The exit status; negative for a signal. None while it runs."""
        return self._popen.poll()

    def wait(self):
        """Waits for the end; returns the status as `status` has it."""
        wait_until(lambda: not self.is_running(), f"the end of {self.name}")
        return self.status()

    def send(self, number):
        if self.is_running():
            os.kill(self.pid, number)

    def stop(self):
        """Ends it if it still runs."""
        if self.is_running():
            self._popen.terminate()
            try:
                self._popen.wait(_FAREWELL)
            except subprocess.TimeoutExpired:
                self.send(signal.SIGKILL)
                self._popen.wait()
        for stream in (self._popen.stdin, self._popen.stdout):
            if stream is not None:
                stream.close()

    def output(self):
        with open(self.output_path, encoding="utf-8", errors="replace") as output:
            return output.read()


def read_line(process, stream_descriptor):
    """The first line that comes out of a descriptor, without its end; it is closed then."""
    with os.fdopen(stream_descriptor, "rb", buffering=0) as stream:
        line = stream.readline()
    if not line.endswith(b"\n"):
        raise AssertionError(f"{process.name} ended before it was ready:\n{process.output()}")
    return line.decode().rstrip("\n")
