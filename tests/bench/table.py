"""Runs the benchmark programs and prints their results as one table. Started by tests/bench/run."""

import collections
import json
import operator
import os
import re
import statistics
import subprocess
import sys

# Columns: figure name, measurement, baseline, target, kind of target. A target is a lower or upper
# limit for the ratio of the medians, or an upper limit for the ratio of every round.
_ROWS = [
    ("receive", "receive path, burst of 4 MiB to composed lines, bytes/s",
     "loop that stores and compares each byte", 0.5, "at least"),
    ("stored", "receive path, bytes received, composed and logged, bytes/s", "same loop",
     0.5, "at least"),
    ("growth-2", "receive path, 2 MiB, ms", "2 × time for 1 MiB", 1.05, "at most"),
    ("growth-4", "receive path, 4 MiB, ms", "4 × time for 1 MiB", 1.05, "at most"),
    ("paced", "burst of 20,000 records at 115200 bit/s, s", "transfer time at this speed",
     1.01, "at most"),
    ("unpaced", "burst of 20,000 records, unlimited speed, s", "poll loop that only reads",
     1.15, "at most"),
    ("tail", "same burst, first to last record, s", "whole burst", None, ""),
    ("syslog", "same burst, syslog(3) of this system, s", "poll loop that only reads", None, ""),
    ("log", "same burst, log with a listener, s", "same burst without log", 1.1, "at most"),
    ("record", "record by record, time per record, s", "0.1 s + 1 ms per command byte",
     1.02, "at most"),
    ("archive-burst", "burst of 20,000 records, unlimited speed, archived, s",
     "same burst, not archived", 1.05, "at most"),
    ("archive-record", "record by record, fast answers, archived, time per record, s",
     "same run, not archived", 1.02, "at most"),
    ("archive-burst-processor", "same burst, processor time after the transfer, ms",
     "same burst, not archived", None, "at most more"),
    ("archive-record-processor", "same records, processor time per record, µs",
     "same run, not archived", None, "at most more"),
    ("idle-connected", "idle processor time in 5 s, connected, s", "1 % of one processor",
     1, "at most"),
    ("idle-disconnected", "idle processor time in 5 s, disconnected, s", "1 % of one processor",
     1, "at most"),
    ("idle-ports", "idle processor time in 5 s, 32 ports, s", "1 % of one processor",
     1, "at most"),
    ("first-read", "idle, connected: first byte of a scan to Quillet's read, ms",
     "longest delay allowed", 1, "each at most"),
    ("ports-1", "listing 1 port, ms", "libudev enumeration", None, ""),
    ("ports-8", "listing 8 ports, ms", "libudev enumeration", None, ""),
    ("ports-32", "listing 32 ports, ms", "libudev enumeration", None, ""),
    ("start", "start to first painted window, s", "window with the same controls", 1.3, "at most"),
    ("memory", "resident memory when idle, MiB", "window with the same controls",
     16, "at most more"),
    ("view-25000", "25,000 records to the view, ms", "one insertion of the same text",
     3, "at most"),
    ("view-50000", "50,000 records to the view, ms", "one insertion of the same text",
     3, "at most"),
    ("view-100000", "100,000 records to the view, ms", "one insertion of the same text",
     3, "at most"),
    ("growth-view", "100,000 records to the view, ms", "4 × time for 25,000", 1.05, "at most"),
    ("turn", "longest pass of the main loop, ms", "frame of 16 ms", 1, "at most"),
    ("turn-processor", "longest pass of the main loop, processor time, ms", "frame of 16 ms",
     1, "at most"),
    ("list", "earlier synchronizations, 100 runs of 2 MB to the list, ms",
     "reading the same files once", None, ""),
    ("list-turn", "same list, longest pass of the main loop, processor time, ms", "frame of 16 ms",
     1, "at most"),
    ("typing", "typing, characters/s", "`xdotool type --delay 0`, same client", 5, "at least"),
]

_FIGURE = re.compile(r"(?:^|\.\.\. )figure\t(\S+)\t(\S+)\t(\S+)$", re.MULTILINE)
_TYPED = re.compile(r"^(quillet|other): .* s, (\d+) per second", re.MULTILINE)


