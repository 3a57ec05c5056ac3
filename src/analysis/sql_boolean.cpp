#include "analysis/sql_boolean.h"

#include <algorithm>
#include <cstring>

#include "frame/cpu.h"
#include "frame/registry.h"
#include "frame/simd.h"
#include "text/rb_text.h"

namespace ztk::sql {
namespace {

// Whether `word` (lower case) starts at p and a separator follows it.
bool word_at(ByteView in, size_t p, const char *word, size_t len) {
  if (p + len >= in.size) return false;  // the end of the text is not a separator
  for (size_t k = 0; k < len; ++k) {
    if ((in[p + k] | 0x20) != static_cast<uint8_t>(word[k])) return false;
  }
  return is_separator(in[p + len]);
}

bool is_event(ByteView in, size_t p, uint8_t quote) {
  if (quote != 0) return in[p] == quote;
  if (in[p] == '\'' || in[p] == '"') return true;
  if (p > 0 && !is_separator(in[p - 1])) return false;
  return word_at(in, p, "true", 4) || word_at(in, p, "false", 5);
}

#if ZTK_X86
// The events of a 64-byte block as bit masks, lane k for byte k: single
// quotes, double quotes and the starts of stand-alone words. Which of them
// count depends on whether the text is inside quotes there, which the
// caller knows.
struct BlockEvents {
  uint64_t single = 0, dbl = 0, words = 0;
};
constexpr size_t kBlock = 64;

// What a vector level reports for its lanes: quotes, separators, and the
// letters t and f (any case) that could start a word.
struct LaneClasses {
  uint64_t single = 0, dbl = 0, separator = 0, starts = 0;
};

struct Sse2 {
  static constexpr size_t kLanes = 16;
  static uint64_t mask(__m128i v) { return static_cast<uint32_t>(_mm_movemask_epi8(v)); }
  static void add(const uint8_t *at, unsigned shift, LaneClasses &c) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(at));
    // Separators: below 0x21 as signed bytes, and ( ) , ; -- "(" | 1 is ")".
    const __m128i sep = _mm_or_si128(
        _mm_or_si128(_mm_cmplt_epi8(v, _mm_set1_epi8(0x21)),
                     _mm_cmpeq_epi8(_mm_or_si128(v, _mm_set1_epi8(1)), _mm_set1_epi8(')'))),
        _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8(',')), _mm_cmpeq_epi8(v, _mm_set1_epi8(';'))));
    const __m128i lower = _mm_or_si128(v, _mm_set1_epi8(0x20));
    c.single |= mask(_mm_cmpeq_epi8(v, _mm_set1_epi8('\''))) << shift;
    c.dbl |= mask(_mm_cmpeq_epi8(v, _mm_set1_epi8('"'))) << shift;
    c.separator |= mask(sep) << shift;
    c.starts |= mask(_mm_or_si128(_mm_cmpeq_epi8(lower, _mm_set1_epi8('t')), _mm_cmpeq_epi8(lower, _mm_set1_epi8('f'))))
                << shift;
  }
};

#if ZTK_WIDE_VECTORS
struct Avx2 {
  static constexpr size_t kLanes = 32;
  ZTK_AVX2 static uint64_t mask(__m256i v) { return static_cast<uint32_t>(_mm256_movemask_epi8(v)); }
  ZTK_AVX2 static void add(const uint8_t *at, unsigned shift, LaneClasses &c) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(at));
    const __m256i sep = _mm256_or_si256(
        _mm256_or_si256(_mm256_cmpgt_epi8(_mm256_set1_epi8(0x21), v),
                        _mm256_cmpeq_epi8(_mm256_or_si256(v, _mm256_set1_epi8(1)), _mm256_set1_epi8(')'))),
        _mm256_or_si256(_mm256_cmpeq_epi8(v, _mm256_set1_epi8(',')), _mm256_cmpeq_epi8(v, _mm256_set1_epi8(';'))));
    const __m256i lower = _mm256_or_si256(v, _mm256_set1_epi8(0x20));
    c.single |= mask(_mm256_cmpeq_epi8(v, _mm256_set1_epi8('\''))) << shift;
    c.dbl |= mask(_mm256_cmpeq_epi8(v, _mm256_set1_epi8('"'))) << shift;
    c.separator |= mask(sep) << shift;
    c.starts |= mask(_mm256_or_si256(_mm256_cmpeq_epi8(lower, _mm256_set1_epi8('t')),
                                     _mm256_cmpeq_epi8(lower, _mm256_set1_epi8('f'))))
                << shift;
  }
};
#endif

// The events at or after a position, one 64-byte block of masks at a time:
// each block is classified once, and the quote state picks which of its
// masks count. A "t" or "f" after a separator is checked as a whole word
// in the text itself, which is rare enough to do a byte at a time. The last
// block, shorter than 64 bytes, is classified on a copy padded with bytes
// that are no event.
template <class Level>
class EventCursor {
 public:
  explicit EventCursor(ByteView in) : in_(in) {}

  // The first event at or after p, for the text outside quotes (quote 0) or
  // inside quotes of that kind; in.size when there is none.
  [[gnu::always_inline]] size_t next(size_t p, uint8_t quote) {
    while (p < in_.size) {
      if (!loaded_ || p < base_ || p - base_ >= kBlock) load(p);
      const uint64_t events = quote == 0 ? (e_.single | e_.dbl | e_.words) : quote == '\'' ? e_.single : e_.dbl;
      const uint64_t m = events & (~uint64_t{0} << (p - base_));
      if (m != 0) return base_ + static_cast<size_t>(__builtin_ctzll(m));
      p = base_ + kBlock;
    }
    return in_.size;
  }

