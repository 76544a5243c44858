#include "support/TestSupport.h"

using namespace Kalix;
using namespace KalixTest;

namespace {

double Rosen(const TVec& p, const TVec&, TObjConsts) {
  return (1 - p[0]) * (1 - p[0]) + 100 * (p[1] - p[0] * p[0]) * (p[1] - p[0] * p[0]);
}
void RosenGrad(const TVec& p, const TVec&, TObjConsts, TVec& g) {
  const double x = p[0], y = p[1];
  g.Size(2);  // in the working precision
  g[0] = -2 * (1 - x) - 400 * x * (y - x * x);
  g[1] = 200 * (y - x * x);
}
// Rosenbrock as least squares: r = (10 (y - x^2), 1 - x).
void RosenRes(const TVec& p, const TVec&, TObjConsts, TVec& r) { r = Vec({10 * (p[1] - p[0] * p[0]), 1 - p[0]}); }
void RosenJac(const TVec& p, const TVec&, TObjConsts, TMtx& J) { J = Mtx({{-20 * p[0], 10}, {-1, 0}}); }

enum TWhich { wMarquardt, wMarquardtNumeric, wBFGS, wBFGSNumeric, wConjGrad, wConjGradNumeric };

struct TRun {
  std::vector<double> x;
  double fmin = 0;
  TOptStopReason reason = optNotStarted;
  int iters = 0;
  TMtx invH;
};

TRun Minimise(TWhich w, std::vector<double> start, int maxIter = 5000, TMtxFloatPrecision p = mvDouble,
              std::vector<double> lo = {}, std::vector<double> hi = {}) {
  TRun r;
  r.x = std::move(start);
  const TGradProc grad = (w == wBFGS || w == wConjGrad) ? TGradProc(RosenGrad) : TGradProc();
  const bool bounded = !lo.empty();
  if (w == wMarquardt || w == wMarquardtNumeric)
    r.iters = Marquardt(RosenRes, w == wMarquardt ? TJacobianProc(RosenJac) : TJacobianProc(), r.x, {}, {}, r.fmin,
                        r.reason, &r.invH, p, maxIter);
  else if (w == wBFGS || w == wBFGSNumeric)
    r.iters = bounded ? BFGS(Rosen, grad, r.x, {}, {}, lo, hi, r.fmin, r.reason, &r.invH, p, maxIter)
                      : BFGS(Rosen, grad, r.x, {}, {}, r.fmin, r.reason, &r.invH, p, maxIter);
  else
    r.iters = bounded ? ConjGrad(Rosen, grad, r.x, {}, {}, lo, hi, r.fmin, r.reason, &r.invH, p, maxIter)
                      : ConjGrad(Rosen, grad, r.x, {}, {}, r.fmin, r.reason, &r.invH, p, maxIter);
  return r;
}

bool Stopped(TOptStopReason r) { return r == optConverged || r == optSmallGradient; }

}  // namespace

TEST(GradientOptimisers, RosenbrockFromTheClassicStart) {
  // Minimum (1, 1), value 0. Inverse curvature there, by hand: for least squares
  // (J^T J)^-1 = [[1, 2], [2, 4.01]]; for the function, H^-1 = [[0.5, 1], [1, 2.005]].
  struct TCase {
    TWhich w;
    double tolX;
    std::vector<double> invH;
  };
  const TCase cases[] = {{wMarquardt, 1e-10, {1, 2, 2, 4.01}},   {wMarquardtNumeric, 1e-8, {1, 2, 2, 4.01}},
                         {wBFGS, 1e-5, {0.5, 1, 1, 2.005}},       {wBFGSNumeric, 1e-5, {0.5, 1, 1, 2.005}},
                         {wConjGrad, 1e-4, {0.5, 1, 1, 2.005}},   {wConjGradNumeric, 1e-4, {0.5, 1, 1, 2.005}}};
  for (const TCase& c : cases) {
    SCOPED_TRACE(c.w);
    const TRun r = Minimise(c.w, {-1.2, 1});
    EXPECT_TRUE(Stopped(r.reason) && r.fmin < 1e-8 && r.iters > 5) << r.reason << " " << r.fmin << " " << r.iters;
    EXPECT_NEAR(r.x[0], 1, c.tolX);
    EXPECT_NEAR(r.x[1], 1, 2 * c.tolX);
    ExpectAllClose(c.invH, r.invH, 1e-3 + 10 * c.tolX);
  }
}

TEST(GradientOptimisers, RosenbrockWithABound) {
  // x <= 0.5 excludes (1, 1); the minimiser is (0.5, 0.25), value 0.25 (SciPy: minimize(rosen,
  // [-1.2, 1], bounds=[(-2, 0.5), (-2, 2)], method='L-BFGS-B') gives 0.5, 0.24999999498, 0.25).
  for (TWhich w : {wBFGS, wBFGSNumeric, wConjGrad}) {
    for (double x0 : {-1.2, 3.0}) {
      SCOPED_TRACE(testing::Message() << w << " from " << x0);
      const TRun r = Minimise(w, {x0, 1}, 5000, mvDouble, {-2, -2}, {0.5, 2});
      EXPECT_TRUE(Stopped(r.reason) && r.x[0] == 0.5) << r.reason << " " << r.x[0];
      EXPECT_NEAR(r.x[1], 0.25, 1e-5);
      EXPECT_NEAR(r.fmin, 0.25, 1e-9);
    }
  }
}

