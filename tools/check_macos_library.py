#!/usr/bin/python3
"""Checks the macOS universal library as Apple's loader and the Xojo IDE would
meet it: one x86_64 slice (aligned at 2^12, for macOS 10.13 on) and one arm64
slice (aligned at 2^14, for macOS 11 on), each a dynamic library that links
only the system library, exports exactly _REALPluginMain and imports only the
symbols of the project's system library stub; the arm64 slice carries the
ad-hoc, linker-made signature Apple Silicon requires, whose page hashes match
the pages. Usage: check_macos_library.py LIBRARY STUB.tbd
"""
import hashlib
import re
import struct
import sys

CPU = {0x01000007: "x86_64", 0x0100000C: "arm64"}
ALIGN = {"x86_64": 12, "arm64": 14}
MIN_OS = {"x86_64": (10, 13), "arm64": (11, 0)}
SYSTEM = "/usr/lib/libSystem.B.dylib"


def fail(why):
    sys.exit(f"check_macos_library: {sys.argv[1]}: {why}")


def uleb(data, p):
    value = shift = 0
    while True:
        b = data[p]
        p += 1
        value |= (b & 0x7F) << shift
        shift += 7
        if b < 0x80:
            return value, p


def exported(trie):
    """Every name in the exports trie."""
    names = []

    def walk(node, prefix):
        size, p = uleb(trie, node)
        if size:
            names.append(prefix)
        p += size
        count = trie[p]
        p += 1
        for _ in range(count):
            end = trie.index(b"\0", p)
            edge = trie[p:end].decode()
            child, p = uleb(trie, end + 1)
            walk(child, prefix + edge)

    if trie:
        walk(0, "")
    return names


def check_signature(image, dataoff, datasize, arch):
    blob = image[dataoff:dataoff + datasize]
    magic, _, count = struct.unpack_from(">III", blob, 0)
    if magic != 0xFADE0CC0:
        fail(f"{arch}: the signature is no embedded signature")
    for k in range(count):
        kind, offset = struct.unpack_from(">II", blob, 12 + 8 * k)
        if kind != 0:  # the code directory
            continue
        (cd_magic, _, _, flags, hash_offset, _, special, slots, code_limit, hash_size, hash_type, _,
         page_log) = struct.unpack_from(">IIIIIIIIIBBBB", blob, offset)
        if cd_magic != 0xFADE0C02:
            fail(f"{arch}: no code directory")
        if hash_type != 2 or hash_size != 32:
            fail(f"{arch}: the code directory does not hash with SHA-256")
        if flags & 0x20002 != 0x20002:
            fail(f"{arch}: the signature is not ad hoc and linker-made (flags {flags:#x})")
        page = 1 << page_log
        if slots != (code_limit + page - 1) // page:
            fail(f"{arch}: {slots} page hashes for {code_limit} bytes")
        for i in range(slots):
            want = blob[offset + hash_offset + 32 * i:offset + hash_offset + 32 * (i + 1)]
            got = hashlib.sha256(image[i * page:min((i + 1) * page, code_limit)]).digest()
            if want != got:
                fail(f"{arch}: page {i} does not match its hash")
        return slots
    fail(f"{arch}: the signature has no code directory")


def check_slice(image, arch, allowed):
    magic, cpu, _, filetype, ncmds = struct.unpack_from("<IIIII", image, 0)
    if magic != 0xFEEDFACF or CPU.get(cpu) != arch or filetype != 6:
        fail(f"{arch}: not a 64-bit dynamic library for {arch}")
    at, dylibs, trie, minos, signature, symtab = 32, [], b"", None, None, None
    for _ in range(ncmds):
        cmd, size = struct.unpack_from("<II", image, at)
        if cmd in (0xC, 0x80000018, 0x8000001F, 0x20, 0x80000023):
            name_at = struct.unpack_from("<I", image, at + 8)[0]
            dylibs.append(image[at + name_at:image.index(b"\0", at + name_at)].decode())
        elif cmd in (0x22, 0x80000022):
            off, n = struct.unpack_from("<II", image, at + 40)
            trie = image[off:off + n]
        elif cmd == 0x80000033:
            off, n = struct.unpack_from("<II", image, at + 8)
            trie = image[off:off + n]
        elif cmd == 0x32:  # build version: platform, minos
            platform, version = struct.unpack_from("<II", image, at + 8)
            if platform != 1:
                fail(f"{arch}: built for platform {platform}, not macOS")
            minos = (version >> 16, (version >> 8) & 0xFF)
        elif cmd == 0x24:  # the older form of the same, for macOS before 10.14
            version = struct.unpack_from("<I", image, at + 8)[0]
            minos = (version >> 16, (version >> 8) & 0xFF)
        elif cmd == 0x1D:
            signature = struct.unpack_from("<II", image, at + 8)
        elif cmd == 0x2:
            symtab = struct.unpack_from("<IIII", image, at + 8)
        elif cmd == 0x80000034:
            fail(f"{arch}: chained fixups load only on macOS 12 and later")
        at += size
    if dylibs != [SYSTEM]:
        fail(f"{arch}: links {dylibs}, not the system library alone")
    if minos != MIN_OS[arch]:
        fail(f"{arch}: needs macOS {minos}, not {MIN_OS[arch]}")
    names = exported(trie)
    if names != ["_REALPluginMain"]:
        fail(f"{arch}: exports {names} instead of _REALPluginMain alone")
    symoff, nsyms, stroff, _ = symtab
    imports = set()
    for k in range(nsyms):
        strx, ntype, _, _, _ = struct.unpack_from("<IBBHQ", image, symoff + 16 * k)
        if ntype & 0x0E == 0 and ntype & 0x01:  # undefined and external
            imports.add(image[stroff + strx:image.index(b"\0", stroff + strx)].decode())
    extra = sorted(imports - allowed)
    if extra:
        fail(f"{arch}: imports {extra}, which the system library stub does not list")
    pages = None
    if arch == "arm64":
        if signature is None:
            fail("arm64: unsigned; Apple Silicon loads only signed code")
        pages = check_signature(image, signature[0], signature[1], arch)
    return len(imports), pages


def main():
    data = open(sys.argv[1], "rb").read()
    allowed = set(re.findall(r"[_A-Za-z][_A-Za-z0-9]*", re.search(r"symbols:\s*\[([^\]]*)\]",
                                                                   open(sys.argv[2]).read()).group(1)))
    magic, n = struct.unpack_from(">II", data, 0)
    if magic != 0xCAFEBABE:
        fail("not a universal file")
    seen = []
    for k in range(n):
        cpu, _, offset, size, align = struct.unpack_from(">IIIII", data, 8 + 20 * k)
        arch = CPU.get(cpu)
        if arch is None:
            fail(f"a slice for CPU {cpu:#x}")
        if align != ALIGN[arch] or offset % (1 << align):
            fail(f"{arch}: aligned at 2^{align}, not 2^{ALIGN[arch]}")
        imports, pages = check_slice(data[offset:offset + size], arch, allowed)
        seen.append(f"{arch} ({imports} imports" + (f", {pages} signed pages)" if pages else ")"))
    if sorted(s.split()[0] for s in seen) != ["arm64", "x86_64"]:
        fail(f"slices {seen} instead of x86_64 and arm64")
    print(f"check_macos_library: {sys.argv[1]}: {', '.join(seen)}; exports _REALPluginMain alone, "
          "links only the system library")


if __name__ == "__main__":
    main()
