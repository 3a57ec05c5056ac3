// The plugin's one heap allocator. Every block the plugin allocates for itself
// comes from here, so that a test build can make any chosen allocation fail.
// Blocks are released with ztk::mem::release (which is the C
// library's free, so a host that lacks its disposal service can still hand
// the plugin's copies to free()).
#pragma once

#include <cstddef>
#include <cstdint>

namespace ztk::mem {

constexpr uint64_t kMaxBlock = 0x7FFFFFFF;

// True when n is a size the plugin may allocate: 1 to 0x7FFFFFFF bytes.
constexpr bool size_ok(uint64_t n) { return n >= 1 && n <= kMaxBlock; }

// A zero-filled block of n bytes, or null when n is out of range or the
// allocation fails.
void *alloc_zeroed(uint64_t n);
// A block of n bytes left as the C library gives it, for what is about to be
// overwritten whole; null as for alloc_zeroed.
void *alloc(uint64_t n);
// Resizes a block from alloc_zeroed or alloc (null on failure; the old block stays).
void *resize(void *p, uint64_t n);
void release(void *p);

// A method's scratch bytes: on the stack for up to kStackBytes, a heap block
// from alloc beyond (null when it cannot be had). A short call's result is
// built this way without a heap block, whose allocation and release would
// cost more than the call's own work.
class Scratch {
 public:
  static constexpr uint64_t kStackBytes = 4096;
  explicit Scratch(uint64_t n) : data_(n <= kStackBytes ? stack_ : static_cast<uint8_t *>(alloc(n))) {}
  ~Scratch() {
    if (data_ != stack_ && data_ != nullptr) release(data_);
  }
  Scratch(const Scratch &) = delete;
  Scratch &operator=(const Scratch &) = delete;

  uint8_t *data() const { return data_; }

 private:
  uint8_t stack_[kStackBytes];
  uint8_t *data_;
};

}  // namespace ztk::mem
