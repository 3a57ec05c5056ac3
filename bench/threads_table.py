#!/usr/bin/python3
"""One Markdown table of the threads benchmark: every method's throughput with
one thread and with two at 1 KiB and 1 MiB of input (or in calls, for the
methods that read no text), through the host by wall-clock time and in the
plugin's own time, and the ratio of two threads to one; medians of
repetitions. Usage: threads_table.py BUILD_DIR [--repetitions N] [--min-time S]
"""
import argparse
import json
import os
import re
import subprocess


def run(bench, repetitions, min_time):
    cmd = [bench, f"--benchmark_repetitions={repetitions}", "--benchmark_report_aggregates_only=true",
           "--benchmark_format=json", f"--benchmark_min_time={min_time}"]
    out = json.loads(subprocess.run(cmd, capture_output=True, text=True, check=True).stdout)
    rows = {}
    for b in out["benchmarks"]:
        if b.get("aggregate_name") != "median":
            continue
        m = re.match(r"(.+)#\d+/(\d+)/real_time/threads:(\d+)$", b["run_name"])
        name, size, threads = m.group(1), int(m.group(2)), int(m.group(3))
        via = b.get("bytes_per_second") or b.get("items_per_second")
        own = b.get("plugin_bytes/s") or b.get("plugin_calls/s")
        rows.setdefault((name, b["run_name"].split("/")[0]), {})[(size, threads)] = (via, own)
    return out["context"], rows


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("build")
    ap.add_argument("--repetitions", type=int, default=3)
    ap.add_argument("--min-time", default="0.3")
    args = ap.parse_args()
    context, rows = run(os.path.join(args.build, "bench", "threads_bench"), args.repetitions, args.min_time)
    print(f"{context.get('num_cpus')} CPUs, {args.repetitions} repetitions (medians)\n")
    print("| Method | Size | 1 thread: via host / plugin | 2 threads: via host / plugin | Ratio via host / plugin |")
    print("|---|---|---:|---:|---:|")
    worst = []
    for (name, _), cells in rows.items():
        for size in sorted({s for s, _ in cells}):
            one, two = cells.get((size, 1)), cells.get((size, 2))
            if not one or not two:
                continue
            unit, scale = ("M calls/s", 1e6) if size == 0 else ("GB/s", 1e9)
            label = "per call" if size == 0 else ("1 KiB" if size == 1024 else "1 MiB")
            ratio_via = two[0] / one[0]
            ratio_own = two[1] / one[1] if one[1] and two[1] else float("nan")
            worst.append((ratio_via, ratio_own, name, label))
            print(f"| {name} | {label} | {one[0] / scale:.3g} / {(one[1] or 0) / scale:.3g} {unit} | "
                  f"{two[0] / scale:.3g} / {(two[1] or 0) / scale:.3g} {unit} | {ratio_via:.2f}x / {ratio_own:.2f}x |")
    worst.sort()
    print("\nLowest ratios via host: " + ", ".join(f"{n} {l} {v:.2f}x" for v, _, n, l in worst[:5]))
    worst.sort(key=lambda w: w[1])
    print("Lowest ratios in the plugin: " + ", ".join(f"{n} {l} {o:.2f}x" for _, o, n, l in worst[:5]))


if __name__ == "__main__":
    main()
