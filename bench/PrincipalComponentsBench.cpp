// Principal components (correlation mode), ridge regression and principal-component regression
// on one 1e5 x 50 data set.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "BenchData.h"

namespace {

constexpr int kRows = 100'000, kCols = 50;

// U[i][j] = Uniform(50 i + j); A[i][j] = U[i][j] + 0.5 U[i][(j + 1) mod 50] (neighbouring columns
// correlate); y = sum_j (j + 1) / 50 A[i][j] + 0.1 (Uniform(5e6 + i) - 0.5).
struct TComponentData {
  Kalix::TMtx A = Kalix::TMtx(kRows, kCols);
  Kalix::TVec y = Kalix::TVec(kRows);
  TComponentData() {
    auto a = A.Span<double>();
    auto v = y.Span<double>();
    for (std::size_t i = 0; i < kRows; ++i) {
      double s = 0.0;
      for (std::size_t j = 0; j < kCols; ++j) {
        a[i * kCols + j] = KalixBench::Uniform(i * kCols + j) + 0.5 * KalixBench::Uniform(i * kCols + (j + 1) % kCols);
        s += static_cast<double>(j + 1) / kCols * a[i * kCols + j];
      }
      v[i] = s + 0.1 * (KalixBench::Uniform(static_cast<std::uint64_t>(kRows) * kCols + i) - 0.5);
    }
  }
};

const TComponentData& Components() {
  static const TComponentData d;
  return d;
}

void BM_PCA_Corr_1e5x50(benchmark::State& state) {
  const TComponentData& d = Components();
  Kalix::TMtx pc, z;
  Kalix::TVec eig, pct;
  for (auto _ : state) {
    Statistics::PCA(d.A, pc, z, eig, &pct, Statistics::PCACorrMat);
    benchmark::DoNotOptimize(z.Data());
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_PCA_Corr_1e5x50)->Unit(benchmark::kMillisecond);

void BM_PCA_Cov_1e5x50(benchmark::State& state) {
  const TComponentData& d = Components();
  Kalix::TMtx pc, z;
  Kalix::TVec eig;
  for (auto _ : state) {
    Statistics::PCA(d.A, pc, z, eig, nullptr, Statistics::PCACovMat);
    benchmark::DoNotOptimize(z.Data());
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_PCA_Cov_1e5x50)->Unit(benchmark::kMillisecond);

void BM_RidgeRegress_1e5x50(benchmark::State& state) {
  const TComponentData& d = Components();
  Kalix::TVec b;
  for (auto _ : state) {
    Regress::RidgeRegress(d.y, d.A, 0.5, b);
    benchmark::DoNotOptimize(b.Data());
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_RidgeRegress_1e5x50)->Unit(benchmark::kMillisecond);

void BM_PCRegress_1e5x50_10(benchmark::State& state) {
  const TComponentData& d = Components();
  Kalix::TVec b;
  for (auto _ : state) {
    Regress::PCRegress(d.y, d.A, b, nullptr, nullptr, 10);
    benchmark::DoNotOptimize(b.Data());
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_PCRegress_1e5x50_10)->Unit(benchmark::kMillisecond);

}  // namespace
