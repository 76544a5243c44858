// Enums and records shared by the statistics namespaces. Ordinals are part of the interface.
#pragma once

#include <array>

namespace Statistics {

/// Alternative hypothesis of a test.
enum THypothesisType : int { htTwoTailed, htRightTailed, htLeftTailed };
/// Outcome of a test; hrNan when the statistic or p-value could not be formed.
enum THypothesisResult : int { hrNotReject, hrReject, hrNan };
/// Rule for a sample percentile.
enum TPercentileMethod : int { pctMethodNPlus, pctMethodNMinus, pctMethodClosestN, pctMethodEDF, pctMethodEDFAve };
/// A confidence interval: element 0 the lower bound, element 1 the upper bound.
using TTwoElmReal = std::array<double, 2>;

}  // namespace Statistics
