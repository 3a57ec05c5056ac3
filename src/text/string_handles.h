// Growable output buffers for results of unknown length: AsciiStringHandle
// collects bytes, UnicodeStringHandle collects UTF-16 units. A buffer that
// cannot grow dies: it drops its memory, ignores every later append, and
// finishing it yields no string.
#pragma once

#include <cstdint>

#include "frame/rb_types.h"
#include "text/memory_blocks.h"

struct AsciiStringHandle {
  ztk::mm::Handle handle = nullptr;
  int32_t used = 0;      // bytes written
  int32_t capacity = 0;  // block size in bytes, as last known

  explicit AsciiStringHandle(int64_t initialBytes);
  ~AsciiStringHandle();
  AsciiStringHandle(const AsciiStringHandle &) = delete;
  AsciiStringHandle &operator=(const AsciiStringHandle &) = delete;

  bool alive() const { return handle != nullptr; }
  // Builds the result from the bytes written (REALBuildUnicodeString with
  // `encoding`) and disposes of the block; null for a dead buffer.
  REALstring Finish(uint32_t encoding);
  void Kill();
};

struct UnicodeStringHandle {
  ztk::mm::Handle handle = nullptr;
  int32_t used = 0;      // 16-bit units written
  int32_t capacity = 0;  // block size in bytes, as last known

  explicit UnicodeStringHandle(int64_t initialBytes);
  ~UnicodeStringHandle();
  UnicodeStringHandle(const UnicodeStringHandle &) = delete;
  UnicodeStringHandle &operator=(const UnicodeStringHandle &) = delete;

  bool alive() const { return handle != nullptr; }
  REALstring Finish();  // built from UTF-16 (0x100): a UTF-8 host string
  void Kill();
};

// Appends one UTF-16 unit.
void Add(UnicodeStringHandle &buffer, unsigned short unit);
// Appends an entity reference: "&", the name, ";".
void Add(AsciiStringHandle &buffer, char const *name);
// Appends `count` bytes; a count of 0 or less does nothing.
void AddBinary(AsciiStringHandle &buffer, void const *bytes, int count);
