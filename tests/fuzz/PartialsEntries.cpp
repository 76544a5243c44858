// Fuzz entries of the mergeable partials: Add two adversarial blocks, Merge, rebuild from the
// state (also from a state with one number changed), Finish.
#include <span>
#include <vector>

#include "FuzzHarness.h"

using namespace KalixFuzz;
using namespace Statistics;
using namespace Regress;

namespace {

// A state with element i (modulo its length) replaced by v: the constructors must refuse or
// accept it, never misbehave.
std::vector<double> Tampered(std::vector<double> s, int i, double v) {
  if (!s.empty()) s[static_cast<std::size_t>(i) % s.size()] = v;
  return s;
}

}  // namespace

KALIX_FUZZ_ENTRY(Partials) {
  const TVec &x = c.Vec(), &y = c.Vec();
  const TMtx& m = c.Mtx();
  const TVecInt& g = c.VecInt();
  const int cols = c.Int(-1, 4), at = c.Int(0, 60), bins = c.Int(-1, 9);
  const bool constant = c.Bool();
  const double v = c.Double(), lo = c.Double(), hi = c.Double(), alpha = c.Double();
  c.Run("TMomentsPartial", [&](TOutputs& o) {
    TMomentsPartial a, b;
    a.Add(x), b.Add(y), a.Merge(b);
    double mean, var, skew, kurt;
    TMomentsPartial(std::span<const double>(Tampered(a.State(), at, v))).Finish(mean, var, skew, kurt);
    for (const double r : {mean, var, skew, kurt}) o.Num(r);
  });
  c.Run("TComomentsPartial", [&](TOutputs& o) {
    TComomentsPartial a(cols), b(cols);
    a.Add(m), b.Add(m), a.Merge(b);
    TComomentsPartial(std::span<const double>(Tampered(a.State(), at, v))).Finish(o.Vec(0), o.Mtx(1), o.Mtx(2));
  });
  c.Run("THistogramPartial", [&](TOutputs& o) {
    THistogramPartial a(lo, hi, bins), b(lo, hi, bins);
    a.Add(x), b.Add(y), a.Merge(b);
    THistogramPartial(std::span<const double>(Tampered(a.State(), at, v))).Finish(o.Vec(0), o.Vec(1));
  });
  c.Run("TLeastSquaresPartial", [&](TOutputs& o) {
    TLeastSquaresPartial a(cols, constant), b(cols, constant);
    a.Add(y, m), b.Add(y, m), a.Merge(b);
    TLeastSquaresStats st{};
    TLeastSquaresPartial(std::span<const double>(Tampered(a.State(), at, v))).Finish(o.Vec(0), o.Vec(1), st);
    for (const double r : {st.SSE, st.SST, st.R2, st.F, st.Signif}) o.Num(r);
  });
  c.Run("TAnova1Partial", [&](TOutputs& o) {
    TAnova1Partial a, b;
    a.Add(x, g), b.Add(x, g), a.Merge(b);
    double pv = 0;
    o.Doubles(TAnova1Partial(std::span<const double>(Tampered(a.State(), at, v))).Finish(pv, alpha));
    o.Num(pv);
  });
}
