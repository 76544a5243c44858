// The Weibull log-likelihood summed over precomputed logarithms of the data: the inner loop of
// the Weibull fit, called once per optimiser step (internal, not installed; exported from the
// library so that the tests can reach it).
#pragma once

#include <span>

#include "kalix_export.h"

namespace Statistics::detail {

/// The density floor of the Weibull objective: ln(f + 2^-52) keeps a zero density finite.
inline constexpr double kWeibullFloor = 2.220446049250313e-16;  // 2^-52

/// sum ln(f(x_i) + 2^-52) for the density f(x) = a b x^(b-1) exp(-a x^b), given LnX = ln x_i
/// and positive finite a, b. Vectorised where the processor allows, each term to within a few
/// ulps of the scalar formula; partial sums are kept in double.
KALIX_EXPORT double WeibullLogLikeSum(std::span<const double> LnX, double a, double b);
KALIX_EXPORT double WeibullLogLikeSum(std::span<const float> LnX, double a, double b);

/// The same sum one element at a time with the standard library's exp and log1p: the fallback
/// where no vector unit is found, and the yardstick of the vector kernel.
KALIX_EXPORT double WeibullLogLikeSumScalar(std::span<const double> LnX, double a, double b);
KALIX_EXPORT double WeibullLogLikeSumScalar(std::span<const float> LnX, double a, double b);

}  // namespace Statistics::detail
