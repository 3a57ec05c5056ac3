// Packing the chosen bytes of a 16-byte vector to the front, for the 32-byte
// level's decoders (a source built for AVX2 includes it). AVX2 has no byte
// compress: two 8-byte shuffles, looked up by the bits kept, stand in for it.
#pragma once

#include <cstdint>

#include "frame/simd.h"

#if ZTK_WIDE_VECTORS
namespace ztk::simd::avx2_pack {

// Where each kept byte of 8 comes from, by the key of the bytes kept, and
// how many there are.
struct Pack {
  alignas(8) uint8_t index[256][8];
  uint8_t count[256];
};
inline constexpr Pack kPack = [] {
  Pack p{};
  for (int key = 0; key < 256; ++key) {
    int n = 0;
    for (int j = 0; j < 8; ++j) {
      if (key >> j & 1) p.index[key][n++] = static_cast<uint8_t>(j);
    }
    p.count[key] = static_cast<uint8_t>(n);
  }
  return p;
}();

// Stores the bytes of x in the bits of `keep` one after another; returns the
// output's new end. Two 8-byte stores: up to 8 bytes past the kept ones are
// written.
ZTK_AVX2 inline uint8_t *pack16(__m128i x, uint32_t keep, uint8_t *o) {
  const unsigned k0 = keep & 255, k1 = keep >> 8 & 255;
  const __m128i index = _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(kPack.index[k0])),
                                           _mm_loadl_epi64(reinterpret_cast<const __m128i *>(kPack.index[k1])));
  const __m128i r = _mm_shuffle_epi8(x, _mm_add_epi8(index, _mm_set_epi64x(0x0808080808080808, 0)));
  _mm_storel_epi64(reinterpret_cast<__m128i *>(o), r);
  o += kPack.count[k0];
  _mm_storel_epi64(reinterpret_cast<__m128i *>(o), _mm_unpackhi_epi64(r, r));
  return o + kPack.count[k1];
}

}  // namespace ztk::simd::avx2_pack
#endif  // ZTK_WIDE_VECTORS
