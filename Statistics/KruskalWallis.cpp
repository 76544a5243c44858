// Kruskal-Wallis rank test of k independent samples given as data plus group numbers.

#include <algorithm>
#include <cmath>
#include <cstdint>

#include <boost/math/special_functions/gamma.hpp>

#include "Statistics/Statistics.h"
#include "Statistics/detail/HypothesisRule.h"

namespace Statistics {

using namespace Kalix;
using detail::AlphaInRange;
using detail::Decide;
using detail::QuietNan;

// Kruskal & Wallis (1952, JASA 47, 583-621): H = 12 / (N (N+1)) sum_j R_j^2 / n_j - 3 (N+1) over
// the midranks of the pooled sample, divided by 1 - sum (t^3 - t) / (N^3 - N) for the ties;
// chi-square with (groups present - 1) degrees of freedom.
double KruskalWallis(const TVec& Data, const TVecInt& GroupIndex, THypothesisResult& hRes, double& Signif,
                     double Alpha) {
  if (Data.Complex()) ERaise("KruskalWallis: Data.Complex or GroupIndex.Complex");
  if (Data.Length() != GroupIndex.Length()) ERaise("KruskalWallis: Data.Length <> GroupIndex.Length");
  if (GroupIndex.IntPrecision() != prInt32) ERaise("KruskalWallis: GroupIndex.IntPrecision <> prInt32");
  auto g = GroupIndex.Span<std::int32_t>();
  if (!g.empty() && *std::min_element(g.begin(), g.end()) < 0) ERaise("KruskalWallis: GroupIndex < 0");
  if (!AlphaInRange(Alpha)) return QuietNan(hRes, Signif, nullptr);
  const std::size_t N = g.size();
  const bool nan = WithPrecision(Data, [&](auto t) {
    using T = typename decltype(t)::type;
    auto x = Data.Span<T>();
    return std::any_of(x.begin(), x.end(), [](T v) { return std::isnan(v); });
  });
  if (nan || N < 2) return QuietNan(hRes, Signif, nullptr);

  // Group numbers may be sparse: number the distinct ones 0 .. k-1.
  TVecIntScratch levelBuf;
  levelBuf->Size(static_cast<int>(N), prInt32);
  auto levels = levelBuf->Span<std::int32_t>();
  std::copy(g.begin(), g.end(), levels.begin());
  std::sort(levels.begin(), levels.end());
  const std::size_t k = static_cast<std::size_t>(std::unique(levels.begin(), levels.end()) - levels.begin());
  if (k < 2) return QuietNan(hRes, Signif, nullptr);
  TVecScratch ranks, sums;
  double tieSum = 0.0;
  TiedRanks(Data, *ranks, tieSum);
  sums->Size(2 * static_cast<int>(k), mvDouble);
  sums->SetZero();
  auto s = sums->Span<double>();  // rank sums, then counts
  const auto levelsEnd = levels.begin() + static_cast<std::ptrdiff_t>(k);
  WithPrecision(Data, [&](auto t) {
    using T = typename decltype(t)::type;
    auto r = ranks->Span<T>();
    for (std::size_t i = 0; i < N; ++i) {
      const auto j = static_cast<std::size_t>(std::lower_bound(levels.begin(), levelsEnd, g[i]) - levels.begin());
      s[j] += static_cast<double>(r[i]);
      s[k + j] += 1.0;
    }
  });
  double q = 0.0;
  for (std::size_t j = 0; j < k; ++j) q += s[j] * s[j] / s[k + j];
  const double n = static_cast<double>(N);
  const double H0 = 12.0 / (n * (n + 1.0)) * q - 3.0 * (n + 1.0);
  // TiedRanks reports sum (t^3 - t) / 2 over the tied groups.
  const double H = H0 / (1.0 - 2.0 * tieSum / (n * n * n - n));
  Signif = boost::math::gamma_q(0.5 * static_cast<double>(k - 1), 0.5 * std::max(H, 0.0));
  hRes = Decide(Signif, H, Alpha);
  return H;
}

}  // namespace Statistics
