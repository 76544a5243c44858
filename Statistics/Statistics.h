// Statistics: descriptive statistics, distribution fits, hypothesis tests, multivariate
// analysis and designs. Every routine checks its arguments in a fixed order and raises
// Kalix::EKalixError with the texts quoted below; outputs are sized by the routine.
#pragma once

#include <span>

#include "../core/KalixCore.h"

namespace Statistics {

using Kalix::TDenseKalix;
using Kalix::TMtx;
using Kalix::TVec;
using Kalix::TVecInt;

// ---------------------------------------------------------------- percentiles and ranks

/// P-th percentile (0 <= P <= 1) of X by Method. Raises "Percentile: X.Complex", then
/// "Percentile: (P < 0) or (P > 1)". A NaN P gives NaN; NaNs in X sort above every number.
KALIX_EXPORT double Percentile(const TVec& X, double P, TPercentileMethod Method = pctMethodNPlus);
/// Percentiles[i] = percentile P[i] of X (X sorted once; P values outside 0..1 are clamped by
/// the rule, not refused). Raises "Percentile: P.Length = 0", "Percentile: P.Length <>
/// Percentiles.Length", "Percentile: X.Complex", in that order.
KALIX_EXPORT void Percentile(const TVec& X, std::span<const double> P, std::span<double> Percentiles,
                             TPercentileMethod Method = pctMethodNPlus);
/// Percentile(X, 0.75) - Percentile(X, 0.25) by Method; messages as the scalar Percentile.
KALIX_EXPORT double InterQuartile(const TVec& X, TPercentileMethod Method = pctMethodNPlus);
/// Sorts X ascending in place (deliberately) and sets Result[i] = sorted X[Idx[i]], Idx being
/// the sort permutation (original position of each sorted element).
KALIX_EXPORT void Ranks(TVec& X, TVec& Result);
/// Average ranks (1-based; ties share the mean of their ranks) in Result, sized like X, and
/// TieSum = sum over tie groups of (t^3 - t)/2. An empty X leaves Result untouched, TieSum 0.
KALIX_EXPORT void TiedRanks(const TVec& X, TVec& Result, double& TieSum);

// ---------------------------------------------------------------- location, dispersion and moments

/// Geometric mean exp(mean(ln x)); a zero gives 0, a negative value or NaN gives NaN, an empty
/// vector NaN. Raises "MeanG: Data.Complex = true".
KALIX_EXPORT double MeanG(const TVec& Data);
/// Harmonic mean 1 / mean(1/x) (a zero element gives 0). Raises "MeanH: Data.Complex = true".
KALIX_EXPORT double MeanH(const TVec& Data);
/// Mean of the elements between the Percent/2 and 1 - Percent/2 percentiles (pctMethodNPlus);
/// NaN when none is left or Percent is NaN. Raises "MeanTData.Complex = true", then
/// "MeanT(Percent >= 100) or (Percent < 0)" for Percent outside [0, 1).
KALIX_EXPORT double MeanT(const TVec& Data, double Percent);
/// Most frequent value (the smallest of tied values); NaN when no value repeats.
/// Raises "Mode: Complex = true".
KALIX_EXPORT double Mode(const TVec& X);
/// Mode of elements Index .. Index + Len - 1 of X. Raises "Mode: Complex = true"; a range
/// beyond X raises the core's copy error.
KALIX_EXPORT double Mode(const TVec& X, int Index, int Len);
/// Mean of (x - Mu)^Order; 0 for Order < 2. Raises "Moment : X.Complex = true".
KALIX_EXPORT double Moment(const TVec& X, double Mu, int Order);
/// Variance of X with divisor n - 1 (Biased = false) or n into Result (set to 0 before the
/// checks). Raises "Covariance: X.Complex".
KALIX_EXPORT void Covariance(const TVec& X, double& Result, bool Biased = false);
/// 2 x 2 covariance matrix of two variables (vectors, or one-column matrices of n rows), in
/// X's precision. Raises "Covariance: X.Length <> Y.Length", "Covariance: X.Complex or
/// Y.Complex", "Covariance: X.KalixType <> Y.KalixType", in that order.
KALIX_EXPORT void Covariance(const TDenseKalix& X, const TDenseKalix& Y, TMtx& Result, bool Biased = false);
/// Cols x Cols covariance matrix of the columns of X. Raises "Covariance: X.Complex".
KALIX_EXPORT void Covariance(const TMtx& X, TMtx& Result, bool Biased = false);
/// 2 x 2 correlation matrix of X and Y (messages of the two-variable Covariance).
KALIX_EXPORT void CorrCoef(const TDenseKalix& X, const TDenseKalix& Y, TMtx& Result);
/// Deliberately unnormalised: Result is the covariance matrix with divisor n and
/// t = r * sqrt((n - 2) / (1 - r^2)) with r = Result(0, 1) as it stands, so t is the usual
/// correlation t statistic only for data scaled to unit population variance.
KALIX_EXPORT void CorrCoef(const TDenseKalix& X, const TDenseKalix& Y, TMtx& Result, double& t);
/// Cols x Cols correlation matrix of the columns of X. Raises "Covariance: X.Complex".
KALIX_EXPORT void CorrCoef(const TMtx& X, TMtx& Result);
/// Result[i] = max - min of row i of M (for complex M the complex difference of the elements
/// of largest and smallest magnitude). Result keeps M's precision.
KALIX_EXPORT void RangeRows(const TMtx& M, TVec& Result);
/// As RangeRows, per column.
KALIX_EXPORT void RangeCols(const TMtx& M, TVec& Result);

// ---------------------------------------------------------------- factorial designs and matrix utilities

/// Two-level full factorial design of n factors: 2^n rows coded 0/1, row r holding the binary
/// digits of r (column n - 1 fastest). MulVec[j], if given, scales column n - 1 - j.
/// Raises "FullFactDesign: Precision is not a valid precision", "FullFactDesign: n < 0" (before
/// Dst is touched), then "FullFactDesign : MulVec.Length <> n" (after Dst has been sized).
KALIX_EXPORT void FullFactDesign(int n, TMtx& Dst, Kalix::TMtxFloatPrecision Precision = Kalix::mvDouble,
                                 const TVec* MulVec = nullptr);
/// Mixed-level full factorial design: prod(Levels) rows, levels coded 1 .. L, column 0 fastest.
/// Dst takes Levels' precision. Raises "FullFactDesign: too many rows" (product beyond the int
/// range), then "FullFactDesign: a level rounds below 1" (before Dst is touched).
KALIX_EXPORT void FullFactDesign(const TVec& Levels, TMtx& Dst);
/// Sorted distinct values of Src in Dst and, if asked, their counts; for constant data (or one
/// element) the last count is deliberately left as sizing left it. Raises "Unique: Src.Complex".
KALIX_EXPORT void Unique(const TDenseKalix& Src, TVec& Dst, TVecInt* Counts = nullptr);
/// Dst = Src without row Index. Raises "RemoveRow: Index>Src.Rows-1"; errors while copying are
/// raised again prefixed with "RemoveRow : ".
KALIX_EXPORT void RemoveRow(const TMtx& Src, TMtx& Dst, int Index);
/// Dst = Src without column Index. Raises "RemoveColumn: Index>Src.Cols-1"; errors while
/// copying are raised again prefixed with "RemoveColumn : ".
KALIX_EXPORT void RemoveColumn(const TMtx& Src, TMtx& Dst, int Index);
/// Cronbach's alpha k/(k-1) (1 - sum of item variances / variance of the total) of the items
/// in the columns of X. Complex data raise "Covariance: X.Complex".
KALIX_EXPORT double CronbachAlpha(const TMtx& X);

// ---------------------------------------------------------------- histograms

/// Counts of Data in NumBins equal-width bins over [Min, Max] (a value equal to Max in the last
/// bin, values outside not counted); Bins gets the NumBins + 1 edges or, with BinCenters, the
/// NumBins centres. Equal limits are widened by about one unit per bin around the value.
/// Raises "Histogram: Data.Complex = true", then "Histogram: NumBins <= 0".
KALIX_EXPORT void Histogram(const TVec& Data, int NumBins, TVecInt& Results, TVec& Bins, bool BinCenters,
                            double Min, double Max);
/// As above over the range of the data (NaNs ignored). Messages as above.
KALIX_EXPORT void Histogram(const TVec& Data, int NumBins, TVecInt& Results, TVec& Bins, bool BinCenters = false);
/// Real-valued counts, in the data's precision. Raises "Histogram : Data.Complex = true", then
/// "Histogram : NumBins <= 0".
KALIX_EXPORT void Histogram(const TVec& Data, int NumBins, TVec& Results, TVec& Bins, bool BinCenters, double Min,
                            double Max);
/// Real-valued counts over the range of the data. Messages as the real-valued form above.
KALIX_EXPORT void Histogram(const TVec& Data, int NumBins, TVec& Results, TVec& Bins, bool BinCenters = false);
/// Counts of Data in bins given by their ascending centres: a bin reaches halfway to its
/// neighbours (a midpoint value counts in the lower bin), the first bin down to the data's
/// minimum and the last from its centre up to the data's maximum. Results is sized like Bins.
/// Raises "Histogram : Data.Complex = true", then "Histogram : Bins.Length < 1".
KALIX_EXPORT void Histogram(const TVec& Data, const TVec& Bins, TVec& Results);
/// Cumulative relative frequencies (last element 1) of the real-valued equal-width Histogram.
KALIX_EXPORT void CumulativeHist(const TVec& Data, int NumBins, TVec& Results, TVec& Bins, bool BinCenters = false);
/// Cumulative relative frequencies of the centre-given Histogram.
KALIX_EXPORT void CumulativeHist(const TVec& Data, const TVec& Bins, TVec& Results);

// ---------------------------------------------------------------- principal components

/// What the data form of PCA decomposes: the correlation matrix, the covariance matrix, or
/// (handled exactly as PCACorrMat, deliberately) the raw data.
enum TPCAMode : int { PCACorrMat, PCACovMat, PCARawData };

/// Principal components of a covariance or correlation matrix C (p x p): Eig gets the
/// eigenvalues (singular values of C) in non-increasing order, PC the matching unit loadings in
/// its columns (each signed so its largest-magnitude element is positive), VarPct, if given,
/// 100 * Eig / Sum(Eig). A non-symmetric C gives its right singular vectors. No checks of its
/// own: complex C raises the core's "SVD: A.Complex".
KALIX_EXPORT void PCA(const TMtx& C, TMtx& PC, TVec& Eig, TVec* VarPct = nullptr);
/// Principal components of Data (n x p, observations in rows): PC (p x p loadings), Eig, VarPct
/// as above, and Z (n x p) the scores of the centred (PCACovMat; Eig = covariance eigenvalues,
/// divisor n - 1) or standardised (PCACorrMat, PCARawData) data. Complex data raise
/// "Covariance: X.Complex" (correlation) or "MeanCols: A.Complex" (covariance); a constant
/// column in correlation mode gives NaN.
KALIX_EXPORT void PCA(const TMtx& Data, TMtx& PC, TMtx& Z, TVec& Eig, TVec* VarPct = nullptr,
                      TPCAMode Mode = PCACorrMat);
// ---------------------------------------------------------------- closed-form and discrete fits
// Each fit refuses complex data with the text quoted; data outside a distribution's support
// give NaN or infinite estimates, not errors. Intervals have coverage 1 - Alpha.

/// Mean and standard deviation (divisor n - 1). Raises "NormalFit: X.Complex=True".
KALIX_EXPORT void NormalFit(const TVec& X, double& Mu, double& Sigma);
/// With the Student t interval of Mu and the chi-square interval of Sigma (n - 1 degrees of freedom).
KALIX_EXPORT void NormalFit(const TVec& X, double& Mu, double& Sigma, TTwoElmReal& MuCI, TTwoElmReal& SigmaCI,
                            double Alpha = 0.05);
/// NormalFit of ln X. Raises "LogNormalFit: X.Complex=True".
KALIX_EXPORT void LogNormalFit(const TVec& X, double& Mu, double& Sigma);
KALIX_EXPORT void LogNormalFit(const TVec& X, double& Mu, double& Sigma, TTwoElmReal& MuCI, TTwoElmReal& SigmaCI,
                               double Alpha = 0.05);
/// Exponential mean Mu = mean of X. Raises "ExponentFit: X.Complex=True".
KALIX_EXPORT void ExponentFit(const TVec& X, double& Mu);
/// With the exact interval from Gamma(n, Mu/n) quantiles. Raises "ExponentFit: A.Complex = True" (deliberately).
KALIX_EXPORT void ExponentFit(const TVec& X, double& Mu, TTwoElmReal& MuCI, double Alpha = 0.05);
/// Poisson mean Lambda = mean of X. Raises "PoissonFit: X.Complex=True".
KALIX_EXPORT void PoissonFit(const TVec& X, double& Lambda);
/// With the exact Poisson interval of n*Lambda / n while n*Lambda < 100, the normal approximation above.
KALIX_EXPORT void PoissonFit(const TVec& X, double& Lambda, TTwoElmReal& LambdaCI, double Alpha = 0.05);
/// Geometric P = 1/(1 + mean) (failures before the first success). Raises "GeometricFit: X.Complex=True".
KALIX_EXPORT void GeometricFit(const TVec& X, double& P);
/// With a Wald interval whose information matrix is deliberately evaluated at p = 0.713.
KALIX_EXPORT void GeometricFit(const TVec& X, double& P, TTwoElmReal& PCI, double Alpha = 0.05);
/// Low = min, High = max. Raises "UniformFit: X.Complex=True".
KALIX_EXPORT void UniformFit(const TVec& X, double& Low, double& High);
/// With d = (High - Low)/Alpha^(1/n): LowCI = (High - d, Low), HighCI = (High, Low + d), deliberately so.
KALIX_EXPORT void UniformFit(const TVec& X, double& Low, double& High, TTwoElmReal& LowCI, TTwoElmReal& HighCI,
                             double Alpha = 0.05);
/// Discrete uniform N = ceil(max X) (NaN gives 0, saturating at the int range). Raises
/// "UniformDFit: X.Complex = True".
KALIX_EXPORT void UniformDFit(const TVec& X, int& N);
/// With NCI = (N / (1 - Alpha)^(1/n), N / Alpha^(1/n)).
KALIX_EXPORT void UniformDFit(const TVec& X, int& N, TTwoElmReal& NCI, double Alpha = 0.05);
/// Rayleigh scale B = sqrt(mean(x^2)/2). Raises "RayleighFit: X.Complex=True".
KALIX_EXPORT void RayleighFit(const TVec& X, double& B);
/// Deliberately writes the upper and then the lower chi-square bound to BCI[0]; BCI[1] is untouched.
KALIX_EXPORT void RayleighFit(const TVec& X, double& B, TTwoElmReal& BCI, double Alpha = 0.05);
/// Inverse Gaussian Mu = mean, Lambda = n / sum(1/x - 1/Mu). Raises "InverseGaussianFit: X.Complex=True".
KALIX_EXPORT void InverseGaussianFit(const TVec& X, double& Mu, double& Lambda);
/// Deliberately leaves MuCI and LambdaCI as passed: only the estimates are computed.
KALIX_EXPORT void InverseGaussianFit(const TVec& X, double& Mu, double& Lambda, TTwoElmReal& MuCI,
                                     TTwoElmReal& LambdaCI, double Alpha = 0.05);
/// Laplace Mu = median, B = mean |x - Mu|. Raises "LaplaceFit: X.Complex=True".
KALIX_EXPORT void LaplaceFit(const TVec& X, double& Mu, double& B);
/// Logistic (moments) Mu = mean, S = sqrt(3) sd / pi. Raises "LogisticFit: X.Complex=True".
KALIX_EXPORT void LogisticFit(const TVec& X, double& Mu, double& S);
/// Negative binomial (moments) P = mean/var, R = P mean/(1 - P). Raises "NegBinomFit: X.Complex=True".
KALIX_EXPORT void NegBinomFit(const TVec& X, double& R, double& P);
/// Maxwell scale A = sqrt(mean(x^2)/3). Raises "MaxwellFit: X.Complex=True".
KALIX_EXPORT void MaxwellFit(const TVec& X, double& A);
/// Chi-square Df = round(mean). Raises "ChiSquareFit: X.Complex=True".
KALIX_EXPORT void ChiSquareFit(const TVec& X, int& Df);
/// Erlang (moments) Lambda = mean/var, K = round(mean Lambda). Raises "ErlangFit: X.Complex=True".
KALIX_EXPORT void ErlangFit(const TVec& X, int& K, double& Lambda);
/// Binomial (moments) P = 1 - var/mean, N = round(mean/P). Raises "BinomFit: X.Complex=True".
KALIX_EXPORT void BinomFit(const TVec& X, int& N, double& P);
/// P = X / n element-wise, in X's precision. Raises "BinomFit: X.Complex = True", then
/// "BinomFit: n cannot be zero!".
KALIX_EXPORT void BinomFit(const TVec& X, double n, TVec& P);
/// P = X ./ n element-wise. Raises "BinomFit: X.Complex=True", then "BinomFit: X and n must match in size!".
KALIX_EXPORT void BinomFit(const TVec& X, const TVec& n, TVec& P);
/// P = X / n with Clopper-Pearson bounds PLow, PHigh from F quantiles (no special case for
/// x = 0 or x = n: the F quantile with 0 degrees of freedom is NaN). Raises
/// "BinomFit: X.Complex=True", then "BinomFit: n cannot be zero!".
KALIX_EXPORT void BinomFit(const TVec& X, double n, TVec& P, TVec& PLow, TVec& PHigh, double Alpha = 0.05);

// ---------------------------------------------------------------- maximum-likelihood fits
// Nelder-Mead on the negative log-likelihood (MaxIter iterations, Tolerance as Simplex takes
// it); the last point is returned whatever the optimiser's stop reason. Interval forms add Wald
// intervals from score outer-product standard errors. Only complexity is checked: data outside
// the support give NaN or the optimiser's own outcome; the optimiser's errors pass through
// ("Simplex: MaxIter < 0", "Simplex: Tolerance < 0" also for a NaN Tolerance).

/// -sum ln BetaPDF(x; Pars[0], Pars[1]) of the data in ObjConsts[0], an objective for Simplex.
KALIX_EXPORT double BetaLike(const TVec& Pars, const TVec& Consts, Kalix::TObjConsts ObjConsts);
/// As above, with the standard errors of both parameters at Pars in StdErr.
KALIX_EXPORT double BetaLike(const TVec& Pars, const TVec& Consts, Kalix::TObjConsts ObjConsts, TTwoElmReal& StdErr);
/// Beta(A, B) estimates from a geometric-mean start. Raises "BetaFit: X.Complex=True".
KALIX_EXPORT void BetaFit(const TVec& X, double& A, double& B, int MaxIter = 500, double Tolerance = 1e-8);
/// With Wald intervals. Raises "BetaFit: X.Complex = True".
KALIX_EXPORT void BetaFit(const TVec& X, double& A, double& B, TTwoElmReal& ACI, TTwoElmReal& BCI, int MaxIter = 500,
                          double Tolerance = 1e-8, double Alpha = 0.05);
/// Gamma shape A and scale B from a moment start. Raises "GammaFit: X.Complex=True".
KALIX_EXPORT void GammaFit(const TVec& X, double& A, double& B, int MaxIter = 500, double Tolerance = 1e-8);
/// With Wald intervals. Raises "GammaFit : X.Complex = True".
KALIX_EXPORT void GammaFit(const TVec& X, double& A, double& B, TTwoElmReal& ACI, TTwoElmReal& BCI,
                           int MaxIter = 500, double Tolerance = 1e-8, double Alpha = 0.05);
/// Weibull A, B (density A B x^(B-1) exp(-A x^B)) from a probability-plot start. Deliberately no
/// complexity check: complex data are fitted by their real parts.
KALIX_EXPORT void WeibullFit(const TVec& X, double& A, double& B, int MaxIter = 500, double Tolerance = 1e-8);
/// With Wald intervals. Raises "WeibullFit: X.Complex=True".
KALIX_EXPORT void WeibullFit(const TVec& X, double& A, double& B, TTwoElmReal& ACI, TTwoElmReal& BCI,
                             int MaxIter = 500, double Tolerance = 1e-8, double Alpha = 0.05);
/// Cauchy location and scale (scale kept at or above X's epsilon) from the median and
/// max(0.2, sd/10). Raises "CauchyFit: X.Complex=True".
KALIX_EXPORT void CauchyFit(const TVec& X, double& Location, double& Scale, int MaxIter = 500,
                            double Tolerance = 1e-8);
/// With Wald intervals. Raises "CauchyFit: X.Complex = True".
KALIX_EXPORT void CauchyFit(const TVec& X, double& Location, double& Scale, TTwoElmReal& LocationCI,
                            TTwoElmReal& ScaleCI, int MaxIter = 500, double Tolerance = 1e-8, double Alpha = 0.05);

// ---------------------------------------------------------------- bounded iterative fits

/// Student's t degrees of freedom in [1, 2 Df0] from the moment start Df0 (at least 2); the
/// rounded optimum only when the optimiser converges, else Df0. Raises "StudentFit: X.Complex=True".
KALIX_EXPORT void StudentFit(const TVec& X, int& Df, int MaxIter = 500, double Tolerance = 1e-8);
/// F degrees of freedom in [1, start + 2] from moment starts, kept unless the optimiser
/// converges. Raises "FFit: X.Complex = True".
KALIX_EXPORT void FFit(const TVec& X, int& Df1, int& Df2, int MaxIter = 500, double Tolerance = 1e-8);
/// Triangular lower A, upper B and mode C, all kept within [min X, max X]; the optimiser's last
/// point whatever its stop reason; NaN for empty data or data holding a NaN. Raises
/// "TriangularFit: X.Complex=True".
KALIX_EXPORT void TriangularFit(const TVec& X, double& A, double& B, double& C, int MaxIter = 500,
                                double Tolerance = 1e-8);

}  // namespace Statistics

