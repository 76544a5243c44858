#include "support/TestSupport.h"

using namespace Kalix;
using namespace KalixTest;

static_assert(optConverged == 8, "the iterative fits accept only ordinal 8 as convergence");

namespace {

double Rosenbrock(const TVec& p, const TVec&, TObjConsts) {
  const double x = p[0], y = p[1];
  return (1 - x) * (1 - x) + 100 * (y - x * x) * (y - x * x);
}

struct TRun {
  std::vector<double> x;
  double fmin = 0;
  TOptStopReason reason = optNotStarted;
  int iters = 0;
};

TRun Minimise(const TRealFunction& f, std::vector<double> start, std::vector<double> lo = {},
              std::vector<double> hi = {}, int maxIter = 500, TMtxFloatPrecision p = mvDouble,
              std::vector<std::string>* log = nullptr) {
  TRun r;
  r.x = std::move(start);
  if (lo.empty())
    r.iters = Simplex(f, r.x, {}, {}, r.fmin, r.reason, p, maxIter, 1e-8, log);
  else
    r.iters = Simplex(f, r.x, {}, {}, lo, hi, r.fmin, r.reason, p, maxIter, 1e-8, log);
  return r;
}

// Converged to within 1e-6 of x, with the minimum fmin to 1e-12.
void ExpectConverged(const TRun& r, const std::vector<double>& x, double fmin) {
  EXPECT_EQ(r.reason, optConverged);
  for (std::size_t i = 0; i < x.size(); ++i) EXPECT_NEAR(r.x[i], x[i], 1e-6) << "x" << i;
  EXPECT_NEAR(r.fmin, fmin, 1e-12);
}

}  // namespace

TEST(Simplex, RosenbrockUnboundedOnABoundAndJustInsideOne) {
  TRun r = Minimise(Rosenbrock, {-1.2, 1});  // Unbounded: the minimum is (1, 1) with value 0
  ExpectConverged(r, {1, 1}, 0);
  EXPECT_TRUE(r.iters > 0 && r.iters <= 500) << r.iters;
  // x <= 0.5 excludes (1, 1); df/dx < 0 along the bound, so the minimiser is x = 0.5, y = 0.25 with value 0.25.
  // SciPy: minimize(rosen, [-1.2, 1], bounds=[(-2, 0.5), (-2, 2)], method='L-BFGS-B') gives 0.5, 0.2499999949830796,
  // 0.2500000000000025. A start outside the box is projected into it; one on a bound still spans a proper simplex.
  for (double x0 : {-1.2, 3.0, 0.5}) {
    SCOPED_TRACE(x0);
    r = Minimise(Rosenbrock, {x0, 1}, {-2, -2}, {0.5, 2});
    ExpectConverged(r, {0.5, 0.25}, 0.25);
    EXPECT_EQ(r.x[0], 0.5);  // exactly on the bound
  }
  // The minimiser (0.594, 1.9765) sits on the y bound, 0.0118 inside the x bound; projected
  // steps from this start press the simplex flat into the corner (0.6058, 1.9765).
  auto f = [](const TVec& p, const TVec&, TObjConsts) {
    return 0.16 * (p[0] - 0.594) * (p[0] - 0.594) + 0.7 * (p[1] - 2.568) * (p[1] - 2.568);
  };
  r = Minimise(f, {-2.78, 0.35}, {-2.97, -0.185}, {0.6058, 1.9765});
  ExpectConverged(r, {0.594, 1.9765}, 0.7 * (2.568 - 1.9765) * (2.568 - 1.9765));
  EXPECT_EQ(r.x[1], 1.9765);
  // Here the simplex sticks to the lower y bound, 0.0055 below the interior minimiser
  // (1.33, -2.6166), unless it is rebuilt with smaller steps.
  auto g = [](const TVec& p, const TVec&, TObjConsts) {
    return 0.25 * (p[0] - 1.33) * (p[0] - 1.33) + 6.5 * (p[1] + 2.6166) * (p[1] + 2.6166);
  };
  ExpectConverged(Minimise(g, {-0.78, 2}, {-1.53, -2.6221}, {2.97, -1.906}), {1.33, -2.6166}, 0);
}

