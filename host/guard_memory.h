// Blocks of host memory that end on the last byte of a page followed by a page
// that cannot be read or written, so that a read one byte past a block faults
// at once. A real host promises nothing after the bytes it hands over; this is
// how the substitute host makes that visible.
#pragma once

#include <cstddef>

namespace subhost::guard {

// A zero-filled block of n bytes (n may be 0: a pointer right at the guard
// page) ending at a page boundary; null when the system refuses the memory.
void *alloc(size_t n);
// Whether p came from alloc and is still live.
bool owns(const void *p);
// Gives back a block from alloc. Its pages are kept for reuse, guard and all.
void release(void *p);

}  // namespace subhost::guard
