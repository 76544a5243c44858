// Biased estimators for collinear regressors: ridge regression on standardised columns, the
// search for the ridge constant, and principal-component regression (plain and weighted).
//
// Ridge regression solves the least-squares problem [Z; sqrt(k) I] b = [y; 0] with Z the
// standardised regressors (Hoerl & Kennard, Technometrics 12, 1970). Its normal equations
// are (Z'Z + kI) b = Z'y, and Z'Z is (n - 1) times the correlation matrix, which the fast Gram
// product forms in one pass. Solving them loses about log10(kappa) digits, kappa being the
// condition number of Z'Z + kI, so they are used only while kappa <= eps^(-1/3) (about 1.7e5
// in double, 256 in single: at least two thirds of the digits kept); otherwise, and for a
// negative or non-finite k, [Z | y - mean(y)] is reduced by Householder QR to its triangular
// factor [R z; 0 rho], and the small system [R; sqrt(k) I] b = [z; 0] has the same solution
// and residual as the tall one (Golub & Van Loan, Matrix Computations, 4th ed., 5.3).

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>
#include <type_traits>
#include <utility>

#include "Regress/Regress.h"
#include "Regress/detail/IndexSum.h"
#include "Statistics/Statistics.h"
#include "Statistics/detail/PrincipalComponents.h"

