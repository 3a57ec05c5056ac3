#!/usr/bin/python3
"""Checks the Windows arm64 library as Windows' loader and the Xojo IDE would
meet it: a PE32+ DLL for ARM64 with dynamic base, high-entropy addresses and
NX compatibility; known sections, none both writable and executable; base
relocations of 64-bit addresses only, each inside the image; no static
thread-local storage, delay-load or bound imports; an export table holding
exactly REALPluginMain, pointing into code; an import table naming only the
DLLs and names of the project's import definitions, by name. Any other
finding fails. Usage: check_windows_library.py LIBRARY IMPORTS_DIR
(IMPORTS_DIR holds one NAME.def per allowed DLL)
"""
import os
import re
import struct
import sys

MACHINE_ARM64 = 0xAA64
EXPORTS = {"REALPluginMain"}
SECTIONS = {".text", ".rdata", ".data", ".pdata", ".reloc", ".bss"}
EXECUTE, READ, WRITE = 0x20000000, 0x40000000, 0x80000000
DIRS = ["export", "import", "resource", "exception", "certificate", "base relocation", "debug", "architecture",
        "global pointer", "thread-local storage", "load configuration", "bound import", "import address",
        "delay import", "runtime header", "reserved"]


def fail(why):
    sys.exit(f"check_windows_library: {sys.argv[1]}: {why}")


