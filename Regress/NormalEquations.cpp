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
// on the heap. The fewest unknowns (Q = 2..kFixedQ) get fixed-size matrices, which the
// compiler unrolls: for a short series the factorisation would otherwise cost more than the
// pass over the data.
template <int Q, int MaxQ = Q>
using MatQ = Eigen::Matrix<double, Q, Q, Eigen::ColMajor, MaxQ, MaxQ>;
template <int Q, int MaxQ = Q>
using VecQ = Eigen::Matrix<double, Q, 1, Eigen::ColMajor, MaxQ, 1>;
// A vector of at most MaxQ entries whose length is known only at run time (the regressors
// without the constant).
template <int MaxQ>
using VecUpTo = Eigen::Matrix<double, Eigen::Dynamic, 1, Eigen::ColMajor, MaxQ, 1>;
constexpr int kSmallQ = 8, kFixedQ = 4;

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
template <class T, int Q, int MaxQ>
void FormNormalWide(const TDesign<T>& d, MatQ<Q, MaxQ>& G, VecQ<Q, MaxQ>& c) {
  const auto p = static_cast<Eigen::Index>(d.p), off = d.Off();
  const std::size_t nb = std::min(BlockRows<T>(d.p), d.n);
  TMtxScratch blk, gb;
  TVecScratch zbuf;  // sqrt(w) and sqrt(w) * y of a block (ones and y without weights)
  zbuf->Size(static_cast<int>(2 * nb), PrecisionOf<T>());
  T* z = zbuf->Span<T>().data();
  T* zy = z + nb;
  if (!d.w) std::fill_n(z, nb, T(1));
  VecUpTo<MaxQ> su(p), sv(p);
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
    Mul(*gb, *blk, *blk, opTrans);
    G.block(off, off, p, p) += Eigen::Map<const RowMatT<T>>(gb->Span<T>().data(), p, p).template cast<double>();
    su.setZero();
    sv.setZero();
    ColumnProducts(b, rows, d.p, y, z, su.data(), sv.data());
    c.segment(off, p) += su;
    if (d.constant) G.block(0, 1, 1, p) += sv.transpose();
  }
}

// The same for a narrow design (fewer than kNarrow regressors): each row's few products are
// summed in double straight from the data in one pass, block by block, with neither a copy of
// the block nor the product kernel's set-up, which only wide designs repay. Row m = sqrt(w) [1 | a].
// A fixed Q and Off (1 with the constant, 0 without; -1: read from d) let the compiler unroll
// a row's products and keep the sums in registers.
template <class T, int Q, int MaxQ, int Off>
void FormNormalNarrow(const TDesign<T>& d, MatQ<Q, MaxQ>& G, VecQ<Q, MaxQ>& c) {
  constexpr std::size_t kQ = Q == Eigen::Dynamic ? kNarrow + 1 : static_cast<std::size_t>(Q);
  const std::size_t q = Q == Eigen::Dynamic ? static_cast<std::size_t>(d.Q()) : static_cast<std::size_t>(Q);
  const std::size_t off = Off >= 0 ? static_cast<std::size_t>(Off) : d.constant ? 1 : 0;
  const std::size_t p = q - off, nb = BlockRows<T>(p);
  // A fixed system sums the whole square (a row of it is a few vector lanes, so the sums stay
  // in registers); the lower half is dropped below, as the triangle's own sums are the same.
  const bool square = Q != Eigen::Dynamic;
  const T *a = d.a, *y = d.y, *w = d.w;
  for (std::size_t r0 = 0; r0 < d.n; r0 += nb) {
    const std::size_t end = std::min(d.n, r0 + nb);
    double g[kQ * kQ] = {}, cb[kQ] = {};
    for (std::size_t i = r0; i < end; ++i) {
      const double z = w ? std::sqrt(static_cast<double>(w[i])) : 1.0;
      double m[kQ];
      m[0] = z;
      for (std::size_t j = off; j < q; ++j) m[j] = z * static_cast<double>(a[i * p + j - off]);
      const double zy = z * static_cast<double>(y[i]);
      for (std::size_t j = 0; j < q; ++j) {
        cb[j] += m[j] * zy;
        for (std::size_t k = square ? 0 : j; k < q; ++k) g[j * kQ + k] += m[j] * m[k];
      }
    }
    for (std::size_t j = 0; j < q; ++j) {
      const auto jj = static_cast<Eigen::Index>(j);
      c(jj) += cb[j];
      for (std::size_t k = j; k < q; ++k) G(jj, static_cast<Eigen::Index>(k)) += g[j * kQ + k];
    }
  }
}

