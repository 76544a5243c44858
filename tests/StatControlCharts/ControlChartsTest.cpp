#include <array>
#include <limits>
#include <numbers>

#include "support/TestSupport.h"

namespace {

using namespace KalixTest;
using namespace StatControlCharts;

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

// Six subgroups of four inside diameters (mm) of forged piston rings.
TMtx Rings(TMtxFloatPrecision p = mvDouble) {
  return Mtx({{74.030, 74.002, 74.019, 73.992}, {73.995, 73.992, 74.001, 74.011}, {73.988, 74.024, 74.021, 74.005},
              {74.002, 73.996, 73.993, 74.015}, {73.992, 74.007, 74.015, 73.989}, {74.009, 73.994, 73.997, 73.985}},
             p);
}
// Nonconforming counts of eight samples, and their sizes when they differ.
const std::vector<double> kCounts{12, 15, 8, 10, 4, 7, 16, 9};
const std::vector<double> kSizes{50, 60, 45, 55, 40, 50, 70, 50};

class ChartPrecision : public testing::TestWithParam<TMtxFloatPrecision> {
 protected:
  TMtxFloatPrecision p() const { return GetParam(); }
  double tol() const { return TolFor(GetParam()); }
};
INSTANTIATE_TEST_SUITE_P(Precisions, ChartPrecision, testing::ValuesIn(kRealPrecisions), PrecisionName);

using VarChart = void (*)(const TMtx&, TVec&, double&, double&, double&, double);

TEST_P(ChartPrecision, VariablesChartsOnPistonRings) {
  // R: c4 <- sqrt(8/(3*pi)) (n = 4); z <- qnorm(0.5*0.9973+0.5); sbar, xbarbar, rbar from apply();
  // X: xbb -+ z*sbar/(c4*2); S: sbar -+ z*sbar*sqrt(1-c4^2)/c4; R: rbar -+ 0.5*z*rbar*sqrt(4*log(2)/(3*log(4))).
  // CL, UCL, LCL and DrawVec[0] (mean, sd and range of the first ring sample).
  const std::pair<VarChart, std::array<double, 4>> cases[]{
      {QCXChart, {74.003083333333336, 74.023152279462579, 73.983014387204094, 74.01075}},
      // The s chart's negative lower limit is clipped at 0; the R chart's is not.
      {QCSChart, {0.012326678487775793, 0.02793271409400417, 0.0, 0.016997548842897409}},
      {QCRChart, {0.027499999999998675, 0.061180225664304366, -0.0061802256643070201, 0.038}},
  };
  // Single precision loses the digits of 74.0xx below 1e-5 of the spread; compare spreads at 1e-4.
  const double tol = p() == mvSingle ? 1e-4 : 1e-11;
  for (const auto& [chart, e] : cases) {
    TVec draw;
    double cl, ucl, lcl;
    chart(Rings(p()), draw, cl, ucl, lcl, 0.9973);
    ASSERT_TRUE(draw.Length() == 6 && draw.FloatPrecision() == p());
    ExpectAllClose({e[0], (e[1] - e[0]) / e[0], e[2], e[3]}, {cl, (ucl - cl) / cl, lcl, draw[0]}, tol);
  }
}

TEST(QCXChart, C4ForLargeSubgroups) {
  // Half-width * c4 * sqrt(n) / (z * sbar) = 1 where, past the range of the gamma function,
  // c4(2k) = sqrt(2/((2k-1) pi)) 4^(k-1) / choose(2k-2, k-1) at k = 200 in exact integer
  // arithmetic (bc -l, scale=40); small subgroups are checked on the piston rings.
  const int n = 400;
  TMtx x(3, n);
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < n; ++c) x(r, c) = std::sin(1.0 + r * n + c);
  TVec draw, sd;
  double cl, ucl, lcl;
  QCXChart(x, draw, cl, ucl, lcl, 0.9973);
  Kalix::StdDevRows(x, sd);
  const double z = Kalix::NormalCDFInv(0.5 * 0.9973 + 0.5, 0, 1);
  EXPECT_CLOSE(1.0, (ucl - cl) * 0.99937363049123955 * std::sqrt(n) / (z * Kalix::Mean(sd)), 1e-13);
}

