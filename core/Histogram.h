// Equal-width histogram counting: the tight loop under Statistics::Histogram.
#pragma once

#include <cstdint>
#include <span>

#include "kalix_export.h"

namespace Kalix {

/// Adds one to Counts[floor((x - Min) * InvWidth)] for every x of Data in [Min, Max]; a value
/// equal to Max goes in the last bin. Values outside [Min, Max] and NaNs are not counted.
/// Counts is not cleared first, so successive calls accumulate.
KALIX_EXPORT void HistogramCount_Idx(std::span<const double> Data, std::span<std::int32_t> Counts, double Min,
                                     double Max, double InvWidth);
/// The single-precision entry point of HistogramCount_Idx (limits and width in single).
KALIX_EXPORT void sHistogramCount_Idx(std::span<const float> Data, std::span<std::int32_t> Counts, float Min, float Max,
                                      float InvWidth);

}  // namespace Kalix
