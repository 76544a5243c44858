#include "StatisticsTest.h"

namespace {

// Sorted: -1, 0.5, 1.5, 2.5, 3.25, 4, 6, 7, 8.75, 10.
const std::vector<double> kX{2.5, -1, 7, 3.25, 10, 0.5, 4, 8.75, 6, 1.5};
const std::vector<double> kP{0, 0.05, 0.1, 0.25, 0.3, 0.5, 0.75, 0.95, 1};

struct TMethodCase {
  TPercentileMethod method;
  std::vector<double> expected;  // at kP
};

const std::vector<TMethodCase> kMethodCases{
    // R: quantile(x, p, type = 6)
    {pctMethodNPlus, {-1, -1, -0.84999999999999987, 1.25, 1.7999999999999998, 3.625, 7.4375, 10, 10}},
    // R: quantile(x, p, type = 7)
    {pctMethodNMinus,
     {-1, -0.32500000000000007, 0.34999999999999987, 1.75, 2.1999999999999997, 3.625, 6.75, 9.4374999999999982, 10}},
    // R: quantile(x, p, type = 3)
    {pctMethodClosestN, {-1, -1, -1, 0.5, 1.5, 3.25, 7, 10, 10}},
    // R: quantile(x, p, type = 1); decimal probabilities behave as written: 10 * 0.3 is the whole number 3
    {pctMethodEDF, {-1, -1, -1, 1.5, 1.5, 3.25, 7, 10, 10}},
    // By hand from the sorted sample: fractional n*p averages s_k and s_k+1 with k = ceil(n*p),
    // a whole n*p takes s_(n*p) alone (e.g. p = 0.25: (s3 + s4)/2 = 2; p = 0.3: s3 = 1.5).
    {pctMethodEDFAve, {-1, -0.25, -1, 2, 1.5, 3.25, 7.875, 10, 10}},
};

class PercentileByPrecision : public testing::TestWithParam<TMtxFloatPrecision> {};

TEST_P(PercentileByPrecision, FiveMethodsMatchReference) {
  const TVec x = Vec(kX, GetParam());
  for (const TMethodCase& c : kMethodCases) {
    SCOPED_TRACE("method " + std::to_string(c.method));
    std::vector<double> arrayForm(kP.size());
    Percentile(x, kP, arrayForm, c.method);
    for (std::size_t i = 0; i < kP.size(); ++i) {
      SCOPED_TRACE("p = " + std::to_string(kP[i]));
      EXPECT_CLOSE(c.expected[i], Percentile(x, kP[i], c.method), TolFor(GetParam()));
      EXPECT_CLOSE(c.expected[i], arrayForm[i], TolFor(GetParam()));
    }
  }
  // R: IQR(x, type = 6); IQR(x, type = 7)
  EXPECT_CLOSE(6.1875, InterQuartile(x, pctMethodNPlus), TolFor(GetParam()));
  EXPECT_CLOSE(5.0, InterQuartile(x, pctMethodNMinus), TolFor(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Precisions, PercentileByPrecision, testing::ValuesIn(kRealPrecisions), PrecisionName);

TEST(Percentile, RuleEdgeCases) {
  const TVec four = Vec({40, 10, 30, 20}), withNaN = Vec({NAN, 3, 1, 2});
  const struct {
    const TVec* x;
    double p;
    TPercentileMethod m;
    double expected;
  } cases[]{
      {&four, 0.5, pctMethodEDFAve, 20},                   // n*p = 2 is whole: s2 alone
      {&four, 0.6, pctMethodEDFAve, 35},                   // n*p = 2.4: k = 3, (s3 + s4)/2
      {&four, 0.625, pctMethodClosestN, 20},               // n*p = 2.5 rounds half to even: s2, not s3
      {&four, 0.875, pctMethodClosestN, 40},               // 3.5 rounds to 4
      {&four, 0.5, static_cast<TPercentileMethod>(7), 0},  // unknown rule
      {&withNaN, 0.0, pctMethodNPlus, 1},                  // NaNs sort above every number
      {&withNaN, 0.6, pctMethodNPlus, 3},
      {&withNaN, 1.0, pctMethodNPlus, NAN},
      {&four, NAN, pctMethodNPlus, NAN},
  };
  for (const auto& c : cases) EXPECT_CLOSE(c.expected, Percentile(*c.x, c.p, c.m), 0) << c.p << " " << c.m;
  EXPECT_EQ(7.0, Percentile(Vec({7}), 0.3, pctMethodNMinus));
  // A whole position takes s_k alone, whatever its neighbour holds.
  // R: quantile(c(1, 2, 3, Inf), 0.6, type = 6)
  EXPECT_EQ(3.0, Percentile(Vec({INFINITY, 3, 1, 2}), 0.6, pctMethodNPlus));
}

TEST(Percentile, PositionsWithinFourUlpsAreTakenAsWritten) {
  // In binary 25 * 0.28 = 7 + 1 ulp and 45 * 0.7 = 31.5 - 1 ulp. As written they are the whole
  // number 7 (EDF and EDFAve take s7 = 49 alone) and the half 31.5 (ClosestN rounds it to even,
  // s32 = 1024); R's types 1 and 3 see the rounded products (64, 961). 1e-14 away is not snapped.
  TVec sq25(25), sq45(45);
  for (int i = 0; i < 45; ++i) (i < 25 ? sq25[i] : sq45[i]) = (i + 1.0) * (i + 1.0);
  for (int i = 0; i < 25; ++i) sq45[i] = sq25[i];
  EXPECT_EQ(49.0, Percentile(sq25, 0.28, pctMethodEDF));
  EXPECT_EQ(49.0, Percentile(sq25, 0.28, pctMethodEDFAve));
  EXPECT_EQ(64.0, Percentile(sq25, 0.28 + 1e-14, pctMethodEDF));
  EXPECT_EQ(1024.0, Percentile(sq45, 0.7, pctMethodClosestN));
  EXPECT_EQ(961.0, Percentile(sq45, 0.7 - 1e-14, pctMethodClosestN));
}

TEST(Percentile, ArrayFormClampsOutOfRangeProbabilities) {
  const TVec x = Vec(kX);
  const std::vector<double> p{-0.5, 1.5, -std::numeric_limits<double>::infinity(),
                              std::numeric_limits<double>::infinity()};
  for (TPercentileMethod m : {pctMethodNPlus, pctMethodNMinus, pctMethodClosestN, pctMethodEDF, pctMethodEDFAve}) {
    std::vector<double> out(p.size());
    Percentile(x, p, out, m);
    EXPECT_EQ(std::vector<double>({-1, 10, -1, 10}), out) << "method " << m;
    Percentile(Vec({7}), p, out, m);  // One value: (n - 1) * P is 0 * Inf for an infinite P, yet s1 is the only answer
    EXPECT_EQ(std::vector<double>({7, 7, 7, 7}), out) << "method " << m;
  }
}

TEST(Percentile, MessagesAndTheirOrder) {
  const TVec cx = ComplexVec();
  std::vector<double> one(1), two(2), none;
  EXPECT_RAISES(Percentile(cx, 2.0), "Percentile: X.Complex");
  EXPECT_RAISES(Percentile(Vec({1}), -0.1), "Percentile: (P < 0) or (P > 1)");
  EXPECT_RAISES(Percentile(Vec({1}), 1.1), "Percentile: (P < 0) or (P > 1)");
  EXPECT_RAISES(Percentile(cx, none, none), "Percentile: P.Length = 0");
  EXPECT_RAISES(Percentile(cx, one, two), "Percentile: P.Length <> Percentiles.Length");
  EXPECT_RAISES(Percentile(cx, one, one), "Percentile: X.Complex");
  // An empty sample reaches the rule, whose element access refuses it.
  EXPECT_RAISES(Percentile(TVec(), 0.5), "Values: index out of range");
  EXPECT_RAISES(Percentile(TVec(), one, one), "Values: index out of range");
}

TEST(Ranks, GathersSortedValuesByTheSortPermutation) {
  TVec x = Vec({30, 10, 20});
  TVec r;
  Ranks(x, r);
  EXPECT_EQ(std::vector<double>({10, 20, 30}), x.ToVector());  // sorted in place, deliberately
  EXPECT_EQ(std::vector<double>({20, 30, 10}), r.ToVector());  // Permutation (1, 2, 0): Result[i] = sorted[Idx[i]]
}

TEST(TiedRanks, MidranksAndTieSum) {
  TVec r;
  double tieSum = -1;
  // R: rank(c(3.1, 2.2, 3.1, 5.0, 2.2, 2.2, 9.9, 3.1, 0.1)); two groups of three: 2 * (27 - 3)/2
  TiedRanks(Vec({3.1, 2.2, 3.1, 5.0, 2.2, 2.2, 9.9, 3.1, 0.1}, mvSingle), r, tieSum);
  EXPECT_EQ(mvSingle, r.FloatPrecision());
  EXPECT_EQ(std::vector<double>({6, 3, 6, 8, 3, 3, 9, 6, 1}), r.ToVector());
  EXPECT_EQ(24.0, tieSum);
  // Empty input: the tie sum is cleared and Result left alone.
  r = Vec({7});
  TiedRanks(TVec(), r, tieSum);
  EXPECT_EQ(0.0, tieSum);
  EXPECT_EQ(std::vector<double>({7}), r.ToVector());
}

}  // namespace
