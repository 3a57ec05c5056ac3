// Byte checks and generators: ASCII tests, replacement of bytes outside
// printable ASCII, and random byte strings.
#include "binary/byte_checks.h"

#include <cstdlib>

#include "frame/cpu.h"
#include "frame/simd.h"

#include "frame/plugin_alloc.h"
#include "frame/random_seed.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"
#include "text/ascii.h"

namespace ztk::byte_checks {
namespace {

bool passes(uint8_t b, Class c) {
  switch (c) {
    case Class::Ascii: return b < 0x80;
    case Class::Printable: return ascii::is_print(b);
    case Class::NoControl: break;
  }
  return b >= 0x20;
}

size_t first_failure_plain(ByteView bytes, size_t from, Class c) {
  for (size_t i = from; i < bytes.size; ++i) {
    if (!passes(bytes[i], c)) return i;
  }
  return bytes.size;
}

void replace_plain(ByteView bytes, size_t from, uint8_t replacement, uint8_t *out) {
  for (size_t i = from; i < bytes.size; ++i) out[i] = ascii::is_print(bytes[i]) ? bytes[i] : replacement;
}

#if ZTK_X86
// 0xFF in each lane whose byte passes: 0x20-0x7F is exactly "above 0x1F" as a
// signed byte; "at or above 0x20" is max(b, 0x20) == b.
inline __m128i pass_mask(__m128i v, Class c) {
  switch (c) {
    case Class::Ascii: return _mm_cmpgt_epi8(v, _mm_set1_epi8(-1));
    case Class::Printable: return _mm_cmpgt_epi8(v, _mm_set1_epi8(0x1F));
    case Class::NoControl: break;
  }
  return _mm_cmpeq_epi8(_mm_max_epu8(v, _mm_set1_epi8(0x20)), v);
}

// Bytes before the first 16-byte block that holds a failing byte.
size_t clean_prefix_sse2(ByteView bytes, size_t from, Class c) {
  size_t i = from;
  for (; i + 16 <= bytes.size; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes.data + i));
    if (_mm_movemask_epi8(pass_mask(v, c)) != 0xFFFF) break;
  }
  return i;
}

size_t replace_sse2(ByteView bytes, size_t from, uint8_t replacement, uint8_t *out) {
  const __m128i r = _mm_set1_epi8(static_cast<char>(replacement));
  size_t i = from;
  for (; i + 16 <= bytes.size; i += 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes.data + i));
    const __m128i keep = pass_mask(v, Class::Printable);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i),
                     _mm_or_si128(_mm_and_si128(keep, v), _mm_andnot_si128(keep, r)));
  }
  return i;
}

#if ZTK_WIDE_VECTORS
ZTK_AVX2 inline __m256i pass_mask(__m256i v, Class c) {
  switch (c) {
    case Class::Ascii: return _mm256_cmpgt_epi8(v, _mm256_set1_epi8(-1));
    case Class::Printable: return _mm256_cmpgt_epi8(v, _mm256_set1_epi8(0x1F));
    case Class::NoControl: break;
  }
  return _mm256_cmpeq_epi8(_mm256_max_epu8(v, _mm256_set1_epi8(0x20)), v);
}

ZTK_AVX2 size_t clean_prefix_avx2(ByteView bytes, Class c) {
  size_t i = 0;
  for (; i + 64 <= bytes.size; i += 64) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes.data + i));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes.data + i + 32));
    if (_mm256_movemask_epi8(_mm256_and_si256(pass_mask(a, c), pass_mask(b, c))) != -1) break;
  }
  return i;
}

ZTK_AVX2 size_t replace_avx2(ByteView bytes, uint8_t replacement, uint8_t *out) {
  const __m256i r = _mm256_set1_epi8(static_cast<char>(replacement));
  size_t i = 0;
  for (; i + 32 <= bytes.size; i += 32) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes.data + i));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + i),
                        _mm256_blendv_epi8(r, v, pass_mask(v, Class::Printable)));
  }
  return i;
}

ZTK_AVX512 __mmask64 pass_mask(__m512i v, Class c) {
  switch (c) {
    case Class::Ascii: return _mm512_movepi8_mask(_mm512_xor_si512(v, _mm512_set1_epi8(-128)));
    case Class::Printable: return _mm512_cmpgt_epi8_mask(v, _mm512_set1_epi8(0x1F));
    case Class::NoControl: break;
  }
  return _mm512_cmpge_epu8_mask(v, _mm512_set1_epi8(0x20));
}

