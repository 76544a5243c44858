// ARMA and ARIMA forecasts with standard errors and prediction bounds (Brockwell & Davis,
// Introduction to Time Series and Forecasting, 3.3 and 6.4), and simulation of their paths.

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "StatRandom/detail/RandomFrame.h"
#include "StatTimeSerAnalysis/StatTimeSerAnalysis.h"
#include "StatTimeSerAnalysis/detail/ARMA.h"
#include "core/Probability.h"

namespace StatTimeSerAnalysis {

using namespace Kalix;
using detail::cspan;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

void Forecast(const std::string& Name, const TVec& Data, const TVec& Phi, const TVec& Theta, double Mu, double Variance,
              TVec& Fc, TVec* StdErrors, TVec* Lower, TVec* Upper, int Horizon, int d, int SeasonalD, int Period,
              double Alpha) {
  if (Data.Complex()) ERaise(Name + ": Data.Complex = true");
  if (Phi.Complex() || Theta.Complex()) ERaise(Name + ": Phi.Complex or Theta.Complex");
  if (Data.Length() == 0) ERaise(Name + ": Data.Length = 0");
  if (Horizon < 1) ERaise(Name + ": Horizon < 1");
  if (d < 0 || SeasonalD < 0 || Period < 1) ERaise(Name + ": (d < 0) or (SeasonalD < 0) or (Period < 1)");
  if (Data.Length() <= detail::DifferencingOrder(d, SeasonalD, Period))
    ERaise(Name + ": Data.Length <= d + SeasonalD*Period");
  const auto delta = detail::Differencing(d, SeasonalD, Period);
  if (!(Variance >= 0)) ERaise(Name + ": Variance < 0");
  const auto phi = detail::ToDoubles(Phi), theta = detail::ToDoubles(Theta);
  if (!detail::StepDown(phi)) ERaise(Name + ": Phi is not stationary");
  const auto x = detail::ToDoubles(Data);
  std::vector<double> y;
  y.reserve(x.size() - delta.size());
  for (std::size_t t = delta.size(); t < x.size(); ++t) {
    double v = x[t];
    for (std::size_t j = 1; j <= delta.size(); ++j) v -= delta[j - 1] * x[t - j];
    y.push_back(v);
  }
  const auto h = static_cast<std::size_t>(Horizon);
  std::vector<double> f, mse;
  if (!detail::ARIMAPredict(x, y, phi, theta, delta, Mu, h, f, mse)) {
    f.assign(h, kNaN);
    mse.assign(h, kNaN);
  }
  std::vector<double> se(h), lo(h), hi(h);
  const double z = Alpha > 0 && Alpha < 1 ? NormalCDFInv(1 - Alpha / 2, 0, 1) : kNaN;
  for (std::size_t k = 0; k < h; ++k) {
    se[k] = std::sqrt(mse[k] * Variance);
    lo[k] = f[k] - z * se[k];
    hi[k] = f[k] + z * se[k];
  }
  const auto prec = Data.FloatPrecision();
  detail::FromDoubles(f, Fc, prec);
  if (StdErrors) detail::FromDoubles(se, *StdErrors, prec);
  if (Lower) detail::FromDoubles(lo, *Lower, prec);
  if (Upper) detail::FromDoubles(hi, *Upper, prec);
}

void Simulate(const std::string& Name, const TVec& Phi, const TVec& Theta, double Mu, double Variance, TVec& Results,
              int d, int SeasonalD, int Period, int BurnIn, int Seed) {
  if (Results.Complex()) ERaise(Name + ": Results.Complex = true");
  if (Phi.Complex() || Theta.Complex()) ERaise(Name + ": Phi.Complex or Theta.Complex");
  if (!(Variance >= 0)) ERaise(Name + ": Variance < 0");
  if (d < 0 || SeasonalD < 0 || Period < 1) ERaise(Name + ": (d < 0) or (SeasonalD < 0) or (Period < 1)");
  if (Results.Length() < detail::DifferencingOrder(d, SeasonalD, Period))
    ERaise(Name + ": Results.Length < d + SeasonalD*Period");
  const auto phi = detail::ToDoubles(Phi), theta = detail::ToDoubles(Theta);
  const std::size_t p = phi.size(), q = theta.size();
  const std::size_t burn = BurnIn < 0 ? 100 + 10 * (p + q) : static_cast<std::size_t>(BurnIn);
  const auto n = static_cast<std::size_t>(Results.Length());
  std::vector<double> z(burn + n), w(burn + n, 0.0);
  StatRandom::detail::TPrivateStream s(Seed);
  s->RandomGaussian(std::span<double>(z), 0, std::sqrt(Variance));
  // W_t = sum phi_i W_{t-i} + Z_t + sum theta_j Z_{t-j}, from W = Z = 0 before the start.
  for (std::size_t t = 0; t < z.size(); ++t) {
    double v = z[t];
    for (std::size_t j = 1; j <= std::min(q, t); ++j) v += theta[j - 1] * z[t - j];
    for (std::size_t i = 1; i <= std::min(p, t); ++i) v += phi[i - 1] * w[t - i];
    w[t] = v;
  }
  std::vector<double> x(w.begin() + static_cast<std::ptrdiff_t>(burn), w.end());
  for (auto& v : x) v += Mu;
  const auto delta = detail::Differencing(d, SeasonalD, Period);
  for (std::size_t t = 0; t < n; ++t)  // X_t = Y_t + sum delta_j X_{t-j}, zeros before the start
    for (std::size_t j = 1; j <= std::min(delta.size(), t); ++j) x[t] += delta[j - 1] * x[t - j];
  detail::FromDoubles(x, Results, Results.FloatPrecision());
}

}  // namespace

void ARMAForecast(const TVec& Data, const TVec& Phi, const TVec& Theta, double Mu, double Variance, TVec& Fc,
                  TVec* StdErrors, TVec* Lower, TVec* Upper, int Horizon, double Alpha) {
  Forecast("ARMAForecast", Data, Phi, Theta, Mu, Variance, Fc, StdErrors, Lower, Upper, Horizon, 0, 0, 1, Alpha);
}

void ARIMAForecast(const TVec& Data, const TVec& Phi, const TVec& Theta, double Mu, double Variance, TVec& Fc,
                   TVec* StdErrors, TVec* Lower, TVec* Upper, int Horizon, int d, int SeasonalD, int Period,
                   double Alpha) {
  Forecast("ARIMAForecast", Data, Phi, Theta, Mu, Variance, Fc, StdErrors, Lower, Upper, Horizon, d, SeasonalD, Period,
           Alpha);
}

void ARMASimulate(const TVec& Phi, const TVec& Theta, double Mu, double Variance, TVec& Results, int BurnIn, int Seed) {
  Simulate("ARMASimulate", Phi, Theta, Mu, Variance, Results, 0, 0, 1, BurnIn, Seed);
}

void ARIMASimulate(const TVec& Phi, const TVec& Theta, double Mu, double Variance, TVec& Results, int d, int SeasonalD,
                   int Period, int BurnIn, int Seed) {
  Simulate("ARIMASimulate", Phi, Theta, Mu, Variance, Results, d, SeasonalD, Period, BurnIn, Seed);
}

}  // namespace StatTimeSerAnalysis
