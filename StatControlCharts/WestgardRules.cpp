// Westgard multi-rule flags (Westgard, Barry, Hunt & Groth, Clin. Chem. 27 (1981) 493-501) for
// each point of a series against a known mean and standard deviation.
//
// Each point is first reduced to eight one-bit facts (beyond 3s, beyond 2s, above +2s, below
// -2s, above +1s, below -1s, above the mean, below it); a rule over a window is then the AND of
// the window's fact bytes. Both passes are branch-free byte arithmetic over blocks that stay in
// L1, so the compiler vectorises them and the routine runs at about the speed of a plain sum.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "StatControlCharts/StatControlCharts.h"

namespace StatControlCharts {

using namespace Kalix;

namespace {

enum : std::uint8_t {
  kBeyond3 = 1,
  kBeyond2 = 2,
  kAbove2 = 4,
  kBelow2 = 8,
  kAbove1 = 16,
  kBelow1 = 32,
  kAboveMean = 64,
  kBelowMean = 128
};

constexpr std::size_t kBlock = 2048;
constexpr std::size_t kHistory = 9;  // the longest rule looks back nine points

// The fact byte of one point.
template <class T>
std::uint8_t Fact(T v, T Mu, T Sigma, T s2, T s3) {
  const T d = v - Mu, a = std::fabs(d);
  // A NaN point is deliberately counted below the mean (it fails "x >= Mu").
  return static_cast<std::uint8_t>((a > s3) | (a > s2) << 1 | (d > s2) << 2 | (d < -s2) << 3 | (d > Sigma) << 4 |
                                   (d < -Sigma) << 5 | (v > Mu) << 6 | !(v >= Mu) << 7);
}

// Single precision vectorises as written; double does not (gcc declines the 64-bit masks), so
// with SSE2 two points go at a time through the same comparisons by hand.
template <class T>
void Facts(std::span<const T> x, T Mu, T Sigma, std::uint8_t* f) {
  const T s2 = T(2) * Sigma, s3 = T(3) * Sigma;
  std::size_t i = 0;
#if defined(__SSE2__)
  if constexpr (std::is_same_v<T, double>) {
    const __m128d mu = _mm_set1_pd(Mu), s1v = _mm_set1_pd(Sigma), s2v = _mm_set1_pd(s2), s3v = _mm_set1_pd(s3);
    const __m128d ns1 = _mm_set1_pd(-Sigma), ns2 = _mm_set1_pd(-s2);
    const __m128d absMask = _mm_castsi128_pd(_mm_set1_epi64x(0x7FFFFFFFFFFFFFFF));
    const auto bit = [](__m128d m, int b) { return _mm_and_si128(_mm_castpd_si128(m), _mm_set1_epi64x(b)); };
    for (; i + 2 <= x.size(); i += 2) {
      const __m128d v = _mm_loadu_pd(x.data() + i), d = _mm_sub_pd(v, mu), a = _mm_and_pd(d, absMask);
      // |d| > 2s exactly when d > 2s or d < -2s (NaN: neither), whatever the sign of s.
      const __m128d above2 = _mm_cmpgt_pd(d, s2v), below2 = _mm_cmplt_pd(d, ns2);
      __m128i m = _mm_or_si128(bit(_mm_cmpgt_pd(a, s3v), kBeyond3), bit(_mm_or_pd(above2, below2), kBeyond2));
      m = _mm_or_si128(m, _mm_or_si128(bit(above2, kAbove2), bit(below2, kBelow2)));
      m = _mm_or_si128(m, _mm_or_si128(bit(_mm_cmpgt_pd(d, s1v), kAbove1), bit(_mm_cmplt_pd(d, ns1), kBelow1)));
      m = _mm_or_si128(m, _mm_or_si128(bit(_mm_cmpgt_pd(v, mu), kAboveMean), bit(_mm_cmpnge_pd(v, mu), kBelowMean)));
      f[i] = static_cast<std::uint8_t>(_mm_cvtsi128_si32(m));
      f[i + 1] = static_cast<std::uint8_t>(_mm_extract_epi16(m, 4));
    }
  }
#endif
  for (; i < x.size(); ++i) f[i] = Fact(x[i], Mu, Sigma, s2, s3);
}

// Codes of the points whose facts are f[0 .. n-1]; f[-9 .. -1] hold the nine points before.
template <class T>
void Codes(const std::uint8_t* f, std::size_t n, T* out) {
  for (std::size_t i = 0; i < n; ++i) {
    const std::uint8_t* p = f + i;
    const unsigned pair = p[0] & p[-1];
    const unsigned four = pair & p[-2] & p[-3];
    const unsigned ten = four & p[-4] & p[-5] & p[-6] & p[-7] & p[-8] & p[-9];
    // Deliberate: bit 8 asks only that both points lie beyond 2s, on either side, so a same-side
    // pair carries 4 and 8 together.
    const unsigned code = (p[0] & (kBeyond3 | kBeyond2)) | ((pair & (kAbove2 | kBelow2)) != 0) << 2 |
                          (pair & kBeyond2) << 2 | ((four & (kAbove1 | kBelow1)) != 0) << 4 |
                          ((ten & (kAboveMean | kBelowMean)) != 0) << 5;
    out[i] = static_cast<T>(code);
  }
}

template <class T>
void WestgardKernel(std::span<const T> x, std::span<T> out, T Mu, T Sigma) {
  // Points before the first have no facts, so no rule can reach back past the start.
  std::array<std::uint8_t, kHistory + kBlock> f{};
  for (std::size_t start = 0; start < x.size(); start += kBlock) {
    const std::size_t n = std::min(kBlock, x.size() - start);
    Facts<T>(x.subspan(start, n), Mu, Sigma, f.data() + kHistory);
    Codes<T>(f.data() + kHistory, n, out.data() + start);
    std::memmove(f.data(), f.data() + n, kHistory);  // the block's last nine facts carry over
  }
}

}  // namespace

void QCWestgardRules(const TVec& Data, TVec& Results, double Mu, double Sigma) {
  if (Data.Complex()) ERaise("QCWestgardRules: (Data.Complex)");
  // A block's facts are taken before its codes are written, so Results may be Data itself.
  Results.Size(Data);
  WithPrecision(Data, [&](auto t) {
    using T = typename decltype(t)::type;
    WestgardKernel<T>(Data.Span<T>(), Results.Span<T>(), static_cast<T>(Mu), static_cast<T>(Sigma));
  });
}

}  // namespace StatControlCharts
