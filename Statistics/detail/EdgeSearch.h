// Binary search of a value among ascending bin edges (never installed). Shared by the
// centre-given histogram and the goodness-of-fit tests, for float and double edges.
#pragma once

#include <cmath>
#include <cstddef>

namespace Statistics::detail {

/// Index i with E[i] <= x < E[i + 1] among m ascending edges; -1 when x lies below E[0], at or
/// above E[m - 1], or is NaN, except that x equal to E[m - 1] gives m - 1.
template <class T>
int FindEdge(const T* E, int m, T x) {
  if (m <= 0) return -1;
  const T first = E[0], last = E[m - 1];
  if (!(x >= first && x < last)) return x == last ? m - 1 : -1;
  int lo = 0, hi = m - 1;
  // First probe where x would sit if the edges were evenly spaced; with an infinite end
  // (or a span too wide to interpolate) start from the middle.
  int mid = hi / 2;
  if (!std::isinf(first) && !std::isinf(last)) {
    const T pos = (x - first) / (last - first) * static_cast<T>(hi);
    if (pos >= T(0) && pos < static_cast<T>(hi)) mid = static_cast<int>(pos);
  }
  while (hi - lo > 1) {
    if (E[mid] <= x) {
      lo = mid;
    } else {
      hi = mid;
    }
    mid = (lo + hi) / 2;
  }
  return lo;
}

}  // namespace Statistics::detail
