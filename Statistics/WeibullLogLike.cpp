// The Weibull log-likelihood over ln x, the inner loop of the Weibull fit: with L = ln x and
// h = a exp(b L), ln f = ln a + ln b + (b - 1) L - h. The objective adds the floor 2^-52 to the
// density: ln(f + 2^-52) = ln f + log1p(u), u = 2^-52 / f = exp(ln 2^-52 - ln f). For a typical
// element u < 5.6e-9, so log1p(u) = u to 1.6e-17 and the term needs exp(b L) to full precision
// and u only roughly (it is below 1e-8 of the term): one exponential per element, computed a
// vector at a time (Highway's exp, where installed; AVX-512 or AVX2 chosen at run time), u from
// a short polynomial. Vectors holding a density near or below the floor, or an exponent near
// overflow, take the scalar formula element by element.

#ifndef KALIX_WEIBULL_LOGLIKE_ONCE
#define KALIX_WEIBULL_LOGLIKE_ONCE

#include "Statistics/detail/WeibullLogLike.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

namespace Statistics::detail::weibull {

// Gaps ln 2^-52 - ln f below this take log1p(u) = u.
constexpr double kSmallGap = -19;
// Terms summed in the working precision before they join the double total.
constexpr std::size_t kBlock = 1024;

// sum ln f (or the floor's share) with Neumaier's compensation, and sum log1p(u): 1e5 terms
// then carry about one rounding of the total instead of one per term, so the optimiser's
// comparisons near the minimum see the likelihood, not the order of the additions.
struct TSums {
  double Terms = 0, Lost = 0, Floors = 0;

  void Add(double v) {
    const double t = Terms + v;
    Lost += std::fabs(Terms) >= std::fabs(v) ? (Terms - t) + v : (v - t) + Terms;
    Terms = t;
  }
  double Total() const { return Terms + Lost + Floors; }
};

template <class T>
struct TWeibullConsts {
  T c0, bm1, a, b, lnFloor;
  TWeibullConsts(double A, double B)
      : c0(static_cast<T>(std::log(A) + std::log(B))),
        bm1(static_cast<T>(B - 1)),
        a(static_cast<T>(A)),
        b(static_cast<T>(B)),
        lnFloor(static_cast<T>(std::log(kWeibullFloor))) {}
};

// One element by the scalar formula; a density below the floor takes the terms the other way
// round, ln(f + e) = ln e + log1p(f / e), so that no exponential overflows.
template <class T>
inline void AddElement(T l, const TWeibullConsts<T>& k, TSums& s) {
  const T lf = k.c0 + k.bm1 * l - k.a * std::exp(k.b * l);
  const T gap = k.lnFloor - lf;
  if (gap < static_cast<T>(kSmallGap)) {
    s.Add(static_cast<double>(lf));
    s.Floors += static_cast<double>(std::exp(gap));
  } else {
    s.Add(static_cast<double>(gap > T(0) ? k.lnFloor : lf));
    s.Floors += static_cast<double>(std::log1p(std::exp(-std::fabs(gap))));
  }
}

template <class T>
double ScalarSum(std::span<const T> lnX, double a, double b) {
  const TWeibullConsts<T> k(a, b);
  TSums s;
  for (const T l : lnX) AddElement(l, k, s);
  return s.Total();
}

}  // namespace Statistics::detail::weibull

#endif  // KALIX_WEIBULL_LOGLIKE_ONCE

#if defined(KALIX_HAVE_HWY) && defined(__x86_64__)
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Statistics/WeibullLogLike.cpp"
#ifndef HWY_TARGETS
#define HWY_TARGETS (HWY_AVX3 | HWY_AVX2)
#endif
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>
#include <hwy/contrib/math/math-inl.h>