class Bench:
    """Each public method runs one part of the benchmark. `figures` maps row names to (program,
    baseline) pairs."""

    def __init__(self, programs):
        self._programs = programs
        self.figures = collections.defaultdict(list)
        self.complete = True

    def _run(self, *command, **environment):
        print("Measuring:", " ".join(command), file=sys.stderr, flush=True)
        done = subprocess.run(command, env=os.environ | environment, stdout=subprocess.PIPE,
                              text=True, check=False)
        if done.returncode != 0:
            print(f"{command[0]} failed with exit code {done.returncode}", file=sys.stderr)
            self.complete = False
        return done.stdout

    def _gather(self, output):
        for name, ours, against in _FIGURE.findall(output):
            self.figures[name].append((float(ours), float(against)))

    def _program(self, name):
        return os.path.join(self._programs, name)

    def _in_sandbox(self, folder):
        return self._run("python3", "tests/system/run.py", "--folder", folder, "--figures",
                         "--quillet", self._program("quillet"),
                         "--simulator", self._program("tavo-simulator"))

    def receive(self):
        output = self._run(self._program("receive_bench"), "--benchmark_format=json",
                           "--benchmark_repetitions=9", "--benchmark_min_time=0.2",
                           "--benchmark_enable_random_interleaving=true")
        runs = collections.defaultdict(list)
        for run in json.loads(output)["benchmarks"]:
            if run["run_type"] == "iteration":
                runs[run["run_name"]].append(run)
        mebi = {count: [run["cpu_time"] for run in runs[f"ReceivePath/{count << 20}"]]
                for count in (1, 2, 4)}
        whole, bare = runs["ReceivePath/4194304"], runs["BareLoop/4194304"]
        for ours, against in zip(whole, bare):
            rate = against["bytes_per_second"]
            self.figures["receive"].append((ours["bytes_per_second"], rate))
            self.figures["stored"].append((ours["stored"], rate))
        for count in (2, 4):
            self.figures[f"growth-{count}"] = [(more, count * one)
                                               for more, one in zip(mebi[count], mebi[1])]

    def run(self):
        self._gather(self._run(self._program("run_bench")))

    def records(self):
        self._gather(self._run(self._program("run_bench"), "singly"))

    def archive(self):
        self._gather(self._run(self._program("run_bench"), "archive", "61"))
        for name, factor in (("burst", 1e3), ("record", 1e6)):
            name = f"archive-{name}-processor"
            self.figures[name] = [(factor * ours, factor * theirs)
                                  for ours, theirs in self.figures[name]]

    def ports(self):
        output = self._run("umockdev-wrapper", self._program("ports_bench"))
        self._gather(output)
        for name in ("ports-1", "ports-8", "ports-32"):
            self.figures[name] = [(1e3 * ours, 1e3 * theirs) for ours, theirs in self.figures[name]]

    def view(self):
        self._gather(self._run(self._program("view_bench"), "15", QT_QPA_PLATFORM="offscreen"))
        self.figures["growth-view"] = [
            (most[0], 4 * least[0])
            for most, least in zip(self.figures["view-100000"], self.figures["view-25000"])]

    def list(self):
        self._gather(self._run(self._program("list_bench"), "9", QT_QPA_PLATFORM="offscreen"))

    def desktop(self):
        self._gather(self._in_sandbox("tests/bench"))

    def typing(self):
        typed = _TYPED.findall(self._in_sandbox("tests/desktop"))
        rates = {which: [float(rate) for name, rate in typed if name == which]
                 for which in ("quillet", "other")}
        self.figures["typing"] = list(zip(rates["quillet"], rates["other"]))


def _line(name, what, baseline, target, kind, pairs):
    """Returns a line of the table: both medians, their ratio, and the ratio's range over the
    rounds."""
    ours, theirs = (statistics.median(side) for side in zip(*pairs))
    compare = operator.sub if kind == "at most more" else operator.truediv
    ratio, each = compare(ours, theirs), [compare(*pair) for pair in pairs]
    digits = ".4f" if name in ("paced", "record", "archive-record") else ".2f"
    result = " | |"
    if target is not None:
        met = (ratio >= target if kind == "at least" else
               max(each) <= target if kind == "each at most" else ratio <= target)
        result = f"{kind} {target:g} | {'met' if met else 'missed'} |"
    return (f"| {what} | {baseline} | {ours:.4g} | {theirs:.4g} | {ratio:{digits}} "
            f"({min(each):{digits}} to {max(each):{digits}}, {len(each)}) | {result}")


def main():
    programs, *parts = sys.argv[1:]
    bench = Bench(programs)
    for part in parts or ["receive", "run", "records", "archive", "ports", "view", "list",
                          "desktop", "typing"]:
        getattr(bench, part)()
    print("| Measurement | Baseline | Median | Baseline median | Ratio (range, rounds) | Target "
          "| Result |")
    print("|---|---|---|---|---|---|---|")
    for name, *row in _ROWS:
        if bench.figures[name]:
            print(_line(name, *row, bench.figures[name]))
    if not bench.complete:
        sys.exit("The table is incomplete because a program failed. See its messages above.")


if __name__ == "__main__":
    main()
