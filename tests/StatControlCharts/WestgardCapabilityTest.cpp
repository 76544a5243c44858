#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "support/TestSupport.h"

namespace {

using namespace KalixTest;
using namespace StatControlCharts;
using Kalix::mvDouble;
using Kalix::mvSingle;
using Kalix::TMtxFloatPrecision;

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

class WestgardPrecision : public testing::TestWithParam<TMtxFloatPrecision> {};
INSTANTIATE_TEST_SUITE_P(Precisions, WestgardPrecision, testing::ValuesIn(kRealPrecisions), PrecisionName);

std::vector<double> Repeat(std::vector<double> head, double v, int count) {
  head.insert(head.end(), static_cast<std::size_t>(count), v);
  return head;
}

TEST_P(WestgardPrecision, EachRuleFromASequenceBuiltToTriggerIt) {
  // Mean 0, sd 1; points at the mean are on neither side.
  const struct {
    const char* what;
    std::vector<double> x, codes;
  } cases[]{
      {"1-3s with 1-2s", {3.5}, {3}},
      {"comparisons are strict", {3.0, 2.0, 0.0, -2.0}, {2, 0, 0, 0}},
      {"same-side pair sets 4 and 8", {2.5, 2.5}, {2, 14}},
      {"opposite pair sets 8 only", {2.5, -2.5}, {2, 10}},
      {"below, then beyond 3s", {-2.5, -2.5, -3.5}, {2, 14, 15}},
      {"4-1s above, then below", {1.5, 1.5, 1.5, 1.5, -1.5, -1.5, -1.5, -1.5}, {0, 0, 0, 16, 0, 0, 0, 16}},
      {"4-1s broken by a side change", {1.5, 1.5, -1.5, 1.5, 1.5}, {0, 0, 0, 0, 0}},
      {"10x from the tenth point on", Repeat({}, 0.5, 11), Repeat(Repeat({}, 0, 9), 32, 2)},
      {"10x below", Repeat({}, -0.5, 10), Repeat(Repeat({}, 0, 9), 32, 1)},
      {"a point at the mean breaks the run", Repeat(Repeat(Repeat({}, -0.5, 5), 0, 1), -0.5, 5), Repeat({}, 0, 11)},
      {"NaN counts below", Repeat(Repeat({}, -0.5, 9), kNaN, 1), Repeat(Repeat({}, 0, 9), 32, 1)},
      {"NaN is not above", Repeat(Repeat({}, 0.5, 9), kNaN, 1), Repeat({}, 0, 10)},
      {"empty", {}, {}},
  };
  for (const auto& c : cases) {
    TVec r;
    StatControlCharts::QCWestgardRules(Vec(c.x, GetParam()), r, 0.0, 1.0);
    ExpectAllClose(c.codes, r, 0.0);
    EXPECT_EQ(GetParam(), r.FloatPrecision()) << c.what;
  }
}

TEST(QCWestgardRules, RunsCarryAcrossBlocksAndShiftedMean) {
  // Long series (the kernel works in blocks of a few thousand points): a pair and a run that
  // straddle every multiple of 512 up to 8192 are found; mean 100, sd 4.
  std::vector<double> x(9000, 100.0), expected(9000, 0.0);
  for (std::size_t b = 512; b < 9000; b += 512) {
    x[b - 1] = x[b] = 111;  // 2.75 sd above
    expected[b - 1] = 2, expected[b] = 14;
    for (std::size_t i = b + 100; i < b + 110; ++i) x[i] = 100.5;
    expected[b + 109] = 32;
  }
  TVec data = Vec(x), r;
  QCWestgardRules(data, r, 100.0, 4.0);
  ExpectAllClose(expected, r, 0.0);
  QCWestgardRules(data, data, 100.0, 4.0);  // in place
  ExpectAllClose(expected, data, 0.0);
}

TEST(QCWestgardRules, RefusesComplexData) {
  TVec r;
  EXPECT_RAISES(QCWestgardRules(ComplexVec(), r, 0, 1), "QCWestgardRules: (Data.Complex)");
}

// Twelve fill weights (kg), tolerance limits 9.9 .. 10.1.
const std::vector<double> kFill{9.98, 10.02, 10.05, 9.97, 10.01, 10.03, 9.99, 10.00, 10.04, 9.96, 10.02, 10.01};

TEST(QCCapIndexes, IndexesFractionAndIntervals) {
  // R: m <- mean(x); s <- sd(x); frac <- (1-pnorm(usl,m,s)) + pnorm(lsl,m,s);
  // cp*sqrt(qchisq(c(a/2,1-a/2),n-1)/(n-1)); cpk -+ qnorm(1-a/2)*sqrt((n-1)/(9*n*n-1)+cpk^2/(2*n-6)*(1+6/(n-1))).
  double frac, cp, cpk;
  Statistics::TTwoElmReal cpci, cpkci;
  for (auto p : kRealPrecisions) {
    const double tol = p == mvSingle ? 2e-4 : 1e-12;  // single: the mean of 10.0x keeps ~7 digits
    QCCapIndexes(Vec(kFill, p), 9.9, 10.1, frac, cp, cpk, cpci, cpkci, 0.05);
    ExpectAllClose({0.00044421856115071945, 1.2014863935167135, 1.1213873006156079, 0.70763999590930426,
                    1.69606806604231, 0.45251906072654846, 1.7902555405046674},
                   {frac, cp, cpk, cpci[0], cpci[1], cpkci[0], cpkci[1]}, tol);
  }
}

TEST(QCCapIndexes, InfiniteLimitsAndDegenerateData) {
  double frac, cp = 0, cpk = 0;
  Statistics::TTwoElmReal cpci{-7, -7}, cpkci{-7, -7};
  // R: 1-pnorm(10.1, m, s) and pnorm(9.9, m, s).
  QCCapIndexes(Vec(kFill), -kInf, 10.1, frac, cp, cpk, cpci, cpkci);
  EXPECT_CLOSE(0.00038388244906362168, frac, 1e-12);
  EXPECT_TRUE(std::isnan(cp) && std::isnan(cpk));
  EXPECT_EQ(-7, cpci[0]);
  EXPECT_EQ(-7, cpkci[1]);
  QCCapIndexes(Vec(kFill), 9.9, kInf, frac, cp, cpk, cpci, cpkci);
  EXPECT_CLOSE(6.0336112087097782e-05, frac, 1e-12);
  EXPECT_TRUE(std::isnan(cp));
  // A centred process has Cpk = Cp; three points leave the Cpk interval unbounded.
  QCCapIndexes(Vec({1, 2, 3}), 0, 4, frac, cp, cpk, cpci, cpkci);
  EXPECT_CLOSE(cp, cpk, 1e-15);
  EXPECT_EQ(-kInf, cpkci[0]);
  EXPECT_EQ(kInf, cpkci[1]);
  // Constant data: no spread, infinite indexes.
  QCCapIndexes(Vec({5, 5, 5, 5, 5}), 4, 7, frac, cp, cpk, cpci, cpkci);
  EXPECT_EQ(kInf, cp);
  EXPECT_EQ(kInf, cpk);
}

TEST(StatControlCharts, ConcurrentCallsMatchSerialOnes) {
  constexpr int kThreads = 4;
  const auto work = [](int t) {
    std::vector<double> v(20000);
    for (std::size_t i = 0; i < v.size(); ++i) v[i] = 3.0 * std::sin(0.37 * double(i) * (t + 1));
    TVec data = Vec(v, t % 2 ? mvSingle : mvDouble), codes, draw;
    QCWestgardRules(data, codes, 0.1, 1.0);
    TMtx m(4000, 5, data.FloatPrecision());
    for (int i = 0; i < m.Length(); ++i) m.Values(i) = data[i];
    double cl, ucl, lcl, frac, cp, cpk;
    Statistics::TTwoElmReal a, b;
    QCXChart(m, draw, cl, ucl, lcl);
    QCCapIndexes(data, -3, 3, frac, cp, cpk, a, b);
    std::vector<double> out = codes.ToVector();
    for (double s : {cl, ucl, lcl, frac, cp, cpk, a[0], b[1]}) out.push_back(s);
    out.push_back(Kalix::ScratchOutstanding());
    return out;
  };
  EXPECT_EQ(0, ConcurrentMismatches(work, kThreads, 3));
}

}  // namespace
