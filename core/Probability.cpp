#include "Probability.h"

#include <boost/math/distributions/beta.hpp>
#include <boost/math/distributions/cauchy.hpp>
#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/fisher_f.hpp>
#include <boost/math/distributions/gamma.hpp>
#include <boost/math/distributions/laplace.hpp>
#include <boost/math/distributions/logistic.hpp>
#include <boost/math/distributions/normal.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <boost/math/distributions/triangular.hpp>
#include <boost/math/distributions/uniform.hpp>
#include <boost/math/policies/policy.hpp>
#include <boost/math/special_functions/beta.hpp>
#include <boost/math/special_functions/erf.hpp>
#include <boost/math/special_functions/gamma.hpp>
#include <boost/math/special_functions/log1p.hpp>
#include <boost/math/special_functions/trigamma.hpp>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <type_traits>

#include "Dispatch.h"
#include "ScalarMath.h"

namespace Kalix {

namespace {

namespace bm = boost::math;
namespace bp = boost::math::policies;

// Invalid arguments give NaN or +-Inf instead of throwing, and float stays float.
using Pol = bp::policy<bp::domain_error<bp::ignore_error>, bp::pole_error<bp::ignore_error>,
                       bp::overflow_error<bp::ignore_error>, bp::evaluation_error<bp::ignore_error>,
                       bp::rounding_error<bp::ignore_error>, bp::indeterminate_result_error<bp::ignore_error>,
                       bp::promote_float<false>, bp::promote_double<false>>;

template <class T>
constexpr T NaN = std::numeric_limits<T>::quiet_NaN();
template <class T>
constexpr T Inf = std::numeric_limits<T>::infinity();

// The policy covers Boost's own error reports, but internals may still throw (allocation,
// root-finder bookkeeping): a probability function answers NaN rather than throw.
template <class F>
auto Guard(F f) noexcept -> decltype(f()) {
  using T = decltype(f());
  try {
    return f();
  } catch (...) {
    return NaN<T>;
  }
}

template <class T>
bool Finite(T v) {
  return std::isfinite(v);
}
// A finite, strictly positive parameter (false for NaN).
template <class T>
bool Pos(T v) {
  return v > T(0) && v < Inf<T>;
}
template <class T>
bool IsProb(T p) {
  return p >= T(0) && p <= T(1);
}

// Density on the support [lo, hi] (either end may be infinite); 0 outside it and at +-Inf.
template <class D, class T>
T Pdf(const D& d, T x, T lo, T hi) {
  if (std::isnan(x)) return NaN<T>;
  if (x < lo || x > hi || std::isinf(x)) return T(0);
  return Guard([&] { return bm::pdf(d, x); });
}

template <class D, class T>
T Cdf(const D& d, T x, T lo, T hi) {
  if (std::isnan(x)) return NaN<T>;
  if (x <= lo) return T(0);  // continuous laws only
  if (x >= hi) return T(1);
  return Guard([&] { return bm::cdf(d, x); });
}

// Lower-tail p-quantile; p = 0 and p = 1 give the ends of the support.
template <class D, class T>
T Quantile(const D& d, T p, T lo, T hi) {
  if (!IsProb(p)) return NaN<T>;
  if (p == T(0)) return lo;
  if (p == T(1)) return hi;
  return Guard([&] { return bm::quantile(d, p); });
}

// One kernel per function, instantiated for float and double; the public scalar forms use
// the double instance, the vector forms the instance of the data's precision.
namespace Prob {

// exp(-z^2/2) with z^2 = s + e split exactly: in the far tail the rounding of z^2 alone
// would cost |z|^2/2 ulps.
template <class T>
T ExpMinusHalfSquare(T z) {
  const T s = z * z;
  if (std::isinf(s)) return T(0);
  const T e = std::fma(z, z, -s);
  return std::exp(T(-0.5) * s) * (T(1) - T(0.5) * e);
}

// 1/sqrt(2) as the unevaluated sum hi + lo in T.
template <class T>
constexpr T InvSqrt2Hi = std::is_same_v<T, float> ? T(0x1.6a09e6p-1f) : T(0x1.6a09e667f3bcdp-1);
template <class T>
constexpr T InvSqrt2Lo = std::is_same_v<T, float> ? T(1.21016175e-8f) : T(-4.833646656726457e-17);

template <class T>
T NormalPDF(T x, T Mu, T Sigma) {
  if (!Finite(Mu) || !Pos(Sigma) || std::isnan(x)) return NaN<T>;
  const T z = (x - Mu) / Sigma;
  return ExpMinusHalfSquare(z) / (Sigma * static_cast<T>(SQRT2PI));
}

// Phi(z) = erfc(t)/2 with t = -z/sqrt(2). The rounding d of t would cost |z|^2 ulps in the
// lower tail; it is recovered exactly and applied to first order, erfc'(t) = -2/sqrt(pi) e^(-t^2).
template <class T>
T NormalCDF(T x, T Mu, T Sigma) {
  if (!Finite(Mu) || !Pos(Sigma) || std::isnan(x)) return NaN<T>;
  const T z = (x - Mu) / Sigma;
  if (std::isinf(z)) return z < T(0) ? T(0) : T(1);
  const T t = -z * InvSqrt2Hi<T>;
  const T d = std::fma(-z, InvSqrt2Hi<T>, -t) - z * InvSqrt2Lo<T>;
  const T erfcT = Guard([&] { return bm::erfc(t, Pol()); });
  return T(0.5) * (erfcT - d * static_cast<T>(1.1283791670955126) * std::exp(-t * t));
}
template <class T>
T NormalCDFInv(T p, T Mu, T Sigma) {
  if (!Finite(Mu) || !Pos(Sigma)) return NaN<T>;
  return Quantile(bm::normal_distribution<T, Pol>(Mu, Sigma), p, -Inf<T>, Inf<T>);
}

// ------------------------------------------------------------------ far lower tails
// Below FarTail the library's beta and gamma inverses lose digits (30 % off at 1e-250), then
// monotonicity in p, then trip their internal assertions in builds without NDEBUG. There the
// quantile is solved on a log
// scale, always in double, from the convergent series of the lower tail:
//   I_x(a, b) = x^a (1 - x)^b / (a B(a, b)) * sum_n (a + b)_n / (a + 1)_n x^n   (DLMF 8.17.8)
//   P(a, x)   = x^a e^-x / Gamma(a + 1) * sum_n x^n / (a + 1)_n                  (DLMF 8.5.1, 8.7.1)
// Both converge fast below the mean, where such tiny probabilities lie.
template <class T>
constexpr T FarTail = T(1e-30);
// The beta series needs about 40 sqrt(a) terms near the mean: beyond this shape it is left to
// the library's inverse.
constexpr double kFarTailMaxShape = 1e6;

// log Gamma(a) for a > 0, also for subnormal a (Gamma(a) = Gamma(1 + a) / a).
double LogGamma(double a) { return a < 1.0 ? bm::lgamma(1.0 + a, Pol()) - std::log(a) : bm::lgamma(a, Pol()); }
double LogBeta(double a, double b) { return LogGamma(a) + LogGamma(b) - LogGamma(a + b); }

// log of sum_n prod_{i<n} ratio(i) x, the ratios below 1 beyond the first few terms.
template <class R>
double LogSeries(double x, R ratio) {
  double term = 1.0, sum = 1.0;
  for (int n = 0; n < 2000000 && term > 1e-17 * sum; ++n) {
    term *= x * ratio(static_cast<double>(n));
    sum += term;
  }
  return std::log(sum);
}

// u = log x where log CDF(e^u) = logp, for the increasing logCdf(u, slope) (slope = d/du);
// hi is the log of a point above the root. Safeguarded Newton: bisection once bracketed,
// doubling steps downwards before that.
template <class F>
double SolveLogTail(double logp, double u, double hi, F logCdf) {
  double lo = -std::numeric_limits<double>::infinity();
  u = std::fmin(u, hi);
  for (int i = 0; i < 400; ++i) {
    double slope;
    const double g = logCdf(u, slope) - logp;
    if (g == 0.0) return u;
    (g > 0.0 ? hi : lo) = u;
    double next = u - g / slope;
    if (!(next > lo && next < hi)) next = std::isinf(lo) ? u - std::fmax(1.0, std::fabs(u)) : 0.5 * (lo + hi);
    if (std::fabs(next - u) <= 4e-16 * std::fabs(u)) return next;
    u = next;
  }
  return u;
}

// log x with I_x(a, b) = exp(logp).
double LogBetaLowerInv(double logp, double a, double b) {
  const double lb = LogBeta(a, b), la = std::log(a);
  const auto logCdf = [&](double u, double& slope) {
    const double x = std::exp(u), l1x = std::log1p(-x);
    const double logI =
        a * u + b * l1x - la - lb + LogSeries(x, [&](double n) { return (a + b + n) / (a + 1.0 + n); });
    slope = std::exp(a * u + (b - 1.0) * l1x - lb - logI);  // x f(x) / I_x
    return logI;
  };
  return SolveLogTail(logp, (logp + la + lb) / a, std::log(a / (a + b)), logCdf);
}

// log x with P(a, x) = exp(logp).
double LogGammaLowerInv(double logp, double a) {
  const double lg1 = LogGamma(a + 1.0), la = std::log(a);
  const auto logCdf = [&](double u, double& slope) {
    const double x = std::exp(u);
    const double logP = a * u - x - lg1 + LogSeries(x, [&](double n) { return 1.0 / (a + 1.0 + n); });
    slope = std::exp(a * u - x - lg1 + la - logP);  // x f(x) / P
    return logP;
  };
  return SolveLogTail(logp, (logp + lg1) / a, la, logCdf);
}

// Regularised incomplete gamma functions. For a >= 1e7 Boost's large-x series needs about
// sqrt(a) terms when x is near a (and gives up, returning garbage, past 1e10): there we use
// Temme's uniform asymptotic expansion, coefficients as tabulated by DiDonato & Morris (1986).
// Only |z| below ~0.01 matters (elsewhere exp(-y) underflows), so a few terms and three
// powers of 1/a reach full precision.
template <class T>
constexpr T GammaAsymptoticFrom = T(1e7);

template <class T, std::size_t N>
T Horner(const double (&c)[N], T z) {
  T r = T(0);
  for (std::size_t i = N; i-- > 0;) r = r * z + static_cast<T>(c[i]);
  return r;
}

// For a >= 1e7: the smaller tail, Q(a, x) when x >= a and P(a, x) otherwise.
template <class T>
T GammaSmallerTailLarge(T a, T x) {
  static constexpr double C0[] = {-1.0 / 3.0,   1.0 / 12.0,        -2.0 / 135.0,          1.0 / 864.0,
                                  1.0 / 2835.0, -139.0 / 777600.0, 0.39192631785224378e-4};
  static constexpr double C1[] = {-1.0 / 540.0, -1.0 / 288.0, 1.0 / 378.0, -77.0 / 77760.0, 1.0 / 4860.0};
  static constexpr double C2[] = {25.0 / 6048.0, -0.0026813271604938272};
  const T sigma = (x - a) / a;  // x - a is exact wherever the tail is not 0
  const T phi = -bm::log1pmx(sigma, Pol());
  const T y = a * phi;
  const T z = x < a ? -std::sqrt(T(2) * phi) : std::sqrt(T(2) * phi);
  const T series = Horner(C0, z) + (Horner(C1, z) + Horner(C2, z) / a) / a;
  const T r = series * std::exp(-y) / std::sqrt(T(2) * static_cast<T>(PI) * a);
  const T erfcTerm = bm::erfc(std::sqrt(y), Pol()) / T(2);
  return x >= a ? erfcTerm + r : erfcTerm - r;
}

// P(a, x), or Q(a, x) when upper; x >= 0.
template <class T>
T IncGamma(T a, T x, bool upper) {
  if (std::isinf(x)) return upper ? T(0) : T(1);
  if (a < GammaAsymptoticFrom<T>) return upper ? bm::gamma_q(a, x, Pol()) : bm::gamma_p(a, x, Pol());
  const T t = GammaSmallerTailLarge(a, x);
  return (x >= a) == upper ? t : T(1) - t;
}

// The x with P(a, x) = p (Q(a, x) = p when upper), 0 < p < 1. For large a: the
// Wilson-Hilferty guess, then Newton steps on the same tail.
template <class T>
T IncGammaInv(T a, T p, bool upper) {
  if (!upper && p < FarTail<T> && a < GammaAsymptoticFrom<T>)
    return static_cast<T>(std::exp(LogGammaLowerInv(std::log(static_cast<double>(p)), static_cast<double>(a))));
  if (a < GammaAsymptoticFrom<T>) return upper ? bm::gamma_q_inv(a, p, Pol()) : bm::gamma_p_inv(a, p, Pol());
  const bm::normal_distribution<T, Pol> n01;
  const T z = upper ? bm::quantile(bm::complement(n01, p)) : bm::quantile(n01, p);
  const T h = T(1) / (T(9) * a);
  const T c = T(1) - h + z * std::sqrt(h);
  T x = a * c * c * c;
  for (int i = 0; i < 50; ++i) {
    const T d = bm::gamma_p_derivative(a, x, Pol());
    if (!(d > T(0))) break;
    const T gap = IncGamma(a, x, upper) - p;
    const T step = upper ? -gap / d : gap / d;
    x -= step;
    if (!(std::fabs(step) > T(4) * std::numeric_limits<T>::epsilon() * x)) break;
  }
  return x;
}

// Student's t with infinite Df is the standard normal, which Boost handles. Below TinyDf the
// law is so spread that, in double, the density is Df / (2|t|)-like, the CDF 1/2 at every
// finite t and every quantile but the median infinite; these are written out (Boost's own
// forms overflow or trip assertions there).
// Closed forms for whole degrees of freedom (defined at the end of this file); false outside
// the range where they are as accurate as the general routines.
bool StudentCDFWholeDf(double t, double Df, double& P);
bool StudentCDFInvWholeDf(double p, double Df, double& t);

template <class T>
bool ValidDf(T Df) {
  return Df > T(0);
}
template <class T>
constexpr T TinyDf = std::is_same_v<T, float> ? T(1e-30) : T(1e-100);

template <class T>
T StudentPDF(T x, T Df) {
  if (!ValidDf(Df)) return NaN<T>;
  if (Df < TinyDf<T> && Finite(x)) {
    // log of Gamma((v + 1)/2) / (sqrt(v pi) Gamma(v/2)) (1 + t^2/v)^(-(v + 1)/2)
    const double v = static_cast<double>(Df), xd = static_cast<double>(x);
    const double q = xd * xd / v;
    const double L = std::isfinite(q) ? std::log1p(q) : 2.0 * std::log(std::fabs(xd)) - std::log(v);
    const double logf = LogGamma((v + 1.0) / 2.0) - LogGamma(v / 2.0) - 0.5 * std::log(v * PI) - (v + 1.0) / 2.0 * L;
    return static_cast<T>(std::exp(logf));
  }
  return Pdf(bm::students_t_distribution<T, Pol>(Df), x, -Inf<T>, Inf<T>);
}
template <class T>
T StudentCDF(T t, T Df) {
  if (!ValidDf(Df)) return NaN<T>;
  if (Df < TinyDf<T> && Finite(t)) return T(0.5);
  if constexpr (std::is_same_v<T, double>) {
    if (double P; StudentCDFWholeDf(t, Df, P)) return P;
  }
  return Cdf(bm::students_t_distribution<T, Pol>(Df), t, -Inf<T>, Inf<T>);
}
template <class T>
T StudentCDFInv(T p, T Df) {
  if (!ValidDf(Df)) return NaN<T>;
  if (!IsProb(p) || p == T(0) || p == T(1)) return Quantile(bm::normal_distribution<T, Pol>(), p, -Inf<T>, Inf<T>);
  if (Df < TinyDf<T>) return p < T(0.5) ? -Inf<T> : p > T(0.5) ? Inf<T> : T(0);
  if constexpr (std::is_same_v<T, double>) {
    if (double t; StudentCDFInvWholeDf(p, Df, t)) return t;
  }
  if (p < FarTail<T> && Df < T(2 * kFarTailMaxShape)) {
    // P(T <= -t) = I_x(Df/2, 1/2) / 2 with x = Df / (Df + t^2).
    const double v = static_cast<double>(Df), u = LogBetaLowerInv(std::log(2.0 * static_cast<double>(p)), v / 2.0, 0.5);
    return static_cast<T>(-std::exp(0.5 * (std::log(v) - u + std::log(-std::expm1(u)))));
  }
  return Quantile(bm::students_t_distribution<T, Pol>(Df), p, -Inf<T>, Inf<T>);
}

template <class T>
T ChiSquarePDF(T x, T Df) {
  if (!Pos(Df)) return NaN<T>;
  return Pdf(bm::chi_squared_distribution<T, Pol>(Df), x, T(0), Inf<T>);
}
template <class T>
T ChiSquareCDF(T x, T Df) {
  if (!Pos(Df) || std::isnan(x)) return NaN<T>;
  return x <= T(0) ? T(0) : Guard([&] { return IncGamma(Df / T(2), x / T(2), false); });
}
template <class T>
T ChiSquareCDFInv(T p, T Df) {
  if (!Pos(Df) || !IsProb(p)) return NaN<T>;
  if (p == T(0) || p == T(1)) return p == T(0) ? T(0) : Inf<T>;
  return Guard([&] { return T(2) * IncGammaInv(Df / T(2), p, false); });
}

// The incomplete beta function in T loses accuracy as both shape parameters grow (relative
// error ~1e-16 * shape in double, ~1e-4 at 1e4 in single), then gives values outside [0, 1]
// and finally stops converging. Paulson's normal approximation to the cube root of the F
// variate (Wilson-Hilferty) has error ~6/min(shape) even six sd into the tails, so it takes
// over where the two cross: 3e8 in double (both ~2e-8 there, better on either side).
template <class T>
constexpr T BetaAsymptoticFrom = std::is_same_v<T, float> ? T(1e5) : T(3e8);

template <class T>
T StdNormalCDF(T z) {
  return NormalCDF(z, T(0), T(1));
}

// P(F <= f), or P(F > f) when upper, for F(n1, n2) with both n huge.
template <class T>
T PaulsonF(T n1, T n2, T f, bool upper) {
  const T v1 = T(2) / (T(9) * n1), v2 = T(2) / (T(9) * n2);
  const T c = std::cbrt(f);
  const T z = (c * (T(1) - v2) - (T(1) - v1)) / std::sqrt(v1 + c * c * v2);
  return StdNormalCDF(upper ? -z : z);
}

// d/df of PaulsonF: phi(z) dz/dc dc/df with c = f^(1/3).
template <class T>
T PaulsonFDensity(T n1, T n2, T f) {
  const T v1 = T(2) / (T(9) * n1), v2 = T(2) / (T(9) * n2);
  const T c = std::cbrt(f), s2 = v1 + c * c * v2;
  const T z = (c * (T(1) - v2) - (T(1) - v1)) / std::sqrt(s2);
  const T phi = NormalPDF(z, T(0), T(1));
  if (phi == T(0)) return T(0);
  const T dzdc = ((T(1) - v2) * v1 + (T(1) - v1) * c * v2) / s2 / std::sqrt(s2);
  return phi * dzdc / (T(3) * c * c);
}

// The f with PaulsonF(n1, n2, f) = p: the quadratic in f^(1/3), on the root whose sign
// matches the normal quantile's.
template <class T>
T PaulsonFInv(T n1, T n2, T p) {
  const T v1 = T(2) / (T(9) * n1), v2 = T(2) / (T(9) * n2);
  const T A = T(1) - v2, B = T(1) - v1;
  const T z = bm::quantile(bm::normal_distribution<T, Pol>(), p);
  const T c = (A * B + z * std::sqrt(A * A * v1 + B * B * v2 - z * z * v1 * v2)) / (A * A - z * z * v2);
  return c * c * c;
}

// Boost's value kept inside [0, 1] (NaN passes through).
template <class T>
T Probability01(T v) {
  return v < T(0) ? T(0) : v > T(1) ? T(1) : v;
}

// Boost's F functions also fail (NaN, or no convergence of the inverse) when one Df is
// astronomically larger than the other. There the ratio of the two chi-squares over their
// Df has one factor 1 + N(0, 2/Df) with mean exactly 1; replacing it by 1 changes the law by
// O(Df_small/Df_large): F is chi2(Df1)/Df1 when Df2 is huge, Df2/chi2(Df2) when Df1 is.
enum class TFRegime { Boost, BothHuge, Df1Huge, Df2Huge };
template <class T>
TFRegime FRegime(T Df1, T Df2) {
  if (std::fmin(Df1, Df2) >= T(2) * BetaAsymptoticFrom<T>) return TFRegime::BothHuge;
  if (Df2 <= std::numeric_limits<T>::epsilon() * Df1) return TFRegime::Df1Huge;
  if (Df1 <= std::numeric_limits<T>::epsilon() * Df2) return TFRegime::Df2Huge;
  return TFRegime::Boost;
}

template <class T>
T FPDF(T x, T Df1, T Df2) {
  if (!Pos(Df1) || !Pos(Df2)) return NaN<T>;
  const TFRegime r = FRegime(Df1, Df2);
  if (r == TFRegime::BothHuge && x > T(0) && x < Inf<T>) return PaulsonFDensity(Df1, Df2, x);
  if (r == TFRegime::Df2Huge) return Df1 * ChiSquarePDF(Df1 * x, Df1);
  if (r == TFRegime::Df1Huge && x > T(0) && x < Inf<T>) return ChiSquarePDF(Df2 / x, Df2) * (Df2 / x) / x;
  return Pdf(bm::fisher_f_distribution<T, Pol>(Df1, Df2), x, T(0), Inf<T>);
}
template <class T>
T FCDF(T x, T Df1, T Df2) {
  if (!Pos(Df1) || !Pos(Df2)) return NaN<T>;
  if (std::isnan(x)) return NaN<T>;
  if (x <= T(0)) return T(0);
  if (x == Inf<T>) return T(1);
  switch (FRegime(Df1, Df2)) {
    case TFRegime::BothHuge:
      return PaulsonF(Df1, Df2, x, false);
    case TFRegime::Df2Huge:
      return ChiSquareCDF(Df1 * x, Df1);
    case TFRegime::Df1Huge:
      return Guard([&] { return IncGamma(Df2 / T(2), Df2 / x / T(2), true); });
    default:
      return Probability01(Cdf(bm::fisher_f_distribution<T, Pol>(Df1, Df2), x, T(0), Inf<T>));
  }
}
template <class T>
T FCDFInv(T p, T Df1, T Df2) {
  if (!Pos(Df1) || !Pos(Df2)) return NaN<T>;
  const TFRegime r = FRegime(Df1, Df2);
  if (r == TFRegime::Boost && p > T(0) && p < FarTail<T> && Df1 < T(2 * kFarTailMaxShape)) {
    // F = (Df2 / Df1) x / (1 - x) with x the beta(Df1/2, Df2/2) quantile; underflows to 0.
    const double a = static_cast<double>(Df1), b = static_cast<double>(Df2);
    const double u = LogBetaLowerInv(std::log(static_cast<double>(p)), a / 2.0, b / 2.0);
    return static_cast<T>(std::exp(u + std::log(b / a) - std::log(-std::expm1(u))));
  }
  if (r == TFRegime::Boost) return Quantile(bm::fisher_f_distribution<T, Pol>(Df1, Df2), p, T(0), Inf<T>);
  if (!IsProb(p)) return NaN<T>;
  if (p == T(0)) return T(0);
  if (p == T(1)) return Inf<T>;
  return Guard([&] {
    if (r == TFRegime::BothHuge) return PaulsonFInv(Df1, Df2, p);
    if (r == TFRegime::Df1Huge) return Df2 / (T(2) * IncGammaInv(Df2 / T(2), p, true));
    return T(2) * IncGammaInv(Df1 / T(2), p, false) / Df1;
  });
}

template <class T>
T BetaPDF(T x, T a, T b) {
  if (!Pos(a) || !Pos(b)) return NaN<T>;
  return Pdf(bm::beta_distribution<T, Pol>(a, b), x, T(0), T(1));
}
// B = aF/(aF + b) with F ~ F(2a, 2b), so B <= x exactly when F <= b x / (a (1 - x)).
template <class T>
T BetaCDF(T x, T a, T b) {
  if (!Pos(a) || !Pos(b)) return NaN<T>;
  if (std::fmin(a, b) >= BetaAsymptoticFrom<T> && x > T(0) && x < T(1))
    return PaulsonF(T(2) * a, T(2) * b, (b / a) * (x / (T(1) - x)), false);
  return Probability01(Cdf(bm::beta_distribution<T, Pol>(a, b), x, T(0), T(1)));
}

template <class T>
T GammaPDF(T x, T a, T b) {
  if (!Pos(a) || !Pos(b)) return NaN<T>;
  // At 0 Boost answers 0 whatever the shape; the density's limit is Inf, 1/b or 0.
  if (x == T(0)) return a < T(1) ? Inf<T> : a == T(1) ? T(1) / b : T(0);
  return Pdf(bm::gamma_distribution<T, Pol>(a, b), x, T(0), Inf<T>);
}
template <class T>
T GammaCDF(T x, T a, T b) {
  if (!Pos(a) || !Pos(b) || std::isnan(x)) return NaN<T>;
  return x <= T(0) ? T(0) : Guard([&] { return IncGamma(a, x / b, false); });
}
template <class T>
T GammaCDFInv(T p, T a, T b) {
  if (!Pos(a) || !Pos(b) || !IsProb(p)) return NaN<T>;
  if (p == T(0) || p == T(1)) return p == T(0) ? T(0) : Inf<T>;
  return Guard([&] { return b * IncGammaInv(a, p, false); });
}

template <class T>
T CauchyPDF(T x, T m, T b) {
  if (!Finite(m) || !Pos(b)) return NaN<T>;
  return Pdf(bm::cauchy_distribution<T, Pol>(m, b), x, -Inf<T>, Inf<T>);
}

// Weibull(a, b): a*b*x^(b-1)*exp(-a*x^b), i.e. shape b and scale a^(-1/b). Written out
// directly: forming the scale would round it before the power amplifies the error.
template <class T>
T WeibullPDF(T x, T a, T b) {
  if (!Pos(a) || !Pos(b) || std::isnan(x)) return NaN<T>;
  if (x < T(0) || std::isinf(x)) return T(0);
  if (x == T(0)) return b < T(1) ? Inf<T> : b == T(1) ? a : T(0);
  const T h = a * std::pow(x, b);  // cumulative hazard
  if (std::isinf(h)) return T(0);
  return b * (h / x) * std::exp(-h);
}
template <class T>
T WeibullCDF(T x, T a, T b) {
  if (!Pos(a) || !Pos(b) || std::isnan(x)) return NaN<T>;
  if (x <= T(0)) return T(0);
  return -std::expm1(-a * std::pow(x, b));
}

// Lower limit a, upper limit b, mode c (Boost orders them lower, mode, upper).
template <class T>
T TriangularPDF(T x, T a, T b, T c) {
  if (!Finite(a) || !Finite(b) || !(a < b) || !(a <= c && c <= b)) return NaN<T>;
  return Pdf(bm::triangular_distribution<T, Pol>(a, c, b), x, a, b);
}

template <class T>
T UniformCDF(T x, T a, T b) {
  if (!Finite(a) || !Finite(b) || !(a < b)) return NaN<T>;
  return Cdf(bm::uniform_distribution<T, Pol>(a, b), x, a, b);
}

// Mean mu: 1 - exp(-x/mu), without the rounding of a rate 1/mu.
template <class T>
T ExpCDF(T x, T mu) {
  if (!Pos(mu) || std::isnan(x)) return NaN<T>;
  if (x <= T(0)) return T(0);
  return -std::expm1(-x / mu);
}

// Erlang is the gamma law with integer shape k and rate lambda: P(k, lambda*x).
template <class T>
T ErlangCDF(T x, T k, T lambda) {
  if (!Pos(k) || k != std::floor(k) || !Pos(lambda) || std::isnan(x)) return NaN<T>;
  if (x <= T(0)) return T(0);
  return Guard([&] { return IncGamma(k, lambda * x, false); });
}

template <class T>
T LaplaceCDF(T x, T m, T b) {
  if (!Finite(m) || !Pos(b)) return NaN<T>;
  return Cdf(bm::laplace_distribution<T, Pol>(m, b), x, -Inf<T>, Inf<T>);
}

template <class T>
T LogNormalCDF(T x, T mu, T sigma) {
  if (!Finite(mu) || !Pos(sigma) || std::isnan(x)) return NaN<T>;
  return x <= T(0) ? T(0) : NormalCDF(std::log(x), mu, sigma);
}

template <class T>
T LogisticCDFInv(T p, T m, T b) {
  if (!Finite(m) || !Pos(b)) return NaN<T>;
  return Quantile(bm::logistic_distribution<T, Pol>(m, b), p, -Inf<T>, Inf<T>);
}

// Maxwell with scale a: (X/a)^2/2 is Gamma(3/2, 1), so CDF = P(3/2, x^2/(2a^2)).
// a = 0 is the point mass at 0 (the limit of the law); random variates accept that scale.
template <class T>
T MaxwellCDF(T x, T a) {
  if (!(a >= T(0)) || std::isinf(a) || std::isnan(x)) return NaN<T>;
  if (a == T(0)) return x >= T(0) ? T(1) : T(0);
  if (x <= T(0)) return T(0);
  const T r = x / a;
  return Guard([&] { return IncGamma(T(1.5), T(0.5) * r * r, false); });
}
template <class T>
T MaxwellCDFInv(T p, T a) {
  if (!(a >= T(0)) || std::isinf(a) || !IsProb(p)) return NaN<T>;
  if (a == T(0) || p == T(0)) return T(0);
  if (p == T(1)) return Inf<T>;
  return a * std::sqrt(T(2) * Guard([&] { return IncGammaInv(T(1.5), p, false); }));
}

template <class T>
T RayleighCDF(T x, T b) {
  if (!Pos(b) || std::isnan(x)) return NaN<T>;
  if (x <= T(0)) return T(0);
  const T r = x / b;
  return -std::expm1(T(-0.5) * r * r);
}

// P(X <= k) = I_{1-p}(n - k, k + 1), the complement of the regularised incomplete beta.
template <class T>
T BinomCDF(T k, T n, T p) {
  if (!(n >= T(0)) || std::isinf(n) || n != std::floor(n) || !IsProb(p) || std::isnan(k)) return NaN<T>;
  k = std::floor(k);
  if (k < T(0)) return T(0);
  if (k >= n) return T(1);
  const T a = k + T(1), b = n - k;
  if (std::fmin(a, b) >= BetaAsymptoticFrom<T> && p > T(0) && p < T(1))
    return PaulsonF(T(2) * a, T(2) * b, (b / a) * (p / (T(1) - p)), true);
  return Probability01(Guard([&] { return bm::ibetac(a, b, p, Pol()); }));
}

// Smallest k with CDF(k) >= p, decided on the smaller tail (1 - p is exact for p > 1/2) so
// that quantiles near p = 1 keep their accuracy. Both the tails and p itself carry rounding
// (p is often a CDF value computed elsewhere), so the comparison allows 32 eps relative and,
// above the median, the half-ulp of p: such a p then maps back to its own k.
// Start from the Cornish-Fisher guess, gallop to bracket the answer, then bisect.
template <class T>
T PoissonCDFInv(T p, T lambda) {
  if (!IsProb(p) || !(lambda >= T(0)) || std::isinf(lambda)) return NaN<T>;
  if (lambda == T(0) || p == T(0)) return T(0);  // Poisson(0) is the point mass at 0
  if (p == T(1)) return Inf<T>;
  return Guard([&] {
    constexpr T eps = std::numeric_limits<T>::epsilon();
    const bool lowerHalf = p <= T(0.5);
    const T lowTarget = p * (T(1) - T(32) * eps);
    const T highTarget = (T(1) - p) * (T(1) + T(32) * eps) + eps / T(4);
    auto ok = [&](T k) {
      // P(X <= k) = Q(k + 1, lambda); the smaller of it and its complement is computed.
      const bool below = k + T(1) <= lambda;
      const T tail = IncGamma(k + T(1), lambda, below);
      return lowerHalf ? (below ? tail : T(1) - tail) >= lowTarget : (below ? T(1) - tail : tail) <= highTarget;
    };
    const T z = bm::quantile(bm::normal_distribution<T, Pol>(), p);
    T guess = std::floor(lambda + std::sqrt(lambda) * z + (z * z - T(1)) / T(6) + T(0.5));
    if (!(guess >= T(0))) guess = T(0);
    // Invariant once bracketed: ok(hi) holds, ok(lo) fails (lo = -1 stands for "below 0").
    T lo = guess, hi = guess;
    if (ok(guess)) {
      for (T step = T(1);; step *= T(2)) {
        lo = hi - step;
        if (lo < T(0)) {
          lo = T(-1);
          break;
        }
        if (!ok(lo)) break;
        hi = lo;
      }
    } else {
      for (T step = T(1);; step *= T(2)) {
        hi = lo + step;
        if (std::isinf(hi)) return NaN<T>;
        if (ok(hi)) break;
        lo = hi;
      }
    }
    // In single precision a huge lambda leaves gaps between representable k: stop there.
    for (;;) {
      const T mid = std::floor((lo + hi) / T(2));
      if (mid <= lo || mid >= hi) return hi;
      if (ok(mid))
        hi = mid;
      else
        lo = mid;
    }
  });
}

// Below this the reflection formulas are done here: Boost's would convert x to an int.
template <class T>
constexpr T kReflectInt = T(1 << 30);

// Poles at 0, -1, -2, ... are double poles approached from +Inf on both sides; there is no
// limit at -Inf.
template <class T>
T trigamma(T x) {
  if (std::isinf(x)) return x > T(0) ? T(0) : NaN<T>;
  if (x <= T(0) && x == std::floor(x)) return Inf<T>;
  if (x < -kReflectInt<T>) {
    // Reflection psi1(x) + psi1(1 - x) = pi^2 / sin^2(pi x) written out here: the library's
    // own reflection counts periods in an int. x - floor(x) is exact.
    const T r = x - std::floor(x);
    const T s = std::sin(static_cast<T>(PI) * std::fmin(r, T(1) - r));
    return static_cast<T>(PI * PI) / (s * s) - Guard([&] { return bm::trigamma(T(1) - x, Pol()); });
  }
  return Guard([&] { return bm::trigamma(x, Pol()); });
}

}  // namespace Prob

// Dst[i] = kernel(X[i], parameters...) in X's precision; Dst takes X's shape and precision.
template <class K, class... P>
void Apply(TDenseKalix& Dst, const TDenseKalix& X, const char* name, K kernel, P... pars) {
  if (X.Complex()) ERaise(std::string(name) + ": X.Complex");
  if (&Dst != &X) Dst.SizeAs(X);
  WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    const auto x = X.Span<T>();
    const auto d = Dst.Span<T>();
    for (std::size_t i = 0; i < x.size(); ++i) d[i] = kernel(x[i], static_cast<T>(pars)...);
  });
}

}  // namespace

