// The clock the host times its services and the handlers with. Every timed
// service reads it twice, so a cheap read keeps the correction small: the
// time-stamp counter costs about 11 ns in this virtual machine, the system's
// steady clock about 27.
#pragma once

#include <cstdint>

namespace subhost::timing {

int64_t now_ticks();
// Nanoseconds between two now_ticks() values.
int64_t nanos(int64_t ticks);
// What one now_ticks() costs, in nanoseconds (the median of several runs).
double read_nanos();

}  // namespace subhost::timing
