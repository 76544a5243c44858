// Derivative-free minimisation: bounded Nelder-Mead simplex.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "Containers.h"
#include "kalix_export.h"

namespace Kalix {

/// Why an optimiser stopped. Callers rely on optConverged having ordinal 8.
enum TOptStopReason : int {
  optNotStarted,        // 0: no iteration was made
  optMaxIterReached,    // 1: iteration limit reached before the tolerance was met
  optBadStart,          // 2: objective not finite at the starting point
  optNaNObjective,      // 3: objective is NaN at every trial point
  optSingular,          // 4: (gradient methods) singular curvature matrix
  optLineSearchFailed,  // 5: (gradient methods) no descent along the search direction
  optSmallGradient,     // 6: (gradient methods) gradient norm below tolerance
  optSmallStep,         // 7: step below tolerance without function convergence
  optConverged,         // 8: normal convergence by tolerance
};

/// Objects handed to an objective besides its parameters (data vectors and the like).
using TObjConsts = std::span<TDenseKalix* const>;
/// Objective: f(Pars, Consts, ObjConsts) -> value to minimise.
using TRealFunction = std::function<double(const TVec& Pars, const TVec& Consts, TObjConsts ObjConsts)>;

/// Minimises Fun by Nelder-Mead from the start in Pars (overwritten by the minimiser).
/// Pars reach Fun as a TVec of precision FloatPrecision. Stops with optConverged when the
/// simplex's function values and vertices agree to Tolerance, or after MaxIter iterations.
/// Deterministic. Returns the number of iterations; FMin receives the minimum found.
KALIX_EXPORT int Simplex(const TRealFunction& Fun, std::span<double> Pars, std::span<const double> Consts,
                         TObjConsts ObjConsts, double& FMin, TOptStopReason& StopReason,
                         TMtxFloatPrecision FloatPrecision = mvDouble, int MaxIter = 500,
                         double Tolerance = 1e-8, std::vector<std::string>* Log = nullptr);
/// Bounded form: every trial point is projected into [LowerBounds, UpperBounds] (infinite
/// bounds allowed), so the minimiser may lie exactly on a bound.
KALIX_EXPORT int Simplex(const TRealFunction& Fun, std::span<double> Pars, std::span<const double> Consts,
                         TObjConsts ObjConsts, std::span<const double> LowerBounds,
                         std::span<const double> UpperBounds, double& FMin, TOptStopReason& StopReason,
                         TMtxFloatPrecision FloatPrecision = mvDouble, int MaxIter = 500,
                         double Tolerance = 1e-8, std::vector<std::string>* Log = nullptr);

}  // namespace Kalix
