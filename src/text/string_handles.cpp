#include "text/string_handles.h"

#include <algorithm>
#include <cstring>

#include "frame/plugin_alloc.h"
#include "frame/string_build.h"

using namespace ztk::mm;
using ztk::growth::kSizeLimit;
using ztk::growth::kSlack;

namespace {

// The block is kept pinned while the buffer lives, so that the addresses
// writers get from room() stay valid; it is released only to be resized.
// Blocks hold kSlack bytes beyond their capacity where the size allows.
bool with_slack(int64_t size) { return size + kSlack <= static_cast<int64_t>(ztk::mem::kMaxBlock); }

template <class Buffer>
void create(Buffer &b, int64_t initialBytes) {
  if (initialBytes < 0 || initialBytes >= kSizeLimit) return;
  b.slack = with_slack(initialBytes);
  b.handle = NewHandle(initialBytes + (b.slack ? kSlack : 0));
  if (b.handle == nullptr) return;
  b.capacity = static_cast<int32_t>(initialBytes);
  b.limit = initialBytes;
  HLock(b.handle);
}

template <class Buffer>
void kill(Buffer &b) {
  DisposeHandle(b.handle);
  b.handle = nullptr;
  b.used = 0;
  b.capacity = 0;
  b.limit = 0;
  b.slack = false;
}

// Resizes the block to hold `need` bytes, and at least twice its size. The
// block is never smaller than the rule's size, so it is resized only where
// the rule grows (and less often); a resize that fails kills the buffer.
template <class Buffer>
bool grow_block(Buffer &b, int64_t need) {
  if (need >= kSizeLimit) {
    b.Kill();
    return false;
  }
  const int64_t wanted = std::min(std::max({need, 2 * int64_t{b.capacity}, b.limit}), kSizeLimit - 1);
  const bool slack = with_slack(wanted);
  const int64_t size = wanted + (slack ? kSlack : 0);
  HUnlock(b.handle);
  SetHandleSize(b.handle, size);
  HLock(b.handle);
  if (GetHandleSize(b.handle) < size) {
    b.Kill();
    return false;
  }
  b.slack = slack;
  b.capacity = static_cast<int32_t>(wanted);
  return true;
}

template <class Buffer>
REALstring finish(Buffer &b, int64_t bytes, uint32_t encoding) {
  if (b.handle == nullptr) return nullptr;
  REALstring s = REALBuildUnicodeString(*b.handle, bytes, encoding);
  b.Kill();
  return s;
}

}  // namespace

namespace ztk::growth {

// The j-th of k appends of n bytes needs used + (j + 1) n + 4 bytes; the
// first that exceeds the size grows it to that need + n + 4096, and reaching
// the limit kills. The next growth is about 4 KB later: a 1 MB run takes
// about 256 steps.
int64_t after_repeated(int64_t limit, int64_t used, int64_t k, int64_t n) {
  for (;;) {
    const int64_t spare = limit - used - n - 4;  // appends fit while j * n <= spare
    const int64_t j = spare < 0 ? 0 : spare / n + 1;
    if (j >= k) return limit;
    limit = used + (j + 1) * n + 4 + n + 4096;
    if (limit >= kSizeLimit) return -1;
    used += (j + 1) * n;
    k -= j + 1;
  }
}

// The unit appended at index u needs 2u + 10 bytes; when that exceeds the
// size, the size becomes 2u + 4107.
int64_t after_units(int64_t limit, int64_t used, int64_t k) {
  for (const int64_t end = used + k;;) {
    const int64_t first = limit < 10 ? 0 : (limit - 10) / 2 + 1;  // first index that needs more
    const int64_t growing = std::max(used, first);
    if (growing >= end) return limit;
    limit = 2 * growing + 4107;
    if (limit >= kSizeLimit) return -1;
    used = growing + 1;
  }
}

}  // namespace ztk::growth

AsciiStringHandle::AsciiStringHandle(int64_t initialBytes) { create(*this, initialBytes); }
AsciiStringHandle::~AsciiStringHandle() { Kill(); }
void AsciiStringHandle::Kill() { kill(*this); }
REALstring AsciiStringHandle::Finish(uint32_t encoding) { return finish(*this, used, encoding); }

bool AsciiStringHandle::follow(int64_t newLimit) {
  if (newLimit < 0) {
    Kill();
    return false;
  }
  limit = newLimit;
  return limit <= capacity || grow_block(*this, limit);
}

UnicodeStringHandle::UnicodeStringHandle(int64_t initialBytes) { create(*this, initialBytes); }
UnicodeStringHandle::~UnicodeStringHandle() { Kill(); }
void UnicodeStringHandle::Kill() { kill(*this); }
REALstring UnicodeStringHandle::Finish() { return finish(*this, int64_t{used} * 2, enc::kUTF16); }

bool UnicodeStringHandle::follow(int64_t newLimit) {
  if (newLimit < 0) {
    Kill();
    return false;
  }
  limit = newLimit;
  return limit <= capacity || grow_block(*this, limit);
}

void Add(UnicodeStringHandle &b, unsigned short unit) {
  if (uint16_t *out = b.take_units(1)) *out = unit;
}

void Add(AsciiStringHandle &b, char const *name) {
  if (b.handle == nullptr) return;
  const auto n = static_cast<int64_t>(std::strlen(name));
  if (uint8_t *out = b.take_append(n, n + 2)) {
    out[0] = '&';
    std::memcpy(out + 1, name, static_cast<size_t>(n));
    out[n + 1] = ';';
  }
}

void AddBinary(AsciiStringHandle &b, void const *bytes, int count) {
  if (count <= 0) return;
  if (uint8_t *out = b.take_append(count, count)) std::memcpy(out, bytes, static_cast<size_t>(count));
}
