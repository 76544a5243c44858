// One-way analysis of variance (groups in columns or by an index) and two-way analysis of
// variance with or without replications.
//
// Every sum is taken about the first observation before anything else: data with a large
// common offset (instrument readings near 1e12) then lose no digits in the group sums, and
// the sums of squares are centred sums with the two-pass correction rather than
// sum(x^2) - N*mean^2, which loses everything such an offset leaves.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

#include "Regress/Regress.h"
#include "Regress/detail/IndexSum.h"
#include "Regress/detail/OneWay.h"

namespace Regress {

using namespace Kalix;

// The one-way F decision: no between-group spread gives F = 0, no within-group spread F = Inf.
void detail::OneWayResult(double SSB, double SSW, double SST, double dfB, double dfW, double Alpha, double& p,
                          TANOVA1Result& r) {
  double F;
  if (SSB == 0.0) {
    F = 0.0;
    p = 1.0;
  } else if (SSW == 0.0) {
    F = INF;
    p = 0.0;
  } else {
    F = (dfW * SSB) / (dfB * SSW);
    p = 1.0 - FCDF(F, dfB, dfW);
  }
  r.SS1 = SSB;
  r.SS2 = SSW;
  r.SSTotal = SST;
  r.Deg1 = dfB;
  r.Deg2 = dfW;
  r.DegTotal = dfB + dfW;
  r.MS1 = SSB / dfB;
  r.MS2 = SSW / dfW;
  r.FDist = F;
  r.FCrit = FCDFInv(1.0 - Alpha, dfB, dfW);
}

namespace {

using detail::OneWayResult;

using detail::IndexSum;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Sum of squared deviations of (x[i] - K) from m, corrected by (sum of deviations)^2 / n so a
// rounded m costs nothing to first order. One pass: pairwise blocks of 256 on eight lanes.
template <class T>
void DevBlock(const T* x, std::size_t n, T K, T m, T& s, T& ss) {
  T a[8] = {}, q[8] = {};
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8)
    for (std::size_t j = 0; j < 8; ++j) {
      const T d = (x[i + j] - K) - m;
      a[j] += d;
      q[j] += d * d;
    }
  s = ((a[0] + a[1]) + (a[2] + a[3])) + ((a[4] + a[5]) + (a[6] + a[7]));
  ss = ((q[0] + q[1]) + (q[2] + q[3])) + ((q[4] + q[5]) + (q[6] + q[7]));
  for (; i < n; ++i) {
    const T d = (x[i] - K) - m;
    s += d;
    ss += d * d;
  }
}

template <class T>
void DevSums(const T* x, std::size_t n, T K, T m, T& s, T& ss) {
  if (n <= 256) {
    DevBlock(x, n, K, m, s, ss);
    return;
  }
  const std::size_t half = (n / 2 + 7) / 8 * 8;
  T s2, ss2;
  DevSums(x, half, K, m, s, ss);
  DevSums(x + half, n - half, K, m, s2, ss2);
  s += s2;
  ss += ss2;
}

template <class T>
T CentredSS(std::span<const T> x, T K, T m) {
  if (x.empty()) return T(0);
  T s, ss;
  DevSums(x.data(), x.size(), K, m, s, ss);
  return ss - s * s / static_cast<T>(x.size());
}

// ---------------------------------------------------------------- ANOVA1, groups in columns

// Column sums of (a - K) over rows, in blocks of rows so the rounding error stays small for tall data.
template <class T>
void ShiftedColumnSums(const T* a, std::size_t rows, std::size_t cols, T K, T* out, T* block) {
  constexpr std::size_t kRowBlock = 256;
  std::fill(out, out + cols, T(0));
  for (std::size_t r0 = 0; r0 < rows; r0 += kRowBlock) {
    const std::size_t r1 = std::min(rows, r0 + kRowBlock);
    std::fill(block, block + cols, T(0));
    for (std::size_t r = r0; r < r1; ++r) {
      const T* row = a + r * cols;
      for (std::size_t c = 0; c < cols; ++c) block[c] += row[c] - K;
    }
    for (std::size_t c = 0; c < cols; ++c) out[c] += block[c];
  }
}

template <class T>
TANOVA1Result Anova1Columns(const TMtx& Data, double& p, double Alpha) {
  const std::size_t r = static_cast<std::size_t>(Data.Rows()), k = static_cast<std::size_t>(Data.Cols());
  auto x = Data.Span<T>();
  const T K = x.empty() ? T(0) : x[0];
  TVecScratch sums, block;
  sums->Size(static_cast<int>(k), PrecisionOf<T>());
  block->Size(static_cast<int>(k), PrecisionOf<T>());
  auto m = sums->Span<T>();
  ShiftedColumnSums(x.data(), r, k, K, m.data(), block->Span<T>().data());
  for (T& v : m) v /= static_cast<T>(r);  // column means, less K
  const T g = IndexSum<T>(k, [&](std::size_t j) { return m[j]; }) / static_cast<T>(k);
  const T ssb = static_cast<T>(r) * IndexSum<T>(k, [&](std::size_t j) { return (m[j] - g) * (m[j] - g); });
  const T sst = CentredSS<T>(x, K, g);
  const T ssw = sst - ssb;
  const double dfB = static_cast<double>(k) - 1.0;
  const double dfW = (static_cast<double>(r) - 1.0) * static_cast<double>(k);
  TANOVA1Result res;
  OneWayResult(static_cast<double>(ssb), static_cast<double>(ssw), static_cast<double>(sst), dfB, dfW, Alpha, p, res);
  return res;
}

// ---------------------------------------------------------------- ANOVA1, indexed groups

constexpr std::size_t kLanes = 4;

// The group accumulators, grown (geometrically, contents kept, new entries zero) to hold group
// number Needed; a negative number is refused before anything is written.
template <class T>
std::size_t GrowGroups(std::int32_t Needed, std::size_t Cap, TVec& Sums, TVecInt& Counts, TVec& LaneSums,
                       TVecInt& LaneCounts) {
  if (Needed < 0) ERaise("ANOVA1: GroupIndex < 0");
  constexpr std::size_t kMaxGroups = static_cast<std::size_t>(std::numeric_limits<int>::max()) / kLanes;
  const std::size_t need = static_cast<std::size_t>(Needed) + 1;
  if (need > kMaxGroups) ERaise("ANOVA1: GroupIndex too large");
  const std::size_t cap = std::min(std::max(need, 2 * Cap), kMaxGroups);
  Sums.Resize(static_cast<int>(cap));
  Counts.Resize(static_cast<int>(cap));
  LaneSums.Resize(static_cast<int>(cap * kLanes));
  LaneCounts.Resize(static_cast<int>(cap * kLanes));
  return cap;
}

// Group sums of (x - K), counts and the total sum of squares in one pass over memory; returns
// k, one more than the largest group number present.
// - The only per-element branch is the bound check of the group number, which grows the
//   accumulators (or refuses a negative number) before anything is written out of range.
// - Interleaved sets of accumulators (group j, lane l at j*4 + l) keep runs of one group from
//   waiting on their own previous store; each block of data is summed apart and then added to
//   the totals, so long groups keep their digits.
// - While a block is still in cache its squared deviations about its own mean are summed
//   (two-pass within the block); SST is then the sum of these plus the blocks' spread about
//   the grand mean, so the data are read from memory once and SST still needs no raw squares.
template <class T>
std::size_t OneWaySums(std::span<const T> x, std::span<const std::int32_t> g, T K, TVec& Sums, TVecInt& Counts,
                       T& SST) {
  TVecScratch laneSums, blockMeans, blockSS;
  TVecIntScratch laneCounts, blockLens;
  Sums.Size(0, PrecisionOf<T>());
  Counts.Size(0, prInt32);
  laneSums->Size(0, PrecisionOf<T>());
  laneCounts->Size(0, prInt32);
  constexpr std::size_t kBlock = 16384;  // 192 KB of data and group numbers: stays in L2
  const std::size_t n = x.size(), maxBlocks = n / kBlock + 1;
  blockMeans->Size(static_cast<int>(maxBlocks), PrecisionOf<T>());
  blockSS->Size(static_cast<int>(maxBlocks), PrecisionOf<T>());
  blockLens->Size(static_cast<int>(maxBlocks), prInt32);
  auto bMean = blockMeans->Span<T>(), bSS = blockSS->Span<T>();
  auto bLen = blockLens->Span<std::int32_t>();
  std::size_t cap = 0, blocks = 0;
  T* ls = nullptr;
  std::int32_t* lc = nullptr;
  auto check = [&](std::int32_t gi) {
    if (static_cast<std::size_t>(static_cast<std::uint32_t>(gi)) >= cap) {
      cap = GrowGroups<T>(gi, cap, Sums, Counts, *laneSums, *laneCounts);
      ls = laneSums->Span<T>().data();
      lc = laneCounts->Span<std::int32_t>().data();
    }
  };
  for (std::size_t i = 0; i < n;) {
    // Many groups make folding the lanes dear: longer blocks then.
    const std::size_t i0 = i, i1 = std::min(n, i + std::max(kBlock, 16 * cap));
    std::fill(ls, ls + cap * kLanes, T(0));
    std::fill(lc, lc + cap * kLanes, 0);
    for (; i + kLanes <= i1; i += kLanes) {
      const auto u = [&](std::size_t l) { return static_cast<std::size_t>(static_cast<std::uint32_t>(g[i + l])); };
      if ((u(0) >= cap) | (u(1) >= cap) | (u(2) >= cap) | (u(3) >= cap)) [[unlikely]]
        for (std::size_t l = 0; l < kLanes; ++l) check(g[i + l]);
      for (std::size_t l = 0; l < kLanes; ++l) {
        const std::size_t j = u(l) * kLanes + l;
        ls[j] += x[i + l] - K;
        ++lc[j];
      }
    }
    for (; i < i1; ++i) {
      check(g[i]);
      const std::size_t j = static_cast<std::size_t>(g[i]) * kLanes;
      ls[j] += x[i] - K;
      ++lc[j];
    }
    T* s = Sums.Span<T>().data();
    std::int32_t* c = Counts.Span<std::int32_t>().data();
    T blockSum = T(0);
    for (std::size_t j = 0; j < cap; ++j) {
      const T* sl = ls + j * kLanes;
      const std::int32_t* cl = lc + j * kLanes;
      const T sj = (sl[0] + sl[1]) + (sl[2] + sl[3]);
      s[j] += sj;
      blockSum += sj;
      c[j] += (cl[0] + cl[1]) + (cl[2] + cl[3]);  // a count never exceeds Data.Length
    }
    const std::size_t len = i1 - i0;
    bLen[blocks] = static_cast<std::int32_t>(len);
    bMean[blocks] = blockSum / static_cast<T>(len);
    bSS[blocks] = CentredSS<T>(x.subspan(i0, len), K, bMean[blocks]);
    ++blocks;
  }
  auto c = Counts.Span<std::int32_t>();
  std::size_t k = cap;
  while (k > 0 && c[k - 1] == 0) --k;

  // SST = sum over blocks of (their own SS + length * (block mean - grand mean)^2).
  auto s = Sums.Span<T>();
  const T gm = IndexSum<T>(k, [&](std::size_t j) { return s[j]; }) / static_cast<T>(n);
  SST = IndexSum<T>(blocks, [&](std::size_t b) {
    const T d = bMean[b] - gm;
    return bSS[b] + static_cast<T>(bLen[b]) * d * d;
  });
  return k;
}

// The largest group number, or -1 when there is none; raises for a negative number.
std::int32_t LargestGroup(std::span<const std::int32_t> g) {
  std::int32_t lo = 0, hi = -1;
  for (const std::int32_t v : g) {
    lo = std::min(lo, v);
    hi = std::max(hi, v);
  }
  if (lo < 0) ERaise("ANOVA1: GroupIndex < 0");
  return hi;
}

// N observations fill at most N groups, so a group number of N or more leaves some group
// empty: its mean, hence SSB and SSW, are NaN. Only SST needs the data then, and nothing is
// sized by the group number.
template <class T>
TANOVA1Result Anova1EmptyGroup(std::span<const T> x, double M, double& p, double Alpha) {
  const T K = x[0];
  const T m = IndexSum<T>(x.size(), [&](std::size_t i) { return x[i] - K; }) / static_cast<T>(x.size());
  const double sst = static_cast<double>(CentredSS<T>(x, K, m));
  TANOVA1Result res;
  OneWayResult(kNaN, kNaN, sst, M, static_cast<double>(x.size()) - M - 1.0, Alpha, p, res);
  return res;
}

template <class T>
TANOVA1Result Anova1Indexed(const TVec& Data, const TVecInt& GroupIndex, double& p, double Alpha) {
  auto x = Data.Span<T>();
  const std::size_t n = x.size();
  const std::int32_t largest = LargestGroup(GroupIndex.Span<std::int32_t>());
  if (largest >= 0 && static_cast<std::size_t>(largest) >= n) return Anova1EmptyGroup<T>(x, largest, p, Alpha);
  const T K = n ? x[0] : T(0);
  TVecScratch sums;
  TVecIntScratch counts;
  T sst;
  const std::size_t k = OneWaySums<T>(x, GroupIndex.Span<std::int32_t>(), K, *sums, *counts, sst);
  auto s = sums->Span<T>();
  auto cnt = counts->Span<std::int32_t>();

  const T g = IndexSum<T>(k, [&](std::size_t j) { return s[j]; }) / static_cast<T>(n);  // grand mean, less K
  // A group number that never occurs has count 0 and mean NaN, which makes SSB NaN.
  const T ssb = IndexSum<T>(k, [&](std::size_t j) {
    const T c = static_cast<T>(cnt[j]);
    const T d = s[j] / c - g;
    return c * d * d;
  });
  const T ssw = sst - ssb;
  const double M = static_cast<double>(k) - 1.0;  // the largest group number
  TANOVA1Result res;
  OneWayResult(static_cast<double>(ssb), static_cast<double>(ssw), static_cast<double>(sst), M,
               static_cast<double>(n) - M - 1.0, Alpha, p, res);
  return res;
}

// ---------------------------------------------------------------- ANOVA2

// p-value and F of one effect; SSE = 0 decides by whether the effect has any spread.
// Deliberate: F = SS_effect * (SSE/dfE) / df_effect, the product of the two mean squares'
// parts rather than their ratio.
void Effect(double SS, double df, double SSE, double dfE, double& F, double& p) {
  if (SSE == 0.0) {
    F = SS == 0.0 ? 0.0 : INF;
    p = SS == 0.0 ? 1.0 : 0.0;
    return;
  }
  const double q = SSE / dfE;
  F = SS * q / df;
  p = 1.0 - FCDF(F, df, dfE);
}

template <class T>
TANOVA2Result Anova2Kernel(const TMtx& Data, double& pRows, double& pCols, double& pInter, int Replications,
                           double Alpha) {
  const std::size_t R = static_cast<std::size_t>(Replications);
  const std::size_t a = static_cast<std::size_t>(Data.Rows()) / R, b = static_cast<std::size_t>(Data.Cols());
  auto x = Data.Span<T>();
  const T K = x.empty() ? T(0) : x[0];
  const T tR = static_cast<T>(R), ta = static_cast<T>(a), tb = static_cast<T>(b);

  // Cell means (less K): the mean of the Replications rows of each cell.
  TMtxScratch cells;
  TVecScratch rowMeans, colMeans;
  cells->Size(static_cast<int>(a), static_cast<int>(b), PrecisionOf<T>());
  rowMeans->Size(static_cast<int>(a), PrecisionOf<T>());
  colMeans->Size(static_cast<int>(b), PrecisionOf<T>());
  auto c = cells->Span<T>();
  for (std::size_t i = 0; i < a; ++i)
    for (std::size_t j = 0; j < b; ++j)
      c[i * b + j] = IndexSum<T>(R, [&](std::size_t r) { return x[(i * R + r) * b + j] - K; }) / tR;
  auto rm = rowMeans->Span<T>();
  auto cm = colMeans->Span<T>();
  for (std::size_t i = 0; i < a; ++i) rm[i] = IndexSum<T>(b, [&](std::size_t j) { return c[i * b + j]; }) / tb;
  for (std::size_t j = 0; j < b; ++j) cm[j] = IndexSum<T>(a, [&](std::size_t i) { return c[i * b + j]; }) / ta;
  const T g = IndexSum<T>(b, [&](std::size_t j) { return cm[j]; }) / tb;

  const T ssCols = tR * ta * IndexSum<T>(b, [&](std::size_t j) { return (cm[j] - g) * (cm[j] - g); });
  const T ssRows = tR * tb * IndexSum<T>(a, [&](std::size_t i) { return (rm[i] - g) * (rm[i] - g); });
  const T ssTotal = CentredSS<T>(x, K, g);
  // What the cell means leave after both main effects: the interaction, or the error
  // without replications.
  const T sRes = tR * IndexSum<T>(a * b, [&](std::size_t ij) {
    const T d = c[ij] - rm[ij / b] - cm[ij % b] + g;
    return d * d;
  });
  const bool replicated = R > 1;
  T sse = sRes;
  if (replicated)
    sse = IndexSum<T>(a * b * R, [&](std::size_t e) {  // spread inside the cells
      const std::size_t row = e / b, j = e % b;
      const T d = (x[e] - K) - c[(row / R) * b + j];
      return d * d;
    });

  const double da = static_cast<double>(a), db = static_cast<double>(b), dR = static_cast<double>(R);
  const double dfRows = da - 1.0, dfCols = db - 1.0;
  const double dfE = replicated ? (dR - 1.0) * da * db : (db - 1.0) * (da - 1.0);
  const double dfInter = replicated ? (db - 1.0) * (da - 1.0) : 0.0;
  const double SSRows = static_cast<double>(ssRows), SSCols = static_cast<double>(ssCols);
  const double SSE = static_cast<double>(sse);
  const double SSInter = replicated ? static_cast<double>(sRes) : kNaN;

  TANOVA2Result r;
  Effect(SSRows, dfRows, SSE, dfE, r.FDist1, pRows);
  Effect(SSCols, dfCols, SSE, dfE, r.FDist2, pCols);
  if (replicated) {
    Effect(SSInter, dfInter, SSE, dfE, r.FDist3, pInter);
    r.FCrit3 = FCDFInv(1.0 - Alpha, dfInter, dfE);
  } else {
    r.FDist3 = kNaN;
    r.FCrit3 = kNaN;
  }
  r.SS1 = SSRows;
  r.SS2 = SSCols;
  r.SS3 = SSInter;
  r.SS4 = SSE;
  r.SSTotal = static_cast<double>(ssTotal);
  r.Deg1 = dfRows;
  r.Deg2 = dfCols;
  r.Deg3 = replicated ? dfInter : kNaN;
  r.Deg4 = dfE;
  r.DegTotal = static_cast<double>(Data.Rows()) * static_cast<double>(Data.Cols()) - 1.0;
  r.MS1 = SSRows / dfRows;
  r.MS2 = SSCols / dfCols;
  r.MS3 = replicated ? SSInter / dfInter : kNaN;
  r.MS4 = SSE / dfE;
  r.FCrit1 = FCDFInv(1.0 - Alpha, dfRows, dfE);
  r.FCrit2 = FCDFInv(1.0 - Alpha, dfCols, dfE);
  return r;
}

}  // namespace

