// Mergeable moments, co-moments and histogram counts.
//
// Moments and co-moments are kept about the mean (never as raw power sums, which lose every
// digit to a large common offset) and combined by the pairwise update of Chan, Golub &
// LeVeque (1979), extended to the third and fourth moments by Pebay (2008, Sandia report
// SAND2008-6212, eqs. 2.1-2.3). Within one Add the data are cut into cache-sized chunks, each
// summarised by two passes about its own mean, and the chunks merged as a balanced tree, so
// the rounding error grows like log(n). Means are stored less the partial's shift (its first
// finite value): two partials of 1e9 + small values then differ by small, exact numbers.

#include "Statistics/Partials.h"

#include <Eigen/Core>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "core/detail/EigenMap.h"

namespace Statistics {

using namespace Kalix;

namespace {

constexpr std::size_t kChunk = 2048;  // values per chunk summarised in two passes
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t kCountBlock = std::size_t{1} << 30;  // values counted into int32 at a time

// ---------------------------------------------------------------- univariate moments

struct TMom {
  double n, mean, m2, m3, m4;  // mean less the common shift
};

// Pebay's pairwise update of count, mean and the central sums M2..M4.
TMom MergeMom(const TMom& a, const TMom& b) {
  if (b.n == 0) return a;
  if (a.n == 0) return b;
  const double n = a.n + b.n, d = b.mean - a.mean, dn = d / n, dn2 = dn * dn;
  const double ab = a.n * b.n;
  TMom r;
  r.n = n;
  r.mean = a.mean + dn * b.n;
  r.m2 = a.m2 + b.m2 + d * dn * ab;
  r.m3 = a.m3 + b.m3 + d * dn2 * ab * (a.n - b.n) + 3.0 * dn * (a.n * b.m2 - b.n * a.m2);
  r.m4 = a.m4 + b.m4 + d * dn2 * dn * ab * (a.n * a.n - ab + b.n * b.n) +
         6.0 * dn2 * (a.n * a.n * b.m2 + b.n * b.n * a.m2) + 4.0 * dn * (a.n * b.m3 - b.n * a.m3);
  return r;
}

// One chunk in two passes about its own mean, with the corrected two-pass term for M2.
template <class T>
TMom ChunkMoments(const T* x, std::size_t n, double K) {
  double s[4] = {};
  std::size_t i = 0;
  for (; i + 4 <= n; i += 4)
    for (std::size_t j = 0; j < 4; ++j) s[j] += static_cast<double>(x[i + j]) - K;
  for (; i < n; ++i) s[0] += static_cast<double>(x[i]) - K;
  const double mean = ((s[0] + s[1]) + (s[2] + s[3])) / static_cast<double>(n);
  double e1 = 0, e2 = 0, e3 = 0, e4 = 0;
  for (i = 0; i < n; ++i) {
    const double e = (static_cast<double>(x[i]) - K) - mean, q = e * e;
    e1 += e;
    e2 += q;
    e3 += q * e;
    e4 += q * q;
  }
  return {static_cast<double>(n), mean, e2 - e1 * e1 / static_cast<double>(n), e3, e4};
}

template <class T>
TMom TreeMoments(const T* x, std::size_t n, double K) {
  if (n <= kChunk) return ChunkMoments(x, n, K);
  const std::size_t half = (n / 2 + kChunk - 1) / kChunk * kChunk;
  return MergeMom(TreeMoments(x, half, K), TreeMoments(x + half, n - half, K));
}

// The shift of a new partial: its first finite value (0 if there is none), so that
// deviations stay small and an infinite first value does not turn every deviation into NaN.
template <class T>
double FirstFinite(std::span<const T> x) {
  for (const T v : x)
    if (std::isfinite(v)) return static_cast<double>(v);
  return 0.0;
}

// ---------------------------------------------------------------- co-moments

using detail::RowMat;
using RowVecD = Eigen::Matrix<double, 1, Eigen::Dynamic>;

struct TCo {
  double n = 0;
  RowVecD mean;          // less the common shift
  Eigen::MatrixXd c;     // sums of cross products of deviations
};

void MergeCoInto(TCo& a, const TCo& b) {
  if (b.n == 0) return;
  if (a.n == 0) {
    a = b;
    return;
  }
  const double n = a.n + b.n;
  const RowVecD d = b.mean - a.mean;
  a.c += b.c;
  a.c.noalias() += (a.n * b.n / n) * (d.transpose() * d);
  a.mean += (b.n / n) * d;
  a.n = n;
}

// Rows [r0, r0 + m) of the n x p row-major x, less the shift, centred on their own mean.
template <class T>
TCo ChunkComoments(const T* x, std::size_t m, std::size_t p, const RowVecD& K, RowMat<double>& buf) {
  buf.resize(static_cast<Eigen::Index>(m), static_cast<Eigen::Index>(p));
  for (std::size_t i = 0; i < m; ++i)
    for (std::size_t j = 0; j < p; ++j)
      buf(static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(j)) =
          static_cast<double>(x[i * p + j]) - K(static_cast<Eigen::Index>(j));
  TCo r;
  r.n = static_cast<double>(m);
  r.mean = buf.colwise().sum() / r.n;
  buf.rowwise() -= r.mean;
  const RowVecD s = buf.colwise().sum();  // zero up to the rounding of the mean
  r.c.noalias() = buf.transpose() * buf;
  r.c.noalias() -= (s.transpose() * s) / r.n;
  return r;
}

template <class T>
TCo TreeComoments(const T* x, std::size_t n, std::size_t p, const RowVecD& K, RowMat<double>& buf) {
  const std::size_t rows = std::max<std::size_t>(64, kChunk / p);
  if (n <= rows) return ChunkComoments(x, n, p, K, buf);
  const std::size_t half = (n / 2 + rows - 1) / rows * rows;
  TCo a = TreeComoments(x, half, p, K, buf);
  MergeCoInto(a, TreeComoments(x + half * p, n - half, p, K, buf));
  return a;
}

// ---------------------------------------------------------------- states

// Kind tags at the head of each flat state.
constexpr double kMomentsTag = 1, kComomentsTag = 2, kHistogramTag = 3;

bool IsCount(double v) { return v >= 0 && v <= 9007199254740992.0 && v == std::floor(v); }

// Whether v keeps its class in single precision: finite stays finite, non-zero stays non-zero.
bool FitsSingle(double v) {
  const float f = static_cast<float>(v);
  return std::isfinite(f) == std::isfinite(v) && (f == 0.0f) == (v == 0.0);
}

}  // namespace

// ---------------------------------------------------------------- TMomentsPartial

TMomentsPartial::TMomentsPartial(std::span<const double> State) {
  if (State.size() != 7 || State[0] != kMomentsTag || !IsCount(State[1]) || !std::isfinite(State[2]))
    ERaise("TMomentsPartial: State is not a moments state");
  n_ = State[1];
  shift_ = State[2];
  mean_ = State[3];
  m2_ = State[4];
  m3_ = State[5];
  m4_ = State[6];
}

template <class T>
void TMomentsPartial::AddValues(std::span<const T> x) {
  if (x.empty()) return;
  if (n_ == 0) shift_ = FirstFinite(x);
  const TMom b = TreeMoments(x.data(), x.size(), shift_);
  const TMom r = MergeMom({n_, mean_, m2_, m3_, m4_}, b);
  n_ = r.n, mean_ = r.mean, m2_ = r.m2, m3_ = r.m3, m4_ = r.m4;
}

void TMomentsPartial::Add(const TVec& X) {
  if (X.Complex()) ERaise("TMomentsPartial.Add: X.Complex");
  WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    AddValues<T>(X.Span<T>());
  });
}
void TMomentsPartial::Add(std::span<const double> X) { AddValues(X); }
void TMomentsPartial::Add(std::span<const float> X) { AddValues(X); }

