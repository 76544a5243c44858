// Goodness-of-fit and normality benchmarks: Shapiro-Wilk on 5000 values, Anderson-Darling on 1e6
// and the two-sample Smirnov test on 1e6 + 1e6. Same data as bench/compare/goodness_of_fit.py.
#include <benchmark/benchmark.h>

#include "BenchData.h"

namespace {

using Statistics::THypothesisResult;

// n uniform values from index `offset`, times `scale` plus `shift`.
Kalix::TVec Slice(int n, std::uint64_t offset, double scale, double shift) {
  Kalix::TVec v(n);
  auto s = v.Span<double>();
  for (int i = 0; i < n; ++i)
    s[static_cast<std::size_t>(i)] = scale * KalixBench::Uniform(offset + static_cast<std::uint64_t>(i)) + shift;
  return v;
}

void BM_ShapiroWilks_5000(benchmark::State& state) {
  const Kalix::TVec x = Slice(5000, 0, 1.0, 0.0);
  THypothesisResult h;
  double p;
  for (auto _ : state) benchmark::DoNotOptimize(Statistics::ShapiroWilks(x, h, p));
}
BENCHMARK(BM_ShapiroWilks_5000)->Unit(benchmark::kMicrosecond);

void BM_AndersonDarling_1e6(benchmark::State& state) {
  static const Kalix::TVec x = KalixBench::UniformVec(1'000'000);
  THypothesisResult h;
  double p;
  for (auto _ : state) benchmark::DoNotOptimize(Statistics::AndersonDarling(x, h, p));
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_AndersonDarling_1e6)->Unit(benchmark::kMillisecond);

void BM_GOFKolmogorov2_1e6(benchmark::State& state) {
  static const Kalix::TVec x = KalixBench::UniformVec(1'000'000);
  static const Kalix::TVec y = Slice(1'000'000, 1'000'000, 1.0, 0.001);
  THypothesisResult h;
  double p;
  for (auto _ : state) benchmark::DoNotOptimize(Statistics::GOFKolmogorov(x, y, h, p));
  state.SetItemsProcessed(state.iterations() * 2 * x.Length());
}
BENCHMARK(BM_GOFKolmogorov2_1e6)->Unit(benchmark::kMillisecond);

}  // namespace
