#include "codecs/yenc.h"

#include "frame/byte_transform.h"
#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"
#include "text/byte_scan.h"

namespace ztk::yenc {
namespace {
constexpr uint8_t kOffset = 42;
constexpr uint8_t kEscape = 0x3D;
constexpr uint8_t kEscapeOffset = 64;
}  // namespace

size_t decode(ByteView in, uint8_t *out) {
  return scan::unescape(in, kEscape, static_cast<uint8_t>(-kOffset), static_cast<uint8_t>(-kEscapeOffset), out);
}

}  // namespace ztk::yenc

REALmemoryBlock yDecodeZTKm(REALmemoryBlock data) {
  if (data == nullptr) return nullptr;
  rbData in;
  ztk::ReadMemoryBlock(in, data);
  if (in.view().empty()) return nullptr;
  auto *out = static_cast<uint8_t *>(ztk::mem::alloc(in.view().size));
  if (out == nullptr) return nullptr;
  const size_t n = ztk::yenc::decode(in.view(), out);
  REALmemoryBlock result = ztk::NewMemoryBlockCopy(out, static_cast<int64_t>(n));
  ztk::mem::release(out);
  return result;
}

REALstring yDecodeZTKs(REALstring data) { return ztk::ShrinkBytes(data, ztk::yenc::decode); }