TEST_P(ChartPrecision, AttributesChartsWithConstantSize) {
  // R: d <- c(12,15,8,10,4,7,16,9); m <- 50; z <- qnorm(0.99865); p <- mean(d/m);
  // p -+ z*sqrt(p*(1-p)/m); mean(d) -+ z*sqrt(m*pp*(1-pp)); u -+ z*sqrt(u/m); mean(d) -+ z*sqrt(mean(d)).
  // CL, UCL, LCL, DrawVec[0] and DrawVec[6]; the c chart (no size) plots the counts.
  using AttrChart = void (*)(const TVec&, int, TVec&, double&, double&, double&, double);
  const std::pair<AttrChart, std::vector<double>> cases[]{
      {QCPChart, {0.2025, 0.37299466014382121, 0.032005339856178844, 0.24, 0.32}},
      {QCNPChart, {10.125, 18.649733007191056, 1.6002669928089439, 12, 16}},
      {QCUChart, {0.2025, 0.39341736674497807, 0.011582633255021929, 0.24, 0.32}},
      {nullptr, {10.125, 19.670868337248905, 0.57913166275109695, 12, 16}}};
  for (const auto& [chart, e] : cases) {
    TVec draw;
    double cl, ucl, lcl;
    if (chart)
      chart(Vec(kCounts, p()), 50, draw, cl, ucl, lcl, 0.99865);
    else
      QCCChart(Vec(kCounts, p()), draw, cl, ucl, lcl, 0.99865);
    ExpectAllClose(e, {cl, ucl, lcl, draw[0], draw[6]}, tol());
    EXPECT_EQ(p(), draw.FloatPrecision());
  }
}

TEST_P(ChartPrecision, AttributesChartsWithSizePerSample) {
  // R: pb <- sum(d)/sum(ns); p: pb -+ z*sqrt(pb*(1-pb)/ns); np: ns*pb -+ z*sqrt(pb*(1-pb))*sqrt(ns);
  // u: pb -+ z*sqrt(pb/ns).
  const double pbar = 0.19285714285714287;
  TVec data = Vec(kCounts, p()), sizes = Vec(kSizes, p()), draw, ucl, lcl, cl;
  double c;
  QCPChart(data, sizes, draw, c, ucl, lcl, 0.99865);
  ExpectAllClose({pbar, 15.0 / 60, 0.345661369428924, 0.0057109500363955457}, {c, draw[1], ucl[1], lcl[4]}, tol());
  QCUChart(data, sizes, draw, c, ucl, lcl, 0.99865);
  ExpectAllClose({pbar, 16.0 / 70, 0.4011650677596445, -0.015450782045358769}, {c, draw[6], ucl[4], lcl[4]}, tol());

  // Deliberate: the np chart leaves DrawVec alone (the counts are plotted as they are).
  TVec untouched = Vec({-1.0});
  QCNPChart(data, sizes, untouched, cl, ucl, lcl, 0.99865);
  ExpectAllClose({-1.0}, untouched, 0.0);
  ExpectAllClose({11.571428571428571, 23.402845700324779, 0.22843800145582094}, {cl[1], ucl[6], lcl[4]}, tol());
  EXPECT_EQ(p(), ucl.FloatPrecision());
}

TEST_P(ChartPrecision, EwmaRecursionAndLimits) {
  // Row means 11, 8.5, 12.5, 10, CL 10.5; z_t by hand with lambda = 0.25 (exact in binary).
  const TMtx x = Mtx({{10.5, 11.5}, {8, 9}, {12, 13}, {9.5, 10.5}}, p());
  TVec draw, ucl, lcl;
  double cl, u, l;
  EWMAChart(x, draw, cl, u, l, 0.25, 0.99865);
  ExpectAllClose({10.625, 10.09375, 10.6953125, 10.521484375}, draw, 0.0);
  EXPECT_CLOSE(10.5, cl, 0.0);
  // sigma-hat = sd / c4(2) = sqrt(0.5) / sqrt(2/pi) = sqrt(pi)/2; d = z sigma sqrt(lambda/((2-lambda) n)).
  const double z = Kalix::NormalCDFInv(0.99865, 0, 1), sigma = std::sqrt(std::numbers::pi) / 2;
  EXPECT_CLOSE(z * sigma * std::sqrt(0.25 / (1.75 * 2)), u - cl, tol());
  EXPECT_CLOSE(u - cl, cl - l, tol());
  // Exact limits: the first half-width is d0 * lambda, then they widen towards the constant form.
  EWMAChart(x, draw, cl, ucl, lcl, 0.25, 0.99865);
  EXPECT_CLOSE(z * sigma / std::sqrt(2.0) * 0.25, ucl[0] - cl, tol());
  EXPECT_CLOSE(cl - lcl[0], ucl[0] - cl, tol());
  EXPECT_LT(ucl[2], ucl[3]);
  TMtx longx(200, 2, p());
  for (int r = 0; r < 200; ++r) longx(r, 0) = r % 7, longx(r, 1) = r % 5;
  EWMAChart(longx, draw, cl, u, l, 0.25, 0.99865);
  EWMAChart(longx, draw, cl, ucl, lcl, 0.25, 0.99865);
  EXPECT_CLOSE(u, ucl[199], tol());
  EXPECT_CLOSE(l, lcl[199], tol());
}

