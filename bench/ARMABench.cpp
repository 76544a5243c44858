// ARMA benchmarks: exact maximum-likelihood ARMA(2, 1) with a mean on 1e4 values, and the
// innovations and Hannan-Rissanen preliminary estimates on 1e6 values, on the data of
// bench/compare/arma.py and arma.R.
#include <benchmark/benchmark.h>

#include "BenchData.h"

namespace {

// x[t] = 10 + w[t], w[t] = 0.5 w[t-1] - 0.3 w[t-2] + e[t] + 0.4 e[t-1], e[t] = u[t] - 0.5.
Kalix::TVec ARMA21(int n) {
  Kalix::TVec v = KalixBench::UniformVec(n);
  auto s = v.Span<double>();
  double w1 = 0, w2 = 0, e1 = 0;
  for (auto& x : s) {
    const double e = x - 0.5, w = 0.5 * w1 - 0.3 * w2 + e + 0.4 * e1;
    w2 = w1;
    w1 = w;
    e1 = e;
    x = 10 + w;
  }
  return v;
}

void BM_ARMAMLFit_21_1e4(benchmark::State& state) {
  static const Kalix::TVec x = ARMA21(10'000);
  for (auto _ : state) {
    Kalix::TVec phi(2), theta(1);
    double mu = 0, var = 0;
    benchmark::DoNotOptimize(StatTimeSerAnalysis::ARMAMLFit(x, phi, theta, mu, var));
  }
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_ARMAMLFit_21_1e4)->Unit(benchmark::kMillisecond);

const Kalix::TVec& Million() {
  static const Kalix::TVec x = ARMA21(1'000'000);
  return x;
}

void BM_ARMAInnovations_MA3_1e6(benchmark::State& state) {
  Kalix::TVec phi, theta(3);
  double var = 0;
  for (auto _ : state) {
    StatTimeSerAnalysis::ARMAInnovationsFit(Million(), phi, theta, var);
    benchmark::DoNotOptimize(var);
  }
  state.SetItemsProcessed(state.iterations() * Million().Length());
}
BENCHMARK(BM_ARMAInnovations_MA3_1e6)->Unit(benchmark::kMillisecond);

void BM_ARMAHannanRissanen_21_1e6(benchmark::State& state) {
  Kalix::TVec phi(2), theta(1);
  double var = 0;
  for (auto _ : state) {
    StatTimeSerAnalysis::ARMAHannanRissanenFit(Million(), phi, theta, var, 20);
    benchmark::DoNotOptimize(var);
  }
  state.SetItemsProcessed(state.iterations() * Million().Length());
}
BENCHMARK(BM_ARMAHannanRissanen_21_1e6)->Unit(benchmark::kMillisecond);

}  // namespace