// ---------------------------------------------------------------- location and rank tests
// Tests return the decision in hRes (hrReject exactly when Signif <= Alpha; hrNan when the
// p-value or statistic is NaN or infinite) and the p-value in Signif. An hType outside the
// three alternatives gives the quiet NaN outputs described for a bad Alpha.
namespace Statistics {

/// One-sample t test of mean Mean; returns t. Intervals: two-tailed [m - h, m + h],
/// right-tailed [-Inf, m + h], left-tailed [m - h, +Inf]. Raises "tTest: Data.Complex = true";
/// Alpha outside (0, 1) gives NaN, hrNan and a NaN interval without raising.
KALIX_EXPORT double tTest(const TVec& Data, double Mean, THypothesisResult& hRes, double& Signif,
                          TTwoElmReal& ConfInt, THypothesisType hType = htTwoTailed, double Alpha = 0.05);
/// Paired (one-sample t on Data1 - Data2, returns t) or pooled two-sample t test, which
/// deliberately returns the interval half-width h. Raises "tTest: vectors must be real" (Data1
/// only), then for paired data "tTest: Data1.Length <> Data2.Length" and "tTest:
/// Data1.FloatPrecision <> Data2.FloatPrecision"; a bad Alpha is quiet as above.
KALIX_EXPORT double tTest(const TVec& Data1, const TVec& Data2, THypothesisResult& hRes, double& Signif,
                          TTwoElmReal& ConfInt, bool Paired = false, THypothesisType hType = htTwoTailed,
                          double Alpha = 0.05);
/// z test of mean Mean with known Sigma (a negative Sigma is used as given); returns z.
/// Raises "ZTest: Data.Complex = true"; a bad Alpha or Sigma = 0 gives the quiet NaN outputs.
KALIX_EXPORT double ZTest(const TVec& Data, double Mean, double Sigma, THypothesisResult& hRes, double& Signif,
                          TTwoElmReal& ConfInt, THypothesisType hType = htTwoTailed, double Alpha = 0.05);
/// Sign test of median Median (elements equal to it dropped, a NaN counted as below it);
/// returns the smaller sign count. Exact binomial below 20, normal beyond; Signif at most 1.
/// ConfInt is not written. Raises "SignTest: Data.Complex = true", then "SignTest:
/// (Alpha<=0) or (Alpha>=1)".
KALIX_EXPORT double SignTest(const TVec& Data, double Median, THypothesisResult& hRes, double& Signif,
                             TTwoElmReal& ConfInt, THypothesisType hType = htTwoTailed, double Alpha = 0.05);
/// Sign test of Data1 - Data2 against 0. Raises "SignTest: (Data1.Length <> Data2.Length)",
/// "SignTest: vectors must be real", "SignTest :(Alpha<=0) or (Alpha>=1)", in that order.
KALIX_EXPORT double SignTest(const TVec& Data1, const TVec& Data2, THypothesisResult& hRes, double& Signif,
                             TTwoElmReal& ConfInt, THypothesisType hType = htTwoTailed, double Alpha = 0.05);
/// Wilcoxon signed-rank test of median Median (zero differences dropped, midranks for ties);
/// returns the smaller signed-rank sum W (NaN when a difference is NaN). Exact over the
/// sample's own ranks below 15 differences, tie-corrected normal beyond; Signif at most 1.
/// ConfInt gets the critical bounds of the rank sum. Raises "WilcoxonSign: Data.Complex =
/// true"; a bad Alpha gives NaN and hrNan without raising (ConfInt untouched).
KALIX_EXPORT double WilcoxonSign(const TVec& Data, double Median, THypothesisResult& hRes, double& Signif,
                                 TTwoElmReal& ConfInt, THypothesisType hType = htTwoTailed, double Alpha = 0.05);
/// Signed-rank test of Data1 - Data2 against 0. Raises "WilcoxonSign: (Data1.Length <>
/// Data2.Length)", "WilcoxonSign: vectors must be real", "WilcoxonSign :(Alpha<=0) or
/// (Alpha>=1)", in that order.
KALIX_EXPORT double WilcoxonSign(const TVec& Data1, const TVec& Data2, THypothesisResult& hRes, double& Signif,
                                 TTwoElmReal& ConfInt, THypothesisType hType = htTwoTailed, double Alpha = 0.05);
/// Mann-Whitney rank-sum test; returns the smaller U (NaN when the data hold a NaN). Exact
/// (enumeration up to 7 per sample, recursion beyond, the normal law where the recursion would
/// take more than about a second or 160 MB) unless NormalApprox; the two-tailed
/// Signif = 2 P(U' <= U) is not clamped. ConfInt is not written. Raises "MannWhitneyTest:
/// vectors must be real", then "MannWhitneyTest :(Alpha<=0) or (Alpha>=1)".
KALIX_EXPORT double MannWhitneyTest(const TVec& Data1, const TVec& Data2, THypothesisResult& hRes, double& Signif,
                                    TTwoElmReal& ConfInt, THypothesisType hType = htTwoTailed, double Alpha = 0.05,
                                    bool NormalApprox = false);
/// P(U' <= Round(U)) for samples of n1 and n2 without ties, by enumerating the arrangements;
/// NaN for U > n1 n2.
KALIX_EXPORT double MannWCDF1(int n1, int n2, double U);
/// Spearman's rank correlation Rs (midranks, tie-corrected) with its t-test p-value (the
/// one-tailed types both give P(T <= t), deliberately) and a Fisher-z interval at the one-sided
/// 1 - Alpha quantile. Raises "SpearmanRankCorr: (X.Complex) or (Y.Complex)", then
/// "SpearmanRankCorr: X.Length <> Y.Length".
KALIX_EXPORT void SpearmanRankCorr(const TVec& X, const TVec& Y, double& Rs, THypothesisResult& hRes, double& Signif,
                                   TTwoElmReal& ConfInt, THypothesisType hType = htTwoTailed, double Alpha = 0.05);

}  // namespace Statistics

