// Welch's two-sample t test for unequal variances.

#include <cmath>

#include "Statistics/Statistics.h"
#include "Statistics/detail/HypothesisRule.h"
#include "Statistics/detail/SampleMoments.h"

namespace Statistics {

using namespace Kalix;
using detail::AlphaInRange;
using detail::CriticalP;
using detail::Decide;
using detail::KnownTail;
using detail::QuietNan;
using detail::TailInterval;
using detail::TailSignif;

// Welch (1947, Biometrika 34, 28-35): t = (m1 - m2) / se with se^2 = v1/n1 + v2/n2 and the
// Satterthwaite (1946) degrees of freedom se^4 / ((v1/n1)^2/(n1-1) + (v2/n2)^2/(n2-1)).
double tTestWelch(const TVec& Data1, const TVec& Data2, THypothesisResult& hRes, double& Signif,
                  TTwoElmReal& ConfInt, double& DF, THypothesisType hType, double Alpha) {
  if (Data1.Complex() || Data2.Complex()) ERaise("tTestWelch: vectors must be real");
  DF = NAN;
  if (!AlphaInRange(Alpha) || !KnownTail(hType)) return QuietNan(hRes, Signif, &ConfInt);
  const detail::TSampleMoments a = detail::MeanAndVariance(Data1), b = detail::MeanAndVariance(Data2);
  const double wa = a.var / a.n, wb = b.var / b.n;
  const double se2 = wa + wb;
  const double df = se2 * se2 / (wa * wa / (a.n - 1.0) + wb * wb / (b.n - 1.0));
  const double se = std::sqrt(se2);
  const double d = a.mean - b.mean;
  const double t = d / se;
  DF = df;
  Signif = TailSignif(StudentCDF(t, df), hType);
  ConfInt = TailInterval(d, StudentCDFInv(CriticalP(Alpha, hType), df) * se, hType);
  hRes = Decide(Signif, t, Alpha);
  return t;
}

}  // namespace Statistics
