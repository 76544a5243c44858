// The empirical distribution function, the Kolmogorov and Smirnov tests (exact and asymptotic)
// and Pearson's chi-square test of fit.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "Statistics/Statistics.h"
#include "Statistics/detail/HypothesisRule.h"
#include "Statistics/detail/KolmogorovDistribution.h"
#include "Statistics/detail/SortedSample.h"

namespace Statistics {

using namespace Kalix;
using detail::AlphaInRange;
using detail::Decide;
using detail::KnownTail;
using detail::QuietNan;
using detail::SortedCopy;
using detail::SortedHasNan;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Exact one-sample p-values below this many untied values; exact two-sample ones while n1 n2
// stays below kSmirnovExactProduct.
constexpr int kKolmogorovExactBelow = 100;
constexpr double kSmirnovExactProduct = 10000.0;

double Clamp01(double p) { return std::min(1.0, std::max(0.0, p)); }

// ---------------------------------------------------------------- empirical CDF

template <class T>
bool SameValue(T a, T b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}

template <class T>
void EcdfAtDistinct(const TVec& Data, TVec& X, TVec& F) {
  TVecScratch buf;
  auto s = SortedCopy<T>(Data, *buf);
  const bool nan = SortedHasNan<T>(s);
  const std::size_t n = s.size();
  std::size_t k = 0;
  for (std::size_t i = 0; i < n; ++i)
    if (i + 1 == n || !SameValue(s[i], s[i + 1])) ++k;
  X.Size(static_cast<int>(k), Data.FloatPrecision());
  F.Size(static_cast<int>(k), Data.FloatPrecision());
  auto x = X.Span<T>();
  auto f = F.Span<T>();
  std::size_t j = 0;
  for (std::size_t i = 0; i < n; ++i) {
    if (i + 1 < n && SameValue(s[i], s[i + 1])) continue;  // F jumps at the last of equal values
    x[j] = s[i];
    f[j] = nan ? T(NAN) : static_cast<T>(static_cast<double>(i + 1) / static_cast<double>(n));
    ++j;
  }
}

template <class T>
void EcdfAtPoints(const TVec& Data, std::span<const double> Points, TVec& F) {
  TVecScratch buf;
  auto s = SortedCopy<T>(Data, *buf);
  const bool nan = SortedHasNan<T>(s);
  const double n = static_cast<double>(s.size());
  F.Size(static_cast<int>(Points.size()), Data.FloatPrecision());
  auto f = F.Span<T>();
  for (std::size_t i = 0; i < Points.size(); ++i) {
    const double p = Points[i];
    if (nan || std::isnan(p)) {
      f[i] = T(NAN);
      continue;
    }
    // The point is compared in the data's precision, so a value and its own point agree; a point
    // beyond that precision's range is compared as it stands.
    const auto le = std::fabs(p) <= static_cast<double>(std::numeric_limits<T>::max())
                        ? std::upper_bound(s.begin(), s.end(), static_cast<T>(p))
                        : std::upper_bound(s.begin(), s.end(), p,
                                           [](double v, T e) { return v < static_cast<double>(e); });
    f[i] = static_cast<T>(static_cast<double>(le - s.begin()) / n);
  }
}

// ---------------------------------------------------------------- one-sample Kolmogorov

struct TOneSampleD {
  double dPlus = 0, dMinus = 0;
  bool ties = false, nan = false;
};

// D+ = max(i/n - u(i)), D- = max(u(i) - (i-1)/n) over the sorted CDF values.
template <class T>
TOneSampleD OneSampleD(const TVec& DataCDF) {
  TVecScratch buf;
  auto u = SortedCopy<T>(DataCDF, *buf);
  TOneSampleD r;
  r.nan = SortedHasNan<T>(u);
  if (r.nan) return r;
  const double n = static_cast<double>(u.size());
  r.dPlus = r.dMinus = -HUGE_VAL;
  for (std::size_t i = 0; i < u.size(); ++i) {
    const double ui = static_cast<double>(u[i]);
    r.dPlus = std::max(r.dPlus, static_cast<double>(i + 1) / n - ui);
    r.dMinus = std::max(r.dMinus, ui - static_cast<double>(i) / n);
    if (i > 0 && u[i] == u[i - 1]) r.ties = true;
  }
  return r;
}

template <class T>
bool OutsideUnit(const TVec& X) {
  for (T v : X.Span<T>())
    if (v < T(0) || v > T(1)) return true;
  return false;
}

// ---------------------------------------------------------------- two-sample Smirnov

// Integer form of the statistics: D = Dint / (n1 n2) with Dint = max |i n2 - j n1| over the ends of
// the tie blocks of the pooled sample (i of Data1 and j of Data2 at or below the block's value).
struct TTwoSampleD {
  std::int64_t plus = 0, minus = 0;
  bool nan = false;
};

template <class T>
TTwoSampleD TwoSampleD(const TVec& Data1, const TVec& Data2, std::vector<char>* blockEnd) {
  TVecScratch b1, b2;
  auto x = SortedCopy<T>(Data1, *b1);
  auto y = SortedCopy<T>(Data2, *b2);
  TTwoSampleD r;
  r.nan = SortedHasNan<T>(x) || SortedHasNan<T>(y);
  if (r.nan) return r;
  const std::size_t m = x.size(), n = y.size();
  const auto m64 = static_cast<std::int64_t>(m), n64 = static_cast<std::int64_t>(n);
  if (blockEnd) blockEnd->assign(m + n + 1, 0);
  std::size_t i = 0, j = 0;
  while (i < m || j < n) {
    const T v = (j == n || (i < m && x[i] <= y[j])) ? x[i] : y[j];
    while (i < m && x[i] == v) ++i;
    while (j < n && y[j] == v) ++j;
    const std::int64_t diff = static_cast<std::int64_t>(i) * n64 - static_cast<std::int64_t>(j) * m64;
    r.plus = std::max(r.plus, diff);
    r.minus = std::max(r.minus, -diff);
    if (blockEnd) (*blockEnd)[i + j] = 1;
  }
  return r;
}

// P(statistic >= observed) under random assignment of the pooled values to the two samples, given
// the pooled values (ties included): lattice paths from (0, 0) to (m, n), each equally likely,
// that reach the boundary at the end of some tie block (Schroer & Trenkler 1995). w(i, j) is the
// probability that a random path to (i, j) has already reached it; the weights i/(i+j) and
// j/(i+j) keep every entry a probability, so nothing overflows and no 1 - P cancels.
double SmirnovExactUpper(int m, int n, std::int64_t dInt, THypothesisType hType, const std::vector<char>& blockEnd) {
  if (dInt <= 0) return 1.0;
  const std::int64_t m64 = m, n64 = n;
  auto reached = [&](int i, int j) {
    if (!blockEnd[static_cast<std::size_t>(i + j)]) return false;
    const std::int64_t diff = i * n64 - j * m64;
    switch (hType) {
      case htRightTailed: return diff >= dInt;
      case htLeftTailed: return -diff >= dInt;
      default: return diff >= dInt || -diff >= dInt;
    }
  };
  std::vector<double> w(static_cast<std::size_t>(n) + 1);
  w[0] = 0.0;
  for (int j = 1; j <= n; ++j) w[static_cast<std::size_t>(j)] = reached(0, j) ? 1.0 : w[static_cast<std::size_t>(j) - 1];
  for (int i = 1; i <= m; ++i) {
    const double di = i;
    w[0] = reached(i, 0) ? 1.0 : w[0];
    for (int j = 1; j <= n; ++j) {
      const auto sj = static_cast<std::size_t>(j);
      w[sj] = reached(i, j) ? 1.0 : (w[sj] * di + w[sj - 1] * j) / (di + j);
    }
  }
  return w[static_cast<std::size_t>(n)];
}

}  // namespace

