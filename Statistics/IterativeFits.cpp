// Bounded maximum-likelihood fits: Student's t and F degrees of freedom (integers, kept at
// their moment start unless the optimiser converges) and the three triangular parameters.

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

// Bounded Simplex on the distribution's likelihood; Pars in: start, out: last point.
TOptStopReason MinimiseBounded(TLikeDist Dist, const TVec& X, std::span<double> Pars, std::span<const double> Lower,
                               std::span<const double> Upper, int MaxIter, double Tolerance) {
  TDenseKalix* data = const_cast<TVec*>(&X);  // objectives only read the data
  double fMin;
  TOptStopReason reason;
  Simplex(detail::MakeObjective(Dist, X), Pars, {}, TObjConsts(&data, 1), Lower, Upper, fMin, reason,
          X.FloatPrecision(), MaxIter, Tolerance);
  return reason;
}

}  // namespace

// Moment start from var = Df/(Df - 2): Df = 2 v/(v - 1), truncated and at least 2 (a variance
// at or below 1, or NaN, has no such Df).
void StudentFit(const TVec& X, int& Df, int MaxIter, double Tolerance) {
  if (X.Complex()) ERaise("StudentFit: X.Complex=True");
  const double sd = StdDev(X), v = sd * sd;
  double df0 = std::trunc(2 * v / (v - 1));
  if (!(df0 >= 2)) df0 = 2;
  std::array<double, 1> pars{df0};
  const std::array<double, 1> lower{1.0}, upper{2 * df0};
  const TOptStopReason reason = MinimiseBounded(TLikeDist::Student, X, pars, lower, upper, MaxIter, Tolerance);
  // Deliberate: only normal convergence replaces the moment start.
  Df = aRound(reason == optConverged ? pars[0] : df0);
}

// Moment start from mean = Df2/(Df2 - 2) and var = 2 Df2^2 (Df1 + Df2 - 2)/(Df1 (Df2 - 2)^2 (Df2 - 4)).
void FFit(const TVec& X, int& Df1, int& Df2, int MaxIter, double Tolerance) {
  if (X.Complex()) ERaise("FFit: X.Complex = True");
  const double m = Mean(X);
  const double df2 = Round(std::max(2.0, 2 * m / (m - 1)));
  const double sd = StdDev(X, m), v = sd * sd;
  const double k = df2 - 2;
  const double q = k * k * (df2 - 4) * v * 0.5 / (df2 * df2);
  const double df1 = Round(std::max(4.0, k / (q - 1)));
  std::array<double, 2> pars{df1, df2};
  const std::array<double, 2> lower{1.0, 1.0}, upper{df1 + 2, df2 + 2};
  const TOptStopReason reason = MinimiseBounded(TLikeDist::F, X, pars, lower, upper, MaxIter, Tolerance);
  // Deliberate: only normal convergence replaces the moment start.
  const bool accept = reason == optConverged;
  Df1 = aRound(accept ? pars[0] : df1);
  Df2 = aRound(accept ? pars[1] : df2);
}

// Start: the data's range, and the mode from mean = (A + B + C)/3; every parameter is kept
// inside [min, max].
void TriangularFit(const TVec& X, double& A, double& B, double& C, int MaxIter, double Tolerance) {
  if (X.Complex()) ERaise("TriangularFit: X.Complex=True");
  double lo, hi;
  MaxMin(X, hi, lo);
  if (!(lo <= hi)) {  // empty data or a NaN: no range to bound the optimiser with
    A = B = C = std::numeric_limits<double>::quiet_NaN();
    return;
  }
  std::array<double, 3> pars{lo, hi, 3 * Mean(X) - lo - hi};
  const std::array<double, 3> lower{lo, lo, lo}, upper{hi, hi, hi};
  MinimiseBounded(TLikeDist::Triangular, X, pars, lower, upper, MaxIter, Tolerance);
  A = pars[0];
  B = pars[1];
  C = pars[2];
}

}  // namespace Statistics
