// Signal operations on real vectors: biased autocorrelation, cross-correlation and linear
// convolution. Few lags are summed directly in cache-sized blocks (one pass over the data);
// many lags go through a zero-padded FFT. Both paths agree to rounding.
#pragma once

#include <span>

#include "Containers.h"
#include "kalix_export.h"

namespace Kalix {

namespace Kern {
/// R[k] = sum over t < n - k of x[t] * y[t + k] for k < R.size() (x and y of equal length n;
/// lags k >= n give 0). Not divided by anything. x and y may be the same span.
template <class T> KALIX_EXPORT void LagProducts(std::span<const T> x, std::span<const T> y, std::span<T> R);
/// Full linear convolution, C.size() = x.size() + y.size() - 1 (both non-empty).
template <class T> KALIX_EXPORT void Convolve(std::span<const T> x, std::span<const T> y, std::span<T> C);
}  // namespace Kern

/// Dst[k] = (1/n) sum over t = 0 .. n-1-k of X[t] X[t+k], k = 0 .. Lags-1, n = X.Length; the
/// divisor is n at every lag and lags from n on are 0. Dst takes X's precision. Raises
/// "AutoCorrBiased: X.Complex" and "AutoCorrBiased: Lags < 0".
KALIX_EXPORT void AutoCorrBiased(TVec& Dst, const TVec& X, int Lags);
/// Dst[k] = (1/n) sum over t = 0 .. n-1-k of X[t] Y[t+k], k = 0 .. Lags-1: Y leading X by k.
/// Raises "CrossCorr: X.Complex or Y.Complex", "CrossCorr: X.Length <> Y.Length",
/// "CrossCorr: X.FloatPrecision <> Y.FloatPrecision", "CrossCorr: Lags < 0".
KALIX_EXPORT void CrossCorr(TVec& Dst, const TVec& X, const TVec& Y, int Lags);
/// Full linear convolution Dst[j] = sum over i of X[i] Y[j-i], length X.Length + Y.Length - 1
/// (empty when either is empty). Raises "Convolve: X.Complex or Y.Complex" and
/// "Convolve: X.FloatPrecision <> Y.FloatPrecision".
KALIX_EXPORT void Convolve(TVec& Dst, const TVec& X, const TVec& Y);

}  // namespace Kalix
