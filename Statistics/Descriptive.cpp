// Location, dispersion and moments: geometric, harmonic and trimmed means, the mode, central
// moments, covariance and correlation matrices, and per-row / per-column ranges.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "Statistics/Statistics.h"
#include "core/detail/Pairwise.h"

namespace Statistics {

using namespace Kalix;

namespace {

// ---------------------------------------------------------------- geometric mean
//
// ln x over 1e7 elements costs five times a plain sum with the library's scalar log, so the
// sum of logarithms is formed without one per element. A positive normal number is
// x = m * 2^e with m in [1, 2): the exponents sum exactly in an integer, and the mantissas
// are multiplied in eight lanes, 64 factors per lane and block, a product below 2^64 that can
// neither overflow nor underflow. Each block then takes one ln of its renormalised lane
// products. The rounding is one relative eps per factor, so the mean of the logarithms is
// about as accurate as with a correctly rounded ln per element. Blocks holding zeros,
// subnormals, negative or non-finite values are summed with std::log, which gives -Inf / NaN
// exactly as ln would.

template <class T>
struct TFloatLayout;
template <>
struct TFloatLayout<double> {
  using U = std::uint64_t;
  static constexpr int kMantBits = 52;
  static constexpr U kBias = 1023;
};
template <>
struct TFloatLayout<float> {
  using U = std::uint32_t;
  static constexpr int kMantBits = 23;
  static constexpr U kBias = 127;
};

// Sum of ln x over a range, as Ln + Exponent * ln 2.
template <class T>
struct TLogSum {
  T Ln;
  std::int64_t Exponent;
};

constexpr std::size_t kLogLanes = 8;
constexpr std::size_t kLogBlock = 512;  // 64 factors per lane

template <class T>
TLogSum<T> LogSumSlow(const T* x, std::size_t n) {
  T s = T(0);
  for (std::size_t i = 0; i < n; ++i) s += std::log(x[i]);
  return {s, 0};
}

template <class T>
TLogSum<T> LogSumBlock(const T* x, std::size_t n) {
  using L = TFloatLayout<T>;
  using U = typename L::U;
  constexpr U kMantMask = (U(1) << L::kMantBits) - 1;
  constexpr U kOne = L::kBias << L::kMantBits;  // bit pattern of 1.0
  constexpr U kMinNormal = U(1) << L::kMantBits;
  constexpr int kTop = static_cast<int>(sizeof(U) * 8 - 1);

  T prod[kLogLanes];
  U exps[kLogLanes];
  // For a positive normal finite bit pattern b neither b + kMinNormal nor b - kMinNormal has
  // the top bit set; zeros and subnormals wrap below, Inf / NaN / negatives carry above.
  U bad[kLogLanes];
  for (std::size_t j = 0; j < kLogLanes; ++j) {
    prod[j] = T(1);
    exps[j] = 0;
    bad[j] = 0;
  }
  std::size_t i = 0;
  for (; i + kLogLanes <= n; i += kLogLanes) {
    for (std::size_t j = 0; j < kLogLanes; ++j) {
      const U b = std::bit_cast<U>(x[i + j]);
      exps[j] += b >> L::kMantBits;
      bad[j] |= (b + kMinNormal) | (b - kMinNormal);
      prod[j] *= std::bit_cast<T>((b & kMantMask) | kOne);
    }
  }
  for (; i < n; ++i) {
    const U b = std::bit_cast<U>(x[i]);
    exps[0] += b >> L::kMantBits;
    bad[0] |= (b + kMinNormal) | (b - kMinNormal);
    prod[0] *= std::bit_cast<T>((b & kMantMask) | kOne);
  }
  U anyBad = 0, expSum = 0;
  for (std::size_t j = 0; j < kLogLanes; ++j) {
    anyBad |= bad[j];
    expSum += exps[j];
  }
  if (anyBad >> kTop) return LogSumSlow(x, n);

  // Lane products are below 2^72: renormalise each to [0.5, 1) before combining them.
  T m = T(1);
  std::int64_t e = 0;
  for (std::size_t j = 0; j < kLogLanes; ++j) {
    int ej;
    m *= std::frexp(prod[j], &ej);
    e += ej;
  }
  const std::int64_t unbiased =
      static_cast<std::int64_t>(expSum) - static_cast<std::int64_t>(L::kBias) * static_cast<std::int64_t>(n);
  return {std::log(m), unbiased + e};
}

// Pairwise over blocks, so the logarithm parts also sum with log2(n) error growth.
template <class T>
TLogSum<T> LogSum(const T* x, std::size_t n) {
  if (n <= kLogBlock) return LogSumBlock(x, n);
  const std::size_t half = (n / 2 + kLogBlock - 1) / kLogBlock * kLogBlock;
  const TLogSum<T> a = LogSum(x, half);
  const TLogSum<T> b = LogSum(x + half, n - half);
  return {a.Ln + b.Ln, a.Exponent + b.Exponent};
}

template <class T>
double GeometricMean(std::span<const T> x) {
  if (x.empty()) return NAN;
  const TLogSum<T> s = LogSum(x.data(), x.size());
  // The exponent total is an exact integer; combining it in double keeps single-precision
  // data from rounding it to 24 bits. An infinite or NaN Ln (fallback blocks) passes through.
  const double lnSum = static_cast<double>(s.Ln) + static_cast<double>(s.Exponent) * LN2;
  return std::exp(lnSum / static_cast<double>(x.size()));
}

// ---------------------------------------------------------------- covariance helpers

// Divides every element of a covariance matrix by the divisor; no rows at all give NaN
// rather than the -0 of 0 / (0 - 1).
template <class T>
void ScaleCovariance(TMtx& Result, std::size_t n, bool Biased) {
  auto r = Result.Span<T>();
  if (n == 0) {
    std::fill(r.begin(), r.end(), std::numeric_limits<T>::quiet_NaN());
    return;
  }
  const T div = static_cast<T>(Biased ? n : n - 1);
  for (T& v : r) v /= div;
}

// Rows per block of the centred copy: the block (about 512 KB) stays in cache between
// centring and its product, and the data are read from memory once. At least 256 rows, so
// adding each block's Cols x Cols product stays a small part of the work for wide matrices.
template <class T>
std::size_t CovarianceBlockRows(std::size_t cols) {
  return std::max<std::size_t>(256, (512 * 1024) / (sizeof(T) * std::max<std::size_t>(cols, 1)));
}

// Result = C^T C of the centred data C, summed block by block, with the corrected two-pass
// term: the columns of C sum to zero only up to the rounding of the means, and subtracting
// s_i s_j / n repairs that.
template <class T>
void MatrixCovariance(const TMtx& X, TMtx& Result, bool Biased) {
  const std::size_t rows = static_cast<std::size_t>(X.Rows()), cols = static_cast<std::size_t>(X.Cols());
  const std::size_t block = std::min(rows, CovarianceBlockRows<T>(cols));
  TVecScratch means, colSums;
  TMtxScratch centred, part, total;
  // Sized first: a p x p result beyond the int range fails at once, before any pass over X.
  total->Size(X.Cols(), X.Cols(), PrecisionOf<T>());  // Result may be X: written last
  MeanCols(X, *means);
  colSums->Size(X.Cols(), PrecisionOf<T>());
  const auto m = std::as_const(*means).Span<T>();
  auto s = colSums->Span<T>();
  auto acc = total->Span<T>();
  const auto x = X.Span<T>();
  for (std::size_t r0 = 0; r0 < rows; r0 += block) {
    const std::size_t nr = std::min(block, rows - r0);
    centred->Size(static_cast<int>(nr), X.Cols(), PrecisionOf<T>());
    auto c = centred->Span<T>();
    const T* xr = x.data() + r0 * cols;
    for (std::size_t i = 0; i < nr * cols; i += cols)
      for (std::size_t j = 0; j < cols; ++j) {
        c[i + j] = xr[i + j] - m[j];
        s[j] += c[i + j];
      }
    Mul(*part, *centred, *centred, opTrans);
    const auto pp = std::as_const(*part).Span<T>();
    for (std::size_t k = 0; k < acc.size(); ++k) acc[k] += pp[k];
  }
  if (rows > 0) {
    const T dn = static_cast<T>(rows);
    for (std::size_t i = 0; i < cols; ++i)
      for (std::size_t j = 0; j < cols; ++j) acc[i * cols + j] -= s[i] * s[j] / dn;
  }
  Result.Copy(*total);
  ScaleCovariance<T>(Result, rows, Biased);
}

// X minus its mean, in precision T (the precision of the first variable).
template <class T>
void CentredColumn(const TDenseKalix& X, TVec& Dst) {
  Dst.Size(X.Length(), PrecisionOf<T>());
  auto d = Dst.Span<T>();
  WithPrecision(X, [&](auto u) {
    using U = typename decltype(u)::type;
    const auto x = X.Span<U>();
    const U mu = Kern::Mean<U>(x);
    for (std::size_t i = 0; i < x.size(); ++i) d[i] = static_cast<T>(x[i] - mu);
  });
}

// Result(i, j) = C(i, j) / sqrt(C(i, i) C(j, j)); the diagonal is C(i, i) / C(i, i), exactly 1
// unless the variance is 0, infinite or NaN.
template <class T>
void NormaliseCovariance(TMtx& Result) {
  const std::size_t k = static_cast<std::size_t>(Result.Rows());
  auto r = Result.Span<T>();
  TVecScratch sdv;
  sdv->Size(Result.Rows(), PrecisionOf<T>());
  auto sd = sdv->Span<T>();
  for (std::size_t i = 0; i < k; ++i) sd[i] = std::sqrt(r[i * k + i]);
  for (std::size_t i = 0; i < k; ++i)
    for (std::size_t j = 0; j < k; ++j) {
      T& v = r[i * k + j];
      v = i == j ? v / v : v / (sd[i] * sd[j]);
    }
}

// ---------------------------------------------------------------- ranges

template <class T>
void RowRanges(const TMtx& M, TVec& Result) {
  Result.Size(M.Rows(), PrecisionOf<T>());
  auto out = Result.Span<T>();
  for (int r = 0; r < M.Rows(); ++r) {
    T mx, mn;
    Kern::MaxMin<T>(M.Row<T>(r), mx, mn);
    out[static_cast<std::size_t>(r)] = mx - mn;
  }
}

// One pass down the rows keeps the access row-major; a NaN anywhere in a column makes its
// range NaN, as MaxMin does for a row.
template <class T>
void ColRanges(const TMtx& M, TVec& Result) {
  const std::size_t rows = static_cast<std::size_t>(M.Rows()), cols = static_cast<std::size_t>(M.Cols());
  Result.Size(M.Cols(), PrecisionOf<T>());
  auto out = Result.Span<T>();
  if (rows == 0) {
    std::fill(out.begin(), out.end(), std::numeric_limits<T>::quiet_NaN());
    return;
  }
  TVecScratch mnv;
  TVecIntScratch nanv;
  mnv->Size(M.Cols(), PrecisionOf<T>());
  nanv->Size(M.Cols(), prInt32);
  auto mn = mnv->Span<T>();
  auto nan = nanv->Span<std::int32_t>();
  const auto a = M.Span<T>();
  for (std::size_t j = 0; j < cols; ++j) {
    out[j] = mn[j] = a[j];
    nan[j] = a[j] != a[j];
  }
  for (std::size_t r = 1; r < rows; ++r) {
    const T* row = a.data() + r * cols;
    for (std::size_t j = 0; j < cols; ++j) {
      const T v = row[j];
      out[j] = v > out[j] ? v : out[j];
      mn[j] = v < mn[j] ? v : mn[j];
      nan[j] |= v != v;
    }
  }
  for (std::size_t j = 0; j < cols; ++j) out[j] = nan[j] ? std::numeric_limits<T>::quiet_NaN() : out[j] - mn[j];
}

// Complex data: the elements of largest and smallest magnitude, and their complex difference.
void ComplexRange(const TVec& Line, TVec& Result, int i) {
  TCplx mx, mn;
  MaxMinc(Line, mx, mn);
  Result.SetCValue(i, mx - mn);
}

}  // namespace

// ---------------------------------------------------------------- means

double MeanG(const TVec& Data) {
  if (Data.Complex()) ERaise("MeanG: Data.Complex = true");
  return WithPrecision(Data, [&](auto t) {
    using T = typename decltype(t)::type;
    return GeometricMean<T>(Data.Span<T>());
  });
}

double MeanH(const TVec& Data) {
  if (Data.Complex()) ERaise("MeanH: Data.Complex = true");
  return WithPrecision(Data, [&](auto t) {
    using T = typename decltype(t)::type;
    const auto x = Data.Span<T>();
    const T s = detail::PairwiseSum(x.data(), x.size(), [](T v) { return T(1) / v; });
    return static_cast<double>(T(1) / (s / static_cast<T>(x.size())));
  });
}

double MeanT(const TVec& Data, double Percent) {
  // Deliberate: the text has no colon after the routine's name.
  if (Data.Complex()) ERaise("MeanTData.Complex = true");
  // Deliberate: the bound is 1 (a fraction) although the message says 100.
  if (Percent >= 1 || Percent < 0) ERaise("MeanT(Percent >= 100) or (Percent < 0)");
  if (std::isnan(Percent)) return NAN;
  TVecScratch sorted;
  sorted->Copy(Data);
  SortAscend(*sorted);
  // Percent is the total trimmed, half from each tail.
  const double lo = Percentile(*sorted, Percent * 0.5, pctMethodNPlus);
  const double hi = Percentile(*sorted, 1.0 - Percent * 0.5, pctMethodNPlus);
  return WithPrecision(Data, [&](auto t) {
    using T = typename decltype(t)::type;
    const auto s = std::as_const(*sorted).Span<T>();
    const std::size_t n = s.size();
    std::size_t i0 = 0;
    while (i0 < n && !(static_cast<double>(s[i0]) >= lo)) ++i0;
    if (i0 == n) i0 = n - 1;
    std::size_t end = i0;
    while (end < n && !(static_cast<double>(s[end]) > hi)) ++end;
    // s[i0 .. end - 1] lie in [lo, hi]; end == i0 means nothing is left between them.
    if (end == i0) return static_cast<double>(NAN);
    return static_cast<double>(Kern::Mean<T>(s.subspan(i0, end - i0)));
  });
}

// ---------------------------------------------------------------- mode and moments

double Mode(const TVec& X) {
  if (X.Complex()) ERaise("Mode: Complex = true");
  return Mode(X, 0, X.Length());
}

double Mode(const TVec& X, int Index, int Len) {
  if (X.Complex()) ERaise("Mode: Complex = true");
  TVecScratch view, values;
  TVecIntScratch counts;
  // Sized no larger than X so that a bad range fails in the copy, not in a huge allocation.
  view->Size(std::clamp(Len, 0, X.Length()), X.FloatPrecision());
  view->Copy(X, Index, 0, Len);
  Unique(*view, *values, &counts.Get());
  const auto c = std::as_const(*counts).Span<std::int32_t>();
  if (c.empty()) return NAN;
  // The first largest count, hence the smallest of tied values.
  const std::size_t best = static_cast<std::size_t>(std::max_element(c.begin(), c.end()) - c.begin());
  if (c[best] == 1) return NAN;
  return values->Values(static_cast<int>(best));
}

double Moment(const TVec& X, double Mu, int Order) {
  // Deliberate: a blank before the colon.
  if (X.Complex()) ERaise("Moment : X.Complex = true");
  // Deliberate: orders below 2 (the first central moment included) give 0.
  if (Order < 2) return 0.0;
  return WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    const auto x = X.Span<T>();
    const T mu = static_cast<T>(Mu);
    const T s = detail::PairwiseSum(x.data(), x.size(), [mu, Order](T v) { return IntPower(v - mu, Order); });
    return static_cast<double>(s / static_cast<T>(x.size()));
  });
}

