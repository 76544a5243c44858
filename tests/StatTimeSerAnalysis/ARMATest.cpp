#include <array>
#include <climits>

#include "core/Scratch.h"
#include "support/TestSupport.h"

namespace {

using namespace KalixTest;
using namespace StatTimeSerAnalysis;

// R's LakeHuron, AirPassengers (log-transformed below) and USAccDeaths, the accidental-deaths
// series of Brockwell & Davis.
const std::vector<double> kLake = Series("LakeHuron"), kAir = Series("AirPassengers"), kDeaths = Series("USAccDeaths");

TEST(ARMAPreliminary, InnovationsAndHannanRissanenAgreeWithStatsmodels) {
  for (auto prec : kRealPrecisions) {
    const double tol = prec == mvDouble ? 1e-10 : 1e-4;
    TVec phi, theta(2);
    double var = 0;
    ARMAInnovationsFit(Vec(kLake, prec), phi, theta, var);
    // statsmodels 0.13: innovations(lake, ma_order=2)[0][2]: ma_params, sigma2
    ExpectAllClose({1.0538248797552265, 0.6099371035895669}, theta, tol);
    EXPECT_CLOSE(0.49199301893470426, var, tol);
    EXPECT_EQ(prec, theta.FloatPrecision());
    phi.Size(1), theta.Size(1);
    ARMAHannanRissanenFit(Vec(kLake, prec), phi, theta, var, 10);
    // statsmodels 0.13: hannan_rissanen(lake, 1, 1, initial_ar_order=10, unbiased=False); its sigma2
    // divides by the 87 regression rows less 2 parameters, ours by the 87 rows.
    EXPECT_CLOSE(0.6936038161451237, phi[0], tol);
    EXPECT_CLOSE(0.38409362282818404, theta[0], tol);
    EXPECT_CLOSE(0.4619447253633024 * 85 / 87, var, tol);
  }
  // ARMA(1, 1) by innovations: phi = theta_{m,2} / theta_{m,1}, theta = theta_{m,1} - phi, so an
  // ARMA(1,1) with M = 2 reproduces the MA(2) coefficients above.
  TVec phi(1), theta(1);
  double var = 0;
  ARMAInnovationsFit(Vec(kLake), phi, theta, var, 2);
  EXPECT_CLOSE(0.6099371035895669 / 1.0538248797552265, phi[0], 1e-10);
  EXPECT_CLOSE(1.0538248797552265 - phi[0], theta[0], 1e-10);
}

TEST(ARMAMLFit, LakeHuronAgreesWithR) {
  // R: f <- arima(LakeHuron, order = c(2, 0, 1), method = "ML"); coef(f); f$loglik; f$sigma2; f$var.coef
  for (auto prec : kRealPrecisions) {
    const double tol = prec == mvDouble ? 1e-4 : 2e-3;
    TVec phi(2), theta(1), se;
    double mu = 0, var = 0;
    TARMAFitStats st;
    const double ll = ARMAMLFit(Vec(kLake, prec), phi, theta, mu, var, &se, &st);
    ExpectAllClose({0.78305018066438647, -0.034317518567102238}, phi, tol);
    EXPECT_NEAR(0.28561693228026314, theta[0], tol);
    EXPECT_CLOSE(579.05343288083793, mu, 1e-6);
    EXPECT_CLOSE(-103.23817531710559, ll, prec == mvDouble ? 1e-6 : 1e-5);
    EXPECT_CLOSE(0.47486686165618341, var, prec == mvDouble ? 1e-6 : 1e-4);
    EXPECT_CLOSE(216.47635063421117, st.AIC, prec == mvDouble ? 1e-6 : 1e-5);
    EXPECT_CLOSE(st.AIC + 2.0 * 5 * 6 / (98 - 6), st.AICc, 1e-12);
    EXPECT_CLOSE(st.AIC - 10 + 5 * std::log(98.0), st.BIC, 1e-12);
    // R's standard errors come from its own finite-difference Hessian.
    ExpectAllClose({0.32613277994668005, 0.28444650260269144, 0.3143959454544642, 0.34670322686507338}, se, 2e-3);
  }
}

TEST(ARMAMLFit, OrdersOnLhAgreeWithR) {
  // R: f <- arima(lh, order = o, method = "ML", optim.control = list(reltol = 1e-12)); coef(f); f$loglik; f$sigma2
  // clang-format off
  const struct {
    int p, q;
    std::vector<double> coef;  // phi, theta, mean
    double loglik, sigma2;
  } cases[]{
      {0, 2, {0.67316289042532418, 0.37532548184098019, 2.4015516508848371}, -27.530280806951957, 0.18217016463380767},
      {3, 0, {0.64480200900402307, -0.06338220712783102, -0.21979657863700747, 2.3931193272007749},
       -27.092411059536083, 0.17866031500858504}};
  // clang-format on
  const std::vector<double> lh = Series("lh");
  for (const auto& c : cases) {
    TVec phi(c.p), theta(c.q), coef;
    double mu = 0, var = 0;
    const double ll = ARMAMLFit(Vec(lh), phi, theta, mu, var);
    Kalix::Concat(coef, phi, theta);
    for (int j = 0; j <= c.p + c.q; ++j)  // phi, theta, then the mean
      EXPECT_NEAR(c.coef[std::size_t(j)], j < coef.Length() ? coef[j] : mu, 1e-4) << c.p << c.q << j;
    EXPECT_CLOSE(c.loglik, ll, 1e-6);
    EXPECT_CLOSE(c.sigma2, var, 1e-5);
  }
}

TEST(ARMAMLFit, StartOutsideTheRegionAndNoMean) {
  // A non-stationary, non-invertible start is moved into the region and reaches the same optimum.
  TVec phi(1), theta(1), phi2 = Vec({1.5}), theta2 = Vec({-3}), se, none0, none1;
  double mu = 0, mu2 = 0, var = 0, var2 = 0;
  const double ll = ARMAMLFit(Vec(kLake), phi, theta, mu, var);
  const double ll2 = ARMAMLFit(Vec(kLake), phi2, theta2, mu2, var2, nullptr, nullptr, true, true);
  EXPECT_CLOSE(ll, ll2, 1e-9);
  EXPECT_NEAR(phi[0], phi2[0], 1e-4);
  double m = 579;  // A mean held at the given value is left as it is, and has no standard error
  ARMAMLFit(Vec(kLake), phi, theta, m, var, &se, nullptr, false);
  EXPECT_TRUE(m == 579.0 && se.Length() == 2);
  // Pure white noise with a mean: the ML estimates are the sample mean and variance (divisor n).
  ARMAMLFit(Vec({1, 3, 2, 6, 4}), none0, none1, mu, var, &se);
  ExpectAllClose({3.2, 2.96}, {mu, var}, 1e-12);
  EXPECT_CLOSE(std::sqrt(2.96 / 5), se[0], 1e-5);
}

TEST(ARIMA, AirlineSeriesFitAndForecastAgreeWithR) {
  std::vector<double> y = kAir;
  for (auto& x : y) x = std::log(x);
  // The exact likelihood of the differenced series. R: y <- diff(diff(log(AirPassengers), 12));
  // arima(y, c(1, 0, 1), include.mean = FALSE, method = "ML", optim.control = list(reltol = 1e-12))
  // (R's fit of the undifferenced series uses a diffuse-prior approximation instead.)
  TVec phi(1), theta(1), se;
  double mu = 0, var = 0;
  const double ll = ARIMAMLFit(Vec(y), phi, theta, mu, var, 1, 1, 12, &se);
  EXPECT_NEAR(0.14423449997071919, phi[0], 1e-4);
  EXPECT_NEAR(-0.51834604658802963, theta[0], 1e-4);
  EXPECT_CLOSE(227.12527243138743, ll, 1e-6);
  EXPECT_CLOSE(0.0018238580390161976, var, 1e-5);
  ExpectAllClose({0.24582225764207066, 0.21835077406334488}, se, 2e-3);
  // R: a <- arima(log(AirPassengers), c(1, 1, 1), list(order = c(0, 1, 0), period = 12), method = "ML")
  // R: predict(a, n.ahead = 6), fed R's own coefficients.
  TVec f, fse, lo, hi;
  ARIMAForecast(Vec(y), Vec({0.14611468970771405}), Vec({-0.52002327575461527}), 0, 0.0018238378643918665, f, &fse, &lo,
                &hi, 6, 1, 1, 12);
  // Each step runs the same recursion: the first and the last stand for the rest.
  ExpectAllClose({6, 6.1084227109225688, 6.3594508338719979, 0.042706414792064523, 0.069759975144787004},
                 {double(f.Length()), f[0], f[5], fse[0], fse[5]}, 1e-6);
  ExpectAllClose({f[5] - 1.959963984540054 * fse[5], f[5] + 1.959963984540054 * fse[5]}, {lo[5], hi[5]}, 1e-12);
}

TEST(ARMAForecast, LakeHuronAgreesWithRAndBadAlphaGivesNaNBounds) {
  // R: predict(arima(LakeHuron, order = c(2, 0, 1), method = "ML"), n.ahead = 5), fed R's coefficients.
  for (auto prec : kRealPrecisions) {
    const double tol = prec == mvDouble ? 1e-6 : 1e-4;
    TVec f, se, lo;
    ARMAForecast(Vec(kLake, prec), Vec({0.78305018066438647, -0.034317518567102238}, prec),
                 Vec({0.28561693228026314}, prec), 579.05343288083793, 0.47486686165618341, f, &se, &lo, nullptr, 5,
                 1.5);
    ExpectAllClose({5, 579.74075853988597, 579.25600465501418, 0.68910584212890214, 1.2567692607787564},
                   {double(f.Length()), f[0], f[4], se[0], se[4]}, tol);
    EXPECT_TRUE(std::isnan(lo[0]) && f.FloatPrecision() == prec);
  }
  auto withNaN = kLake;  // A NaN in the data propagates to the forecasts without an error
  withNaN[50] = std::nan("");
  TVec f;
  ARMAForecast(Vec(withNaN), Vec({0.5}), Vec({0.3}), 579, 1, f, nullptr, nullptr, nullptr, 2);
  EXPECT_TRUE(std::isnan(f[0]) && std::isnan(f[1]));
}

TEST(ARMASimulate, SampleACFMatchesTheModelAndPathsAreSeeded) {
  // ARMA(1, 1), phi = 0.6, theta = 0.3: rho(1) = (1 + phi theta)(phi + theta) / (1 + 2 phi theta + theta^2), rho(k) =
  // phi^(k-1) rho(1) (Brockwell & Davis 3.2); variance sigma^2 (1 + 2 phi theta + theta^2) / (1 - phi^2).
  const double phi = 0.6, theta = 0.3, rho1 = (1 + phi * theta) * (phi + theta) / (1 + 2 * phi * theta + theta * theta);
  TVec x(200000), r;
  ARMASimulate(Vec({phi}), Vec({theta}), 5, 2, x, -1, 42);
  ACF(x, r, 5);
  for (int k = 1; k < 5; ++k) EXPECT_NEAR(rho1 * std::pow(phi, k - 1), r[k], 0.01) << k;
  TVec g;
  AutoCov(x, g, 1);
  EXPECT_NEAR(2 * (1 + 2 * phi * theta + theta * theta) / (1 - phi * phi), g[0], 0.1);
  // The same seed repeats the path; an ARIMA(1,1,1) path differences back to it.
  TVec a(50), b(50);
  ARMASimulate(Vec({phi}), Vec({theta}), 0, 1, a, 10, 7);
  ARIMASimulate(Vec({phi}), Vec({theta}), 0, 1, b, 1, 0, 1, 10, 7);
  EXPECT_EQ(a[0], b[0]);
  for (int t = 1; t < 50; ++t) EXPECT_CLOSE(a[t], b[t] - b[t - 1], 1e-12);
  TVec s(50, mvSingle);
  ARMASimulate(Vec({phi}), Vec({theta}), 0, 1, s, 10, 7);
  EXPECT_TRUE(s.FloatPrecision() == mvSingle && std::fabs(a[49] - s[49]) < 1e-5 * std::fabs(a[49]));
}

TEST(ARARForecast, AccidentalDeathsWorkedExample) {
  // Brockwell & Davis, Introduction to Time Series and Forecasting, 9.1 (DEATHS.TSM, max lag 26):
  // shortening filter 1 - .9779B^12, lags 1, 3, 12, 13 with the coefficients of the printed
  // whitening filter, xi_12 = -.6757, WN variance .12314E+06; R's USAccDeaths fits within 1%.
  TVec f, se;
  TARARModel m;
  ARARForecast(Vec(kDeaths), f, &se, nullptr, nullptr, 12, 0.05, 26, &m);
  ASSERT_TRUE(m.Shortening.Length() == 13 && m.Filter.Length() == 26);
  EXPECT_NEAR(-0.9779, m.Shortening[12], 2e-4);
  EXPECT_EQ((std::array<int, 4>{1, 3, 12, 13}), m.Lags);
  const double coeffs[][2] = {{0.5915, 0.003}, {0.2093, 0.003}, {-0.3022, 0.004}, {0.2970, 0.003}};
  for (std::size_t j = 0; j < 4; ++j) EXPECT_NEAR(coeffs[j][0], m.Coeffs[j], coeffs[j][1]) << j;
  EXPECT_NEAR(0.12314e6, m.Variance, 0.01 * 0.12314e6);
  EXPECT_NEAR(-0.6757, m.Filter[12], 0.005);
  // One step ahead: the whitening filter's equation, and its error is the noise's.
  double f1 = (1 - m.Coeffs[0] - m.Coeffs[1] - m.Coeffs[2] - m.Coeffs[3]) * m.Mean;
  for (int j = 1; j < 26; ++j) f1 -= m.Filter[j] * kDeaths[static_cast<std::size_t>(72 - j)];
  ExpectAllClose({f1, std::sqrt(m.Variance), std::sqrt(m.Variance * (1 + m.Filter[1] * m.Filter[1]))},
                 {f[0], se[0], se[1]}, 1e-12);
}

TEST(ARMA, MessagesInOrder) {
  TVec p1(1), t1(1), none, out;
  double v = 0, mu = 0;
  const TVec lake = Vec(kLake), flat = Vec(std::vector<double>(60, 2.0));
  const auto fc = [&](const TVec& d, const TVec& p, double var, int h, int dd = -1, int sd = 0, int per = 1) {
    if (dd < 0) return ARMAForecast(d, p, t1, 0, var, out, nullptr, nullptr, nullptr, h);
    ARIMAForecast(d, p, t1, 0, var, out, nullptr, nullptr, nullptr, h, dd, sd, per);
  };
  const auto arar = [&](const TVec& d, int h, int maxLag = 26) {
    ARARForecast(d, out, nullptr, nullptr, nullptr, h, 0.05, maxLag);
  };
  EXPECT_RAISES(ARMAInnovationsFit(ComplexVec(), none, none, v), "ARMAInnovationsFit: Data.Complex = true");
  EXPECT_RAISES(ARMAInnovationsFit(lake, none, none, v), "ARMAInnovationsFit: Phi.Length + Theta.Length = 0");
  EXPECT_RAISES(ARMAInnovationsFit(lake, p1, t1, v, 1), "ARMAInnovationsFit: M < Phi.Length + Theta.Length");
  EXPECT_RAISES(ARMAInnovationsFit(Vec({1, 2}), p1, t1, v), "ARMAInnovationsFit: Data.Length <= M");
  EXPECT_RAISES(ARMAInnovationsFit(flat, p1, t1, v), "ARMAInnovationsFit: Data is constant");
  EXPECT_RAISES(ARMAHannanRissanenFit(ComplexVec(), none, none, v), "ARMAHannanRissanenFit: Data.Complex = true");
  EXPECT_RAISES(ARMAHannanRissanenFit(lake, none, none, v), "ARMAHannanRissanenFit: Phi.Length + Theta.Length = 0");
  for (const auto& [d, order] : {std::pair{lake, 95}, std::pair{TVec(), 0}})  // an empty series has no default order
    EXPECT_RAISES(ARMAHannanRissanenFit(d, p1, t1, v, order),
                  "ARMAHannanRissanenFit: Data.Length - ARLongOrder - Theta.Length <= Phi.Length + Theta.Length");
  EXPECT_RAISES(ARMAHannanRissanenFit(flat, p1, t1, v), "ARMAHannanRissanenFit: Data is constant");
  // An AR part longer than the long autoregression: the regression starts after the p lags.
  TVec p6(6), t1b(1);
  EXPECT_RAISES(ARMAHannanRissanenFit(Vec({1, 3, 2, 5, 4, 6, 5, 8, 7, 9, 8, 11}), p6, t1b, v, 2),
                "ARMAHannanRissanenFit: Data.Length - ARLongOrder - Theta.Length <= Phi.Length + Theta.Length");
  ARMAHannanRissanenFit(lake, p6, t1b, v, 2);
  for (int i = 0; i < 6; ++i) EXPECT_TRUE(std::isfinite(p6[i])) << i;
  EXPECT_GT(v, 0.0);
  EXPECT_RAISES(ARMAMLFit(ComplexVec(), p1, t1, mu, v), "ARMAMLFit: Data.Complex = true");
  EXPECT_RAISES(ARMAMLFit(Vec({1, 2, 3}), p1, t1, mu, v), "ARMAMLFit: Data.Length <= Phi.Length + Theta.Length + 1");
  EXPECT_RAISES(ARMAMLFit(flat, p1, t1, mu, v), "ARMAMLFit: Data is constant");
  EXPECT_RAISES(ARMAMLFit(lake, p1, t1, mu, v, nullptr, nullptr, true, false, -1), "ARMAMLFit: MaxIter < 0");
  EXPECT_RAISES(ARMAMLFit(lake, p1, t1, mu, v, nullptr, nullptr, true, false, 9, 0), "ARMAMLFit: Tolerance <= 0");
  EXPECT_RAISES(ARIMAMLFit(lake, p1, t1, mu, v, -1), "ARIMAMLFit: (d < 0) or (SeasonalD < 0) or (Period < 1)");
  EXPECT_RAISES(ARIMAMLFit(flat, p1, t1, mu, v, 1), "ARIMAMLFit: Data is constant");
  EXPECT_RAISES(fc(ComplexVec(), p1, 1, 0), "ARMAForecast: Data.Complex = true");
  EXPECT_RAISES(fc(lake, ComplexVec(), 1, 1), "ARMAForecast: Phi.Complex or Theta.Complex");
  EXPECT_RAISES(fc(TVec(), p1, 1, 0), "ARMAForecast: Data.Length = 0");
  EXPECT_RAISES(fc(lake, p1, -1, 0), "ARMAForecast: Horizon < 1");
  EXPECT_RAISES(fc(lake, Vec({1}), -1, 1), "ARMAForecast: Variance < 0");
  EXPECT_RAISES(fc(lake, Vec({1}), 1, 1), "ARMAForecast: Phi is not stationary");
  EXPECT_RAISES(fc(lake, p1, 1, 1, 0, 1, 0), "ARIMAForecast: (d < 0) or (SeasonalD < 0) or (Period < 1)");
  EXPECT_RAISES(fc(Vec({1, 2}), p1, -1, 1, 2), "ARIMAForecast: Data.Length <= d + SeasonalD*Period");
  // Orders near INT_MAX are refused before anything is allocated.
  EXPECT_RAISES(fc(lake, p1, 1, 1, 1, 2, INT_MAX), "ARIMAForecast: Data.Length <= d + SeasonalD*Period");
  EXPECT_RAISES(ARIMAMLFit(lake, p1, t1, mu, v, INT_MAX, 1, INT_MAX),
                "ARIMAMLFit: Data.Length <= Phi.Length + Theta.Length + 1");
  EXPECT_RAISES(ARIMASimulate(p1, t1, 0, 1, out = TVec(3), 4), "ARIMASimulate: Results.Length < d + SeasonalD*Period");
  EXPECT_RAISES(arar(lake, 1, INT_MAX), "ARARForecast: Data.Length <= MaxLag + 15");
  EXPECT_RAISES(ARMASimulate(p1, t1, 0, 1, out = ComplexVec()), "ARMASimulate: Results.Complex = true");
  EXPECT_RAISES(ARMASimulate(p1, t1, 0, -1, out = TVec(3)), "ARMASimulate: Variance < 0");
  EXPECT_RAISES(ARIMASimulate(p1, t1, 0, 1, out, 0, 1, 0), "ARIMASimulate: (d < 0) or (SeasonalD < 0) or (Period < 1)");
  EXPECT_RAISES(arar(ComplexVec(), 0), "ARARForecast: Data.Complex = true");
  EXPECT_RAISES(arar(lake, 0), "ARARForecast: Horizon < 1");
  EXPECT_RAISES(arar(lake, 1, 3), "ARARForecast: MaxLag < 4");
  EXPECT_RAISES(arar(Vec(kDeaths), 1, 57), "ARARForecast: Data.Length <= MaxLag + 15");
  EXPECT_RAISES(arar(flat, 1), "ARARForecast: Data is constant");
}

TEST(ARMA, ConcurrentFitsAndForecastsAgree) {
  const auto work = [](int t) {
    TVec phi(2), theta(1), f;
    double mu = 0, var = 0;
    ARMAMLFit(Vec(kLake), phi, theta, mu, var);
    ARARForecast(Vec(kDeaths), f, nullptr, nullptr, nullptr, 3 + t % 2);
    return std::vector<double>{phi[0], theta[0], mu, var, f[0], f[2]};
  };
  EXPECT_EQ(0, ConcurrentMismatches(work, 2, 2));
}

}  // namespace
