"""Checks that repeated connections and runs leak no resources."""

from fault_case import FaultTest

_CYCLES = 100
_RUNS = 1000
_SAMPLE_EVERY = 50


def _slope(points):
    """Returns the slope of the line fitted to points (x, y) by least squares."""
    mean_x = sum(x for x, _y in points) / len(points)
    mean_y = sum(y for _x, y in points) / len(points)
    return (sum((x - mean_x) * (y - mean_y) for x, y in points)
            / sum((x - mean_x) ** 2 for x, _y in points))


class ResourcesTest(FaultTest):

    def assert_no_more(self, before, after):
        """Fails if the number of descriptors or threads has grown. Both may decrease, because Qt
        ends idle threads."""
        self.assertLessEqual(after["descriptors"], before["descriptors"])
        self.assertLessEqual(after["threads"], before["threads"])

    def test_reconnecting_does_not_leak_resources(self):
        scanner = self.begin_connected(3)
        self.check_run()
        before = self.quillet.process.resources()
        for _ in range(_CYCLES):
            self.disconnect()
            self.connect()
            self.wait_until_reconnected()
        after = self.quillet.process.resources()
        self.check_run()
        print(f"{_CYCLES} cycles of connecting: before {before}, after {after}", flush=True)
        self.assertEqual(1 + _CYCLES, scanner.commands().count("C"))
        self.assert_no_more(before, after)

    def test_synchronizing_leaks_nothing(self):
        self.begin_connected(100, options=["--speed", "unlimited"])
        samples = []
        for run in range(_RUNS + 1):
            if run % _SAMPLE_EVERY == 0:
                samples.append((run, self.quillet.process.resources()))
            self.check_run()
        resident = [(run, sample["resident KiB"]) for run, sample in samples]
        settled = resident[2:]
        print(f"{_RUNS} runs: first {samples[0][1]}, last {samples[-1][1]}\n"
              f"  resident KiB every {_SAMPLE_EVERY} runs: {[kib for _run, kib in resident]}\n"
              f"  slope from run {settled[0][0]} on: {_slope(settled):.3f} KiB per run", flush=True)
        self.assert_no_more(samples[0][1], samples[-1][1])
