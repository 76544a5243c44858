#include "StatisticsTest.h"

namespace {

TMtx Five(TMtxFloatPrecision p = mvDouble) {
  return Mtx({{1.5, 2, -0.5}, {3, 1, 2.5}, {-1, 0.5, 4}, {2.2, -3, 1}, {0.3, 0.7, 0.9}}, p);
}

struct TMetricCase {
  TDistanceMetric metric;
  double p;
  bool givenCov;
  double d10, d20, d21, d34;
};

// R: X <- matrix(c(1.5,2,-0.5, 3,1,2.5, -1,0.5,4, 2.2,-3,1, 0.3,0.7,0.9), ncol=3, byrow=TRUE)
// dist(X, method); dist(X)^2; sqrt(mahalanobis(X, X[j,], S)) with S = cov(X) or diag(3)+0.3;
// 1 - cor(t(X)); Z <- X/sqrt(rowSums(X^2)); 1 - Z %*% t(Z)
const TMetricCase kMetricCases[] = {
    {dmEuclidean, 2, false, 3.5, 5.3619026473818039, 4.3011626335213133, 4.1605288125429443},
    {dmSqEuclidean, 2, false, 12.25, 28.749999999999996, 18.5, 17.310000000000002},
    {dmCityBlock, 2, false, 5.5, 8.5, 6, 5.7000000000000002},
    {dmChebyshev, 2, false, 3, 4.5, 4, 3.7000000000000002},
    {dmMinkowski, 3, false, 3.1539967743316337, 4.7932341017863527, 4.0716264248923597, 3.86001217031072},
    {dmMahalanobis, 2, false, 2.4894581405454201, 2.8033037728465473, 2.6581864730089864, 2.1443879853163157},
    {dmMahalanobis, 2, true, 3.2118202741878643, 5.3582204430005929, 4.1326683109609768, 4.1053238861905053},
    {dmCorrelation, 2, false, 1.4539206495016019, 1.8838515090524255, 1.0156021619853575, 1.4007316022734384},
    {dmCosine, 2, false, 0.48917053181895398, 1.2360960823249427, 0.55203917992633522, 1.1188965927815371},
};

class PairwiseDistanceP : public testing::TestWithParam<TMtxFloatPrecision> {};

TEST_P(PairwiseDistanceP, EveryMetricMatchesRAndIsSymmetric) {
  const double tol = GetParam() == mvSingle ? 2e-5 : 1e-13;
  const TMtx S = Mtx({{1.3, 0.3, 0.3}, {0.3, 1.3, 0.3}, {0.3, 0.3, 1.3}}, GetParam());
  for (const auto& c : kMetricCases) {
    SCOPED_TRACE(c.metric);
    TMtx D;
    PairwiseDistance(Five(GetParam()), D, c.metric, c.p, c.givenCov ? &S : nullptr);
    ASSERT_EQ(D.Length(), 25);
    EXPECT_EQ(D.FloatPrecision(), GetParam());
    ExpectAllClose({c.d10, c.d20, c.d21, c.d34}, {D(1, 0), D(2, 0), D(2, 1), D(3, 4)}, tol);
    for (int i = 0; i < 5; ++i)
      for (int j = 0; j < 5; ++j) EXPECT_EQ(i == j ? 0.0 : D(j, i), D(i, j));
  }
}

// Two matrices: the cross block of the one-matrix distances of the stacked rows (for
// Mahalanobis the covariance is estimated from both); rows 0-1 against rows 2-4.
TEST_P(PairwiseDistanceP, TwoMatricesGiveTheCrossBlock) {
  const TMtx all = Five(GetParam());
  const TMtx X = Mtx({{1.5, 2, -0.5}, {3, 1, 2.5}}, GetParam());
  const TMtx Y = Mtx({{-1, 0.5, 4}, {2.2, -3, 1}, {0.3, 0.7, 0.9}}, GetParam());
  for (const auto& c : kMetricCases) {
    if (c.givenCov) continue;
    SCOPED_TRACE(c.metric);
    TMtx full, cross;
    PairwiseDistance(all, full, c.metric, c.p);
    PairwiseDistance(X, Y, cross, c.metric, c.p);
    ASSERT_EQ(cross.Rows() * 10 + cross.Cols(), 23);
    ExpectAllClose({full(0, 2), full(0, 3), full(0, 4), full(1, 2), full(1, 3), full(1, 4)}, cross, 1e-5);
  }
}

INSTANTIATE_TEST_SUITE_P(Precisions, PairwiseDistanceP, testing::ValuesIn(kRealPrecisions), PrecisionName);

TEST(PairwiseDistance, ClosePointsKeepTheirDigitsAndNaNRowsGiveNaN) {
  // Two rows 1e-9 apart at magnitude 1e3 (many rows, so the vector tiles and their edges run).
  TMtx X(37, 20);
  for (int i = 0; i < 37; ++i)
    for (int k = 0; k < 20; ++k) X(i, k) = 1000.0 + 0.25 * i + 0.01 * k;
  for (int k = 0; k < 20; ++k) X(36, k) = X(35, k) + (k == 3 ? 1e-9 : 0.0);
  X(7, 19) = NAN;
  for (TDistanceMetric m : {dmEuclidean, dmCityBlock, dmChebyshev}) {
    TMtx D;
    PairwiseDistance(X, D, m);
    EXPECT_CLOSE(1e-9, D(35, 36), 1e-7);
    EXPECT_CLOSE(0.25 * std::sqrt(m == dmEuclidean ? 20.0 : 1.0) * (m == dmCityBlock ? 20 : 1), D(1, 0), 1e-12);
    EXPECT_TRUE(std::isnan(D(7, 30)) && std::isnan(D(30, 7)) && std::isnan(D(7, 7)));
    EXPECT_FALSE(std::isnan(D(6, 30)));
  }
}

TEST(PairwiseDistance, Messages) {
  TMtx D;
  const TMtx X = Five(), C = ComplexMtx(), bad = Mtx({{1, 0}, {0, 1}});
  const TMtx Y1 = Mtx({{1, 2}}), Ysingle = Five(mvSingle);
  EXPECT_RAISES(PairwiseDistance(C, D, dmMinkowski, -1), "PairwiseDistance: X.Complex = true");
  EXPECT_RAISES(PairwiseDistance(X, D, dmMahalanobis, 2, &C), "PairwiseDistance: Cov.Complex = true");
  EXPECT_RAISES(PairwiseDistance(X, C, D), "PairwiseDistance: Y.Complex = true");
  EXPECT_RAISES(PairwiseDistance(X, Y1, D, TDistanceMetric(99)), "PairwiseDistance: X.Cols <> Y.Cols");
  EXPECT_RAISES(PairwiseDistance(X, Ysingle, D), "PairwiseDistance: X.FloatPrecision <> Y.FloatPrecision");
  EXPECT_RAISES(PairwiseDistance(X, D, TDistanceMetric(8)), "PairwiseDistance: Metric out of range");
  EXPECT_RAISES(PairwiseDistance(X, D, dmMinkowski, NAN), "PairwiseDistance: P <= 0");
  EXPECT_RAISES(PairwiseDistance(X, D, dmMahalanobis, 2, &bad), "PairwiseDistance: Cov is not Cols x Cols");
  // Fewer rows than variables: the estimated covariance is singular.
  EXPECT_RAISES(PairwiseDistance(Mtx({{1, 2, 3}, {4, 5, 7}, {1, 0, 0}}), D, dmMahalanobis),
                "PairwiseDistance: covariance matrix is singular");
}

double MinDist(const TMtx& X) {
  TMtx D;
  PairwiseDistance(X, D);
  double m = std::numeric_limits<double>::infinity();
  for (int i = 0; i < X.Rows(); ++i)
    for (int j = 0; j < i; ++j) m = std::min<double>(m, D(i, j));
  return m;
}

// The properties that r-cran-lhs's randomLHS / maximinLHS designs have: one point per stratum
// in every dimension, and a maximin design's smallest distance at least the random design's.
TEST(LatinHypercube, OnePointPerStratumAndMaximinNoWorseThanRandom) {
  for (auto prec : kRealPrecisions)
    for (TLHSMethod m : {lhsRandom, lhsCentered, lhsMaximinBest, lhsMaximinSearch}) {
      SCOPED_TRACE(testing::Message() << m << " " << prec);
      TMtx X, Y, R;
      LatinHypercube(23, 4, X, m, 12345, 30, prec);
      LatinHypercube(23, 4, Y, m, 12345, 30, prec);
      ASSERT_EQ(X.Rows() * 10 + X.Cols(), 234);
      EXPECT_EQ(X.FloatPrecision(), prec);
      for (int j = 0; j < 4; ++j) {
        std::vector<int> count(23, 0);
        for (int i = 0; i < 23; ++i) {
          EXPECT_EQ(X(i, j), Y(i, j));  // same seed, same design
          const double s = X(i, j) * 23;
          ++count[std::size_t(std::floor(s))];
          if (m == lhsCentered) {
            EXPECT_NEAR(s - std::floor(s), 0.5, 1e-5);
          }
        }
        EXPECT_EQ(std::count(count.begin(), count.end(), 1), 23);
      }
      LatinHypercube(23, 4, R, lhsRandom, 12345, 30, prec);
      if (m == lhsMaximinBest || m == lhsMaximinSearch) {
        EXPECT_GT(MinDist(X), MinDist(R));
      }
    }
  TMtx A, B;
  LatinHypercube(10, 3, A, lhsRandom, 1);
  LatinHypercube(10, 3, B, lhsRandom, 2);
  EXPECT_NE(A(0, 0), B(0, 0));
}

TEST(LatinHypercube, Messages) {
  TMtx X;
  EXPECT_RAISES(LatinHypercube(0, 0, X), "LatinHypercube: N < 1");
  EXPECT_RAISES(LatinHypercube(3, 0, X, TLHSMethod(9)), "LatinHypercube: K < 1");
  EXPECT_RAISES(LatinHypercube(3, 2, X, TLHSMethod(4), 1, 0), "LatinHypercube: Method out of range");
  EXPECT_RAISES(LatinHypercube(3, 2, X, lhsCentered, 1, 0), "LatinHypercube: Iterations < 1");
  EXPECT_RAISES(LatinHypercube(3, 2, X, lhsCentered, 1, 5, Kalix::mvDoubleComplex),
                "LatinHypercube: Precision is not a valid precision");
}

}  // namespace
