// Box-Cox power transform and its inverse (Box & Cox, JRSS B 26, 1964), the Ljung-Box
// portmanteau statistic (Ljung & Box, Biometrika 65, 1978) and moving averages.

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "StatTimeSerAnalysis/StatTimeSerAnalysis.h"

namespace StatTimeSerAnalysis {

using namespace Kalix;

namespace {

// M[i] = mean of y[i .. i+w-1], i = 0 .. n-w; each span summed on its own (pairwise), so no
// rounding drifts along the series as it would in a running sum.
template <class T>
void TrailingMeans(std::span<const T> y, std::size_t w, TVec& M) {
  const std::size_t len = y.size() - w + 1;
  M.Size(static_cast<int>(len), PrecisionOf<T>());
  auto m = M.Span<T>();
  for (std::size_t i = 0; i < len; ++i) m[i] = Kern::Mean<T>(y.subspan(i, w));
}

}  // namespace

void BoxCox(const TVec& X, TVec& Y, double Lambda) {
  if (Lambda < 0) ERaise("BoxCox : Lambda<0");
  // Deliberate: values outside the transform's domain are dropped, so Y can be shorter than X.
  if (Lambda == 0) {
    FindAndGather(Y, X, ">", 0.0);
    Ln(Y);
  } else {
    FindAndGather(Y, X, ">=", 0.0);
    Power(Y, Lambda);
    Normalize(Y, Y, 1.0, Lambda);
  }
}

void BoxCoxInv(const TVec& Y, TVec& X, double Lambda) {
  if (Lambda < 0) ERaise("BoxCoxInv : Lambda<0");
  if (Lambda == 0) {
    Exp(X, Y);
  } else {
    Normalize(X, Y, -1.0 / Lambda, 1.0 / Lambda);  // Y * Lambda + 1
    Power(X, 1.0 / Lambda);
  }
}

double BoxLjung(const TVec& X, int h) {
  const int n = X.Length();
  if (h > n - 1) ERaise("BoxLjung : h > X.Length-1");
  if (h < 1) return 0.0;  // no lags, empty sum
  TVecScratch r;
  ACF(X, *r, h + 1);
  double q = 0;
  for (int k = 1; k <= h; ++k) q += r->Values(k) * r->Values(k) / (n - k);
  return static_cast<double>(n) * (n + 2.0) * q;
}

double MovingAverage(const TVec& Y, int N, TVec& MA, int& Offset, bool Centred) {
  if (Y.Complex()) ERaise("SingleMovAve: Y.Complex");
  if (N > Y.Length()) ERaise("SingleMovAve: Y.Length<N");
  if (N < 1) ERaise("SingleMovAve: N<1");
  return WithPrecision(Y, [&](auto tag) {
    using T = typename decltype(tag)::type;
    const auto y = Y.Span<T>();
    const auto w = static_cast<std::size_t>(N);
    TVec out;  // MA may be Y itself
    if (!Centred || N % 2 == 1) {
      TrailingMeans<T>(y, w, out);
    } else {
      // An even span is centred as two averages of N/2 in turn (weights 1, 2, ..., 2, 1).
      TVecScratch half;
      TrailingMeans<T>(y, w / 2, *half);
      TrailingMeans<T>(std::span<const T>(half->Span<T>()), w / 2, out);
    }
    Offset = Centred ? (N - 1) / 2 : N - 1;
    const auto m = out.Span<T>();
    T ss(0);
    for (std::size_t i = 0; i < m.size(); ++i) {
      const T d = y[static_cast<std::size_t>(Offset) + i] - m[i];
      ss += d * d;
    }
    MA = std::move(out);
    return static_cast<double>(ss / static_cast<T>(m.size()));
  });
}

}  // namespace StatTimeSerAnalysis
