// Random-number streams: a seeded generator of one or more streams, and the variate
// algorithms that fill spans or containers from a stream.
//
// The same kind and seed give the same numbers on every platform and with every build of the
// library: the generators and the variate algorithms are our own code (no std:: distributions,
// whose algorithms are implementation-defined). Each stream is single-threaded state; use one
// stream per thread (a generator with several jump-ahead streams gives independent ones).
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "Containers.h"
#include "kalix_export.h"

namespace Kalix {

/// Uniform bit generators. Ordinals are part of the interface.
enum TBasicRandomGenerator : int {
  brgSplitMix64,         ///< Steele, Lea & Flood (2014): 64-bit state, fast, no jump-ahead
  brgXoshiro256StarStar, ///< Blackman & Vigna (2021): 256-bit state, scrambler **
  brgXoshiro256PlusPlus  ///< Blackman & Vigna (2021): 256-bit state, scrambler ++ (the default)
};
/// Normal variate methods.
enum TGaussRandMethod : int {
  grmZiggurat,   ///< Marsaglia & Tsang (2000) ziggurat, 256 layers (the default, fastest)
  grmBoxMuller,  ///< Box & Muller (1958) polar-coordinate transform
  grmInversion   ///< inverse normal CDF of a uniform on the open unit interval
};
/// Poisson variate methods.
enum TPoissonRandMethod : int {
  prmTransformedRejection,  ///< Hoermann's PTRS for lambda >= 10, multiplicative inversion below
  prmInversion              ///< inverse Poisson CDF of a uniform on the open unit interval
};
/// How the streams of one generator relate to each other.
enum TRngStreamIndependence : int {
  rsiSameSeed,       ///< every stream starts in the same state (common random numbers)
  rsiSeedPerStream,  ///< stream i is seeded from (Seed, i) through a 64-bit hash
  rsiJumpAhead       ///< stream i starts 2^128 * i steps ahead (xoshiro kinds; a hash for SplitMix64)
};

/// One stream of random numbers: the state of a bit generator plus the variate algorithms.
/// The fill routines take spans (for library code) or containers (dispatching on precision).
/// Out-of-domain parameters raise "TRngStream.<Routine>: <condition>".
class KALIX_EXPORT TRngStream {
 public:
  /// A stream of the given kind seeded with Seed (the seed is spread over the state by SplitMix64).
  explicit TRngStream(TBasicRandomGenerator Kind = brgXoshiro256PlusPlus, std::uint64_t Seed = 0);

  TBasicRandomGenerator Kind() const noexcept { return kind_; }
  /// The next 64 random bits.
  std::uint64_t NextBits() noexcept;
  /// The next uniform on [0, 1) with 53 random bits.
  double NextUniform() noexcept { return static_cast<double>(NextBits() >> 11) * 0x1.0p-53; }
  /// Advances the state by 2^128 steps (xoshiro kinds) so that streams do not overlap.
  void Jump();

  /// Uniform on [Low, High): Low + (High - Low) * U.
  void RandomUniform(std::span<double> Dst, double Low, double High);
  void RandomUniform(std::span<float> Dst, double Low, double High);
  void RandomUniform(TDenseKalix& Dst, double Low, double High);
  /// Normal(Mu, Sigma), Sigma >= 0.
  void RandomGaussian(std::span<double> Dst, double Mu, double Sigma, TGaussRandMethod Method = grmZiggurat);
  void RandomGaussian(std::span<float> Dst, double Mu, double Sigma, TGaussRandMethod Method = grmZiggurat);
  void RandomGaussian(TDenseKalix& Dst, double Mu, double Sigma, TGaussRandMethod Method = grmZiggurat);
  /// Location + exponential with mean Mu > 0.
  void RandomExponential(TDenseKalix& Dst, double Location, double Mu);
  void RandomExponential(std::span<double> Dst, double Location, double Mu);
  /// Location + Gamma(shape A > 0, scale B > 0).
  void RandomGamma(TDenseKalix& Dst, double A, double Location, double B);
  void RandomGamma(std::span<double> Dst, double A, double Location, double B);
  /// Beta(A > 0, B > 0) mapped onto [Low, High].
  void RandomBeta(TDenseKalix& Dst, double A, double B, double Low, double High);
  /// Cauchy with location A and scale B >= 0.
  void RandomCauchy(TDenseKalix& Dst, double A, double B);
  /// Laplace with location A and scale B >= 0 (B = 0 gives A).
  void RandomLaplace(TDenseKalix& Dst, double A, double B);
  /// Location + Scale * sqrt(E), E standard exponential: P(X <= x) = 1 - exp(-((x - Location)/Scale)^2).
  void RandomRayleigh(TDenseKalix& Dst, double Location, double Scale);
  /// Location + Scale * E^(1/Shape), E standard exponential: Weibull with that shape and scale.
  void RandomWeibull(TDenseKalix& Dst, double Shape, double Location, double Scale);
  /// Gumbel for maxima: Location - Beta * ln(E), P(X <= x) = exp(-exp(-(x - Location)/Beta)).
  void RandomGumbel(TDenseKalix& Dst, double Location, double Beta);

  /// Binomial(N >= 0 trials, P in [0, 1]).
  void RandomBinomial(std::span<std::int32_t> Dst, int N, double P);
  void RandomBinomial(TVecInt& Dst, int N, double P);
  /// Poisson(Lambda >= 0); counts above 2^31 - 1 saturate.
  void RandomPoisson(std::span<std::int32_t> Dst, double Lambda, TPoissonRandMethod Method = prmTransformedRejection);
  void RandomPoisson(TVecInt& Dst, double Lambda, TPoissonRandMethod Method = prmTransformedRejection);
  /// Failures before the R-th success (R > 0 real, P in (0, 1]): a gamma mixture of Poissons.
  void RandomNegbinomial(TVecInt& Dst, double R, double P);
  /// Successes in N draws without replacement from M items of which K are successes.
  void RandomHypergeometric(TVecInt& Dst, int M, int K, int N);

 private:
  friend class TRandomGenerator;
  template <class F>
  void Visit(F&& f);

  TBasicRandomGenerator kind_;
  std::array<std::uint64_t, 4> s_{};
};

/// A generator of one or more streams. Typical use: SetStreamCount, SetStreamIndependence,
/// Init(kind, Seed), then GetStream(i) for each consumer (one stream per thread).
class KALIX_EXPORT TRandomGenerator {
 public:
  /// One stream of kind brgXoshiro256PlusPlus seeded with 0 until Init is called.
  TRandomGenerator();
  /// Seeds every stream afresh (the relation between streams is the one set by SetStreamIndependence).
  void Init(TBasicRandomGenerator Kind, std::uint64_t Seed);
  /// Number of streams (>= 1); the streams are re-seeded from the last Init.
  void SetStreamCount(int Count);
  int StreamCount() const noexcept { return static_cast<int>(streams_.size()); }
  /// How the streams relate; the streams are re-seeded from the last Init.
  void SetStreamIndependence(TRngStreamIndependence Independence);
  /// Stream i, 0 <= i < StreamCount().
  TRngStream& GetStream(int i);

 private:
  void Reseed();

  TBasicRandomGenerator kind_ = brgXoshiro256PlusPlus;
  std::uint64_t seed_ = 0;
  TRngStreamIndependence independence_ = rsiJumpAhead;
  std::vector<TRngStream> streams_;
};

/// Process-wide uniform on [0, 1) for fresh seeds: lock-free and safe to call from any thread;
/// seeded from the operating system's entropy on first use.
KALIX_EXPORT double Random() noexcept;

}  // namespace Kalix
