// Process-capability indexes Cp and Cpk with the expected fraction outside the tolerance limits under a
// normal law, and confidence intervals for both indexes (Montgomery, Introduction to Statistical
// Quality Control, 6th ed., sec. 8.3: chi-square interval for Cp, Bissell's normal approximation
// for Cpk).

#include <algorithm>
#include <cmath>

#include "StatControlCharts/StatControlCharts.h"

namespace StatControlCharts {

using namespace Kalix;

void QCCapIndexes(const TVec& Data, double LSL, double USL, double& FractionOut, double& Cp, double& Cpk,
                  TTwoElmReal& CpCI, TTwoElmReal& CpkCI, double Alpha) {
  Cp = NAN;
  Cpk = NAN;
  const double m = Mean(Data);
  const double s = StdDev(Data, m);
  // One-sided tolerance limits give a fraction out but no two-sided index.
  if (IsInf(LSL)) {
    FractionOut = 1.0 - NormalCDF(USL, m, s);
    return;
  }
  if (IsInf(USL)) {
    FractionOut = NormalCDF(LSL, m, s);
    return;
  }
  FractionOut = (1.0 - NormalCDF(USL, m, s)) + NormalCDF(LSL, m, s);
  Cpk = std::min(m - LSL, USL - m) / (3.0 * s);
  Cp = (USL - LSL) / (6.0 * s);

  const double n = Data.Length();
  const double df = n - 1.0;
  CpCI = {Cp * std::sqrt(ChiSquareCDFInv(0.5 * Alpha, df) / df), Cp * std::sqrt(ChiSquareCDFInv(1.0 - 0.5 * Alpha, df) / df)};
  // Deliberate: the first term is (n - 1) / (9 n^2 - 1), not the textbook 1 / (9 n).
  const double se = std::sqrt(df / (9.0 * n * n - 1.0) + Cpk * Cpk / (2.0 * n - 6.0) * (1.0 + 6.0 / df));
  const double z = NormalCDFInv(1.0 - 0.5 * Alpha, 0.0, 1.0);
  CpkCI = {Cpk - z * se, Cpk + z * se};
}

}  // namespace StatControlCharts
