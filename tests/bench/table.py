"""Runs the benchmark programs and prints what they measured as one table: see run."""

import collections
import json
import os
import re
import statistics
import subprocess
import sys

# Name of a figure, what is measured, what it is held against, the target, and how the ratio of
# both has to stand to it.
_ROWS = [
    ("receive", "receive path, 4 MiB burst to composed lines, bytes/s",
     "a bare loop that stores each byte with one comparison", 0.5, "at least"),
    ("stored", "the same, counting every byte that it writes: received, composed, logged",
     "the same", 0.5, "at least"),
    ("growth-2", "receive path, time for 2 MiB", "twice the time for 1 MiB", 1.05, "at most"),
    ("growth-4", "receive path, time for 4 MiB", "four times the time for 1 MiB", 1.05, "at most"),
    ("paced", "whole run, 20,000 records in a burst at 115200 bit/s",
     "the time that the line needs", 1.01, "at most"),
    ("unpaced", "whole run, unpaced", "the same bytes read by the same poll and nothing else",
     1.15, "at most"),
    ("tail", "of it, from the first record composed to the last", "the whole run", None, ""),
    ("syslog", "whole run, unpaced, by this system's own syslog(3)", "the same poll", None, ""),
    ("record", "record by record, per record", "0.1 s and 1 ms for each byte of the command",
     1.02, "at most"),
    ("idle-connected", "processor time when idle, connected",
     "a bare loop of a 200-microsecond sleep and a read", 1.05, "at most"),
    ("idle-disconnected", "processor time when idle, disconnected", "the same", 1.05, "at most"),
    ("idle-ports", "the same, connected, with 32 ports there", "the same", 1.05, "at most"),
    ("ports-1", "reading which ports there are, 1, ms", "libudev's own walk over them", None, ""),
    ("ports-8", "the same, 8, ms", "the same", None, ""),
    ("ports-32", "the same, 32, ms", "the same", None, ""),
    ("start", "start to first painted window", "a window with the same controls", 1.3, "at most"),
    ("memory", "resident memory when idle, MiB", "the same window", 16, "at most more"),
    ("view-25000", "25,000 records to the view, ms",
     "one insertion of the same text into the same widget", 3, "at most"),
    ("view-50000", "50,000 records to the view, ms", "the same", 3, "at most"),
    ("view-100000", "100,000 records to the view, ms", "the same", 3, "at most"),
    ("growth-view", "100,000 records to the view", "four times the time for 25,000", 1.05,
     "at most"),
    ("turn", "longest turn of the main thread meanwhile, ms", "a frame of 16 ms", 1, "at most"),
    ("turn-processor", "the same, processor time alone", "the same", 1, "at most"),
    ("typing", "typing, characters/s", "`xdotool type --delay 0`, same client", 5, "at least"),
    ("log", "whole run, unpaced, with a log that is listened to",
     "the same run with the log going nowhere", 1.1, "at most"),
]

_FIGURE = re.compile(r"(?:^|\.\.\. )figure\t(\S+)\t(\S+)\t(\S+)$", re.MULTILINE)
_TYPED = re.compile(r"^(quillet|other): .* s, (\d+) per second", re.MULTILINE)


class Bench:
    """The figures of each name: pairs of what the program takes and what it is held against."""

    def __init__(self, programs):
        self._programs = programs
        self.figures = collections.defaultdict(list)
        self.complete = True

    def _run(self, *command, **environment):
        print("measuring:", " ".join(command), file=sys.stderr, flush=True)
        done = subprocess.run(command, env=os.environ | environment, stdout=subprocess.PIPE,
                              text=True, check=False)
        if done.returncode != 0:
            print(f"{command[0]} ended with {done.returncode}", file=sys.stderr)
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

    def desktop(self):
        self._gather(self._in_sandbox("tests/bench"))

    def typing(self):
        typed = _TYPED.findall(self._in_sandbox("tests/desktop"))
        rates = {which: [float(rate) for name, rate in typed if name == which]
                 for which in ("quillet", "other")}
        self.figures["typing"] = list(zip(rates["quillet"], rates["other"]))


def _line(name, what, against, target, kind, pairs):
    """A line of the table: the medians of both sides, and the ratio of these with the least and the
    greatest of a single round."""
    ours, theirs = (statistics.median(side) for side in zip(*pairs))
    compare, met = (lambda a, b: a / b), None
    if target is None:
        pass
    elif kind == "at most more":
        compare, met = (lambda a, b: a - b), ours - theirs <= target
    else:
        met = ours / theirs >= target if kind == "at least" else ours / theirs <= target
    each = [compare(*pair) for pair in pairs]
    digits = ".4f" if name in ("paced", "record") else ".2f"
    return (f"| {what} | {against} | {ours:.4g} | {theirs:.4g} | {compare(ours, theirs):{digits}} "
            f"({min(each):{digits}} to {max(each):{digits}}, {len(each)}) | "
            + (" | |" if target is None else
               f"{kind} {target:g} | {'met' if met else 'missed'} |"))


def main():
    programs, *parts = sys.argv[1:]
    bench = Bench(programs)
    for part in parts or ["receive", "run", "records", "ports", "view", "desktop", "typing"]:
        getattr(bench, part)()
    print("| What | Against | Median | Beside | Ratio (of single rounds, how many) | Target | |")
    print("|---|---|---|---|---|---|---|")
    for name, *row in _ROWS:
        if bench.figures[name]:
            print(_line(name, *row, bench.figures[name]))
    if not bench.complete:
        sys.exit("A program failed; its figures are missing.")


if __name__ == "__main__":
    main()
