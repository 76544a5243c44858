// Scalar mathematics and the numeric constants of the core.
#pragma once

#include <cfloat>
#include <cmath>
#include <limits>

#include "kalix_export.h"

namespace Kalix {

// NaN itself is the standard NAN macro of <cmath>.
inline constexpr double INF = std::numeric_limits<double>::infinity();
inline constexpr float INF_SINGLE = std::numeric_limits<float>::infinity();
inline constexpr double EPS_DOUBLE = DBL_EPSILON;  // 2.220446049250313e-16
inline constexpr float EPS_SINGLE = FLT_EPSILON;
inline constexpr double SQRTEPS_DOUBLE = 1.4901161193847656e-08;
inline constexpr float SQRTEPS_SINGLE = 3.4526698e-04F;
inline constexpr double S_ZERO = DBL_MIN;  // smallest normal positive double
inline constexpr float S_ZERO_SINGLE = FLT_MIN;
inline constexpr double PI = 3.14159265358979323846;
inline constexpr double SQRT2 = 1.41421356237309504880;
inline constexpr double SQRT2PI = 2.50662827463100050242;
inline constexpr double LN2 = 0.69314718055994530942;
/// Step sizes for forward-difference gradients (square root of epsilon of each precision).
inline constexpr double GradStepSize = SQRTEPS_DOUBLE;
inline constexpr float GradStepSizeSingle = SQRTEPS_SINGLE;

/// Machine epsilon and its square root for float or double.
template <class T>
constexpr T Eps() {
  return std::numeric_limits<T>::epsilon();
}

/// Splits x into its integer part toward zero and the fractional part (same sign as x).
inline void TruncAndFrac(double x, double& Int, double& Frac) {
  Int = std::trunc(x);
  Frac = x - Int;
}

/// Rounds to the nearest integer, halves to even, whatever the FPU rounding mode is.
inline double Round(double x) {
  double r = std::round(x);  // halves away from zero
  if (std::fabs(x - std::trunc(x)) == 0.5) r = 2.0 * std::round(x * 0.5);
  return r;
}

/// Round() as a 32-bit integer: NaN gives 0 and out-of-range values saturate.
inline int aRound(double x) {
  if (std::isnan(x)) return 0;
  double r = Round(x);
  if (r >= 2147483647.0) return 2147483647;
  if (r <= -2147483648.0) return -2147483647 - 1;
  return static_cast<int>(r);
}

/// Sign of x: -1, 0 or 1 (NaN gives NaN).
inline double Sgn(double x) { return std::isnan(x) ? x : (x > 0) - (x < 0); }

inline bool IsNaN(double x) { return std::isnan(x); }
inline bool IsInf(double x) { return std::isinf(x); }
inline bool IsNanInf(double x) { return !std::isfinite(x); }

/// x clamped to [Lo, Hi].
inline double EnsureRange(double Lo, double x, double Hi) { return x < Lo ? Lo : (x > Hi ? Hi : x); }
/// True when Lo <= x <= Hi.
inline bool CheckRange(double Lo, double x, double Hi) { return Lo <= x && x <= Hi; }
/// True when a and b differ by at most Tol (relative above 1, absolute below).
inline bool Equal(double a, double b, double Tol = 0.0) {
  if (a == b) return true;
  return std::fabs(a - b) <= Tol * std::fmax(1.0, std::fmax(std::fabs(a), std::fabs(b)));
}
inline double Exp2(double x) { return std::exp2(x); }
inline double Log10(double x) { return std::log10(x); }
/// x raised to the integer power n by repeated squaring.
template <class T>
inline T IntPower(T x, int n) {
  unsigned long long m = n < 0 ? 0ULL - static_cast<unsigned long long>(n) : static_cast<unsigned long long>(n);
  T r = T(1);
  while (m) {
    if (m & 1ULL) r *= x;
    x *= x;
    m >>= 1;
  }
  return n < 0 ? T(1) / r : r;
}

/// Gamma function, error function and its inverse.
KALIX_EXPORT double Gamma(double x);
KALIX_EXPORT double Erf(double x);
KALIX_EXPORT double ErfInv(double x);

}  // namespace Kalix