void TMomentsPartial::Merge(const TMomentsPartial& Other) {
  if (Other.n_ == 0) return;
  if (n_ == 0) {
    *this = Other;
    return;
  }
  // The other mean about this shift: the difference of two nearby shifts is exact.
  const TMom b{Other.n_, (Other.shift_ - shift_) + Other.mean_, Other.m2_, Other.m3_, Other.m4_};
  const TMom r = MergeMom({n_, mean_, m2_, m3_, m4_}, b);
  n_ = r.n, mean_ = r.mean, m2_ = r.m2, m3_ = r.m3, m4_ = r.m4;
}

std::vector<double> TMomentsPartial::State() const { return {kMomentsTag, n_, shift_, mean_, m2_, m3_, m4_}; }

void TMomentsPartial::Finish(double& Mean, double& Variance, double& Skewness, double& Kurtosis) const {
  if (n_ == 0) {
    Mean = Variance = Skewness = Kurtosis = kNaN;
    return;
  }
  Mean = shift_ + mean_;
  Variance = m2_ / (n_ - 1.0);
  const double v = m2_ / n_;
  Skewness = (m3_ / n_) / std::pow(v, 1.5);
  Kurtosis = (m4_ / n_) / (v * v);
}

// ---------------------------------------------------------------- TComomentsPartial

