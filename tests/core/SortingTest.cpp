#include <algorithm>

#include "support/TestSupport.h"

using namespace Kalix;
using namespace KalixTest;

namespace {

// Deterministic data with the awkward cases mixed in: ties, NaNs, infinities, signed zeros.
std::vector<double> Awkward(std::size_t n, double levels) {
  std::vector<double> v(n);
  for (std::size_t i = 0; i < n; ++i) v[i] = std::round(std::sin(static_cast<double>(i) * 1.618) * levels);
  for (std::size_t i = 7; i < n; i += 97) v[i] = NAN;
  for (std::size_t i = 11; i < n; i += 101) v[i] = -NAN;  // a NaN with the sign bit set
  if (n > 40) {
    v[3] = INFINITY;
    v[5] = -INFINITY;
    v[13] = -0.0;
  }
  return v;
}

// Reference order: numbers ascending, then the NaNs.
std::vector<double> SortedReference(std::vector<double> v) {
  auto mid = std::partition(v.begin(), v.end(), [](double x) { return !std::isnan(x); });
  std::stable_sort(v.begin(), mid);
  return v;
}

bool SameValue(double a, double b) { return (std::isnan(a) && std::isnan(b)) || a == b; }

class SortByLength : public testing::TestWithParam<int> {};

TEST_P(SortByLength, BothDirectionsWithPermutationNaNsLastAscendingStable) {
  const std::vector<double> v = Awkward(static_cast<std::size_t>(GetParam()), 20);  // exact in single too
  const std::vector<double> ref = SortedReference(v);
  for (TMtxFloatPrecision p : kRealPrecisions) {
    TVec x = Vec(v, p);
    TVecInt idx;
    SortAscend(x, idx);
    ASSERT_EQ(x.Length(), idx.Length());
    for (int i = 0; i < x.Length(); ++i) {
      ASSERT_TRUE(SameValue(ref[static_cast<std::size_t>(i)], x[i])) << i;
      ASSERT_TRUE(SameValue(v[static_cast<std::size_t>(idx[i])], x[i])) << i;
      // Stability: equal values keep their original order.
      ASSERT_TRUE(i == 0 || x[i] != x[i - 1] || idx[i - 1] < idx[i]) << i;
    }
    TVec y = Vec(v, p);
    SortAscend(y);
    for (int i = 0; i < y.Length(); ++i) ASSERT_TRUE(SameValue(x[i], y[i])) << i;
  }
  // Descending: the numbers from the largest down, the NaNs still last.
  TVec x = Vec(v);
  TVecInt idx;
  SortDescend(x, idx);
  const std::size_t numbers =
      static_cast<std::size_t>(std::count_if(v.begin(), v.end(), [](double d) { return !std::isnan(d); }));
  for (std::size_t i = 0; i < v.size(); ++i) {
    const int at = static_cast<int>(i);
    ASSERT_TRUE(SameValue(i < numbers ? ref[numbers - 1 - i] : std::nan(""), x[at])) << i;
    ASSERT_TRUE(SameValue(v[static_cast<std::size_t>(idx[at])], x[at])) << i;
  }
}

// Short inputs take the comparison sort, long ones the radix sort.
INSTANTIATE_TEST_SUITE_P(Lengths, SortByLength, testing::Values(0, 1, 2, 50, 255, 256, 4000));

TEST(OrderStatPair, AgreesWithFullSortOnBothPaths) {
  // 1e5 values take the sampled path; few levels force its full-copy fallback (the bracket
  // then holds a huge tie), many levels the normal route.
  for (double levels : {3.0, 1e6}) {
    const std::vector<double> v = Awkward(100000, levels);
    const std::vector<double> ref = SortedReference(v);
    for (std::size_t k : {std::size_t{0}, std::size_t{1}, std::size_t{30000}, std::size_t{50000}, std::size_t{98000},
                          std::size_t{99999}}) {
      double kth, next;
      Kern::OrderStatPair<double>(v, k, kth, next);
      EXPECT_TRUE(SameValue(ref[k], kth)) << "k " << k << " levels " << levels;
      EXPECT_TRUE(SameValue(k + 1 < ref.size() ? ref[k + 1] : std::nan(""), next)) << "k " << k << " levels " << levels;
    }
    std::vector<float> f(v.begin(), v.end());
    float kth, next;
    Kern::OrderStatPair<float>(f, 50000, kth, next);
    EXPECT_TRUE(SameValue(static_cast<float>(ref[50000]), kth));
  }
  double a, b;
  EXPECT_RAISES(Kern::OrderStatPair<double>(std::vector<double>{1.0}, 1, a, b), "OrderStatPair: k out of range");
}

TEST(Gather, ByIndexMaskAndComparisonAndMedianAndMatrixSort) {
  EXPECT_TRUE(Median(Vec({4, 1, 3, 2})) == 2.5 && Median(Vec({5, 1, 3}, mvSingle)) == 3.0);
  EXPECT_TRUE(std::isnan(Median(TVec())));
  const TVec x = Vec({5, -1, 3, 0, 8});
  TVec out;
  TVecInt idx;
  EXPECT_EQ(3, FindAndGather(out, x, ">", 0, &idx));
  EXPECT_TRUE(out.ToVector() == std::vector<double>({5, 3, 8}) && idx.ToVector() == std::vector<int>({0, 2, 4}));
  TVecInt mask;
  EXPECT_EQ((std::vector<int>{4, 1, 2, 2}), (std::vector<int>{FindIndexes(idx, x, "<>", 3), FindIndexes(idx, x, "=", 3),
                                                               FindIndexes(idx, x, "<=", 0), FindMask(mask, x, ">=", 5)}));
  TVec byIndex;
  GatherByMask(out, x, mask);
  GatherByIndex(byIndex, x, TVecInt({4, 4, 0}));
  EXPECT_TRUE(out.ToVector() == std::vector<double>({5, 8}) && byIndex.ToVector() == std::vector<double>({8, 8, 5}));
  EXPECT_RAISES(GatherByIndex(out, x, TVecInt({5})), "GatherByIndex: index out of range");
  EXPECT_RAISES(FindIndexes(idx, x, "!=", 0), "Find: unknown comparison operator");
  TMtx a = Mtx({{3, 30}, {1, 10}, {2, 20}});
  SortAscend(a, 0);
  EXPECT_EQ(std::vector<double>({1, 10, 2, 20, 3, 30}), a.ToVector());
  EXPECT_RAISES(SortAscend(a, 2), "SortAscend: Col out of range");
}

}  // namespace
