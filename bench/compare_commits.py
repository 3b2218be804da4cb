#!/usr/bin/env python3
"""Checks that no benchmark got more than 5% slower than at an older commit, both measured now.

Times saved on another day say little on a shared machine, where the same program varies by 10 to
30% from one hour to the next. So the older commit's benchmark programs are built (once, cached
under ~/.cache/kivdbxt/bench-<commit>/, through ccache) and run beside the current ones in the
same session, interleaved: old, new, old, new, ... for several rounds, each program filtered to
the benchmarks both builds have. A line's value in a round is the benchmark's time (see clock),
or, where its program prints it against a hand-written or another product's benchmark of the same
run ("target:" and "ratio:" lines), that ratio, which the machine's state of the moment mostly
cancels out of. Over the rounds each side's median is taken (the minimum, steadier in the middle,
strays far more on single-shot benchmarks and on ratios), and the line prints new/old with `met`
when it is at most 1.05, else `MISSED`. The hand-written and other products' benchmarks, the same code in both
builds, are printed as "same code:" lines: how far they stray from 1.00 is the noise of the run.

  bench/compare_commits.py                       build/bench against the default base, 5 rounds
  bench/compare_commits.py --rounds 7 --programs dailylog_bench,sector_bench
  bench/compare_commits.py --programs dblog_bench --filter 'BM_Never'
  bench/compare_commits.py --save-runs run.json  keep every round's times ...
  bench/compare_commits.py --load-runs run.json --statistic min   ... and look at them again
"""
import argparse
import json
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent
# The last commit before the speed work on the kivlog tool's output, the kept-open write, reports
# without KeepAlive and the sector store's CRC-32: every branch of that work starts from it.
DEFAULT_BASE = "609ae6f"
ALLOWED = 1.05
# Benchmarks of code that is not the library's (the same system calls or statements by hand,
# grep, SQLite, LMDB, spdlog, plain appends): the same-run baselines a line is divided by.
NOT_LIBRARY = re.compile(
    r"^(BM_)?(Baseline|Pread|Mmap|Sqlite|Lmdb|Spdlog|KeptFloor|GrepCount|PgPipeline)|^FourWriters/[02]/")
PAIR = re.compile(r"^(?:target|ratio): .*: (\S+) / (\S+) = [0-9.]+")
COLOUR = re.compile(r"\x1b\[[0-9;]*m")


def git(*args):
    return subprocess.run(["git", "-C", str(ROOT), *args], check=True, capture_output=True,
                          text=True).stdout.strip()


def build_base(commit, new_dir):
    """The folder of the base commit's benchmark programs, built when not already there."""
    cache = pathlib.Path.home() / ".cache" / "kivdbxt" / f"bench-{commit}"
    src, build = cache / "src", cache / "build"
    if not (src / "CMakeLists.txt").exists():
        shutil.rmtree(src, ignore_errors=True)
        src.mkdir(parents=True)
        archive = subprocess.Popen(["git", "-C", str(ROOT), "archive", commit],
                                   stdout=subprocess.PIPE)
        subprocess.run(["tar", "-x", "-C", str(src)], stdin=archive.stdout, check=True)
        if archive.wait() != 0:
            sys.exit(f"git archive {commit} failed")
    env = dict(os.environ)
    launcher = []
    if shutil.which("ccache"):  # as scripts/build does: paths hashed relative to the tree
        env.update(CCACHE_BASEDIR=str(src), CCACHE_NOHASHDIR="1",
                   CCACHE_DIR=env.get("CCACHE_DIR", str(pathlib.Path.home() / ".cache/ccache")))
        launcher = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"]
    build_type = "RelWithDebInfo"  # scripts/build's; the new build's own when it says
    cached = new_dir.parent / "CMakeCache.txt"
    if cached.exists():
        found = re.search(r"^CMAKE_BUILD_TYPE:\w+=(\S+)", cached.read_text(), re.M)
        build_type = found.group(1) if found else build_type
    quiet = {"stdout": subprocess.DEVNULL, "env": env, "check": True}
    subprocess.run(["cmake", "-S", str(src), "-B", str(build), f"-DCMAKE_BUILD_TYPE={build_type}",
                    "-DKIV_BUILD_TESTS=OFF", "-DKIV_BUILD_PYTHON=OFF", "-DKIV_BUILD_BENCH=ON",
                    *launcher], **quiet)
    targets = [p.stem for p in (src / "bench").glob("*_bench.cc")]
    subprocess.run(["cmake", "--build", str(build), f"-j{os.cpu_count()}", "--target", *targets],
                   **quiet)
    return build / "bench"


def listed(program):
    out = subprocess.run([str(program), "--benchmark_list_tests=true"], check=True,
                         capture_output=True, text=True).stdout
    return out.split()


def clock(*names):
    """The time benchmarks are judged by: the processor time of this process, which a busy
    machine changes far less than the time on the wall, unless one of them is measured on the
    wall (its work is in other processes or waits for the disk; grep -c runs as a child)."""
    wall = re.compile(r"/(real|manual)_time$|^GrepCount/")
    return "real_time" if any(wall.search(n) for n in names) else "cpu_time"


