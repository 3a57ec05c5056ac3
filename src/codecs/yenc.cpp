#include "codecs/yenc.h"

#include "frame/byte_transform.h"
#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"

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