// ---------------------------------------------------------------- exported

void EmpiricalCDF(const TVec& Data, TVec& X, TVec& F) {
  if (Data.Complex()) ERaise("EmpiricalCDF: Data.Complex = true");
  if (Data.Length() == 0) ERaise("EmpiricalCDF: Data.Length = 0");
  WithPrecision(Data, [&](auto t) {
    using T = typename decltype(t)::type;
    EcdfAtDistinct<T>(Data, X, F);
  });
}

void EmpiricalCDF(const TVec& Data, std::span<const double> Points, TVec& F) {
  if (Data.Complex()) ERaise("EmpiricalCDF: Data.Complex = true");
  if (Data.Length() == 0) ERaise("EmpiricalCDF: Data.Length = 0");
  WithPrecision(Data, [&](auto t) {
    using T = typename decltype(t)::type;
    EcdfAtPoints<T>(Data, Points, F);
  });
}

double GOFKolmogorov(const TVec& DataCDF, THypothesisResult& hRes, double& Signif, THypothesisType hType,
                     double Alpha) {
  if (DataCDF.Complex()) ERaise("GOFKolmogorov: Data.Complex = true");
  if (DataCDF.Length() == 0) ERaise("GOFKolmogorov: Data.Length = 0");
  const bool outside = WithPrecision(DataCDF, [&](auto t) { return OutsideUnit<typename decltype(t)::type>(DataCDF); });
  if (outside) ERaise("GOFKolmogorov: (DataCDF < 0) or (DataCDF > 1)");
  if (!AlphaInRange(Alpha) || !KnownTail(hType)) return QuietNan(hRes, Signif, nullptr);
  const TOneSampleD s =
      WithPrecision(DataCDF, [&](auto t) { return OneSampleD<typename decltype(t)::type>(DataCDF); });
  if (s.nan) return QuietNan(hRes, Signif, nullptr);
  const int n = DataCDF.Length();
  const bool exact = n < kKolmogorovExactBelow && !s.ties;
  double D;
  if (hType == htTwoTailed) {
    D = std::max(s.dPlus, s.dMinus);
    Signif = exact ? 1.0 - detail::KolmogorovExactCDF(n, D) : detail::KolmogorovUpper(std::sqrt(double(n)) * D);
  } else {
    D = hType == htRightTailed ? s.dPlus : s.dMinus;
    Signif = exact ? detail::OneSidedExactUpper(n, D) : std::exp(-2.0 * n * D * D);
  }
  Signif = Clamp01(Signif);
  hRes = Decide(Signif, D, Alpha);
  return D;
}

