// The URL kernels of each level. The VBMI2 level encodes whole 64-byte blocks
// and leaves the rest to the plain encoder, from where it stopped.
#pragma once

#include "codecs/url.h"
#include "text/byte_scan.h"

namespace ztk::url {

// The bytes that end a run copied as it is: everything but the kept bytes,
// with "+" kept too when the options leave it alone.
inline constexpr scan::ByteSet kEscapedOrSpecial{
    {{'!', '!'}, {'*', '*'}, {'-', '.'}, {'0', '9'}, {'@', 'Z'}, {'_', '_'}, {'a', 'z'}}, true};
inline constexpr scan::ByteSet kEscapedOrSpecialPlusKept{
    {{'!', '!'}, {'*', '+'}, {'-', '.'}, {'0', '9'}, {'@', 'Z'}, {'_', '_'}, {'a', 'z'}}, true};

// By options & 3: 0 and 3 escape spaces and keep "+", 1 writes spaces as "+"
// and escapes "+", 2 escapes both.
inline const scan::ByteSet &run_stops(int mode) {
  return mode == 1 || mode == 2 ? kEscapedOrSpecial : kEscapedOrSpecialPlusKept;
}

namespace plain {
// Encodes in[from..] under `mode` (options & 3); returns the bytes written.
size_t encode_from(ByteView in, int mode, size_t from, char *out);
size_t decode(ByteView in, int64_t options, uint8_t *out);
extern const Kernels kKernels;
}  // namespace plain

namespace vbmi2 {
extern const Kernels kKernels;
}  // namespace vbmi2

}  // namespace ztk::url
