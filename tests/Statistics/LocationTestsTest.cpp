#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "support/TestSupport.h"

using namespace Statistics;
using namespace KalixTest;
using Kalix::TMtxFloatPrecision;

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
const std::vector<double> kX{5.1, 4.9, 5.6, 5.8, 6.0, 5.3, 4.7, 5.5, 6.2, 5.0};
const std::vector<double> kY{4.8, 5.2, 5.0, 5.9, 5.4, 5.1, 4.5, 5.0, 5.7, 4.6};

struct TTestOut {
  double stat = 0;
  THypothesisResult hRes = hrNotReject;
  double signif = -1;
  TTwoElmReal ci{-7, -7};
};
using TRun = std::function<TTestOut(TMtxFloatPrecision, THypothesisType, double)>;

struct TTailCase {
  const char* name;
  TRun run;
  THypothesisType hType;
  double alpha, stat, signif, lo, hi;
};

TTestOut OneSampleT(TMtxFloatPrecision p, THypothesisType h, double alpha) {
  TTestOut o;
  o.stat = tTest(Vec(kX, p), 5.0, o.hRes, o.signif, o.ci, h, alpha);
  return o;
}
TRun TwoSampleT(bool paired) {
  return [paired](TMtxFloatPrecision p, THypothesisType h, double alpha) {
    TTestOut o;
    o.stat = tTest(Vec(kX, p), Vec(kY, p), o.hRes, o.signif, o.ci, paired, h, alpha);
    return o;
  };
}
TTestOut Z(TMtxFloatPrecision p, THypothesisType h, double alpha) {
  TTestOut o;
  o.stat = ZTest(Vec(kX, p), 5.2, 0.4, o.hRes, o.signif, o.ci, h, alpha);
  return o;
}

// R: t.test(x, mu = 5, conf.level = 0.9) and the "greater"/"less" alternatives: the right-tailed
// p-value is R's "greater" p with R's "less" interval (the upper bound), and vice versa.
// Pooled: t.test(x, y, var.equal = TRUE) (returns the half-width diff(conf.int) / 2).
// Paired: t.test(x, y, paired = TRUE). z: pnorm/qnorm with sigma 0.4 about 5.2.
const std::vector<TTailCase> kTailCases{
    {"t two", OneSampleT, htTwoTailed, 0.1, 2.617021276595745682, 0.027947112892532482, 5.122812307217190053,
     5.697187692782810231},
    {"t right", OneSampleT, htRightTailed, 0.1, 2.617021276595745682, 0.013973556446266241, -kInf,
     5.626674502348805618},
    {"t left", OneSampleT, htLeftTailed, 0.1, 2.617021276595745682, 0.98602644355373381, 5.19332549765119467, kInf},
    {"pooled two", TwoSampleT(false), htTwoTailed, 0.05, 0.44429520356729713, 0.18713258113605688, -0.15429520356729706,
     0.73429520356729716},
    {"pooled right", TwoSampleT(false), htRightTailed, 0.05, 0.65671334221063649 - 0.29, 0.09356629056802844, -kInf,
     0.65671334221063649},
    {"paired two", TwoSampleT(true), htTwoTailed, 0.05, 3.058757109615640069, 0.013598924333766828,
     0.075525442622047578, 0.504474557377952215},
    {"z two", Z, htTwoTailed, 0.05, 1.660195771588399039, 0.096875075026274585, 5.162081987078175338,
     5.657918012921824946},
    {"z right", Z, htRightTailed, 0.05, 1.660195771588399039, 0.048437537513137285, -kInf, 5.618059355150222700},
};

class LocationByPrecision : public testing::TestWithParam<TMtxFloatPrecision> {};

TEST_P(LocationByPrecision, TailsMatchReference) {
  const double tol = GetParam() == Kalix::mvSingle ? 2e-5 : 1e-11;
  for (const TTailCase& c : kTailCases) {
    SCOPED_TRACE(c.name);
    const TTestOut o = c.run(GetParam(), c.hType, c.alpha);
    EXPECT_CLOSE(c.stat, o.stat, tol);
    EXPECT_CLOSE(c.signif, o.signif, tol);
    EXPECT_CLOSE(c.lo, o.ci[0], tol);
    EXPECT_CLOSE(c.hi, o.ci[1], tol);
    EXPECT_EQ(o.signif <= c.alpha ? hrReject : hrNotReject, o.hRes);
    // Alpha equal to the p-value rejects; one ulp below does not.
    EXPECT_EQ(hrReject, c.run(GetParam(), c.hType, o.signif).hRes);
    EXPECT_EQ(hrNotReject, c.run(GetParam(), c.hType, std::nextafter(o.signif, 0.0)).hRes);
  }
}

