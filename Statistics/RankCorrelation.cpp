// Kendall's rank correlation tau-b and its test of independence.

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "Statistics/Statistics.h"
#include "core/Sorting.h"
#include "Statistics/detail/HypothesisRule.h"

namespace Statistics {

using namespace Kalix;
using detail::AlphaInRange;
using detail::Decide;
using detail::KnownTail;
using detail::QuietNan;

namespace {

// Below this many untied pairs the p-value comes from the exact permutation distribution.
constexpr std::size_t kKendallExactBelow = 50;

// Sums over the groups of t tied values: t(t-1), t(t-1)(t-2) and t(t-1)(2t+5).
struct TTieSums {
  double pairs = 0, triples = 0, varTerm = 0;
  void Add(double t) {
    pairs += t * (t - 1.0);
    triples += t * (t - 1.0) * (t - 2.0);
    varTerm += t * (t - 1.0) * (2.0 * t + 5.0);
  }
};

struct TKendall {
  double n = 0, S = 0;  // S = concordant - discordant pairs
  TTieSums tx, ty;
  bool nan = false;
};

// Sorts y[lo, hi) by merging runs of doubling width, counting the pairs i < j with y[i] > y[j]
// (equal values are not exchanged, so tied pairs are not counted).
std::int64_t SortCountingExchanges(double* y, double* buf, std::size_t n) {
  std::int64_t exchanges = 0;
  // Insertion sort of short runs first: cheaper than the first merge passes.
  constexpr std::size_t kRun = 16;
  for (std::size_t lo = 0; lo < n; lo += kRun) {
    const std::size_t hi = std::min(lo + kRun, n);
    for (std::size_t i = lo + 1; i < hi; ++i) {
      const double v = y[i];
      std::size_t j = i;
      for (; j > lo && y[j - 1] > v; --j) y[j] = y[j - 1];
      exchanges += static_cast<std::int64_t>(i - j);
      y[j] = v;
    }
  }
  double* src = y;
  double* dst = buf;
  for (std::size_t width = kRun; width < n; width *= 2) {
    for (std::size_t lo = 0; lo < n; lo += 2 * width) {
      const std::size_t mid = std::min(lo + width, n), hi = std::min(lo + 2 * width, n);
      std::size_t i = lo, j = mid, k = lo;
      // Branch-free: which side moves is data-dependent and unpredictable.
      while (i < mid && j < hi) {
        const bool right = src[j] < src[i];
        dst[k++] = right ? src[j] : src[i];
        exchanges += right ? static_cast<std::int64_t>(mid - i) : 0;
        j += right;
        i += !right;
      }
      while (i < mid) dst[k++] = src[i++];
      while (j < hi) dst[k++] = src[j++];
    }
    std::swap(src, dst);
  }
  if (src != y) std::copy(src, src + n, y);
  return exchanges;
}

// Knight (1966, JASA 61, 436-439): sort the pairs by x (then y within tied x), count the tied
// groups, then count the exchanges a merge sort of the y values needs: each one is a
// discordant pair.
TKendall KendallCounts(const TVec& X, const TVec& Y) {
  TKendall k;
  const std::size_t n = static_cast<std::size_t>(X.Length());
  k.n = static_cast<double>(n);
  TVecScratch xBuf, yBuf, mergeBuf;
  TVecIntScratch order;
  xBuf->Size(X.Length(), mvDouble);
  yBuf->Size(X.Length(), mvDouble);
  mergeBuf->Size(X.Length(), mvDouble);  // holds y in data order until the merge sort needs it
  auto xs = xBuf->Span<double>();
  auto ys = mergeBuf->Span<double>();
  WithPrecision(X, [&](auto a) {
    using TX = typename decltype(a)::type;
    WithPrecision(Y, [&](auto b) {
      using TY = typename decltype(b)::type;
      auto x = X.Span<TX>();
      auto y = Y.Span<TY>();
      for (std::size_t i = 0; i < n; ++i) {
        xs[i] = static_cast<double>(x[i]);
        ys[i] = static_cast<double>(y[i]);
        k.nan = k.nan || std::isnan(xs[i]) || std::isnan(ys[i]);
      }
    });
  });
  if (k.nan || n < 2) return k;
  order->Size(X.Length(), prInt32);
  auto idx = order->Span<std::int32_t>();
  Kern::SortAscendIdx<double>(xs, idx);
  double* y = yBuf->Span<double>().data();
  for (std::size_t i = 0; i < n; ++i) y[i] = ys[static_cast<std::size_t>(idx[i])];
  double joint = 0.0;  // pairs tied in both x and y
  for (std::size_t i = 0; i < n;) {
    std::size_t j = i + 1;
    while (j < n && xs[j] == xs[i]) ++j;
    if (j - i > 1) {
      k.tx.Add(static_cast<double>(j - i));
      std::sort(y + i, y + j);  // tied x: order by y, so these pairs count as neither
      for (std::size_t a = i; a < j;) {
        std::size_t b = a + 1;
        while (b < j && y[b] == y[a]) ++b;
        const double t = static_cast<double>(b - a);
        joint += 0.5 * t * (t - 1.0);
        a = b;
      }
    }
    i = j;
  }
  const double exchanges = static_cast<double>(SortCountingExchanges(y, ys.data(), n));
  for (std::size_t i = 0; i < n;) {
    std::size_t j = i + 1;
    while (j < n && y[j] == y[i]) ++j;
    if (j - i > 1) k.ty.Add(static_cast<double>(j - i));
    i = j;
  }
  const double n0 = 0.5 * k.n * (k.n - 1.0);
  k.S = n0 - 0.5 * k.tx.pairs - 0.5 * k.ty.pairs + joint - 2.0 * exchanges;
  return k;
}

// Tails P(C <= c) and P(C >= c) for the number C of concordant pairs among n untied pairs
// under independence. C is distributed as the number of inversions of a random permutation,
// symmetric about n(n-1)/4, whose frequencies follow f_i(c) = sum_{j<i} f_{i-1}(c - j)
// (Kendall 1938). Only the smaller tail is built, in probabilities, summed directly (no
// running differences) so that it keeps its relative accuracy far out.
void ConcordantTails(std::size_t n, double c, double& lower, double& upper) {
  const double n0 = 0.5 * static_cast<double>(n) * static_cast<double>(n - 1);
  const bool low = c <= 0.5 * n0;
  const double k = low ? c : n0 - c;  // P(C >= c) = P(C <= n0 - c)
  if (k < 0.0) {
    lower = low ? 0.0 : 1.0;
    upper = low ? 1.0 : 0.0;
    return;
  }
  const std::size_t K = static_cast<std::size_t>(k);
  TVecScratch curBuf, nextBuf;
  curBuf->Size(static_cast<int>(K + 1), mvDouble);
  nextBuf->Size(static_cast<int>(K + 1), mvDouble);
  curBuf->SetZero();
  double* cur = curBuf->Span<double>().data();
  double* next = nextBuf->Span<double>().data();
  cur[0] = 1.0;
  for (std::size_t i = 2; i <= n; ++i) {
    const double w = 1.0 / static_cast<double>(i);
    for (std::size_t s = 0; s <= K; ++s) {
      double acc = 0.0;
      for (std::size_t j = 0; j < i && j <= s; ++j) acc += cur[s - j];
      next[s] = acc * w;
    }
    std::swap(cur, next);
  }
  double tail = 0.0;
  for (std::size_t s = 0; s <= K; ++s) tail += cur[s];
  tail = std::min(tail, 1.0);
  const double other = std::min(1.0, 1.0 - tail + cur[K]);  // the far side includes c itself
  lower = low ? tail : other;
  upper = low ? other : tail;
}

// Variance of S under independence with ties in both rankings (Kendall 1970, Rank Correlation
// Methods, ch. 4).
double TiedVarianceOfS(const TKendall& k) {
  const double n = k.n;
  return (n * (n - 1.0) * (2.0 * n + 5.0) - k.tx.varTerm - k.ty.varTerm) / 18.0 +
         k.tx.triples * k.ty.triples / (9.0 * n * (n - 1.0) * (n - 2.0)) +
         k.tx.pairs * k.ty.pairs / (2.0 * n * (n - 1.0));
}

double KendallSignif(const TKendall& k, THypothesisType hType) {
  const std::size_t n = static_cast<std::size_t>(k.n);
  double lower, upper;  // P(S <= s) and P(S >= s)
  if (n < kKendallExactBelow && k.tx.pairs == 0.0 && k.ty.pairs == 0.0) {
    const double n0 = 0.5 * k.n * (k.n - 1.0);
    ConcordantTails(n, std::round(0.5 * (k.S + n0)), lower, upper);  // C = (S + n0) / 2
  } else {
    const double z = k.S / std::sqrt(TiedVarianceOfS(k));
    lower = NormalCDF(z, 0.0, 1.0);
    upper = NormalCDF(-z, 0.0, 1.0);
  }
  switch (hType) {
    case htRightTailed: return upper;
    case htLeftTailed: return lower;
    default: return std::min(1.0, 2.0 * std::min(lower, upper));
  }
}

}  // namespace

void KendallTau(const TVec& X, const TVec& Y, double& Tau, THypothesisResult& hRes, double& Signif,
                THypothesisType hType, double Alpha) {
  if (X.Complex() || Y.Complex()) ERaise("KendallTau: (X.Complex) or (Y.Complex)");
  if (X.Length() != Y.Length()) ERaise("KendallTau: X.Length <> Y.Length");
  if (!AlphaInRange(Alpha) || !KnownTail(hType)) {
    Tau = QuietNan(hRes, Signif, nullptr);
    return;
  }
  const TKendall k = KendallCounts(X, Y);
  const double n0 = 0.5 * k.n * (k.n - 1.0);
  if (k.nan || k.n < 2.0) {
    Tau = QuietNan(hRes, Signif, nullptr);
    return;
  }
  Tau = k.S / (std::sqrt(n0 - 0.5 * k.tx.pairs) * std::sqrt(n0 - 0.5 * k.ty.pairs));
  Signif = KendallSignif(k, hType);
  hRes = Decide(Signif, Tau, Alpha);
}

}  // namespace Statistics