ZTK_AVX512 size_t clean_prefix_avx512(ByteView bytes, Class c) {
  size_t i = 0;
  for (; i + 128 <= bytes.size; i += 128) {
    const __m512i a = _mm512_loadu_si512(bytes.data + i), b = _mm512_loadu_si512(bytes.data + i + 64);
    if ((pass_mask(a, c) & pass_mask(b, c)) != ~__mmask64{0}) break;
  }
  return i;
}

ZTK_AVX512 size_t replace_avx512(ByteView bytes, uint8_t replacement, uint8_t *out) {
  const __m512i r = _mm512_set1_epi8(static_cast<char>(replacement));
  size_t i = 0;
  for (; i + 64 <= bytes.size; i += 64) {
    const __m512i v = _mm512_loadu_si512(bytes.data + i);
    _mm512_storeu_si512(out + i, _mm512_mask_blend_epi8(pass_mask(v, Class::Printable), r, v));
  }
  return i;
}
#endif  // ZTK_WIDE_VECTORS
#endif  // ZTK_X86

#if ZTK_NEON
// The lanes of a and b folded so that one across-vector reduction decides for
// both: the class is then one bound on the extreme lane. Printable bytes are
// 0x20-0x7F, which as signed bytes is everything from 0x20 up.
template <Class C>
inline uint8x16_t fold(uint8x16_t a, uint8x16_t b) {
  if constexpr (C == Class::Ascii) return vmaxq_u8(a, b);
  if constexpr (C == Class::Printable) {
    return vreinterpretq_u8_s8(vminq_s8(vreinterpretq_s8_u8(a), vreinterpretq_s8_u8(b)));
  }
  return vminq_u8(a, b);
}

template <Class C>
inline bool folded_passes(uint8x16_t v) {
  if constexpr (C == Class::Ascii) return vmaxvq_u8(v) < 0x80;
  if constexpr (C == Class::Printable) return vminvq_s8(vreinterpretq_s8_u8(v)) >= 0x20;
  return vminvq_u8(v) >= 0x20;
}

// Bytes before the first block that holds a failing byte: 64-byte blocks while
// they last (the reduction is slow next to the loads, so it runs once for
// four), then 16-byte blocks.
template <Class C>
size_t clean_prefix_neon_class(ByteView bytes, size_t from) {
  size_t i = from;
  for (; i + 64 <= bytes.size; i += 64) {
    const uint8_t *p = bytes.data + i;
    const uint8x16_t front = fold<C>(vld1q_u8(p), vld1q_u8(p + 16));
    const uint8x16_t back = fold<C>(vld1q_u8(p + 32), vld1q_u8(p + 48));
    if (!folded_passes<C>(fold<C>(front, back))) break;
  }
  for (; i + 16 <= bytes.size; i += 16) {
    if (!folded_passes<C>(vld1q_u8(bytes.data + i))) break;
  }
  return i;
}

size_t clean_prefix_neon(ByteView bytes, size_t from, Class c) {
  switch (c) {
    case Class::Ascii: return clean_prefix_neon_class<Class::Ascii>(bytes, from);
    case Class::Printable: return clean_prefix_neon_class<Class::Printable>(bytes, from);
    case Class::NoControl: break;
  }
  return clean_prefix_neon_class<Class::NoControl>(bytes, from);
}

size_t replace_neon(ByteView bytes, size_t from, uint8_t replacement, uint8_t *out) {
  const uint8x16_t r = vdupq_n_u8(replacement);
  const int8x16_t below = vdupq_n_s8(0x1F);
  size_t i = from;
  for (; i + 16 <= bytes.size; i += 16) {
    const uint8x16_t v = vld1q_u8(bytes.data + i);
    vst1q_u8(out + i, vbslq_u8(vcgtq_s8(vreinterpretq_s8_u8(v), below), v, r));
  }
  return i;
}
#endif  // ZTK_NEON

