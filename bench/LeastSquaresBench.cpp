// Least squares on a tall well-conditioned design (1e6 x 16, the data of RegressBench.cpp)
// beside the Gram product it is built on, and the fixed cost of small regression calls
// beside a plain loop doing the same arithmetic. bench/compare/leastsquares.py prints the
// ratios to NumPy's normal equations on the same data.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "BenchData.h"

namespace {

constexpr int kRows = 1'000'000, kCols = 16;

// A[i][j] = Uniform(16 i + j); y = sum_j (j + 1) A[i][j] + 0.01 (Uniform(16e6 + i) - 0.5);
// weights w[i] = 0.5 + Uniform(17e6 + i).
struct TTall {
  Kalix::TMtx A = Kalix::TMtx(kRows, kCols);
  Kalix::TVec y = Kalix::TVec(kRows), w = Kalix::TVec(kRows);
  TTall() {
    auto a = A.Span<double>();
    for (std::size_t i = 0; i < kRows; ++i) {
      double s = 0.0;
      for (std::size_t j = 0; j < kCols; ++j) {
        a[i * kCols + j] = KalixBench::Uniform(i * kCols + j);
        s += static_cast<double>(j + 1) * a[i * kCols + j];
      }
      y[static_cast<int>(i)] = s + 0.01 * (KalixBench::Uniform(std::uint64_t{kRows} * kCols + i) - 0.5);
      w[static_cast<int>(i)] = 0.5 + KalixBench::Uniform(std::uint64_t{kRows} * (kCols + 1) + i);
    }
  }
};

const TTall& Tall() {
  static const TTall d;
  return d;
}

// Arg: 0 without constant, 1 with constant, 2 with constant, YCalc and V, 3 weighted with constant.
void BM_LeastSquares_1e6x16(benchmark::State& state) {
  const TTall& d = Tall();
  Kalix::TVec b, yc;
  Kalix::TMtx v;
  const auto form = state.range(0);
  for (auto _ : state) {
    if (form == 3)
      Regress::MulLinRegress(d.y, d.A, b, d.w, true);
    else
      Regress::MulLinRegress(d.y, d.A, b, form != 0, form == 2 ? &yc : nullptr, form == 2 ? &v : nullptr);
    benchmark::DoNotOptimize(b.Data());
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_LeastSquares_1e6x16)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);

// The Gram product alone: the floor of the normal-equation path.
void BM_LeastSquaresGram_1e6x16(benchmark::State& state) {
  const TTall& d = Tall();
  Kalix::TMtx g;
  for (auto _ : state) {
    Kalix::Mul(g, d.A, d.A, Kalix::opTrans);
    benchmark::DoNotOptimize(g.Data());
  }
}
BENCHMARK(BM_LeastSquaresGram_1e6x16)->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------- small calls, n = 20

struct TSmall {
  Kalix::TMtx A = Kalix::TMtx(20, 3);
  Kalix::TVec y = Kalix::TVec(20);
  TSmall() {
    for (int i = 0; i < 20; ++i) {
      for (int j = 0; j < 3; ++j) A(i, j) = KalixBench::Uniform(static_cast<std::uint64_t>(3 * i + j));
      y[i] = 1.0 + A(i, 0) - 2.0 * A(i, 1) + 0.1 * KalixBench::Uniform(static_cast<std::uint64_t>(100 + i));
    }
  }
};

void BM_Small_MulLinRegress_20x3(benchmark::State& state) {
  static const TSmall d;
  Kalix::TVec b;
  for (auto _ : state) {
    Regress::MulLinRegress(d.y, d.A, b, true);
    benchmark::DoNotOptimize(b.Data());
  }
}
BENCHMARK(BM_Small_MulLinRegress_20x3);

// The same least squares by a plain loop: normal equations of [1 | A] and Gaussian elimination.
void BM_Small_PlainLoopRegress_20x3(benchmark::State& state) {
  static const TSmall d;
  const double* a = d.A.Span<double>().data();
  const double* y = d.y.Span<double>().data();
  for (auto _ : state) {
    double g[4][5] = {};
    for (int i = 0; i < 20; ++i) {
      const double r[4] = {1.0, a[3 * i], a[3 * i + 1], a[3 * i + 2]};
      for (int j = 0; j < 4; ++j) {
        for (int k = 0; k < 4; ++k) g[j][k] += r[j] * r[k];
        g[j][4] += r[j] * y[i];
      }
    }
    for (int k = 0; k < 4; ++k)
      for (int j = k + 1; j < 4; ++j) {
        const double f = g[j][k] / g[k][k];
        for (int c = k; c < 5; ++c) g[j][c] -= f * g[k][c];
      }
    double b[4];
    for (int k = 3; k >= 0; --k) {
      double s = g[k][4];
      for (int c = k + 1; c < 4; ++c) s -= g[k][c] * b[c];
      b[k] = s / g[k][k];
    }
    benchmark::DoNotOptimize(b);
  }
}
BENCHMARK(BM_Small_PlainLoopRegress_20x3);

void BM_Small_RegressTest_20(benchmark::State& state) {
  static const TSmall d;
  Kalix::TVec b, yc;
  Regress::MulLinRegress(d.y, d.A, b, true, &yc);
  Regress::TRegStats st;
  for (auto _ : state) {
    Regress::RegressTest(d.y, yc, 4, st, true);
    benchmark::DoNotOptimize(st.R2);
  }
}
BENCHMARK(BM_Small_RegressTest_20);

// RegressTest's arithmetic by a plain loop: SST, SSE and the F test's tail from the core's FCDF.
void BM_Small_PlainLoopRegressTest_20(benchmark::State& state) {
  static const TSmall d;
  Kalix::TVec b, yc;
  Regress::MulLinRegress(d.y, d.A, b, true, &yc);
  const double* y = d.y.Span<double>().data();
  const double* f = yc.Span<double>().data();
  for (auto _ : state) {
    double m = 0.0;
    for (int i = 0; i < 20; ++i) m += y[i];
    m /= 20.0;
    double sst = 0.0, sse = 0.0;
    for (int i = 0; i < 20; ++i) {
      sst += (y[i] - m) * (y[i] - m);
      sse += (y[i] - f[i]) * (y[i] - f[i]);
    }
    const double F = (16.0 / 3.0) * ((sst - sse) / sse);
    benchmark::DoNotOptimize(1.0 - Kalix::FCDF(F, 3, 16));
  }
}
BENCHMARK(BM_Small_PlainLoopRegressTest_20);

void BM_Small_Percentile_20(benchmark::State& state) {
  static const Kalix::TVec x = KalixBench::UniformVec(20);
  for (auto _ : state) benchmark::DoNotOptimize(Statistics::Percentile(x, 0.3, Statistics::pctMethodNPlus));
}
BENCHMARK(BM_Small_Percentile_20);

// A plain loop for the same percentile: copy, partial sort to the order statistic.
void BM_Small_PlainLoopPercentile_20(benchmark::State& state) {
  static const Kalix::TVec x = KalixBench::UniformVec(20);
  for (auto _ : state) {
    double v[20];
    std::copy_n(x.Span<double>().data(), 20, v);
    std::nth_element(v, v + 6, v + 20);
    const double lo = v[6];
    const double hi = *std::min_element(v + 7, v + 20);
    benchmark::DoNotOptimize(lo + 0.3 * (hi - lo));
  }
}
BENCHMARK(BM_Small_PlainLoopPercentile_20);

void BM_Small_Mean_20(benchmark::State& state) {
  static const Kalix::TVec x = KalixBench::UniformVec(20);
  for (auto _ : state) benchmark::DoNotOptimize(Kalix::Mean(x));
}
BENCHMARK(BM_Small_Mean_20);

void BM_Small_PlainLoopMean_20(benchmark::State& state) {
  static const Kalix::TVec x = KalixBench::UniformVec(20);
  for (auto _ : state) {
    const double* p = x.Span<double>().data();
    double s = 0.0;
    for (int i = 0; i < 20; ++i) s += p[i];
    benchmark::DoNotOptimize(s / 20.0);
  }
}
BENCHMARK(BM_Small_PlainLoopMean_20);

}  // namespace

