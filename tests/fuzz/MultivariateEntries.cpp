// Fuzz entries of the multivariate routines: distances, Hotelling and Box tests, rotation,
// principal-component residuals, classical scaling and Latin hypercubes.
#include "FuzzHarness.h"

using namespace KalixFuzz;
using namespace Statistics;

// Distances between the rows of x (and y), and the Hotelling and Box tests on them.
KALIX_FUZZ_ENTRY(DistancesAndTests) {
  const TMtx &x = c.Mtx(), &y = c.Mtx(), &cov = c.Mtx();
  const TVec& mu = c.Vec();
  const TVecInt& g = c.VecInt();
  const auto metric = c.Enum<TDistanceMetric>(8);
  const double power = c.Double(), alpha = c.Double();
  const bool opt = !c.Null(), useCov = !c.Null();
  FUZZ_RUN(PairwiseDistance(x, o.Mtx(0), metric, power, useCov ? &cov : nullptr));
  FUZZ_RUN(PairwiseDistance(x, y, o.Mtx(0), metric, power, useCov ? &cov : nullptr));
  // The optional statistics start from zeros in both calls.
  double f = 0, chi = 0, fs = 0;
  TTwoElmReal df{};
  const auto run = [&](const char* name, const std::function<double(THypothesisResult&, double&, TOutputs&)>& t) {
    c.Run(name, [&](TOutputs& o) {
      f = chi = fs = 0, df = {};
      o.Test([&](auto& h, auto& s) { return t(h, s, o); }), o.Nums(f, chi, fs), o.Nums(df);
    });
  };
  const auto v = [&](TOutputs& o) { return opt ? &o.Vec(0) : nullptr; };
  const auto p = [&](auto& r) { return opt ? &r : nullptr; };
  run("HotellingT2", [&](auto& h, auto& s, auto& o) { return HotellingT2(x, mu, h, s, v(o), p(f), alpha); });
  run("HotellingT2(two)", [&](auto& h, auto& s, auto& o) { return HotellingT2(x, y, h, s, v(o), p(f), alpha); });
  run("BoxMTest", [&](auto& h, auto& s, auto&) { return BoxMTest(x, g, h, s, p(chi), p(f), p(df), p(fs), alpha); });
}

KALIX_FUZZ_ENTRY(RotationScaling) {
  const TMtx& x = c.Mtx();
  const auto method = c.Enum<TRotationMethod>(3);
  const auto mode = c.Enum<TPCAMode>(2);
  const bool normalize = c.Bool();
  const int maxIter = c.Int(-2, 200), k = c.Count();
  const double tol = c.Double();
  const bool gof = !c.Null();
  // Each iteration factors a K x K matrix: loadings of hundreds of factors would only time out.
  if (x.Cols() <= 16)
    FUZZ_RUN(OrthoRotate(x, o.Mtx(0), o.Mtx(1), method, normalize, maxIter, tol));
  FUZZ_RUN(PCAResiduals(x, k, o.Mtx(0), o.Vec(1), o.Vec(2), mode));
  FUZZ_RUN(TTwoElmReal g{}; ClassicalMDS(x, o.Mtx(0), o.Vec(1), gof ? &g : nullptr, k); o.Num(g[0]), o.Num(g[1]));
}

KALIX_FUZZ_ENTRY(LatinHypercube) {
  // Sizes bounded so that a design stays small (the maximin search is O(Iterations K^2 N^2),
  // seconds under the sanitizers at N = 300); the seed is fixed so both runs agree.
  const int n = c.Int(-2, 100), k = c.Int(-2, 20), iters = c.Int(-2, 50), seed = c.Int(0, 1000);
  const auto method = c.Enum<TLHSMethod>(4);
  const TMtxFloatPrecision prec = c.AnyPrecision();
  FUZZ_RUN(LatinHypercube(n, k, o.Mtx(0), method, seed, iters, prec));
}