TComomentsPartial::TComomentsPartial(int Cols) {
  if (Cols < 1) ERaise("TComomentsPartial: Cols < 1");
  p_ = Cols;
  const std::size_t p = static_cast<std::size_t>(Cols);
  shift_.assign(p, 0.0);
  mean_.assign(p, 0.0);
  c_.assign(p * p, 0.0);
}

TComomentsPartial::TComomentsPartial(std::span<const double> State) {
  const auto bad = [] { ERaise("TComomentsPartial: State is not a comoments state"); };
  if (State.size() < 3 || State[0] != kComomentsTag || !IsCount(State[1]) || State[1] < 1 || State[1] > 46340 ||
      !IsCount(State[2]))
    bad();
  const std::size_t p = static_cast<std::size_t>(State[1]);
  if (State.size() != 3 + 2 * p + p * p) bad();
  p_ = static_cast<int>(p);
  n_ = State[2];
  shift_.assign(State.begin() + 3, State.begin() + 3 + static_cast<std::ptrdiff_t>(p));
  for (const double k : shift_)
    if (!std::isfinite(k)) bad();
  mean_.assign(State.begin() + 3 + static_cast<std::ptrdiff_t>(p), State.begin() + 3 + 2 * static_cast<std::ptrdiff_t>(p));
  c_.assign(State.begin() + 3 + 2 * static_cast<std::ptrdiff_t>(p), State.end());
}

template <class T>
void TComomentsPartial::AddRows(std::span<const T> x) {
  const std::size_t p = static_cast<std::size_t>(p_), rows = x.size() / p;
  if (rows == 0) return;
  const Eigen::Index ip = p_;
  if (n_ == 0)
    for (std::size_t j = 0; j < p; ++j) shift_[j] = FirstFinite(x.subspan(j, 1));
  const RowVecD K = Eigen::Map<const RowVecD>(shift_.data(), ip);
  RowMat<double> buf;
  const TCo b = TreeComoments(x.data(), rows, p, K, buf);
  TCo a;
  a.n = n_;
  a.mean = Eigen::Map<const RowVecD>(mean_.data(), ip);
  a.c = Eigen::Map<const RowMat<double>>(c_.data(), ip, ip);
  MergeCoInto(a, b);
  n_ = a.n;
  Eigen::Map<RowVecD>(mean_.data(), ip) = a.mean;
  Eigen::Map<RowMat<double>>(c_.data(), ip, ip) = a.c;
}

