#include "binary/bitwise.h"

#include <cstring>

#include "frame/cpu.h"
#include "frame/simd.h"

#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"

namespace ztk::bitwise {
namespace {

// out[k] = a[k] op b[k] for k < len; XorPosition also XORs in (pos + k) mod 256.
enum class Kind { And, Or, Xor, XorPosition };

uint8_t apply(Kind kind, uint8_t a, uint8_t b, uint8_t position) {
  switch (kind) {
    case Kind::And: return a & b;
    case Kind::Or: return a | b;
    case Kind::Xor: return a ^ b;
    case Kind::XorPosition: break;
  }
  return static_cast<uint8_t>(a ^ b ^ position);
}

void stream_plain(const uint8_t *a, const uint8_t *b, size_t from, size_t len, uint8_t *out, Kind kind,
                  uint8_t pos) {
  for (size_t k = from; k < len; ++k) out[k] = apply(kind, a[k], b[k], static_cast<uint8_t>(pos + k));
}

#if ZTK_X86
size_t stream_sse2(const uint8_t *a, const uint8_t *b, size_t from, size_t len, uint8_t *out, Kind kind,
                   uint8_t pos) {
  __m128i position = _mm_add_epi8(_mm_set1_epi8(static_cast<char>(pos + from)),
                                  _mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
  const __m128i step = _mm_set1_epi8(16);
  size_t k = from;
  for (; k + 16 <= len; k += 16) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i *>(a + k));
    const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i *>(b + k));
    __m128i r;
    switch (kind) {
      case Kind::And: r = _mm_and_si128(x, y); break;
      case Kind::Or: r = _mm_or_si128(x, y); break;
      case Kind::Xor: r = _mm_xor_si128(x, y); break;
      default: r = _mm_xor_si128(_mm_xor_si128(x, y), position); break;
    }
    position = _mm_add_epi8(position, step);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + k), r);
  }
  return k;
}

#if ZTK_WIDE_VECTORS
ZTK_AVX2 size_t stream_avx2(const uint8_t *a, const uint8_t *b, size_t len, uint8_t *out, Kind kind,
                            uint8_t pos) {
  __m256i position = _mm256_add_epi8(
      _mm256_set1_epi8(static_cast<char>(pos)),
      _mm256_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24,
                       25, 26, 27, 28, 29, 30, 31));
  const __m256i step = _mm256_set1_epi8(32);
  size_t k = 0;
  for (; k + 32 <= len; k += 32) {
    const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(a + k));
    const __m256i y = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(b + k));
    __m256i r;
    switch (kind) {
      case Kind::And: r = _mm256_and_si256(x, y); break;
      case Kind::Or: r = _mm256_or_si256(x, y); break;
      case Kind::Xor: r = _mm256_xor_si256(x, y); break;
      default: r = _mm256_xor_si256(_mm256_xor_si256(x, y), position); break;
    }
    position = _mm256_add_epi8(position, step);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + k), r);
  }
  return k;
}

ZTK_AVX512 size_t stream_avx512(const uint8_t *a, const uint8_t *b, size_t len, uint8_t *out, Kind kind,
                                uint8_t pos) {
  alignas(64) uint8_t iota[64];
  for (int k = 0; k < 64; ++k) iota[k] = static_cast<uint8_t>(k);
  __m512i position = _mm512_add_epi8(_mm512_set1_epi8(static_cast<char>(pos)), _mm512_load_si512(iota));
  const __m512i step = _mm512_set1_epi8(64);
  size_t k = 0;
  for (; k + 64 <= len; k += 64) {
    const __m512i x = _mm512_loadu_si512(a + k);
    const __m512i y = _mm512_loadu_si512(b + k);
    __m512i r;
    switch (kind) {
      case Kind::And: r = _mm512_and_si512(x, y); break;
      case Kind::Or: r = _mm512_or_si512(x, y); break;
      case Kind::Xor: r = _mm512_xor_si512(x, y); break;
      default: r = _mm512_ternarylogic_epi32(x, y, position, 0x96); break;  // x ^ y ^ position
    }
    position = _mm512_add_epi8(position, step);
    _mm512_storeu_si512(out + k, r);
  }
  return k;
}
#endif  // ZTK_WIDE_VECTORS
#endif  // ZTK_X86