HWY_BEFORE_NAMESPACE();
namespace Statistics::detail::weibull::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// exp(x) for x < -19 to about 5e-5 relative, enough for the floor's share u: u is below
// 5.6e-9 of its term, and the sum of all shares below 1e-8 of the likelihood, so the error
// stays under a rounding of the total. x = k ln 2 + r, |r| <= ln 2 / 2, e^r by its Taylor
// polynomial to r^4, 2^k from the exponent bits; below the smallest normal 2^k, x is clamped
// there (u is then below 1e-300 of its term).
template <class D, class V>
HWY_INLINE V RoughExp(D d, V x) {
  using T = hn::TFromD<D>;
  const hn::RebindToSigned<D> di;
  using TI = hn::TFromD<decltype(di)>;
  constexpr int kMantissa = std::numeric_limits<T>::digits - 1;
  constexpr int kBias = std::numeric_limits<T>::max_exponent - 1;
  x = hn::Max(x, hn::Set(d, static_cast<T>(kBias == 127 ? -87.0 : -700.0)));
  const V k = hn::Round(hn::Mul(x, hn::Set(d, static_cast<T>(1.4426950408889634))));
  const V r = hn::MulAdd(k, hn::Set(d, static_cast<T>(-0.6931471805599453)), x);
  V p = hn::Set(d, static_cast<T>(1.0 / 24));
  p = hn::MulAdd(p, r, hn::Set(d, static_cast<T>(1.0 / 6)));
  p = hn::MulAdd(p, r, hn::Set(d, static_cast<T>(0.5)));
  p = hn::MulAdd(p, r, hn::Set(d, T(1)));
  p = hn::MulAdd(p, r, hn::Set(d, T(1)));
  const auto bits = hn::ShiftLeft<kMantissa>(hn::Add(hn::ConvertTo(di, k), hn::Set(di, static_cast<TI>(kBias))));
  return hn::Mul(p, hn::BitCast(d, bits));
}

template <class T>
double VectorSum(const T* lnX, std::size_t n, double a, double b) {
  const hn::ScalableTag<T> d;
  const std::size_t lanes = hn::Lanes(d);
  const TWeibullConsts<T> k(a, b);
  const auto c0 = hn::Set(d, k.c0), bm1 = hn::Set(d, k.bm1), ta = hn::Set(d, k.a), tb = hn::Set(d, k.b);
  const auto lnFloor = hn::Set(d, k.lnFloor), small = hn::Set(d, static_cast<T>(kSmallGap));
  // The vector exp is accurate below this argument (it overflows at 709.8 in double, 88.7 in
  // single); larger ones go to the scalar formula.
  const auto expTop = hn::Set(d, static_cast<T>(sizeof(T) == 4 ? 80.0 : 700.0));
  TSums s;
  for (std::size_t start = 0; start < n; start += kBlock) {
    const std::size_t end = std::min(n, start + kBlock);
    // Two vectors per step, each with its own Kahan sum, so the additions of one overlap the
    // exponential of the other.
    auto terms0 = hn::Zero(d), lost0 = hn::Zero(d), terms1 = hn::Zero(d), lost1 = hn::Zero(d);
    auto floors = hn::Zero(d);
    auto logDensity = [&](const auto l, auto& fine) {
      const auto bl = hn::Mul(tb, l);
      const auto lf = hn::NegMulAdd(ta, hn::Exp(d, bl), hn::MulAdd(bm1, l, c0));
      fine = hn::And(hn::Lt(hn::Sub(lnFloor, lf), small), hn::Le(bl, expTop));
      return lf;
    };
    auto kahan = [](auto& sum, auto& lost, const auto v) {
      const auto y = hn::Sub(v, lost);
      const auto t = hn::Add(sum, y);
      lost = hn::Sub(hn::Sub(t, sum), y);
      sum = t;
    };
    std::size_t i = start;
    for (; i + 2 * lanes <= end; i += 2 * lanes) {
      hn::Mask<decltype(d)> fine0, fine1;
      const auto lf0 = logDensity(hn::LoadU(d, lnX + i), fine0);
      const auto lf1 = logDensity(hn::LoadU(d, lnX + i + lanes), fine1);
      if (hn::AllTrue(d, hn::And(fine0, fine1))) {
        kahan(terms0, lost0, lf0);
        kahan(terms1, lost1, lf1);
        floors = hn::Add(floors, hn::Add(RoughExp(d, hn::Sub(lnFloor, lf0)), RoughExp(d, hn::Sub(lnFloor, lf1))));
      } else {
        for (std::size_t j = 0; j < 2 * lanes; ++j) AddElement(lnX[i + j], k, s);
      }
    }
    HWY_ALIGN T part[hn::MaxLanes(d)];
    for (const auto& [sum, lost] : {std::pair{terms0, lost0}, std::pair{terms1, lost1}}) {
      hn::Store(hn::Sub(sum, lost), d, part);
      for (std::size_t j = 0; j < lanes; ++j) s.Add(static_cast<double>(part[j]));
    }
    s.Floors += static_cast<double>(hn::GetLane(hn::SumOfLanes(d, floors)));
    for (; i < end; ++i) AddElement(lnX[i], k, s);
  }
  return s.Total();
}

