// Reading host strings and memoryblocks, and creating result memoryblocks.
//
// A handler keeps one rbData per argument on its stack. On hosts newer than
// 2013.0 the bytes come from REALGetStringData (a copy the record owns); on
// older hosts the string is locked and read in place. Either way the
// destructor gives back whatever was taken.
#pragma once

#include "frame/rb_types.h"
#include "frame/byte_view.h"

// Fills `record` with the bytes of `s` in `encoding` (0xFFFF: as stored).
// Uses the host's "PluginGetStringData", or a copy made through
// "StringGetCString" and LenB when the host lacks it. False: nothing filled.
bool REALGetStringData(REALstring s, uint32_t encoding, REALstringData *record);

struct rbData {
  REALstring string = nullptr;   // locked by a read, unlocked by the destructor
  REALobject object = nullptr;   // locked memoryblock
  REALstringData stringData{};   // filled by REALGetStringData, read only when owned
  bool owned = false;            // stringData must be disposed
  const uint8_t *data = nullptr;
  int32_t length = 0;

  rbData() = default;
  rbData(const rbData &) = delete;
  rbData &operator=(const rbData &) = delete;
  ~rbData();

  ztk::ByteView view() const { return {data, data ? static_cast<size_t>(length) : 0}; }
};

namespace ztk {
// Reads `s` as its bytes are stored (no conversion) into `r`.
void ReadString(rbData &r, REALstring s);
// Reads the bytes of memoryblock `m` into `r`, holding a lock on it.
void ReadMemoryBlock(rbData &r, REALmemoryBlock m);
// A new memoryblock holding a copy of n bytes (n from 0 to 0x7FFFFFFE). When
// the host cannot provide one, raises "OutOfMemoryException" and answers null.
REALmemoryBlock NewMemoryBlockCopy(const void *bytes, int64_t n);
}  // namespace ztk
