// Quoted-printable codec (MIME, RFC 2045 section 6.7) on stored bytes.
//
// The encoder writes CR LF line breaks and "=" soft breaks so that no line is
// longer than LINELEN - 1 characters; LINELEN is a process-wide setting that
// the two-argument form changes for this and later calls. The decoder drops
// soft breaks and invalid escapes and writes every hard line break as one LF.
// Both run at the active vector level (frame/dispatch.h): quoted_printable/
// holds one source per level, whose block loops handle escapes, soft breaks
// and line ends inside the loop.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/byte_view.h"
#include "frame/dispatch.h"
#include "text/byte_sink.h"

namespace ztk::qp {

// What the encoder carries from one stretch of input to the next.
struct EncoderState {
  int32_t lineLength;
  int64_t column = 0;
  uint8_t pending = 0;  // a space or tab held until what follows is known
};

// The encoder writes its output in stretches of input, each into room for
// the most a byte can become (a soft break and an escape, or a line end with
// the escaped white space before it and its soft break), plus what finishing
// writes.
constexpr size_t kStretch = 16384;
constexpr size_t kMostPerByte = 9;
constexpr size_t kMostAtFinish = 9;

struct Kernels {
  // Encodes in[from, end) (and the byte after it when it is a line end's
  // partner) into out, which has room for kMostPerByte bytes per input byte
  // and kMostAtFinish more; finishes the output when the input is done.
  // Returns where it stopped; `written` gets the bytes written.
  size_t (*encode_stretch)(ByteView in, size_t from, size_t end, EncoderState &state, uint8_t *out, size_t &written);
  // Writes at most in.size bytes to `out` and returns how many.
  size_t (*decode)(ByteView in, uint8_t *out);
};

// The family's tables per level (defined beside them) and those of the
// active level.
extern const simd::Dispatch<Kernels> kDispatch;
inline const Kernels &kernels() { return kDispatch(); }

// Encodes with the given kernels' stretches.
void encode_with(const Kernels &k, ByteView in, int32_t lineLength, ByteSink &out);
inline void encode(ByteView in, int32_t lineLength, ByteSink &out) { encode_with(kernels(), in, lineLength, out); }
// Room for the encoding of n bytes of input in one stretch.
constexpr size_t encoded_room(size_t n) { return n * kMostPerByte + kMostAtFinish; }
// Encodes an input of at most kStretch bytes in one stretch into `out`, which
// has encoded_room(in.size) bytes; returns the bytes written.
inline size_t encode_short(ByteView in, int32_t lineLength, uint8_t *out) {
  EncoderState state{lineLength};
  size_t written;
  kernels().encode_stretch(in, 0, in.size, state, out, written);
  return written;
}
inline size_t decode(ByteView in, uint8_t *out) { return kernels().decode(in, out); }

// The byte-at-a-time versions every vector level must equal.
void encode_reference(ByteView in, int32_t lineLength, ByteSink &out);
size_t decode_reference(ByteView in, uint8_t *out);

}  // namespace ztk::qp