namespace Regress {

using namespace Kalix;

namespace {

using Index = std::ptrdiff_t;

// ---------------------------------------------------------------- ridge

// Standard deviations below this are taken as 1, so a constant column gets a zero
// coefficient instead of a division by zero.
template <class T>
T StdDevFloor() {
  if constexpr (std::is_same_v<T, double>)
    return 1.4901161194E-08;
  else
    return SQRTEPS_SINGLE;
}

template <class T>
T GramConditionLimit() {
  return std::cbrt(T(1) / std::numeric_limits<T>::epsilon());
}

// What every ridge solve needs from the data: column means, floored standard deviations, the
// mean of y, and the reduced problem.
// Scalars are held as double, which keeps single-precision values exactly.
struct TRidgeData {
  TVecScratch m, s;
  double ybar = 0;
  TMtxScratch gram;  // Z'Z (Gram form) or R (triangular form), p x p
  TVecScratch rhs;   // Z'(y - ybar) (Gram form) or z (triangular form)
  double rho2 = 0;   // squared residual of the least-squares fit (triangular form)
};

// Column means and floored deviations of A, mean of y; Z'Z = Cov(A) (n - 1) / (s_i s_j) and
// Z'(y - ybar) = sum (a_ij - m_j)(y_i - ybar) / s_j, summed in blocks of rows.
template <class T>
void GramForm(const TVec& y, const TMtx& A, TRidgeData& d) {
  const std::size_t n = static_cast<std::size_t>(A.Rows()), p = static_cast<std::size_t>(A.Cols());
  Statistics::Covariance(A, *d.gram, false);
  MeanCols(A, *d.m);
  const auto yv = y.Span<T>();
  d.ybar = static_cast<double>(Kern::Mean<T>(yv));
  const T ybar = static_cast<T>(d.ybar);
  d.s->Size(A.Cols(), PrecisionOf<T>());
  d.rhs->Size(A.Cols(), PrecisionOf<T>());
  auto g = d.gram->Span<T>();
  auto s = d.s->Span<T>();
  auto c = d.rhs->Span<T>();
  const auto m = std::as_const(*d.m).Span<T>();
  for (std::size_t j = 0; j < p; ++j) {
    s[j] = std::sqrt(g[j * p + j]);
    if (std::abs(s[j]) < StdDevFloor<T>()) s[j] = T(1);
  }
  const T scale = static_cast<T>(n - 1);
  for (std::size_t i = 0; i < p; ++i)
    for (std::size_t j = 0; j < p; ++j) g[i * p + j] = g[i * p + j] * scale / (s[i] * s[j]);
  // Cross products, two-level: each block of rows is summed apart, then the blocks.
  const T* a = A.Span<T>().data();
  TVecScratch part;
  part->Size(A.Cols(), PrecisionOf<T>());
  auto q = part->Span<T>();
  constexpr std::size_t kBlock = 256;
  for (std::size_t r0 = 0; r0 < n; r0 += kBlock) {
    std::fill(q.begin(), q.end(), T(0));
    for (std::size_t r = r0; r < std::min(n, r0 + kBlock); ++r) {
      const T t = yv[r] - ybar;
      const T* row = a + r * p;
      for (std::size_t j = 0; j < p; ++j) q[j] += (row[j] - m[j]) * t;
    }
    for (std::size_t j = 0; j < p; ++j) c[j] += q[j];
  }
  for (std::size_t j = 0; j < p; ++j) c[j] /= s[j];
}

// Triangular form: QR of [Z | y - ybar] (n x (p + 1)); R, z and rho^2 from its factor. A wide
// matrix has fewer factor rows than columns: the missing rows are zero.
template <class T>
void TriangularForm(const TVec& y, const TMtx& A, TRidgeData& d) {
  const std::size_t n = static_cast<std::size_t>(A.Rows()), p = static_cast<std::size_t>(A.Cols());
  const auto yv = y.Span<T>();
  const auto m = std::as_const(*d.m).Span<T>();
  const auto s = std::as_const(*d.s).Span<T>();
  const T ybar = static_cast<T>(d.ybar);
  TMtxScratch zy, f;
  zy->Size(A.Rows(), A.Cols() + 1, PrecisionOf<T>());
  auto w = zy->Span<T>();
  const T* a = A.Span<T>().data();
  for (std::size_t r = 0; r < n; ++r) {
    for (std::size_t j = 0; j < p; ++j) w[r * (p + 1) + j] = (a[r * p + j] - m[j]) / s[j];
    w[r * (p + 1) + p] = yv[r] - ybar;
  }
  LQR(*zy, *f);
  const std::size_t fr = static_cast<std::size_t>(f->Rows());
  const auto fv = std::as_const(*f).Span<T>();
  auto at = [&](std::size_t i, std::size_t j) { return i < fr ? fv[i * (p + 1) + j] : T(0); };
  d.gram->Size(A.Cols(), A.Cols(), PrecisionOf<T>());
  d.rhs->Size(A.Cols(), PrecisionOf<T>());
  auto R = d.gram->Span<T>();
  auto z = d.rhs->Span<T>();
  for (std::size_t i = 0; i < p; ++i) {
    for (std::size_t j = 0; j < p; ++j) R[i * p + j] = at(i, j);
    z[i] = at(i, p);
  }
  d.rho2 = static_cast<double>(at(p, p) * at(p, p));
}

// b = least-squares solution of [R; sqrt(k) I] b = [z; 0].
template <class T>
void SolveTriangular(const TRidgeData& d, T k, TVec& b) {
  const int p = d.gram->Rows();
  TMtxScratch M;
  TVecScratch rhs;
  M->Size(2 * p, p, PrecisionOf<T>());
  rhs->Size(2 * p, PrecisionOf<T>());
  M->SetZero();
  rhs->SetZero();
  auto mv = M->Span<T>();
  auto r = rhs->Span<T>();
  const auto R = std::as_const(*d.gram).Span<T>();
  const auto z = std::as_const(*d.rhs).Span<T>();
  const std::size_t n = static_cast<std::size_t>(p);
  std::copy(R.begin(), R.end(), mv.begin());
  std::copy(z.begin(), z.end(), r.begin());
  const T sk = std::sqrt(k);
  for (std::size_t j = 0; j < n; ++j) mv[(n + j) * n + j] = sk;
  LQRSolve(b, *M, *rhs);
}

// b = solution of (Z'Z + kI) b = Z'y by Cholesky; false when kappa(Z'Z + kI) is beyond the
// limit (or unknown), leaving the problem to the triangular form.
template <class T>
bool SolveGram(const TRidgeData& d, T k, TVec& b) {
  if (!(k >= T(0))) return false;
  const int p = d.gram->Rows();
  TMtxScratch G, L;
  TVecScratch ev;
  G->Copy(*d.gram);
  auto g = G->Span<T>();
  for (std::size_t j = 0; j < static_cast<std::size_t>(p); ++j) g[j * static_cast<std::size_t>(p) + j] += k;
  Eig(*G, *ev);
  const auto e = std::as_const(*ev).Span<T>();
  if (!(e[0] > T(0)) || !(e.back() <= e[0] * GramConditionLimit<T>())) return false;
  LUSolve(b, *G, *d.rhs, mtSymmPosDef);
  return true;
}

// Ridge coefficients of y on A: standardised (p values) or on the data's scale with the
// intercept first (p + 1 values).
template <class T>
void RidgeKernel(const TVec& y, const TMtx& A, T k, TVec& B, bool Standardized) {
  const int p = A.Cols();
  TRidgeData d;
  TVecScratch b;
  GramForm<T>(y, A, d);
  if (p == 0) {
    b->Size(0, PrecisionOf<T>());
  } else if (A.Rows() == 0 || !SolveGram<T>(d, k, *b)) {
    TriangularForm<T>(y, A, d);
    SolveTriangular<T>(d, k, *b);
  }
  if (Standardized) {
    B.Copy(*b);
    return;
  }
  B.Size(p + 1, PrecisionOf<T>());
  auto out = B.Span<T>();
  const auto bs = std::as_const(*b).Span<T>();
  const auto m = std::as_const(*d.m).Span<T>();
  const auto s = std::as_const(*d.s).Span<T>();
  T b0 = static_cast<T>(d.ybar);
  for (std::size_t j = 0; j < static_cast<std::size_t>(p); ++j) {
    out[j + 1] = bs[j] / s[j];
    b0 -= m[j] * out[j + 1];
  }
  out[0] = b0;
}

void CheckRidge(const TVec& y, const TMtx& A) {
  if (y.Complex() || A.Complex()) ERaise("RidgeRegress: (y.Complex) or (A.Complex)");
  if (y.FloatPrecision() != A.FloatPrecision()) ERaise("RidgeRegress: (y.FloatPrecision <> A.FloatPrecision)");
  if (y.Length() != A.Rows()) ERaise("RidgeRegress: y.Length <> A.Rows");
}

// The ridge constant minimising sum (yhat - y)^2 / (p + 1). The data are reduced once to the
// triangular form; each trial k then costs a p x p solve, and the residual sum of squares is
// ||R b - z||^2 + rho^2, the same number as summing over the observations.
// Deliberate: the divisor is the number of coefficients, not of observations.
template <class T>
double OptimalK(const TVec& y, const TMtx& A) {
  const std::size_t p = static_cast<std::size_t>(A.Cols());
  TRidgeData d;
  GramForm<T>(y, A, d);
  TriangularForm<T>(y, A, d);
  TVec b;
  const auto objective = [&](const TVec& Pars, const TVec&, TObjConsts) {
    SolveTriangular<T>(d, static_cast<T>(Pars[0]), b);
    const auto bv = std::as_const(b).Span<T>();
    const auto R = std::as_const(*d.gram).Span<T>();
    const auto z = std::as_const(*d.rhs).Span<T>();
    T sse = static_cast<T>(d.rho2);
    for (std::size_t i = 0; i < p; ++i) {
      T r = -z[i];
      for (std::size_t j = i; j < p; ++j) r += R[i * p + j] * bv[j];
      sse += r * r;
    }
    return static_cast<double>(sse) / static_cast<double>(p + 1);
  };
  double k = 1E-06, fmin = 0;
  const double lower = std::is_same_v<T, double> ? 2.220446049250313E-16 : static_cast<double>(EPS_SINGLE);
  const double upper = std::numeric_limits<double>::infinity();
  TOptStopReason stop{};
  Simplex(objective, std::span<double>(&k, 1), {}, {}, std::span<const double>(&lower, 1),
          std::span<const double>(&upper, 1), fmin, stop, PrecisionOf<T>(), 500, 1E-08);
  return k;
}

// ---------------------------------------------------------------- principal-component regression

template <class T>
void PCRegressKernel(const TVec& y, const TMtx& A, TVec& B, TVec* YCalc, TVec* BStdDev, int NumComp) {
  const std::size_t n = static_cast<std::size_t>(A.Rows()), p = static_cast<std::size_t>(A.Cols());
  TMtxScratch PC, Z;
  TVecScratch lambda, means, sd, gamma;
  Statistics::detail::CorrelationPCA(A, *PC, *Z, *lambda, *means, *sd);
  MulLinRegress(y, *Z, *gamma, false, nullptr, nullptr, regSolveLQR);
  auto g = gamma->Span<T>();
  for (std::size_t j = 0; j < p; ++j)
    if (static_cast<Index>(j) >= NumComp) g[j] = T(0);
  const auto pc = std::as_const(*PC).Span<T>();
  const auto m = std::as_const(*means).Span<T>();
  const auto s = std::as_const(*sd).Span<T>();
  const auto yv = y.Span<T>();
  B.Size(static_cast<int>(p + 1), PrecisionOf<T>());
  auto b = B.Span<T>();
  T b0 = Kern::Mean<T>(yv);
  for (std::size_t j = 0; j < p; ++j) {
    T v = T(0);
    for (std::size_t c = 0; c < p; ++c) v += pc[j * p + c] * g[c];
    b[j + 1] = v / s[j];
    b0 -= m[j] * b[j + 1];
  }
  b[0] = b0;
  T mse = T(1);
  if (YCalc != nullptr) {
    YCalc->Size(static_cast<int>(n), PrecisionOf<T>());
    auto yc = YCalc->Span<T>();
    const T* a = A.Span<T>().data();
    for (std::size_t i = 0; i < n; ++i) {
      T v = b0;
      for (std::size_t j = 0; j < p; ++j) v += a[i * p + j] * b[j + 1];
      yc[i] = v;
    }
    // Deliberate: divided by n, not by the residual degrees of freedom.
    mse = detail::IndexSum<T>(n, [&](std::size_t i) { return (yv[i] - yc[i]) * (yv[i] - yc[i]); }) / static_cast<T>(n);
  }
  if (BStdDev != nullptr) {
    // Deliberate: every component enters, also those left out of the fit, and without YCalc
    // the mean square error stays 1.
    const auto l = std::as_const(*lambda).Span<T>();
    BStdDev->Size(static_cast<int>(p), PrecisionOf<T>());
    auto sdv = BStdDev->Span<T>();
    for (std::size_t j = 0; j < p; ++j) {
      T v = T(0);
      for (std::size_t c = 0; c < p; ++c) v += pc[j * p + c] * pc[j * p + c] * (mse / l[c]);
      sdv[j] = std::sqrt(v) / s[j];
    }
  }
}

void PCRegressCore(const TVec& y, const TMtx& A, TVec& B, TVec* YCalc, TVec* BStdDev, int NumComp) {
  WithPrecision(A, [&](auto t) { PCRegressKernel<typename decltype(t)::type>(y, A, B, YCalc, BStdDev, NumComp); });
}

}  // namespace

// ---------------------------------------------------------------- exported

void RidgeRegress(const TVec& y, const TMtx& A, double k, TVec& B, bool Standardized) {
  CheckRidge(y, A);
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    RidgeKernel<T>(y, A, static_cast<T>(k), B, Standardized);
  });
}

