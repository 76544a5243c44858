// ARMA estimation: preliminary estimates by the innovations algorithm and by Hannan-Rissanen,
// and exact maximum likelihood (Brockwell & Davis, Introduction to Time Series and Forecasting,
// 5.1.3, 5.1.4 and 5.2).

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "StatTimeSerAnalysis/StatTimeSerAnalysis.h"
#include "StatTimeSerAnalysis/detail/ARMA.h"
#include "StatTimeSerAnalysis/detail/Recursions.h"
#include "core/GradientOptimize.h"

namespace StatTimeSerAnalysis {

using namespace Kalix;
using detail::cspan;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Sample autocovariances at lags 0 .. L-1 (mean removed, divisor n) of x.
std::vector<double> SampleAutoCov(cspan x, std::size_t L) {
  std::vector<double> R(L, 0.0), work(x.size());
  detail::AutoCov<double>(x, std::span<double>(R.data(), std::min(L, x.size())), work);
  return R;
}

bool IsConstant(cspan x) {
  for (double v : x)
    if (v != x[0]) return false;
  return true;
}

// The innovations algorithm (2.5.2) on a sample autocovariance: row m of theta and v_m.
void Innovations(cspan gamma, std::size_t m, std::vector<double>& thetaM, double& vM) {
  std::vector<std::vector<double>> th(m + 1);
  std::vector<double> v(m + 1);
  v[0] = gamma[0];
  for (std::size_t n = 1; n <= m; ++n) {
    th[n].assign(n + 1, 0.0);  // th[n][j] = theta_{n,j}
    for (std::size_t k = 0; k < n; ++k) {
      double s = gamma[n - k];
      for (std::size_t j = 0; j < k; ++j) s -= th[k][k - j] * th[n][n - j] * v[j];
      th[n][n - k] = s / v[k];
    }
    double s = gamma[0];
    for (std::size_t j = 0; j < n; ++j) s -= th[n][n - j] * th[n][n - j] * v[j];
    v[n] = s;
  }
  thetaM = th[m];
  vM = v[m];
}

void Store(const std::vector<double>& v, TVec& Dst, TMtxFloatPrecision prec) {
  detail::FromDoubles(v, Dst, prec);
}

// Hannan-Rissanen on centred data xc; false when the regression is singular.
bool HannanRissanen(cspan xc, std::size_t p, std::size_t q, std::size_t m, std::vector<double>& phi,
                    std::vector<double>& theta, double& sigma2) {
  const std::size_t n = xc.size();
  std::vector<double> a(m, 0.0), z(n, 0.0);
  if (q > 0) {  // long autoregression by Yule-Walker, its residuals Z[t], t >= m
    const auto gamma = SampleAutoCov(xc, m + 1);
    detail::DurbinLevinson<double>(gamma, m, a);
    for (std::size_t t = m; t < n; ++t) {
      double s = xc[t];
      for (std::size_t i = 1; i <= m; ++i) s -= a[i - 1] * xc[t - i];
      z[t] = s;
    }
  }
  // The first row needs p lagged values and, with q > 0, q residuals of the long autoregression.
  const std::size_t k = p + q, t0 = q > 0 ? std::max(p, m + q) : p;
  Eigen::MatrixXd XtX = Eigen::MatrixXd::Zero(static_cast<Eigen::Index>(k), static_cast<Eigen::Index>(k));
  Eigen::VectorXd Xty = Eigen::VectorXd::Zero(static_cast<Eigen::Index>(k));
  std::vector<double> row(k);
  auto fill = [&](std::size_t t) {
    for (std::size_t i = 0; i < p; ++i) row[i] = xc[t - i - 1];
    for (std::size_t j = 0; j < q; ++j) row[p + j] = z[t - j - 1];
  };
  for (std::size_t t = t0; t < n; ++t) {
    fill(t);
    for (std::size_t i = 0; i < k; ++i) {
      const auto ii = static_cast<Eigen::Index>(i);
      Xty(ii) += row[i] * xc[t];
      for (std::size_t j = 0; j <= i; ++j) XtX(ii, static_cast<Eigen::Index>(j)) += row[i] * row[j];
    }
  }
  XtX = XtX.selfadjointView<Eigen::Lower>();
  const Eigen::LDLT<Eigen::MatrixXd> ldlt(XtX);
  if (ldlt.info() != Eigen::Success || !(ldlt.vectorD().minCoeff() > 0)) return false;
  const Eigen::VectorXd beta = ldlt.solve(Xty);
  phi.assign(beta.data(), beta.data() + p);
  theta.assign(beta.data() + p, beta.data() + k);
  double ss = 0;
  for (std::size_t t = t0; t < n; ++t) {
    fill(t);
    double r = xc[t];
    for (std::size_t i = 0; i < k; ++i) r -= row[i] * beta(static_cast<Eigen::Index>(i));
    ss += r * r;
  }
  sigma2 = ss / static_cast<double>(n - t0);
  return std::isfinite(sigma2);
}

std::size_t DefaultLongOrder(std::size_t n, std::size_t p, std::size_t q) {
  // An empty series has no length-based order (log10 0 is -inf); the length check refuses it later.
  const auto byLength = n < 2 ? 0 : static_cast<std::size_t>(std::ceil(10 * std::log10(static_cast<double>(n))));
  return std::max(byLength, 2 * std::max(p, q));
}

std::vector<double> Centred(cspan x) {
  double mu = 0;
  for (double v : x) mu += v;
  mu /= static_cast<double>(x.size());
  std::vector<double> c(x.size());
  for (std::size_t i = 0; i < x.size(); ++i) c[i] = x[i] - mu;
  return c;
}

// Moves 1 - a_1 z - ... - a_k z^k into the stationary region by shrinking a_j to a_j c^j (the
// roots move out by 1/c) and returns the atanh of its partial autocorrelations, kept within
// +-0.99 so that the optimiser starts away from the boundary.
std::vector<double> ToUnconstrained(std::vector<double> a) {
  std::vector<double> r;
  for (int tries = 0; !detail::StepDown(a, &r); ++tries) {
    if (tries == 200) {
      std::fill(a.begin(), a.end(), 0.0);
      continue;
    }
    double c = 0.9;
    for (auto& v : a) {
      v *= c;
      c *= 0.9;
    }
  }
  for (auto& v : r) v = std::atanh(std::clamp(v, -0.99, 0.99));
  return r;
}

std::vector<double> FromUnconstrained(cspan u, double sign) {
  std::vector<double> r(u.size());
  for (std::size_t i = 0; i < u.size(); ++i) r[i] = std::tanh(u[i]);
  auto a = detail::StepUp(r);
  for (auto& v : a) v *= sign;
  return a;
}

// Inverse of the central-difference Hessian of the negative log-likelihood in (phi, theta, mu).
std::vector<double> HessianStdErrors(cspan x, cspan phi, cspan theta, double mu, bool fitMean, double scale) {
  const std::size_t p = phi.size(), q = theta.size(), k = p + q + (fitMean ? 1 : 0);
  std::vector<double> b(phi.begin(), phi.end());
  b.insert(b.end(), theta.begin(), theta.end());
  if (fitMean) b.push_back(mu);
  detail::TARMALikWork work;
  auto f = [&](const std::vector<double>& v) {
    const cspan ph(v.data(), p), th(v.data() + p, q);
    return detail::ARMALikelihood(x, ph, th, fitMean ? v[p + q] : mu, false, &work).NegLogLik;
  };
  std::vector<double> h(k);
  for (std::size_t i = 0; i < k; ++i) h[i] = 1e-4 * (i < p + q ? 1.0 : scale);
  const double f0 = f(b);
  Eigen::MatrixXd H(static_cast<Eigen::Index>(k), static_cast<Eigen::Index>(k));
  auto at = [&](std::size_t i, double di, std::size_t j, double dj) {
    auto v = b;
    v[i] += di;
    v[j] += dj;
    return f(v);
  };
  for (std::size_t i = 0; i < k; ++i) {
    const auto ii = static_cast<Eigen::Index>(i);
    H(ii, ii) = (at(i, h[i], i, 0) - 2 * f0 + at(i, -h[i], i, 0)) / (h[i] * h[i]);
    for (std::size_t j = 0; j < i; ++j) {
      const double v = (at(i, h[i], j, h[j]) - at(i, h[i], j, -h[j]) - at(i, -h[i], j, h[j]) + at(i, -h[i], j, -h[j])) /
                       (4 * h[i] * h[j]);
      H(ii, static_cast<Eigen::Index>(j)) = H(static_cast<Eigen::Index>(j), ii) = v;
    }
  }
  std::vector<double> se(k, kNaN);
  const Eigen::FullPivLU<Eigen::MatrixXd> lu(H);
  if (!H.allFinite() || !lu.isInvertible()) return se;
  const Eigen::MatrixXd C = lu.inverse();
  for (std::size_t i = 0; i < k; ++i) {
    const double c = C(static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(i));
    se[i] = c > 0 ? std::sqrt(c) : kNaN;
  }
  return se;
}

// The maximum-likelihood fit after the checks; Name prefixes the data-dependent messages.
double MLFit(const std::string& Name, cspan x, TMtxFloatPrecision prec, TVec& Phi, TVec& Theta, double& Mu,
             double& Variance, TVec* StdErrors, TARMAFitStats* Stats, bool FitMean, bool UseStart, int MaxIter,
             double Tolerance) {
  const std::size_t n = x.size(), p = static_cast<std::size_t>(Phi.Length()),
                    q = static_cast<std::size_t>(Theta.Length());
  if (n <= p + q + 1) ERaise(Name + ": Data.Length <= Phi.Length + Theta.Length + 1");
  if (IsConstant(x)) ERaise(Name + ": Data is constant");
  if (MaxIter < 0) ERaise(Name + ": MaxIter < 0");
  if (!(Tolerance > 0)) ERaise(Name + ": Tolerance <= 0");
  std::vector<double> phi0, theta0;
  if (UseStart) {
    phi0 = detail::ToDoubles(Phi);
    theta0 = detail::ToDoubles(Theta);
    for (auto* v : {&phi0, &theta0})
      for (auto& c : *v)
        if (!std::isfinite(c)) c = 0;
  } else {
    double s2 = 0;
    const std::size_t m = std::min(DefaultLongOrder(n, p, q), n / 2);
    const auto xc = Centred(x);
    if (p + q == 0 || n <= m + q + p + q || !HannanRissanen(xc, p, q, m, phi0, theta0, s2)) {
      phi0.assign(p, 0.0);
      theta0.assign(q, 0.0);
    }
  }
  for (auto& v : theta0) v = -v;
  auto u = ToUnconstrained(phi0);
  const auto uq = ToUnconstrained(theta0);
  u.insert(u.end(), uq.begin(), uq.end());
  const double dn = static_cast<double>(n);
  auto model = [&](cspan v, std::vector<double>& ph, std::vector<double>& th) {
    ph = FromUnconstrained(v.subspan(0, p), 1.0);
    th = FromUnconstrained(v.subspan(p), -1.0);
  };
  std::vector<double> ph, th;
  TARMAFitStats st;
  st.StopReason = optNotStarted;
  if (!u.empty()) {
    detail::TARMALikWork work;
    std::vector<double> a, b;
    const TRealFunction fun = [&](const TVec& Pars, const TVec&, TObjConsts) {
      model(Pars.Span<double>(), a, b);
      return detail::ARMALikelihood(x, a, b, Mu, FitMean, &work).NegLogLik / dn;
    };
    double fmin = 0;
    TOptStopReason stop = optNotStarted;
    st.Iterations = BFGS(fun, TGradProc(), u, {}, {}, fmin, stop, nullptr, mvDouble, MaxIter, Tolerance);
    st.StopReason = stop;
  }
  model(u, ph, th);
  const auto lik = detail::ARMALikelihood(x, ph, th, Mu, FitMean);
  Mu = lik.Mu;
  Variance = lik.Sigma2;
  Store(ph, Phi, prec);
  Store(th, Theta, prec);
  if (StdErrors) {
    const double scale = std::sqrt(lik.Sigma2) > 0 ? std::sqrt(lik.Sigma2) : 1.0;
    Store(HessianStdErrors(x, ph, th, Mu, FitMean, scale), *StdErrors, prec);
  }
  const double k = static_cast<double>(p + q + (FitMean ? 1 : 0) + 1);
  st.LogLik = -lik.NegLogLik;
  st.AIC = -2 * st.LogLik + 2 * k;
  st.AICc = dn - k - 1 > 0 ? st.AIC + 2 * k * (k + 1) / (dn - k - 1) : kNaN;
  st.BIC = -2 * st.LogLik + k * std::log(dn);
  if (Stats) *Stats = st;
  return st.LogLik;
}

}  // namespace

