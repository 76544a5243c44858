// Straight-line and multiple linear least squares, regression statistics, R² and PRESS.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>

#include "Regress/Regress.h"
#include "Regress/detail/IndexSum.h"
#include "Regress/detail/LeastSquaresPaths.h"

namespace Regress {

using namespace Kalix;

namespace {

// Weight accessors: the kernels are written once and instantiated with and without weights.
template <class T>
struct TUnitWeight {
  T operator()(std::size_t) const { return T(1); }
};
template <class T>
struct TGivenWeight {
  std::span<const T> w;
  T operator()(std::size_t i) const { return w[i]; }
};

// ---------------------------------------------------------------- straight line

// The line's sums are taken about the first observation and then about the mean (with the
// two-pass correction), so data far from the origin keep their digits. D = S*Sxx - Sx^2 is
// formed as S * (centred Sxx): the same number, but it is exactly 0 when every x is equal.
template <class T, class W>
void LineKernel(std::span<const T> x, std::span<const T> y, const W& wt, bool Constant, TVec& B, TVec* YCalc,
                TMtx* V) {
  using detail::IndexSum;
  const std::size_t n = x.size();
  const T kx = n ? x[0] : T(0), ky = n ? y[0] : T(0);
  const T S = IndexSum<T>(n, [&](std::size_t i) { return wt(i); });
  const T mx = IndexSum<T>(n, [&](std::size_t i) { return wt(i) * (x[i] - kx); }) / S;
  const T my = IndexSum<T>(n, [&](std::size_t i) { return wt(i) * (y[i] - ky); }) / S;
  auto dx = [&](std::size_t i) { return x[i] - kx - mx; };
  auto dy = [&](std::size_t i) { return y[i] - ky - my; };
  const T ex = IndexSum<T>(n, [&](std::size_t i) { return wt(i) * dx(i); });
  const T ey = IndexSum<T>(n, [&](std::size_t i) { return wt(i) * dy(i); });
  const T sxx = IndexSum<T>(n, [&](std::size_t i) { return wt(i) * dx(i) * dx(i); }) - ex * ex / S;
  const T sxy = IndexSum<T>(n, [&](std::size_t i) { return wt(i) * dx(i) * dy(i); }) - ex * ey / S;
  const T xbar = kx + mx, ybar = ky + my;

  const T D = S * sxx;
  const T Sx = S * xbar, Sxx = sxx + S * xbar * xbar;
  const T a11 = Sxx / D, a12 = -Sx / D, a22 = S / D;

  T b0, b1 = T(0);
  if (Constant) {
    b1 = S * sxy / D;
    b0 = ybar - b1 * xbar;
  } else {
    b0 = IndexSum<T>(n, [&](std::size_t i) { return wt(i) * x[i] * y[i]; }) /
         IndexSum<T>(n, [&](std::size_t i) { return wt(i) * x[i] * x[i]; });
  }

  if (YCalc) {
    YCalc->Size(static_cast<int>(n), PrecisionOf<T>());
    auto yc = YCalc->Span<T>();
    for (std::size_t i = 0; i < n; ++i) yc[i] = Constant ? x[i] * b1 + b0 : x[i] * b0;
  }
  if (V) {
    // The inverse normal matrix of the line with intercept, also for the line through the origin.
    V->Size(2, 2, PrecisionOf<T>());
    auto v = V->Span<T>();
    v[0] = a11;
    v[1] = a12;
    v[2] = a12;
    v[3] = a22;
  }
  B.Size(Constant ? 2 : 1, PrecisionOf<T>());
  auto b = B.Span<T>();
  b[0] = b0;
  if (Constant) b[1] = b1;
}

// ---------------------------------------------------------------- shared solver

// [1 | A]: the design matrix with the constant's column of ones in front.
template <class T>
void PrependOnesKernel(const TMtx& A, TMtx& D) {
  const std::size_t rows = static_cast<std::size_t>(A.Rows()), cols = static_cast<std::size_t>(A.Cols());
  D.Size(A.Rows(), A.Cols() + 1, PrecisionOf<T>());
  const T* a = A.Span<T>().data();
  T* d = D.Span<T>().data();
  for (std::size_t r = 0; r < rows; ++r) {
    T* dst = d + r * (cols + 1);
    const T* src = a + r * cols;
    dst[0] = T(1);
    for (std::size_t c = 0; c < cols; ++c) dst[c + 1] = src[c];
  }
}

void PrependOnes(const TMtx& A, TMtx& D) {
  // An empty A may have INT_MAX columns; one more cannot be counted.
  if (A.Cols() == std::numeric_limits<int>::max()) ERaise("Size: too many elements");
  WithPrecision(A, [&](auto t) { PrependOnesKernel<typename decltype(t)::type>(A, D); });
}

// V = (M^T M)^-1 from the triangular factor R of M = QR, as R^-1 R^-T. Forming M^T M squares
// the condition number of M; R keeps it, so ill-conditioned polynomial designs keep about
// twice the digits in their standard errors. A singular R makes the core's inverse raise, as
// it would for the singular M^T M. A wide M has a singular M^T M and no square R: formed and
// inverted the direct way, so the core reports it as any singular normal matrix.
void NormalInverse(const TMtx& M, TMtx& R, TMtx& V) {
  if (M.Rows() < M.Cols()) {
    Mul(V, M, M, opTrans);
    Inv(V);
    return;
  }
  if (R.Rows() != M.Cols()) LQR(M, R);
  Inv(R);
  Mul(V, R, R, opNone, opTrans);
}

void SolveLeastSquares(const TMtx& M, const TVec& y, TVec& B, TRegSolveMethod Method, TVec* YCalc, TMtx* V) {
  // The QR solve hands back its triangular factor, so V costs no second pass over M, and its
  // condition decides whether the solution is refined in extended precision.
  TMtxScratch r;
  bool refinedV = false;
  switch (Method) {
    case regSolveLQR:
      LQRSolve(B, M, y, &*r);
      refinedV = detail::RefineIllConditioned(M, y, *r, B, V);
      break;
    case regSolveSVD: {
      TVecScratch sv;
      SVDSolve(B, M, y, *sv, 1e-9);
      break;
    }
    case regSolveLU: LUSolve(B, M, y, mtGeneral, opNone); break;
    default: ERaise("MulLinRegress: unknown SolveMethod");
  }
  if (YCalc) Mul(*YCalc, M, B);
  if (V && !refinedV) NormalInverse(M, *r, *V);
}

// Multiplies row i of M by s[i].
template <class T>
void ScaleRowsKernel(TMtx& M, const TVec& s) {
  const std::size_t cols = static_cast<std::size_t>(M.Cols());
  T* m = M.Span<T>().data();
  auto f = s.Span<T>();
  for (std::size_t r = 0; r < f.size(); ++r)
    for (std::size_t c = 0; c < cols; ++c) m[r * cols + c] *= f[r];
}

// ---------------------------------------------------------------- regression statistics

struct TSums {
  double SST, SSE;
};

// SST about the weighted mean (Constant) or about 0, and SSE, in the data's precision.
template <class T, class W>
TSums StatSums(std::span<const T> y, std::span<const T> yc, const W& wt, bool Constant) {
  using detail::IndexSum;
  const std::size_t n = y.size();
  T sst;
  if (Constant) {
    const T sw = IndexSum<T>(n, [&](std::size_t i) { return wt(i); });
    const T m = IndexSum<T>(n, [&](std::size_t i) { return wt(i) * y[i]; }) / sw;
    const T e = IndexSum<T>(n, [&](std::size_t i) { return wt(i) * (y[i] - m); });
    // Two-pass with the correction term: exact for the exact mean, repairs a rounded one.
    sst = IndexSum<T>(n, [&](std::size_t i) { return wt(i) * (y[i] - m) * (y[i] - m); }) - e * e / sw;
  } else {
    sst = IndexSum<T>(n, [&](std::size_t i) { return wt(i) * y[i] * y[i]; });
  }
  const T sse = IndexSum<T>(n, [&](std::size_t i) { return wt(i) * (yc[i] - y[i]) * (yc[i] - y[i]); });
  return {static_cast<double>(sst), static_cast<double>(sse)};
}

void FillStats(double SST, double SSE, double eps, int n, int p, TRegStats& Stats) {
  double SSR = SST - SSE;
  // Sums below the data's resolution (or NaN) count as exactly 0, so a perfect fit gives
  // SSE = 0 and an infinite F instead of rounding noise.
  auto clamp = [eps](double& v) {
    if (!(std::fabs(v) >= eps)) v = 0.0;
  };
  clamp(SST);
  clamp(SSE);
  clamp(SSR);
  // Counts of 32 bits, formed in 64 so an absurd NumParams wraps instead of overflowing.
  const int dfE = static_cast<int>(std::int64_t{n} - p);
  // Deliberate: dfT = n - 1 and dFR = p - 1 also without a constant term.
  const int dfT = n - 1;
  const int dFR = static_cast<int>(std::int64_t{p} - 1);
  Stats.SSE = SSE;
  Stats.SST = SST;
  Stats.SSR = SSR;
  Stats.dfE = dfE;
  Stats.dfT = dfT;
  Stats.FStats.dFE = dfE;
  Stats.FStats.dFR = dFR;
  Stats.FStats.SSE = SSE;
  Stats.FStats.SSR = SSR;
  Stats.FStats.F = (static_cast<double>(dfE) / dFR) * (SSR / SSE);
  Stats.FStats.Signif = 1.0 - FCDF(Stats.FStats.F, dFR, dfE);
  Stats.ResidualVar = SSE / dfE;
  Stats.StdError = std::sqrt(Stats.ResidualVar);
  Stats.R2 = 1.0 - SSE / SST;
  Stats.AdjustedR2 = 1.0 - (static_cast<double>(dfT) / dfE) * (SSE / SST);
}

void RegressStats(const TVec& Y, const TVec& YCalc, int NumParams, TRegStats& Stats, bool Constant,
                  const TVec* Weights) {
  WithPrecision(Y, [&](auto t) {
    using T = typename decltype(t)::type;
    auto y = Y.Span<T>();
    auto yc = YCalc.Span<T>();
    const TSums s = Weights ? StatSums(y, yc, TGivenWeight<T>{Weights->Span<T>()}, Constant)
                            : StatSums(y, yc, TUnitWeight<T>{}, Constant);
    const double eps = std::is_same_v<T, double> ? 2.220446049250313E-16 : static_cast<double>(EPS_SINGLE);
    FillStats(s.SST, s.SSE, eps, Y.Length(), NumParams, Stats);
  });
}

void CheckRegressTest(const TVec& Y, const TVec& YCalc, const TVec* Weights) {
  if (Y.Length() != YCalc.Length()) ERaise("RegressTest: Y.Length <> YCalc.Length");
  if (Y.FloatPrecision() != YCalc.FloatPrecision()) ERaise("RegressTest: Y.FloatPrecision <> YCalc.FloatPrecision");
  if (Weights) {
    if (Weights->Length() != Y.Length()) ERaise("RegressTest: Weights.Length <> Y.Length");
    if (Weights->FloatPrecision() != Y.FloatPrecision())
      ERaise("RegressTest: Weights.FloatPrecision <> Y.FloatPrecision");
  }
}

// ---------------------------------------------------------------- PRESS

// Leave-one-out residuals e[i] / (1 - h[i]) from one fit: h[i] = |d_i R^-1|^2 is the
// leverage of row i (the diagonal of D (D^T D)^-1 D^T without forming the n x n hat matrix).
template <class T>
double PressKernel(const TVec& Y, const TVec& YCalc, const TMtx& Z) {
  auto y = Y.Span<T>();
  auto yc = YCalc.Span<T>();
  const T* z = Z.Span<T>().data();
  const std::size_t p = static_cast<std::size_t>(Z.Cols());
  return static_cast<double>(detail::IndexSum<T>(y.size(), [&](std::size_t i) {
    T h = T(0);
    for (std::size_t j = 0; j < p; ++j) h += z[i * p + j] * z[i * p + j];
    const T r = (y[i] - yc[i]) / (T(1) - h);
    return r * r;
  }));
}

// The same sum from V = (D^T D)^-1 directly (wide designs, which have no square R).
template <class T>
double PressFromV(const TMtx& D, const TVec& Y, const TVec& YCalc, const TMtx& V) {
  auto y = Y.Span<T>();
  auto yc = YCalc.Span<T>();
  const T* d = D.Span<T>().data();
  const T* v = V.Span<T>().data();
  const std::size_t p = static_cast<std::size_t>(D.Cols());
  return static_cast<double>(detail::IndexSum<T>(y.size(), [&](std::size_t i) {
    const T* row = d + i * p;
    T h = T(0);
    for (std::size_t j = 0; j < p; ++j)
      for (std::size_t k = 0; k < p; ++k) h += row[j] * v[j * p + k] * row[k];
    const T r = (y[i] - yc[i]) / (T(1) - h);
    return r * r;
  }));
}

}  // namespace

// ---------------------------------------------------------------- exported

void LinRegress(const TVec& X, const TVec& Y, TVec& B, bool Constant, const TVec* Weights, TVec* YCalc, TMtx* V) {
  if (X.Length() != Y.Length()) ERaise("LinRegress : X.Length <> Y.Length");
  if (X.FloatPrecision() != Y.FloatPrecision()) ERaise("LinRegress : X.FloatPrecision <> Y.FloatPrecision");
  if (X.Complex() || Y.Complex()) ERaise("LinRegress : X.Complex or Y.Complex");
  if (Weights) {
    if (Weights->Length() != X.Length()) ERaise("LinRegress : (Weights.Length <> X.Length)");
    if (Weights->FloatPrecision() != X.FloatPrecision())
      ERaise("LinRegress : (Weights.FloatPrecision <> X.FloatPrecision)");
  }
  WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    if (Weights)
      LineKernel(X.Span<T>(), Y.Span<T>(), TGivenWeight<T>{Weights->Span<T>()}, Constant, B, YCalc, V);
    else
      LineKernel(X.Span<T>(), Y.Span<T>(), TUnitWeight<T>{}, Constant, B, YCalc, V);
  });
}

