"""Many connections, many runs, and what they leave in the process."""

import os

from fault_case import FaultTest, messages, some_records

_CYCLES = 100
_RUNS = 1000
_SAMPLE_EVERY = 50


def _status(pid, name):
    """A figure of /proc/PID/status, in kibibytes or without a unit."""
    with open(f"/proc/{pid}/status", encoding="ascii") as status:
        (line,) = [line for line in status if line.startswith(f"{name}:")]
    return int(line.split()[1])


def _slope(points):
    """What the straight line that fits the points best rises by for one step of the first value."""
    mean_x = sum(x for x, _y in points) / len(points)
    mean_y = sum(y for _x, y in points) / len(points)
    return (sum((x - mean_x) * (y - mean_y) for x, y in points)
            / sum((x - mean_x) ** 2 for x, _y in points))


class ResourcesCase(FaultTest):

    def resources(self):
        pid = self.quillet.pid
        return {"descriptors": len(os.listdir(f"/proc/{pid}/fd")),
                "threads": _status(pid, "Threads"), "resident KiB": _status(pid, "VmRSS")}

    def assert_no_more(self, before, after):
        """There may be fewer: threads of the toolkit end when they have had nothing to do."""
        self.assertLessEqual(after["descriptors"], before["descriptors"])
        self.assertLessEqual(after["threads"], before["threads"])


class CyclesTest(ResourcesCase):

    def test_connect_and_disconnect(self):
        scanner = self.begin(some_records(3))
        quillet = self.start_connected()
        self.synchronize()
        before = self.resources()
        for _ in range(_CYCLES):
            quillet.press("Disconnect")
            quillet.wait_for_view(messages.disconnected())
            quillet.wait_for_connect_label("Connect")
            quillet.choose_port(1)
            quillet.press("Connect")
            quillet.wait_for_view(messages.disconnected() + messages.connecting())
            quillet.wait_for_connect_label("Disconnect")
            self.clear()
        after = self.resources()
        self.synchronize()
        print(f"{_CYCLES} cycles of connecting: before {before}, after {after}", flush=True)
        self.assertEqual(1 + _CYCLES, scanner.commands().count("C"))
        self.assert_no_more(before, after)


class RunsTest(ResourcesCase):

    def test_runs(self):
        self.begin(some_records(100), scanner={"options": ["--speed", "unlimited"]})
        self.start_connected()
        samples = []
        for run in range(_RUNS + 1):
            if run % _SAMPLE_EVERY == 0:
                samples.append((run, self.resources()))
            self.synchronize()
        resident = [(run, sample["resident KiB"]) for run, sample in samples]
        settled = resident[2:]
        print(f"{_RUNS} runs: first {samples[0][1]}, last {samples[-1][1]}\n"
              f"  resident KiB every {_SAMPLE_EVERY} runs: {[kib for _run, kib in resident]}\n"
              f"  slope from run {settled[0][0]} on: {_slope(settled):.3f} KiB per run", flush=True)
        self.assert_no_more(samples[0][1], samples[-1][1])
