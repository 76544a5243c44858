#include <cmath>
#include <vector>

#include "support/TestSupport.h"

namespace {

using namespace KalixTest;
using namespace Statistics;
using Kalix::TMtxFloatPrecision;

// R's iris rows 1-10, 51-60 and 101-110 (four measurements), listed column by column.
const std::vector<double> kSetosa{5.1, 4.9, 4.7, 4.6, 5, 5.4, 4.6, 5, 4.4, 4.9, 3.5, 3, 3.2, 3.1,
                                  3.6, 3.9, 3.4, 3.4, 2.9, 3.1, 1.4, 1.4, 1.3, 1.5, 1.4, 1.7, 1.4, 1.5,
                                  1.4, 1.5, 0.2, 0.2, 0.2, 0.2, 0.2, 0.4, 0.3, 0.2, 0.2, 0.1};
const std::vector<double> kVersicolor{7, 6.4, 6.9, 5.5, 6.5, 5.7, 6.3, 4.9, 6.6, 5.2, 3.2, 3.2, 3.1, 2.3,
                                      2.8, 2.8, 3.3, 2.4, 2.9, 2.7, 4.7, 4.5, 4.9, 4, 4.6, 4.5, 4.7, 3.3,
                                      4.6, 3.9, 1.4, 1.5, 1.5, 1.3, 1.5, 1.3, 1.6, 1, 1.3, 1.4};
const std::vector<double> kVirginica{6.3, 5.8, 7.1, 6.3, 6.5, 7.6, 4.9, 7.3, 6.7, 7.2, 3.3, 2.7, 3, 2.9,
                                     3, 3, 2.5, 2.9, 2.5, 3.6, 6, 5.1, 5.9, 5.6, 5.8, 6.6, 4.5, 6.3,
                                     5.8, 6.1, 2.5, 1.9, 2.1, 1.8, 2.2, 2.1, 1.7, 1.8, 1.8, 2.5};

TMtx ByColumns(const std::vector<double>& v, int rows, TMtxFloatPrecision p = Kalix::mvDouble) {
  const int cols = static_cast<int>(v.size()) / rows;
  TMtx m(rows, cols, p);
  for (int j = 0; j < cols; ++j)
    for (int i = 0; i < rows; ++i) m(i, j) = v[std::size_t(j * rows + i)];
  return m;
}

class HotellingP : public testing::TestWithParam<TMtxFloatPrecision> {};

// R: d <- colMeans(A) - mu; S <- cov(A); T2 <- n * t(d) %*% solve(S, d)
//    F <- (n-p)/(p*(n-1))*T2; pf(F, p, n-p, lower.tail=FALSE)
//    sqrt(p*(n-1)/(n-p)*qf(0.95,p,n-p)*diag(S)/n)
// Two samples: Sp <- ((n1-1)*cov(A)+(n2-1)*cov(B))/(n1+n2-2);
//    T2 <- t(d) %*% solve(Sp*(1/n1+1/n2), d); F <- (n1+n2-p-1)/(p*(n1+n2-2))*T2
TEST_P(HotellingP, OneAndTwoSamplesMatchTheirFormulasInR) {
  const double tol = GetParam() == Kalix::mvSingle ? 2e-4 : 1e-11;
  const TMtx A = ByColumns(kSetosa, 10, GetParam()), B = ByColumns(kVersicolor, 10, GetParam());
  THypothesisResult hRes;
  double signif, F;
  TVec half;
  EXPECT_CLOSE(4.2344388284982166, HotellingT2(A, Vec({5, 3.4, 1.5, 0.25}), hRes, signif, &half, &F), tol);
  EXPECT_CLOSE(0.70573980474970277, F, tol);
  EXPECT_CLOSE(0.61636475036484617, signif, tol);
  EXPECT_EQ(hRes, hrNotReject);
  EXPECT_EQ(half.FloatPrecision(), GetParam());
  ExpectAllClose({0.48053644953740932, 0.50656304186703038, 0.17814527400951929, 0.13009891345060332}, half, tol);

  EXPECT_CLOSE(1173.2984943044885, HotellingT2(A, B, hRes, signif, &half, &F), tol);
  EXPECT_CLOSE(244.43718631343512, F, tol);
  EXPECT_NEAR(1.8534433860120047e-13, signif, GetParam() == Kalix::mvSingle ? 1e-9 : 1e-15);
  EXPECT_EQ(hRes, hrReject);
  ExpectAllClose({0.94879457997631267, 0.55497863221153354, 0.6049928417289453, 0.22548759635750634}, half, tol);
}

// R: Sp <- sum((n_i-1) cov_i)/(N-k); M <- (N-k)*log(det(Sp)) - sum((n_i-1)*log(det(cov_i)))
//    c1 <- (sum(1/(n_i-1)) - 1/(N-k))*(2p^2+3p-1)/(6(p+1)(k-1)); chi <- M*(1-c1)
//    c2 <- (sum(1/(n_i-1)^2) - 1/(N-k)^2)*(p-1)*(p+2)/(6*(k-1)); df2 <- (df1+2)/(c2-c1^2)
//    F <- M/(df1/(1-c1-df1/df2))
TEST_P(HotellingP, BoxMMatchesItsFormulasInR) {
  const double tol = GetParam() == Kalix::mvSingle ? 2e-4 : 1e-11;
  std::vector<double> all;
  for (const auto* g : {&kSetosa, &kVersicolor, &kVirginica})
    for (int i = 0; i < 10; ++i)
      for (int j = 0; j < 4; ++j) all.push_back((*g)[std::size_t(j * 10 + i)]);
  TMtx X(30, 4, GetParam());
  for (int i = 0; i < 30; ++i)
    for (int j = 0; j < 4; ++j) X(i, j) = all[std::size_t(i * 4 + j)];
  TVecInt groups(30);
  for (int i = 0; i < 30; ++i) groups[i] = 7 - 3 * (i / 10);  // any labels, in any order
  THypothesisResult hRes;
  double signif, chi, F, fSignif;
  TTwoElmReal df;
  EXPECT_CLOSE(47.171517232234635, BoxMTest(X, groups, hRes, signif, &chi, &F, &df, &fSignif), tol);
  EXPECT_CLOSE(37.154849375513209, chi, tol);
  EXPECT_CLOSE(0.011211578637132782, signif, tol);
  EXPECT_CLOSE(1.8397159699705303, F, tol);
  EXPECT_CLOSE(20, df[0], 0);
  EXPECT_CLOSE(2616.7875271936164, df[1], tol);
  EXPECT_CLOSE(0.012837485741302826, fSignif, tol);
  EXPECT_EQ(hRes, hrReject);
  X(3, 2) = NAN;
  EXPECT_TRUE(std::isnan(BoxMTest(X, groups, hRes, signif)));
  EXPECT_EQ(hRes, hrNan);
}

INSTANTIATE_TEST_SUITE_P(Precisions, HotellingP, testing::ValuesIn(kRealPrecisions), PrecisionName);

TEST(HotellingT2, NaNDataAndBadAlphaAreQuiet) {
  TMtx A = ByColumns(kSetosa, 10);
  THypothesisResult hRes;
  double signif, F;
  TVec half;
  EXPECT_TRUE(std::isnan(HotellingT2(A, Vec({5, 3, 1, 0}), hRes, signif, &half, &F, 1.0)));
  EXPECT_EQ(hRes, hrNan);
  EXPECT_TRUE(std::isnan(signif) && std::isnan(half[0]));
  EXPECT_FALSE(std::isnan(F));
  A(2, 1) = NAN;
  EXPECT_TRUE(std::isnan(HotellingT2(A, ByColumns(kVersicolor, 10), hRes, signif, &half, &F)));
  EXPECT_TRUE(std::isnan(F) && std::isnan(half[3]) && hRes == hrNan);
}

TEST(HotellingT2, Messages) {
  const TMtx A = ByColumns(kSetosa, 10), C = ComplexMtx(), Small = Mtx({{1, 2}, {3, 4}});
  // Column 3 = column 0 + column 1: singular covariance however many rows.
  TMtx Dup = ByColumns(kSetosa, 10);
  for (int i = 0; i < 10; ++i) Dup(i, 3) = Dup(i, 0) + Dup(i, 1);
  THypothesisResult h;
  double s;
  TVecInt g3{1, 1, 1, 2, 2, 2};
  EXPECT_RAISES(HotellingT2(C, ComplexVec(), h, s), "HotellingT2: Data.Complex = true");
  EXPECT_RAISES(HotellingT2(A, ComplexVec(), h, s), "HotellingT2: Mu.Complex = true");
  EXPECT_RAISES(HotellingT2(A, Vec({1, 2}), h, s), "HotellingT2: Mu.Length <> Data.Cols");
  EXPECT_RAISES(HotellingT2(TMtx(3, 0), TVec(), h, s), "HotellingT2: Data.Cols = 0");
  EXPECT_RAISES(HotellingT2(Small, Vec({1, 2}), h, s), "HotellingT2: Data.Rows <= Data.Cols");
  EXPECT_RAISES(HotellingT2(Dup, Vec({1, 2, 3, 4}), h, s), "HotellingT2: covariance matrix is singular");
  EXPECT_RAISES(HotellingT2(C, C, h, s), "HotellingT2: Data1.Complex = true");
  EXPECT_RAISES(HotellingT2(A, C, h, s), "HotellingT2: Data2.Complex = true");
  EXPECT_RAISES(HotellingT2(A, Small, h, s), "HotellingT2: Data1.Cols <> Data2.Cols");
  EXPECT_RAISES(HotellingT2(A, ByColumns(kSetosa, 10, Kalix::mvSingle), h, s),
                "HotellingT2: Data1.FloatPrecision <> Data2.FloatPrecision");
  EXPECT_RAISES(HotellingT2(A, TMtx(0, 4), h, s), "HotellingT2: (Data1.Rows = 0) or (Data2.Rows = 0)");
  EXPECT_RAISES(HotellingT2(Small, Mtx({{1, 2}}), h, s), "HotellingT2: Data1.Rows + Data2.Rows - 2 < Data1.Cols");
  EXPECT_RAISES(HotellingT2(Dup, Dup, h, s), "HotellingT2: covariance matrix is singular");
  EXPECT_RAISES(BoxMTest(C, g3, h, s), "BoxMTest: Data.Complex = true");
  EXPECT_RAISES(BoxMTest(A, g3, h, s), "BoxMTest: Groups.Length <> Data.Rows");
  EXPECT_RAISES(BoxMTest(Small, TVecInt{4, 4}, h, s), "BoxMTest: fewer than 2 groups");
  EXPECT_RAISES(BoxMTest(Mtx({{1, 2}, {2, 1}, {3, 5}, {1, 1}, {0, 2}, {4, 4}}), TVecInt{1, 1, 2, 2, 2, 2}, h, s),
                "BoxMTest: a group has no more rows than Data.Cols");
}

}  // namespace
