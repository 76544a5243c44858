#include "support/TestSupport.h"

namespace {

using namespace KalixTest;

// Deterministic test series: a damped oscillation plus a trend and an offset, so neither lag
// products nor their FFT are trivially small.
std::vector<double> Series(int n, double phase = 0.0) {
  std::vector<double> x(static_cast<std::size_t>(n));
  for (int t = 0; t < n; ++t)
    x[static_cast<std::size_t>(t)] = 3.0 + std::sin(0.37 * t + phase) * std::exp(-t / 900.0) + 1e-3 * t +
                                     std::cos(2.1 * t * t + phase);
  return x;
}

// Independent reference: the textbook double sum in long double.
std::vector<double> NaiveCorr(const std::vector<double>& x, const std::vector<double>& y, int lags) {
  const std::size_t n = x.size();
  std::vector<double> r(static_cast<std::size_t>(lags), 0.0);
  for (std::size_t k = 0; k < r.size() && k < n; ++k) {
    long double s = 0;
    for (std::size_t t = 0; t + k < n; ++t) s += static_cast<long double>(x[t]) * y[t + k];
    r[k] = static_cast<double>(s / static_cast<long double>(n));
  }
  return r;
}

// Errors of the FFT path scale with the largest lag product, so compare against r[0].
void ExpectCorrClose(const std::vector<double>& want, const TVec& got, double tol, const char* what) {
  ASSERT_EQ(static_cast<int>(want.size()), got.Length()) << what;
  const double scale = want.empty() ? 1.0 : std::max(1.0, std::fabs(want[0]));
  for (int k = 0; k < got.Length(); ++k)
    EXPECT_NEAR(want[static_cast<std::size_t>(k)], got[k], tol * scale) << what << " lag " << k;
}

TEST(AutoCorrBiased, DirectAndFftPathsAgreeWithTheDoubleSum) {
  // (n, lags): group-of-four tails, lags beyond n, and lag counts on both sides of the FFT switch.
  const std::vector<std::pair<int, int>> cases{{1, 1},    {5, 3},     {5, 9},     {37, 37},  {37, 13},
                                               {2049, 7}, {2049, 64}, {5000, 65}, {5000, 200}, {6000, 6000}};
  for (auto p : kRealPrecisions)
    for (auto [n, lags] : cases) {
      const auto x = Series(n);
      TVec r;
      Kalix::AutoCorrBiased(r, Vec(x, p), lags);
      EXPECT_EQ(p, r.FloatPrecision());
      ExpectCorrClose(NaiveCorr(x, x, lags), r, p == mvSingle ? 2e-5 : 1e-13, "auto");
    }
}

TEST(CrossCorr, SecondSeriesLeadsTheFirst) {
  // Lag k pairs X[t] with Y[t+k]; the divisor is n = 4 at every lag, and lag 4 has no pairs.
  const TVec x = Vec({1, 2, 3, 4}), y = Vec({0, 0, 1, 2});
  TVec r;
  Kalix::CrossCorr(r, x, y, 5);
  ExpectAllClose({(3 + 8) / 4.0, (2 + 6) / 4.0, (1 + 4) / 4.0, 2 / 4.0, 0.0}, r, 1e-15);
  for (auto [n, lags] : std::vector<std::pair<int, int>>{{301, 30}, {4000, 300}}) {
    const auto a = Series(n), b = Series(n, 0.8);
    Kalix::CrossCorr(r, Vec(a), Vec(b), lags);
    ExpectCorrClose(NaiveCorr(a, b, lags), r, 1e-13, "cross");
  }
}

TEST(Convolve, ShortAndLongKernels) {
  TVec c;
  Kalix::Convolve(c, Vec({1, 2, 3}), Vec({0, 1, 0.5}));
  ExpectAllClose({0, 1, 2.5, 4, 1.5}, c, 1e-15);
  Kalix::Convolve(c, Vec({2}, mvSingle), Vec({1, -1, 4}, mvSingle));
  EXPECT_EQ(mvSingle, c.FloatPrecision());
  ExpectAllClose({2, -2, 8}, c, 1e-7);
  Kalix::Convolve(c, TVec(), Vec({1}));
  EXPECT_EQ(0, c.Length());
  const auto a = Series(200), b = Series(301, 1.3);  // 200 x 301: long enough for the FFT path
  Kalix::Convolve(c, Vec(a), Vec(b));
  ASSERT_EQ(500, c.Length());
  for (int j = 0; j < 500; ++j) {
    long double s = 0;
    for (int i = std::max(0, j - 300); i <= std::min(j, 199); ++i)
      s += static_cast<long double>(a[static_cast<std::size_t>(i)]) * b[static_cast<std::size_t>(j - i)];
    EXPECT_NEAR(static_cast<double>(s), c[j], 1e-11) << j;
  }
}

TEST(SignalOps, MessagesInCheckOrder) {
  TVec r;
  const TVec cx = ComplexVec();
  EXPECT_RAISES(Kalix::AutoCorrBiased(r, cx, -1), "AutoCorrBiased: X.Complex");
  EXPECT_RAISES(Kalix::AutoCorrBiased(r, Vec({1}), -1), "AutoCorrBiased: Lags < 0");
  EXPECT_RAISES(Kalix::CrossCorr(r, Vec({1}), cx, -1), "CrossCorr: X.Complex or Y.Complex");
  EXPECT_RAISES(Kalix::CrossCorr(r, Vec({1}), Vec({1, 2}, mvSingle), -1), "CrossCorr: X.Length <> Y.Length");
  EXPECT_RAISES(Kalix::CrossCorr(r, Vec({1}), Vec({1}, mvSingle), -1),
                "CrossCorr: X.FloatPrecision <> Y.FloatPrecision");
  EXPECT_RAISES(Kalix::CrossCorr(r, Vec({1}), Vec({1}), -1), "CrossCorr: Lags < 0");
  EXPECT_RAISES(Kalix::Convolve(r, cx, Vec({1}, mvSingle)), "Convolve: X.Complex or Y.Complex");
  EXPECT_RAISES(Kalix::Convolve(r, Vec({1}), Vec({1}, mvSingle)), "Convolve: X.FloatPrecision <> Y.FloatPrecision");
  Kalix::AutoCorrBiased(r, TVec(), 3);  // An empty series has no products: every lag is 0
  ExpectAllClose({0, 0, 0}, r, 0.0);
}

}  // namespace