double GOFKolmogorov(const TVec& Data1, const TVec& Data2, THypothesisResult& hRes, double& Signif,
                     THypothesisType hType, double Alpha) {
  if (Data1.Complex() || Data2.Complex()) ERaise("GOFKolmogorov: (Data1.Complex) or (Data2.Complex)");
  if (Data1.Length() == 0 || Data2.Length() == 0) ERaise("GOFKolmogorov: (Data1.Length = 0) or (Data2.Length = 0)");
  if (!AlphaInRange(Alpha) || !KnownTail(hType)) return QuietNan(hRes, Signif, nullptr);
  const int m = Data1.Length(), n = Data2.Length();
  const double mn = static_cast<double>(m) * n;
  const bool exact = mn < kSmirnovExactProduct;
  std::vector<char> blockEnd;
  // Mixed precisions are compared in double.
  const TVec* a = &Data1;
  const TVec* b = &Data2;
  TVecScratch wide1, wide2;
  if (Data1.FloatPrecision() != Data2.FloatPrecision()) {
    wide1->Size(m, mvDouble);
    wide2->Size(n, mvDouble);
    for (int i = 0; i < m; ++i) wide1->Values(i) = Data1.Values(i);
    for (int i = 0; i < n; ++i) wide2->Values(i) = Data2.Values(i);
    a = &*wide1;
    b = &*wide2;
  }
  const TTwoSampleD s = WithPrecision(*a, [&](auto t) {
    return TwoSampleD<typename decltype(t)::type>(*a, *b, exact ? &blockEnd : nullptr);
  });
  if (s.nan) return QuietNan(hRes, Signif, nullptr);
  const std::int64_t dInt = hType == htTwoTailed ? std::max(s.plus, s.minus) : hType == htRightTailed ? s.plus : s.minus;
  const double D = static_cast<double>(dInt) / mn;
  if (exact) {
    Signif = SmirnovExactUpper(m, n, dInt, hType, blockEnd);
  } else {
    const double ne = mn / (m + n);
    Signif = hType == htTwoTailed ? detail::KolmogorovUpper(std::sqrt(ne) * D) : std::exp(-2.0 * ne * D * D);
  }
  Signif = Clamp01(Signif);
  hRes = Decide(Signif, D, Alpha);
  return D;
}

double GOFChi2Test(const TVec& Observed, const TVec& Expected, THypothesisResult& hRes, double& Signif,
                   int& SmallCount, int NumEstimated, double Alpha) {
  if (Observed.Complex() || Expected.Complex()) ERaise("GOFChi2Test: (Observed.Complex) or (Expected.Complex)");
  const int k = Observed.Length();
  if (k != Expected.Length()) ERaise("GOFChi2Test: Observed.Length <> Expected.Length");
  if (k < 2) ERaise("GOFChi2Test: Observed.Length < 2");
  double sumO = 0, sumE = 0;
  for (int i = 0; i < k; ++i) {
    const double o = Observed.Values(i);
    if (!(o >= 0.0) || !std::isfinite(o)) ERaise("GOFChi2Test: Observed < 0 or not finite");
    sumO += o;
  }
  for (int i = 0; i < k; ++i) {
    const double e = Expected.Values(i);
    if (!(e >= 0.0) || !std::isfinite(e)) ERaise("GOFChi2Test: Expected < 0 or not finite");
    sumE += e;
  }
  if (NumEstimated < 0 || NumEstimated > k - 2)
    ERaise("GOFChi2Test: (NumEstimated < 0) or (NumEstimated > Observed.Length - 2)");
  // Probabilities sum to 1, counts to the observed total; single-precision inputs round more.
  const double tol = (Observed.FloatPrecision() == mvSingle || Expected.FloatPrecision() == mvSingle) ? 1e-5 : 1e-8;
  double scale;
  if (std::fabs(sumE - 1.0) <= tol) {
    scale = sumO;
  } else if (std::fabs(sumE - sumO) <= tol * sumO) {
    scale = 1.0;
  } else {
    ERaise("GOFChi2Test: Sum(Expected) <> 1 and <> Sum(Observed)");
  }
  SmallCount = 0;
  if (!AlphaInRange(Alpha)) return QuietNan(hRes, Signif, nullptr);
  double chi2 = 0;
  for (int i = 0; i < k; ++i) {
    const double e = Expected.Values(i) * scale;
    const double d = Observed.Values(i) - e;
    // An empty expected cell adds nothing when it is empty, +Inf (an impossible fit) otherwise.
    if (d != 0.0) chi2 += d * d / e;
    if (e < 5.0) ++SmallCount;
  }
  const double df = k - 1.0 - NumEstimated;
  Signif = std::isnan(chi2) ? kNaN : 1.0 - ChiSquareCDF(chi2, df);
  hRes = Decide(Signif, chi2, Alpha);
  return chi2;
}

}  // namespace Statistics
