// Rank test benchmarks: Kendall's tau-b of 1e6 pairs and the exact rank-sum test with ties of
// 200 + 200 values. Same data as bench/compare/rank_tests.py and .R.
#include <benchmark/benchmark.h>

#include <cmath>

#include "BenchData.h"

namespace {

// Values i = offset .. offset + n - 1 of the shared uniform rule, times scale, plus shift,
// rounded to whole numbers when `round` (heavy ties).
Kalix::TVec Values(int n, std::uint64_t offset, double scale, double shift, bool round) {
  Kalix::TVec v(n);
  auto s = v.Span<double>();
  for (int i = 0; i < n; ++i) {
    const double x = scale * KalixBench::Uniform(offset + static_cast<std::uint64_t>(i)) + shift;
    s[static_cast<std::size_t>(i)] = round ? std::round(x) : x;
  }
  return v;
}

void BM_KendallTau_1e6(benchmark::State& state) {
  static const Kalix::TVec x = Values(1'000'000, 0, 1.0, 0.0, false);
  static const Kalix::TVec y = [] {
    Kalix::TVec v = Values(1'000'000, 1'000'000, 1.0, 0.0, false);
    for (int i = 0; i < v.Length(); ++i) v[i] = v[i] + 0.5 * x[i];
    return v;
  }();
  Statistics::THypothesisResult h;
  double tau, p;
  for (auto _ : state) {
    Statistics::KendallTau(x, y, tau, h, p);
    benchmark::DoNotOptimize(tau);
  }
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_KendallTau_1e6)->Unit(benchmark::kMillisecond);

void BM_MannWhitneyExactTies_200x200(benchmark::State& state) {
  const Kalix::TVec a = Values(200, 0, 30.0, 0.0, true), b = Values(200, 200, 30.0, 2.0, true);
  Statistics::THypothesisResult h;
  double p;
  for (auto _ : state) benchmark::DoNotOptimize(Statistics::MannWhitneyExact(a, b, h, p));
}
BENCHMARK(BM_MannWhitneyExactTies_200x200)->Unit(benchmark::kMillisecond);

}  // namespace
