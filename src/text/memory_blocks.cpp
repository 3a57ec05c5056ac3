#include "text/memory_blocks.h"

#include <algorithm>
#include <cstring>

#include "frame/plugin_alloc.h"

namespace ztk::mm {
namespace {
// The master pointer comes first, so that a Handle is a pointer to it. A
// small block's bytes follow it in the same allocation (one allocation and
// one release a call instead of two); a larger one, and any block once
// resized, has its bytes apart, where the C library can grow them in place.
struct Block {
  char *data;
  int64_t size;
  int32_t locks;
};
// The bytes start this far in, so that they are aligned as the C library
// aligns a block.
constexpr size_t kHeader = 32;
static_assert(sizeof(Block) <= kHeader, "the header holds the block's fields");
constexpr int64_t kInlineBytes = 4096;
Block *block(Handle h) { return static_cast<Block *>(static_cast<void *>(h)); }
char *inline_bytes(Block *b) { return reinterpret_cast<char *>(b) + kHeader; }
uint64_t at_least_one(int64_t size) { return size > 0 ? static_cast<uint64_t>(size) : 1; }
}  // namespace

Handle NewHandle(int64_t size) {
  if (size < 0) return nullptr;
  // A zero-sized block still gets a data pointer, so that writers never
  // meet a null master pointer on a live handle.
  // Like the Memory Manager's own, a new block's bytes are undefined: every
  // user writes before it reads, so zero-filling would be a wasted pass.
  const bool together = size <= kInlineBytes;
  auto *b = static_cast<Block *>(mem::alloc(kHeader + (together ? at_least_one(size) : 0)));
  if (b == nullptr) return nullptr;
  b->data = together ? inline_bytes(b) : static_cast<char *>(mem::alloc(at_least_one(size)));
  if (b->data == nullptr) {
    mem::release(b);
    return nullptr;
  }
  b->size = size;
  b->locks = 0;
  return &b->data;
}

void SetHandleSize(Handle h, int64_t size) {
  if (h == nullptr || size < 0) return;
  Block *b = block(h);
  if (b->locks > 0) return;  // a pinned block cannot move
  void *grown;
  if (b->data == inline_bytes(b)) {
    grown = mem::alloc(at_least_one(size));
    if (grown == nullptr) return;
    std::memcpy(grown, b->data, static_cast<size_t>(std::min(b->size, size)));
  } else {
    grown = mem::resize(b->data, at_least_one(size));
    if (grown == nullptr) return;
  }
  b->data = static_cast<char *>(grown);
  b->size = size;  // grown bytes are undefined, as at NewHandle
}

int64_t GetHandleSize(Handle h) { return h != nullptr ? block(h)->size : 0; }
void HLock(Handle h) {
  if (h != nullptr) ++block(h)->locks;
}
void HUnlock(Handle h) {
  if (h != nullptr && block(h)->locks > 0) --block(h)->locks;
}
void DisposeHandle(Handle h) {
  if (h == nullptr) return;
  Block *b = block(h);
  if (b->data != inline_bytes(b)) mem::release(b->data);
  mem::release(b);
}

}  // namespace ztk::mm
