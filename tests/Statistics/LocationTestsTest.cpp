#include <tuple>

#include "StatisticsTest.h"

namespace {

using LocationTest = TOutputs;

const std::vector<double> kX{5.1, 4.9, 5.6, 5.8, 6.0, 5.3, 4.7, 5.5, 6.2, 5.0};
const std::vector<double> kY{4.8, 5.2, 5.0, 5.9, 5.4, 5.1, 4.5, 5.0, 5.7, 4.6};
const std::vector<double> kY12{4.8, 5.2, 5.0, 5.9, 5.4, 5.1, 4.5, 5.0, 5.7, 4.6, 5.3, 4.9};
const std::vector<double> kG{2.1, 2.3, 1.9, 2.0, 2.2, 2.4, 1.8, 2.1, 3.4, 2.0};

struct TTailCase {
  const char* name;
  TRun run;
  THypothesisType hType;
  double alpha, stat, signif, lo, hi;
};

double OneSampleT(TMtxFloatPrecision p, THypothesisType h, double alpha, TTestOut& o) {
  return tTest(Vec(kX, p), 5.0, o.hRes, o.signif, o.ci, h, alpha);
}
TRun TwoSampleT(bool paired) {
  return [paired](TMtxFloatPrecision p, THypothesisType h, double alpha, TTestOut& o) {
    return tTest(Vec(kX, p), Vec(kY, p), o.hRes, o.signif, o.ci, paired, h, alpha);
  };
}
double Z(TMtxFloatPrecision p, THypothesisType h, double alpha, TTestOut& o) {
  return ZTest(Vec(kX, p), 5.2, 0.4, o.hRes, o.signif, o.ci, h, alpha);
}
double F(TMtxFloatPrecision p, THypothesisType h, double alpha, TTestOut& o) {
  return FTest(Vec(kX, p), Vec(kY12, p), o.hRes, o.signif, o.ci, h, alpha);
}
double Chi2(TMtxFloatPrecision p, THypothesisType h, double alpha, TTestOut& o) {
  ChiSquareTest(Vec(kX, p), 0.3, o.hRes, o.signif, o.ci, h, alpha);
  return NAN;  // the test returns no statistic
}

// R: t.test(x, mu = 5, conf.level = 0.9) and the "greater"/"less" alternatives: the right-tailed
// p-value is R's "greater" p with R's "less" interval (the upper bound), and vice versa.
// Pooled: t.test(x, y, var.equal = TRUE) (returns the half-width diff(conf.int) / 2).
// Paired: t.test(x, y, paired = TRUE). z: pnorm/qnorm with sigma 0.4 about 5.2.
// F: var.test(y12, x) p-values (1 - pf(F, 11, 9) and pf(F, 11, 9) one-sided); intervals
// F * qf(q, 11, 9) at the quantiles the test takes. Chi-square: ss <- 9 * var(x);
// pchisq(ss / 0.09, 9); sqrt(ss / qchisq(q, 9)) at the test's quantiles.
const std::vector<TTailCase> kTailCases{
    {"t two", OneSampleT, htTwoTailed, 0.1, 2.617021276595745682, 0.027947112892532482, 5.122812307217190053,
     5.697187692782810231},
    {"t right", OneSampleT, htRightTailed, 0.1, 2.617021276595745682, 0.013973556446266241, -kInf,
     5.626674502348805618},
    {"t left", OneSampleT, htLeftTailed, 0.1, 2.617021276595745682, 0.98602644355373381, 5.19332549765119467, kInf},
    {"pooled two", TwoSampleT(false), htTwoTailed, 0.05, 0.44429520356729713, 0.18713258113605688, -0.15429520356729706,
     0.73429520356729716},
    {"pooled right", TwoSampleT(false), htRightTailed, 0.05, 0.65671334221063649 - 0.29, 0.09356629056802844, -kInf,
     0.65671334221063649},
    {"paired two", TwoSampleT(true), htTwoTailed, 0.05, 3.058757109615640069, 0.013598924333766828,
     0.075525442622047578, 0.504474557377952215},
    {"z two", Z, htTwoTailed, 0.05, 1.660195771588399039, 0.096875075026274585, 5.162081987078175338,
     5.657918012921824946},
    {"z right", Z, htRightTailed, 0.05, 1.660195771588399039, 0.048437537513137285, -kInf, 5.618059355150222700},
    {"F two", F, htTwoTailed, 0.05, 0.70249804518704528, 0.57205418672683028, 0.19579651210216048, 2.74822466588161030},
    {"F right", F, htRightTailed, 0.05, 0.70249804518704528, 0.71397290663658486, 0.0, 0.24255663430899371},
    {"F left", F, htLeftTailed, 0.05, 0.70249804518704528, 1 - 0.71397290663658486, 2.17948993401001934, kInf},
    {"chi2 two", Chi2, htTwoTailed, 0.05, NAN, 0.007037354268026208, 0.340769725614813390, 0.904450186429352043},
    {"chi2 right", Chi2, htRightTailed, 0.05, NAN, 0.003518677134013104, 0.0, 0.361335640209359432},
    {"chi2 left", Chi2, htLeftTailed, 0.05, NAN, 1 - 0.003518677134013104, 0.815069540650974811, kInf},
};

class LocationByPrecision : public testing::TestWithParam<TMtxFloatPrecision> {};

TEST_P(LocationByPrecision, TailsMatchReference) {
  const double tol = GetParam() == mvSingle ? 2e-5 : 1e-11;  // F and chi-square: 1e-12 in R
  for (const TTailCase& c : kTailCases) {
    SCOPED_TRACE(c.name);
    TTestOut o, atP, below;
    o.stat = c.run(GetParam(), c.hType, c.alpha, o);
    ExpectAllClose({c.stat, c.signif, c.lo, c.hi}, {o.stat, o.signif, o.ci[0], o.ci[1]}, tol);
    EXPECT_EQ(o.signif <= c.alpha ? hrReject : hrNotReject, o.hRes);
    c.run(GetParam(), c.hType, o.signif, atP);  // Alpha equal to the p-value rejects; one ulp below does not
    c.run(GetParam(), c.hType, std::nextafter(o.signif, 0.0), below);
    EXPECT_EQ((std::pair{hrReject, hrNotReject}), (std::pair{atP.hRes, below.hRes}));
  }
}

TEST_P(LocationByPrecision, GrubbsDecidesByCriticalValue) {
  const double tol = GetParam() == mvSingle ? 2e-5 : 1e-12;
  const TVec g = Vec(kG, GetParam());
  // R: G from the z-scores; t <- qt(1 - a, 8); Gc <- 9 * sqrt(t^2 / (10 * (t^2 + 8)));
  // T2 <- 8 * 10 * G^2 / (81 - 10 * G^2); 2 * 10 * pt(-sqrt(T2), 8); mean(g) -+ Gc
  struct TCase {
    THypothesisType hType;
    double signif, lo, hi;
    THypothesisResult res;
  };
  for (const TCase& c :
       {TCase{htTwoTailed, 0.0017932546388052611, -0.0699540844796033845, 4.5099540844796042194, hrReject},
        TCase{htRightTailed, 0.0017932546388052611, 0.0439316058057785952, 4.3960683941942217956, hrReject},
        TCase{htLeftTailed, 3.568105100136918395, 0.043931605805778595, 4.396068394194221796, hrNotReject}}) {
    SCOPED_TRACE(c.hType);
    TTestOut o;
    GrubbsTest(g, o.hRes, o.signif, o.ci, c.hType);
    ExpectAllClose({c.signif, c.lo, c.hi}, {o.signif, o.ci[0], o.ci[1]}, tol);  // 3.57 for the minimum: not clamped
    EXPECT_EQ(c.res, o.hRes);
  }
}

INSTANTIATE_TEST_SUITE_P(Precisions, LocationByPrecision, testing::ValuesIn(kRealPrecisions), PrecisionName);

TEST_F(LocationTest, BadAlphaSigmaOrTailIsQuietNan) {
  const TRun zSigma0 = [](TMtxFloatPrecision prec, THypothesisType tail, double alpha, TTestOut& o) {
    return ZTest(Vec(kX, prec), 5.0, 0.0, o.hRes, o.signif, o.ci, tail, alpha);
  };
  const std::tuple<const char*, TRun, THypothesisType, double> cases[]{
      {"t alpha 0", OneSampleT, htTwoTailed, 0.0},
      {"t alpha NaN", OneSampleT, htTwoTailed, kNaN},
      {"t bad tail", OneSampleT, THypothesisType(3), 0.05},
      {"paired alpha 1", TwoSampleT(true), htTwoTailed, 1.0},
      {"pooled alpha 1", TwoSampleT(false), htTwoTailed, 1.0},
      {"z sigma 0", zSigma0, htTwoTailed, 0.05},
      {"z alpha -1", Z, htTwoTailed, -1.0},
      {"F alpha 0", F, htTwoTailed, 0.0},
      {"chi2 alpha 1", Chi2, htTwoTailed, 1.0}};
  for (const auto& [name, run, hType, alpha] : cases) {
    SCOPED_TRACE(name);
    TTestOut o;
    EXPECT_TRUE(std::isnan(run(mvDouble, hType, alpha, o)));
    EXPECT_EQ(hrNan, o.hRes);
    EXPECT_TRUE(std::isnan(o.signif) && std::isnan(o.ci[0]) && std::isnan(o.ci[1]));
  }
}

TEST_F(LocationTest, DegenerateDataGiveNan) {
  for (const TVec& d : {Vec({2, 2, 2, 2}), Vec({3}), Vec(std::vector<double>{}), Vec({1, NAN, 3})}) {
    tTest(d, 1.0, h, p, ci);
    EXPECT_EQ(hrNan, h);
  }
  GrubbsTest(Vec({1, 1, 1, 1}), h, p, ci);
  EXPECT_EQ(hrNan, h);
  // A negative Sigma is used as given: z changes sign, the two-tailed p-value does not.
  const double zNeg = ZTest(Vec(kX), 5.2, -0.4, h, p, ci);
  EXPECT_CLOSE(-1.660195771588399039, zNeg, 1e-12);
  EXPECT_CLOSE(0.096875075026274585, p, 1e-12);
}

TEST_F(LocationTest, MessagesInCheckOrder) {
  const TVec c = ComplexVec(), x = Vec({1, 2, 3}), xs = Vec({1, 2, 3}, mvSingle), two = Vec({1, 2});
  EXPECT_RAISES(tTest(c, 0.0, h, p, ci, htTwoTailed, 2.0), "tTest: Data.Complex = true");
  EXPECT_RAISES(tTest(c, two, h, p, ci, true, htTwoTailed, 2.0), "tTest: vectors must be real");
  EXPECT_RAISES(tTest(x, two, h, p, ci, true, htTwoTailed, 2.0), "tTest: Data1.Length <> Data2.Length");
  EXPECT_RAISES(tTest(x, xs, h, p, ci, true), "tTest: Data1.FloatPrecision <> Data2.FloatPrecision");
  EXPECT_RAISES(ZTest(c, 0.0, 0.0, h, p, ci, htTwoTailed, 2.0), "ZTest: Data.Complex = true");
  EXPECT_RAISES(FTest(Vec({1}), c, h, p, ci), "FTest: (Data1.Complex) or (Data2.Complex)");
  EXPECT_RAISES(FTest(x, Vec({1}), h, p, ci), "FTest: (Data1.Length<2) or (Data2.Length<2)");
  EXPECT_RAISES(ChiSquareTest(c, 1.0, h, p, ci, htTwoTailed, 2.0), "Chi2Test: Data.Complex = true");
  EXPECT_RAISES(GrubbsTest(c, h, p, ci), "GrubbsTest: Data.Complex");
  int k;
  TVec sig;
  EXPECT_RAISES(BartlettTest(ComplexMtx(), k, sig), "BartlettTest: Data.Complex = True");
  // Unpaired samples may differ in length and precision.
  EXPECT_NO_THROW(tTest(x, Vec({1, 2, 4, 8}, mvSingle), h, p, ci, false));
}

TEST_F(LocationTest, GrubbsTestIgnoresAlphaAgainstSignif) {
  // Right-tailed: G > Gc exactly when Signif / 2 < Alpha. With Alpha 0.0012 between Signif / 2
  // (0.0009) and Signif (0.0018) the test rejects although Signif > Alpha.
  GrubbsTest(Vec(kG), h, p, ci, htRightTailed, 0.0012);
  EXPECT_TRUE(h == hrReject && p > 0.0012);
  GrubbsTest(Vec(kG), h, p, ci, htRightTailed, 0.0008);
  EXPECT_EQ(hrNotReject, h);
}

// Columns of a two-level 2^4 factorial: orthogonal, mean zero, so the covariance is
// diag(scale^2) * 16 / 15 and its eigenvalues are known.
TMtx ScaledFactorial(const std::vector<double>& scale) {
  TMtx m(16, 4);
  for (int r = 0; r < 16; ++r)
    for (int c = 0; c < 4; ++c) m.Values(r, c) = ((r >> c & 1) ? 1.0 : -1.0) * scale[static_cast<std::size_t>(c)];
  return m;
}

TEST_F(LocationTest, BartlettTestCountsDistinctComponents) {
  struct TCase {
    std::vector<double> scale;
    std::vector<double> signif;
    int numComp;
  };
  // R: D <- as.matrix(expand.grid(c(-1,1), c(-1,1), c(-1,1), c(-1,1))) scaled by column; lam <-
  // sort(eigen(cov(Z))$values); 1 - pchisq(15 * (k * log(mean(lam[1:k])) - sum(log(lam[1:k]))), (k-1)*(k+2) %/% 2)
  for (const TCase& c :
       {TCase{{3, 1, 10, 6}, {1.3112434471551637e-09, 8.9042534201499990e-07, 4.7018498457596092e-04}, 4},
        TCase{{1, 10, 1.1, 0.9}, {0.0, 0.98797967416240662, 0.92025662682580545}, 1},
        TCase{{2, 2, 2, 2}, {1, 1, 1}, -1}}) {
    int numComp = 0;
    TVec signif;
    BartlettTest(ScaledFactorial(c.scale), numComp, signif, 0.05);
    EXPECT_EQ(c.numComp, numComp);
    ExpectAllClose(c.signif, signif, 1e-9);
  }
}

}  // namespace
