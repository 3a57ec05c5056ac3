# How each platform's test programs run on this machine: chosen here, once,
# for the test script and for every test program the cross builds start.
# Sourced by tools/run_tests.sh and tools/run_on.sh; defines functions only.
#
# Some machines of the same kind run 32-bit x86 programs and some refuse them
# ("Exec format error"). Where they are refused, Linux X86 programs run under
# qemu-i386, and wine's 32-bit loader runs once qemu-i386 is registered with
# the kernel's binfmt_misc. 64-bit Windows programs always go to wine64
# directly: Debian's `wine` wrapper starts the 32-bit loader first.
#
# ZTK_FORCE_QEMU=1 takes the qemu paths even where native execution works.

ZTK_I686_SYSROOT=/usr/i686-linux-gnu
ZTK_WINE64=/usr/lib/wine/wine64
ZTK_BINFMT_DIR=/proc/sys/fs/binfmt_misc
ZTK_BINFMT_NAME=ztk-qemu-i386

# Whether the kernel executes an i386 program: a tiny static one is built with
# the i686 cross compiler and started.
ztk_i386_native() {
  local dir probe
  dir=$(mktemp -d)
  probe=$dir/probe
  printf 'int main(void) { return 42; }\n' >"$dir/probe.c"
  if ! i686-linux-gnu-gcc -static -o "$probe" "$dir/probe.c" >/dev/null 2>&1; then
    rm -rf "$dir"
    return 1
  fi
  local rc=0
  "$probe" >/dev/null 2>&1 || rc=$?
  rm -rf "$dir"
  [ "$rc" = 42 ]
}

# Sets ZTK_RUN_LINUX_X86 (native | qemu), ZTK_RUN_WINDOWS_X64 (wine64 | none)
# and ZTK_RUN_WINDOWS_X86 (native | binfmt | none), with ZTK_WHY_* for each
# "none", and exports them so that test programs started later agree.
ztk_choose_runners() {
  local native=no
  # A registration of ours left by a run that was killed would make i386
  # programs look native.
  if [ -e "$ZTK_BINFMT_DIR/$ZTK_BINFMT_NAME" ]; then echo -1 >"$ZTK_BINFMT_DIR/$ZTK_BINFMT_NAME" || true; fi
  if [ "${ZTK_FORCE_QEMU:-0}" != 1 ] && ztk_i386_native; then native=yes; fi

  if [ "$native" = yes ]; then
    ZTK_RUN_LINUX_X86=native
  else
    ZTK_RUN_LINUX_X86=qemu
  fi

  if [ -x "$ZTK_WINE64" ]; then
    ZTK_RUN_WINDOWS_X64=wine64
  else
    ZTK_RUN_WINDOWS_X64=none
    ZTK_WHY_WINDOWS_X64="no 64-bit wine loader at $ZTK_WINE64"
  fi

  if ! dpkg -s wine32:i386 >/dev/null 2>&1; then
    ZTK_RUN_WINDOWS_X86=none
    ZTK_WHY_WINDOWS_X86="wine cannot run 32-bit Windows programs here (no wine32:i386)"
  elif [ "$native" = yes ]; then
    ZTK_RUN_WINDOWS_X86=native
  elif command -v qemu-i386 >/dev/null 2>&1; then
    ZTK_RUN_WINDOWS_X86=binfmt
  else
    ZTK_RUN_WINDOWS_X86=none
    ZTK_WHY_WINDOWS_X86="32-bit programs need qemu-i386, which is not installed"
  fi
  export ZTK_RUN_LINUX_X86 ZTK_RUN_WINDOWS_X64 ZTK_RUN_WINDOWS_X86 ZTK_WHY_WINDOWS_X64 ZTK_WHY_WINDOWS_X86
}

ztk_print_runners() {
  echo "== runners: i386 programs $([ "$ZTK_RUN_LINUX_X86" = native ] && echo run natively || echo "do not run natively${ZTK_FORCE_QEMU:+ (or qemu forced)}")"
  echo "   linux-arm64: qemu-aarch64 -L /usr/aarch64-linux-gnu"
  echo "   linux-arm:   qemu-arm -L /usr/arm-linux-gnueabihf"
  case "$ZTK_RUN_LINUX_X86" in
    native) echo "   linux-x86:   natively through $ZTK_I686_SYSROOT/lib/ld-linux.so.2, then again under qemu-i386" ;;
    qemu) echo "   linux-x86:   qemu-i386 -L $ZTK_I686_SYSROOT" ;;
  esac
  case "$ZTK_RUN_WINDOWS_X64" in
    wine64) echo "   windows-x64: $ZTK_WINE64" ;;
    none) echo "   windows-x64: NOT RUN: $ZTK_WHY_WINDOWS_X64" ;;
  esac
  case "$ZTK_RUN_WINDOWS_X86" in
    native) echo "   windows-x86: wine (its 32-bit loader natively)" ;;
    binfmt) echo "   windows-x86: wine, its 32-bit loader under qemu-i386 through a binfmt_misc registration" ;;
    none) echo "   windows-x86: NOT RUN: $ZTK_WHY_WINDOWS_X86" ;;
  esac
}

# Registers qemu-i386 as the interpreter of i386 ELF programs, unless an i386
# registration is there already. Sets ZTK_BINFMT_MOUNTED / ZTK_BINFMT_MADE to
# what it did, for ztk_binfmt_undo.
ztk_binfmt_register() {
  ZTK_BINFMT_MOUNTED=0
  ZTK_BINFMT_MADE=0
  if [ ! -e "$ZTK_BINFMT_DIR/register" ]; then
    mount -t binfmt_misc binfmt_misc "$ZTK_BINFMT_DIR" || return 1
    ZTK_BINFMT_MOUNTED=1
  fi
  echo 1 >"$ZTK_BINFMT_DIR/status" 2>/dev/null || true
  local entry
  for entry in "$ZTK_BINFMT_DIR"/*; do
    case "$(basename "$entry")" in register | status) continue ;; esac
    if grep -qx enabled "$entry" 2>/dev/null && grep -q '^interpreter .*qemu-i386' "$entry"; then
      return 0  # someone's i386 registration is already in force
    fi
  done
  # ELF, 32-bit, little-endian, version 1, executable or shared object, i386;
  # O: the interpreter opens the program itself; C: credentials of the
  # program; F: the interpreter is opened now, so it works in any namespace.
  local qemu
  qemu=$(command -v qemu-i386) || return 1
  printf '%s' ":$ZTK_BINFMT_NAME:M::\\x7fELF\\x01\\x01\\x01\\x00\\x00\\x00\\x00\\x00\\x00\\x00\\x00\\x00\\x02\\x00\\x03\\x00:\\xff\\xff\\xff\\xff\\xff\\xfe\\xfe\\x00\\xff\\xff\\xff\\xff\\xff\\xff\\xff\\xff\\xfe\\xff\\xff\\xff:$qemu:OCF" \
    >"$ZTK_BINFMT_DIR/register" || return 1
  ZTK_BINFMT_MADE=1
}

ztk_binfmt_undo() {
  if [ "${ZTK_BINFMT_MADE:-0}" = 1 ] && [ -e "$ZTK_BINFMT_DIR/$ZTK_BINFMT_NAME" ]; then
    echo -1 >"$ZTK_BINFMT_DIR/$ZTK_BINFMT_NAME" || true
  fi
  if [ "${ZTK_BINFMT_MOUNTED:-0}" = 1 ]; then umount "$ZTK_BINFMT_DIR" || true; fi
  ZTK_BINFMT_MADE=0
  ZTK_BINFMT_MOUNTED=0
}
