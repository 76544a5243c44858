// Pairwise distances between the rows of one matrix or of two.
//
// The coordinate metrics are summed from the differences themselves, not from the expansion
// |x|^2 + |y|^2 - 2 x'y: the expansion is faster but cancels catastrophically for close points
// (two rows 1e-8 apart at magnitude 1 lose every digit). The second operand is transposed into
// a zero-padded p x m buffer, so a register tile of MI rows of X against NJ columns reads each
// vector of the buffer once for MI rows; the portable x86-64 build only has SSE2, so the tile
// is also compiled for AVX2 and AVX-512 and chosen at run time. The file is compiled with
// -fno-math-errno (errno is never read) so the square roots vectorise as well.
// Mahalanobis distances are Euclidean distances of the whitened rows L^-1 x (S = L L');
// correlation and cosine distances are 1 - inner products of centred / scaled rows.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

#include <Eigen/Cholesky>

#include "Statistics/Statistics.h"
#include "core/detail/EigenMap.h"

namespace Statistics {

using namespace Kalix;

namespace {

using Index = std::ptrdiff_t;
using Kalix::detail::Map;
using Kalix::detail::RowMat;

// ---------------------------------------------------------------- coordinate metrics

// Accumulation of one coordinate difference d into acc, for each metric summed by tiles.
enum class TAcc { Square, Abs, Max };

template <TAcc A, class V>
[[gnu::always_inline]] inline void Accumulate(V& acc, const V& d) {
  if constexpr (A == TAcc::Square) {
    acc += d * d;
  } else {
    const V a = d < 0 ? -d : d;
    if constexpr (A == TAcc::Abs)
      acc += a;
    else
      acc = a > acc ? a : acc;  // NaNs are restored afterwards from the rows' NaN flags
  }
}

template <class T>
struct TDistJob {
  const T* X;   // rows of X, padded with zero rows to a multiple of the row tile: nPad x p
  Index n, p;   // rows of X, coordinates
  const T* Yt;  // second operand transposed: p x mPad, zero-padded
  Index m, mPad;
  bool upper;   // one matrix: only j > i is needed
  T* D;         // n x m
};

// D(i, j) for the tiles of rows [i0, i0 + MI) against all (or the upper) columns.
template <class T, int VB, int MI, int NV, TAcc A>
[[gnu::always_inline]] inline void DistRows(const TDistJob<T>& j) {
  typedef T V __attribute__((vector_size(VB)));
  constexpr Index W = VB / static_cast<Index>(sizeof(T)), NJ = NV * W;
  for (Index i0 = 0; i0 < j.n; i0 += MI) {
    const Index jStart = j.upper ? i0 / NJ * NJ : 0;
    for (Index j0 = jStart; j0 < j.mPad; j0 += NJ) {
      V acc[MI][NV] = {};
      for (Index k = 0; k < j.p; ++k) {
        V y[NV];
        for (int q = 0; q < NV; ++q) std::memcpy(&y[q], j.Yt + k * j.mPad + j0 + q * W, sizeof(V));
        for (int i = 0; i < MI; ++i) {
          const T x = j.X[(i0 + i) * j.p + k];
          for (int q = 0; q < NV; ++q) {
            const V diff = x - y[q];
            Accumulate<A>(acc[i][q], diff);
          }
        }
      }
      T out[MI][NJ];
      std::memcpy(out, acc, sizeof(out));
      const Index jEnd = std::min(j0 + NJ, j.m);
      for (int i = 0; i < MI && i0 + i < j.n; ++i) {
        T* d = j.D + (i0 + i) * j.m;
        for (Index c = std::max(j0, j.upper ? i0 + i + 1 : 0); c < jEnd; ++c) d[c] = out[i][c - j0];
      }
    }
  }
}

#if defined(__GNUC__) && defined(__x86_64__) && defined(__ELF__)
#define KALIX_DIST_DISPATCH 1
template <class T, TAcc A>
[[gnu::target("avx512f")]] void DistAvx512(const TDistJob<T>& j) {
  DistRows<T, 64, 4, 2, A>(j);
}
template <class T, TAcc A>
[[gnu::target("avx2,fma")]] void DistAvx2(const TDistJob<T>& j) {
  DistRows<T, 32, 4, 2, A>(j);
}
#endif

template <class T, TAcc A>
void RunTiles(const TDistJob<T>& j) {
#ifdef KALIX_DIST_DISPATCH
  if (__builtin_cpu_supports("avx512f")) return DistAvx512<T, A>(j);
  if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) return DistAvx2<T, A>(j);
#endif
  DistRows<T, 16, 4, 2, A>(j);
}

// Widest tile width in elements (two AVX-512 vectors), which every narrower tile divides.
template <class T>
constexpr Index kPad = 128 / static_cast<Index>(sizeof(T));
constexpr Index kRowTile = 4;

// Square roots of the written part of D (the upper triangle for one matrix).
template <class T>
void SqrtAll(T* D, Index n, Index m, bool upper) {
  for (Index i = 0; i < n; ++i) {
    T* d = D + i * m;
    for (Index c = upper ? i + 1 : 0; c < m; ++c) d[c] = std::sqrt(d[c]);
  }
}

// Sum of |x - y|^P, then its 1/P-th power: no tile (the power dominates the cost).
template <class T>
void Minkowski(const T* X, Index n, const T* Y, Index m, Index p, bool upper, T P, T* D) {
  const T inv = T(1) / P;
  for (Index i = 0; i < n; ++i)
    for (Index c = upper ? i + 1 : 0; c < m; ++c) {
      T s = 0;
      for (Index k = 0; k < p; ++k) s += std::pow(std::abs(X[i * p + k] - Y[c * p + k]), P);
      D[i * m + c] = std::pow(s, inv);
    }
}

// Coordinate metrics of the rows of X against the rows of Y (Y == X: upper triangle only).
template <class T>
void CoordinateKernel(const TMtx& X, const TMtx& Y, bool upper, TDistanceMetric Metric, T P, TMtx& D) {
  const Index n = X.Rows(), m = Y.Rows(), p = X.Cols();
  T* d = D.Span<T>().data();
  const T* x = X.Span<T>().data();
  const T* y = Y.Span<T>().data();
  if (Metric == dmMinkowski) return Minkowski<T>(x, n, y, m, p, upper, P, d);
  const Index nPad = (n + kRowTile - 1) / kRowTile * kRowTile;
  const Index mPad = std::max<Index>(kPad<T>, (m + kPad<T> - 1) / kPad<T> * kPad<T>);
  TMtxScratch xs, yt;
  xs->Size(static_cast<int>(nPad), static_cast<int>(std::max<Index>(p, 1)), PrecisionOf<T>());
  yt->Size(static_cast<int>(std::max<Index>(p, 1)), static_cast<int>(mPad), PrecisionOf<T>());
  yt->SetZero();
  T* xp = xs->Span<T>().data();
  T* ytp = yt->Span<T>().data();
  std::copy_n(x, n * p, xp);
  std::fill(xp + n * p, xp + nPad * p, T(0));
  for (Index r = 0; r < m; ++r)
    for (Index k = 0; k < p; ++k) ytp[k * mPad + r] = y[r * p + k];
  const TDistJob<T> job{xp, n, p, ytp, m, mPad, upper, d};
  switch (Metric) {
    case dmCityBlock: RunTiles<T, TAcc::Abs>(job); break;
    case dmChebyshev: RunTiles<T, TAcc::Max>(job); break;
    default: RunTiles<T, TAcc::Square>(job);
  }
  if (Metric == dmEuclidean || Metric == dmMahalanobis) SqrtAll<T>(d, n, m, upper);
}

// ---------------------------------------------------------------- inner-product metrics

// Rows of A centred (correlation) and scaled to unit length into Z; a constant or zero row
// gives NaN, as its correlation is undefined.
template <class T>
void UnitRows(const TMtx& A, bool centre, TMtx& Z) {
  Z.Size(A.Rows(), A.Cols(), PrecisionOf<T>());
  const Index p = A.Cols();
  const auto a = A.Span<T>();
  auto z = Z.Span<T>();
  for (Index i = 0; i < A.Rows(); ++i) {
    const T* r = a.data() + i * p;
    T* o = z.data() + i * p;
    T mean = 0;
    if (centre) {
      for (Index k = 0; k < p; ++k) mean += r[k];
      mean /= static_cast<T>(p);
    }
    T ss = 0;
    for (Index k = 0; k < p; ++k) ss += (r[k] - mean) * (r[k] - mean);
    const T inv = T(1) / std::sqrt(ss);
    for (Index k = 0; k < p; ++k) o[k] = (r[k] - mean) * inv;
  }
}

template <class T>
void InnerKernel(const TMtx& X, const TMtx& Y, bool same, TDistanceMetric Metric, TMtx& D) {
  const bool centre = Metric == dmCorrelation;
  TMtxScratch zx, zy;
  UnitRows<T>(X, centre, *zx);
  if (same) {
    Mul(D, *zx, *zx, opNone, opTrans);  // symmetric rank update
  } else {
    UnitRows<T>(Y, centre, *zy);
    Mul(D, *zx, *zy, opNone, opTrans);
  }
  for (T& v : D.Span<T>()) v = T(1) - v;
  if (same)
    for (Index i = 0; i < X.Rows(); ++i)
      if (std::isfinite(D.Span<T>()[std::size_t(i * X.Rows() + i)])) D.Span<T>()[std::size_t(i * X.Rows() + i)] = 0;
}

// ---------------------------------------------------------------- Mahalanobis

// Whitened rows: Z = X L^-T with Cov = L L'. Cov is the given matrix or the covariance of the
// rows of X (and Y) together.
template <class T>
void Whiten(const TMtx& Cov, const TMtx& X, TMtx& Z) {
  const Index p = Cov.Rows();
  const auto c = Map<T>(Cov);
  Eigen::LLT<RowMat<T>> llt(c);
  // A non-positive pivot, or one below the rounding level of its diagonal element, means the
  // covariance is singular at working precision.
  bool singular = llt.info() != Eigen::Success;
  if (!singular) {
    const RowMat<T> L = llt.matrixL();
    for (Index k = 0; k < p; ++k)
      if (!(L(k, k) * L(k, k) > T(p) * std::numeric_limits<T>::epsilon() * c(k, k))) singular = true;
  }
  if (singular) ERaise("PairwiseDistance: covariance matrix is singular");
  Z.Size(X.Rows(), X.Cols(), PrecisionOf<T>());
  auto z = Map<T>(Z);
  z = llt.matrixL().solve(Map<T>(X).transpose()).transpose();
}

bool HasNaN(const TMtx& A, std::vector<char>& rowNaN) {
  return WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    const auto a = A.Span<T>();
    const Index p = A.Cols();
    rowNaN.assign(static_cast<std::size_t>(A.Rows()), 0);
    bool any = false;
    for (Index i = 0; i < A.Rows(); ++i)
      for (Index k = 0; k < p; ++k)
        if (std::isnan(a[std::size_t(i * p + k)])) {
          rowNaN[std::size_t(i)] = 1;
          any = true;
          break;
        }
    return any;
  });
}

