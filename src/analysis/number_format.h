// Number formatting as the C formatter does it: scientific notation with a
// chosen number of fraction digits, and plain decimal notation (never an
// exponent) cut, not rounded, to about fifteen significant characters.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ztk::numfmt {

constexpr size_t kTextBuffer = 500;

// Writes the text into out (kTextBuffer bytes); returns its length.
size_t scientific(double d, int64_t digits, char *out);
size_t plain(double d, char *out);
// Both straight from the formatter's text ("%.*e", "%.99f"); scientific()
// and plain() compute the same characters from the double's bits where they
// can.
size_t scientific_by_formatter(double d, int64_t digits, char *out);
size_t plain_by_formatter(double d, char *out);

}  // namespace ztk::numfmt
