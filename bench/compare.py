#!/usr/bin/python3
"""Two builds side by side: the plugin's own time per call of every method
benchmark at 20 B, 1 KiB and 1 MiB, as medians of repetitions, and the ratio
new / old (above 1 is slower). The two builds' runs alternate, size by size
and round by round (the one that runs first alternating too), so that a
drift of the machine touches both alike.

Usage: compare.py OLD_BUILD NEW_BUILD [--bench byte_methods_bench]
                  [--rounds 3] [--repetitions 5] [--filter REGEX] [--cpu N]
                  [--harness BUILD]
Lists the rows whose ratio is above --flag (default 1.05) after the table.
With --harness, both libraries (OLD_BUILD/ZTKStrings.so and NEW_BUILD's, or
the library files themselves) run under that build's benchmark and host, so
that only the library differs: the host's heap and code (where its strings
lie, how its calls line up) otherwise move the short calls by 10-20%.
With --control (and --harness), a copy of the old library runs as a third
build in the same rounds: its ratio to the old one is what the machine alone
makes of identical code, printed beside each cell, and the rows of the new
build above --flag that the copy also reaches are listed apart.
"""
import shutil
import tempfile
import argparse
import json
import os
import statistics
import subprocess


def run(bench, size, repetitions, regex, cpu, library=None):
    cmd = [bench, f"--benchmark_filter=({regex}).*/{size}$", f"--benchmark_repetitions={repetitions}",
           "--benchmark_report_aggregates_only=true", "--benchmark_format=json", "--benchmark_min_time=0.05"]
    if cpu is not None:
        cmd = ["taskset", "-c", str(cpu)] + cmd
    env = dict(os.environ)
    env.pop("ZTK_BENCH_LIBRARY", None)
    if library is not None:
        env["ZTK_BENCH_LIBRARY"] = library
    out = json.loads(subprocess.run(cmd, capture_output=True, text=True, check=True, env=env).stdout)
    return {b["run_name"].rsplit("/", 1)[0]: b["plugin_ns"]
            for b in out["benchmarks"] if b.get("aggregate_name") == "median" and "plugin_ns" in b}


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("old")
    ap.add_argument("new")
    ap.add_argument("--bench", default="byte_methods_bench")
    ap.add_argument("--rounds", type=int, default=3)
    ap.add_argument("--repetitions", type=int, default=5)
    ap.add_argument("--filter", default=".*")
    ap.add_argument("--cpu", type=int)
    ap.add_argument("--flag", type=float, default=1.05)
    ap.add_argument("--harness")
    ap.add_argument("--control", action="store_true")
    args = ap.parse_args()
    if args.control and not args.harness:
        ap.error("--control needs --harness")

    def library_of(build):
        # With ZTK_BENCH_LEVEL set, the level is limited through the probe build.
        probe = os.environ.get("ZTK_BENCH_LEVEL", "") != ""
        return build if os.path.isfile(build) else os.path.join(build, "ZTKStrings_probe.so" if probe else "ZTKStrings.so")

    builds = [args.old, args.new]
    if args.control:
        # The copy has a path of its own, so that it is loaded as a library of its own.
        control = os.path.join(tempfile.mkdtemp(prefix="ztk-control-"), "ZTKStrings.so")
        shutil.copyfile(library_of(args.old), control)
        builds.append(control)
    sizes = [20, 1 << 10, 1 << 20]
    times = {}  # (build, size, row) -> [medians]
    for round_ in range(args.rounds):
        for size in sizes:
            # Which build runs first rotates, so that a machine warming up
            # or slowing down within a round touches every build alike.
            k = round_ % len(builds)
            for build in builds[k:] + builds[:k]:
                if args.harness:
                    bench = os.path.join(args.harness, "bench", args.bench)
                    library = library_of(build)
                else:
                    bench, library = os.path.join(build, "bench", args.bench), None
                for row, ns in run(bench, size, args.repetitions, args.filter, args.cpu, library).items():
                    times.setdefault((build, size, row), []).append(ns)
    rows = sorted({row for (_, _, row) in times})
    if args.control:
        print("| Method / input | 20 B old / new (ns) | ratio | copy | 1 KiB old / new (ns) | ratio | copy "
              "| 1 MiB old / new (us) | ratio | copy |")
        print("|---|---:|---:|---:|---:|---:|---:|---:|---:|---:|")
    else:
        print("| Method / input | 20 B old / new (ns) | ratio | 1 KiB old / new (ns) | ratio | 1 MiB old / new (us) | ratio |")
        print("|---|---:|---:|---:|---:|---:|---:|")
    flagged, spread, copies = [], [], 0
    for row in rows:
        line = [row]
        for size in sizes:
            old = times.get((args.old, size, row))
            new = times.get((args.new, size, row))
            if not old or not new:
                line += ["—", "—"] + (["—"] if args.control else [])
                continue
            o, n = statistics.median(old), statistics.median(new)
            scale = 1000.0 if size == sizes[-1] else 1.0
            line += [f"{o / scale:.4g} / {n / scale:.4g}", f"{n / o:.2f}"]
            c = None
            if args.control:
                c = statistics.median(times[(builds[2], size, row)]) / o
                line.append(f"{c:.2f}")
                copies += c > args.flag
            if n / o > args.flag:
                cell = f"{row} at {size} B: {n / o:.2f}"
                if c is not None and c >= n / o:
                    spread.append(cell + f" (copy {c:.2f})")
                else:
                    flagged.append(cell)
        print("| " + " | ".join(line) + " |")
    print()
    print("Above %.2f: %s" % (args.flag, "; ".join(flagged) if flagged else "none"))
    if args.control:
        cells = sum(1 for key in times if key[0] == args.old)
        print("Above %.2f, and no further than the old library's copy: %s" % (args.flag, "; ".join(spread) or "none"))
        print("The copy itself above %.2f in %d of %d cells." % (args.flag, copies, cells))

if __name__ == "__main__":
    main()
