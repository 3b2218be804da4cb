#!/usr/bin/env python3
"""A Python EventLogWrite against the same call from C++ (dailylog_bench's LibraryWrite): the
same arguments, a log of its own in a fresh folder, medians of repeated batches.

    PYTHONPATH=build/python /usr/bin/python3 bench/python_write_bench.py [build/bench/dailylog_bench]
"""
import json
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

import kivdbxt

RAW = "order 123456 shipped to warehouse 7, 3 parcels"  # as in dailylog_bench
LIMIT = 1.3


def python_ns_per_write(batches=5, calls=20000):
    folder = tempfile.mkdtemp(prefix="kivbench-py-")
    try:
        log = kivdbxt.KivLog()
        Id = log.EventLogOpen("BENCH", folder, kivdbxt.ELOF_CREATE_ALWAYS, 0, "host", "user")[0]
        write = log.EventLogWrite
        info = kivdbxt.EVENTLOG_INFORMATION_TYPE
        times = []
        for _ in range(batches):
            start = time.perf_counter_ns()
            for _ in range(calls):
                if write(Id, "bench", RAW, kivdbxt.RWDT_ASCII, info, "cat", 7):
                    raise SystemExit("write failed: %r" % (kivdbxt.LastErrorRecord(),))
            times.append((time.perf_counter_ns() - start) / calls)
        log.EventLogClose(Id)
        return statistics.median(times)
    finally:
        shutil.rmtree(folder, ignore_errors=True)


def cpp_ns_per_write(program):
    # The program prints its own target lines after the results: read them from a file.
    with tempfile.NamedTemporaryFile(suffix=".json") as out:
        subprocess.run([program, "--benchmark_filter=^LibraryWrite$", "--benchmark_repetitions=5",
                        "--benchmark_out=" + out.name, "--benchmark_out_format=json"],
                       check=True, capture_output=True)
        runs = json.load(open(out.name))["benchmarks"]
    median = [b for b in runs if b.get("aggregate_name") == "median"][0]
    scale = {"ns": 1, "us": 1e3, "ms": 1e6}[median["time_unit"]]
    return median["real_time"] * scale


def main():
    program = sys.argv[1] if len(sys.argv) > 1 else os.path.join("build", "bench", "dailylog_bench")
    cpp = cpp_ns_per_write(program)
    py = python_ns_per_write()
    ratio = py / cpp
    print("EventLogWrite from C++:    %8.0f ns" % cpp)
    print("EventLogWrite from Python: %8.0f ns" % py)
    print("python/c++ %.2f (limit %.1f): %s" % (ratio, LIMIT, "met" if ratio <= LIMIT else "NOT met"))
    return 0 if ratio <= LIMIT else 1


if __name__ == "__main__":
    sys.exit(main())
