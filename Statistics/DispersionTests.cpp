// Tests of dispersion (F and chi-square), Grubbs' outlier test and Bartlett's test of the
// number of distinct principal components.

#include <algorithm>
#include <cmath>
#include <vector>

#include "Statistics/Statistics.h"
#include "Statistics/detail/HypothesisRule.h"

namespace Statistics {

using namespace Kalix;
using detail::AlphaInRange;
using detail::Decide;
using detail::KnownTail;
using detail::QuietNan;
using detail::TailSignif;

double FTest(const TVec& Data1, const TVec& Data2, THypothesisResult& hRes, double& Signif, TTwoElmReal& ConfInt,
             THypothesisType hType, double Alpha) {
  if (Data1.Complex() || Data2.Complex()) ERaise("FTest: (Data1.Complex) or (Data2.Complex)");
  if (Data1.Length() < 2 || Data2.Length() < 2) ERaise("FTest: (Data1.Length<2) or (Data2.Length<2)");
  if (!AlphaInRange(Alpha) || !KnownTail(hType)) return QuietNan(hRes, Signif, &ConfInt);
  const double s1 = StdDev(Data1), s2 = StdDev(Data2);
  // Deliberate: the second sample's variance is the numerator.
  const double F = (s2 * s2) / (s1 * s1);
  const double df1 = Data2.Length() - 1.0, df2 = Data1.Length() - 1.0;
  auto Q = [&](double p) { return F * FCDFInv(p, df1, df2); };
  Signif = TailSignif(FCDF(F, df1, df2), hType);
  switch (hType) {
    case htLeftTailed: ConfInt = {Q(1.0 - Alpha), HUGE_VAL}; break;
    case htRightTailed: ConfInt = {0.0, Q(Alpha)}; break;
    default: ConfInt = {Q(0.5 * Alpha), Q(1.0 - 0.5 * Alpha)}; break;
  }
  hRes = Decide(Signif, F, Alpha);
  return F;
}

void ChiSquareTest(const TVec& Data, double Sigma, THypothesisResult& hRes, double& Signif, TTwoElmReal& ConfInt,
                   THypothesisType hType, double Alpha) {
  if (Data.Complex()) ERaise("Chi2Test: Data.Complex = true");  // Deliberate: named Chi2Test
  if (!AlphaInRange(Alpha) || !KnownTail(hType)) {
    QuietNan(hRes, Signif, &ConfInt);
    return;
  }
  const double df = Data.Length() - 1.0;
  const double sd = StdDev(Data);
  const double ss = df * sd * sd;  // (n - 1) v
  Signif = TailSignif(ChiSquareCDF(ss / (Sigma * Sigma), df), hType);
  // Interval for the standard deviation; the quantile choices are deliberate.
  auto K = [&](double q) { return std::sqrt(ss / ChiSquareCDFInv(q, df)); };
  switch (hType) {
    case htRightTailed: ConfInt = {0.0, K(1.0 - Alpha)}; break;
    case htLeftTailed: ConfInt = {K(Alpha), HUGE_VAL}; break;
    default: ConfInt = {K(1.0 - 0.5 * Alpha), K(0.5 * Alpha)}; break;
  }
  // Only the p-value is examined.
  hRes = std::isfinite(Signif) ? (Signif <= Alpha ? hrReject : hrNotReject) : hrNan;
}

void GrubbsTest(const TVec& Data, THypothesisResult& hRes, double& Signif, TTwoElmReal& ConfInt,
                THypothesisType hType, double Alpha) {
  if (Data.Complex()) ERaise("GrubbsTest: Data.Complex");
  if (!KnownTail(hType)) {
    QuietNan(hRes, Signif, &ConfInt);
    return;
  }
  const double n = Data.Length();
  const double m = Mean(Data);
  double G, a;
  if (hType == htTwoTailed) {
    TVecScratch z;
    z->Copy(Data);
    ZScore(*z);
    Abs(*z);
    G = Max(*z);
    a = 0.5 * Alpha / n;
  } else {
    const double s = StdDev(Data, m);
    G = hType == htRightTailed ? (Max(Data) - m) / s : (m - Min(Data)) / s;
    a = Alpha / n;
  }
  // Critical value from the t quantile (Grubbs 1950; Grubbs & Beck 1972).
  const double t = StudentCDFInv(1.0 - a, n - 2.0);
  const double Gc = (n - 1.0) * std::sqrt(t * t / (n * (t * t + n - 2.0)));
  const double T2 = (n - 2.0) * n * G * G / ((n - 1.0) * (n - 1.0) - n * G * G);
  Signif = 2.0 * n * StudentCDF(-std::sqrt(T2), n - 2.0);  // same for every hType, not clamped
  ConfInt = {m - Gc, m + Gc};                                // Deliberate: Gc itself, unscaled
  // Deliberate: decided by G > Gc; Signif and Alpha are not compared.
  hRes = !std::isfinite(G) ? hrNan : (G > Gc ? hrReject : hrNotReject);
}

// Bartlett (1950) test that the k smallest eigenvalues of the covariance matrix are equal:
// chi2 = (n - 1) (k ln(mean of them) - sum of their logs), (k - 1)(k + 2)/2 degrees of freedom.
void BartlettTest(const TMtx& Data, int& NumComp, TVec& Signif, double Alpha) {
  if (Data.Complex()) ERaise("BartlettTest: Data.Complex = True");
  const int p = Data.Cols();
  const double nm1 = Data.Rows() - 1.0;
  TMtxScratch C;
  TVecScratch sv;
  Covariance(Data, *C, false);
  SVD(*C, *sv);
  std::vector<double> lam(static_cast<std::size_t>(sv->Length()));
  for (std::size_t j = 0; j < lam.size(); ++j) lam[j] = sv->Values(static_cast<int>(j));
  std::reverse(lam.begin(), lam.end());  // ascending
  Signif.Size(std::max(p - 1, 0), Data.FloatPrecision());
  // Sums over the k smallest, k = 2 .. p, by accumulating the ascending values.
  std::vector<double> sumLog(lam.size() + 1, 0.0), sum(lam.size() + 1, 0.0);
  for (std::size_t j = 0; j < lam.size(); ++j) {
    sumLog[j + 1] = sumLog[j] + std::log(lam[j]);
    sum[j + 1] = sum[j] + lam[j];
  }
  NumComp = p;
  bool found = false;
  for (int i = 0; i + 1 < p; ++i) {
    const int k = p - i;
    const double dk = k;
    const double chi2 = nm1 * (dk * std::log(sum[static_cast<std::size_t>(k)] / dk) - sumLog[static_cast<std::size_t>(k)]);
    const double s = 1.0 - ChiSquareCDF(chi2, static_cast<double>((k - 1) * (k + 2) / 2));
    Signif.Values(i) = s;
    if (!found && s > Alpha) {
      found = true;
      NumComp = i + 1;
    }
  }
  // Found at i = 0 (all eigenvalues alike) gives -1, at i >= 1 gives i.
  if (found) NumComp = NumComp == 1 ? -1 : NumComp - 1;
}

}  // namespace Statistics
