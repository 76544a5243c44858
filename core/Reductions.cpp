#include "Reductions.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "Dispatch.h"
#include "detail/Pairwise.h"
#include "Sorting.h"

namespace Kalix {

namespace Kern {

template <class T>
T Sum(std::span<const T> x) {
  return detail::PairwiseSum(x.data(), x.size());
}

template <class T>
T Mean(std::span<const T> x) {
  return Sum(x) / static_cast<T>(x.size());
}

template <class T>
T SumSqDev(std::span<const T> x, T Mu) {
  const T ss = detail::PairwiseSum(x.data(), x.size(), [Mu](T v) { return (v - Mu) * (v - Mu); });
  const T s = detail::PairwiseSum(x.data(), x.size(), [Mu](T v) { return v - Mu; });
  // The second term vanishes for the exact mean and repairs the rounding of a computed one.
  return x.empty() ? T(0) : ss - s * s / static_cast<T>(x.size());
}

// Sample standard deviation from the sum of squared deviations (NaN for n < 2).
template <class T>
T SampleSD(T ss, std::size_t n) {
  if (n == 0) return std::numeric_limits<T>::quiet_NaN();
  return std::sqrt(ss / static_cast<T>(n - 1));
}

template <class T>
T SumOfSquares(std::span<const T> x) {
  return detail::PairwiseSum(x.data(), x.size(), [](T v) { return v * v; });
}

template <class T>
T Dot(std::span<const T> x, std::span<const T> y) {
  if (x.size() != y.size()) ERaise("DotProd: X.Length <> Y.Length");
  return detail::PairwiseSum2(x.data(), y.data(), x.size(), [](T a, T b) { return a * b; });
}

template <class T>
void MaxMin(std::span<const T> x, T& Max, T& Min) {
  if (x.empty()) {
    Max = Min = std::numeric_limits<T>::quiet_NaN();
    return;
  }
  T mx = x[0], mn = x[0];
  bool nan = false;
  for (T v : x) {
    mx = v > mx ? v : mx;
    mn = v < mn ? v : mn;
    nan |= v != v;
  }
  if (nan) mx = mn = std::numeric_limits<T>::quiet_NaN();
  Max = mx;
  Min = mn;
}

#define KALIX_INSTANTIATE(T)                                          \
  template KALIX_EXPORT T Sum<T>(std::span<const T>);                 \
  template KALIX_EXPORT T Mean<T>(std::span<const T>);                \
  template KALIX_EXPORT T SumSqDev<T>(std::span<const T>, T);         \
  template KALIX_EXPORT T SumOfSquares<T>(std::span<const T>);        \
  template KALIX_EXPORT T Dot<T>(std::span<const T>, std::span<const T>); \
  template KALIX_EXPORT void MaxMin<T>(std::span<const T>, T&, T&);
KALIX_INSTANTIATE(float)
KALIX_INSTANTIATE(double)
#undef KALIX_INSTANTIATE

}  // namespace Kern

namespace {

void RequireReal(const TKalixSample& X, const char* what) {
  if (X.Complex()) ERaise(what);
}

// Pairwise sum of the rows of a row-major block into out (length cols).
template <class T>
void ColumnSums(const T* a, std::size_t rows, std::size_t cols, T* out) {
  constexpr std::size_t kRowBlock = 64;
  if (rows <= kRowBlock) {
    std::fill(out, out + cols, T(0));
    for (std::size_t r = 0; r < rows; ++r) {
      const T* row = a + r * cols;
      for (std::size_t c = 0; c < cols; ++c) out[c] += row[c];
    }
    return;
  }
  const std::size_t half = rows / 2;
  std::vector<T> upper(cols);
  ColumnSums(a, half, cols, out);
  ColumnSums(a + half * cols, rows - half, cols, upper.data());
  for (std::size_t c = 0; c < cols; ++c) out[c] += upper[c];
}

template <class T>
void ColumnMeans(const TMtx& A, TVec& Result) {
  Result.Size(A.Cols(), A.FloatPrecision());
  auto out = Result.Span<T>();
  ColumnSums(A.Span<T>().data(), static_cast<std::size_t>(A.Rows()), static_cast<std::size_t>(A.Cols()), out.data());
  for (T& v : out) v /= static_cast<T>(A.Rows());
}

}  // namespace

double Sum(const TDenseKalix& X) {
  RequireReal(X, "Sum: X.Complex");
  return WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    return static_cast<double>(Kern::Sum<T>(X.Span<T>()));
  });
}

