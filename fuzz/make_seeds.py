#!/usr/bin/env python3
"""Writes the seed corpus of methods_fuzz: for every registry row, calls with
texts the codecs react to, under the newest host and under an old one. Run
from the repository root; the seeds are committed (fuzz/corpus/methods)."""
import os
import re
import struct

rows = []
for line in open("src/frame/methods.def"):
    m = re.match(r'ZTK_METHOD\((\d+), \w+, "[^"]*", (\w)\(([^)]*)\)\)', line)
    if m:
        rows.append([p.strip() for p in m.group(3).split(",") if p.strip()])

TEXTS = [b"a&amp;b %41=\r\n<p>true &#x20AC; caf\xc3\xa9", b"=41=\r\n\\n\\'%zz&lt", b""]
# A length byte of 0xF0 + k asks for 64 * (k + 1) bytes: texts past the short-input paths.
LONG = (b"The quick brown fox & the lazy dog = %41 <b>true</b>\r\n" * 8)[:320]
out = "fuzz/corpus/methods"
os.makedirs(out, exist_ok=True)
for index, params in enumerate(rows):
    for variant, text in enumerate(TEXTS):
        kind = 6 if variant != 1 else 1  # host 2024.0 / 2011.04, nothing withheld
        seed = bytes([kind, 0, 0, 4, index])
        for p in params:
            if p == "S":
                seed += bytes([2, len(text)]) + text  # a UTF-8 string
            elif p == "M":
                seed += bytes([1, len(text)]) + text
            elif p == "I":
                seed += bytes([16 + 2 + variant])  # small integers
            elif p == "D":
                seed += struct.pack(">d", 3.25)
            else:
                seed += bytes([1])
        with open(os.path.join(out, "row%02d-%d" % (index, variant)), "wb") as f:
            f.write(seed)
    # Long texts, and small integers that are common layouts and lengths (2, 16, 72).
    seed = bytes([6, 0, 0, 4, index])
    ints = iter([2, 16, 72, 2, 16, 72])
    for p in params:
        if p in "SM":
            seed += bytes([2 if p == "S" else 1, 0xF4]) + LONG
        elif p == "I":
            seed += bytes([next(ints) + 16])
        elif p == "D":
            seed += struct.pack(">d", 1e300)
        else:
            seed += bytes([0])
    with open(os.path.join(out, "row%02d-long" % index), "wb") as f:
        f.write(seed)
print(len(rows), "rows")
