#include <thread>

#include "support/TestSupport.h"

namespace {

using namespace KalixTest;
using namespace StatTimeSerAnalysis;

// R's data set lh: 48 hormone measurements at 10-minute intervals.
const std::vector<double> kLh = Series("lh");

class TimeSeriesPrecision : public testing::TestWithParam<TMtxFloatPrecision> {
 protected:
  TMtxFloatPrecision p() const { return GetParam(); }
  double tol() const { return TolFor(GetParam()); }
};

TEST_P(TimeSeriesPrecision, AutoCovAcfPacfAgreeWithR) {
  TVec r, pc;
  AutoCov(Vec(kLh, p()), r, 7);
  EXPECT_EQ(p(), r.FloatPrecision());
  // R: acf(lh, type = "covariance", lag.max = 6, plot = FALSE)$acf (every lag the same sum: 0, 1, 6)
  ExpectAllClose({7, 0.2979166666666667185, 0.1714583333333333792, -0.0062500000000000194},
                 {double(r.Length()), r[0], r[1], r[6]}, tol());
  ACF(Vec(kLh, p()), r, 7);
  // R: acf(lh, lag.max = 6, plot = FALSE)$acf
  ExpectAllClose({7, 1, 0.575524475524475498, -0.020979020979021035}, {double(r.Length()), r[0], r[1], r[6]}, tol());
  // The autocorrelations give the same partial autocorrelations as the autocovariances.
  for (bool cov : {true, false}) {
    if (cov) AutoCov(Vec(kLh, p()), r, 7);
    PACF(r, pc);
    // R: pacf(lh, lag.max = 6, plot = FALSE)$acf
    ExpectAllClose({0.575524475524475498, -0.223409972864297340, -0.226940201650241341, 0.102768377006222114,
                    -0.075934419653310048, 0.067557934525966201},
                   pc, 10 * tol());
  }
  // Four outputs from gamma[0..3]: the AR(3) Yule-Walker fit and the variances of orders 0..2.
  TVec phi, v;
  AutoCov(Vec(kLh, p()), r, 4);
  PACF(r, phi, pc, v);
  // R: ar.yw(lh, aic = FALSE, order.max = 3)$ar
  ExpectAllClose({0.653401678691639121, -0.063620836087461663, -0.226940201650241480}, phi, 10 * tol());
  const double v1 = r[0] * (1 - pc[0] * pc[0]);
  ExpectAllClose({r[0], v1, v1 * (1 - pc[1] * pc[1])}, v, tol());
}

TEST_P(TimeSeriesPrecision, NistLagOneAutocorrelation) {
  // Certified r(1); single precision only where the data's spread is well above float rounding.
  for (auto [name, singleLre] : std::vector<std::pair<const char*, double>>{
           {"Lew", 5}, {"Lottery", 5}, {"Mavro", 0}, {"Michelso", 3}, {"NumAcc1", 0}, {"NumAcc2", 0}}) {
    if (p() == mvSingle && singleLre == 0) continue;
    const TNistFile f = LoadNist(std::string(name) + ".dat");
    std::vector<double> y;
    for (const auto& row : f.data) y.push_back(row.at(0));
    TVec r;
    ACF(Vec(y, p()), r, 2);
    EXPECT_GE(LRE(r[1], f.NumbersAfter("Sample Autocorrelation").back()), p() == mvDouble ? 12.0 : singleLre)
        << name << " " << r[1];
  }
}

INSTANTIATE_TEST_SUITE_P(Precisions, TimeSeriesPrecision, testing::ValuesIn(kRealPrecisions), PrecisionName);

TEST(AutoCov, LagCountEdgeCases) {
  TVec ramp(100), r;
  Kalix::Ramp(ramp, 1, 1);
  ACF(ramp, r);  // default ceil(10 log10 100) = 20 lags
  ASSERT_EQ(20, r.Length());
  EXPECT_CLOSE(0.44368136813681369, r[19], 1e-13);  // R: acf(1:100, lag.max = 25)$acf[20] (lag 19)
  AutoCov(Vec({1, 2, 4}), r, 5);                    // lags from n on are zero
  ExpectAllClose({14.0 / 9, -1.0 / 27, -20.0 / 27, 0, 0}, r, 1e-15);
  AutoCov(TVec(0, mvSingle), r, 5);  // empty, in the data's precision
  EXPECT_TRUE(r.Length() == 0 && r.FloatPrecision() == mvSingle);
  ACF(Vec({2, 2, 2}), r, 2);  // constant series: 0/0, no error
  EXPECT_TRUE(std::isnan(r[0]) && std::isnan(r[1]));
  PACF(Vec({1, 0.4}), r);
  ExpectAllClose({0.4}, r, 0.0);
  PACF(Vec({1}, mvSingle), r);
  EXPECT_TRUE(r.Length() == 0 && r.FloatPrecision() == mvSingle);
}

TEST(DurbinLevinson, AR1ClosedFormAndMessages) {
  // gamma[k] = s2 rho^k / (1 - rho^2): phi_1 = rho, the rest 0, innovation variance s2.
  const double rho = -0.6, s2 = 2.5;
  std::vector<double> g(6);
  for (int k = 0; k < 6; ++k) g[static_cast<std::size_t>(k)] = s2 * std::pow(rho, k) / (1 - rho * rho);
  for (auto p : kRealPrecisions) {
    TVec phi(7), v = Vec(std::vector<double>(7, 9.0));  // stale V: the orders past 5 are reset
    double sigma2 = 0;
    DurbinLevinson(Vec(g, p), phi, sigma2, 6, &v);
    ExpectAllClose({rho, 0, 0, 0, 0, 0, 0}, phi, TolFor(p));
    ExpectAllClose({s2, s2, s2, s2, s2, 0, 0}, v, TolFor(p));  // sized like Phi
    // Deliberate: in single precision Sigma2 stays gamma[0]; V carries the recursion's variance.
    EXPECT_CLOSE(p == mvDouble ? s2 : g[0], sigma2, TolFor(p));
  }
  TVec phi(2), none, cphi = ComplexVec();
  double sigma2 = 0;
  DurbinLevinson(Vec({3, 1}), phi, sigma2, 1);  // NumEvals = 1: the variance alone
  ExpectAllClose({3, 0, 0}, {sigma2, phi[0], phi[1]}, 0.0);
  EXPECT_RAISES(DurbinLevinson(TVec(), none, sigma2, 9), "DurbinLevinson: gamma.Length = 0");
  EXPECT_RAISES(DurbinLevinson(Vec({1}), none, sigma2, 9), "DurbinLevinson: (Phi.Length=0) or (Phi.Complex)");
  EXPECT_RAISES(DurbinLevinson(Vec({1}), cphi, sigma2, 9), "DurbinLevinson: (Phi.Length=0) or (Phi.Complex)");
  EXPECT_RAISES(DurbinLevinson(Vec({1, 0.5}), phi, sigma2, 3), "DurbinLevinson: NumEvals > gamma.Length");
  EXPECT_RAISES(DurbinLevinson(Vec({1, 0.5, 0.2, 0.1}), phi, sigma2, 4), "DurbinLevinson: Phi.Length < NumEvals-1");
}

TEST(AutoCov, ConcurrentCallsAgree) {
  const auto work = [](int t) {
    TVec x(3000 + 17 * t), r, pc;
    for (int i = 0; i < x.Length(); ++i) x[i] = std::sin(0.01 * i * (t + 1));
    AutoCov(x, r, 400);  // FFT path
    PACF(r, pc);
    std::vector<double> out = pc.ToVector();
    out.push_back(Kalix::ScratchOutstanding());
    return out;
  };
  EXPECT_EQ(0, ConcurrentMismatches(work));
}

}  // namespace
