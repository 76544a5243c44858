#include <tuple>

#include "Statistics/detail/RankDistributions.h"
#include "StatisticsTest.h"

namespace {

using RankTest = TOutputs;

// 19 non-zero values (one equals the median 0) and the same with a twentieth.
const std::vector<double> kSign19{1.2,  2.5, -0.3, 3.1, 0.8, 1.9,  -1.1, 2.2, 0.5, 1.4,
                                  -0.7, 2.8, 0.9,  1.1, 3.3, -0.2, 1.7,  0.4, 2.0, 0};
const std::vector<double> kSign20{1.2,  2.5, -0.3, 3.1, 0.8, 1.9,  -1.1, 2.2, 0.5, 1.4,
                                  -0.7, 2.8, 0.9,  1.1, 3.3, -0.2, 1.7,  0.4, 2.0, 0.6};
const std::vector<double> kW14{1.83, 0.50, 1.62, 2.48, 1.68, 1.88, 1.55, 3.06, 1.30, -0.4, 0.85, 2.2, 1.1, 0.33};
const std::vector<double> kW15{1.83, 0.50, 1.62, 2.48, 1.68, 1.88, 1.55, 3.06, 1.30, -0.4, 0.85, 2.2, 1.1, 0.33, 2.75};
// Ties and two values equal to the median 1: 15 non-zero differences.
const std::vector<double> kWTies{1.5, 2.5, 0.5, 2.5, 3.0, -0.5, 1.5, 4.0, 0.0, 2.0, 1.0, 5.0, -1.0, 2.5, 3.5, 1.0, 6.0};
const std::vector<double> kA8{1.1, 2.3, 0.7, 3.4, 2.9, 1.8, 2.2, 4.1}, kB3{3.0, 4.4, 3.9};
const std::vector<double> kA7{1.1, 2.3, 0.7, 3.4, 2.9, 1.8, 2.2}, kB7{3.05, 4.4, 3.9, 2.5, 5.1, 3.7, 2.0};
const std::vector<double> kSX{2.1, 3.4, 1.9, 5.6, 4.4, 3.4, 6.1, 2.8, 5.0, 4.4, 3.9};
const std::vector<double> kSY{1.5, 2.9, 2.2, 4.8, 5.1, 3.0, 5.9, 2.2, 4.1, 3.8, 4.0};

struct TRankCase {
  const char* name;
  TRun run;
  double stat, two, right, left;  // p-values by tail, NaN: not compared
};

TRun Sign(const std::vector<double>& d) {
  return [&d](TMtxFloatPrecision p, THypothesisType h, double a, TTestOut& o) {
    return SignTest(Vec(d, p), 0.0, o.hRes, o.signif, o.ci, h, a);
  };
}
TRun Wilcoxon(const std::vector<double>& d) {
  return [&d](TMtxFloatPrecision p, THypothesisType h, double a, TTestOut& o) {
    return WilcoxonSign(Vec(d, p), 1.0, o.hRes, o.signif, o.ci, h, a);
  };
}
TRun Mann(const std::vector<double>& a, const std::vector<double>& b, bool normal = false) {
  return [&a, &b, normal](TMtxFloatPrecision p, THypothesisType h, double al, TTestOut& o) {
    return MannWhitneyTest(Vec(a, p), Vec(b, p), o.hRes, o.signif, o.ci, h, al, normal);
  };
}

const std::vector<TRankCase> kRankCases{
    // R: d <- x[x != 0]; 2*pbinom(4, 19, .5) (= binom.test(15, 19)); 1 - pbinom(15, 19, .5) (npos
    // itself excluded, deliberately); pbinom(15, 19, .5)
    {"sign n=19", Sign(kSign19), 4, 0.019210815429687517, 0.0022125244140625, 0.9977874755859375},
    // R: d <- 16 - 4; 2*pnorm(-abs(d - sign(d))/sqrt(20)); 1 - pnorm((2*16 - 20)/sqrt(20)); pnorm(...)
    {"sign n=20", Sign(kSign20), 4, 0.0139062968953460753, 0.0036451790457677768, 0.9963548209542322232},
    // R: wilcox.test(w, mu = 1, exact = TRUE)$p.value; 1 - psignrank(25, 14); psignrank(25, 14)
    {"signed-rank n=14", Wilcoxon(kW14), 25, 0.090576171875000014, 1 - 0.045288085937500007, 0.045288085937500007},
    // R: wilcox.test(w15, mu = 1, exact = FALSE, correct = FALSE, alternative = ...)$p.value
    {"signed-rank n=15", Wilcoxon(kW15), 25, 0.046826465481519017, 0.023413232740759508, 0.976586767259240540},
    // R, as above with ties (tie-corrected variance)
    {"signed-rank ties", Wilcoxon(kWTies), 24.5, 0.043093747745290234, 0.021546873872645117, kNaN},
    // R: wilcox.test(a, b, exact = TRUE)$p.value (= 2 pwilcox(U, 8, 3)); pwilcox(3, 8, 3)
    {"rank-sum 8x3", Mann(kA8, kB3), 3, 0.08484848484848484, kNaN, 0.04242424242424242},
    {"rank-sum 3x8", Mann(kB3, kA8), 3, kNaN, 1 - 0.04242424242424242, kNaN},
    // R: wilcox.test(a7, b7, exact = TRUE)$p.value; pnorm((7 - 24.5)/sqrt(15*49/12))
    {"rank-sum 7x7", Mann(kA7, kB7), 7, 0.026223776223776224, kNaN, kNaN},
    {"rank-sum 7x7 normal", Mann(kA7, kB7, true), 7, kNaN, kNaN, 0.01267365933873413},
};

class RankByPrecision : public testing::TestWithParam<TMtxFloatPrecision> {};

TEST_P(RankByPrecision, TailsMatchReference) {
  for (const TRankCase& c : kRankCases)
    for (const auto& [hType, ref] : Tails(c.two, c.right, c.left)) {
      SCOPED_TRACE(testing::Message() << c.name << " tail " << hType);
      TTestOut o, atP, below;
      ExpectAllClose({c.stat, ref}, {c.run(GetParam(), hType, 0.05, o), o.signif}, 1e-12);
      EXPECT_EQ(ref <= 0.05 ? hrReject : hrNotReject, o.hRes);
      c.run(GetParam(), hType, o.signif, atP);  // Alpha equal to the p-value rejects; one ulp below does not
      c.run(GetParam(), hType, std::nextafter(o.signif, 0.0), below);
      EXPECT_EQ((std::pair{hrReject, hrNotReject}), (std::pair{atP.hRes, below.hRes}));
    }
}

TEST_F(RankTest, ClampsAndTwoSampleForms) {
  // 2 P(S <= 2) for n = 4 is 1.375: clamped to 1. ConfInt is not written.
  const double S = SignTest(Vec({1, -1, 2, -2}), 0.0, h, p, ci);
  ExpectAllClose({2, 1, -7}, {S, p, ci[0]}, 0);
  // U = 2 of sizes 2 and 2: 2 P(U <= 2) = 4/3 is deliberately not clamped.
  const double U = MannWhitneyTest(Vec({1, 4}), Vec({2, 3}), h, p, ci);
  ExpectAllClose({2, 4.0 / 3}, {U, p}, 1e-15);
  EXPECT_EQ(hrNotReject, h);
  // Two-sample forms test Data1 - Data2 against 0 (the 14 values are w - 1 + 1).
  std::vector<double> ones(kW14.size(), 1.0);
  double s1, s2;
  const double W = WilcoxonSign(Vec(kW14), Vec(ones), h, s1, ci);
  // R: round(qnorm(.025) * sqrt(253.75) + 52); round(qnorm(.975) * sqrt(253.75) + 53)
  ExpectAllClose({25, 0.090576171875000014, 21, 84}, {W, s1, ci[0], ci[1]}, 1e-12);
  EXPECT_EQ(SignTest(Vec(kSign19), 0.0, h, s1, ci),
            SignTest(Vec(kSign19), Vec(std::vector<double>(20, 0.0)), h, s2, ci));
  EXPECT_EQ(s1, s2);
}

TEST_F(RankTest, SignedRankExactWithMidranksMatchesCoin) {
  // R coin: wilcoxsign_test(d ~ rep(0, 8), distribution = "exact", alternative = "greater" and
  // two-sided), d = c(2, 2, 3, -1, 5, -2, 2, 4): midranks 3.5 four times; P(W- <= 4.5) by symmetry.
  const TVec d = Vec({2, 2, 3, -1, 5, -2, 2, 4});
  EXPECT_EQ(4.5, WilcoxonSign(d, 0.0, h, p, ci, htLeftTailed));
  EXPECT_CLOSE(0.0390625, p, 1e-14);
  WilcoxonSign(d, 0.0, h, p, ci);
  EXPECT_CLOSE(0.078125, p, 1e-14);
}

TEST_F(RankTest, SignedRankExactLargeSamplesStayExact) {
  std::vector<double> ranks(1000), mid(1000);
  for (int i = 0; i < 1000; ++i) {
    ranks[static_cast<std::size_t>(i)] = i + 1;
    mid[static_cast<std::size_t>(i)] = 2 * (i / 2) + 1.5;  // tied pairs
  }
  // R: psignrank(222854, 1000); psignrank(3, 1000)
  EXPECT_CLOSE(1.3433277595521187e-03, detail::SignedRankExactCDF(ranks, false, 222854), 1e-11);
  EXPECT_NEAR(4.6663180925164135e-301 / detail::SignedRankExactCDF(ranks, false, 3), 1.0, 1e-12);
  // Midranks: the tie-corrected normal law is within a few per cent at z = -3.
  const double n = 1000, mu = n * (n + 1) / 4, T = 500 * 3.0;  // 500 pairs, (2^3 - 2)/2 each
  const double sd = std::sqrt((n * (n + 1) * (2 * n + 1) - T) / 24), w = std::floor(mu - 3 * sd);
  EXPECT_NEAR(1.0, detail::SignedRankExactCDF(mid, true, w) / Kalix::NormalCDF(w + 0.5, mu, sd), 0.03);
}

TEST_F(RankTest, MannWhitneyExactRecursionMatchesEnumerationAndReference) {
  for (auto [n1, n2] : {std::pair{7, 7}, {3, 5}, {1, 6}, {8, 3}}) {
    for (int u = -1; u <= n1 * n2; ++u) {
      SCOPED_TRACE(std::to_string(n1) + "x" + std::to_string(n2) + " U=" + std::to_string(u));
      EXPECT_CLOSE(MannWCDF1(n1, n2, u), detail::MannWhitneyExactCDF(n1, n2, u), 1e-14);
    }
    EXPECT_TRUE(std::isnan(MannWCDF1(n1, n2, n1 * n2 + 0.5)));
    EXPECT_TRUE(std::isnan(detail::MannWhitneyExactCDF(n1, n2, n1 * n2 + 1)));
  }
  // R: pwilcox(c(0, 100, 599, 600), 30, 40); pwilcox(60, 200, 300)
  EXPECT_CLOSE(1.8067585035079663e-20 * 1e20, detail::MannWhitneyExactCDF(30, 40, 0) * 1e20, 1e-12);
  EXPECT_CLOSE(2.5768697285593008e-11 * 1e11, detail::MannWhitneyExactCDF(40, 30, 100) * 1e11, 1e-12);
  EXPECT_CLOSE(4.9764847765267717e-01, detail::MannWhitneyExactCDF(30, 40, 599), 1e-13);
  EXPECT_CLOSE(5.0235152234731539e-01, detail::MannWhitneyExactCDF(30, 40, 600), 1e-13);
  EXPECT_NEAR(1.0, detail::MannWhitneyExactCDF(200, 300, 60) / 1.3134351867179737e-138, 1e-11);
  // 500 x 500: no overflow; the lower tail is 1 / C(1000, 500) and the median splits evenly.
  const double lnC = std::lgamma(1001.0) - 2 * std::lgamma(501.0);
  EXPECT_NEAR(1.0, detail::MannWhitneyExactCDF(500, 500, 0) * std::exp(lnC), 1e-9);
  // Near the centre of 200 x 200 (the normal law is 2e-4 off there). R: pwilcox(19000, 200, 200)
  EXPECT_CLOSE(0.19385428287521031, detail::MannWhitneyExactCDF(200, 200, 19000), 1e-12);
  // Beyond a second's work or 160 MB of counts the normal law answers at once (two samples of
  // 1000 near the centre once took minutes; 2^31 - 1 against 1 asked for 8 GB); far tails stay
  // exact, and sizes beyond int do not overflow.
  // R: pnorm(499999.5, 5e5, sqrt(1e6 * 2001 / 12)); the exact value is 0.49998455636979
  EXPECT_CLOSE(0.49998455289321703, MannWCDF1(1000, 1000, 499999), 1e-15);
  EXPECT_CLOSE(Kalix::NormalCDF(1e9 + 0.5, 1073741823.5, std::sqrt(2147483647.0 * 2147483649 / 12)),
               MannWCDF1(2147483647, 1, 1e9), 1e-15);
  // R: 7 / choose(2^31 + 4, 5)
  EXPECT_NEAR(1.0, MannWCDF1(2147483647, 5, 3) / 1.83920422586186e-44, 1e-12);
}

TEST_F(RankTest, SpearmanRankCorrTiesTailsAndInterval) {
  double rs, two, right, left;
  // R: cor.test(sx, sy, method = "spearman", exact = FALSE); pt(t, 9); Fisher z with qnorm(.95)
  SpearmanRankCorr(Vec(kSX), Vec(kSY, mvSingle), rs, h, two, ci);
  ExpectAllClose({0.92906421740029455, 3.5612636783366485e-05, 0.78944768614137384, 0.97727709349757175},
                 {rs, two, ci[0], ci[1]}, 1e-12);
  EXPECT_EQ(hrReject, h);
  SpearmanRankCorr(Vec(kSX), Vec(kSY), rs, h, right, ci, htRightTailed);
  SpearmanRankCorr(Vec(kSX), Vec(kSY), rs, h, left, ci, htLeftTailed);
  EXPECT_CLOSE(0.99998219368160823, right, 1e-12);  // deliberately not complemented
  EXPECT_EQ(right, left);
  EXPECT_EQ(hrNotReject, h);
}

TEST_F(RankTest, MessagesInCheckOrder) {
  const TVec c = ComplexVec(), x = Vec({1, 2, 3}), two = Vec({1, 2});
  double rs, df;
  EXPECT_RAISES(SignTest(c, 0.0, h, p, ci, htTwoTailed, 0.0), "SignTest: Data.Complex = true");
  EXPECT_RAISES(SignTest(x, 0.0, h, p, ci, htTwoTailed, 1.0), "SignTest: (Alpha<=0) or (Alpha>=1)");
  EXPECT_RAISES(SignTest(x, 0.0, h, p, ci, htTwoTailed, NAN), "SignTest: (Alpha<=0) or (Alpha>=1)");
  EXPECT_RAISES(SignTest(c, two, h, p, ci, htTwoTailed, 0.0), "SignTest: (Data1.Length <> Data2.Length)");
  EXPECT_RAISES(SignTest(x, c, h, p, ci, htTwoTailed, 0.0), "SignTest: (Data1.Length <> Data2.Length)");
  EXPECT_RAISES(SignTest(c, c, h, p, ci, htTwoTailed, 0.0), "SignTest: vectors must be real");
  EXPECT_RAISES(SignTest(x, x, h, p, ci, htTwoTailed, 0.0), "SignTest :(Alpha<=0) or (Alpha>=1)");
  EXPECT_RAISES(WilcoxonSign(c, 0.0, h, p, ci, htTwoTailed, 0.0), "WilcoxonSign: Data.Complex = true");
  EXPECT_RAISES(WilcoxonSign(c, two, h, p, ci, htTwoTailed, 0.0), "WilcoxonSign: (Data1.Length <> Data2.Length)");
  EXPECT_RAISES(WilcoxonSign(two, ComplexVec(), h, p, ci), "WilcoxonSign: (Data1.Length <> Data2.Length)");
  EXPECT_RAISES(WilcoxonSign(c, c, h, p, ci, htTwoTailed, 0.0), "WilcoxonSign: vectors must be real");
  EXPECT_RAISES(WilcoxonSign(x, x, h, p, ci, htTwoTailed, 1.5), "WilcoxonSign :(Alpha<=0) or (Alpha>=1)");
  EXPECT_RAISES(MannWhitneyTest(x, c, h, p, ci, htTwoTailed, 0.0), "MannWhitneyTest: vectors must be real");
  EXPECT_RAISES(MannWhitneyTest(x, two, h, p, ci, htTwoTailed, 0.0), "MannWhitneyTest :(Alpha<=0) or (Alpha>=1)");
  EXPECT_RAISES(SpearmanRankCorr(c, two, rs, h, p, ci), "SpearmanRankCorr: (X.Complex) or (Y.Complex)");
  EXPECT_RAISES(SpearmanRankCorr(x, two, rs, h, p, ci), "SpearmanRankCorr: X.Length <> Y.Length");
  EXPECT_RAISES(tTestWelch(Vec({1.0, 2.0}), ComplexVec(), h, p, ci, df), "tTestWelch: vectors must be real");
  EXPECT_RAISES(KendallTau(ComplexVec(), Vec({1.0, 2.0}), rs, h, p), "KendallTau: (X.Complex) or (Y.Complex)");
  EXPECT_RAISES(KendallTau(Vec({1.0}), Vec({1.0, 2.0}), rs, h, p), "KendallTau: X.Length <> Y.Length");
  EXPECT_RAISES(KruskalWallis(ComplexVec(), TVecInt{0, 1}, h, p), "KruskalWallis: Data.Complex or GroupIndex.Complex");
  EXPECT_RAISES(KruskalWallis(Vec({1.0}), TVecInt{0, 1}, h, p), "KruskalWallis: Data.Length <> GroupIndex.Length");
  EXPECT_RAISES(KruskalWallis(Vec({1.0, 2.0}), TVecInt({0, 1}, Kalix::prInt16), h, p),
                "KruskalWallis: GroupIndex.IntPrecision <> prInt32");
  EXPECT_RAISES(KruskalWallis(Vec({1.0, 2.0}), TVecInt{0, -1}, h, p), "KruskalWallis: GroupIndex < 0");
  EXPECT_RAISES(MannWhitneyExact(Vec({1.0}), ComplexVec(), h, p), "MannWhitneyExact: vectors must be real");
}

const std::vector<double> kWx{5.1, 4.9, 5.6, 5.8, 6.0, 5.3, 4.7, 5.5, 6.2, 5.0};
const std::vector<double> kWy{4.8, 5.9, 4.1, 6.6, 5.4, 3.9, 6.9};

// R: t.test(x, y, alternative = ..., conf.level = 0.9); the right-tailed interval is R's "less"
// one (an upper bound) and vice versa, as for the other t tests.
TEST_P(RankByPrecision, TailsMatchR) {
  const double tol = GetParam() == mvSingle ? 2e-5 : 1e-10;
  const double t = 0.082122863874903404, df = 7.5177910978464162;
  for (const auto& [hType, signif, lo, hi] :
       {std::tuple{htTwoTailed, 0.93669310824849283, -0.8421384790237737, 0.91928133616663021},
        {htRightTailed, 0.46834655412424642, -kInf, 0.69842054325179115},
        {htLeftTailed, 0.53165344587575358, -0.62127768610893463, kInf}}) {
    SCOPED_TRACE(hType);
    TTestOut o;
    double dof;
    o.stat = tTestWelch(Vec(kWx, GetParam()), Vec(kWy, GetParam()), o.hRes, o.signif, o.ci, dof, hType, 0.1);
    ExpectAllClose({t, df, signif, lo, hi}, {o.stat, dof, o.signif, o.ci[0], o.ci[1]}, tol);
    EXPECT_EQ(hrNotReject, o.hRes);
  }
}

// Kendall: R cor.test(x, y, method = "kendall") for each alternative.
const std::vector<double> kKx{4.2, 1.3, 3.3, 5.9, 2.2, 7.1, 6.4, 0.8, 3.9, 5.0};
const std::vector<double> kKy{2.0, 1.1, 3.6, 4.4, 0.7, 5.1, 6.0, 1.9, 2.8, 3.0};
const std::vector<double> kKyNeg{-2.0, -1.1, -3.6, -4.4, -0.7, -5.1, -6.0, -1.9, -2.8, -3.0};  // the other tail
const std::vector<double> kTx{1, 2, 2, 3, 3, 3, 4, 5, 5, 6, 7, 7};
const std::vector<double> kTy{2, 1, 3, 3, 2, 4, 4, 6, 5, 5, 7, 6};

// x = (37 i) mod 61, y = (41 i) mod 61 + 0.3 x + 0.01 i: untied pairs of any length.
void Untied(int n, std::vector<double>& x, std::vector<double>& y) {
  x.clear();
  y.clear();
  for (int i = 1; i <= n; ++i) {
    x.push_back((i * 37) % 61);
    y.push_back((i * 41) % 61 + 0.3 * x.back() + 0.01 * i);
  }
}

TEST_P(RankByPrecision, ExactAndTiedNormalMatchR) {
  const double tol = GetParam() == mvSingle ? 1e-6 : 1e-10;
  struct TCase {
    const std::vector<double>*x, *y;
    double tau, two, right, left;
  };
  const TCase cases[]{
      {&kKx, &kKy, 0.64444444444444449, 0.0091484788359788016, 0.0045742394179894008, 0.99765652557319229},  // exact
      {&kKx, &kKyNeg, -0.64444444444444449, kNaN, 0.99765652557319229, 0.0045742394179894008},
      {&kTx, &kTy, 0.80994501601142566, 0.00055584547248055134, 0.00027792273624027567, 0.99972207726375972},  // ties
  };
  for (const TCase& c : cases)
    for (const auto& [hType, ref] : Tails(c.two, c.right, c.left)) {
      SCOPED_TRACE(testing::Message() << c.tau << " tail " << hType);
      THypothesisResult h;
      double tau, p;
      KendallTau(Vec(*c.x, GetParam()), Vec(*c.y, GetParam()), tau, h, p, hType, 0.01);
      EXPECT_CLOSE(c.tau, tau, tol);
      EXPECT_CLOSE(ref, p, 1e-6);
      EXPECT_EQ(ref <= 0.01 ? hrReject : hrNotReject, h);
    }
}

TEST_F(RankTest, KendallTauExactBelowFiftyPairsNormalFrom) {
  // R: cor.test(x, y, method = "kendall"), exact at n = 49, normal at n = 60.
  for (const auto& [n, refTau, refP] :
       {std::tuple{49, 0.25, 0.011022677012800131}, std::tuple{60, 0.20225988700564973, 0.022412806696835055}}) {
    std::vector<double> x, y;
    Untied(n, x, y);
    double tau;
    KendallTau(Vec(x), Vec(y), tau, h, p);
    ExpectAllClose({refTau, refP}, {tau, p}, 1e-6);
  }
}

TEST_F(RankTest, KendallTauTiesInBothVariablesAcrossMergePasses) {
  // R: i <- 1:300; x <- ((37 * i) %% 61) %/% 3; y <- ((41 * i) %% 61) %/% 4 + x %/% 2;
  // cor.test(x, y, method = "kendall", exact = FALSE): tau-b and the tie-corrected p-value
  std::vector<double> x, y;
  for (int i = 1; i <= 300; ++i) {
    x.push_back((i * 37) % 61 / 3);
    y.push_back((i * 41) % 61 / 4 + (i * 37) % 61 / 3 / 2);
  }
  double tau;
  KendallTau(Vec(x), Vec(y), tau, h, p);
  ExpectAllClose({0.39998254478626655, 5.8096061668804249e-23}, {tau, p}, 1e-9);
}

// R: kruskal.test(x, factor(g)).
TEST_F(RankTest, KruskalWallisMatchesRWithTiesAndSparseGroupNumbers) {
  const std::vector<double> x{2.9, 3.0, 2.5, 2.6, 3.2, 3.8, 2.7, 4.0, 2.4, 2.8, 3.4, 3.7, 2.2, 2.0, 3.0, 2.5};
  const TVecInt g{5, 5, 5, 5, 5, 9, 9, 9, 9, 7, 7, 7, 7, 7, 7, 7};
  for (TMtxFloatPrecision prec : kRealPrecisions) {
    const double H = KruskalWallis(Vec(x, prec), g, h, p);
    EXPECT_CLOSE(0.81131479140328921, H, prec == mvSingle ? 1e-6 : 1e-12);
    EXPECT_CLOSE(0.66653848726172948, p, 1e-6);
    EXPECT_EQ(hrNotReject, h);
  }
}

// R coin: wilcox_test(v ~ g, distribution = "exact", alternative = ...); U from wilcox.test.
TEST_F(RankTest, MannWhitneyExactTiesTiedExactDistributionMatchesCoin) {
  std::vector<double> a40, b35;
  for (int i = 1; i <= 40; ++i) a40.push_back((i * 7) % 11);
  for (int j = 1; j <= 35; ++j) b35.push_back(((j * 5) % 13) / 2 + 1);
  const std::vector<double> a7{1, 1, 1, 2, 2, 3, 5}, b9{1, 2, 4, 4, 4, 4, 5, 5, 6};
  struct TCase {
    const std::vector<double>*a, *b;
    double u, two, right, left;
  };
  const TCase cases[]{
      // Lopsided ties: the two-tailed p is not twice the smaller tail (0.0580).
      {&a7, &b9, 13.5, 0.053496503496503499, 0.97692307692307689, 0.029020979020979023},
      {&a40, &b35, 881.5, 0.05249049274646532, 0.026242404937605567, 0.97408578256326472},
      {&b35, &a40, 1400.0 - 881.5, kNaN, kNaN, 0.026242404937605567},  // larger sample first
  };
  for (const TCase& c : cases)
    for (const auto& [hType, ref] : Tails(c.two, c.right, c.left)) {
      SCOPED_TRACE(testing::Message() << c.u << " tail " << hType);
      EXPECT_CLOSE(c.u, MannWhitneyExact(Vec(*c.a), Vec(*c.b), h, p, hType, 0.03), 1e-12);
      EXPECT_CLOSE(ref, p, 1e-6);
      EXPECT_EQ(ref <= 0.03 ? hrReject : hrNotReject, h);
    }
}

TEST_F(RankTest, MannWhitneyExactTiesNormalLawBeyondTheTableLimit) {
  // R: wilcox.test(a, b, exact = FALSE, correct = FALSE), a = 7i mod 23, b = 5i mod 19 + 1.
  std::vector<double> a, b;
  for (int i = 1; i <= 400; ++i) {
    a.push_back((i * 7) % 23);
    b.push_back((i * 5) % 19 + 1);
  }
  double right;
  const double U = MannWhitneyExact(Vec(a), Vec(b), h, p);
  MannWhitneyExact(Vec(a), Vec(b), h, right, htRightTailed);
  ExpectAllClose({87217, 0.02705333773820574, 0.01352666886910287}, {U, p, right}, 1e-10);
}

TEST_F(RankTest, MannWhitneyExactTiesWithoutTiesAgreesWithTheUntiedRecursion) {
  std::vector<double> a, b;
  for (int i = 0; i < 60; ++i) (i % 5 < 2 ? a : b).push_back(std::sin(i * 1.3) + 0.02 * i);
  const double u = MannWhitneyExact(Vec(a), Vec(b), h, p, htLeftTailed);
  EXPECT_CLOSE(detail::MannWhitneyExactCDF(24, 36, u), p, 1e-12);
}

// NaN data, constant data, one group, no data and a bad Alpha: NaN statistic and p-value, hrNan,
// and the interval left alone.
TEST_F(RankTest, DegenerateDataGiveNaN) {
  const TVec x = Vec({1.0, 2.0, 3.0}), xNaN = Vec({1.0, NAN, 3.0});
  double df, tau;
  TTestOut o;
  // Unless told otherwise the p-value is NaN too and the interval is left alone.
  const auto expectNaN = [&o](double stat, bool quietP = true) {
    EXPECT_TRUE(std::isnan(stat) && o.hRes == hrNan) << stat << " " << o.hRes;
    EXPECT_TRUE(!quietP || (std::isnan(o.signif) && o.ci[0] == -7.0)) << o.signif << " " << o.ci[0];
    o = TTestOut();
  };
  expectNaN(tTestWelch(Vec({1.0}), Vec({1.0, 2.0}), o.hRes, o.signif, o.ci, df), false);
  expectNaN((KendallTau(xNaN, x, tau, o.hRes, o.signif), tau));
  expectNaN((KendallTau(Vec({2.0, 2.0, 2.0}), x, tau, o.hRes, o.signif), tau), false);  // constant x
  expectNaN((KendallTau(Vec(kKx), Vec(kKy), tau, o.hRes, o.signif, htTwoTailed, 1.0), tau));
  expectNaN(KruskalWallis(x, TVecInt{4, 4, 4}, o.hRes, o.signif));  // one group
  expectNaN(KruskalWallis(xNaN, TVecInt{0, 1, 1}, o.hRes, o.signif));
  expectNaN(MannWhitneyExact(xNaN, Vec({2.0}), o.hRes, o.signif));
  expectNaN(MannWhitneyExact(Vec({}), Vec({2.0}), o.hRes, o.signif));
  expectNaN(MannWhitneyExact(Vec(kKx), Vec(kKy), o.hRes, o.signif, htTwoTailed, 0.0));
  expectNaN(WilcoxonSign(Vec({1, 2, NAN, 4}), 0.0, o.hRes, o.signif, o.ci), false);
  expectNaN(WilcoxonSign(Vec(kW14), 1.0, o.hRes, o.signif, o.ci, htTwoTailed, 1.0));  // bad Alpha
  expectNaN(MannWhitneyTest(xNaN, Vec({2, 3, 5}), o.hRes, o.signif, o.ci));
  expectNaN((SpearmanRankCorr(Vec({1, 2, NAN, 4}), Vec({1, 3, 2, 4}), tau, o.hRes, o.signif, o.ci), tau), false);
}

TEST_F(RankTest, MannWhitneyExactCDFDoubleCountsAgreeWithExactIntegers) {
  // The double recursion against multi-word integer counts, across sizes and both tails.
  const std::vector<std::pair<int, int>> sizes{{10, 300}, {50, 50}, {37, 120}, {90, 110}, {100, 100}, {140, 60}};
  for (const auto& [m, n] : sizes) {
    const double mn = static_cast<double>(m) * n;
    for (double f : {0.02, 0.2, 0.35, 0.4999, 0.5, 0.62, 0.9}) {
      const double u = std::round(f * mn);
      SCOPED_TRACE(testing::Message() << m << " x " << n << " U = " << u);
      const double exact = detail::MannWhitneyExactCDFIntegers(m, n, u);
      ASSERT_GT(exact, 0.0);
      EXPECT_NEAR(1.0, detail::MannWhitneyExactCDF(m, n, u) / exact, 1e-13);  // relative, deep tails too
    }
  }
}

TEST(RankTests, ConcurrentCallsAgree) {
  const int mismatches = ConcurrentMismatches([](int) {
    THypothesisResult h;
    double s1, s2, s3, s4, s5, rs, tau;
    TTwoElmReal ci;
    std::vector<double> big(60), x, y;
    for (std::size_t i = 0; i < big.size(); ++i) big[i] = std::sin(static_cast<double>(i) * 1.7) * 10;
    Untied(45, x, y);
    const double w = WilcoxonSign(Vec(kW14), 1.0, h, s1, ci);
    const double u = MannWhitneyTest(Vec(big), Vec(kW15), h, s2, ci);
    SpearmanRankCorr(Vec(kSX), Vec(kSY), rs, h, s3, ci);
    KendallTau(Vec(x), Vec(y), tau, h, s4);
    const double ue = MannWhitneyExact(Vec(x), Vec(kTy), h, s5);
    return std::vector<double>{w, s1, u, s2, rs, s3, tau, s4, ue, s5, double(Kalix::ScratchOutstanding())};
  });
  EXPECT_EQ(0, mismatches);
}

TEST(MannWhitneyExactCDF, VectorisedCountsMatchIntegerRecursionBitForBit) {
  // Counts below 2^53 (64-bit counts, or small tails of the double ones) are exact, so the vectorised pass must give
  // the scalar integer recursion's bits: strides below, at and past the vector width, rows past n + i, one row only.
  const std::vector<std::tuple<int, int, double>> cases{
      {20, 25, 250}, {3, 20000, 29999}, {9, 9, 40}, {50, 50, 0}, {50, 50, 7}, {50, 50, 17}, {50, 50, 150}, {12, 2000, 300}, {70, 65, 120}, {34, 40, 200}};
  for (const auto& [m, n, u] : cases)
    EXPECT_EQ(detail::MannWhitneyExactCDFIntegers(m, n, u), detail::MannWhitneyExactCDF(m, n, u)) << m << " x " << n << " U = " << u;
}

INSTANTIATE_TEST_SUITE_P(Precisions, RankByPrecision, testing::ValuesIn(kRealPrecisions), PrecisionName);

}  // namespace
