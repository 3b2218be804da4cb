#!/usr/bin/env python3
"""Checks that no ratio the benchmarks print got worse than a saved run's by more than 5%.

Every benchmark program ends with its ratios, each of two benchmarks of the same run ("target:"
and "ratio:" lines), so they hold on any machine far better than times do. This runs the programs
(or reads their saved output), and for each ratio the baseline file also holds prints a line
"target: no worse than the baseline: ... met" or "MISSED". Ratios of two hand-written floors
("the floor: ...") measure the machine, not the library, and are left out.

  bench/compare_baseline.py build/bench            run every *_bench, compare with the baseline
  bench/compare_baseline.py --save build/bench     run them and save their ratios as the baseline
  bench/compare_baseline.py --output run.txt ...   read saved output instead of running
"""
import argparse
import pathlib
import re
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
DEFAULT_BASELINE = HERE / "baseline.txt"
ALLOWED = 1.05  # a ratio may grow by 5% before the line is missed,
ROUNDING = 0.01  # and by the last digit printed (both values are rounded to it), which
# small ratios are mostly made of
COLOUR = re.compile(r"\x1b\[[0-9;]*m")  # the console reporter's colours, even into a file
# "what: measured / baseline = 1.23 (...)", or a measure of its own: "what = 11.4 MB (...)".
LINE = re.compile(r"^(?:target|ratio): (?P<what>.*?)(?:: \S+ / \S+)? = (?P<ratio>[0-9.]+)")


def ratios(text):
    """The ratios of one program's output, by what they say."""
    found = {}
    for line in COLOUR.sub("", text).splitlines():
        m = LINE.match(line)
        if m and not m.group("what").startswith("the floor"):
            found[m.group("what")] = float(m.group("ratio"))
    return found


def run(program, repetitions):
    """Runs a benchmark program with repetitions (medians are compared) and returns its output."""
    args = [str(program), f"--benchmark_repetitions={repetitions}",
            "--benchmark_report_aggregates_only=true"]
    done = subprocess.run(args, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        sys.exit(f"{program.name} failed with exit code {done.returncode}:\n{done.stderr}")
    return done.stdout


def load(path):
    saved = {}
    for line in path.read_text().splitlines():
        if line.strip() and not line.startswith("#"):
            program, what, ratio = line.split("\t")
            saved[(program, what)] = float(ratio)
    return saved


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("bench_dir", nargs="?", help="the folder of the built *_bench programs")
    parser.add_argument("--output", nargs="*", default=[],
                        help="saved output of programs, named <program>.txt, instead of a run")
    parser.add_argument("--baseline", type=pathlib.Path, default=DEFAULT_BASELINE)
    parser.add_argument("--save", action="store_true", help="save this run as the baseline")
    parser.add_argument("--repetitions", type=int, default=3)
    parser.add_argument("--note", default="", help="with --save: which code the run measured")
    options = parser.parse_args()

    outputs = {pathlib.Path(p).stem: pathlib.Path(p).read_text() for p in options.output}
    if options.bench_dir:
        for program in sorted(pathlib.Path(options.bench_dir).glob("*_bench")):
            outputs[program.name] = run(program, options.repetitions)
    if not outputs:
        parser.error("give the benchmarks' folder or their saved output")
    now = {(program, what): r for program, text in outputs.items()
           for what, r in ratios(text).items()}

    if options.save:
        lines = [f"# program, ratio, value: bench/compare_baseline.py --save {options.note}".rstrip()]
        lines += [f"{p}\t{w}\t{r:.3f}" for (p, w), r in sorted(now.items())]
        options.baseline.write_text("\n".join(lines) + "\n")
        print(f"saved {len(now)} ratios to {options.baseline}")
        return 0

    missed = 0
    for (program, what), before in sorted(load(options.baseline).items()):
        if program not in outputs:
            continue  # not run this time
        if (program, what) not in now:
            print(f"gone: {program}: {what} (no longer printed)")
            continue
        after = now[(program, what)]
        limit = before * ALLOWED + ROUNDING
        ok = after <= limit
        missed += not ok
        print(f"target: no worse than the baseline: {program}: {what}: {after:.2f} against "
              f"{before:.2f} (at most {limit:.3f}) {'met' if ok else 'MISSED'}")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
