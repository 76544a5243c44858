// Pairwise summation kernels shared by the core and the statistics code (never installed).
//
// Blocks of kPairBlock elements are summed with eight independent accumulators (the
// compiler turns them into vector lanes without reassociating anything itself), and
// blocks are combined pairwise, so the rounding error grows like log2(n) instead of n.
#pragma once

#include <cstddef>

namespace Kalix::detail {

inline constexpr std::size_t kPairBlock = 256;

template <class T, class F>
T BlockSum(const T* x, std::size_t n, F f) {
  T acc[8] = {};
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8)
    for (std::size_t j = 0; j < 8; ++j) acc[j] += f(x[i + j]);
  T s = ((acc[0] + acc[1]) + (acc[2] + acc[3])) + ((acc[4] + acc[5]) + (acc[6] + acc[7]));
  for (; i < n; ++i) s += f(x[i]);
  return s;
}

/// Sum of f(x[i]), i < n, by pairwise blocks.
template <class T, class F>
T PairwiseSum(const T* x, std::size_t n, F f) {
  if (n <= kPairBlock) return BlockSum(x, n, f);
  std::size_t half = (n / 2 + 7) / 8 * 8;
  return PairwiseSum(x, half, f) + PairwiseSum(x + half, n - half, f);
}

template <class T>
T PairwiseSum(const T* x, std::size_t n) {
  return PairwiseSum(x, n, [](T v) { return v; });
}

template <class T, class F>
T BlockSum2(const T* x, const T* y, std::size_t n, F f) {
  T acc[8] = {};
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8)
    for (std::size_t j = 0; j < 8; ++j) acc[j] += f(x[i + j], y[i + j]);
  T s = ((acc[0] + acc[1]) + (acc[2] + acc[3])) + ((acc[4] + acc[5]) + (acc[6] + acc[7]));
  for (; i < n; ++i) s += f(x[i], y[i]);
  return s;
}

/// Sum of f(x[i], y[i]), i < n, by pairwise blocks.
template <class T, class F>
T PairwiseSum2(const T* x, const T* y, std::size_t n, F f) {
  if (n <= kPairBlock) return BlockSum2(x, y, n, f);
  std::size_t half = (n / 2 + 7) / 8 * 8;
  return PairwiseSum2(x, y, half, f) + PairwiseSum2(x + half, y + half, n - half, f);
}

}  // namespace Kalix::detail
