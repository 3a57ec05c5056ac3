#!/usr/bin/python3
"""Checks that the library's sources depend on each other one way only.

Layers, from the bottom:
  frame     src/frame: the host boundary, byte views, the CPU level, dispatch
  text      src/text: text views, string handles, sinks, the byte and unit scans
  kernels   src/{codecs,binary,analysis}/<family>/ and each family's header
            src/<subsystem>/<family>.h: host-free code on plain bytes and units
  handlers  src/{codecs,binary,analysis}/*.cpp: read arguments, call kernels,
            build results

A file may include its own layer and the layers below; kernels may not include
the host's types or services (the growable buffers and sinks of text/ they
write into are allowed: only their finishing step, never a kernel, builds a
host string); codecs, binary and analysis do not include one another; and
no file includes itself through others. Prints every breach and exits 1 on any.
Usage: check_layers.py [SRC_DIR]
"""
import os
import re
import sys

SUBSYSTEMS = ("codecs", "binary", "analysis")
RANK = {"frame": 0, "text": 1, "kernels": 2, "handlers": 3}
# Headers that carry host types or talk to the host: no kernel may use them.
HOST_HEADERS = {
    "frame/host_api.h", "frame/rb_types.h", "frame/string_access.h", "frame/string_build.h",
    "frame/registry.h", "frame/exceptions.h", "frame/methods.def", "frame/byte_transform.h",
    "text/rb_text.h",
}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)


def layer(path):
    parts = path.split("/")
    if parts[0] in ("frame", "text"):
        return parts[0]
    if parts[0] in SUBSYSTEMS:
        if len(parts) > 2 or path.endswith(".h") or path.endswith(".inc"):
            return "kernels"
        return "handlers"
    return None


def main():
    src = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..", "src")
    files = {}
    for root, _, names in os.walk(src):
        for name in names:
            if name.endswith((".h", ".cpp", ".inc", ".def")):
                full = os.path.join(root, name)
                rel = os.path.relpath(full, src).replace(os.sep, "/")
                with open(full, encoding="utf-8") as f:
                    files[rel] = [i for i in INCLUDE.findall(f.read()) if i.split("/")[0] in RANK or
                                  i.split("/")[0] in SUBSYSTEMS]
    breaches = []
    for path, includes in sorted(files.items()):
        mine = layer(path)
        for inc in includes:
            if inc not in files:
                breaches.append(f"{path}: includes {inc}, which is not in the tree")
                continue
            theirs = layer(inc)
            if RANK[theirs] > RANK[mine]:
                breaches.append(f"{path} ({mine}) includes {inc} ({theirs}), a layer above it")
            if mine == "kernels" and inc in HOST_HEADERS:
                breaches.append(f"{path} is a kernel and includes {inc}, which carries host types")
            a, b = path.split("/")[0], inc.split("/")[0]
            if a in SUBSYSTEMS and b in SUBSYSTEMS and a != b:
                breaches.append(f"{path} reaches into another subsystem: {inc}")
    # Include cycles, file by file.
    state = {}

    def visit(path, stack):
        state[path] = 1
        stack.append(path)
        for inc in files.get(path, []):
            if inc not in files:
                continue
            if state.get(inc) == 1:
                breaches.append("include cycle: " + " -> ".join(stack[stack.index(inc):] + [inc]))
            elif inc not in state:
                visit(inc, stack)
        stack.pop()
        state[path] = 2

    for path in sorted(files):
        if path not in state:
            visit(path, [])
    for b in breaches:
        print(b)
    print(f"{len(files)} files, {sum(len(v) for v in files.values())} includes, {len(breaches)} breaches")
    return 1 if breaches else 0


if __name__ == "__main__":
    sys.exit(main())