// ---------------------------------------------------------------- dispersion and outlier tests
namespace Statistics {

/// F test of two variances: F = Var(Data2) / Var(Data1) (deliberately the second over the
/// first) with n2 - 1 and n1 - 1 degrees of freedom; ConfInt scales F by F quantiles. Raises
/// "FTest: (Data1.Complex) or (Data2.Complex)", then "FTest: (Data1.Length<2) or
/// (Data2.Length<2)"; a bad Alpha gives NaN, hrNan and a NaN interval without raising.
KALIX_EXPORT double FTest(const TVec& Data1, const TVec& Data2, THypothesisResult& hRes, double& Signif,
                          TTwoElmReal& ConfInt, THypothesisType hType = htTwoTailed, double Alpha = 0.05);
/// Chi-square test of the standard deviation against Sigma, with an interval for the standard
/// deviation (right-tailed [0, upper], left-tailed [lower, +Inf]). Decides on Signif alone.
/// Raises "Chi2Test: Data.Complex = true"; a bad Alpha gives the quiet NaN outputs.
KALIX_EXPORT void ChiSquareTest(const TVec& Data, double Sigma, THypothesisResult& hRes, double& Signif,
                                TTwoElmReal& ConfInt, THypothesisType hType = htTwoTailed, double Alpha = 0.05);
/// Grubbs' test for one outlier (largest |z|, the maximum or the minimum as hType says).
/// Rejects exactly when G > Gc, the critical value; ConfInt = [mean - Gc, mean + Gc]
/// (deliberately unscaled); Signif = 2n P(T <= -T) for every hType, not clamped.
/// Raises "GrubbsTest: Data.Complex".
KALIX_EXPORT void GrubbsTest(const TVec& Data, THypothesisResult& hRes, double& Signif, TTwoElmReal& ConfInt,
                             THypothesisType hType = htTwoTailed, double Alpha = 0.05);
/// Bartlett's test of equal trailing eigenvalues of the covariance of Data's columns: Signif[i]
/// (Cols - 1 p-values) tests the Cols - i smallest together; NumComp = the first i with
/// Signif[i] > Alpha, -1 when that is i = 0, Cols when none. Raises "BartlettTest:
/// Data.Complex = True".
KALIX_EXPORT void BartlettTest(const TMtx& Data, int& NumComp, TVec& Signif, double Alpha = 0.05);

}  // namespace Statistics

