#include "text/byte_sink.h"

#include <cstring>

#include "frame/string_build.h"

namespace ztk {
namespace {
constexpr int64_t kSizeLimit = 0x7FFFFFF1;
}

ByteSink::ByteSink(int64_t capacity) {
  if (capacity < 0 || capacity >= kSizeLimit) return;
  handle_ = mm::NewHandle(capacity);
  if (handle_ != nullptr) capacity_ = static_cast<int32_t>(capacity);
}

ByteSink::~ByteSink() { drop(); }

void ByteSink::drop() {
  mm::DisposeHandle(handle_);
  handle_ = nullptr;
  length_ = 0;
  capacity_ = 0;
}

bool ByteSink::reserve(int32_t n) {
  if (int64_t{length_} + n <= capacity_) return true;
  // At least what is needed and 1 KB more; at least double once the block is
  // large, so that a long output is not copied again at every kilobyte.
  const int64_t needed = int64_t{length_} + n + 1024;
  if (needed >= kSizeLimit) {
    drop();
    return false;
  }
  const int64_t doubled = 2 * int64_t{capacity_} < kSizeLimit ? 2 * int64_t{capacity_} : kSizeLimit - 1;
  const int64_t wanted = needed > doubled ? needed : doubled;
  mm::SetHandleSize(handle_, wanted);
  if (mm::GetHandleSize(handle_) < wanted) {
    drop();
    return false;
  }
  capacity_ = static_cast<int32_t>(wanted);
  return true;
}

void ByteSink::put(const void *bytes, int32_t n) {
  if (handle_ == nullptr || n <= 0) return;
  if (!reserve(n)) return;
  mm::HLock(handle_);
  std::memcpy(*handle_ + length_, bytes, static_cast<size_t>(n));
  mm::HUnlock(handle_);
  length_ += n;
}

REALstring ByteSink::build(uint32_t encoding) {
  if (handle_ == nullptr || length_ == 0) return nullptr;
  mm::HLock(handle_);
  REALstring s = BuildString(*handle_, length_, encoding);
  mm::HUnlock(handle_);
  return s;
}

REALstring ByteSink::build_unicode(uint32_t encoding) {
  if (handle_ == nullptr) return nullptr;
  mm::HLock(handle_);
  REALstring s = REALBuildUnicodeString(*handle_, length_, encoding);
  mm::HUnlock(handle_);
  return s;
}

}  // namespace ztk
