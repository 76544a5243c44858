#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "Statistics/detail/RankDistributions.h"
#include "support/TestSupport.h"

using namespace Statistics;
using namespace KalixTest;
using Kalix::TMtxFloatPrecision;

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
const std::vector<double> kWx{5.1, 4.9, 5.6, 5.8, 6.0, 5.3, 4.7, 5.5, 6.2, 5.0};
const std::vector<double> kWy{4.8, 5.9, 4.1, 6.6, 5.4, 3.9, 6.9};

struct TTailRef {
  THypothesisType hType;
  double stat, signif, lo, hi;
};

class WelchByPrecision : public testing::TestWithParam<TMtxFloatPrecision> {};

// R: t.test(x, y, alternative = ..., conf.level = 0.9); the right-tailed interval is R's "less"
// one (an upper bound) and vice versa, as for the other t tests.
TEST_P(WelchByPrecision, TailsMatchR) {
  const double tol = GetParam() == Kalix::mvSingle ? 2e-5 : 1e-10;
  const double t = 0.082122863874903404, df = 7.5177910978464162;
  const std::vector<TTailRef> cases{
      {htTwoTailed, t, 0.93669310824849283, -0.8421384790237737, 0.91928133616663021},
      {htRightTailed, t, 0.46834655412424642, -kInf, 0.69842054325179115},
      {htLeftTailed, t, 0.53165344587575358, -0.62127768610893463, kInf},
  };
  for (const TTailRef& c : cases) {
    SCOPED_TRACE(c.hType);
    THypothesisResult h;
    double p, dof;
    TTwoElmReal ci;
    const double got = tTestWelch(Vec(kWx, GetParam()), Vec(kWy, GetParam()), h, p, ci, dof, c.hType, 0.1);
    EXPECT_CLOSE(c.stat, got, tol);
    EXPECT_CLOSE(df, dof, tol);
    EXPECT_CLOSE(c.signif, p, tol);
    EXPECT_CLOSE(c.lo, ci[0], tol);
    EXPECT_CLOSE(c.hi, ci[1], tol);
    EXPECT_EQ(hrNotReject, h);
  }
}
INSTANTIATE_TEST_SUITE_P(Precisions, WelchByPrecision, testing::ValuesIn(kRealPrecisions), PrecisionName);

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

class KendallByPrecision : public testing::TestWithParam<TMtxFloatPrecision> {};

TEST_P(KendallByPrecision, ExactAndTiedNormalMatchR) {
  const double tol = GetParam() == Kalix::mvSingle ? 1e-6 : 1e-10;
  struct TCase {
    const std::vector<double>*x, *y;
    THypothesisType hType;
    double tau, p;
  };
  const std::vector<TCase> cases{
      {&kKx, &kKy, htTwoTailed, 0.64444444444444449, 0.0091484788359788016},  // exact
      {&kKx, &kKy, htRightTailed, 0.64444444444444449, 0.0045742394179894008},
      {&kKx, &kKy, htLeftTailed, 0.64444444444444449, 0.99765652557319229},
      {&kKx, &kKyNeg, htLeftTailed, -0.64444444444444449, 0.0045742394179894008},
      {&kKx, &kKyNeg, htRightTailed, -0.64444444444444449, 0.99765652557319229},
      {&kTx, &kTy, htTwoTailed, 0.80994501601142566, 0.00055584547248055134},  // ties: normal
      {&kTx, &kTy, htRightTailed, 0.80994501601142566, 0.00027792273624027567},
      {&kTx, &kTy, htLeftTailed, 0.80994501601142566, 0.99972207726375972},
  };
  for (const TCase& c : cases) {
    SCOPED_TRACE(c.hType);
    THypothesisResult h;
    double tau, p;
    KendallTau(Vec(*c.x, GetParam()), Vec(*c.y, GetParam()), tau, h, p, c.hType, 0.01);
    EXPECT_CLOSE(c.tau, tau, tol);
    EXPECT_CLOSE(c.p, p, 1e-6);
    EXPECT_EQ(c.p <= 0.01 ? hrReject : hrNotReject, h);
  }
}
INSTANTIATE_TEST_SUITE_P(Precisions, KendallByPrecision, testing::ValuesIn(kRealPrecisions), PrecisionName);

TEST(KendallTau, ExactBelowFiftyPairsNormalFrom) {
  // R: cor.test(x, y, method = "kendall"), exact at n = 49, normal at n = 60.
  const std::vector<std::pair<int, std::pair<double, double>>> cases{{49, {0.25, 0.011022677012800131}},
                                                                     {60, {0.20225988700564973, 0.022412806696835055}}};
  for (const auto& [n, ref] : cases) {
    std::vector<double> x, y;
    Untied(n, x, y);
    THypothesisResult h;
    double tau, p;
    KendallTau(Vec(x), Vec(y), tau, h, p);
    EXPECT_CLOSE(ref.first, tau, 1e-12);
    EXPECT_CLOSE(ref.second, p, 1e-6);
  }
}

