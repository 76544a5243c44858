#include <cstdint>

#include "support/TestSupport.h"

using namespace Kalix;
using namespace KalixTest;

namespace {

// 64-byte aligned storage, so a view is accepted whatever ViewAlignment() is in this build.
struct alignas(64) TBlock {
  double d[8] = {4, 1, 3, 2, 8, 6, 5, 7};
};

TEST(ContainerViews, ReadInPlaceDetachOnSizingInEveryType) {
  TBlock b;
  const TVec v = TVec::View(b.d, 4);
  EXPECT_TRUE(v.IsView() && v.data() == b.d && Sum(v) == 10.0);
  b.d[0] = 40;  // read in place, not copied
  EXPECT_EQ(46.0, Sum(v));
  TVec copy = v;  // copies own their elements
  EXPECT_TRUE(!copy.IsView() && copy.data() != b.d);
  TVec grown = TVec::View(b.d, 3);
  grown.Resize(5);  // sizing moves the view into storage of its own, keeping its elements
  EXPECT_FALSE(grown.IsView());
  EXPECT_EQ(std::vector<double>({40, 1, 3, 0, 0}), grown.ToVector());
  EXPECT_TRUE(b.d[0] == 40.0 && b.d[3] == 2.0);  // the caller's memory is never written
  const TMtx m = TMtx::View(b.d, 2, 4);
  EXPECT_TRUE(m.IsView() && m(1, 0) == 8.0);
  alignas(64) float f[4] = {1.5F, 2.5F, 3.5F, 4.5F};
  const TVec vf = TVec::View(f, 4, mvSingle);
  EXPECT_TRUE(vf.FloatPrecision() == mvSingle && vf[1] == 2.5);
  alignas(64) std::int32_t k[3] = {2, 0, 1};
  const TVecInt g = TVecInt::View(k, 3);
  EXPECT_TRUE(g.IsView() && g[2] == 1);
}

TEST(ContainerViews, RefusedArguments) {
  TBlock b;
  EXPECT_RAISES(TVec::View(b.d, -1), "View: N < 0");
  EXPECT_RAISES(TVec::View(b.d, 2, static_cast<TMtxFloatPrecision>(9)),
                "View: FloatPrecision is not a valid precision");
  EXPECT_RAISES(TMtx::View(b.d, -1, 2), "View: Rows < 0 or Cols < 0");
  EXPECT_RAISES(TMtx::View(b.d, 1 << 16, 1 << 16), "View: too many elements");
  if (ViewAlignment() > 1) {
    const auto* odd = reinterpret_cast<const char*>(b.d) + 1;
    EXPECT_RAISES(TVec::View(odd, 2), "View: Data is not aligned to ViewAlignment()");
  }
  EXPECT_EQ(0, TVec::View(nullptr, 0).Length());  // an empty view needs no memory
}

}  // namespace
