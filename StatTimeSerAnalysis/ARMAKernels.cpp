// ARMA autocovariances, the innovations algorithm, the exact likelihood and the ARIMA predictor
// (Brockwell & Davis, Introduction to Time Series and Forecasting, 3.3, 5.2 and 6.4).

#include <cmath>
#include <limits>
#include <numbers>

#include "StatTimeSerAnalysis/detail/ARMA.h"

namespace StatTimeSerAnalysis::detail {

namespace {
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
// A row of the innovations recursion this close to (theta, 1) is the steady state.
constexpr double kSteady = 1e-14;
}  // namespace

bool ARMAAutoCov(cspan phi, cspan theta, std::size_t L, std::vector<double>& gamma) {
  const std::size_t p = phi.size(), q = theta.size();
  const auto psi = PsiWeights(phi, theta, q + 1);
  auto c = [&](std::size_t k) {  // sum_{j=k..q} theta_j psi_{j-k}, theta_0 = 1
    double s = 0;
    for (std::size_t j = k; j <= q; ++j) s += (j == 0 ? 1.0 : theta[j - 1]) * psi[j - k];
    return s;
  };
  const std::size_t n = p + 1;
  std::vector<double> A(n * n, 0.0), b(n);
  for (std::size_t k = 0; k < n; ++k) {
    A[k * n + k] += 1;
    for (std::size_t r = 1; r <= p; ++r) A[k * n + (k > r ? k - r : r - k)] -= phi[r - 1];
    b[k] = c(k);
  }
  for (std::size_t col = 0; col < n; ++col) {  // elimination with partial pivoting
    std::size_t piv = col;
    for (std::size_t i = col + 1; i < n; ++i)
      if (std::abs(A[i * n + col]) > std::abs(A[piv * n + col])) piv = i;
    if (!(std::abs(A[piv * n + col]) > 1e-13)) return false;
    if (piv != col) {
      for (std::size_t j = 0; j < n; ++j) std::swap(A[col * n + j], A[piv * n + j]);
      std::swap(b[col], b[piv]);
    }
    for (std::size_t i = col + 1; i < n; ++i) {
      const double f = A[i * n + col] / A[col * n + col];
      for (std::size_t j = col; j < n; ++j) A[i * n + j] -= f * A[col * n + j];
      b[i] -= f * b[col];
    }
  }
  gamma.assign(std::max(L, n), 0.0);
  for (std::size_t i = n; i-- > 0;) {
    double s = b[i];
    for (std::size_t j = i + 1; j < n; ++j) s -= A[i * n + j] * gamma[j];
    gamma[i] = s / A[i * n + i];
  }
  for (std::size_t k = n; k < gamma.size(); ++k) {
    double s = k <= q ? c(k) : 0.0;
    for (std::size_t r = 1; r <= p; ++r) s += phi[r - 1] * gamma[k - r];
    gamma[k] = s;
  }
  gamma.resize(L);
  return std::isfinite(gamma[0]) && gamma[0] > 0;
}

bool StepDown(cspan phi, std::vector<double>* Partial) {
  std::vector<double> a(phi.begin(), phi.end()), prev;
  if (Partial) Partial->assign(a.size(), 0.0);
  for (std::size_t k = a.size(); k >= 1; --k) {
    const double r = a[k - 1];
    if (!(std::abs(r) < 1)) return false;
    if (Partial) (*Partial)[k - 1] = r;
    prev.assign(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(k - 1));
    for (std::size_t j = 1; j < k; ++j) a[j - 1] = (prev[j - 1] + r * prev[k - j - 1]) / (1 - r * r);
  }
  return true;
}

std::vector<double> StepUp(cspan r) {
  std::vector<double> a(r.size(), 0.0), prev;
  for (std::size_t k = 1; k <= r.size(); ++k) {
    prev.assign(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(k - 1));
    for (std::size_t j = 1; j < k; ++j) a[j - 1] = prev[j - 1] - r[k - 1] * prev[k - j - 1];
    a[k - 1] = r[k - 1];
  }
  return a;
}

// ---------------------------------------------------------------- innovations

bool TARMAInnovations::Init(cspan phi, cspan theta) {
  phi_.assign(phi.begin(), phi.end());
  theta_.assign(theta.begin(), theta.end());
  p_ = phi.size();
  q_ = theta.size();
  m_ = std::max(p_, q_);
  w_ = std::max<std::size_t>(m_, 1);
  rows_ = 0;
  conv_ = static_cast<std::size_t>(-1);
  th_.clear();
  r_.clear();
  return ARMAAutoCov(phi, theta, m_ + 1, gamma_);
}

double TARMAInnovations::Kappa(std::size_t i, std::size_t j) const {  // 1-based, i >= j
  const std::size_t h = i - j;
  if (i <= m_) return gamma_[h];
  if (h > q_) return 0.0;
  if (j > m_) {
    double s = h == 0 ? 1.0 : theta_[h - 1];  // theta_0 theta_h
    for (std::size_t r = 1; r + h <= q_; ++r) s += theta_[r - 1] * theta_[r + h - 1];
    return s;
  }
  double s = gamma_[h];
  for (std::size_t r = 1; r <= p_; ++r) s -= phi_[r - 1] * gamma_[r > h ? r - h : h - r];
  return s;
}

double TARMAInnovations::Theta(std::size_t n, std::size_t j) const {
  if (j == 0) return 1.0;
  if (n >= conv_) return j <= q_ ? theta_[j - 1] : 0.0;
  return j <= w_ ? th_[n * w_ + j - 1] : 0.0;
}

bool TARMAInnovations::Extend(std::size_t N) {
  if (N <= rows_ || conv_ <= rows_) return true;
  for (std::size_t n = rows_; n < N; ++n) {
    if (th_.size() < (n + 1) * w_) {  // rows grow geometrically: most models reach the steady state early
      th_.resize(std::min(N, std::max<std::size_t>(2 * (n + 1), 64)) * w_, 0.0);
      r_.resize(th_.size() / w_, 0.0);
    }
    double* row = th_.data() + n * w_;
    const std::size_t width = n < m_ ? n : q_;     // non-zero theta_{n,j}, j = 1 .. width
    for (std::size_t k = n - width; k < n; ++k) {  // theta_{n, n-k}
      double s = Kappa(n + 1, k + 1);
      const std::size_t wk = k < m_ ? k : q_;
      for (std::size_t j = std::max(n - width, k - std::min(k, wk)); j < k; ++j)
        s -= th_[k * w_ + (k - j) - 1] * row[n - j - 1] * r_[j];
      row[n - k - 1] = s / r_[k];
    }
    double v = Kappa(n + 1, n + 1);
    for (std::size_t j = n - width; j < n; ++j) v -= row[n - j - 1] * row[n - j - 1] * r_[j];
    r_[n] = v;
    if (!(v > 0) || !std::isfinite(v)) return false;
    if (n >= m_ + q_) {
      double dev = std::abs(v - 1);
      for (std::size_t j = 1; j <= q_; ++j) dev = std::max(dev, std::abs(row[j - 1] - theta_[j - 1]));
      if (dev <= kSteady) {
        conv_ = n;
        rows_ = n + 1;
        return true;
      }
    }
  }
  rows_ = N;
  return true;
}

void TARMAInnovations::Residuals(std::span<const cspan> xs, std::span<const std::span<double>> es) const {
  const std::size_t N = xs[0].size(),
                    start = std::min(N, std::max(m_, conv_ == static_cast<std::size_t>(-1) ? N : conv_));
  for (std::size_t t = 0; t < start; ++t) {
    const bool full = t >= m_;
    const std::size_t width = full ? q_ : t;
    const double* row = t >= conv_ ? theta_.data() : th_.data() + t * w_;
    for (std::size_t s = 0; s < xs.size(); ++s) {
      const cspan x = xs[s];
      const std::span<double> e = es[s];
      double xhat = 0;
      if (full)
        for (std::size_t i = 1; i <= p_; ++i) xhat += phi_[i - 1] * x[t - i];
      for (std::size_t j = 1; j <= width; ++j) xhat += row[j - 1] * e[t - j];
      e[t] = x[t] - xhat;
    }
  }
  // Steady state: e[t] = x[t] - sum phi_i x[t-i] - sum theta_j e[t-j].
  const double* ph = phi_.data();
  const double* th = theta_.data();
  for (std::size_t s = 0; s < xs.size(); ++s) {
    const double* x = xs[s].data();
    double* e = es[s].data();
    for (std::size_t t = start; t < N; ++t) {
      double v = x[t];
      for (std::size_t i = 1; i <= p_; ++i) v -= ph[i - 1] * x[t - i];
      for (std::size_t j = 1; j <= q_; ++j) v -= th[j - 1] * e[t - j];
      e[t] = v;
    }
  }
}

// ---------------------------------------------------------------- likelihood

TARMALik ARMALikelihood(cspan x, cspan phi, cspan theta, double Mu, bool FitMu, TARMALikWork* Work) {
  const std::size_t n = x.size();
  TARMALik out{kNaN, kNaN, Mu};
  TARMALikWork local;
  TARMALikWork& w = Work ? *Work : local;
  TARMAInnovations& inn = w.Innovations;
  if (!inn.Init(phi, theta) || !inn.Extend(n)) {
    out.NegLogLik = std::numeric_limits<double>::infinity();
    return out;
  }
  // Centre at the sample mean (FitMu) or the given mean so that the sums do not cancel.
  double centre = Mu;
  if (FitMu) {
    centre = 0;
    for (double v : x) centre += v;
    centre /= static_cast<double>(n);
  }
  std::vector<double>&xc = w.xc, &ex = w.ex, &ones = w.ones, &e1 = w.e1;
  xc.resize(n);
  ex.resize(n);
  for (std::size_t t = 0; t < n; ++t) xc[t] = x[t] - centre;
  double sxx = 0, sx1 = 0, s11 = 0, sumlog = 0;
  if (FitMu) {
    if (ones.size() != n) ones.assign(n, 1.0);
    e1.resize(n);
    const cspan in[2] = {xc, ones};
    const std::span<double> res[2] = {ex, e1};
    inn.Residuals(in, res);
  } else {
    const cspan in[1] = {xc};
    const std::span<double> res[1] = {ex};
    inn.Residuals(in, res);
  }
  const std::size_t steady = std::min(n, inn.Steady());
  for (std::size_t t = 0; t < steady; ++t) {
    const double r = inn.R(t);
    sumlog += std::log(r);
    sxx += ex[t] * ex[t] / r;
    if (FitMu) {
      sx1 += ex[t] * e1[t] / r;
      s11 += e1[t] * e1[t] / r;
    }
  }
  for (std::size_t t = steady; t < n; ++t) sxx += ex[t] * ex[t];  // r_t = 1 from here on
  if (FitMu)
    for (std::size_t t = steady; t < n; ++t) {
      sx1 += ex[t] * e1[t];
      s11 += e1[t] * e1[t];
    }
  double S = sxx;
  if (FitMu) {
    const double shift = sx1 / s11;
    S = sxx - shift * sx1;
    out.Mu = centre + shift;
  }
  const double dn = static_cast<double>(n);
  out.Sigma2 = S / dn;
  out.NegLogLik = 0.5 * dn * (std::log(2 * std::numbers::pi) + 1 + std::log(out.Sigma2)) + 0.5 * sumlog;
  if (!std::isfinite(out.NegLogLik)) out.NegLogLik = std::numeric_limits<double>::infinity();
  return out;
}

// ---------------------------------------------------------------- forecasting

std::vector<double> Differencing(int d, int D, int s) {
  std::vector<double> a{1.0};  // coefficients of (1 - z)^d (1 - z^s)^D
  auto times = [&](std::size_t lag) {
    std::vector<double> b(a.size() + lag, 0.0);
    for (std::size_t i = 0; i < a.size(); ++i) {
      b[i] += a[i];
      b[i + lag] -= a[i];
    }
    a.swap(b);
  };
  for (int i = 0; i < d; ++i) times(1);
  for (int i = 0; i < D; ++i) times(static_cast<std::size_t>(s));
  std::vector<double> delta(a.size() - 1);
  for (std::size_t j = 1; j < a.size(); ++j) delta[j - 1] = -a[j];
  return delta;
}

bool ARIMAPredict(cspan x, cspan y, cspan phi, cspan theta, cspan delta, double Mu, std::size_t h,
                  std::vector<double>& Forecast, std::vector<double>& MSE) {
  const std::size_t ny = y.size(), nx = x.size(), p = phi.size(), q = theta.size();
  TARMAInnovations inn;
  if (!inn.Init(phi, theta) || !inn.Extend(ny + h)) return false;
  std::vector<double> yc(ny + h), e(ny);
  for (std::size_t t = 0; t < ny; ++t) yc[t] = y[t] - Mu;
  {
    const cspan in[1] = {cspan(yc.data(), ny)};
    const std::span<double> res[1] = {e};
    inn.Residuals(in, res);
  }
  // P_n Y_{n+k} = sum phi_i P_n Y_{n+k-i} + sum_{j >= k} theta_{n+k-1, j} e_{n+k-j}   (3.3.12)
  for (std::size_t k = 1; k <= h; ++k) {
    const std::size_t t = ny - 1 + k;
    const bool full = t >= inn.M();
    const std::size_t width = full ? q : t;
    double f = 0;
    if (full)
      for (std::size_t i = 1; i <= p; ++i) f += phi[i - 1] * yc[t - i];
    for (std::size_t j = k; j <= width; ++j) f += inn.Theta(t, j) * e[t - j];
    yc[t] = f;
  }
  // Integrate: X_t = Y_t + sum delta_j X_{t-j}, the observed X before the horizon.
  Forecast.assign(nx + h, 0.0);
  std::copy(x.begin(), x.end(), Forecast.begin());
  for (std::size_t k = 1; k <= h; ++k) {
    const std::size_t t = nx - 1 + k;
    double f = yc[ny - 1 + k] + Mu;
    for (std::size_t j = 1; j <= delta.size(); ++j) f += delta[j - 1] * Forecast[t - j];
    Forecast[t] = f;
  }
  Forecast.erase(Forecast.begin(), Forecast.begin() + static_cast<std::ptrdiff_t>(nx));
  // chi(z) = 1 / (phi(z) (1 - delta(z))); mean squared error (3.3.13 with 6.4):
  // sum_{j<h} (sum_{r<=j} chi_r theta_{n+h-r-1, j-r})^2 r_{n+h-j-1}.
  std::vector<double> a{1.0};
  for (double v : phi) a.push_back(-v);
  std::vector<double> b{1.0};
  for (double v : delta) b.push_back(-v);
  std::vector<double> star(a.size() + b.size() - 1, 0.0);
  for (std::size_t i = 0; i < a.size(); ++i)
    for (std::size_t j = 0; j < b.size(); ++j) star[i + j] += a[i] * b[j];
  std::vector<double> chi(h, 0.0);
  for (std::size_t j = 0; j < h; ++j) {
    double s = j == 0 ? 1.0 : 0.0;
    for (std::size_t k = 1; k <= std::min(j, star.size() - 1); ++k) s -= star[k] * chi[j - k];
    chi[j] = s;
  }
  MSE.assign(h, 0.0);
  for (std::size_t k = 1; k <= h; ++k) {
    double m = 0;
    for (std::size_t j = 0; j < k; ++j) {
      double s = 0;
      for (std::size_t r = 0; r <= j; ++r) s += chi[r] * inn.Theta(ny + k - r - 1, j - r);
      m += s * s * inn.R(ny + k - j - 1);
    }
    MSE[k - 1] = m;
  }
  return true;
}

}  // namespace StatTimeSerAnalysis::detail
