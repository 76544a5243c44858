#include <array>
#include <climits>
#include <cmath>
#include <vector>

#include "StatTimeSerAnalysis/StatTimeSerAnalysis.h"
#include "core/Scratch.h"
#include "support/TestSupport.h"

namespace {

using namespace KalixTest;
using namespace StatTimeSerAnalysis;
using Kalix::mvDouble;
using Kalix::mvSingle;

// R's LakeHuron (1875-1972, 98 values).
const std::vector<double> kLake{
    580.38, 581.86, 580.97, 580.80, 579.79, 580.39, 580.42, 580.82, 581.40, 581.32, 581.44, 581.68, 581.17, 580.53,
    580.01, 579.91, 579.14, 579.16, 579.55, 579.67, 578.44, 578.24, 579.10, 579.09, 579.35, 578.82, 579.32, 579.01,
    579.00, 579.80, 579.83, 579.72, 579.89, 580.01, 579.37, 578.69, 578.19, 578.67, 579.55, 578.92, 578.09, 579.37,
    580.13, 580.14, 579.51, 579.24, 578.66, 578.86, 578.05, 577.79, 576.75, 576.75, 577.82, 578.64, 580.58, 579.48,
    577.38, 576.90, 576.94, 576.24, 576.84, 576.85, 576.90, 577.79, 578.18, 577.51, 577.23, 578.42, 579.61, 579.05,
    579.26, 579.22, 579.38, 579.10, 577.95, 578.12, 579.75, 580.85, 580.41, 579.96, 579.61, 578.76, 578.18, 577.21,
    577.13, 579.10, 578.25, 577.91, 576.89, 575.96, 576.80, 577.68, 578.38, 578.52, 579.74, 579.31, 579.89, 579.96};

// R's AirPassengers (1949-1960, monthly).
const std::vector<double> kAir{
    112, 118, 132, 129, 121, 135, 148, 148, 136, 119, 104, 118, 115, 126, 141, 135, 125, 149, 170, 170, 158,
    133, 114, 140, 145, 150, 178, 163, 172, 178, 199, 199, 184, 162, 146, 166, 171, 180, 193, 181, 183, 218,
    230, 242, 209, 191, 172, 194, 196, 196, 236, 235, 229, 243, 264, 272, 237, 211, 180, 201, 204, 188, 235,
    227, 234, 264, 302, 293, 259, 229, 203, 229, 242, 233, 267, 269, 270, 315, 364, 347, 312, 274, 237, 278,
    284, 277, 317, 313, 318, 374, 413, 405, 355, 306, 271, 306, 315, 301, 356, 348, 355, 422, 465, 467, 404,
    347, 305, 336, 340, 318, 362, 348, 363, 435, 491, 505, 404, 359, 310, 337, 360, 342, 406, 396, 420, 472,
    548, 559, 463, 407, 362, 405, 417, 391, 419, 461, 472, 535, 622, 606, 508, 461, 390, 432};

// R's USAccDeaths (1973-1978, monthly): the accidental-deaths series of Brockwell & Davis.
const std::vector<double> kDeaths{
    9007,  8106, 8928, 9137, 10017, 10826, 11317, 10744, 9713, 9938, 9161, 8927, 7750,  6981, 8038, 8422, 8714, 9512,
    10120, 9823, 8743, 9129, 8710,  8680,  8162,  7306,  8124, 7870, 9387, 9556, 10093, 9620, 8285, 8466, 8160, 8034,
    7717,  7461, 7767, 7925, 8623,  8945,  10078, 9179,  8037, 8488, 7874, 8647, 7792,  6957, 7726, 8106, 8890, 9299,
    10625, 9302, 8314, 8850, 8265,  8796,  7836,  6892,  7791, 8192, 9115, 9434, 10484, 9827, 9110, 9070, 8633, 9240};

std::vector<double> Log(std::vector<double> v) {
  for (auto& x : v) x = std::log(x);
  return v;
}

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
    phi.Size(1);
    theta.Size(1);
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
  struct Case {
    int p, q;
    std::vector<double> coef;  // phi, theta, mean
    double loglik, sigma2;
  };
  const std::vector<Case> cases{
      {1, 1, {0.45220141340167008, 0.19816800983409594, 2.4100765721434838}, -28.762033197215551, 0.1923121343969755},
      {0, 2, {0.67316289042532418, 0.37532548184098019, 2.4015516508848371}, -27.530280806951957, 0.18217016463380767},
      {3,
       0,
       {0.64480200900402307, -0.06338220712783102, -0.21979657863700747, 2.3931193272007749},
       -27.092411059536083,
       0.17866031500858504}};
  // R's data set lh (48 values).
  const std::vector<double> lh{2.4, 2.4, 2.4, 2.2, 2.1, 1.5, 2.3, 2.3, 2.5, 2.0, 1.9, 1.7, 2.2, 1.8, 3.2, 3.2,
                               2.7, 2.2, 2.2, 1.9, 1.9, 1.8, 2.7, 3.0, 2.3, 2.0, 2.0, 2.9, 2.9, 2.7, 2.7, 2.3,
                               2.6, 2.4, 1.8, 1.7, 1.5, 1.4, 2.1, 3.3, 3.5, 3.5, 3.1, 2.6, 2.1, 3.4, 3.0, 2.9};
  for (const auto& c : cases) {
    TVec phi(c.p), theta(c.q);
    double mu = 0, var = 0;
    const double ll = ARMAMLFit(Vec(lh), phi, theta, mu, var);
    for (int j = 0; j < c.p; ++j) EXPECT_NEAR(c.coef[static_cast<std::size_t>(j)], phi[j], 1e-4) << c.p << c.q;
    for (int j = 0; j < c.q; ++j) EXPECT_NEAR(c.coef[static_cast<std::size_t>(c.p + j)], theta[j], 1e-4) << c.p << c.q;
    EXPECT_NEAR(c.coef.back(), mu, 1e-4);
    EXPECT_CLOSE(c.loglik, ll, 1e-6);
    EXPECT_CLOSE(c.sigma2, var, 1e-5);
  }
}

