// How a program under qemu talks to the counting plugin (tcg_plugin.cpp): a
// system call of a number no Linux target uses, which the kernel emulation
// answers with ENOSYS and the plugin sees first. Its first argument says what
// the call means.
#pragma once

#include <cstdint>

namespace ztk_icount {

// Far above every target's real calls (about 460 today) and below 32-bit
// ARM's private range (0xF0000), which qemu handles itself before a plugin
// sees it.
constexpr long kMarkerSyscall = 0x4943;

enum Op : long {
  // Code inside [a2, a3) is counted; a4 is the width of guest addresses in
  // bits (32-bit guests' arguments reach the plugin sign-extended).
  kRange = 1,
  // Opens the measured region.
  kStart = 2,
  // Closes it and writes the count (8 bytes, the host's byte order, which the
  // guest shares on every target measured here) to the file descriptor a2.
  kStop = 3,
};

}  // namespace ztk_icount