template <class T>
void Compute(const TMtx& X, const TMtx& Y, bool same, TDistanceMetric Metric, double P, const TMtx* Cov,
             TMtx& D) {
  const Index n = X.Rows(), m = Y.Rows();
  if (Metric == dmCorrelation || Metric == dmCosine) return InnerKernel<T>(X, Y, same, Metric, D);
  D.Size(static_cast<int>(n), static_cast<int>(m), PrecisionOf<T>());
  TMtxScratch zx, zy, est;
  const TMtx* a = &X;
  const TMtx* b = &Y;
  if (Metric == dmMahalanobis) {
    if (Cov == nullptr) {
      if (same) {
        Covariance(X, *est);
      } else {
        TMtxScratch both;
        both->Size(static_cast<int>(n + m), X.Cols(), PrecisionOf<T>());
        auto s = both->Span<T>();
        std::copy(X.Span<T>().begin(), X.Span<T>().end(), s.begin());
        std::copy(Y.Span<T>().begin(), Y.Span<T>().end(), s.begin() + n * X.Cols());
        Covariance(*both, *est);
      }
      Cov = &*est;
    }
    // Whitening a NaN row would poison only that row; a NaN covariance cannot be whitened.
    bool finite = true;
    for (T v : Cov->Span<T>()) finite = finite && std::isfinite(v);
    if (!finite) {
      D.SetVal(NAN);
      return;
    }
    Whiten<T>(*Cov, X, *zx);
    a = &*zx;
    b = a;
    if (!same) {
      Whiten<T>(*Cov, Y, *zy);
      b = &*zy;
    }
  }
  CoordinateKernel<T>(*a, *b, same, Metric, static_cast<T>(P), D);
  if (same) {
    // Zero diagonal and the lower triangle mirrored, in blocks that stay in cache.
    T* d = D.Span<T>().data();
    constexpr Index B = 64;
    for (Index i0 = 0; i0 < n; i0 += B)
      for (Index j0 = 0; j0 <= i0; j0 += B)
        for (Index i = i0; i < std::min(i0 + B, n); ++i)
          for (Index j = j0; j < std::min({j0 + B, i, n}); ++j) d[i * n + j] = d[j * n + i];
    for (Index i = 0; i < n; ++i) d[i * n + i] = 0;
  }
}

