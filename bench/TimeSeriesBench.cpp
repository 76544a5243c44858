// Time-series benchmarks: autocovariances for few and many lags (direct and FFT paths), a fitted
// Holt-Winters smoothing and a Burg AR fit, on the data of bench/compare/timeseries.py.
#include <benchmark/benchmark.h>

#include <cmath>

#include "BenchData.h"

namespace {

const Kalix::TVec& Million() {
  static const Kalix::TVec x = KalixBench::UniformVec(1'000'000, -1.0, 1.0);
  return x;
}

// y[t] = (100 + 0.01 t)(1 + 0.3 sin(2 pi t / 12)) + 5 (u[t] - 0.5): positive, trending, monthly.
const Kalix::TVec& Seasonal10008() {
  static const Kalix::TVec y = [] {
    Kalix::TVec v = KalixBench::UniformVec(10'008);  // 834 whole years
    auto s = v.Span<double>();
    for (std::size_t t = 0; t < s.size(); ++t) {
      const double td = static_cast<double>(t);
      s[t] = (100 + 0.01 * td) * (1 + 0.3 * std::sin(2 * 3.14159265358979323846 * td / 12)) + 5 * (s[t] - 0.5);
    }
    return v;
  }();
  return y;
}

void BM_AutoCov_1e6(benchmark::State& state) {
  const Kalix::TVec& x = Million();
  Kalix::TVec r;
  const int lags = static_cast<int>(state.range(0));
  for (auto _ : state) {
    StatTimeSerAnalysis::AutoCov(x, r, lags);
    benchmark::DoNotOptimize(r.Data());
  }
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_AutoCov_1e6)->Arg(100)->Arg(10'000)->Unit(benchmark::kMillisecond);

void BM_TripleExpSmoothFit_10008(benchmark::State& state) {
  const Kalix::TVec& y = Seasonal10008();
  Kalix::TVec s, b, f;
  for (auto _ : state) {
    double alpha = 0.3, beta = 0.1, gamma = 0.1;  // the usual starting values
    benchmark::DoNotOptimize(StatTimeSerAnalysis::TripleExpSmooth(y, s, b, f, alpha, beta, gamma, 12));
  }
  state.SetItemsProcessed(state.iterations() * y.Length());
}
BENCHMARK(BM_TripleExpSmoothFit_10008)->Unit(benchmark::kMillisecond);

void BM_ARBurgFit_1e6_Order20(benchmark::State& state) {
  const Kalix::TVec& x = Million();
  Kalix::TVec phi(20);
  double var = 0;
  for (auto _ : state) {
    StatTimeSerAnalysis::ARBurgFit(x, phi, var);
    benchmark::DoNotOptimize(phi.Data());
  }
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_ARBurgFit_1e6_Order20)->Unit(benchmark::kMillisecond);

}  // namespace
