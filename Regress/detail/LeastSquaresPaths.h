// The two least-squares paths beside the Householder QR solve: corrected semi-normal
// equations for well-conditioned designs, and refinement in extended precision for
// ill-conditioned ones. Never installed.
#pragma once

#include "../../core/Containers.h"

namespace Regress::detail {

/// Least squares of Y on [1 | A] (Constant) or A, weighted when Weights is given, from the
/// Cholesky factor of the equilibrated Gram matrix and refinement with residuals in double.
/// Returns false, leaving B, YCalc and V untouched, when the design is too ill-conditioned
/// for that path to match QR (the caller then takes the QR path), and for inputs that path
/// does not handle (wide, empty, non-finite, mismatched weights).
bool NormalEquationsSolve(const Kalix::TVec& Y, const Kalix::TMtx& A, const Kalix::TVec* Weights, bool Constant,
                          Kalix::TVec& B, Kalix::TVec* YCalc, Kalix::TMtx* V);

/// When the triangular factor R of the tall design M is ill-conditioned, refines the QR
/// solution B and computes V = (M^T M)^-1 with residuals in double-double. Returns true when
/// it wrote V; false (B possibly refined) when V is left to the caller.
bool RefineIllConditioned(const Kalix::TMtx& M, const Kalix::TVec& y, const Kalix::TMtx& R, Kalix::TVec& B,
                          Kalix::TMtx* V);

}  // namespace Regress::detail
