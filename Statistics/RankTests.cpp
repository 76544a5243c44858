// Sign, signed-rank and rank-sum tests, and Spearman's rank correlation.

#include <algorithm>
#include <cmath>
#include <limits>

#include "Statistics/Statistics.h"
#include "Statistics/detail/HypothesisRule.h"
#include "Statistics/detail/RankDistributions.h"

namespace Statistics {

using namespace Kalix;
using detail::AlphaInRange;
using detail::Decide;
using detail::KnownTail;
using detail::QuietNan;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Where the exact distributions give way to the normal approximation.
constexpr int kSignExactBelow = 20;
constexpr int kSignedRankExactBelow = 15;
constexpr int kMannWhitneyEnumerateUpTo = 7;

// p-values above 1 (two-tailed doubling) or NaN are reported as 1.
double ClampSignif(double p) { return (p > 1.0 || std::isnan(p)) ? 1.0 : p; }

struct TSignCounts {
  double n = 0, npos = 0;
};

// Elements above Median count positive, equal ones are dropped; everything else (a NaN too)
// counts negative. The difference is taken in the data's precision.
TSignCounts CountSigns(const TVec& Data, double Median) {
  return WithPrecision(Data, [&](auto t) {
    using T = typename decltype(t)::type;
    const T med = static_cast<T>(Median);
    TSignCounts c;
    for (T x : Data.Span<T>()) {
      const T d = x - med;
      if (d > T(0)) c.npos += 1.0;
      if (d != T(0)) c.n += 1.0;
    }
    return c;
  });
}

double SignTestKernel(const TVec& Data, double Median, THypothesisResult& hRes, double& Signif,
                      THypothesisType hType, double Alpha) {
  if (!KnownTail(hType)) return QuietNan(hRes, Signif, nullptr);
  const TSignCounts c = CountSigns(Data, Median);
  const double n = c.n, npos = c.npos, nneg = n - npos;
  const double S = std::min(nneg, npos);
  if (n < kSignExactBelow) {
    const double F = BinomCDF(npos, n, 0.5);
    // Deliberate: the right tail is P(X > npos), excluding npos itself.
    Signif = hType == htRightTailed ? 1.0 - F : hType == htLeftTailed ? F : 2.0 * BinomCDF(Round(S), n, 0.5);
  } else if (hType == htTwoTailed) {
    const double d = npos - nneg;
    const double z = -std::fabs(d - Sgn(d)) / std::sqrt(n);  // continuity: one unit of d towards 0
    Signif = 2.0 * NormalCDF(z, 0.0, 1.0);
  } else {
    const double F = NormalCDF((2.0 * npos - n) / std::sqrt(n), 0.0, 1.0);
    Signif = hType == htRightTailed ? 1.0 - F : F;
  }
  Signif = ClampSignif(Signif);
  hRes = Decide(Signif, S, Alpha);
  return S;
}

struct TSignedRanks {
  double n = 0, wPlus = 0, wMinus = 0, tieSum = 0;
  bool nan = false;
};

// Non-zero differences from Median (taken in the data's precision), their absolute values'
// midranks in Ranks, and the positive and negative rank sums.
TSignedRanks RankDifferences(const TVec& Data, double Median, TVec& Ranks) {
  TVecScratch diff, absDiff;
  const int kept = WithPrecision(Data, [&](auto t) {
    using T = typename decltype(t)::type;
    auto x = Data.Span<T>();
    diff->Size(static_cast<int>(x.size()), mvDouble);
    auto d = diff->Span<double>();
    std::size_t k = 0;
    for (T v : x) {
      const T dv = v - static_cast<T>(Median);
      if (dv != T(0)) d[k++] = static_cast<double>(dv);
    }
    return static_cast<int>(k);
  });
  diff->Resize(kept);
  absDiff->Copy(*diff);
  Abs(*absDiff);
  TSignedRanks s;
  TiedRanks(*absDiff, Ranks, s.tieSum);
  if (kept == 0) Ranks.Size(0, mvDouble);
  s.n = kept;
  auto d = diff->Span<double>();
  auto r = Ranks.Span<double>();
  for (std::size_t i = 0; i < d.size(); ++i) {
    if (d[i] > 0.0) s.wPlus += r[i];
    else if (d[i] < 0.0) s.wMinus += r[i];
    else s.nan = true;
  }
  return s;
}

double WilcoxonKernel(const TVec& Data, double Median, THypothesisResult& hRes, double& Signif, TTwoElmReal& ConfInt,
                      THypothesisType hType, double Alpha) {
  if (!AlphaInRange(Alpha) || !KnownTail(hType)) return QuietNan(hRes, Signif, nullptr);
  TVecScratch ranks;
  const TSignedRanks s = RankDifferences(Data, Median, *ranks);
  const double n = s.n;
  const double W = s.nan ? kNaN : std::min(s.wPlus, s.wMinus);
  const double mu = 0.25 * n * (n + 1.0);
  if (n < kSignedRankExactBelow) {
    const double F = detail::SignedRankExactCDF(ranks->Span<double>(), s.tieSum != 0.0, W);
    // Deliberate: every tail is read at the smaller sum W.
    Signif = hType == htRightTailed ? 1.0 - F : hType == htTwoTailed ? 2.0 * F : F;
  } else {
    const double sdTies = std::sqrt(n * (n + 1.0) * (2.0 * n + 1.0) - s.tieSum) / std::sqrt(24.0);
    if (hType == htTwoTailed) {
      Signif = 2.0 * NormalCDF((W - mu) / sdTies, 0.0, 1.0);
    } else {
      const double F = NormalCDF(((s.nan ? kNaN : s.wPlus) - mu) / sdTies, 0.0, 1.0);
      Signif = hType == htRightTailed ? 1.0 - F : F;
    }
  }
  Signif = ClampSignif(Signif);
  // Critical bounds of the rank sum, without tie correction, for every hType.
  const double sigma = std::sqrt(n * (n + 1.0) * (2.0 * n + 1.0) / 24.0);
  ConfInt = {Round(NormalCDFInv(0.5 * Alpha, 0.0, 1.0) * sigma + mu - 0.5),
             Round(NormalCDFInv(1.0 - 0.5 * Alpha, 0.0, 1.0) * sigma + mu + 0.5)};
  hRes = Decide(Signif, W, Alpha);
  return W;
}

bool HasNaN(const TVec& X) {
  return WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    for (T v : X.Span<T>())
      if (std::isnan(v)) return true;
    return false;
  });
}

