// Kernels of the ARMA routines (never installed), all in double. The model is
//   X[t] - phi_1 X[t-1] - ... - phi_p X[t-p] = Z[t] + theta_1 Z[t-1] + ... + theta_q Z[t-q],
// Z white noise. References: Brockwell & Davis, Introduction to Time Series and Forecasting
// (2nd ed.), 3.3 (autocovariances, psi weights, innovations forecasts) and 5.2 (likelihood).
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <vector>

#include "core/Containers.h"
#include "core/Dispatch.h"

namespace StatTimeSerAnalysis::detail {

using cspan = std::span<const double>;

/// The values of a real container as doubles.
inline std::vector<double> ToDoubles(const Kalix::TDenseKalix& x) {
  return Kalix::WithPrecision(x, [&](auto t) {
    using T = typename decltype(t)::type;
    const auto s = x.Span<T>();
    return std::vector<double>(s.begin(), s.end());
  });
}

/// Writes v into Dst sized to v.size() in precision Prec.
inline void FromDoubles(cspan v, Kalix::TVec& Dst, Kalix::TMtxFloatPrecision Prec) {
  Dst.Size(static_cast<int>(v.size()), Prec);
  for (std::size_t i = 0; i < v.size(); ++i) Dst.Values(static_cast<int>(i)) = v[i];
}

/// psi_0 .. psi_{L-1} of theta(z)/phi(z): psi_j = theta_j + sum_{k=1..min(j,p)} phi_k psi_{j-k}.
inline std::vector<double> PsiWeights(cspan phi, cspan theta, std::size_t L) {
  std::vector<double> psi(L);
  for (std::size_t j = 0; j < L; ++j) {
    double s = j == 0 ? 1.0 : (j <= theta.size() ? theta[j - 1] : 0.0);
    for (std::size_t k = 1; k <= std::min(j, phi.size()); ++k) s += phi[k - 1] * psi[j - k];
    psi[j] = s;
  }
  return psi;
}

/// Autocovariances gamma(0 .. L-1) of the causal ARMA with unit noise variance (3.3, second
/// method): the p+1 equations gamma(k) - sum_r phi_r gamma(|k-r|) = sum_{j>=k} theta_j psi_{j-k}
/// are solved by Gaussian elimination with partial pivoting, the rest follow by the recursion.
/// Returns false when the system is singular (a unit root).
bool ARMAAutoCov(cspan phi, cspan theta, std::size_t L, std::vector<double>& gamma);

/// Stationarity of 1 - phi_1 z - ... - phi_p z^p, read off the step-down (reverse
/// Durbin-Levinson) recursion: every partial autocorrelation strictly inside (-1, 1).
/// When Partial is not null it receives them (stopping at the first one out of range).
bool StepDown(cspan phi, std::vector<double>* Partial = nullptr);
/// AR coefficients of the partial autocorrelations r (Durbin-Levinson step-up).
std::vector<double> StepUp(cspan r);

/// The innovations algorithm (5.2.1 on the kappa of 5.2.6-5.2.7) for a zero-mean ARMA with
/// unit noise variance. Rows n >= m = max(p, q) carry at most q non-zero theta_{n,j}; once a
/// row has converged to the model's theta with r_n = 1, later rows are that row (no more work).
class TARMAInnovations {
 public:
  /// Returns false when the model has no stationary autocovariance (a unit root) or some
  /// r_n is not positive.
  bool Init(cspan phi, cspan theta);
  /// Grows the recursion to rows 0 .. N-1.
  bool Extend(std::size_t N);
  /// theta_{n,j}, j = 1 .. q (or 1 .. n below m); 0 elsewhere.
  double Theta(std::size_t n, std::size_t j) const;
  /// r_n = v_n / sigma^2.
  double R(std::size_t n) const { return n >= conv_ ? 1.0 : r_[n]; }
  std::size_t Width() const { return w_; }
  std::size_t M() const { return m_; }
  /// First row of the steady state (r_n = 1, theta_{n,j} = theta_j), or SIZE_MAX.
  std::size_t Steady() const { return conv_; }

  /// One-step residuals e[t] = x[t] - xhat[t] (5.2.7) of each series in xs (the same length).
  void Residuals(std::span<const cspan> xs, std::span<const std::span<double>> es) const;

 private:
  double Kappa(std::size_t i, std::size_t j) const;
  std::vector<double> phi_, theta_, gamma_, th_, r_;
  std::size_t p_ = 0, q_ = 0, m_ = 0, w_ = 0, rows_ = 0, conv_ = static_cast<std::size_t>(-1);
};

/// Negative log-likelihood with the noise variance profiled out, and the profiled variance.
struct TARMALik {
  double NegLogLik = 0;  ///< n/2 (log(2 pi) + 1 + log sigma2) + 1/2 sum log r_t
  double Sigma2 = 0;     ///< S / n
  double Mu = 0;         ///< the mean used (given, or its GLS estimate)
};
/// Buffers an optimiser reuses between likelihood evaluations (allocation costs more than the
/// recursion on long series).
struct TARMALikWork {
  TARMAInnovations Innovations;
  std::vector<double> xc, ex, ones, e1;
};
/// Exact Gaussian likelihood (5.2.9) of x - Mu; with FitMu the mean is its generalised least
/// squares estimate (the residuals are linear in the data). Not finite for a model without a
/// stationary autocovariance.
TARMALik ARMALikelihood(cspan x, cspan phi, cspan theta, double Mu, bool FitMu, TARMALikWork* Work = nullptr);

/// h-step forecasts of a zero-mean ARIMA with the ARMA (phi, theta) for the differenced series
/// and the differencing polynomial delta (X_t = Y_t + sum delta_j X_{t-j}): y the differenced
/// data, x the undifferenced data (x = y when delta is empty). Mean squared errors (3.3.13 and
/// 6.4) by chi = 1/(phi(z)(1 - delta(z))) over the innovations coefficients, in units of sigma^2.
bool ARIMAPredict(cspan x, cspan y, cspan phi, cspan theta, cspan delta, double Mu, std::size_t h,
                  std::vector<double>& Forecast, std::vector<double>& MSE);

/// d + D s without overflow (d, D >= 0, s >= 1): the order of the differencing polynomial.
inline long long DifferencingOrder(int d, int D, int s) {
  return static_cast<long long>(d) + static_cast<long long>(D) * static_cast<long long>(s);
}
/// Coefficients delta_1 .. of 1 - (1 - z)^d (1 - z^s)^D.
std::vector<double> Differencing(int d, int D, int s);

}  // namespace StatTimeSerAnalysis::detail
