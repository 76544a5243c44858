// StatTimeSerAnalysis: autocovariance and partial autocorrelation, autoregressive fits,
// exponential smoothing and forecasting, Box-Cox transforms, the Ljung-Box statistic and
// moving averages. Series are real TVec vectors; work runs in the data's precision and the
// outputs are sized by the routines. Argument errors raise Kalix::EKalixError with the texts
// quoted below; complex data given to a routine without its own complexity check raise the
// core's error.
#pragma once

#include <array>

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


// ---------------------------------------------------------------- ARMA, ARIMA and ARAR
// The ARMA(p, q) model is X[t] - phi_1 X[t-1] - ... - phi_p X[t-p] = Z[t] + theta_1 Z[t-1] + ...
// + theta_q Z[t-q] about the mean Mu, Z white noise of variance Variance: Phi has the sign of
// ARYuleWalkerFit (Phi[j] = phi_{j+1}), Theta the plus sign (Theta[j] = theta_{j+1}). The orders
// are the lengths of Phi and Theta, which the caller sets. These routines compute in double and
// return their vectors in the data's precision (the likelihood and the recursions lose too
// much in single). Methods: Brockwell & Davis, Introduction to Time Series and Forecasting.

/// Fit statistics of ARMAMLFit.
struct TARMAFitStats {
  double LogLik = 0;    ///< maximised exact Gaussian log-likelihood
  double AIC = 0;       ///< -2 LogLik + 2k, k = p + q + (mean fitted) + 1
  double AICc = 0;      ///< AIC + 2k(k+1)/(n-k-1)
  double BIC = 0;       ///< -2 LogLik + k ln n
  int Iterations = 0;   ///< optimiser iterations
  int StopReason = 0;   ///< the optimiser's Kalix::TOptStopReason
};

/// Preliminary ARMA(p, q) estimates by the innovations algorithm on the sample autocovariances
/// (mean removed): theta from the order-M innovations coefficients, phi from
/// theta_{M,q+1..q+p}. M < 1 takes p + q (for a pure MA, theta = theta_{q,1..q}). Variance is v_M.
/// Raises "ARMAInnovationsFit: Data.Complex = true", "ARMAInnovationsFit: Phi.Length + Theta.Length = 0",
/// "ARMAInnovationsFit: M < Phi.Length + Theta.Length", "ARMAInnovationsFit: Data.Length <= M",
/// "ARMAInnovationsFit: Data is constant".
KALIX_EXPORT void ARMAInnovationsFit(const TVec& Data, TVec& Phi, TVec& Theta, double& Variance, int M = -1);
/// Hannan-Rissanen estimates: a long AR(ARLongOrder) by Yule-Walker gives residuals Z; phi and
/// theta by least squares of X[t] on X[t-1..t-p], Z[t-1..t-q] (mean removed); Variance the mean
/// squared regression residual. ARLongOrder < 1 takes max(ceil(10 log10 n), 2 max(p, q)).
/// Raises "ARMAHannanRissanenFit: Data.Complex = true", "ARMAHannanRissanenFit: Phi.Length + Theta.Length = 0",
/// "ARMAHannanRissanenFit: Data.Length - ARLongOrder - Theta.Length <= Phi.Length + Theta.Length",
/// "ARMAHannanRissanenFit: Data is constant".
KALIX_EXPORT void ARMAHannanRissanenFit(const TVec& Data, TVec& Phi, TVec& Theta, double& Variance,
                                        int ARLongOrder = -1);
/// Exact maximum-likelihood ARMA(p, q) (innovations form of the Gaussian likelihood), optimised
/// by BFGS over the partial autocorrelations of phi and of -theta through tanh, so every iterate
/// is stationary and invertible. Start: Phi and Theta as passed when UseStart, else the
/// Hannan-Rissanen estimates; a start outside the region is moved into it. Mu is the mean
/// (estimated when FitMean, else taken as given), Variance the ML noise variance S/n. StdErrors
/// (optional, p + q [+ 1 for the mean]) from the inverse Hessian of -LogLik in phi, theta, Mu.
/// Returns the log-likelihood. Raises "ARMAMLFit: Data.Complex = true",
/// "ARMAMLFit: Data.Length <= Phi.Length + Theta.Length + 1", "ARMAMLFit: Data is constant",
/// "ARMAMLFit: MaxIter < 0", "ARMAMLFit: Tolerance <= 0".
KALIX_EXPORT double ARMAMLFit(const TVec& Data, TVec& Phi, TVec& Theta, double& Mu, double& Variance,
                              TVec* StdErrors = nullptr, TARMAFitStats* Stats = nullptr, bool FitMean = true,
                              bool UseStart = false, int MaxIter = 500, double Tolerance = 1e-12);
/// ARMAMLFit of the series differenced d times at lag 1 and SeasonalD times at lag Period (the
/// mean of the differenced series is fitted only when FitMean). Raises "ARIMAMLFit: Data.Complex = true",
/// "ARIMAMLFit: (d < 0) or (SeasonalD < 0) or (Period < 1)", then the other ARMAMLFit texts with
/// the prefix "ARIMAMLFit: " (about the differenced series).
KALIX_EXPORT double ARIMAMLFit(const TVec& Data, TVec& Phi, TVec& Theta, double& Mu, double& Variance, int d,
                               int SeasonalD = 0, int Period = 1, TVec* StdErrors = nullptr,
                               TARMAFitStats* Stats = nullptr, bool FitMean = false);

