// Pairwise summation of an indexed term, for sums that read several arrays at once
// (weights, abscissae and observations together). Never installed.
#pragma once

#include <cstddef>

namespace Regress::detail {

/// Sum of f(i) for i in [first, first + n): blocks of 256 terms on eight accumulators,
/// blocks combined pairwise, so the rounding error grows like log2(n).
template <class T, class F>
T IndexSum(std::size_t first, std::size_t n, const F& f) {
  if (n <= 256) {
    T acc[8] = {};
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8)
      for (std::size_t j = 0; j < 8; ++j) acc[j] += f(first + i + j);
    T s = ((acc[0] + acc[1]) + (acc[2] + acc[3])) + ((acc[4] + acc[5]) + (acc[6] + acc[7]));
    for (; i < n; ++i) s += f(first + i);
    return s;
  }
  const std::size_t half = (n / 2 + 7) / 8 * 8;
  return IndexSum<T>(first, half, f) + IndexSum<T>(first + half, n - half, f);
}

template <class T, class F>
T IndexSum(std::size_t n, const F& f) {
  return IndexSum<T>(0, n, f);
}

}  // namespace Regress::detail
