#include "analysis/distances.h"

#include <cstdio>

#include "frame/exceptions.h"
#include "frame/registry.h"
#include "text/rb_text.h"

namespace {

// Runs a distance on the two texts; raises "OutOfMemoryException" and answers
// `onFailure` when its scratch memory cannot be had.
template <class Distance>
double measure(REALstring a, REALstring b, Distance distance, double onFailure) {
  rbText ta(a), tb(b);
  int64_t failedBytes = 0;
  if (const auto result = distance(ta.wide(), tb.wide(), &failedBytes)) return *result;
  char message[100];
  std::snprintf(message, sizeof message, "Failed to allocate %lld bytes of memory.", static_cast<long long>(failedBytes));
  RaiseException("OutOfMemoryException", message, 0);
  return onFailure;
}

}  // namespace

double jaroWinklerDistanceZTK(REALstring a, REALstring b) {
  return measure(a, b, ztk::distance::jaro_winkler, 0.0);
}

double levenshteinDistanceZTK(REALstring a, REALstring b) {
  return measure(a, b, ztk::distance::levenshtein, 1.0);
}
