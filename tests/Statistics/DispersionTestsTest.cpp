#include <cmath>
#include <limits>
#include <vector>

#include "support/TestSupport.h"

using namespace Statistics;
using namespace KalixTest;
using Kalix::TMtxFloatPrecision;

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
const std::vector<double> kX{5.1, 4.9, 5.6, 5.8, 6.0, 5.3, 4.7, 5.5, 6.2, 5.0};
const std::vector<double> kY{4.8, 5.2, 5.0, 5.9, 5.4, 5.1, 4.5, 5.0, 5.7, 4.6, 5.3, 4.9};
const std::vector<double> kG{2.1, 2.3, 1.9, 2.0, 2.2, 2.4, 1.8, 2.1, 3.4, 2.0};

struct TDispCase {
  THypothesisType hType;
  double signif, lo, hi;
};

class DispersionByPrecision : public testing::TestWithParam<TMtxFloatPrecision> {};

TEST_P(DispersionByPrecision, FAndChiSquareTails) {
  const double tol = GetParam() == Kalix::mvSingle ? 1e-5 : 1e-12;
  const TVec x = Vec(kX, GetParam()), y = Vec(kY, GetParam());
  // R: F <- var.test(y, x)$statistic; p from var.test / 1 - pf(F, 11, 9) / pf(F, 11, 9);
  // intervals F * qf(q, 11, 9) at the quantiles the test takes.
  const double F = 0.70249804518704528;
  for (const TDispCase& c : {TDispCase{htTwoTailed, 0.57205418672683028, 0.19579651210216048, 2.74822466588161030},
                             TDispCase{htRightTailed, 0.71397290663658486, 0.0, 0.24255663430899371},
                             TDispCase{htLeftTailed, 1 - 0.71397290663658486, 2.17948993401001934, kInf}}) {
    SCOPED_TRACE(c.hType);
    THypothesisResult h;
    double s;
    TTwoElmReal ci;
    EXPECT_CLOSE(F, FTest(x, y, h, s, ci, c.hType), tol);
    EXPECT_CLOSE(c.signif, s, tol);
    EXPECT_CLOSE(c.lo, ci[0], tol);
    EXPECT_CLOSE(c.hi, ci[1], tol);
    EXPECT_EQ(hrNotReject, h);
  }
  // R: ss <- 9 * var(x); G <- pchisq(ss / 0.09, 9); sqrt(ss / qchisq(q, 9)) at the test's quantiles
  for (const TDispCase& c : {TDispCase{htTwoTailed, 0.007037354268026208, 0.340769725614813390, 0.904450186429352043},
                             TDispCase{htRightTailed, 0.003518677134013104, 0.0, 0.361335640209359432},
                             TDispCase{htLeftTailed, 1 - 0.003518677134013104, 0.815069540650974811, kInf}}) {
    SCOPED_TRACE(c.hType);
    THypothesisResult h;
    double s;
    TTwoElmReal ci;
    ChiSquareTest(x, 0.3, h, s, ci, c.hType);
    EXPECT_CLOSE(c.signif, s, tol);
    EXPECT_CLOSE(c.lo, ci[0], tol);
    EXPECT_CLOSE(c.hi, ci[1], tol);
    EXPECT_EQ(c.signif <= 0.05 ? hrReject : hrNotReject, h);
  }
}

TEST_P(DispersionByPrecision, GrubbsDecidesByCriticalValue) {
  const double tol = GetParam() == Kalix::mvSingle ? 2e-5 : 1e-12;
  const TVec g = Vec(kG, GetParam());
  // R: G from the z-scores; t <- qt(1 - a, 8); Gc <- 9 * sqrt(t^2 / (10 * (t^2 + 8)));
  // T2 <- 8 * 10 * G^2 / (81 - 10 * G^2); 2 * 10 * pt(-sqrt(T2), 8); mean(g) -+ Gc
  struct TCase {
    THypothesisType hType;
    double signif, lo, hi;
    THypothesisResult res;
  };
  for (const TCase& c : {TCase{htTwoTailed, 0.0017932546388052611, -0.0699540844796033845, 4.5099540844796042194, hrReject},
                         TCase{htRightTailed, 0.0017932546388052611, 0.0439316058057785952, 4.3960683941942217956, hrReject},
                         TCase{htLeftTailed, 3.568105100136918395, 0.043931605805778595, 4.396068394194221796, hrNotReject}}) {
    SCOPED_TRACE(c.hType);
    THypothesisResult h;
    double s;
    TTwoElmReal ci;
    GrubbsTest(g, h, s, ci, c.hType);
    EXPECT_CLOSE(c.signif, s, tol);  // 3.57 for the minimum: not clamped
    EXPECT_CLOSE(c.lo, ci[0], tol);
    EXPECT_CLOSE(c.hi, ci[1], tol);
    EXPECT_EQ(c.res, h);
  }
}

