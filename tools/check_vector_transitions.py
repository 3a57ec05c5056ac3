#!/usr/bin/python3
"""Finds calls from wide-vector code into code built for plain SSE.

A function of the AVX2 or AVX-512 levels leaves the upper halves of the vector
registers in use until a vzeroupper. If it calls a function whose vector
instructions have the legacy (non-VEX) encoding before that, every such
instruction waits on the upper halves: on the CPUs measured here a 20-unit
HTML encoding took three times as long. The compiler adds vzeroupper before
calls to functions it does not see, not always before calls to functions of
the same source, which is where a shared helper without the level's
attribute ends up.

Reads the disassembly of a library (objdump -d) or a saved listing, walks each
function in address order, and prints every call made while a ymm or zmm
register was written since the last vzeroupper, to a function that holds a
legacy SSE instruction. Exits 1 on any.
Usage: check_vector_transitions.py LIBRARY_OR_LISTING
"""
import re
import subprocess
import sys

HEADER = re.compile(r"^([0-9a-f]+) <(.*)>:$")
INSTRUCTION = re.compile(r"^\s+([0-9a-f]+):\s+(\S+)\s*(.*)$")
TARGET = re.compile(r"^([0-9a-f]+) <(.*)>$")


def listing(path):
    with open(path, "rb") as f:
        if f.read(4) == b"\x7fELF":
            return subprocess.run(["objdump", "-d", "--no-show-raw-insn", "-C", path],
                                  capture_output=True, text=True, check=True).stdout
    with open(path, encoding="utf-8") as f:
        return f.read()


def functions(text):
    """{address: (name, [(mnemonic, operands)])}"""
    found, current = {}, None
    for line in text.splitlines():
        m = HEADER.match(line)
        if m:
            current = int(m.group(1), 16)
            found[current] = (m.group(2), [])
            continue
        m = INSTRUCTION.match(line)
        if m and current is not None:
            found[current][1].append((m.group(2), m.group(3)))
    return found


def legacy_sse(instructions):
    return any("%xmm" in ops and not mnemonic.startswith(("v", "k")) for mnemonic, ops in instructions)


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    found = functions(listing(sys.argv[1]))
    legacy = {address for address, (_, instructions) in found.items() if legacy_sse(instructions)}
    breaches = []
    for name, instructions in found.values():
        dirty = False
        for mnemonic, ops in instructions:
            if mnemonic == "vzeroupper":
                dirty = False
            elif "%ymm" in ops or "%zmm" in ops:
                dirty = True
            elif mnemonic.startswith(("call", "jmp")) and dirty:
                m = TARGET.match(ops)
                if m and "+" not in m.group(2) and int(m.group(1), 16) in legacy:
                    breaches.append(f"{name}\n    calls {m.group(2)} with wide registers live")
    for b in breaches:
        print(b)
    print(f"{len(breaches)} calls into legacy SSE code with wide registers live")
    return 1 if breaches else 0


if __name__ == "__main__":
    sys.exit(main())
