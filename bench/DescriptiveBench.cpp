// Descriptive statistics benchmarks: matrix covariance, equal-width histogram, geometric and
// harmonic means beside plain sums over the same data.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "BenchData.h"

namespace {

// 1e7 values uniform on [0.001, 1000): positive, so the means of logarithms and reciprocals
// are defined, and spread over twenty binary orders of magnitude.
const Kalix::TVec& PositiveTenMillion() {
  static const Kalix::TVec x = KalixBench::UniformVec(10'000'000, 0.001, 1000.0);
  return x;
}

// 1e6 x 32, row-major, element i = Uniform(i) (numpy: uniform(32e6).reshape(1e6, 32)).
const Kalix::TMtx& Matrix1e6x32() {
  static const Kalix::TMtx m = [] {
    Kalix::TMtx a(1'000'000, 32);
    auto s = a.Span<double>();
    for (std::size_t i = 0; i < s.size(); ++i) s[i] = KalixBench::Uniform(i);
    return a;
  }();
  return m;
}

void BM_Covariance_1e6x32(benchmark::State& state) {
  const Kalix::TMtx& m = Matrix1e6x32();
  Kalix::TMtx c;
  for (auto _ : state) {
    Statistics::Covariance(m, c, false);
    benchmark::DoNotOptimize(c.Data());
  }
  state.SetItemsProcessed(state.iterations() * m.Length());
}
BENCHMARK(BM_Covariance_1e6x32)->Unit(benchmark::kMillisecond);

void BM_Histogram_1e7_100Bins(benchmark::State& state) {
  const Kalix::TVec& x = PositiveTenMillion();
  Kalix::TVecInt counts;
  Kalix::TVec bins;
  for (auto _ : state) {
    Statistics::Histogram(x, 100, counts, bins);  // limits from the data, as numpy.histogram
    benchmark::DoNotOptimize(counts.Span<std::int32_t>().data());
  }
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_Histogram_1e7_100Bins)->Unit(benchmark::kMillisecond);

// All data in one bin: every increment hits the same counter.
void BM_Histogram_1e7_OneValue(benchmark::State& state) {
  static const Kalix::TVec x = [] {
    Kalix::TVec v(10'000'000);
    v.SetVal(0.5);
    return v;
  }();
  Kalix::TVecInt counts;
  Kalix::TVec bins;
  for (auto _ : state) {
    Statistics::Histogram(x, 100, counts, bins, false, 0.0, 1.0);
    benchmark::DoNotOptimize(counts.Span<std::int32_t>().data());
  }
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_Histogram_1e7_OneValue)->Unit(benchmark::kMillisecond);

void BM_MeanG_1e7(benchmark::State& state) {
  const Kalix::TVec& x = PositiveTenMillion();
  for (auto _ : state) benchmark::DoNotOptimize(Statistics::MeanG(x));
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_MeanG_1e7)->Unit(benchmark::kMillisecond);

void BM_MeanH_1e7(benchmark::State& state) {
  const Kalix::TVec& x = PositiveTenMillion();
  for (auto _ : state) benchmark::DoNotOptimize(Statistics::MeanH(x));
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_MeanH_1e7)->Unit(benchmark::kMillisecond);

// Yardsticks over the same data.
void BM_PlainSumPositive_1e7(benchmark::State& state) { KalixBench::PlainSum(state, PositiveTenMillion()); }
BENCHMARK(BM_PlainSumPositive_1e7)->Unit(benchmark::kMillisecond);
void BM_CoreSumPositive_1e7(benchmark::State& state) { KalixBench::CoreSum(state, PositiveTenMillion()); }
BENCHMARK(BM_CoreSumPositive_1e7)->Unit(benchmark::kMillisecond);

}  // namespace
