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
#include <type_traits>

#include "../core/Dispatch.h"
#include "../core/LinAlg.h"
#include "../core/Scratch.h"
#include "detail/LeastSquaresPaths.h"

namespace Regress::detail {

namespace {

using namespace Kalix;
// Small systems live on the stack (no heap allocation on repeated small calls); larger ones
// on the heap.
template <int MaxQ>
using MatQ = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::ColMajor, MaxQ, MaxQ>;
template <int MaxQ>
using VecQ = Eigen::Matrix<double, Eigen::Dynamic, 1, Eigen::ColMajor, MaxQ, 1>;
constexpr int kSmallQ = 8;

// Rows per block: a block of the design (256 KB) stays in the second-level cache while the
// Gram kernel and the products with y read it.
template <class T>
std::size_t BlockRows(std::size_t p) {
  return std::max<std::size_t>(64, (256 * 1024) / (sizeof(T) * std::max<std::size_t>(p, 1)));
}
// Corrections allowed before the design counts as too ill-conditioned for this path.
constexpr int kMaxSteps = 3;
// Designs narrower than this have their Gram matrix summed in place (the core's product pays
// a set-up that only wide designs repay).
constexpr std::size_t kNarrow = 6;

// Largest 1-norm condition number of the equilibrated factor accepted. Rounding in the Gram
// matrix perturbs V = (M^T M)^-1 by about kappa^2 u relative to V: at most 2e-10 in double,
// and at most 1e-5 in single, whose data the Gram kernel sums in single.
template <class T>
double ConditionLimit() {
  const double u = std::numeric_limits<T>::epsilon();
  return std::min(1e3, std::sqrt(1e-5 / u));
}

template <class T>
using RowMatT = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
template <class T>
using VecT = Eigen::Matrix<T, Eigen::Dynamic, 1>;

template <class T>
struct TDesign {
  const T* a;  // n x p, row-major
  const T* y;
  const T* w;  // nullptr: unit weights
  std::size_t n, p;
  bool constant;
  Eigen::Index Off() const { return constant ? 1 : 0; }
  Eigen::Index Q() const { return static_cast<Eigen::Index>(p) + Off(); }
};

// ---------------------------------------------------------------- row kernels
// The passes over the data are bound by memory bandwidth only if their arithmetic runs on
// wide vectors: a portable x86-64 build has SSE2 alone, so each kernel is also compiled for
// AVX2 and AVX-512 and chosen at load time. Sums keep a fixed order (no reassociation), so
// every clone gives the same digits.
#if defined(__GNUC__) && defined(__x86_64__) && defined(__ELF__) && !defined(__SANITIZE_ADDRESS__)
#define KALIX_WIDE_CLONES __attribute__((target_clones("avx512f", "avx2", "default")))
#else
#define KALIX_WIDE_CLONES
#endif

// su += A^T u and sv += A^T v over the rows of a block of A (row-major, p columns).
template <class T>
[[gnu::always_inline]] inline void ColumnProductsBody(const T* __restrict a, std::size_t rows, std::size_t p,
                                                      const T* __restrict u, const T* __restrict v,
                                                      double* __restrict su, double* __restrict sv) {
  for (std::size_t r = 0; r < rows; ++r) {
    const double ur = static_cast<double>(u[r]), vr = static_cast<double>(v[r]);
    const T* row = a + r * p;
    for (std::size_t j = 0; j < p; ++j) {
      const double x = static_cast<double>(row[j]);
      su[j] += ur * x;
      sv[j] += vr * x;
    }
  }
}

// Row r of A times beta, with eight partial sums in a fixed order.
template <class T>
[[gnu::always_inline]] inline double RowDot(const T* __restrict row, const double* __restrict beta, std::size_t p) {
  double t[8] = {};
  std::size_t j = 0;
  for (; j + 8 <= p; j += 8)
    for (std::size_t k = 0; k < 8; ++k) t[k] += beta[j + k] * static_cast<double>(row[j + k]);
  double f = ((t[0] + t[4]) + (t[1] + t[5])) + ((t[2] + t[6]) + (t[3] + t[7]));
  for (; j < p; ++j) f += beta[j] * static_cast<double>(row[j]);
  return f;
}

// h += A^T e with e = w (y - b0 - A beta) over a block of rows; returns sum e.
template <class T>
[[gnu::always_inline]] inline double ResidualBody(const T* __restrict a, const T* __restrict y, const T* __restrict w,
                                                  std::size_t rows, std::size_t p, double b0,
                                                  const double* __restrict beta, double* __restrict h) {
  double se = 0.0;
  for (std::size_t r = 0; r < rows; ++r) {
    const T* row = a + r * p;
    double e = static_cast<double>(y[r]) - (b0 + RowDot(row, beta, p));
    if (w) e *= static_cast<double>(w[r]);
    for (std::size_t j = 0; j < p; ++j) h[j] += e * static_cast<double>(row[j]);
    se += e;
  }
  return se;
}

// f = b0 + A beta over a block of rows.
template <class T>
[[gnu::always_inline]] inline void FittedBody(const T* __restrict a, std::size_t rows, std::size_t p, double b0,
                                              const double* __restrict beta, T* __restrict f) {
  for (std::size_t r = 0; r < rows; ++r) f[r] = static_cast<T>(b0 + RowDot(a + r * p, beta, p));
}

KALIX_WIDE_CLONES void ColumnProducts(const double* a, std::size_t rows, std::size_t p, const double* u,
                                      const double* v, double* su, double* sv) {
  ColumnProductsBody(a, rows, p, u, v, su, sv);
}
KALIX_WIDE_CLONES void ColumnProducts(const float* a, std::size_t rows, std::size_t p, const float* u,
                                      const float* v, double* su, double* sv) {
  ColumnProductsBody(a, rows, p, u, v, su, sv);
}
KALIX_WIDE_CLONES double Residual(const double* a, const double* y, const double* w, std::size_t rows, std::size_t p,
                                  double b0, const double* beta, double* h) {
  return ResidualBody(a, y, w, rows, p, b0, beta, h);
}
KALIX_WIDE_CLONES double Residual(const float* a, const float* y, const float* w, std::size_t rows, std::size_t p,
                                  double b0, const double* beta, double* h) {
  return ResidualBody(a, y, w, rows, p, b0, beta, h);
}
KALIX_WIDE_CLONES void Fitted(const double* a, std::size_t rows, std::size_t p, double b0, const double* beta,
                              double* f) {
  FittedBody(a, rows, p, b0, beta, f);
}
KALIX_WIDE_CLONES void Fitted(const float* a, std::size_t rows, std::size_t p, double b0, const double* beta,
                              float* f) {
  FittedBody(a, rows, p, b0, beta, f);
}

// ---------------------------------------------------------------- passes

// G = M^T W M and c = M^T W y, constant first, by blocks of rows: the Gram kernel sums each
// block of sqrt(w)-scaled rows in the data's precision, and the block sums are added in double
// (two-level summation). The constant's row and M^T W y are taken from the block while it is
// in cache, so the data are read from memory once and [1 | A] is never formed. Rounding here
// only shapes the preconditioner and the first iterate: the refinement's residuals are exact
// to double.
template <class T, int MaxQ>
void FormNormal(const TDesign<T>& d, MatQ<MaxQ>& G, VecQ<MaxQ>& c) {
  const auto p = static_cast<Eigen::Index>(d.p), off = d.Off(), q = d.Q();
  G.setZero(q, q);
  c.setZero(q);
  const std::size_t nb = std::min(BlockRows<T>(d.p), d.n);
  TMtxScratch blk, gb;
  TVecScratch zbuf;  // sqrt(w) and sqrt(w) * y of a block (ones and y without weights)
  zbuf->Size(static_cast<int>(2 * nb), PrecisionOf<T>());
  T* z = zbuf->Span<T>().data();
  T* zy = z + nb;
  if (!d.w) std::fill_n(z, nb, T(1));
  VecQ<MaxQ> su(p), sv(p);
  for (std::size_t r0 = 0; r0 < d.n; r0 += nb) {
    const std::size_t rows = std::min(nb, d.n - r0);
    const T* y = d.y + r0;
    if (d.w) {
      for (std::size_t i = 0; i < rows; ++i) {
        z[i] = std::sqrt(d.w[r0 + i]);
        zy[i] = z[i] * y[i];
      }
      y = zy;
    }
    if (d.constant) {
      double sw = 0.0, swy = 0.0;
      for (std::size_t i = 0; i < rows; ++i) {
        sw += static_cast<double>(z[i]) * static_cast<double>(z[i]);
        swy += static_cast<double>(z[i]) * static_cast<double>(y[i]);
      }
      G(0, 0) += sw;
      c(0) += swy;
    }
    if (p == 0) continue;
    blk->Size(static_cast<int>(rows), static_cast<int>(p), PrecisionOf<T>());
    T* b = blk->Span<T>().data();
    const T* src = d.a + r0 * d.p;
    if (d.w) {
      for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t j = 0; j < d.p; ++j) b[i * d.p + j] = z[i] * src[i * d.p + j];
    } else {
      std::copy_n(src, rows * d.p, b);
    }
    if (d.p < kNarrow) {
      // A few products per row: summed here in double, without the product's set-up.
      double g[kNarrow * kNarrow] = {};
      for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t j = 0; j < d.p; ++j)
          for (std::size_t k = j; k < d.p; ++k)
            g[j * kNarrow + k] += static_cast<double>(b[i * d.p + j]) * static_cast<double>(b[i * d.p + k]);
      for (std::size_t j = 0; j < d.p; ++j)
        for (std::size_t k = j; k < d.p; ++k)
          G(off + static_cast<Eigen::Index>(j), off + static_cast<Eigen::Index>(k)) += g[j * kNarrow + k];
    } else {
      Mul(*gb, *blk, *blk, opTrans);
      G.block(off, off, p, p) += Eigen::Map<const RowMatT<T>>(gb->Span<T>().data(), p, p).template cast<double>();
    }
    su.setZero();
    sv.setZero();
    ColumnProducts(b, rows, d.p, y, z, su.data(), sv.data());
    c.segment(off, p) += su;
    if (d.constant) G.block(0, 1, 1, p) += sv.transpose();
  }
  G.template triangularView<Eigen::StrictlyLower>() = G.transpose();
}

