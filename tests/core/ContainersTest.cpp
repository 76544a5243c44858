#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>

#include "support/TestSupport.h"

using namespace Kalix;
using namespace KalixTest;

namespace {

TEST(TVec, SizingKeepsOrClearsAsDocumented) {
  TVec v(3, mvSingle);
  EXPECT_TRUE(v.FloatPrecision() == mvSingle && v.ToVector() == std::vector<double>({0, 0, 0}));
  v[1] = 2.5;
  v.Resize(5);  // keeps contents, new elements zero
  EXPECT_EQ(std::vector<double>({0, 2.5, 0, 0, 0}), v.ToVector());
  v.Size(2);
  v.Size(4);  // regrown storage is cleared beyond what was kept
  EXPECT_EQ(std::vector<double>({0, 2.5, 0, 0}), v.ToVector());
  v.Size(2, mvDouble);  // a new precision starts from zeros
  EXPECT_EQ(std::vector<double>({0, 0}), v.ToVector());
  const TMtx m(2, 3, mvSingle);
  v.Size(m);
  EXPECT_TRUE(v.Length() == 6 && v.FloatPrecision() == mvSingle);
  EXPECT_RAISES(v.Size(-1), "Size: negative dimension");
  TMtx big;
  EXPECT_RAISES(big.Size(1 << 16, 1 << 16), "Size: too many elements");
  TVec l(1 << 20);  // Above the direct-mapping threshold of the allocator: zeroed, and kept on resizing
  EXPECT_EQ(0.0, Sum(l));
  l[0] = 1, l[(1 << 20) - 1] = 2;
  l.Resize(3 << 20);
  EXPECT_TRUE(l[0] == 1.0 && l[(1 << 20) - 1] == 2.0 && Sum(l) == 3.0);
}

TEST(TVec, CheckedAccess) {
  TVec v = Vec({1, 2}, mvSingle);
  EXPECT_EQ(2u, v.Span<float>().size());
  EXPECT_RAISES(v.Span<double>(), "Span: element type does not match FloatPrecision");
  EXPECT_RAISES(v.Values(2), "Values: index out of range");
  EXPECT_RAISES(v[-1] = 1.0, "Values: index out of range");
  v[0] = 0.1;  // stored in single precision
  EXPECT_EQ(static_cast<double>(0.1F), v[0]);
  EXPECT_TRUE(v.PrecisionEPS() == 0x1p-23 && Vec({1}).PrecisionEPS() == 2.220446049250313e-16);
  TVec z(2, mvSingleComplex);  // Complex elements: the real part through the real accessors
  z.SetCValue(1, TCplx(1.5, -2));
  EXPECT_TRUE(z.CValues(1) == TCplx(1.5, -2) && z[1] == 1.5);
  EXPECT_RAISES(Sum(z), "Sum: X.Complex");
}

TEST(TVec, CopiesAreDeepAndMovesEmptyTheSource) {
  TVec a = Vec({1, 2, 3}), b = a;
  b[0] = 9;
  EXPECT_EQ(1.0, a[0]);
  TVec c = std::move(a);
  EXPECT_TRUE(a.Length() == 0 && c.Length() == 3);  // NOLINT(bugprone-use-after-move): moved-from is empty
  TVec d;
  d.Copy(Mtx({{1, 2}, {3, 4}}));  // then a part: two elements from 0 to 1
  d.Copy(Vec({7, 8}), 0, 1, 2);
  EXPECT_EQ(std::vector<double>({1, 7, 8, 4}), d.ToVector());
  EXPECT_RAISES(d.Copy(Vec({7, 8}), 1, 3, 2), "Copy: index out of range");
}

TEST(TVec, StandardRangeAccess) {
  // data(), size(), begin(), end(): std::ranges and spans work on the containers directly.
  TVec v = Vec({3, -1, 2});
  std::ranges::sort(v);
  EXPECT_EQ(std::vector<double>({-1, 2, 3}), v.ToVector());
  EXPECT_EQ(3u, std::span<const double>(v.data(), v.size()).size());
  const TVec s = Vec({1, 2}, mvSingle);
  EXPECT_EQ(2.0f, s.data<float>()[1]);
  EXPECT_RAISES(s.begin(), "Span: element type does not match FloatPrecision");
  TVecInt k({5, 1, 4});
  std::ranges::sort(k);
  EXPECT_EQ(std::vector<int>({1, 4, 5}), k.ToVector());
  EXPECT_EQ(k.data() + 3, k.end());
}

TEST(TMtx, ShapeRowsColumnsAndIntegerVectors) {
  TMtx a = Mtx({{1, 2, 3}, {4, 5, 6}});
  EXPECT_TRUE(a.Rows() == 2 && a.Cols() == 3 && a(1, 2) == 6.0);
  EXPECT_RAISES(a.Values(2, 0), "Values: index out of range");
  EXPECT_RAISES(Mtx({{1, 2}, {3}}), "TMtx: rows of unequal length");
  TVec v, w;
  a.GetCol(v, 1), a.GetRow(w, 1);
  EXPECT_TRUE(v.ToVector() == std::vector<double>({2, 5}) && w.ToVector() == std::vector<double>({4, 5, 6}));
  a.SetCol(Vec({-1, -2}), 0);
  a.SetRow(Vec({7, 8, 9}), 0);
  EXPECT_EQ(std::vector<double>({7, 8, 9, -2, 5, 6}), a.ToVector());
  EXPECT_RAISES(a.SetRow(Vec({1, 2}), 0), "SetRow: Src does not match the row");
  EXPECT_EQ(std::vector<double>({5, 6}), std::vector<double>(a.Row<double>(1).begin() + 1, a.Row<double>(1).end()));
  TMtx t;
  Transp(t, a);
  EXPECT_TRUE(t.Rows() == 3 && t(1, 0) == 8.0);
  TVecInt i({300, -2, 7}), bytes(2, prUInt8);
  bytes[0] = 255;
  EXPECT_TRUE(i.IntPrecision() == prInt32 && i[1] == -2 && bytes[0] == 255);
  EXPECT_RAISES(bytes.Span<std::int32_t>(), "Span: element type does not match IntPrecision");
  TVecList list;
  list.Add() = Vec({1, 2}), list.Add() = Vec({3, 4});
  TMtx m;
  list.ComposeRowMatrix(m);
  EXPECT_EQ(std::vector<double>({1, 2, 3, 4}), m.ToVector());
  list.Add() = Vec({1});
  EXPECT_RAISES(list.ComposeRowMatrix(m), "ComposeRowMatrix: vectors differ in length or precision");
}

TEST(ScalarMath, RoundingSplittingAndElementWiseOps) {
  // Halves go to the even neighbour.
  EXPECT_EQ((std::vector<double>{2, 4, -2, 3}), (std::vector<double>{Round(2.5), Round(3.5), Round(-2.5), Round(2.6)}));
  EXPECT_EQ(0, aRound(NAN));
  EXPECT_EQ(2147483647, aRound(1e300));
  double i, f;
  TruncAndFrac(-2.75, i, f);
  EXPECT_TRUE(i == -2.0 && f == -0.75) << i << " " << f;
  EXPECT_TRUE(IntPower(2.0, -3) == 1.0 / 8.0 && IntPower(0.5F, 0) == 1.0F);
  // Element-wise operations keep the precision and check shapes.
  TVec y;
  Sqrt(y, Vec({1, 4, 9}, mvSingle));
  EXPECT_TRUE(y.FloatPrecision() == mvSingle && y.ToVector() == std::vector<double>({1, 2, 3}));
  Add(y, Vec({1, 1, 1}, mvSingle)), Scale(y, 2);
  EXPECT_EQ(std::vector<double>({4, 6, 8}), y.ToVector());
  EXPECT_RAISES(Add(y, Vec({1, 1, 1})), "Add: X.FloatPrecision <> Y.FloatPrecision");
  EXPECT_RAISES(Mul(y, Vec({1}, mvSingle)), "Mul: X.Length <> Y.Length");
  Round(y, Vec({0.5, 1.5, 2.5}));
  EXPECT_EQ(std::vector<double>({0, 2, 2}), y.ToVector());
  TVec r(4);
  Ramp(r, 1, 0.5);
  EXPECT_EQ(std::vector<double>({1, 1.5, 2, 2.5}), r.ToVector());
  Difference(r, r), CumSum(r);
  EXPECT_EQ(std::vector<double>({0.5, 1, 1.5}), r.ToVector());
  TVec z = Vec({1, 2, 3});
  ZScore(z);
  EXPECT_EQ(std::vector<double>({-1, 0, 1}), z.ToVector());
  TMtx v, t;
  VanderMonde(v, Vec({2, 3}), 3), Toeplitz(t, Vec({1, 2, 3}));
  EXPECT_EQ(std::vector<double>({4, 2, 1, 9, 3, 1}), v.ToVector());
  EXPECT_EQ(std::vector<double>({1, 2, 3, 2, 1, 2, 3, 2, 1}), t.ToVector());
  TVec c = ComplexVec();
  EXPECT_RAISES(Ln(c), "Ln: X.Complex");
}

}  // namespace
