#include "text/memory_blocks.h"

#include <cstring>

#include "frame/plugin_alloc.h"

namespace ztk::mm {
namespace {
// The master pointer comes first, so that a Handle is a pointer to it.
struct Block {
  char *data;
  int64_t size;
  int32_t locks;
};
Block *block(Handle h) { return static_cast<Block *>(static_cast<void *>(h)); }
}  // namespace

Handle NewHandle(int64_t size) {
  if (size < 0) return nullptr;
  auto *b = static_cast<Block *>(mem::alloc_zeroed(sizeof(Block)));
  if (b == nullptr) return nullptr;
  // A zero-sized block still gets a data pointer, so that writers never
  // meet a null master pointer on a live handle.
  // Like the Memory Manager's own, a new block's bytes are undefined: every
  // user writes before it reads, so zero-filling would be a wasted pass.
  b->data = static_cast<char *>(mem::alloc(size > 0 ? static_cast<uint64_t>(size) : 1));
  if (b->data == nullptr) {
    mem::release(b);
    return nullptr;
  }
  b->size = size;
  return &b->data;
}

void SetHandleSize(Handle h, int64_t size) {
  if (h == nullptr || size < 0) return;
  Block *b = block(h);
  if (b->locks > 0) return;  // a pinned block cannot move
  void *grown = mem::resize(b->data, size > 0 ? static_cast<uint64_t>(size) : 1);
  if (grown == nullptr) return;
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
  mem::release(block(h)->data);
  mem::release(block(h));
}

}  // namespace ztk::mm
