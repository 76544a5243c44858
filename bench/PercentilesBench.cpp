// Percentile and ranking benchmarks, with plain sums over the same data as the yardstick.
#include <benchmark/benchmark.h>

#include <cmath>

#include "BenchData.h"

namespace {

const Kalix::TVec& TenMillion() {
  static const Kalix::TVec x = KalixBench::UniformVec(10'000'000, -500.0, 500.0);
  return x;
}

// A million values on [0, 100) rounded to 3 decimals: about a tenth of them distinct.
const Kalix::TVec& RoundedMillion() {
  static const Kalix::TVec x = [] {
    Kalix::TVec v = KalixBench::UniformVec(1'000'000, 0.0, 100.0);
    for (double& e : v.Span<double>()) e = std::round(e * 1000.0) / 1000.0;
    return v;
  }();
  return x;
}

void BM_Percentile_1e7(benchmark::State& state) {
  const Kalix::TVec& x = TenMillion();
  for (auto _ : state) benchmark::DoNotOptimize(Statistics::Percentile(x, 0.3, Statistics::pctMethodNPlus));
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_Percentile_1e7)->Unit(benchmark::kMillisecond);

void BM_TiedRanks_1e6(benchmark::State& state) {
  const Kalix::TVec& x = RoundedMillion();
  Kalix::TVec ranks;
  double tieSum = 0;
  for (auto _ : state) {
    Statistics::TiedRanks(x, ranks, tieSum);
    benchmark::DoNotOptimize(tieSum);
  }
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_TiedRanks_1e6)->Unit(benchmark::kMillisecond);

// Yardsticks over the same 1e7 doubles.
void BM_PlainSum_1e7(benchmark::State& state) { KalixBench::PlainSum(state, TenMillion()); }
BENCHMARK(BM_PlainSum_1e7)->Unit(benchmark::kMillisecond);
void BM_CoreSum_1e7(benchmark::State& state) { KalixBench::CoreSum(state, TenMillion()); }
BENCHMARK(BM_CoreSum_1e7)->Unit(benchmark::kMillisecond);

}  // namespace
