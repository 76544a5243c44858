// Principal component analysis of a data matrix, or of a ready covariance or correlation
// matrix: loadings, eigenvalues, variance percentages and component scores.
//
// Which decomposition. The components are the singular vectors of a symmetric p x p matrix,
// so the symmetric eigen-solver gives them directly (|eigenvalues| and eigenvectors are its
// singular values and vectors), at a fraction of the cost of an SVD and orthonormal to
// working precision. In correlation mode the correlation matrix is what the analysis reports
// on anyway, so it is formed by one pass of the fast Gram product and decomposed; its
// eigenvalues carry absolute errors of about eps * p, negligible next to the sum p.
// In covariance mode the Gram product squares the data's condition number: an eigenvalue
// lambda_i keeps only about -log10(eps * lambda_max / lambda_i) digits. So the covariance
// matrix is tried first, and when lambda_max / lambda_min exceeds eps^(-1/3) (about 1.7e5 in
// double, 256 in single) the decomposition is redone as the SVD of the centred data, taken
// through its triangular factor (same singular values and right singular vectors), which
// keeps every eigenvalue to about eps * sqrt(lambda_max / lambda_i) relative accuracy.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

#include "Statistics/Statistics.h"
#include "Statistics/detail/PrincipalComponents.h"

namespace Statistics {

using namespace Kalix;

namespace {

using Index = std::ptrdiff_t;

// ---------------------------------------------------------------- axes

template <class T>
void AxesKernel(const TMtx& S, TMtx& PC, TVec& Eig) {
  const int p = S.Rows();
  TVecScratch values;
  TMtxScratch vectors;
  Kalix::Eig(S, *values, &*vectors);  // ascending eigenvalues
  const auto lam = std::as_const(*values).Span<T>();
  const auto vec = std::as_const(*vectors).Span<T>();
  // Largest magnitude first; a stable sort of the reversed order keeps a positive
  // semi-definite matrix's order as the solver gave it.
  std::vector<int> order(static_cast<std::size_t>(p));
  std::iota(order.rbegin(), order.rend(), 0);
  if (std::all_of(lam.begin(), lam.end(), [](T v) { return std::isfinite(v); }))
    std::stable_sort(order.begin(), order.end(),
                     [&](int a, int b) { return std::abs(lam[std::size_t(a)]) > std::abs(lam[std::size_t(b)]); });
  Eig.Size(p, PrecisionOf<T>());
  PC.Size(p, p, PrecisionOf<T>());
  auto e = Eig.Span<T>();
  auto v = PC.Span<T>();
  const std::size_t n = static_cast<std::size_t>(p);
  for (std::size_t j = 0; j < n; ++j) {
    const std::size_t k = static_cast<std::size_t>(order[j]);
    e[j] = std::abs(lam[k]);
    for (std::size_t i = 0; i < n; ++i) v[i * n + j] = vec[i * n + k];
  }
  detail::NormaliseSigns(PC);
}

template <class T>
void SignKernel(TMtx& PC) {
  const std::size_t rows = static_cast<std::size_t>(PC.Rows()), cols = static_cast<std::size_t>(PC.Cols());
  auto v = PC.Span<T>();
  for (std::size_t j = 0; j < cols; ++j) {
    std::size_t at = 0;
    T best = T(0);
    for (std::size_t i = 0; i < rows; ++i)
      if (std::abs(v[i * cols + j]) > best) {
        best = std::abs(v[i * cols + j]);
        at = i;
      }
    if (rows > 0 && v[at * cols + j] < T(0))
      for (std::size_t i = 0; i < rows; ++i) v[i * cols + j] = -v[i * cols + j];
  }
}

bool IsSymmetric(const TMtx& C) {
  if (C.Complex() || C.Rows() != C.Cols()) return false;
  return WithPrecision(C, [&](auto t) {
    using T = typename decltype(t)::type;
    const auto c = C.Span<T>();
    const std::size_t p = static_cast<std::size_t>(C.Rows());
    for (std::size_t i = 0; i < p; ++i)
      for (std::size_t j = 0; j < i; ++j)
        if (!(c[i * p + j] == c[j * p + i])) return false;
    return true;
  });
}

// ---------------------------------------------------------------- scores
//
// Z = W * PC with W the centred (scaled) data. A block of rows is centred into a buffer that
// stays in cache and multiplied there by a register-tiled kernel; the portable x86-64 build
// only has SSE2, so the kernel is also compiled for AVX2 and AVX-512 and chosen at run time.
// PC is copied once into a buffer whose width is padded to whole tiles.

constexpr Index kScoreBlockRows = 256;  // a multiple of every row tile

// Rows of x (p wide) centred on m and, with inv, multiplied by the reciprocal deviations.
template <class T>
[[gnu::always_inline]] inline void PackRows(const T* x, Index rows, Index p, const T* m, const T* inv, T* B) {
  for (Index r = 0; r < rows; ++r) {
    const T* xr = x + r * p;
    T* br = B + r * p;
    if (inv != nullptr)
      for (Index j = 0; j < p; ++j) br[j] = (xr[j] - m[j]) * inv[j];
    else
      for (Index j = 0; j < p; ++j) br[j] = xr[j] - m[j];
  }
}

// Out (rows x Q) = B (rows x p) * P (p x Q); rows a multiple of MI, Q of the tile width.
template <class T, int VB, int MI, int NV>
[[gnu::always_inline]] inline void MulTiles(const T* B, Index rows, Index p, const T* P, Index Q, T* Out) {
  typedef T V __attribute__((vector_size(VB)));
  constexpr Index W = VB / static_cast<Index>(sizeof(T)), NJ = NV * W;
  for (Index i0 = 0; i0 < rows; i0 += MI) {
    for (Index j0 = 0; j0 < Q; j0 += NJ) {
      V acc[MI][NV] = {};
      for (Index k = 0; k < p; ++k) {
        V v[NV];
        for (int q = 0; q < NV; ++q) std::memcpy(&v[q], P + k * Q + j0 + q * W, sizeof(V));
        for (int i = 0; i < MI; ++i) {
          const T a = B[(i0 + i) * p + k];
          for (int q = 0; q < NV; ++q) acc[i][q] += a * v[q];
        }
      }
      for (int i = 0; i < MI; ++i)
        for (int q = 0; q < NV; ++q) std::memcpy(Out + (i0 + i) * Q + j0 + q * W, &acc[i][q], sizeof(V));
    }
  }
}

template <class T>
struct TScoreJob {
  const T* x;     // data, n x p
  Index n, p, c;  // rows, variables, components
  const T* m;     // means
  const T* inv;   // reciprocal deviations, or null
  const T* P;     // loadings, p x Q
  Index Q;        // padded width
  T* B;           // block buffer, kScoreBlockRows x p
  T* Out;         // block products, kScoreBlockRows x Q
  T* z;           // scores, n x c
};

template <class T, int VB, int MI, int NV>
[[gnu::always_inline]] inline void ScoresTiled(const TScoreJob<T>& j) {
  for (Index r0 = 0; r0 < j.n; r0 += kScoreBlockRows) {
    const Index rows = std::min(kScoreBlockRows, j.n - r0);
    const Index padded = (rows + MI - 1) / MI * MI;
    PackRows<T>(j.x + r0 * j.p, rows, j.p, j.m, j.inv, j.B);
    std::fill(j.B + rows * j.p, j.B + padded * j.p, T(0));
    MulTiles<T, VB, MI, NV>(j.B, padded, j.p, j.P, j.Q, j.Out);
    for (Index r = 0; r < rows; ++r) std::copy_n(j.Out + r * j.Q, j.c, j.z + (r0 + r) * j.c);
  }
}

#if defined(__GNUC__) && defined(__x86_64__) && defined(__ELF__)
template <class T>
[[gnu::target("avx512f")]] void ScoresAvx512(const TScoreJob<T>& j) {
  ScoresTiled<T, 64, 8, 2>(j);
}
template <class T>
[[gnu::target("avx2")]] void ScoresAvx2(const TScoreJob<T>& j) {
  ScoresTiled<T, 32, 4, 2>(j);
}
#endif

template <class T>
void RunScores(const TScoreJob<T>& j) {
#if defined(__GNUC__) && defined(__x86_64__) && defined(__ELF__)
  if (__builtin_cpu_supports("avx512f")) return ScoresAvx512<T>(j);
  if (__builtin_cpu_supports("avx2")) return ScoresAvx2<T>(j);
#endif
  ScoresTiled<T, 16, 4, 2>(j);
}

template <class T>
void ScoresKernel(const TMtx& Data, const TVec& Means, const TVec* StdDevs, const TMtx& PC, TMtx& Z) {
  const Index n = Data.Rows(), p = Data.Cols(), c = PC.Cols();
  // Padded to the widest tile (two AVX-512 vectors), which every narrower tile divides.
  constexpr Index kTile = 128 / static_cast<Index>(sizeof(T));
  const Index Q = std::max<Index>(kTile, (c + kTile - 1) / kTile * kTile);
  TMtxScratch packedPC, block, out;
  TVecScratch inv;
  packedPC->Size(static_cast<int>(p), static_cast<int>(Q), PrecisionOf<T>());
  packedPC->SetZero();
  auto pc = PC.Span<T>();
  auto P = packedPC->Span<T>();
  for (Index i = 0; i < p; ++i) std::copy_n(pc.data() + i * c, c, P.data() + i * Q);
  if (StdDevs != nullptr) {
    inv->Size(static_cast<int>(p), PrecisionOf<T>());
    auto s = StdDevs->Span<T>();
    auto r = inv->Span<T>();
    for (Index i = 0; i < p; ++i) r[std::size_t(i)] = T(1) / s[std::size_t(i)];
  }
  block->Size(static_cast<int>(kScoreBlockRows), static_cast<int>(std::max<Index>(p, 1)), PrecisionOf<T>());
  out->Size(static_cast<int>(kScoreBlockRows), static_cast<int>(Q), PrecisionOf<T>());
  // Data may be Z itself (same shape): each block is packed before its rows of Z are written.
  Z.Size(static_cast<int>(n), static_cast<int>(c), PrecisionOf<T>());
  if (n == 0 || c == 0) return;
  const TScoreJob<T> j{Data.Span<T>().data(),
                       n,
                       p,
                       c,
                       Means.Span<T>().data(),
                       StdDevs != nullptr ? std::as_const(*inv).Span<T>().data() : nullptr,
                       P.data(),
                       Q,
                       block->Span<T>().data(),
                       out->Span<T>().data(),
                       Z.Span<T>().data()};
  RunScores<T>(j);
}

// ---------------------------------------------------------------- covariance and correlation

// Largest lambda_max / lambda_min for which the Gram product's eigenvalues are kept.
template <class T>
T GramConditionLimit() {
  return std::cbrt(T(1) / std::numeric_limits<T>::epsilon());
}

// Covariance-mode axes: the covariance matrix's eigen-decomposition, or the SVD of the
// centred data when the spread of the eigenvalues calls for it (see the top of the file).
template <class T>
void CovarianceAxes(const TMtx& Data, const TVec& Means, TMtx& PC, TVec& Eig) {
  {
    TMtxScratch S;
    Covariance(Data, *S, false);
    detail::SymmetricAxes(*S, PC, Eig);
  }
  const Index n = Data.Rows(), p = Data.Cols();
  if (p == 0 || n < p) return;
  const auto e = std::as_const(Eig).Span<T>();
  const T lmax = e[0], lmin = e[std::size_t(p - 1)];
  if (!std::isfinite(lmax) || lmin * GramConditionLimit<T>() >= lmax) return;
  // W = (Data - m) / sqrt(n - 1): its squared singular values are the covariance eigenvalues.
  TMtxScratch W, R, U;
  TVecScratch sv;
  W->Size(Data.Rows(), Data.Cols(), PrecisionOf<T>());
  const T scale = T(1) / std::sqrt(static_cast<T>(n - 1));
  const auto x = Data.Span<T>();
  const auto m = Means.Span<T>();
  auto w = W->Span<T>();
  for (Index i = 0; i < n; ++i)
    for (Index j = 0; j < p; ++j) w[std::size_t(i * p + j)] = (x[std::size_t(i * p + j)] - m[std::size_t(j)]) * scale;
  LQR(*W, *R);
  SVD(*R, *U, Eig, PC);
  for (T& v : Eig.Span<T>()) v *= v;
  detail::NormaliseSigns(PC);
}

// Cov(i, j) / sqrt(Cov(i, i) Cov(j, j)) in place, as CorrCoef forms it (the diagonal is
// Cov(i, i) / Cov(i, i)); Sd receives the standard deviations.
template <class T>
void CorrelationFromCovariance(TMtx& S, TVec& Sd) {
  const std::size_t k = static_cast<std::size_t>(S.Rows());
  Sd.Size(S.Rows(), PrecisionOf<T>());
  auto r = S.Span<T>();
  auto sd = Sd.Span<T>();
  for (std::size_t i = 0; i < k; ++i) sd[i] = std::sqrt(r[i * k + i]);
  for (std::size_t i = 0; i < k; ++i)
    for (std::size_t j = 0; j < k; ++j) {
      T& v = r[i * k + j];
      v = i == j ? v / v : v / (sd[i] * sd[j]);
    }
}

}  // namespace

// ---------------------------------------------------------------- shared building blocks

namespace detail {

void SymmetricAxes(const TMtx& S, TMtx& PC, TVec& Eig) {
  WithPrecision(S, [&](auto t) { AxesKernel<typename decltype(t)::type>(S, PC, Eig); });
}

void NormaliseSigns(TMtx& PC) {
  WithPrecision(PC, [&](auto t) { SignKernel<typename decltype(t)::type>(PC); });
}

void Scores(const TMtx& Data, const TVec& Means, const TVec* StdDevs, const TMtx& PC, TMtx& Z) {
  WithPrecision(Data, [&](auto t) { ScoresKernel<typename decltype(t)::type>(Data, Means, StdDevs, PC, Z); });
}

void CorrelationPCA(const TMtx& Data, TMtx& PC, TMtx& Z, TVec& Eig, TVec& Means, TVec& StdDevs) {
  TMtxScratch R;
  Covariance(Data, *R, false);
  MeanCols(Data, Means);
  WithPrecision(Data, [&](auto t) { CorrelationFromCovariance<typename decltype(t)::type>(*R, StdDevs); });
  SymmetricAxes(*R, PC, Eig);
  Scores(Data, Means, &StdDevs, PC, Z);
}

void VarPercent(const TVec& Eig, TVec& VarPct) {
  WithPrecision(Eig, [&](auto t) {
    using T = typename decltype(t)::type;
    const auto e = Eig.Span<T>();
    const T f = T(100) / Kern::Sum<T>(e);
    VarPct.Size(Eig);
    auto v = VarPct.Span<T>();
    for (std::size_t i = 0; i < e.size(); ++i) v[i] = e[i] * f;
  });
}

}  // namespace detail

// ---------------------------------------------------------------- exported

void PCA(const TMtx& C, TMtx& PC, TVec& Eig, TVec* VarPct) {
  if (IsSymmetric(C)) {
    detail::SymmetricAxes(C, PC, Eig);
  } else {
    // Not a symmetric matrix: its right singular vectors (complex data are refused by the SVD).
    TMtxScratch U;
    SVD(C, *U, Eig, PC);
    detail::NormaliseSigns(PC);
  }
  if (VarPct != nullptr) detail::VarPercent(Eig, *VarPct);
}

void PCA(const TMtx& Data, TMtx& PC, TMtx& Z, TVec& Eig, TVec* VarPct, TPCAMode Mode) {
  TVecScratch means, sd;
  if (Mode == PCACovMat) {
    MeanCols(Data, *means);
    WithPrecision(Data, [&](auto t) { CovarianceAxes<typename decltype(t)::type>(Data, *means, PC, Eig); });
    detail::Scores(Data, *means, nullptr, PC, Z);
  } else {
    // Deliberate: PCARawData, like any mode other than PCACovMat, analyses the correlation matrix.
    detail::CorrelationPCA(Data, PC, Z, Eig, *means, *sd);
  }
  if (VarPct != nullptr) detail::VarPercent(Eig, *VarPct);
}

}  // namespace Statistics
