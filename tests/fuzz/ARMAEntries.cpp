// Fuzz entries of ARMA estimation, ARIMA forecasting and simulation and ARAR. The model orders
// are the lengths of Phi and Theta, which the caller sets, so those vectors are made afresh in
// every run (a stale Phi of another length would ask for another model) and copied out.
#include "FuzzHarness.h"

using namespace KalixFuzz;
using namespace StatTimeSerAnalysis;

namespace {

// Orders and horizons are kept small: the routines' cost grows with their cubes.
TVec Coefficients(TCall& c) {
  const int n = c.Int(-1, 3);
  TVec v;
  if (n >= 0) v.Size(n);
  for (int i = 0; i < n; ++i) v.Values(i) = c.Double();
  return v;
}

}  // namespace

KALIX_FUZZ_ENTRY(ARMAFits) {
  const TVec& x = c.Vec();
  const int p = c.Int(-1, 3), q = c.Int(-1, 3), m = c.Int(-2, 30), maxIter = c.Int(-1, 20), d = c.Int(-1, 2);
  const int sd = c.Int(-1, 1), period = c.Int(-1, 13);
  const bool fitMean = c.Bool(), useStart = c.Bool();
  const double tol = c.Double();
  // Each fit starts from Phi and Theta of the drawn orders; the estimates are copied out.
  TVec phi, theta;
  double mu = 0, v = 0;
  const auto fit = [&](const char* name, const std::function<double(TOutputs&)>& f) {
    c.Run(name, [&](TOutputs& o) {
      phi = TVec(std::max(p, 0)), theta = TVec(std::max(q, 0)), mu = v = 0;
      phi.SetVal(0.1), theta.SetVal(0.1);
      o.Num(f(o)), o.Vec(0).Copy(phi), o.Vec(1).Copy(theta), o.Nums(mu, v);
    });
  };
  fit("ARMAInnovationsFit", [&](TOutputs&) { return ARMAInnovationsFit(x, phi, theta, v, m), 0.0; });
  fit("ARMAHannanRissanenFit", [&](TOutputs&) { return ARMAHannanRissanenFit(x, phi, theta, v, m), 0.0; });
  fit("ARMAMLFit", [&](TOutputs& o) {
    TARMAFitStats st;
    const double ll = ARMAMLFit(x, phi, theta, mu, v, &o.Vec(2), &st, fitMean, useStart, maxIter, tol);
    return o.Nums(st.LogLik, st.Iterations), ll;
  });
  fit("ARIMAMLFit",
      [&](TOutputs&) { return ARIMAMLFit(x, phi, theta, mu, v, d, sd, period, nullptr, nullptr, fitMean); });
}

KALIX_FUZZ_ENTRY(ARMAForecastSimulate) {
  const TVec& x = c.Vec();
  const TVec phi = Coefficients(c), theta = Coefficients(c);
  const double mu = c.Double(), var = c.Double(), alpha = c.Double();
  const int h = c.Int(-1, 40), d = c.Int(-1, 2), sd = c.Int(-1, 1), period = c.Int(-1, 13), len = c.Int(0, 500);
  const int burn = c.Int(-2, 100), seed = c.Int(0, 1000), maxLag = c.Int(-1, 30);
  const bool opt = !c.Null();
  FUZZ_RUN(ARMAForecast(x, phi, theta, mu, var, o.Vec(0), opt ? &o.Vec(1) : nullptr, &o.Vec(2), &o.Vec(3), h, alpha));
  c.Run("ARIMAForecast", [&](TOutputs& o) {
    ARIMAForecast(x, phi, theta, mu, var, o.Vec(0), opt ? &o.Vec(1) : nullptr, &o.Vec(2), &o.Vec(3), h, d, sd,
                  period, alpha);
  });
  // The length drawn is that of Results, so it is made afresh too.
  FUZZ_RUN(TVec r(len); ARMASimulate(phi, theta, mu, var, r, burn, seed), o.Vec(0).Copy(r));
  FUZZ_RUN(TVec r(len); ARIMASimulate(phi, theta, mu, var, r, d, sd, period, burn, seed), o.Vec(0).Copy(r));
  c.Run("ARARForecast", [&](TOutputs& o) {
    TARARModel m;
    ARARForecast(x, o.Vec(0), opt ? &o.Vec(1) : nullptr, &o.Vec(2), &o.Vec(3), h, alpha, maxLag, opt ? &m : nullptr);
    o.Nums(m.Variance, m.Mean);
  });
}
