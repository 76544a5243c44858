// Reductions over dense containers: sums, means, standard deviations, extremes, norms,
// and their per-row / per-column forms. Sums are pairwise, variances two-pass, so data
// with a large common offset keep their digits. Results are double; single-precision data
// are reduced in single precision.
#pragma once

#include <span>

#include "Containers.h"
#include "kalix_export.h"

namespace Kalix {

namespace Kern {
/// Span kernels (instantiated for float and double).
template <class T> KALIX_EXPORT T Sum(std::span<const T> x);
template <class T> KALIX_EXPORT T Mean(std::span<const T> x);
/// Sum of squared deviations from the sample mean, given Mu = the computed mean of x; the
/// corrected two-pass term (Chan, Golub & LeVeque) repairs Mu's rounding. Not for any other Mu.
template <class T> KALIX_EXPORT T SumSqDev(std::span<const T> x, T Mu);
template <class T> KALIX_EXPORT T SumOfSquares(std::span<const T> x);
template <class T> KALIX_EXPORT T Dot(std::span<const T> x, std::span<const T> y);
/// Largest and smallest element; NaN for both when x is empty or holds a NaN.
template <class T> KALIX_EXPORT void MaxMin(std::span<const T> x, T& Max, T& Min);
}  // namespace Kern

/// Sum of all elements.
KALIX_EXPORT double Sum(const TDenseKalix& X);
/// Arithmetic mean (NaN when empty).
KALIX_EXPORT double Mean(const TDenseKalix& X);
/// Mean of elements Index .. Index + Len - 1 of a vector.
KALIX_EXPORT double Mean(const TVec& X, int Index, int Len);
/// Sample standard deviation, divisor n - 1, about the data's own mean.
KALIX_EXPORT double StdDev(const TDenseKalix& X);
/// Sample standard deviation, divisor n - 1, about a given mean: sqrt(sum((x - Mean)^2) / (n - 1)).
KALIX_EXPORT double StdDev(const TDenseKalix& X, double Mean);
/// Median (mean of the two middle values for even n; NaN when empty).
KALIX_EXPORT double Median(const TDenseKalix& X);
KALIX_EXPORT double Min(const TDenseKalix& X);
KALIX_EXPORT double Max(const TDenseKalix& X);
/// Largest and smallest element; both NaN when X is empty or holds a NaN.
KALIX_EXPORT void MaxMin(const TDenseKalix& X, double& Max, double& Min);
/// Complex maximum and minimum by magnitude (first of equal magnitudes); real data allowed.
KALIX_EXPORT void MaxMinc(const TDenseKalix& X, TCplx& Max, TCplx& Min);
KALIX_EXPORT double Product(const TDenseKalix& X);
KALIX_EXPORT double SumOfSquares(const TDenseKalix& X);
KALIX_EXPORT double RMS(const TDenseKalix& X);
KALIX_EXPORT double NormL1(const TDenseKalix& X);
KALIX_EXPORT double NormL2(const TDenseKalix& X);
/// L2 norm of the difference X - Y (equal lengths and precisions).
KALIX_EXPORT double NormL2(const TDenseKalix& X, const TDenseKalix& Y);
/// Dot product of two real containers of equal length and precision.
KALIX_EXPORT double DotProd(const TDenseKalix& X, const TDenseKalix& Y);
/// Sum of the main diagonal.
KALIX_EXPORT double Trace(const TMtx& A);

/// Per-row and per-column reductions of a real matrix; Result is sized by the function.
KALIX_EXPORT void MeanRows(const TMtx& A, TVec& Result);
KALIX_EXPORT void MeanCols(const TMtx& A, TVec& Result);
KALIX_EXPORT void SumRows(const TMtx& A, TVec& Result);
KALIX_EXPORT void SumCols(const TMtx& A, TVec& Result);
KALIX_EXPORT void StdDevRows(const TMtx& A, TVec& Result);
KALIX_EXPORT void StdDevCols(const TMtx& A, TVec& Result);

}  // namespace Kalix