void RidgeOptimalk(const TVec& y, const TMtx& A, double& k) {
  CheckRidge(y, A);
  k = WithPrecision(A, [&](auto t) { return OptimalK<typename decltype(t)::type>(y, A); });
}

void PCRegress(const TVec& y, const TMtx& A, TVec& B, TVec* YCalc, TVec* BStdDev, int NumComp) {
  if (y.Complex() || A.Complex()) ERaise("PCRegress: y.Complex or A.Complex");
  if (y.FloatPrecision() != A.FloatPrecision()) ERaise("PCRegress: y.FloatPrecision <> A.FloatPrecision");
  if (y.Length() != A.Rows()) ERaise("PCRegress: y.Length <> A.Rows");
  PCRegressCore(y, A, B, YCalc, BStdDev, NumComp);
}

void PCRegress(const TVec& Y, const TMtx& A, TVec& B, const TVec& Weights, TVec* YCalc, TVec* BStdDev, int NumComp) {
  if (Y.Complex() || A.Complex()) ERaise("PCRegress: Y.Complex or A.Complex");
  if (Y.FloatPrecision() != A.FloatPrecision()) ERaise("PCRegress: y.FloatPrecision <> A.FloatPrecision");
  if (Y.Length() != Weights.Length()) ERaise("PCRegress: Y.Length<>Weights.Length");
  // r = sqrt(w / sum w); the core's element-wise product refuses weights of another precision.
  TVecScratch r, yr;
  TMtxScratch ar;
  Normalize(*r, Weights, 0.0, Sum(Weights));
  Sqrt(*r);
  yr->Copy(Y);
  Mul(*yr, *r);
  ar->Copy(A);
  // Rows are scaled only when they match; otherwise the solver reports the mismatch.
  if (A.Rows() == r->Length())
    WithPrecision(A, [&](auto t) {
      using T = typename decltype(t)::type;
      const std::size_t cols = static_cast<std::size_t>(A.Cols());
      const auto rv = std::as_const(*r).Span<T>();
      auto a = ar->Span<T>();
      for (std::size_t i = 0; i < rv.size(); ++i)
        for (std::size_t j = 0; j < cols; ++j) a[i * cols + j] *= rv[i];
    });
  PCRegressCore(*yr, *ar, B, YCalc, BStdDev, NumComp);
  if (YCalc != nullptr) Divide(*YCalc, *r);
}

}  // namespace Regress
