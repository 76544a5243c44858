// Maximum-likelihood fits of two-parameter distributions without closed-form estimates:
// Nelder-Mead on the negative log-likelihood from a moment or plotting-position start, and
// Wald intervals from the score outer-product standard errors.

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <span>
#include <vector>

#include "Statistics/Statistics.h"
#include "Statistics/detail/Likelihood.h"

namespace Statistics {

using namespace Kalix;
using detail::TLikeDist;

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

using TPair = std::array<double, 2>;

TObjConsts DataConst(const TVec& X, TDenseKalix*& slot) {
  slot = const_cast<TVec*>(&X);  // objectives only read the data
  return TObjConsts(&slot, 1);
}

// Runs Simplex on the distribution's likelihood from Start; the last point is returned
// whatever the stop reason.
TPair Minimise(TLikeDist Dist, const TVec& X, TPair Start, int MaxIter, double Tolerance,
               std::span<const double> Lower = {}, std::span<const double> Upper = {}) {
  TDenseKalix* slot = nullptr;
  const TObjConsts objConsts = DataConst(X, slot);
  double fMin;
  TOptStopReason reason;
  const TRealFunction f = detail::MakeObjective(Dist, X);
  if (Lower.empty())
    Simplex(f, Start, {}, objConsts, fMin, reason, X.FloatPrecision(), MaxIter, Tolerance);
  else
    Simplex(f, Start, {}, objConsts, Lower, Upper, fMin, reason, X.FloatPrecision(), MaxIter, Tolerance);
  return Start;
}

// Product of x^(1/n), the geometric mean, of x (Complement: of 1 - x).
double GeometricMean(const TVec& X, bool Complement) {
  return WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    const auto x = X.Span<T>();
    const T e = T(1) / static_cast<T>(x.size());
    T g = T(1);
    for (const T v : x) g *= std::pow(Complement ? T(1) - v : v, e);
    return static_cast<double>(g);
  });
}

TPair BetaStart(const TVec& X) {
  const double g1 = GeometricMean(X, false), g2 = GeometricMean(X, true);
  const double d = 1 - g1 - g2;
  return {0.5 * (1 - g2) / d, 0.5 * (1 - g1) / d};
}

TPair GammaStart(const TVec& X) {
  const double m = Mean(X), sd = StdDev(X, m);
  const double scale = sd * sd / m;
  return {m / scale, scale};
}

// Weibull probability plot: ln(-ln(1 - p_i)) = ln a + b ln x_(i) at p_i = (i + 0.5)/n, fitted
// by least squares on the Vandermonde matrix [ln x, 1] (slope first).
TPair WeibullStart(const TVec& X) {
  const int n = X.Length();
  TVecScratch z, y, k;
  TMtxScratch v;
  Ln(*z, X);
  SortAscend(*z);
  y->Size(n, X.FloatPrecision());
  for (int i = 0; i < n; ++i) y->Values(i) = std::log(-std::log1p(-(i + 0.5) / n));
  VanderMonde(*v, *z, 2);
  LQRSolve(*k, *v, *y);
  const double slope = k->Values(0), intercept = k->Values(1);
  return {std::exp(intercept / slope), slope};
}

TPair CauchyStart(const TVec& X) { return {Median(X), std::max(0.2, 0.1 * StdDev(X))}; }

// ---------------------------------------------------------------- Weibull profile likelihood

// For a fixed shape b the likelihood is maximal at a = n / sum x^b, which leaves one equation
// for b (Cohen, "Maximum likelihood estimation in the Weibull distribution based on complete
// and on censored samples", Technometrics 7, 1965; Lawless, Statistical Models and Methods for
// Lifetime Data, section 5.2):
//   g(b) = 1/b + mean(ln x) - sum x^b ln x / sum x^b = 0,
// g decreasing, g'(b) = -1/b^2 - (the x^b-weighted variance of ln x). With u = ln x - max ln x
// every exp(b u) lies in (0, 1], so no sum overflows.
struct TWeibullProfile {
  std::vector<double> u;
  double meanU = 0, maxL = 0;

  // g and g' at b; s0 = sum exp(b u) for the scale.
  void Eval(double b, double& g, double& dg, double& s0) const {
    double t0 = 0, t1 = 0, t2 = 0;
    for (const double v : u) {
      const double e = std::exp(b * v);
      t0 += e;
      t1 += e * v;
      t2 += e * v * v;
    }
    const double m1 = t1 / t0;
    g = 1 / b + meanU - m1;
    dg = -1 / (b * b) - (t2 / t0 - m1 * m1);
    s0 = t0;
  }
};

