// Regression models: evaluation, fits (exact data and R's lm on transformed data), gradients.
#include <stdexcept>

#include "support/TestSupport.h"

namespace {

using namespace KalixTest;
using namespace RegModels;

// The ordinals, and the spelling of rmMulLi, are part of the interface.
static_assert(rmLine == 0 && rmPower == 1 && rmPoly == 2 && rmExp == 3 && rmMulLi == 4 && rmLogistic == 5 &&
              rmFrac == 6 && rmLn == 7);

TEST(ModelEval, KnownValuesInEveryFormAndMulLinEval) {
  const double b[] = {2.0, 3.0};
  // Scalar forms at points with exact answers. Logistic: exp(-2x + 4) = 1 at x = 2; rational:
  // (1 + 2x + 3x^2) / (1 + 0.5x) with NumDeg 2.
  const double lg[] = {1.0, 5.0, 2.0, 4.0}, fr[] = {1.0, 2.0, 3.0, 0.5};
  ExpectAllClose({14, 16, 2.0 * std::exp(3.0), 5, 3, 2.5, 17.0 / 2.0},
                 {LineEval(b, 4.0), PowerEval(b, 2.0), ExpEval(b, 1.0), LnEval(b, std::exp(1.0)),
                  LogisticEval(lg, 2.0, true), LogisticEval(lg, 2.0, false), FracEval(fr, 2.0, 2)},
                 1e-15);
  // Vector forms agree with the scalar ones, in both precisions and from a TVec of parameters.
  for (TMtxFloatPrecision p : kRealPrecisions) {
    const TVec x = Vec({0.5, 1.0, 2.5}, p);
    TVec y1, y2;
    PowerEval(b, x, y1);
    PowerEval(Vec({2.0, 3.0}), x, y2);
    EXPECT_EQ(y1.FloatPrecision(), p);
    for (int i = 0; i < 3; ++i) {
      EXPECT_CLOSE(PowerEval(b, x[i]), y1[i], TolFor(p));
      EXPECT_EQ(y1[i], y2[i]);
    }
    LogisticEval(Vec({1.0, 5.0, 2.0, 4.0}), x, y1, true);
    EXPECT_CLOSE(LogisticEval(lg, 2.5, true), y1[2], TolFor(p));
    FracEval(Vec({1.0, 2.0, 3.0, 0.5}), x, y1, 2);
    EXPECT_CLOSE(FracEval(fr, 2.5, 2), y1[2], TolFor(p));
  }
  // NumDeg 1 splits the same parameters as 1 + 2x over 1 + 3x + 0.5x^2; at x = 1: 3 / 4.5.
  EXPECT_CLOSE(3.0 / 4.5, FracEval(fr, 1.0, 1), 1e-15);
  EXPECT_RAISES(FracEval(fr, 1.0, 4), "FracEval: NumDeg out of range");
  EXPECT_RAISES(LineEval(std::span<const double>(fr, 1), 1.0), "LineEval: B.Length < 2");
  const double m[] = {1.0, 2.0, 3.0};
  // Deliberate: X[0] is never read, and without Constant B[0] is not used either.
  TVec yc, yc0;
  MulLinEval(m, Mtx({{10, 100}, {1, 1}}), yc, true);
  MulLinEval(m, Mtx({{1, 1, 1}}), yc0, false);
  ExpectAllClose({321, 320, 321, 6, 6},
                 {MulLinEval(m, Vec({1e300, 10.0, 100.0}), true), MulLinEval(m, Vec({-7.0, 10.0, 100.0}), false), yc[0],
                  yc[1], yc0[0]},
                 0.0);
}

class ModelFits : public testing::TestWithParam<TMtxFloatPrecision> {};

TEST_P(ModelFits, RecoverKnownParametersFromExactData) {
  const TMtxFloatPrecision p = GetParam();
  const double tol = p == mvSingle ? 2e-4 : 1e-10;
  TVec x(12, p), y, b;
  for (int i = 0; i < 12; ++i) x[i] = 0.5 + 0.25 * i;
  using TEval = void (*)(std::span<const double>, const TVec&, TVec&);
  using TFit = void (*)(TVec&, const TVec&, const TVec&, const TVec*);
  const struct {
    TEval eval;
    TFit fit;
    std::vector<double> b;
  } cases[] = {{LineEval, LineFit, {1.5, -0.75}}, {PowerEval, PowerFit, {2.5, 1.3}}, {ExpEval, ExpFit, {0.8, 0.45}},
               {LnEval, LnFit, {3.0, 2.0}}};
  for (const auto& c : cases) {
    c.eval(c.b, x, y);
    c.fit(b, x, y, nullptr);
    ExpectAllClose(c.b, b, tol);
  }
  const double bf[] = {1.0, 2.0, 0.5, -0.1};  // Rational (1 + 2x) / (1 + 0.5x - 0.1x^2): layout [a0, a1, b1, b2]
  FracEval(bf, x, y, 1);
  FracFit(b, x, y, 1, 2);
  ExpectAllClose({1.0, 2.0, 0.5, -0.1}, b, p == mvSingle ? 2e-3 : 1e-9);
  // Multiple linear: y = 1 + 2 x + 3 x^2.
  TMtx A(12, 2, p);
  TVec ym(12, p);
  for (int i = 0; i < 12; ++i) A(i, 0) = x[i], A(i, 1) = x[i] * x[i], ym[i] = 1 + 2 * x[i] + 3 * x[i] * x[i];
  MulLinFit(b, A, ym);
  ExpectAllClose({1.0, 2.0, 3.0}, b, p == mvSingle ? 1e-3 : 1e-10);
  MulLinFit(b, A, ym, true, &x);  // any weights fit exact data exactly
  ExpectAllClose({1.0, 2.0, 3.0}, b, p == mvSingle ? 1e-3 : 1e-10);
}

TEST_P(ModelFits, LogisticFitRecoversParametersAndLeavesTheCallersDataAlone) {
  const TMtxFloatPrecision p = GetParam();
  // The end points lie far out, where the curve equals its asymptotes in working precision.
  TVec x = Vec({-60, -2, -1.5, -1, -0.5, 0, 0.5, 1, 1.5, 2, 60}, p), y, w(11, p), b;
  const double bt[] = {0.5, 4.5, 1.2, 0.3};
  LogisticEval(bt, x, y, true);
  Kalix::Ramp(w, 1.0, 0.1);
  const std::vector<double> x0 = x.ToVector(), y0 = y.ToVector(), w0 = w.ToVector();
  LogisticFit(b, x, y, true, &w);
  ExpectAllClose({0.5, 4.5, 1.2, 0.3}, b, p == mvSingle ? 1e-3 : 1e-9);
  EXPECT_TRUE(x.ToVector() == x0 && y.ToVector() == y0 && w.ToVector() == w0);
  LogisticEval(bt, x, y, false);
  LogisticFit(b, x, y, false);
  ExpectAllClose({0.0, 4.5, 1.2, 0.3}, b, p == mvSingle ? 1e-3 : 1e-9);
}

INSTANTIATE_TEST_SUITE_P(Precisions, ModelFits, testing::ValuesIn(kRealPrecisions), PrecisionName);

TEST(ModelFitsT, WeightsAndNoConstantOnNoisyData) {
  // Noisy data, so that each weight formula and the constant's presence move the fit.
  // R: x <- 0.5 + 0.25*(0:11); y <- (1 + 2*x)/(1 + 0.5*x - 0.1*x^2) + noise; w <- 1 + 0.3*(0:11)
  //    coef(lm(y ~ 0 + x + I(-y*x) + I(-y*x^2), weights = w)), the same unweighted, and with intercept
  const TVec y = Vec({1.6626530612244896, 1.8457345971563979, 2.1628571428571428, 2.4229787234042552,
                      2.5929508196721316, 2.8785258964143421, 3.105, 3.4476833976833978, 3.6523076923076925,
                      4.035444015444015, 4.4050000000000002, 4.7708764940239048});
  TVec x(12), w(12), b;
  for (int i = 0; i < 12; ++i) x[i] = 0.5 + 0.25 * i, w[i] = 1 + 0.3 * i;
  FracFit(b, x, y, 1, 2, false, &w);
  ExpectAllClose({5.3810612888031297, 1.8503367187283024, -0.31813212308009658}, b, 1e-9);
  FracFit(b, x, y, 1, 2, false);
  ExpectAllClose({6.0048816995310785, 2.1679032088356855, -0.37636142739673578}, b, 1e-9);
  FracFit(b, x, y, 1, 2, true, &w);
  ExpectAllClose({1.3753192257745814, 0.36007021418999047, -0.19941276016897971, 0.01742401270603966}, b, 1e-9);
  // R: b0 <- yl[1]; b1 <- yl[11]; u <- yl[i] - b0 (i = 2:10); z <- log((b1 - b0)/u - 1)
  //    coef(lm(z ~ xl[i], weights = ((yl[i] - b1)/(b1 - b0)*u)^2 * wl[i])), wl <- 1 + 0.1*(0:10); and unweighted
  const TVec yl = Vec({0.5, 0.77189342422798601, 0.9063872847824519, 1.2397020952254254, 1.6962019894999842,
                       2.1822299327533643, 2.8277700672466359, 3.3337980105000158, 3.7902979047745746,
                       4.0336127152175481, 4.5});
  TVec xl = Vec({-60, -2, -1.5, -1, -0.5, 0, 0.5, 1, 1.5, 2, 60}), wl(11);
  Kalix::Ramp(wl, 1.0, 0.1);
  LogisticFit(b, xl, yl, true, &wl);
  ExpectAllClose({0.5, 4.5, 1.1903249288088817, 0.28974517263708754}, b, 1e-9);
  LogisticFit(b, xl, yl, true);
  ExpectAllClose({0.5, 4.5, 1.1879555126810823, 0.29732458186327487}, b, 1e-9);
}

TEST(ModelFitsT, LogFitsDropPointsWithoutALogarithmAsR) {
  const TVec x = Vec({0, 1, 2, 3, 4, 5, 6, 7}), y = Vec({2.1, -0.5, 3.9, 6.2, 0, 12.5, 20.1, 33.7}),
             w = Vec({1, 2, 1, 0.5, 1, 2, 1, 1.5});
  TVec b;
  // R: k <- y > 0; c1 <- coef(lm(log(y[k]) ~ x[k])); c(exp(c1[1]), c1[2])
  ExpFit(b, x, y);
  ExpectAllClose({1.9179185261218608, 0.39408550020233796}, b, 1e-13);
  // R: coef(lm(log(y[k]) ~ x[k], weights = w[k] * y[k]^2))
  ExpFit(b, x, y, &w);
  ExpectAllClose({1.2699629201207892, 0.46659222512927179}, b, 1e-13);

  const TVec lx = Vec({-1, 0.5, 1, 2, 0, 4, 8, 16}), ly = Vec({9, 1.4, 2.2, 2.9, 5, 4.3, 5.1, 5.8});
  // R: k <- lx > 0; coef(lm(ly[k] ~ log(lx[k]))); the same with weights = w[k] * ly[k]^2
  LnFit(b, lx, ly);
  ExpectAllClose({2.2409523809523821, 1.3231574517867348}, b, 1e-13);
  LnFit(b, lx, ly, &w);
  ExpectAllClose({2.4320631390890814, 1.2434691215107929}, b, 1e-13);

  // R: k <- px > 0 & py > 0; c3 <- coef(lm(log(py[k]) ~ log(px[k]))); c(exp(c3[1]), c3[2])
  const TVec px = Vec({0.5, 1, -2, 2, 3, 4, 0, 6}), py = Vec({1.2, 2.1, 3.3, 7.9, -1, 33.5, 4, 70.2});
  PowerFit(b, px, py);
  ExpectAllClose({2.9016119304631101, 1.7078638680430824}, b, 1e-13);
  // R: c4 <- coef(lm(log(qy) ~ log(qx), weights = qw * qy^2)); c(exp(c4[1]), c4[2])
  const TVec qx = Vec({0.5, 1, 2, 3, 4, 6}), qy = Vec({1.2, 2.1, 7.9, 16.0, 33.5, 70.2}), qw = Vec({1, 2, 1, 0.5, 1, 2});
  PowerFit(b, qx, qy, &qw);
  ExpectAllClose({2.2498350755501946, 1.921221659053852}, b, 1e-13);
  // Deliberate: with points dropped the whole Weights vector no longer matches; the core refuses it.
  EXPECT_RAISES(PowerFit(b, px, py, &w), "Mul: X.Length <> Y.Length");
}

TEST(ModelFitsT, DegenerateInputsGiveNoErrorAndKeepB) {
  TVec b = Vec({7.0, 8.0}), b2 = b;
  ExpFit(b, Vec({1, 2, 3}), Vec({0, -1, -2}));
  LnFit(b2, Vec({0, -1}), Vec({1, 2}));
  ExpectAllClose({7.0, 8.0, 7.0, 8.0}, {b[0], b[1], b2[0], b2[1]}, 0.0);
  // Fewer than three points: no inner points, so the slope and offset are NaN.
  LogisticFit(b, Vec({1, 2}), Vec({0.5, 3.0}));
  ASSERT_EQ(b.Length(), 4);
  EXPECT_TRUE(std::isnan(b[2]) && std::isnan(b[3]));
  // Equal end values with FourParam: d = 0, not an error.
  EXPECT_NO_THROW(LogisticFit(b, Vec({1, 2, 3, 4}), Vec({2, 1, 3, 2})));
  EXPECT_FALSE(std::isfinite(b[2]) && std::isfinite(b[3]));
}

TEST(ModelFitsT, MessagesTextsAndClasses) {
  TVec b;
  const TVec x3 = Vec({1, 2, 3}), x2 = Vec({1, 2}), x2s = Vec({1, 2}, mvSingle);
  EXPECT_RAISES(ExpFit(b, x3, x2), "X.Length <> Y.Length");
  // Deliberate: "Lenght" in these texts.
  EXPECT_RAISES(LnFit(b, x3, x2), "X.Lenght <> Y.Length");
  EXPECT_RAISES(FracFit(b, x3, x2s, 1, 1), "FracFit: X.Lenght <> Y.Length");
  EXPECT_RAISES(FracFit(b, x2, x2s, 1, 1), "FracFit: X.FloatPrecision <> Y.FloatPrecision");
  EXPECT_RAISES(FracFit(b, x2, x2, -1, 2), "FracFit: (NumDeg < 0) or (DenDeg < 0)");
  EXPECT_RAISES(LogisticFit(b, x3, x2s), "LogisticFit: X.Length <> Y.Length");
  EXPECT_RAISES(LogisticFit(b, x2, x2s), "LogisticFit: X.FloatPrecision <> Y.FloatPrecision");
  // PowerFit raises the runtime's general class, not the library's (swallowed here, so no throw and a failure).
  EXPECT_RAISES(PowerFit(b, x2, x2s), "X.Lenght <> Y.FloatPrecision");
  EXPECT_THROW(try { PowerFit(b, x2, x2s); } catch (const Kalix::EKalixError&) {}, std::runtime_error);
  EXPECT_RAISES(PowerFit(b, x3, x2s), "X.Lenght <> Y.Length");
}

TEST(ModelDeriv, GradientsFromTheModelValue) {
  const TRegressFun never = [](std::span<const double>, double) -> double {
    ADD_FAILURE() << "RegressFun is not to be called";
    return 0.0;
  };
  const double pars[] = {2.0, 0.5};
  TVec g;
  // Deliberate: the line's intercept derivative is 0, not 1.
  LineDeriv(never, 3.0, 99.0, pars, g, mvSingle);
  ExpectAllClose({0.0, 3.0}, g, 0.0);
  const double y = PowerEval(pars, 4.0);  // 2 * sqrt(4) = 4
  PowerDeriv(never, 4.0, y, pars, g);     // keeps single precision
  EXPECT_EQ(g.FloatPrecision(), mvSingle);
  ExpectAllClose({2.0, std::log(4.0) * 4.0}, g, 1e-7);
  ExpDeriv(never, 2.0, 6.0, pars, g, mvDouble);
  ExpectAllClose({3.0, 12.0}, g, 0.0);
  // Complex and out-of-range tags are refused before Grad is sized.
  for (int tag : {-1, 2, 7}) {
    const auto p = static_cast<Kalix::TMtxFloatPrecision>(tag);
    EXPECT_RAISES(LineDeriv(never, 1.0, 1.0, pars, g, p), "LineDeriv: FloatPrecision is not a real precision");
    EXPECT_RAISES(ExpDeriv(never, 1.0, 1.0, {}, g, p), "ExpDeriv: FloatPrecision is not a real precision");
  }
  EXPECT_EQ(2, g.Length());
}

}  // namespace
