#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "support/TestSupport.h"

namespace {

using namespace KalixTest;
using namespace Statistics;

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
      ASSERT_EQ(X.Rows(), 23);
      ASSERT_EQ(X.Cols(), 4);
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
