#include "frame/string_access.h"

#include <cstdio>
#include <cstring>

#include "frame/exceptions.h"
#include "frame/host_api.h"
#include "frame/plugin_alloc.h"

using namespace ztk::host;

namespace {

constexpr const char kLenBDeclaration[] = "LenB( s as string ) as integer";

// A copy of n bytes from p followed by four zero bytes, owned by `record`.
bool fill_copy(REALstringData *record, const void *p, RBInteger n, uint32_t encoding) {
  if (n < 0 || p == nullptr) return false;
  void *copy = ztk::mem::alloc_zeroed(static_cast<uint64_t>(n) + 4);
  if (copy == nullptr) return false;
  if (n > 0) std::memcpy(copy, p, static_cast<size_t>(n));
  record->data = copy;
  record->length = static_cast<size_t>(n);
  record->encoding = encoding;
  return true;
}

}  // namespace

bool REALGetStringData(REALstring s, uint32_t encoding, REALstringData *record) {
  static std::atomic<GetStringDataFn> pGetStringData{nullptr};
  static std::atomic<StringGetCStringFn> pCString{nullptr};
  static std::atomic<LenBFn> pLenB{nullptr};

  if (const GetStringDataFn getStringData = resolve(pGetStringData, "PluginGetStringData")) {
    return (getStringData(s, encoding, record) & 0xFF) != 0;
  }
  const StringGetCStringFn cString = resolve(pCString, "StringGetCString");
  LenBFn lenB = pLenB.load(std::memory_order_acquire);
  if (lenB == nullptr) {
    lenB = reinterpret_cast<LenBFn>(REALLoadFrameworkMethod(kLenBDeclaration));
    pLenB.store(lenB, std::memory_order_release);
  }
  if (cString == nullptr || lenB == nullptr || s == nullptr) return false;

  if (encoding != enc::kNone) {
    const uint32_t own = REALGetStringEncoding(s).value_or(0);
    if (own != encoding) {
      if (!ztk::host::can_release_strings()) return false;
      REALstring c = REALConvertString(s, encoding);
      if (c == nullptr) return false;
      const bool ok = fill_copy(record, cString(c), lenB(c), encoding);
      REALUnlockString(c);
      return ok;
    }
  }
  return fill_copy(record, cString(s), lenB(s), encoding);
}

rbData::~rbData() {
  if (string != nullptr) REALUnlockString(string);
  if (object != nullptr) REALUnlockObject(object);
  if (owned) REALDisposeStringData(&stringData);
  string = nullptr;
  object = nullptr;
  owned = false;
  data = nullptr;
  length = 0;
}

namespace ztk {

void ReadString(rbData &r, REALstring s) {
  if (s == nullptr) return;
  if (rbversion > 2013.0) {
    if (!REALGetStringData(s, enc::kNone, &r.stringData)) return;
    r.owned = true;
    // A length beyond 31 bits cannot be handed to any method: read as empty.
    if (r.stringData.data != nullptr && r.stringData.length <= mem::kMaxBlock) {
      r.data = static_cast<const uint8_t *>(r.stringData.data);
      r.length = static_cast<int32_t>(r.stringData.length);
    }
    return;
  }
  // Older hosts: lock, then read the fields in place. Only a string that was
  // locked is unlocked by the destructor.
  if (REALLockString(s)) r.string = s;
  if (s->storage != nullptr) {
    r.data = s->storage + 1;
    r.length = s->length > 0 ? s->length : 0;
  }
}

void ReadMemoryBlock(rbData &r, REALmemoryBlock m) {
  if (m == nullptr) return;
  if (REALLockObject(m)) r.object = m;
  RBInteger size = REALMemoryBlockGetSize(m);
  if (size < 0 || static_cast<uint64_t>(size) > mem::kMaxBlock) size = 0;
  void *p = REALMemoryBlockGetPtr(m);
  if (p != nullptr) {
    r.data = static_cast<const uint8_t *>(p);
    r.length = static_cast<int32_t>(size);
  }
}

REALmemoryBlock NewMemoryBlockCopy(const void *bytes, int64_t n) {
  // A block that could be neither filled nor given back is never made.
  if (!host::can_release_objects() && !host::can_fill_memory_blocks()) return nullptr;
  REALmemoryBlock m = nullptr;
  if (n >= 0 && n <= 0x7FFFFFFE) m = REALNewMemoryBlockOriginal(static_cast<int>(n));
  if (m == nullptr) {
    char message[200];
    std::snprintf(message, sizeof message, "Failed to allocate a memoryblock with %lld bytes in size.",
                  static_cast<long long>(n));
    RaiseException("OutOfMemoryException", message, 0);
    return nullptr;
  }
  void *p = REALMemoryBlockGetPtr(m);
  if (p == nullptr) {
    // The block cannot be filled; it is not handed to the caller.
    REALUnlockObject(m);
    return nullptr;
  }
  if (n > 0) std::memcpy(p, bytes, static_cast<size_t>(n));
  return m;
}

}  // namespace ztk
