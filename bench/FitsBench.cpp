// Distribution-fitting benchmarks: maximum-likelihood Gamma and Weibull fits on 1e5 values,
// and the normal fit with intervals on 1e7 values beside one plain sum over the same data.
#include <benchmark/benchmark.h>

#include <cmath>

#include "BenchData.h"

namespace {

// 1e5 Weibull values of shape 1.5 and scale 10: 10 * (-ln(1 - u))^(2/3).
const Kalix::TVec& Lifetimes() {
  static const Kalix::TVec x = [] {
    Kalix::TVec v = KalixBench::UniformVec(100'000);
    for (auto& e : v.Span<double>()) e = 10.0 * std::pow(-std::log1p(-e), 2.0 / 3.0);
    return v;
  }();
  return x;
}

const Kalix::TVec& TenMillion() {
  static const Kalix::TVec x = KalixBench::UniformVec(10'000'000, -500.0, 500.0);
  return x;
}

void BM_GammaFit_1e5(benchmark::State& state) {
  double a, b;
  for (auto _ : state) {
    Statistics::GammaFit(Lifetimes(), a, b);
    benchmark::DoNotOptimize(a + b);
  }
}
BENCHMARK(BM_GammaFit_1e5)->Unit(benchmark::kMillisecond);

void BM_GammaFitCI_1e5(benchmark::State& state) {
  double a, b;
  Statistics::TTwoElmReal aCI, bCI;
  for (auto _ : state) {
    Statistics::GammaFit(Lifetimes(), a, b, aCI, bCI);
    benchmark::DoNotOptimize(aCI[0] + bCI[1]);
  }
}
BENCHMARK(BM_GammaFitCI_1e5)->Unit(benchmark::kMillisecond);

void BM_WeibullFit_1e5(benchmark::State& state) {
  double a, b;
  for (auto _ : state) {
    Statistics::WeibullFit(Lifetimes(), a, b);
    benchmark::DoNotOptimize(a + b);
  }
}
BENCHMARK(BM_WeibullFit_1e5)->Unit(benchmark::kMillisecond);

// At the tolerance of SciPy's fmin defaults (xtol = ftol = 1e-4), which its Weibull fit uses.
void BM_WeibullFit_1e5_Tol1e4(benchmark::State& state) {
  double a, b;
  for (auto _ : state) {
    Statistics::WeibullFit(Lifetimes(), a, b, 500, 1e-4);
    benchmark::DoNotOptimize(a + b);
  }
}
BENCHMARK(BM_WeibullFit_1e5_Tol1e4)->Unit(benchmark::kMillisecond);

void BM_NormalFitCI_1e7(benchmark::State& state) {
  double mu, sigma;
  Statistics::TTwoElmReal muCI, sigmaCI;
  for (auto _ : state) {
    Statistics::NormalFit(TenMillion(), mu, sigma, muCI, sigmaCI);
    benchmark::DoNotOptimize(muCI[0] + sigmaCI[1]);
  }
  state.SetItemsProcessed(state.iterations() * TenMillion().Length());
}
BENCHMARK(BM_NormalFitCI_1e7)->Unit(benchmark::kMillisecond);

void BM_FitsPlainSum_1e7(benchmark::State& state) { KalixBench::PlainSum(state, TenMillion()); }
BENCHMARK(BM_FitsPlainSum_1e7)->Unit(benchmark::kMillisecond);

}  // namespace
