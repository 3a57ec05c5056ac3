// An output block of the memory-block layer that grows to at least 1 KB
// beyond what is needed, and at least doubles. When it cannot grow it is
// dropped, and all later output of the call is discarded.
#pragma once

#include <cstddef>
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
  // Lets write(p) put up to `most` bytes at p, in place, and keeps the number
  // it returns; grows (or dies) first as put would for `most` bytes.
  template <class Writer>
  void append(size_t most, Writer write) {
    if (handle_ == nullptr || most == 0) return;
    if (most > static_cast<size_t>(INT32_MAX) || !reserve(static_cast<int32_t>(most))) return drop();
    mm::HLock(handle_);
    const size_t n = write(reinterpret_cast<uint8_t *>(*handle_) + length_);
    mm::HUnlock(handle_);
    length_ += static_cast<int32_t>(n);
  }
  // The bytes written so far, while alive (valid until the next put).
  const uint8_t *data() const { return alive() ? reinterpret_cast<const uint8_t *>(*handle_) : nullptr; }
  // A plain-built host string of the bytes with `encoding`; null when dead or empty.
  REALstring build(uint32_t encoding);
  // The bytes handed to REALBuildUnicodeString with `encoding`.
  REALstring build_unicode(uint32_t encoding);

 private:
  void drop();
  // Room for n more bytes (n > 0); false when the block cannot grow (it is dropped).
  bool reserve(int32_t n);
  mm::Handle handle_ = nullptr;
  int32_t length_ = 0;
  int32_t capacity_ = 0;
};

}  // namespace ztk
