// Sample percentiles by five rules, the interquartile range, and ranks.

#include <cfloat>
#include <cmath>
#include <cstdint>

#include "Statistics/Statistics.h"

namespace Statistics {

using namespace Kalix;

namespace {

// Which order statistics a percentile needs: s[i0] * (1 - w) + s[i1] * w, zero-based, or a
// constant (0 for an unknown method, NaN for a NaN P).
struct TPercentilePlan {
  bool constant = false;
  double value = 0.0;
  std::size_t i0 = 0, i1 = 0;
  double w = 0.0;
  bool interpolate = false;
};

TPercentilePlan Single(std::size_t k1) { return {false, 0.0, k1 - 1, k1 - 1, 0.0, false}; }
TPercentilePlan Blend(std::size_t k1, double w) { return {false, 0.0, k1 - 1, k1, w, true}; }

// n*p for a decimal p such as 0.3 is rarely exact in binary (10 * 0.3 = 3.0000000000000004),
// which would flip the whole/fractional decisions below. A position within four ulps of a
// multiple of `unit` (1, or 0.5 for rounding) is taken as that multiple, as the user wrote it.
double Snap(double q, double unit) {
  const double m = std::round(q / unit) * unit;
  return std::fabs(q - m) <= 4.0 * DBL_EPSILON * std::fabs(q) ? m : q;
}

// Index rules on one-based order statistics s1 .. sn. k arrives as a whole double, so the
// comparisons with 1 and n are exact and no out-of-range value is ever cast to an integer.
TPercentilePlan Plan(std::size_t n, double p, TPercentileMethod method) {
  if (method < pctMethodNPlus || method > pctMethodEDFAve) return {true, 0.0};
  if (std::isnan(p)) return {true, NAN};
  // Every rule picks s1 from a single value (and an empty sample fails on s1 later). Deciding
  // it here also keeps an infinite P away from 0 * Inf positions when n is 0 or 1.
  if (n <= 1) return Single(1);
  const double dn = static_cast<double>(n);
  auto clampLow = [&](double k) { return k < 1.0; };
  switch (method) {
    case pctMethodNPlus:
    case pctMethodNMinus: {
      const double r = Snap(method == pctMethodNPlus ? (dn + 1.0) * p : (dn - 1.0) * p + 1.0, 1.0);
      double k, f;
      TruncAndFrac(r, k, f);
      if (clampLow(k)) return Single(1);
      if (k >= dn) return Single(n);
      return Blend(static_cast<std::size_t>(k), f);
    }
    case pctMethodClosestN: {
      const double k = Round(Snap(dn * p, 0.5));  // halves to even
      if (clampLow(k)) return Single(1);
      if (k > dn) return Single(n);
      return Single(static_cast<std::size_t>(k));
    }
    case pctMethodEDF: {
      const double q = Snap(dn * p, 1.0);
      double k, f;
      TruncAndFrac(q, k, f);
      if (f != 0.0) k += 1.0;
      if (clampLow(k)) return Single(1);
      if (k > dn) return Single(n);
      return Single(static_cast<std::size_t>(k));
    }
    default: {  // pctMethodEDFAve
      const double q = Snap(dn * p, 1.0);
      double k, f;
      TruncAndFrac(q, k, f);
      if (f == 0.0) {
        if (clampLow(k)) return Single(1);
        if (k > dn) return Single(n);
        return Single(static_cast<std::size_t>(k));
      }
      // Deliberate: a fractional n*p averages two order statistics, a whole one does not.
      k = std::ceil(q);
      if (clampLow(k)) return Single(1);
      if (k >= dn) return Single(n);
      return Blend(static_cast<std::size_t>(k), 0.5);
    }
  }
}

template <class T>
double Evaluate(const TPercentilePlan& plan, T s0, T s1) {
  if (plan.constant) return plan.value;
  // A whole position is s_k itself, also when its neighbour is infinite or NaN (0 * Inf).
  if (!plan.interpolate || plan.w == 0.0) return static_cast<double>(s0);
  return static_cast<double>(s0) * (1.0 - plan.w) + static_cast<double>(s1) * plan.w;
}

void RequireData(std::size_t n) {
  if (n == 0) ERaise("Values: index out of range");  // the rule reads s1 of an empty sample
}

// One percentile by selection: the same order statistics a full sort would give, at a
// fraction of the cost, and without copying the data.
template <class T>
double SelectPercentile(std::span<const T> x, double p, TPercentileMethod method) {
  const TPercentilePlan plan = Plan(x.size(), p, method);
  if (plan.constant) return plan.value;
  RequireData(x.size());
  T lo, hi;
  Kern::OrderStatPair(x, plan.i0, lo, hi);
  return Evaluate(plan, lo, plan.interpolate ? hi : lo);
}

}  // namespace

double Percentile(const TVec& X, double P, TPercentileMethod Method) {
  if (X.Complex()) ERaise("Percentile: X.Complex");
  if (P < 0 || P > 1) ERaise("Percentile: (P < 0) or (P > 1)");
  return WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    return SelectPercentile<T>(X.Span<T>(), P, Method);
  });
}

