#include "StatisticsTest.h"

namespace {

// Positive sample for the continuous fits and a count sample for the discrete ones.
const std::vector<double> kX{1.2, 0.8, 3.5, 2.2, 0.4, 1.9, 2.7, 1.1};
const std::vector<double> kCounts{3, 1, 4, 1, 5, 9, 2, 6, 5, 3};

TEST(ClosedFormFits, ComplexDataRaiseTheirOwnTexts) {
  const TVec c = ComplexVec();
  double a, b;
  int k;
  TTwoElmReal ci1, ci2;
  TVec p, lo, hi;
  // Most fits say "<name>: X.Complex=True"; the other spellings follow the table.
  const std::pair<std::function<void()>, std::string> plain[]{
      {[&] { NormalFit(c, a, b); }, "NormalFit"},         {[&] { NormalFit(c, a, b, ci1, ci2); }, "NormalFit"},
      {[&] { ExponentFit(c, a); }, "ExponentFit"},        {[&] { LogNormalFit(c, a, b, ci1, ci2); }, "LogNormalFit"},
      {[&] { PoissonFit(c, a, ci1); }, "PoissonFit"},     {[&] { GeometricFit(c, a, ci1); }, "GeometricFit"},
      {[&] { RayleighFit(c, a, ci1); }, "RayleighFit"},   {[&] { UniformFit(c, a, b, ci1, ci2); }, "UniformFit"},
      {[&] { LaplaceFit(c, a, b); }, "LaplaceFit"},       {[&] { LogisticFit(c, a, b); }, "LogisticFit"},
      {[&] { InverseGaussianFit(c, a, b, ci1, ci2); }, "InverseGaussianFit"},
      {[&] { NegBinomFit(c, a, b); }, "NegBinomFit"},     {[&] { MaxwellFit(c, a); }, "MaxwellFit"},
      {[&] { ChiSquareFit(c, k); }, "ChiSquareFit"},      {[&] { ErlangFit(c, k, a); }, "ErlangFit"},
      {[&] { BinomFit(c, k, a); }, "BinomFit"}};
  for (const auto& [call, name] : plain) EXPECT_RAISES(call(), name + ": X.Complex=True");
  EXPECT_RAISES(ExponentFit(c, a, ci1), "ExponentFit: A.Complex = True");
  EXPECT_RAISES(UniformDFit(c, k, ci1), "UniformDFit: X.Complex = True");
  EXPECT_RAISES(BinomFit(c, 0.0, p), "BinomFit: X.Complex = True");  // Complexity comes before the other checks
  EXPECT_RAISES(BinomFit(c, Vec({1, 2}), p), "BinomFit: X.Complex=True");
  EXPECT_RAISES(BinomFit(c, 0.0, p, lo, hi), "BinomFit: X.Complex=True");
  EXPECT_RAISES(BinomFit(Vec({1}), 0.0, p), "BinomFit: n cannot be zero!");
  EXPECT_RAISES(BinomFit(Vec({1}), 0.0, p, lo, hi), "BinomFit: n cannot be zero!");
  EXPECT_RAISES(BinomFit(Vec({1}), Vec({1, 2}), p), "BinomFit: X and n must match in size!");
}

class ClosedFormPrecision : public testing::TestWithParam<TMtxFloatPrecision> {
 protected:
  TVec x() const { return Vec(kX, GetParam()); }
  TVec counts() const { return Vec(kCounts, GetParam()); }
  double tol() const { return TolFor(GetParam()); }
};

TEST_P(ClosedFormPrecision, EstimatesMatchR) {
  double a, b;
  // R: mean(x); sd(x); mean(log(x)); sd(log(x)); sqrt(mean(x^2)/2); sqrt(mean(x^2)/3);
  // n/sum(1/x - 1/mean(x)); median(x); mean(abs(x - median(x))); sqrt(3)*sd(x)/pi
  struct TCase {
    std::function<void(const TVec&, double&, double&)> fit;
    double a, b;
  };
  const std::vector<TCase> continuous{
      {[](const TVec& v, double& p, double& q) { NormalFit(v, p, q); }, 1.7250000000000001, 1.044372675683487},
      {[](const TVec& v, double& p, double& q) { LogNormalFit(v, p, q); }, 0.35181543018152889, 0.71024339038265893},
      {[](const TVec& v, double& p, double& q) { RayleighFit(v, p), q = 0; }, 1.4017845768876187, 0},
      {[](const TVec& v, double& p, double& q) { MaxwellFit(v, p), q = 0; }, 1.1445523142259597, 0},
      {[](const TVec& v, double& p, double& q) { ExponentFit(v, p), q = 0; }, 1.725, 0},
      {[](const TVec& v, double& p, double& q) { InverseGaussianFit(v, p, q); }, 1.725, 3.2106735849600452},
      {[](const TVec& v, double& p, double& q) { LaplaceFit(v, p, q); }, 1.55, 0.85},
      {[](const TVec& v, double& p, double& q) { LogisticFit(v, p, q); }, 1.725, 0.57579283369327838},
      {[](const TVec& v, double& p, double& q) { UniformFit(v, p, q); }, 0.4, 3.5},
  };
  for (std::size_t i = 0; i < continuous.size(); ++i) {
    continuous[i].fit(x(), a, b);
    EXPECT_CLOSE(continuous[i].a, a, tol()) << i;
    EXPECT_CLOSE(continuous[i].b, b, tol()) << i;
  }
  // R (k = counts): m <- mean(k); v <- var(k); m/v; (m/v)*m/(1-m/v); round(m*m/v); 1/(1+m)
  // R: k <- c(4,5,6,5,4,6,5,7,3,5); 1 - var(k)/mean(k); round(mean(k)/that)
  double r, lambda, g, pois, pb;
  int ke, kb, nu;
  NegBinomFit(counts(), r, b);
  ErlangFit(counts(), ke, lambda);
  GeometricFit(counts(), g);
  PoissonFit(counts(), pois);
  BinomFit(Vec({4, 5, 6, 5, 4, 6, 5, 7, 3, 5}, GetParam()), kb, pb);
  UniformDFit(Vec({2.2, 7.01, 3}, GetParam()), nu);
  ExpectAllClose({6.9136363636363649, 0.63934426229508201, 0.63934426229508201, 0.2040816326530612, 3.9,
                  0.73333333333333339, 2, 7, 8},
                 {r, b, lambda, g, pois, pb, double(ke), double(kb), double(nu)}, tol());
}

TEST_P(ClosedFormPrecision, IntervalsMatchR) {
  double mu, sigma, b;
  TTwoElmReal muCI, sigmaCI, ci;
  // R: t.test(x)$conf.int; sd(x) * sqrt((n-1)/qchisq(c(.975, .025), n-1)); the same on log(x)
  NormalFit(x(), mu, sigma, muCI, sigmaCI, 0.05);
  ExpectAllClose({0.85188259315020354, 2.5981174068497968, 0.69051221490773951, 2.1255825591920092},
                 {muCI[0], muCI[1], sigmaCI[0], sigmaCI[1]}, tol());
  LogNormalFit(x(), mu, sigma, muCI, sigmaCI, 0.05);
  ExpectAllClose({-0.24196290362759251, 0.94559376399065032, 0.46959456909934028, 1.4455385501069096},
                 {muCI[0], muCI[1], sigmaCI[0], sigmaCI[1]}, tol());
  // R: qgamma(c(.025, .975), shape = n, scale = mean(x)/n)
  ExponentFit(x(), mu, ci, 0.05);
  ExpectAllClose({0.74473256311139568, 3.1098893748670755}, {ci[0], ci[1]}, tol());
  // R: k as above; qpois(c(.025, .975), sum(k))/n
  PoissonFit(counts(), mu, ci, 0.05);
  ExpectAllClose({2.7, 5.2}, {ci[0], ci[1]}, tol());
  // R: I <- matrix(c(sum(trigamma(1) - trigamma(k+1)), -n/p, -n/p, sum(k)/(1-p)^2 + n/p^2), 2)
  // at p = 0.713; se <- sqrt(abs(diag(solve(I))))[2]; qnorm(c(.025, .975), 1/(1+mean(k)), se)
  GeometricFit(counts(), mu, ci, 0.05);
  ExpectAllClose({0.11447431151807425, 0.29368895378804816}, {ci[0], ci[1]}, tol());
  // Rayleigh: element 0 ends with the lower bound, R: B*sqrt(2n/qchisq(.025, 2n)); element 1 kept.
  ci = {-7, -9};
  RayleighFit(x(), b, ci, 0.05);
  EXPECT_CLOSE(2.1334165276474062, ci[0], tol());
  EXPECT_EQ(-9, ci[1]);
}

INSTANTIATE_TEST_SUITE_P(Precisions, ClosedFormPrecision, testing::ValuesIn(kRealPrecisions), PrecisionName);

TEST(ClosedFormFits, IntervalsKeptAsWrittenAndPoissonTurnsNormalAtATotalOf100) {
  double lo, hi, mu, lambda;
  TTwoElmReal loCI, hiCI, muCI{1, 2}, lambdaCI{3, 4};
  // Hand: d = (3.5 - 0.4)/0.05^(1/8); LowCI = (High - d, Low), HighCI = (High, Low + d).
  UniformFit(Vec(kX), lo, hi, loCI, hiCI, 0.05);
  const double d = 3.1 / std::pow(0.05, 0.125);
  ExpectAllClose({3.5 - d, 0.4, 3.5, 0.4 + d}, {loCI[0], loCI[1], hiCI[0], hiCI[1]}, kTolDouble);
  InverseGaussianFit(Vec(kX), mu, lambda, muCI, lambdaCI, 0.05);
  EXPECT_CLOSE(3.2106735849600452, lambda, kTolDouble);
  EXPECT_TRUE(muCI == (TTwoElmReal{1, 2}) && lambdaCI == (TTwoElmReal{3, 4}));
  // Hand: N = 8; NCI = (8 / 0.95^(1/3), 8 / 0.05^(1/3)).
  int n;
  UniformDFit(Vec({2.2, 7.01, 3}), n, muCI, 0.05);
  ExpectAllClose({8 / std::cbrt(0.95), 8 / std::cbrt(0.05)}, {muCI[0], muCI[1]}, kTolDouble);
  // R: qpois(c(.025, .975), 99)/4 and qnorm(c(.025, .975), 100, 10)/4
  PoissonFit(Vec({24, 25, 25, 25}), lambda, loCI, 0.05);
  ExpectAllClose({20.0, 29.75}, {loCI[0], loCI[1]}, kTolDouble);
  PoissonFit(Vec({25, 25, 25, 25}), lambda, loCI, 0.05);
  ExpectAllClose({20.100090038649867, 29.899909961350133}, {loCI[0], loCI[1]}, kTolDouble);
}

TEST(ClosedFormFits, DegenerateData) {
  double a, b;
  NormalFit(TVec(), a, b);
  EXPECT_TRUE(std::isnan(a) && std::isnan(b));
  NormalFit(Vec({2.0}), a, b);
  EXPECT_TRUE(a == 2.0 && std::isnan(b));
  int k0, k1, k2, k3;
  UniformDFit(Vec({1.0, kNaN}), k0);  // NaN maximum: no integer, 0 by convention
  ChiSquareFit(Vec({2, 3}), k1);      // rounding halves to even: means 2.5 and 3.5
  ChiSquareFit(Vec({3, 4}), k2);
  ErlangFit(Vec({5, 5, 5}), k3, a);  // zero variance
  EXPECT_EQ((std::vector<int>{0, 2, 4, 2147483647}), (std::vector<int>{k0, k1, k2, k3}));
  EXPECT_TRUE(std::isinf(a));
}

TEST(BinomFit, ClopperPearsonMatchesBinomTest) {
  TVec p, lo, hi;
  // R: binom.test(x, 10)$conf.int for x = 1, 3, 7, 9
  BinomFit(Vec({1, 3, 7, 9}), 10.0, p, lo, hi, 0.05);
  ExpectAllClose({0.1, 0.3, 0.7, 0.9}, p, kTolDouble);
  ExpectAllClose({0.0025285785444617865, 0.066739511177734495, 0.34754714994000269, 0.55498388297180457}, lo, 1e-10);
  ExpectAllClose({0.44501611702819543, 0.65245285005999731, 0.93326048882226553, 0.99747142145553824}, hi, 1e-10);
  BinomFit(Vec({3}, mvSingle), 10.0, p, lo, hi, 0.05);
  EXPECT_EQ(mvSingle, lo.FloatPrecision());
  EXPECT_CLOSE(0.066739511177734495, lo[0], kTolSingle);
  // No special case at x = 0: an F quantile with 0 degrees of freedom is NaN.
  BinomFit(Vec({0}), 10.0, p, lo, hi, 0.05);
  EXPECT_TRUE(std::isnan(lo[0]));
  BinomFit(Vec({1, 3}), Vec({4, 12}), p);
  ExpectAllClose({0.25, 0.25}, p, kTolDouble);
}

}  // namespace
