// Pairwise distances (5000 x 20), Hotelling's T^2 (1e5 x 20) and classical scaling of 2000
// points; the same data as bench/compare/multivariate.py and multivariate.R.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "BenchData.h"

namespace {

// A[i][j] = Uniform(cols i + j).
Kalix::TMtx UniformMtx(int rows, int cols) {
  Kalix::TMtx A(rows, cols);
  auto a = A.Span<double>();
  for (std::size_t i = 0; i < a.size(); ++i) a[i] = KalixBench::Uniform(i);
  return A;
}

void BM_PairwiseEuclidean_5000x20(benchmark::State& state) {
  const Kalix::TMtx X = UniformMtx(5000, 20);
  Kalix::TMtx D;
  for (auto _ : state) {
    Statistics::PairwiseDistance(X, D);
    benchmark::DoNotOptimize(D.Data());
  }
  state.SetItemsProcessed(state.iterations() * 5000LL * 4999 / 2);
}
BENCHMARK(BM_PairwiseEuclidean_5000x20)->Unit(benchmark::kMillisecond);

void BM_HotellingT2_1e5x20(benchmark::State& state) {
  const Kalix::TMtx X = UniformMtx(100'000, 20);
  Kalix::TVec mu(20);
  mu.SetVal(0.5);
  Statistics::THypothesisResult h;
  double signif;
  for (auto _ : state) benchmark::DoNotOptimize(Statistics::HotellingT2(X, mu, h, signif));
}
BENCHMARK(BM_HotellingT2_1e5x20)->Unit(benchmark::kMillisecond);

// Distances of 2000 points in 5 dimensions, scaled to 2 dimensions.
void BM_ClassicalMDS_2000(benchmark::State& state) {
  Kalix::TMtx D, X;
  Kalix::TVec eig;
  Statistics::PairwiseDistance(UniformMtx(2000, 5), D);
  for (auto _ : state) {
    Statistics::ClassicalMDS(D, X, eig, nullptr, 2);
    benchmark::DoNotOptimize(X.Data());
  }
}
BENCHMARK(BM_ClassicalMDS_2000)->Unit(benchmark::kMillisecond);

}  // namespace