TEST(Simplex, StopReasonsIterationCountAndNaNRegion) {
  std::vector<std::string> log;
  TRun r = Minimise(Rosenbrock, {-1.2, 1}, {}, {}, 7, mvDouble, &log);
  EXPECT_TRUE(r.reason == optMaxIterReached && r.iters == 7 && log.size() == 7u);
  EXPECT_LT(r.fmin, Rosenbrock(Vec({-1.2, 1}), {}, {}));  // the best vertex, not the start
  r = Minimise(Rosenbrock, {-1.2, 1}, {}, {}, 0);         // MaxIter = 0 makes no iteration; the start is evaluated
  EXPECT_TRUE(r.reason == optNotStarted && r.iters == 0);
  EXPECT_CLOSE(24.2, r.fmin, 1e-14);
  // A start where the objective is not finite is returned as it is.
  r = Minimise([](const TVec& p, const TVec&, TObjConsts) { return std::log(p[0]); }, {-1});
  EXPECT_TRUE(r.reason == optBadStart && r.x[0] == -1 && r.iters == 0 && r.fmin == INF);  // NaN counts as +Inf
  // Defined at the start only: every trial point is NaN.
  auto isolated = [](const TVec& p, const TVec&, TObjConsts) { return p[0] == 2.0 ? 1.0 : std::nan(""); };
  r = Minimise(isolated, {2}, {}, {}, 50);
  EXPECT_TRUE(r.reason == optNaNObjective && r.x[0] == 2 && r.fmin == 1) << r.reason;
  // A box that pins every parameter tries no other point: the start is the minimum.
  r = Minimise(isolated, {2}, {2}, {2}, 50);
  EXPECT_EQ(r.reason, optConverged);
  const TRun a = Minimise(Rosenbrock, {-1.2, 1}), b = Minimise(Rosenbrock, {-1.2, 1});
  EXPECT_TRUE(a.x == b.x && a.iters == b.iters);
  // f = x - 0.2 sqrt(x) + 3 y^2 has its minimum -0.01 at (0.01, 0) and is NaN for x < 0;
  // from (3, 2) the expanding steps towards the minimum overshoot into the NaN region.
  int nanCalls = 0;
  auto f = [&](const TVec& p, const TVec&, TObjConsts) {
    const double v = p[0] - 0.2 * std::sqrt(p[0]) + 3 * p[1] * p[1];
    nanCalls += std::isnan(v);
    return v;
  };
  ExpectConverged(Minimise(f, {3, 2}), {0.01, 0}, -0.01);
  EXPECT_GT(nanCalls, 0);  // the region was visited, and rejected
}

TEST(Simplex, SingleObjectiveGetsSingleParameters) {
  // Quadratic computed in float with data passed as an object constant.
  const TVec centre({0.75, -3.5, 1e-3}, mvSingle);
  std::vector<TDenseKalix*> objs{const_cast<TVec*>(&centre)};
  bool allSingle = true;
  auto f = [&](const TVec& p, const TVec& consts, TObjConsts oc) {
    allSingle = allSingle && p.FloatPrecision() == mvSingle && consts.FloatPrecision() == mvDouble;
    const auto c = oc[0]->Span<float>();
    const auto v = p.Span<float>();
    float s = 0;
    for (std::size_t i = 0; i < 3; ++i) s += (v[i] - c[i]) * (v[i] - c[i]);
    return static_cast<double>(s);
  };
  std::vector<double> x{0, 0, 0};
  const std::vector<double> consts{2.0};
  double fmin;
  TOptStopReason reason;
  Simplex(f, x, consts, objs, fmin, reason, mvSingle);
  EXPECT_TRUE(allSingle && reason == optConverged);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_NEAR(x[i], centre[static_cast<int>(i)], 1e-3);
    EXPECT_EQ(x[i], static_cast<double>(static_cast<float>(x[i])));  // What is returned is the point the objective saw
  }
}

TEST(Simplex, ArgumentChecks) {
  std::vector<double> x{1, 2}, none;
  const std::vector<double> lo{0, 0}, hi{1, 1}, shortB{0}, crossed{0, -1};
  double f;
  TOptStopReason r;
  EXPECT_RAISES(Simplex(Rosenbrock, none, {}, {}, f, r), "Simplex: Pars.Length = 0");
  EXPECT_RAISES(Simplex(Rosenbrock, x, {}, {}, f, r, mvDoubleComplex), "Simplex: FloatPrecision must be mvDouble or mvSingle");
  EXPECT_RAISES(Simplex(Rosenbrock, x, {}, {}, f, r, mvDouble, -1), "Simplex: MaxIter < 0");
  EXPECT_RAISES(Simplex(Rosenbrock, x, {}, {}, f, r, mvDouble, 10, NAN), "Simplex: Tolerance < 0");
  EXPECT_RAISES(Simplex(Rosenbrock, x, {}, {}, shortB, hi, f, r), "Simplex: LowerBounds.Length <> Pars.Length");
  EXPECT_RAISES(Simplex(Rosenbrock, x, {}, {}, lo, shortB, f, r), "Simplex: UpperBounds.Length <> Pars.Length");
  EXPECT_RAISES(Simplex(Rosenbrock, x, {}, {}, lo, crossed, f, r), "Simplex: LowerBounds > UpperBounds");
  // Checks come before anything is evaluated or written.
  EXPECT_EQ(x, (std::vector<double>{1, 2}));
  const std::vector<double> ninf{-INF, -INF}, pinf{INF, INF};  // Infinite bounds are the unbounded problem
  EXPECT_EQ(Minimise(Rosenbrock, {-1.2, 1}, ninf, pinf).x, Minimise(Rosenbrock, {-1.2, 1}).x);
}