template <class T, int Q, int MaxQ>
void FormNormal(const TDesign<T>& d, MatQ<Q, MaxQ>& G, VecQ<Q, MaxQ>& c) {
  const Eigen::Index q = d.Q();
  G.setZero(q, q);
  c.setZero(q);
  if constexpr (Q != Eigen::Dynamic) {
    static_assert(Q <= static_cast<int>(kNarrow), "a fixed-size system is always narrow");
    if (d.constant)
      FormNormalNarrow<T, Q, MaxQ, 1>(d, G, c);
    else
      FormNormalNarrow<T, Q, MaxQ, 0>(d, G, c);
  } else {
    if (d.p < kNarrow)
      FormNormalNarrow<T, Q, MaxQ, -1>(d, G, c);
    else
      FormNormalWide<T, Q, MaxQ>(d, G, c);
  }
  G.template triangularView<Eigen::StrictlyLower>() = G.transpose();
}

// h = M^T W (y - M x), the residual formed from the data in double; each block's sums are
// added to the total (two-level summation).
// The same for a fixed number of unknowns, inline and unrolled, with Residual's arithmetic in
// Residual's order (so both give the same digits).
template <class T, int Q, int Off>
void NarrowResidual(const TDesign<T>& d, const double* x, double* h) {
  constexpr std::size_t P = Q - Off;
  const double b0 = Off ? x[0] : 0.0;
  const std::size_t nb = BlockRows<T>(P);
  std::fill_n(h, Q, 0.0);
  for (std::size_t r0 = 0; r0 < d.n; r0 += nb) {
    const std::size_t end = std::min(d.n, r0 + nb);
    double hb[Q] = {};
    for (std::size_t i = r0; i < end; ++i) {
      const T* row = d.a + i * P;
      double f = 0.0;
      for (std::size_t j = 0; j < P; ++j) f += x[Off + j] * static_cast<double>(row[j]);
      double e = static_cast<double>(d.y[i]) - (b0 + f);
      if (d.w) e *= static_cast<double>(d.w[i]);
      for (std::size_t j = 0; j < P; ++j) hb[Off + j] += e * static_cast<double>(row[j]);
      if constexpr (Off == 1) hb[0] += e;
    }
    for (std::size_t j = 0; j < static_cast<std::size_t>(Q); ++j) h[j] += hb[j];
  }
}

template <class T, int Q, int MaxQ>
void NormalResidual(const TDesign<T>& d, const VecQ<Q, MaxQ>& x, VecQ<Q, MaxQ>& h) {
  if constexpr (Q != Eigen::Dynamic) {
    h.setZero();
    if (d.constant)
      NarrowResidual<T, Q, 1>(d, x.data(), h.data());
    else
      NarrowResidual<T, Q, 0>(d, x.data(), h.data());
    return;
  }
  const auto p = static_cast<Eigen::Index>(d.p), off = d.Off();
  h.setZero(d.Q());
  VecUpTo<MaxQ> hb(p);
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
      inv(i, j) = -acc * inv(i, i);  // the reciprocal of U(i, i), formed at column i
    }
  }
  return inv;
}