TEST(KendallTau, MergeCountEqualsPairByPairCount) {
  // Definition of tau-b counted over all pairs, with many ties in both variables.
  std::mt19937 gen(7);
  std::vector<double> x(3001), y(3001);
  for (std::size_t i = 0; i < x.size(); ++i) {
    x[i] = static_cast<double>(gen() % 40);
    y[i] = static_cast<double>(gen() % 25) + 0.05 * x[i];
  }
  double S = 0, tiesX = 0, tiesY = 0, n0 = 0;
  for (std::size_t i = 0; i < x.size(); ++i)
    for (std::size_t j = 0; j < i; ++j) {
      const double a = x[i] - x[j], b = y[i] - y[j];
      n0 += 1;
      S += (a > 0) - (a < 0) == 0 ? 0 : ((a > 0) == (b > 0) ? (b != 0) : -(b != 0));
      tiesX += a == 0;
      tiesY += b == 0;
    }
  THypothesisResult h;
  double tau, p;
  KendallTau(Vec(x), Vec(y), tau, h, p);
  EXPECT_CLOSE(S / std::sqrt((n0 - tiesX) * (n0 - tiesY)), tau, 1e-12);
}

// R: kruskal.test(x, factor(g)).
TEST(KruskalWallis, MatchesRWithTiesAndSparseGroupNumbers) {
  const std::vector<double> x{2.9, 3.0, 2.5, 2.6, 3.2, 3.8, 2.7, 4.0, 2.4, 2.8, 3.4, 3.7, 2.2, 2.0, 3.0, 2.5};
  const Kalix::TVecInt g{5, 5, 5, 5, 5, 9, 9, 9, 9, 7, 7, 7, 7, 7, 7, 7};
  for (TMtxFloatPrecision prec : kRealPrecisions) {
    THypothesisResult h;
    double p;
    const double H = KruskalWallis(Vec(x, prec), g, h, p);
    EXPECT_CLOSE(0.81131479140328921, H, prec == Kalix::mvSingle ? 1e-6 : 1e-12);
    EXPECT_CLOSE(0.66653848726172948, p, 1e-6);
    EXPECT_EQ(hrNotReject, h);
  }
}

// R coin: wilcox_test(v ~ g, distribution = "exact", alternative = ...); U from wilcox.test.
TEST(MannWhitneyExactTies, TiedExactDistributionMatchesCoin) {
  std::vector<double> a40, b35;
  for (int i = 1; i <= 40; ++i) a40.push_back((i * 7) % 11);
  for (int j = 1; j <= 35; ++j) b35.push_back(((j * 5) % 13) / 2 + 1);
  const std::vector<double> a7{1, 1, 1, 2, 2, 3, 5}, b9{1, 2, 4, 4, 4, 4, 5, 5, 6};
  struct TCase {
    const std::vector<double>*a, *b;
    THypothesisType hType;
    double u, p;
  };
  const std::vector<TCase> cases{
      // Lopsided ties: the two-tailed p is not twice the smaller tail (0.0580).
      {&a7, &b9, htTwoTailed, 13.5, 0.053496503496503499},
      {&a7, &b9, htRightTailed, 13.5, 0.97692307692307689},
      {&a7, &b9, htLeftTailed, 13.5, 0.029020979020979023},
      {&a40, &b35, htTwoTailed, 881.5, 0.05249049274646532},
      {&a40, &b35, htRightTailed, 881.5, 0.026242404937605567},
      {&a40, &b35, htLeftTailed, 881.5, 0.97408578256326472},
      {&b35, &a40, htLeftTailed, 1400.0 - 881.5, 0.026242404937605567},  // larger sample first
  };
  for (const TCase& c : cases) {
    SCOPED_TRACE(c.hType);
    THypothesisResult h;
    double p;
    EXPECT_CLOSE(c.u, MannWhitneyExact(Vec(*c.a), Vec(*c.b), h, p, c.hType, 0.03), 1e-12);
    EXPECT_CLOSE(c.p, p, 1e-6);
    EXPECT_EQ(c.p <= 0.03 ? hrReject : hrNotReject, h);
  }
}

TEST(MannWhitneyExactTies, NormalLawBeyondTheTableLimit) {
  // R: wilcox.test(a, b, exact = FALSE, correct = FALSE), a = 7i mod 23, b = 5i mod 19 + 1.
  std::vector<double> a, b;
  for (int i = 1; i <= 400; ++i) {
    a.push_back((i * 7) % 23);
    b.push_back((i * 5) % 19 + 1);
  }
  THypothesisResult h;
  double p;
  EXPECT_CLOSE(87217.0, MannWhitneyExact(Vec(a), Vec(b), h, p), 1e-12);
  EXPECT_CLOSE(0.02705333773820574, p, 1e-10);
  MannWhitneyExact(Vec(a), Vec(b), h, p, htRightTailed);
  EXPECT_CLOSE(0.01352666886910287, p, 1e-10);
}

