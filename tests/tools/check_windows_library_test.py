#!/usr/bin/python3
"""Proves tools/check_windows_library.py accepts a well-formed Windows arm64
DLL and rejects each kind of fault: a small DLL is linked here by clang and
lld-link as the library is, then varied one fault at a time (an extra
export, an extra import name, an import from another DLL, another machine,
a cut file, no dynamic base), and each variant must fail with its own
message. Usage: check_windows_library_test.py CHECKER IMPORTS_DIR LLVM_BIN
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

checker, imports_dir, llvm = sys.argv[1:4]
work = tempfile.mkdtemp(prefix="ztk-pe-check-")

SOURCE = r"""
extern "C" void *malloc(unsigned long long);
extern "C" unsigned long GetCurrentThreadId(void);
extern "C" unsigned long GetProcessHeap(void);
extern "C" unsigned long MessageBeep(unsigned);
static int value;
int *pointer = &value;  // a 64-bit address: one base relocation
extern "C" int entry(void *, unsigned long, void *) { return 1; }
extern "C" __declspec(dllexport) void *REALPluginMain(void *) {
#if defined(EXTRA_IMPORT)
  GetProcessHeap();
#endif
#if defined(FOREIGN_IMPORT)
  MessageBeep(0);
#endif
  return malloc(static_cast<unsigned long long>(GetCurrentThreadId() + *pointer));
}
#if defined(EXTRA_EXPORT)
extern "C" __declspec(dllexport) int ZTKExtra() { return 2; }
#endif
"""
DEFS = {
    "heap": "LIBRARY api-ms-win-crt-heap-l1-1-0.dll\nEXPORTS\n  malloc\n",
    "kernel32": "LIBRARY kernel32.dll\nEXPORTS\n  GetCurrentThreadId\n  GetProcessHeap\n",
    "user32": "LIBRARY user32.dll\nEXPORTS\n  MessageBeep\n",
}


def run(*args):
    subprocess.run(args, check=True, cwd=work)


with open(os.path.join(work, "plugin.cpp"), "w") as f:
    f.write(SOURCE)
libs = []
for name, text in DEFS.items():
    with open(os.path.join(work, name + ".def"), "w") as f:
        f.write(text)
    run(os.path.join(llvm, "llvm-dlltool"), "-m", "arm64", "-d", name + ".def", "-l", name + ".lib")
    libs.append(name + ".lib")


def build(name, defines=(), link=()):
    obj = name + ".obj"
    run(os.path.join(llvm, "clang++"), "-target", "aarch64-w64-windows-gnu", "-O2", "-ffreestanding",
        *["-D" + d for d in defines], "-c", "plugin.cpp", "-o", obj)
    dll = os.path.join(work, name + ".dll")
    run(os.path.join(llvm, "lld-link"), "/dll", "/machine:arm64", "/entry:entry", "/nodefaultlib", "/dynamicbase",
        "/nxcompat", "/highentropyva", *link, "/out:" + dll, obj, *libs)
    return dll


def patched(source, name, at, new):
    data = bytearray(open(source, "rb").read())
    if callable(at):
        at = at(data)
    data[at:at + len(new)] = new
    path = os.path.join(work, name + ".dll")
    open(path, "wb").write(bytes(data))
    return path


def cut(source, name):
    data = open(source, "rb").read()
    path = os.path.join(work, name + ".dll")
    open(path, "wb").write(data[:len(data) // 2])
    return path


def pe_at(data):
    return int.from_bytes(data[0x3C:0x40], "little")


good = build("good")
cases = [
    # name, library, None to pass or the message expected
    ("well-formed", good, None),
    ("extra export", build("export", ["EXTRA_EXPORT"]), r"exports \['REALPluginMain', 'ZTKExtra'\], not exactly"),
    ("extra import name", build("import", ["EXTRA_IMPORT"]), r"kernel32.dll!GetProcessHeap, which its definitions"),
    ("import from another DLL", build("foreign", ["FOREIGN_IMPORT"]), r"imports from user32.dll, which is not one of"),
    ("another machine", patched(good, "machine", lambda d: pe_at(d) + 4, b"\x64\x86"), r"machine 0x8664, not ARM64"),
    ("cut in half", cut(good, "cut"), r"outside the file|ends inside"),
    ("no dynamic base", patched(good, "fixed", lambda d: pe_at(d) + 24 + 70, b"\x20\x01"), r"no dynamic base"),
    ("not a PE file", patched(good, "elf", 0, b"\x7fELF"), r"no DOS header"),
]
failures = 0
for name, library, expected in cases:
    result = subprocess.run([sys.executable, checker, library, imports_dir], capture_output=True, text=True)
    said = (result.stdout + result.stderr).strip()
    if expected is None:
        ok = result.returncode == 0
    else:
        ok = result.returncode != 0 and re.search(expected, said) is not None
    print(f"{'ok  ' if ok else 'FAIL'} {name}: {said}")
    failures += not ok
shutil.rmtree(work, ignore_errors=True)
print(f"{len(cases) - failures} of {len(cases)} cases as expected")
sys.exit(1 if failures else 0)
