// The ARAR forecasting algorithm (Brockwell & Davis, Introduction to Time Series and
// Forecasting, 9.1): memory-shortening filters, then a subset autoregression on lags 1, l1, l2,
// l3 <= MaxLag fitted by the Yule-Walker equations, forecasts by the whitening filter.

#include <Eigen/Dense>
#include <cmath>
#include <limits>
#include <vector>

#include "StatTimeSerAnalysis/StatTimeSerAnalysis.h"
#include "StatTimeSerAnalysis/detail/ARMA.h"
#include "core/Probability.h"

namespace StatTimeSerAnalysis {

using namespace Kalix;
using detail::cspan;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::vector<double> PolyMul(cspan a, cspan b) {
  std::vector<double> c(a.size() + b.size() - 1, 0.0);
  for (std::size_t i = 0; i < a.size(); ++i)
    for (std::size_t j = 0; j < b.size(); ++j) c[i + j] += a[i] * b[j];
  return c;
}

// One memory-shortening step: the filter 1 - ... (coefficients from index 0) to apply, or an
// empty vector when the series is short-memory. Err(tau) = sum (Y_t - phi Y_{t-tau})^2 / sum Y_t^2
// over t > tau, tau = 1 .. 15; long memory when Err <= 8/n or phi >= 0.93.
std::vector<double> ShorteningFilter(cspan y) {
  const std::size_t n = y.size();
  double best = std::numeric_limits<double>::infinity(), bestPhi = 0;
  std::size_t tau = 0;
  for (std::size_t k = 1; k <= 15 && k < n; ++k) {
    double sxy = 0, sxx = 0, syy = 0;
    for (std::size_t t = k; t < n; ++t) {
      sxy += y[t] * y[t - k];
      sxx += y[t - k] * y[t - k];
      syy += y[t] * y[t];
    }
    const double phi = sxy / sxx;
    double err = 0;
    for (std::size_t t = k; t < n; ++t) err += (y[t] - phi * y[t - k]) * (y[t] - phi * y[t - k]);
    err /= syy;
    if (err < best) {
      best = err;
      bestPhi = phi;
      tau = k;
    }
  }
  if (tau == 0) return {};
  const bool longMemory = best <= 8.0 / static_cast<double>(n) || bestPhi >= 0.93;
  if (!longMemory) return {};
  if (tau > 2 || best <= 8.0 / static_cast<double>(n)) {
    std::vector<double> f(tau + 1, 0.0);
    f[0] = 1;
    f[tau] = -bestPhi;
    return f;
  }
  // tau = 1 or 2 with phi >= 0.93: least-squares AR(2) filter.
  Eigen::Matrix2d A = Eigen::Matrix2d::Zero();
  Eigen::Vector2d b = Eigen::Vector2d::Zero();
  for (std::size_t t = 2; t < n; ++t) {
    const Eigen::Vector2d r(y[t - 1], y[t - 2]);
    A += r * r.transpose();
    b += r * y[t];
  }
  const Eigen::Vector2d c = A.ldlt().solve(b);
  return {1.0, -c(0), -c(1)};
}

}  // namespace