def run_once(program, names, min_time):
    """One run of a program limited to names: each benchmark's times in seconds (on the wall
    and in the processor), and the pairs (measured, baseline) of the lines it prints."""
    with tempfile.NamedTemporaryFile(suffix=".json") as out:
        args = [str(program), "--benchmark_filter=^(" + "|".join(map(re.escape, names)) + ")$",
                f"--benchmark_out={out.name}", "--benchmark_out_format=json"]
        if min_time:
            args.append(f"--benchmark_min_time={min_time}")
        done = subprocess.run(args, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            sys.exit(f"{program} failed with exit code {done.returncode}:\n{done.stderr}")
        report = json.load(open(out.name))
    scale = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
    times = {b["name"]: {c: b[c] * scale[b["time_unit"]] for c in ("real_time", "cpu_time")}
             for b in report["benchmarks"]
             if b.get("run_type") == "iteration" and not b.get("error_occurred")}
    pairs = [m.groups() for m in map(PAIR.match, COLOUR.sub("", done.stdout).splitlines()) if m]
    return times, pairs


def measure(old_dir, new_dir, programs, rounds, min_time, only):
    runs = {}
    for name in programs:
        old, new = old_dir / name, new_dir / name
        if not old.exists():
            print(f"not in the base: {name}", flush=True)
            continue
        in_old = set(listed(old))
        wanted = [n for n in listed(new) if re.search(only, n)]
        common = [n for n in wanted if n in in_old]
        # A hand-written baseline added since the base is the same code on both sides: the old
        # side's rounds take it from the new program, run right after the old one.
        added = [n for n in wanted if n not in in_old and NOT_LIBRARY.search(n)]
        if not common:
            continue
        runs[name] = {"old": [], "new": [], "pairs": {}}
        for r in range(rounds):
            for side, program in (("old", old), ("new", new)):
                times, pairs = run_once(program, common + added if side == "new" else common,
                                        min_time)
                if side == "old" and added:
                    times.update(run_once(new, added, min_time)[0])
                runs[name][side].append(times)
                for measured, baseline in pairs:
                    if NOT_LIBRARY.search(baseline) and not NOT_LIBRARY.search(measured):
                        runs[name]["pairs"].setdefault(measured, baseline)
            print(f"{name}: round {r + 1} of {rounds}", file=sys.stderr, flush=True)
    return runs


def same_run_baseline(name, pairs, common):
    """The benchmark of code other than the library's that the program prints name against."""
    baseline = pairs.get(name)
    return baseline if baseline in common else None


def pick(values, stat):
    return min(values) if stat == "min" else statistics.median(values)


def seconds(t):
    for unit, scale in (("s", 1), ("ms", 1e-3), ("µs", 1e-6)):
        if t >= scale:
            return f"{t / scale:.4g} {unit}"
    return f"{t / 1e-9:.4g} ns"


def report(runs, stat):
    """Prints a line per benchmark; returns how many were missed."""
    missed = 0
    for program, run in runs.items():
        common = set.intersection(*(set(t) for t in run["old"] + run["new"]))
        for name in sorted(common):
            baseline = same_run_baseline(name, run["pairs"], common)
            def value(t, name=name, baseline=baseline):
                if not baseline:
                    return t[name][clock(name)]
                c = clock(name, baseline)
                return t[name][c] / t[baseline][c]

            old = pick([value(t) for t in run["old"]], stat)
            new = pick([value(t) for t in run["new"]], stat)
            paired = sorted(value(n) / value(o) for o, n in zip(run["old"], run["new"]))
            shown = (f"{old:.3f}", f"{new:.3f}") if baseline else (seconds(old), seconds(new))
            what = f"{name} against {baseline}" if baseline else name
            detail = (f"old {shown[0]}, new {shown[1]}; rounds {paired[0]:.2f} to "
                      f"{paired[-1]:.2f}")
            if NOT_LIBRARY.search(name):
                print(f"same code: {program}: {what}: new/old = {new / old:.2f} ({detail})")
                continue
            ok = new / old <= ALLOWED
            missed += not ok
            print(f"line: {program}: {what}: new/old = {new / old:.2f} (at most {ALLOWED}; "
                  f"{detail}) {'met' if ok else 'MISSED'}")
    return missed


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("bench_dir", nargs="?", default=str(ROOT / "build" / "bench"),
                        help="the folder of the current *_bench programs (default build/bench)")
    parser.add_argument("--base", default=DEFAULT_BASE, help="the older commit")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--programs", help="comma-separated, e.g. dailylog_bench,dao_bench")
    parser.add_argument("--min-time", help="each benchmark's --benchmark_min_time")
    parser.add_argument("--filter", default="", help="only the benchmarks this regex finds")
    parser.add_argument("--statistic", choices=["median", "min"], default="median")
    parser.add_argument("--save-runs", type=pathlib.Path, help="write every round's times here")
    parser.add_argument("--load-runs", type=pathlib.Path, help="report saved rounds, run nothing")
    options = parser.parse_args()

    if options.load_runs:
        runs = json.loads(options.load_runs.read_text())
    else:
        new_dir = pathlib.Path(options.bench_dir).resolve()
        commit = git("rev-parse", "--verify", options.base + "^{commit}")
        old_dir = build_base(commit, new_dir)
        programs = (options.programs.split(",") if options.programs else
                    sorted(p.name for p in new_dir.glob("*_bench")))
        print(f"base {commit[:10]} ({old_dir}) against {new_dir}, {options.rounds} rounds",
              flush=True)
        runs = measure(old_dir, new_dir, programs, options.rounds, options.min_time,
                       options.filter)
        if options.save_runs:
            options.save_runs.write_text(json.dumps(runs, indent=1))
    return 1 if report(runs, options.statistic) else 0


if __name__ == "__main__":
    sys.exit(main())