// Upper Cholesky factor U (U^T U = A) of a matrix of a few rows, column by column (Golub and
// Van Loan, Matrix Computations, 4th ed., algorithm 4.2.1); false unless A is positive definite.
// With the size known at compile time the loops unroll: for a 4 x 4 system this costs a
// fraction of the general factorisation's set-up.
template <class M>
bool SmallCholesky(const M& A, M& U) {
  const Eigen::Index q = A.rows();
  U.setZero(q, q);
  for (Eigen::Index j = 0; j < q; ++j) {
    double dj = A(j, j);
    for (Eigen::Index k = 0; k < j; ++k) dj -= U(k, j) * U(k, j);
    if (!(dj > 0.0)) return false;
    U(j, j) = std::sqrt(dj);
    const double r = 1.0 / U(j, j);
    for (Eigen::Index i = j + 1; i < q; ++i) {
      double sji = A(j, i);
      for (Eigen::Index k = 0; k < j; ++k) sji -= U(k, j) * U(k, i);
      U(j, i) = sji * r;
    }
  }
  return true;
}

template <class M>
double Condition1(const M& U, const M& Uinv) {
  return U.cwiseAbs().colwise().sum().maxCoeff() * Uinv.cwiseAbs().colwise().sum().maxCoeff();
}

template <class T, int Q, int MaxQ>
bool Solve(const TDesign<T>& d, TVec& B, TVec* YCalc, TMtx* V) {
  const Eigen::Index q = d.Q();
  using Mat = MatQ<Q, MaxQ>;
  using Vec = VecQ<Q, MaxQ>;
  Mat G;
  Vec c;
  FormNormal<T, Q, MaxQ>(d, G, c);
  if (!G.allFinite() || !c.allFinite()) return false;
  // Equilibration: the condition of the scaled Gram matrix, not the regressors' units,
  // decides the path.
  Vec s = Vec::Zero(q);
  for (Eigen::Index j = 0; j < q; ++j) {
    if (!(G(j, j) > 0.0)) return false;
    s(j) = 1.0 / std::sqrt(G(j, j));
  }
  const Mat Gs = s.asDiagonal() * G * s.asDiagonal();
  Mat U;
  if constexpr (Q != Eigen::Dynamic) {
    if (!SmallCholesky(Gs, U)) return false;
  } else {
    const Eigen::LLT<Mat, Eigen::Upper> llt(Gs);
    if (llt.info() != Eigen::Success) return false;
    U = llt.matrixU();
  }
  const Mat Uinv = UpperInverse(U);
  const double kappa = Condition1(U, Uinv);
  if (!(kappa <= ConditionLimit<T>())) return false;

  // x = S U^-1 U^-T S rhs by the explicit inverse: for the few unknowns of a regression two
  // triangular products cost less than the solver's set-up, and the refinement absorbs the
  // difference in rounding.
  auto solve = [&](const Vec& rhs) -> Vec {
    Vec t = Vec::Zero(q), out = Vec::Zero(q);
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
  Vec x = solve(c), h;
  // After a correction dx the error left is about kappa^2 u |dx|; stop once that is below the
  // data's resolution (compared in the equilibrated unknowns x / s).
  const double u = std::numeric_limits<T>::epsilon();
  for (int step = 0;; ++step) {
    if (step == kMaxSteps) return false;
    NormalResidual<T, Q, MaxQ>(d, x, h);
    const Vec dx = solve(h);
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
    const Mat v = s.asDiagonal() * (Uinv * Uinv.transpose()) * s.asDiagonal();
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
    switch (q) {
      case 2: return Solve<T, 2, 2>(d, B, YCalc, V);
      case 3: return Solve<T, 3, 3>(d, B, YCalc, V);
      case kFixedQ: return Solve<T, kFixedQ, kFixedQ>(d, B, YCalc, V);
      default:
        return q <= kSmallQ ? Solve<T, Eigen::Dynamic, kSmallQ>(d, B, YCalc, V)
                            : Solve<T, Eigen::Dynamic, Eigen::Dynamic>(d, B, YCalc, V);
    }
  });
}

}  // namespace Regress::detail
