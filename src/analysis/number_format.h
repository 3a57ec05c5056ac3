// Number formatting with the C formatter: scientific notation with a chosen
// number of fraction digits, and plain decimal notation (never an exponent)
// cut, not rounded, to about fifteen significant characters.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ztk::numfmt {

constexpr size_t kTextBuffer = 500;

// Writes the text into out (kTextBuffer bytes); returns its length.
size_t scientific(double d, int64_t digits, char *out);
size_t plain(double d, char *out);

}  // namespace ztk::numfmt
