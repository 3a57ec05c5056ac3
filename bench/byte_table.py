#!/usr/bin/python3
"""One Markdown table of every byte-method benchmark: the plugin's own time and
the time through the host at 20 bytes (ns per call), 1 KiB and 1 MiB (GB/s of
input), as medians of repetitions, one process per size. Optionally pinned to
one CPU (--cpu N). Usage: byte_table.py BUILD_DIR [--repetitions N] [--cpu N]
[--bench byte_methods_bench|text_methods_bench]
"""
import argparse
import json
import os
import subprocess


def run(bench, size, repetitions, cpu):
    cmd = [bench, f"--benchmark_filter=/{size}$", f"--benchmark_repetitions={repetitions}",
           "--benchmark_report_aggregates_only=true", "--benchmark_format=json", "--benchmark_min_time=0.1"]
    if cpu is not None:
        cmd = ["taskset", "-c", str(cpu)] + cmd
    out = json.loads(subprocess.run(cmd, capture_output=True, text=True, check=True).stdout)
    rows = {}
    for b in out["benchmarks"]:
        if b.get("aggregate_name") == "median":
            rows[b["run_name"].rsplit("/", 1)[0]] = (b["plugin_ns"], b["plugin_ns"] + b["services_ns"])
    return rows


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("build")
    ap.add_argument("--repetitions", type=int, default=5)
    ap.add_argument("--cpu", type=int)
    ap.add_argument("--bench", default="byte_methods_bench")
    args = ap.parse_args()
    bench = os.path.join(args.build, "bench", args.bench)
    sizes = [20, 1 << 10, 1 << 20]
    results = {size: run(bench, size, args.repetitions, args.cpu) for size in sizes}
    print("| Method / input | 20 B: plugin / via host (ns) | 1 KiB: plugin / via host (GB/s) | "
          "1 MiB: plugin / via host (GB/s) |")
    print("|---|---:|---:|---:|")
    for row in results[sizes[0]]:
        cells = []
        for size in sizes:
            own, via = results[size].get(row, (None, None))
            if own is None:
                cells.append("-")
            elif size == 20:
                cells.append(f"{own:.0f} / {via:.0f}")
            else:
                # A method that only hands its argument back can measure 0 ns of its own.
                mine = f"{size / own:.3g}" if own > 0 else "(0 ns)"
                cells.append(f"{mine} / {size / via:.3g}")
        print(f"| {row} | " + " | ".join(cells) + " |")


if __name__ == "__main__":
    main()