void Percentile(const TVec& X, std::span<const double> P, std::span<double> Percentiles, TPercentileMethod Method) {
  if (P.empty()) ERaise("Percentile: P.Length = 0");
  if (P.size() != Percentiles.size()) ERaise("Percentile: P.Length <> Percentiles.Length");
  if (X.Complex()) ERaise("Percentile: X.Complex");
  WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    TVecScratch sorted;
    sorted->Copy(X);
    auto s = sorted->Span<T>();
    Kern::SortAscend(s);
    for (std::size_t i = 0; i < P.size(); ++i) {
      const TPercentilePlan plan = Plan(s.size(), P[i], Method);
      if (!plan.constant) RequireData(s.size());
      Percentiles[i] = plan.constant ? plan.value : Evaluate(plan, s[plan.i0], s[plan.i1]);
    }
  });
}

double InterQuartile(const TVec& X, TPercentileMethod Method) {
  return Percentile(X, 0.75, Method) - Percentile(X, 0.25, Method);
}

void Ranks(TVec& X, TVec& Result) {
  // Deliberate: X itself is sorted, and Result gathers the sorted values by the sort
  // permutation (Result[i] = sorted[Idx[i]]); no checks beyond those of the sort.
  TVecIntScratch idx;
  SortAscend(X, *idx);
  GatherByIndex(Result, X, *idx);
}

namespace {

template <class T>
void TiedRanksKernel(std::span<const T> sorted, std::span<const std::int32_t> idx, std::span<T> result,
                     double& tieSum) {
  const std::size_t n = sorted.size();
  // Gives every element of the tie run ending at sorted position `last` the mean rank S / c.
  auto closeRun = [&](std::size_t last, double c, double S) {
    const T rank = static_cast<T>(S / c);
    for (std::size_t j = last + 1 - static_cast<std::size_t>(c); j <= last; ++j)
      result[static_cast<std::size_t>(idx[j])] = rank;
    tieSum += (c * c - 1.0) * c * 0.5;
  };
  double c = 1.0, S = 1.0;
  for (std::size_t i = 0; i + 1 < n; ++i) {
    const double nextRank = static_cast<double>(i) + 2.0;
    if (sorted[i] == sorted[i + 1]) {
      c += 1.0;
      S += nextRank;
      continue;
    }
    if (c > 1.0) {
      closeRun(i, c, S);
      c = 1.0;
    } else {
      result[static_cast<std::size_t>(idx[i])] = static_cast<T>(static_cast<double>(i) + 1.0);
    }
    S = nextRank;
  }
  if (c > 1.0) {
    closeRun(n - 1, c, S);
  } else {
    result[static_cast<std::size_t>(idx[n - 1])] = static_cast<T>(static_cast<double>(n));
  }
}

}  // namespace

void TiedRanks(const TVec& X, TVec& Result, double& TieSum) {
  TieSum = 0.0;
  if (X.Length() < 1) return;
  TVecScratch sorted;
  TVecIntScratch idx;
  sorted->Copy(X);
  SortAscend(*sorted, *idx);
  Result.Size(X);
  WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    TiedRanksKernel<T>(sorted->Span<T>(), idx->Span<std::int32_t>(), Result.Span<T>(), TieSum);
  });
}

}  // namespace Statistics
