// The frame every variate routine shares: fresh seeds and the private one-stream generator.
#pragma once

#include <cstdint>
#include <span>

#include "core/Dispatch.h"
#include "core/Random.h"
#include "core/ScalarMath.h"

namespace StatRandom::detail {

/// The open unit interval of the inverse-transform methods: [2^-52, 1 - 2^-52].
inline constexpr double kOpenLow = 0x1.0p-52;
inline constexpr double kOpenHigh = 0x1.ffffffffffffep-1;

/// Seed = -1 becomes round(Random() * (2^32 - 1)) taken as a 32-bit integer (wrapping, so that
/// fresh seeds cover the whole 32-bit range); other seeds are used as they are.
inline int ResolveSeed(int Seed) {
  if (Seed != -1) return Seed;
  const auto r = static_cast<std::uint32_t>(Kalix::Round(Kalix::Random() * 4294967295.0));
  return static_cast<int>(r);
}

/// The call's own generator: one stream of kind 2 seeded with the 32-bit pattern of Seed.
class TPrivateStream {
 public:
  explicit TPrivateStream(int Seed) {
    gen_.SetStreamCount(1);
    gen_.Init(Kalix::brgXoshiro256PlusPlus, static_cast<std::uint32_t>(ResolveSeed(Seed)));
  }
  Kalix::TRngStream& operator*() { return gen_.GetStream(0); }
  Kalix::TRngStream* operator->() { return &gen_.GetStream(0); }

 private:
  Kalix::TRandomGenerator gen_;
};

/// f(span<T>) over the elements of a real container, T float or double.
template <class F>
void ForEachSpan(Kalix::TDenseKalix& X, F&& f) {
  Kalix::WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    f(X.Span<T>());
  });
}

/// X[i] = g(X[i]) computed in double, stored in X's precision.
template <class G>
void Transform(Kalix::TDenseKalix& X, G g) {
  ForEachSpan(X, [&](auto s) {
    using T = typename decltype(s)::value_type;
    for (auto& v : s) v = static_cast<T>(g(static_cast<double>(v)));
  });
}

}  // namespace StatRandom::detail
