// The decision rule and tail mapping shared by the hypothesis tests (internal, not installed).
#pragma once

#include <algorithm>
#include <cmath>

#include "core/StatTypes.h"

namespace Statistics::detail {

/// True for a significance level inside the open interval (0, 1); false for NaN.
inline bool AlphaInRange(double Alpha) { return Alpha > 0.0 && Alpha < 1.0; }

/// True for one of the three alternatives; a value cast from outside the enum is not.
inline bool KnownTail(THypothesisType hType) {
  return hType == htTwoTailed || hType == htRightTailed || hType == htLeftTailed;
}

/// hrNan when the p-value or the statistic is NaN or infinite, else hrReject exactly when
/// Signif <= Alpha (equality rejects).
inline THypothesisResult Decide(double Signif, double Stat, double Alpha) {
  if (!std::isfinite(Signif) || !std::isfinite(Stat)) return hrNan;
  return Signif <= Alpha ? hrReject : hrNotReject;
}

/// The p-value from F = P(statistic <= observed) under the null: 2 Min(F, 1 - F), 1 - F or F.
inline double TailSignif(double F, THypothesisType hType) {
  switch (hType) {
    case htTwoTailed: return 2.0 * std::min(1.0 - F, F);
    case htRightTailed: return 1.0 - F;
    default: return F;
  }
}

/// Probability of the critical quantile: 1 - Alpha/2 for the two-tailed test, else 1 - Alpha.
inline double CriticalP(double Alpha, THypothesisType hType) {
  return hType == htTwoTailed ? 1.0 - 0.5 * Alpha : 1.0 - Alpha;
}

/// Interval of half-width h about Estimate. Deliberate: the right-tailed test reports an upper
/// bound [-Inf, est + h] and the left-tailed test a lower bound [est - h, +Inf].
inline TTwoElmReal TailInterval(double Estimate, double h, THypothesisType hType) {
  const double inf = HUGE_VAL;
  switch (hType) {
    case htRightTailed: return {-inf, Estimate + h};
    case htLeftTailed: return {Estimate - h, inf};
    default: return {Estimate - h, Estimate + h};
  }
}

/// The quiet failure of a test given a bad Alpha (or an unknown hType): NaN p-value, hrNan,
/// and a NaN interval where the test writes one.
inline double QuietNan(THypothesisResult& hRes, double& Signif, TTwoElmReal* ConfInt) {
  hRes = hrNan;
  Signif = NAN;
  if (ConfInt) *ConfInt = {NAN, NAN};
  return NAN;
}

}  // namespace Statistics::detail
