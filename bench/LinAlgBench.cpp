// Core linear algebra on tall data: the Gram matrix A^T A (covariance hot path) and the
// least-squares solve, in both precisions.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "BenchData.h"

namespace {

// A[i][j] = Uniform(cols i + j), in the requested precision.
Kalix::TMtx Tall(int rows, int cols, Kalix::TMtxFloatPrecision p) {
  Kalix::TMtx A(rows, cols, p);
  for (int i = 0; i < A.Length(); ++i) A.Values(i) = KalixBench::Uniform(static_cast<std::uint64_t>(i));
  return A;
}

// y[i] = sum_j (j + 1) A[i][j] + 0.01 (Uniform(rows cols + i) - 0.5).
Kalix::TVec Response(const Kalix::TMtx& A) {
  Kalix::TVec y(A.Rows(), A.FloatPrecision());
  for (int i = 0; i < A.Rows(); ++i) {
    double s = 0.0;
    for (int j = 0; j < A.Cols(); ++j) s += (j + 1) * A(i, j);
    y[i] = s + 0.01 * (KalixBench::Uniform(static_cast<std::uint64_t>(A.Length()) + static_cast<std::uint64_t>(i)) - 0.5);
  }
  return y;
}

void BM_Mul_AtA_1e6x32(benchmark::State& state) {
  const auto p = state.range(0) != 0 ? Kalix::mvSingle : Kalix::mvDouble;
  const Kalix::TMtx A = Tall(1'000'000, 32, p);
  Kalix::TMtx C;
  for (auto _ : state) {
    Kalix::Mul(C, A, A, Kalix::opTrans, Kalix::opNone);
    benchmark::DoNotOptimize(C.Data());
  }
  state.SetLabel(p == Kalix::mvSingle ? "single" : "double");
  state.SetItemsProcessed(state.iterations() * A.Rows());
}
BENCHMARK(BM_Mul_AtA_1e6x32)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_LQRSolve_1e6x16(benchmark::State& state) {
  const auto p = state.range(0) != 0 ? Kalix::mvSingle : Kalix::mvDouble;
  const Kalix::TMtx A = Tall(1'000'000, 16, p);
  const Kalix::TVec y = Response(A);
  Kalix::TVec x;
  for (auto _ : state) {
    Kalix::LQRSolve(x, A, y);
    benchmark::DoNotOptimize(x.Data());
  }
  state.SetLabel(p == Kalix::mvSingle ? "single" : "double");
  state.SetItemsProcessed(state.iterations() * A.Rows());
}
BENCHMARK(BM_LQRSolve_1e6x16)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
