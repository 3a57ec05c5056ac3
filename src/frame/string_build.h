// Building the host strings that methods return. Each result carries one
// reference, handed to the host with the method's result.
#pragma once

#include <cstdint>

#include "frame/rb_types.h"
#include "frame/byte_view.h"

namespace ztk {

// 0x600 (ASCII) when every byte is below 0x80, else 0xFFFF (raw bytes): the
// tag of every result made of bytes of no fixed class.
uint32_t RawBytesTag(ByteView bytes);

// Plain build: the host copies n bytes and the copy is tagged `encoding`.
// Null when n is outside 0..0x7FFFFFFF or the host builds nothing.
REALstring BuildString(const void *bytes, int64_t n, uint32_t encoding);

// Plain build tagged by RawBytesTag.
REALstring BuildRawBytes(ByteView bytes);

}  // namespace ztk

// Bytes in a stated encoding to a host string: UTF-16 and UTF-32 input becomes
// a UTF-8 string, pure 7-bit single-byte text is tagged ASCII, anything else
// keeps its code. Null for no data or a length outside 1..0x7FFFFFFF.
REALstring REALBuildUnicodeString(const void *data, int64_t length, uint32_t encoding);
