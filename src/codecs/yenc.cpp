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
  const ztk::mem::Scratch out(in.view().size);
  if (out.data() == nullptr) return nullptr;
  const size_t n = ztk::yenc::decode(in.view(), out.data());
  return ztk::NewMemoryBlockCopy(out.data(), static_cast<int64_t>(n));
}

REALstring yDecodeZTKs(REALstring data) { return ztk::ShrinkBytes(data, ztk::yenc::decode); }
