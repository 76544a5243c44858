// Regress: linear least squares, regression statistics and analysis of variance.
// Design matrices hold observations in rows and regressors in columns; a requested constant
// term is an extra leading column of ones, so the intercept is parameter 0. Every routine
// checks its arguments in a fixed order and raises Kalix::EKalixError with the texts quoted
// below; the core's own errors (singular systems, mismatched sizes) pass through unchanged.
#pragma once

#include <functional>
#include <span>
#include <vector>

#include "../core/KalixCore.h"

namespace Regress {

using Kalix::TMtx;
using Kalix::TVec;
using Kalix::TVecInt;

// ---------------------------------------------------------------- records

/// Matrix solver of MulLinRegress: Householder QR, SVD (threshold 1e-9) or LU (square only).
enum TRegSolveMethod : int { regSolveLQR, regSolveSVD, regSolveLU };

/// The overall F test of a regression.
struct TFStats {
  double SSE;     ///< residual sum of squares
  double SSR;     ///< regression sum of squares
  int dFE;        ///< error degrees of freedom
  int dFR;        ///< regression degrees of freedom
  double F;       ///< F statistic
  double Signif;  ///< upper-tail probability of F
};

/// Goodness of fit of a regression.
struct TRegStats {
  double SSE;          ///< residual sum of squares
  double SST;          ///< total sum of squares about the (weighted) mean, or about 0 without constant
  double SSR;          ///< SST - SSE
  double ResidualVar;  ///< SSE / dfE
  double R2;           ///< coefficient of determination
  double AdjustedR2;   ///< R2 adjusted for the degrees of freedom
  int dfE;             ///< error degrees of freedom, n - NumParams
  int dfT;             ///< total degrees of freedom, n - 1 (with or without constant)
  double StdError;     ///< sqrt(ResidualVar)
  TFStats FStats;      ///< the overall F test
};

/// One-way analysis of variance (group = between, error = within).
struct TANOVA1Result {
  double SS1, SS2, SSTotal;     ///< between, within and total sums of squares
  double Deg1, Deg2, DegTotal;  ///< their degrees of freedom
  double MS1, MS2;              ///< between and within mean squares
  double FDist;                 ///< F statistic
  double FCrit;                 ///< critical F at the significance level
};

/// Two-way analysis of variance: 1 = rows factor, 2 = columns factor, 3 = interaction, 4 = error.
/// Without replications every interaction field is NaN.
struct TANOVA2Result {
  double SS1, SS2, SS3, SS4, SSTotal;
  double Deg1, Deg2, Deg3, Deg4, DegTotal;
  double MS1, MS2, MS3, MS4;
  double FDist1, FDist2, FDist3;
  double FCrit1, FCrit2, FCrit3;
};

// ---------------------------------------------------------------- linear least squares

/// Straight line Y = B[0] + B[1]*X (B sized 2), or Y = B[0]*X without Constant (B sized 1),
/// optionally weighted. YCalc gets the fitted values, V the 2x2 inverse of the normal matrix
/// [[S, Sx], [Sx, Sxx]] (also without Constant). Raises "LinRegress : X.Length <> Y.Length",
/// "LinRegress : X.FloatPrecision <> Y.FloatPrecision", "LinRegress : X.Complex or Y.Complex",
/// then with Weights "LinRegress : (Weights.Length <> X.Length)" and
/// "LinRegress : (Weights.FloatPrecision <> X.FloatPrecision)". All x equal give NaN/Inf.
KALIX_EXPORT void LinRegress(const TVec& X, const TVec& Y, TVec& B, bool Constant = true,
                             const TVec* Weights = nullptr, TVec* YCalc = nullptr, TMtx* V = nullptr);

/// Least-squares B of Y = [1 | A]*B (Constant) or Y = A*B. YCalc gets the fitted values and V
/// = (M^T M)^-1 of the matrix M actually solved. Raises "MulLinRegress: y.FloatPrecision <>
/// A.FloatPrecision", then "MulLinRegress: y.Length <> A.Rows"; a singular V raises the core's error.
KALIX_EXPORT void MulLinRegress(const TVec& Y, const TMtx& A, TVec& B, bool Constant = true, TVec* YCalc = nullptr,
                                TMtx* V = nullptr, TRegSolveMethod SolveMethod = regSolveLQR);
/// Weighted form: minimises sum Weights[i]*(Y[i] - yhat[i])^2; V = (D^T W D)^-1. Raises
/// "MulLinRegress: Y.Complex or A.Complex", then "MulLinRegress: Y.FloatPrecision <>
/// Weights.FloatPrecision"; unequal lengths are left to the core, which refuses them.
KALIX_EXPORT void MulLinRegress(const TVec& Y, const TMtx& A, TVec& B, const TVec& Weights, bool Constant = true,
                                TVec* YCalc = nullptr, TMtx* V = nullptr, TRegSolveMethod SolveMethod = regSolveLQR);

/// Regression statistics of fitted values YCalc with NumParams parameters (intercept
/// included). Raises "RegressTest: Y.Length <> YCalc.Length", "RegressTest: Y.FloatPrecision
/// <> YCalc.FloatPrecision", then with Weights "RegressTest: Weights.Length <> Y.Length",
/// "RegressTest: Weights.FloatPrecision <> Y.FloatPrecision". Zero divisors give Inf/NaN.
KALIX_EXPORT void RegressTest(const TVec& Y, const TVec& YCalc, int NumParams, TRegStats& Stats,
                              bool Constant = true, const TVec* Weights = nullptr);
/// As above with NumParams = V.Cols, plus Residuals = Y - YCalc and the parameters' standard
/// errors BStdDev = sqrt(diag(V) * ResidualVar), V being MulLinRegress's matrix.
KALIX_EXPORT void RegressTest(const TVec& Y, const TVec& YCalc, const TMtx& V, TRegStats& Stats, TVec& Residuals,
                              TVec& BStdDev, bool Constant = true, const TVec* Weights = nullptr);

/// Coefficient of determination 1 - SSE/SST of fitted values YCalc (no checks of its own).
KALIX_EXPORT double R2(const TVec& Y, const TVec& YCalc);
/// Prediction sum of squares of the regression of Y on [1 | A]: sum of squared leave-one-out
/// residuals e[i]/(1 - h[i]), h the leverages. Messages as the unweighted MulLinRegress.
KALIX_EXPORT double PRESS(const TMtx& A, const TVec& Y);

// ---------------------------------------------------------------- analysis of variance

/// One-way ANOVA of the columns of Data (one group per column, equal sizes); p gets the
/// p-value. Raises "ANOVA1: Data.Complex".
KALIX_EXPORT TANOVA1Result ANOVA1(const TMtx& Data, double& p, double Alpha = 0.05);
/// One-way ANOVA with Data[i] in group GroupIndex[i] (0 .. k-1, k - 1 the largest number
/// present; a number that never occurs gives NaN sums). Raises "ANOVA1: Data.Complex or
/// GroupIndex.Complex", "ANOVA1: Data.Length <> GroupIndex.Length", "ANOVA1:
/// GroupIndex.IntPrecision <> prInt32", then "ANOVA1: GroupIndex < 0" for a negative number.
/// A number at or beyond Data.Length leaves a group empty: NaN sums, nothing sized by it.
KALIX_EXPORT TANOVA1Result ANOVA1(const TVec& Data, const TVecInt& GroupIndex, double& p, double Alpha = 0.05);
/// Two-way ANOVA: Replications consecutive rows per level of the rows factor, one column per
/// level of the columns factor. p-values go to pRows, pCols, pInter (pInter is 0 without
/// replications). Raises "ANOVA2: (Data.Rows mod Replications) <> 0", "ANOVA2: Replications
/// <= 0", "ANOVA2: Data.Complex = true"; Replications = 0 fails first as an integer division.
KALIX_EXPORT TANOVA2Result ANOVA2(const TMtx& Data, double& pRows, double& pCols, double& pInter,
                                  int Replications = 1, double Alpha = 0.05);

// ---------------------------------------------------------------- ridge and principal-component regression

/// Ridge regression of y on the standardised columns of A (means removed, divided by their
/// standard deviations, those below 1.49e-8 in double or SQRTEPS_SINGLE in single taken as 1):
/// the least-squares b of [Z; sqrt(k) I] b = [y; 0]. B gets b (p values) when Standardized,
/// otherwise b / s with the intercept mean(y) - sum m_j B_j in front (p + 1 values). A negative
/// k gives NaN. Raises "RidgeRegress: (y.Complex) or (A.Complex)", "RidgeRegress:
/// (y.FloatPrecision <> A.FloatPrecision)", "RidgeRegress: y.Length <> A.Rows".
KALIX_EXPORT void RidgeRegress(const TVec& y, const TMtx& A, double k, TVec& B, bool Standardized = false);
/// The ridge constant k >= eps minimising sum (yhat - y)^2 / (p + 1) (deliberately over the
/// number of coefficients), found by Simplex from k = 1e-6 (tolerance 1e-8, 500 iterations).
/// Messages as RidgeRegress.
KALIX_EXPORT void RidgeOptimalk(const TVec& y, const TMtx& A, double& k);
/// Principal-component regression of y on A: the least-squares fit of y on the scores of the
/// correlation-matrix PCA of A, keeping the first NumComp components, taken back to A's scale
/// with the intercept first (B has p + 1 values; NumComp <= 0 gives zero slopes and B[0] =
/// mean(y)). YCalc gets the fitted values; BStdDev the slopes' standard deviations
/// sqrt(sum_c PC(j,c)^2 MSE / lambda_c) / s_j over all components, MSE = sum of squared
/// residuals / n with YCalc and 1 without (deliberately). A constant column gives NaN.
/// Raises "PCRegress: y.Complex or A.Complex", "PCRegress: y.FloatPrecision <>
/// A.FloatPrecision", "PCRegress: y.Length <> A.Rows".
KALIX_EXPORT void PCRegress(const TVec& y, const TMtx& A, TVec& B, TVec* YCalc, TVec* BStdDev, int NumComp);
/// Weighted form: the plain fit of Y * r on the rows of A times r, r = sqrt(Weights / sum
/// Weights); YCalc is divided by r again. Raises "PCRegress: Y.Complex or A.Complex",
/// "PCRegress: y.FloatPrecision <> A.FloatPrecision", "PCRegress: Y.Length<>Weights.Length";
/// a row count of A unlike Y's is reported by the least-squares solver.
KALIX_EXPORT void PCRegress(const TVec& Y, const TMtx& A, TVec& B, const TVec& Weights, TVec* YCalc,
                            TVec* BStdDev, int NumComp);
// ---------------------------------------------------------------- nonlinear least squares

/// A model's value at X for parameters B.
using TRegressFun = std::function<double(std::span<const double> B, double X)>;
/// Gradient of a model with respect to its parameters at X, given the model value Y there;
/// Grad arrives sized to the number of parameters.
using TDeriveProc = std::function<void(const TRegressFun& RegressFun, double X, double Y,
                                       std::span<const double> Pars, TVec& Grad)>;

/// Outcome of a nonlinear fit.
struct TNLinStats {
  double SSE;                         ///< (weighted) residual sum of squares
  double ResidualVar;                 ///< SSE / dfE
  int dfE;                            ///< error degrees of freedom, n - B.Length
  int Iterations;                     ///< Marquardt iterations (Jacobian evaluations)
  Kalix::TOptStopReason StopReason;   ///< optConverged on normal convergence
};

/// Derivatives of RegressFun with respect to its parameters at X (Y: the model's value there,
/// used by forward differences). Steps GradStepSize * |Pars[j]| (GradStepSizeSingle for
/// single precision; the bare step when Pars[j] = 0), or their 2/3 power with Central, which
/// takes central differences for about two thirds of the digits instead of one half. Grad is
/// sized Pars.Length in FloatPrecision. Raises "NumericDerive: Pars.Length = 0".
KALIX_EXPORT void NumericDerive(const TRegressFun& RegressFun, double X, double Y, std::span<const double> Pars,
                                TVec& Grad, bool Central = false,
                                Kalix::TMtxFloatPrecision FloatPrecision = Kalix::mvDouble);
/// The Jacobian of RegressFun at every point of X: Jac (X.Length x Pars.Length, X's precision)
/// gets dF(x_i)/dPars[j], steps as NumericDerive. Raises "MultiNumericDerive: X.Complex", then
/// "MultiNumericDerive: Pars.Length = 0".
KALIX_EXPORT void MultiNumericDerive(const TRegressFun& RegressFun, const TVec& X, std::span<const double> Pars,
                                     TMtx& Jac, bool Central = false);

/// Least-squares fit of Y = RegressFun(B, X) + e by Levenberg-Marquardt (Kalix::Marquardt)
/// from the start in B, optionally minimising sum Weights[i] * e[i]^2. Derivatives come from
/// DeriveProc, or when it is empty numeric differences: forward while the steps change some
/// parameter by more than 1e-3 of itself, central from then on (forward throughout with
/// CentralDiff false). B is overwritten by the estimate (X's precision); YCalc gets the fitted values, Cov the
/// parameters' covariance ResidualVar * (J^T W J)^-1 and BStdDev the square roots of its
/// diagonal. A model that raises or gives NaN stops the fit with optNaNObjective (NaN at the
/// start: optBadStart), B holding the best point met; a rank-deficient Jacobian at the end
/// gives optSingular with Cov and BStdDev NaN. Raises "NLinRegress: X.Complex or Y.Complex",
/// "NLinRegress: B.Complex", "NLinRegress: X.Length <> Y.Length", "NLinRegress:
/// X.FloatPrecision <> Y.FloatPrecision", "NLinRegress: B.Length = 0", "NLinRegress: Y.Length
/// < B.Length", then with Weights "NLinRegress: Weights.Complex", "NLinRegress: Weights.Length
/// <> X.Length", "NLinRegress: Weights.FloatPrecision <> X.FloatPrecision", "NLinRegress:
/// Weights < 0", then "NLinRegress: MaxIter < 0", "NLinRegress: Tolerance < 0".
KALIX_EXPORT void NLinRegress(const TVec& X, const TVec& Y, const TRegressFun& RegressFun, TVec& B,
                              TNLinStats& Stats, TVec* YCalc = nullptr, TMtx* Cov = nullptr,
                              TVec* BStdDev = nullptr, const TDeriveProc& DeriveProc = {},
                              const TVec* Weights = nullptr, int MaxIter = 500, double Tolerance = 1e-13,
                              bool CentralDiff = true);

// ---------------------------------------------------------------- logistic and Poisson regression

/// Outcome of a logistic or Poisson fit.
struct TGLMStats {
  double Deviance;      ///< residual deviance
  double NullDeviance;  ///< deviance of the intercept-only model (offset only without Constant;
                        ///< probability 0.5 for a logistic model without Constant)
  double LogLik;        ///< log-likelihood at the estimate
  double AIC;           ///< -2 LogLik + 2 * number of coefficients
  int dfResidual;       ///< n - number of coefficients
  int dfNull;           ///< n - 1 with Constant, else n
  int Iterations;       ///< IRLS steps taken
  bool Converged;       ///< the relative change of the deviance fell below Tolerance
};

/// Logistic regression of Y on [1 | A] (Constant) or A by IRLS. Y holds 0/1 responses, or with
/// Trials the successes out of Trials[i] (any real 0 <= Y <= Trials). B gets the coefficients,
/// BStdDev their standard errors sqrt(diag((X^T W X)^-1)), Z = B / BStdDev, PValues the
/// two-sided normal p-values, Cov the covariance, YCalc the fitted probabilities. Converged when
/// |dev - dev_prev| <= Tolerance * (|dev| + 0.1). Raises "LogisticRegress: Y.Complex or
/// A.Complex", "LogisticRegress: Trials.Complex", "LogisticRegress: Y.Length <> A.Rows",
/// "LogisticRegress: Y.FloatPrecision <> A.FloatPrecision", "LogisticRegress: Trials.Length <>
/// Y.Length", "LogisticRegress: A is not finite", "LogisticRegress: MaxIter < 1",
/// "LogisticRegress: Tolerance < 0", then per observation "LogisticRegress: Trials <= 0",
/// "LogisticRegress: Y not in {0, 1}" or "LogisticRegress: Y < 0 or Y > Trials"; while fitting
/// "LogisticRegress: singular design matrix" and "LogisticRegress: complete or quasi-complete
/// separation: fitted probabilities 0 or 1" (a linear predictor beyond +-30).
KALIX_EXPORT void LogisticRegress(const TVec& Y, const TMtx& A, TVec& B, TGLMStats& Stats, TVec* BStdDev = nullptr,
                                  TVec* Z = nullptr, TVec* PValues = nullptr, TMtx* Cov = nullptr,
                                  TVec* YCalc = nullptr, bool Constant = true, const TVec* Trials = nullptr,
                                  int MaxIter = 100, double Tolerance = 1e-12);
/// Poisson regression with log link: log E[Y] = Offset + [1 | A] B (log exposure as Offset).
/// Outputs as LogisticRegress, YCalc the fitted means. Messages as LogisticRegress with the
/// prefix "PoissonRegress: " and Offset in place of Trials; "PoissonRegress: Y < 0" for a
/// negative or non-finite count, "PoissonRegress: Offset is not finite".
KALIX_EXPORT void PoissonRegress(const TVec& Y, const TMtx& A, TVec& B, TGLMStats& Stats, TVec* BStdDev = nullptr,
                                 TVec* Z = nullptr, TVec* PValues = nullptr, TMtx* Cov = nullptr,
                                 TVec* YCalc = nullptr, bool Constant = true, const TVec* Offset = nullptr,
                                 int MaxIter = 100, double Tolerance = 1e-12);

// ---------------------------------------------------------------- stepwise regression

/// Direction of a stepwise search: forward from the empty model, backward from the full
/// model, or both (forward from the empty model, reconsidering every selected column after
/// each entry).
enum TStepwiseMethod : int { swForward, swBackward, swBoth };
/// What decides a step: the partial F test (enter below PEnter, remove above PRemove), or
/// Akaike's criterion n log(SSE/n) + 2 p of the least-squares fit (the step that lowers it most).
enum TStepwiseCriterion : int { swcFTest, swcAIC };

/// One step of a stepwise search.
struct TStepwiseStep {
  int Column;     ///< column of A entered or removed
  bool Entered;   ///< true when it entered, false when it was removed
  double F;       ///< partial F of the column (1 and dfE of the larger model)
  double PValue;  ///< upper-tail probability of F
  double SSE;     ///< residual sum of squares after the step
  double AIC;     ///< n log(SSE/n) + 2 * number of parameters after the step
};

/// Stepwise least-squares selection of the columns of A for the regression of Y on [1 | A]
/// (Constant) or A, the cross-product matrix updated by the sweep operator at each step.
/// Selected gets the chosen columns in increasing order, B the final fit's coefficients
/// (intercept first, then Selected's columns), Stats its statistics as RegressTest gives
/// them, BStdDev its standard errors, Path every step taken. A column nearly a linear
/// combination of those selected (residual sum of squares below 1e-10 of its own) never
/// enters. Raises "StepwiseRegress: Y.Complex or A.Complex", "StepwiseRegress: Y.Length <>
/// A.Rows", "StepwiseRegress: Y.FloatPrecision <> A.FloatPrecision", "StepwiseRegress: Y or A
/// is not finite", "StepwiseRegress: unknown Method", "StepwiseRegress: unknown Criterion",
/// then for the F test "StepwiseRegress: PEnter or PRemove outside [0, 1]" and
/// "StepwiseRegress: PEnter > PRemove" (a column could enter and leave for ever).
KALIX_EXPORT void StepwiseRegress(const TVec& Y, const TMtx& A, TVecInt& Selected, TVec& B, TRegStats& Stats,
                                  TVec* BStdDev = nullptr, std::vector<TStepwiseStep>* Path = nullptr,
                                  bool Constant = true, TStepwiseMethod Method = swBoth,
                                  TStepwiseCriterion Criterion = swcFTest, double PEnter = 0.05,
                                  double PRemove = 0.10);

}  // namespace Regress
