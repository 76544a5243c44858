// Mean and sample variance of one sample, shared by the t tests (internal, not installed).
#pragma once

#include "core/KalixCore.h"

namespace Statistics::detail {

struct TSampleMoments {
  double mean, var, n;
};

/// Mean and sample variance (divisor n - 1) in two passes, summed in the data's precision.
inline TSampleMoments MeanAndVariance(const Kalix::TVec& X) {
  return Kalix::WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    auto x = X.Span<T>();
    const T m = Kalix::Kern::Mean<T>(x);
    const double n = static_cast<double>(x.size());
    return TSampleMoments{static_cast<double>(m), static_cast<double>(Kalix::Kern::SumSqDev<T>(x, m)) / (n - 1.0), n};
  });
}

}  // namespace Statistics::detail