TEST(ARMAMLFit, StartOutsideTheRegionAndNoMean) {
  // A non-stationary, non-invertible start is moved into the region and reaches the same optimum.
  TVec phi(1), theta(1), phi2(1), theta2(1);
  double mu = 0, mu2 = 0, var = 0, var2 = 0;
  const double ll = ARMAMLFit(Vec(kLake), phi, theta, mu, var);
  phi2[0] = 1.5;
  theta2[0] = -3;
  const double ll2 = ARMAMLFit(Vec(kLake), phi2, theta2, mu2, var2, nullptr, nullptr, true, true);
  EXPECT_CLOSE(ll, ll2, 1e-9);
  EXPECT_NEAR(phi[0], phi2[0], 1e-4);
  // A mean held at the given value is left as it is, and has no standard error.
  TVec p(1), t(1), se;
  double m = 579;
  ARMAMLFit(Vec(kLake), p, t, m, var, &se, nullptr, false);
  EXPECT_EQ(579.0, m);
  EXPECT_EQ(2, se.Length());
  // Pure white noise with a mean: the ML estimates are the sample mean and variance (divisor n).
  TVec none0, none1;
  double wm = 0, wv = 0;
  ARMAMLFit(Vec({1, 3, 2, 6, 4}), none0, none1, wm, wv, &se);
  EXPECT_CLOSE(3.2, wm, 1e-12);
  EXPECT_CLOSE(2.96, wv, 1e-12);
  EXPECT_CLOSE(std::sqrt(2.96 / 5), se[0], 1e-5);
}

