#include "text/string_handles.h"

#include <cstring>
#include <utility>

#include "frame/string_build.h"

using namespace ztk::mm;

namespace {
constexpr int64_t kSizeLimit = 0x7FFFFFF1;  // a block must stay below this

// Grows the block to `newSize` bytes when `need` exceeds the capacity; kills
// the buffer when that is impossible. Shared by both buffer kinds.
template <class Buffer>
bool ensure(Buffer &b, int64_t need, int64_t newSize) {
  if (need > b.capacity) {
    if (newSize < 0 || newSize >= kSizeLimit) {
      b.Kill();
      return false;
    }
    SetHandleSize(b.handle, newSize);
    b.capacity = static_cast<int32_t>(GetHandleSize(b.handle));
  }
  if (b.capacity < need) {
    b.Kill();
    return false;
  }
  return true;
}

template <class Buffer>
void create(Buffer &b, int64_t initialBytes) {
  if (initialBytes < 0 || initialBytes >= kSizeLimit) return;
  b.handle = NewHandle(initialBytes);
  if (b.handle != nullptr) b.capacity = static_cast<int32_t>(initialBytes);
}

template <class Buffer>
void kill(Buffer &b) {
  DisposeHandle(b.handle);
  b.handle = nullptr;
  b.used = 0;
  b.capacity = 0;
}

// `n` is the size the growth rule counts: the byte count for AddBinary, the
// name's length (without "&" and ";") for an entity reference.
void append_bytes(AsciiStringHandle &b, int64_t n, const void *p1, int n1, const void *p2, int n2, const void *p3,
                  int n3) {
  const int64_t need = b.used + n + 4;
  if (!ensure(b, need, need + n + 4096)) return;
  HLock(b.handle);
  char *out = *b.handle;
  if (out != nullptr) {
    for (auto [p, k] : {std::pair<const void *, int>{p1, n1}, {p2, n2}, {p3, n3}}) {
      if (k > 0) std::memcpy(out + b.used, p, static_cast<size_t>(k));
      b.used += k;
    }
  }
  HUnlock(b.handle);
}
}  // namespace

AsciiStringHandle::AsciiStringHandle(int64_t initialBytes) { create(*this, initialBytes); }
AsciiStringHandle::~AsciiStringHandle() { Kill(); }
void AsciiStringHandle::Kill() { kill(*this); }

REALstring AsciiStringHandle::Finish(uint32_t encoding) {
  if (handle == nullptr) return nullptr;
  HLock(handle);
  REALstring s = REALBuildUnicodeString(*handle, used, encoding);
  HUnlock(handle);
  Kill();
  return s;
}

UnicodeStringHandle::UnicodeStringHandle(int64_t initialBytes) { create(*this, initialBytes); }
UnicodeStringHandle::~UnicodeStringHandle() { Kill(); }
void UnicodeStringHandle::Kill() { kill(*this); }

REALstring UnicodeStringHandle::Finish() {
  if (handle == nullptr) return nullptr;
  HLock(handle);
  REALstring s = REALBuildUnicodeString(*handle, int64_t{used} * 2, enc::kUTF16);
  HUnlock(handle);
  Kill();
  return s;
}

void Add(UnicodeStringHandle &b, unsigned short unit) {
  if (b.handle == nullptr) return;
  const int64_t need = 2 * int64_t{b.used} + 10;
  if (!ensure(b, need, 2 * int64_t{b.used} + 4107)) return;
  HLock(b.handle);
  char *out = *b.handle;
  if (out != nullptr) {
    std::memcpy(out + 2 * static_cast<size_t>(b.used), &unit, 2);
    ++b.used;
  }
  HUnlock(b.handle);
}

void Add(AsciiStringHandle &b, char const *name) {
  if (b.handle == nullptr) return;
  const int n = static_cast<int>(std::strlen(name));
  append_bytes(b, n, "&", 1, name, n, ";", 1);
}

void AddBinary(AsciiStringHandle &b, void const *bytes, int count) {
  if (b.handle == nullptr || count <= 0) return;
  append_bytes(b, count, bytes, count, nullptr, 0, nullptr, 0);
}
