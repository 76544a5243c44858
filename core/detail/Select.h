// Selection helpers on raw arrays (never installed).
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace Kalix::detail {

/// Moves NaNs to the end of x[0..n) and returns how many values are not NaN. Sorting and
/// selection then run on the NaN-free front with plain <, which stays a strict weak order.
template <class T>
std::size_t PartitionNaNLast(T* x, std::size_t n) {
  T* mid = std::partition(x, x + n, [](T v) { return !std::isnan(v); });
  return static_cast<std::size_t>(mid - x);
}

/// After the call x[k] holds the k-th smallest value (NaNs count as largest) and the rest
/// is partitioned around it. Returns that value.
template <class T>
T SelectKth(T* x, std::size_t n, std::size_t k) {
  std::size_t m = PartitionNaNLast(x, n);
  if (k < m) std::nth_element(x, x + k, x + m);
  return x[k];
}

/// Smallest value of x[from..n), NaN counting as largest; used after SelectKth for the
/// neighbouring order statistic.
template <class T>
T MinFrom(const T* x, std::size_t from, std::size_t n) {
  T best = x[from];
  for (std::size_t i = from + 1; i < n; ++i)
    if (x[i] < best || std::isnan(best)) best = x[i];
  return best;
}

/// Smallest of x[from..n), which holds no NaN: two running minima without branches, so
/// random data cost no mispredictions.
template <class T>
T MinOfNumbers(const T* x, std::size_t from, std::size_t n) {
  T a = x[from], b = a;
  std::size_t i = from + 1;
  for (; i + 1 < n; i += 2) {
    a = x[i] < a ? x[i] : a;
    b = x[i + 1] < b ? x[i + 1] : b;
  }
  if (i < n) a = x[i] < a ? x[i] : a;
  return b < a ? b : a;
}

}  // namespace Kalix::detail