// Sorted copy of X in dst (sized here); false when X holds a NaN.
bool SortedCopy(const TVec& X, TVec& dst) {
  dst.Size(X.Length(), mvDouble);
  auto d = dst.Span<double>();
  for (std::size_t i = 0; i < d.size(); ++i) {
    d[i] = X.Values(static_cast<int>(i));
    if (std::isnan(d[i])) return false;
  }
  std::sort(d.begin(), d.end());
  return true;
}

// Sum of the midranks of Data1's values in the pooled sample, NaN if any value is NaN. Both
// samples are sorted on their own and merged tie group by tie group: a group of c1 + c2 equal
// values after `below` smaller ones has the midrank below + (c1 + c2 + 1) / 2. Half-integers
// below 2^52, so the sum is exact whatever the order.
double FirstSampleRankSum(const TVec& Data1, const TVec& Data2) {
  TVecScratch s1, s2;
  if (!SortedCopy(Data1, *s1) || !SortedCopy(Data2, *s2)) return kNaN;
  const auto x = s1->Span<double>();
  const auto y = s2->Span<double>();
  std::size_t i = 0, j = 0;
  double r1 = 0.0;
  while (i < x.size() || j < y.size()) {
    const double v = j == y.size() || (i < x.size() && x[i] < y[j]) ? x[i] : y[j];
    const std::size_t below = i + j;
    std::size_t c1 = 0, c2 = 0;
    for (; i < x.size() && x[i] == v; ++i) ++c1;
    for (; j < y.size() && y[j] == v; ++j) ++c2;
    r1 += static_cast<double>(c1) * (static_cast<double>(below) + 0.5 * static_cast<double>(c1 + c2 + 1));
  }
  return r1;
}

}  // namespace