double Mean(const TDenseKalix& X) {
  RequireReal(X, "Mean: X.Complex");
  return WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    return static_cast<double>(Kern::Mean<T>(X.Span<T>()));
  });
}

double Mean(const TVec& X, int Index, int Len) {
  RequireReal(X, "Mean: X.Complex");
  if (Index < 0 || Len < 0 || static_cast<long long>(Index) + Len > X.Length()) ERaise("Mean: index out of range");
  return WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    return static_cast<double>(Kern::Mean<T>(X.Span<T>().subspan(static_cast<std::size_t>(Index), static_cast<std::size_t>(Len))));
  });
}

double StdDev(const TDenseKalix& X) {
  RequireReal(X, "StdDev: X.Complex");
  return WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    auto x = X.Span<T>();
    return static_cast<double>(Kern::SampleSD(Kern::SumSqDev<T>(x, Kern::Mean<T>(x)), x.size()));
  });
}

// About a given mean the deviations are taken as they are: the two-pass correction of
// SumSqDev would silently re-centre them on the sample mean.
double StdDev(const TDenseKalix& X, double Mu) {
  RequireReal(X, "StdDev: X.Complex");
  return WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    auto x = X.Span<T>();
    const T mu = static_cast<T>(Mu);
    const T ss = detail::PairwiseSum(x.data(), x.size(), [mu](T v) { return (v - mu) * (v - mu); });
    return static_cast<double>(Kern::SampleSD(ss, x.size()));
  });
}

double Median(const TDenseKalix& X) {
  RequireReal(X, "Median: X.Complex");
  if (X.Length() == 0) return NAN;
  return WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    auto x = X.Span<T>();
    const std::size_t n = x.size(), k = (n - 1) / 2;
    T lo, hi;
    Kern::OrderStatPair(x, k, lo, hi);
    if (n % 2 == 1) return static_cast<double>(lo);
    return 0.5 * (static_cast<double>(lo) + static_cast<double>(hi));
  });
}

void MaxMin(const TDenseKalix& X, double& Max, double& Min) {
  RequireReal(X, "MaxMin: X.Complex");
  WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    T mx, mn;
    Kern::MaxMin<T>(X.Span<T>(), mx, mn);
    Max = static_cast<double>(mx);
    Min = static_cast<double>(mn);
  });
}

double Min(const TDenseKalix& X) {
  double mx, mn;
  MaxMin(X, mx, mn);
  return mn;
}

double Max(const TDenseKalix& X) {
  double mx, mn;
  MaxMin(X, mx, mn);
  return mx;
}

void MaxMinc(const TDenseKalix& X, TCplx& Max, TCplx& Min) {
  // As the real MaxMin: a NaN magnitude makes both extremes NaN, and so does empty data.
  // The first element seeds both, so infinite magnitudes count too.
  Max = Min = TCplx(NAN, NAN);
  double best = 0.0, worst = 0.0;
  for (int i = 0; i < X.Length(); ++i) {
    const TCplx v = X.CValues(i);
    const double m = std::abs(v);
    if (std::isnan(m)) {
      Max = Min = TCplx(NAN, NAN);
      return;
    }
    if (i == 0 || m > best) best = m, Max = v;
    if (i == 0 || m < worst) worst = m, Min = v;
  }
}

double Product(const TDenseKalix& X) {
  RequireReal(X, "Product: X.Complex");
  return WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    T p = T(1);
    for (T v : X.Span<T>()) p *= v;
    return static_cast<double>(p);
  });
}

double SumOfSquares(const TDenseKalix& X) {
  RequireReal(X, "SumOfSquares: X.Complex");
  return WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    return static_cast<double>(Kern::SumOfSquares<T>(X.Span<T>()));
  });
}

double RMS(const TDenseKalix& X) { return std::sqrt(SumOfSquares(X) / X.Length()); }

double NormL1(const TDenseKalix& X) {
  RequireReal(X, "NormL1: X.Complex");
  return WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    auto x = X.Span<T>();
    return static_cast<double>(detail::PairwiseSum(x.data(), x.size(), [](T v) { return std::fabs(v); }));
  });
}

double NormL2(const TDenseKalix& X) { return std::sqrt(SumOfSquares(X)); }