TEST(MannWhitneyExactTies, WithoutTiesAgreesWithTheUntiedRecursion) {
  std::vector<double> a, b;
  for (int i = 0; i < 60; ++i) (i % 5 < 2 ? a : b).push_back(std::sin(i * 1.3) + 0.02 * i);
  THypothesisResult h;
  double p;
  const double u = MannWhitneyExact(Vec(a), Vec(b), h, p, htLeftTailed);
  EXPECT_CLOSE(detail::MannWhitneyExactCDF(24, 36, u), p, 1e-12);
}

TEST(WelchAndRankTests, DegenerateDataGiveNaN) {
  THypothesisResult h = hrReject;
  double p = 0, tau = 0, df = 0;
  TTwoElmReal ci;
  EXPECT_TRUE(std::isnan(tTestWelch(Vec({1.0}), Vec({1.0, 2.0}), h, p, ci, df)));
  EXPECT_EQ(hrNan, h);
  KendallTau(Vec({1.0, NAN, 3.0}), Vec({1.0, 2.0, 3.0}), tau, h, p);
  EXPECT_TRUE(std::isnan(tau) && std::isnan(p));
  KendallTau(Vec({2.0, 2.0, 2.0}), Vec({1.0, 2.0, 3.0}), tau, h, p);  // constant x
  EXPECT_EQ(hrNan, h);
  EXPECT_TRUE(std::isnan(KruskalWallis(Vec({1.0, 2.0, 3.0}), Kalix::TVecInt{4, 4, 4}, h, p)));  // one group
  EXPECT_TRUE(std::isnan(KruskalWallis(Vec({1.0, NAN, 3.0}), Kalix::TVecInt{0, 1, 1}, h, p)));
  EXPECT_TRUE(std::isnan(MannWhitneyExact(Vec({1.0, NAN}), Vec({2.0}), h, p)));
  EXPECT_TRUE(std::isnan(MannWhitneyExact(Vec({}), Vec({2.0}), h, p)));
  EXPECT_EQ(hrNan, h);
  EXPECT_EQ(0, Kalix::ScratchOutstanding());
}

TEST(WelchAndRankTests, BadArgumentsRaiseInOrder) {
  THypothesisResult h;
  double p, tau, df;
  TTwoElmReal ci;
  EXPECT_RAISES(tTestWelch(Vec({1.0, 2.0}), ComplexVec(), h, p, ci, df), "tTestWelch: vectors must be real");
  EXPECT_RAISES(KendallTau(ComplexVec(), Vec({1.0, 2.0}), tau, h, p), "KendallTau: (X.Complex) or (Y.Complex)");
  EXPECT_RAISES(KendallTau(Vec({1.0}), Vec({1.0, 2.0}), tau, h, p), "KendallTau: X.Length <> Y.Length");
  EXPECT_RAISES(KruskalWallis(ComplexVec(), Kalix::TVecInt{0, 1}, h, p),
                "KruskalWallis: Data.Complex or GroupIndex.Complex");
  EXPECT_RAISES(KruskalWallis(Vec({1.0}), Kalix::TVecInt{0, 1}, h, p), "KruskalWallis: Data.Length <> GroupIndex.Length");
  EXPECT_RAISES(KruskalWallis(Vec({1.0, 2.0}), Kalix::TVecInt({0, 1}, Kalix::prInt16), h, p),
                "KruskalWallis: GroupIndex.IntPrecision <> prInt32");
  EXPECT_RAISES(KruskalWallis(Vec({1.0, 2.0}), Kalix::TVecInt{0, -1}, h, p), "KruskalWallis: GroupIndex < 0");
  EXPECT_RAISES(MannWhitneyExact(Vec({1.0}), ComplexVec(), h, p), "MannWhitneyExact: vectors must be real");
  // A bad Alpha is quiet.
  KendallTau(Vec(kKx), Vec(kKy), tau, h, p, htTwoTailed, 1.0);
  EXPECT_EQ(hrNan, h);
  EXPECT_TRUE(std::isnan(MannWhitneyExact(Vec(kKx), Vec(kKy), h, p, htTwoTailed, 0.0)));
}

TEST(WelchAndRankTests, ConcurrentCallsAgree) {
  const int mismatches = ConcurrentMismatches([](int) {
    THypothesisResult h;
    double p1, p2, tau;
    std::vector<double> x, y;
    Untied(45, x, y);
    KendallTau(Vec(x), Vec(y), tau, h, p1);
    const double u = MannWhitneyExact(Vec(x), Vec(kTy), h, p2);
    return std::vector<double>{tau, p1, u, p2, static_cast<double>(Kalix::ScratchOutstanding())};
  });
  EXPECT_EQ(0, mismatches);
}

}  // namespace

namespace {

TEST(MannWhitneyExactCDF, DoubleCountsAgreeWithExactIntegers) {
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

}  // namespace
