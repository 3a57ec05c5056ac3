// A check that stops the fuzzer (or the replay) with the failed condition.
#pragma once

#include <cstdio>
#include <cstdlib>

#define FUZZ_CHECK(condition)                                                    \
  do {                                                                           \
    if (!(condition)) {                                                          \
      std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                              \
    }                                                                            \
  } while (0)