double NormL2(const TDenseKalix& X, const TDenseKalix& Y) {
  if (X.Complex() || Y.Complex()) ERaise("NormL2: X.Complex or Y.Complex");
  if (X.Length() != Y.Length()) ERaise("NormL2: X.Length <> Y.Length");
  if (X.FloatPrecision() != Y.FloatPrecision()) ERaise("NormL2: X.FloatPrecision <> Y.FloatPrecision");
  return WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    auto x = X.Span<T>();
    auto y = Y.Span<T>();
    T ss = detail::PairwiseSum2(x.data(), y.data(), x.size(), [](T a, T b) { return (a - b) * (a - b); });
    return static_cast<double>(std::sqrt(ss));
  });
}

double DotProd(const TDenseKalix& X, const TDenseKalix& Y) {
  if (X.Complex() || Y.Complex()) ERaise("DotProd: X.Complex or Y.Complex");
  if (X.FloatPrecision() != Y.FloatPrecision()) ERaise("DotProd: X.FloatPrecision <> Y.FloatPrecision");
  return WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    return static_cast<double>(Kern::Dot<T>(X.Span<T>(), Y.Span<T>()));
  });
}

double Trace(const TMtx& A) {
  double s = 0.0;
  const int n = std::min(A.Rows(), A.Cols());
  for (int i = 0; i < n; ++i) s += A.Values(i, i);
  return s;
}

void MeanCols(const TMtx& A, TVec& Result) {
  RequireReal(A, "MeanCols: A.Complex");
  WithPrecision(A, [&](auto t) { ColumnMeans<typename decltype(t)::type>(A, Result); });
}

void SumCols(const TMtx& A, TVec& Result) {
  RequireReal(A, "SumCols: A.Complex");
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    Result.Size(A.Cols(), A.FloatPrecision());
    ColumnSums(A.Span<T>().data(), static_cast<std::size_t>(A.Rows()), static_cast<std::size_t>(A.Cols()),
               Result.Span<T>().data());
  });
}

void StdDevCols(const TMtx& A, TVec& Result) {
  RequireReal(A, "StdDevCols: A.Complex");
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    const std::size_t rows = static_cast<std::size_t>(A.Rows()), cols = static_cast<std::size_t>(A.Cols());
    TVec means;
    ColumnMeans<T>(A, means);
    auto m = means.Span<T>();
    auto a = A.Span<T>();
    std::vector<T> ss(cols, T(0)), s(cols, T(0));
    for (std::size_t r = 0; r < rows; ++r)
      for (std::size_t c = 0; c < cols; ++c) {
        const T d = a[r * cols + c] - m[c];
        ss[c] += d * d;
        s[c] += d;
      }
    Result.Size(A.Cols(), A.FloatPrecision());
    auto out = Result.Span<T>();
    for (std::size_t c = 0; c < cols; ++c)
      out[c] = Kern::SampleSD(ss[c] - s[c] * s[c] / static_cast<T>(rows), rows);
  });
}

void MeanRows(const TMtx& A, TVec& Result) {
  RequireReal(A, "MeanRows: A.Complex");
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    Result.Size(A.Rows(), A.FloatPrecision());
    auto out = Result.Span<T>();
    for (int r = 0; r < A.Rows(); ++r) out[static_cast<std::size_t>(r)] = Kern::Mean<T>(A.Row<T>(r));
  });
}

void SumRows(const TMtx& A, TVec& Result) {
  RequireReal(A, "SumRows: A.Complex");
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    Result.Size(A.Rows(), A.FloatPrecision());
    auto out = Result.Span<T>();
    for (int r = 0; r < A.Rows(); ++r) out[static_cast<std::size_t>(r)] = Kern::Sum<T>(A.Row<T>(r));
  });
}

void StdDevRows(const TMtx& A, TVec& Result) {
  RequireReal(A, "StdDevRows: A.Complex");
  WithPrecision(A, [&](auto t) {
    using T = typename decltype(t)::type;
    Result.Size(A.Rows(), A.FloatPrecision());
    auto out = Result.Span<T>();
    for (int r = 0; r < A.Rows(); ++r) {
      auto row = A.Row<T>(r);
      out[static_cast<std::size_t>(r)] = Kern::SampleSD(Kern::SumSqDev<T>(row, Kern::Mean<T>(row)), row.size());
    }
  });
}

}  // namespace Kalix