// h = M^T W (y - M x), the residual formed from the data in double; each block's sums are
// added to the total (two-level summation).
template <class T, int MaxQ>
void NormalResidual(const TDesign<T>& d, const VecQ<MaxQ>& x, VecQ<MaxQ>& h) {
  const auto p = static_cast<Eigen::Index>(d.p), off = d.Off();
  h.setZero(d.Q());
  VecQ<MaxQ> hb(p);
  const double b0 = d.constant ? x(0) : 0.0;
  const std::size_t nb = BlockRows<T>(d.p);
  for (std::size_t r0 = 0; r0 < d.n; r0 += nb) {
    const std::size_t rows = std::min(nb, d.n - r0);
    hb.setZero();
    const double se = Residual(d.a + r0 * d.p, d.y + r0, d.w ? d.w + r0 : nullptr, rows, d.p, b0,
                               x.data() + off, hb.data());
    if (d.constant) h(0) += se;
    h.segment(off, p) += hb;
  }
}

// 1-norm condition number of an upper-triangular factor from its explicit inverse (cheap
// beside the pass over the data for the few columns of a regression).
// Inverse of an upper-triangular matrix by back substitution, column by column.
template <class M>
M UpperInverse(const M& U) {
  const Eigen::Index q = U.rows();
  M inv = M::Zero(q, q);
  for (Eigen::Index j = 0; j < q; ++j) {
    inv(j, j) = 1.0 / U(j, j);
    for (Eigen::Index back = 1; back <= j; ++back) {
      const Eigen::Index i = j - back;
      double acc = 0.0;
      for (Eigen::Index k = i + 1; k <= j; ++k) acc += U(i, k) * inv(k, j);
      inv(i, j) = -acc / U(i, i);
    }
  }
  return inv;
}