def allowed_imports(folder):
    allowed = {}
    for name in sorted(os.listdir(folder)):
        if not name.endswith(".def"):
            continue
        text = open(os.path.join(folder, name)).read()
        dll = re.search(r"^LIBRARY\s+(\S+)", text, re.M).group(1).lower()
        body = text.split("EXPORTS", 1)[1]
        allowed[dll] = {line.split()[0] for line in body.splitlines() if line.strip()}
    return allowed


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    data = open(sys.argv[1], "rb").read()
    allowed = allowed_imports(sys.argv[2])

    def get(fmt, at):
        if at < 0 or at + struct.calcsize(fmt) > len(data):
            fail("the file ends inside a header")
        return struct.unpack_from(fmt, data, at)

    if data[:2] != b"MZ":
        fail("no DOS header")
    pe = get("<I", 0x3C)[0]
    if data[pe:pe + 4] != b"PE\0\0":
        fail("no PE signature")
    machine, nsections, _, _, _, opt_size, flags = get("<HHIIIHH", pe + 4)
    if machine != MACHINE_ARM64:
        fail(f"machine 0x{machine:04X}, not ARM64 (0xAA64)")
    for bit, what in ((0x2000, "a DLL"), (0x0002, "executable"), (0x0020, "large-address aware")):
        if not flags & bit:
            fail(f"the image is not {what}")
    opt = pe + 24
    if get("<H", opt)[0] != 0x20B:
        fail("not PE32+")
    entry = get("<I", opt + 16)[0]
    section_align, file_align = get("<II", opt + 32)
    image_size, headers_size = get("<II", opt + 56)
    dll_flags = get("<H", opt + 70)[0]
    for bit, what in ((0x40, "dynamic base"), (0x100, "NX compatibility"), (0x20, "high-entropy addresses")):
        if not dll_flags & bit:
            fail(f"no {what}")
    if dll_flags & 0x80:
        fail("forced integrity (a signature check the library cannot pass)")
    if section_align != 4096 or file_align < 512 or file_align & (file_align - 1):
        fail(f"section alignment {section_align}, file alignment {file_align}")
    ndirs = get("<I", opt + 108)[0]
    if ndirs > 16 or 112 + 8 * ndirs > opt_size:
        fail(f"{ndirs} data directories")
    dirs = [get("<II", opt + 112 + 8 * k) for k in range(ndirs)] + [(0, 0)] * (16 - ndirs)
    for k in (9, 11, 13, 14):
        if dirs[k][1]:
            fail(f"a {DIRS[k]} directory, which nothing here provides")

    sections = []
    for k in range(nsections):
        at = opt + opt_size + 40 * k
        name = data[at:at + 8].rstrip(b"\0").decode("latin-1")
        vsize, vaddr, raw_size, raw_at = get("<IIII", at + 8)
        characteristics = get("<I", at + 36)[0]
        if name not in SECTIONS:
            fail(f"section {name!r}, which the build does not make (an initializer or another runtime's data?)")
        if characteristics & EXECUTE and characteristics & WRITE:
            fail(f"section {name} is writable and executable")
        if vaddr % section_align or vaddr + max(vsize, raw_size) > image_size:
            fail(f"section {name} lies outside the image")
        if raw_size and (raw_at % file_align or raw_at + raw_size > len(data)):
            fail(f"section {name} lies outside the file")
        sections.append((name, vaddr, max(vsize, raw_size), raw_at, raw_size, characteristics))
    if headers_size > (sections[0][1] if sections else 0):
        fail("the headers overlap the first section")

    def section_of(rva):
        for s in sections:
            if s[1] <= rva < s[1] + s[2]:
                return s
        return None

    def read(rva, n):
        s = section_of(rva)
        if s is None or rva + n > s[1] + s[2]:
            fail(f"a table at 0x{rva:X} lies outside the sections")
        off = rva - s[1]
        chunk = data[s[3] + off:s[3] + min(off + n, s[4])] if off < s[4] else b""
        return chunk + b"\0" * (n - len(chunk))

    def u32(rva):
        return struct.unpack("<I", read(rva, 4))[0]

    def cstring(rva):
        s = section_of(rva)
        if s is None:
            fail(f"a name at 0x{rva:X} lies outside the sections")
        text = read(rva, s[1] + s[2] - rva)
        if b"\0" not in text:
            fail("a name has no end")
        return text.split(b"\0", 1)[0].decode("latin-1")

    code = section_of(entry)
    if entry == 0 or code is None or not code[5] & EXECUTE:
        fail("the entry point is not in code")

    # Base relocations: 64-bit addresses only, each inside a section.
    at, size = dirs[5]
    if size == 0:
        fail("no base relocations (the image cannot move)")
    end, count = at + size, 0
    while at < end:
        page, block = struct.unpack("<II", read(at, 8))
        if block < 8 or block % 2 or at + block > end:
            fail("a relocation block has a wrong size")
        for k in range(8, block, 2):
            entry_word = struct.unpack("<H", read(at + k, 2))[0]
            kind, offset = entry_word >> 12, entry_word & 0xFFF
            if kind == 0:
                continue
            if kind != 10:
                fail(f"relocation type {kind}, not a 64-bit address")
            target = section_of(page + offset)
            if target is None or page + offset + 8 > target[1] + target[2]:
                fail(f"a relocation at 0x{page + offset:X} lies outside the sections")
            count += 1
        at += block

    # Exports: exactly the plugin's entry, pointing into code.
    at, size = dirs[0]
    if size == 0:
        fail("no export table")
    nfunctions, nnames, functions, names, ordinals = struct.unpack("<IIIII", read(at + 20, 20))
    exported, named = {}, set()
    for k in range(nnames):
        ordinal = struct.unpack("<H", read(ordinals + 2 * k, 2))[0]
        if ordinal >= nfunctions:
            fail("an export's ordinal lies outside its table")
        exported[cstring(u32(names + 4 * k))] = u32(functions + 4 * ordinal)
        named.add(ordinal)
    # The linker leaves unused ordinals at zero; any other unnamed one is an
    # export by ordinal only.
    for k in range(nfunctions):
        if k not in named and u32(functions + 4 * k):
            fail(f"ordinal {k} is exported without a name")
    if set(exported) != EXPORTS:
        fail(f"exports {sorted(exported)}, not exactly {sorted(EXPORTS)}")
    for name, rva in exported.items():
        target = section_of(rva)
        if target is None or not target[5] & EXECUTE:
            fail(f"the export {name} does not point into code")

    # Imports: only the allowed DLLs and names, each by name.
    at, size = dirs[1]
    imported = []
    while True:
        lookup, _, _, name_rva, thunks = struct.unpack("<IIIII", read(at, 20))
        if not (lookup or name_rva or thunks):
            break
        dll = cstring(name_rva)
        if dll.lower() not in allowed:
            fail(f"imports from {dll}, which is not one of {sorted(allowed)}")
        k = 0
        while True:
            item = struct.unpack("<Q", read((lookup or thunks) + 8 * k, 8))[0]
            if item == 0:
                break
            if item >> 63:
                fail(f"imports ordinal {item & 0xFFFF} from {dll}")
            name = cstring((item & 0x7FFFFFFF) + 2)
            if name not in allowed[dll.lower()]:
                fail(f"imports {dll}!{name}, which its definitions do not list")
            imported.append(f"{dll}!{name}")
            k += 1
        at += 20
    print(f"check_windows_library: {sys.argv[1]}: PE32+ ARM64 DLL, dynamic base, NX; {len(sections)} sections, "
          f"{count} relocations; exports {', '.join(sorted(exported))}; {len(imported)} imports from "
          f"{len({i.split('!')[0] for i in imported})} system DLLs")


main()
