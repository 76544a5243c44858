// One dispatch from a container's runtime precision to a kernel templated on float/double.
#pragma once

#include <type_traits>

#include "Containers.h"
#include "Errors.h"

namespace Kalix {

/// Calls f(std::type_identity<float>{}) or f(std::type_identity<double>{}) as x is single or
/// double. Complex data must have been refused by the caller's own check first.
template <class F>
decltype(auto) WithPrecision(const TKalixSample& x, F&& f) {
  switch (x.FloatPrecision()) {
    case mvSingle: return f(std::type_identity<float>{});
    case mvDouble: return f(std::type_identity<double>{});
    default: ERaise("Complex data are not supported by this routine");
  }
}

/// As WithPrecision for a precision tag.
template <class F>
decltype(auto) WithPrecision(TMtxFloatPrecision p, F&& f) {
  switch (p) {
    case mvSingle: return f(std::type_identity<float>{});
    case mvDouble: return f(std::type_identity<double>{});
    default: ERaise("Complex data are not supported by this routine");
  }
}

}  // namespace Kalix