#if ZTK_NEON
// One loop per kind: a switch inside the loop would cost a compare and branch
// for every 16 bytes, as much as the work itself.
template <Kind K>
size_t stream_neon_kind(const uint8_t *a, const uint8_t *b, size_t from, size_t len, uint8_t *out, uint8_t pos) {
  static constexpr uint8_t kIota[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
  uint8x16_t position = vaddq_u8(vdupq_n_u8(static_cast<uint8_t>(pos + from)), vld1q_u8(kIota));
  const uint8x16_t step = vdupq_n_u8(16);
  size_t k = from;
  for (; k + 16 <= len; k += 16) {
    const uint8x16_t x = vld1q_u8(a + k), y = vld1q_u8(b + k);
    uint8x16_t r;
    if constexpr (K == Kind::And) {
      r = vandq_u8(x, y);
    } else if constexpr (K == Kind::Or) {
      r = vorrq_u8(x, y);
    } else if constexpr (K == Kind::Xor) {
      r = veorq_u8(x, y);
    } else {
      r = veorq_u8(veorq_u8(x, y), position);
      position = vaddq_u8(position, step);
    }
    vst1q_u8(out + k, r);
  }
  return k;
}

size_t stream_neon(const uint8_t *a, const uint8_t *b, size_t from, size_t len, uint8_t *out, Kind kind,
                   uint8_t pos) {
  switch (kind) {
    case Kind::And: return stream_neon_kind<Kind::And>(a, b, from, len, out, pos);
    case Kind::Or: return stream_neon_kind<Kind::Or>(a, b, from, len, out, pos);
    case Kind::Xor: return stream_neon_kind<Kind::Xor>(a, b, from, len, out, pos);
    case Kind::XorPosition: break;
  }
  return stream_neon_kind<Kind::XorPosition>(a, b, from, len, out, pos);
}
#endif  // ZTK_NEON

// The 16-byte level: SSE2 on x86, NEON on arm64, nothing elsewhere.
#if ZTK_X86
#define ZTK_STREAM_BASE(...) [&](size_t done) { return stream_sse2(__VA_ARGS__); }
#elif ZTK_NEON
#define ZTK_STREAM_BASE(...) [&](size_t done) { return stream_neon(__VA_ARGS__); }
#else
#define ZTK_STREAM_BASE(...) ::ztk::simd::Absent{}
#endif

void stream(const uint8_t *a, const uint8_t *b, size_t len, uint8_t *out, Kind kind, uint8_t pos) {
  simd::run_levels(ZTK_IF_WIDE([&](size_t) { return stream_avx512(a, b, len, out, kind, pos); }),
                   ZTK_IF_WIDE([&](size_t) { return stream_avx2(a, b, len, out, kind, pos); }),
                   ZTK_STREAM_BASE(a, b, done, len, out, kind, pos),
                   [&](size_t done) { stream_plain(a, b, done, len, out, kind, pos); });
}

// The data against the mask repeated from position `start`: the mask is read
// in runs as long as possible, a short mask first repeated into a period of at
// least 2 KiB, so that every run but the first and last is long vector work.
void run(ByteView data, ByteView mask, size_t start, Kind kind, uint8_t *out) {
  // Each run costs a dispatch, so runs are long; inputs this short are not worth repeating the mask for.
  constexpr size_t kMinPeriod = 2048, kShortInput = 256;
  uint8_t repeated[2 * kMinPeriod];
  const uint8_t *period = mask.data;
  size_t periodSize = mask.size;
  size_t p = start;
  if (data.size <= kShortInput) {
    for (size_t i = 0; i < data.size; ++i) {
      out[i] = apply(kind, data[i], mask[p], static_cast<uint8_t>(i));
      if (++p == mask.size) p = 0;
    }
    return;
  }
  if (mask.size < kMinPeriod) {
    // No longer than one run over the whole input needs.
    const size_t want = data.size + mask.size < kMinPeriod ? data.size + mask.size : kMinPeriod;
    periodSize = mask.size * ((want + mask.size - 1) / mask.size);
    std::memcpy(repeated, mask.data, mask.size);
    for (size_t filled = mask.size; filled < periodSize; filled *= 2) {
      std::memcpy(repeated + filled, repeated, filled < periodSize - filled ? filled : periodSize - filled);
    }
    period = repeated;
  }
  for (size_t i = 0; i < data.size;) {
    const size_t len = data.size - i < periodSize - p ? data.size - i : periodSize - p;
    stream(data.data + i, period + p, len, out + i, kind, static_cast<uint8_t>(i));
    i += len;
    p = 0;
  }
}

}  // namespace