namespace {

// One streaming read of 1e6 x 32 doubles (element i = Uniform(i), the covariance benchmark's
// data): the memory-bound floor that Covariance is measured against.
void BM_ReadYardstick_1e6x32(benchmark::State& state) {
  static const Kalix::TMtx m = [] {
    Kalix::TMtx a(1'000'000, 32);
    auto s = a.Span<double>();
    for (std::size_t i = 0; i < s.size(); ++i) s[i] = KalixBench::Uniform(i);
    return a;
  }();
  for (auto _ : state) benchmark::DoNotOptimize(Kalix::Sum(m));
  state.SetItemsProcessed(state.iterations() * m.Length());
}
BENCHMARK(BM_ReadYardstick_1e6x32)->Unit(benchmark::kMillisecond);

}  // namespace

namespace {

// Percentile of 1e7 right after a large regression (other scratch sizes, other data in
// cache) against back-to-back calls (BM_Percentile_1e7): the cost of a cold first call.
void BM_Percentile_1e7_AfterOtherWork(benchmark::State& state) {
  static const Kalix::TVec x = KalixBench::UniformVec(10'000'000, -500.0, 500.0);
  const TTall& d = Tall();
  Kalix::TVec b, yc;
  Kalix::TMtx v;
  for (auto _ : state) {
    state.PauseTiming();
    Regress::MulLinRegress(d.y, d.A, b, true, &yc, &v);
    state.ResumeTiming();
    benchmark::DoNotOptimize(Statistics::Percentile(x, 0.3, Statistics::pctMethodNPlus));
  }
}
BENCHMARK(BM_Percentile_1e7_AfterOtherWork)->Unit(benchmark::kMillisecond);

}  // namespace

namespace {

// The product C^T C alone on the covariance benchmark's data (1e6 x 32, element i = Uniform(i)):
// the arithmetic floor under Covariance, which adds the pass for the means and the centring.
void BM_CovarianceGram_1e6x32(benchmark::State& state) {
  static const Kalix::TMtx m = [] {
    Kalix::TMtx a(1'000'000, 32);
    auto s = a.Span<double>();
    for (std::size_t i = 0; i < s.size(); ++i) s[i] = KalixBench::Uniform(i);
    return a;
  }();
  Kalix::TMtx g;
  for (auto _ : state) {
    Kalix::Mul(g, m, m, Kalix::opTrans);
    benchmark::DoNotOptimize(g.Data());
  }
  state.SetItemsProcessed(state.iterations() * m.Length());
}
BENCHMARK(BM_CovarianceGram_1e6x32)->Unit(benchmark::kMillisecond);

}  // namespace