#define KALIX_KERNEL(Name) [](auto... a) { return Prob::Name(a...); }
#define KALIX_PROB0(Name)                             \
  double Name(double x) {                             \
    return Prob::Name<double>(x);                     \
  }                                                   \
  void Name(TDenseKalix& Dst, const TDenseKalix& X) { \
    Apply(Dst, X, #Name, KALIX_KERNEL(Name));         \
  }
#define KALIX_PROB1(Name)                                        \
  double Name(double x, double p1) {                             \
    return Prob::Name<double>(x, p1);                            \
  }                                                              \
  void Name(TDenseKalix& Dst, const TDenseKalix& X, double p1) { \
    Apply(Dst, X, #Name, KALIX_KERNEL(Name), p1);                \
  }
#define KALIX_PROB2(Name)                                                   \
  double Name(double x, double p1, double p2) {                             \
    return Prob::Name<double>(x, p1, p2);                                   \
  }                                                                         \
  void Name(TDenseKalix& Dst, const TDenseKalix& X, double p1, double p2) { \
    Apply(Dst, X, #Name, KALIX_KERNEL(Name), p1, p2);                       \
  }
#define KALIX_PROB3(Name)                                                              \
  double Name(double x, double p1, double p2, double p3) {                             \
    return Prob::Name<double>(x, p1, p2, p3);                                          \
  }                                                                                    \
  void Name(TDenseKalix& Dst, const TDenseKalix& X, double p1, double p2, double p3) { \
    Apply(Dst, X, #Name, KALIX_KERNEL(Name), p1, p2, p3);                              \
  }

KALIX_PROB2(NormalPDF)
KALIX_PROB2(NormalCDF)
KALIX_PROB2(NormalCDFInv)
KALIX_PROB1(StudentPDF)
KALIX_PROB1(StudentCDF)
KALIX_PROB1(StudentCDFInv)
KALIX_PROB1(ChiSquarePDF)
KALIX_PROB1(ChiSquareCDF)
KALIX_PROB1(ChiSquareCDFInv)
KALIX_PROB2(FPDF)
KALIX_PROB2(FCDF)
KALIX_PROB2(FCDFInv)
KALIX_PROB2(BetaPDF)
KALIX_PROB2(BetaCDF)
KALIX_PROB2(GammaPDF)
KALIX_PROB2(GammaCDF)
KALIX_PROB2(GammaCDFInv)
KALIX_PROB2(CauchyPDF)
KALIX_PROB2(WeibullPDF)
KALIX_PROB2(WeibullCDF)
KALIX_PROB3(TriangularPDF)
KALIX_PROB2(UniformCDF)
KALIX_PROB1(ExpCDF)
KALIX_PROB2(ErlangCDF)
KALIX_PROB2(LaplaceCDF)
KALIX_PROB2(LogNormalCDF)
KALIX_PROB2(LogisticCDFInv)
KALIX_PROB1(MaxwellCDF)
KALIX_PROB1(MaxwellCDFInv)
KALIX_PROB1(RayleighCDF)
KALIX_PROB2(BinomCDF)
KALIX_PROB1(PoissonCDFInv)
KALIX_PROB0(trigamma)

#undef KALIX_PROB0
#undef KALIX_PROB1
#undef KALIX_PROB2
#undef KALIX_PROB3
#undef KALIX_KERNEL

// Gamma(+-0) is +-Inf as the limit from that side; the negative integers are NaN (the
// one-sided limits disagree).
double Gamma(double x) {
  if (x == 0.0) return std::copysign(INF, x);
  if (x < -Prob::kReflectInt<double>) {
    // |Gamma(x)| = pi / (|sin(pi x)| Gamma(1 - x)) underflows long before here: a signed zero,
    // negative on (-2k - 1, -2k), or NaN at the (negative integer) poles.
    const double f = std::floor(x);
    if (x == f) return NAN;
    return std::fmod(f, 2.0) == 0.0 ? 0.0 : -0.0;
  }
  return Guard([&] { return bm::tgamma(x, Pol()); });
}

double Erf(double x) {
  return Guard([&] { return bm::erf(x, Pol()); });
}

// +-1 gives +-Inf; |x| > 1 gives NaN.
double ErfInv(double x) {
  if (std::isnan(x) || std::fabs(x) > 1.0) return NAN;
  if (std::fabs(x) == 1.0) return std::copysign(INF, x);
  return Guard([&] { return bm::erf_inv(x, Pol()); });
}

}  // namespace Kalix

// ---- Distribution functions of the random-variate laws.
#include <boost/math/distributions/extreme_value.hpp>
#include <boost/math/distributions/hypergeometric.hpp>
#include <boost/math/distributions/negative_binomial.hpp>
#include <boost/math/distributions/poisson.hpp>

namespace Kalix {

namespace {
namespace rbm = boost::math;
namespace rbp = boost::math::policies;
using RPol = rbp::policy<rbp::domain_error<rbp::ignore_error>, rbp::pole_error<rbp::ignore_error>,
                         rbp::overflow_error<rbp::ignore_error>, rbp::evaluation_error<rbp::ignore_error>,
                         rbp::discrete_quantile<rbp::integer_round_down>>;
template <class F>
double Safe(F f) noexcept {
  try {
    return f();
  } catch (...) {
    return std::numeric_limits<double>::quiet_NaN();
  }
}
// CDF of a distribution on [lo, hi] that gives exact 0 and 1 outside.
template <class D>
double ClampedCdf(const D& d, double x, double lo, double hi) {
  if (std::isnan(x)) return x;
  if (x < lo) return 0.0;
  if (x >= hi) return 1.0;
  return rbm::cdf(d, x);
}
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
}  // namespace

double CauchyCDF(double x, double m, double b) {
  if (!(b > 0)) return kNaN;
  return Safe([&] { return ClampedCdf(rbm::cauchy_distribution<double, RPol>(m, b), x, -kInf, kInf); });
}
double GumbelCDF(double x, double m, double b) {
  if (!(b > 0)) return kNaN;
  return Safe([&] { return ClampedCdf(rbm::extreme_value_distribution<double, RPol>(m, b), x, -kInf, kInf); });
}
double LogisticCDF(double x, double m, double b) {
  if (!(b > 0)) return kNaN;
  return Safe([&] { return ClampedCdf(rbm::logistic_distribution<double, RPol>(m, b), x, -kInf, kInf); });
}
double TriangularCDF(double x, double a, double b, double c) {
  if (!(a < b && a <= c && c <= b)) return kNaN;
  return Safe([&] { return ClampedCdf(rbm::triangular_distribution<double, RPol>(a, c, b), x, a, b); });
}
double GenParetoCDF(double x, double k, double m, double s) {
  if (!(s > 0) || std::isnan(x) || std::isnan(k) || std::isnan(m)) return kNaN;
  const double z = (x - m) / s;
  if (z <= 0) return 0.0;
  if (k == 0) return -std::expm1(-z);
  const double t = 1.0 + k * z;
  if (t <= 0) return 1.0;  // beyond the upper end point m - s/k of a negative shape
  return -std::expm1(-std::log1p(k * z) / k);
}
double PoissonCDF(double k, double lambda) {
  if (!(lambda >= 0) || std::isnan(k)) return kNaN;
  if (k < 0) return 0.0;
  if (lambda == 0) return 1.0;
  return Safe([&] { return rbm::cdf(rbm::poisson_distribution<double, RPol>(lambda), std::floor(k)); });
}
double NegBinomCDF(double k, double R, double p) {
  if (!(R > 0) || !(p > 0 && p <= 1) || std::isnan(k)) return kNaN;
  if (k < 0) return 0.0;
  if (p == 1) return 1.0;
  return Safe([&] { return rbm::cdf(rbm::negative_binomial_distribution<double, RPol>(R, p), std::floor(k)); });
}
double HypGeometricCDF(double k, double M, double K, double N) {
  // The counts are whole numbers of items, held as unsigned by the summation: larger M is NaN.
  constexpr double kMaxItems = std::numeric_limits<unsigned>::max();
  if (!(M >= 0 && K >= 0 && N >= 0 && K <= M && N <= M && M <= kMaxItems) || std::isnan(k)) return kNaN;
  if (M != std::floor(M) || K != std::floor(K) || N != std::floor(N)) return kNaN;
  const double lo = std::max(0.0, N + K - M), hi = std::min(N, K);
  if (k < lo) return 0.0;
  if (k >= hi) return 1.0;
  return Safe([&] {
    const rbm::hypergeometric_distribution<double, RPol> d(static_cast<unsigned>(K), static_cast<unsigned>(N),
                                                            static_cast<unsigned>(M));
    return rbm::cdf(d, static_cast<unsigned>(std::floor(k)));
  });
}
double GeometricCDF(double k, double p) {
  if (!(p > 0 && p <= 1) || std::isnan(k)) return kNaN;
  if (k < 0) return 0.0;
  return -std::expm1((std::floor(k) + 1.0) * std::log1p(-p));
}

// ---------------------------------------------------------------- Student's t, whole df
// For whole v the t law has closed forms (Abramowitz & Stegun 26.7.3-26.7.4): with
// theta = atan(|t| / sqrt(v)), z = cos^2 theta and s = sin theta, the central probability
// A = P(|T| <= |t|) is
//   even v: s (1 + z/2 + 1.3/(2.4) z^2 + ... + 1.3...(v-3)/(2.4...(v-2)) z^(v/2-1)),
//   odd v:  (2/pi) (theta + s cos theta (1 + 2/3 z + ... + 2.4...(v-3)/(1.3...(v-2)) z^((v-3)/2))),
// a sum of positive terms, so A carries a few roundings. The lower tail (1 - A)/2 cancels, and
// in the upper one 1/2 + A/2 rounds A's noise into steps against t, so both are used only
// while 1 - A >= kMinComplement; the quantile, whose relative error is about
// eps / (2 t f(t)) ~ eps / (2 v q) in the tail q, only while v q >= kMinQuantileTail and, as
// A's roundings grow with the number of terms, q >= kMinQuantileP. Below
// those, and above kMaxWholeDf (where the series grow long), the general routines serve.
namespace {
namespace Prob {

constexpr int kMaxWholeDf = 64;
constexpr double kMinComplement = 0.15;
constexpr double kMinQuantileTail = 0.02, kMinQuantileP = 0.004;

// v when Df is a whole number in 1 .. kMaxWholeDf, else 0.
int WholeDf(double Df) {
  return Df >= 1 && Df <= kMaxWholeDf && Df == std::floor(Df) ? static_cast<int>(Df) : 0;
}

// A(t) = P(|T| <= t) for t >= 0.
double CentralProbability(double t, int v) {
  const double den = v + t * t, z = v / den, s = t / std::sqrt(den);
  double sum = 1, term = 1;
  if (v % 2 == 0) {
    for (int k = 1; k < v / 2; ++k) {
      term *= z * (2 * k - 1) / (2 * k);
      sum += term;
    }
    return s * sum;
  }
  if (v == 1) return std::atan(t) * (2 / PI);
  for (int k = 1; k < (v - 1) / 2; ++k) {
    term *= z * (2 * k) / (2 * k + 1);
    sum += term;
  }
  return (std::atan(t / std::sqrt(static_cast<double>(v))) + s * std::sqrt(z) * sum) * (2 / PI);
}

// Gamma((v + 1) / 2) / (sqrt(v pi) Gamma(v / 2)), the density at 0, for v = 0 .. kMaxWholeDf
// (from r(v) = Gamma((v + 1) / 2) / Gamma(v / 2), r(1) = 1 / sqrt(pi), r(2) = sqrt(pi) / 2 and
// r(v) = r(v - 2) (v - 1) / (v - 2)).
const std::array<double, kMaxWholeDf + 1>& DensityAtZero() {
  static const std::array<double, kMaxWholeDf + 1> c = [] {
    std::array<double, kMaxWholeDf + 1> out{};
    long double r[kMaxWholeDf + 1] = {};
    const long double pi = 3.141592653589793238462643383279502884L;
    r[1] = 1 / std::sqrt(pi);
    r[2] = std::sqrt(pi) / 2;
    for (int v = 3; v <= kMaxWholeDf; ++v) r[v] = r[v - 2] * (v - 1) / (v - 2);
    for (int v = 1; v <= kMaxWholeDf; ++v) out[static_cast<std::size_t>(v)] = static_cast<double>(r[v] / std::sqrt(v * pi));
    return out;
  }();
  return c;
}

double DensityWholeDf(double t, int v) {
  return DensityAtZero()[static_cast<std::size_t>(v)] * std::pow(1 + t * t / v, -(v + 1) / 2.0);
}

// Hill (1970), Algorithm 396, Communications of the ACM 13, 619-620: t > 0 with
// P(|T| > t) = p2 (two-tailed p2 in (0, 1)), good to about 1e-5 relative for v >= 1.
double HillQuantile(double p2, int v) {
  const double n = v;
  if (v == 1) return 1 / std::tan(p2 * (PI / 2));
  if (v == 2) return std::sqrt(2 / (p2 * (2 - p2)) - 2);
  const double a = 1 / (n - 0.5), b = 48 / (a * a);
  double c = ((20700 * a / b - 98) * a - 16) * a + 96.36;
  const double d = ((94.5 / (b + c) - 3) / b + 1) * std::sqrt(a * PI / 2) * n;
  double y = std::pow(d * p2, 2 / n);
  if (y > 0.05 + a) {
    const double x = 1.4142135623730951 * bm::erfc_inv(p2, Pol());  // upper p2/2 normal quantile
    y = x * x;
    if (v < 5) c += 0.3 * (n - 4.5) * (x + 0.6);
    c = (((0.05 * d * x - 5) * x - 7) * x - 2) * x + b + c;
    y = (((((0.4 * y + 6.3) * y + 36) * y + 94.5) / c - y - 3) / b + 1) * x;
    y = a * y * y;
    y = y > 0.002 ? std::expm1(y) : 0.5 * y * y + y;
  } else {
    y = ((1 / (((n + 6) / (n * y) - 0.089 * d - 0.822) * (n + 2) * 3) + 0.5 / (n + 4)) * y - 1) * (n + 1) / (n + 2) +
        1 / y;
  }
  return std::sqrt(n * y);
}

bool StudentCDFWholeDf(double t, double Df, double& P) {
  const int v = WholeDf(Df);
  if (v == 0 || !std::isfinite(t)) return false;
  const double A = CentralProbability(std::fabs(t), v);
  if (1 - A < kMinComplement) return false;
  P = t < 0 ? 0.5 * (1 - A) : 0.5 + 0.5 * A;
  return true;
}

// Hill's start, then Newton steps on A(t) = |2p - 1| (exact for p >= 1/4), whose derivative is
// twice the density.
bool StudentCDFInvWholeDf(double p, double Df, double& t) {
  const int v = WholeDf(Df);
  if (v == 0 || !(p > 0 && p < 1)) return false;
  const double q = std::min(p, 1 - p);
  if (v * q < kMinQuantileTail || q < kMinQuantileP) return false;
  if (p == 0.5) {
    t = 0;
    return true;
  }
  const double target = p > 0.5 ? 2 * p - 1 : 1 - 2 * p;
  double x = HillQuantile(2 * q, v);
  for (int step = 0; step < 6; ++step) {
    const double dx = (target - CentralProbability(x, v)) / (2 * DensityWholeDf(x, v));
    x += dx;
    if (std::fabs(dx) <= 1e-15 * x) break;
  }
  t = p > 0.5 ? x : -x;
  return true;
}

}  // namespace Prob
}  // namespace

}  // namespace Kalix
