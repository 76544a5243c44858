// StatControlCharts: Shewhart charts for variables and attributes, EWMA and CUSUM charts,
// Westgard multi-rule flags and process-capability indexes. Charts compute their constants
// from formulas (c4 from the gamma function, the range constant in closed form), never from
// tables. Only the argument checks quoted below raise (Kalix::EKalixError); degenerate
// statistics give NaN or infinite limits. Outputs are sized by the routine.
//
// Confidence sets z, the half-width of the limits in standard errors, by family:
//   x-bar, s, R and moving-range charts: z = NormalCDFInv(0.5 * Confidence + 0.5)  (0.9973 -> 3);
//   p, np, u, c and EWMA charts:        z = NormalCDFInv(Confidence)              (0.99865 -> 3).
#pragma once

#include "../core/KalixCore.h"

namespace StatControlCharts {

using Kalix::TMtx;
using Kalix::TVec;
using Statistics::TTwoElmReal;

// ---------------------------------------------------------------- variables charts (rows are subgroups)

/// x-bar chart: DrawVec = row means, CL = their mean, limits CL -+ z * s-bar / (c4(n) sqrt(n)).
KALIX_EXPORT void QCXChart(const TMtx& Data, TVec& DrawVec, double& CL, double& UCL, double& LCL,
                           double Confidence = 0.9973);
/// s chart: DrawVec = row standard deviations, CL = their mean, limits CL -+ z CL sqrt(1 - c4^2) / c4;
/// a negative LCL is set to 0.
KALIX_EXPORT void QCSChart(const TMtx& Data, TVec& DrawVec, double& CL, double& UCL, double& LCL,
                           double Confidence = 0.9973);
/// R chart: DrawVec = row ranges, CL = R-bar, limits CL -+ z R-bar sqrt(n ln2 / ((n - 1) ln n)) / 2
/// (LCL may be negative).
KALIX_EXPORT void QCRChart(const TMtx& Data, TVec& DrawVec, double& CL, double& UCL, double& LCL,
                           double Confidence = 0.9973);
/// Moving-range chart of individual values: CL = mean of Data, limits CL -+ z MR-bar / 1.128, where
/// MR-bar is the mean of the signed lag-1 differences. Raises "QCMRChart: (Data.Complex)".
KALIX_EXPORT void QCMRChart(const TVec& Data, double& CL, double& UCL, double& LCL, double Confidence = 0.9973);

// ---------------------------------------------------------------- attributes charts (counts per sample)

/// p chart, SampleSize items per sample: DrawVec = Data / SampleSize, CL = p-bar, limits
/// p-bar -+ z sqrt(p-bar (1 - p-bar) / SampleSize).
KALIX_EXPORT void QCPChart(const TVec& Data, int SampleSize, TVec& DrawVec, double& CL, double& UCL, double& LCL,
                           double Confidence = 0.99865);
/// p chart with a size per sample: p-bar = sum Data / sum SampleSize, limits per sample. Raises
/// "QCPChart: (Data.Complex) or (SampleSize.Complex)", "QCPChart: Data.Length <> SampleSize.Length",
/// "QCPChart: Data.FloatPrecision <> SampleSize.FloatPrecision", in that order.
KALIX_EXPORT void QCPChart(const TVec& Data, const TVec& SampleSize, TVec& DrawVec, double& CL, TVec& UCL, TVec& LCL,
                           double Confidence = 0.99865);
/// np chart, SampleSize items per sample: DrawVec = Data, CL = its mean, limits
/// CL -+ z sqrt(SampleSize p-bar (1 - p-bar)) with p-bar = CL / SampleSize.
KALIX_EXPORT void QCNPChart(const TVec& Data, int SampleSize, TVec& DrawVec, double& CL, double& UCL, double& LCL,
                            double Confidence = 0.99865);
/// np chart with a size per sample: CL[i] = n_i p-bar and limits per sample; DrawVec is left as
/// it is (plot Data itself). Raises the three "QCPChart: ..." texts of the p chart.
KALIX_EXPORT void QCNPChart(const TVec& Data, const TVec& SampleSize, TVec& DrawVec, TVec& CL, TVec& UCL, TVec& LCL,
                            double Confidence = 0.99865);
/// u chart, SampleSize units per sample: DrawVec = Data / SampleSize, CL = u-bar, limits
/// u-bar -+ z sqrt(u-bar / SampleSize).
KALIX_EXPORT void QCUChart(const TVec& Data, int SampleSize, TVec& DrawVec, double& CL, double& UCL, double& LCL,
                           double Confidence = 0.99865);
/// u chart with a size per sample. Raises "QCPChart: (Data.Complex) or (SampleSize.Complex)", then
/// "QCPChart: Data.FloatPrecision <> SampleSize.FloatPrecision" (unequal lengths fail in the division).
KALIX_EXPORT void QCUChart(const TVec& Data, const TVec& SampleSize, TVec& DrawVec, double& CL, TVec& UCL, TVec& LCL,
                           double Confidence = 0.99865);
/// c chart: DrawVec = Data, CL = c-bar, limits c-bar -+ z sqrt(c-bar).
KALIX_EXPORT void QCCChart(const TVec& Data, TVec& DrawVec, double& CL, double& UCL, double& LCL,
                           double Confidence = 0.99865);

// ---------------------------------------------------------------- EWMA and CUSUM

/// EWMA of the row means started at CL (their mean) in DrawVec; asymptotic limits
/// CL -+ z sigma sqrt(Lambda / ((2 - Lambda) n)), sigma = s-bar / c4(n); -+Inf when n <= 1.
/// Raises "EWMAChart: (Data.Complex)".
KALIX_EXPORT void EWMAChart(const TMtx& Data, TVec& DrawVec, double& CL, double& UCL, double& LCL,
                            double Lambda = 0.2, double Confidence = 0.99865);
/// As above with the exact limits of sample t: the asymptotic half-width times
/// sqrt(1 - (1 - Lambda)^(2(t + 1))). Raises "EWMAChart: (Data.Complex)".
KALIX_EXPORT void EWMAChart(const TMtx& Data, TVec& DrawVec, double& CL, TVec& UCL, TVec& LCL, double Lambda = 0.2,
                            double Confidence = 0.99865);
/// CUSUM chart: DrawVec = cumulative sum of (row mean - Mu0) / Sigma. When CPlus and CMinus are
/// both given they receive the tabular upper and lower CUSUMs with allowance K. H (decision
/// interval) and Confidence are accepted for the caller's bookkeeping and do not enter the
/// computation. Raises "QCCumSumChart: (Data.Complex)".
KALIX_EXPORT void QCCumSumChart(const TMtx& Data, TVec& DrawVec, double K, double H, double Mu0, double Sigma,
                                TVec* CPlus = nullptr, TVec* CMinus = nullptr, double Confidence = 0.99865);

// ---------------------------------------------------------------- Westgard rules and capability

/// Per-point Westgard code in Results (sized like Data): 1 = beyond 3 sigma, 2 = beyond 2 sigma,
/// 4 = this and the previous point beyond 2 sigma on one side, 8 = both beyond 2 sigma on any
/// side, 16 = four points beyond 1 sigma on one side, 32 = ten points on one side of Mu.
/// Raises "QCWestgardRules: (Data.Complex)".
KALIX_EXPORT void QCWestgardRules(const TVec& Data, TVec& Results, double Mu, double Sigma);
/// Expected fraction out of [LSL, USL] under N(mean, sd) of Data; Cp, Cpk and their 1 - Alpha
/// intervals. An infinite limit gives the one-sided fraction and leaves Cp, Cpk NaN and the
/// intervals unwritten.
KALIX_EXPORT void QCCapIndexes(const TVec& Data, double LSL, double USL, double& FractionOut, double& Cp, double& Cpk,
                               TTwoElmReal& CpCI, TTwoElmReal& CpkCI, double Alpha = 0.05);

}  // namespace StatControlCharts
