// An output block of the memory-block layer that grows to at least 1 KB
// beyond what is needed, and at least doubles. When it cannot grow it is
// dropped, and all later output of the call is discarded.
#pragma once

#include <cstdint>

#include "frame/rb_types.h"
#include "text/memory_blocks.h"

namespace ztk {

class ByteSink {
 public:
  explicit ByteSink(int64_t capacity);
  ~ByteSink();
  ByteSink(const ByteSink &) = delete;
  ByteSink &operator=(const ByteSink &) = delete;

  bool alive() const { return handle_ != nullptr; }
  int32_t size() const { return length_; }
  void put(const void *bytes, int32_t n);
  void put(uint8_t b) { put(&b, 1); }
  // The bytes written so far, while alive (valid until the next put).
  const uint8_t *data() const { return alive() ? reinterpret_cast<const uint8_t *>(*handle_) : nullptr; }
  // A plain-built host string of the bytes with `encoding`; null when dead or empty.
  REALstring build(uint32_t encoding);
  // The bytes handed to REALBuildUnicodeString with `encoding`.
  REALstring build_unicode(uint32_t encoding);

 private:
  void drop();
  mm::Handle handle_ = nullptr;
  int32_t length_ = 0;
  int32_t capacity_ = 0;
};

}  // namespace ztk
