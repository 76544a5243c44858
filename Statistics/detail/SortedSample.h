// A sorted copy of a sample in a scratch vector, shared by the goodness-of-fit and normality
// tests (internal, not installed).
#pragma once

#include <algorithm>
#include <cmath>
#include <span>

#include "core/KalixCore.h"

namespace Statistics::detail {

/// Copies Data into Buf (Data's precision) and sorts it ascending; NaNs end up last, so a NaN
/// anywhere shows as a NaN in the last element.
template <class T>
std::span<T> SortedCopy(const Kalix::TVec& Data, Kalix::TVec& Buf) {
  Buf.Size(Data.Length(), Data.FloatPrecision());
  auto s = Buf.Span<T>();
  auto d = Data.Span<T>();
  std::copy(d.begin(), d.end(), s.begin());
  Kalix::Kern::SortAscend<T>(s);
  return s;
}

/// True when a sorted span holds a NaN (NaNs sort last).
template <class T>
bool SortedHasNan(std::span<const T> s) {
  return !s.empty() && std::isnan(s.back());
}

}  // namespace Statistics::detail
