#include "analysis/number_format.h"

#include <algorithm>
#include <cfenv>
#include <cstdio>
#include <cstring>
#include <optional>

#include "frame/registry.h"
#include "frame/string_build.h"

namespace ztk::numfmt {
namespace {

// Every double's decimal expansion ends within 767 significant digits, so a
// precision beyond this only appends zeros past the 498 characters kept.
constexpr int64_t kMaxDigits = 1100;

// Removes trailing zeros from the fourth character on, keeping one zero
// after a non-zero digit or the point (1.500 -> 1.50, 1.0 stays).
void trim_zeros(char *text) {
  size_t p = std::strlen(text);
  while (p >= 4 && text[p - 1] == '0' && text[p - 2] == '0') text[--p] = '\0';
}

}  // namespace

size_t scientific_by_formatter(double d, int64_t digits, char *out) {
  // Fewer than no digits is none; more than the text can hold is capped.
  const auto precision = static_cast<int>(std::clamp<int64_t>(digits, 0, kMaxDigits));
  std::memset(out, 0, kTextBuffer);
  std::snprintf(out, kTextBuffer - 1, "%.*e", precision, d);
  return std::strlen(out);
}

size_t plain_by_formatter(double d, char *out) {
  std::memset(out, 0, kTextBuffer);
  std::snprintf(out, kTextBuffer, "%.99f", d);
  trim_zeros(out);
  if (char *point = std::strchr(out, '.')) {
    // Significant characters before the point: every one but "0" (a minus sign counts).
    const auto c = static_cast<size_t>(std::count_if(out, point, [](char ch) { return ch != '0'; }));
    if (c > 14) {
      *point = '\0';
    } else {
      size_t f = static_cast<size_t>(point - out) + 1;
      while (out[f] == '0') ++f;
      const size_t end = f + 15 - c;
      if (end < std::strlen(out)) out[end] = '\0';
    }
  }
  trim_zeros(out);
  return std::strlen(out);
}

namespace {

// Writes v as exactly `count` digits, two at a time.
void write_fixed(uint64_t v, size_t count, char *out) {
  static constexpr char kPairs[] =
      "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
      "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
      "8081828384858687888990919293949596979899";
  size_t k = count;
  while (k >= 2) {
    std::memcpy(out + k - 2, kPairs + 2 * (v % 100), 2);
    v /= 100;
    k -= 2;
  }
  if (k == 1) out[0] = static_cast<char>('0' + v);
}

// Writes the digits of v; returns their count.
size_t write_digits(uint64_t v, char *out) {
  size_t n = 1;
  for (uint64_t p = 10; n < 20 && v >= p; p *= 10) ++n;
  write_fixed(v, n, out);
  return n;
}

// Writes the digits of mantissa * 2^shift (at most 309 of them for a double);
// returns their count. Beyond 64 bits the number is divided by 10^9 in
// 32-bit words, nine digits at a time.
size_t write_integer(uint64_t mantissa, int shift, char *out) {
  if (shift < 0) return write_digits(shift > -64 ? mantissa >> -shift : 0, out);
  if (shift <= 11) return write_digits(mantissa << shift, out);
  uint32_t words[34] = {};
  const int word = shift / 32, bit = shift % 32;
  words[word] = static_cast<uint32_t>(mantissa << bit);
  words[word + 1] = static_cast<uint32_t>(mantissa >> (32 - bit));
  words[word + 2] = static_cast<uint32_t>(bit == 0 ? 0 : mantissa >> (64 - bit));
  size_t used = static_cast<size_t>(word) + 3;
  uint32_t chunks[36];  // nine digits each, least significant first
  size_t count = 0;
  while (used > 0) {
    uint64_t remainder = 0;
    for (size_t k = used; k-- > 0;) {
      const uint64_t part = (remainder << 32) | words[k];
      words[k] = static_cast<uint32_t>(part / 1000000000);
      remainder = part % 1000000000;
    }
    chunks[count++] = static_cast<uint32_t>(remainder);
    while (used > 0 && words[used - 1] == 0) --used;
  }
  size_t n = write_digits(chunks[count - 1], out);
  for (size_t c = count - 1; c-- > 0; n += 9) write_fixed(chunks[c], 9, out + n);
  return n;
}

// The length trim_zeros leaves of a text of len characters, eight zeros at a time.
size_t trimmed_length(const char *text, size_t len) {
  size_t zeros = 0;
  while (zeros + 8 <= len && std::memcmp(text + len - zeros - 8, "00000000", 8) == 0) zeros += 8;
  while (zeros < len && text[len - zeros - 1] == '0') ++zeros;
  if (zeros < 2 || len <= 3) return len;
  return len - zeros + 1 > 3 ? len - zeros + 1 : 3;
}

// The fraction's decimal digits, exactly: F / 2^bits, one digit per step.
// `Wide` holds F times ten, so bits is at most its width less four.
template <class Wide>
size_t write_fraction(Wide fraction, unsigned bits, size_t wanted_after_first, char *out) {
  const Wide mask = (Wide(1) << bits) - 1;
  size_t n = 0;
  bool seen = false;
  size_t left = wanted_after_first;
  while (fraction != 0 && left > 0) {
    fraction *= 10;
    const char digit = static_cast<char>('0' + static_cast<unsigned>(fraction >> bits));
    fraction &= mask;
    out[n++] = digit;
    seen = seen || digit != '0';
    if (seen) --left;
  }
  // The formatter's text goes on with zeros: the trimming keeps one of them
  // where the cut leaves room for it.
  if (left > 0) out[n++] = '0';
  return n;
}

#if defined(__SIZEOF_INT128__)
__extension__ typedef unsigned __int128 Widest;

constexpr uint64_t kPowersOfTen[] = {1,           10,           100,           1000,           10000,
                                     100000,      1000000,      10000000,      100000000,      1000000000,
                                     10000000000, 100000000000, 1000000000000, 10000000000000, 100000000000000,
                                     1000000000000000};

// floor(fraction * p / 2^bits) for fraction below 2^bits, bits at most 124,
// p below 2^64: the product has up to 188 bits, taken in 64-bit parts.
uint64_t times_shifted(Widest fraction, uint64_t p, unsigned bits) {
  const Widest low = Widest(static_cast<uint64_t>(fraction)) * p;
  const Widest high = Widest(static_cast<uint64_t>(fraction >> 64)) * p;
  const Widest middle = (low >> 64) + static_cast<uint64_t>(high);
  const Widest top = (high >> 64) + (middle >> 64);  // bits 128 and up
  const Widest upper = (top << 64) | static_cast<uint64_t>(middle);  // the product >> 64
  if (bits >= 64) return static_cast<uint64_t>(upper >> (bits - 64));
  return static_cast<uint64_t>((upper << (64 - bits)) | (static_cast<uint64_t>(low) >> bits));
}

// The same digits as write_fraction: after the fraction's leading zeros, the
// `wanted` digits from the first non-zero one on are
// floor(fraction * 10^wanted / 2^bits), taken in one product.
template <class Wide>
size_t write_fraction_at_once(Wide fraction, unsigned bits, size_t wanted, char *out) {
  if (fraction == 0) {
    out[0] = '0';
    return 1;
  }
  size_t n = 0;
  while ((fraction * 10) >> bits == 0) {
    out[n++] = '0';
    fraction *= 10;
  }
  uint64_t digits;
  if constexpr (sizeof(Wide) == 8) {
    digits = static_cast<uint64_t>((Widest(fraction) * kPowersOfTen[wanted]) >> bits);
  } else {
    digits = times_shifted(fraction, kPowersOfTen[wanted], bits);
  }
  write_fixed(digits, wanted, out + n);
  return n + wanted;
}
#else
using Widest = uint64_t;
#endif

// A double as mantissa * 2^shift, where its digits are computed here: finite,
// and with a fraction of at most as many bits as the widest integer holds
// times ten.
struct Binary {
  bool negative;
  uint64_t mantissa;
  int shift;
  unsigned fraction_bits() const { return shift < 0 ? static_cast<unsigned>(-shift) : 0; }
};

std::optional<Binary> exact_binary(double d) {
  uint64_t bits;
  std::memcpy(&bits, &d, sizeof d);
  const auto exponent = static_cast<int>((bits >> 52) & 0x7FF);
  const Binary b{(bits >> 63) != 0,
                 (bits & ((uint64_t(1) << 52) - 1)) | (exponent != 0 ? uint64_t(1) << 52 : 0),
                 (exponent != 0 ? exponent : 1) - 1075};
  constexpr int kMaxFractionBits = sizeof(Widest) * 8 - 4;
  if (exponent == 0x7FF || -b.shift > kMaxFractionBits) return std::nullopt;
  return b;
}

}  // namespace

// The formatter writes the exact expansion rounded at the 99th fraction
// digit. The integer part is written exactly whatever its size; for a double
// whose fraction has at most 124 bits (60 without 128-bit integers) the kept
// fraction digits come exactly from its bits too: a non-zero fraction is then
// at least 2^-72 (2^-52 beside a non-zero integer part), so its first
// non-zero digit is among the first 22 and at most 37 fraction digits are
// kept. The rounding at the 99th digit could only change them by a carry,
// which needs the fraction to lie less than 10^-99 below a multiple of
// 10^-37; but a fraction of b bits that is not such a multiple lies at least
// 2^-b * 10^-37 below the next one.
size_t plain(double d, char *out) {
  const std::optional<Binary> b = exact_binary(d);
  if (!b) return plain_by_formatter(d, out);
  const uint64_t mantissa = b->mantissa;
  const unsigned fraction_bits = b->fraction_bits();
  size_t n = 0;
  if (b->negative) out[n++] = '-';
  const size_t integer_start = n;
  n += write_integer(mantissa, b->shift, out + n);
  // Significant characters before the point: every one but "0" (a minus sign counts).
  size_t c = integer_start;
  for (size_t k = integer_start; k < n; ++k) c += out[k] != '0';
  if (c <= 14) {
    out[n++] = '.';
    const size_t wanted = 15 - c;
    if (fraction_bits == 0) {
      out[n++] = '0';
    } else if (fraction_bits <= 60) {
      const uint64_t fraction = mantissa & ((uint64_t(1) << fraction_bits) - 1);
#if defined(__SIZEOF_INT128__)
      n += write_fraction_at_once<uint64_t>(fraction, fraction_bits, wanted, out + n);
    } else {
      n += write_fraction_at_once<Widest>(mantissa, fraction_bits, wanted, out + n);
#else
      n += write_fraction<uint64_t>(fraction, fraction_bits, wanted, out + n);
#endif
    }
  }
  n = trimmed_length(out, n);
  out[n] = '\0';
  return n;
}

namespace {

// A finite double's exact decimal digits from its most significant one on:
// the integer part's digits, then the fraction's, then zeros.
template <class Wide>
class ExactDigits {
 public:
  ExactDigits(const char *integer, size_t integer_digits, Wide fraction, unsigned bits)
      : integer_(integer), integer_digits_(integer_digits), fraction_(fraction), bits_(bits),
        mask_((Wide(1) << bits) - 1) {}
  int next() {
    if (at_ < integer_digits_) return integer_[at_++] - '0';
    if (fraction_ == 0) return 0;
    fraction_ *= 10;
    const int digit = static_cast<int>(fraction_ >> bits_);
    fraction_ &= mask_;
    return digit;
  }
  // Whether any digit still to come is not zero.
  bool more() const {
    for (size_t k = at_; k < integer_digits_; ++k) {
      if (integer_[k] != '0') return true;
    }
    return fraction_ != 0;
  }

