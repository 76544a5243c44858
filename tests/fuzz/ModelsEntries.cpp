// Fuzz entries of the biased, nonlinear and generalised linear regressions and the gradient
// optimisers.
#include <cmath>
#include <limits>
#include <stdexcept>

#include "FuzzHarness.h"

using namespace KalixFuzz;
using namespace Regress;
using Kalix::TObjConsts;

namespace {

// Models of the nonlinear fits: smooth, with poles, NaN in a region, and one that raises there.
double Model(int kind, std::span<const double> b, double x) {
  const double b0 = b[0], b1 = b.size() > 1 ? b[1] : 1.0;
  switch (kind) {
    case 0: return b0 * std::exp(-b1 * x);
    case 1: return (b0 + b1 * x) / (1 + b0 * x * x);
    case 2: return std::sqrt(b0) * x + b1;
    default:
      if (b0 < 0) throw std::runtime_error("model undefined");
      return b0 * std::log1p(b1 * x * x);
  }
}

}  // namespace

KALIX_FUZZ_ENTRY(NonlinearRegression) {
  const TVec &x = c.Vec(), &y = c.Vec(), &b0 = c.Vec(), &w = c.Vec();
  const int kind = c.Int(0, 3), maxIter = c.Bool() ? c.Int(-1, 40) : c.Count();
  const double tol = c.Bool() ? c.Double() : 1e-10, x0 = c.Double(), y0 = c.Double();
  const bool central = c.Bool(), optional = c.Null(), weighted = c.Null(), analytic = c.Null();
  const auto prec = c.AnyPrecision();
  if (maxIter > 1000) return;  // iterations are the caller's to bound
  const TRegressFun f = [kind](std::span<const double> b, double t) { return Model(kind, b, t); };
  const TDeriveProc d = [](const TRegressFun& g, double t, double v, std::span<const double> p, TVec& grad) {
    NumericDerive(g, t, v, p, grad, true, grad.FloatPrecision());
  };
  const std::vector<double> pars = b0.Complex() ? std::vector<double>{} : b0.ToVector();
  c.Run("NLinRegress", [&](TOutputs& o) {
    TVec& b = o.Vec(0) = b0;  // start in, estimate out
    TNLinStats s{};
    NLinRegress(x, y, f, b, s, optional ? nullptr : &o.Vec(1), optional ? nullptr : &o.Mtx(0),
                optional ? nullptr : &o.Vec(2), analytic ? d : TDeriveProc{}, weighted ? &w : nullptr, maxIter, tol,
                central);
    o.Nums(s.SSE, s.ResidualVar, s.dfE, s.Iterations, s.StopReason);
  });
  // The model may raise here: the derivatives do not catch what it throws.
  c.Run(
      "NumericDerive",
      [&](TOutputs& o) {
        NumericDerive(f, x0, y0, pars, o.Vec(0), central, prec), MultiNumericDerive(f, x, pars, o.Mtx(0), central);
      },
      kind == 3);
}

// Ridge, principal-component and generalised linear regressions of y on a (extra: weights,
// trials or offsets).
KALIX_FUZZ_ENTRY(BiasedAndGeneralizedLinear) {
  const TVec& y = c.Vec();
  const TMtx& a = c.Mtx();
  const TVec& extra = c.Vec();
  const double k = c.Double();
  const int comps = c.Count();
  const bool constant = c.Bool(), optional = c.Null(), withExtra = c.Null();
  const int maxIter = c.Bool() ? c.Int(-1, 30) : c.Count();
  const double tol = c.Bool() ? c.Double() : 1e-8;
  FUZZ_RUN(RidgeRegress(y, a, k, o.Vec(0), constant));
  double opt = 0;
  FUZZ_RUN(RidgeOptimalk(y, a, opt = k), o.Num(opt));
  FUZZ_RUN(PCRegress(y, a, o.Vec(0), optional ? nullptr : &o.Vec(1), withExtra ? nullptr : &o.Vec(2), comps));
  FUZZ_RUN(PCRegress(y, a, o.Vec(0), extra, optional ? nullptr : &o.Vec(1), withExtra ? nullptr : &o.Vec(2), comps));
  if (maxIter > 1000) return;
  using TGlm = void (*)(const TVec&, const TMtx&, TVec&, TGLMStats&, TVec*, TVec*, TVec*, Kalix::TMtx*, TVec*, bool,
                        const TVec*, int, double);
  const TGlm fit = c.Bool() ? TGlm(LogisticRegress) : TGlm(PoissonRegress);
  c.Run("LogisticRegress, PoissonRegress", [&](TOutputs& o) {
    TGLMStats s{};
    const auto v = [&](int i) { return optional ? nullptr : &o.Vec(i); };
    fit(y, a, o.Vec(0), s, v(1), v(2), v(3), optional ? nullptr : &o.Mtx(0), v(4), constant,
        withExtra ? &extra : nullptr, maxIter, tol);
    o.Nums(s.Deviance, s.NullDeviance, s.LogLik, s.AIC, s.dfResidual, s.dfNull, s.Iterations, s.Converged);
  });
}