double VectorSumDouble(const double* lnX, std::size_t n, double a, double b) { return VectorSum(lnX, n, a, b); }
double VectorSumFloat(const float* lnX, std::size_t n, double a, double b) { return VectorSum(lnX, n, a, b); }

}  // namespace Statistics::detail::weibull::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif  // KALIX_HAVE_HWY

#if !(defined(KALIX_HAVE_HWY) && defined(__x86_64__)) || HWY_ONCE
namespace Statistics::detail {

#if defined(KALIX_HAVE_HWY) && defined(__x86_64__)
namespace {

enum class TVectorUnit { None, Avx2, Avx512 };

// The widest of Highway's x86 targets this processor runs (AVX-512 needs F, VL, DQ and BW;
// for AVX2 it also uses FMA and BMI2; F16C, unused here, comes with them).
TVectorUnit Unit() {
  static const TVectorUnit unit = [] {
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
        __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw"))
      return TVectorUnit::Avx512;
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") && __builtin_cpu_supports("bmi2"))
      return TVectorUnit::Avx2;
    return TVectorUnit::None;
  }();
  return unit;
}

}  // namespace
#endif

double WeibullLogLikeSum(std::span<const double> LnX, double a, double b) {
#if defined(KALIX_HAVE_HWY) && defined(__x86_64__)
  switch (Unit()) {
#if HWY_TARGETS & HWY_AVX3
    case TVectorUnit::Avx512: return weibull::N_AVX3::VectorSumDouble(LnX.data(), LnX.size(), a, b);
#endif
#if HWY_TARGETS & HWY_AVX2
    case TVectorUnit::Avx2: return weibull::N_AVX2::VectorSumDouble(LnX.data(), LnX.size(), a, b);
#endif
    default: break;
  }
#endif
  return weibull::ScalarSum(LnX, a, b);
}

double WeibullLogLikeSum(std::span<const float> LnX, double a, double b) {
#if defined(KALIX_HAVE_HWY) && defined(__x86_64__)
  switch (Unit()) {
#if HWY_TARGETS & HWY_AVX3
    case TVectorUnit::Avx512: return weibull::N_AVX3::VectorSumFloat(LnX.data(), LnX.size(), a, b);
#endif
#if HWY_TARGETS & HWY_AVX2
    case TVectorUnit::Avx2: return weibull::N_AVX2::VectorSumFloat(LnX.data(), LnX.size(), a, b);
#endif
    default: break;
  }
#endif
  return weibull::ScalarSum(LnX, a, b);
}

double WeibullLogLikeSumScalar(std::span<const double> LnX, double a, double b) { return weibull::ScalarSum(LnX, a, b); }
double WeibullLogLikeSumScalar(std::span<const float> LnX, double a, double b) { return weibull::ScalarSum(LnX, a, b); }

}  // namespace Statistics::detail
#endif
