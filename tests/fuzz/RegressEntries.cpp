// Fuzz entries of the Regress and RegModels namespaces.
#include "FuzzHarness.h"

using namespace KalixFuzz;
using namespace Regress;
using namespace RegModels;

namespace {
void Stats(TOutputs& o, const TRegStats& s) {
  o.Nums(s.SSE, s.SST, s.SSR, s.ResidualVar, s.R2, s.AdjustedR2, s.StdError, s.dfE, s.dfT);
}
}  // namespace

KALIX_FUZZ_ENTRY(MulLinRegress) {
  const TVec& y = c.Vec();
  const TMtx& a = c.Mtx();
  const TVec& w = c.Vec();
  const bool constant = c.Bool(), optional = c.Null();
  const auto method = c.Enum<TRegSolveMethod>(3);
  c.Run("MulLinRegress", [&](TOutputs& o) {
    MulLinRegress(y, a, o.Vec(0), constant, optional ? nullptr : &o.Vec(1), optional ? nullptr : &o.Mtx(0), method);
  });
  c.Run("MulLinRegress(weights)", [&](TOutputs& o) {
    MulLinRegress(y, a, o.Vec(0), w, constant, optional ? nullptr : &o.Vec(1), optional ? nullptr : &o.Mtx(0),
                  method);
  });
  FUZZ_RUN(o.Num(PRESS(a, y)));
  FUZZ_RUN(MulLinFit(o.Vec(0), a, y, constant, optional ? nullptr : &w));
}

KALIX_FUZZ_ENTRY(RegressTest) {
  const TVec &y = c.Vec(), &yc = c.Vec(), &w = c.Vec();
  const TMtx& v = c.Mtx();
  const int np = c.Count();
  const bool constant = c.Bool(), weighted = c.Null();
  TRegStats s{};
  FUZZ_RUN(RegressTest(y, yc, np, s, constant, weighted ? &w : nullptr), Stats(o, s));
  FUZZ_RUN(RegressTest(y, yc, v, s, o.Vec(0), o.Vec(1), constant, weighted ? &w : nullptr), Stats(o, s));
}

KALIX_FUZZ_ENTRY(Anova) {
  const TMtx& m = c.Mtx();
  const TVec& x = c.Vec();
  const TVecInt &g = c.Bool() ? c.VecInt(-1, 6) : c.VecInt(0, 2147483647);
  const double alpha = c.Double();
  const int reps = c.Bool() ? c.Int(-1, 4) : c.Count();
  double p = 0, pc = 0, pi = 0;
  FUZZ_RUN(o.Doubles(ANOVA1(m, p, alpha)), o.Num(p));
  FUZZ_RUN(o.Doubles(ANOVA1(x, g, p, alpha)), o.Num(p));
  FUZZ_RUN(o.Doubles(ANOVA2(m, p, pc, pi, reps, alpha)), o.Nums(p, pc, pi));
}

KALIX_FUZZ_ENTRY(ModelEval) {
  const TVec &b = c.Vec(), &x = c.Vec();
  const TMtx& a = c.Mtx();
  const double x0 = c.Double();
  const int deg = c.Count();
  const bool flag = c.Bool();
  // The span forms read B as doubles: a double copy of the (maybe single) coefficients.
  std::vector<double> bd;
  if (!b.Complex()) bd = b.ToVector();
  FUZZ_RUN(o.Num(LineEval(bd, x0)), LineEval(bd, x, o.Vec(0)), LineEval(b, x, o.Vec(1)));
  FUZZ_RUN(o.Num(PowerEval(bd, x0)), PowerEval(bd, x, o.Vec(0)), PowerEval(b, x, o.Vec(1)));
  FUZZ_RUN(o.Num(ExpEval(bd, x0)), ExpEval(bd, x, o.Vec(0)), ExpEval(b, x, o.Vec(1)));
  FUZZ_RUN(o.Num(LnEval(bd, x0)), LnEval(bd, x, o.Vec(0)), LnEval(b, x, o.Vec(1)));
  FUZZ_RUN(o.Num(LogisticEval(bd, x0, flag)), LogisticEval(bd, x, o.Vec(0), flag), LogisticEval(b, x, o.Vec(1), flag));
  c.Run("FracEval", [&](TOutputs& o) {
    o.Num(FracEval(bd, x0, deg, flag)), o.Num(FracEval(b, x0, deg, flag));
    FracEval(bd, x, o.Vec(0), deg, flag), FracEval(b, x, o.Vec(1), deg, flag);
  });
  FUZZ_RUN(o.Num(MulLinEval(bd, x, flag)), MulLinEval(bd, a, o.Vec(0), flag));
}

// The straight line and the model fits of y on x.
KALIX_FUZZ_ENTRY(LineAndModelFits) {
  const TVec &x = c.Vec(), &y = c.Vec(), &w = c.Vec();
  const bool weighted = c.Null(), flag = c.Bool();
  const int nd = c.Int(-1, 4), dd = c.Int(-1, 4);
  const TVec* pw = weighted ? &w : nullptr;
  FUZZ_RUN(LinRegress(x, y, o.Vec(0), flag, pw, &o.Vec(1), &o.Mtx(0)));
  FUZZ_RUN(o.Num(R2(x, y)));
  FUZZ_RUN(LineFit(o.Vec(0), x, y, pw));
  // Deliberate: PowerFit's own checks raise the runtime's general exception.
  // Deliberate: the log fits keep B when no point has a logarithm, so B is not compared.
  c.Run("PowerFit", [&](TOutputs& o) { PowerFit(o.Vec(0, false), x, y, pw); }, true);
  FUZZ_RUN(ExpFit(o.Vec(0, false), x, y, pw));
  FUZZ_RUN(LnFit(o.Vec(0, false), x, y, pw));
  FUZZ_RUN(LogisticFit(o.Vec(0), x, y, flag, pw));
  FUZZ_RUN(FracFit(o.Vec(0), x, y, nd, dd, flag, pw));
}

KALIX_FUZZ_ENTRY(ModelDeriv) {
  const TRegressFun f = [](std::span<const double>, double) { return 0.0; };
  const double x = c.Double(), y = c.Double(), p0 = c.Double(), p1 = c.Double();
  const auto prec = c.AnyPrecision();
  const std::size_t np = c.Byte() % 3;
  const double pars[] = {p0, p1};
  const std::span<const double> ps(pars, np);
  FUZZ_RUN(LineDeriv(f, x, y, ps, o.Vec(0), prec));
  // Deliberate: the power gradient keeps the precision Grad had, so it is not compared.
  FUZZ_RUN(PowerDeriv(f, x, y, ps, o.Vec(0, false)));
  FUZZ_RUN(ExpDeriv(f, x, y, ps, o.Vec(0), prec));
}
