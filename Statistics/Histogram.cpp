// Histograms over equal-width bins (counted by the core's kernel) and over bins given by their
// centres (counted by binary search of the bin edges), and cumulative relative frequencies.

#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

#include "Statistics/Statistics.h"
#include "Statistics/detail/EdgeSearch.h"

namespace Statistics {

using namespace Kalix;

namespace {

// Smallest and largest number of x, NaNs skipped (both NaN when there is none), so that a
// missing value neither hides the data's range nor the data from the count.
// A comparison with NaN is false, so "v < lo ? v : lo" passes NaNs over; eight lanes let the
// compiler use vector min/max.
template <class T>
void RangeOfNumbers(std::span<const T> x, T& Min, T& Max) {
  constexpr std::size_t kLanes = 8;
  T lo[kLanes], hi[kLanes];
  for (std::size_t j = 0; j < kLanes; ++j) {
    lo[j] = std::numeric_limits<T>::infinity();
    hi[j] = -std::numeric_limits<T>::infinity();
  }
  std::size_t i = 0;
  for (; i + kLanes <= x.size(); i += kLanes)
    for (std::size_t j = 0; j < kLanes; ++j) {
      const T v = x[i + j];
      lo[j] = v < lo[j] ? v : lo[j];
      hi[j] = v > hi[j] ? v : hi[j];
    }
  for (; i < x.size(); ++i) {
    lo[0] = x[i] < lo[0] ? x[i] : lo[0];
    hi[0] = x[i] > hi[0] ? x[i] : hi[0];
  }
  Min = lo[0];
  Max = hi[0];
  for (std::size_t j = 1; j < kLanes; ++j) {
    Min = lo[j] < Min ? lo[j] : Min;
    Max = hi[j] > Max ? hi[j] : Max;
  }
  if (Min > Max) Min = Max = std::numeric_limits<T>::quiet_NaN();  // no number at all
}

void DataRange(const TVec& Data, double& Min, double& Max) {
  WithPrecision(Data, [&](auto t) {
    using T = typename decltype(t)::type;
    T lo, hi;
    RangeOfNumbers<T>(Data.Span<T>(), lo, hi);
    Min = static_cast<double>(lo);
    Max = static_cast<double>(hi);
  });
}

// A single value has no width to divide: widen the range around it by about one unit per bin,
// floor(NumBins / 2) + 0.5 below and ceil(NumBins / 2) + 0.5 above.
void WidenEqualLimits(double& Min, double& Max, int NumBins) {
  if (Min != Max) return;
  const double half = NumBins * 0.5;
  Min = Min - std::floor(half) - 0.5;
  Max = std::ceil(half) + Max + 0.5;
}

// Whether v keeps its class in single precision: finite stays finite, non-zero stays non-zero.
bool FitsSingle(double v) {
  const float f = static_cast<float>(v);
  return std::isfinite(f) == std::isfinite(v) && (f == 0.0f) == (v == 0.0);
}

// The equal-width histogram after the argument checks.
void EqualWidth(const TVec& Data, int NumBins, TVecInt& Results, TVec& Bins, bool BinCenters, double Min, double Max) {
  if (!BinCenters && NumBins == INT_MAX) ERaise("Histogram: NumBins + 1 edges exceed the largest vector");
  WidenEqualLimits(Min, Max, NumBins);
  const double W = (Max - Min) / NumBins;
  Results.Size(NumBins, prInt32);
  Results.SetZero();
  // Counted before Bins is written, in case the caller passed the data as Bins.
  WithPrecision(Data, [&](auto t) {
    using T = typename decltype(t)::type;
    const auto x = Data.Span<T>();
    if (x.empty()) return;
    auto counts = Results.Span<std::int32_t>();
    const double inv = 1.0 / W;
    if constexpr (std::is_same_v<T, double>) {
      HistogramCount_Idx(x, counts, Min, Max, inv);
    } else if (FitsSingle(Min) && FitsSingle(Max) && FitsSingle(inv)) {
      sHistogramCount_Idx(x, counts, static_cast<float>(Min), static_cast<float>(Max), static_cast<float>(inv));
    } else {
      // Limits or a reciprocal width beyond the single range (bins narrower than 1 / FLT_MAX,
      // limits past FLT_MAX) would make every index Inf or NaN in single: count in double.
      TVecScratch wide;
      wide->Size(Data.Length(), mvDouble);
      const auto w = wide->Span<double>();
      for (std::size_t i = 0; i < x.size(); ++i) w[i] = static_cast<double>(x[i]);
      HistogramCount_Idx(std::as_const(*wide).Span<double>(), counts, Min, Max, inv);
    }
  });
  const TMtxFloatPrecision p = Data.FloatPrecision();
  WithPrecision(p, [&](auto t) {
    using T = typename decltype(t)::type;
    if (BinCenters) {
      Bins.Size(NumBins, p);
      auto b = Bins.Span<T>();
      for (std::size_t i = 0; i < b.size(); ++i) b[i] = static_cast<T>(Min + W * 0.5 + static_cast<double>(i) * W);
    } else {
      Bins.Size(NumBins + 1, p);
      auto b = Bins.Span<T>();
      for (std::size_t i = 0; i < b.size(); ++i) b[i] = static_cast<T>(Min + static_cast<double>(i) * W);
    }
  });
}

// Integer counts copied into a real vector of the data's precision.
void CountsToReal(const TVecInt& Counts, TVec& Results, TMtxFloatPrecision p) {
  Results.Size(Counts.Length(), p);
  WithPrecision(p, [&](auto t) {
    using T = typename decltype(t)::type;
    const auto c = Counts.Span<std::int32_t>();
    auto r = Results.Span<T>();
    for (std::size_t i = 0; i < c.size(); ++i) r[i] = static_cast<T>(c[i]);
  });
}

// Bin edges from the centres (E has n + 2 elements) and the count of every datum.
template <class T>
void CentreCounts(std::span<const T> x, const TVec& Bins, std::span<T> E, std::span<std::int32_t> counts) {
  const int n = Bins.Length();
  const std::size_t un = static_cast<std::size_t>(n);
  T dataMin, dataMax;
  RangeOfNumbers<T>(x, dataMin, dataMax);
  if (dataMin == dataMax) {
    const T half = static_cast<T>(n) * T(0.5);
    dataMin = dataMin - std::floor(half) - T(0.5);
    dataMax = std::ceil(half) + dataMax + T(0.5);
  }
  // Half-gaps to the next centre; the last bin gets none, so its upper edge is its own centre
  // unless the data reach further.
  auto halfGap = [&](int i) { return i < n - 1 ? (Bins.Values(i + 1) - Bins.Values(i)) * 0.5 : 0.0; };
  E[0] = -std::numeric_limits<T>::infinity();
  E[1] = static_cast<T>(Bins.Values(0) - halfGap(0));
  for (int i = 0; i < n; ++i) E[static_cast<std::size_t>(i) + 2] = static_cast<T>(Bins.Values(i) + halfGap(i));
  if (dataMin < E[1]) E[1] = dataMin;
  if (dataMax > E[un + 1]) E[un + 1] = dataMax;
  // Raising every upper edge by an ulp or so tips a value lying exactly on a midpoint into the
  // lower bin, and keeps the data's maximum below the top edge. The floor E[1] stays where it
  // is: raised, it would drop the data's minimum out of the first bin.
  const T eps = Eps<T>();
  for (std::size_t i = 2; i <= un + 1; ++i) E[i] += std::fmax(eps, std::fabs(E[i]) * eps);
  const int m = n + 2;
  for (T v : x) {
    const int i = detail::FindEdge(E.data(), m, v) - 1;
    if (i >= 0 && i < n) ++counts[static_cast<std::size_t>(i)];
  }
}

// Running sum scaled by the total, so the last element is 1 (NaN throughout for no data).
void ToCumulative(TVec& Results) {
  const double total = Sum(Results);
  CumSum(Results);
  Scale(Results, 1.0 / total);
}

}  // namespace

// ---------------------------------------------------------------- equal-width bins

void Histogram(const TVec& Data, int NumBins, TVecInt& Results, TVec& Bins, bool BinCenters, double Min, double Max) {
  if (Data.Complex()) ERaise("Histogram: Data.Complex = true");
  if (NumBins < 1) ERaise("Histogram: NumBins <= 0");
  EqualWidth(Data, NumBins, Results, Bins, BinCenters, Min, Max);
}

void Histogram(const TVec& Data, int NumBins, TVecInt& Results, TVec& Bins, bool BinCenters) {
  if (Data.Complex()) ERaise("Histogram: Data.Complex = true");
  if (NumBins < 1) ERaise("Histogram: NumBins <= 0");
  double lo, hi;
  DataRange(Data, lo, hi);
  EqualWidth(Data, NumBins, Results, Bins, BinCenters, lo, hi);
}

void Histogram(const TVec& Data, int NumBins, TVec& Results, TVec& Bins, bool BinCenters, double Min, double Max) {
  // Deliberate: the real-valued forms put a blank before the colon.
  if (Data.Complex()) ERaise("Histogram : Data.Complex = true");
  if (NumBins < 1) ERaise("Histogram : NumBins <= 0");
  TVecIntScratch counts;
  EqualWidth(Data, NumBins, *counts, Bins, BinCenters, Min, Max);
  CountsToReal(*counts, Results, Data.FloatPrecision());
}

void Histogram(const TVec& Data, int NumBins, TVec& Results, TVec& Bins, bool BinCenters) {
  if (Data.Complex()) ERaise("Histogram : Data.Complex = true");
  if (NumBins < 1) ERaise("Histogram : NumBins <= 0");
  double lo, hi;
  DataRange(Data, lo, hi);
  Histogram(Data, NumBins, Results, Bins, BinCenters, lo, hi);
}

// ---------------------------------------------------------------- bins given by their centres

void Histogram(const TVec& Data, const TVec& Bins, TVec& Results) {
  const int n = Bins.Length();
  // Deliberate: a blank before the colon in both texts.
  if (Data.Complex()) ERaise("Histogram : Data.Complex = true");
  if (n < 1) ERaise("Histogram : Bins.Length < 1");
  // The edge vector holds n + 2 elements.
  if (n > INT_MAX - 2) ERaise("Histogram : Bins.Length + 2 edges exceed the largest vector");
  TVecIntScratch counts;
  counts->Size(n, prInt32);
  WithPrecision(Data, [&](auto t) {
    using T = typename decltype(t)::type;
    TVecScratch edges;
    edges->Size(n + 2, PrecisionOf<T>());
    CentreCounts<T>(Data.Span<T>(), Bins, edges->Span<T>(), counts->Span<std::int32_t>());
  });
  // Written last: Results may be the caller's Bins or Data object.
  Results.Size(Bins);
  for (int i = 0; i < n; ++i) Results.Values(i) = counts->Values(i);
}

// ---------------------------------------------------------------- cumulative

void CumulativeHist(const TVec& Data, int NumBins, TVec& Results, TVec& Bins, bool BinCenters) {
  Histogram(Data, NumBins, Results, Bins, BinCenters);
  ToCumulative(Results);
}

void CumulativeHist(const TVec& Data, const TVec& Bins, TVec& Results) {
  Histogram(Data, Bins, Results);
  ToCumulative(Results);
}

}  // namespace Statistics