// Safeguarded Newton on g: a step leaving the bracket [lo, hi] known to hold the root is
// replaced by bisection. False when the data give no root (all equal) or g is not finite.
bool WeibullProfileRoot(const TWeibullProfile& p, double b0, double& b, double& s0) {
  double lo = 0, hi = kInf, g = 0, dg = 0;
  b = b0;
  for (int it = 0; it < 200; ++it) {
    p.Eval(b, g, dg, s0);
    if (!std::isfinite(g) || !std::isfinite(dg)) return false;
    if (g > 0)
      lo = b;
    else
      hi = b;
    double next = b - g / dg;
    if (!(next > lo && next < hi)) next = std::isinf(hi) ? 2 * b : 0.5 * (lo + hi);
    if (std::fabs(next - b) <= 4 * std::numeric_limits<double>::epsilon() * b) {
      b = next;
      p.Eval(b, g, dg, s0);
      return std::isfinite(s0) && s0 > 0;
    }
    if (std::isinf(hi) && b > 1e300) return false;
    b = next;
  }
  return false;
}

enum class TProfileOutcome { failed, estimate, start };

// The maximum-likelihood (a, b) from the profile equation, for positive finite data. When the
// objective's 2^-52 guard on the density would move the minimiser (some density at the
// estimate below 1e10 times the guard), the estimate is only a start for the optimiser.
template <class T>
TProfileOutcome WeibullProfileFit(std::span<const T> x, TPair& est) {
  const std::size_t n = x.size();
  if (n < 2) return TProfileOutcome::failed;
  TWeibullProfile p;
  p.u.resize(n);
  p.maxL = -kInf;
  for (std::size_t i = 0; i < n; ++i) {
    if (!(x[i] > T(0) && x[i] < std::numeric_limits<T>::infinity())) return TProfileOutcome::failed;
    p.u[i] = std::log(static_cast<double>(x[i]));
    p.maxL = std::max(p.maxL, p.u[i]);
  }
  double sumU = 0, sumU2 = 0;
  for (double& v : p.u) {
    v -= p.maxL;
    sumU += v;
  }
  p.meanU = sumU / static_cast<double>(n);
  for (const double v : p.u) sumU2 += (v - p.meanU) * (v - p.meanU);
  const double sd = std::sqrt(sumU2 / static_cast<double>(n - 1));
  if (!(sd > 0)) return TProfileOutcome::failed;
  // Start: ln x of Weibull data is Gumbel with standard deviation pi / (b sqrt 6).
  double b = 0, s0 = 0;
  if (!WeibullProfileRoot(p, 1.2825498301618641 / sd, b, s0)) return TProfileOutcome::failed;
  // a = n / sum x^b = n exp(-b maxL) / s0.
  const double lnA = std::log(static_cast<double>(n) / s0) - b * p.maxL, a = std::exp(lnA);
  if (!(a > 0 && std::isfinite(a))) return TProfileOutcome::failed;
  est = {a, b};
  // The guard adds e/f (e = 2^-52) times each density's relative scores (a d/da, b d/db of
  // ln f = ln a + ln b + (b - 1) ln x - a x^b) to the likelihood equations; while their sum
  // stays below 1e-10 n the minimiser moves by about 1e-10 of itself, below rounding of the
  // optimiser's own answer.
  const double c0 = lnA + std::log(b), lnGuard = std::log(std::numeric_limits<double>::epsilon());
  double shift = 0;
  for (const double v : p.u) {
    const double l = v + p.maxL, h = std::exp(lnA + b * l), lf = c0 + (b - 1) * l - h;
    if (lf - lnGuard > 40) continue;  // e/f below 4e-18
    shift += std::exp(lnGuard - lf) * (std::fabs(1 + b * l * (1 - h)) + std::fabs(1 - h));
  }
  if (!(shift <= 1e-10 * static_cast<double>(n))) return TProfileOutcome::start;
  return TProfileOutcome::estimate;
}

TPair WeibullFitReal(const TVec& X, int MaxIter, double Tolerance) {
  // The optimiser keeps its own rules for no iterations and for bad settings.
  if (MaxIter > 0 && Tolerance >= 0) {
    TPair est{};
    const TProfileOutcome o =
        WithPrecision(X, [&](auto t) { return WeibullProfileFit(X.Span<typename decltype(t)::type>(), est); });
    if (o == TProfileOutcome::estimate) return est;
    if (o == TProfileOutcome::start) return Minimise(TLikeDist::Weibull, X, est, MaxIter, Tolerance);
  }
  return Minimise(TLikeDist::Weibull, X, WeibullStart(X), MaxIter, Tolerance);
}

// Fits X, or for complex data (accepted by the plain Weibull fit) the real parts of X.
TPair WeibullPlain(const TVec& X, int MaxIter, double Tolerance) {
  if (!X.Complex()) return WeibullFitReal(X, MaxIter, Tolerance);
  TVec re(X.Length(), X.IsDouble() ? mvDouble : mvSingle);
  for (int i = 0; i < X.Length(); ++i) re.Values(i) = X.Values(i);
  return WeibullFitReal(re, MaxIter, Tolerance);
}

