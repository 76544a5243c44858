// Multiple linear regression by QR and one-way ANOVA by group index on large inputs.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>

#include "BenchData.h"

namespace {

constexpr int kRows = 1'000'000, kCols = 16;

// A[i][j] = Uniform(16 i + j); y = sum_j (j + 1) A[i][j] + 0.01 (Uniform(16e6 + i) - 0.5).
struct TRegressionData {
  Kalix::TMtx A = Kalix::TMtx(kRows, kCols);
  Kalix::TVec y = Kalix::TVec(kRows);  // not braces: {n} would be a one-element list
  TRegressionData() {
    auto a = A.Span<double>();
    auto v = y.Span<double>();
    for (std::size_t i = 0; i < kRows; ++i) {
      double s = 0.0;
      for (std::size_t j = 0; j < kCols; ++j) {
        a[i * kCols + j] = KalixBench::Uniform(i * kCols + j);
        s += static_cast<double>(j + 1) * a[i * kCols + j];
      }
      v[i] = s + 0.01 * (KalixBench::Uniform(static_cast<std::uint64_t>(kRows) * kCols + i) - 0.5);
    }
  }
};

const TRegressionData& Regression() {
  static const TRegressionData d;
  return d;
}

void BM_MulLinRegress_LQR_1e6x16(benchmark::State& state) {
  const TRegressionData& d = Regression();
  Kalix::TVec b;
  for (auto _ : state) {
    Regress::MulLinRegress(d.y, d.A, b, true, nullptr, nullptr, Regress::regSolveLQR);
    benchmark::DoNotOptimize(b.Data());
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_MulLinRegress_LQR_1e6x16)->Unit(benchmark::kMillisecond);

// The same with the fitted values and the inverse normal matrix (one more triangular factor).
void BM_MulLinRegress_LQR_1e6x16_YCalcV(benchmark::State& state) {
  const TRegressionData& d = Regression();
  Kalix::TVec b, yc;
  Kalix::TMtx v;
  for (auto _ : state) {
    Regress::MulLinRegress(d.y, d.A, b, true, &yc, &v, Regress::regSolveLQR);
    benchmark::DoNotOptimize(v.Data());
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_MulLinRegress_LQR_1e6x16_YCalcV)->Unit(benchmark::kMillisecond);

// 1e7 values uniform on [0, 1) in 10 groups drawn at random: g[i] = floor(10 Uniform(1e7 + i)).
struct TAnovaData {
  static constexpr int n = 10'000'000;
  Kalix::TVec x = KalixBench::UniformVec(n);
  Kalix::TVecInt g = Kalix::TVecInt(n);
  TAnovaData() {
    auto gi = g.Span<std::int32_t>();
    for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i)
      gi[i] = static_cast<std::int32_t>(std::floor(10.0 * KalixBench::Uniform(static_cast<std::uint64_t>(n) + i)));
  }
};

void BM_ANOVA1_Indexed_1e7_10Groups(benchmark::State& state) {
  static const TAnovaData d;
  double p = 0;
  for (auto _ : state) {
    const Regress::TANOVA1Result r = Regress::ANOVA1(d.x, d.g, p);
    benchmark::DoNotOptimize(r.FDist);
  }
  state.SetItemsProcessed(state.iterations() * TAnovaData::n);
}
BENCHMARK(BM_ANOVA1_Indexed_1e7_10Groups)->Unit(benchmark::kMillisecond);

}  // namespace
