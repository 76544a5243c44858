// RegModels: ready-made regression models. Each model can be evaluated at a point or over a
// vector (YCalc takes the size and precision of X), fitted by turning it into a straight
// line or a linear system solved by Regress, and, for three models, differentiated with
// respect to its parameters in the shape nonlinear regression expects. A parameter array
// shorter than the model needs raises "<Function>: B.Length < <count>".
#pragma once

#include <functional>
#include <span>

#include "../Regress/Regress.h"
#include "../core/KalixCore.h"

namespace RegModels {

using Kalix::TMtx;
using Kalix::TMtxFloatPrecision;
using Kalix::TVec;

/// The models. rmPoly names the polynomial model, which has no functions here.
// Deliberate: the multiple linear model is spelt rmMulLi; the name is kept for existing callers.
enum TRegressionModel : int { rmLine, rmPower, rmPoly, rmExp, rmMulLi, rmLogistic, rmFrac, rmLn };

/// A model's value at X for parameters B (declared with nonlinear regression in Regress).
using Regress::TRegressFun;
/// Gradient of a model with respect to its parameters at X, given the model value Y there.
using Regress::TDeriveProc;

// ---------------------------------------------------------------- evaluation

/// Line: B[0] + B[1]*X.
KALIX_EXPORT double LineEval(std::span<const double> B, double X);
KALIX_EXPORT void LineEval(std::span<const double> B, const TVec& X, TVec& YCalc);
KALIX_EXPORT void LineEval(const TVec& B, const TVec& X, TVec& YCalc);
/// Power: B[0] * X^B[1].
KALIX_EXPORT double PowerEval(std::span<const double> B, double X);
KALIX_EXPORT void PowerEval(std::span<const double> B, const TVec& X, TVec& YCalc);
KALIX_EXPORT void PowerEval(const TVec& B, const TVec& X, TVec& YCalc);
/// Exponential: B[0] * exp(B[1]*X).
KALIX_EXPORT double ExpEval(std::span<const double> B, double X);
KALIX_EXPORT void ExpEval(std::span<const double> B, const TVec& X, TVec& YCalc);
KALIX_EXPORT void ExpEval(const TVec& B, const TVec& X, TVec& YCalc);
/// Logarithmic: B[0] + B[1]*ln(X).
KALIX_EXPORT double LnEval(std::span<const double> B, double X);
KALIX_EXPORT void LnEval(std::span<const double> B, const TVec& X, TVec& YCalc);
KALIX_EXPORT void LnEval(const TVec& B, const TVec& X, TVec& YCalc);
/// Logistic: B[0] + (B[1] - B[0]) / (1 + exp(-B[2]*X + B[3])) with FourParam, else
/// B[1] / (1 + exp(-B[2]*X + B[3])). B holds 4 parameters either way.
KALIX_EXPORT double LogisticEval(std::span<const double> B, double X, bool FourParam = true);
KALIX_EXPORT void LogisticEval(std::span<const double> B, const TVec& X, TVec& YCalc, bool FourParam = true);
KALIX_EXPORT void LogisticEval(const TVec& B, const TVec& X, TVec& YCalc, bool FourParam = true);
/// Rational: (B[0] + B[1] X + .. + B[NumDeg] X^NumDeg) / (1 + B[NumDeg+1] X + .. + B[last] X^(last-NumDeg)).
/// Constant is not consulted (FracFit's layout with Constant is the one read). Raises
/// "FracEval: NumDeg out of range" unless 0 <= NumDeg < B.Length.
KALIX_EXPORT double FracEval(std::span<const double> B, double X, int NumDeg, bool Constant = true);
KALIX_EXPORT double FracEval(const TVec& B, double X, int NumDeg, bool Constant = true);
KALIX_EXPORT void FracEval(std::span<const double> B, const TVec& X, TVec& YCalc, int NumDeg, bool Constant = true);
KALIX_EXPORT void FracEval(const TVec& B, const TVec& X, TVec& YCalc, int NumDeg, bool Constant = true);
/// Multiple linear model at one design row X: B[0] (with Constant) + sum_{j>=1} B[j]*X[j].
/// X[0] is never read: it is the constant's place in a design row.
KALIX_EXPORT double MulLinEval(std::span<const double> B, const TVec& X, bool Constant = true);
/// YCalc = [1 | A] * B with Constant, else A * B (B length A.Cols + 1 or A.Cols).
KALIX_EXPORT void MulLinEval(std::span<const double> B, const TMtx& A, TVec& YCalc, bool Constant = true);

// ---------------------------------------------------------------- fits (B is the output)

/// Least-squares line through (X, Y): LinRegress with an intercept; its messages.
KALIX_EXPORT void LineFit(TVec& B, const TVec& X, const TVec& Y, const TVec* Weights = nullptr);
/// B[0] * X^B[1] by a line through (ln x, ln y) over the points with x > 0 and y > 0,
/// weighted by y^2 (times Weights). Raises std::runtime_error "X.Lenght <> Y.Length" or
/// "X.Lenght <> Y.FloatPrecision". B is untouched when no point is left.
KALIX_EXPORT void PowerFit(TVec& B, const TVec& X, const TVec& Y, const TVec* Weights = nullptr);
/// B[0] * exp(B[1]*X) by a line through (x, ln y) over y > 0 (weights Weights*y^2 when given).
/// Raises "X.Length <> Y.Length". B is untouched when no point is left.
KALIX_EXPORT void ExpFit(TVec& B, const TVec& X, const TVec& Y, const TVec* Weights = nullptr);
/// B[0] + B[1]*ln(X) by a line through (ln x, y) over x > 0 (weights Weights*y^2 when given).
/// Raises "X.Lenght <> Y.Length". B is untouched when no point is left.
KALIX_EXPORT void LnFit(TVec& B, const TVec& X, const TVec& Y, const TVec* Weights = nullptr);
/// Logistic by linearisation: the first and last Y fix the asymptotes, the inner points give
/// B[2] and B[3]. The caller's vectors are not changed. Raises "LogisticFit: X.Length <>
/// Y.Length", then "LogisticFit: X.FloatPrecision <> Y.FloatPrecision".
KALIX_EXPORT void LogisticFit(TVec& B, const TVec& X, const TVec& Y, bool FourParam = true,
                              const TVec* Weights = nullptr);
/// Rational model with NumDeg numerator and DenDeg denominator terms by linear least squares
/// of y on [x .. x^NumDeg, -y x .. -y x^DenDeg]. Raises "FracFit: X.Lenght <> Y.Length",
/// "FracFit: X.FloatPrecision <> Y.FloatPrecision", then "FracFit: (NumDeg < 0) or (DenDeg < 0)".
KALIX_EXPORT void FracFit(TVec& B, const TVec& X, const TVec& Y, int NumDeg, int DenDeg, bool Constant = true,
                          const TVec* Weights = nullptr);
/// Multiple linear model: MulLinRegress by QR (weighted when Weights is given); its messages.
KALIX_EXPORT void MulLinFit(TVec& B, const TMtx& A, const TVec& Y, bool Constant = true,
                            const TVec* Weights = nullptr);

// ---------------------------------------------------------------- derivatives

/// Gradient of the line: Grad = [0, X] (deliberately 0, not 1), sized 2 with FloatPrecision.
/// Raises "LineDeriv: FloatPrecision is not a real precision" unless mvDouble or mvSingle.
KALIX_EXPORT void LineDeriv(const TRegressFun& RegressFun, double X, double Y, std::span<const double> Pars,
                            TVec& Grad, TMtxFloatPrecision FloatPrecision = Kalix::mvDouble);
/// Gradient of the power model from its value Y: [Y / Pars[0], ln(X) * Y]; Grad keeps its precision.
KALIX_EXPORT void PowerDeriv(const TRegressFun& RegressFun, double X, double Y, std::span<const double> Pars,
                             TVec& Grad);
/// Gradient of the exponential model from its value Y: [Y / Pars[0], Y * X], sized 2 with FloatPrecision.
/// Raises "ExpDeriv: FloatPrecision is not a real precision", then "ExpDeriv: Pars.Length < 1".
KALIX_EXPORT void ExpDeriv(const TRegressFun& RegressFun, double X, double Y, std::span<const double> Pars,
                           TVec& Grad, TMtxFloatPrecision FloatPrecision = Kalix::mvDouble);

}  // namespace RegModels