/// Forecasts of a causal ARMA about Mu for steps 1 .. Horizon after the data (finite-sample
/// predictors of the innovations algorithm), with their standard errors and the 1 - Alpha
/// prediction bounds Forecast -/+ z_{1-Alpha/2} StdErrors (NaN for Alpha outside (0, 1)).
/// Raises "ARMAForecast: Data.Complex = true", "ARMAForecast: Phi.Complex or Theta.Complex",
/// "ARMAForecast: Data.Length = 0", "ARMAForecast: Horizon < 1", "ARMAForecast: Variance < 0",
/// "ARMAForecast: Phi is not stationary".
KALIX_EXPORT void ARMAForecast(const TVec& Data, const TVec& Phi, const TVec& Theta, double Mu, double Variance,
                               TVec& Forecast, TVec* StdErrors, TVec* Lower, TVec* Upper, int Horizon,
                               double Alpha = 0.05);
/// ARIMA(p, d, q) forecasts, with SeasonalD differences at lag Period: the ARMA (Mu the mean of
/// the differenced series) forecasts the differences, which are summed back; standard errors
/// from chi = 1/(phi(z)(1-z)^d(1-z^Period)^SeasonalD). Raises as ARMAForecast with the prefix
/// "ARIMAForecast: ", with "ARIMAForecast: (d < 0) or (SeasonalD < 0) or (Period < 1)" and
/// "ARIMAForecast: Data.Length <= d + SeasonalD*Period" between the Horizon and Variance checks.
KALIX_EXPORT void ARIMAForecast(const TVec& Data, const TVec& Phi, const TVec& Theta, double Mu, double Variance,
                                TVec& Forecast, TVec* StdErrors, TVec* Lower, TVec* Upper, int Horizon, int d,
                                int SeasonalD = 0, int Period = 1, double Alpha = 0.05);

/// Simulates Results.Length() values of the ARMA about Mu with Gaussian noise of variance
/// Variance (the caller sizes Results, whose precision is kept), after BurnIn discarded values
/// from a zero start (BurnIn < 0: 100 + 10 (p + q)). Seed as in StatRandom (-1: a fresh seed).
/// A non-stationary Phi gives an explosive path (no error).
/// Raises "ARMASimulate: Results.Complex = true", "ARMASimulate: Phi.Complex or Theta.Complex",
/// "ARMASimulate: Variance < 0".
KALIX_EXPORT void ARMASimulate(const TVec& Phi, const TVec& Theta, double Mu, double Variance, TVec& Results,
                               int BurnIn = -1, int Seed = -1);
/// ARIMA path: an ARMA path (Mu its mean) summed d times and SeasonalD times at lag Period from
/// zero initial values. Raises as ARMASimulate with the prefix "ARIMASimulate: ", then
/// "ARIMASimulate: (d < 0) or (SeasonalD < 0) or (Period < 1)",
/// "ARIMASimulate: Results.Length < d + SeasonalD*Period".
KALIX_EXPORT void ARIMASimulate(const TVec& Phi, const TVec& Theta, double Mu, double Variance, TVec& Results, int d,
                                int SeasonalD = 0, int Period = 1, int BurnIn = -1, int Seed = -1);

/// The fitted ARAR model: Shortening psi (psi[0] = 1) of the memory-shortening filters,
/// the subset autoregression S_t - Mean = sum Coeffs[a] (S_{t-Lags[a]} - Mean) + Z_t of the
/// shortened series S, Variance of Z, and the whitening filter Filter = psi(z)(1 - sum Coeffs z^Lags).
struct TARARModel {
  TVec Shortening;
  std::array<int, 4> Lags{};
  std::array<double, 4> Coeffs{};
  double Variance = 0;
  double Mean = 0;
  TVec Filter;
};
/// ARAR forecasts for steps 1 .. Horizon: up to three memory-shortening filters (lag tau <= 15,
/// long memory when Err(tau) <= 8/n or phi(tau) >= 0.93), a subset AR on lags 1 < l1 < l2 < l3 <=
/// MaxLag (26 for monthly data, 13 for quarterly) minimising the Yule-Walker noise variance,
/// standard errors and 1 - Alpha bounds from the whitening filter. The lag search costs MaxLag^3
/// small solves. Raises
/// "ARARForecast: Data.Complex = true", "ARARForecast: Horizon < 1", "ARARForecast: MaxLag < 4",
/// "ARARForecast: Data.Length <= MaxLag + 15", "ARARForecast: Data is constant".
KALIX_EXPORT void ARARForecast(const TVec& Data, TVec& Forecast, TVec* StdErrors, TVec* Lower, TVec* Upper,
                               int Horizon, double Alpha = 0.05, int MaxLag = 26, TARARModel* Model = nullptr);

}  // namespace StatTimeSerAnalysis
