// Fuzz entries of the goodness-of-fit and normality tests (Statistics namespace).
#include "FuzzHarness.h"

using namespace KalixFuzz;
using namespace Statistics;

// The empirical distribution, Kolmogorov-Smirnov, chi-square and the normality tests (observed x, expected y).
KALIX_FUZZ_ENTRY(EmpiricalAndNormality) {
  const TVec &x = c.Vec(), &y = c.Vec();
  const double pts[] = {c.Double(), c.Double(), 0.5};
  const auto t = c.Enum<THypothesisType>(3);
  const double mu = c.Double(), sigma = c.Double(), alpha = c.Double();
  const int k = c.Count();
  FUZZ_RUN(EmpiricalCDF(x, o.Vec(0), o.Vec(1)));
  FUZZ_RUN(EmpiricalCDF(x, pts, o.Vec(0)));
  FUZZ_RUN(o.Test([&](auto& h, auto& p) { return GOFKolmogorov(x, h, p, t, alpha); }));
  FUZZ_RUN(o.Test([&](auto& h, auto& p) { return GOFKolmogorov(x, y, h, p, t, alpha); }));
  using TFn = double (*)(const TVec&, THypothesisResult&, double&, double);
  const std::pair<const char*, TFn> tests[] = {{"GOFLillieTest", GOFLillieTest},
                                               {"AndersonDarling", AndersonDarling},
                                               {"GOFBeraJarqueTest", GOFBeraJarqueTest},
                                               {"ShapiroWilks", ShapiroWilks},
                                               {"ShapiroFrancia", ShapiroFrancia}};
  for (const auto& test : tests) {
    const TFn f = test.second;  // clang 14 cannot capture a structured binding
    c.Run(test.first, [&](TOutputs& o) { o.Test([&](auto& h, auto& p) { return f(x, h, p, alpha); }); });
  }
  FUZZ_RUN(o.Test([&](auto& h, auto& p) { return AndersonDarling(x, mu, sigma, h, p, alpha); }));
  c.Run("GOFChi2Test", [&](TOutputs& o) {
    int small = 0;
    o.Test([&](auto& h, auto& p) { return GOFChi2Test(x, y, h, p, small, k, alpha); });
    o.Num(small);
  });
}