INSTANTIATE_TEST_SUITE_P(Precisions, DispersionByPrecision, testing::ValuesIn(kRealPrecisions), PrecisionName);

TEST(GrubbsTest, IgnoresAlphaAgainstSignif) {
  THypothesisResult h;
  double s;
  TTwoElmReal ci;
  // Right-tailed: G > Gc exactly when Signif / 2 < Alpha. With Alpha 0.0012 between Signif / 2
  // (0.0009) and Signif (0.0018) the test rejects although Signif > Alpha.
  GrubbsTest(Vec(kG), h, s, ci, htRightTailed, 0.0012);
  EXPECT_EQ(hrReject, h);
  EXPECT_GT(s, 0.0012);
  GrubbsTest(Vec(kG), h, s, ci, htRightTailed, 0.0008);
  EXPECT_EQ(hrNotReject, h);
  GrubbsTest(Vec({1, 1, 1, 1}), h, s, ci);
  EXPECT_EQ(hrNan, h);
}

// Columns of a two-level 2^4 factorial: orthogonal, mean zero, so the covariance is
// diag(scale^2) * 16 / 15 and its eigenvalues are known.
TMtx ScaledFactorial(const std::vector<double>& scale) {
  TMtx m(16, 4);
  for (int r = 0; r < 16; ++r)
    for (int c = 0; c < 4; ++c) m.Values(r, c) = ((r >> c & 1) ? 1.0 : -1.0) * scale[static_cast<std::size_t>(c)];
  return m;
}

TEST(BartlettTest, CountsDistinctComponents) {
  struct TCase {
    std::vector<double> scale;
    std::vector<double> signif;
    int numComp;
  };
  // R: D <- as.matrix(expand.grid(c(-1,1), c(-1,1), c(-1,1), c(-1,1))) scaled by column; lam <-
  // sort(eigen(cov(Z))$values); 1 - pchisq(15 * (k * log(mean(lam[1:k])) - sum(log(lam[1:k]))), (k-1)*(k+2) %/% 2)
  for (const TCase& c : {TCase{{3, 1, 10, 6}, {1.3112434471551637e-09, 8.9042534201499990e-07, 4.7018498457596092e-04}, 4},
                         TCase{{1, 10, 1.1, 0.9}, {0.0, 0.98797967416240662, 0.92025662682580545}, 1},
                         TCase{{2, 2, 2, 2}, {1, 1, 1}, -1}}) {
    int numComp = 0;
    TVec signif;
    BartlettTest(ScaledFactorial(c.scale), numComp, signif, 0.05);
    EXPECT_EQ(c.numComp, numComp);
    ExpectAllClose(c.signif, signif, 1e-9);
  }
}

TEST(DispersionTests, MessagesAndQuietAlpha) {
  const TVec c = ComplexVec(), one = Vec({1}), x = Vec(kX);
  THypothesisResult h;
  double s;
  TTwoElmReal ci;
  int k;
  TVec sig;
  EXPECT_RAISES(FTest(one, c, h, s, ci), "FTest: (Data1.Complex) or (Data2.Complex)");
  EXPECT_RAISES(FTest(x, one, h, s, ci), "FTest: (Data1.Length<2) or (Data2.Length<2)");
  EXPECT_RAISES(ChiSquareTest(c, 1.0, h, s, ci, htTwoTailed, 2.0), "Chi2Test: Data.Complex = true");
  EXPECT_RAISES(GrubbsTest(c, h, s, ci), "GrubbsTest: Data.Complex");
  EXPECT_RAISES(BartlettTest(ComplexMtx(), k, sig), "BartlettTest: Data.Complex = True");
  EXPECT_TRUE(std::isnan(FTest(x, x, h, s, ci, htTwoTailed, 0.0)));
  EXPECT_TRUE(h == hrNan && std::isnan(s) && std::isnan(ci[0]) && std::isnan(ci[1]));
  ChiSquareTest(x, 1.0, h, s, ci, htTwoTailed, 1.0);
  EXPECT_TRUE(h == hrNan && std::isnan(s) && std::isnan(ci[1]));
  // Var(Data2) = 2 Var(Data1) gives F = 2.
  EXPECT_CLOSE(2.0, FTest(Vec({1, 2, 3}), Vec({2, 2 + std::sqrt(2.0), 2 + 2 * std::sqrt(2.0)}), h, s, ci), 1e-14);
}

}  // namespace
