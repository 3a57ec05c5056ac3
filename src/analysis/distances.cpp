#include "analysis/distances.h"

#include <algorithm>
#include <cstdio>

#include "frame/exceptions.h"
#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "text/rb_text.h"

namespace ztk::distance {

std::optional<double> jaro_winkler(U32View a, U32View b, int64_t *failedBytes) {
  const auto n = static_cast<int64_t>(a.size), m = static_cast<int64_t>(b.size);
  if (n == 0) return m == 0 ? 0.0 : 1.0;
  if (m == 0) return 1.0;
  const int64_t w = std::max<int64_t>(std::max(n, m) / 2 - 1, 0);

  auto *flagsA = static_cast<uint8_t *>(mem::alloc_zeroed(static_cast<uint64_t>(n)));
  if (flagsA == nullptr) {
    *failedBytes = n;
    return std::nullopt;
  }
  auto *flagsB = static_cast<uint8_t *>(mem::alloc_zeroed(static_cast<uint64_t>(m)));
  if (flagsB == nullptr) {
    mem::release(flagsA);
    *failedBytes = m;
    return std::nullopt;
  }

  int64_t c = 0;
  for (int64_t i = 0; i < n; ++i) {
    for (int64_t j = std::max<int64_t>(0, i - w), end = std::min(m, i + w + 1); j < end; ++j) {
      if (flagsB[j] == 0 && b[j] == a[i]) {
        flagsA[i] = flagsB[j] = 1;
        ++c;
        break;
      }
    }
  }
  double s = 0.0;
  if (c > 0) {
    int64_t t = 0;
    for (int64_t i = 0, k = 0; i < n; ++i) {
      if (flagsA[i] == 0) continue;
      while (flagsB[k] == 0) ++k;
      if (a[i] != b[k]) ++t;
      ++k;
    }
    // The evaluation order is part of the result: keep it as written.
    const auto cd = static_cast<double>(c);
    s = (static_cast<double>(c - t / 2) / cd + (cd / static_cast<double>(m) + cd / static_cast<double>(n))) / 3.0;
    if (s > 0.7) {
      const int64_t limit = std::min<int64_t>({4, n, m});
      int64_t l = 0;
      while (l < limit && a[l] == b[l]) ++l;
      if (l != 0) s = s + (1.0 - s) * (static_cast<double>(l) * 0.1);
    }
  }
  mem::release(flagsA);
  mem::release(flagsB);
  return 1.0 - s;
}

std::optional<double> levenshtein(U32View a, U32View b, int64_t *failedBytes) {
  const auto n = static_cast<int64_t>(a.size), m = static_cast<int64_t>(b.size);
  if (n == 0 || m == 0) return 1.0;
  const int64_t bytes = 4 * (n + 1) * (m + 1);
  auto *d = bytes <= 0x7FFFFFFF ? static_cast<int32_t *>(mem::alloc_zeroed(static_cast<uint64_t>(bytes))) : nullptr;
  if (d == nullptr) {
    *failedBytes = bytes;
    return std::nullopt;
  }
  const int64_t stride = n + 1;  // cell (i, j) lives at j * (n + 1) + i
  auto cell = [&](int64_t i, int64_t j) -> int32_t & { return d[j * stride + i]; };
  for (int64_t i = 0; i <= n; ++i) cell(i, 0) = static_cast<int32_t>(i);
  for (int64_t j = 0; j <= m; ++j) cell(0, j) = static_cast<int32_t>(j);
  for (int64_t i = 1; i <= n; ++i) {
    for (int64_t j = 1; j <= m; ++j) {
      const int32_t cost = a[i - 1] == b[j - 1] ? 0 : 1;
      int32_t v = std::min({cell(i - 1, j) + 1, cell(i, j - 1) + 1, cell(i - 1, j - 1) + cost});
      if (i >= 2 && j >= 2 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) v = std::min(v, cell(i - 2, j - 2) + cost);
      cell(i, j) = v;
    }
  }
  const auto distance = static_cast<double>(cell(n, m));
  mem::release(d);
  return 1.0 / (static_cast<double>(std::min(n, m)) / distance);
}

}  // namespace ztk::distance

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
