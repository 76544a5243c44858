// Least squares through the normal equations, corrected so that they keep QR's accuracy.
//
// Forming M^T M squares the condition number, so a plain Cholesky solve loses twice the digits
// a QR solve loses. The corrected semi-normal equations (Bjorck, Numerical Methods for Least
// Squares Problems, SIAM 1996, sections 2.5.4 and 6.6.5) keep the Cholesky factor R of the Gram
// matrix as a preconditioner and take steps x += R^-1 R^-T M^T W (y - M x) with the residual
// formed from the data in double. Each step shrinks the error by about kappa^2 u, so for a
// well-conditioned design one step reaches QR's accuracy, while the Gram matrix comes from the
// core's product kernel at a fraction of the cost of a Householder sweep. The factor's
// condition estimate decides whether the path may be taken at all.

#include <Eigen/Cholesky>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

#include "../core/Dispatch.h"
#include "../core/LinAlg.h"
#include "../core/Scratch.h"
#include "detail/LeastSquaresPaths.h"

namespace Regress::detail {

namespace {

using namespace Kalix;
using MatD = Eigen::MatrixXd;
using VecD = Eigen::VectorXd;

// Rows per block: a block of a 16-column double design (128 KB) stays in the second-level
// cache while the Gram kernel and the products with y read it.
constexpr std::size_t kBlockRows = 1024;
// Corrections allowed before the design counts as too ill-conditioned for this path.
constexpr int kMaxSteps = 3;

// Largest 1-norm condition number of the equilibrated factor accepted. Rounding in the Gram
// matrix perturbs V = (M^T M)^-1 by about kappa^2 u relative to V: at most 2e-10 in double,
// and at most 1e-5 in single, whose data the Gram kernel sums in single.
template <class T>
double ConditionLimit() {
  const double u = std::numeric_limits<T>::epsilon();
  return std::min(1e3, std::sqrt(1e-5 / u));
}

template <class T>
struct TDesign {
  const T* a;  // n x p, row-major
  const T* y;
  const T* w;  // nullptr: unit weights
  std::size_t n, p;
  bool constant;
  std::size_t Off() const { return constant ? 1 : 0; }
  std::size_t Q() const { return p + Off(); }
  double W(std::size_t i) const { return w ? static_cast<double>(w[i]) : 1.0; }
};

// Row i of the design times x, the constant (if any) being x[0].
template <class T>
double Fitted(const TDesign<T>& d, const double* x, std::size_t i) {
  const T* row = d.a + i * d.p;
  const double* xs = x + d.Off();
  double f = d.constant ? x[0] : 0.0;
  for (std::size_t j = 0; j < d.p; ++j) f += xs[j] * static_cast<double>(row[j]);
  return f;
}

// G = M^T W M and c = M^T W y, constant first, by blocks of rows: the Gram kernel sums each
// block of sqrt(w)-scaled rows in the data's precision, and the block sums are added in double
// (two-level summation). The constant's row and M^T W y are taken from the block while it is
// in cache, so the data are read from memory once and [1 | A] is never formed.
template <class T>
void FormNormal(const TDesign<T>& d, MatD& G, VecD& c) {
  const std::size_t p = d.p, off = d.Off(), q = d.Q();
  G.setZero(static_cast<Eigen::Index>(q), static_cast<Eigen::Index>(q));
  c.setZero(static_cast<Eigen::Index>(q));
  VecD sx = VecD::Zero(static_cast<Eigen::Index>(p)), sxy = sx;
  TMtxScratch blk, gb;
  for (std::size_t r0 = 0; r0 < d.n; r0 += kBlockRows) {
    const std::size_t rows = std::min(kBlockRows, d.n - r0);
    if (p > 0) {
      blk->Size(static_cast<int>(rows), static_cast<int>(p), PrecisionOf<T>());
      T* b = blk->Span<T>().data();
      const T* src = d.a + r0 * p;
      if (d.w) {
        for (std::size_t i = 0; i < rows; ++i) {
          const T s = std::sqrt(d.w[r0 + i]);
          for (std::size_t j = 0; j < p; ++j) b[i * p + j] = s * src[i * p + j];
        }
      } else {
        std::copy_n(src, rows * p, b);
      }
      Mul(*gb, *blk, *blk, opTrans);
      const T* g = gb->Span<T>().data();
      for (std::size_t i = 0; i < p; ++i)
        for (std::size_t j = i; j < p; ++j)
          G(static_cast<Eigen::Index>(off + i), static_cast<Eigen::Index>(off + j)) += static_cast<double>(g[i * p + j]);
    }
    double sw = 0.0, swy = 0.0;
    sx.setZero();
    sxy.setZero();
    for (std::size_t i = r0; i < r0 + rows; ++i) {
      const double wi = d.W(i), wy = wi * static_cast<double>(d.y[i]);
      const T* row = d.a + i * p;
      for (std::size_t j = 0; j < p; ++j) {
        const double x = static_cast<double>(row[j]);
        sxy[static_cast<Eigen::Index>(j)] += wy * x;
        sx[static_cast<Eigen::Index>(j)] += wi * x;
      }
      sw += wi;
      swy += wy;
    }
    c.segment(static_cast<Eigen::Index>(off), static_cast<Eigen::Index>(p)) += sxy;
    if (d.constant) {
      G(0, 0) += sw;
      G.row(0).segment(1, static_cast<Eigen::Index>(p)) += sx.transpose();
      c(0) += swy;
    }
  }
  G.triangularView<Eigen::StrictlyLower>() = G.transpose();
}

// h = M^T W (y - M x), the residual formed from the data in double.
template <class T>
void NormalResidual(const TDesign<T>& d, const VecD& x, VecD& h, VecD& hb) {
  const std::size_t p = d.p, off = d.Off();
  h.setZero(static_cast<Eigen::Index>(d.Q()));
  hb.resize(h.size());
  for (std::size_t r0 = 0; r0 < d.n; r0 += kBlockRows) {
    const std::size_t end = std::min(d.n, r0 + kBlockRows);
    hb.setZero();
    double* hs = hb.data() + off;
    for (std::size_t i = r0; i < end; ++i) {
      const double e = d.W(i) * (static_cast<double>(d.y[i]) - Fitted(d, x.data(), i));
      const T* row = d.a + i * p;
      for (std::size_t j = 0; j < p; ++j) hs[j] += e * static_cast<double>(row[j]);
      if (d.constant) hb[0] += e;
    }
    h += hb;
  }
}

// 1-norm condition number of an upper-triangular factor from its explicit inverse (cheap
// beside the pass over the data for the few columns of a regression).
double Condition1(const MatD& U, const MatD& Uinv) {
  return U.cwiseAbs().colwise().sum().maxCoeff() * Uinv.cwiseAbs().colwise().sum().maxCoeff();
}

template <class T>
bool Solve(const TDesign<T>& d, TVec& B, TVec* YCalc, TMtx* V) {
  const auto q = static_cast<Eigen::Index>(d.Q());
  MatD G;
  VecD c;
  FormNormal(d, G, c);
  if (!G.allFinite() || !c.allFinite()) return false;
  // Equilibration: the condition of the scaled Gram matrix, not the regressors' units,
  // decides the path.
  VecD s(q);
  for (Eigen::Index j = 0; j < q; ++j) {
    if (!(G(j, j) > 0.0)) return false;
    s(j) = 1.0 / std::sqrt(G(j, j));
  }
  const MatD Gs = s.asDiagonal() * G * s.asDiagonal();
  const Eigen::LLT<MatD, Eigen::Upper> llt(Gs);
  if (llt.info() != Eigen::Success) return false;
  const MatD U = llt.matrixU();
  const MatD Uinv = U.triangularView<Eigen::Upper>().solve(MatD::Identity(q, q));
  const double kappa = Condition1(U, Uinv);
  if (!(kappa <= ConditionLimit<T>())) return false;

  auto solve = [&](const VecD& rhs) -> VecD { return s.cwiseProduct(llt.solve(s.cwiseProduct(rhs))); };
  VecD x = solve(c), h, hb;
  // After a correction dx the error left is about kappa^2 u |dx|; stop once that is below the
  // data's resolution (compared in the equilibrated unknowns x / s).
  const double u = std::numeric_limits<T>::epsilon();
  for (int step = 0;; ++step) {
    if (step == kMaxSteps) return false;
    NormalResidual(d, x, h, hb);
    const VecD dx = solve(h);
    x += dx;
    if (!x.allFinite()) return false;
    const double change = dx.cwiseQuotient(s).cwiseAbs().maxCoeff();
    const double size = x.cwiseQuotient(s).cwiseAbs().maxCoeff();
    if (kappa * kappa * u * change <= u * size) break;
  }

  B.Size(static_cast<int>(q), PrecisionOf<T>());
  auto b = B.Span<T>();
  for (Eigen::Index j = 0; j < q; ++j) b[static_cast<std::size_t>(j)] = static_cast<T>(x(j));
  if (YCalc) {
    YCalc->Size(static_cast<int>(d.n), PrecisionOf<T>());
    auto yc = YCalc->Span<T>();
    for (std::size_t i = 0; i < d.n; ++i) yc[i] = static_cast<T>(Fitted(d, x.data(), i));
  }
  if (V) {
    const MatD v = s.asDiagonal() * (Uinv * Uinv.transpose()) * s.asDiagonal();
    V->Size(static_cast<int>(q), static_cast<int>(q), PrecisionOf<T>());
    auto out = V->Span<T>();
    for (Eigen::Index i = 0; i < q; ++i)
      for (Eigen::Index j = 0; j < q; ++j) out[static_cast<std::size_t>(i * q + j)] = static_cast<T>(v(i, j));
  }
  return true;
}

}  // namespace

bool NormalEquationsSolve(const TVec& Y, const TMtx& A, const TVec* Weights, bool Constant, TVec& B, TVec* YCalc,
                          TMtx* V) {
  if (A.Complex() || Y.Complex() || Y.FloatPrecision() != A.FloatPrecision() || Y.Length() != A.Rows()) return false;
  if (Weights && (Weights->Complex() || Weights->FloatPrecision() != Y.FloatPrecision() ||
                  Weights->Length() != Y.Length()))
    return false;
  const long long q = static_cast<long long>(A.Cols()) + (Constant ? 1 : 0);
  if (A.Rows() == 0 || q == 0 || A.Rows() < q) return false;
  return WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    const TDesign<T> d{A.Span<T>().data(), Y.Span<T>().data(), Weights ? Weights->Span<T>().data() : nullptr,
                       static_cast<std::size_t>(A.Rows()), static_cast<std::size_t>(A.Cols()), Constant};
    return Solve(d, B, YCalc, V);
  });
}

}  // namespace Regress::detail
