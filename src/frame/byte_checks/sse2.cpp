#include "frame/byte_checks/levels.h"
#include "frame/simd.h"

#if ZTK_X86
namespace ztk::byte_checks::sse2 {
namespace {

// 0xFF in each lane whose byte passes: 0x20-0x7F is exactly "above 0x1F" as a
// signed byte; "at or above 0x20" is max(b, 0x20) == b.
template <Class C>
inline __m128i pass_mask(__m128i v) {
  if constexpr (C == Class::Ascii) return _mm_cmpgt_epi8(v, _mm_set1_epi8(-1));
  if constexpr (C == Class::Printable) return _mm_cmpgt_epi8(v, _mm_set1_epi8(0x1F));
  return _mm_cmpeq_epi8(_mm_max_epu8(v, _mm_set1_epi8(0x20)), v);
}

}  // namespace

template <Class C>
size_t clean_prefix(ByteView bytes, size_t from) {
  size_t i = from;
  for (; i + 16 <= bytes.size; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes.data + i));
    if (_mm_movemask_epi8(pass_mask<C>(v)) != 0xFFFF) break;
  }
  return i;
}

template size_t clean_prefix<Class::Ascii>(ByteView, size_t);
template size_t clean_prefix<Class::Printable>(ByteView, size_t);
template size_t clean_prefix<Class::NoControl>(ByteView, size_t);

template <Class C>
bool rest_passes(ByteView bytes, size_t from) {
  // A block the loop stopped at holds a byte outside the class: the answer
  // is known without finding it.
  const size_t i = clean_prefix<C>(bytes, from);
  if (i + 16 <= bytes.size) return false;
  if (i == bytes.size) return true;
  // The last bytes, fewer than a block, in the block that ends with them
  // (bytes tested twice change nothing), not in a loop of their own.
  if (bytes.size >= 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes.data + bytes.size - 16));
    return _mm_movemask_epi8(pass_mask<C>(v)) == 0xFFFF;
  }
  return plain::all_from<C>(bytes, i);
}

template bool rest_passes<Class::Ascii>(ByteView, size_t);
template bool rest_passes<Class::Printable>(ByteView, size_t);
template bool rest_passes<Class::NoControl>(ByteView, size_t);

size_t replace_blocks(ByteView bytes, size_t from, uint8_t replacement, uint8_t *out) {
  const __m128i r = _mm_set1_epi8(static_cast<char>(replacement));
  size_t i = from;
  for (; i + 16 <= bytes.size; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes.data + i));
    const __m128i keep = pass_mask<Class::Printable>(v);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i),
                     _mm_or_si128(_mm_and_si128(keep, v), _mm_andnot_si128(keep, r)));
  }
  return i;
}

namespace {

template <Class C>
bool all(ByteView bytes) {
  return rest_passes<C>(bytes, 0);
}

void replace(ByteView bytes, uint8_t replacement, uint8_t *out) {
  plain::replace_from(bytes, replace_blocks(bytes, 0, replacement, out), replacement, out);
}

}  // namespace

const Kernels kKernels = {all<Class::Ascii>, all<Class::Printable>, all<Class::NoControl>, replace};

}  // namespace ztk::byte_checks::sse2
#endif  // ZTK_X86
