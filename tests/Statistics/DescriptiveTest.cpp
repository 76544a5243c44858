#include "StatisticsTest.h"

namespace {

using Kalix::TCplx;

// Shared sample: x and y of six observations, and a 5 x 3 matrix.
const std::vector<double> kX{1.5, 2, 4.25, 8, 10.5, 0.3};
const std::vector<double> kY{2.1, 3.3, 0.7, 5.9, 4.4, 1.8};
TMtx SampleMatrix(TMtxFloatPrecision p = mvDouble) {
  return Mtx({{4.0, 2.0, 0.60}, {4.2, 2.1, 0.59}, {3.9, 2.0, 0.58}, {4.3, 2.1, 0.62}, {4.1, 2.2, 0.63}}, p);
}

class DescriptivePrecision : public testing::TestWithParam<TMtxFloatPrecision> {
 protected:
  TMtxFloatPrecision p() const { return GetParam(); }
  double tol() const { return TolFor(GetParam()); }
};

// Naive reference: ln of every element in long double, summed in order.
double NaiveMeanG(const std::vector<double>& v) {
  long double s = 0;
  for (double x : v) s += std::log(static_cast<long double>(x));
  return static_cast<double>(std::exp(s / static_cast<long double>(v.size())));
}

TEST(MeanG, ExtremeAndSpecialValuesBehaveAsTheLogarithm) {
  // Several blocks with a ragged tail: magnitudes over the whole range, values near both ends,
  // and one subnormal among normal values (that block falls back to ln, the others do not).
  std::vector<double> wide, tiny(2049, 3e-308), huge(1500, 1.7e308), mixed(3000, 0.75), f(700, 1e-37);
  for (int i = 0; i < 5003; ++i) wide.push_back(std::ldexp(1.0 + (i % 97) / 97.0, (i * 37) % 2040 - 1020));
  tiny[7] = 2.5e-300;
  huge[1499] = 1e300;
  mixed[1200] = 4e-320;
  for (const auto* v : {&wide, &tiny, &huge, &mixed}) EXPECT_CLOSE(NaiveMeanG(*v), MeanG(Vec(*v)), 1e-13) << v->size();
  // One special value among 1000 twos: ln 0 = ln -0 = -Inf gives 0, a negative or NaN gives NaN.
  for (const auto& [special, expected] : std::vector<std::pair<double, double>>{
           {0.0, 0.0}, {-0.0, 0.0}, {-1.0, kNaN}, {kNaN, kNaN}, {-kInf, kNaN}, {kInf, kInf}}) {
    std::vector<double> v(1000, 2.0);
    v[613] = special;
    EXPECT_CLOSE(expected, MeanG(Vec(v)), 0.0) << "special " << special;
  }
  ExpectAllClose({kNaN, kNaN, 0, 0, kNaN},  // -Inf + Inf; empty; zeros in either precision
                 {MeanG(Vec({0.0, kInf, 1.0})), MeanG(TVec()), MeanG(Vec({1.0, 0.0}, mvSingle)),
                  MeanH(Vec({1.0, 0.0, 2.0})), MeanH(TVec())},
                 0);
  // Single precision: values at both ends of the float range, then a float subnormal.
  for (std::size_t i = 0; i < f.size(); i += 2) f[i] = 3e38;
  EXPECT_CLOSE(NaiveMeanG(f), MeanG(Vec(f, mvSingle)), 1e-5);
  f[3] = 1e-42;
  EXPECT_CLOSE(NaiveMeanG(f), MeanG(Vec(f, mvSingle)), 1e-5);
}

TEST_P(DescriptivePrecision, MeansModeAndMomentsAgreeWithR) {
  const TVec x = Vec({10, 2, 7, 1, 30, 4, 5, 3}, p()), y = Vec(kX, p()), m = Vec({5, 5, 1, 2, 2, 6}, p());
  ExpectAllClose({2.6170887722539296,  // R: exp(mean(log(x)))
                  1.2107680350455732,  // R: 1/mean(1/x)
                  // Bounds at the 12.5% and 87.5% percentiles (1.125, 27.5) keep 2, 3, 4, 5, 7, 10.
                  5.166666666666667,  // R: mean(c(2, 3, 4, 5, 7, 10))
                  7.75,               // R: mean(c(10, 2, 7, 1, 30, 4, 5, 3))
                  // Bounds that coincide with tied data (4 and 9) keep every copy of them.
                  // R: q <- quantile(v, c(0.25, 0.75), type = 6); mean(v[v >= q[1] & v <= q[2]])
                  5.4000000000000004, kNaN, kNaN,  // both percentiles between the two values: nothing left; NaN percent
                  26.735312500000006,              // R: mean((x - mean(x))^3)
                  1091.6843343749999},             // R: mean((x - 2)^4)
                 {MeanG(y), MeanH(y), MeanT(x, 0.25), MeanT(x, 0.0), MeanT(Vec({9, 4, 20, 1, 4, 6, 4}, p()), 0.5),
                  MeanT(Vec({1, 2}, p()), 0.999), MeanT(x, kNaN), Moment(y, 4.425, 3), Moment(y, 2.0, 4)},
                 tol());
  // Mode: ties take the smaller value; no repeat or no data give NaN; a range of indexes.
  ExpectAllClose({1, kNaN, 4.5, kNaN, 2, 5, kNaN},
                 {Mode(Vec({3, 1, 3, 1, 2}, p())), Mode(Vec({1, 2, 3}, p())), Mode(Vec({4.5, 4.5, 4.5}, p())),
                  Mode(TVec(0, p())), Mode(m, 2, 3), Mode(m, 0, 3), Mode(m, 3, 0)},
                 0);
  // Deliberate: orders below 2 give 0, whatever Mu is.
  for (int order : {1, 0, -3}) EXPECT_EQ(0.0, Moment(y, 100.0, order)) << order;
  EXPECT_TRUE(std::isnan(Moment(TVec(0, p()), 0.0, 2)));
}

TEST_P(DescriptivePrecision, VarianceAndTwoVariableCovariance) {
  auto var = [](const TVec& x, bool biased) {
    double v = -1;
    Covariance(x, v, biased);
    return v;
  };
  // R: var(x); var(x) * 5 / 6; one value: 0 / 0 unbiased, 0 biased; empty: NaN
  ExpectAllClose({16.233750000000001, 13.528125000000001, kNaN, 0, kNaN},
                 {var(Vec(kX, p()), false), var(Vec(kX, p()), true), var(Vec({3.0}, p()), false),
                  var(Vec({3.0}, p()), true), var(TVec(0, p()), true)},
                 tol());
  const TVec x = Vec(kX, p()), y = Vec(kY, p());
  TMtx c;
  Covariance(x, y, c, false);
  EXPECT_EQ(p(), c.FloatPrecision());
  // R: cov(cbind(x, y))
  ExpectAllClose({16.233750000000001, 5.2260000000000009, 5.2260000000000009, 3.5986666666666673}, c, tol());
  Covariance(x, y, c, true);
  // R: cov(cbind(x, y)) * 5 / 6
  ExpectAllClose({13.528125000000001, 4.3550000000000004, 4.3550000000000004, 2.9988888888888892}, c, tol());
  CorrCoef(x, y, c);
  // R: cor(x, y)
  ExpectAllClose({1, 0.68373713528235758, 0.68373713528235758, 1}, c, tol());
  TMtx mx(6, 1, p()), my(6, 1, p());
  mx.SetCol(x, 0);
  my.SetCol(y, 0);
  Covariance(mx, my, c, false);
  EXPECT_CLOSE(5.2260000000000009, c(1, 0), tol());
}

TEST(Covariance, CertifiedLargeOffsetKeepsDigits) {
  // NIST NumAcc1: 10000001, 10000003, 10000002; certified standard deviation 1.
  const TNistFile f = LoadNist("NumAcc1.dat");
  double v;
  Covariance(Vec({f.data.at(0)[0], f.data.at(1)[0], f.data.at(2)[0]}), v, false);
  EXPECT_GE(LRE(v, 1.0), 14.0);
  // Columns 1e9 + d and 1e9 + 2d (d = 1, 3, 2): variances 1 and 4, covariance 2, exactly.
  TMtx c;
  Covariance(Mtx({{1e9 + 1, 1e9 + 2}, {1e9 + 3, 1e9 + 6}, {1e9 + 2, 1e9 + 4}}), c, false);
  ExpectAllClose({1, 2, 2, 4}, c, 1e-15);
}

TEST(CorrCoef, TStatisticIsDeliberatelyUnnormalised) {
  const TVec x = Vec(kX), y = Vec(kY);
  TMtx c;
  double t = 0;
  CorrCoef(x, y, c, t);
  // Result is the covariance with divisor n; r = 4.355 is not a correlation, so 1 - r^2 < 0.
  EXPECT_CLOSE(4.3550000000000004, c(0, 1), 1e-12);
  EXPECT_TRUE(std::isnan(t));
  // Scaled to unit population variance the covariance is the correlation, and t is the test
  // statistic. R: cor.test(x, y)$statistic
  TVec xs(x), ys(y);
  double vx, vy;
  Covariance(x, vx, true);
  Covariance(y, vy, true);
  Kalix::Normalize(xs, x, Kalix::Mean(x), std::sqrt(vx));
  Kalix::Normalize(ys, y, Kalix::Mean(y), std::sqrt(vy));
  CorrCoef(xs, ys, c, t);
  EXPECT_CLOSE(1.8739496513329525, t, 1e-12);
  // Result may be X itself: n is read before X is overwritten.
  TMtx mx(6, 1), my(6, 1);
  mx.SetCol(xs, 0);
  my.SetCol(ys, 0);
  t = 0;
  CorrCoef(mx, my, mx, t);
  EXPECT_CLOSE(1.8739496513329525, t, 1e-12);
}

TEST_P(DescriptivePrecision, MatrixCovarianceAndCorrelation) {
  TMtx c;
  Covariance(SampleMatrix(p()), c, false);
  // R: cov(M)
  ExpectAllClose(
      {0.025000000000000001, 0.007499999999999998, 0.0017499999999999985, 0.007499999999999998, 0.0070000000000000123,
       0.0013500000000000025, 0.0017499999999999985, 0.0013500000000000025, 0.00043000000000000075},
      c, p() == mvSingle ? 1e-6 : 1e-14);
  CorrCoef(SampleMatrix(p()), c);
  // R: cor(M)
  ExpectAllClose({1, 0.56694670951384019, 0.53374499616411542, 0.56694670951384019, 1, 0.77812706390071729,
                  0.53374499616411542, 0.77812706390071729, 1},
                 c, p() == mvSingle ? 1e-4 : 1e-12);
}

TEST(Covariance, DegenerateColumns) {
  TMtx c;
  // A constant column has zero variance and undefined correlations; a NaN spreads to its row and column only.
  TMtx k = Mtx({{1, 5, 2}, {2, 5, 4}, {3, 5, 7}});
  CorrCoef(k, c);
  ExpectAllClose({1, kNaN, kNaN}, {c(0, 0), c(1, 1), c(0, 1)}, 0);
  k(2, 2) = kNaN;
  Covariance(k, c, false);
  ExpectAllClose({1, kNaN, kNaN}, {c(0, 0), c(2, 0), c(2, 2)}, 1e-15);
  // No rows: NaN, not -0; one row unbiased: 0 / 0.
  for (int rows : {0, 1}) {
    Covariance(TMtx(rows, 2), c, false);
    ExpectAllClose({kNaN, kNaN, kNaN, kNaN}, c, 0);
  }
  // No elements but INT_MAX columns: the p x p result is refused before any pass over X.
  const TMtx wide(0, std::numeric_limits<int>::max());
  EXPECT_RAISES(Covariance(wide, c, false), "Size: too many elements");
  EXPECT_RAISES(CronbachAlpha(wide), "Size: too many elements");
}

// Every message of the topic, and the order of checks where one input breaks two.
TEST(Descriptive, MessagesAndCheckOrder) {
  const TVec x = Vec({1, 2, 3});
  TVec z(3, Kalix::mvDoubleComplex);
  TMtx c;
  EXPECT_RAISES(MeanG(ComplexVec()), "MeanG: Data.Complex = true");
  EXPECT_RAISES(MeanH(ComplexVec(Kalix::mvSingleComplex)), "MeanH: Data.Complex = true");
  EXPECT_RAISES(MeanT(ComplexVec(), 5.0), "MeanTData.Complex = true");
  // Deliberate: the bound is 1 although the text says 100.
  EXPECT_RAISES(MeanT(x, 1.0), "MeanT(Percent >= 100) or (Percent < 0)");
  EXPECT_RAISES(MeanT(x, -1e-9), "MeanT(Percent >= 100) or (Percent < 0)");
  EXPECT_RAISES(MeanT(TVec(), 0.1), "Values: index out of range");  // the percentile rule's
  EXPECT_RAISES(Mode(ComplexVec(), 0, 1), "Mode: Complex = true");
  EXPECT_RAISES(Mode(x, 2, 2), "Copy: index out of range");
  EXPECT_RAISES(Mode(x, -1, 2), "Copy: index out of range");  // the only negative-index copy
  EXPECT_RAISES(Moment(ComplexVec(), 0.0, 1), "Moment : X.Complex = true");
  double v = 5.0;
  EXPECT_RAISES(Covariance(ComplexVec(), v, false), "Covariance: X.Complex");
  EXPECT_EQ(0.0, v);  // cleared before the check
  EXPECT_RAISES(Covariance(ComplexVec(), x, c), "Covariance: X.Length <> Y.Length");
  EXPECT_RAISES(Covariance(z, TMtx(3, 1), c), "Covariance: X.Complex or Y.Complex");
  EXPECT_RAISES(Covariance(x, TMtx(3, 1), c), "Covariance: X.KalixType <> Y.KalixType");
  // Matrices that are not single columns do not make an n x 2 matrix of variables.
  EXPECT_RAISES(Covariance(TMtx(2, 3), TMtx(2, 3), c), "SetCol: Src does not match the column");
  EXPECT_RAISES(Covariance(ComplexMtx(), c), "Covariance: X.Complex");
}

TEST_P(DescriptivePrecision, RowAndColumnRanges) {
  // A NaN spreads to its own row and column only.
  const TMtx m = Mtx({{3, -1, 4}, {1, kNaN, 9}, {-2, 6, 5}, {3, 5, 8}}, p());
  TVec r;
  RangeRows(m, r);
  EXPECT_EQ(p(), r.FloatPrecision());
  ExpectAllClose({5, kNaN, 8, 5}, r, 0);
  RangeCols(m, r);
  ExpectAllClose({5, kNaN, 5}, r, 0);
  RangeCols(TMtx(0, 2, p()), r);
  ExpectAllClose({kNaN, kNaN}, r, 0);
}

TEST(RangeRows, ComplexDifferenceOfLargestAndSmallestMagnitude) {
  for (auto p : {Kalix::mvDoubleComplex, Kalix::mvSingleComplex}) {
    TMtx m(2, 3, p);
    // Row 0: |3+4i| = 5 largest, |1| smallest; row 1: |-6| largest, |0.5i| smallest.
    const TCplx v[] = {{1, 0}, {3, 4}, {2, 2}, {0, 0.5}, {-6, 0}, {1, 1}};
    for (int i = 0; i < 6; ++i) m.SetCValue(i, v[i]);
    TVec r, c;
    RangeRows(m, r);
    RangeCols(m, c);
    EXPECT_EQ(p, r.FloatPrecision());
    EXPECT_EQ((std::vector<TCplx>{{2, 4}, {-6, -0.5}, {1, -0.5}, {-9, -4}}),
              (std::vector<TCplx>{r.CValues(0), r.CValues(1), c.CValues(0), c.CValues(1)}));
  }
}

TEST(Descriptive, ConcurrentCallsAgreeWithOneThread) {
  std::vector<double> base(20000);
  for (std::size_t i = 0; i < base.size(); ++i) base[i] = 1.0 + static_cast<double>((i * 7919) % 1000) / 10.0;
  TMtx m(5000, 4);
  for (int i = 0; i < m.Length(); ++i) m.Values(i) = base[static_cast<std::size_t>(i)];
  // Covariance, MeanG and both histogram forms borrow scratch; each thread has its own pool.
  const auto work = [&](int) {
    const TVec x = Vec(base);
    TMtx c;
    TVecInt h;
    TVec b, r;
    Covariance(m, c, false);
    Histogram(x, 64, h, b);
    Histogram(x, b, r);
    std::vector<double> out = c.ToVector(), centred = r.ToVector();
    out.insert(out.end(), centred.begin(), centred.end());
    for (int k : h.ToVector()) out.push_back(k);
    out.push_back(MeanG(x));
    out.push_back(Kalix::ScratchOutstanding());
    return out;
  };
  EXPECT_EQ(0, ConcurrentMismatches(work, 4, 20));
}

INSTANTIATE_TEST_SUITE_P(Precisions, DescriptivePrecision, testing::ValuesIn(kRealPrecisions), PrecisionName);

}  // namespace