INSTANTIATE_TEST_SUITE_P(Precisions, LocationByPrecision, testing::ValuesIn(kRealPrecisions), PrecisionName);

TEST(LocationTests, BadAlphaSigmaOrTailIsQuietNan) {
  const TVec x = Vec(kX);
  struct TCase {
    const char* name;
    std::function<double(THypothesisResult&, double&, TTwoElmReal&)> call;
  };
  const double nan = std::nan("");
  const std::vector<TCase> cases{
      {"t alpha 0", [&](auto& h, auto& s, auto& ci) { return tTest(x, 5.0, h, s, ci, htTwoTailed, 0.0); }},
      {"t alpha NaN", [&](auto& h, auto& s, auto& ci) { return tTest(x, 5.0, h, s, ci, htTwoTailed, nan); }},
      {"t bad tail",
       [&](auto& h, auto& s, auto& ci) { return tTest(x, 5.0, h, s, ci, static_cast<THypothesisType>(3), 0.05); }},
      {"paired alpha 1", [&](auto& h, auto& s, auto& ci) { return tTest(x, x, h, s, ci, true, htTwoTailed, 1.0); }},
      {"pooled alpha 1", [&](auto& h, auto& s, auto& ci) { return tTest(x, x, h, s, ci, false, htTwoTailed, 1.0); }},
      {"z sigma 0", [&](auto& h, auto& s, auto& ci) { return ZTest(x, 5.0, 0.0, h, s, ci, htTwoTailed, 0.05); }},
      {"z alpha -1", [&](auto& h, auto& s, auto& ci) { return ZTest(x, 5.0, 1.0, h, s, ci, htTwoTailed, -1.0); }},
  };
  for (const TCase& c : cases) {
    SCOPED_TRACE(c.name);
    THypothesisResult h = hrReject;
    double s = 0;
    TTwoElmReal ci{0, 0};
    EXPECT_TRUE(std::isnan(c.call(h, s, ci)));
    EXPECT_EQ(hrNan, h);
    EXPECT_TRUE(std::isnan(s) && std::isnan(ci[0]) && std::isnan(ci[1]));
  }
}

TEST(LocationTests, DegenerateDataGiveNan) {
  THypothesisResult h;
  double s;
  TTwoElmReal ci;
  for (const TVec& d : {Vec({2, 2, 2, 2}), Vec({3}), Vec(std::vector<double>{}), Vec({1, NAN, 3})}) {
    tTest(d, 1.0, h, s, ci);
    EXPECT_EQ(hrNan, h);
  }
  // A negative Sigma is used as given: z changes sign, the two-tailed p-value does not.
  const double zNeg = ZTest(Vec(kX), 5.2, -0.4, h, s, ci);
  EXPECT_CLOSE(-1.660195771588399039, zNeg, 1e-12);
  EXPECT_CLOSE(0.096875075026274585, s, 1e-12);
}

TEST(LocationTests, MessagesInCheckOrder) {
  const TVec c = ComplexVec(), x = Vec({1, 2, 3}), xs = Vec({1, 2, 3}, Kalix::mvSingle), two = Vec({1, 2});
  THypothesisResult h;
  double s;
  TTwoElmReal ci;
  EXPECT_RAISES(tTest(c, 0.0, h, s, ci, htTwoTailed, 2.0), "tTest: Data.Complex = true");
  EXPECT_RAISES(tTest(c, two, h, s, ci, true, htTwoTailed, 2.0), "tTest: vectors must be real");
  EXPECT_RAISES(tTest(x, two, h, s, ci, true, htTwoTailed, 2.0), "tTest: Data1.Length <> Data2.Length");
  EXPECT_RAISES(tTest(x, xs, h, s, ci, true), "tTest: Data1.FloatPrecision <> Data2.FloatPrecision");
  EXPECT_RAISES(ZTest(c, 0.0, 0.0, h, s, ci, htTwoTailed, 2.0), "ZTest: Data.Complex = true");
  // Unpaired samples may differ in length and precision.
  EXPECT_NO_THROW(tTest(x, Vec({1, 2, 4, 8}, Kalix::mvSingle), h, s, ci, false));
}

}  // namespace
