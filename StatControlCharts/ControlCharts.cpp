// Shewhart charts for variables (x-bar, s, R, moving range) and attributes (p, np, u, c), and the
// EWMA and CUSUM charts. Chart constants come from formulas (Montgomery, Introduction to
// Statistical Quality Control, 6th ed., ch. 6, 7 and 9), not from tables.

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

#include <boost/math/special_functions/gamma.hpp>

#include "StatControlCharts/StatControlCharts.h"
#include "Statistics/Statistics.h"

namespace StatControlCharts {

using namespace Kalix;

namespace {

// Variables charts: the two-sided convention, 0.9973 -> 3.
double ZTwoSided(double Confidence) { return NormalCDFInv(0.5 * Confidence + 0.5, 0.0, 1.0); }
// Attributes and EWMA charts read Confidence as a one-sided probability, 0.99865 -> 3.
double ZOneSided(double Confidence) { return NormalCDFInv(Confidence, 0.0, 1.0); }

// c4(n) = sqrt(2/(n-1)) Gamma(n/2) / Gamma((n-1)/2), the unbiasing constant of s. Past n = 300
// both gammas overflow, so the ratio is taken directly (it tends to sqrt(n/2)).
double C4(int n) {
  const double dn = n;
  if (n <= 300) return std::sqrt(2.0 / (dn - 1.0)) * Gamma(0.5 * dn) / Gamma(0.5 * (dn - 1.0));
  return std::sqrt(2.0 / (dn - 1.0)) / boost::math::tgamma_delta_ratio(0.5 * (dn - 1.0), 0.5);
}

void SetLimits(double CL, double d, double& UCL, double& LCL) {
  UCL = CL + d;
  LCL = CL - d;
}

// Mean of the row standard deviations.
double MeanRowStdDev(const TMtx& Data) {
  TVecScratch s;
  StdDevRows(Data, s);
  return Mean(*s);
}

// Data / SampleSize into DrawVec, in Data's precision.
void Fractions(const TVec& Data, int SampleSize, TVec& DrawVec) {
  DrawVec.Copy(Data);
  Scale(DrawVec, 1.0 / SampleSize);
}
void Fractions(const TVec& Data, const TVec& SampleSize, TVec& DrawVec) {
  DrawVec.Copy(Data);
  Divide(DrawVec, SampleSize);
}

// Pooled rate sum(Data) / sum(SampleSize) and the per-sample half-widths z * sqrt(v / n_i) of a
// variance v per item, into UCL = Centre + d_i and LCL = Centre - d_i (Centre[i] or a constant).
template <class T>
void PerSampleLimits(std::span<const T> n, double z, double v, const double* centreConst, std::span<const T> centre,
                     bool scaleByN, std::span<T> ucl, std::span<T> lcl) {
  for (std::size_t i = 0; i < n.size(); ++i) {
    const double ni = static_cast<double>(n[i]);
    // p and u charts: sqrt(v / n_i) about a constant; np chart: sqrt(v) sqrt(n_i) about n_i p-bar.
    const double d = scaleByN ? z * std::sqrt(v) * std::sqrt(ni) : z * std::sqrt(v / ni);
    const double c = centreConst ? *centreConst : static_cast<double>(centre[i]);
    ucl[i] = static_cast<T>(c + d);
    lcl[i] = static_cast<T>(c - d);
  }
}

void CheckSampleSizes(const TVec& Data, const TVec& SampleSize, bool checkLength) {
  if (Data.Complex() || SampleSize.Complex()) ERaise("QCPChart: (Data.Complex) or (SampleSize.Complex)");
  if (checkLength && Data.Length() != SampleSize.Length()) ERaise("QCPChart: Data.Length <> SampleSize.Length");
  if (Data.FloatPrecision() != SampleSize.FloatPrecision())
    ERaise("QCPChart: Data.FloatPrecision <> SampleSize.FloatPrecision");
}

// Per-sample limits about a constant centre (p and u charts).
void RateLimits(const TVec& SampleSize, double centre, double v, double z, TVec& UCL, TVec& LCL) {
  UCL.Size(SampleSize);
  LCL.Size(SampleSize);
  WithPrecision(SampleSize, [&](auto t) {
    using T = typename decltype(t)::type;
    PerSampleLimits<T>(SampleSize.Span<T>(), z, v, &centre, {}, false, UCL.Span<T>(), LCL.Span<T>());
  });
}

// EWMA of the values in x in place, started at Start, in the container's precision.
template <class T>
void EwmaInPlace(std::span<T> x, T Lambda, T Start) {
  T prev = Start;
  const T keep = T(1) - Lambda;
  for (T& v : x) v = prev = Lambda * v + keep * prev;
}

// Row means into DrawVec, their mean into CL, and DrawVec smoothed in place.
void Ewma(const TMtx& Data, TVec& DrawVec, double& CL, double Lambda) {
  MeanRows(Data, DrawVec);
  CL = Mean(DrawVec);
  WithPrecision(DrawVec, [&](auto t) {
    using T = typename decltype(t)::type;
    EwmaInPlace<T>(DrawVec.Span<T>(), static_cast<T>(Lambda), static_cast<T>(CL));
  });
}

// sigma-hat / sqrt(n) from the row standard deviations.
double EwmaSigmaOfMean(const TMtx& Data) {
  const int n = Data.Cols();
  return MeanRowStdDev(Data) / C4(n) / std::sqrt(static_cast<double>(n));
}

// Tabular CUSUM of the row means (Page 1954; Montgomery sec. 9.1.2).
template <class T>
void TabularCusum(std::span<const T> xbar, T K, T Mu0, std::span<T> cplus, std::span<T> cminus) {
  T up = T(0), down = T(0);
  for (std::size_t t = 0; t < xbar.size(); ++t) {
    up = std::max(T(0), xbar[t] + up - Mu0 - K);
    down = std::max(T(0), down + Mu0 - K - xbar[t]);
    cplus[t] = up;
    cminus[t] = down;
  }
}

}  // namespace

// ---------------------------------------------------------------- variables charts

void QCXChart(const TMtx& Data, TVec& DrawVec, double& CL, double& UCL, double& LCL, double Confidence) {
  const double sbar = MeanRowStdDev(Data);
  MeanRows(Data, DrawVec);
  CL = Mean(DrawVec);
  const int n = Data.Cols();
  SetLimits(CL, ZTwoSided(Confidence) * sbar / (C4(n) * std::sqrt(static_cast<double>(n))), UCL, LCL);
}

void QCSChart(const TMtx& Data, TVec& DrawVec, double& CL, double& UCL, double& LCL, double Confidence) {
  StdDevRows(Data, DrawVec);
  CL = Mean(DrawVec);
  const double c4 = C4(Data.Cols());
  SetLimits(CL, ZTwoSided(Confidence) * CL * std::sqrt(1.0 - c4 * c4) / c4, UCL, LCL);
  if (LCL < 0.0) LCL = 0.0;  // a standard deviation cannot fall below zero
}

void QCRChart(const TMtx& Data, TVec& DrawVec, double& CL, double& UCL, double& LCL, double Confidence) {
  Statistics::RangeRows(Data, DrawVec);
  CL = Mean(DrawVec);
  const double n = Data.Cols();
  // sigma_R / R-bar in closed form instead of the tabulated d3/d2; LCL is not clipped at 0.
  SetLimits(CL, 0.5 * ZTwoSided(Confidence) * CL * std::sqrt(n * LN2 / ((n - 1.0) * std::log(n))), UCL, LCL);
}

void QCMRChart(const TVec& Data, double& CL, double& UCL, double& LCL, double Confidence) {
  if (Data.Complex()) ERaise("QCMRChart: (Data.Complex)");
  TVecScratch mr;
  Difference(mr, Data);
  // Deliberate: the lag-1 differences keep their sign, so MR-bar = (x[n-1] - x[0]) / (n - 1).
  const double mrbar = Mean(*mr);
  CL = Mean(Data);
  SetLimits(CL, ZTwoSided(Confidence) * mrbar / 1.128, UCL, LCL);
}

// ---------------------------------------------------------------- attributes charts

void QCPChart(const TVec& Data, int SampleSize, TVec& DrawVec, double& CL, double& UCL, double& LCL,
              double Confidence) {
  Fractions(Data, SampleSize, DrawVec);
  CL = Mean(DrawVec);
  SetLimits(CL, ZOneSided(Confidence) * std::sqrt(CL * (1.0 - CL) / SampleSize), UCL, LCL);
}

void QCPChart(const TVec& Data, const TVec& SampleSize, TVec& DrawVec, double& CL, TVec& UCL, TVec& LCL,
              double Confidence) {
  CheckSampleSizes(Data, SampleSize, true);
  Fractions(Data, SampleSize, DrawVec);
  CL = Sum(Data) / Sum(SampleSize);
  RateLimits(SampleSize, CL, CL * (1.0 - CL), ZOneSided(Confidence), UCL, LCL);
}

void QCNPChart(const TVec& Data, int SampleSize, TVec& DrawVec, double& CL, double& UCL, double& LCL,
               double Confidence) {
  DrawVec.Copy(Data);
  CL = Mean(Data);
  const double p = CL / SampleSize;
  SetLimits(CL, ZOneSided(Confidence) * std::sqrt(SampleSize * p * (1.0 - p)), UCL, LCL);
}

void QCNPChart(const TVec& Data, const TVec& SampleSize, TVec& /*DrawVec*/, TVec& CL, TVec& UCL, TVec& LCL,
               double Confidence) {
  CheckSampleSizes(Data, SampleSize, true);
  // Deliberate: DrawVec is left untouched; the counts themselves are the plotted statistic.
  const double p = Sum(Data) / Sum(SampleSize);
  CL.Copy(SampleSize);
  Scale(CL, p);
  UCL.Size(SampleSize);
  LCL.Size(SampleSize);
  const double z = ZOneSided(Confidence);
  WithPrecision(SampleSize, [&](auto t) {
    using T = typename decltype(t)::type;
    PerSampleLimits<T>(SampleSize.Span<T>(), z, p * (1.0 - p), nullptr, std::as_const(CL).Span<T>(), true,
                       UCL.Span<T>(), LCL.Span<T>());
  });
}

void QCUChart(const TVec& Data, int SampleSize, TVec& DrawVec, double& CL, double& UCL, double& LCL,
              double Confidence) {
  Fractions(Data, SampleSize, DrawVec);
  CL = Mean(DrawVec);
  SetLimits(CL, ZOneSided(Confidence) * std::sqrt(CL / SampleSize), UCL, LCL);
}

void QCUChart(const TVec& Data, const TVec& SampleSize, TVec& DrawVec, double& CL, TVec& UCL, TVec& LCL,
              double Confidence) {
  // Deliberate: no length check of its own; unequal lengths are refused by the division.
  CheckSampleSizes(Data, SampleSize, false);
  Fractions(Data, SampleSize, DrawVec);
  CL = Sum(Data) / Sum(SampleSize);
  RateLimits(SampleSize, CL, CL, ZOneSided(Confidence), UCL, LCL);
}

void QCCChart(const TVec& Data, TVec& DrawVec, double& CL, double& UCL, double& LCL, double Confidence) {
  DrawVec.Copy(Data);
  CL = Mean(Data);
  SetLimits(CL, ZOneSided(Confidence) * std::sqrt(CL), UCL, LCL);
}

// ---------------------------------------------------------------- EWMA and CUSUM
// EWMA limits: Roberts (1959); Montgomery sec. 9.2, eq. 9.24 (exact) and 9.26 (asymptotic).

void EWMAChart(const TMtx& Data, TVec& DrawVec, double& CL, double& UCL, double& LCL, double Lambda,
               double Confidence) {
  if (Data.Complex()) ERaise("EWMAChart: (Data.Complex)");
  Ewma(Data, DrawVec, CL, Lambda);
  if (Data.Cols() <= 1) {  // no spread within a subgroup of one
    UCL = INF;
    LCL = -INF;
    return;
  }
  SetLimits(CL, ZOneSided(Confidence) * EwmaSigmaOfMean(Data) * std::sqrt(Lambda / (2.0 - Lambda)), UCL, LCL);
}

void EWMAChart(const TMtx& Data, TVec& DrawVec, double& CL, TVec& UCL, TVec& LCL, double Lambda,
               double Confidence) {
  if (Data.Complex()) ERaise("EWMAChart: (Data.Complex)");
  Ewma(Data, DrawVec, CL, Lambda);
  UCL.Size(DrawVec);
  LCL.Size(DrawVec);
  if (Data.Cols() <= 1) {
    UCL.SetVal(INF);
    LCL.SetVal(-INF);
    return;
  }
  const double d0 = ZOneSided(Confidence) * EwmaSigmaOfMean(Data);
  const double ratio = Lambda / (2.0 - Lambda);
  for (int t = 0; t < DrawVec.Length(); ++t) {
    const double d = d0 * std::sqrt(ratio * (1.0 - std::pow(1.0 - Lambda, 2.0 * (t + 1))));
    UCL[t] = CL + d;
    LCL[t] = CL - d;
  }
}

void QCCumSumChart(const TMtx& Data, TVec& DrawVec, double K, double /*H*/, double Mu0, double Sigma, TVec* CPlus,
                   TVec* CMinus, double /*Confidence*/) {
  if (Data.Complex()) ERaise("QCCumSumChart: (Data.Complex)");
  TVecScratch xbar;
  MeanRows(Data, xbar);
  DrawVec.Copy(*xbar);
  Sub(DrawVec, Mu0);
  CumSum(DrawVec);
  Scale(DrawVec, 1.0 / Sigma);
  if (!CPlus || !CMinus) return;
  CPlus->Size(*xbar);
  CMinus->Size(*xbar);
  WithPrecision(*xbar, [&](auto t) {
    using T = typename decltype(t)::type;
    TabularCusum<T>(std::as_const(*xbar).Span<T>(), static_cast<T>(K), static_cast<T>(Mu0), CPlus->Span<T>(),
                    CMinus->Span<T>());
  });
}

}  // namespace StatControlCharts