// ---------------------------------------------------------------- goodness of fit and normality
namespace Statistics {

/// Right-continuous empirical CDF of Data: X = its sorted distinct values, F[i] = fraction of
/// Data <= X[i] (both in Data's precision). A NaN in Data gives NaN in every F. Raises
/// "EmpiricalCDF: Data.Complex = true", then "EmpiricalCDF: Data.Length = 0".
KALIX_EXPORT void EmpiricalCDF(const TVec& Data, TVec& X, TVec& F);
/// F[i] = fraction of Data <= Points[i] (F sized like Points, in Data's precision); NaN at a NaN
/// point, NaN throughout when Data holds a NaN. Messages as above.
KALIX_EXPORT void EmpiricalCDF(const TVec& Data, std::span<const double> Points, TVec& F);
/// One-sample Kolmogorov test from DataCDF = the hypothesised CDF at each observation (any
/// distribution). Returns D (htTwoTailed), D+ = max(ECDF - F) (htRightTailed) or D- (htLeftTailed).
/// Exact below 100 untied values (Marsaglia, Tsang & Wang 2003; Birnbaum & Tingey 1951 one-sided),
/// asymptotic beyond. Raises "GOFKolmogorov: Data.Complex = true", "GOFKolmogorov: Data.Length = 0",
/// "GOFKolmogorov: (DataCDF < 0) or (DataCDF > 1)"; bad Alpha or hType: NaN and hrNan.
KALIX_EXPORT double GOFKolmogorov(const TVec& DataCDF, THypothesisResult& hRes, double& Signif,
                                  THypothesisType hType = htTwoTailed, double Alpha = 0.05);
/// Two-sample Smirnov test: D = max |F1 - F2| (D+ = max(F1 - F2) right-tailed, D- left-tailed).
/// Exact conditional distribution given the pooled values (ties included; Schroer & Trenkler 1995)
/// while n1 n2 < 10000, asymptotic beyond. Raises "GOFKolmogorov: (Data1.Complex) or
/// (Data2.Complex)", then "GOFKolmogorov: (Data1.Length = 0) or (Data2.Length = 0)".
KALIX_EXPORT double GOFKolmogorov(const TVec& Data1, const TVec& Data2, THypothesisResult& hRes, double& Signif,
                                  THypothesisType hType = htTwoTailed, double Alpha = 0.05);
/// Pearson chi-square of Observed counts against Expected probabilities (summing to 1) or counts
/// (summing to Sum(Observed)); Length - 1 - NumEstimated degrees of freedom; SmallCount = cells with
/// expected count < 5. Raises, in order: "GOFChi2Test: (Observed.Complex) or (Expected.Complex)",
/// "GOFChi2Test: Observed.Length <> Expected.Length", "GOFChi2Test: Observed.Length < 2",
/// "GOFChi2Test: Observed < 0 or not finite", "GOFChi2Test: Expected < 0 or not finite",
/// "GOFChi2Test: (NumEstimated < 0) or (NumEstimated > Observed.Length - 2)",
/// "GOFChi2Test: Sum(Expected) <> 1 and <> Sum(Observed)".
KALIX_EXPORT double GOFChi2Test(const TVec& Observed, const TVec& Expected, THypothesisResult& hRes, double& Signif,
                                int& SmallCount, int NumEstimated = 0, double Alpha = 0.05);
/// Lilliefors test of normality (mean and variance estimated): returns the Kolmogorov D; Signif by
/// Dallal & Wilkinson (1986), reliable below 0.1 (see README). Raises "GOFLillieTest: Data.Complex =
/// true", then "GOFLillieTest: Data.Length < 5". NaN data: NaN and hrNan.
KALIX_EXPORT double GOFLillieTest(const TVec& Data, THypothesisResult& hRes, double& Signif, double Alpha = 0.05);
/// Anderson-Darling test of normality with estimated mean and variance: returns A^2; Signif from
/// Stephens' modified A^2 (1 + 0.75/n + 2.25/n^2) (D'Agostino & Stephens 1986, table 4.9).
/// Raises "AndersonDarling: Data.Complex = true", then "AndersonDarling: Data.Length < 8".
KALIX_EXPORT double AndersonDarling(const TVec& Data, THypothesisResult& hRes, double& Signif, double Alpha = 0.05);
/// Anderson-Darling test against the fully specified Normal(Mu, Sigma): returns A^2, Signif from
/// Marsaglia & Marsaglia (2004). Any other continuous F: pass NormalCDFInv(F(x)) with Mu 0, Sigma 1.
/// Raises "AndersonDarling: Data.Complex = true", "AndersonDarling: Data.Length = 0",
/// "AndersonDarling: Sigma <= 0".
KALIX_EXPORT double AndersonDarling(const TVec& Data, double Mu, double Sigma, THypothesisResult& hRes,
                                    double& Signif, double Alpha = 0.05);
/// Jarque-Bera test: JB = n/6 (S^2 + (K - 3)^2/4) from the moment skewness and kurtosis, Signif
/// from chi-square(2). Raises "GOFBeraJarqueTest: Data.Complex = true", then
/// "GOFBeraJarqueTest: Data.Length < 3".
KALIX_EXPORT double GOFBeraJarqueTest(const TVec& Data, THypothesisResult& hRes, double& Signif,
                                      double Alpha = 0.05);
/// Shapiro-Wilk W with Royston's (1995, AS R94) coefficients and p-value. Above 5000 values the
/// same approximations are extrapolated (no error). Raises "ShapiroWilks: Data.Complex = true",
/// then "ShapiroWilks: Data.Length < 3". Constant or NaN data: NaN and hrNan.
KALIX_EXPORT double ShapiroWilks(const TVec& Data, THypothesisResult& hRes, double& Signif, double Alpha = 0.05);
/// Shapiro-Francia W' = squared correlation of the order statistics with Blom scores; Signif
/// from Royston (1993). Raises "ShapiroFrancia: Data.Complex = true", then "ShapiroFrancia:
/// Data.Length < 5"; above 5000 values the approximation is extrapolated.
KALIX_EXPORT double ShapiroFrancia(const TVec& Data, THypothesisResult& hRes, double& Signif, double Alpha = 0.05);

}  // namespace Statistics

