// Fuzz entries of the hypothesis tests, the distribution fits and principal components.
#include "FuzzHarness.h"

using namespace KalixFuzz;
using namespace Statistics;

namespace {
// By reference: read after the call that fills them, whatever order the arguments are evaluated in.
void Test(TOutputs& o, double stat, const THypothesisResult& h, const double& signif, const TTwoElmReal& ci) {
  o.Num(stat), o.Num(h), o.Num(signif), o.Num(ci[0]), o.Num(ci[1]);
}
}  // namespace

// Location, rank and dispersion tests of x (and y, or the columns of groups).
KALIX_FUZZ_ENTRY(LocationDispersionTests) {
  const TVec &x = c.Vec(), &y = c.Vec();
  const TMtx& groups = c.Mtx();
  const double m = c.Double(), sigma = c.Double(), alpha = c.Bool() ? c.Double() : 0.05;
  const auto h = c.Enum<THypothesisType>(3);
  const bool flag = c.Bool();
  THypothesisResult r = hrNotReject;
  double s = 0;
  // ConfInt of the sign and rank-sum tests is deliberately not written: start it from zeros.
  TTwoElmReal ci{};
  FUZZ_RUN(ci = {}, Test(o, tTest(x, m, r, s, ci, h, alpha), r, s, ci));
  FUZZ_RUN(ci = {}, Test(o, tTest(x, y, r, s, ci, flag, h, alpha), r, s, ci));
  FUZZ_RUN(ci = {}, Test(o, ZTest(x, m, sigma, r, s, ci, h, alpha), r, s, ci));
  FUZZ_RUN(ci = {}, Test(o, SignTest(x, m, r, s, ci, h, alpha), r, s, ci));
  FUZZ_RUN(ci = {}, Test(o, SignTest(x, y, r, s, ci, h, alpha), r, s, ci));
  FUZZ_RUN(ci = {}, Test(o, WilcoxonSign(x, m, r, s, ci, h, alpha), r, s, ci));
  FUZZ_RUN(ci = {}, Test(o, WilcoxonSign(x, y, r, s, ci, h, alpha), r, s, ci));
  FUZZ_RUN(ci = {}, Test(o, MannWhitneyTest(x, y, r, s, ci, h, alpha, flag), r, s, ci));
  double rs = 0;
  FUZZ_RUN(ci = {}, SpearmanRankCorr(x, y, rs, r, s, ci, h, alpha), Test(o, rs, r, s, ci));
  FUZZ_RUN(Test(o, FTest(x, y, r, s, ci, h, alpha), r, s, ci));
  FUZZ_RUN(ChiSquareTest(x, sigma, r, s, ci, h, alpha), Test(o, 0, r, s, ci));
  FUZZ_RUN(GrubbsTest(x, r, s, ci, h, alpha), Test(o, 0, r, s, ci));
  int k = 0;
  FUZZ_RUN(BartlettTest(groups, k, o.Vec(0), alpha), o.Num(k));
}

KALIX_FUZZ_ENTRY(RankDistributions) {
  const int n1 = c.Count(), n2 = c.Bool() ? c.Count() : c.Int(0, 3000);
  const double u = c.Bool() ? c.Double() : c.Int(-1, 4000000);
  FUZZ_RUN(o.Num(MannWCDF1(n1, n2, u)));
}