// The 16-byte level: SSE2 on x86, NEON on arm64, nothing elsewhere.
#if ZTK_X86
#define ZTK_CLEAN_PREFIX_BASE(...) [&](size_t done) { return clean_prefix_sse2(__VA_ARGS__); }
#define ZTK_REPLACE_BASE(...) [&](size_t done) { return replace_sse2(__VA_ARGS__); }
#elif ZTK_NEON
#define ZTK_CLEAN_PREFIX_BASE(...) [&](size_t done) { return clean_prefix_neon(__VA_ARGS__); }
#define ZTK_REPLACE_BASE(...) [&](size_t done) { return replace_neon(__VA_ARGS__); }
#else
#define ZTK_CLEAN_PREFIX_BASE(...) ::ztk::simd::Absent{}
#define ZTK_REPLACE_BASE(...) ::ztk::simd::Absent{}
#endif

}  // namespace

bool all_in_class(ByteView bytes, Class c) {
  return simd::run_levels(ZTK_IF_WIDE([&](size_t) { return clean_prefix_avx512(bytes, c); }),
                          ZTK_IF_WIDE([&](size_t) { return clean_prefix_avx2(bytes, c); }),
                          ZTK_CLEAN_PREFIX_BASE(bytes, done, c),
                          [&](size_t done) { return first_failure_plain(bytes, done, c) == bytes.size; });
}

void replace_non_printable(ByteView bytes, uint8_t replacement, uint8_t *out) {
  simd::run_levels(ZTK_IF_WIDE([&](size_t) { return replace_avx512(bytes, replacement, out); }),
                   ZTK_IF_WIDE([&](size_t) { return replace_avx2(bytes, replacement, out); }),
                   ZTK_REPLACE_BASE(bytes, done, replacement, out),
                   [&](size_t done) { replace_plain(bytes, done, replacement, out); });
}

bool all_in_class_reference(ByteView bytes, Class c) { return first_failure_plain(bytes, 0, c) == bytes.size; }
void replace_non_printable_reference(ByteView bytes, uint8_t replacement, uint8_t *out) {
  replace_plain(bytes, 0, replacement, out);
}

}  // namespace ztk::byte_checks

namespace {

// Whether every byte passes `mode`: 0 ASCII (below 0x80), 1 printable ASCII
// (0x20-0x7F), 2 at or above 0x20. Any other mode passes nothing.
bool all_in_class(ztk::ByteView bytes, RBInteger mode) {
  if (bytes.empty() || mode < 0 || mode > 2) return false;
  return ztk::byte_checks::all_in_class(bytes, static_cast<ztk::byte_checks::Class>(mode));
}

}  // namespace

RBBoolean IsASCIIString2(REALstring s, RBInteger mode) {
  if (s == nullptr) return 0;
  rbData in;
  ztk::ReadString(in, s);
  return all_in_class(in.view(), mode) ? 1 : 0;
}

RBBoolean IsASCIIString1(REALstring s) { return IsASCIIString2(s, 0); }

REALstring ReplaceNonPrintableCharactersZTK(REALstring s, RBInteger replacevalue) {
  if (s == nullptr) return nullptr;
  rbData in;
  ztk::ReadString(in, s);
  const ztk::ByteView bytes = in.view();
  if (bytes.empty()) return nullptr;
  auto *out = static_cast<uint8_t *>(ztk::mem::alloc(bytes.size));
  if (out == nullptr) return nullptr;
  ztk::byte_checks::replace_non_printable(bytes, static_cast<uint8_t>(replacevalue & 0xFF), out);
  REALstring result = ztk::BuildString(out, static_cast<int64_t>(bytes.size), enc::kASCII);
  ztk::mem::release(out);
  return result;
}

REALstring RandomBytesStringZTK(RBInteger length, RBBoolean ascii) {
  if (length < 1 || !ztk::mem::size_ok(static_cast<uint64_t>(length))) return nullptr;
  auto *out = static_cast<uint8_t *>(ztk::mem::alloc(static_cast<uint64_t>(length)));
  if (out == nullptr) return nullptr;
  ztk::random::prepare_thread();
  // Byte i comes from the i-th rand() call of this method.
  for (RBInteger i = 0; i < length; ++i) {
    const int r = std::rand();
    out[i] = ascii != 0 ? static_cast<uint8_t>(32 + r % 96) : static_cast<uint8_t>(r & 0xFF);
  }
  REALstring result = REALBuildUnicodeString(out, length, ascii != 0 ? enc::kASCII : enc::kNone);
  ztk::mem::release(out);
  return result;
}