double SignTest(const TVec& Data, double Median, THypothesisResult& hRes, double& Signif, TTwoElmReal& /*ConfInt*/,
                THypothesisType hType, double Alpha) {
  if (Data.Complex()) ERaise("SignTest: Data.Complex = true");
  if (!AlphaInRange(Alpha)) ERaise("SignTest: (Alpha<=0) or (Alpha>=1)");
  return SignTestKernel(Data, Median, hRes, Signif, hType, Alpha);
}

double SignTest(const TVec& Data1, const TVec& Data2, THypothesisResult& hRes, double& Signif, TTwoElmReal& ConfInt,
                THypothesisType hType, double Alpha) {
  if (Data1.Length() != Data2.Length()) ERaise("SignTest: (Data1.Length <> Data2.Length)");
  if (Data1.Complex() || Data2.Complex()) ERaise("SignTest: vectors must be real");
  if (!AlphaInRange(Alpha)) ERaise("SignTest :(Alpha<=0) or (Alpha>=1)");  // Deliberate: blank before the colon
  TVecScratch d;
  d->Copy(Data1);
  Sub(*d, Data2);
  return SignTest(*d, 0.0, hRes, Signif, ConfInt, hType, Alpha);
}

double WilcoxonSign(const TVec& Data, double Median, THypothesisResult& hRes, double& Signif, TTwoElmReal& ConfInt,
                    THypothesisType hType, double Alpha) {
  if (Data.Complex()) ERaise("WilcoxonSign: Data.Complex = true");
  return WilcoxonKernel(Data, Median, hRes, Signif, ConfInt, hType, Alpha);
}

double WilcoxonSign(const TVec& Data1, const TVec& Data2, THypothesisResult& hRes, double& Signif,
                    TTwoElmReal& ConfInt, THypothesisType hType, double Alpha) {
  if (Data1.Length() != Data2.Length()) ERaise("WilcoxonSign: (Data1.Length <> Data2.Length)");
  if (Data1.Complex() || Data2.Complex()) ERaise("WilcoxonSign: vectors must be real");
  if (!AlphaInRange(Alpha)) ERaise("WilcoxonSign :(Alpha<=0) or (Alpha>=1)");  // Deliberate: blank before the colon
  TVecScratch d;
  d->Copy(Data1);
  Sub(*d, Data2);
  return WilcoxonKernel(*d, 0.0, hRes, Signif, ConfInt, hType, Alpha);
}

double MannWhitneyTest(const TVec& Data1, const TVec& Data2, THypothesisResult& hRes, double& Signif,
                       TTwoElmReal& /*ConfInt*/, THypothesisType hType, double Alpha, bool NormalApprox) {
  hRes = hrNotReject;
  Signif = 1.0;
  if (Data1.Complex() || Data2.Complex()) ERaise("MannWhitneyTest: vectors must be real");
  if (!AlphaInRange(Alpha)) ERaise("MannWhitneyTest :(Alpha<=0) or (Alpha>=1)");  // Deliberate: blank before the colon
  if (!KnownTail(hType)) return QuietNan(hRes, Signif, nullptr);
  const int n1 = Data1.Length(), n2 = Data2.Length();
  const double d1 = n1, d2 = n2;
  const double U1 = 0.5 * (d1 + 1.0) * d1 + d1 * d2 - FirstSampleRankSum(Data1, Data2);
  const double U = std::min(U1, d1 * d2 - U1);
  double F;
  if (NormalApprox) {
    // No tie or continuity correction.
    F = NormalCDF((U - 0.5 * d1 * d2) / std::sqrt((d1 + d2 + 1.0) * d1 * d2 / 12.0), 0.0, 1.0);
  } else if (n1 > kMannWhitneyEnumerateUpTo || n2 > kMannWhitneyEnumerateUpTo) {
    F = detail::MannWhitneyExactCDF(n1, n2, U);
  } else {
    F = MannWCDF1(n1, n2, U);
  }
  // Deliberate: two-tailed is 2 F at the smaller U, not clamped to 1.
  Signif = hType == htRightTailed ? 1.0 - F : hType == htTwoTailed ? 2.0 * F : F;
  hRes = Decide(Signif, U, Alpha);
  return U;
}