// ---------------------------------------------------------------- unequal-variance t, rank correlation and k-sample rank tests
namespace Statistics {

/// Welch's two-sample t test for unequal variances (Welch 1947; Satterthwaite 1946 degrees of
/// freedom, returned in DF); returns t and an interval for mean(Data1) - mean(Data2), one-sided
/// intervals as in `tTest`. Raises "tTestWelch: vectors must be real"; a bad Alpha or hType
/// gives NaN, hrNan and a NaN interval; fewer than two values in a sample give NaN and hrNan.
KALIX_EXPORT double tTestWelch(const TVec& Data1, const TVec& Data2, THypothesisResult& hRes, double& Signif,
                               TTwoElmReal& ConfInt, double& DF, THypothesisType hType = htTwoTailed,
                               double Alpha = 0.05);
/// Kendall's tau-b (Knight 1966, O(n log n)) with the exact permutation p-value below 50 pairs
/// without ties, else the tie-corrected normal law (no continuity correction). Right-tailed
/// tests positive association. NaN data or fewer than 2 pairs give NaN and hrNan; a bad Alpha
/// or hType is quiet. Raises "KendallTau: (X.Complex) or (Y.Complex)", then "KendallTau:
/// X.Length <> Y.Length".
KALIX_EXPORT void KendallTau(const TVec& X, const TVec& Y, double& Tau, THypothesisResult& hRes, double& Signif,
                             THypothesisType hType = htTwoTailed, double Alpha = 0.05);
/// Kruskal-Wallis test (1952) of k samples given as Data plus group numbers (any non-negative
/// int32 numbers; groups that never occur are ignored), midranks and the tie correction;
/// returns H with the chi-square(k - 1) p-value. Raises "KruskalWallis: Data.Complex or
/// GroupIndex.Complex", "KruskalWallis: Data.Length <> GroupIndex.Length", "KruskalWallis:
/// GroupIndex.IntPrecision <> prInt32", "KruskalWallis: GroupIndex < 0"; NaN data or fewer than
/// two groups give NaN and hrNan; a bad Alpha is quiet.
KALIX_EXPORT double KruskalWallis(const TVec& Data, const TVecInt& GroupIndex, THypothesisResult& hRes,
                                  double& Signif, double Alpha = 0.05);
/// Exact Mann-Whitney test with ties: the conditional permutation distribution of the midrank
/// sum (Streitberg & Roehmel 1986 shift algorithm); returns U1 = R1 - n1 (n1 + 1) / 2 of Data1.
/// Right-tailed: Data1 tends larger; two-tailed: P(|U - E U| >= |U1 - E U|). Beyond 2^25 table
/// cells (about 320 + 320 at the centre) the tie-corrected normal law is used. Raises
/// "MannWhitneyExact: vectors must be real"; an empty sample or NaN data give NaN and hrNan.
KALIX_EXPORT double MannWhitneyExact(const TVec& Data1, const TVec& Data2, THypothesisResult& hRes, double& Signif,
                                     THypothesisType hType = htTwoTailed, double Alpha = 0.05);

}  // namespace Statistics
// Multivariate analysis and designs beyond principal components.
#include "Multivariate.h"  // IWYU pragma: export
