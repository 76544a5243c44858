// Exact Mann-Whitney test with ties: the conditional null distribution over the midranks.

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "Statistics/Statistics.h"
#include "Statistics/detail/HypothesisRule.h"

namespace Statistics {

using namespace Kalix;
using detail::AlphaInRange;
using detail::Decide;
using detail::KnownTail;
using detail::QuietNan;

namespace {

// Above this many cells in the (count, sum) table the tie-corrected normal law is used instead.
constexpr double kMaxTableCells = 32.0 * 1024.0 * 1024.0;  // 256 MiB

struct TShiftJob {
  const std::int32_t* a;
  const double* P;
  double* f;
  std::size_t N, m, W;
  double t;
};

// The table updates of SubsetSumCDF, item by item.
[[gnu::always_inline]] inline void ShiftTable(const TShiftJob& jb) {
  const std::int32_t* a = jb.a;
  const double* P = jb.P;
  double* f = jb.f;
  const std::size_t N = jb.N, m = jb.m, W = jb.W;
  const double t = jb.t;
  for (std::size_t i = 1; i <= N; ++i) {
    const std::size_t ai = static_cast<std::size_t>(a[i - 1]);
    const double rem = static_cast<double>(N - i + 1);
    const std::size_t jlo = m + i > N ? m + i - N : 0, jhi = std::min(i, m);
    for (std::size_t j = jhi + 1; j-- > jlo;) {
      const double hi = std::min(t - (P[i + m - j] - P[i]), P[i] - P[i - j]);
      if (hi < P[j]) continue;  // nothing in this row can still end at or below T
      const std::size_t len = static_cast<std::size_t>(hi - P[j]) + 1;
      const double c0 = (rem - static_cast<double>(m - j)) / rem, c1 = static_cast<double>(m - j + 1) / rem;
      double* __restrict row = f + j * W;
      // Sum s of row j sits at s - P[j]; it takes row j-1's sum s - a_i when item i is chosen.
      // (P[j] - P[j-1] = a_j <= a_i), so index k of row j takes index k - d of row j-1.
      const std::size_t d = j > 0 ? ai - static_cast<std::size_t>(a[j - 1]) : len;
      const std::size_t from = std::min(len, d);
      for (std::size_t k = 0; k < from; ++k) row[k] *= c0;
      if (from < len) {
        const double* __restrict prev = f + (j - 1) * W;
        for (std::size_t k = from; k < len; ++k) row[k] = c0 * row[k] + c1 * prev[k - d];
      }
    }
  }
}

// Wider vectors where the processor has them (no fused multiply-add, so the same bits).
#if defined(__GNUC__) && defined(__x86_64__) && defined(__ELF__)
[[gnu::target("avx512f")]] void ShiftAvx512(const TShiftJob& jb) { ShiftTable(jb); }
[[gnu::target("avx2")]] void ShiftAvx2(const TShiftJob& jb) { ShiftTable(jb); }
#endif

// P(sum of the scores of a random m-subset <= T) for integer scores a[0] <= ... <= a[N-1], by
// the shift algorithm (Streitberg & Roehmel 1986, Statistical Software Newsletter 12, 10-17):
// the joint distribution of (items chosen, score sum) is built one item at a time, each row
// shifted by the item's score. The table holds probabilities: given j chosen among the first
// i - 1 items, item i is chosen with probability (m - j) / (N - i + 1), so no count overflows
// and every update adds non-negative terms. Row j only keeps sums that can still end <= T:
// s + (the m - j smallest scores after item i) <= T, which also bounds every row's width by
// T - (sum of the m smallest scores) + 1. NaN when the table would exceed kMaxTableCells.
double SubsetSumCDF(std::span<const std::int32_t> a, std::size_t m, std::int64_t T) {
  const std::size_t N = a.size();
  TVecScratch prefixBuf, table;
  prefixBuf->Size(static_cast<int>(N + 1), mvDouble);
  auto P = prefixBuf->Span<double>();  // exact: sums of integers far below 2^53
  P[0] = 0.0;
  for (std::size_t i = 0; i < N; ++i) P[i + 1] = P[i] + static_cast<double>(a[i]);
  const double t = static_cast<double>(T);
  if (t < P[m]) return 0.0;
  if (t >= P[N] - P[N - m]) return 1.0;
  const std::size_t W = static_cast<std::size_t>(t - P[m]) + 1;
  if (static_cast<double>(W) * static_cast<double>(m + 1) > kMaxTableCells) return NAN;
  table->Size(static_cast<int>(W * (m + 1)), mvDouble);
  table->SetZero();
  double* f = table->Span<double>().data();
  f[0] = 1.0;
  const TShiftJob job{a.data(), P.data(), f, N, m, W, t};
#if defined(__GNUC__) && defined(__x86_64__) && defined(__ELF__)
  if (__builtin_cpu_supports("avx512f")) ShiftAvx512(job);
  else if (__builtin_cpu_supports("avx2")) ShiftAvx2(job);
  else ShiftTable(job);
#else
  ShiftTable(job);
#endif
  const double hiLast = std::min(t, P[N] - P[N - m]);
  double sum = 0.0;
  const double* last = f + m * W;
  for (std::size_t s = 0; s <= static_cast<std::size_t>(hiLast - P[m]); ++s) sum += last[s];
  return std::min(sum, 1.0);
}

struct TPooledScores {
  double u1 = 0, mean = 0, var = 0;  // U of sample 1 and its null mean and variance
  std::int64_t obs = 0;              // doubled midrank sum of the smaller sample
  bool firstSmaller = true, nan = false;
};

// Doubled midranks of the pooled sample (whole numbers), sorted into a, and the observed sums.
TPooledScores PoolAndScore(const TVec& Data1, const TVec& Data2, std::span<std::int32_t> a) {
  TPooledScores r;
  const std::size_t n1 = static_cast<std::size_t>(Data1.Length()), n2 = static_cast<std::size_t>(Data2.Length());
  const std::size_t N = n1 + n2;
  TVecScratch pooled, ranks;
  pooled->Size(static_cast<int>(N), mvDouble);
  auto p = pooled->Span<double>();
  for (std::size_t i = 0; i < n1; ++i) p[i] = Data1.Values(static_cast<int>(i));
  for (std::size_t i = 0; i < n2; ++i) p[n1 + i] = Data2.Values(static_cast<int>(i));
  r.nan = std::any_of(p.begin(), p.end(), [](double v) { return std::isnan(v); });
  if (r.nan) return r;
  double tieSum = 0.0;
  TiedRanks(*pooled, *ranks, tieSum);
  auto rk = ranks->Span<double>();
  double r1 = 0.0;
  std::int64_t d1 = 0, d2 = 0;
  for (std::size_t i = 0; i < N; ++i) {
    a[i] = static_cast<std::int32_t>(std::lround(2.0 * rk[i]));
    (i < n1 ? d1 : d2) += a[i];
    if (i < n1) r1 += rk[i];
  }
  std::sort(a.begin(), a.end());
  const double m1 = static_cast<double>(n1), m2 = static_cast<double>(n2), nn = m1 + m2;
  r.u1 = r1 - 0.5 * m1 * (m1 + 1.0);
  r.mean = 0.5 * m1 * m2;
  // TiedRanks reports sum (t^3 - t) / 2 over the tied groups.
  r.var = m1 * m2 / 12.0 * (nn + 1.0 - 2.0 * tieSum / (nn * (nn - 1.0)));
  r.firstSmaller = n1 <= n2;
  r.obs = r.firstSmaller ? d1 : d2;
  return r;
}

}  // namespace

// Streitberg & Roehmel (1986): the exact permutation distribution of the rank sum given the
// observed ties. Tails are read on U1 = R1 - n1 (n1 + 1) / 2 of Data1; the two-tailed p-value is
// P(|U - E U| >= |u1 - E U|), which is not twice the smaller tail when the ties are lopsided.
double MannWhitneyExact(const TVec& Data1, const TVec& Data2, THypothesisResult& hRes, double& Signif,
                        THypothesisType hType, double Alpha) {
  if (Data1.Complex() || Data2.Complex()) ERaise("MannWhitneyExact: vectors must be real");
  if (!AlphaInRange(Alpha) || !KnownTail(hType)) return QuietNan(hRes, Signif, nullptr);
  const std::size_t n1 = static_cast<std::size_t>(Data1.Length()), n2 = static_cast<std::size_t>(Data2.Length());
  if (n1 == 0 || n2 == 0) return QuietNan(hRes, Signif, nullptr);
  const std::size_t N = n1 + n2, m = std::min(n1, n2);
  TVecIntScratch scoreBuf, reflectBuf;
  scoreBuf->Size(static_cast<int>(N), prInt32);
  auto a = scoreBuf->Span<std::int32_t>();
  const TPooledScores sc = PoolAndScore(Data1, Data2, a);
  if (sc.nan) return QuietNan(hRes, Signif, nullptr);
  // The mirrored scores a_1 + a_N - a give the upper tail as a lower one.
  reflectBuf->Size(static_cast<int>(N), prInt32);
  auto b = reflectBuf->Span<std::int32_t>();
  const std::int32_t mirror = a[0] + a[N - 1];
  for (std::size_t i = 0; i < N; ++i) b[i] = mirror - a[N - 1 - i];
  const std::int64_t mm = static_cast<std::int64_t>(m) * mirror;
  // Doubled sums of the smaller sample: at most `lo` and at least `hi`.
  auto atMost = [&](std::int64_t lo) { return SubsetSumCDF(a, m, lo); };
  auto atLeast = [&](std::int64_t hi) { return SubsetSumCDF(b, m, mm - hi); };
  // U1 grows with the smaller sample's sum when that sample is Data1, shrinks otherwise.
  const bool up = sc.firstSmaller;
  if (hType == htTwoTailed) {
    // Sums of the smaller sample as far from their mean as observed, on either side.
    // The doubled midranks add up to N (N + 1), so the mean sum m (N + 1) is a whole number.
    const std::int64_t meanSum = static_cast<std::int64_t>(m) * static_cast<std::int64_t>(N + 1);
    const std::int64_t dev = sc.obs > meanSum ? sc.obs - meanSum : meanSum - sc.obs;
    const double both = atMost(meanSum - dev) + atLeast(meanSum + dev);
    Signif = both > 1.0 ? 1.0 : both;  // NaN (table too large) passes through
  } else {
    const bool lowerOfSum = (hType == htLeftTailed) == up;
    Signif = lowerOfSum ? atMost(sc.obs) : atLeast(sc.obs);
  }
  if (std::isnan(Signif)) {
    // Table too large: the normal law with the tie-corrected variance, no continuity correction.
    const double z = (sc.u1 - sc.mean) / std::sqrt(sc.var);
    Signif = hType == htRightTailed  ? NormalCDF(-z, 0.0, 1.0)
             : hType == htLeftTailed ? NormalCDF(z, 0.0, 1.0)
                                     : 2.0 * NormalCDF(-std::fabs(z), 0.0, 1.0);
  }
  hRes = Decide(Signif, sc.u1, Alpha);
  return sc.u1;
}

}  // namespace Statistics
