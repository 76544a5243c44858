#include <climits>
#include "support/TestSupport.h"

namespace {

using namespace KalixTest;
using namespace StatTimeSerAnalysis;

// Hand-computed recursions (exact fractions) unless a comment says otherwise.

TEST(SingleExpSmooth, LevelRecursionAndInitialisation) {
  const std::vector<double> y{2, 4, 3, 5, 6};
  // Alpha, initialisation, then S and the MSE.
  const std::pair<std::pair<double, int>, std::vector<double>> cases[]{
      {{0.5, 0}, {2, 3, 3, 4, 3.0}},
      {{0.0, 0}, {2, 2, 2, 2, 7.5}},          // level stays at Y[0]
      {{0.0, 1}, {3.5, 3.5, 3.5, 3.5, 2.25}},  // mean of the first four
      {{1.0, 0}, {2, 4, 3, 5, 2.5}}};          // S[t] = Y[t]; Y[4] never enters
  for (const auto& [c, expected] : cases)
    for (auto p : kRealPrecisions) {
      TVec s;
      double mse = 0;
      SingleExpSmooth(Vec(y, p), s, c.first, mse, c.second);
      ExpectAllClose(expected, {s[0], s[1], s[2], s[3], mse}, TolFor(p));
      EXPECT_EQ(4, s.Length());
    }
  TVec yhat;
  SingleExpForecast(Vec(y), yhat, 0.5, 8, 0);  // fitted levels, then flat at the last one
  ExpectAllClose({2, 3, 3, 4, 4, 4, 4}, yhat, 1e-15);
  SingleExpForecast(Vec(y), yhat, 0.5, 3, 0);
  ExpectAllClose({2, 3}, yhat, 1e-15);
}

TEST(DoubleExpSmooth, HoltRecursionTrendStartAndForecastTail) {
  const std::vector<double> y{1, 3, 4, 8, 11};
  TVec s, b, yhat;
  double mse = 0;
  DoubleExpSmooth(Vec(y), s, b, 0.5, 0.25, mse, 0);
  ExpectAllClose({1.0, 3.0, 4.5, 7.1875, 10.1328125, 1.66217041015625}, {s[0], s[1], s[2], s[3], s[4], mse}, 1e-15);
  ExpectAllClose({2.0, 2.0, 1.875, 2.078125, 2.294921875}, b, 1e-15);
  for (auto [method, b0] : std::vector<std::pair<int, double>>{{1, 7.0 / 3}, {2, 2.5}, {7, 2.0}}) {
    DoubleExpSmooth(Vec(y, mvSingle), s, b, 0.5, 0.25, mse, method);
    EXPECT_CLOSE(b0, b[0], kTolSingle) << method;
  }
  DoubleExpForecast(Vec(y), yhat, 0.5, 0.25, 7, 0);
  // Smoothed over n - 1 points, S + B, then S + h B from h = 2.
  ExpectAllClose({3.0, 5.0, 6.375, 9.265625, 11.34375, 13.421875}, yhat, 1e-15);
  DoubleExpForecast(Vec(y), yhat, 0.5, 0.25, 1, 0);
  EXPECT_EQ(0, yhat.Length());
  // Deliberate: the fitted forecast reports the smoother's MSE; its own forecast pass (n - 1
  // points, the last term without an observation) would give 22.37310791015625.
  double a = 0.5, g = 0.25, a2 = 0.5, g2 = 0.25;
  DoubleExpForecast(Vec(y), yhat, a, g, 7, mse, 0);
  EXPECT_CLOSE(DoubleExpSmooth(Vec(y), s, b, a2, g2, 0), mse, 1e-15);
}

TEST(TripleExpSmooth, HoltWintersRecursionAndForecast) {
  const std::vector<double> y{10, 20, 30, 16, 12, 26, 34, 20, 14, 30, 40, 22};
  for (auto p : kRealPrecisions) {
    TVec s, b, f, yhat;
    double mse = 0;
    TripleExpSmooth(Vec(y, p), s, b, f, 0.5, 0.25, 0.2, mse, 4);
    // Errors in the recursion carry forward: the last level and trend stand for the rest.
    ExpectAllClose({19.0, 27.348421307424204, 1.0, 1.0289837148713195}, {s[0], s[7], b[0], b[7]}, TolFor(p));
    ASSERT_EQ(12, f.Length());
    ExpectAllClose({0.5254522689003065, 1.4942303136015427, 2.9719992759222644}, {f[0], f[10], mse}, TolFor(p));
    // Deliberate: beyond the data the multiplier starts at 1, with the last season's factors.
    TripleExpForecast(Vec(y, p), yhat, 0.5, 0.25, 0.2, 15, 4);
    ExpectAllClose({11, 10.509045378006132, 23.92450510257184, 15.15789017143242, 45.79827576286997},
                   {double(yhat.Length()), yhat[0], yhat[7], yhat[8], yhat[10]}, TolFor(p));
  }
}

TEST(ExpSmoothing, FittedConstantsMinimiseTheError) {
  // A trending seasonal series: the fit must stay in [0, 1] and beat a grid of given constants.
  TVec y(48), s, b, f;
  for (int t = 0; t < 48; ++t) y[t] = (50 + t) * (1 + 0.3 * std::sin(t * 3.14159265358979 / 6)) + (t * 7 % 5);
  double a = 0.3, be = 0.1, g = 0.1, ad = 0.3, gd = 0.1, as = 0.3, mse = 0;
  const double best = TripleExpSmooth(y, s, b, f, a, be, g, 12), bestD = DoubleExpSmooth(y, s, b, ad, gd, 0),
               bestS = SingleExpSmooth(y, s, as, 0);
  for (double v : {a, be, g, ad, gd, as}) EXPECT_TRUE(v >= 0 && v <= 1) << v;
  TripleExpSmooth(y, s, b, f, a, be, g, mse, 12);  // the returned MSE is the one at the optimum
  EXPECT_CLOSE(best, mse, 1e-15);
  for (double u : {0.0, 0.2, 0.5, 0.8, 1.0})
    for (double v : {0.0, 0.3, 1.0}) {
      TripleExpSmooth(y, s, b, f, u, v, v, mse, 12);
      EXPECT_LE(best, mse * (1 + 1e-9));
      DoubleExpSmooth(y, s, b, u, v, mse, 0);
      EXPECT_LE(bestD, mse * (1 + 1e-9));
      SingleExpSmooth(y, s, u, mse, 0);
      EXPECT_LE(bestS, mse * (1 + 1e-9));
    }
  // A straight line is tracked exactly with Alpha = 1 (single) or any trend constant (double):
  // the single-smoothing optimum sits on the bound.
  double a1 = 0.2;
  SingleExpSmooth(Vec({1, 2, 3, 4, 5, 6, 7, 8}), s, a1, 0);
  EXPECT_CLOSE(1.0, a1, 1e-6);
}

TEST(ExpSmoothing, MessagesInCheckOrder) {
  TVec s, b, f, yhat;
  double mse = 0, a = 2, g = 0.5, be = 0.5;
  const TVec cx = ComplexVec(), y10 = Vec({1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
  const double nan = std::nan("");
  // Alpha before the complexity check, the period after it, T last.
  EXPECT_RAISES(SingleExpSmooth(cx, s, 2.0, mse, 0), "SingleExpSmooth: (Alpha>1) or (Alpha<0)");
  EXPECT_RAISES(SingleExpSmooth(cx, s, a, 0), "SingleExpSmooth: (Alpha>1) or (Alpha<0)");
  EXPECT_RAISES(SingleExpSmooth(cx, s, 0.5, mse, 0), "SingleExpSmooth: Y.Complex = true");
  EXPECT_RAISES(SingleExpForecast(y10, yhat, a, 3, mse, 0), "SingleExpSmooth: (Alpha>1) or (Alpha<0)");
  EXPECT_RAISES(DoubleExpSmooth(cx, s, b, nan, 2.0, mse, 0), "DoubleExpSmooth: (Alpha>1) or (Alpha<0)");
  EXPECT_RAISES(DoubleExpSmooth(cx, s, b, 0.5, -0.1, mse, 0), "DoubleExpSmooth: (Gamma>1) or (Gamma<0)");
  EXPECT_RAISES(DoubleExpSmooth(cx, s, b, g, g, 0), "DoubleExpSmooth: Y.Complex = true");
  EXPECT_RAISES(DoubleExpForecast(y10, yhat, 0.5, 1.5, 0, 0), "DoubleExpForecast: (Gamma>1) or (Gamma<0)");
  EXPECT_RAISES(DoubleExpForecast(cx, yhat, 0.5, 0.5, 0, 0), "DoubleExpForecast: Y.Complex = true");
  EXPECT_RAISES(DoubleExpForecast(y10, yhat, g, g, 0, mse, 0), "DoubleExpForecast: T<1");
  EXPECT_RAISES(TripleExpSmooth(cx, s, b, f, 0.5, 1.5, -1, mse, 3), "TripleExpSmooth: (Beta>1) or (Beta<0)");
  EXPECT_RAISES(TripleExpSmooth(cx, s, b, f, 0.5, 0.5, -1, mse, 3), "TripleExpSmooth: (Gamma>1) or (Gamma<0)");
  EXPECT_RAISES(TripleExpSmooth(cx, s, b, f, 0.5, 0.5, 0.5, mse, 3), "TripleExpSmooth: Y.Complex = true");
  EXPECT_RAISES(TripleExpSmooth(y10, s, b, f, 0.5, 0.5, 0.5, mse, 4), "TripleExpSmooth: (Y.Length mod Period <> 0)");
  EXPECT_RAISES(TripleExpSmooth(y10, s, b, f, g, be, g, 0), "TripleExpSmooth: (Y.Length mod Period <> 0)");
  for (const auto& [y, period] : {std::pair{y10, 10}, std::pair{TVec(), INT_MAX}})  // 2*Period past int
    EXPECT_RAISES(TripleExpSmooth(y, s, b, f, g, be, g, period), "TripleExpSmooth: Y.Length < 2*Period");
  EXPECT_RAISES(TripleExpForecast(y10, yhat, -0.5, 0.5, 0.5, 1, 4), "TripleExpForecast: (Alpha>1) or (Alpha<0)");
  EXPECT_RAISES(TripleExpForecast(y10, yhat, 0.5, 0.5, 0.5, 1, 4), "TripleExpForecast: (Y.Length mod Period <> 0)");
  EXPECT_RAISES(TripleExpForecast(y10, yhat, g, be, g, 4, mse, 5), "TripleExpForecast: T<Period");
  SingleExpSmooth(Vec({3}), s, 0.5, mse, 1);  // Too short for any level: NaN, not a read past the end
  EXPECT_TRUE(std::isnan(mse) && s.Length() == 0);
}

}  // namespace