void ARMAInnovationsFit(const TVec& Data, TVec& Phi, TVec& Theta, double& Variance, int M) {
  if (Data.Complex()) ERaise("ARMAInnovationsFit: Data.Complex = true");
  const int p = Phi.Length(), q = Theta.Length();
  if (p + q == 0) ERaise("ARMAInnovationsFit: Phi.Length + Theta.Length = 0");
  if (M < 1) M = p + q;
  if (M < p + q) ERaise("ARMAInnovationsFit: M < Phi.Length + Theta.Length");
  if (Data.Length() <= M) ERaise("ARMAInnovationsFit: Data.Length <= M");
  const auto x = detail::ToDoubles(Data);
  if (IsConstant(x)) ERaise("ARMAInnovationsFit: Data is constant");
  const auto m = static_cast<std::size_t>(M);
  const auto gamma = SampleAutoCov(x, m + 1);
  std::vector<double> tm;
  Innovations(gamma, m, tm, Variance);
  // phi solves theta_{m,q+j} = sum_i phi_i theta_{m,q+j-i}, j = 1..p (theta_{m,0} = 1), 5.1.19.
  const auto th = [&](long j) { return j == 0 ? 1.0 : (j < 0 ? 0.0 : tm[static_cast<std::size_t>(j)]); };
  Eigen::MatrixXd A(p, p);
  Eigen::VectorXd b(p);
  for (int j = 1; j <= p; ++j) {
    b(j - 1) = th(q + j);
    for (int i = 1; i <= p; ++i) A(j - 1, i - 1) = th(q + j - i);
  }
  std::vector<double> phi(static_cast<std::size_t>(p)), theta(static_cast<std::size_t>(q));
  if (p > 0) {
    const Eigen::VectorXd s = A.fullPivLu().solve(b);
    for (int i = 0; i < p; ++i) phi[static_cast<std::size_t>(i)] = s(i);
  }
  for (int j = 1; j <= q; ++j) {
    double s = th(j);
    for (int i = 1; i <= std::min(j, p); ++i) s -= phi[static_cast<std::size_t>(i - 1)] * th(j - i);
    theta[static_cast<std::size_t>(j - 1)] = s;
  }
  Store(phi, Phi, Data.FloatPrecision());
  Store(theta, Theta, Data.FloatPrecision());
}

