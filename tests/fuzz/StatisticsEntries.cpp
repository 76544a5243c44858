// Fuzz entries of the Statistics namespace.
#include "FuzzHarness.h"

using namespace KalixFuzz;
using namespace Statistics;

// Percentiles, ranks, means and moments of one sample.
KALIX_FUZZ_ENTRY(Summaries) {
  const TVec& x = c.Vec();
  const double p = c.Double(), q = c.Double(), pc = c.Double(), mu = c.Double();
  const auto m = c.Enum<TPercentileMethod>(5);
  const int i = c.Count(), n = c.Count(), order = c.Count();
  FUZZ_RUN(o.Num(Percentile(x, p, m)));
  FUZZ_RUN(const double ps[] = {p, q, 0.5}; double r[3] = {}; Percentile(x, ps, r, m), o.Nums(r[0], r[1], r[2]));
  FUZZ_RUN(o.Num(InterQuartile(x, m)));
  double t = 0;
  FUZZ_RUN(Ranks(o.Vec(0) = x, o.Vec(1)));
  // Deliberate: empty X leaves Result as it was.
  FUZZ_RUN(TiedRanks(x, o.Vec(0, x.Length() > 0), t), o.Num(t));
  FUZZ_RUN(o.Num(MeanG(x)));
  FUZZ_RUN(o.Num(MeanH(x)));
  FUZZ_RUN(o.Num(MeanT(x, pc)));
  FUZZ_RUN(o.Num(Mode(x)));
  FUZZ_RUN(o.Num(Mode(x, i, n)));
  FUZZ_RUN(o.Num(Moment(x, mu, order)));
}

KALIX_FUZZ_ENTRY(Covariance) {
  const bool biased = c.Bool();
  const Kalix::TDenseKalix &x = c.Dense(), &y = c.Dense();
  const TVec& v = c.Vec();
  const TMtx& m = c.Mtx();
  double r = 0, t = 0;
  FUZZ_RUN(Covariance(v, r, biased), o.Num(r));
  FUZZ_RUN(Covariance(x, y, o.Mtx(0), biased));
  FUZZ_RUN(Covariance(m, o.Mtx(0), biased));
  FUZZ_RUN(CorrCoef(x, y, o.Mtx(0)));
  FUZZ_RUN(CorrCoef(x, y, o.Mtx(0), t), o.Num(t));
  FUZZ_RUN(CorrCoef(m, o.Mtx(0)));
  FUZZ_RUN(RangeRows(m, o.Vec(0)));
  FUZZ_RUN(RangeCols(m, o.Vec(0)));
  FUZZ_RUN(o.Num(CronbachAlpha(m)));
}

KALIX_FUZZ_ENTRY(MatrixUtils) {
  const int n = c.Int(-2, 12), index = c.Count();
  const auto prec = c.AnyPrecision();
  const TVec& mul = c.Vec();
  const bool withMul = c.Null();
  const TVec& levels = c.Vec();
  const TMtx& m = c.Mtx();
  const Kalix::TDenseKalix& d = c.Dense();
  FUZZ_RUN(FullFactDesign(n, o.Mtx(0), prec, withMul ? &mul : nullptr));
  c.Run("FullFactDesign(levels)", [&](TOutputs& o) {
    if (Kalix::Product(levels) > 1e5) return;  // keep each run short; the row check is tested
    FullFactDesign(levels, o.Mtx(0));
  });
  // Deliberate: the last count keeps what sizing left for constant data, so it is not compared.
  FUZZ_RUN(Unique(d, o.Vec(0), withMul ? &o.VecInt(0, false) : nullptr));
  FUZZ_RUN(RemoveRow(m, o.Mtx(0), index));
  FUZZ_RUN(RemoveColumn(m, o.Mtx(0), index));
}

// Welch's t, Kendall's tau, Kruskal-Wallis and the exact rank-sum test with ties on x and y,
// then histograms of x (bin edges y).
KALIX_FUZZ_ENTRY(HistogramsAndTwoSampleTests) {
  const TVec &x = c.Vec(), &y = c.Vec();
  const TVecInt& g = c.VecInt();
  const auto h = c.Enum<THypothesisType>(3);
  const int nb = c.Bool() ? c.Int(-1, 50) : c.Count();
  const bool centres = c.Bool();
  const double lo = c.Double(), hi = c.Double(), alpha = c.Double();
  const TVec& bins = y;
  c.Run("tTestWelch", [&](TOutputs& o) {
    double df = 0;
    TTwoElmReal ci{};
    o.Test([&](auto& r, auto& p) { return tTestWelch(x, y, r, p, ci, df, h, alpha); });
    o.Nums(df, ci[0], ci[1]);
  });
  FUZZ_RUN(double tau = 0; o.Test([&](auto& r, auto& p) { return KendallTau(x, y, tau, r, p, h, alpha), tau; }));
  FUZZ_RUN(o.Test([&](auto& r, auto& p) { return KruskalWallis(x, g, r, p, alpha); }));
  FUZZ_RUN(o.Test([&](auto& r, auto& p) { return MannWhitneyExact(x, y, r, p, h, alpha); }));
  if (nb > 100000) return;  // output sized by NumBins: legitimately large
  FUZZ_RUN(Histogram(x, nb, o.VecInt(0), o.Vec(0), centres, lo, hi));
  FUZZ_RUN(Histogram(x, nb, o.VecInt(0), o.Vec(0), centres));
  FUZZ_RUN(Histogram(x, nb, o.Vec(1), o.Vec(0), centres, lo, hi));
  FUZZ_RUN(Histogram(x, nb, o.Vec(1), o.Vec(0), centres));
  FUZZ_RUN(Histogram(x, bins, o.Vec(0)));
  FUZZ_RUN(CumulativeHist(x, nb, o.Vec(1), o.Vec(0), centres));
  FUZZ_RUN(CumulativeHist(x, bins, o.Vec(0)));
}
