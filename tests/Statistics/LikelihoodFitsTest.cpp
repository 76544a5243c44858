#include "StatisticsTest.h"

namespace {

constexpr double kTolMLE = 1e-6;  // Iterative estimates with a tight tolerance against R's exact maximum
// In single precision the Weibull a = scale^-b carries b ln(scale) times the error of b.
constexpr double kTolMLESingle = 1e-2;

// Lieblein & Zelen (1956): millions of revolutions to failure of 23 deep-groove ball bearings.
const std::vector<double> kBearings{17.88, 28.92, 33.00,  41.52,  42.12,  45.60,  48.48, 51.84,
                                    51.96, 54.12, 55.56,  67.80,  68.64,  68.64,  68.88, 84.12,
                                    93.12, 98.64, 105.12, 105.84, 127.92, 128.04, 173.40};

// frac(i * golden ratio), i = 1 .. n: evenly spread deterministic values.
std::vector<double> Golden(int n) { return Frac(n, 0.6180339887498949); }
std::vector<double> Proportions() {  // u * 0.9 + 0.05 over 40 values
  auto u = Golden(40);
  for (double& v : u) v = v * 0.9 + 0.05;
  return u;
}
std::vector<double> Exponentials() {  // -2 ln u over 500 values
  auto u = Golden(500);
  for (double& v : u) v = -2 * std::log(v);
  return u;
}
const std::vector<double> kCauchyData{1.2, 0.8, 3.5, 2.2, 0.4, 1.9, 2.7, 1.1, 14.0, -6.5, 2.05};

using TFit2 = std::function<void(const TVec&, double&, double&, int, double)>;
const TFit2 kBeta = [](const TVec& x, double& a, double& b, int it, double tol) { BetaFit(x, a, b, it, tol); };
const TFit2 kGamma = [](const TVec& x, double& a, double& b, int it, double tol) { GammaFit(x, a, b, it, tol); };
const TFit2 kWeibull = [](const TVec& x, double& a, double& b, int it, double tol) { WeibullFit(x, a, b, it, tol); };
const TFit2 kCauchy = [](const TVec& x, double& a, double& b, int it, double tol) { CauchyFit(x, a, b, it, tol); };

TEST(LikelihoodFits, ComplexDataRaiseTheirOwnTexts) {
  const TVec c = ComplexVec();
  double a, b;
  int k;
  TTwoElmReal ci1, ci2;
  EXPECT_RAISES(BetaFit(c, a, b), "BetaFit: X.Complex=True");
  EXPECT_RAISES(BetaFit(c, a, b, ci1, ci2), "BetaFit: X.Complex = True");
  EXPECT_RAISES(GammaFit(c, a, b), "GammaFit: X.Complex=True");
  EXPECT_RAISES(GammaFit(c, a, b, ci1, ci2), "GammaFit : X.Complex = True");
  EXPECT_RAISES(WeibullFit(c, a, b, ci1, ci2), "WeibullFit: X.Complex=True");
  EXPECT_RAISES(CauchyFit(c, a, b), "CauchyFit: X.Complex=True");
  EXPECT_RAISES(CauchyFit(c, a, b, ci1, ci2), "CauchyFit: X.Complex = True");
  EXPECT_RAISES(StudentFit(c, k), "StudentFit: X.Complex=True");
  EXPECT_RAISES(FFit(c, k, k), "FFit: X.Complex = True");
  EXPECT_RAISES(TriangularFit(c, a, b, b), "TriangularFit: X.Complex=True");
  // The optimiser's own checks pass through.
  EXPECT_RAISES(GammaFit(Vec(kBearings), a, b, 500, kNaN), "Simplex: Tolerance < 0");
  EXPECT_RAISES(WeibullFit(Vec(kBearings), a, b, -1, 1e-8), "Simplex: MaxIter < 0");
}

TEST(WeibullFit, PlainFormFitsTheRealPartsOfComplexData) {
  TVec c(static_cast<int>(kBearings.size()), Kalix::mvDoubleComplex);
  for (int i = 0; i < c.Length(); ++i) c.Values(i) = kBearings[static_cast<std::size_t>(i)];
  double a, b, ar, br;
  WeibullFit(c, a, b);
  WeibullFit(Vec(kBearings), ar, br);
  EXPECT_EQ((std::vector<double>{ar, br}), (std::vector<double>{a, b}));
}

struct TMLECase {
  const char* name;
  TFit2 fit;
  std::vector<double> data;
  double a, b;
};

TEST(LikelihoodFits, EstimatesMatchRWithATightTolerance) {
  // R: Gamma and Weibull from their profile equations by uniroot (agreeing with MASS::fitdistr to its 1e-5), Weibull a
  // = lambda^-k; Beta and Cauchy by Newton on the score equations from MASS::fitdistr's estimate.
  const std::vector<TMLECase> cases{
      {"gamma bearings", kGamma, kBearings, 4.0254146179294903, 17.942089121551465},
      {"weibull bearings", kWeibull, kBearings, 9.5149416369565148e-05, 2.1020588751946203},
      {"beta", kBeta, Proportions(), 1.5312886225796423, 1.5708959495305619},
      {"cauchy", kCauchy, kCauchyData, 1.6932980298932705, 0.89182131432426592},
  };
  for (const auto& c : cases) {
    double a, b;
    c.fit(Vec(c.data), a, b, 5000, 1e-14);
    EXPECT_CLOSE(c.a, a, kTolMLE) << c.name;
    EXPECT_CLOSE(c.b, b, kTolMLE) << c.name;
    c.fit(Vec(c.data, mvSingle), a, b, 5000, 1e-14);
    EXPECT_NEAR(1.0, a / c.a, kTolMLESingle) << c.name << " single";
    EXPECT_NEAR(1.0, b / c.b, kTolMLESingle) << c.name << " single";
  }
}

TEST(LikelihoodFits, NoIterationsReturnTheStart) {
  // R: mean(x)^2/var(x), var(x)/mean(x); g1 <- prod(u^(1/n)), g2 <- prod((1-u)^(1/n)),
  // 0.5*(1-g2)/(1-g1-g2), 0.5*(1-g1)/(1-g1-g2); median(x), max(0.2, sd(x)/10);
  // cf <- coef(lm(log(log(1/(1-p))) ~ sort(log(x)))) at p = (0:(n-1) + 0.5)/n, exp(cf[1]/cf[2]), cf[2]
  const std::vector<TMLECase> cases{
      {"gamma", kGamma, kBearings, 3.7116460664951609, 19.458845625948133},
      {"beta", kBeta, Proportions(), 1.7012880975200073, 1.7446014584655325},
      {"cauchy", kCauchy, kCauchyData, 1.9, 0.47363152152471671},
      {"weibull", kWeibull, kBearings, 0.012327077548841712, 2.3013018575482591},
  };
  for (const auto& c : cases) {
    double a, b;
    c.fit(Vec(c.data), a, b, 0, 1e-8);
    EXPECT_CLOSE(c.a, a, 1e-12) << c.name;
    EXPECT_CLOSE(c.b, b, 1e-12) << c.name;
  }
  // Constant data: the Cauchy scale starts at 0.2 and stays at or above machine epsilon.
  double m, s;
  CauchyFit(Vec({3, 3, 3, 3}), m, s, 0, 1e-8);
  EXPECT_EQ(0.2, s);
  CauchyFit(Vec({3, 3, 3, 3}), m, s);
  EXPECT_EQ(3.0, m);
  EXPECT_GE(s, 2.220446049250313e-16);
}

TEST(BetaLike, ValueAndStandardErrors) {
  const TVec u = Vec(Proportions());
  Kalix::TDenseKalix* data[] = {const_cast<TVec*>(&u)};
  TTwoElmReal se{};
  // R: -sum(dbeta(u, 2, 3, log = TRUE)); forward-difference scores J (h = sqrt(.Machine$double.eps)),
  // sqrt(diag(solve(crossprod(J))))
  EXPECT_CLOSE(5.4120283243213567, BetaLike(Vec({2, 3}), TVec(), data), 1e-12);
  EXPECT_CLOSE(5.4120283243213567, BetaLike(Vec({2, 3}), TVec(), data, se), 1e-12);
  ExpectAllClose({0.4033453570589684, 0.40742149628074453}, {se[0], se[1]}, 1e-6);
  // Outside the support the per-element value stands: a zero density costs +Inf.
  const TVec out = Vec({0.2, 1.5, 0.4});
  Kalix::TDenseKalix* outData[] = {const_cast<TVec*>(&out)};
  EXPECT_EQ(std::numeric_limits<double>::infinity(), BetaLike(Vec({2, 3}), TVec(), outData));
  EXPECT_TRUE(std::isnan(BetaLike(Vec({-1, 3}), TVec(), data)));
  EXPECT_RAISES(BetaLike(Vec({2, 3}), TVec(), {}), "NegLogLike: ObjConsts[0] is not the data");
}

TEST(LikelihoodFits, WaldIntervalsFromScoreStandardErrors) {
  // R: estimate -+ qnorm(.975) * se with se from the forward-difference score matrix at R's
  // exact estimate (h = sqrt(.Machine$double.eps)).
  double a, b;
  TTwoElmReal aCI, bCI;
  GammaFit(Vec(kBearings), a, b, aCI, bCI, 5000, 1e-14, 0.05);
  ExpectAllClose({1.5135177561371451, 6.5373114797218355, 6.4372991425519608, 29.446879100550969},
                 {aCI[0], aCI[1], bCI[0], bCI[1]}, 1e-5);
  WeibullFit(Vec(kBearings), a, b, aCI, bCI, 5000, 1e-14, 0.05);
  ExpectAllClose({1.3046331333011476, 2.8994846170880928}, {bCI[0], bCI[1]}, 1e-5);
  EXPECT_NEAR(-0.00026507835915392922, aCI[0], 1e-9);  // absolute: a is of order 1e-4
  EXPECT_NEAR(0.00045537719189305947, aCI[1], 1e-9);
  for (const auto& fit : std::vector<std::function<void()>>{
           [&] { BetaFit(Vec(Proportions()), a, b, aCI, bCI, 500, 1e-10, 0.1); },
           [&] { CauchyFit(Vec(kCauchyData), a, b, aCI, bCI, 500, 1e-10, 0.1); },
           [&] { GammaFit(Vec(Exponentials(), mvSingle), a, b, aCI, bCI, 500, 1e-10, 0.1); }}) {
    fit();
    EXPECT_TRUE(aCI[0] < a && a < aCI[1] && bCI[0] < b && b < bCI[1]);
  }
}

TEST(LikelihoodFits, ConcurrentCallsAgree) {
  const TVec bearings = Vec(kBearings), props = Vec(Proportions());
  EXPECT_EQ(0, ConcurrentMismatches([&](int t) {
              double a, b;
              TTwoElmReal aCI, bCI;
              t % 2 == 0 ? WeibullFit(bearings, a, b, aCI, bCI) : BetaFit(props, a, b, aCI, bCI);
              return std::vector<double>{a, b, aCI[0], bCI[1], double(Kalix::ScratchOutstanding())};
            }));
}

// Quantiles at the first 200 golden-ratio points.
TVec StudentSample(double df, TMtxFloatPrecision p = mvDouble) {
  auto u = Golden(200);
  for (double& v : u) v = Kalix::StudentCDFInv(v, df);
  return Vec(u, p);
}
TVec FSample(double df1, double df2) {
  auto u = Golden(200);
  for (double& v : u) v = Kalix::FCDFInv(v, df1, df2);
  return Vec(u);
}

TEST(IterativeFits, DegreesOfFreedomAtTheRoundedOptimumOrTheMomentStart) {
  int df, df1, df2, dfs;
  // R: -sum(dt(x, d, log = TRUE)) over d = 1 .. 2 * start is least at d = 36 for the t(20) sample
  // (start 25) and at the upper bound 130 for the t(40) sample (start 65).
  StudentFit(StudentSample(20), df);
  StudentFit(StudentSample(20, mvSingle), dfs);
  EXPECT_EQ((std::vector<int>{36, 36}), (std::vector<int>{df, dfs}));
  StudentFit(StudentSample(40), df);
  EXPECT_EQ(130, df);
  // The rounded likelihood is a staircase, so Nelder-Mead stops on a step: from the start (22, 29) it reaches (21, 29),
  // R: -sum(df(y, 21, 29, log = TRUE)) = 104.0587 < 104.0718 at the start (the grid minimum is (22, 28)).
  FFit(FSample(20, 30), df1, df2);
  EXPECT_EQ((std::vector<int>{21, 29}), (std::vector<int>{df1, df2}));
  // One iteration cannot converge: the starts come back. R: trunc(2 v/(v - 1)) = 25 for the t(20) sample; for the F(20,
  // 30) sample round(max(2, 2m/(m - 1))) = 29 and round(max(4, k/(q - 1))) = 22.
  StudentFit(StudentSample(20), df, 1, 1e-8);
  FFit(FSample(20, 30), df1, df2, 1, 1e-8);
  EXPECT_EQ((std::vector<int>{25, 22, 29}), (std::vector<int>{df, df1, df2}));
  // Variance below 1: the start is floored at 2 (no iterations: optNotStarted). Mean 1 divides
  // by zero and the floor of 2 keeps the infinity (saturated as an integer).
  StudentFit(Vec({0.1, -0.2, 0.3, 0.05}), df, 0, 1e-8);
  FFit(Vec({0.5, 1.5}), df1, df2, 0, 1e-8);
  EXPECT_EQ((std::vector<int>{2, 2147483647}), (std::vector<int>{df, df2}));
  // Empty data give NaN starts, and no failure.
  StudentFit(TVec(), df);
  FFit(TVec(), df1, df2);
}

TEST(TriangularFit, EstimatesStayInsideTheDataRange) {
  double a, b, c;
  // Start: min, max and 3 mean - min - max = 3 * 3.4 - 1 - 6 = 3.2.
  TriangularFit(Vec({1, 2, 3, 4, 6, 3, 4.8}), a, b, c, 0, 1e-8);
  ExpectAllClose({1, 6, 3.2}, {a, b, c}, 1e-12);
  // A start mode below the minimum (3 * 1.67 - 1 - 5 < 1) is projected onto the range, and so is every later point.
  for (const auto& x : {Vec({1, 1, 1, 1, 1.5, 5, 1.2}), Vec({1, 1, 1, 1, 1, 1, 5}), Vec({1, 2, 3, 4, 6, 3, 4.8})}) {
    TriangularFit(x, a, b, c);
    for (const double v : {a, b, c}) EXPECT_TRUE(v >= Kalix::Min(x) && v <= Kalix::Max(x)) << v;
  }
  TriangularFit(Vec({0.2, kNaN, 0.7}), a, b, c);
  ExpectAllClose({kNaN, kNaN, kNaN}, {a, b, c}, 0);
}

}  // namespace
