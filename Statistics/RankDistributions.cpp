// Exact null distributions of the signed-rank and rank-sum statistics.

#include "Statistics/detail/RankDistributions.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "Statistics/Statistics.h"

namespace Statistics {

using namespace Kalix;

namespace {

// Counts above 2^960 are scaled down by 2^-960 (exactly), so that n up to about 2000 random
// signs never overflow a double; the scale is put back as a power of two at the end.
constexpr int kRescaleSteps = 960;
// Word additions the exact rank-sum counts may take before the normal law is used instead.
constexpr double kExactWork = 3e8;
// 64-bit words the exact rank-sum counts may hold (about 160 MB).
constexpr double kExactWords = 2e7;

// next[s] = cur[s] + cur[s - r]: one more rank that may or may not join the positive sum.
// Separate buffers keep the loop free of the in-place dependency, so it vectorises.
void AddShifted(const double* __restrict cur, double* __restrict next, std::size_t r, std::size_t top) {
  const std::size_t low = std::min(r, top + 1);
  for (std::size_t s = 0; s < low; ++s) next[s] = cur[s];
  for (std::size_t s = r; s <= top; ++s) next[s] = cur[s] + cur[s - r];
}


__extension__ typedef unsigned __int128 TU128;

// Unsigned integer of L 64-bit words, least significant first. Add and subtract work on the
// first `used` words only (the rest are zero while values stay below 2^(64 used)).
template <int L>
struct TWide {
  std::uint64_t w[L] = {};
};

inline void Add(std::uint64_t& a, std::uint64_t b, int) { a += b; }
inline void Sub(std::uint64_t& a, std::uint64_t b, int) { a -= b; }
inline void Add(TU128& a, TU128 b, int) { a += b; }
inline void Sub(TU128& a, TU128 b, int) { a -= b; }
template <int L>
void Add(TWide<L>& a, const TWide<L>& b, int used) {
  std::uint64_t carry = 0;
  for (int j = 0; j < used; ++j) {
    const TU128 s = static_cast<TU128>(a.w[j]) + b.w[j] + carry;
    a.w[j] = static_cast<std::uint64_t>(s);
    carry = static_cast<std::uint64_t>(s >> 64);
  }
}
template <int L>
void Sub(TWide<L>& a, const TWide<L>& b, int used) {
  std::uint64_t borrow = 0;
  for (int j = 0; j < used; ++j) {
    const TU128 d = static_cast<TU128>(a.w[j]) - b.w[j] - borrow;
    a.w[j] = static_cast<std::uint64_t>(d);
    borrow = static_cast<std::uint64_t>(d >> 64) & 1U;
  }
}

inline long double ToLong(std::uint64_t a) { return static_cast<long double>(a); }
inline long double ToLong(TU128 a) {
  return std::ldexp(static_cast<long double>(static_cast<std::uint64_t>(a >> 64)), 64) +
         static_cast<long double>(static_cast<std::uint64_t>(a));
}
template <int L>
long double ToLong(const TWide<L>& a) {
  long double v = 0.0L;
  for (int j = L - 1; j >= 0; --j) v = std::ldexp(v, 64) + static_cast<long double>(a.w[j]);
  return v;
}

template <class W>
constexpr int kWords = sizeof(W) / sizeof(std::uint64_t);

// Words a count of at most `bits` bits needs (one spare), at most all of W's.
template <class W>
int WordsFor(double bits) {
  return std::min(kWords<W>, static_cast<int>(std::ceil(bits / 64.0)) + 1);
}

// count / C(m + n, m), or 1 minus it when `lower` is false. C(m + n, m) from its logarithm
// is not exact enough: it is (n + 1) ... (n + m) / m!, two independent chains of products
// (rounded to 64 bits each step; below 1e4932 for every size the counts serve) and one
// division.
double CountShare(long double count, std::size_t m, std::size_t n, bool lower) {
  long double num = 1.0L, den = 1.0L;
  for (std::size_t i = 1; i <= m; ++i) {
    num *= static_cast<long double>(n + i);
    den *= static_cast<long double>(i);
  }
  const long double r = count * den / num;
  return static_cast<double>(lower ? r : 1.0L - r);
}

// Exact frequencies of U = 0 .. T (T <= mn / 2) for sizes m <= n; returns P(U <= T), or
// P(U > T) when `lower` is false.
template <class W>
double TailRatio(std::size_t m, std::size_t n, std::size_t T, bool lower) {
  std::vector<W> p(T + 1, W{});
  p[0] = W{1};
  std::size_t prevTop = 0;
  double bits = 1.0;  // log2 C(n + i, i) + 1: the counts of step i stay below it
  for (std::size_t i = 1; i <= m; ++i) {
    int used = kWords<W>;
    if constexpr (kWords<W> > 2) {
      bits += std::log2(static_cast<double>(n + i) / static_cast<double>(i));
      used = WordsFor<W>(bits);
    }
    const std::size_t degree = (i - 1) * n;  // of the previous polynomial
    const std::size_t top = std::min(T, i * n / 2);
    for (std::size_t t = prevTop + 1; t <= top; ++t) p[t] = t <= degree ? p[degree - t] : W{};
    const std::size_t d = n + i;
    for (std::size_t t = top; t >= d; --t) Sub(p[t], p[t - d], used);  // times (1 - q^(n+i))
    for (std::size_t t = i; t <= top; ++t) Add(p[t], p[t - i], used);  // over (1 - q^i)
    prevTop = top;
  }
  W sum{};
  for (std::size_t t = 0; t <= T; ++t) Add(sum, p[t], kWords<W>);
  return CountShare(ToLong(sum), m, n, lower);
}

// TailRatio in doubles: the same recursion with the counts rounded to 53 bits. The
// subtraction cancels, so the relative error grows quickly with the sizes: measured against
// the integer counts it is 3e-15 at 100 x 100, 1e-12 at 150 x 200 and 8e-7 at 250 x 250.
// Hence kDoubleCountBits.
//
// Each factor takes one pass from a buffer into the other,
//   next[t] = (cur[t] - cur[t - d]) + next[t - i],  d = n + i,
// the product with (1 - q^d) and the division by (1 - q^i) in the order of the plain
// recursion, so every coefficient sees the same additions in every build. Read with stride
// i, next is i interleaved prefix sums: the columns of a table with rows of length i. A block
// of columns as wide as one vector of the processor (Bytes) is carried down the rows in a
// register (one add of latency per row, the blocks independent of one another); a last block
// that would run past the row is moved back to end at column i, recomputing a few columns to
// the same values, which the second buffer allows. The width changes which coefficients share
// a vector, never their arithmetic: every build gives the bits of the plain loops.

// Bytes / sizeof(T) values of type T as one vector register.
template <class T, std::size_t Bytes>
struct TLanes {
  typedef T type __attribute__((vector_size(Bytes)));
  static constexpr std::size_t size = Bytes / sizeof(T);
};
// (References, not vector values, cross the helpers: no vector argument ABI to depend on the
// target.)
template <class V, class T>
[[gnu::always_inline]] inline void LoadLanes(V& v, const T* p) {
  std::memcpy(&v, p, sizeof v);
}

// The columns c .. c + L - 1 down the rows, up to t = top.
template <std::size_t Bytes, class T>
[[gnu::always_inline]] inline void ColumnBlock(const T* __restrict cur, const T* __restrict sub, T* __restrict next,
                                               std::size_t i, std::size_t c, std::size_t top) {
  constexpr std::size_t L = TLanes<T, Bytes>::size;
  typename TLanes<T, Bytes>::type acc, x, y;
  LoadLanes(x, cur + c);
  LoadLanes(y, sub + c);
  acc = x - y;
  std::memcpy(next + c, &acc, sizeof acc);
  std::size_t t = c + i;
  for (; t + L - 1 <= top; t += i) {
    LoadLanes(x, cur + t);
    LoadLanes(y, sub + t);
    acc = (x - y) + acc;
    std::memcpy(next + t, &acc, sizeof acc);
  }
  for (std::size_t k = 0; t + k <= top; ++k) next[t + k] = (cur[t + k] - sub[t + k]) + acc[k];
}

// Rows narrower than a vector (i < L): the lanes past column i compute nothing useful and
// their stores land on the next row, rewritten by it, or past top (the buffers have L
// elements to spare there, read only once mirrored or set to zero).
template <std::size_t Bytes, class T>
[[gnu::always_inline]] inline void NarrowRows(const T* __restrict cur, const T* __restrict sub, T* __restrict next,
                                              std::size_t i, std::size_t top) {
  typename TLanes<T, Bytes>::type acc, x, y;
  LoadLanes(x, cur);
  LoadLanes(y, sub);
  acc = x - y;
  std::memcpy(next, &acc, sizeof acc);
  for (std::size_t t = i; t <= top; t += i) {
    LoadLanes(x, cur + t);
    LoadLanes(y, sub + t);
    acc = (x - y) + acc;
    std::memcpy(next + t, &acc, sizeof acc);
  }
}

// Coefficients 0 .. K of the Gaussian binomial [m + n choose m](q), left in the returned
// buffer (a or b). Both hold `pad` zeros below index 0, pad >= min(n + m, K + 1); a[0] = 1.
template <std::size_t Bytes, class T>
[[gnu::always_inline]] inline T* GaussianBinomial(T* a, T* b, std::size_t pad, std::size_t m, std::size_t n,
                                                  std::size_t K) {
  constexpr std::size_t L = TLanes<T, Bytes>::size;
  T* cur = a;
  T* next = b;
  std::size_t prevTop = 0;
  for (std::size_t i = 1; i <= m; ++i) {
    const std::size_t degree = (i - 1) * n;  // of the previous polynomial
    const std::size_t top = std::min(K, i * n / 2);
    for (std::size_t t = prevTop + 1; t <= top; ++t) cur[t] = t <= degree ? cur[degree - t] : T{};
    const std::size_t d = n + i;
    const T* sub = d <= pad ? cur - d : cur - pad;  // zeros when t < d
    const std::size_t cols = std::min(i, top + 1);
    if (cols >= L) {
      for (std::size_t c = 0; c < cols; c += L) ColumnBlock<Bytes>(cur, sub, next, i, std::min(c, cols - L), top);
    } else {
      NarrowRows<Bytes>(cur, sub, next, i, top);
    }
    std::swap(cur, next);
    prevTop = top;
  }
  return cur;
}

// Sum of p[0 .. K] in kLanes running sums, combined in a fixed order (the same bits whatever
// the vector width).
constexpr std::size_t kLanes = 8;

template <class T>
[[gnu::always_inline]] inline T LaneSum(const T* p, std::size_t K) {
  T s[kLanes] = {};
  std::size_t t = 0;
  for (; t + kLanes <= K + 1; t += kLanes)
    for (std::size_t k = 0; k < kLanes; ++k) s[k] += p[t + k];
  for (std::size_t k = 0; t <= K; ++t, ++k) s[k] += p[t];
  T total{};
  for (std::size_t k = 0; k < kLanes; ++k) total += s[k];
  return total;
}

template <std::size_t Bytes, class T>
[[gnu::always_inline]] inline T GaussianBinomialTail(T* a, T* b, std::size_t pad, std::size_t m, std::size_t n,
                                                     std::size_t K) {
  return LaneSum(GaussianBinomial<Bytes>(a, b, pad, m, n, K), K);
}

// Wider vectors where the processor has them: additions only, so every build gives the same
// bits.
#if defined(__GNUC__) && defined(__x86_64__) && defined(__ELF__)
template <class T>
[[gnu::target("avx512f")]] T GaussianBinomialTailAvx512(T* a, T* b, std::size_t pad, std::size_t m, std::size_t n,
                                                          std::size_t K) {
  return GaussianBinomialTail<64>(a, b, pad, m, n, K);
}
template <class T>
[[gnu::target("avx2")]] T GaussianBinomialTailAvx2(T* a, T* b, std::size_t pad, std::size_t m, std::size_t n,
                                                     std::size_t K) {
  return GaussianBinomialTail<32>(a, b, pad, m, n, K);
}
#endif

// P(U <= T), or P(U > T) when `lower` is false, from counts of type T (double, or uint64_t
// while C(m + n, m) < 2^64).
template <class T>
double TailRatioFast(std::size_t m, std::size_t n, std::size_t K, bool lower) {
  const std::size_t pad = std::min(n + m, K + 1), len = pad + K + 1 + kLanes;
  std::vector<T> buf(2 * len, T{});
  T* a = buf.data() + pad;
  T* b = a + len;
  a[0] = T{1};
  T sum;
#if defined(__GNUC__) && defined(__x86_64__) && defined(__ELF__)
  if (__builtin_cpu_supports("avx512f")) sum = GaussianBinomialTailAvx512(a, b, pad, m, n, K);
  else if (__builtin_cpu_supports("avx2")) sum = GaussianBinomialTailAvx2(a, b, pad, m, n, K);
  else sum = GaussianBinomialTail<16>(a, b, pad, m, n, K);
#else
  sum = GaussianBinomialTail<16>(a, b, pad, m, n, K);
#endif
  return CountShare(static_cast<long double>(sum), m, n, lower);
}

// Doubles serve while C(m + n, m) < 2^kDoubleCountBits (up to about 100 x 100).
constexpr double kDoubleCountBits = 200;

struct TTail {
  std::size_t m, n, T;
  bool lower;
  double k, mn;
};

// Sizes ordered m <= n, U rounded, and the smaller tail T the CDF needs; ok = false when the
// answer is already known (returned in `known`).
bool PrepareTail(int n1, int n2, double U, TTail& tail, double& known) {
  if (n1 < 0 || n2 < 0 || std::isnan(U)) {
    known = NAN;
    return false;
  }
  tail.m = static_cast<std::size_t>(std::min(n1, n2));
  tail.n = static_cast<std::size_t>(std::max(n1, n2));
  tail.mn = static_cast<double>(tail.m) * static_cast<double>(tail.n);
  tail.k = Round(U);
  known = U > tail.mn ? std::numeric_limits<double>::quiet_NaN() : tail.k < 0.0 ? 0.0 : 1.0;
  if (U > tail.mn || tail.k < 0.0 || tail.k >= tail.mn) return false;
  const std::size_t K = static_cast<std::size_t>(tail.k), MN = tail.m * tail.n;
  tail.lower = K <= MN / 2;
  tail.T = tail.lower ? K : MN - K - 1;  // P(U <= K) = 1 - P(U <= mn - K - 1)
  return true;
}

double Log2Binomial(std::size_t m, std::size_t n) {
  return (std::lgamma(static_cast<double>(m + n) + 1.0) - std::lgamma(static_cast<double>(m) + 1.0) -
          std::lgamma(static_cast<double>(n) + 1.0)) / LN2;
}

}  // namespace

namespace detail {

double MannWhitneyExactCDFIntegers(int n1, int n2, double U) {
  TTail tl{};
  double known;
  if (!PrepareTail(n1, n2, U, tl, known)) return known;
  const double bits = Log2Binomial(tl.m, tl.n) + 2.0;
  if (bits <= 64) return TailRatio<std::uint64_t>(tl.m, tl.n, tl.T, tl.lower);
  if (bits <= 128) return TailRatio<TU128>(tl.m, tl.n, tl.T, tl.lower);
  if (bits <= 256) return TailRatio<TWide<4>>(tl.m, tl.n, tl.T, tl.lower);
  if (bits <= 512) return TailRatio<TWide<8>>(tl.m, tl.n, tl.T, tl.lower);
  if (bits <= 1024) return TailRatio<TWide<16>>(tl.m, tl.n, tl.T, tl.lower);
  if (bits <= 2048) return TailRatio<TWide<32>>(tl.m, tl.n, tl.T, tl.lower);
  return NAN;
}

double SignedRankExactCDF(std::span<const double> R, bool Ties, double W) {
  if (std::isnan(W)) return NAN;
  const double n = static_cast<double>(R.size());
  const double N = n * (n + 1.0) / 2.0;
  if (W > std::floor(N / 2.0)) W = N - W;  // reflect to the lower tail
  const double scale = Ties ? 2.0 : 1.0;    // doubled midranks are whole numbers
  const double k = Round(scale * W);
  if (k < 0.0) return 0.0;

  TVecScratch rankBuf;
  rankBuf->Size(static_cast<int>(R.size()), mvDouble);
  auto ranks = rankBuf->Span<double>();
  double total = 0.0;
  for (std::size_t i = 0; i < R.size(); ++i) {
    if (!(R[i] >= 0.0)) return NAN;
    ranks[i] = Round(scale * R[i]);
    total += ranks[i];
  }
  if (k >= total) return 1.0;  // every sign pattern has a positive sum <= k
  std::sort(ranks.begin(), ranks.end());

  // Subset-sum counts of the ranks processed so far, for sums 0 .. k.
  const std::size_t K = static_cast<std::size_t>(k);
  TVecScratch aBuf, bBuf;
  aBuf->Size(static_cast<int>(K + 1), mvDouble);
  bBuf->Size(static_cast<int>(K + 1), mvDouble);
  aBuf->SetZero();
  bBuf->SetZero();
  double* cur = aBuf->Span<double>().data();
  double* next = bBuf->Span<double>().data();
  cur[0] = 1.0;
  std::size_t top = 0;
  int shift = 0, sinceRescale = 0;
  for (double rd : ranks) {
    if (rd > k) break;  // larger ranks only add sums above k
    const std::size_t r = static_cast<std::size_t>(rd);
    const std::size_t newTop = std::min(top + r, K);
    AddShifted(cur, next, r, newTop);
    std::swap(cur, next);
    top = newTop;
    if (++sinceRescale == kRescaleSteps) {
      for (std::size_t s = 0; s <= top; ++s) cur[s] = std::ldexp(cur[s], -kRescaleSteps);
      shift += kRescaleSteps;
      sinceRescale = 0;
    }
  }
  double sum = 0.0;
  for (std::size_t s = 0; s <= top; ++s) sum += cur[s];
  // Sum(C) * 2^-n: every one of the 2^n sign patterns is equally likely.
  return std::ldexp(sum, shift - static_cast<int>(R.size()));
}

// Frequencies of U are the coefficients of the Gaussian binomial [m + n choose m](q) =
// prod_{i=1..m} (1 - q^(n+i)) / (1 - q^i), built one factor (one observation) at a time
// (Harding 1984, Applied Statistics 33, 1-6); below 2^200 in one vectorised pass per factor
// (TailRatioFast). Coefficient t depends only on those below
// it, so only 0 .. T are built, T being the smaller tail the CDF needs; below the centre every
// intermediate value is a non-negative count (the Gaussian binomial is symmetric and
// unimodal). Counts are exact 64-bit integers while C(m + n, m) < 2^62, then doubles up to
// 2^200 (MannWhitneyExactCDFIntegers, exact throughout, is their check), then multi-word
// integers up to 2^2046.
double MannWhitneyExactCDF(int n1, int n2, double U) {
  TTail tl{};
  double known;
  if (!PrepareTail(n1, n2, U, tl, known)) return known;
  const double bits = Log2Binomial(tl.m, tl.n) + 2.0;
  // The counts cost about m T additions of ceil(bits / 64) words each, and T + 1 such counts of
  // memory. Beyond 2048 bits (about 1000 per sample), kExactWork (a second or so; two samples
  // of 1000 once took minutes) or kExactWords (one sample of 2^31 once asked for 8 GB), the
  // normal law with continuity correction takes over: the tail asked for is then near enough to
  // the centre for it.
  const double words = std::ceil(bits / 64.0), terms = static_cast<double>(tl.T) + 1.0;
  if (static_cast<double>(tl.m) * terms * words <= kExactWork && terms * words <= kExactWords) {
    if (bits <= 64) return TailRatioFast<std::uint64_t>(tl.m, tl.n, tl.T, tl.lower);
    if (bits <= kDoubleCountBits) return TailRatioFast<double>(tl.m, tl.n, tl.T, tl.lower);
    if (bits <= 256) return TailRatio<TWide<4>>(tl.m, tl.n, tl.T, tl.lower);
    if (bits <= 512) return TailRatio<TWide<8>>(tl.m, tl.n, tl.T, tl.lower);
    if (bits <= 1024) return TailRatio<TWide<16>>(tl.m, tl.n, tl.T, tl.lower);
    if (bits <= 2048) return TailRatio<TWide<32>>(tl.m, tl.n, tl.T, tl.lower);
  }
  return NormalCDF(tl.k + 0.5, 0.5 * tl.mn, std::sqrt(tl.mn * (static_cast<double>(tl.m + tl.n) + 1.0) / 12.0));
}

}  // namespace detail

// Enumeration of the C(N, n1) arrangements, as the definition of the statistic reads. Beyond
// 20 observations (a million strings) the recursion gives the same distribution without the
// 2^N loop.
double MannWCDF1(int n1, int n2, double U) {
  if (n1 < 0 || n2 < 0 || std::isnan(U)) return NAN;
  const double mn = static_cast<double>(n1) * static_cast<double>(n2);
  if (U > mn) return NAN;
  if (n1 > 20 || n2 > 20 || n1 + n2 > 20) return detail::MannWhitneyExactCDF(n1, n2, U);  // no int overflow
  const int N = n1 + n2;
  const double k = Round(U);
  if (k < 0.0) return 0.0;
  std::vector<double> freq(static_cast<std::size_t>(mn) + 1, 0.0);
  const std::uint32_t strings = 1U << N;
  for (std::uint32_t s = 0; s < strings; ++s) {
    if (std::popcount(s) != n1) continue;
    std::size_t u = 0, zerosAfter = 0;  // (one, zero) pairs in order
    for (int b = N - 1; b >= 0; --b) {
      if ((s >> b) & 1U) u += zerosAfter;
      else ++zerosAfter;
    }
    freq[u] += 1.0;
  }
  double acc = 0.0, total = 0.0;
  for (std::size_t u = 0; u < freq.size(); ++u) {
    total += freq[u];
    if (static_cast<double>(u) <= k) acc += freq[u];
  }
  return acc / total;
}

}  // namespace Statistics