TPair CauchyPlain(const TVec& X, int MaxIter, double Tolerance) {
  const std::array<double, 2> lower{-kInf, X.PrecisionEPS()}, upper{kInf, kInf};
  return Minimise(TLikeDist::Cauchy, X, CauchyStart(X), MaxIter, Tolerance, lower, upper);
}

// Wald intervals A -+ z s_A and B -+ z s_B.
void WaldIntervals(const TPair& Est, const TTwoElmReal& StdErr, double Alpha, TTwoElmReal& ACI, TTwoElmReal& BCI) {
  ACI = {NormalCDFInv(Alpha / 2, Est[0], StdErr[0]), NormalCDFInv(1 - Alpha / 2, Est[0], StdErr[0])};
  BCI = {NormalCDFInv(Alpha / 2, Est[1], StdErr[1]), NormalCDFInv(1 - Alpha / 2, Est[1], StdErr[1])};
}

void IntervalsFor(TLikeDist Dist, const TVec& X, const TPair& Est, double Alpha, TTwoElmReal& ACI,
                  TTwoElmReal& BCI) {
  TTwoElmReal se;
  detail::ScoreStdErrors(Dist, X, Est, se);
  WaldIntervals(Est, se, Alpha, ACI, BCI);
}

}  // namespace

double BetaLike(const TVec& Pars, const TVec& Consts, TObjConsts ObjConsts) {
  static_cast<void>(Consts);
  return detail::NegLogLike(TLikeDist::Beta, Pars, ObjConsts, nullptr);
}

double BetaLike(const TVec& Pars, const TVec& Consts, TObjConsts ObjConsts, TTwoElmReal& StdErr) {
  static_cast<void>(Consts);
  return detail::NegLogLike(TLikeDist::Beta, Pars, ObjConsts, &StdErr);
}

void BetaFit(const TVec& X, double& A, double& B, int MaxIter, double Tolerance) {
  if (X.Complex()) ERaise("BetaFit: X.Complex=True");
  const TPair est = Minimise(TLikeDist::Beta, X, BetaStart(X), MaxIter, Tolerance);
  A = est[0];
  B = est[1];
}

void BetaFit(const TVec& X, double& A, double& B, TTwoElmReal& ACI, TTwoElmReal& BCI, int MaxIter, double Tolerance,
             double Alpha) {
  if (X.Complex()) ERaise("BetaFit: X.Complex = True");
  BetaFit(X, A, B, MaxIter, Tolerance);
  TVec pars{A, B};
  TDenseKalix* slot = nullptr;
  TTwoElmReal se;
  BetaLike(pars, TVec(), DataConst(X, slot), se);
  WaldIntervals({A, B}, se, Alpha, ACI, BCI);
}

void GammaFit(const TVec& X, double& A, double& B, int MaxIter, double Tolerance) {
  if (X.Complex()) ERaise("GammaFit: X.Complex=True");
  const TPair est = Minimise(TLikeDist::Gamma, X, GammaStart(X), MaxIter, Tolerance);
  A = est[0];
  B = est[1];
}

void GammaFit(const TVec& X, double& A, double& B, TTwoElmReal& ACI, TTwoElmReal& BCI, int MaxIter,
              double Tolerance, double Alpha) {
  if (X.Complex()) ERaise("GammaFit : X.Complex = True");  // Deliberate: blank before the colon.
  GammaFit(X, A, B, MaxIter, Tolerance);
  IntervalsFor(TLikeDist::Gamma, X, {A, B}, Alpha, ACI, BCI);
}

void WeibullFit(const TVec& X, double& A, double& B, int MaxIter, double Tolerance) {
  // Deliberate: no complexity check in the plain form; complex data are fitted by their real parts.
  const TPair est = WeibullPlain(X, MaxIter, Tolerance);
  A = est[0];
  B = est[1];
}

void WeibullFit(const TVec& X, double& A, double& B, TTwoElmReal& ACI, TTwoElmReal& BCI, int MaxIter,
                double Tolerance, double Alpha) {
  if (X.Complex()) ERaise("WeibullFit: X.Complex=True");
  WeibullFit(X, A, B, MaxIter, Tolerance);
  IntervalsFor(TLikeDist::Weibull, X, {A, B}, Alpha, ACI, BCI);
}

void CauchyFit(const TVec& X, double& Location, double& Scale, int MaxIter, double Tolerance) {
  if (X.Complex()) ERaise("CauchyFit: X.Complex=True");
  const TPair est = CauchyPlain(X, MaxIter, Tolerance);
  Location = est[0];
  Scale = est[1];
}

void CauchyFit(const TVec& X, double& Location, double& Scale, TTwoElmReal& LocationCI, TTwoElmReal& ScaleCI,
               int MaxIter, double Tolerance, double Alpha) {
  if (X.Complex()) ERaise("CauchyFit: X.Complex = True");
  CauchyFit(X, Location, Scale, MaxIter, Tolerance);
  IntervalsFor(TLikeDist::Cauchy, X, {Location, Scale}, Alpha, LocationCI, ScaleCI);
}

}  // namespace Statistics