// Rosenbrock in every coordinate pair plus p0^2; NaN below -5 in the first coordinate.
KALIX_FUZZ_ENTRY(GradientOptimisers) {
  const TVec &start = c.RealVec(), &lo = c.RealVec(), &hi = c.RealVec();
  const int maxIter = c.Bool() ? c.Int(-1, 60) : c.Count(), residuals = c.Int(0, 6);
  const double tol = c.Bool() ? c.Double() : 1e-8;
  const auto prec = c.AnyPrecision();
  const bool analytic = c.Bool(), withH = c.Null(), bounded = c.Bool();
  if (start.Length() > 12 || maxIter > 1000) return;  // dense Hessians: the caller bounds the size
  const auto at = [](const TVec& p, int i) { return p.Length() > i ? p[i] : 0.0; };
  const Kalix::TRealFunction fun = [&](const TVec& p, const TVec&, TObjConsts) {
    double s = at(p, 0) < -5 ? std::numeric_limits<double>::quiet_NaN() : at(p, 0) * at(p, 0);
    for (int i = 0; i + 1 < p.Length(); ++i) s += 100 * std::pow(p[i + 1] - p[i] * p[i], 2) + std::pow(1 - p[i], 2);
    return s;
  };
  const Kalix::TGradProc grad = [&](const TVec& p, const TVec&, TObjConsts, TVec& g) {
    std::vector<double> d(static_cast<std::size_t>(p.Length()), 0.0);
    for (int i = 0; i + 1 < p.Length(); ++i) {
      const double x = p[i], e = p[i + 1] - x * x;
      const auto k = static_cast<std::size_t>(i);
      d[k] += -400 * x * e - 2 * (1 - x), d[k + 1] += 200 * e;
    }
    if (!d.empty()) d[0] += 2 * p[0];
    g = TVec(d);
  };
  const Kalix::TResidualProc res = [&](const TVec& p, const TVec&, TObjConsts, TVec& r) {
    r.Size(residuals, Kalix::mvDouble);
    for (int i = 0; i < residuals; ++i) r[i] = at(p, i % std::max(p.Length(), 1)) * (i + 1) - std::exp(-i);
  };
  const std::vector<double> l = lo.ToVector(), h = hi.ToVector();
  const Kalix::TGradProc g = analytic ? grad : Kalix::TGradProc{};
  double fmin = 0;
  Kalix::TOptStopReason why{};
  // The optimisers work on a span of doubles: the start is copied into an output.
  using TOpt = std::function<int(std::span<double>, Kalix::TMtx*)>;
  const auto run = [&](const char* name, const TOpt& f, bool hessian = true) {
    c.Run(name, [&](TOutputs& o) {
      TVec& p = o.Vec(0) = TVec(start.ToVector());
      fmin = 0, why = {};
      const int iters = f(std::span<double>(p.data(), p.size()), withH && hessian ? &o.Mtx(0) : nullptr);
      o.Nums(iters, fmin, why);
    });
  };
  run("Marquardt",
      [&](auto p, auto H) { return Kalix::Marquardt(res, {}, p, {}, {}, fmin, why, H, prec, maxIter, tol); });
  run("BFGS", [&](auto p, auto H) {
    return bounded ? Kalix::BFGS(fun, g, p, {}, {}, l, h, fmin, why, H, prec, maxIter, tol)
                   : Kalix::BFGS(fun, g, p, {}, {}, fmin, why, H, prec, maxIter, tol);
  });
  run("ConjGrad", [&](auto p, auto H) {
    return bounded ? Kalix::ConjGrad(fun, g, p, {}, {}, l, h, fmin, why, H, prec, maxIter, tol)
                   : Kalix::ConjGrad(fun, g, p, {}, {}, fmin, why, H, prec, maxIter, tol);
  });
  run(
      "Simplex",
      [&](auto p, auto) {
        return bounded ? Kalix::Simplex(fun, p, {}, {}, l, h, fmin, why, prec, maxIter, tol)
                       : Kalix::Simplex(fun, p, {}, {}, fmin, why, prec, maxIter, tol);
      },
      false);
}