TEST(ARIMA, AirlineSeriesFitAndForecastAgreeWithR) {
  const auto y = Log(kAir);
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
  ExpectAllClose({6.1084227109225688, 6.045621790850908, 6.1150156820327179, 6.2105764891085666, 6.2341623534248756,
                  6.3594508338719979},
                 f, 1e-6);
  ExpectAllClose({0.042706414792064523, 0.050386157874101847, 0.055985398858482534, 0.060938010109781893,
                  0.065499025655462673, 0.069759975144787004},
                 fse, 1e-6);
  EXPECT_CLOSE(f[5] - 1.959963984540054 * fse[5], lo[5], 1e-12);
  EXPECT_CLOSE(f[5] + 1.959963984540054 * fse[5], hi[5], 1e-12);
}

TEST(ARMAForecast, LakeHuronAgreesWithRAndBadAlphaGivesNaNBounds) {
  // R: predict(arima(LakeHuron, order = c(2, 0, 1), method = "ML"), n.ahead = 5), fed R's coefficients.
  for (auto prec : kRealPrecisions) {
    const double tol = prec == mvDouble ? 1e-6 : 1e-4;
    TVec f, se, lo;
    ARMAForecast(Vec(kLake, prec), Vec({0.78305018066438647, -0.034317518567102238}, prec),
                 Vec({0.28561693228026314}, prec), 579.05343288083793, 0.47486686165618341, f, &se, &lo, nullptr, 5,
                 1.5);
    ExpectAllClose({579.74075853988597, 579.56053222838659, 579.42692980548463, 579.32849732388524, 579.25600465501418},
                   f, tol);
    ExpectAllClose(
        {0.68910584212890214, 1.0085575220473191, 1.1502205766548468, 1.2203593414127063, 1.2567692607787564}, se, tol);
    EXPECT_TRUE(std::isnan(lo[0]));
    EXPECT_EQ(prec, f.FloatPrecision());
  }
  // A NaN in the data propagates to the forecasts without an error.
  auto withNaN = kLake;
  withNaN[50] = std::nan("");
  TVec f;
  ARMAForecast(Vec(withNaN), Vec({0.5}), Vec({0.3}), 579, 1, f, nullptr, nullptr, nullptr, 2);
  EXPECT_TRUE(std::isnan(f[0]) && std::isnan(f[1]));
}

TEST(ARMASimulate, SampleACFMatchesTheModelAndPathsAreSeeded) {
  // ARMA(1, 1), phi = 0.6, theta = 0.3: rho(1) = (1 + phi theta)(phi + theta) / (1 + 2 phi theta +
  // theta^2), rho(k) = phi^(k-1) rho(1) (Brockwell & Davis 3.2); variance sigma^2 (1 + 2 phi theta + theta^2) / (1 -
  // phi^2).
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
  EXPECT_EQ(mvSingle, s.FloatPrecision());
  EXPECT_CLOSE(a[49], s[49], 1e-5);
}

TEST(ARARForecast, AccidentalDeathsWorkedExample) {
  // Brockwell & Davis, Introduction to Time Series and Forecasting, 9.1 (DEATHS.TSM, max lag 26):
  // "the selected memory shortening filter is (1 - .9779B^12)", optimal lags 1, 3, 12, 13, optimal
  // coefficients .5915, .2093, -.3022, .2970 (the lag-3 value and the signs as in the printed
  // whitening filter 1, -.5915, 0, -.2093, ..., xi_12 = -.6757), WN variance .12314E+06. Our fit
  // of R's USAccDeaths is within about 1% of the printed one.
  TVec f, se;
  TARARModel m;
  ARARForecast(Vec(kDeaths), f, &se, nullptr, nullptr, 12, 0.05, 26, &m);
  ASSERT_EQ(13, m.Shortening.Length());
  EXPECT_NEAR(-0.9779, m.Shortening[12], 2e-4);
  EXPECT_EQ((std::array<int, 4>{1, 3, 12, 13}), m.Lags);
  EXPECT_NEAR(0.5915, m.Coeffs[0], 0.003);
  EXPECT_NEAR(0.2093, m.Coeffs[1], 0.003);
  EXPECT_NEAR(-0.3022, m.Coeffs[2], 0.004);
  EXPECT_NEAR(0.2970, m.Coeffs[3], 0.003);
  EXPECT_NEAR(0.12314e6, m.Variance, 0.01 * 0.12314e6);
  ASSERT_EQ(26, m.Filter.Length());
  EXPECT_NEAR(-0.6757, m.Filter[12], 0.005);
  // One step ahead: the whitening filter's equation, and its error is the noise's.
  double f1 = (1 - m.Coeffs[0] - m.Coeffs[1] - m.Coeffs[2] - m.Coeffs[3]) * m.Mean;
  for (int j = 1; j < 26; ++j) f1 -= m.Filter[j] * kDeaths[static_cast<std::size_t>(72 - j)];
  EXPECT_CLOSE(f1, f[0], 1e-12);
  EXPECT_CLOSE(std::sqrt(m.Variance), se[0], 1e-12);
  EXPECT_CLOSE(std::sqrt(m.Variance * (1 + m.Filter[1] * m.Filter[1])), se[1], 1e-12);
}