void MulLinRegress(const TVec& Y, const TMtx& A, TVec& B, bool Constant, TVec* YCalc, TMtx* V,
                   TRegSolveMethod SolveMethod) {
  // Deliberate: the lower-case "y" of both texts.
  if (Y.FloatPrecision() != A.FloatPrecision()) ERaise("MulLinRegress: y.FloatPrecision <> A.FloatPrecision");
  if (Y.Length() != A.Rows()) ERaise("MulLinRegress: y.Length <> A.Rows");
  // QR's least-squares solution, reached through the Gram matrix when the design allows.
  if (SolveMethod == regSolveLQR && detail::NormalEquationsSolve(Y, A, nullptr, Constant, B, YCalc, V)) return;
  if (!Constant) {
    SolveLeastSquares(A, Y, B, SolveMethod, YCalc, V);
    return;
  }
  TMtxScratch d;
  PrependOnes(A, *d);
  SolveLeastSquares(*d, Y, B, SolveMethod, YCalc, V);
}

void MulLinRegress(const TVec& Y, const TMtx& A, TVec& B, const TVec& Weights, bool Constant, TVec* YCalc, TMtx* V,
                   TRegSolveMethod SolveMethod) {
  if (Y.Complex() || A.Complex()) ERaise("MulLinRegress: Y.Complex or A.Complex");
  if (Y.FloatPrecision() != Weights.FloatPrecision())
    ERaise("MulLinRegress: Y.FloatPrecision <> Weights.FloatPrecision");
  // Deliberate: Y against A.Rows and the length of Weights are not compared here; the core's
  // element-wise product and solver refuse a mismatch with their own messages.
  if (SolveMethod == regSolveLQR && detail::NormalEquationsSolve(Y, A, &Weights, Constant, B, YCalc, V)) return;
  const double sw = Sum(Weights);
  TVecScratch s, ys;
  TMtxScratch m;
  Normalize(*s, Weights, 0.0, sw);
  Sqrt(*s);  // s = sqrt(w / sum w): the normalised weights leave B unchanged and scale V
  ys->Copy(Y);
  Mul(*ys, *s);
  if (Constant)
    PrependOnes(A, *m);
  else
    m->Copy(A);
  // Rows that do not match the weights are left for the solver to refuse.
  if (m->Rows() == s->Length() && m->FloatPrecision() == s->FloatPrecision())
    WithPrecision(*s, [&](auto t) { ScaleRowsKernel<typename decltype(t)::type>(*m, *s); });
  SolveLeastSquares(*m, *ys, B, SolveMethod, YCalc, V);
  if (YCalc) Divide(*YCalc, *s);  // back to the unweighted scale
  if (V) Scale(*V, 1.0 / sw);     // (D^T W D)^-1 for the raw weights
}

