#!/usr/bin/python3
"""The Windows x86-64 library's kernels beside the Linux library's on this
machine: runs each build's kernel_clock in turn (the Windows one under wine64),
`--runs` times alternately, keeps each kernel's best, and prints a Markdown
table with the ratio Windows / Linux per level.

Usage: kernel_clock_table.py LINUX_BUILD WINDOWS_BUILD [--runs 3] [--wine wine64]
"""
import argparse
import os
import subprocess


def run(cmd):
    rows = {}
    for line in subprocess.run(cmd, capture_output=True, text=True, check=True).stdout.splitlines():
        name, level, rate = line.split("\t")
        rows[(name, level)] = float(rate)
    return rows


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("linux")
    ap.add_argument("windows")
    ap.add_argument("--runs", type=int, default=3)
    ap.add_argument("--wine", default="wine64")
    args = ap.parse_args()
    best = {"linux": {}, "windows": {}}
    for _ in range(args.runs):
        for which, cmd in (("linux", [os.path.join(args.linux, "kernel_clock")]),
                           ("windows", [args.wine, os.path.join(args.windows, "kernel_clock.exe")])):
            for key, rate in run(cmd).items():
                best[which][key] = max(rate, best[which].get(key, 0.0))
    names, levels = [], []
    for name, level in best["linux"]:
        if name not in names:
            names.append(name)
        if level not in levels:
            levels.append(level)
    print("| Kernel (64 KiB, GB/s) | Level | Linux | Windows (wine64) | Windows / Linux |")
    print("|---|---|---:|---:|---:|")
    for name in names:
        for level in levels:
            l, w = best["linux"].get((name, level)), best["windows"].get((name, level))
            if l is None or w is None:
                continue
            print(f"| {name} | {level} | {l:.1f} | {w:.1f} | {w / l:.2f} |")


if __name__ == "__main__":
    main()
