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
  c.Run("QCXChart", [&](TOutputs& o) { QCXChart(m, o.Vec(0), cl, ucl, lcl, conf), o.Nums(cl, ucl, lcl); });
  c.Run("QCSChart", [&](TOutputs& o) { QCSChart(m, o.Vec(0), cl, ucl, lcl, conf), o.Nums(cl, ucl, lcl); });
  c.Run("QCRChart", [&](TOutputs& o) { QCRChart(m, o.Vec(0), cl, ucl, lcl, conf), o.Nums(cl, ucl, lcl); });
  c.Run("QCMRChart", [&](TOutputs& o) { QCMRChart(v, cl, ucl, lcl, conf), o.Nums(cl, ucl, lcl); });
  c.Run("EWMAChart", [&](TOutputs& o) { EWMAChart(m, o.Vec(0), cl, ucl, lcl, lambda, conf), o.Nums(cl, ucl, lcl); });
  c.Run("EWMAChart(per sample)",
        [&](TOutputs& o) { EWMAChart(m, o.Vec(0), cl, o.Vec(1), o.Vec(2), lambda, conf), o.Num(cl); });
  c.Run("QCCumSumChart", [&](TOutputs& o) {
    QCCumSumChart(m, o.Vec(0), k, h, mu, sigma, withC ? &o.Vec(1) : nullptr, withC ? &o.Vec(2) : nullptr, conf);
  });
}

KALIX_FUZZ_ENTRY(AttributesCharts) {
  const TVec& d = c.Vec();
  const TVec& sizes = c.Vec();
  const int n = c.Count();
  const double conf = c.Double();
  double cl, ucl, lcl;
  c.Run("QCPChart", [&](TOutputs& o) { QCPChart(d, n, o.Vec(0), cl, ucl, lcl, conf), o.Nums(cl, ucl, lcl); });
  c.Run("QCPChart(sizes)", [&](TOutputs& o) { QCPChart(d, sizes, o.Vec(0), cl, o.Vec(1), o.Vec(2), conf), o.Num(cl); });
  c.Run("QCNPChart", [&](TOutputs& o) { QCNPChart(d, n, o.Vec(0), cl, ucl, lcl, conf), o.Nums(cl, ucl, lcl); });
  // The per-sample np chart leaves DrawVec as it was (plot the counts themselves).
  c.Run("QCNPChart(sizes)",
        [&](TOutputs& o) { QCNPChart(d, sizes, o.Vec(0, false), o.Vec(1), o.Vec(2), o.Vec(3), conf); });
  c.Run("QCUChart", [&](TOutputs& o) { QCUChart(d, n, o.Vec(0), cl, ucl, lcl, conf), o.Nums(cl, ucl, lcl); });
  c.Run("QCUChart(sizes)", [&](TOutputs& o) { QCUChart(d, sizes, o.Vec(0), cl, o.Vec(1), o.Vec(2), conf), o.Num(cl); });
  c.Run("QCCChart", [&](TOutputs& o) { QCCChart(d, o.Vec(0), cl, ucl, lcl, conf), o.Nums(cl, ucl, lcl); });
}

KALIX_FUZZ_ENTRY(WestgardCapability) {
  const TVec& d = c.Vec();
  const double a = c.Double(), b = c.Double(), alpha = c.Double();
  c.Run("QCWestgardRules", [&](TOutputs& o) { QCWestgardRules(d, o.Vec(0), a, b); });
  c.Run("QCCapIndexes", [&](TOutputs& o) {
    double out, cp, cpk;
    Statistics::TTwoElmReal cpCI{}, cpkCI{};
    QCCapIndexes(d, a, b, out, cp, cpk, cpCI, cpkCI, alpha);
    o.Nums(out, cp, cpk, cpCI[0], cpCI[1], cpkCI[0], cpkCI[1]);
  });
}

KALIX_FUZZ_ENTRY(ProbabilityPlots) {
  const TVec& x = c.Vec();
  const TVec& y = c.Vec();
  const bool sx = c.Null(), sy = c.Null(), bounds = c.Null();
  double a, b, e, f;
  const auto limits = [&](TOutputs& o) { o.Nums(a, b, e, f); };
  c.Run("StatNormalPlot", [&](TOutputs& o) {
    StatNormalPlot(x, o.Vec(0), o.Vec(1), a, b, e, f, bounds ? &o.Vec(2) : nullptr, sx), limits(o);
  });
  c.Run("StatQQPlot", [&](TOutputs& o) { StatQQPlot(x, y, o.Vec(0), o.Vec(1), a, b, e, f, sx, sy), limits(o); });
  c.Run("StatQQPlot(normal)", [&](TOutputs& o) { StatQQPlot(x, o.Vec(0), o.Vec(1), a, b, e, f, sx), limits(o); });
  c.Run("StatWeibullPlot", [&](TOutputs& o) { StatWeibullPlot(x, o.Vec(0), o.Vec(1), a, b, e, f, sx), limits(o); });
  c.Run("StatExpPlot", [&](TOutputs& o) { StatExpPlot(x, o.Vec(0), o.Vec(1), a, b, e, f, sx), limits(o); });
}
