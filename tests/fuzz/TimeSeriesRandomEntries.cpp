// Fuzz entries of the time series routines, the signal kernels and the random variates.
#include "FuzzHarness.h"

using namespace KalixFuzz;
using namespace StatTimeSerAnalysis;
using namespace StatRandom;

namespace {
// Lags and horizons: mostly small, now and then negative, past the data or huge.
int Lag(TCall& c) { return c.Bool() ? c.Int(-2, 400) : c.Count(); }
}  // namespace

// The signal kernels and the autocorrelation routines of x (and g).
KALIX_FUZZ_ENTRY(Autocorrelation) {
  const TVec &x = c.Vec(), &g = c.Vec();
  const int lags = Lag(c), evals = Lag(c), h = Lag(c);
  const bool withV = c.Null();
  if (lags > 100000) return;  // output sized by Lags: legitimately large
  FUZZ_RUN(Kalix::AutoCorrBiased(o.Vec(0), x, lags));
  FUZZ_RUN(Kalix::CrossCorr(o.Vec(0), x, g, lags));
  FUZZ_RUN(Kalix::Convolve(o.Vec(0), x, g));
  FUZZ_RUN(AutoCov(x, o.Vec(0), lags), ACF(x, o.Vec(1), lags));
  FUZZ_RUN(PACF(g, o.Vec(0)), PACF(g, o.Vec(1), o.Vec(2), o.Vec(3)));
  c.Run("DurbinLevinson", [&](TOutputs& o) {
    double s2 = 0;
    TVec& phi = o.Vec(0);
    phi.Size(std::clamp(h, 0, 50), Kalix::mvDouble);  // Phi arrives sized by the caller
    DurbinLevinson(g, phi, s2, evals, withV ? &o.Vec(1) : nullptr);
    o.Num(s2);
  });
  FUZZ_RUN(o.Num(BoxLjung(x, h)));
}

// Autoregressive fits, Box-Cox and moving averages of one series.
KALIX_FUZZ_ENTRY(ARFitsAndTransforms) {
  const TVec& x = c.Vec();
  const int order = c.Int(-1, 40), n = Lag(c);
  const bool withSE = c.Null(), centred = c.Bool();
  const double lambda = c.Double();
  double v1 = 0, v2 = 0;
  c.Run("ARYuleWalkerFit, ARBurgFit", [&](TOutputs& o) {
    TVec &a = o.Vec(0), &b = o.Vec(2);
    a.Size(std::max(order, 0), Kalix::mvDouble), b.Size(std::max(order, 0), Kalix::mvDouble);  // the orders
    ARYuleWalkerFit(x, a, v1, withSE ? &o.Vec(1) : nullptr), ARBurgFit(x, b, v2, withSE ? &o.Vec(3) : nullptr);
    o.Nums(v1, v2);
  });
  FUZZ_RUN(BoxCox(x, o.Vec(0), lambda), BoxCoxInv(x, o.Vec(1), lambda));
  int offset = 0;
  FUZZ_RUN(o.Nums(MovingAverage(x, n, o.Vec(0), offset, centred), offset));
}

KALIX_FUZZ_ENTRY(ExpSmoothing) {
  const TVec& y = c.Vec();
  double a = c.Double(), b = c.Double(), g = c.Double();
  if (c.Bool()) a = c.Byte() / 255.0, b = c.Byte() / 255.0, g = c.Byte() / 255.0;
  const int init = c.Int(-1, 3), t = Lag(c), period = c.Bool() ? c.Int(-1, 13) : c.Count();
  if (t > 100000) return;
  c.Run("SingleExpSmooth", [&](TOutputs& o) {
    double mse = 0, fa = a, fmse = 0;
    SingleExpSmooth(y, o.Vec(0), a, mse, init);
    o.Nums(mse, SingleExpSmooth(y, o.Vec(1), fa, init), fa);
    SingleExpForecast(y, o.Vec(2), a, t, init);
    fa = a;
    SingleExpForecast(y, o.Vec(3), fa, t, fmse, init);
    o.Num(fmse);
  });
  c.Run("DoubleExpSmooth", [&](TOutputs& o) {
    double mse = 0, fa = a, fg = g, fmse = 0;
    DoubleExpSmooth(y, o.Vec(0), o.Vec(1), a, g, mse, init);
    o.Nums(mse, DoubleExpSmooth(y, o.Vec(2), o.Vec(3), fa, fg, init), fa, fg);
    DoubleExpForecast(y, o.Vec(4), a, g, t, init);
    fa = a, fg = g;
    DoubleExpForecast(y, o.Vec(5), fa, fg, t, fmse, init);
    o.Num(fmse);
  });
  c.Run("TripleExpSmooth", [&](TOutputs& o) {
    double mse = 0, fa = a, fb = b, fg = g, fmse = 0;
    TripleExpSmooth(y, o.Vec(0), o.Vec(1), o.Vec(2), a, b, g, mse, period);
    o.Nums(mse, TripleExpSmooth(y, o.Vec(3), o.Vec(4), o.Vec(5), fa, fb, fg, period));
    TripleExpForecast(y, o.Vec(6), a, b, g, t, period);
    fa = a, fb = b, fg = g;
    TripleExpForecast(y, o.Vec(7), fa, fb, fg, t, fmse, period);
    o.Num(fmse);
  });
}

