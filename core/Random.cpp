#include "Random.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <chrono>
#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "Dispatch.h"
#include "Errors.h"
#include "Probability.h"
#include "ScalarMath.h"

namespace Kalix {

namespace {

constexpr double kTwoM53 = 0x1.0p-53;
constexpr std::uint64_t kGolden = 0x9E3779B97F4A7C15ULL;

// SplitMix64 output function (Steele, Lea & Flood 2014): also spreads seeds over states.
inline std::uint64_t Mix64(std::uint64_t z) noexcept {
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
  return z ^ (z >> 31);
}
inline std::uint64_t Rotl(std::uint64_t x, int k) noexcept { return (x << k) | (x >> (64 - k)); }

// ---------------------------------------------------------------- bit generators
// Each works on local copies of the stream's state, so the hot loops keep it in registers.

struct TSplitMix64 {
  std::uint64_t x;
  std::uint64_t operator()() noexcept { return Mix64(x += kGolden); }
};

// Blackman & Vigna, "Scrambled linear pseudorandom number generators" (ACM TOMS 2021).
template <bool PlusPlus>
struct TXoshiro256 {
  std::uint64_t s0, s1, s2, s3;
  std::uint64_t operator()() noexcept {
    const std::uint64_t r = PlusPlus ? Rotl(s0 + s3, 23) + s0 : Rotl(s1 * 5, 7) * 9;
    const std::uint64_t t = s1 << 17;
    s2 ^= s0;
    s3 ^= s1;
    s1 ^= s2;
    s0 ^= s3;
    s2 ^= t;
    s3 = Rotl(s3, 45);
    return r;
  }
};

// ---------------------------------------------------------------- uniforms
// The top 53 bits as a double; through a signed integer, which converts in one instruction.
inline double Top53(std::uint64_t bits) noexcept { return static_cast<double>(static_cast<std::int64_t>(bits >> 11)); }
template <class E>
inline double Uniform01(E& e) noexcept {  // [0, 1)
  return Top53(e()) * kTwoM53;
}
template <class E>
inline double OpenUniform(E& e) noexcept {  // (0, 1): safe for logarithms
  return (Top53(e()) + 0.5) * kTwoM53;
}

// ---------------------------------------------------------------- ziggurat
// Marsaglia & Tsang (2000), "The ziggurat method for generating random variables", J. Stat.
// Software 5(8), with 256 layers. One 64-bit draw gives the layer (low 8 bits), the sign (bit 8)
// and a 53-bit uniform (top bits), so the three are independent (Doornik 2005's remark).
struct TZiggurat {
  double w[256];          // layer width / 2^53
  std::uint64_t k[256];   // 2^53 * (width of the layer above / this width): the fast-accept bound
  double f[257];          // density at the layer edges
  double r;
};

template <class Density, class Inverse>
TZiggurat BuildZiggurat(double R, double V, Density fn, Inverse inv) {
  TZiggurat z{};
  double x[257];
  x[0] = V / fn(R);
  x[1] = R;
  for (int i = 1; i < 255; ++i) x[i + 1] = inv(fn(x[i]) + V / x[i]);
  x[256] = 0.0;
  for (int i = 0; i < 256; ++i) {
    z.w[i] = x[i] * kTwoM53;
    z.k[i] = static_cast<std::uint64_t>(x[i + 1] / x[i] * 0x1.0p53);
  }
  for (int i = 0; i <= 256; ++i) z.f[i] = fn(x[i]);
  z.f[0] = fn(R);  // the base strip's edge value is never used for the wedge test
  z.r = R;
  return z;
}

const TZiggurat& NormalZiggurat() {
  static const TZiggurat z = BuildZiggurat(
      3.6541528853610088, 0.00492867323399, [](double t) { return std::exp(-0.5 * t * t); },
      [](double y) { return std::sqrt(-2.0 * std::log(y)); });
  return z;
}
const TZiggurat& ExpZiggurat() {
  static const TZiggurat z = BuildZiggurat(
      7.69711747013104972, 0.0039496598225815571993, [](double t) { return std::exp(-t); },
      [](double y) { return -std::log(y); });
  return z;
}

template <class E>
[[gnu::noinline]] double NormalSlow(E& e, const TZiggurat& z, std::uint64_t bits) {
  for (;;) {
    const unsigned i = static_cast<unsigned>(bits & 0xFF);
    const double sign = (bits & 0x100) ? -1.0 : 1.0;
    const double x = Top53(bits) * z.w[i];
    if ((bits >> 11) < z.k[i]) return sign * x;
    if (i == 0) {  // tail beyond r (Marsaglia 1964)
      double t, y;
      do {
        t = -std::log(OpenUniform(e)) / z.r;
        y = -std::log(OpenUniform(e));
      } while (y + y < t * t);
      return sign * (z.r + t);
    }
    if (z.f[i] + Uniform01(e) * (z.f[i + 1] - z.f[i]) < std::exp(-0.5 * x * x)) return sign * x;
    bits = e();
  }
}

template <class E>
inline double NextNormal(E& e, const TZiggurat& z) {
  const std::uint64_t bits = e();
  const unsigned i = static_cast<unsigned>(bits & 0xFF);
  if ((bits >> 11) < z.k[i]) {  // the sign goes in by bits, not by an unpredictable branch
    const double x = Top53(bits) * z.w[i];
    return std::bit_cast<double>(std::bit_cast<std::uint64_t>(x) ^ ((bits & 0x100) << 55));
  }
  return NormalSlow(e, z, bits);
}

template <class E>
[[gnu::noinline]] double ExpSlow(E& e, const TZiggurat& z, std::uint64_t bits) {
  for (;;) {
    const unsigned i = static_cast<unsigned>(bits & 0xFF);
    const double x = Top53(bits) * z.w[i];
    if ((bits >> 11) < z.k[i]) return x;
    if (i == 0) return z.r - std::log(OpenUniform(e));  // the tail is r + a fresh exponential
    if (z.f[i] + Uniform01(e) * (z.f[i + 1] - z.f[i]) < std::exp(-x)) return x;
    bits = e();
  }
}

template <class E>
inline double NextExp(E& e, const TZiggurat& z) {
  const std::uint64_t bits = e();
  const unsigned i = static_cast<unsigned>(bits & 0xFF);
  if ((bits >> 11) < z.k[i]) return Top53(bits) * z.w[i];
  return ExpSlow(e, z, bits);
}

// ---------------------------------------------------------------- gamma and beta
// Marsaglia & Tsang (2000), "A simple method for generating gamma variables", ACM TOMS 26(3);
// shape a < 1 through Gamma(a + 1) * U^(1/a), as the paper advises.
template <class E>
double NextGamma(E& e, const TZiggurat& zn, double a) {
  double boost = 1.0;
  if (a < 1.0) {
    boost = std::pow(OpenUniform(e), 1.0 / a);
    a += 1.0;
  }
  const double d = a - 1.0 / 3.0, c = 1.0 / std::sqrt(9.0 * d);
  for (;;) {
    double x, v;
    do {
      x = NextNormal(e, zn);
      v = 1.0 + c * x;
    } while (v <= 0.0);
    v = v * v * v;
    const double u = OpenUniform(e), x2 = x * x;
    if (u < 1.0 - 0.0331 * x2 * x2 || std::log(u) < 0.5 * x2 + d * (1.0 - v + std::log(v))) return boost * d * v;
  }
}

// Joehnk (1964) for both shapes <= 1, in logarithms so that tiny shapes do not underflow to 0/0;
// otherwise the ratio of two gamma variates.
template <class E>
double NextBeta(E& e, const TZiggurat& zn, double a, double b) {
  if (a <= 1.0 && b <= 1.0) {
    for (;;) {
      const double lx = std::log(OpenUniform(e)) / a, ly = std::log(OpenUniform(e)) / b;
      const double lm = std::max(lx, ly);
      const double ls = lm + std::log(std::exp(lx - lm) + std::exp(ly - lm));
      if (ls <= 0.0) return std::exp(lx - ls);
    }
  }
  const double x = NextGamma(e, zn, a), y = NextGamma(e, zn, b);
  return x / (x + y);
}

// ---------------------------------------------------------------- discrete
// ln k!: a table below 256, Stirling's series above (error below 1e-17 relative there).
double LogFactorial(double k) {
  static const auto table = [] {
    std::array<double, 256> t{};
    for (int i = 1; i < 256; ++i) t[static_cast<std::size_t>(i)] = t[static_cast<std::size_t>(i - 1)] + std::log(i);
    return t;
  }();
  if (k < 256.0) return table[static_cast<std::size_t>(k)];
  const double x = k + 1.0, ix = 1.0 / x, ix2 = ix * ix;
  return (x - 0.5) * std::log(x) - x + 0.91893853320467274178 +
         ix * (1.0 / 12.0 - ix2 * (1.0 / 360.0 - ix2 * (1.0 / 1260.0 - ix2 / 1680.0)));
}

inline std::int32_t Saturate(double k) {
  return k >= 2147483647.0 ? std::numeric_limits<std::int32_t>::max() : static_cast<std::int32_t>(k);
}

// Hoermann (1993), "The transformed rejection method for generating Poisson random variables",
// Insurance: Mathematics and Economics 12, algorithm PTRS; for lambda >= 10.
struct TPtrs {
  double lam, loglam, b, a, lnInvAlpha, vr;
  explicit TPtrs(double lambda)
      : lam(lambda),
        loglam(std::log(lambda)),
        b(0.931 + 2.53 * std::sqrt(lambda)),
        a(-0.059 + 0.02483 * b),
        lnInvAlpha(std::log(1.1239 + 1.1328 / (b - 3.4))),
        vr(0.9277 - 3.6224 / (b - 2.0)) {}
  template <class E>
  double operator()(E& e) const {
    for (;;) {
      const double u = Uniform01(e) - 0.5, v = OpenUniform(e), us = 0.5 - std::fabs(u);
      const double k = std::floor((2.0 * a / us + b) * u + lam + 0.43);
      if (us >= 0.07 && v <= vr) return k;
      if (k < 0.0 || (us < 0.013 && v > us)) continue;
      if (std::log(v) + lnInvAlpha - std::log(a / (us * us) + b) <= -lam + k * loglam - LogFactorial(k)) return k;
    }
  }
};

// Multiplicative inversion from 0 for small means; a run past 1000 is a rounding leftover
// (probability below 1e-300 for lambda < 10) and starts afresh.
template <class E>
double PoissonSmall(E& e, double lam, double p0) {
  for (;;) {
    double u = OpenUniform(e), p = p0, k = 0.0;
    while (u > p && k < 1000.0) {
      u -= p;
      k += 1.0;
      p *= lam / k;
    }
    if (k < 1000.0) return k;
  }
}

template <class E>
double NextPoisson(E& e, double lam) {
  if (lam <= 0.0) return 0.0;
  if (lam < 10.0) return PoissonSmall(e, lam, std::exp(-lam));
  return TPtrs(lam)(e);
}

// Hoermann (1993), "The generation of binomial random variates", J. Statist. Comput. Simul. 46,
// algorithm BTRS (transformed rejection with squeeze); for n*p >= 10, p <= 1/2.
struct TBtrs {
  double n, p, spq, b, a, c, alpha, vr, urvr, m, lpq, h;
  TBtrs(double n_, double p_)
      : n(n_),
        p(p_),
        spq(std::sqrt(n_ * p_ * (1.0 - p_))),
        b(1.15 + 2.53 * spq),
        a(-0.0873 + 0.0248 * b + 0.01 * p_),
        c(n_ * p_ + 0.5),
        alpha((2.83 + 5.1 / b) * spq),
        vr(0.92 - 4.2 / b),
        urvr(0.86 * vr),
        m(std::floor((n_ + 1.0) * p_)),
        lpq(std::log(p_ / (1.0 - p_))),
        h(LogFactorial(m) + LogFactorial(n_ - m)) {}
  template <class E>
  double operator()(E& e) const {
    for (;;) {
      double v = Uniform01(e), u;
      if (v <= urvr) {
        u = v / vr - 0.43;
        return std::floor((2.0 * a / (0.5 - std::fabs(u)) + b) * u + c);
      }
      if (v >= vr) {
        u = Uniform01(e) - 0.5;
      } else {
        u = v / vr - 0.93;
        u = std::copysign(0.5, u) - u;
        v = Uniform01(e) * vr;
      }
      const double us = 0.5 - std::fabs(u);
      const double k = std::floor((2.0 * a / us + b) * u + c);
      if (k < 0.0 || k > n) continue;
      v = v * alpha / (a / (us * us) + b);
      if (v <= 0.0) continue;
      if (std::log(v) <= h - LogFactorial(k) - LogFactorial(n - k) + (k - m) * lpq) return k;
    }
  }
};

// Kachitvichyanukul & Schmeiser (1988), inversion by sequential search (BINV); for n*p < 10.
template <class E>
double BinomialSmall(E& e, double n, double p, double q0) {
  const double s = p / (1.0 - p), a = (n + 1.0) * s;
  for (;;) {
    double u = OpenUniform(e), r = q0, k = 0.0;
    while (u > r && k < n) {
      u -= r;
      k += 1.0;
      r *= a / k - s;
    }
    if (u <= r) return k;
  }
}

// Hypergeometric by inversion with the search started at the mode and alternating outwards
// (Devroye 1986, Non-Uniform Random Variate Generation, sec. III.2): O(sd) steps per variate.
struct THyper {
  double M, K, N, lo, hi, mode, pmode;
  THyper(double M_, double K_, double N_) : M(M_), K(K_), N(N_) {
    lo = std::max(0.0, N + K - M);
    hi = std::min(N, K);
    mode = std::clamp(std::floor((N + 1.0) * (K + 1.0) / (M + 2.0)), lo, hi);
    pmode = std::exp(LogFactorial(K) - LogFactorial(mode) - LogFactorial(K - mode) + LogFactorial(M - K) -
                     LogFactorial(N - mode) - LogFactorial(M - K - N + mode) - LogFactorial(M) + LogFactorial(N) +
                     LogFactorial(M - N));
  }
  template <class E>
  double operator()(E& e) const {
    for (;;) {
      double u = OpenUniform(e) - pmode;
      if (u <= 0.0) return mode;
      double kd = mode, ku = mode, pd = pmode, pu = pmode;
      while (kd > lo || ku < hi) {
        if (kd > lo) {
          pd *= kd * (M - K - N + kd) / ((K - kd + 1.0) * (N - kd + 1.0));
          kd -= 1.0;
          if ((u -= pd) <= 0.0) return kd;
        }
        if (ku < hi) {
          pu *= (K - ku) * (N - ku) / ((ku + 1.0) * (M - K - N + ku + 1.0));
          ku += 1.0;
          if ((u -= pu) <= 0.0) return ku;
        }
        if (pd < 1e-300 && pu < 1e-300) break;  // all the mass is spent: a rounding leftover
      }
    }
  }
};

// ---------------------------------------------------------------- fill helpers
template <class T, class E, class G>
void Fill(std::span<T> d, E& e, G gen) {
  for (auto& v : d) v = static_cast<T>(gen(e));
}

[[noreturn]] void Fail(const char* routine, const char* condition) {
  ERaise(std::string("TRngStream.") + routine + ": " + condition);
}

// Integer results of any width: 32-bit spans directly, narrower ones through a buffer.
template <class F>
void FillInt(TVecInt& Dst, F fill) {
  if (Dst.IntPrecision() == prInt32) return fill(Dst.Span<std::int32_t>());
  std::vector<std::int32_t> tmp(static_cast<std::size_t>(Dst.Length()));
  fill(std::span<std::int32_t>(tmp));
  for (int i = 0; i < Dst.Length(); ++i) Dst.Values(i) = tmp[static_cast<std::size_t>(i)];
}

template <class F>
void FillReal(TDenseKalix& Dst, const char* routine, F fill) {
  if (Dst.Complex()) Fail(routine, "Dst.Complex");
  WithPrecision(Dst, [&](auto t) {
    using T = typename decltype(t)::type;
    fill(Dst.Span<T>());
  });
}

}  // namespace

// ---------------------------------------------------------------- TRngStream
TRngStream::TRngStream(TBasicRandomGenerator Kind, std::uint64_t Seed) : kind_(Kind) {
  if (Kind < brgSplitMix64 || Kind > brgXoshiro256PlusPlus) ERaise("TRngStream: unknown generator kind");
  TSplitMix64 sm{Seed};
  for (auto& w : s_) w = sm();
}

template <class F>
void TRngStream::Visit(F&& f) {
  switch (kind_) {
    case brgSplitMix64: {
      TSplitMix64 e{s_[0]};
      f(e);
      s_[0] = e.x;
      break;
    }
    case brgXoshiro256StarStar: {
      TXoshiro256<false> e{s_[0], s_[1], s_[2], s_[3]};
      f(e);
      s_ = {e.s0, e.s1, e.s2, e.s3};
      break;
    }
    default: {
      TXoshiro256<true> e{s_[0], s_[1], s_[2], s_[3]};
      f(e);
      s_ = {e.s0, e.s1, e.s2, e.s3};
      break;
    }
  }
}

std::uint64_t TRngStream::NextBits() noexcept {
  std::uint64_t r = 0;
  Visit([&](auto& e) { r = e(); });
  return r;
}

void TRngStream::Jump() {
  if (kind_ == brgSplitMix64) {  // no jump polynomial: move to a hashed, unrelated state
    s_[0] = Mix64(s_[0] ^ 0xD1B54A32D192ED03ULL);
    return;
  }
  // The jump polynomial of the xoshiro256 linear engine for 2^128 steps (Blackman & Vigna);
  // checked once against the transition matrix raised to 2^128 by repeated squaring over GF(2).
  static constexpr std::uint64_t kJump[] = {0x180EC6D33CFD0ABAULL, 0xD5A61266F0C9392CULL, 0xA9582618E03FC9AAULL,
                                            0x39ABDC4529B1661CULL};
  TXoshiro256<true> e{s_[0], s_[1], s_[2], s_[3]};
  std::uint64_t t0 = 0, t1 = 0, t2 = 0, t3 = 0;
  for (std::uint64_t word : kJump)
    for (int b = 0; b < 64; ++b) {
      if (word & (std::uint64_t{1} << b)) {
        t0 ^= e.s0;
        t1 ^= e.s1;
        t2 ^= e.s2;
        t3 ^= e.s3;
      }
      e();
    }
  s_ = {t0, t1, t2, t3};
}

void TRngStream::RandomUniform(std::span<double> Dst, double Low, double High) {
  if (!(Low <= High)) Fail("RandomUniform", "Low > High");
  const double w = (High - Low) * kTwoM53;  // a power-of-two scale: the same numbers as w * Uniform01
  Visit([&](auto& e) { Fill(Dst, e, [&](auto& g) { return Low + w * Top53(g()); }); });
}
void TRngStream::RandomUniform(std::span<float> Dst, double Low, double High) {
  if (!(Low <= High)) Fail("RandomUniform", "Low > High");
  // 24 random bits in single precision, so that the result stays below High after rounding.
  const float lo = static_cast<float>(Low), w = static_cast<float>(High) - lo;
  Visit([&](auto& e) {
    for (auto& v : Dst) v = lo + w * (static_cast<float>(e() >> 40) * 0x1.0p-24f);
  });
}
void TRngStream::RandomUniform(TDenseKalix& Dst, double Low, double High) {
  FillReal(Dst, "RandomUniform", [&](auto d) { RandomUniform(d, Low, High); });
}

namespace {
template <class T, class S>
void GaussianKernel(S& stream, std::span<T> Dst, double Mu, double Sigma, TGaussRandMethod Method) {
  if (!(Sigma >= 0.0)) Fail("RandomGaussian", "Sigma < 0");
  if (Method == grmZiggurat) {
    const TZiggurat& z = NormalZiggurat();
    stream([&](auto& e) {
      for (auto& v : Dst) v = static_cast<T>(Mu + Sigma * NextNormal(e, z));
    });
  } else if (Method == grmBoxMuller) {
    stream([&](auto& e) {
      std::size_t i = 0;
      for (; i + 1 < Dst.size(); i += 2) {  // Box & Muller (1958): two normals per pair of uniforms
        const double r = std::sqrt(-2.0 * std::log(OpenUniform(e))), t = 2.0 * PI * Uniform01(e);
        Dst[i] = static_cast<T>(Mu + Sigma * r * std::cos(t));
        Dst[i + 1] = static_cast<T>(Mu + Sigma * r * std::sin(t));
      }
      if (i < Dst.size()) {
        const double r = std::sqrt(-2.0 * std::log(OpenUniform(e))), t = 2.0 * PI * Uniform01(e);
        Dst[i] = static_cast<T>(Mu + Sigma * r * std::cos(t));
      }
    });
  } else if (Method == grmInversion) {
    stream([&](auto& e) {
      for (auto& v : Dst) v = static_cast<T>(NormalCDFInv(OpenUniform(e), Mu, Sigma));
    });
  } else {
    Fail("RandomGaussian", "unknown method");
  }
}
}  // namespace

void TRngStream::RandomGaussian(std::span<double> Dst, double Mu, double Sigma, TGaussRandMethod Method) {
  auto v = [this](auto&& f) { Visit(f); };
  GaussianKernel(v, Dst, Mu, Sigma, Method);
}
void TRngStream::RandomGaussian(std::span<float> Dst, double Mu, double Sigma, TGaussRandMethod Method) {
  auto v = [this](auto&& f) { Visit(f); };
  GaussianKernel(v, Dst, Mu, Sigma, Method);
}
void TRngStream::RandomGaussian(TDenseKalix& Dst, double Mu, double Sigma, TGaussRandMethod Method) {
  FillReal(Dst, "RandomGaussian", [&](auto d) { RandomGaussian(d, Mu, Sigma, Method); });
}

void TRngStream::RandomExponential(std::span<double> Dst, double Location, double Mu) {
  if (!(Mu > 0.0)) Fail("RandomExponential", "Mu <= 0");
  const TZiggurat& z = ExpZiggurat();
  Visit([&](auto& e) { Fill(Dst, e, [&](auto& g) { return Location + Mu * NextExp(g, z); }); });
}
void TRngStream::RandomExponential(TDenseKalix& Dst, double Location, double Mu) {
  if (!(Mu > 0.0)) Fail("RandomExponential", "Mu <= 0");
  const TZiggurat& z = ExpZiggurat();
  FillReal(Dst, "RandomExponential", [&](auto d) {
    Visit([&](auto& e) { Fill(d, e, [&](auto& g) { return Location + Mu * NextExp(g, z); }); });
  });
}

void TRngStream::RandomGamma(std::span<double> Dst, double A, double Location, double B) {
  if (!(A > 0.0) || !(B > 0.0)) Fail("RandomGamma", "(A <= 0) or (B <= 0)");
  const TZiggurat& z = NormalZiggurat();
  Visit([&](auto& e) { Fill(Dst, e, [&](auto& g) { return Location + B * NextGamma(g, z, A); }); });
}
void TRngStream::RandomGamma(TDenseKalix& Dst, double A, double Location, double B) {
  if (!(A > 0.0) || !(B > 0.0)) Fail("RandomGamma", "(A <= 0) or (B <= 0)");
  const TZiggurat& z = NormalZiggurat();
  FillReal(Dst, "RandomGamma", [&](auto d) {
    Visit([&](auto& e) { Fill(d, e, [&](auto& g) { return Location + B * NextGamma(g, z, A); }); });
  });
}

void TRngStream::RandomBeta(TDenseKalix& Dst, double A, double B, double Low, double High) {
  if (!(A > 0.0) || !(B > 0.0)) Fail("RandomBeta", "(A <= 0) or (B <= 0)");
  const TZiggurat& z = NormalZiggurat();
  const double w = High - Low;
  FillReal(Dst, "RandomBeta", [&](auto d) {
    Visit([&](auto& e) { Fill(d, e, [&](auto& g) { return Low + w * NextBeta(g, z, A, B); }); });
  });
}

void TRngStream::RandomCauchy(TDenseKalix& Dst, double A, double B) {
  if (!(B >= 0.0)) Fail("RandomCauchy", "B < 0");
  FillReal(Dst, "RandomCauchy", [&](auto d) {
    Visit([&](auto& e) { Fill(d, e, [&](auto& g) { return A + B * std::tan(PI * (OpenUniform(g) - 0.5)); }); });
  });
}

void TRngStream::RandomLaplace(TDenseKalix& Dst, double A, double B) {
  if (!(B >= 0.0)) Fail("RandomLaplace", "B < 0");
  FillReal(Dst, "RandomLaplace", [&](auto d) {
    Visit([&](auto& e) {
      Fill(d, e, [&](auto& g) {  // inversion: u in (-1/2, 1/2)
        const double u = OpenUniform(g) - 0.5;
        return A - B * std::copysign(std::log1p(-2.0 * std::fabs(u)), u);
      });
    });
  });
}

void TRngStream::RandomRayleigh(TDenseKalix& Dst, double Location, double Scale) {
  if (!(Scale >= 0.0)) Fail("RandomRayleigh", "Scale < 0");
  const TZiggurat& z = ExpZiggurat();
  FillReal(Dst, "RandomRayleigh", [&](auto d) {
    Visit([&](auto& e) { Fill(d, e, [&](auto& g) { return Location + Scale * std::sqrt(NextExp(g, z)); }); });
  });
}

void TRngStream::RandomWeibull(TDenseKalix& Dst, double Shape, double Location, double Scale) {
  if (!(Shape > 0.0) || !(Scale >= 0.0)) Fail("RandomWeibull", "(Shape <= 0) or (Scale < 0)");
  const TZiggurat& z = ExpZiggurat();
  const double inv = 1.0 / Shape;
  FillReal(Dst, "RandomWeibull", [&](auto d) {
    Visit([&](auto& e) { Fill(d, e, [&](auto& g) { return Location + Scale * std::pow(NextExp(g, z), inv); }); });
  });
}

void TRngStream::RandomGumbel(TDenseKalix& Dst, double Location, double Beta) {
  if (!(Beta >= 0.0)) Fail("RandomGumbel", "Beta < 0");
  FillReal(Dst, "RandomGumbel", [&](auto d) {
    Visit([&](auto& e) { Fill(d, e, [&](auto& g) { return Location - Beta * std::log(-std::log(OpenUniform(g))); }); });
  });
}

void TRngStream::RandomBinomial(std::span<std::int32_t> Dst, int N, double P) {
  if (N < 0) Fail("RandomBinomial", "N < 0");
  if (!(P >= 0.0 && P <= 1.0)) Fail("RandomBinomial", "(P < 0) or (P > 1)");
  const double n = N, p = std::min(P, 1.0 - P);
  const bool flip = P > 0.5;
  auto store = [&](auto gen) {
    Visit([&](auto& e) {
      for (auto& v : Dst) {
        const double k = gen(e);
        v = static_cast<std::int32_t>(flip ? n - k : k);
      }
    });
  };
  if (p == 0.0 || N == 0) {
    for (auto& v : Dst) v = flip ? N : 0;
  } else if (n * p < 10.0) {
    const double q0 = std::exp(n * std::log1p(-p));
    store([&](auto& e) { return BinomialSmall(e, n, p, q0); });
  } else {
    const TBtrs btrs(n, p);
    store([&](auto& e) { return btrs(e); });
  }
}
void TRngStream::RandomBinomial(TVecInt& Dst, int N, double P) {
  FillInt(Dst, [&](std::span<std::int32_t> d) { RandomBinomial(d, N, P); });
}

void TRngStream::RandomPoisson(std::span<std::int32_t> Dst, double Lambda, TPoissonRandMethod Method) {
  if (!(Lambda >= 0.0) || std::isinf(Lambda)) Fail("RandomPoisson", "(Lambda < 0) or (Lambda = Inf)");
  if (Method == prmInversion) {
    Visit([&](auto& e) {
      for (auto& v : Dst) v = Saturate(PoissonCDFInv(OpenUniform(e), Lambda));
    });
  } else if (Method != prmTransformedRejection) {
    Fail("RandomPoisson", "unknown method");
  } else if (Lambda == 0.0) {
    for (auto& v : Dst) v = 0;
  } else if (Lambda < 10.0) {
    const double p0 = std::exp(-Lambda);
    Visit([&](auto& e) {
      for (auto& v : Dst) v = static_cast<std::int32_t>(PoissonSmall(e, Lambda, p0));
    });
  } else {
    const TPtrs ptrs(Lambda);
    Visit([&](auto& e) {
      for (auto& v : Dst) v = Saturate(ptrs(e));
    });
  }
}
void TRngStream::RandomPoisson(TVecInt& Dst, double Lambda, TPoissonRandMethod Method) {
  FillInt(Dst, [&](std::span<std::int32_t> d) { RandomPoisson(d, Lambda, Method); });
}

void TRngStream::RandomNegbinomial(TVecInt& Dst, double R, double P) {
  if (!(R > 0.0) || !(P > 0.0 && P <= 1.0)) Fail("RandomNegbinomial", "(R <= 0) or (P <= 0) or (P > 1)");
  const TZiggurat& z = NormalZiggurat();
  const double scale = (1.0 - P) / P;
  FillInt(Dst, [&](std::span<std::int32_t> d) {
    Visit([&](auto& e) {  // a Poisson whose mean is Gamma(R, (1 - P)/P)
      for (auto& v : d) v = scale == 0.0 ? 0 : Saturate(NextPoisson(e, scale * NextGamma(e, z, R)));
    });
  });
}

void TRngStream::RandomHypergeometric(TVecInt& Dst, int M, int K, int N) {
  if (M < 0 || K < 0 || N < 0 || K > M || N > M) Fail("RandomHypergeometric", "(K < 0) or (N < 0) or (M < Max(K, N))");
  const THyper h(M, K, N);
  FillInt(Dst, [&](std::span<std::int32_t> d) {
    Visit([&](auto& e) {
      for (auto& v : d) v = static_cast<std::int32_t>(h(e));
    });
  });
}

// ---------------------------------------------------------------- TRandomGenerator
TRandomGenerator::TRandomGenerator() { Reseed(); }

void TRandomGenerator::Init(TBasicRandomGenerator Kind, std::uint64_t Seed) {
  if (Kind < brgSplitMix64 || Kind > brgXoshiro256PlusPlus) ERaise("TRandomGenerator.Init: unknown generator kind");
  kind_ = Kind;
  seed_ = Seed;
  Reseed();
}

void TRandomGenerator::SetStreamCount(int Count) {
  if (Count < 1) ERaise("TRandomGenerator.SetStreamCount: Count < 1");
  streams_.resize(static_cast<std::size_t>(Count));
  Reseed();
}

void TRandomGenerator::SetStreamIndependence(TRngStreamIndependence Independence) {
  if (Independence < rsiSameSeed || Independence > rsiJumpAhead)
    ERaise("TRandomGenerator.SetStreamIndependence: unknown independence");
  independence_ = Independence;
  Reseed();
}

TRngStream& TRandomGenerator::GetStream(int i) {
  if (i < 0 || i >= StreamCount()) ERaise("TRandomGenerator.GetStream: index out of range");
  return streams_[static_cast<std::size_t>(i)];
}

// Stream 0 is always TRngStream(kind, Seed), so a one-stream generator and a plain stream agree.
void TRandomGenerator::Reseed() {
  const std::size_t n = std::max<std::size_t>(streams_.size(), 1);
  streams_.assign(n, TRngStream(kind_, seed_));
  for (std::size_t i = 1; i < n; ++i) {
    if (independence_ == rsiSeedPerStream || (independence_ == rsiJumpAhead && kind_ == brgSplitMix64)) {
      streams_[i] = TRngStream(kind_, Mix64(seed_ ^ Mix64(i)));
    } else if (independence_ == rsiJumpAhead) {
      streams_[i] = streams_[i - 1];
      streams_[i].Jump();
    }
  }
}

// ---------------------------------------------------------------- process-wide uniform
// A SplitMix64 sequence over one atomic counter: every call gets its own increment, so
// concurrent callers never share a value and nothing is locked.
double Random() noexcept {
  static std::atomic<std::uint64_t> state{[] {
    std::uint64_t s = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    try {
      std::random_device rd;
      s ^= (static_cast<std::uint64_t>(rd()) << 32) ^ rd();
    } catch (...) {  // no entropy device: the clock alone
    }
    return Mix64(s);
  }()};
  const std::uint64_t z = Mix64(state.fetch_add(kGolden, std::memory_order_relaxed) + kGolden);
  return static_cast<double>(z >> 11) * kTwoM53;
}

}  // namespace Kalix
