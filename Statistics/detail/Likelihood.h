// Negative log-likelihoods of the maximum-likelihood fits and their standard errors.
// Internal: shared by the two-parameter fits and the bounded iterative fits.
#pragma once

#include <span>

#include "Statistics/Statistics.h"

namespace Statistics::detail {

/// The distributions fitted by maximum likelihood, with their parameters in the order the
/// core's densities take them.
enum class TLikeDist { Beta, Cauchy, F, Gamma, Student, Triangular, Weibull };

/// Number of parameters of a distribution.
int ParCount(TLikeDist Dist);

/// -sum ln pdf(x_i; Pars), every density from the core's vector form in X's precision.
/// Degrees of freedom are rounded (halves to even) for F and Student; Weibull densities are
/// raised by 2^-52 before the logarithm so that a zero density costs a finite amount.
double NegLogLikePerElement(TLikeDist Dist, const TDenseKalix& X, std::span<const double> Pars);

/// Standard errors of Pars[0] and Pars[1] from the outer product of forward-difference scores
/// (step the square root of X's epsilon): sqrt(diag((J^T J)^-1)) by QR of J.
void ScoreStdErrors(TLikeDist Dist, const TDenseKalix& X, std::span<const double> Pars, TTwoElmReal& StdErr);

/// The negative log-likelihood of X as an objective for Simplex, prepared once: Gamma and Beta
/// from their sufficient statistics (O(1) per call), Weibull from ln x with vectorised
/// arithmetic; data outside a support fall back to the per-element sum, so the values
/// are those of NegLogLikePerElement up to rounding. X must outlive the objective.
Kalix::TRealFunction MakeObjective(TLikeDist Dist, const TDenseKalix& X);

/// The objective of the optimiser's shape for any of the distributions (data in
/// ObjConsts[0]); with StdErr given, also the standard errors of the first two parameters.
double NegLogLike(TLikeDist Dist, const TVec& Pars, Kalix::TObjConsts ObjConsts, TTwoElmReal* StdErr);

}  // namespace Statistics::detail
