// One-way and two-way analysis of variance against R's anova(lm(...)) / aov.

#include "support/TestSupport.h"

namespace {

using namespace KalixTest;
using namespace Regress;

// Field order is part of the interface: designated initialisers must follow it.
// clang-format off
[[maybe_unused]] constexpr TANOVA1Result kOrder1{.SS1 = 0, .SS2 = 0, .SSTotal = 0, .Deg1 = 0, .Deg2 = 0, .DegTotal = 0,
                                                 .MS1 = 0, .MS2 = 0, .FDist = 0, .FCrit = 0};
[[maybe_unused]] constexpr TANOVA2Result kOrder2{.SS1 = 0, .SS2 = 0, .SS3 = 0, .SS4 = 0, .SSTotal = 0,
                                                 .Deg1 = 0, .Deg2 = 0, .Deg3 = 0, .Deg4 = 0, .DegTotal = 0,
                                                 .MS1 = 0, .MS2 = 0, .MS3 = 0, .MS4 = 0,
                                                 .FDist1 = 0, .FDist2 = 0, .FDist3 = 0, .FCrit1 = 0, .FCrit2 = 0, .FCrit3 = 0};
// clang-format on

TEST(Anova1T, UnbalancedIndexedGroupsMatchRAndAlphaSetsFCrit) {
  // R: u <- c(3.1, 2.8, 3.6, 3.3, 4.2, 4.0, 3.7, 4.5, 4.1, 3.9, 2.5, 2.9, 3.0, 2.2, 2.7)
  //    ug <- factor(c(rep(0, 4), rep(1, 6), rep(2, 5))); anova(lm(u ~ ug))
  // The groups are interleaved here: the layout must not matter.
  const double u[] = {3.1, 2.8, 3.6, 3.3, 4.2, 4.0, 3.7, 4.5, 4.1, 3.9, 2.5, 2.9, 3.0, 2.2, 2.7};
  const int grp[] = {0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2};
  const int order[] = {10, 0, 4, 11, 5, 1, 12, 6, 2, 7, 13, 8, 3, 14, 9};
  TVec x(15);
  TVecInt g(15);
  for (int i = 0; i < 15; ++i) x[i] = u[order[i]], g[i] = grp[order[i]];
  double p;
  const TANOVA1Result r = ANOVA1(x, g, p, 0.10);
  // R: the same columns and Pr(>F); qf(0.90, 2, 12)
  ExpectAllClose({5.5479999999999992, 1.1253333333333335, 29.580568720379137, 2.8067956057324182},
                 {r.SS1, r.SS2, r.FDist, r.FCrit}, 1e-11);
  EXPECT_CLOSE(2.299482924096449e-05, p, 1e-8);
}

TEST(Anova1T, FDecisionBranchesMissingGroupAndSingleOffset) {
  double p = -1;
  TANOVA1Result r = ANOVA1(Mtx({{1, 2}, {3, 2}, {2, 2}}), p);  // Equal group means: SSB = 0 gives F = 0 and p = 1
  ExpectAllClose({0, 0, 1}, {r.SS1, r.FDist, p}, 0);
  r = ANOVA1(Mtx({{1, 4, 7}, {1, 4, 7}}), p);  // No spread inside the groups but different means: F = Inf, p = 0
  ExpectAllClose({36, 0, Kalix::INF, 0}, {r.SS1, r.SS2, r.FDist, p}, 1e-14);
  // Group 1 never occurs: its mean is NaN, and so is SSB; k - 1 = 2 still counts it.
  r = ANOVA1(Vec({1, 2, 3, 4}), TVecInt({0, 0, 2, 2}), p);
  ExpectAllClose({NAN, NAN, 2, 1}, {r.SS1, r.FDist, r.Deg1, r.Deg2}, 0);
  // Single groups 1000 +- 0.25 and 1001 +- 0.25: naive float sums of 5e6 would round the group means.
  TVec x(10000, mvSingle);
  TVecInt g(10000);
  for (int i = 0; i < 10000; ++i) g[i] = i % 2, x[i] = 1000.0 + g[i] + ((i / 2) % 2 ? 0.25 : -0.25);
  r = ANOVA1(x, g, p);
  ExpectAllClose({2500, 625}, {r.SS1, r.SS2}, 1e-5);  // exact: n * 0.5^2 and n * 0.25^2
}

TEST(Anova2T, WithoutReplicationMatchesRAndLeavesInteractionNaN) {
  // R: d <- matrix(c(12.1, 14.3, 13.0, 11.4, 13.9, 12.2, 13.8, 15.6, 14.1, 10.9, 12.8, 12.5), 4, byrow = TRUE)
  //    yy <- as.vector(t(d)); R <- factor(rep(1:4, each = 3)); C <- factor(rep(1:3, 4)); anova(aov(yy ~ R + C))
  const TMtx d = Mtx({{12.1, 14.3, 13.0}, {11.4, 13.9, 12.2}, {13.8, 15.6, 14.1}, {10.9, 12.8, 12.5}});
  double pr, pc, pi = 0.5;
  const TANOVA2Result r = ANOVA2(d, pr, pc, pi, 1);
  // R: Sum Sq of R, C and Residuals; sum((yy - mean(yy))^2); Mean Sq of Residuals
  ExpectAllClose(
      {10.136666666666665, 8.8799999999999724, 0.77333333333333321, 19.789999999999999, 0.77333333333333321 / 6},
      {r.SS1, r.SS2, r.SS4, r.SSTotal, r.MS4}, 1e-12);
  EXPECT_EQ((std::vector<double>{3, 2, 6, 11}), (std::vector<double>{r.Deg1, r.Deg2, r.Deg4, r.DegTotal}));
  // Deliberate product form F = SS * (SSE/dfE) / df, not R's ratio (26.2 and 34.4 here).
  // R: Fr <- ssr*(sse/6)/3; Fc <- ssc*(sse/6)/2; pf(c(Fr, Fc), c(3, 2), 6, lower = FALSE); qf(0.95, c(3, 2), 6)
  ExpectAllClose({0.43550123456790107, 0.5722666666666647, 0.73564028431226713, 0.59228693214315853, 4.7570626630894148,
                  5.1432528497847176},
                 {r.FDist1, r.FDist2, pr, pc, r.FCrit1, r.FCrit2}, 1e-10);
  ExpectAllClose({NAN, NAN, NAN, NAN, NAN, 0}, {r.SS3, r.Deg3, r.MS3, r.FDist3, r.FCrit3, pi}, 0);
  // Identical replicates, column effect only: zero error decides each effect by its spread.
  const TANOVA2Result z = ANOVA2(Mtx({{1, 5}, {1, 5}, {1, 5}, {1, 5}}), pr, pc, pi, 2);
  ExpectAllClose({0, 0, 1, Kalix::INF, 0, 0, 1}, {z.SS4, z.FDist1, pr, z.FDist2, pc, z.FDist3, pi}, 0);
}

TEST(Anova2T, WithReplicationsMatchesR) {
  // R: r <- matrix(c(5.1, 6.3, 7.2, 4.8, 6.9, 7.0, 5.5, 6.1, 7.9, 6.0, 5.2, 9.1, 6.4, 5.9, 8.6,
  //    5.7, 5.5, 8.8), 6, byrow = TRUE); yr <- as.vector(t(r)); R <- factor(rep(1:2, each = 9))
  //    C <- factor(rep(1:3, 6)); anova(aov(yr ~ R * C))
  for (TMtxFloatPrecision p : kRealPrecisions) {
    const TMtx d = Mtx({{5.1, 6.3, 7.2}, {4.8, 6.9, 7.0}, {5.5, 6.1, 7.9}, {6.0, 5.2, 9.1}, {6.4, 5.9, 8.6},
                        {5.7, 5.5, 8.8}},
                       p);
    double pr, pc, pi;
    const TANOVA2Result r = ANOVA2(d, pr, pc, pi, 3);
    const double tol = p == mvSingle ? 1e-5 : 1e-12;
    ExpectAllClose({1.0755555555555534, 21.947777777777784, 4.5811111111111078, 1.6600000000000019,
                    29.264444444444447, 4.5811111111111078 / 2},
                   {r.SS1, r.SS2, r.SS3, r.SS4, r.SSTotal, r.MS3}, tol);
    EXPECT_EQ((std::vector<double>{1, 2, 2, 12}), (std::vector<double>{r.Deg1, r.Deg2, r.Deg3, r.Deg4}));
    // R: product-form F of each effect with sse/12; pf(F, df, 12, lower = FALSE); qf(0.95, 2, 12)
    ExpectAllClose(
        {0.31686018518518533, 0.70644994525697491, 0.25838936775191951, 0.73434461631032322, 3.885293834652392},
        {r.FDist3, pr, pc, pi, r.FCrit3}, p == mvSingle ? 1e-5 : 1e-10);
  }
}

TEST(Anova1T, GroupNumberBeyondTheDataMeansAnEmptyGroupNotAnAllocation) {
  // Groups 0 .. M, M >= 2, from two values: NaN sums, SST = 0.5, dfB = M, without sizing by M (once 31 GiB).
  for (int M : {2, 536870910, 2147483647}) {
    for (TMtxFloatPrecision prec : kRealPrecisions) {
      double p = 0;
      const TANOVA1Result r = ANOVA1(Vec({1, 2}, prec), TVecInt({M, 0}), p);
      EXPECT_TRUE(std::isnan(r.SS1) && std::isnan(r.SS2) && std::isnan(p)) << M;
      ExpectAllClose({0.5, double(M), 1.0 - M}, {r.SSTotal, r.Deg1, r.Deg2}, 0);
    }
  }
}

TEST(AnovaMessages, TextsAndOrder) {
  double p, pr, pc, pi = 0.5;
  EXPECT_RAISES(ANOVA1(ComplexMtx(), p), "ANOVA1: Data.Complex");
  EXPECT_RAISES(ANOVA1(ComplexVec(), TVecInt({0, 1}, Kalix::prInt16), p), "ANOVA1: Data.Complex or GroupIndex.Complex");
  EXPECT_RAISES(ANOVA1(Vec({1, 2, 3}), TVecInt({0, 1}, Kalix::prInt16), p), "ANOVA1: Data.Length <> GroupIndex.Length");
  EXPECT_RAISES(ANOVA1(Vec({1, 2}), TVecInt({0, 1}, Kalix::prInt16), p), "ANOVA1: GroupIndex.IntPrecision <> prInt32");
  EXPECT_RAISES(ANOVA1(Vec({1, 2, 3, 4, 5, 6}), TVecInt({0, 9, 1, 40, 2, -1}), p), "ANOVA1: GroupIndex < 0");
  // Deliberate: the remainder comes first, so Replications = 0 fails as a division by zero.
  EXPECT_RAISES(ANOVA2(ComplexMtx(), pr, pc, pi, 0), "Division by zero");
  EXPECT_EQ(pi, 0.0);  // set before the checks
  EXPECT_RAISES(ANOVA2(ComplexMtx(), pr, pc, pi, 3), "ANOVA2: (Data.Rows mod Replications) <> 0");
  EXPECT_RAISES(ANOVA2(ComplexMtx(), pr, pc, pi, -1), "ANOVA2: Replications <= 0");
  EXPECT_RAISES(ANOVA2(ComplexMtx(), pr, pc, pi, 2), "ANOVA2: Data.Complex = true");
}

}  // namespace
