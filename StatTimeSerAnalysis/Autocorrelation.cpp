// Sample autocovariances and autocorrelations, partial autocorrelations and the
// Durbin-Levinson recursion.

#include <cmath>
#include <cstddef>
#include <vector>

#include "StatTimeSerAnalysis/StatTimeSerAnalysis.h"
#include "StatTimeSerAnalysis/detail/Recursions.h"

namespace StatTimeSerAnalysis {

using namespace Kalix;

void AutoCov(const TVec& Data, TVec& R, int LagCount) {
  const int n = Data.Length();
  WithPrecision(Data, [&](auto tag) {
    using T = typename decltype(tag)::type;
    if (n == 0) {  // empty, but in Data's precision whatever R held before
      R.Size(0, PrecisionOf<T>());
      return;
    }
    if (LagCount < 0) LagCount = static_cast<int>(std::ceil(10.0 * std::log10(static_cast<double>(n))));
    TVecScratch work;
    work->Size(n, PrecisionOf<T>());
    TVec out(LagCount, PrecisionOf<T>());  // R may be Data itself: fill a fresh vector, then move it
    detail::AutoCov<T>(Data.Span<T>(), out.Span<T>(), work->Span<T>());
    R = std::move(out);
  });
}

void ACF(const TVec& Data, TVec& R, int LagCount) {
  AutoCov(Data, R, LagCount);
  if (R.IsEmpty()) return;
  // A constant series has R[0] = 0: the scaling gives NaN, which is the answer, not an error.
  WithPrecision(R, [&](auto tag) {
    using T = typename decltype(tag)::type;
    auto r = R.Span<T>();
    const T inv = T(1) / r[0];
    for (auto& v : r) v *= inv;
  });
}

void PACF(const TVec& Gamma, TVec& Phi, TVec& PartialCorr, TVec& Variances) {
  WithPrecision(Gamma, [&](auto tag) {
    using T = typename decltype(tag)::type;
    const auto g = Gamma.Span<T>();
    const std::size_t p = g.empty() ? 0 : g.size() - 1;
    const int len = static_cast<int>(p);
    TVecScratch v;  // variance after each order; the output keeps orders 0 .. p-1
    Phi.Size(len, PrecisionOf<T>());
    PartialCorr.Size(len, PrecisionOf<T>());
    v->Size(len, PrecisionOf<T>());
    if (p > 0) detail::DurbinLevinson<T>(g, p, Phi.Span<T>(), v->Span<T>(), PartialCorr.Span<T>());
    Variances.Size(len, PrecisionOf<T>());
    auto out = Variances.Span<T>();
    auto vv = v->Span<T>();
    for (std::size_t k = 0; k < p; ++k) out[k] = k == 0 ? g[0] : vv[k - 1];
  });
}

void PACF(const TVec& Gamma, TVec& PartialCorr) {
  TVecScratch phi, v;
  PACF(Gamma, *phi, PartialCorr, *v);
}

void DurbinLevinson(const TVec& gamma, TVec& Phi, double& Sigma2, int NumEvals, TVec* V) {
  if (gamma.Length() == 0) ERaise("DurbinLevinson: gamma.Length = 0");
  if (Phi.Length() == 0 || Phi.Complex()) ERaise("DurbinLevinson: (Phi.Length=0) or (Phi.Complex)");
  if (NumEvals > gamma.Length()) ERaise("DurbinLevinson: NumEvals > gamma.Length");
  if (NumEvals - 1 > Phi.Length()) ERaise("DurbinLevinson: Phi.Length < NumEvals-1");
  const std::size_t p = NumEvals > 1 ? static_cast<std::size_t>(NumEvals - 1) : 0;
  Phi.SetZero();
  if (V) {  // sized like Phi; orders past NumEvals-1 read 0 like Phi
    V->Size(Phi);
    V->SetZero();
  }
  Sigma2 = gamma.Values(0);
  WithPrecision(gamma, [&](auto tag) {
    using T = typename decltype(tag)::type;
    std::vector<T> phi(p), var(p);
    const T last = detail::DurbinLevinson<T>(gamma.Span<T>(), p, phi, var);
    for (std::size_t j = 0; j < p; ++j) {
      Phi.Values(static_cast<int>(j)) = static_cast<double>(phi[j]);
      if (V) V->Values(static_cast<int>(j)) = static_cast<double>(var[j]);
    }
    // Deliberate: single-precision input leaves Sigma2 at gamma[0]; the final variance is the
    // last used element of V.
    if constexpr (std::is_same_v<T, double>) Sigma2 = last;
  });
}

}  // namespace StatTimeSerAnalysis
