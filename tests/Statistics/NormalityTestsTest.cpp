#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "support/TestSupport.h"

using namespace Statistics;
using namespace KalixTest;
using Kalix::TMtxFloatPrecision;
using Kalix::NormalCDFInv;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

const std::vector<double> kA{2.31, 3.05, 1.87, 4.42, 2.76, 3.91, 1.52, 2.18, 6.73, 2.95,
                             3.34, 1.96, 2.61, 5.08, 2.44, 3.62, 1.71, 2.87, 8.15, 2.52};
const std::vector<double> kB{4.93, 5.31, 5.12, 4.71, 5.64, 5.02, 4.83, 5.22, 5.41, 4.62, 5.07, 4.96, 5.18, 5.36, 4.87};

// R: w <- qnorm(((1:n) * 0.7548776662466927) %% 1)^power + c * ((1:n) * 0.5698402909980532) %% 1
std::vector<double> Skewed(int n, double power, double c) {
  std::vector<double> w;
  for (int i = 1; i <= n; ++i)
    w.push_back(std::pow(NormalCDFInv(std::fmod(i * 0.7548776662466927, 1.0), 0, 1), power) +
                c * std::fmod(i * 0.5698402909980532, 1.0));
  return w;
}

using TTest = std::function<double(const TVec&, THypothesisResult&, double&, double)>;

struct TNormCase {
  const char* name;
  TTest test;
  double statA, pA, statB, pB, statW, pW;  // pW < 0: not compared
};

// A, B and, for the larger branches, w <- qnorm(((1:200) * 0.7548776662466927) %% 1)^2 +
// ((1:200) * 0.5698402909980532) %% 1.
const std::vector<TNormCase>& Cases() {
  static const std::vector<TNormCase> cases{
      // R: nortest::lillie.test (Dallal-Wilkinson rescaled above 100 values)
      {"Lilliefors", [](auto& x, auto& h, auto& p, double a) { return GOFLillieTest(x, h, p, a); }, 0.20870536196473644,
       0.022500642853157476, 0.071457433769771705, 1.0, 0.18045806614348425, 1.7113167710316146e-17},
      // R: nortest::ad.test (which stops its p-value at 3.7e-24 for w)
      {"AndersonDarling", [](auto& x, auto& h, auto& p, double a) { return AndersonDarling(x, h, p, a); },
       1.2315867896256556, 0.0024542157411602044, 0.089139397006855248, 0.99719669220275053, 11.783127739507449, -1},
      // R: nortest::sf.test
      {"ShapiroFrancia", [](auto& x, auto& h, auto& p, double a) { return ShapiroFrancia(x, h, p, a); },
       0.81743150686990829, 0.0024807091738614333, 0.99256851019795767, 0.9993747866711552, 0.79506490737204827,
       2.0463804738551393e-13},
      // R: shapiro.test
      {"ShapiroWilks", [](auto& x, auto& h, auto& p, double a) { return ShapiroWilks(x, h, p, a); }, 0.82414774404448066,
       0.002025981782679041, 0.9905447035506445, 0.99960345734461187, 0.79723466713134705, 2.1695729357395063e-15},
      // R: tseries::jarque.bera.test
      {"JarqueBera", [](auto& x, auto& h, auto& p, double a) { return GOFBeraJarqueTest(x, h, p, a); },
       11.520332407401146, 0.0031505879155561134, 0.31447080962869706, 0.85450288104743299, 327.74588501092364, -1}};
  return cases;
}

class NormalityTests : public testing::TestWithParam<TMtxFloatPrecision> {};