template <class M>
double Condition1(const M& U, const M& Uinv) {
  return U.cwiseAbs().colwise().sum().maxCoeff() * Uinv.cwiseAbs().colwise().sum().maxCoeff();
}

template <class T, int MaxQ>
bool Solve(const TDesign<T>& d, TVec& B, TVec* YCalc, TMtx* V) {
  const Eigen::Index q = d.Q();
  MatQ<MaxQ> G;
  VecQ<MaxQ> c;
  FormNormal<T, MaxQ>(d, G, c);
  if (!G.allFinite() || !c.allFinite()) return false;
  // Equilibration: the condition of the scaled Gram matrix, not the regressors' units,
  // decides the path.
  VecQ<MaxQ> s(q);
  for (Eigen::Index j = 0; j < q; ++j) {
    if (!(G(j, j) > 0.0)) return false;
    s(j) = 1.0 / std::sqrt(G(j, j));
  }
  const MatQ<MaxQ> Gs = s.asDiagonal() * G * s.asDiagonal();
  const Eigen::LLT<MatQ<MaxQ>, Eigen::Upper> llt(Gs);
  if (llt.info() != Eigen::Success) return false;
  const MatQ<MaxQ> U = llt.matrixU();
  const MatQ<MaxQ> Uinv = UpperInverse(U);
  const double kappa = Condition1(U, Uinv);
  if (!(kappa <= ConditionLimit<T>())) return false;

  // x = S U^-1 U^-T S rhs by the explicit inverse: for the few unknowns of a regression two
  // triangular products cost less than the solver's set-up, and the refinement absorbs the
  // difference in rounding.
  auto solve = [&](const VecQ<MaxQ>& rhs) -> VecQ<MaxQ> {
    VecQ<MaxQ> t(q), out(q);
    for (Eigen::Index i = 0; i < q; ++i) {
      double acc = 0.0;
      for (Eigen::Index k = 0; k <= i; ++k) acc += Uinv(k, i) * s(k) * rhs(k);
      t(i) = acc;
    }
    for (Eigen::Index i = 0; i < q; ++i) {
      double acc = 0.0;
      for (Eigen::Index k = i; k < q; ++k) acc += Uinv(i, k) * t(k);
      out(i) = s(i) * acc;
    }
    return out;
  };
  VecQ<MaxQ> x = solve(c), h;
  // After a correction dx the error left is about kappa^2 u |dx|; stop once that is below the
  // data's resolution (compared in the equilibrated unknowns x / s).
  const double u = std::numeric_limits<T>::epsilon();
  for (int step = 0;; ++step) {
    if (step == kMaxSteps) return false;
    NormalResidual<T, MaxQ>(d, x, h);
    const VecQ<MaxQ> dx = solve(h);
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
    Fitted(d.a, d.n, d.p, d.constant ? x(0) : 0.0, x.data() + d.Off(), YCalc->Span<T>().data());
  }
  if (V) {
    const MatQ<MaxQ> v = s.asDiagonal() * (Uinv * Uinv.transpose()) * s.asDiagonal();
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
    return q <= kSmallQ ? Solve<T, kSmallQ>(d, B, YCalc, V) : Solve<T, Eigen::Dynamic>(d, B, YCalc, V);
  });
}

}  // namespace Regress::detail
