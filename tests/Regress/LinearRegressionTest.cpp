// Straight-line and multiple linear regression, regression statistics, R2 and PRESS.
#include <limits>

#include "support/TestSupport.h"

namespace {

using namespace KalixTest;
using namespace Regress;

// Ordinals and field order are part of the interface: designated initialisers must follow it.
static_assert(regSolveLQR == 0 && regSolveSVD == 1 && regSolveLU == 2);
// clang-format off
[[maybe_unused]] constexpr TRegStats kFieldOrder{
    .SSE = 0, .SST = 0, .SSR = 0, .ResidualVar = 0, .R2 = 0, .AdjustedR2 = 0, .dfE = 0, .dfT = 0, .StdError = 0,
    .FStats = {.SSE = 0, .SSR = 0, .dFE = 0, .dFR = 0, .F = 0, .Signif = 0}};
// clang-format on

// The data of the R commands below: y ~ x1 + x2 + x3 with weights w, x1 <- 1:12 and x2, x3, y, w as written here.
struct TData {
  TMtx A;
  TVec y, w;
};
TData Data(TMtxFloatPrecision p = mvDouble, int rows = 12) {
  const double x2[] = {4.1, 2.3, 5.7, 1.2, 8.8, 3.3, 6.1, 7.4, 2.9, 9.5, 4.4, 6.6};
  const double x3[] = {10, 12, 9, 15, 11, 14, 8, 13, 16, 10, 12, 11};
  const double y[] = {20.1, 21.7, 27.9, 25.3, 37.2, 33.0, 35.8, 44.1, 40.2, 52.6, 47.3, 53.9};
  const double w[] = {1, 2, 1.5, 0.5, 1, 3, 2, 1, 0.8, 1.2, 2.5, 1};
  TData d{TMtx(rows, 3, p), TVec(rows, p), TVec(rows, p)};
  for (int i = 0; i < rows; ++i) d.A(i, 0) = i + 1, d.A(i, 1) = x2[i], d.A(i, 2) = x3[i], d.y[i] = y[i], d.w[i] = w[i];
  return d;
}

// R: coef(lm(y ~ x1 + x2 + x3)); vcov(fit) / sigma^2 (= (X^T X)^-1)
const std::vector<double> kCoef{7.5811916312820271, 2.5978543214910275, 1.5210812248551442, 0.35978512794212808};
const std::vector<double> kV{5.8055264161020661,    0.073988880783781519,   -0.31483128458164422,
                             -0.38881886996399484,  0.073988880783781519,   0.010314968363536351,
                             -0.0096373088353810116, -0.0077448919242338685, -0.31483128458164422,
                             -0.0096373088353810116, 0.028845510637687904,  0.019380214123485749,
                             -0.38881886996399484,  -0.0077448919242338685, 0.019380214123485749,
                             0.028812345175638406};

TEST(MulLinRegressT, EverySolverMatchesRInBothPrecisions) {
  for (TRegSolveMethod m : {regSolveLQR, regSolveSVD})
    for (TMtxFloatPrecision p : kRealPrecisions) {
      const TData d = Data(p);
      const bool single = p == mvSingle;
      TVec b, yc;
      TMtx v;
      MulLinRegress(d.y, d.A, b, true, &yc, &v, m);
      EXPECT_TRUE(b.FloatPrecision() == p && v.FloatPrecision() == p && yc.FloatPrecision() == p);
      ExpectAllClose(kCoef, b, single ? 2e-5 : 1e-12);
      ExpectAllClose(kV, v, single ? 2e-4 : 1e-11);
      // R: fitted(fit)[c(1, 12)]
      ExpectAllClose({20.013330254100417, 52.752215980581717}, {yc[0], yc[11]}, single ? 1e-5 : 1e-12);
    }
  const TData d = Data(mvDouble, 4);  // LU: [1 | A] is 4 x 4
  TVec b;
  MulLinRegress(d.y, d.A, b, true, nullptr, nullptr, regSolveLU);
  // R: solve(cbind(1, x1, x2, x3)[1:4, ], y[1:4])
  ExpectAllClose({30.924657534246542, 3.5397260273972582, -0.35616438356164098, -1.2904109589041068}, b, 1e-12);
}

struct TFit {
  TVec b, yc, res, sd;
  TMtx v;
  TRegStats st;
  TFit(const TData& d, bool constant, const TVec* w) {
    if (w) MulLinRegress(d.y, d.A, b, *w, constant, &yc, &v, regSolveLQR);
    if (!w) MulLinRegress(d.y, d.A, b, constant, &yc, &v);
    RegressTest(d.y, yc, v, st, res, sd, constant, w);
  }
};

// The weighted coefficients, fitted values and (D^T W D)^-1 are pinned with the least-squares paths.
TEST(RegressTestT, WeightedStatisticsMatchRSummary) {
  const TData d = Data();
  const auto& [b, yc, res, sd, v, st] = TFit(d, true, &d.w);
  // R: fw <- lm(y ~ x1 + x2 + x3, weights = w); summary(fw)$sigma, $r.squared, $adj.r.squared, $fstatistic; pf(F, 3, 8, lower = FALSE); coef(summary(fw))[, 2]
  ExpectAllClose({1.3791944030775529, 0.99196091379897966, 0.98894625647359702, 329.04599320357875},
                 {st.StdError, st.R2, st.AdjustedR2, st.FStats.F}, 1e-11);
  EXPECT_CLOSE(1.0245335605021444e-08, st.FStats.Signif, 1e-6);
  ExpectAllClose({2.7944744972820335, 0.11515384430052961, 0.20827754783729652, 0.19703715462759419}, sd, 1e-10);
}

TEST(RegressTestT, StatisticsMatchRSummary) {
  const TData d = Data();
  const auto& [b, yc, res, sd, v, st] = TFit(d, true, nullptr);
  // R: sum(resid(f)^2); sum((y - mean(y))^2); summary(f)$sigma, $r.squared, $adj.r.squared, $fstatistic
  ExpectAllClose(
      {9.9145912318312064, 1450.5891666666666, 1450.5891666666666 - 9.9145912318312064, 1.1132492550991897,
       1.1132492550991897 * 1.1132492550991897, 0.99316512803234691, 0.99060205104447696, 387.48938589540364},
      {st.SSE, st.SST, st.SSR, st.StdError, st.ResidualVar, st.R2, st.AdjustedR2, st.FStats.F}, 1e-11);
  // R: pf(387.48938589540364, 3, 8, lower.tail = FALSE)
  EXPECT_CLOSE(5.3558875928972878e-09, st.FStats.Signif, 1e-6);
  EXPECT_EQ((std::vector<int>{8, 11, 8, 3}), (std::vector<int>{st.dfE, st.dfT, st.FStats.dFE, st.FStats.dFR}));
  // R: coef(summary(f))[, 2]; resid(f)[1]
  ExpectAllClose({2.6823362322155382, 0.11306452521333438, 0.18907387671427348, 0.1889651505062768}, sd, 1e-11);
  EXPECT_CLOSE(20.1 - 20.013330254100417, res[0], 1e-12);

  // The statistics form with NumParams gives the same record.
  TRegStats st2;
  RegressTest(d.y, yc, 4, st2);
  EXPECT_TRUE(st.SSE == st2.SSE && st.FStats.F == st2.FStats.F);
}

TEST(RegressTestT, WithoutConstantSSTIsAboutZeroAndDegreesOfFreedomDoNotChange) {
  const TData d = Data();
  const auto& [b, yc, res, sd, v, st] = TFit(d, false, nullptr);
  // R: f0 <- lm(y ~ 0 + x1 + x2 + x3); coef(summary(f0))[, 2]
  ExpectAllClose({0.14364392844816978, 0.16099124427626824, 0.07811559450507928}, sd, 1e-11);
  // Deliberate: dfT = n - 1 and dFR = p - 1 as with a constant (R's summary would use p and n).
  EXPECT_EQ((std::vector<int>{11, 2, 9}), (std::vector<int>{st.dfT, st.FStats.dFR, st.dfE}));
  // R: rss <- sum(resid(f0)^2); sst <- sum(y^2); F <- (9/2)*((sst - rss)/rss);
  //    pf(F, 2, 9, lower.tail = FALSE); 1 - (11/9)*(rss/sst)
  ExpectAllClose({17517.990000000002, 19.814549035969538, 3973.9380081977856, 0.99861754789475998},
                 {st.SST, st.SSE, st.FStats.F, st.AdjustedR2}, 1e-11);
  EXPECT_CLOSE(5.5049025225193278e-14, st.FStats.Signif, 1e-3);
}

TEST(RegressTestT, PerfectFitGivesZeroSSEInfiniteFAndZeroSignificance) {
  const TVec y = Vec({1.1, 2.3, 2.9, 4.4, 5.0});
  TRegStats st;
  RegressTest(y, y, 2, st);
  ExpectAllClose({0, Kalix::INF, 0, 1}, {st.SSE, st.FStats.F, st.FStats.Signif, st.R2}, 0);
  // One parameter: dFR = 0 and F = (dfE/0) * (SSR/SSE) follows IEEE arithmetic.
  const TVec yc = Vec({1.0, 2.0, 3.0, 4.0, 5.0});
  RegressTest(y, yc, 1, st);
  EXPECT_TRUE(st.FStats.dFR == 0 && st.FStats.F == Kalix::INF);
  // Single data clamp at the single epsilon: an SSE of (2^-23)^2 is noise there.
  const TVec ys = Vec({1, 2, 3, 4, 5}, mvSingle);
  TVec ycs = ys;
  ycs[0] = 1.0 + std::ldexp(1.0, -23);
  RegressTest(ys, ycs, 2, st);
  ExpectAllClose({0, 10, Kalix::INF, 0}, {st.SSE, st.SST, st.FStats.F, st.FStats.Signif}, 0);
  // An absurd NumParams wraps the 32-bit counts rather than overflowing them.
  constexpr int kMin = std::numeric_limits<int>::min();
  RegressTest(y, yc, kMin, st);
  EXPECT_EQ((std::vector<int>{5 + kMin, std::numeric_limits<int>::max()}), (std::vector<int>{st.dfE, st.FStats.dFR}));
}

TEST(MulLinRegressT, OptionalOutputsMaySkipAndSingularSystemRaisesOnlyForV) {
  const TData d = Data();
  TVec b1, b2;
  TMtx v;
  MulLinRegress(d.y, d.A, b1), MulLinRegress(d.y, d.A, b2, true, nullptr, &v);
  ExpectAllClose(b1.ToVector(), b2, 0.0);
  // A repeated column: the solver still gives a (minimum-norm) B; (M^T M)^-1 does not exist.
  TMtx A2(12, 2);
  for (int i = 0; i < 12; ++i) A2(i, 0) = A2(i, 1) = d.A(i, 1);
  EXPECT_NO_THROW(MulLinRegress(d.y, A2, b1, true));
  EXPECT_RAISES(MulLinRegress(d.y, A2, b1, true, nullptr, &v), "Inv: matrix is singular");
}

TEST(LinRegressT, WeightedLineAndItsInverseNormalMatrixMatchR) {
  const TVec x = Vec({0.5, 1.5, 2.0, 3.5, 4.0, 5.5, 7.0, 8.5}), y = Vec({2.1, 3.9, 4.2, 7.9, 8.1, 12.2, 14.8, 18.3}),
             w = Vec({1, 2, 1, 3, 1, 0.5, 2, 1});
  TVec b, yc;
  TMtx v;
  LinRegress(x, y, b, true, &w, &yc, &v);
  // R: coef(lm(ly ~ lx, weights = lw)); X <- cbind(1, lx); solve(t(X) %*% diag(lw) %*% X)
  ExpectAllClose({0.69944725205306524, 2.0299747315224255}, b, 1e-13);
  const std::vector<double> vR{0.31190777005685399, -0.057169930511686659, -0.057169930511686666,
                               0.014529374605180037};
  ExpectAllClose(vR, v, 1e-13);
  EXPECT_CLOSE(0.69944725205306524 + 2.0299747315224255 * 8.5, yc[7], 1e-13);
  // Through the origin: B[0] = Sxy/Sxx; V stays the inverse normal matrix of the line with intercept.
  LinRegress(x, y, b, false, &w, &yc, &v);
  ASSERT_EQ(b.Length(), 1);
  // R: coef(lm(ly ~ 0 + lx, weights = lw))
  EXPECT_CLOSE(2.1581772151898733, b[0], 1e-13);
  ExpectAllClose(vR, v, 1e-13);
  // R2 of the unweighted line's fitted values. R: summary(lm(ly ~ lx))$r.squared
  LinRegress(x, y, b, true, nullptr, &yc);
  EXPECT_CLOSE(0.99460779335092442, R2(y, yc), 1e-13);
}

TEST(LinRegressT, ExactLineFarFromTheOriginAndEqualAbscissae) {
  for (TMtxFloatPrecision p : kRealPrecisions) {
    // y = 3 + 2 (x - x0), x0 = 1e4 or 1e8: S*Sxx - Sx^2 from raw sums would cancel every digit of the slope.
    const double x0 = p == mvSingle ? 1e4 : 1e8;
    TVec x(9, p), y(9, p), b, xc(4, p);
    for (int i = 0; i < 9; ++i) x[i] = x0 + i, y[i] = 3.0 + 2.0 * i;
    LinRegress(x, y, b);
    EXPECT_EQ(b.FloatPrecision(), p);
    ExpectAllClose({3.0 - 2.0 * x0, 2.0}, b, TolFor(p));
    xc.SetVal(2.5);  // All x equal: D = 0, no error, parameters and V not finite
    TMtx v;
    EXPECT_NO_THROW(LinRegress(xc, Vec({1, 2, 3, 4}, p), b, true, nullptr, nullptr, &v));
    EXPECT_TRUE(std::isnan(b[1]) && !std::isfinite(v(1, 1)));
  }
}

TEST(PRESST, MatchesRAndAlwaysAddsTheIntercept) {
  const TData d = Data();
  // R, leave-one-out refits: d <- data.frame(y, x1, x2, x3)
  //   sum(sapply(1:12, function(i) (y[i] - predict(lm(y ~ ., d[-i, ]), d[i, ]))^2))
  EXPECT_CLOSE(25.459288253912259, PRESS(d.A, d.y), 1e-12);
  // A column of ones in A makes the design singular.
  TMtx ones(12, 2);
  for (int i = 0; i < 12; ++i) ones(i, 0) = 1.0, ones(i, 1) = d.A(i, 0);
  EXPECT_RAISES(PRESS(ones, d.y), "Inv: matrix is singular");
}

TEST(LinearRegressionMessages, TextsAndOrder) {
  const TVec y3 = Vec({1, 2, 3}), y3s = Vec({1, 2, 3}, mvSingle), y2 = Vec({1, 2}), y2s = Vec({1, 2}, mvSingle),
             c = ComplexVec();
  const TMtx A2 = Mtx({{1}, {2}});
  TVec b;
  TRegStats st;
  // Each input breaks the check named and every later one.
  EXPECT_RAISES(MulLinRegress(y3s, A2, b), "MulLinRegress: y.FloatPrecision <> A.FloatPrecision");
  EXPECT_RAISES(MulLinRegress(y3, A2, b), "MulLinRegress: y.Length <> A.Rows");
  EXPECT_RAISES(MulLinRegress(c, ComplexMtx(), b, y3s), "MulLinRegress: Y.Complex or A.Complex");
  EXPECT_RAISES(MulLinRegress(y3, A2, b, y3s), "MulLinRegress: Y.FloatPrecision <> Weights.FloatPrecision");
  // Deliberate: the weighted form compares no lengths; the core refuses short weights itself.
  EXPECT_RAISES(MulLinRegress(y3, Mtx({{1}, {2}, {3}}), b, y2), "Mul: X.Length <> Y.Length");
  EXPECT_RAISES(PRESS(A2, y3), "MulLinRegress: y.Length <> A.Rows");
  // An empty design with INT_MAX columns has no room for the column of ones.
  const TMtx wide(0, std::numeric_limits<int>::max());
  EXPECT_RAISES(MulLinRegress(TVec(), wide, b), "Size: too many elements");
  EXPECT_RAISES(PRESS(wide, TVec()), "Size: too many elements");

  EXPECT_RAISES(LinRegress(y3s, y2, b), "LinRegress : X.Length <> Y.Length");
  EXPECT_RAISES(LinRegress(y3s, y3, b), "LinRegress : X.FloatPrecision <> Y.FloatPrecision");
  EXPECT_RAISES(LinRegress(c, c, b), "LinRegress : X.Complex or Y.Complex");
  EXPECT_RAISES(LinRegress(y3, y3, b, true, &y2), "LinRegress : (Weights.Length <> X.Length)");
  EXPECT_RAISES(LinRegress(y3, y3, b, true, &y3s), "LinRegress : (Weights.FloatPrecision <> X.FloatPrecision)");

  EXPECT_RAISES(RegressTest(y3, y2s, 1, st, true, &y2), "RegressTest: Y.Length <> YCalc.Length");
  EXPECT_RAISES(RegressTest(y3, y3s, 1, st, true, &y2), "RegressTest: Y.FloatPrecision <> YCalc.FloatPrecision");
  EXPECT_RAISES(RegressTest(y3, y3, 1, st, true, &y2), "RegressTest: Weights.Length <> Y.Length");
  EXPECT_RAISES(RegressTest(y3, y3, 1, st, true, &y3s), "RegressTest: Weights.FloatPrecision <> Y.FloatPrecision");
}

TEST(MulLinRegressT, ConcurrentCallsAgreeWithASingleThread) {
  const TData d = Data();
  const auto work = [&](int) {
    TVec b;
    TMtx v;
    MulLinRegress(d.y, d.A, b, d.w, true, nullptr, &v);
    std::vector<double> out = v.ToVector();
    out.insert(out.end(), {b[0], b[3], PRESS(d.A, d.y), double(Kalix::ScratchOutstanding())});
    return out;
  };
  EXPECT_EQ(0, ConcurrentMismatches(work, 4, 200));
}

}  // namespace
