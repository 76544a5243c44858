#include "Histogram.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace Kalix {

namespace {

// Index of x's bin, or -1 when x is not counted. The range test comes first so that NaNs,
// values outside [Min, Max] and degenerate limits (an infinite range gives 0 * Inf) never
// reach the integer conversion.
template <class T>
inline int BinOf(T x, T Min, T Max, T InvWidth, T nbT, int nb) {
  if (!(x >= Min && x <= Max)) return -1;
  const T t = (x - Min) * InvWidth;
  if (!(t >= T(0))) return -1;
  // x == Max lands on index nb; rounding of InvWidth can do the same just below Max, and in
  // single precision nbT itself may round above nb.
  const int i = t < nbT ? static_cast<int>(t) : nb - 1;
  return i < nb ? i : nb - 1;
}

// Data with many equal neighbours (a peaked distribution, a constant run) make every
// increment wait for the previous store to the same counter. Four interleaved sub-histograms
// break that chain; they are used when the bins fit a small stack block and the data are
// long enough to repay clearing and merging it.
constexpr std::size_t kLanes = 4;
constexpr std::size_t kLocalBins = 512;

template <class T>
void CountKernel(std::span<const T> Data, std::span<std::int32_t> Counts, T Min, T Max, T InvWidth) {
  const std::size_t nb = Counts.size();
  if (nb == 0 || Data.empty()) return;
  const int nbi = static_cast<int>(std::min<std::size_t>(nb, 0x7fffffff));
  const T nbT = static_cast<T>(nbi);
  const T* x = Data.data();
  const std::size_t n = Data.size();
  std::int32_t* c = Counts.data();

  if (nb > kLocalBins || n < kLanes * nb * 4) {
    for (std::size_t i = 0; i < n; ++i) {
      const int b = BinOf(x[i], Min, Max, InvWidth, nbT, nbi);
      if (b >= 0) ++c[b];
    }
    return;
  }

  std::array<std::array<std::int32_t, kLocalBins>, kLanes> local{};
  std::size_t i = 0;
  for (; i + kLanes <= n; i += kLanes) {
    for (std::size_t l = 0; l < kLanes; ++l) {
      const int b = BinOf(x[i + l], Min, Max, InvWidth, nbT, nbi);
      if (b >= 0) ++local[l][static_cast<std::size_t>(b)];
    }
  }
  for (; i < n; ++i) {
    const int b = BinOf(x[i], Min, Max, InvWidth, nbT, nbi);
    if (b >= 0) ++local[0][static_cast<std::size_t>(b)];
  }
  for (std::size_t b = 0; b < nb; ++b) c[b] += (local[0][b] + local[1][b]) + (local[2][b] + local[3][b]);
}

}  // namespace

void HistogramCount_Idx(std::span<const double> Data, std::span<std::int32_t> Counts, double Min, double Max,
                        double InvWidth) {
  CountKernel<double>(Data, Counts, Min, Max, InvWidth);
}

void sHistogramCount_Idx(std::span<const float> Data, std::span<std::int32_t> Counts, float Min, float Max,
                         float InvWidth) {
  CountKernel<float>(Data, Counts, Min, Max, InvWidth);
}

}  // namespace Kalix
