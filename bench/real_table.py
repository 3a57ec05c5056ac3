#!/usr/bin/python3
"""The methods on the texts users have (mail bodies, dump rows, query strings,
pages, statements, accented prose, yEnc articles), at each vector level: the
plugin's own time and the time through the host at 20 bytes (ns per call),
and GB/s of input at 1 KiB and 1 MiB, medians of repetitions, one process per level and size. The last
column scales the 1 MiB figure to a machine whose memcpy of 1 MiB runs at
44 GB/s, by the memcpy this run measures. With --runs N, each cell is the
median of N runs.

Usage: real_table.py BUILD_DIR [--levels 1,2,4] [--repetitions N] [--cpu N] [--runs N]
Levels: 0 plain, 1 SSE2 (NEON), 2 AVX2, 3 AVX-512, 4 AVX-512 with VBMI2; a
level the CPU lacks runs as the highest below it, and the table says which.
"""
import argparse
import json
import os
import statistics
import subprocess

LEVEL_NAMES = {0: "plain", 1: "SSE2", 2: "AVX2", 3: "AVX-512", 4: "VBMI2"}
# (bench, row): the realistic rows of each method benchmark.
ROWS = [
    ("byte_methods_bench", "DecodingFromQuotedPrintable/mail"),
    ("byte_methods_bench", "DecodingFromQuotedPrintable/paragraphs"),
    ("byte_methods_bench", "EncodingToQuotedPrintable/crlf_prose"),
    ("byte_methods_bench", "yDecodeString/typical"),
    ("byte_methods_bench", "DecodingFromMySQL/dump"),
    ("byte_methods_bench", "EncodingToURL/query"),
    ("byte_methods_bench", "EncodingToURL/nonlatin"),
    ("byte_methods_bench", "DecodingFromURL/query"),
    ("byte_methods_bench", "DecodingFromURL/nonlatin"),
    ("byte_methods_bench", "Hexstring/random"),
    ("byte_methods_bench", "CountOccurances_the/prose"),
    ("text_methods_bench", "EncodingToHTML/html_like"),
    ("text_methods_bench", "DecodingFromHTML/page"),
    ("text_methods_bench", "RemoveHTMLTags/page"),
    ("text_methods_bench", "RemoveHTMLTagsWith/page"),
    ("text_methods_bench", "SQLReplaceBoolean/statements"),
    ("text_methods_bench", "EncodingToISO8859/prose"),
    ("text_methods_bench", "EncodingToCP1252/prose"),
    ("text_methods_bench", "DecodingFromISO8859/prose"),
    ("text_methods_bench", "DecodingFromCP1252/prose"),
]


def run(build, bench, regex, level, repetitions, cpu):
    cmd = [os.path.join(build, "bench", bench), f"--benchmark_filter={regex}",
           f"--benchmark_repetitions={repetitions}", "--benchmark_report_aggregates_only=true",
           "--benchmark_format=json", "--benchmark_min_time=0.1"]
    if cpu is not None:
        cmd = ["taskset", "-c", str(cpu)] + cmd
    env = dict(os.environ)
    env.pop("ZTK_BENCH_LEVEL", None)
    if level is not None:
        env["ZTK_BENCH_LEVEL"] = str(level)
    out = json.loads(subprocess.run(cmd, capture_output=True, text=True, check=True, env=env).stdout)
    in_force = out.get("context", {}).get("ztk_level")
    # One repetition reports no aggregate: its one run stands for the median.
    medians = {b["run_name"]: b for b in out["benchmarks"]
               if b.get("aggregate_name") == "median" or (repetitions == 1 and b.get("run_type") == "iteration")}
    return medians, (int(in_force) if in_force is not None else None)


def measure(args, levels, sizes):
    """One run: the memcpy yardstick, the cells of every row at each level, and the levels in force."""
    copy, _ = run(args.build, "byte_methods_bench", "^Memcpy/", None, args.repetitions, args.cpu)
    memcpy_gbs = (1 << 20) / next(iter(copy.values()))["cpu_time"]
    table = {}  # (row, level) -> [(plugin ns, host ns) or None at each size]
    forced = {}
    for level in levels:
        for bench in sorted({b for b, _ in ROWS}):
            names = [r for b, r in ROWS if b == bench]
            for size in sizes:
                regex = "^(" + "|".join(names) + f")/{size}$"
                medians, in_force = run(args.build, bench, regex, level, args.repetitions, args.cpu)
                forced[level] = in_force
                for name in names:
                    b = medians.get(f"{name}/{size}")
                    # The plugin's own time, and the time through the host (its services added).
                    cell = (b["plugin_ns"], b["plugin_ns"] + b.get("services_ns", 0.0)) if b else None
                    table.setdefault((name, level), []).append(cell)
    return memcpy_gbs, table, forced


def median_cell(cells):
    """The median of each figure of a cell over the runs (None where a run has none)."""
    kept = [c for c in cells if c and c[0]]
    if not kept:
        return None
    return tuple(statistics.median(c[k] for c in kept) for k in range(2))


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("build")
    ap.add_argument("--levels", default="1,2,4")
    ap.add_argument("--repetitions", type=int, default=5)
    ap.add_argument("--cpu", type=int)
    # Several runs, each cell their median: on a shared machine one run's cells
    # can be up to 2x off for minutes at a time.
    ap.add_argument("--runs", type=int, default=1)
    args = ap.parse_args()
    levels = [int(x) for x in args.levels.split(",")]
    sizes = [20, 1 << 10, 1 << 20]

    runs = [measure(args, levels, sizes) for _ in range(args.runs)]
    forced = runs[0][2]
    copies = [r[0] for r in runs]
    if args.runs == 1:
        scale = 44.0 / copies[0]
        print(f"memcpy of 1 MiB: {copies[0]:.1f} GB/s; scaled = measured x {scale:.2f} (to 44 GB/s)\n")
    else:
        print(f"memcpy of 1 MiB: {statistics.median(copies):.1f} GB/s (runs: "
              + ", ".join(f"{c:.1f}" for c in copies) + "); each run scaled by its own\n")
    print("Plugin: the plugin's own time; host: through the host, its services (string copies, building) added.\n")
    print("| Method / input | Level | 20 B plugin / host (ns) | 1 KiB plugin / host (GB/s) "
          "| 1 MiB plugin / host (GB/s) | 1 MiB plugin scaled (GB/s) |")
    print("|---|---|---:|---:|---:|---:|")
    for _, name in ROWS:
        for level in levels:
            cells_at = [median_cell([r[1][(name, level)][k] for r in runs]) for k in range(len(sizes))]
            shown = LEVEL_NAMES.get(forced[level], "?")
            short = cells_at[0]
            cells = ["-" if short is None else f"{short[0]:.0f} / {short[1]:.0f}"]
            for size, c in zip(sizes[1:], cells_at[1:]):
                cells.append("-" if not c else f"{size / c[0]:.2f} / {size / c[1]:.2f}")
            # Scaled by each run's own memcpy, then the median.
            scaled = [(1 << 20) / r[1][(name, level)][2][0] * 44.0 / r[0] for r in runs
                      if r[1][(name, level)][2] and r[1][(name, level)][2][0]]
            cells.append("-" if not scaled else f"{statistics.median(scaled):.2f}")
            print(f"| {name} | {shown} | " + " | ".join(cells) + " |")


if __name__ == "__main__":
    main()
