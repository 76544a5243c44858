// Autoregressive fits of a given order: Yule-Walker through the Durbin-Levinson recursion, and
// Burg's method (Brockwell & Davis, Introduction to Time Series and Forecasting, 5.1.2).

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "StatTimeSerAnalysis/StatTimeSerAnalysis.h"
#include "StatTimeSerAnalysis/detail/Recursions.h"
#include "core/detail/Pairwise.h"

namespace StatTimeSerAnalysis {

using namespace Kalix;

namespace {

// Asymptotic standard errors sqrt(diag(Gamma_p^-1) * Variance / n), Gamma_p the p x p Toeplitz
// matrix of the autocovariances at lags 0 .. p-1. A series without variance gives NaN.
void ARStdErrors(const TVec& Data, int p, double Variance, TVec& SE) {
  TVecScratch gamma;
  TMtxScratch G;
  AutoCov(Data, *gamma, p);
  SE.Size(p, Data.FloatPrecision());
  if (!(gamma->Values(0) > 0)) {
    SE.SetVal(std::numeric_limits<double>::quiet_NaN());
    return;
  }
  Toeplitz(*G, *gamma);
  Inv(*G);
  const double n = Data.Length();
  for (int j = 0; j < p; ++j) SE.Values(j) = std::sqrt(G->Values(j, j) * Variance / n);
}

// Burg's recursion on the raw data. f holds the forward errors at t = m .. n-1; the backward
// error b[t-1] that pairs with f[t] sits at g[t - m], so each order updates both arrays element
// by element in place. Returns the final mean square of forward and backward errors.
template <class T>
T BurgKernel(std::span<const T> x, std::span<T> Phi) {
  const std::size_t n = x.size(), p = Phi.size();
  std::vector<T> f(x.begin(), x.end()), g(x.begin(), x.end()), prev(p);
  std::fill(Phi.begin(), Phi.end(), T(0));
  T power = Kalix::detail::PairwiseSum(x.data(), n, [](T v) { return v * v; }) / static_cast<T>(n);
  for (std::size_t m = 1; m <= p; ++m) {
    const std::size_t len = m < n ? n - m : 0;
    T* fm = f.data() + (m < n ? m : n);
    T* gm = g.data();
    const T num = Kalix::detail::PairwiseSum2(fm, gm, len, [](T a, T b) { return a * b; });
    const T den = Kalix::detail::PairwiseSum2(fm, gm, len, [](T a, T b) { return a * a + b * b; });
    const T k = T(2) * num / den;
    std::copy(Phi.begin(), Phi.begin() + static_cast<std::ptrdiff_t>(m - 1), prev.begin());
    for (std::size_t j = 1; j < m; ++j) Phi[j - 1] = prev[j - 1] - k * prev[m - j - 1];
    Phi[m - 1] = k;
    for (std::size_t i = 0; i < len; ++i) {
      const T fi = fm[i], gi = gm[i];
      fm[i] = fi - k * gi;
      gm[i] = gi - k * fi;  // now b[t] for t = m + i, paired with f[t+1] at the next order
    }
    power = T(0.5) * Kalix::detail::PairwiseSum2(fm, gm, len, [](T a, T b) { return a * a + b * b; }) /
            static_cast<T>(len);
  }
  return power;
}

}  // namespace

void ARYuleWalkerFit(const TVec& Data, TVec& Phi, double& Variance, TVec* StdErrors) {
  Variance = 0;
  if (Data.Length() == 0 || Data.Complex()) ERaise("ARYuleWalker: (Data.Length=0) or (Data.Complex)");
  if (Phi.Length() == 0) ERaise("Phi.Length = 0");
  const int p = Phi.Length();
  WithPrecision(Data, [&](auto tag) {
    using T = typename decltype(tag)::type;
    TVecScratch gamma;
    AutoCov(Data, *gamma, p + 1);
    Phi.Size(p, PrecisionOf<T>());
    // The recursion's own final variance in either precision (the exported DurbinLevinson keeps
    // gamma[0] for single data; the fit reports the innovation variance).
    Variance = static_cast<double>(
        detail::DurbinLevinson<T>(gamma->Span<T>(), static_cast<std::size_t>(p), Phi.Span<T>()));
  });
  if (StdErrors) ARStdErrors(Data, p, Variance, *StdErrors);
}

void ARBurgFit(const TVec& Data, TVec& Phi, double& Variance, TVec* StdErrors) {
  Variance = 0;
  if (Data.Length() == 0 || Data.Complex()) ERaise("ARBurg: (Data.Length=0) or (Data.Complex)");
  if (Phi.Length() == 0) ERaise("Phi.Length = 0");
  const int p = Phi.Length();
  WithPrecision(Data, [&](auto tag) {
    using T = typename decltype(tag)::type;
    Phi.Size(p, PrecisionOf<T>());
    Variance = static_cast<double>(BurgKernel<T>(Data.Span<T>(), Phi.Span<T>()));
  });
  if (StdErrors) ARStdErrors(Data, p, Variance, *StdErrors);
}

}  // namespace StatTimeSerAnalysis