void Distances(const TMtx& X, const TMtx& Y, bool same, TDistanceMetric Metric, double P, const TMtx* Cov,
               TMtx& D) {
  if (Metric < dmEuclidean || Metric > dmCosine) ERaise("PairwiseDistance: Metric out of range");
  if (Metric == dmMinkowski && !(P > 0)) ERaise("PairwiseDistance: P <= 0");
  if (Metric == dmMahalanobis && Cov != nullptr) {
    if (Cov->Rows() != X.Cols() || Cov->Cols() != X.Cols()) ERaise("PairwiseDistance: Cov is not Cols x Cols");
    if (Cov->FloatPrecision() != X.FloatPrecision())
      ERaise("PairwiseDistance: Cov.FloatPrecision <> X.FloatPrecision");
  }
  std::vector<char> nanX, nanY;
  const bool anyNaN = HasNaN(X, nanX) | (!same && HasNaN(Y, nanY));
  WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    // X may be D itself: work from a copy then.
    if (&X == &D || &Y == &D) {
      TMtxScratch xc, yc;
      xc->Copy(X);
      yc->Copy(Y);
      Compute<T>(*xc, same ? *xc : *yc, same, Metric, P, Cov, D);
    } else {
      Compute<T>(X, Y, same, Metric, P, Cov, D);
    }
  });
  if (!anyNaN) return;
  const std::vector<char>& ny = same ? nanX : nanY;
  for (int i = 0; i < D.Rows(); ++i)
    for (int j = 0; j < D.Cols(); ++j)
      if (nanX[std::size_t(i)] || ny[std::size_t(j)]) D(i, j) = NAN;
}

}  // namespace

void PairwiseDistance(const TMtx& X, TMtx& D, TDistanceMetric Metric, double P, const TMtx* Cov) {
  if (X.Complex()) ERaise("PairwiseDistance: X.Complex = true");
  if (Cov != nullptr && Cov->Complex()) ERaise("PairwiseDistance: Cov.Complex = true");
  Distances(X, X, true, Metric, P, Cov, D);
}

void PairwiseDistance(const TMtx& X, const TMtx& Y, TMtx& D, TDistanceMetric Metric, double P, const TMtx* Cov) {
  if (X.Complex()) ERaise("PairwiseDistance: X.Complex = true");
  if (Y.Complex()) ERaise("PairwiseDistance: Y.Complex = true");
  if (Cov != nullptr && Cov->Complex()) ERaise("PairwiseDistance: Cov.Complex = true");
  if (X.Cols() != Y.Cols()) ERaise("PairwiseDistance: X.Cols <> Y.Cols");
  if (X.FloatPrecision() != Y.FloatPrecision()) ERaise("PairwiseDistance: X.FloatPrecision <> Y.FloatPrecision");
  Distances(X, Y, false, Metric, P, Cov, D);
}

}  // namespace Statistics
