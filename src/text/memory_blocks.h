// Relocatable memory blocks: a small stand-in for the classic Memory Manager
// (NewHandle, SetHandleSize, GetHandleSize, HLock, HUnlock, DisposeHandle).
// A Handle points to a master pointer whose value is the block's data. A
// resize that fails leaves the block as it was, and is seen only through
// GetHandleSize, exactly as with the original.
#pragma once

#include <cstdint>

namespace ztk::mm {

using Handle = char **;

Handle NewHandle(int64_t size);              // null on failure or a negative size
void SetHandleSize(Handle h, int64_t size);  // keeps the contents; may fail silently
int64_t GetHandleSize(Handle h);
void HLock(Handle h);
void HUnlock(Handle h);
void DisposeHandle(Handle h);

}  // namespace ztk::mm