void TComomentsPartial::Add(const TMtx& X) {
  if (X.Complex()) ERaise("TComomentsPartial.Add: X.Complex");
  if (X.IsEmpty()) return;
  if (X.Cols() != p_) ERaise("TComomentsPartial.Add: X.Cols <> Cols");
  WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    AddRows<T>(X.Span<T>());
  });
}
void TComomentsPartial::Add(std::span<const double> X) {
  if (X.size() % static_cast<std::size_t>(p_)) ERaise("TComomentsPartial.Add: X.Length mod Cols <> 0");
  AddRows(X);
}
void TComomentsPartial::Add(std::span<const float> X) {
  if (X.size() % static_cast<std::size_t>(p_)) ERaise("TComomentsPartial.Add: X.Length mod Cols <> 0");
  AddRows(X);
}

void TComomentsPartial::Merge(const TComomentsPartial& Other) {
  if (Other.p_ != p_) ERaise("TComomentsPartial.Merge: Other.Cols <> Cols");
  if (Other.n_ == 0) return;
  if (n_ == 0) {
    *this = Other;
    return;
  }
  const Eigen::Index ip = p_;
  TCo a, b;
  a.n = n_;
  a.mean = Eigen::Map<const RowVecD>(mean_.data(), ip);
  a.c = Eigen::Map<const RowMat<double>>(c_.data(), ip, ip);
  b.n = Other.n_;
  b.mean = Eigen::Map<const RowVecD>(Other.mean_.data(), ip);
  b.mean += Eigen::Map<const RowVecD>(Other.shift_.data(), ip) - Eigen::Map<const RowVecD>(shift_.data(), ip);
  b.c = Eigen::Map<const RowMat<double>>(Other.c_.data(), ip, ip);
  MergeCoInto(a, b);
  n_ = a.n;
  Eigen::Map<RowVecD>(mean_.data(), ip) = a.mean;
  Eigen::Map<RowMat<double>>(c_.data(), ip, ip) = a.c;
}

std::vector<double> TComomentsPartial::State() const {
  std::vector<double> s{kComomentsTag, static_cast<double>(p_), n_};
  s.insert(s.end(), shift_.begin(), shift_.end());
  s.insert(s.end(), mean_.begin(), mean_.end());
  s.insert(s.end(), c_.begin(), c_.end());
  return s;
}

void TComomentsPartial::Finish(TVec& Mean, TMtx& Covariance, TMtx& Correlation) const {
  const std::size_t p = static_cast<std::size_t>(p_);
  Mean.Size(p_, mvDouble);
  Covariance.Size(p_, p_, mvDouble);
  Correlation.Size(p_, p_, mvDouble);
  auto m = Mean.Span<double>();
  auto cv = Covariance.Span<double>();
  auto cr = Correlation.Span<double>();
  for (std::size_t j = 0; j < p; ++j) m[j] = n_ == 0 ? kNaN : shift_[j] + mean_[j];
  for (std::size_t k = 0; k < p * p; ++k) cv[k] = n_ == 0 ? kNaN : c_[k] / (n_ - 1.0);
  // As CorrCoef: the diagonal is v / v, exactly 1 unless the variance is 0, infinite or NaN.
  for (std::size_t i = 0; i < p; ++i)
    for (std::size_t j = 0; j < p; ++j) {
      const double v = cv[i * p + j];
      cr[i * p + j] = i == j ? v / v : v / (std::sqrt(cv[i * p + i]) * std::sqrt(cv[j * p + j]));
    }
}

// ---------------------------------------------------------------- THistogramPartial

THistogramPartial::THistogramPartial(double Min, double Max, int NumBins) {
  if (NumBins <= 0) ERaise("THistogramPartial: NumBins <= 0");
  if (!(Min <= Max) || !std::isfinite(Min) || !std::isfinite(Max)) ERaise("THistogramPartial: Min > Max or not finite");
  if (NumBins == INT32_MAX) ERaise("THistogramPartial: NumBins + 1 edges exceed the largest vector");
  // As Histogram: a single value has no width, so the limits widen by about one unit per bin.
  if (Min == Max) {
    const double half = NumBins * 0.5;
    Min = Min - std::floor(half) - 0.5;
    Max = std::ceil(half) + Max + 0.5;
  }
  min_ = Min;
  max_ = Max;
  bins_ = NumBins;
  counts_.assign(static_cast<std::size_t>(NumBins), 0.0);
}

