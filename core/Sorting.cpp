#include "Sorting.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <numeric>
#include <type_traits>
#include <vector>

#if defined(__GNUC__) && defined(__x86_64__) && defined(__ELF__)
#include <immintrin.h>
#define KALIX_AVX512_CLASSIFY 1
#endif

#include "Dispatch.h"
#include "Scratch.h"
#include "detail/Select.h"

namespace Kalix {

namespace {

// ---------------------------------------------------------------- radix sort
//
// LSD radix sort on the IEEE bit patterns: flipping the sign bit of positive numbers and
// every bit of negative ones makes unsigned order equal numeric order. NaN maps to the
// largest key and -0 to +0, so the order is total and equal values stay stable.

template <class T>
using UKey = std::conditional_t<sizeof(T) == 8, std::uint64_t, std::uint32_t>;

template <class T, bool Desc>
UKey<T> SortKey(T v) {
  using U = UKey<T>;
  if (v != v) return ~U(0);
  if (v == T(0)) v = T(0);
  const U b = std::bit_cast<U>(v);
  constexpr U sign = U(1) << (sizeof(U) * 8 - 1);
  const U k = (b & sign) ? ~b : (b | sign);
  if constexpr (Desc) return ~k;  // never all ones: only a NaN pattern maps to key 0
  return k;
}

constexpr int kRadixBits = 11;
constexpr std::size_t kBuckets = std::size_t{1} << kRadixBits;
constexpr std::size_t kRadixMin = 256;  // below this a comparison sort is faster

template <class T, bool Desc, bool WithIdx>
void RadixSort(T* x, std::int32_t* idx, std::size_t n) {
  constexpr int kPasses = static_cast<int>((sizeof(T) * 8 + kRadixBits - 1) / kRadixBits);
  constexpr UKey<T> mask = static_cast<UKey<T>>(kBuckets - 1);
  std::vector<std::uint32_t> hist(kPasses * kBuckets, 0);
  for (std::size_t i = 0; i < n; ++i) {
    const UKey<T> k = SortKey<T, Desc>(x[i]);
    for (int p = 0; p < kPasses; ++p) ++hist[static_cast<std::size_t>(p) * kBuckets + ((k >> (p * kRadixBits)) & mask)];
  }
  std::vector<T> tx(n);
  std::vector<std::int32_t> ti(WithIdx ? n : 0);
  T* src = x;
  T* dst = tx.data();
  std::int32_t* si = idx;
  std::int32_t* di = ti.data();
  for (int p = 0; p < kPasses; ++p) {
    std::uint32_t* h = &hist[static_cast<std::size_t>(p) * kBuckets];
    const int shift = p * kRadixBits;
    if (h[(SortKey<T, Desc>(src[0]) >> shift) & mask] == n) continue;  // digit constant: pass is a no-op
    std::uint32_t sum = 0;
    for (std::size_t b = 0; b < kBuckets; ++b) {
      const std::uint32_t c = h[b];
      h[b] = sum;
      sum += c;
    }
    for (std::size_t i = 0; i < n; ++i) {
      const std::uint32_t pos = h[(SortKey<T, Desc>(src[i]) >> shift) & mask]++;
      dst[pos] = src[i];
      if constexpr (WithIdx) di[pos] = si[i];
    }
    std::swap(src, dst);
    if constexpr (WithIdx) std::swap(si, di);
  }
  if (src != x) {
    std::memcpy(x, src, n * sizeof(T));
    if constexpr (WithIdx) std::memcpy(idx, si, n * sizeof(std::int32_t));
  }
}

template <class T, bool Desc>
void SortWithIdx(std::span<T> x, std::span<std::int32_t> idx) {
  if (idx.size() != x.size()) ERaise("SortAscend: Indexes.Length <> X.Length");
  const std::size_t n = x.size();
  std::iota(idx.begin(), idx.end(), 0);
  if (n < 2) return;
  if (n >= kRadixMin) {
    RadixSort<T, Desc, true>(x.data(), idx.data(), n);
    return;
  }
  std::vector<T> copy(x.begin(), x.end());
  std::stable_sort(idx.begin(), idx.end(), [&](std::int32_t a, std::int32_t b) {
    return SortKey<T, Desc>(copy[static_cast<std::size_t>(a)]) < SortKey<T, Desc>(copy[static_cast<std::size_t>(b)]);
  });
  for (std::size_t i = 0; i < n; ++i) x[i] = copy[static_cast<std::size_t>(idx[i])];
}

void RequireRealVec(const TVec& X, const char* msg) {
  if (X.Complex()) ERaise(msg);
}

template <class T>
bool Compare(T v, std::string_view op, T value) {
  if (op == "<") return v < value;
  if (op == "<=") return v <= value;
  if (op == ">") return v > value;
  if (op == ">=") return v >= value;
  if (op == "=") return v == value;
  return v != value;  // "<>"
}

void CheckOp(std::string_view op) {
  if (op != "<" && op != "<=" && op != ">" && op != ">=" && op != "=" && op != "<>")
    ERaise("Find: unknown comparison operator");
}

// Calls keep(i) for every i where X[i] Op Value holds.
template <class F>
void ForEachMatch(const TVec& X, std::string_view Op, double Value, F keep) {
  CheckOp(Op);
  WithPrecision(X, [&](auto t) {
    using T = typename decltype(t)::type;
    auto x = X.Span<T>();
    const T v = static_cast<T>(Value);
    for (std::size_t i = 0; i < x.size(); ++i)
      if (Compare(x[i], Op, v)) keep(static_cast<int>(i));
  });
}

// ---------------------------------------------------------------- order statistics

// The k-th value of s[0..n) and its successor, NaNs counting as largest (the successor of the
// largest number, or of a NaN, is NaN).
template <class T>
void OrderStatPairIn(T* s, std::size_t n, std::size_t k, T& kth, T& next) {
  const std::size_t m = detail::PartitionNaNLast(s, n);
  if (k < m) std::nth_element(s, s + k, s + m);
  kth = s[k];
  next = k + 1 < m ? detail::MinOfNumbers(s, k + 1, m) : std::numeric_limits<T>::quiet_NaN();
}

template <class T>
void OrderStatPairByCopy(std::span<const T> x, std::size_t k, T& kth, T& next) {
  const std::size_t n = x.size();
  // A short sample is copied to the stack: repeated small calls allocate nothing.
  constexpr std::size_t kStack = 256;
  if (n <= kStack) {
    T s[kStack];
    std::memcpy(s, x.data(), n * sizeof(T));
    return OrderStatPairIn(s, n, k, kth, next);
  }
  std::unique_ptr<T[]> s(new T[n]);
  std::copy(x.begin(), x.end(), s.get());
  OrderStatPairIn(s.get(), n, k, kth, next);
}

// Deterministic pseudo-random offset in [0, 1) for sample position j.
double SampleJitter(std::size_t j) {
  std::uint64_t z = j * 0x9E3779B97F4A7C15ULL + 0x632BE59BD9B4E019ULL;
  z = (z ^ (z >> 31)) * 0xBF58476D1CE4E5B9ULL;
  return static_cast<double>((z ^ (z >> 29)) >> 11) * 0x1.0p-53;
}

// Counts the values below lo and copies those in [lo, hi] to mid (room for cap values).
// Returns false when more than cap values fall inside. Two (or four) lanes at a time with
// the compiler's vector extension: the inside test is a mask, so the only branch is the rare
// "some lane is inside" one and the pass runs at memory speed.
#ifdef KALIX_AVX512_CLASSIFY
// The AVX-512 operations of the pass for one element type.
template <class T>
struct TWide;
template <>
struct TWide<double> {
  using V = __m512d;
  static constexpr std::size_t kLanes = 8;
  [[gnu::target("avx512f")]] static V Set(double a) { return _mm512_set1_pd(a); }
  [[gnu::target("avx512f")]] static V Load(const double* p) { return _mm512_loadu_pd(p); }
  [[gnu::target("avx512f")]] static __mmask8 Below(V v, V lo) { return _mm512_cmp_pd_mask(v, lo, _CMP_LT_OQ); }
  [[gnu::target("avx512f")]] static __mmask8 Inside(V v, V lo, V hi) {
    return _mm512_mask_cmp_pd_mask(_mm512_cmp_pd_mask(v, lo, _CMP_GE_OQ), v, hi, _CMP_LE_OQ);
  }
  [[gnu::target("avx512f")]] static void Pack(double* p, __mmask8 m, V v) {
    _mm512_storeu_pd(p, _mm512_maskz_compress_pd(m, v));
  }
};
template <>
struct TWide<float> {
  using V = __m512;
  static constexpr std::size_t kLanes = 16;
  [[gnu::target("avx512f")]] static V Set(float a) { return _mm512_set1_ps(a); }
  [[gnu::target("avx512f")]] static V Load(const float* p) { return _mm512_loadu_ps(p); }
  [[gnu::target("avx512f")]] static __mmask16 Below(V v, V lo) { return _mm512_cmp_ps_mask(v, lo, _CMP_LT_OQ); }
  [[gnu::target("avx512f")]] static __mmask16 Inside(V v, V lo, V hi) {
    return _mm512_mask_cmp_ps_mask(_mm512_cmp_ps_mask(v, lo, _CMP_GE_OQ), v, hi, _CMP_LE_OQ);
  }
  [[gnu::target("avx512f")]] static void Pack(float* p, __mmask16 m, V v) {
    _mm512_storeu_ps(p, _mm512_maskz_compress_ps(m, v));
  }
};

// The same pass on AVX-512: eight (sixteen) lanes per step, and the inside values packed by
// the compress instruction, so the loop has no data-dependent branch at all. Returns how many
// leading values it classified (a multiple of the lane count, or fewer when cap ran out).
template <class T>
__attribute__((target("avx512f,popcnt"))) std::size_t ClassifyWide(const T* x, std::size_t n, T lo, T hi,
                                                                    std::size_t& below, T* mid, std::size_t cap,
                                                                    std::size_t& inside) {
  using W = TWide<T>;
  const typename W::V vlo = W::Set(lo), vhi = W::Set(hi);
  std::size_t i = 0, b = 0, c = 0;
  for (; i + W::kLanes <= n && c + W::kLanes <= cap; i += W::kLanes) {
    const typename W::V v = W::Load(x + i);
    const auto in = W::Inside(v, vlo, vhi);
    W::Pack(mid + c, in, v);
    b += static_cast<std::size_t>(__builtin_popcount(W::Below(v, vlo)));
    c += static_cast<std::size_t>(__builtin_popcount(in));
  }
  below = b;
  inside = c;
  return i;
}

bool HasAvx512() {
  static const bool has = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("popcnt");
  return has;
}
#endif

template <class T>
bool ClassifyPass(std::span<const T> x, T lo, T hi, std::size_t& below, T* mid, std::size_t cap, std::size_t& inside) {
  std::size_t i = 0, c = 0, b = 0;
#ifdef KALIX_AVX512_CLASSIFY
  if (HasAvx512()) {
    i = ClassifyWide(x.data(), x.size(), lo, hi, b, mid, cap, c);
    // The scalar loop below finishes the tail (and reports a full mid).
    for (; i < x.size(); ++i) {
      const T v = x[i];
      b += v < lo;
      if (v >= lo && v <= hi) {
        if (c >= cap) return false;
        mid[c++] = v;
      }
    }
    below = b;
    inside = c;
    return true;
  }
#endif
  const std::size_t n = x.size();
#if defined(__GNUC__)
  using I = std::conditional_t<sizeof(T) == 8, std::int64_t, std::int32_t>;
  constexpr std::size_t kLanes = 16 / sizeof(T);
  typedef T V __attribute__((vector_size(16)));
  typedef I M __attribute__((vector_size(16)));
  M acc = {};
  V vlo, vhi;
  for (std::size_t l = 0; l < kLanes; ++l) {
    vlo[l] = lo;
    vhi[l] = hi;
  }
  for (; i + kLanes <= n; i += kLanes) {
    V v;
    std::memcpy(&v, x.data() + i, sizeof v);
    acc -= static_cast<M>(v < vlo);
    const M in = (v >= vlo) & (v <= vhi);
    bool any = false;
    for (std::size_t l = 0; l < kLanes; ++l) any |= in[l] != 0;
    if (any) {
      if (c + kLanes > cap) return false;
      for (std::size_t l = 0; l < kLanes; ++l)
        if (in[l]) mid[c++] = v[l];
    }
  }
  for (std::size_t l = 0; l < kLanes; ++l) b += static_cast<std::size_t>(acc[l]);
#endif
  for (; i < n; ++i) {
    const T v = x[i];
    b += v < lo;
    if (v >= lo && v <= hi) {
      if (c >= cap) return false;
      mid[c++] = v;
    }
  }
  below = b;
  inside = c;
  return true;
}

// Floyd-Rivest style selection: order statistics of a deterministic sample bracket the wanted
// one, one pass counts the values below the bracket and copies those inside it (a few percent
// of the data), and the selection runs on that copy. When the bracket misses (vanishingly
// rare, e.g. a huge tie at the bracket) it falls back to selecting on a full copy.
template <class T>
void OrderStatPairSampled(std::span<const T> x, std::size_t k, T& kth, T& next) {
  const std::size_t n = x.size();
  const std::size_t m = std::min(n / 8, static_cast<std::size_t>(std::pow(static_cast<double>(n), 2.0 / 3.0)));
  std::vector<T> sample(m);
  const double stride = static_cast<double>(n) / static_cast<double>(m);
  for (std::size_t j = 0; j < m; ++j)
    sample[j] = x[std::min(n - 1, static_cast<std::size_t>((static_cast<double>(j) + SampleJitter(j)) * stride))];
  const std::size_t numbers = detail::PartitionNaNLast(sample.data(), m);
  // The sample rank of the k-th value is binomial with sd <= sqrt(m)/2: a margin of 3 sqrt(m)
  // misses with probability around 1e-9.
  const double pos = (static_cast<double>(k) + 0.5) * static_cast<double>(m) / static_cast<double>(n);
  const double delta = 3.0 * std::sqrt(static_cast<double>(m)) + 2.0;
  T lo = -std::numeric_limits<T>::infinity(), hi = std::numeric_limits<T>::infinity();
  if (pos - delta >= 0.0) {
    const auto r = static_cast<std::size_t>(pos - delta);
    if (r >= numbers) return OrderStatPairByCopy(x, k, kth, next);
    lo = detail::SelectKth(sample.data(), numbers, r);
  }
  if (pos + delta < static_cast<double>(numbers))
    hi = detail::SelectKth(sample.data(), numbers, static_cast<std::size_t>(pos + delta));
  // Expected inside count is about 2 * delta / m * n, with a spread far below that; allow 1.5
  // times (the scratch is cleared on every call, so a tighter cap is cheaper).
  const std::size_t cap = std::min(n, static_cast<std::size_t>(3.0 * delta / static_cast<double>(m) * static_cast<double>(n)) + 64);
  // Pooled scratch: a repeated call finds the pages already mapped rather than faulting
  // thousands of fresh ones in.
  TVecScratch midBuf;
  midBuf->Size(static_cast<int>(cap), PrecisionOf<T>());
  T* mid = midBuf->Span<T>().data();
  std::size_t below = 0, inside = 0;
  if (!ClassifyPass(x, lo, hi, below, mid, cap, inside) || k < below || k >= below + inside)
    return OrderStatPairByCopy(x, k, kth, next);
  const std::size_t r = k - below;
  std::nth_element(mid, mid + r, mid + inside);
  kth = mid[r];
  if (r + 1 < inside) {
    next = detail::MinFrom(mid, r + 1, inside);
    return;
  }
  // The neighbour lies above the bracket: the smallest such number, or NaN if only NaNs do.
  next = std::numeric_limits<T>::quiet_NaN();
  for (const T v : x)
    if (v > hi && !(v >= next)) next = v;
}

}  // namespace

namespace Kern {

template <class T>
void OrderStatPair(std::span<const T> x, std::size_t k, T& Kth, T& Next) {
  if (k >= x.size()) ERaise("OrderStatPair: k out of range");
  constexpr std::size_t kSampleMin = 1 << 15;  // below this one copy and select is as fast
  if (x.size() < kSampleMin) return OrderStatPairByCopy(x, k, Kth, Next);
  OrderStatPairSampled(x, k, Kth, Next);
}
template KALIX_EXPORT void OrderStatPair<float>(std::span<const float>, std::size_t, float&, float&);
template KALIX_EXPORT void OrderStatPair<double>(std::span<const double>, std::size_t, double&, double&);

template <class T>
void SortAscend(std::span<T> x) {
  if (x.size() >= kRadixMin) {
    RadixSort<T, false, false>(x.data(), nullptr, x.size());
    return;
  }
  const std::size_t m = detail::PartitionNaNLast(x.data(), x.size());
  std::sort(x.begin(), x.begin() + static_cast<std::ptrdiff_t>(m));
}

template <class T>
void SortAscendIdx(std::span<T> x, std::span<std::int32_t> Idx) {
  SortWithIdx<T, false>(x, Idx);
}

template <class T>
void SortDescendIdx(std::span<T> x, std::span<std::int32_t> Idx) {
  SortWithIdx<T, true>(x, Idx);
}

template KALIX_EXPORT void SortAscend<float>(std::span<float>);
template KALIX_EXPORT void SortAscend<double>(std::span<double>);
template KALIX_EXPORT void SortAscendIdx<float>(std::span<float>, std::span<std::int32_t>);
template KALIX_EXPORT void SortAscendIdx<double>(std::span<double>, std::span<std::int32_t>);
template KALIX_EXPORT void SortDescendIdx<float>(std::span<float>, std::span<std::int32_t>);
template KALIX_EXPORT void SortDescendIdx<double>(std::span<double>, std::span<std::int32_t>);

}  // namespace Kern

void SortAscend(TVec& X) {
  RequireRealVec(X, "SortAscend: X.Complex");
  WithPrecision(X, [&](auto t) { Kern::SortAscend(X.Span<typename decltype(t)::type>()); });
}

void SortAscend(TVec& X, TVecInt& Indexes) {
  RequireRealVec(X, "SortAscend: X.Complex");
  Indexes.Size(X.Length(), prInt32);
  WithPrecision(X, [&](auto t) {
    Kern::SortAscendIdx(X.Span<typename decltype(t)::type>(), Indexes.Span<std::int32_t>());
  });
}

void SortDescend(TVec& X) {
  TVecInt idx;
  SortDescend(X, idx);
}

void SortDescend(TVec& X, TVecInt& Indexes) {
  RequireRealVec(X, "SortDescend: X.Complex");
  Indexes.Size(X.Length(), prInt32);
  WithPrecision(X, [&](auto t) {
    Kern::SortDescendIdx(X.Span<typename decltype(t)::type>(), Indexes.Span<std::int32_t>());
  });
}

void SortAscend(TMtx& A, int Col) {
  if (A.Complex()) ERaise("SortAscend: A.Complex");
  if (Col < 0 || Col >= A.Cols()) ERaise("SortAscend: Col out of range");
  TVec col;
  TVecInt idx;
  A.GetCol(col, Col);
  SortAscend(col, idx);
  const TMtx copy(A);
  TVec row;
  for (int r = 0; r < A.Rows(); ++r) {
    copy.GetRow(row, idx[r]);
    A.SetRow(row, r);
  }
}

void GatherByIndex(TVec& Dst, const TVec& Src, const TVecInt& Indexes) {
  RequireRealVec(Src, "GatherByIndex: Src.Complex");
  if (&Dst == &Src) {
    const TVec copy(Src);
    GatherByIndex(Dst, copy, Indexes);
    return;
  }
  Dst.Size(Indexes.Length(), Src.FloatPrecision());
  WithPrecision(Src, [&](auto t) {
    using T = typename decltype(t)::type;
    auto s = Src.Span<T>();
    auto d = Dst.Span<T>();
    for (int i = 0; i < Indexes.Length(); ++i) {
      const int j = Indexes[i];
      if (j < 0 || j >= Src.Length()) ERaise("GatherByIndex: index out of range");
      d[static_cast<std::size_t>(i)] = s[static_cast<std::size_t>(j)];
    }
  });
}

void GatherByMask(TVec& Dst, const TVec& Src, const TVecInt& Mask) {
  RequireRealVec(Src, "GatherByMask: Src.Complex");
  if (Mask.Length() != Src.Length()) ERaise("GatherByMask: Mask.Length <> Src.Length");
  TVec out(0, Src.FloatPrecision());
  int count = 0;
  for (int i = 0; i < Mask.Length(); ++i) count += Mask[i] != 0;
  out.Size(count);
  WithPrecision(Src, [&](auto t) {
    using T = typename decltype(t)::type;
    auto s = Src.Span<T>();
    auto d = out.Span<T>();
    std::size_t k = 0;
    for (int i = 0; i < Mask.Length(); ++i)
      if (Mask[i] != 0) d[k++] = s[static_cast<std::size_t>(i)];
  });
  Dst = std::move(out);
}

void ScatterByMask(TVec& Dst, const TVec& Src, const TVecInt& Mask) {
  RequireRealVec(Dst, "ScatterByMask: Dst.Complex");
  if (Mask.Length() != Dst.Length()) ERaise("ScatterByMask: Mask.Length <> Dst.Length");
  int k = 0;
  for (int i = 0; i < Mask.Length(); ++i)
    if (Mask[i] != 0) {
      if (k >= Src.Length()) ERaise("ScatterByMask: Src is too short");
      Dst[i] = Src[k++];
    }
}

int FindIndexes(TVecInt& Indexes, const TVec& X, std::string_view Op, double Value) {
  RequireRealVec(X, "FindIndexes: X.Complex");
  std::vector<int> found;
  ForEachMatch(X, Op, Value, [&](int i) { found.push_back(i); });
  Indexes.Size(static_cast<int>(found.size()), prInt32);
  std::copy(found.begin(), found.end(), Indexes.Span<std::int32_t>().begin());
  return static_cast<int>(found.size());
}

int FindMask(TVecInt& Mask, const TVec& X, std::string_view Op, double Value) {
  RequireRealVec(X, "FindMask: X.Complex");
  CheckOp(Op);
  Mask.Size(X.Length(), prInt32);
  Mask.SetZero();
  auto m = Mask.Span<std::int32_t>();
  int count = 0;
  ForEachMatch(X, Op, Value, [&](int i) {
    m[static_cast<std::size_t>(i)] = 1;
    ++count;
  });
  return count;
}

int FindAndGather(TVec& Dst, const TVec& X, std::string_view Op, double Value, TVecInt* Indexes) {
  RequireRealVec(X, "FindAndGather: X.Complex");
  TVecInt idx;
  const int count = FindIndexes(idx, X, Op, Value);
  GatherByIndex(Dst, X, idx);
  if (Indexes != nullptr) *Indexes = std::move(idx);
  return count;
}

}  // namespace Kalix