void ARMAHannanRissanenFit(const TVec& Data, TVec& Phi, TVec& Theta, double& Variance, int ARLongOrder) {
  if (Data.Complex()) ERaise("ARMAHannanRissanenFit: Data.Complex = true");
  const std::size_t p = static_cast<std::size_t>(Phi.Length()), q = static_cast<std::size_t>(Theta.Length());
  if (p + q == 0) ERaise("ARMAHannanRissanenFit: Phi.Length + Theta.Length = 0");
  const auto n = static_cast<std::size_t>(Data.Length());
  const std::size_t m = ARLongOrder < 1 ? DefaultLongOrder(n, p, q) : static_cast<std::size_t>(ARLongOrder);
  const std::size_t used = q > 0 ? std::max(p, m + q) : p;
  if (n <= used || n - used <= p + q)
    ERaise("ARMAHannanRissanenFit: Data.Length - ARLongOrder - Theta.Length <= Phi.Length + Theta.Length");
  const auto x = detail::ToDoubles(Data);
  if (IsConstant(x)) ERaise("ARMAHannanRissanenFit: Data is constant");
  std::vector<double> phi, theta;
  if (!HannanRissanen(Centred(x), p, q, m, phi, theta, Variance)) {
    phi.assign(p, kNaN);
    theta.assign(q, kNaN);
    Variance = kNaN;
  }
  Store(phi, Phi, Data.FloatPrecision());
  Store(theta, Theta, Data.FloatPrecision());
}