void combine(ByteView data, ByteView mask, Op op, uint8_t *out) {
  run(data, mask, 0, op == Op::And ? Kind::And : Kind::Or, out);
}

size_t start_position(int64_t offset, size_t maskSize) {
  const auto m = static_cast<int64_t>(maskSize);
  return static_cast<size_t>(((offset % m) + m) % m);
}

void exclusive_or(ByteView data, ByteView mask, size_t start, bool withPosition, uint8_t *out) {
  run(data, mask, start, withPosition ? Kind::XorPosition : Kind::Xor, out);
}

void combine_reference(ByteView data, ByteView mask, Op op, uint8_t *out) {
  for (size_t i = 0; i < data.size; ++i) out[i] = op == Op::And ? data[i] & mask[i % mask.size] : data[i] | mask[i % mask.size];
}

void exclusive_or_reference(ByteView data, ByteView mask, size_t start, bool withPosition, uint8_t *out) {
  size_t p = start;
  for (size_t i = 0; i < data.size; ++i) {
    uint8_t b = data[i] ^ mask[p];
    if (withPosition) b ^= static_cast<uint8_t>(i);
    out[i] = b;
    if (++p == mask.size) p = 0;
  }
}

}  // namespace ztk::bitwise

namespace {

// Reads data and mask, runs `rule(data, mask, out)` into a scratch block of
// n bytes and returns them tagged as raw bytes.
template <class Rule>
REALstring combine_strings(REALstring data, REALstring mask, Rule rule) {
  if (data == nullptr || mask == nullptr) return nullptr;
  rbData d, m;
  ztk::ReadString(d, data);
  ztk::ReadString(m, mask);
  const ztk::ByteView bytes = d.view(), maskBytes = m.view();
  // An empty or unreadable mask has nothing to repeat: no result.
  if (bytes.empty() || maskBytes.empty()) return nullptr;
  auto *out = static_cast<uint8_t *>(ztk::mem::alloc(bytes.size));
  if (out == nullptr) return nullptr;
  rule(bytes, maskBytes, out);
  REALstring result = ztk::BuildRawBytes({out, bytes.size});
  ztk::mem::release(out);
  return result;
}

REALstring xor_strings(REALstring data, REALstring mask, RBInteger offset, bool withPosition) {
  return combine_strings(data, mask, [&](ztk::ByteView d, ztk::ByteView m, uint8_t *out) {
    ztk::bitwise::exclusive_or(d, m, ztk::bitwise::start_position(offset, m.size), withPosition, out);
  });
}

}  // namespace

REALstring StringAND(REALstring a, REALstring b) {
  return combine_strings(a, b, [](ztk::ByteView d, ztk::ByteView m, uint8_t *out) {
    ztk::bitwise::combine(d, m, ztk::bitwise::Op::And, out);
  });
}

REALstring StringOR(REALstring a, REALstring b) {
  return combine_strings(a, b, [](ztk::ByteView d, ztk::ByteView m, uint8_t *out) {
    ztk::bitwise::combine(d, m, ztk::bitwise::Op::Or, out);
  });
}

REALstring StringXOR(REALstring data, REALstring mask, RBInteger offset) {
  return xor_strings(data, mask, offset, false);
}

REALstring StringXOR2(REALstring data, REALstring mask, RBInteger offset) {
  return xor_strings(data, mask, offset, true);
}
