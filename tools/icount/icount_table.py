#!/usr/bin/env python3
"""Instructions per input byte of every method, counted under qemu user mode.

Runs the instruction-count driver (tools/icount/icount_driver.cpp) of each
build directory under qemu with the counting plugin: the x86-64 build at each
vector level, the arm64 and the 32-bit ARM builds at their best level. Prints
one Markdown table. Builds nothing: see docs/instruction_counts.md.

usage: icount_table.py --x86-64 build/dev --arm64 build/icount-linux-arm64
                       --arm build/icount-linux-arm [--plugin PATH] [--size BYTES]
A platform left out is left out of the table.
"""
import argparse
import os
import subprocess
import sys
import time

X86_LEVELS = [(0, "x86-64 plain"), (1, "SSE2"), (2, "AVX2"), (3, "AVX-512"), (4, "VBMI2")]


def find(build, name):
    for where in (os.path.join(build, "tools", "icount", name), os.path.join(build, name)):
        if os.path.exists(where):
            return where
    sys.exit(f"icount_table: no {name} in {build} (build the target icount_driver there)")


def run(command):
    """The driver's measurements: {(method, row, arity, input): (bytes, count)}, and the level in force."""
    started = time.monotonic()
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if done.returncode != 0:
        sys.exit(f"icount_table: {' '.join(command)} failed ({done.returncode}):\n{done.stderr}")
    rows, level = {}, None
    for line in done.stdout.splitlines():
        fields = line.split("\t")
        if fields[0] == "# level":
            level = int(fields[2])
            continue
        method, row, arity, what, size, count, _ = fields
        rows[(method, int(row), int(arity), what)] = (int(size), int(count))
    print(f"icount_table: {os.path.basename(command[0])} {' '.join(command[-2:])}: "
          f"{time.monotonic() - started:.1f} s", file=sys.stderr)
    return rows, level


def per_unit(size, count):
    return count / size if size > 0 else float(count)


def cell(value):
    if value is None:
        return "—"
    if value >= 100:
        return f"{value:.0f}"
    if value >= 10:
        return f"{value:.1f}"
    if value >= 0.1:
        return f"{value:.2f}"
    return f"{value:.3f}" if value >= 0.001 else ("0" if value == 0 else f"{value:.1e}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--x86-64", dest="x86", help="native x86-64 build directory (also holds the plugin)")
    parser.add_argument("--arm64", help="Linux arm64 build directory")
    parser.add_argument("--arm", help="Linux ARM (32-bit hard float) build directory")
    parser.add_argument("--plugin", help="the counting plugin (default: the x86-64 build's libztk_icount_tcg.so)")
    parser.add_argument("--size", type=int, default=1 << 20, help="input bytes per call (default 1 MiB)")
    args = parser.parse_args()

    plugin = args.plugin or (find(args.x86, "libztk_icount_tcg.so") if args.x86 else None)
    if plugin is None:
        sys.exit("icount_table: name the plugin (--plugin) or the x86-64 build that holds it (--x86-64)")
    plugin = os.path.abspath(plugin)
    size = ["--size", str(args.size)]

    columns = []  # (title, rows or None, note)
    notes = []
    if args.x86:
        driver = find(args.x86, "icount_driver")
        for level, title in X86_LEVELS:
            # -cpu max: qemu's default x86-64 model stops at SSE2; "max" adds what its translator can run.
            rows, in_force = run(["qemu-x86_64", "-cpu", "max", "-plugin", plugin, driver] + size + ["--level", str(level)])
            if in_force != level:
                notes.append(f"{title}: qemu-x86_64 -cpu max does not offer it (the library's detection stops at "
                             f"level {in_force}), so the column is empty.")
                rows = None
            columns.append((title, rows))
    if args.arm64:
        # Plain loops beside NEON: what the vector kernels save there.
        for level, title in ((0, "arm64 plain"), (4, "arm64")):
            rows, _ = run(["qemu-aarch64", "-L", "/usr/aarch64-linux-gnu", "-plugin", plugin,
                           find(args.arm64, "icount_driver")] + size + ["--level", str(level)])
            columns.append((title, rows))
    if args.arm:
        rows, _ = run(["qemu-arm", "-L", "/usr/arm-linux-gnueabihf", "-plugin", plugin,
                       find(args.arm, "icount_driver")] + size + ["--level", "4"])
        columns.append(("ARM 32-bit", rows))

    keys = []
    for _, rows in columns:
        for key in rows or {}:
            if key not in keys:
                keys.append(key)
    # Registry order, each method's realistic input first.
    keys.sort(key=lambda k: (k[1], k[3] != "mixed"))
    arities = {}
    for method, _, arity, _ in keys:
        arities.setdefault(method, set()).add(arity)

    titles = [title for title, _ in columns]
    ratio = "arm64 ÷ SSE2" if "arm64" in titles and "SSE2" in titles else None
    header = ["Method", "Input"] + titles + ([ratio] if ratio else [])
    print("| " + " | ".join(header) + " |")
    print("|" + "|".join(["---"] * 2 + ["--:"] * (len(header) - 2)) + "|")
    for key in keys:
        method, _, arity, what = key
        name = f"{method}/{arity}" if len(arities[method]) > 1 else method
        values = {}
        sizeless = False
        for title, rows in columns:
            if rows is not None and key in rows:
                bytes_, count = rows[key]
                sizeless = bytes_ == 0
                values[title] = per_unit(bytes_, count)
            else:
                values[title] = None
        line = [name, what + (" (per call)" if sizeless else "")] + [cell(values[t]) for t in titles]
        if ratio:
            a, s = values["arm64"], values["SSE2"]
            line.append(f"{a / s:.2f}" if a is not None and s else "—")
        print("| " + " | ".join(line) + " |")
    for note in notes:
        print(f"\n{note}")


if __name__ == "__main__":
    main()