// The closed-form and the likelihood fits of x (n: binomial trials; pars: beta parameters).
KALIX_FUZZ_ENTRY(DistributionFits) {
  const TVec &x = c.Vec(), &n = c.Vec(), &pars = c.Vec();
  const double alpha = c.Bool() ? c.Double() : 0.05, trials = c.Double();
  const int maxIter = c.Bool() ? c.Int(-1, 60) : 500;
  const double tol = c.Bool() ? c.Double() : 1e-8;
  using TFit = void (*)(const TVec&, double&, double&, TTwoElmReal&, TTwoElmReal&, int, double, double);
  static const TFit kFits[] = {BetaFit, GammaFit, WeibullFit, CauchyFit};
  const TFit fit = kFits[c.Byte() % 4];
  double a = 0, b = 0;
  int k = 0;
  TTwoElmReal ci1{}, ci2{};
  const auto two = [&](TOutputs& o) { o.Num(a), o.Num(b), o.Num(ci1[0]), o.Num(ci1[1]), o.Num(ci2[0]), o.Num(ci2[1]); };
  // Intervals a fit keeps as written start from zeros in both runs.
  const auto run = [&](const char* name, const std::function<void()>& f) {
    c.Run(name, [&](TOutputs& o) { a = b = 0, k = 0, ci1 = ci2 = {}, f(), two(o), o.Num(k); });
  };
  run("NormalFit", [&] { NormalFit(x, a, b), NormalFit(x, a, b, ci1, ci2, alpha); });
  run("LogNormalFit", [&] { LogNormalFit(x, a, b), LogNormalFit(x, a, b, ci1, ci2, alpha); });
  run("ExponentFit", [&] { ExponentFit(x, a), ExponentFit(x, b, ci1, alpha); });
  run("PoissonFit", [&] { PoissonFit(x, a), PoissonFit(x, b, ci1, alpha); });
  run("GeometricFit", [&] { GeometricFit(x, a), GeometricFit(x, b, ci1, alpha); });
  run("UniformFit", [&] { UniformFit(x, a, b), UniformFit(x, a, b, ci1, ci2, alpha); });
  run("UniformDFit", [&] { UniformDFit(x, k), UniformDFit(x, k, ci1, alpha); });
  run("RayleighFit", [&] { RayleighFit(x, a), RayleighFit(x, b, ci1, alpha); });
  run("InverseGaussianFit", [&] { InverseGaussianFit(x, a, b), InverseGaussianFit(x, a, b, ci1, ci2, alpha); });
  run("LaplaceFit", [&] { LaplaceFit(x, a, b); });
  run("LogisticFit", [&] { LogisticFit(x, a, b); });
  run("NegBinomFit", [&] { NegBinomFit(x, a, b); });
  run("MaxwellFit", [&] { MaxwellFit(x, a); });
  run("ChiSquareFit", [&] { ChiSquareFit(x, k); });
  run("ErlangFit", [&] { ErlangFit(x, k, a); });
  run("BinomFit", [&] { BinomFit(x, k, a); });
  c.Run("BinomFit(vectors)", [&](TOutputs& o) {
    BinomFit(x, trials, o.Vec(0));
    BinomFit(x, n, o.Vec(1));
    BinomFit(x, trials, o.Vec(2), o.Vec(3), o.Vec(4), alpha);
  });
  double m = 0;
  int d1 = 0, d2 = 0, d3 = 0;
  a = b = 0, ci1 = ci2 = {};
  FUZZ_RUN(fit(x, a, b, ci1, ci2, maxIter, tol, alpha), o.Nums(a, b, ci1[0], ci1[1], ci2[0], ci2[1]));
  c.Run("BetaLike", [&](TOutputs& o) {
    Kalix::TDenseKalix* data[] = {const_cast<TVec*>(&x)};
    TTwoElmReal se{};
    o.Num(BetaLike(pars, TVec(), data)), o.Num(BetaLike(pars, TVec(), data, se)), o.Num(se[0]), o.Num(se[1]);
  });
  FUZZ_RUN(StudentFit(x, d1, maxIter, tol), FFit(x, d2, d3, maxIter, tol), o.Nums(d1, d2, d3));
  FUZZ_RUN(TriangularFit(x, a, b, m, maxIter, tol), o.Nums(a, b, m));
}

KALIX_FUZZ_ENTRY(PrincipalComponents) {
  const TMtx& m = c.Mtx();
  const auto mode = c.Enum<TPCAMode>(3);
  const bool pct = c.Null();
  FUZZ_RUN(PCA(m, o.Mtx(0), o.Vec(0), pct ? nullptr : &o.Vec(1)));
  FUZZ_RUN(PCA(m, o.Mtx(0), o.Mtx(1), o.Vec(0), pct ? nullptr : &o.Vec(1), mode));
}
