#include "codecs/mysql/levels.h"
#include "text/byte_scan.h"

namespace ztk::mysql::plain {
namespace {

constexpr scan::ByteSet kBackslash{{'\\', '\\'}};

// Runs between backslashes are copied by the byte scans; each escape keeps
// the one-byte rule.
size_t unescape(ByteView in, uint8_t *out) {
  uint8_t *o = out;
  size_t p = 0;
  while (p < in.size) {
    if (in[p] != '\\') {
      // Never more output than input so far: the room the kernel needs is there.
      const size_t stop = scan::copy_until(in, p, kBackslash, 0, o);
      o += stop - p;
      p = stop;
      continue;
    }
    if (p + 1 == in.size) {
      *o++ = in[p++];
      continue;
    }
    o = unescape_pair(in, p, o);
    p += 2;
  }
  return static_cast<size_t>(o - out);
}

}  // namespace

const Kernels kKernels = {unescape};

}  // namespace ztk::mysql::plain
