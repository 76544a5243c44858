// Maximum-likelihood fits of two-parameter distributions without closed-form estimates:
// Nelder-Mead on the negative log-likelihood from a moment or plotting-position start, and
// Wald intervals from the score outer-product standard errors.

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

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

// Fits X, or for complex data (accepted by the plain Weibull fit) the real parts of X.
TPair WeibullPlain(const TVec& X, int MaxIter, double Tolerance) {
  if (!X.Complex()) return Minimise(TLikeDist::Weibull, X, WeibullStart(X), MaxIter, Tolerance);
  TVec re(X.Length(), X.IsDouble() ? mvDouble : mvSingle);
  for (int i = 0; i < X.Length(); ++i) re.Values(i) = X.Values(i);
  return Minimise(TLikeDist::Weibull, re, WeibullStart(re), MaxIter, Tolerance);
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
