// Growable output buffers for results of unknown length: AsciiStringHandle
// collects bytes, UnicodeStringHandle collects UTF-16 units. A buffer that
// cannot grow dies: it drops its memory, ignores every later append, and
// finishing it yields no string.
//
// Two sizes are kept. `limit` follows the buffer's historical rule, one
// append at a time (grow to what is needed plus about 4 KB): the buffer dies
// exactly when that rule reaches the size limit, whether the text comes a
// unit at a time or in runs. The block itself (`capacity`) is never smaller
// than `limit` and grows at least twofold, so a long result is copied
// O(log n) times instead of once every 4 KB, and it is resized only where
// the rule grows; a resize that fails kills the buffer. Writers count a run
// as the appends it stands for and write it in place, in one go.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/rb_types.h"
#include "text/memory_blocks.h"

namespace ztk::growth {
// A block must stay below this size.
constexpr int64_t kSizeLimit = 0x7FFFFFF1;
// Bytes a block holds beyond its capacity (where its size allows), so that a
// writer may store a whole 16-byte vector at any offset below the capacity.
constexpr int64_t kSlack = 16;

// The rule's size after appends made at `used` bytes (or units) written, from
// size `limit`; -1 when the rule reaches the size limit (the buffer dies).
// k appends measured as n bytes each (n >= 1; a reference is measured by its
// name's length, a run of bytes by its length):
int64_t after_repeated(int64_t limit, int64_t used, int64_t k, int64_t n);
// k appends of one UTF-16 unit each:
int64_t after_units(int64_t limit, int64_t used, int64_t k);
}  // namespace ztk::growth

struct AsciiStringHandle {
  ztk::mm::Handle handle = nullptr;
  int32_t used = 0;      // bytes written
  int32_t capacity = 0;  // block size in bytes, as last known
  int64_t limit = 0;     // the size the one-append-at-a-time rule has grown to

  bool slack = false;     // the block holds kSlack bytes beyond its capacity

  explicit AsciiStringHandle(int64_t initialBytes);
  ~AsciiStringHandle();
  AsciiStringHandle(const AsciiStringHandle &) = delete;
  AsciiStringHandle &operator=(const AsciiStringHandle &) = delete;

  bool alive() const { return handle != nullptr; }
  // Builds the result from the bytes written (REALBuildUnicodeString with
  // `encoding`) and disposes of the block; null for a dead buffer.
  REALstring Finish(uint32_t encoding);
  void Kill();

  // Counts k appends of `n` bytes each (k one-byte appends by default) and
  // returns where their k * n bytes go, or null when the buffer is (now)
  // dead. The address is valid until the next call on the buffer.
  uint8_t *take_bytes(int64_t k, int64_t n = 1) {
    if (handle == nullptr) return nullptr;
    const int64_t at = used;
    if (at + k * n + 4 > limit && !follow(ztk::growth::after_repeated(limit, at, k, n))) return nullptr;
    used = static_cast<int32_t>(at + k * n);
    return reinterpret_cast<uint8_t *>(*handle) + at;
  }
  // Counts one append measured as `n` bytes that writes `written` bytes
  // (n + 2 for a reference: "&", the name of n bytes, ";").
  uint8_t *take_append(int64_t n, int64_t written) {
    if (handle == nullptr) return nullptr;
    const int64_t at = used;
    if (at + n + 4 > limit && !follow(ztk::growth::after_repeated(limit, at, 1, n))) return nullptr;
    used = static_cast<int32_t>(at + written);
    return reinterpret_cast<uint8_t *>(*handle) + at;
  }

 private:
  bool follow(int64_t newLimit);  // takes the rule's new size (-1: dies)
};

struct UnicodeStringHandle {
  ztk::mm::Handle handle = nullptr;
  int32_t used = 0;      // 16-bit units written
  int32_t capacity = 0;  // block size in bytes, as last known
  int64_t limit = 0;     // as for AsciiStringHandle, in bytes
  bool slack = false;     // the block holds kSlack bytes beyond its capacity

  explicit UnicodeStringHandle(int64_t initialBytes);
  ~UnicodeStringHandle();
  UnicodeStringHandle(const UnicodeStringHandle &) = delete;
  UnicodeStringHandle &operator=(const UnicodeStringHandle &) = delete;

  bool alive() const { return handle != nullptr; }
  REALstring Finish();  // built from UTF-16 (0x100): a UTF-8 host string
  void Kill();

  // Counts k appends of one unit each and returns where the units go, or null
  // when the buffer is (now) dead; valid until the next call on the buffer.
  uint16_t *take_units(int64_t k) {
    if (handle == nullptr) return nullptr;
    const int64_t at = used;
    if (2 * (at + k - 1) + 10 > limit && !follow(ztk::growth::after_units(limit, at, k))) return nullptr;
    used = static_cast<int32_t>(at + k);
    return static_cast<uint16_t *>(static_cast<void *>(*handle)) + at;  // blocks come from malloc
  }

 private:
  bool follow(int64_t newLimit);
};

// Appends one UTF-16 unit.
void Add(UnicodeStringHandle &buffer, unsigned short unit);
// Appends an entity reference: "&", the name, ";".
void Add(AsciiStringHandle &buffer, char const *name);
// Appends `count` bytes; a count of 0 or less does nothing.
void AddBinary(AsciiStringHandle &buffer, void const *bytes, int count);