// ---------------------------------------------------------------- covariance and correlation

void Covariance(const TVec& X, double& Result, bool Biased) {
  Result = 0.0;
  if (X.Complex()) ERaise("Covariance: X.Complex");
  Result = WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    const auto x = X.Span<T>();
    const std::size_t n = x.size();
    if (n == 0) return static_cast<double>(NAN);
    const T ss = Kern::SumSqDev<T>(x, Kern::Mean<T>(x));
    return static_cast<double>(ss / static_cast<T>(Biased ? n : n - 1));
  });
}

void Covariance(const TDenseKalix& X, const TDenseKalix& Y, TMtx& Result, bool Biased) {
  if (X.Length() != Y.Length()) ERaise("Covariance: X.Length <> Y.Length");
  if (X.Complex() || Y.Complex()) ERaise("Covariance: X.Complex or Y.Complex");
  if (X.KalixType() != Y.KalixType()) ERaise("Covariance: X.KalixType <> Y.KalixType");
  const int n = X.KalixType() == ktMtx ? X.Rows() : X.Length();
  WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    TVecScratch cx, cy;
    TMtxScratch both;
    CentredColumn<T>(X, *cx);
    CentredColumn<T>(Y, *cy);
    // n x 2 of the centred variables; a matrix that is not one column of n rows is refused
    // by SetCol.
    both->Size(n, 2, PrecisionOf<T>());
    both->SetCol(*cx, 0);
    both->SetCol(*cy, 1);
    Mul(Result, *both, *both, opTrans);
    ScaleCovariance<T>(Result, static_cast<std::size_t>(n), Biased);
  });
}

