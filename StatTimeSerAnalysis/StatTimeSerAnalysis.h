// StatTimeSerAnalysis: autocovariance and partial autocorrelation, autoregressive fits,
// exponential smoothing and forecasting, Box-Cox transforms, the Ljung-Box statistic and
// moving averages. Series are real TVec vectors; work runs in the data's precision and the
// outputs are sized by the routines. Argument errors raise Kalix::EKalixError with the texts
// quoted below; complex data given to a routine without its own complexity check raise the
// core's error.
#pragma once

#include "../core/KalixCore.h"

namespace StatTimeSerAnalysis {

using Kalix::TVec;

// ---------------------------------------------------------------- autocovariance and PACF

/// Biased autocovariances R[k] = (1/n) sum (x[t] - mean)(x[t+k] - mean), k = 0 .. LagCount-1
/// (divisor n at every lag). LagCount < 0 takes ceil(10 log10 n); lags from n on are 0. Empty
/// Data give an empty R.
KALIX_EXPORT void AutoCov(const TVec& Data, TVec& R, int LagCount = -1);
/// Autocorrelations: AutoCov scaled so that R[0] = 1 (a constant series gives NaN, no error).
KALIX_EXPORT void ACF(const TVec& Data, TVec& R, int LagCount = -1);
/// Partial autocorrelations of an autocovariance (or autocorrelation) sequence Gamma of length
/// L by the Durbin-Levinson recursion: PartialCorr[k] is the value at lag k+1; Phi gets the
/// AR(L-1) coefficients and Variances the prediction-error variances of orders 0 .. L-2 (all
/// three sized L-1).
KALIX_EXPORT void PACF(const TVec& Gamma, TVec& Phi, TVec& PartialCorr, TVec& Variances);
/// Partial autocorrelations only; Gamma shorter than 2 gives an empty result.
KALIX_EXPORT void PACF(const TVec& Gamma, TVec& PartialCorr);
/// AR coefficients of order NumEvals-1 from the autocovariances gamma: Phi (its length is the
/// capacity, at least NumEvals-1; zeroed first) receives phi_1 .. phi_p, Sigma2 the innovation
/// variance, V (optional, sized like Phi) the variance after each order. For single-precision
/// gamma Sigma2 stays gamma[0] (read the last used element of V). Raises
/// "DurbinLevinson: gamma.Length = 0", "DurbinLevinson: (Phi.Length=0) or (Phi.Complex)",
/// "DurbinLevinson: NumEvals > gamma.Length", then "DurbinLevinson: Phi.Length < NumEvals-1".
KALIX_EXPORT void DurbinLevinson(const TVec& gamma, TVec& Phi, double& Sigma2, int NumEvals, TVec* V = nullptr);

// ---------------------------------------------------------------- autoregressive fits

/// Yule-Walker AR(p) fit, p = Phi.Length: Phi gets phi_1 .. phi_p (mean removed, divisor n),
/// Variance the innovation variance, StdErrors (optional) sqrt(diag(Gamma_p^-1) Variance / n).
/// Raises "ARYuleWalker: (Data.Length=0) or (Data.Complex)", then "Phi.Length = 0".
KALIX_EXPORT void ARYuleWalkerFit(const TVec& Data, TVec& Phi, double& Variance, TVec* StdErrors = nullptr);
/// Burg AR(p) fit on the data as given (not centred): reflection coefficients from the forward
/// and backward prediction errors; Variance is the final mean square of those errors. Standard
/// errors as for Yule-Walker. Raises "ARBurg: (Data.Length=0) or (Data.Complex)", "Phi.Length = 0".
KALIX_EXPORT void ARBurgFit(const TVec& Data, TVec& Phi, double& Variance, TVec* StdErrors = nullptr);

// ---------------------------------------------------------------- exponential smoothing
// Given-constant forms take the constants by value; fitted forms take them as starting values
// and return the constants minimising the mean squared one-step error (Nelder-Mead within
// [0, 1]). Alpha smooths the level, Gamma the trend and Beta the multiplicative season.
// Checks, each message prefixed by the routine's own name: "(Alpha>1) or (Alpha<0)" (also
// NaN), "(Beta>1) or (Beta<0)", "(Gamma>1) or (Gamma<0)", "Y.Complex = true",
// "(Y.Length mod Period <> 0)" (also Period < 1), "T<1", "T<Period", then for triple
// smoothing "Y.Length < 2*Period".

/// Level S (length n-1) from S[0] = Y[0] (InitMethod 1: mean of Y[0..3]); MSE of the one-step
/// errors Y[t+1] - S[t].
KALIX_EXPORT void SingleExpSmooth(const TVec& Y, TVec& S, double Alpha, double& MSE, int InitMethod);
KALIX_EXPORT double SingleExpSmooth(const TVec& Y, TVec& S, double& Alpha, int InitMethod);
/// Holt level S and trend B (length n); InitMethod 1: B[0] = (Y[3]-Y[0])/3, 2: (Y[n-1]-Y[0])/(n-1),
/// otherwise Y[1]-Y[0].
KALIX_EXPORT void DoubleExpSmooth(const TVec& Y, TVec& S, TVec& B, double Alpha, double Gamma, double& MSE,
                                  int InitMethod);
KALIX_EXPORT double DoubleExpSmooth(const TVec& Y, TVec& S, TVec& B, double& Alpha, double& Gamma, int InitMethod);
/// Holt-Winters with multiplicative season of length Period: S, B of length n-Period, seasonal
/// factors I of length n. n must be a multiple of Period and at least two seasons.
KALIX_EXPORT void TripleExpSmooth(const TVec& Y, TVec& S, TVec& B, TVec& I, double Alpha, double Beta, double Gamma,
                                  double& MSE, int Period);
KALIX_EXPORT double TripleExpSmooth(const TVec& Y, TVec& S, TVec& B, TVec& I, double& Alpha, double& Beta,
                                    double& Gamma, int Period);
/// YHat (length T-1): the smoothed levels, then flat at the last level. No checks of its own.
KALIX_EXPORT void SingleExpForecast(const TVec& Y, TVec& YHat, double Alpha, int T, int InitMethod);
KALIX_EXPORT void SingleExpForecast(const TVec& Y, TVec& YHat, double& Alpha, int T, double& MSE, int InitMethod);
/// YHat (length T-1): S + B over the data, then S + h B with h = 2, 3, ...
KALIX_EXPORT void DoubleExpForecast(const TVec& Y, TVec& YHat, double Alpha, double Gamma, int T, int InitMethod);
KALIX_EXPORT void DoubleExpForecast(const TVec& Y, TVec& YHat, double& Alpha, double& Gamma, int T, double& MSE,
                                    int InitMethod);
/// YHat (length T-Period): (S + B) I over the data, then (S + h B) times the seasonal factor of
/// the last season, h = 1, 2, ...
KALIX_EXPORT void TripleExpForecast(const TVec& Y, TVec& YHat, double Alpha, double Beta, double Gamma, int T,
                                    int Period);
KALIX_EXPORT void TripleExpForecast(const TVec& Y, TVec& YHat, double& Alpha, double& Beta, double& Gamma, int T,
                                    double& MSE, int Period);

// ---------------------------------------------------------------- transforms and diagnostics

/// Box-Cox transform (x^Lambda - 1)/Lambda of the x >= 0, or ln x of the x > 0 for Lambda = 0;
/// other elements are dropped, so Y may be shorter than X. Raises "BoxCox : Lambda<0".
KALIX_EXPORT void BoxCox(const TVec& X, TVec& Y, double Lambda);
/// Inverse Box-Cox: (Y Lambda + 1)^(1/Lambda), or exp(Y) for Lambda = 0. Raises "BoxCoxInv : Lambda<0".
KALIX_EXPORT void BoxCoxInv(const TVec& Y, TVec& X, double Lambda);
/// Ljung-Box Q = n (n+2) sum over k = 1..h of r_k^2 / (n-k); compare with chi-square. Raises
/// "BoxLjung : h > X.Length-1".
KALIX_EXPORT double BoxLjung(const TVec& X, int h);
/// Moving averages of span N: trailing (Offset = N-1) or centred (Offset = (N-1)/2; an even N
/// averages two spans of N/2). Returns the mean squared Y[Offset+i] - MA[i]. Raises
/// "SingleMovAve: Y.Complex", "SingleMovAve: Y.Length<N", then "SingleMovAve: N<1".
KALIX_EXPORT double MovingAverage(const TVec& Y, int N, TVec& MA, int& Offset, bool Centred);

}  // namespace StatTimeSerAnalysis