void ARARForecast(const TVec& Data, TVec& Forecast, TVec* StdErrors, TVec* Lower, TVec* Upper, int Horizon,
                  double Alpha, int MaxLag, TARARModel* Model) {
  if (Data.Complex()) ERaise("ARARForecast: Data.Complex = true");
  if (Horizon < 1) ERaise("ARARForecast: Horizon < 1");
  if (MaxLag < 4) ERaise("ARARForecast: MaxLag < 4");
  if (static_cast<long long>(Data.Length()) <= static_cast<long long>(MaxLag) + 15) ERaise("ARARForecast: Data.Length <= MaxLag + 15");
  const auto y = detail::ToDoubles(Data);
  bool constant = true;
  for (double v : y) constant = constant && v == y[0];
  if (constant) ERaise("ARARForecast: Data is constant");

  // Memory shortening, at most three filters.
  std::vector<double> psi{1.0}, s = y;
  for (int step = 0; step < 3; ++step) {
    const auto f = ShorteningFilter(s);
    if (f.empty()) break;
    const std::size_t k = f.size() - 1;
    std::vector<double> next(s.size() - k);
    for (std::size_t t = k; t < s.size(); ++t) {
      double v = 0;
      for (std::size_t j = 0; j <= k; ++j) v += f[j] * s[t - j];
      next[t - k] = v;
    }
    s.swap(next);
    psi = PolyMul(psi, f);
  }
  const auto L = static_cast<std::size_t>(MaxLag);
  if (s.size() <= L + 1) ERaise("ARARForecast: Data.Length <= MaxLag + 15");

  // Subset autoregression of the mean-corrected shortened series: the lags 1 < l1 < l2 < l3 <= L
  // whose Yule-Walker fit has the smallest white-noise variance.
  double mean = 0;
  for (double v : s) mean += v;
  mean /= static_cast<double>(s.size());
  std::vector<double> xc(s.size()), gamma(L + 1, 0.0);
  for (std::size_t t = 0; t < s.size(); ++t) xc[t] = s[t] - mean;
  for (std::size_t k = 0; k <= L; ++k) {
    for (std::size_t t = k; t < xc.size(); ++t) gamma[k] += xc[t] * xc[t - k];
    gamma[k] /= static_cast<double>(xc.size());
  }
  double bestVar = std::numeric_limits<double>::infinity();
  std::array<int, 4> bestLags{1, 2, 3, 4};
  Eigen::Vector4d bestPhi = Eigen::Vector4d::Constant(kNaN);
  for (std::size_t i = 2; i <= L; ++i)
    for (std::size_t j = i + 1; j <= L; ++j)
      for (std::size_t k = j + 1; k <= L; ++k) {
        const std::size_t lags[4] = {1, i, j, k};
        Eigen::Matrix4d G;
        Eigen::Vector4d g;
        for (int a = 0; a < 4; ++a) {
          g(a) = gamma[lags[a]];
          for (int b = 0; b < 4; ++b) G(a, b) = gamma[lags[a] > lags[b] ? lags[a] - lags[b] : lags[b] - lags[a]];
        }
        const Eigen::Vector4d phi = G.ldlt().solve(g);
        const double var = gamma[0] - phi.dot(g);
        if (std::isfinite(var) && var < bestVar) {
          bestVar = var;
          bestPhi = phi;
          bestLags = {1, static_cast<int>(i), static_cast<int>(j), static_cast<int>(k)};
        }
      }

  // Whitening filter xi = psi(z) (1 - sum phi_a z^{l_a}); xi(B) Y_t = (1 - sum phi_a) mean + Z_t.
  std::vector<double> ar(static_cast<std::size_t>(bestLags[3]) + 1, 0.0);
  ar[0] = 1;
  for (int a = 0; a < 4; ++a) ar[static_cast<std::size_t>(bestLags[a])] -= bestPhi(a);
  const auto xi = PolyMul(psi, ar);
  if (xi.size() > y.size()) ERaise("ARARForecast: Data.Length <= MaxLag + 15");
  const double c = (1 - bestPhi.sum()) * mean;
  const auto h = static_cast<std::size_t>(Horizon), n = y.size();
  std::vector<double> path(y), tau(h, 0.0), f(h), se(h), lo(h), hi(h);
  for (std::size_t k = 0; k < h; ++k) {
    double v = c;
    for (std::size_t j = 1; j < xi.size(); ++j) v -= xi[j] * path[n + k - j];
    path.push_back(v);
    f[k] = v;
  }
  // tau = 1 / xi(z): mean squared error sigma^2 sum_{j<h} tau_j^2.
  const double z = Alpha > 0 && Alpha < 1 ? NormalCDFInv(1 - Alpha / 2, 0, 1) : kNaN;
  double acc = 0;
  for (std::size_t k = 0; k < h; ++k) {
    double t = k == 0 ? 1.0 : 0.0;
    for (std::size_t j = 1; j <= std::min(k, xi.size() - 1); ++j) t -= xi[j] * tau[k - j];
    tau[k] = t;
    acc += t * t;
    se[k] = std::sqrt(bestVar * acc);
    lo[k] = f[k] - z * se[k];
    hi[k] = f[k] + z * se[k];
  }
  const auto prec = Data.FloatPrecision();
  detail::FromDoubles(f, Forecast, prec);
  if (StdErrors) detail::FromDoubles(se, *StdErrors, prec);
  if (Lower) detail::FromDoubles(lo, *Lower, prec);
  if (Upper) detail::FromDoubles(hi, *Upper, prec);
  if (Model) {
    detail::FromDoubles(psi, Model->Shortening, prec);
    detail::FromDoubles(xi, Model->Filter, prec);
    Model->Lags = bestLags;
    for (int a = 0; a < 4; ++a) Model->Coeffs[static_cast<std::size_t>(a)] = bestPhi(a);
    Model->Variance = bestVar;
    Model->Mean = mean;
  }
}

}  // namespace StatTimeSerAnalysis