void Covariance(const TMtx& X, TMtx& Result, bool Biased) {
  if (X.Complex()) ERaise("Covariance: X.Complex");
  WithPrecision(X, [&](auto t) { MatrixCovariance<typename decltype(t)::type>(X, Result, Biased); });
}

void CorrCoef(const TDenseKalix& X, const TDenseKalix& Y, TMtx& Result) {
  Covariance(X, Y, Result, false);
  WithPrecision(Result, [&](auto t) { NormaliseCovariance<typename decltype(t)::type>(Result); });
}

void CorrCoef(const TDenseKalix& X, const TDenseKalix& Y, TMtx& Result, double& t) {
  const double n = X.Length();  // read first: Result may be X
  Covariance(X, Y, Result, true);
  // Deliberate: Result is left as the covariance with divisor n and r is read from it
  // unnormalised, so t is the correlation t statistic only for data of unit population
  // variance.
  const double r = Result.Values(0, 1);
  t = r * std::sqrt((n - 2.0) / (1.0 - r * r));
}

void CorrCoef(const TMtx& X, TMtx& Result) {
  Covariance(X, Result, false);
  WithPrecision(Result, [&](auto t) { NormaliseCovariance<typename decltype(t)::type>(Result); });
}

// ---------------------------------------------------------------- ranges

void RangeRows(const TMtx& M, TVec& Result) {
  if (M.Complex()) {
    Result.Size(M.Rows(), M.FloatPrecision());
    TVecScratch row;
    for (int r = 0; r < M.Rows(); ++r) {
      M.GetRow(*row, r);
      ComplexRange(*row, Result, r);
    }
    return;
  }
  WithPrecision(M, [&](auto t) { RowRanges<typename decltype(t)::type>(M, Result); });
}

void RangeCols(const TMtx& M, TVec& Result) {
  if (M.Complex()) {
    Result.Size(M.Cols(), M.FloatPrecision());
    TVecScratch col;
    for (int c = 0; c < M.Cols(); ++c) {
      M.GetCol(*col, c);
      ComplexRange(*col, Result, c);
    }
    return;
  }
  WithPrecision(M, [&](auto t) { ColRanges<typename decltype(t)::type>(M, Result); });
}

}  // namespace Statistics