 private:
  [[gnu::always_inline]] void load(size_t base) {
    loaded_ = true;
    base_ = base;
    const uint8_t *at = in_.data + base;
    uint64_t inside = ~uint64_t{0};  // the lanes within the text
    if (in_.size - base < kBlock) {
      const size_t n = in_.size - base;
      std::memcpy(copy_, at, n);
      std::memset(copy_ + n, 'x', kBlock - n);
      at = copy_;
      inside = (uint64_t{1} << n) - 1;
    }
    LaneClasses c;
    for (unsigned k = 0; k < kBlock; k += Level::kLanes) Level::add(at + k, k, c);
    c.single &= inside;
    c.dbl &= inside;
    c.starts &= inside;
    // The text's first byte starts a word as if a separator stood before it.
    const uint64_t before = base == 0 || is_separator(in_[base - 1]) ? 1 : 0;
    uint64_t words = 0;
    for (uint64_t m = c.starts & ((c.separator << 1) | before); m != 0; m &= m - 1) {
      const size_t k = static_cast<size_t>(__builtin_ctzll(m));
      if (word_at(in_, base + k, "true", 4) || word_at(in_, base + k, "false", 5)) words |= m & (~m + 1);
    }
    e_ = BlockEvents{c.single, c.dbl, words};
  }

  ByteView in_;
  size_t base_ = 0;
  bool loaded_ = false;
  BlockEvents e_;
  uint8_t copy_[kBlock];
};
#endif

// The plain level: a byte at a time.
struct PlainCursor {
  ByteView in;
  size_t next(size_t p, uint8_t quote) const {
    while (p < in.size && !is_event(in, p, quote)) ++p;
    return p < in.size ? p : in.size;  // a start past the end finds nothing, as at every level
  }
};

// The whole rewriting over one cursor, so an event costs a few bit
// operations and no dispatch.
template <class Cursor>
[[gnu::always_inline]] inline void rewrite(ByteView in, AsciiStringHandle &out, Cursor &cursor) {
  static const uint8_t kZero = '0', kOne = '1';
  size_t run = 0;  // start of the bytes not yet copied
  auto copy_to = [&](size_t end) {
    if (end > run) {
      if (uint8_t *o = out.take_bytes(static_cast<int64_t>(end - run))) std::memcpy(o, in.data + run, end - run);
    }
  };
  size_t p = 0;
  while (out.alive()) {
    p = cursor.next(p, 0);
    if (p == in.size) break;
    const uint8_t c = in[p];
    if (c == '\'' || c == '"') {
      // Inside quotes only the closing quote of the same kind counts.
      p = cursor.next(p + 1, c);
      if (p == in.size) break;
      ++p;
      continue;
    }
    const bool is_false = (c | 0x20) == 'f';
    copy_to(p);
    if (uint8_t *o = out.take_bytes(1)) *o = is_false ? kZero : kOne;
    p += is_false ? 5 : 4;
    run = p;
  }
  copy_to(in.size);
}

void rewrite_plain(ByteView in, AsciiStringHandle &out) {
  PlainCursor cursor{in};
  rewrite(in, out, cursor);
}
size_t find_plain(ByteView in, size_t p) { return PlainCursor{in}.next(p, 0); }
#if ZTK_X86
void rewrite_sse2(ByteView in, AsciiStringHandle &out) {
  EventCursor<Sse2> cursor(in);
  rewrite(in, out, cursor);
}
size_t find_sse2(ByteView in, size_t p) { return EventCursor<Sse2>(in).next(p, 0); }
#if ZTK_WIDE_VECTORS
ZTK_AVX2 void rewrite_avx2(ByteView in, AsciiStringHandle &out) {
  EventCursor<Avx2> cursor(in);
  rewrite(in, out, cursor);
}
ZTK_AVX2 size_t find_avx2(ByteView in, size_t p) { return EventCursor<Avx2>(in).next(p, 0); }
#endif
#endif

// The widest level the CPU offers, chosen once per call.
template <class Body>
decltype(auto) at_active_level(Body &&body) {
  const cpu::Level level = cpu::active();
#if ZTK_WIDE_VECTORS
  if (level >= cpu::kAVX2) return body(rewrite_avx2, find_avx2);
#endif
#if ZTK_X86
  if (level >= cpu::kSSE2) return body(rewrite_sse2, find_sse2);
#endif
  (void)level;
  return body(rewrite_plain, find_plain);
}

}  // namespace

size_t find_event_reference(ByteView in, size_t from) { return find_plain(in, from); }

size_t find_event(ByteView in, size_t from) {
  return at_active_level([&](auto, auto find) { return find(in, from); });
}

void replace_booleans(ByteView in, AsciiStringHandle &out) {
  at_active_level([&](auto rewrite_at_level, auto) { rewrite_at_level(in, out); });
}

}  // namespace ztk::sql

REALstring SQLReplaceBooleanZTK(REALstring sql) {
  if (sql == nullptr) return nullptr;
  rbText text(sql);
  const ztk::ByteView in = text.ascii();
  AsciiStringHandle out(int64_t(in.size) + 10);
  if (!out.alive()) return nullptr;
  ztk::sql::replace_booleans(in, out);
  return out.Finish(enc::kUTF8);
}