TEST_P(ChartPrecision, CumSumAgainstAHandRunOfTheRecursion) {
  // Row means 11, 8.5, 12.5, 10; target 10, allowance 0.5, sigma 2: cumulative (mean - 10)/2 is
  // 0.5, -0.25, 1, 1; C+ = 0.5, 0, 2, 1.5 and C- = 0, 1, 0, 0 by the tabular recursion.
  const TMtx x = Mtx({{10.5, 11.5}, {8, 9}, {12, 13}, {9.5, 10.5}}, p());
  TVec draw, cplus, cminus;
  QCCumSumChart(x, draw, 0.5, 5.0, 10.0, 2.0, &cplus, &cminus, 0.99865);
  ExpectAllClose({0.5, -0.25, 1, 1}, draw, 0.0);
  ExpectAllClose({0.5, 0, 2, 1.5}, cplus, 0.0);
  ExpectAllClose({0, 1, 0, 0}, cminus, 0.0);
  EXPECT_EQ(p(), cplus.FloatPrecision());
  // Only one of the two: neither is written.
  TVec only;
  QCCumSumChart(x, draw, 0.5, 5.0, 10.0, 2.0, &only);
  EXPECT_EQ(0, only.Length());
}

TEST(ControlCharts, MovingRangeAndDegenerateDataGiveNaNOrInfiniteLimitsWithoutError) {
  TVec draw, ucl, lcl;
  double cl, u, l;
  // R: y <- c(10.2,11.5,9.8,12.1,10.9,11.7); mr <- mean(diff(y)) (signed, deliberately);
  // mean(y) -+ qnorm(0.5*0.9973+0.5)*mr/1.128.
  QCMRChart(Vec({10.2, 11.5, 9.8, 12.1, 10.9, 11.7}), cl, u, l, 0.9973);
  ExpectAllClose({11.033333333333333, 11.831199554797005, 10.235467111869662}, {cl, u, l}, 1e-12);
  EWMAChart(Mtx({{1}, {2}, {4}}), draw, cl, u, l, 0.5, 0.99865);  // EWMA subgroups of one: unbounded limits
  EWMAChart(Mtx({{1}, {2}, {4}}), draw, cl, ucl, lcl, 0.5, 0.99865);
  ExpectAllClose({kInf, -kInf, kInf, -kInf, kInf, -kInf}, {u, l, ucl[0], lcl[1], ucl[2], lcl[2]}, 0.0);
  ExpectAllClose({(1 + 7.0 / 3) / 2, (2 + (1 + 7.0 / 3) / 2) / 2, (4 + (2 + (1 + 7.0 / 3) / 2) / 2) / 2}, draw, 1e-15);
  QCXChart(Mtx({{1}, {2}}), draw, cl, u, l, 0.9973);  // One observation per subgroup: no standard deviation, no c4
  ExpectAllClose({1.5, kNaN, kNaN}, {cl, u, l}, 0.0);
  QCRChart(TMtx(0, 5), draw, cl, u, l, 0.9973);
  EXPECT_EQ(0, draw.Length());
  ExpectAllClose({kNaN, kNaN}, {cl, u}, 0.0);
  for (VarChart chart : {QCXChart, QCSChart, QCRChart}) {
    chart(TMtx(3, 0), draw, cl, u, l, 0.9973);
    EXPECT_TRUE(draw.Length() == 3 && std::isnan(draw[0]) && std::isnan(cl) && std::isnan(u));
  }
  QCPChart(Vec({1, 2}), 0, draw, cl, u, l, 0.99865);
  EXPECT_EQ(kInf, draw[0]);
  QCPChart(Vec({0, 0}), Vec({0, 0}), draw, cl, ucl, lcl, 0.99865);
  EXPECT_TRUE(std::isnan(cl) && std::isnan(ucl[0]));
  QCMRChart(Vec({3}), cl, u, l, 0.9973);
  ExpectAllClose({3, kNaN}, {cl, u}, 0.0);
}

