// Quality-control and probability-plot benchmarks: x-bar chart, Westgard rules beside the plain
// sum over the same data, normal probability plot and capability indexes.
#include <benchmark/benchmark.h>

#include "BenchData.h"

namespace {

// 1e7 values uniform on [-3.5, 3.5): every Westgard rule fires somewhere (mean 0, sd 1).
const Kalix::TVec& Westgard1e7() {
  static const Kalix::TVec x = KalixBench::UniformVec(10'000'000, -3.5, 3.5);
  return x;
}

void BM_QCXChart_1e6x5(benchmark::State& state) {
  static const Kalix::TMtx m = [] {
    Kalix::TMtx a(1'000'000, 5);
    auto s = a.Span<double>();
    for (std::size_t i = 0; i < s.size(); ++i) s[i] = KalixBench::Uniform(i);
    return a;
  }();
  Kalix::TVec draw;
  double cl, ucl, lcl;
  for (auto _ : state) {
    StatControlCharts::QCXChart(m, draw, cl, ucl, lcl);
    benchmark::DoNotOptimize(ucl);
  }
  state.SetItemsProcessed(state.iterations() * m.Length());
}
BENCHMARK(BM_QCXChart_1e6x5)->Unit(benchmark::kMillisecond);

void BM_QCWestgardRules_1e7(benchmark::State& state) {
  const Kalix::TVec& x = Westgard1e7();
  Kalix::TVec codes;
  for (auto _ : state) {
    StatControlCharts::QCWestgardRules(x, codes, 0.0, 1.0);
    benchmark::DoNotOptimize(codes.Data());
  }
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_QCWestgardRules_1e7)->Unit(benchmark::kMillisecond);

// Yardstick for the Westgard rules: a single-accumulator sum over the same 1e7 values.
void BM_WestgardYardstick_PlainSum_1e7(benchmark::State& state) { KalixBench::PlainSum(state, Westgard1e7()); }
BENCHMARK(BM_WestgardYardstick_PlainSum_1e7)->Unit(benchmark::kMillisecond);

void BM_StatNormalPlot_1e6(benchmark::State& state) {
  static const Kalix::TVec x = KalixBench::UniformVec(1'000'000);
  Kalix::TVec px, py;
  double minX, maxX, minY, maxY;
  for (auto _ : state) {
    StatProbPlots::StatNormalPlot(x, px, py, minX, maxX, minY, maxY);
    benchmark::DoNotOptimize(maxY);
  }
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_StatNormalPlot_1e6)->Unit(benchmark::kMillisecond);

void BM_QCCapIndexes_1e7(benchmark::State& state) {
  const Kalix::TVec& x = Westgard1e7();
  double frac, cp, cpk;
  Statistics::TTwoElmReal cpci, cpkci;
  for (auto _ : state) {
    StatControlCharts::QCCapIndexes(x, -3.0, 3.0, frac, cp, cpk, cpci, cpkci);
    benchmark::DoNotOptimize(cpk);
  }
  state.SetItemsProcessed(state.iterations() * x.Length());
}
BENCHMARK(BM_QCCapIndexes_1e7)->Unit(benchmark::kMillisecond);

}  // namespace