 private:
  const char *integer_;
  size_t integer_digits_, at_ = 0;
  Wide fraction_;
  unsigned bits_;
  Wide mask_;
};

template <class Wide>
size_t write_scientific(bool negative, const char *integer, size_t integer_digits, Wide fraction, unsigned bits,
                        size_t precision, char *out) {
  ExactDigits<Wide> digits(integer, integer_digits, fraction, bits);
  int exponent = 0;
  int first = 0;
  if (integer_digits > 1 || integer[0] != '0') {
    exponent = static_cast<int>(integer_digits) - 1;
    first = digits.next();
  } else if (fraction != 0) {
    digits.next();  // the integer part's "0"
    exponent = -1;
    while ((first = digits.next()) == 0) --exponent;
  }
  size_t n = 0;
  if (negative) out[n++] = '-';
  char *significant = out + n;
  significant[0] = static_cast<char>('0' + first);
  for (size_t k = 1; k <= precision; ++k) significant[k] = static_cast<char>('0' + digits.next());
  // Round to nearest, a tie to the even digit.
  const int next = digits.next();
  if (next > 5 || (next == 5 && (digits.more() || (significant[precision] - '0') % 2 != 0))) {
    size_t k = precision + 1;
    while (k > 0 && significant[k - 1] == '9') significant[--k] = '0';
    if (k > 0) {
      ++significant[k - 1];
    } else {
      significant[0] = '1';
      ++exponent;
    }
  }
  n += 1;
  if (precision > 0) {
    std::memmove(significant + 2, significant + 1, precision);
    significant[1] = '.';
    n += precision + 1;
  }
  out[n++] = 'e';
  out[n++] = exponent < 0 ? '-' : '+';
  const int magnitude = exponent < 0 ? -exponent : exponent;
  if (magnitude >= 100) out[n++] = static_cast<char>('0' + magnitude / 100);
  out[n++] = static_cast<char>('0' + magnitude / 10 % 10);
  out[n++] = static_cast<char>('0' + magnitude % 10);
  out[n] = '\0';
  return n;
}

}  // namespace

// The formatter rounds the exact value in the current rounding mode; to
// nearest (ties to even) is done here from the double's exact digits, for the
// doubles plain() computes and fraction digits up to kExactPrecision.
size_t scientific(double d, int64_t digits, char *out) {
  constexpr int64_t kExactPrecision = 200;
  const std::optional<Binary> b = exact_binary(d);
  if (!b || digits > kExactPrecision || std::fegetround() != FE_TONEAREST) return scientific_by_formatter(d, digits, out);
  const size_t precision = digits < 0 ? 0 : static_cast<size_t>(digits);
  const bool negative = b->negative;
  const uint64_t mantissa = b->mantissa;
  const unsigned fraction_bits = b->fraction_bits();
  char integer_text[310];
  const size_t integer_digits = write_integer(mantissa, b->shift, integer_text);
  if (fraction_bits == 0) return write_scientific<uint64_t>(negative, integer_text, integer_digits, 0, 1, precision, out);
  if (fraction_bits <= 60) {
    return write_scientific<uint64_t>(negative, integer_text, integer_digits,
                                      mantissa & ((uint64_t(1) << fraction_bits) - 1), fraction_bits, precision, out);
  }
  return write_scientific<Widest>(negative, integer_text, integer_digits, mantissa, fraction_bits, precision, out);
}

}  // namespace ztk::numfmt

REALstring ScientificStrZTK(double d, RBInteger digits) {
  char text[ztk::numfmt::kTextBuffer];
  const size_t n = ztk::numfmt::scientific(d, digits, text);
  return n > 0 ? ztk::BuildString(text, static_cast<int64_t>(n), enc::kASCII) : nullptr;
}

REALstring StrZTK(double d) {
  char text[ztk::numfmt::kTextBuffer];
  const size_t n = ztk::numfmt::plain(d, text);
  return n > 0 ? ztk::BuildString(text, static_cast<int64_t>(n), enc::kASCII) : nullptr;
}
