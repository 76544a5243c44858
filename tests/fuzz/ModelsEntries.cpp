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

void Glm(TOutputs& o, const TGLMStats& s) {
  o.Nums(s.Deviance, s.NullDeviance, s.LogLik, s.AIC, s.dfResidual, s.dfNull, s.Iterations, s.Converged);
}

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

KALIX_FUZZ_ENTRY(BiasedRegression) {
  const TVec& y = c.Vec();
  const TMtx& a = c.Mtx();
  const TVec& w = c.Vec();
  const double k = c.Double();
  const int comps = c.Count();
  const bool flag = c.Bytes().Bool(), optional = c.Null();
  c.Run("RidgeRegress", [&](TOutputs& o) { RidgeRegress(y, a, k, o.Vec(0), flag); });
  double opt = 0;
  c.Run("RidgeOptimalk", [&](TOutputs& o) { RidgeOptimalk(y, a, opt = k), o.Num(opt); });
  c.Run("PCRegress", [&](TOutputs& o) {
    PCRegress(y, a, o.Vec(0), optional ? nullptr : &o.Vec(1), flag ? nullptr : &o.Vec(2), comps);
  });
  c.Run("PCRegress(weights)", [&](TOutputs& o) {
    PCRegress(y, a, o.Vec(0), w, optional ? nullptr : &o.Vec(1), flag ? nullptr : &o.Vec(2), comps);
  });
}

KALIX_FUZZ_ENTRY(NonlinearRegression) {
  const TVec& x = c.Vec();
  const TVec& y = c.Vec();
  const TVec& b0 = c.Vec();
  const TVec& w = c.Vec();
  const int kind = c.Bytes().Int(0, 3), maxIter = c.Bytes().Bool() ? c.Bytes().Int(-1, 40) : c.Count();
  const double tol = c.Bytes().Bool() ? c.Double() : 1e-10, x0 = c.Double(), y0 = c.Double();
  const bool central = c.Bytes().Bool(), optional = c.Null(), weighted = c.Null(), analytic = c.Null();
  const auto prec = c.AnyPrecision();
  if (maxIter > 1000) return;  // iterations are the caller's to bound
  const TRegressFun f = [kind](std::span<const double> b, double t) { return Model(kind, b, t); };
  const TDeriveProc d = [](const TRegressFun& g, double t, double v, std::span<const double> p, TVec& grad) {
    NumericDerive(g, t, v, p, grad, true, grad.FloatPrecision());
  };
  const std::vector<double> pars = b0.Complex() ? std::vector<double>{} : b0.ToVector();
  c.Run("NLinRegress", [&](TOutputs& o) {
    TVec& b = o.Vec(0);
    b = b0;  // start in, estimate out
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
        NumericDerive(f, x0, y0, pars, o.Vec(0), central, prec);
        MultiNumericDerive(f, x, pars, o.Mtx(0), central);
      },
      kind == 3);
}

KALIX_FUZZ_ENTRY(GeneralizedLinear) {
  const TVec& y = c.Vec();
  const TMtx& a = c.Mtx();
  const TVec& extra = c.Vec();
  const bool constant = c.Bytes().Bool(), optional = c.Null(), withExtra = c.Null();
  const int maxIter = c.Bytes().Bool() ? c.Bytes().Int(-1, 30) : c.Count();
  const double tol = c.Bytes().Bool() ? c.Double() : 1e-8;
  if (maxIter > 1000) return;
  using TGlm = void (*)(const TVec&, const TMtx&, TVec&, TGLMStats&, TVec*, TVec*, TVec*, Kalix::TMtx*, TVec*, bool,
                        const TVec*, int, double);
  const TGlm fit = c.Bytes().Bool() ? TGlm(LogisticRegress) : TGlm(PoissonRegress);
  c.Run("LogisticRegress, PoissonRegress", [&](TOutputs& o) {
    TGLMStats s{};
    TVec* v[4] = {};
    for (int i = 0; i < 4; ++i) v[i] = optional ? nullptr : &o.Vec(i + 1);
    fit(y, a, o.Vec(0), s, v[0], v[1], v[2], optional ? nullptr : &o.Mtx(0), v[3], constant,
        withExtra ? &extra : nullptr, maxIter, tol);
    Glm(o, s);
  });
}

