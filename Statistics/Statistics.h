// Statistics: descriptive statistics, distribution fits, hypothesis tests, multivariate
// analysis and designs. Every routine checks its arguments in a fixed order and raises
// Kalix::EKalixError with the texts quoted below; outputs are sized by the routine.
#pragma once

#include <span>

#include "core/KalixCore.h"

namespace Statistics {

using Kalix::TDenseKalix;
using Kalix::TMtx;
using Kalix::TVec;
using Kalix::TVecInt;

// ---------------------------------------------------------------- percentiles and ranks

/// P-th percentile (0 <= P <= 1) of X by Method. Raises "Percentile: X.Complex", then
/// "Percentile: (P < 0) or (P > 1)". A NaN P gives NaN; NaNs in X sort above every number.
KALIX_EXPORT double Percentile(const TVec& X, double P, TPercentileMethod Method = pctMethodNPlus);
/// Percentiles[i] = percentile P[i] of X (X sorted once; P values outside 0..1 are clamped by
/// the rule, not refused). Raises "Percentile: P.Length = 0", "Percentile: P.Length <>
/// Percentiles.Length", "Percentile: X.Complex", in that order.
KALIX_EXPORT void Percentile(const TVec& X, std::span<const double> P, std::span<double> Percentiles,
                             TPercentileMethod Method = pctMethodNPlus);
/// Percentile(X, 0.75) - Percentile(X, 0.25) by Method; messages as the scalar Percentile.
KALIX_EXPORT double InterQuartile(const TVec& X, TPercentileMethod Method = pctMethodNPlus);
/// Sorts X ascending in place (deliberately) and sets Result[i] = sorted X[Idx[i]], Idx being
/// the sort permutation (original position of each sorted element).
KALIX_EXPORT void Ranks(TVec& X, TVec& Result);
/// Average ranks (1-based; ties share the mean of their ranks) in Result, sized like X, and
/// TieSum = sum over tie groups of (t^3 - t)/2. An empty X leaves Result untouched, TieSum 0.
KALIX_EXPORT void TiedRanks(const TVec& X, TVec& Result, double& TieSum);

}  // namespace Statistics