void RegressTest(const TVec& Y, const TVec& YCalc, int NumParams, TRegStats& Stats, bool Constant,
                 const TVec* Weights) {
  CheckRegressTest(Y, YCalc, Weights);
  RegressStats(Y, YCalc, NumParams, Stats, Constant, Weights);
}

void RegressTest(const TVec& Y, const TVec& YCalc, const TMtx& V, TRegStats& Stats, TVec& Residuals, TVec& BStdDev,
                 bool Constant, const TVec* Weights) {
  CheckRegressTest(Y, YCalc, Weights);
  RegressStats(Y, YCalc, V.Cols(), Stats, Constant, Weights);
  Residuals.Copy(Y);
  Sub(Residuals, YCalc);
  Diag(BStdDev, V);
  Scale(BStdDev, Stats.ResidualVar);
  Sqrt(BStdDev);
}

double R2(const TVec& Y, const TVec& YCalc) {
  // No checks of its own: the core's distance refuses complex data and mismatched vectors.
  const double dist = NormL2(Y, YCalc);
  return WithPrecision(Y, [&](auto t) {
    using T = typename decltype(t)::type;
    auto y = Y.Span<T>();
    const double sst = static_cast<double>(Kern::SumSqDev<T>(y, Kern::Mean<T>(y)));
    return 1.0 - dist * dist / sst;
  });
}

double PRESS(const TMtx& A, const TVec& Y) {
  if (Y.FloatPrecision() != A.FloatPrecision()) ERaise("MulLinRegress: y.FloatPrecision <> A.FloatPrecision");
  if (Y.Length() != A.Rows()) ERaise("MulLinRegress: y.Length <> A.Rows");
  TMtxScratch d, z;
  TVecScratch b, yc;
  PrependOnes(A, *d);  // always an intercept, whatever A holds
  if (d->Rows() < d->Cols()) {
    SolveLeastSquares(*d, Y, *b, regSolveLQR, &*yc, &*z);
    return WithPrecision(Y, [&](auto t) { return PressFromV<typename decltype(t)::type>(*d, Y, *yc, *z); });
  }
  TMtxScratch rinv;
  LQRSolve(*b, *d, Y, &*rinv);
  Mul(*yc, *d, *b);
  Inv(*rinv);
  Mul(*z, *d, *rinv);  // row i of D R^-1 has squared norm h[i]
  return WithPrecision(Y, [&](auto t) { return PressKernel<typename decltype(t)::type>(Y, *yc, *z); });
}

}  // namespace Regress