// Parameters are kept to sizes whose exact draws end in time (a hypergeometric population of
// 2^31 is legitimate but slow); every value, NaN and infinities included, still reaches them.
KALIX_FUZZ_ENTRY(RandomVariates) {
  const double a = c.Double(), b = c.Double(), d = c.Double();
  const int i = c.Int(-3, 3000), j = c.Int(-3, 3000), k = c.Int(-3, 3000), n = c.Bool() ? c.Int(0, 12) : c.Int(0, 3000);
  const int seed = c.Int(0, 1 << 20);
  const auto prec = c.AnyPrecision();
  const int law = c.Byte();
  using TReal = std::function<void(Kalix::TDenseKalix&)>;
  using TInt = std::function<void(TVecInt&)>;
  const TReal real[] = {
      [&](auto& r) { RandomBeta(a, b, r, seed); },          [&](auto& r) { RandomCauchy(a, b, r, seed); },
      [&](auto& r) { RandomChiSquare(i, r, seed); },        [&](auto& r) { RandomErlang(i, a, r, seed); },
      [&](auto& r) { RandomExponent(a, r, seed); },         [&](auto& r) { RandomF(i, j, r, seed); },
      [&](auto& r) { RandomGamma(a, b, r, seed); },         [&](auto& r) { RandomGenPareto(a, b, d, r, seed); },
      [&](auto& r) { RandomGeometric(a, r, seed); },        [&](auto& r) { RandomGumbel(a, b, r, seed); },
      [&](auto& r) { RandomLaplace(a, b, r, seed); },       [&](auto& r) { RandomLogistic(a, b, r, seed); },
      [&](auto& r) { RandomLogNormal(a, b, r, seed); },     [&](auto& r) { RandomMaxwell(a, r, seed); },
      [&](auto& r) { RandomNormal(a, b, r, seed); },        [&](auto& r) { RandomRayleigh(a, r, seed); },
      [&](auto& r) { RandomStudent(i, r, seed); },          [&](auto& r) { RandomTriangular(a, b, d, r, seed); },
      [&](auto& r) { RandomUniform(a, b, r, seed); },       [&](auto& r) { RandomUniformD(i, r, seed); },
      [&](auto& r) { RandomWeibull(a, b, r, seed); }};
  const TInt ints[] = {[&](auto& r) { RandomBinom(i, a, r, seed); },
                       [&](auto& r) { RandomHypGeometric(i, j, k, r, seed); },
                       [&](auto& r) { RandomNegBinom(a, b, r, seed); },
                       [&](auto& r) { RandomPoisson(a, r, seed); }};
  const std::size_t nLaws = std::size(real) + std::size(ints), which = static_cast<std::size_t>(law) % nLaws;
  c.Run("random variates", [&](TOutputs& o) {
    if (which < std::size(real)) {
      TVec& r = o.Vec(0);
      r.Size(n, prec);  // the caller sizes Results; the count drawn is its length
      real[which](r);
    } else {
      TVecInt& r = o.VecInt(0);
      r.Size(n, Kalix::prInt32);
      ints[which - std::size(real)](r);
    }
  });
}
