#include <cstdint>
#include <numeric>
#include <tuple>

#include "Statistics/detail/EdgeSearch.h"
#include "StatisticsTest.h"

namespace {

const std::vector<double> kData{1,  3,  5,  7,  9,    11,  13, 15,    17, 19,   2,  4,  40, 6,  8,
                                10, 12, 14, 16, 18.5, 0.5, 21, 22.25, 33, 35.5, 27, 29, 31, 37, 39};

class HistogramPrecision : public testing::TestWithParam<TMtxFloatPrecision> {
 protected:
  TMtxFloatPrecision p() const { return GetParam(); }
};

TEST_P(HistogramPrecision, EqualWidthBinsAgreeWithR) {
  const TVec x = Vec(kData, p());
  TVecInt counts;
  TVec bins, real, cum;
  Histogram(x, 5, counts, bins);
  // R: b <- seq(min(x), max(x), length.out = 6); tabulate(findInterval(x, b, rightmost.closed = TRUE), 5)
  EXPECT_EQ((std::vector<int>{9, 8, 5, 3, 5}), counts.ToVector());
  EXPECT_EQ(p(), bins.FloatPrecision());
  // R: seq(0.5, 40, length.out = 6)
  ExpectAllClose({0.5, 8.4000000000000004, 16.300000000000001, 24.200000000000003, 32.100000000000001, 40}, bins,
                 TolFor(p()));
  Histogram(x, 5, counts, bins, true);
  ExpectAllClose({4.45, 12.35, 20.25, 28.15, 36.05}, bins, TolFor(p()));
  // Given limits: values outside [0, 30] are not counted; 10 and 20 lie on inner edges and 30
  // on the top one. R: tabulate(findInterval(x[x >= 0 & x <= 30], c(0, 10, 20, 30), rightmost.closed = TRUE), 3)
  Histogram(x, 3, real, bins, false, 0.0, 30.0);
  EXPECT_EQ(p(), real.FloatPrecision());
  ExpectAllClose({10, 10, 4}, real, 0);
  // R: cumsum(tabulate(findInterval(x, b, rightmost.closed = TRUE), 5)) / length(x)
  CumulativeHist(x, 5, cum, bins);
  ExpectAllClose({0.29999999999999999, 0.56666666666666665, 0.73333333333333328, 0.83333333333333337, 1}, cum,
                 TolFor(p()));
  CumulativeHist(Vec({-5, 1.5, 1.6, 2.5, 2.9, 3.6, 10}, p()), Vec({1, 2, 3}), cum);
  ExpectAllClose({2.0 / 7, 4.0 / 7, 1}, cum, TolFor(p()));
}

TEST_P(HistogramPrecision, ConstantDataWidenToUnitBins) {
  const TVec x = Vec({7, 7, 7, 7}, p());
  TVecInt counts;
  TVec bins;
  Histogram(x, 3, counts, bins);  // [5.5, 9.5], width 4/3
  ExpectAllClose({5.5, 5.5 + 4.0 / 3, 5.5 + 8.0 / 3, 9.5}, bins, TolFor(p()));
  EXPECT_EQ((std::vector<int>{0, 4, 0}), counts.ToVector());
  Histogram(x, 4, counts, bins);  // [4.5, 9.5], width 1.25
  EXPECT_EQ((std::vector<int>{0, 0, 4, 0}), counts.ToVector());
  // Given equal limits are widened the same way; one bin reaches 0.5 below and 1.5 above.
  Histogram(x, 1, counts, bins, true, 7.0, 7.0);
  ExpectAllClose({7.5}, bins, 0);
}

TEST(Histogram, LimitsNaNAndEmptyData) {
  TVecInt counts;
  TVec bins, cum;
  // Min in the first bin, Max in the last; outside values and NaNs are skipped.
  Histogram(Vec({0, 1, 2, 4, -0.5, 4.5, kNaN, kInf}), 4, counts, bins, false, 0.0, 4.0);
  EXPECT_EQ((std::vector<int>{1, 1, 1, 1}), counts.ToVector());
  Histogram(Vec({kNaN, 1, 3}), 2, counts, bins);  // The data's range ignores NaNs
  EXPECT_EQ((std::vector<int>{1, 1}), counts.ToVector());
  ExpectAllClose({1, 2, 3}, bins, 0);
  // Empty data: zero counts, and cumulative frequencies of 0 / 0.
  counts = TVecInt{5, 5};
  Histogram(TVec(), 3, counts, bins, false, 0.0, 3.0);
  EXPECT_EQ((std::vector<int>{0, 0, 0}), counts.ToVector());
  CumulativeHist(TVec(), 2, cum, bins);
  ExpectAllClose({kNaN, kNaN}, cum, 0);
  // Single-precision data whose bins are narrower than 1 / FLT_MAX, or with limits past
  // FLT_MAX, count as the same values in double do (exact positions: bins 0, 50 and 99; bin 1).
  const double tiny = std::ldexp(1.0, -123);
  for (const auto& [v, lo, hi] : std::vector<std::tuple<std::vector<double>, double, double>>{
           {{tiny, 1.5 * tiny, 2 * tiny}, tiny, 2 * tiny}, {{1, 2}, -1e300, 1e300}}) {
    TVecInt single, twin;
    const int nb = v.size() == 3 ? 100 : 2;
    Histogram(Vec(v, mvSingle), nb, single, bins, false, lo, hi);
    Histogram(Vec(v), nb, twin, bins, false, lo, hi);
    const std::vector<int> got = single.ToVector();
    EXPECT_EQ(twin.ToVector(), got);
    EXPECT_EQ(static_cast<int>(v.size()), std::accumulate(got.begin(), got.end(), 0));
  }
  Histogram(Vec({1, 2}), 2, counts, bins, false, -kInf, kInf);  // Infinite limits give meaningless bins but no failure
  EXPECT_EQ(2, counts.Length());
}

TEST(Histogram, MessagesAndTheirOrder) {
  TVecInt counts;
  TVec bins, real;
  const TVec x = Vec({1, 2});
  EXPECT_RAISES(Histogram(ComplexVec(), 0, counts, bins, false, 0, 1), "Histogram: Data.Complex = true");
  EXPECT_RAISES(Histogram(ComplexVec(), 0, counts, bins), "Histogram: Data.Complex = true");
  EXPECT_RAISES(Histogram(x, 0, counts, bins, false, 0, 1), "Histogram: NumBins <= 0");
  EXPECT_RAISES(Histogram(x, -3, counts, bins), "Histogram: NumBins <= 0");
  EXPECT_RAISES(Histogram(ComplexVec(), 0, real, bins, false, 0, 1), "Histogram : Data.Complex = true");
  EXPECT_RAISES(Histogram(ComplexVec(), 0, real, bins), "Histogram : Data.Complex = true");
  EXPECT_RAISES(Histogram(x, 0, real, bins, false, 0, 1), "Histogram : NumBins <= 0");
  EXPECT_RAISES(Histogram(x, 0, real, bins), "Histogram : NumBins <= 0");
  EXPECT_RAISES(Histogram(ComplexVec(), TVec(), real), "Histogram : Data.Complex = true");
  EXPECT_RAISES(Histogram(x, TVec(), real), "Histogram : Bins.Length < 1");
}

TEST_P(HistogramPrecision, CentreGivenBins) {
  TVec r;
  using TList = std::vector<double>;
  const std::tuple<TList, TList, TList> cases[]{
      {{-3, 1, 2, 8}, {2}, {4}},  // one centre: every datum is counted in it, the smallest included
      // Centres 1, 2, 3: 1.5 and 2.5 are midpoints and go to the lower bin; the first bin reaches
      // down to the data's minimum, the last from its centre up to the maximum.
      {{-5, 1.5, 1.6, 2.5, 2.9, 3.6, 10, kNaN}, {1, 2, 3}, {2, 2, 3}},
      {{2, 2.01, 7, 7.01, 12}, {0, 4, 10}, {1, 2, 2}},  // uneven centres: midpoints 2 and 7
      {{5, 5}, {4, 6}, {2, 0}},                         // constant data: the range is widened
      {{}, {4, 6}, {0, 0}}};
  for (const auto& [x, centres, expected] : cases) {
    Histogram(Vec(x, p()), Vec(centres), r);
    ExpectAllClose(expected, r, 0);
  }
  TVec bins = Vec({1, 2, 3}, mvSingle);  // The result takes the bins' precision, and may be the bins themselves
  Histogram(Vec({1, 1, 3}, p()), bins, bins);
  EXPECT_EQ(mvSingle, bins.FloatPrecision());
  ExpectAllClose({2, 0, 1}, bins, 0);
}

TEST(EdgeSearch, AgreesWithUpperBoundOnUnevenEdges) {
  std::vector<double> e{-1e6};
  for (int i = 1; i < 300; ++i) e.push_back(e.back() + std::pow(1.07, i % 60) + (i % 7 == 0 ? 1e5 : 0.0));
  const double span = e.back() - e.front();
  for (int k = 0; k <= 5000; ++k) {
    const double x = e.front() - 10 + (span + 20) * k / 5000.0;
    int want = static_cast<int>(std::upper_bound(e.begin(), e.end(), x) - e.begin()) - 1;
    if (want == static_cast<int>(e.size()) - 1 && x != e.back()) want = -1;
    ASSERT_EQ(want, detail::FindEdge(e.data(), static_cast<int>(e.size()), x)) << x;
  }
  // NaN and no edges find nothing; an infinite first edge takes everything below the second.
  EXPECT_EQ(-1, detail::FindEdge(e.data(), 300, kNaN));
  EXPECT_EQ(-1, detail::FindEdge(e.data(), 0, 1.0));
  const float f[] = {-std::numeric_limits<float>::infinity(), -1.0f, 0.5f};
  EXPECT_EQ(0, detail::FindEdge(f, 3, -1e30f));
}

TEST(HistogramCount, AccumulatesAndSplitsPeakedDataCorrectly) {
  // Long peaked data take the interleaved sub-histograms; every datum must be counted once.
  std::vector<double> x;
  for (int i = 0; i < 40000; ++i) x.push_back(i % 5 == 0 ? 0.31 : std::fmod(i * 0.6180339887, 1.0));
  std::vector<std::int32_t> counts(50, 1), want(50, 1), cf(50, 1), none(4, 0);
  for (double v : x) ++want[static_cast<std::size_t>(std::min(49.0, std::floor(v * 50)))];
  Kalix::HistogramCount_Idx(x, counts, 0.0, 1.0, 50.0);
  EXPECT_EQ(want, counts);
  const std::vector<float> xf(x.begin(), x.end());
  Kalix::sHistogramCount_Idx(xf, cf, 0.0f, 1.0f, 50.0f);
  EXPECT_EQ(40050, std::accumulate(cf.begin(), cf.end(), 0));
  EXPECT_GE(cf[15], 8000);
  // A negative width counts nothing rather than writing below the array.
  Kalix::HistogramCount_Idx(x, none, 0.0, 1.0, -4.0);
  EXPECT_EQ((std::vector<std::int32_t>(4, 0)), none);
}

INSTANTIATE_TEST_SUITE_P(Precisions, HistogramPrecision, testing::ValuesIn(kRealPrecisions), PrecisionName);

}  // namespace
