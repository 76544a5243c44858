// Deterministic benchmark inputs shared by the benchmark files (same data as the
// NumPy/SciPy comparison scripts in bench/compare/, which regenerate it from the same rule).
#pragma once

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <numeric>

#include "KalixStats.h"

namespace KalixBench {

/// x[i] = frac(i * golden ratio) * 1000 - 500 scrambled by a 64-bit mix: uniform-looking,
/// reproducible, and cheap to regenerate in Python.
inline double Uniform(std::uint64_t i) {
  std::uint64_t z = i + 0x9E3779B97F4A7C15ULL;
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
  z ^= z >> 31;
  return static_cast<double>(z >> 11) * 0x1.0p-53;
}

/// n values uniform on [lo, hi) (double precision).
inline Kalix::TVec UniformVec(int n, double lo = 0.0, double hi = 1.0) {
  Kalix::TVec v(n);
  auto s = v.Span<double>();
  for (int i = 0; i < n; ++i) s[static_cast<std::size_t>(i)] = lo + (hi - lo) * Uniform(static_cast<std::uint64_t>(i));
  return v;
}

/// Bandwidth yardsticks over x: a single-accumulator loop (bound by add latency) and the
/// core's pairwise sum (bound by memory bandwidth).
inline void PlainSum(benchmark::State& state, const Kalix::TVec& x) {
  auto s = x.Span<double>();
  for (auto _ : state) benchmark::DoNotOptimize(std::accumulate(s.begin(), s.end(), 0.0));
  state.SetItemsProcessed(state.iterations() * x.Length());
}
inline void CoreSum(benchmark::State& state, const Kalix::TVec& x) {
  for (auto _ : state) benchmark::DoNotOptimize(Kalix::Sum(x));
  state.SetItemsProcessed(state.iterations() * x.Length());
}

}  // namespace KalixBench