TANOVA1Result ANOVA1(const TMtx& Data, double& p, double Alpha) {
  if (Data.Complex()) ERaise("ANOVA1: Data.Complex");
  return WithPrecision(Data, [&](auto t) { return Anova1Columns<typename decltype(t)::type>(Data, p, Alpha); });
}

TANOVA1Result ANOVA1(const TVec& Data, const TVecInt& GroupIndex, double& p, double Alpha) {
  // An integer vector is never complex; the text names both for symmetry with the data.
  if (Data.Complex()) ERaise("ANOVA1: Data.Complex or GroupIndex.Complex");
  if (Data.Length() != GroupIndex.Length()) ERaise("ANOVA1: Data.Length <> GroupIndex.Length");
  if (GroupIndex.IntPrecision() != prInt32) ERaise("ANOVA1: GroupIndex.IntPrecision <> prInt32");
  return WithPrecision(Data, [&](auto t) {
    return Anova1Indexed<typename decltype(t)::type>(Data, GroupIndex, p, Alpha);
  });
}

TANOVA2Result ANOVA2(const TMtx& Data, double& pRows, double& pCols, double& pInter, int Replications,
                     double Alpha) {
  pInter = 0.0;
  // Deliberate: the remainder is tested before Replications itself, so Replications = 0
  // fails as an integer division by zero rather than with its own message.
  if (Replications == 0) ERaise("Division by zero");
  if (Data.Rows() % Replications != 0) ERaise("ANOVA2: (Data.Rows mod Replications) <> 0");
  if (Replications <= 0) ERaise("ANOVA2: Replications <= 0");
  if (Data.Complex()) ERaise("ANOVA2: Data.Complex = true");
  return WithPrecision(Data, [&](auto t) {
    return Anova2Kernel<typename decltype(t)::type>(Data, pRows, pCols, pInter, Replications, Alpha);
  });
}

}  // namespace Regress
