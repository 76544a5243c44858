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

/// Minimises Fun by Nelder-Mead from the start in Pars (overwritten by the best vertex);
/// returns the iterations used, FMin the best value. Pars reach Fun as a TVec of precision
/// FloatPrecision, Consts as a double TVec; a NaN value counts as +Inf. Deterministic.
/// Tolerance: the simplex has collapsed when max f - min f <= Tolerance * max(1, |min f|) and
/// every vertex is within Tolerance * max(1, |x_j|) of the best x in every coordinate j
/// (Tolerance is raised to 2 eps of FloatPrecision). A collapse is confirmed by one rebuilt
/// simplex, then StopReason = optConverged; optMaxIterReached when MaxIter runs out first
/// (optNaNObjective instead when Fun was NaN at every point tried after the start);
/// optBadStart (Pars kept, FMin NaN or Inf) when Fun is not finite at the start;
/// optNotStarted when MaxIter = 0. Raises for empty Pars, MaxIter < 0, Tolerance < 0.
KALIX_EXPORT int Simplex(const TRealFunction& Fun, std::span<double> Pars, std::span<const double> Consts,
                         TObjConsts ObjConsts, double& FMin, TOptStopReason& StopReason,
                         TMtxFloatPrecision FloatPrecision = mvDouble, int MaxIter = 500,
                         double Tolerance = 1e-8, std::vector<std::string>* Log = nullptr);
/// Bounded form: the start and every trial point are projected into [LowerBounds, UpperBounds]
/// (infinite bounds allowed), so the minimiser may lie exactly on a bound. Raises when a bound
/// vector's length differs from Pars or a lower bound exceeds its upper bound.
KALIX_EXPORT int Simplex(const TRealFunction& Fun, std::span<double> Pars, std::span<const double> Consts,
                         TObjConsts ObjConsts, std::span<const double> LowerBounds,
                         std::span<const double> UpperBounds, double& FMin, TOptStopReason& StopReason,
                         TMtxFloatPrecision FloatPrecision = mvDouble, int MaxIter = 500,
                         double Tolerance = 1e-8, std::vector<std::string>* Log = nullptr);

}  // namespace Kalix
