"""Child processes of a test."""

import os
import signal
import subprocess
import tempfile

from harness.waiting import wait_until

_TERMINATION_TIMEOUT = 5.0  # seconds from SIGTERM to SIGKILL


class Process:
    """A running program. Its output is saved in a temporary file."""

    def __init__(self, name, arguments, environment, **popen):
        self.name = name
        self.output_path = f"{tempfile.gettempdir()}/{name}.output"
        # Append mode: stdout and stderr share the file, and the output of an earlier process
        # with this name is kept.
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
        """Returns the exit status, -N if signal N ended the process, or None if it is running."""
        return self._popen.poll()

    def wait(self):
        """Waits until the process ends. Returns its status()."""
        wait_until(lambda: not self.is_running(), f"{self.name} to end")
        return self.status()

    def send(self, number):
        if self.is_running():
            os.kill(self.pid, number)

    def stop(self):
        """Ends the process if it is still running, and closes its streams."""
        if self.is_running():
            self._popen.terminate()
            try:
                self._popen.wait(_TERMINATION_TIMEOUT)
            except subprocess.TimeoutExpired:
                self.send(signal.SIGKILL)
                self._popen.wait()
        for stream in (self._popen.stdin, self._popen.stdout):
            if stream is not None:
                stream.close()

    def resources(self):
        """Returns the number of descriptors, the number of threads, and the resident memory in
        KiB."""
        with open(f"/proc/{self.pid}/status", encoding="ascii") as file:
            status = dict(line.split(":", 1) for line in file)
        return {"descriptors": len(os.listdir(f"/proc/{self.pid}/fd")),
                "threads": int(status["Threads"]),
                "resident KiB": int(status["VmRSS"].split()[0])}

    def output(self):
        with open(self.output_path, encoding="utf-8", errors="replace") as output:
            return output.read()


def read_line(process, stream_descriptor):
    """Reads a line from a descriptor, then closes the descriptor. Returns the line without the line
    feed."""
    with os.fdopen(stream_descriptor, "rb", buffering=0) as stream:
        line = stream.readline()
    if not line.endswith(b"\n"):
        raise AssertionError(f"{process.name} ended before it was ready:\n{process.output()}")
    return line.decode().rstrip("\n")
