#pragma once
// The one-way ANOVA table from its sums of squares, shared by ANOVA1 and the mergeable partial.

#include "Regress/Regress.h"

namespace Regress::detail {

/// Fills r from the between and within sums (F = 0 without between-group spread, Inf without
/// within-group spread) and sets p, the F test's p-value.
void OneWayResult(double SSB, double SSW, double SST, double dfB, double dfW, double Alpha, double& p,
                  TANOVA1Result& r);

}  // namespace Regress::detail
