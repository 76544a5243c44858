#include "Histogram.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace Kalix {

namespace {

// The data are taken in chunks: a vectorisable pass turns a chunk into bin indexes (-1 for a
// value that is not counted), and a scalar pass does the increments. Splitting the two keeps
// the compare-and-convert work out of the loop that waits on memory.
constexpr std::size_t kChunk = 256;

// Largest T not above nb - 1: the clamp that keeps every converted index inside the counts
// (in single precision nb - 1 itself may round upwards).
template <class T>
T TopIndex(std::size_t nb) {
  const double top = static_cast<double>(nb - 1);
  T t = static_cast<T>(top);
  while (static_cast<double>(t) > top) t = std::nextafter(t, T(0));
  return t;
}

template <class T>
void ChunkIndexes(const T* x, std::size_t n, T Min, T Max, T InvWidth, T Top, std::int32_t* idx) {
  for (std::size_t i = 0; i < n; ++i) {
    const T v = x[i];
    const T t = (v - Min) * InvWidth;
    // NaNs, values outside [Min, Max] and degenerate limits (0 * Inf, a negative width) fail
    // here; x == Max, or rounding just below it, lands on nb and is clamped to the last bin.
    const bool counted = (v >= Min) & (v <= Max) & (t >= T(0));
    const T clamped = t < Top ? t : Top;
    idx[i] = static_cast<std::int32_t>(counted ? clamped : T(-1));
  }
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
  const T top = TopIndex<T>(nb);
  std::int32_t* c = Counts.data();
  alignas(64) std::int32_t idx[kChunk];
  const bool split = nb <= kLocalBins && Data.size() >= kLanes * nb * 4;
  std::array<std::array<std::int32_t, kLocalBins>, kLanes> local;
  if (split)
    for (auto& l : local) std::fill(l.begin(), l.begin() + static_cast<std::ptrdiff_t>(nb), 0);

  for (std::size_t s = 0; s < Data.size(); s += kChunk) {
    const std::size_t m = std::min(kChunk, Data.size() - s);
    ChunkIndexes(Data.data() + s, m, Min, Max, InvWidth, top, idx);
    if (split) {
      std::size_t i = 0;
      for (; i + kLanes <= m; i += kLanes)
        for (std::size_t l = 0; l < kLanes; ++l)
          if (idx[i + l] >= 0) ++local[l][static_cast<std::size_t>(idx[i + l])];
      for (; i < m; ++i)
        if (idx[i] >= 0) ++local[0][static_cast<std::size_t>(idx[i])];
    } else {
      for (std::size_t i = 0; i < m; ++i)
        if (idx[i] >= 0) ++c[idx[i]];
    }
  }
  if (split)
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
