#include <algorithm>

#include "support/TestSupport.h"

namespace {

using namespace KalixTest;
using namespace StatProbPlots;

// Seven values and a second sample of seven; R's quantile type 6 is the (n + 1) p rule.
const std::vector<double> kX{3.1, 0.4, 2.2, 5.0, 1.7, 0.9, 4.4};
const std::vector<double> kXSorted{0.4, 0.9, 1.7, 2.2, 3.1, 4.4, 5.0};
const std::vector<double> kY{10, 14, 9, 30, 12, 11, 20};

class PlotPrecision : public testing::TestWithParam<TMtxFloatPrecision> {
 protected:
  double tol() const { return TolFor(GetParam()); }
};
INSTANTIATE_TEST_SUITE_P(Precisions, PlotPrecision, testing::ValuesIn(kRealPrecisions), PrecisionName);

using OneSamplePlot = void (*)(const TVec&, TVec&, TVec&, double&, double&, double&, double&, bool);
void NormalNoBounds(const TVec& d, TVec& x, TVec& y, double& a, double& b, double& c, double& e, bool s) {
  StatNormalPlot(d, x, y, a, b, c, e, nullptr, s);
}
void QQNormal(const TVec& d, TVec& x, TVec& y, double& a, double& b, double& c, double& e, bool s) {
  StatQQPlot(d, x, y, a, b, c, e, s);
}

TEST_P(PlotPrecision, ScoresAndReferenceLines) {
  // R: p <- ((0:6)+0.5)/7; qnorm(p), -log(1-p), log(log(1/(1-p))); the line through
  // quantile(., c(.25,.75), type=6) of sort(x) and of the scores (Weibull: in log x, from the
  // lower quartiles).
  // Scores 0, 3 and 6 (every score is the same function of its position).
  const std::vector<double> normal{-1.4652337926855223, 0, 1.4652337926855223};
  const struct {
    const char* what;
    OneSamplePlot plot;
    std::vector<double> y;
    double minY, maxY;
  } cases[]{
      {"normal", NormalNoBounds, normal, -1.0178210670986245, 1.0630575589696742},
      {"q-q normal", QQNormal, normal, -1.0178210670986245, 1.0630575589696742},
      {"exponential", StatExpPlot, {0.074107972153721849, 0.69314718055994529, 2.6390573296152589},
       0.05555020194113669, 1.7631792667980504},
      {"weibull", StatWeibullPlot, {-2.6022321660471017, -0.36651292058166435, 0.97042178127736523},
       -2.3698523865130667, 0.58144375716618546},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    TVec x, y;
    double minX, maxX, minY, maxY;
    c.plot(Vec(kX, GetParam()), x, y, minX, maxX, minY, maxY, false);
    ExpectAllClose(kXSorted, x, tol());
    ExpectAllClose(c.y, {y[0], y[3], y[6]}, 10 * tol());
    ExpectAllClose({0.4, 5.0, c.minY, c.maxY, double(GetParam()), 7},
                   {minX, maxX, minY, maxY, double(y.FloatPrecision()), double(y.Length())}, 10 * tol());
  }
}

TEST_P(PlotPrecision, NormalBoundsAndTwoSampleLine) {
  // R: sqrt(p*(1-p)/n) * k * sqrt(2*pi) * exp(-0.5*(1/qnorm(p))^2), k = 0.45236491871049972; the
  // middle score 0 gives exp(-Inf) = 0.
  TVec x, y, b;
  double minX, maxX, minY, maxY;
  StatNormalPlot(Vec(kX, GetParam()), x, y, minX, maxX, minY, maxY, &b);
  ExpectAllClose({0.087443874752539577, 0.07918830455718516, 0.0049251071653412092, 0, 0.0049251071653412092,
                  0.07918830455718516, 0.087443874752539563},
                 b, 10 * tol());
  // R: the line through quantile(sort(x)) and quantile(sort(y)), type 6.
  StatQQPlot(Vec(kX, GetParam()), Vec(kY, GetParam()), x, y, minX, maxX, minY, maxY);
  ExpectAllClose({9, 10, 11, 12, 14, 20, 30}, y, 0.0);
  ExpectAllClose({8.5714285714285712, 21.714285714285712}, {minY, maxY}, tol());
}

TEST(StatNormalPlot, SortedFlagOnePointAndLargeSample) {
  TVec x, y;
  double minX, maxX, minY, maxY;
  // The given order stays; the ends are the first and last elements; the quartiles still come
  // from the values (the same line as for the sorted sample).
  StatNormalPlot(Vec(kX), x, y, minX, maxX, minY, maxY, nullptr, true);
  ExpectAllClose(kX, x, 0.0);
  // Centre (0.9 + 4.4)/2 at score 0.
  ExpectAllClose({3.1, 4.4, (3.1 - 2.65) * 0.45236491871049972}, {minX, maxX, minY}, 1e-12);
  StatNormalPlot(Vec({2.5}), x, y, minX, maxX, minY, maxY);
  ExpectAllClose({0, minX, NAN}, {y[0], maxX, minY}, 0);  // equal quartiles: 0/0
  // First Weibull score ln(ln(1/(1 - 0.5/n))) is negative.
  StatWeibullPlot(Vec({4.0, 1.0}), x, y, minX, maxX, minY, maxY);
  EXPECT_CLOSE(std::log(std::log(1 / 0.75)), y[0], 1e-15);
  // A sample long enough for the radix sort; the scores of positions i and n-1-i mirror.
  std::vector<double> v(100001);
  for (std::size_t i = 0; i < v.size(); ++i) v[i] = std::sin(0.1 * double(i)) * 7.0;
  StatNormalPlot(Vec(v), x, y, minX, maxX, minY, maxY);
  // R: qnorm(0.5/100001), qnorm(12345.5/100001)
  ExpectAllClose({-4.4171755757339248, -1.1578934252750244}, {y[0], y[12345]}, 1e-13);
  ExpectAllClose({-y[0], 0, *std::min_element(v.begin(), v.end())}, {y[100000], y[50000], minX}, 0);
}

TEST(ProbabilityPlots, MessagesInOrderAndZeroedOutputs) {
  TVec x, y, empty;
  double a = 9, b = 9, c = 9, d = 9;
  EXPECT_RAISES(StatNormalPlot(ComplexVec(), x, y, a, b, c, d), "StatNormalPlot: (Data.Complex)");
  EXPECT_RAISES(StatNormalPlot(empty, x, y, a, b, c, d), "StatNormalPlot: Data.Length < 1");
  EXPECT_RAISES(StatQQPlot(ComplexVec(), Vec({1, 2}), x, y, a, b, c, d), "StatQQPlot: (XData.Complex) or YData.Complex");
  EXPECT_RAISES(StatQQPlot(Vec({1}), Vec({1, 2}), x, y, a, b, c, d), "StatQQPlot: (XData.Length <> YData.Length");
  EXPECT_RAISES(StatQQPlot(empty, empty, x, y, a, b, c, d), "StatQQPlot: XData.Length < 1");
  // The one-sample form speaks through the two-sample one.
  EXPECT_RAISES(StatQQPlot(ComplexVec(), x, y, a, b, c, d), "StatQQPlot: (XData.Complex) or YData.Complex");
  EXPECT_RAISES(StatQQPlot(empty, x, y, a, b, c, d), "StatQQPlot: XData.Length < 1");
  // The Weibull and exponential plots zero the limits before refusing.
  const std::pair<OneSamplePlot, std::string> zp[]{{StatWeibullPlot, "StatWeibullPlot"}, {StatExpPlot, "StatExpPlot"}};
  for (const auto& p : zp) {
    a = b = c = d = 9;
    EXPECT_RAISES(p.first(ComplexVec(), x, y, a, b, c, d, false), p.second + ": (Data.Complex)");
    EXPECT_TRUE(a == 0 && b == 0 && c == 0 && d == 0);
    EXPECT_RAISES(p.first(empty, x, y, a, b, c, d, false), p.second + ": Data.Length < 1");
  }
}

}  // namespace
