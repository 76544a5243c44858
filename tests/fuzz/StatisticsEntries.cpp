// Fuzz entries of the Statistics namespace.
#include "FuzzHarness.h"

using namespace KalixFuzz;
using namespace Statistics;

KALIX_FUZZ_ENTRY(Percentile) {
  const TVec& x = c.Vec();
  const double p = c.Double(), q = c.Double();
  const auto m = c.Enum<TPercentileMethod>(5);
  c.Run("Percentile", [&](TOutputs& o) { o.Num(Percentile(x, p, m)); });
  c.Run("Percentile(array)", [&](TOutputs& o) {
    const double ps[] = {p, q, 0.5};
    double r[3] = {};
    Percentile(x, ps, r, m), o.Nums(r[0], r[1], r[2]);
  });
  c.Run("InterQuartile", [&](TOutputs& o) { o.Num(InterQuartile(x, m)); });
}

KALIX_FUZZ_ENTRY(Ranks) {
  const TVec& x = c.Vec();
  double t = 0;
  c.Run("Ranks", [&](TOutputs& o) { Ranks(o.Vec(0) = x, o.Vec(1)); });
  // Deliberate: empty X leaves Result as it was.
  c.Run("TiedRanks", [&](TOutputs& o) { TiedRanks(x, o.Vec(0, x.Length() > 0), t), o.Num(t); });
}

KALIX_FUZZ_ENTRY(Means) {
  const TVec& x = c.Vec();
  const double pc = c.Double(), mu = c.Double();
  const int i = c.Count(), n = c.Count(), order = c.Count();
  c.Run("MeanG", [&](TOutputs& o) { o.Num(MeanG(x)); });
  c.Run("MeanH", [&](TOutputs& o) { o.Num(MeanH(x)); });
  c.Run("MeanT", [&](TOutputs& o) { o.Num(MeanT(x, pc)); });
  c.Run("Mode", [&](TOutputs& o) { o.Num(Mode(x)); });
  c.Run("Mode(range)", [&](TOutputs& o) { o.Num(Mode(x, i, n)); });
  c.Run("Moment", [&](TOutputs& o) { o.Num(Moment(x, mu, order)); });
}

KALIX_FUZZ_ENTRY(Covariance) {
  const bool biased = c.Bytes().Bool();
  const Kalix::TDenseKalix& x = c.Dense();
  const Kalix::TDenseKalix& y = c.Dense();
  const TVec& v = c.Vec();
  const TMtx& m = c.Mtx();
  double r = 0, t = 0;
  c.Run("Covariance(vec)", [&](TOutputs& o) { Covariance(v, r, biased), o.Num(r); });
  c.Run("Covariance(x, y)", [&](TOutputs& o) { Covariance(x, y, o.Mtx(0), biased); });
  c.Run("Covariance(mtx)", [&](TOutputs& o) { Covariance(m, o.Mtx(0), biased); });
  c.Run("CorrCoef(x, y)", [&](TOutputs& o) { CorrCoef(x, y, o.Mtx(0)); });
  c.Run("CorrCoef(x, y, t)", [&](TOutputs& o) { CorrCoef(x, y, o.Mtx(0), t), o.Num(t); });
  c.Run("CorrCoef(mtx)", [&](TOutputs& o) { CorrCoef(m, o.Mtx(0)); });
  c.Run("RangeRows", [&](TOutputs& o) { RangeRows(m, o.Vec(0)); });
  c.Run("RangeCols", [&](TOutputs& o) { RangeCols(m, o.Vec(0)); });
  c.Run("CronbachAlpha", [&](TOutputs& o) { o.Num(CronbachAlpha(m)); });
}

KALIX_FUZZ_ENTRY(MatrixUtils) {
  const int n = c.Bytes().Int(-2, 12), index = c.Count();
  const auto prec = c.AnyPrecision();
  const TVec& mul = c.Vec();
  const bool withMul = c.Null();
  const TVec& levels = c.Vec();
  const TMtx& m = c.Mtx();
  const Kalix::TDenseKalix& d = c.Dense();
  c.Run("FullFactDesign(n)", [&](TOutputs& o) { FullFactDesign(n, o.Mtx(0), prec, withMul ? &mul : nullptr); });
  c.Run("FullFactDesign(levels)", [&](TOutputs& o) {
    if (Kalix::Product(levels) > 1e5) return;  // keep each run short; the row check is tested
    FullFactDesign(levels, o.Mtx(0));
  });
  // Deliberate: the last count keeps what sizing left for constant data, so it is not compared.
  c.Run("Unique", [&](TOutputs& o) { Unique(d, o.Vec(0), withMul ? &o.VecInt(0, false) : nullptr); });
  c.Run("RemoveRow", [&](TOutputs& o) { RemoveRow(m, o.Mtx(0), index); });
  c.Run("RemoveColumn", [&](TOutputs& o) { RemoveColumn(m, o.Mtx(0), index); });
}

KALIX_FUZZ_ENTRY(Histogram) {
  const TVec& x = c.Vec();
  const TVec& bins = c.Vec();
  const int nb = c.Bytes().Bool() ? c.Bytes().Int(-1, 50) : c.Count();
  const bool centres = c.Bytes().Bool();
  const double lo = c.Double(), hi = c.Double();
  if (nb > 100000) return;  // output sized by NumBins: legitimately large
  c.Run("Histogram(int, range)", [&](TOutputs& o) { Histogram(x, nb, o.VecInt(0), o.Vec(0), centres, lo, hi); });
  c.Run("Histogram(int)", [&](TOutputs& o) { Histogram(x, nb, o.VecInt(0), o.Vec(0), centres); });
  c.Run("Histogram(real, range)", [&](TOutputs& o) { Histogram(x, nb, o.Vec(1), o.Vec(0), centres, lo, hi); });
  c.Run("Histogram(real)", [&](TOutputs& o) { Histogram(x, nb, o.Vec(1), o.Vec(0), centres); });
  c.Run("Histogram(bins)", [&](TOutputs& o) { Histogram(x, bins, o.Vec(0)); });
  c.Run("CumulativeHist", [&](TOutputs& o) { CumulativeHist(x, nb, o.Vec(1), o.Vec(0), centres); });
  c.Run("CumulativeHist(bins)", [&](TOutputs& o) { CumulativeHist(x, bins, o.Vec(0)); });
}

// Welch's t, Kendall's tau, Kruskal-Wallis and the exact rank-sum test with ties.
KALIX_FUZZ_ENTRY(WelchAndRankTests) {
  const TVec& x = c.Vec();
  const TVec& y = c.Vec();
  const TVecInt& g = c.VecInt();
  const auto h = c.Enum<THypothesisType>(3);
  const double alpha = c.Double();
  c.Run("tTestWelch", [&](TOutputs& o) {
    double df = 0;
    TTwoElmReal ci{};
    o.Test([&](auto& r, auto& p) { return tTestWelch(x, y, r, p, ci, df, h, alpha); });
    o.Nums(df, ci[0], ci[1]);
  });
  c.Run("KendallTau", [&](TOutputs& o) {
    double tau = 0;
    o.Test([&](auto& r, auto& p) { return KendallTau(x, y, tau, r, p, h, alpha), tau; });
  });
  c.Run("KruskalWallis",
        [&](TOutputs& o) { o.Test([&](auto& r, auto& p) { return KruskalWallis(x, g, r, p, alpha); }); });
  c.Run("MannWhitneyExact",
        [&](TOutputs& o) { o.Test([&](auto& r, auto& p) { return MannWhitneyExact(x, y, r, p, h, alpha); }); });
}
