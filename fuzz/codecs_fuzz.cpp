// Codec kernels on arbitrary bytes: round trips where the codecs guarantee
// them, and output sizes within their bounds.
#include <cstring>
#include <vector>

#include "codecs/hex.h"
#include "codecs/mysql.h"
#include "codecs/url.h"
#include "codecs/yenc.h"
#include "fuzz_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const ztk::ByteView in{data, size};

  std::vector<char> hex(2 * size + 1);
  ztk::hex::encode(in, hex.data());
  std::vector<uint8_t> back(size + 1);
  ztk::hex::decode({reinterpret_cast<const uint8_t *>(hex.data()), 2 * size}, back.data());
  FUZZ_CHECK(size == 0 || std::memcmp(back.data(), data, size) == 0);

  for (int options = 0; options < 4; ++options) {
    std::vector<char> url(ztk::url::max_encoded_size(size) + 1);
    const size_t n = ztk::url::encode(in, options, url.data());
    FUZZ_CHECK(n <= ztk::url::max_encoded_size(size));
    // A decoder's room is its input's length.
    std::vector<uint8_t> decoded(n + 1);
    const size_t m = ztk::url::decode({reinterpret_cast<const uint8_t *>(url.data()), n}, options == 3 ? 0 : options,
                                      decoded.data());
    FUZZ_CHECK(m == size && (size == 0 || std::memcmp(decoded.data(), data, size) == 0));
  }
  // Decoders never write more than they read.
  FUZZ_CHECK(ztk::url::decode(in, 1, back.data()) <= size);
  FUZZ_CHECK(ztk::mysql::unescape(in, back.data()) <= size);
  size_t escapes = 0;
  for (size_t i = 0; i < size; ++i) {
    if (data[i] == 0x3D) {
      ++escapes;
      ++i;
    }
  }
  FUZZ_CHECK(ztk::yenc::decode(in, back.data()) == size - escapes);
  return 0;
}
