#include "analysis/distances.h"

#include <cstdio>
#include <optional>

#include "frame/exceptions.h"
#include "frame/registry.h"
#include "text/rb_text.h"

namespace {

// Runs a distance on the two texts; raises "OutOfMemoryException" and answers
// `onFailure` when its scratch memory cannot be had.
// Texts of up to this many units are widened on the stack: a heap block
// and its release cost more than a short pair's whole distance.
constexpr size_t kStackUnits = 256;

// The units of `units` widened into `out` (kStackUnits + 4 long), with the
// four zero units past the text that the view's own widening gives.
ztk::U32View widen(ztk::U16View units, uint32_t *out) {
  for (size_t i = 0; i < units.size; ++i) out[i] = units[i];
  for (size_t i = units.size; i < units.size + 4; ++i) out[i] = 0;
  return {out, units.size};
}

template <class Distance>
double measure(REALstring a, REALstring b, Distance distance, double onFailure) {
  rbText ta(a), tb(b);
  int64_t failedBytes = 0;
  std::optional<double> result;
  const ztk::U16View ua = ta.utf16(), ub = tb.utf16();
  if (ua.size <= kStackUnits && ub.size <= kStackUnits) {
    uint32_t wa[kStackUnits + 4], wb[kStackUnits + 4];
    result = distance(widen(ua, wa), widen(ub, wb), &failedBytes);
  } else {
    result = distance(ta.wide(), tb.wide(), &failedBytes);
  }
  if (result) return *result;
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
