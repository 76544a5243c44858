// Gradient optimisers: Levenberg-Marquardt least squares, BFGS and nonlinear conjugate
// gradients, with the objective shape of Simplex plus a derivative procedure.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "Containers.h"
#include "Optimize.h"
#include "kalix_export.h"

namespace Kalix {

/// The optimisers, for routines that let the caller choose one.
enum TOptMethod : int { optSimplex, optMarquardt, optBFGS, optConjGrad };

/// Gradient of a TRealFunction: writes dF/dPars[j] into Grad (sized by the caller's procedure).
using TGradProc = std::function<void(const TVec& Pars, const TVec& Consts, TObjConsts ObjConsts, TVec& Grad)>;
/// Residual vector of a least-squares problem: sizes and fills Residuals (length m >= Pars).
using TResidualProc =
    std::function<void(const TVec& Pars, const TVec& Consts, TObjConsts ObjConsts, TVec& Residuals)>;
/// Jacobian of the residuals: sizes Jacobian m x n with dr_i/dPars[j] in row i, column j.
using TJacobianProc =
    std::function<void(const TVec& Pars, const TVec& Consts, TObjConsts ObjConsts, TMtx& Jacobian)>;

/// Minimises the sum of squared residuals by Levenberg-Marquardt with a trust region and
/// scaling by the Jacobian's column norms; Jac empty uses forward differences. Pars: start in,
/// minimiser out; returns the iterations (Jacobian evaluations); FMin = sum of squares.
/// StopReason: optConverged when the relative step falls below Tolerance or the relative
/// reduction of the sum of squares below Tolerance^2 (both raised to 10 eps of FloatPrecision),
/// or no further progress is possible at machine precision; optMaxIterReached; optBadStart (Pars
/// kept) when a residual at the start is not finite; optNaNObjective when the Jacobian is not
/// finite; optNotStarted when MaxIter = 0. InvHessian, when given, gets (J^T J)^-1 at the
/// minimiser (NaN when J with unit-length columns has a condition beyond about 1e9, or after a bad
/// start). Raises "Marquardt: Pars is empty", "Marquardt:
/// MaxIter < 0", "Marquardt: Tolerance < 0", "Marquardt: fewer residuals than parameters".
KALIX_EXPORT int Marquardt(const TResidualProc& Fun, const TJacobianProc& Jac, std::span<double> Pars,
                           std::span<const double> Consts, TObjConsts ObjConsts, double& FMin,
                           TOptStopReason& StopReason, TMtx* InvHessian = nullptr,
                           TMtxFloatPrecision FloatPrecision = mvDouble, int MaxIter = 500,
                           double Tolerance = 1e-10, std::vector<std::string>* Log = nullptr);

/// Quasi-Newton minimisation with the BFGS update of the inverse Hessian and a backtracking
/// Armijo line search; Grad empty uses central differences. Returns the iterations; FMin the
/// minimum. StopReason: optSmallGradient when the gradient's largest element is at most
/// Tolerance * max(1, |f|); optConverged when an iteration lowers f by at most that much;
/// optLineSearchFailed when no step along the search direction lowers f; optMaxIterReached;
/// optBadStart when f or its gradient is not finite at the start; optNotStarted for MaxIter = 0.
/// InvHessian, when given, gets the inverse of a finite-difference Hessian at the minimiser
/// (NaN when singular). Raises "BFGS: Pars is empty", "BFGS: MaxIter < 0", "BFGS: Tolerance < 0".
KALIX_EXPORT int BFGS(const TRealFunction& Fun, const TGradProc& Grad, std::span<double> Pars,
                      std::span<const double> Consts, TObjConsts ObjConsts, double& FMin, TOptStopReason& StopReason,
                      TMtx* InvHessian = nullptr, TMtxFloatPrecision FloatPrecision = mvDouble, int MaxIter = 500,
                      double Tolerance = 1e-8, std::vector<std::string>* Log = nullptr);
/// Bounded BFGS: iterates stay in [LowerBounds, UpperBounds] by projection; coordinates held at
/// a bound by the gradient leave the quadratic model (projected quasi-Newton). The gradient
/// tests use the projected gradient. Bound messages: "BFGS: bounds do not match Pars",
/// "BFGS: LowerBounds > UpperBounds".
KALIX_EXPORT int BFGS(const TRealFunction& Fun, const TGradProc& Grad, std::span<double> Pars,
                      std::span<const double> Consts, TObjConsts ObjConsts, std::span<const double> LowerBounds,
                      std::span<const double> UpperBounds, double& FMin, TOptStopReason& StopReason,
                      TMtx* InvHessian = nullptr, TMtxFloatPrecision FloatPrecision = mvDouble, int MaxIter = 500,
                      double Tolerance = 1e-8, std::vector<std::string>* Log = nullptr);

/// Nonlinear conjugate gradients (Polak-Ribiere with restarts, PR+) and the same line search,
/// stop reasons, InvHessian and messages as BFGS, with the prefix "ConjGrad: ".
KALIX_EXPORT int ConjGrad(const TRealFunction& Fun, const TGradProc& Grad, std::span<double> Pars,
                          std::span<const double> Consts, TObjConsts ObjConsts, double& FMin,
                          TOptStopReason& StopReason, TMtx* InvHessian = nullptr,
                          TMtxFloatPrecision FloatPrecision = mvDouble, int MaxIter = 2000, double Tolerance = 1e-8,
                          std::vector<std::string>* Log = nullptr);
/// Bounded conjugate gradients (projected steps, bound-held coordinates frozen).
KALIX_EXPORT int ConjGrad(const TRealFunction& Fun, const TGradProc& Grad, std::span<double> Pars,
                          std::span<const double> Consts, TObjConsts ObjConsts, std::span<const double> LowerBounds,
                          std::span<const double> UpperBounds, double& FMin, TOptStopReason& StopReason,
                          TMtx* InvHessian = nullptr, TMtxFloatPrecision FloatPrecision = mvDouble,
                          int MaxIter = 2000, double Tolerance = 1e-8, std::vector<std::string>* Log = nullptr);

}  // namespace Kalix
