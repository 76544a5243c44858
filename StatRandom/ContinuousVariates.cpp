// Continuous variates: each routine checks its parameters, then the complexity of Results,
// then draws from its private stream and transforms where the stream has no direct method.
#include <cmath>

#include "StatRandom/StatRandom.h"
#include "StatRandom/detail/RandomFrame.h"
#include "core/Errors.h"
#include "core/Probability.h"
#include "core/Scratch.h"

namespace StatRandom {

using detail::kOpenHigh;
using detail::kOpenLow;
using detail::TPrivateStream;
using detail::Transform;
using Kalix::ERaise;

void RandomBeta(double A, double B, TDenseKalix& Results, int Seed) {
  // Deliberate: the message lacks the final 0 of "(B<=0)".
  if (A <= 0 || B <= 0) ERaise("RandomBeta: (A<=0) or (B<=)");
  if (Results.Complex()) ERaise("RandomBeta: Results.Complex=true");
  TPrivateStream s(Seed);
  s->RandomBeta(Results, A, B, 0.0, 1.0);
}

void RandomCauchy(double a, double b, TDenseKalix& Results, int Seed) {
  if (Results.Complex()) ERaise("RandomCauchy: Results.Complex=true");
  TPrivateStream s(Seed);
  s->RandomCauchy(Results, a, b);
}

void RandomChiSquare(int k, TDenseKalix& Results, int Seed) {
  if (Results.Complex()) ERaise("RandomChiSquare : Results.Complex=true");
  Results.SetZero();
  RandomGamma(k / 2.0, 2.0, Results, Seed);  // k <= 0 is reported by RandomGamma
}

void RandomErlang(int k, double lambda, TDenseKalix& Results, int Seed) {
  if (k <= 0 || lambda <= 0) ERaise("RandomErlang : (k<=0) or (lambda<=0)");
  if (Results.Complex()) ERaise("RandomErlang : Results.Complex=true");
  RandomGamma(k, 1.0 / lambda, Results, detail::ResolveSeed(Seed));
}

void RandomExponent(double mu, TDenseKalix& Results, int Seed) {
  if (mu <= 0) ERaise("RandomExponent: mu <= 0!");
  if (Results.Complex()) ERaise("RandomExponent : Results.Complex=true");
  TPrivateStream s(Seed);
  s->RandomExponential(Results, 0.0, mu);
}

void RandomF(int ANu1, int ANu2, TDenseKalix& Results, int Seed) {
  if (ANu1 < 1 || ANu2 < 1) ERaise("RandomF:(ANu1<=0) or (ANu2<=0)");
  if (Results.Complex()) ERaise("RandomF : Results.Complex=true");
  Kalix::TVecScratch x1, x2;
  x1->Size(Results.Length(), Results.FloatPrecision());
  x2->Size(Results.Length(), Results.FloatPrecision());
  // Deliberate: both chi-squares get the same Seed, so ANu1 = ANu2 with an explicit seed gives ones.
  RandomChiSquare(ANu1, *x1, Seed);
  RandomChiSquare(ANu2, *x2, Seed);
  detail::ForEachSpan(Results, [&](auto r) {
    using T = typename decltype(r)::value_type;
    const auto a = x1->Span<T>(), b = x2->Span<T>();
    const T s1 = T(1) / static_cast<T>(ANu1), s2 = T(1) / static_cast<T>(ANu2);
    for (std::size_t i = 0; i < r.size(); ++i) r[i] = (a[i] * s1) / (b[i] * s2);
  });
}

void RandomGamma(double A, double B, TDenseKalix& Results, int Seed) {
  if (A <= 0 || B <= 0) ERaise("RandomGamma: A<=0 or B<=0 ");
  if (Results.Complex()) ERaise("RandomGamma : Results.Complex=true");
  TPrivateStream s(Seed);
  s->RandomGamma(Results, A, 0.0, B);
}

void RandomGenPareto(double k, double location, double sigma, TDenseKalix& Results, int Seed) {
  if (sigma <= 0) ERaise("RandomGenPareto: sigma <= 0");
  TPrivateStream s(Seed);
  s->RandomUniform(Results, kOpenLow, 1.0);
  // Deliberate: k = 0 is not the exponential limit; it divides by zero as floating point does.
  Transform(Results, [&](double u) { return location + (sigma / k) * (std::pow(u, -k) - 1.0); });
}

void RandomGumbel(double location, double beta, TDenseKalix& Results, int Seed) {
  if (beta <= 0) ERaise("RandomGumbel: beta<=0");
  if (Results.Complex()) ERaise("RandomGumbel : Results.Complex=true");
  TPrivateStream s(Seed);
  s->RandomGumbel(Results, location, beta);
}

void RandomLaplace(double a, double b, TDenseKalix& Results, int Seed) {
  if (b < 0) ERaise("RandomLaplace: b < 0");
  if (Results.Complex()) ERaise("RandomLaplace : Results.Complex=true");
  TPrivateStream s(Seed);
  s->RandomLaplace(Results, a, b);
}

void RandomLogistic(double a, double b, TDenseKalix& Results, int Seed) {
  if (b <= 0) ERaise("RandomLogistic: b<=0");
  if (Results.Complex()) ERaise("RandomLogistic: Results.Complex=true");
  TPrivateStream s(Seed);
  s->RandomUniform(Results, kOpenLow, kOpenHigh);
  Transform(Results, [&](double u) { return Kalix::LogisticCDFInv(u, a, b); });
}

void RandomLogNormal(double mu, double sigma, TDenseKalix& Results, int Seed) {
  if (sigma < 0) ERaise("RandomLogNormal: sigma < 0");
  if (Results.Complex()) ERaise("RandomLogNormal : Results.Complex=true");
  TPrivateStream s(Seed);
  s->RandomGaussian(Results, 0.0, 1.0, Kalix::grmZiggurat);
  Transform(Results, [&](double z) { return std::exp(z * sigma + mu); });
}

void RandomMaxwell(double a, TDenseKalix& Results, int Seed) {
  if (a < 0) ERaise("RandomMaxwell: (a < 0 )");
  if (Results.Complex()) ERaise("RandomMaxwell : Results.Complex=true");
  TPrivateStream s(Seed);
  s->RandomUniform(Results, kOpenLow, kOpenHigh);
  Transform(Results, [&](double u) { return Kalix::MaxwellCDFInv(u, a); });
}

void RandomNormal(double mu, double sigma, TDenseKalix& Results, int Seed) {
  if (sigma < 0) ERaise("RandomNormal: sigma < 0");
  if (Results.Complex()) ERaise("RandomNormal : Results.Complex=true");
  try {
    TPrivateStream s(Seed);
    s->RandomGaussian(Results, mu, sigma, Kalix::grmZiggurat);
  } catch (...) {
    Kalix::ERaiseWithPrefix("RandomNormal : ");
  }
}

void RandomRayleigh(double b, TDenseKalix& Results, int Seed) {
  if (Results.Complex()) ERaise("RandomRayleigh : Results.Complex=true");
  TPrivateStream s(Seed);
  s->RandomRayleigh(Results, 0.0, Kalix::SQRT2 * b);
}

void RandomStudent(int v, TDenseKalix& Results, int Seed) {
  if (v <= 0) ERaise("RandomStudent: v <= 0");
  if (Results.Complex()) ERaise("RandomStudent : Results.Complex=true");
  Kalix::TVecScratch x;
  x->Size(Results.Length(), Results.FloatPrecision());
  Results.SetZero();
  if (v == 1) {  // a ratio of two independent normals: Cauchy
    Kalix::TRandomGenerator gen;
    gen.SetStreamCount(2);
    gen.SetStreamIndependence(Kalix::rsiJumpAhead);
    gen.Init(Kalix::brgXoshiro256PlusPlus, static_cast<std::uint32_t>(detail::ResolveSeed(Seed)));
    gen.GetStream(0).RandomGaussian(Results, 0.0, 1.0, Kalix::grmZiggurat);
    gen.GetStream(1).RandomGaussian(*x, 0.0, 1.0, Kalix::grmZiggurat);
  } else if (v == 2) {  // exact inverse CDF: (2U - 1) / sqrt(2U(1 - U))
    TPrivateStream s(Seed);
    s->RandomUniform(*x, 0.0, 1.0);
  } else {  // sqrt(v)(B - 1/2) / sqrt(B(1 - B)) with B ~ Beta(v/2, v/2)
    RandomBeta(v / 2.0, v / 2.0, *x, Seed);
  }
  const double scale = 1.0 / std::sqrt(static_cast<double>(v));
  detail::ForEachSpan(Results, [&](auto r) {
    using T = typename decltype(r)::value_type;
    const auto u = x->Span<T>();
    for (std::size_t i = 0; i < r.size(); ++i) {
      if (v == 1) {
        r[i] = r[i] / u[i];
      } else {
        const double w = static_cast<double>(u[i]);
        r[i] = static_cast<T>(((w - 0.5) / scale) / std::sqrt(w - w * w));
      }
    }
  });
}

void RandomTriangular(double a, double b, double c, TDenseKalix& Results, int Seed) {
  if (a > b) ERaise("RandomTriangular: a > b");
  if (c > b || c < a) ERaise("RandomTriangular: (c>b) or (c<a)");
  if (Results.Complex()) ERaise("RandomTriangular : Results.Complex=true");
  TPrivateStream s(Seed);
  s->RandomUniform(Results, kOpenLow, kOpenHigh);
  const double fc = (c - a) / (b - a);
  Transform(Results, [&](double u) {
    return u <= fc ? a + std::sqrt(u * (b - a) * (c - a)) : b - std::sqrt((1.0 - u) * (b - a) * (b - c));
  });
}

void RandomUniform(double a, double b, TDenseKalix& Results, int Seed) {
  if (a > b) ERaise("RandomUniform: a > b");
  if (Results.Complex()) ERaise("RandomUniform : Results.Complex=true");
  try {
    TPrivateStream s(Seed);
    s->RandomUniform(Results, a, b);
  } catch (...) {
    Kalix::ERaiseWithPrefix("RandomUniform : ");
  }
}

void RandomWeibull(double a, double b, TDenseKalix& Results, int Seed) {
  if (a <= 0 || b <= 0) ERaise("RandomWeibull: (a<=0) or (b<=0)");
  if (Results.Complex()) ERaise("RandomWeibull : Results.Complex=true");
  try {
    TPrivateStream s(Seed);
    s->RandomWeibull(Results, b, 0.0, std::pow(a, -1.0 / b));
  } catch (...) {
    Kalix::ERaiseWithPrefix("RandomWeibull : ");
  }
}

}  // namespace StatRandom
