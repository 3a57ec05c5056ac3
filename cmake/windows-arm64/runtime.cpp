// What a C runtime's start-up code and compiler support library would give
// the Windows arm64 library, which links none: the DLL entry point, the stack
// probe Windows requires for frames over a page, and the memory and string
// functions the Universal C Runtime leaves to vcruntime140.dll (which is not
// part of Windows and so is not imported). Compiled with -fno-builtin, so
// that the compiler does not turn these loops back into calls to themselves.
#include <stddef.h>
#include <stdint.h>

extern "C" {

// The system calls this on attach and detach. The plugin has no static
// constructors or destructors to run (the build's check refuses initializer
// sections, and atexit is not provided, so a destructor fails the link), and
// no per-thread state beyond one system slot: nothing to do but agree.
int ztk_dll_entry(void *, unsigned long, void *) { return 1; }

void *memcpy(void *to, const void *from, size_t n) {
  auto *d = static_cast<unsigned char *>(to);
  const auto *s = static_cast<const unsigned char *>(from);
  for (size_t k = 0; k < n; ++k) d[k] = s[k];
  return to;
}

void *memmove(void *to, const void *from, size_t n) {
  auto *d = static_cast<unsigned char *>(to);
  const auto *s = static_cast<const unsigned char *>(from);
  // Copying forward is right unless the destination starts inside the source.
  if (reinterpret_cast<uintptr_t>(d) - reinterpret_cast<uintptr_t>(s) >= n) {
    for (size_t k = 0; k < n; ++k) d[k] = s[k];
  } else {
    for (size_t k = n; k > 0; --k) d[k - 1] = s[k - 1];
  }
  return to;
}

// Eight bytes a step, read unaligned (arm64 allows it) and never past `n`.
static inline uint64_t load8(const unsigned char *p) {
  uint64_t v;
  __builtin_memcpy_inline(&v, p, 8);
  return v;
}

int memcmp(const void *a, const void *b, size_t n) {
  const auto *x = static_cast<const unsigned char *>(a);
  const auto *y = static_cast<const unsigned char *>(b);
  size_t k = 0;
  while (k + 8 <= n && load8(x + k) == load8(y + k)) k += 8;
  for (; k < n; ++k) {
    if (x[k] != y[k]) return x[k] < y[k] ? -1 : 1;
  }
  return 0;
}

void *memchr(const void *p, int c, size_t n) {
  const auto *s = static_cast<const unsigned char *>(p);
  const unsigned char byte = static_cast<unsigned char>(c);
  const uint64_t ones = 0x0101010101010101u, highs = 0x8080808080808080u, pattern = ones * byte;
  size_t k = 0;
  // A word holds the byte when one of its lanes XORs to zero.
  for (; k + 8 <= n; k += 8) {
    const uint64_t v = load8(s + k) ^ pattern;
    if (((v - ones) & ~v & highs) != 0) break;
  }
  for (; k < n; ++k) {
    if (s[k] == byte) return const_cast<unsigned char *>(s + k);
  }
  return nullptr;
}

char *strchr(const char *s, int c) {
  for (;; ++s) {
    if (*s == static_cast<char>(c)) return const_cast<char *>(s);
    if (*s == '\0') return nullptr;
  }
}

}  // extern "C"

// The stack probe: a function whose frame exceeds a page calls it with the
// frame's size / 16 in x15, before moving sp. Windows grows a thread's stack
// only page by page through its guard page, so every page of the new frame is
// touched in order, from the top down. Only x16 and x17 may change (the
// caller's arguments are live).
__asm__(
    ".text\n"
    ".globl __chkstk\n"
    ".p2align 2\n"
    "__chkstk:\n"
    "  lsl x16, x15, #4\n"
    "  mov x17, sp\n"
    "1:\n"
    "  sub x17, x17, #4096\n"
    "  subs x16, x16, #4096\n"
    "  ldr xzr, [x17]\n"
    "  b.gt 1b\n"
    "  ret\n");
