// Kernels shared by the time-series routines (never installed): centred autocovariances and
// the Durbin-Levinson recursion, on spans of float or double.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

#include "core/Reductions.h"
#include "core/Signal.h"

namespace StatTimeSerAnalysis::detail {

/// R[k] = (1/n) sum over t < n-k of (x[t] - mean)(x[t+k] - mean); Work receives the centred
/// series (size n). Lags from n on are 0.
template <class T>
void AutoCov(std::span<const T> x, std::span<T> R, std::span<T> Work) {
  const T mu = Kalix::Kern::Mean<T>(x);
  for (std::size_t i = 0; i < x.size(); ++i) Work[i] = x[i] - mu;
  const std::span<const T> c(Work.data(), x.size());
  Kalix::Kern::LagProducts<T>(c, c, R);
  const T n = static_cast<T>(x.size());
  for (auto& v : R) v /= n;
}

/// Durbin-Levinson (Brockwell & Davis, Time Series: Theory and Methods, 5.2.1): from gamma[0 .. p]
/// the coefficients phi_1 .. phi_p of the best linear predictor into Phi[0 .. p-1], the
/// prediction-error variance after each order m into V[m-1] and the partial autocorrelation at
/// lag m into Partial[m-1] when those are not empty, and the final variance as the result. Phi
/// needs p elements, V and Partial none or p.
template <class T>
T DurbinLevinson(std::span<const T> gamma, std::size_t p, std::span<T> Phi, std::span<T> V = {},
                 std::span<T> Partial = {}) {
  T v = gamma[0];
  std::vector<T> prev(p);
  for (std::size_t m = 1; m <= p; ++m) {
    T s(0);
    for (std::size_t j = 1; j < m; ++j) s += Phi[j - 1] * gamma[m - j];
    const T a = (gamma[m] - s) / v;
    std::copy(Phi.begin(), Phi.begin() + static_cast<std::ptrdiff_t>(m - 1), prev.begin());
    for (std::size_t j = 1; j < m; ++j) Phi[j - 1] = prev[j - 1] - a * prev[m - j - 1];
    Phi[m - 1] = a;
    v = (T(1) - a * a) * v;
    if (!V.empty()) V[m - 1] = v;
    if (!Partial.empty()) Partial[m - 1] = a;
  }
  return v;
}

}  // namespace StatTimeSerAnalysis::detail
