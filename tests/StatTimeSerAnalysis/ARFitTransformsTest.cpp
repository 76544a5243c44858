#include "support/TestSupport.h"

namespace {

using namespace KalixTest;
using namespace StatTimeSerAnalysis;

// R's data set lh: 48 hormone measurements at 10-minute intervals.
const std::vector<double> kLh = Series("lh");

TEST(ARFit, YuleWalkerAndBurgAgreeWithR) {
  // For Yule-Walker R scales the innovation variance by n / (n - p - 1) and the standard errors
  // by the root of that; the library reports the unscaled recursion values.
  const double n = 48, p = 3, scale = (n - p - 1) / n;
  for (auto prec : kRealPrecisions) {
    const double tol = prec == mvDouble ? 1e-12 : 1e-5;
    TVec phi(3), se;
    double var = -1;
    ARYuleWalkerFit(Vec(kLh, prec), phi, var, &se);
    // R: f <- ar.yw(lh, aic = FALSE, order.max = 3); f$ar; f$var.pred * 44 / 48; sqrt(diag(f$asy.var.coef))
    ExpectAllClose({0.653401678691639121, -0.063620836087461663, -0.226940201650241480, 0.1795448362662336},
                   {phi[0], phi[1], phi[2], var}, tol);
    ExpectAllClose({0.14682225996042009 * std::sqrt(scale), 0.17654411551478702 * std::sqrt(scale),
                    0.14682225996042009 * std::sqrt(scale)},
                   se, 10 * tol);
    ARBurgFit(Vec(kLh, prec), phi, var);
    // R: b <- ar.burg(lh, aic = FALSE, order.max = 3, demean = FALSE, var.method = 2); b$ar; b$var.pred
    ExpectAllClose({0.946680312033421179, -0.053773582828295044, 0.088572751078984185}, phi, 10 * tol);
    EXPECT_CLOSE(0.25645214454033971, var, 10 * tol);
  }
}

TEST(ARFit, DegenerateInputAndMessages) {
  // Order above n - 1 is accepted; Burg on a series of zeros (no variance about 0) gives NaN.
  TVec phi(1), phi5(5), se;
  double var = 0;
  ARYuleWalkerFit(Vec({1, 2, 4}), phi5, var, &se);
  EXPECT_EQ(5, phi5.Length());
  ARBurgFit(Vec({0, 0, 0, 0}), phi, var, &se);
  EXPECT_TRUE(std::isnan(phi[0]) && std::isnan(se[0]));
  TVec empty;
  EXPECT_RAISES(ARYuleWalkerFit(TVec(), empty, var), "ARYuleWalker: (Data.Length=0) or (Data.Complex)");
  EXPECT_RAISES(ARYuleWalkerFit(ComplexVec(), phi, var), "ARYuleWalker: (Data.Length=0) or (Data.Complex)");
  EXPECT_RAISES(ARYuleWalkerFit(Vec({1, 2}), empty, var), "Phi.Length = 0");
  EXPECT_RAISES(ARBurgFit(TVec(), empty, var), "ARBurg: (Data.Length=0) or (Data.Complex)");
  EXPECT_RAISES(ARBurgFit(Vec({1, 2}), empty, var), "Phi.Length = 0");
  EXPECT_EQ(0.0, var);  // zeroed before the checks
}

TEST(Transforms, BoxCoxDropsValuesOutsideTheDomainAndInvertsBoxLjungAgreesWithR) {
  TVec y, x;
  BoxCox(Vec({1, -2, std::exp(1.0)}), y, 0);
  ExpectAllClose({0, 1}, y, 1e-15);
  for (auto p : kRealPrecisions) {
    BoxCox(Vec({4, -1, 0, 9}, p), y, 0.5);  // (sqrt(x) - 1) / 0.5 of 4, 0, 9
    ExpectAllClose({2, -2, 4}, y, TolFor(p));
    BoxCoxInv(y, x, 0.5);
    ExpectAllClose({4, 0, 9}, x, TolFor(p));
  }
  BoxCoxInv(Vec({0, 1, -5}), x, 0);
  ExpectAllClose({1, std::exp(1.0), std::exp(-5.0)}, x, 1e-15);
  BoxCoxInv(Vec({-5}), x, 0.3);  // -5 * 0.3 + 1 < 0 to a fractional power: NaN, no error
  EXPECT_TRUE(std::isnan(x[0]));
  EXPECT_RAISES(BoxCox(Vec({1}), y, -0.1), "BoxCox : Lambda<0");
  EXPECT_RAISES(BoxCoxInv(Vec({1}), x, -0.1), "BoxCoxInv : Lambda<0");
  // R: Box.test(lh, lag = 5, type = "Ljung-Box")$statistic, and lag = 47
  ExpectAllClose({22.673185002073929, 73.974268950710766}, {BoxLjung(Vec(kLh), 5), BoxLjung(Vec(kLh), 47)}, 1e-12);
  EXPECT_CLOSE(22.673185002073929, BoxLjung(Vec(kLh, mvSingle), 5), 1e-5);
  EXPECT_RAISES(BoxLjung(Vec(kLh), 48), "BoxLjung : h > X.Length-1");
}

TEST(MovingAverage, TrailingAndCentredSpans) {
  const std::vector<double> g{1, 2, 4, 8, 16, 32};
  const struct {
    int n, offset;
    bool centred;
    std::vector<double> ma;
    double msd;
  } cases[]{{1, 0, false, g, 0.0},
            {3, 2, false, {7.0 / 3, 14.0 / 3, 28.0 / 3, 56.0 / 3}, (25.0 + 100 + 400 + 1600) / 9 / 4},
            {3, 1, true, {7.0 / 3, 14.0 / 3, 28.0 / 3, 56.0 / 3}, (1.0 / 9 + 4.0 / 9 + 16.0 / 9 + 64.0 / 9) / 4},
            // Even span centred: two spans of 2, weights 1, 2, 1 over 4.
            {4, 1, true, {2.25, 4.5, 9, 18}, (0.0625 + 0.25 + 1 + 4) / 4}};
  TVec ma;
  int offset = -1;
  for (const auto& c : cases)
    for (auto p : kRealPrecisions) {
      const double msd = MovingAverage(Vec(g, p), c.n, ma, offset, c.centred);
      ExpectAllClose(c.ma, ma, TolFor(p));
      EXPECT_CLOSE(c.msd, msd, TolFor(p)) << c.n << c.centred;
      EXPECT_EQ(c.offset, offset);
    }
  EXPECT_RAISES(MovingAverage(ComplexVec(), 9, ma, offset, true), "SingleMovAve: Y.Complex");
  EXPECT_RAISES(MovingAverage(Vec({1, 2}), 3, ma, offset, true), "SingleMovAve: Y.Length<N");
  EXPECT_RAISES(MovingAverage(Vec({1, 2}), 0, ma, offset, true), "SingleMovAve: N<1");
}

}  // namespace
