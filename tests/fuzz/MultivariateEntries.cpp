// Fuzz entries of the multivariate routines: distances, Hotelling and Box tests, rotation,
// principal-component residuals, classical scaling and Latin hypercubes.
#include "FuzzHarness.h"

using namespace KalixFuzz;
using namespace Statistics;

KALIX_FUZZ_ENTRY(PairwiseDistance) {
  const TMtx& x = c.Mtx();
  const TMtx& y = c.Mtx();
  const TMtx& cov = c.Mtx();
  const auto metric = c.Enum<TDistanceMetric>(8);
  const double p = c.Double();
  const bool useCov = !c.Null();
  c.Run("PairwiseDistance", [&](TOutputs& o) { PairwiseDistance(x, o.Mtx(0), metric, p, useCov ? &cov : nullptr); });
  c.Run("PairwiseDistance(two)",
        [&](TOutputs& o) { PairwiseDistance(x, y, o.Mtx(0), metric, p, useCov ? &cov : nullptr); });
}

KALIX_FUZZ_ENTRY(MultivariateTests) {
  const TMtx& x = c.Mtx();
  const TMtx& y = c.Mtx();
  const TVec& mu = c.Vec();
  const TVecInt& g = c.VecInt();
  const double alpha = c.Double();
  const bool opt = !c.Null();
  c.Run("HotellingT2", [&](TOutputs& o) {
    double f = 0;
    o.Test([&](auto& h, auto& s) {
      return HotellingT2(x, mu, h, s, opt ? &o.Vec(0) : nullptr, opt ? &f : nullptr, alpha);
    });
    o.Num(f);
  });
  c.Run("HotellingT2(two)", [&](TOutputs& o) {
    double f = 0;
    o.Test([&](auto& h, auto& s) {
      return HotellingT2(x, y, h, s, opt ? &o.Vec(0) : nullptr, opt ? &f : nullptr, alpha);
    });
    o.Num(f);
  });
  c.Run("BoxMTest", [&](TOutputs& o) {
    double chi = 0, f = 0, fs = 0;
    TTwoElmReal df{};
    o.Test([&](auto& h, auto& s) {
      return BoxMTest(x, g, h, s, opt ? &chi : nullptr, opt ? &f : nullptr, opt ? &df : nullptr, opt ? &fs : nullptr,
                      alpha);
    });
    o.Nums(chi, f, fs, df[0], df[1]);
  });
}

KALIX_FUZZ_ENTRY(RotationScaling) {
  const TMtx& x = c.Mtx();
  const auto method = c.Enum<TRotationMethod>(3);
  const auto mode = c.Enum<TPCAMode>(2);
  const bool normalize = c.Bytes().Bool();
  const int maxIter = c.Bytes().Int(-2, 200), k = c.Count();
  const double tol = c.Double();
  const bool gof = !c.Null();
  // Each iteration factors a K x K matrix: loadings of hundreds of factors would only time out.
  if (x.Cols() <= 16)
    c.Run("OrthoRotate", [&](TOutputs& o) { OrthoRotate(x, o.Mtx(0), o.Mtx(1), method, normalize, maxIter, tol); });
  c.Run("PCAResiduals", [&](TOutputs& o) { PCAResiduals(x, k, o.Mtx(0), o.Vec(1), o.Vec(2), mode); });
  c.Run("ClassicalMDS", [&](TOutputs& o) {
    TTwoElmReal g{};
    ClassicalMDS(x, o.Mtx(0), o.Vec(1), gof ? &g : nullptr, k);
    o.Num(g[0]), o.Num(g[1]);
  });
}

KALIX_FUZZ_ENTRY(LatinHypercube) {
  // Sizes bounded so that a design stays small; the seed is fixed so both runs agree.
  const int n = c.Bytes().Int(-2, 300), k = c.Bytes().Int(-2, 20), iters = c.Bytes().Int(-2, 50);
  const int seed = c.Bytes().Int(0, 1000);
  const auto method = c.Enum<TLHSMethod>(4);
  const TMtxFloatPrecision prec = c.AnyPrecision();
  c.Run("LatinHypercube", [&](TOutputs& o) { LatinHypercube(n, k, o.Mtx(0), method, seed, iters, prec); });
}