TEST(GradientOptimisers, SinglePrecisionStopsAtItsOwnResolution) {
  for (TWhich w : {wMarquardt, wBFGS, wConjGradNumeric}) {
    SCOPED_TRACE(w);
    const TRun r = Minimise(w, {-1.2, 1}, 5000, mvSingle);
    EXPECT_NEAR(r.x[0], 1, 2e-2);
    // The objective saw single values.
    EXPECT_TRUE(r.reason != optMaxIterReached && r.x[0] == double{static_cast<float>(r.x[0])} &&
                r.invH.FloatPrecision() == mvSingle);
  }
}

TEST(GradientOptimisers, StopReasons) {
  for (TWhich w : {wMarquardt, wBFGS, wConjGrad}) {
    SCOPED_TRACE(w);
    TRun r = Minimise(w, {-1.2, 1}, 0);
    EXPECT_TRUE(r.reason == optNotStarted && r.iters == 0 && r.x[0] == -1.2);
    EXPECT_CLOSE(24.2, r.fmin, 1e-14);  // Rosenbrock at the start
    r = Minimise(w, {-1.2, 1}, 2);
    EXPECT_TRUE(r.reason == optMaxIterReached && r.iters == 2 && r.fmin < 24.2);
    r = Minimise(w, {NAN, 1});
    EXPECT_TRUE(r.reason == optBadStart && std::isnan(r.x[0]) && r.invH.Rows() == 2 && std::isnan(r.invH(1, 1)));
  }
  // A residual that turns NaN beyond x = 2 is a failed step, not a result: the fit backs off.
  std::vector<double> x{0.0};
  double fmin = 0;
  TOptStopReason why;
  auto res = [](const TVec& p, const TVec&, TObjConsts, TVec& r) {
    r = Vec({p[0] > 2 ? std::nan("") : p[0] - 1.5, 0.1 * (p[0] - 1.5)});
  };
  Marquardt(res, {}, x, {}, {}, fmin, why);
  EXPECT_EQ(why, optConverged);
  EXPECT_NEAR(x[0], 1.5, 1e-9);
  // A gradient that turns NaN at the first trial step stops BFGS with that reason.
  auto badGrad = [](const TVec& p, const TVec&, TObjConsts, TVec& g) { g = Vec({p[0] == 0 ? 1 : NAN}); };
  x = {0.0};
  BFGS([](const TVec& p, const TVec&, TObjConsts) { return p[0]; }, badGrad, x, {}, {}, fmin, why);
  EXPECT_EQ(why, optNaNObjective);
}

TEST(GradientOptimisers, ArgumentChecks) {
  std::vector<double> none, one{1.0}, two{1.0, 2.0};
  double f;
  TOptStopReason why;
  EXPECT_RAISES(Marquardt(RosenRes, {}, none, {}, {}, f, why), "Marquardt: Pars is empty");
  EXPECT_RAISES(Marquardt(RosenRes, {}, two, {}, {}, f, why, nullptr, mvDouble, -1), "Marquardt: MaxIter < 0");
  EXPECT_RAISES(Marquardt(RosenRes, {}, two, {}, {}, f, why, nullptr, mvDouble, 5, -1e-3),
                "Marquardt: Tolerance < 0");
  std::vector<double> three{1, 2, 3};
  EXPECT_RAISES(Marquardt(RosenRes, {}, three, {}, {}, f, why), "Marquardt: fewer residuals than parameters");
  EXPECT_RAISES(BFGS(Rosen, {}, none, {}, {}, f, why), "BFGS: Pars is empty");
  EXPECT_RAISES(ConjGrad(Rosen, {}, two, {}, {}, f, why, nullptr, mvDouble, -1), "ConjGrad: MaxIter < 0");
  EXPECT_RAISES(BFGS(Rosen, {}, two, {}, {}, f, why, nullptr, mvDouble, 5, NAN), "BFGS: Tolerance < 0");
  const std::vector<double> lo{0, 0}, hi{1, 1}, shortHi{1}, crossed{1, -1};
  EXPECT_RAISES(BFGS(Rosen, {}, two, {}, {}, lo, shortHi, f, why), "BFGS: bounds do not match Pars");
  EXPECT_RAISES(ConjGrad(Rosen, {}, two, {}, {}, lo, crossed, f, why), "ConjGrad: LowerBounds > UpperBounds");
  EXPECT_RAISES(BFGS(Rosen, RosenGrad, one, {}, {}, f, why), "Values: index out of range");
}