THistogramPartial::THistogramPartial(std::span<const double> State) {
  if (State.size() < 4 || State[0] != kHistogramTag || !std::isfinite(State[1]) || !std::isfinite(State[2]) ||
      !(State[1] < State[2]) || !IsCount(State[3]) || State[3] < 1 || State[3] >= INT32_MAX || static_cast<double>(State.size()) != 4 + State[3])
    ERaise("THistogramPartial: State is not a histogram state");
  min_ = State[1];
  max_ = State[2];
  bins_ = static_cast<int>(State[3]);
  counts_.assign(State.begin() + 4, State.end());
}

template <class T>
void THistogramPartial::Count(std::span<const T> x) {
  if (x.empty()) return;
  TVecIntScratch counts;
  counts->Size(bins_, prInt32);
  counts->SetZero();
  auto c = counts->Span<std::int32_t>();
  const double inv = 1.0 / ((max_ - min_) / bins_);  // the reciprocal width Histogram uses
  for (std::size_t i0 = 0; i0 < x.size(); i0 += kCountBlock) {  // int32 counts cannot overflow
    const auto xb = x.subspan(i0, std::min(kCountBlock, x.size() - i0));
    if constexpr (std::is_same_v<T, double>) {
      HistogramCount_Idx(xb, c, min_, max_, inv);
    } else if (FitsSingle(min_) && FitsSingle(max_) && FitsSingle(inv)) {
      sHistogramCount_Idx(xb, c, static_cast<float>(min_), static_cast<float>(max_), static_cast<float>(inv));
    } else {
      TVecScratch wide;
      wide->Size(static_cast<int>(xb.size()), mvDouble);
      auto w = wide->Span<double>();
      for (std::size_t i = 0; i < xb.size(); ++i) w[i] = static_cast<double>(xb[i]);
      HistogramCount_Idx(std::as_const(*wide).Span<double>(), c, min_, max_, inv);
    }
    for (std::size_t i = 0; i < counts_.size(); ++i) counts_[i] += c[i];
    std::fill(c.begin(), c.end(), 0);
  }
}

void THistogramPartial::Add(const TVec& Data) {
  if (Data.Complex()) ERaise("THistogramPartial.Add: Data.Complex");
  WithPrecision(Data, [&](auto t) {
    using T = typename decltype(t)::type;
    Count<T>(Data.Span<T>());
  });
}
void THistogramPartial::Add(std::span<const double> Data) { Count(Data); }
void THistogramPartial::Add(std::span<const float> Data) { Count(Data); }

void THistogramPartial::Merge(const THistogramPartial& Other) {
  if (Other.min_ != min_ || Other.max_ != max_ || Other.bins_ != bins_) ERaise("THistogramPartial.Merge: different bins");
  for (std::size_t i = 0; i < counts_.size(); ++i) counts_[i] += Other.counts_[i];
}

std::vector<double> THistogramPartial::State() const {
  std::vector<double> s{kHistogramTag, min_, max_, static_cast<double>(bins_)};
  s.insert(s.end(), counts_.begin(), counts_.end());
  return s;
}

void THistogramPartial::Finish(TVec& Counts, TVec& Edges) const {
  Counts.Size(bins_, mvDouble);
  std::copy(counts_.begin(), counts_.end(), Counts.Span<double>().begin());
  const double w = (max_ - min_) / bins_;
  Edges.Size(bins_ + 1, mvDouble);
  auto e = Edges.Span<double>();
  for (std::size_t i = 0; i < e.size(); ++i) e[i] = min_ + static_cast<double>(i) * w;
}

}  // namespace Statistics
