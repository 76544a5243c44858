// Exact null distributions of the rank statistics (internal, not installed; exported from the
// library so that the tests and the other rank tests can reach them).
#pragma once

#include <span>

#include "kalix_export.h"

namespace Statistics::detail {

/// P(W+ <= W) for the signed-rank statistic when each of the ranks R (any order, midranks
/// allowed when Ties) gets a random sign. W above the midpoint of 0 .. n(n+1)/2 is reflected
/// to the lower tail first, as the two-sided test wants. With Ties the ranks and W are doubled
/// so that midranks are whole. NaN for a NaN W or a negative or NaN rank.
KALIX_EXPORT double SignedRankExactCDF(std::span<const double> R, bool Ties, double W);

/// P(U' <= Round(U)) for the Mann-Whitney U of samples of sizes n1 and n2 without ties, from
/// the exact frequency recursion kept in probabilities (no overflow at 500 x 500). NaN for
/// U > n1 n2, a NaN U or a negative size.
KALIX_EXPORT double MannWhitneyExactCDF(int n1, int n2, double U);
/// The same from exact multi-word integer counts throughout (slower; the check of the double
/// path). NaN beyond C(n1 + n2, n1) = 2^2046.
KALIX_EXPORT double MannWhitneyExactCDFIntegers(int n1, int n2, double U);

}  // namespace Statistics::detail