double ARMAMLFit(const TVec& Data, TVec& Phi, TVec& Theta, double& Mu, double& Variance, TVec* StdErrors,
                 TARMAFitStats* Stats, bool FitMean, bool UseStart, int MaxIter, double Tolerance) {
  if (Data.Complex()) ERaise("ARMAMLFit: Data.Complex = true");
  const auto x = detail::ToDoubles(Data);
  return MLFit("ARMAMLFit", x, Data.FloatPrecision(), Phi, Theta, Mu, Variance, StdErrors, Stats, FitMean, UseStart,
               MaxIter, Tolerance);
}

double ARIMAMLFit(const TVec& Data, TVec& Phi, TVec& Theta, double& Mu, double& Variance, int d, int SeasonalD,
                  int Period, TVec* StdErrors, TARMAFitStats* Stats, bool FitMean) {
  if (Data.Complex()) ERaise("ARIMAMLFit: Data.Complex = true");
  if (d < 0 || SeasonalD < 0 || Period < 1) ERaise("ARIMAMLFit: (d < 0) or (SeasonalD < 0) or (Period < 1)");
  const auto x = detail::ToDoubles(Data);
  if (Data.Length() <= detail::DifferencingOrder(d, SeasonalD, Period)) {
    std::vector<double> none;  // nothing is left after differencing
    return MLFit("ARIMAMLFit", none, Data.FloatPrecision(), Phi, Theta, Mu, Variance, StdErrors, Stats, FitMean,
                 false, 500, 1e-12);
  }
  const auto delta = detail::Differencing(d, SeasonalD, Period);
  std::vector<double> y;
  for (std::size_t t = delta.size(); t < x.size(); ++t) {
    double v = x[t];
    for (std::size_t j = 1; j <= delta.size(); ++j) v -= delta[j - 1] * x[t - j];
    y.push_back(v);
  }
  if (!FitMean) Mu = 0;
  return MLFit("ARIMAMLFit", y, Data.FloatPrecision(), Phi, Theta, Mu, Variance, StdErrors, Stats, FitMean, false, 500,
               1e-12);
}

}  // namespace StatTimeSerAnalysis