TEST_P(NormalityTests, AgreeWithR) {
  const bool single = GetParam() == Kalix::mvSingle;
  const TVec a = Vec(kA, GetParam()), b = Vec(kB, GetParam()), w = Vec(Skewed(200, 2, 1), GetParam());
  for (const TNormCase& c : Cases()) {
    SCOPED_TRACE(c.name);
    THypothesisResult h;
    double p;
    EXPECT_CLOSE(c.statA, c.test(a, h, p, 0.05), single ? 1e-5 : 1e-10);
    EXPECT_CLOSE(c.pA, p, single ? 1e-3 : 1e-6);
    EXPECT_EQ(hrReject, h);
    EXPECT_CLOSE(c.statB, c.test(b, h, p, 0.05), single ? 1e-4 : 1e-10);
    EXPECT_CLOSE(c.pB, p, single ? 1e-3 : 1e-6);
    EXPECT_EQ(hrNotReject, h);
    EXPECT_CLOSE(c.statW, c.test(w, h, p, 0.05), single ? 1e-4 : 1e-10);
    if (c.pW >= 0) {
      EXPECT_NEAR(1.0, p / c.pW, single ? 1e-2 : 1e-6);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Precisions, NormalityTests, testing::ValuesIn(kRealPrecisions), PrecisionName);

TEST(NormalityTests, ShapiroWilkSmallSamplesAndBeyond5000) {
  THypothesisResult h;
  double p;
  // R: shapiro.test(c(1.2, 3.4, 2)) (exact for n = 3), A[1:4], A[1:7] (the n <= 11 transform)
  struct TCase {
    std::vector<double> x;
    double W, p;
  };
  const TCase cases[] = {{{1.2, 3.4, 2.0}, 0.97580645161290336, 0.70172414784575921},
                         {{kA.begin(), kA.begin() + 4}, 0.94030073906745515, 0.6561613108175558},
                         {{kA.begin(), kA.begin() + 7}, 0.96140697904236005, 0.83071142074498661}};
  for (const TCase& c : cases) {
    EXPECT_CLOSE(c.W, ShapiroWilks(Vec(c.x), h, p), 1e-10);
    EXPECT_CLOSE(c.p, p, 1e-6);
  }
  // R: z <- qnorm(((1:5000) * 0.7548776662466927) %% 1); shapiro.test(z + 0.02 * z^2)
  std::vector<double> z = Skewed(6000, 1, 0);
  for (double& v : z) v += 0.02 * v * v;
  EXPECT_CLOSE(0.9991584645518975, ShapiroWilks(Vec(std::vector<double>(z.begin(), z.begin() + 5000)), h, p), 1e-10);
  EXPECT_CLOSE(0.015281671215346123, p, 1e-6);
  // Above 5000 the same approximations run on, no error. SciPy (W in single precision, so only
  // to about 3e-6): scipy.stats.shapiro of the 6000 points
  EXPECT_CLOSE(0.9992170333862305, ShapiroWilks(Vec(z), h, p), 1e-5);
  EXPECT_NEAR(1.0, p / 0.007947079837322235, 0.05);
  EXPECT_EQ(hrReject, h);
}

TEST(NormalityTests, AndersonDarlingFullySpecified) {
  THypothesisResult h;
  double p;
  // R: p <- pnorm(sort(A), 3, 1.5); -n - mean((2 * (1:n) - 1) * (log(p) + log(1 - rev(p))))
  EXPECT_CLOSE(1.0870719337184198, AndersonDarling(Vec(kA), 3.0, 1.5, h, p), 1e-10);
  EXPECT_EQ(hrNotReject, h);
  // Limiting upper percentage points of A^2 (Stephens 1974, case 0): 1.933 at 10%, 2.492 at 5%.
  // The mean is shifted until A^2 of 2000 normal scores reaches the point.
  std::vector<double> s;
  for (int i = 1; i <= 2000; ++i) s.push_back(NormalCDFInv((i - 0.5) / 2000.0, 0, 1));
  const TVec x = Vec(s);
  for (const auto& [a2, tail] : {std::pair{1.933, 0.10}, std::pair{2.492, 0.05}}) {
    double lo = 0, hi = 1;
    for (int it = 0; it < 60; ++it) {
      const double mid = 0.5 * (lo + hi);
      (AndersonDarling(x, mid, 1.0, h, p) < a2 ? lo : hi) = mid;
    }
    EXPECT_NEAR(tail, p, 2e-3 * tail);
  }
}

TEST(NormalityTests, MessagesAndQuietNan) {
  THypothesisResult h;
  double p;
  const TVec c = ComplexVec();
  const TVec four{1, 2, 3, 4}, seven{1, 2, 3, 4, 5, 6, 7};
  EXPECT_RAISES(GOFLillieTest(c, h, p), "GOFLillieTest: Data.Complex = true");
  EXPECT_RAISES(GOFLillieTest(four, h, p, 7.0), "GOFLillieTest: Data.Length < 5");
  EXPECT_RAISES(AndersonDarling(c, h, p), "AndersonDarling: Data.Complex = true");
  EXPECT_RAISES(AndersonDarling(seven, h, p), "AndersonDarling: Data.Length < 8");
  EXPECT_RAISES(AndersonDarling(c, 0, 1, h, p), "AndersonDarling: Data.Complex = true");
  EXPECT_RAISES(AndersonDarling(TVec(), 0, -1, h, p), "AndersonDarling: Data.Length = 0");
  EXPECT_RAISES(AndersonDarling(four, 0, 0, h, p), "AndersonDarling: Sigma <= 0");
  EXPECT_RAISES(GOFBeraJarqueTest(c, h, p), "GOFBeraJarqueTest: Data.Complex = true");
  EXPECT_RAISES(GOFBeraJarqueTest(Vec({1, 2}), h, p), "GOFBeraJarqueTest: Data.Length < 3");
  EXPECT_RAISES(ShapiroWilks(c, h, p), "ShapiroWilks: Data.Complex = true");
  EXPECT_RAISES(ShapiroWilks(Vec({1, 2}), h, p), "ShapiroWilks: Data.Length < 3");
  EXPECT_RAISES(ShapiroFrancia(c, h, p), "ShapiroFrancia: Data.Complex = true");
  EXPECT_RAISES(ShapiroFrancia(four, h, p), "ShapiroFrancia: Data.Length < 5");
  // NaN data, constant data and a bad Alpha: NaN statistic and p-value, hrNan.
  std::vector<double> nan(kA);
  nan[3] = kNaN;
  const TVec nanData = Vec(nan), constant = Vec(std::vector<double>(10, 2.5)), a = Vec(kA);
  for (const auto& [x, alpha] : {std::pair{&nanData, 0.05}, std::pair{&constant, 0.05}, std::pair{&a, 1.0}}) {
    for (const TNormCase& t : Cases()) {
      SCOPED_TRACE(t.name);
      EXPECT_TRUE(std::isnan(t.test(*x, h, p, alpha)));
      EXPECT_TRUE(std::isnan(p));
      EXPECT_EQ(hrNan, h);
    }
  }
  // A far outlier leaves A^2 finite and rejects.
  EXPECT_TRUE(std::isfinite(AndersonDarling(Vec({0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 1e9}), 0, 1, h, p)));
  EXPECT_EQ(hrReject, h);
  EXPECT_TRUE(std::isnan(AndersonDarling(Vec(nan), 0, 1, h, p)));
  EXPECT_EQ(hrNan, h);
  EXPECT_EQ(0, Kalix::ScratchOutstanding());
}

}  // namespace