TEST(ARMA, MessagesInOrder) {
  TVec p1(1), t1(1), none, out;
  double v = 0, mu = 0;
  const TVec lake = Vec(kLake), flat = Vec(std::vector<double>(60, 2.0));
  EXPECT_RAISES(ARMAInnovationsFit(ComplexVec(), none, none, v), "ARMAInnovationsFit: Data.Complex = true");
  EXPECT_RAISES(ARMAInnovationsFit(lake, none, none, v), "ARMAInnovationsFit: Phi.Length + Theta.Length = 0");
  EXPECT_RAISES(ARMAInnovationsFit(lake, p1, t1, v, 1), "ARMAInnovationsFit: M < Phi.Length + Theta.Length");
  EXPECT_RAISES(ARMAInnovationsFit(Vec({1, 2}), p1, t1, v), "ARMAInnovationsFit: Data.Length <= M");
  EXPECT_RAISES(ARMAInnovationsFit(flat, p1, t1, v), "ARMAInnovationsFit: Data is constant");
  EXPECT_RAISES(ARMAHannanRissanenFit(ComplexVec(), none, none, v), "ARMAHannanRissanenFit: Data.Complex = true");
  EXPECT_RAISES(ARMAHannanRissanenFit(lake, none, none, v), "ARMAHannanRissanenFit: Phi.Length + Theta.Length = 0");
  EXPECT_RAISES(ARMAHannanRissanenFit(lake, p1, t1, v, 95),
                "ARMAHannanRissanenFit: Data.Length - ARLongOrder - Theta.Length <= Phi.Length + Theta.Length");
  EXPECT_RAISES(ARMAHannanRissanenFit(flat, p1, t1, v), "ARMAHannanRissanenFit: Data is constant");
  EXPECT_RAISES(ARMAMLFit(ComplexVec(), p1, t1, mu, v), "ARMAMLFit: Data.Complex = true");
  EXPECT_RAISES(ARMAMLFit(Vec({1, 2, 3}), p1, t1, mu, v), "ARMAMLFit: Data.Length <= Phi.Length + Theta.Length + 1");
  EXPECT_RAISES(ARMAMLFit(flat, p1, t1, mu, v), "ARMAMLFit: Data is constant");
  EXPECT_RAISES(ARMAMLFit(lake, p1, t1, mu, v, nullptr, nullptr, true, false, -1), "ARMAMLFit: MaxIter < 0");
  EXPECT_RAISES(ARMAMLFit(lake, p1, t1, mu, v, nullptr, nullptr, true, false, 9, 0), "ARMAMLFit: Tolerance <= 0");
  EXPECT_RAISES(ARIMAMLFit(lake, p1, t1, mu, v, -1), "ARIMAMLFit: (d < 0) or (SeasonalD < 0) or (Period < 1)");
  EXPECT_RAISES(ARIMAMLFit(flat, p1, t1, mu, v, 1), "ARIMAMLFit: Data is constant");
  EXPECT_RAISES(ARMAForecast(ComplexVec(), p1, t1, 0, 1, out, nullptr, nullptr, nullptr, 0),
                "ARMAForecast: Data.Complex = true");
  EXPECT_RAISES(ARMAForecast(lake, ComplexVec(), t1, 0, 1, out, nullptr, nullptr, nullptr, 1),
                "ARMAForecast: Phi.Complex or Theta.Complex");
  EXPECT_RAISES(ARMAForecast(TVec(), p1, t1, 0, 1, out, nullptr, nullptr, nullptr, 0), "ARMAForecast: Data.Length = 0");
  EXPECT_RAISES(ARMAForecast(lake, p1, t1, 0, -1, out, nullptr, nullptr, nullptr, 0), "ARMAForecast: Horizon < 1");
  EXPECT_RAISES(ARMAForecast(lake, Vec({1}), t1, 0, -1, out, nullptr, nullptr, nullptr, 1),
                "ARMAForecast: Variance < 0");
  EXPECT_RAISES(ARMAForecast(lake, Vec({1}), t1, 0, 1, out, nullptr, nullptr, nullptr, 1),
                "ARMAForecast: Phi is not stationary");
  EXPECT_RAISES(ARIMAForecast(lake, p1, t1, 0, 1, out, nullptr, nullptr, nullptr, 1, 0, 1, 0),
                "ARIMAForecast: (d < 0) or (SeasonalD < 0) or (Period < 1)");
  EXPECT_RAISES(ARIMAForecast(Vec({1, 2}), p1, t1, 0, -1, out, nullptr, nullptr, nullptr, 1, 2),
                "ARIMAForecast: Data.Length <= d + SeasonalD*Period");
  // Orders near INT_MAX are refused before anything is allocated.
  EXPECT_RAISES(ARIMAForecast(lake, p1, t1, 0, 1, out, nullptr, nullptr, nullptr, 1, 1, 2, INT_MAX),
                "ARIMAForecast: Data.Length <= d + SeasonalD*Period");
  EXPECT_RAISES(ARIMAMLFit(lake, p1, t1, mu, v, INT_MAX, 1, INT_MAX),
                "ARIMAMLFit: Data.Length <= Phi.Length + Theta.Length + 1");
  EXPECT_RAISES(ARIMASimulate(p1, t1, 0, 1, out = TVec(3), 4), "ARIMASimulate: Results.Length < d + SeasonalD*Period");
  EXPECT_RAISES(ARARForecast(lake, out, nullptr, nullptr, nullptr, 1, 0.05, INT_MAX),
                "ARARForecast: Data.Length <= MaxLag + 15");
  EXPECT_RAISES(ARMASimulate(p1, t1, 0, 1, out = ComplexVec()), "ARMASimulate: Results.Complex = true");
  EXPECT_RAISES(ARMASimulate(p1, t1, 0, -1, out = TVec(3)), "ARMASimulate: Variance < 0");
  EXPECT_RAISES(ARIMASimulate(p1, t1, 0, 1, out, 0, 1, 0), "ARIMASimulate: (d < 0) or (SeasonalD < 0) or (Period < 1)");
  EXPECT_RAISES(ARARForecast(ComplexVec(), out, nullptr, nullptr, nullptr, 0), "ARARForecast: Data.Complex = true");
  EXPECT_RAISES(ARARForecast(lake, out, nullptr, nullptr, nullptr, 0), "ARARForecast: Horizon < 1");
  EXPECT_RAISES(ARARForecast(lake, out, nullptr, nullptr, nullptr, 1, 0.05, 3), "ARARForecast: MaxLag < 4");
  EXPECT_RAISES(ARARForecast(Vec(kDeaths), out, nullptr, nullptr, nullptr, 1, 0.05, 57),
                "ARARForecast: Data.Length <= MaxLag + 15");
  EXPECT_RAISES(ARARForecast(flat, out, nullptr, nullptr, nullptr, 1), "ARARForecast: Data is constant");
  EXPECT_EQ(0, Kalix::ScratchOutstanding());
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
