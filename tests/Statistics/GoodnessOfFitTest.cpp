#include "StatisticsTest.h"

using Kalix::NormalCDF;
using Kalix::NormalCDFInv;

namespace {

using GofTest = TOutputs;

// A skewed sample and a near-normal one (no ties); shared with the normality tests.
const std::vector<double> kA{2.31, 3.05, 1.87, 4.42, 2.76, 3.91, 1.52, 2.18, 6.73, 2.95,
                             3.34, 1.96, 2.61, 5.08, 2.44, 3.62, 1.71, 2.87, 8.15, 2.52};
const std::vector<double> kB{4.93, 5.31, 5.12, 4.71, 5.64, 5.02, 4.83, 5.22, 5.41, 4.62, 5.07, 4.96, 5.18, 5.36, 4.87};

struct TTailCase {
  THypothesisType hType;
  double stat, p;
};

class GoodnessOfFit : public testing::TestWithParam<TMtxFloatPrecision> {
 protected:
  double Tol() const { return GetParam() == mvSingle ? 2e-5 : 1e-10; }
  double PTol() const { return GetParam() == mvSingle ? 1e-4 : 1e-6; }
  TVec V(const std::vector<double>& x) const { return Vec(x, GetParam()); }
};

TEST_P(GoodnessOfFit, EmpiricalCDFIsRightContinuous) {
  // R: e <- ecdf(c(0.3, 1.7, 1.7, 2.2, 5.0)); e(c(-1, 0.3, 1, 1.7, 2.2, 4.9, 5, 7))
  const TVec x = V({5.0, 1.7, 0.3, 2.2, 1.7});
  TVec X, F;
  EmpiricalCDF(x, X, F);
  ExpectAllClose({0.3, 1.7, 2.2, 5.0}, X, Tol());
  ExpectAllClose({0.2, 0.6, 0.8, 1.0}, F, Tol());
  const std::vector<double> pts{-1, 0.3, 1.0, 1.7, 2.2, 4.9, 5, 7, kNaN, 1e300, -1e300};
  EmpiricalCDF(x, pts, F);
  ExpectAllClose({0, 0.2, 0.2, 0.6, 0.8, 0.8, 1, 1, kNaN, 1, 0}, F, Tol());
  EXPECT_EQ(GetParam(), F.FloatPrecision());
  EmpiricalCDF(V({1.0, kNaN}), pts, F);
  EXPECT_TRUE(std::isnan(F.Values(3)));
}

TEST_P(GoodnessOfFit, KolmogorovOneSampleExactAndAsymptotic) {
  THypothesisResult h;
  double p;
  std::vector<double> cdf, t{0.1, 0.4, 0.4, 0.7, 1.2, 1.2, 1.9, 2.3, 0.9, 1.5};
  for (double v : kA) cdf.push_back(NormalCDF(v, 3, 1.5));
  for (double& v : t) v = 1.0 - std::exp(-v);
  const std::vector<double> u = Frac(120, 0.7548776662466927, 1.1);
  const struct {
    const std::vector<double>* x;
    TTailCase ref;
  } cases[]{
      // R: ks.test(A, "pnorm", 3, 1.5, alternative = ...): exact below 100 untied values
      {&cdf, {htTwoTailed, 0.16190303812824788, 0.6140621597373892}},
      {&cdf, {htRightTailed, 0.13670438618290787, 0.43446885908124488}},
      {&cdf, {htLeftTailed, 0.16190303812824788, 0.31633013930549625}},
      // R: u <- ((1:120) * 0.7548776662466927) %% 1; ks.test(u, function(q) q^1.1, alternative = ...)
      {&u, {htTwoTailed, 0.053019870454293322, 0.8886347203923185}},
      {&u, {htRightTailed, 0.053019870454293322, 0.50932671143498898}},
      {&u, {htLeftTailed, 0.0056078242019320657, 0.99248096430414356}},
      // Ties force the asymptotic distribution. R: ks.test(c(0.1, 0.4, 0.4, ...), "pexp")
      {&t, {htTwoTailed, 0.22967995396436072, 0.66710449811615491}},
  };
  for (const auto& [x, c] : cases) {
    SCOPED_TRACE(c.hType);
    EXPECT_CLOSE(c.stat, GOFKolmogorov(V(*x), h, p, c.hType), Tol());
    EXPECT_CLOSE(c.p, p, PTol());
    EXPECT_EQ(hrNotReject, h);
  }
}

TEST_P(GoodnessOfFit, SmirnovTwoSampleExactWithTiesAndAsymptotic) {
  THypothesisResult h;
  double p;
  // R: ks.test(A, B, alternative = ...): exact
  struct TCase {
    std::vector<double> x, y;
    std::vector<TTailCase> tails;
  };
  const TCase cases[] = {
      {kA, kB, {{htTwoTailed, 0.85, 7.7464409620198182e-07}, {htRightTailed, 0.85, 3.8732204721281249e-07},
                {htLeftTailed, 0.1, 0.79605182284039688}}},
      // R: the statistics over all choose(15, 8) relabellings of x, y (ks.test agrees but for "less",
      // where R 4.2's tied exact p-value is that of "greater")
      {{1, 2, 2, 3, 5, 5, 6, 8}, {2, 3, 3, 4, 4, 5, 7},
       {{htTwoTailed, 0.23214285714285715, 0.83216783216783219}, {htRightTailed, 0.23214285714285715, 0.50489510489510492},
        {htLeftTailed, 0.2142857142857143, 0.52991452991452992}}},
      // R: ks.test(u, v^0.9) with v <- ((1:100) * 0.5698402909980532) %% 1: n1 n2 >= 10000, asymptotic
      {Frac(120, 0.7548776662466927), Frac(100, 0.5698402909980532, 0.9),
       {{htTwoTailed, 0.068333333333333315, 0.96087597651803625}, {htRightTailed, 0.068333333333333315, 0.60085962583283359},
        {htLeftTailed, 0.0083333333333333679, 0.99245286614792561}}}};
  // Mixed precisions are compared in double.
  EXPECT_CLOSE(0.85, GOFKolmogorov(Vec(kA, mvSingle), Vec(kB), h, p), 1e-10);
  EXPECT_CLOSE(7.7464409620198182e-07, p, 1e-9);
  for (const TCase& c : cases) {
    for (const TTailCase& t : c.tails) {
      SCOPED_TRACE(t.hType);
      EXPECT_CLOSE(t.stat, GOFKolmogorov(V(c.x), V(c.y), h, p, t.hType), Tol());
      EXPECT_CLOSE(t.p, p, 1e-9);  // the statistic is an exact count in either precision
      EXPECT_EQ(t.p <= 0.05 ? hrReject : hrNotReject, h);
    }
  }
}

TEST_P(GoodnessOfFit, ChiSquareOfCountsAgainstProbabilitiesOrCounts) {
  THypothesisResult h;
  double p;
  int small = -1;
  // R: pearson.test(A): counts of the 7 equiprobable classes, 2 estimated parameters
  const TVec o = V({0, 6, 6, 2, 2, 2, 2});
  const double x1 = GOFChi2Test(o, V(std::vector<double>(7, 1.0 / 7)), h, p, small, 2);
  ExpectAllClose({10.8, 0.028906118032721046, 7, hrReject}, {x1, p, double(small), double(h)}, PTol());
  // R: chisq.test(c(0, 6, 6, 2, 2, 2, 2), p = rep(1/7, 7)), expected given as counts
  const double x2 = GOFChi2Test(o, V(std::vector<double>(7, 20.0 / 7)), h, p, small);
  ExpectAllClose({10.8, 0.094757868176013713}, {x2, p}, PTol());
  // R: chisq.test(c(10, 3, 7, 0), p = c(0.4, 0.2, 0.3, 0.1)); 8, 4, 6, 2 expected
  const double x3 = GOFChi2Test(V({10, 3, 7, 0}), V({0.4, 0.2, 0.3, 0.1}), h, p, small);
  ExpectAllClose({2.9166666666666665, 0.40465279495160528, 2}, {x3, p, double(small)}, PTol());
  // An empty cell expected empty adds nothing; with a count the fit is impossible.
  ExpectAllClose({0, 1}, {GOFChi2Test(V({2, 2, 0}), V({0.5, 0.5, 0}), h, p, small), p}, 0);
  EXPECT_EQ(HUGE_VAL, GOFChi2Test(V({3, 2, 1}), V({0.6, 0.4, 0}), h, p, small));
  EXPECT_EQ(hrNan, h);
}

// R: w <- qnorm(((1:n) * 0.7548776662466927) %% 1)^power + c * ((1:n) * 0.5698402909980532) %% 1
std::vector<double> Skewed(int n, double power, double c) {
  std::vector<double> w;
  for (int i = 1; i <= n; ++i)
    w.push_back(std::pow(NormalCDFInv(std::fmod(i * 0.7548776662466927, 1.0), 0, 1), power) +
                c * std::fmod(i * 0.5698402909980532, 1.0));
  return w;
}

using TTest = double (*)(const TVec&, THypothesisResult&, double&, double);

struct TNormCase {
  const char* name;
  TTest test;
  double statA, pA, statB, pB, statW, pW;  // pW < 0: not compared
};

// A, B and, for the larger branches, w <- qnorm(((1:200) * 0.7548776662466927) %% 1)^2 +
// ((1:200) * 0.5698402909980532) %% 1.
const TNormCase kNormCases[]{
    // R: nortest::lillie.test (Dallal-Wilkinson rescaled above 100 values)
    {"Lilliefors", GOFLillieTest, 0.20870536196473644, 0.022500642853157476, 0.071457433769771705, 1.0,
     0.18045806614348425, 1.7113167710316146e-17},
    // R: nortest::ad.test (which stops its p-value at 3.7e-24 for w)
    {"AndersonDarling", static_cast<TTest>(AndersonDarling), 1.2315867896256556, 0.0024542157411602044,
     0.089139397006855248, 0.99719669220275053, 11.783127739507449, -1},
    // R: nortest::sf.test
    {"ShapiroFrancia", ShapiroFrancia, 0.81743150686990829, 0.0024807091738614333, 0.99256851019795767,
     0.9993747866711552, 0.79506490737204827, 2.0463804738551393e-13},
    // R: shapiro.test
    {"ShapiroWilks", ShapiroWilks, 0.82414774404448066, 0.002025981782679041, 0.9905447035506445, 0.99960345734461187,
     0.79723466713134705, 2.1695729357395063e-15},
    // R: tseries::jarque.bera.test
    {"JarqueBera", GOFBeraJarqueTest, 11.520332407401146, 0.0031505879155561134, 0.31447080962869706,
     0.85450288104743299, 327.74588501092364, -1}};

TEST_P(GoodnessOfFit, NormalityTestsAgreeWithR) {
  const bool single = GetParam() == mvSingle;
  const TVec a = Vec(kA, GetParam()), b = Vec(kB, GetParam()), w = Vec(Skewed(200, 2, 1), GetParam());
  for (const TNormCase& c : kNormCases) {
    SCOPED_TRACE(c.name);
    THypothesisResult ha, hb, hw;
    double pa, pb, pw;
    const double sa = c.test(a, ha, pa, 0.05), sb = c.test(b, hb, pb, 0.05), sw = c.test(w, hw, pw, 0.05);
    ExpectAllClose({c.statA, c.statB, c.statW}, {sa, sb, sw}, single ? 1e-4 : 1e-10);
    ExpectAllClose({c.pA, c.pB}, {pa, pb}, single ? 1e-3 : 1e-6);
    EXPECT_EQ((std::pair{hrReject, hrNotReject}), (std::pair{ha, hb}));
    EXPECT_NEAR(1.0, c.pW < 0 ? 1.0 : pw / c.pW, single ? 1e-2 : 1e-6);
  }
}

INSTANTIATE_TEST_SUITE_P(Precisions, GoodnessOfFit, testing::ValuesIn(kRealPrecisions), PrecisionName);

TEST_F(GofTest, ShapiroWilkSmallSamplesAndBeyond5000) {
  // R: shapiro.test(c(1.2, 3.4, 2)) (exact for n = 3), A[1:7] (the n <= 11 transform)
  struct TCase {
    std::vector<double> x;
    double W, p;
  };
  const TCase cases[] = {{{1.2, 3.4, 2.0}, 0.97580645161290336, 0.70172414784575921},
                         {{kA.begin(), kA.begin() + 7}, 0.96140697904236005, 0.83071142074498661}};
  for (const TCase& c : cases) {
    EXPECT_CLOSE(c.W, ShapiroWilks(Vec(c.x), h, p), 1e-10);
    EXPECT_CLOSE(c.p, p, 1e-6);
  }
  // R: z <- qnorm(((1:5000) * 0.7548776662466927) %% 1); shapiro.test(z + 0.02 * z^2)
  std::vector<double> z = Skewed(6000, 1, 0);
  for (double& v : z) v += 0.02 * v * v;
  const double w5000 = ShapiroWilks(Vec(std::vector<double>(z.begin(), z.begin() + 5000)), h, p);
  ExpectAllClose({0.9991584645518975, 0.015281671215346123}, {w5000, p}, 1e-10);
  // Above 5000 the same approximations run on, no error. SciPy (W in single precision, so only
  // to about 3e-6): scipy.stats.shapiro of the 6000 points
  EXPECT_CLOSE(0.9992170333862305, ShapiroWilks(Vec(z), h, p), 1e-5);
  EXPECT_NEAR(1.0, p / 0.007947079837322235, 0.05);
  EXPECT_EQ(hrReject, h);
}

TEST_F(GofTest, AndersonDarlingFullySpecified) {
  // R: p <- pnorm(sort(A), 3, 1.5); -n - mean((2 * (1:n) - 1) * (log(p) + log(1 - rev(p))))
  EXPECT_CLOSE(1.0870719337184198, AndersonDarling(Vec(kA), 3.0, 1.5, h, p), 1e-10);
  EXPECT_EQ(hrNotReject, h);
  // Limiting upper percentage points of A^2 (Stephens 1974, case 0): 1.933 at 10%, 2.492 at 5%.
  // The mean is shifted until A^2 of 2000 normal scores reaches the point.
  TVec x(2000);
  for (int i = 0; i < 2000; ++i) x[i] = NormalCDFInv((i + 0.5) / 2000.0, 0, 1);
  for (const auto& [a2, tail] : {std::pair{1.933, 0.10}, std::pair{2.492, 0.05}}) {
    double lo = 0, hi = 1;
    for (int it = 0; it < 60; ++it) {
      const double mid = 0.5 * (lo + hi);
      (AndersonDarling(x, mid, 1.0, h, p) < a2 ? lo : hi) = mid;
    }
    EXPECT_NEAR(tail, p, 2e-3 * tail);
  }
}

TEST_F(GofTest, MessagesInOrder) {
  int k;
  TVec X, F;
  const TVec c = ComplexVec(), e, one{0.5}, two{0.5, 0.5}, four{1, 2, 3, 4}, seven{1, 2, 3, 4, 5, 6, 7};
  EXPECT_RAISES(EmpiricalCDF(c, X, F), "EmpiricalCDF: Data.Complex = true");
  EXPECT_RAISES(EmpiricalCDF(e, X, F), "EmpiricalCDF: Data.Length = 0");
  EXPECT_RAISES(GOFKolmogorov(c, h, p), "GOFKolmogorov: Data.Complex = true");
  EXPECT_RAISES(GOFKolmogorov(e, h, p, htTwoTailed, 2.0), "GOFKolmogorov: Data.Length = 0");
  EXPECT_RAISES(GOFKolmogorov(Vec({0.5, 1.5}), h, p, htTwoTailed, 2.0), "GOFKolmogorov: (DataCDF < 0) or (DataCDF > 1)");
  EXPECT_RAISES(GOFKolmogorov(one, c, h, p), "GOFKolmogorov: (Data1.Complex) or (Data2.Complex)");
  EXPECT_RAISES(GOFKolmogorov(one, e, h, p), "GOFKolmogorov: (Data1.Length = 0) or (Data2.Length = 0)");
  EXPECT_RAISES(GOFChi2Test(c, one, h, p, k), "GOFChi2Test: (Observed.Complex) or (Expected.Complex)");
  EXPECT_RAISES(GOFChi2Test(one, two, h, p, k), "GOFChi2Test: Observed.Length <> Expected.Length");
  EXPECT_RAISES(GOFChi2Test(one, one, h, p, k), "GOFChi2Test: Observed.Length < 2");
  EXPECT_RAISES(GOFChi2Test(Vec({1, -1}), Vec({kNaN, 1}), h, p, k), "GOFChi2Test: Observed < 0 or not finite");
  EXPECT_RAISES(GOFChi2Test(Vec({1, HUGE_VAL}), two, h, p, k), "GOFChi2Test: Observed < 0 or not finite");
  EXPECT_RAISES(GOFChi2Test(two, Vec({kNaN, 1}), h, p, k, 5), "GOFChi2Test: Expected < 0 or not finite");
  EXPECT_RAISES(GOFChi2Test(two, two, h, p, k, 1), "GOFChi2Test: (NumEstimated < 0) or (NumEstimated > Observed.Length - 2)");
  EXPECT_RAISES(GOFChi2Test(two, Vec({0.5, 0.6}), h, p, k), "GOFChi2Test: Sum(Expected) <> 1 and <> Sum(Observed)");
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
}

TEST_F(GofTest, NanDataAndBadAlphaAreQuiet) {
  const TVec cdfNaN = Vec({0.1, kNaN, 0.7});
  for (double alpha : {0.05, 0.0, kNaN}) {
    const double d1 = GOFKolmogorov(cdfNaN, h, p, htTwoTailed, alpha);
    EXPECT_TRUE(std::isnan(d1) && std::isnan(p) && h == hrNan);
    const double d2 = GOFKolmogorov(Vec({0.2, 0.3}), cdfNaN, h, p, htLeftTailed, alpha);
    EXPECT_TRUE(std::isnan(d2) && h == hrNan);
  }
  EXPECT_TRUE(std::isnan(GOFKolmogorov(Vec({0.2}), h, p, static_cast<THypothesisType>(7))));
  // NaN data, constant data and a bad Alpha: NaN statistic and p-value, hrNan.
  std::vector<double> nan(kA);
  nan[3] = kNaN;
  const TVec nanData = Vec(nan), constant = Vec(std::vector<double>(10, 2.5)), a = Vec(kA);
  for (const auto& [x, alpha] : {std::pair{&nanData, 0.05}, std::pair{&constant, 0.05}, std::pair{&a, 1.0}}) {
    for (const TNormCase& t : kNormCases) {
      SCOPED_TRACE(t.name);
      const double stat = t.test(*x, h, p, alpha);
      EXPECT_TRUE(std::isnan(stat) && std::isnan(p) && h == hrNan);
    }
  }
  // A far outlier leaves A^2 finite and rejects.
  EXPECT_TRUE(std::isfinite(AndersonDarling(Vec({0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 1e9}), 0, 1, h, p)));
  EXPECT_EQ(hrReject, h);
  EXPECT_TRUE(std::isnan(AndersonDarling(Vec(nan), 0, 1, h, p)));
  EXPECT_EQ(hrNan, h);
}

TEST(GoodnessOfFit, ConcurrentCallsAgree) {
  TVec a = Vec(kA), b = Vec(kB);
  for (int i = 0; i < b.Length(); ++i) b[i] = std::round(b[i]);
  EXPECT_EQ(0, ConcurrentMismatches([&](int) {
              THypothesisResult h;
              double p1, p2;
              const double d = GOFKolmogorov(a, b, h, p1);
              const double w = ShapiroWilks(a, h, p2);
              return std::vector<double>{d, p1, w, p2, double(Kalix::ScratchOutstanding())};
            }));
}

}  // namespace