void SpearmanRankCorr(const TVec& X, const TVec& Y, double& Rs, THypothesisResult& hRes, double& Signif,
                      TTwoElmReal& ConfInt, THypothesisType hType, double Alpha) {
  if (X.Complex() || Y.Complex()) ERaise("SpearmanRankCorr: (X.Complex) or (Y.Complex)");
  if (X.Length() != Y.Length()) ERaise("SpearmanRankCorr: X.Length <> Y.Length");
  if (!KnownTail(hType)) {
    Rs = QuietNan(hRes, Signif, &ConfInt);
    return;
  }
  const double n = X.Length();
  Rs = 0.0;
  TVecScratch rx, ry;
  double tx = 0.0, ty = 0.0;
  TiedRanks(X, *rx, tx);
  TiedRanks(Y, *ry, ty);
  // Sum of squared rank differences, in double whatever the ranks' precision.
  const double D2 = WithPrecision(X, [&](auto a) {
    using TX = typename decltype(a)::type;
    return WithPrecision(Y, [&](auto b) {
      using TY = typename decltype(b)::type;
      auto u = rx->Span<TX>();
      auto v = ry->Span<TY>();
      double s0 = 0.0, s1 = 0.0;
      std::size_t i = 0;
      for (; i + 1 < u.size(); i += 2) {
        const double e0 = static_cast<double>(u[i]) - static_cast<double>(v[i]);
        const double e1 = static_cast<double>(u[i + 1]) - static_cast<double>(v[i + 1]);
        s0 += e0 * e0;
        s1 += e1 * e1;
      }
      if (i < u.size()) {
        const double e = static_cast<double>(u[i]) - static_cast<double>(v[i]);
        s0 += e * e;
      }
      return s0 + s1;
    });
  });
  if (HasNaN(X) || HasNaN(Y)) Rs = NAN;  // ranks would place a NaN last and hide it
  const double S = (IntPower(n, 3) - n) / 3.0;
  const double A = 0.5 * (S - (tx + ty) / 3.0);
  const double B = (0.5 * S - tx / 3.0) * (0.5 * S - ty / 3.0);
  if (!std::isnan(Rs)) Rs = (A - D2) / (std::sqrt(n - 1.0) * std::sqrt(B / (n - 1.0)));
  const double t = Rs * std::sqrt((n - 2.0) / (1.0 - Rs * Rs));
  const double F = StudentCDF(t, n - 2.0);
  // Deliberate: both one-tailed types report F; only the two-tailed type is folded.
  Signif = hType == htTwoTailed ? 2.0 * std::min(1.0 - F, F) : F;
  // Fisher's z interval at the one-sided 1 - Alpha normal quantile, for every hType.
  const double zr = 0.5 * std::log((1.0 + Rs) / (1.0 - Rs));
  const double w = ErfInv(1.0 - 2.0 * Alpha) * SQRT2 / std::sqrt(n - 3.0);
  ConfInt = {std::tanh(zr - w), std::tanh(zr + w)};
  hRes = std::isfinite(Signif) ? (Signif <= Alpha ? hrReject : hrNotReject) : hrNan;
}

}  // namespace Statistics
