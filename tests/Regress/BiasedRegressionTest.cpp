// Ridge and principal-component regression against R (MASS::lm.ridge, lm on prcomp scores) and their limits.

#include "RegressData.h"

namespace {

using namespace KalixTest;
using Regress::PCRegress;
using Regress::RidgeRegress;

// R: coef(lm(Employed ~ ., longley))
const std::vector<double> kLongleyLm{-3482.2586345958125,   0.015061872271372992,  -0.035819179292590986,
                                     -0.020202298038168236, -0.010332268671735883, -0.051104105653578973,
                                     1.8291514646135489};

TEST(BiasedRegression, Messages) {
  const TYA L = LongleyYA();
  const TVec yc = ComplexVec(), ys = Vec({1, 2}, mvSingle), y2 = Vec({1, 2});
  TVec B;
  double k = 0;
  // Each case breaks the named check and, where it can, a later one too.
  EXPECT_RAISES(RidgeRegress(yc, L.A, 1, B), "RidgeRegress: (y.Complex) or (A.Complex)");
  EXPECT_RAISES(RidgeRegress(ys, L.A, 1, B), "RidgeRegress: (y.FloatPrecision <> A.FloatPrecision)");
  EXPECT_RAISES(RidgeRegress(y2, L.A, 1, B), "RidgeRegress: y.Length <> A.Rows");
  EXPECT_RAISES(Regress::RidgeOptimalk(yc, L.A, k), "RidgeRegress: (y.Complex) or (A.Complex)");
  EXPECT_RAISES(Regress::RidgeOptimalk(y2, L.A, k), "RidgeRegress: y.Length <> A.Rows");
  EXPECT_RAISES(PCRegress(yc, L.A, B, nullptr, nullptr, 2), "PCRegress: y.Complex or A.Complex");
  EXPECT_RAISES(PCRegress(ys, L.A, B, nullptr, nullptr, 2), "PCRegress: y.FloatPrecision <> A.FloatPrecision");
  EXPECT_RAISES(PCRegress(y2, L.A, B, nullptr, nullptr, 2), "PCRegress: y.Length <> A.Rows");
  EXPECT_RAISES(PCRegress(yc, L.A, B, y2, nullptr, nullptr, 2), "PCRegress: Y.Complex or A.Complex");
  EXPECT_RAISES(PCRegress(ys, L.A, B, y2, nullptr, nullptr, 2), "PCRegress: y.FloatPrecision <> A.FloatPrecision");
  EXPECT_RAISES(PCRegress(L.y, L.A, B, y2, nullptr, nullptr, 2), "PCRegress: Y.Length<>Weights.Length");
  // The weighted form leaves a row count unlike Y's to the solver.
  EXPECT_RAISES(PCRegress(y2, L.A, B, y2, nullptr, nullptr, 2), "MulLinRegress: y.Length <> A.Rows");
}

class RidgePrecision : public testing::TestWithParam<TMtxFloatPrecision> {};

// R: library(MASS); coef(lm.ridge(Employed ~ ., longley, lambda = k * 16 / 15)) (lm.ridge
// scales by the standard deviation with divisor n, hence the factor); standardised:
// Z <- scale(longley[, 1:6]); solve(crossprod(Z) + 0.5 * diag(6), crossprod(Z, y - mean(y))).
// In single precision k = 0.5 is solved from the normal equations, k = 0.02 by QR.
TEST_P(RidgePrecision, LongleyMatchesLmRidge) {
  const TYA L = LongleyYA(GetParam());
  const double tol = GetParam() == mvSingle ? 2e-3 : 1e-10;
  TVec B;
  RidgeRegress(L.y, L.A, 0.5, B);
  EXPECT_EQ(B.FloatPrecision(), GetParam());
  ExpectAllClose({-483.92726401921004, 0.085983581515946955, 0.0117687198010532, -0.009667128129440419,
                  -0.0043257817299569949, 0.10531754128026888, 0.2700365499879554},
                 B, tol);
  RidgeRegress(L.y, L.A, 0.02, B);
  ExpectAllClose({-1836.4062901438597, 0.011007959063868016, 0.0057034136218271194, -0.013656650291953462,
                  -0.008068479572024596, -0.12520305655817349, 0.98212270246250577},
                 B, tol * 5);
  RidgeRegress(L.y, L.A, 0.5, B, true);
  ExpectAllClose({0.92789641230892206, 1.1697511725558427, -0.90335856093993405, -0.30103963103725362,
                  0.73259951334870743, 1.2856311298864176},
                 B, tol);
}

INSTANTIATE_TEST_SUITE_P(Precisions, RidgePrecision, testing::ValuesIn(kRealPrecisions), PrecisionName);

TEST(RidgeRegress, ZeroKIsLeastSquaresAndConstantColumnGetsZero) {
  // Longley (normal equations) and a polynomial (QR of the standardised data).
  const TYA L = LongleyYA();
  TVec B;
  RidgeRegress(L.y, L.A, 0, B);
  ExpectAllClose(kLongleyLm, B, 1e-9);
  // R: x <- 1:10; y <- c(1.2, 1.9, 3.2, 3.9, 5.1, 6.2, 6.8, 8.1, 9.0, 9.9);
  //    coef(lm(y ~ x + I(x^2) + I(x^3) + I(x^4) + I(x^5) + I(x^6) + I(x^7)))
  // The normal equations of this polynomial (condition 5e10) would leave six digits.
  TMtx P(10, 7);
  for (int i = 0; i < 10; ++i)
    for (int j = 0; j < 7; ++j) P(i, j) = std::pow(i + 1.0, j + 1);
  const TVec y = Vec({1.2, 1.9, 3.2, 3.9, 5.1, 6.2, 6.8, 8.1, 9.0, 9.9});
  RidgeRegress(y, P, 0, B);
  const std::vector<double> poly{4.0999999999663839,    -7.2179344184495253,  6.2620393070351819,
                                 -2.4068891402446742,   0.51444884363384658,  -0.061936274509022664,
                                 0.0039232026143279962, -0.000101540616245151};
  ASSERT_EQ(B.Length(), 8);
  for (int j = 0; j < 8; ++j) EXPECT_NEAR(1.0, B[j] / poly[std::size_t(j)], 1e-8) << j;
  // k = 1e-6 leaves it past the normal equations' condition limit: QR with sqrt(k) I below.
  // R: Z <- scale(P); b <- qr.solve(rbind(Z, sqrt(1e-6) * diag(7)), c(y - mean(y), rep(0, 7)));
  //    B <- b / attr(Z, "scaled:scale"); c(mean(y) - sum(attr(Z, "scaled:center") * B), B)
  RidgeRegress(y, P, 1e-6, B);
  const std::vector<double> ridge{0.83574514509343789,    0.01881963685610823,    0.37902920913698113,
                                  -0.052760703537554063, 0.0010109849106223359,  0.00021661643566394629,
                                  3.97198683778364e-06,  -1.2013795339849003e-06};
  for (int j = 0; j < 8; ++j) EXPECT_NEAR(1.0, B[j] / ridge[std::size_t(j)], 1e-8) << j;
  RidgeRegress(L.y, L.A, -1, B);  // sqrt of a negative k is NaN, and so is the solution
  EXPECT_TRUE(std::isnan(B[1]));
  // The deviation floor turns a constant column into zeros: the fit is the one without it.
  TMtx A7(16, 7);
  for (int i = 0; i < 16; ++i)
    for (int j = 0; j < 7; ++j) A7(i, j) = j < 6 ? L.A(i, j) : 7.0;
  for (const double k : {0.5, 0.0}) {
    TVec B6, B7;
    RidgeRegress(L.y, L.A, k, B6);
    RidgeRegress(L.y, A7, k, B7);
    ASSERT_EQ(B7.Length(), 8);
    for (int j = 0; j < 7; ++j) EXPECT_CLOSE(B6[j], B7[j], 1e-9) << "k = " << k << ", j = " << j;
    EXPECT_NEAR(0.0, B7[7], 1e-12) << k;
  }
}

TEST(RidgeOptimalk, SearchRunsToTheLowerBound) {
  // The objective grows with k, so the search ends between the bound eps and its 1e-6 start.
  for (const auto p : kRealPrecisions) {
    const TYA L = LongleyYA(p);
    double k = -1;
    Regress::RidgeOptimalk(L.y, L.A, k);
    EXPECT_TRUE(k >= (p == mvSingle ? double(Kalix::EPS_SINGLE) : 2.220446049250313e-16) && k < 1e-6) << k;
  }
}

TEST(PCRegress, ComponentLimitsAndPrcompFit) {
  const TYA L = LongleyYA();
  TVec B, yc, sd;
  PCRegress(L.y, L.A, B, &yc, nullptr, 6);  // All components: ordinary least squares
  ExpectAllClose(kLongleyLm, B, 1e-9);
  PCRegress(L.y, L.A, B, nullptr, nullptr, 0);  // No components: zero slopes, the mean as intercept
  EXPECT_CLOSE(Kalix::Mean(L.y), B[0], 1e-14);
  for (int j = 1; j < 7; ++j) EXPECT_EQ(0.0, B[j]);
  // R: p <- prcomp(X, scale. = TRUE); g <- coef(lm(y ~ p$x - 1)); g[3:6] <- 0;
  //    B <- p$rotation %*% g / p$scale; B0 <- mean(y) - sum(p$center * B); yc <- B0 + X %*% B;
  //    mse <- mean((y - yc)^2); sqrt(p$rotation^2 %*% (mse / p$sdev^2)) / p$scale
  PCRegress(L.y, L.A, B, &yc, &sd, 2);
  ExpectAllClose({-258.62568087883602, 0.069080692643927771, 0.0074768021315801732, 0.0028846256931021152,
                  0.0090260343654047052, 0.10144670964958943, 0.15289510899886646},
                 B, 1e-9);
  ExpectAllClose({59.577761135376079, 70.482707457270294}, {yc[0], yc[15]}, 1e-11);
  ExpectAllClose({0.9782707492113234, 0.38583644708231501, 0.056266565403506157, 0.024685665590617481,
                  2.6044985235585489, 5.2473848212195797},
                 sd, 1e-10);
  // Deliberate: without YCalc the mean square error in BStdDev is 1.
  PCRegress(L.y, L.A, B, nullptr, &sd, 2);
  ExpectAllClose({1.0787918610615697, 0.42548263775532763, 0.062048173121936723, 0.027222213426615596,
                  2.8721208434648711, 5.7865739536354726},
                 sd, 1e-10);
}

TEST(PCRegress, WeightedAndDegenerate) {
  const TYA L = LongleyYA();
  TVec B, yc, w(16);
  Kalix::Ramp(w, 1, 1);
  // R: w <- (1:16) / sum(1:16); r <- sqrt(w); as the plain fit above on X * r, y * r with 3
  //    components; fitted values divided by r.
  PCRegress(L.y, L.A, B, w, &yc, nullptr, 3);
  ExpectAllClose({1.4120627516162347, 0.13741238947968115, 0.035459468687032217, -0.0059402379295517222,
                  0.012948485074924144, 0.12536906858870928, 0.007516682598206717},
                 B, 1e-9);
  ExpectAllClose({64.965316562496781, 72.192738197464493}, {yc[0], yc[15]}, 1e-10);
  // A constant column divides by a zero deviation: NaN, no error.
  TMtx A = L.A;
  for (int i = 0; i < 16; ++i) A(i, 2) = 3.0;
  PCRegress(L.y, A, B, nullptr, nullptr, 6);
  EXPECT_TRUE(std::isnan(B[3]));
}

TEST(BiasedRegression, ConcurrentCallsAgree) {
  // Ridge, principal-component regression (correlation PCA) and covariance PCA side by side.
  EXPECT_EQ(0, ConcurrentMismatches([](int t) {
              const TYA L = LongleyYA();
              TVec B, yc;
              TMtx PC, Z;
              if (t % 3 == 0) RidgeRegress(L.y, L.A, 0.01 * (t + 1), B);
              if (t % 3 == 1) PCRegress(L.y, L.A, B, &yc, nullptr, 3);
              if (t % 3 == 2) Statistics::PCA(L.A, PC, Z, B, nullptr, Statistics::PCACovMat);
              std::vector<double> out = B.ToVector();
              out.push_back(Kalix::ScratchOutstanding());
              return out;
            }));
}

}  // namespace
