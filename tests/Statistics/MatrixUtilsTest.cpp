#include "StatisticsTest.h"

namespace {

TEST(FullFactDesign, TwoLevelRowsAreBinaryDigitsAndMulVecScalesInReverse) {
  TMtx d;
  FullFactDesign(2, d, mvSingle);
  EXPECT_EQ(mvSingle, d.FloatPrecision());
  EXPECT_EQ((std::vector<double>{0, 0, 0, 1, 1, 0, 1, 1}), d.ToVector());
  const TVec mul = Vec({10, 20, 30}), shortMul = Vec({1, 2});
  FullFactDesign(3, d, mvDouble, &mul);
  // Deliberate: MulVec[0] scales the last (fastest) column.
  EXPECT_EQ((std::vector<double>{0, 0, 0, 0, 0, 10, 0, 20, 0, 0, 20, 10, 30, 0, 0, 30, 0, 10, 30, 20, 0, 30, 20, 10}),
            d.ToVector());
  // The length check comes after Dst has been sized and cleared.
  TMtx e = Mtx({{7, 7}});
  EXPECT_RAISES(FullFactDesign(3, e, mvSingle, &shortMul), "FullFactDesign : MulVec.Length <> n");
  const std::vector<double> shape{double(e.Rows()), double(e.Cols()), Kalix::NormL1(e), double(e.FloatPrecision())};
  EXPECT_EQ((std::vector<double>{8, 3, 0, mvSingle}), shape);
  // Out-of-range tags and negative n are refused before Dst is sized.
  for (int tag : {-1, 4, 7})
    EXPECT_RAISES(FullFactDesign(2, e, static_cast<TMtxFloatPrecision>(tag)),
                  "FullFactDesign: Precision is not a valid precision");
  EXPECT_RAISES(FullFactDesign(-1, e), "FullFactDesign: n < 0");
  EXPECT_EQ(8, e.Rows());
}

TEST(FullFactDesign, MixedLevels) {
  TMtx d;
  FullFactDesign(Vec({2, 3}), d);
  EXPECT_EQ((std::vector<double>{1, 1, 2, 1, 1, 2, 2, 2, 1, 3, 2, 3}), d.ToVector());
  FullFactDesign(Vec({3, 1, 2}, mvSingle), d);  // a single level stays 1
  EXPECT_EQ(mvSingle, d.FloatPrecision());
  EXPECT_EQ((std::vector<double>{1, 1, 1, 2, 1, 1, 3, 1, 1, 1, 1, 2, 2, 1, 2, 3, 1, 2}), d.ToVector());
  // A level below 1 (after rounding) is refused before Dst is touched, wherever it stands.
  for (const auto& bad : {std::vector<double>{2, 0.4, 5}, {-1, -1}, {0.3}, {3, 2, -2}}) {
    TMtx kept = Mtx({{7}});
    EXPECT_RAISES(FullFactDesign(Vec(bad), kept), "FullFactDesign: a level rounds below 1");
    EXPECT_EQ(std::vector<double>{7}, kept.ToVector());
  }
  // 3e9 rows would otherwise be saturated to 2^31 - 1 and allocated.
  EXPECT_RAISES(FullFactDesign(Vec({3e9}), d), "FullFactDesign: too many rows");
  EXPECT_RAISES(FullFactDesign(ComplexVec(), d), "Product: X.Complex");
}

TEST(Unique, SortedValuesCountsAliasingAndEmptyData) {
  TVec d;
  TVecInt c;
  for (TMtxFloatPrecision p : kRealPrecisions) {
    Unique(Vec({4, 4, 4, 4, 9, -1, 4}, p), d, &c);  // Singletons at both ends and a long run between them, unsorted
    EXPECT_EQ(p, d.FloatPrecision());
    EXPECT_EQ((std::vector<double>{-1, 4, 9}), d.ToVector());
    EXPECT_EQ((std::vector<int>{1, 5, 1}), c.ToVector());
    Unique(Mtx({{2, 1}, {2, 2}}, p), d);  // A matrix is read as its elements; Counts may be left out
    EXPECT_EQ((std::vector<double>{1, 2}), d.ToVector());
  }
  // Dst is Src; -0 and +0 are one value; NaN last.
  TVec x = Vec({2, -0.0, 0.0, 2, std::numeric_limits<double>::quiet_NaN()});
  Unique(x, x, &c);
  ExpectAllClose({0, 2, NAN}, x, 0);
  EXPECT_EQ((std::vector<int>{2, 2, 1}), c.ToVector());
  d = Vec({1});
  Unique(TVec(), d, &c);
  EXPECT_EQ(0, d.Length() + c.Length());
  EXPECT_RAISES(Unique(ComplexVec(), d), "Unique: Src.Complex");
  // Deliberate: with no difference before the start the last count keeps what sizing left.
  c = TVecInt{7, 7, 7};
  Unique(Vec({5, 5, 5}), d, &c);
  EXPECT_EQ((std::vector<int>{7}), c.ToVector());
  TVecInt fresh;
  Unique(Vec({8}), d, &fresh);
  EXPECT_EQ((std::vector<int>{0}), fresh.ToVector());
}

TEST(RemoveRowColumn, CopiesAroundTheIndex) {
  const TMtx a = Mtx({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}, mvSingle);
  const struct {
    bool row;
    int index;
    std::vector<double> expected;
  } cases[]{{true, 1, {1, 2, 3, 7, 8, 9}},
            {true, 2, {1, 2, 3, 4, 5, 6}},  // the last row: only the rows above are copied
            {false, 0, {2, 3, 5, 6, 8, 9}},
            {false, 2, {1, 2, 4, 5, 7, 8}}};
  for (const auto& c : cases) {
    TMtx d;
    c.row ? RemoveRow(a, d, c.index) : RemoveColumn(a, d, c.index);
    EXPECT_EQ(c.expected, d.ToVector()) << c.row << c.index;
    EXPECT_EQ(c.row ? 3 : 2, d.Cols());
    EXPECT_EQ(mvSingle, d.FloatPrecision());
  }
  TMtx b = a, d;
  RemoveRow(b, b, 0);  // Dst is Src
  EXPECT_EQ((std::vector<double>{4, 5, 6, 7, 8, 9}), b.ToVector());
  // No elements but a huge dimension: only the shape changes, at once.
  const int big = std::numeric_limits<int>::max();
  RemoveRow(TMtx(big, 0), d, 5);
  EXPECT_EQ((std::vector<int>{big - 1, 0}), (std::vector<int>{d.Rows(), d.Cols()}));
  TMtx e(0, big);
  RemoveColumn(e, e, 0);
  EXPECT_EQ((std::vector<int>{0, big - 1}), (std::vector<int>{e.Rows(), e.Cols()}));
}

TEST(RemoveRowColumn, MessagesPlainAndPrefixed) {
  const TMtx a = Mtx({{1, 2}, {3, 4}});
  TMtx d;
  EXPECT_RAISES(RemoveRow(a, d, 2), "RemoveRow: Index>Src.Rows-1");
  EXPECT_RAISES(RemoveColumn(a, d, 2), "RemoveColumn: Index>Src.Cols-1");
  // A negative Index is not checked: the core's failure comes back with the routine's prefix.
  EXPECT_RAISES(RemoveRow(a, d, -1), "RemoveRow : Row: index out of range");
  EXPECT_RAISES(RemoveColumn(a, d, -1), "RemoveColumn : SetCol: index out of range");
  EXPECT_RAISES(RemoveRow(TMtx(0, 2), d, -1), "RemoveRow : Size: negative dimension");
  EXPECT_RAISES(RemoveColumn(TMtx(2, 0), d, -1), "RemoveColumn : Size: negative dimension");
}

TEST(CronbachAlpha, AgreesWithHandFormulaInR) {
  for (TMtxFloatPrecision p : kRealPrecisions) {
    const TMtx s = Mtx({{3, 4, 3, 5}, {2, 2, 3, 3}, {4, 5, 4, 5}, {1, 2, 2, 1}, {3, 3, 4, 4}, {5, 4, 5, 5}}, p);
    // R: C <- cov(S) * 5 / 6; k <- 4; k / (k - 1) * (1 - sum(diag(C)) / sum(C))
    EXPECT_CLOSE(0.94139194139194127, CronbachAlpha(s), p == mvSingle ? 1e-5 : 1e-13);
  }
  EXPECT_FALSE(std::isfinite(CronbachAlpha(Mtx({{1}, {2}, {4}}))));  // One item: k / (k - 1) = 1 / 0
  EXPECT_RAISES(CronbachAlpha(ComplexMtx()), "Covariance: X.Complex");
}

}  // namespace