// Rosenbrock in every coordinate pair, shifted by the constants; NaN below -5 in the first one.
KALIX_FUZZ_ENTRY(GradientOptimisers) {
  const TVec& start = c.RealVec();
  const TVec& lo = c.RealVec();
  const TVec& hi = c.RealVec();
  const int maxIter = c.Bytes().Bool() ? c.Bytes().Int(-1, 60) : c.Count(), residuals = c.Bytes().Int(0, 6);
  const double tol = c.Bytes().Bool() ? c.Double() : 1e-8;
  const auto prec = c.AnyPrecision();
  const bool analytic = c.Bytes().Bool(), withH = c.Null(), bounded = c.Bytes().Bool();
  if (start.Length() > 12 || maxIter > 1000) return;  // dense Hessians: the caller bounds the size
  const auto value = [](const Kalix::TVec& p, int i) { return p.Length() > i ? p[i] : 0.0; };
  const Kalix::TRealFunction fun = [&](const Kalix::TVec& p, const Kalix::TVec&, TObjConsts) {
    double s = value(p, 0) < -5 ? std::numeric_limits<double>::quiet_NaN() : 0.0;
    for (int i = 0; i + 1 < p.Length(); ++i) s += 100 * std::pow(p[i + 1] - p[i] * p[i], 2) + std::pow(1 - p[i], 2);
    return s + value(p, 0) * value(p, 0);
  };
  const Kalix::TGradProc grad = [&](const Kalix::TVec& p, const Kalix::TVec&, TObjConsts, Kalix::TVec& g) {
    std::vector<double> d(static_cast<std::size_t>(p.Length()), 0.0);
    for (int i = 0; i + 1 < p.Length(); ++i) {
      const auto k = static_cast<std::size_t>(i);
      d[k] += -400 * p[i] * (p[i + 1] - p[i] * p[i]) - 2 * (1 - p[i]);
      d[k + 1] += 200 * (p[i + 1] - p[i] * p[i]);
    }
    if (p.Length() > 0) d[0] += 2 * p[0];
    g = TVec(d, Kalix::mvDouble);
  };
  const Kalix::TResidualProc res = [&](const Kalix::TVec& p, const Kalix::TVec&, TObjConsts, Kalix::TVec& r) {
    r.Size(residuals, Kalix::mvDouble);
    for (int i = 0; i < residuals; ++i) r[i] = value(p, i % std::max(p.Length(), 1)) * (i + 1) - std::exp(-i);
  };
  const std::vector<double> l = lo.ToVector(), h = hi.ToVector();
  double fmin = 0;
  Kalix::TOptStopReason why{};
  const auto record = [&](TOutputs& o, int iters) { o.Nums(iters, fmin, why); };
  const auto run = [&](const char* name, const std::function<int(std::span<double>, Kalix::TMtx*)>& f) {
    c.Run(name, [&](TOutputs& o) {
      TVec& p = o.Vec(0);
      p = TVec(start.ToVector(), Kalix::mvDouble);  // the optimisers work on a span of doubles
      record(o, f(std::span<double>(p.data(), p.size()), withH ? &o.Mtx(0) : nullptr));
    });
  };
  const Kalix::TGradProc g = analytic ? grad : Kalix::TGradProc{};
  run("Marquardt", [&](std::span<double> p, Kalix::TMtx* H) {
    return Kalix::Marquardt(res, {}, p, {}, {}, fmin, why, H, prec, maxIter, tol);
  });
  run("BFGS", [&](std::span<double> p, Kalix::TMtx* H) {
    return bounded ? Kalix::BFGS(fun, g, p, {}, {}, l, h, fmin, why, H, prec, maxIter, tol)
                   : Kalix::BFGS(fun, g, p, {}, {}, fmin, why, H, prec, maxIter, tol);
  });
  run("ConjGrad", [&](std::span<double> p, Kalix::TMtx* H) {
    return bounded ? Kalix::ConjGrad(fun, g, p, {}, {}, l, h, fmin, why, H, prec, maxIter, tol)
                   : Kalix::ConjGrad(fun, g, p, {}, {}, fmin, why, H, prec, maxIter, tol);
  });
}
