#include "support/TestSupport.h"

using namespace Kalix;
using namespace KalixTest;

namespace {

// NIST StRD univariate summaries; NumAcc1 sits on a common offset of 1e7.
TEST(NistUnivariate, MeanAndStdDevDigitsAndPairwiseSingleSums) {
  for (const char* name : {"Lew.dat", "Lottery.dat", "Mavro.dat", "Michelso.dat", "NumAcc1.dat", "NumAcc2.dat"}) {
    SCOPED_TRACE(name);
    const TNistFile f = LoadNist(name);
    TVec y(static_cast<int>(f.data.size()));
    for (int i = 0; i < y.Length(); ++i) y[i] = f.data[static_cast<std::size_t>(i)].at(0);
    ASSERT_GT(y.Length(), 2);
    const double mean = f.NumbersAfter("Sample Mean").back(), sd = f.NumbersAfter("Sample Standard Deviation").back();
    const double m = Mean(y);
    EXPECT_GE(LRE(m, mean), 14.0) << "mean " << m;
    EXPECT_GE(LRE(StdDev(y), sd), 13.0) << "sd " << StdDev(y);
    EXPECT_GE(LRE(StdDev(y, m), sd), 13.0);
  }
  // A running float sum of a million 0.1f drifts by about 1%; pairwise blocks stay near 1e-6.
  const TVec x = Vec(std::vector<double>(1'000'000, 0.1), mvSingle);
  const double exact = 1e6 * static_cast<double>(0.1F);
  EXPECT_LT(std::fabs(Sum(x) - exact) / exact, 1e-5);
  EXPECT_LT(std::fabs(Mean(x) - exact / 1e6) / 0.1, 1e-5);
}

TEST(Reductions, DegenerateInputs) {
  // Empty, one value (divisor n - 1 = 0), a NaN; constant data have no spread.
  for (double v : {Mean(TVec()), StdDev(TVec()), StdDev(Vec({3})), Mean(Vec({1, NAN}))}) EXPECT_TRUE(std::isnan(v));
  EXPECT_EQ(0.0, StdDev(Vec({2, 2, 2})));
  double mx, mn;
  for (const TVec& v : {Vec({1, NAN, 3}), TVec()}) {
    MaxMin(v, mx, mn);
    EXPECT_TRUE(std::isnan(mx) && std::isnan(mn));
  }
  MaxMin(Vec({-INFINITY, 2, 7}, mvSingle), mx, mn);
  EXPECT_TRUE(mx == 7.0 && mn == -Kalix::INF);
}

TEST(Reductions, ScalarsAgainstDirectFormulas) {
  const TVec x = Vec({3, -4, 12, 0.5});
  ExpectAllClose({11.5, -72, 169.25, 19.5, std::sqrt(169.25), std::sqrt(169.25 / 4), 5, 11},
                 {Sum(x), Product(x), SumOfSquares(x), NormL1(x), NormL2(x), RMS(x), NormL2(Vec({1, 2}), Vec({4, 6})),
                  DotProd(Vec({1, 2}), Vec({3, 4}))},
                 kTolDouble);
  // R: sd(c(3, -4, 12, 0.5)); about a given mean, not re-centred: sqrt(sum((c(3, -4, 12, 0.5) - 1)^2) / 3)
  ExpectAllClose({6.7376430102323868, 7.076957915187382}, {StdDev(x), StdDev(x, 1.0)}, kTolDouble);
  EXPECT_CLOSE(7.076957915187382, StdDev(Vec({3, -4, 12, 0.5}, mvSingle), 1.0), kTolSingle);
  EXPECT_RAISES(NormL2(Vec({1}), Vec({1, 2})), "NormL2: X.Length <> Y.Length");
  EXPECT_RAISES(DotProd(Vec({1}), Vec({1}, mvSingle)), "DotProd: X.FloatPrecision <> Y.FloatPrecision");
  EXPECT_RAISES(Mean(ComplexVec()), "Mean: X.Complex");
}

TEST(Reductions, RowsAndColumnsWithAnOffset) {
  TMtx a(1000, 3);  // Columns on an offset of 1e9: a one-pass variance would lose every digit here
  for (int r = 0; r < 1000; ++r)
    for (int c = 0; c < 3; ++c) a(r, c) = 1e9 + (c + 1) * ((r % 2) ? 1.0 : -1.0);
  TVec m, s;
  MeanCols(a, m);
  StdDevCols(a, s);
  for (int c = 0; c < 3; ++c) {
    EXPECT_EQ(1e9, m[c]);
    // sd of n values +-d about their mean: d * sqrt(n / (n - 1))
    EXPECT_CLOSE((c + 1) * std::sqrt(1000.0 / 999.0), s[c], 1e-10);
  }
  SumCols(a, s);
  EXPECT_EQ(1e12, s[0]);
  const TMtx b = Mtx({{1, 2, 3}, {4, 6, 8}}, mvSingle);
  TVec sd, sum;
  MeanRows(b, m), StdDevRows(b, sd), SumRows(b, sum);
  EXPECT_EQ(mvSingle, m.FloatPrecision());
  ExpectAllClose({2, 6, 1, 2, 6, 18, 7}, {m[0], m[1], sd[0], sd[1], sum[0], sum[1], Trace(Mtx({{1, 2}, {3, 6}}))}, 0);
}

TEST(MaxMinc, ByMagnitude) {
  TVec z(3, mvDoubleComplex);
  z.SetCValue(0, {3, 4}), z.SetCValue(1, {-1, 0}), z.SetCValue(2, {0, -6});
  TCplx mx, mn;
  MaxMinc(z, mx, mn);
  EXPECT_TRUE(mx == TCplx(0, -6) && mn == TCplx(-1, 0)) << mx << " " << mn;
  // Infinite magnitudes count as the minimum too; a NaN makes both NaN, as in the real form.
  z.SetCValue(0, {0, -INFINITY}), z.SetCValue(1, {INFINITY, 1}), z.SetCValue(2, {0, -INFINITY});
  MaxMinc(z, mx, mn);
  EXPECT_TRUE(mx == TCplx(0, -INFINITY) && mn == TCplx(0, -INFINITY)) << mx << " " << mn;
  z.SetCValue(2, TCplx(NAN, 0));
  MaxMinc(z, mx, mn);
  EXPECT_TRUE(std::isnan(mx.real()) && std::isnan(mn.real())) << mx << " " << mn;
}

}  // namespace
