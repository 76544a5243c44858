// Principal components: eigenvalues, variance percentages, loadings and scores against R's prcomp (signs aside), the
// covariance/correlation identities, degenerate data, precision and the block-tiled score product.

#include "StatisticsTest.h"

namespace {

// Column c of PC and Z against reference loadings and scores (rows listed in zRows), taking
// the reference's sign: components are defined up to a sign, which PC and Z share.
void ExpectComponent(const TMtx& PC, const TMtx& Z, int c, const std::vector<double>& loadings,
                     const std::vector<std::pair<int, double>>& scores, double tol) {
  double dot = 0;
  for (int i = 0; i < PC.Rows(); ++i) dot += PC(i, c) * loadings[std::size_t(i)];
  const double sign = dot < 0 ? -1.0 : 1.0;
  for (int i = 0; i < PC.Rows(); ++i) EXPECT_CLOSE(loadings[std::size_t(i)], sign * PC(i, c), tol) << "loading " << i;
  for (const auto& [row, v] : scores) EXPECT_CLOSE(v, sign * Z(row, c), tol) << "score row " << row;
}

class PCAPrecision : public testing::TestWithParam<TMtxFloatPrecision> {};

// R: p <- prcomp(longley[, 1:6], scale. = TRUE); p$sdev^2; 100 * p$sdev[1]^2 / sum(p$sdev^2);
//    p$rotation[, 1]; p$x[c(1, 16), 1]
TEST_P(PCAPrecision, LongleyCorrelationMatchesPrcomp) {
  const double tol = GetParam() == mvSingle ? 2e-4 : 1e-10;
  TMtx PC, Z;
  TVec eig, pct;
  PCA(Longley(GetParam()), PC, Z, eig, &pct, PCACorrMat);
  EXPECT_EQ(PC.FloatPrecision(), GetParam());
  ExpectAllClose({4.6033770957683906, 1.175340499257145, 0.20342537240143468, 0.014928258677276877,
                  0.0025520657630748304, 0.00037670813267770342},
                 eig, tol);
  EXPECT_CLOSE(76.72295159613985, pct[0], tol);
  ExpectComponent(PC, Z, 0,
                  {0.46183489816677181, 0.46150434667900198, 0.32131669830654197, 0.20150974187320744,
                   0.46227935304156009, 0.46494028423306938},
                  {{0, -3.4788511646159122}, {15, 3.3447634386226168}}, tol);
}

// R: p <- prcomp(longley[, 1:6]); p$sdev^2; p$rotation[, 1:2]; p$x[c(1, 16), 1:2]. The
// eigenvalues span 5e5, so the smallest ones test the decomposition of the centred data.
TEST_P(PCAPrecision, LongleyCovarianceMatchesPrcomp) {
  const double tol = GetParam() == mvSingle ? 2e-3 : 1e-11;
  const TMtx X = Longley(GetParam());
  TMtx PC, Z;
  TVec eig;
  PCA(X, PC, Z, eig, nullptr, PCACovMat);
  const std::vector<double> expected{15358.51978757369,  7077.4060077467102,  1204.4091120911844,
                                     1.6387657255849535, 0.13850957927031535, 0.02836721272881601};
  // Relative to the largest; in double the smallest to 1e-12 of itself.
  for (int j = 0; j < 6; ++j) EXPECT_CLOSE(expected[std::size_t(j)] / 15358.5, eig[j] / 15358.5, tol) << j;
  EXPECT_CLOSE(0.02836721272881601, eig[5], GetParam() == mvDouble ? 1e-12 : 1.0);
  ExpectComponent(PC, Z, 0,
                  {0.082477884911583352, 0.756235276147850022, 0.626223746777296753, 0.157508664992500880,
                   0.054391626461360830, 0.037175206865179077},
                  {{0, -186.81534675713979}, {15, 183.08679782769224}}, tol);
}

INSTANTIATE_TEST_SUITE_P(Precisions, PCAPrecision, testing::ValuesIn(kRealPrecisions), PrecisionName);

// Well-conditioned data take the covariance matrix's eigen-decomposition.
// R: X <- matrix(c(2,0,1, 1,3,2, 4,1,0, 3,5,4, 0,2,3), ncol = 3, byrow = TRUE); p <- prcomp(X);
//    p$sdev^2; p$rotation[, 1]; p$x[1, 1]
TEST(PCA, SmallCovarianceMatchesPrcomp) {
  TMtx PC, Z;
  TVec eig, pct;
  PCA(Mtx({{2, 0, 1}, {1, 3, 2}, {4, 1, 0}, {3, 5, 4}, {0, 2, 3}}), PC, Z, eig, &pct, PCACovMat);
  ExpectAllClose({5.7917375215820481, 2.6617696700755538, 0.24649280834239956}, eig, 1e-12);
  ExpectComponent(PC, Z, 0, {-0.19134217126122441, 0.75278111869071451, 0.62984820460155033},
                  {{0, -2.28596666572112239}}, 1e-12);
  // Deterministic signs: the element of largest magnitude of every loading is positive.
  EXPECT_TRUE(PC(1, 0) > 0 && PC(0, 1) > 0 && PC(2, 2) > 0);
  // Nearly collinear columns: the small eigenvalue survives only the SVD of the centred data
  // (the covariance matrix's eigen-decomposition, R's eigen(cov(X)), is off by 1e-3).
  // R: x <- 1:8; X <- cbind(x, x + 1e-6 * rep(c(1, -1), 4)); prcomp(X)$sdev^2
  TMtx X(8, 2);
  for (int i = 0; i < 8; ++i) X(i, 0) = i + 1, X(i, 1) = i + 1 + (i % 2 ? -1e-6 : 1e-6);
  PCA(X, PC, Z, eig, nullptr, PCACovMat);
  EXPECT_CLOSE(11.999998857143455, eig[0], 1e-14);
  EXPECT_CLOSE(1.0, eig[1] / 5.4421773903182387e-13, 1e-6);
}

TEST(PCA, MatrixFormMatchesDataFormAndSVD) {
  // The correlation matrix decomposed directly gives the data form's eigenvalues and loadings.
  TMtx R, PC, PCm, Z;
  TVec eig, eigm, pct;
  CorrCoef(Longley(), R);
  PCA(Longley(), PC, Z, eig);
  PCA(R, PCm, eigm, &pct);
  ExpectAllClose(eig.ToVector(), eigm, 1e-12);
  ExpectAllClose(PC.ToVector(), PCm, 1e-10);
  EXPECT_CLOSE(100.0, Kalix::Sum(pct), 1e-12);
  // A non-symmetric matrix gives its singular values and right singular vectors.
  // R: s <- svd(matrix(c(2, 1, 0, 3), 2, byrow = TRUE)); s$d; s$v
  PCA(Mtx({{2, 1}, {0, 3}}), PCm, eigm);
  ExpectAllClose({3.2566165379829402, 1.8424029756098448}, eigm, 1e-12);
  ExpectAllClose({0.28978414868843000, 0.95709202648905256}, {std::abs(PCm(0, 0)), std::abs(PCm(1, 0))}, 1e-12);
}

TEST(PCA, PerfectCorrelationAndModes) {
  const TMtx X = Mtx({{1, 3}, {2, 5}, {4, 9}, {7, 15}, {11, 23}});  // y = 2x + 1: one component carries everything
  TMtx PC, Z, PC2, Z2;
  TVec eig, pct, eig2, pct2;
  PCA(X, PC, Z, eig, &pct, PCACorrMat);
  ExpectAllClose({2, 0, 100, 0}, {eig[0], eig[1], pct[0], pct[1]}, 1e-12);
  // Deliberate: PCARawData, and any other mode value, is the correlation analysis.
  for (const auto mode : {PCARawData, static_cast<TPCAMode>(7)}) {
    PCA(X, PC2, Z2, eig2, &pct2, mode);
    EXPECT_TRUE(eig.ToVector() == eig2.ToVector() && PC.ToVector() == PC2.ToVector() && Z.ToVector() == Z2.ToVector());
  }
}

TEST(PCA, DegenerateData) {
  TMtx PC, Z;
  TVec eig;
  PCA(Mtx({{1, 5}, {2, 5}, {3, 5}}), PC, Z, eig);  // A constant column has no correlation: NaN, not an error
  EXPECT_TRUE(std::isnan(eig[0]) && std::isnan(Z(0, 0)));
  for (const auto mode : {PCACorrMat, PCACovMat}) {
    PCA(Mtx({{1, 2}, {NAN, 3}, {4, 1}}), PC, Z, eig, nullptr, mode);
    EXPECT_TRUE(std::isnan(eig[0]) && Z.Rows() == 3) << mode;
  }
  // More variables than observations: p components, the trailing ones with zero variance.
  PCA(Mtx({{1, 2, 0, 5}, {3, 1, 4, 4}, {0, 6, 2, 1}}), PC, Z, eig, nullptr, PCACovMat);
  EXPECT_EQ(Z.Rows() * 10 + Z.Cols(), 34);
  ASSERT_EQ(eig.Length(), 4);
  EXPECT_NEAR(0.0, eig[3], 1e-12);
  EXPECT_RAISES(PCA(ComplexMtx(), PC, Z, eig), "Covariance: X.Complex");
  EXPECT_RAISES(PCA(ComplexMtx(), PC, eig), "SVD: A.Complex");
}

// Rows and columns that are not whole tiles of the score product (and a second block of rows):
// Z against the plain product of the standardised data with PC, in both precisions.
TEST_P(PCAPrecision, ScoresOfPartialTiles) {
  const int n = 301, p = 37;
  TMtx X(n, p, GetParam());
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < p; ++j) X(i, j) = std::sin(0.37 * i * (j + 1) + j) + 0.01 * j * i;
  TMtx PC, Z;
  TVec eig, mean, sd;
  PCA(X, PC, Z, eig);
  Kalix::MeanCols(X, mean);
  Kalix::StdDevCols(X, sd);
  const double tol = GetParam() == mvSingle ? 1e-4 : 1e-11;
  for (int i : {0, 7, 255, 256, 300})
    for (int c : {0, 15, 16, 36}) {
      double z = 0;
      for (int j = 0; j < p; ++j) z += (X(i, j) - mean[j]) / sd[j] * PC(j, c);
      EXPECT_NEAR(z, Z(i, c), tol * 10) << i << "," << c;
    }
}

}  // namespace