TEST(ControlCharts, MessagesInOrder) {
  TVec d = Vec({1, 2}), n = Vec({10, 10}), shortN = Vec({10}), single = Vec({10, 10}, mvSingle), draw, u, l, c;
  double cl, uc, lc;
  // Complexity before length, length before precision; the np and u charts speak as the p chart.
  EXPECT_RAISES(QCPChart(ComplexVec(), shortN, draw, cl, u, l), "QCPChart: (Data.Complex) or (SampleSize.Complex)");
  EXPECT_RAISES(QCPChart(d, ComplexVec(), draw, cl, u, l), "QCPChart: (Data.Complex) or (SampleSize.Complex)");
  EXPECT_RAISES(QCPChart(d, Vec({10}, mvSingle), draw, cl, u, l), "QCPChart: Data.Length <> SampleSize.Length");
  EXPECT_RAISES(QCPChart(d, single, draw, cl, u, l), "QCPChart: Data.FloatPrecision <> SampleSize.FloatPrecision");
  EXPECT_RAISES(QCNPChart(ComplexVec(), n, draw, c, u, l), "QCPChart: (Data.Complex) or (SampleSize.Complex)");
  EXPECT_RAISES(QCNPChart(d, shortN, draw, c, u, l), "QCPChart: Data.Length <> SampleSize.Length");
  EXPECT_RAISES(QCNPChart(d, single, draw, c, u, l), "QCPChart: Data.FloatPrecision <> SampleSize.FloatPrecision");
  EXPECT_RAISES(QCUChart(d, ComplexVec(), draw, cl, u, l), "QCPChart: (Data.Complex) or (SampleSize.Complex)");
  EXPECT_RAISES(QCUChart(d, Vec({10}, mvSingle), draw, cl, u, l),
                "QCPChart: Data.FloatPrecision <> SampleSize.FloatPrecision");
  // The u chart makes no length check of its own: the division refuses the mismatch.
  EXPECT_RAISES(QCUChart(d, shortN, draw, cl, u, l), "Divide: X.Length <> Y.Length");
  EXPECT_RAISES(EWMAChart(ComplexMtx(), draw, cl, uc, lc), "EWMAChart: (Data.Complex)");
  EXPECT_RAISES(EWMAChart(ComplexMtx(), draw, cl, u, l), "EWMAChart: (Data.Complex)");
  EXPECT_RAISES(QCMRChart(ComplexVec(), cl, uc, lc), "QCMRChart: (Data.Complex)");
  EXPECT_RAISES(QCCumSumChart(ComplexMtx(), draw, 0.5, 5, 0, 1), "QCCumSumChart: (Data.Complex)");
  EXPECT_RAISES(QCWestgardRules(ComplexVec(), draw, 0, 1), "QCWestgardRules: (Data.Complex)");
}

std::vector<double> Repeat(std::vector<double> head, double v, int count) {
  head.insert(head.end(), static_cast<std::size_t>(count), v);
  return head;
}

TEST_P(ChartPrecision, EachRuleFromASequenceBuiltToTriggerIt) {
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

// Twelve fill weights (kg), tolerance limits 9.9 .. 10.1.
const std::vector<double> kFill{9.98, 10.02, 10.05, 9.97, 10.01, 10.03, 9.99, 10.00, 10.04, 9.96, 10.02, 10.01};

TEST(QCCapIndexes, IndexesFractionIntervalsAndDegenerateData) {
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
  cpci = cpkci = {-7, -7};
  // R: 1-pnorm(10.1, m, s) and pnorm(9.9, m, s).
  QCCapIndexes(Vec(kFill), -kInf, 10.1, frac, cp, cpk, cpci, cpkci);
  ExpectAllClose({0.00038388244906362168, kNaN, kNaN, -7, -7}, {frac, cp, cpk, cpci[0], cpkci[1]}, 1e-12);
  QCCapIndexes(Vec(kFill), 9.9, kInf, frac, cp, cpk, cpci, cpkci);
  ExpectAllClose({6.0336112087097782e-05, kNaN}, {frac, cp}, 1e-12);
  // A centred process has Cpk = Cp; three points leave the Cpk interval unbounded.
  QCCapIndexes(Vec({1, 2, 3}), 0, 4, frac, cp, cpk, cpci, cpkci);
  ExpectAllClose({cp, -kInf, kInf}, {cpk, cpkci[0], cpkci[1]}, 1e-15);
  QCCapIndexes(Vec({5, 5, 5, 5, 5}), 4, 7, frac, cp, cpk, cpci, cpkci);  // Constant data: no spread, infinite indexes
  ExpectAllClose({kInf, kInf}, {cp, cpk}, 0);
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
