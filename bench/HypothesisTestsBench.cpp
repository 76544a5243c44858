// Hypothesis test benchmarks: the one-sample t test on 1e7 values and on 20 (per call), the
// exact Mann-Whitney test of 50 x 50, the exact signed-rank test of 14 values (per call) and
// Spearman's correlation of 1e6 pairs. Same data as bench/compare/hypothesis.py and .R.
#include <benchmark/benchmark.h>

#include "BenchData.h"

namespace {

using Statistics::THypothesisResult;
using Statistics::TTwoElmReal;

// Uniform(i) shifted: the n values from index `offset`, times `scale` plus `shift`.
Kalix::TVec Slice(int n, std::uint64_t offset, double scale, double shift) {
  Kalix::TVec v(n);
  auto s = v.Span<double>();
  for (int i = 0; i < n; ++i) s[static_cast<std::size_t>(i)] = scale * KalixBench::Uniform(offset + static_cast<std::uint64_t>(i)) + shift;
  return v;
}

void BM_tTest_1e7(benchmark::State& state) {
  static const Kalix::TVec x = KalixBench::UniformVec(10'000'000);
  THypothesisResult h;
  double p;
  TTwoElmReal ci;
  for (auto _ : state) benchmark::DoNotOptimize(Statistics::tTest(x, 0.5, h, p, ci));
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_tTest_1e7)->Unit(benchmark::kMillisecond);

void BM_tTest_20(benchmark::State& state) {
  const Kalix::TVec x = KalixBench::UniformVec(20);
  THypothesisResult h;
  double p;
  TTwoElmReal ci;
  for (auto _ : state) benchmark::DoNotOptimize(Statistics::tTest(x, 0.5, h, p, ci));
}
BENCHMARK(BM_tTest_20)->Unit(benchmark::kNanosecond);

void BM_MannWhitneyExact_50x50(benchmark::State& state) {
  const Kalix::TVec a = Slice(50, 0, 1.0, 0.0), b = Slice(50, 50, 1.0, 0.1);
  THypothesisResult h;
  double p;
  TTwoElmReal ci;
  for (auto _ : state) benchmark::DoNotOptimize(Statistics::MannWhitneyTest(a, b, h, p, ci));
}
BENCHMARK(BM_MannWhitneyExact_50x50)->Unit(benchmark::kMicrosecond);

void BM_WilcoxonSign_14(benchmark::State& state) {
  const Kalix::TVec x = Slice(14, 0, 1.0, -0.3);
  THypothesisResult h;
  double p;
  TTwoElmReal ci;
  for (auto _ : state) benchmark::DoNotOptimize(Statistics::WilcoxonSign(x, 0.0, h, p, ci));
}
BENCHMARK(BM_WilcoxonSign_14)->Unit(benchmark::kNanosecond);

void BM_SpearmanRankCorr_1e6(benchmark::State& state) {
  static const Kalix::TVec x = KalixBench::UniformVec(1'000'000);
  static const Kalix::TVec y = Slice(1'000'000, 1'000'000, 1.0, 0.0);
  THypothesisResult h;
  double rs, p;
  TTwoElmReal ci;
  for (auto _ : state) {
    Statistics::SpearmanRankCorr(x, y, rs, h, p, ci);
    benchmark::DoNotOptimize(rs);
  }
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_SpearmanRankCorr_1e6)->Unit(benchmark::kMillisecond);

}  // namespace
