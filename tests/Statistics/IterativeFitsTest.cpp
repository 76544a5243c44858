#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "support/TestSupport.h"

namespace {

using namespace KalixTest;
using namespace Statistics;

// Quantiles at frac(i * golden ratio), i = 1 .. 200 (R: u <- ((1:200) * 0.6180339887498949) %% 1).
TVec GoldenQuantiles(const std::function<double(double)>& q, Kalix::TMtxFloatPrecision p = Kalix::mvDouble) {
  std::vector<double> x;
  for (int i = 1; i <= 200; ++i) {
    const double v = i * 0.6180339887498949;
    x.push_back(q(v - std::floor(v)));
  }
  return Vec(x, p);
}
TVec StudentSample(double df, Kalix::TMtxFloatPrecision p = Kalix::mvDouble) {
  return GoldenQuantiles([df](double u) { return Kalix::StudentCDFInv(u, df); }, p);
}
TVec FSample(double df1, double df2) {
  return GoldenQuantiles([=](double u) { return Kalix::FCDFInv(u, df1, df2); });
}

TEST(IterativeFits, ConvergedFitsTakeTheRoundedOptimum) {
  // R: -sum(dt(x, d, log = TRUE)) over d = 1 .. 2 * start is least at d = 36 for the t(20) sample
  // (start 25) and at the upper bound 130 for the t(40) sample (start 65).
  int df, df1, df2;
  for (const auto p : kRealPrecisions) {
    StudentFit(StudentSample(20, p), df);
    EXPECT_EQ(36, df) << p;
  }
  StudentFit(StudentSample(40), df);
  EXPECT_EQ(130, df);
  // The rounded likelihood is a staircase, so Nelder-Mead stops on a step: from the start
  // (22, 29) it reaches (21, 29), R: -sum(df(y, 21, 29, log = TRUE)) = 104.0587 < 104.0718 at
  // the start (the grid minimum is (22, 28)).
  FFit(FSample(20, 30), df1, df2);
  EXPECT_EQ(21, df1);
  EXPECT_EQ(29, df2);
}

TEST(IterativeFits, OtherStopReasonsKeepTheMomentStart) {
  int df, df1, df2;
  // One iteration cannot converge: the starts come back. R: trunc(2 v/(v - 1)) = 25 for the
  // t(20) sample; for the F(20, 30) sample round(max(2, 2m/(m - 1))) = 29 and
  // round(max(4, k/(q - 1))) = 22.
  StudentFit(StudentSample(20), df, 1, 1e-8);
  EXPECT_EQ(25, df);
  FFit(FSample(20, 30), df1, df2, 1, 1e-8);
  EXPECT_EQ(22, df1);
  EXPECT_EQ(29, df2);
  // Variance below 1: the start is floored at 2 (no iterations: optNotStarted).
  StudentFit(Vec({0.1, -0.2, 0.3, 0.05}), df, 0, 1e-8);
  EXPECT_EQ(2, df);
  // Mean 1 divides by zero and the floor of 2 keeps the infinity (saturated as an integer);
  // empty data give NaN starts.
  FFit(Vec({0.5, 1.5}), df1, df2, 0, 1e-8);
  EXPECT_EQ(2147483647, df2);
  StudentFit(TVec(), df);
  FFit(TVec(), df1, df2);
  EXPECT_EQ(0, Kalix::ScratchOutstanding());
}

TEST(TriangularFit, EstimatesStayInsideTheDataRange) {
  double a, b, c;
  // Start: min, max and 3 mean - min - max = 3 * 3.4 - 1 - 6 = 3.2.
  TriangularFit(Vec({1, 2, 3, 4, 6, 3, 4.8}), a, b, c, 0, 1e-8);
  EXPECT_CLOSE(1.0, a, 1e-12);
  EXPECT_CLOSE(6.0, b, 1e-12);
  EXPECT_CLOSE(3.2, c, 1e-12);
  // A start mode below the minimum (3 * 1.67 - 1 - 5 < 1) is projected onto the range, and so
  // is every later point.
  for (const auto& x : {Vec({1, 1, 1, 1, 1.5, 5, 1.2}), Vec({1, 1, 1, 1, 1, 1, 5}), Vec({1, 2, 3, 4, 6, 3, 4.8})}) {
    TriangularFit(x, a, b, c);
    for (const double v : {a, b, c}) {
      EXPECT_GE(v, Kalix::Min(x));
      EXPECT_LE(v, Kalix::Max(x));
    }
  }
}

}  // namespace
