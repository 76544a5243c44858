// Fuzz entries of the StatControlCharts and StatProbPlots namespaces.
#include "FuzzHarness.h"

using namespace KalixFuzz;
using namespace StatControlCharts;
using namespace StatProbPlots;

KALIX_FUZZ_ENTRY(VariablesCharts) {
  const TMtx& m = c.Mtx();
  const TVec& v = c.Vec();
  const double conf = c.Double(), lambda = c.Double(), k = c.Double(), h = c.Double(), mu = c.Double(),
               sigma = c.Double();
  const bool withC = c.Null();
  double cl, ucl, lcl;
  using TChart = void (*)(const TMtx&, TVec&, double&, double&, double&, double);
  c.RunEach<TChart>({{"QCXChart", QCXChart}, {"QCSChart", QCSChart}, {"QCRChart", QCRChart}},
                    [&](TOutputs& o, TChart f) { f(m, o.Vec(0), cl, ucl, lcl, conf), o.Nums(cl, ucl, lcl); });
  FUZZ_RUN(QCMRChart(v, cl, ucl, lcl, conf), o.Nums(cl, ucl, lcl));
  FUZZ_RUN(EWMAChart(m, o.Vec(0), cl, ucl, lcl, lambda, conf), o.Nums(cl, ucl, lcl));
  FUZZ_RUN(EWMAChart(m, o.Vec(0), cl, o.Vec(1), o.Vec(2), lambda, conf), o.Num(cl));
  FUZZ_RUN(QCCumSumChart(m, o.Vec(0), k, h, mu, sigma, withC ? &o.Vec(1) : nullptr, withC ? &o.Vec(2) : nullptr, conf));
}

// Attribute charts, Westgard rules and capability indexes of one series.
KALIX_FUZZ_ENTRY(AttributesAndCapability) {
  const TVec &d = c.Vec(), &sizes = c.Vec();
  const int n = c.Count();
  const double conf = c.Double(), a = c.Double(), b = c.Double(), alpha = c.Double();
  double cl, ucl, lcl;
  using TChart = void (*)(const TVec&, int, TVec&, double&, double&, double&, double);
  using TChartN = void (*)(const TVec&, const TVec&, TVec&, double&, TVec&, TVec&, double);
  c.RunEach<TChart>({{"QCPChart", QCPChart}, {"QCNPChart", QCNPChart}, {"QCUChart", QCUChart}},
                    [&](TOutputs& o, TChart f) { f(d, n, o.Vec(0), cl, ucl, lcl, conf), o.Nums(cl, ucl, lcl); });
  c.RunEach<TChartN>({{"QCPChart(sizes)", QCPChart}, {"QCUChart(sizes)", QCUChart}},
                     [&](TOutputs& o, TChartN f) { f(d, sizes, o.Vec(0), cl, o.Vec(1), o.Vec(2), conf), o.Num(cl); });
  // The per-sample np chart leaves DrawVec as it was (plot the counts themselves).
  FUZZ_RUN(QCNPChart(d, sizes, o.Vec(0, false), o.Vec(1), o.Vec(2), o.Vec(3), conf));
  FUZZ_RUN(QCCChart(d, o.Vec(0), cl, ucl, lcl, conf), o.Nums(cl, ucl, lcl));
  FUZZ_RUN(QCWestgardRules(d, o.Vec(0), a, b));
  c.Run("QCCapIndexes", [&](TOutputs& o) {
    double out, cp, cpk;
    TTwoElmReal cpCI{}, cpkCI{};
    QCCapIndexes(d, a, b, out, cp, cpk, cpCI, cpkCI, alpha), o.Nums(out, cp, cpk), o.Nums(cpCI), o.Nums(cpkCI);
  });
}

KALIX_FUZZ_ENTRY(ProbabilityPlots) {
  const TVec &x = c.Vec(), &y = c.Vec();
  const bool sx = c.Null(), sy = c.Null(), bounds = c.Null();
  double a, b, e, f;
  using TPlot = void (*)(const TVec&, TVec&, TVec&, double&, double&, double&, double&, bool);
  c.RunEach<TPlot>(
      {{"StatQQPlot(normal)", StatQQPlot}, {"StatWeibullPlot", StatWeibullPlot}, {"StatExpPlot", StatExpPlot}},
      [&](TOutputs& o, TPlot p) { p(x, o.Vec(0), o.Vec(1), a, b, e, f, sx), o.Nums(a, b, e, f); });
  FUZZ_RUN(StatNormalPlot(x, o.Vec(0), o.Vec(1), a, b, e, f, bounds ? &o.Vec(2) : nullptr, sx), o.Nums(a, b, e, f));
  FUZZ_RUN(StatQQPlot(x, y, o.Vec(0), o.Vec(1), a, b, e, f, sx, sy), o.Nums(a, b, e, f));
}
