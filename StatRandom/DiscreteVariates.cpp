// Discrete variates: counts into integer containers, and the geometric and discrete uniform
// laws, whose integer values go into real containers.
#include <algorithm>
#include <cmath>

#include "StatRandom/StatRandom.h"
#include "StatRandom/detail/RandomFrame.h"
#include "core/Errors.h"

namespace StatRandom {

using detail::kOpenHigh;
using detail::kOpenLow;
using detail::TPrivateStream;
using detail::Transform;
using Kalix::ERaise;

void RandomBinom(int N, double P, TVecInt& Results, int Seed) {
  if (P < 0 || P > 1) ERaise("RandomBinom: (P < 0) or ( P > 1)");
  TPrivateStream s(Seed);
  s->RandomBinomial(Results, N, P);  // a negative N is refused by the stream
}

void RandomGeometric(double p, TDenseKalix& Results, int Seed) {
  if (p <= 0 || p > 1) ERaise("RandomGeometric: (p <= 0 ) or (p > 1)");
  if (Results.Complex()) ERaise("RandomGeometric : Results.Complex=true");
  if (p == 1) {  // every first trial succeeds; no generator is needed
    Results.SetZero();
    return;
  }
  TPrivateStream s(Seed);
  s->RandomUniform(Results, kOpenLow, kOpenHigh);
  const double lq = std::log1p(-p);  // ln(1 - p) without cancellation for small p
  Transform(Results, [&](double u) { return std::trunc(std::log(u) / lq); });
}

void RandomHypGeometric(int M, int K, int N, TVecInt& Results, int Seed) {
  if (M < 0 || K < 0 || N < 0) ERaise("RandomHypGeometric: ( M < 0 ) or ( K < 0 ) or ( N < 0 )");
  if (M < std::max(K, N)) ERaise("RandomHypGeometric: M < Max(K ,N)");
  TPrivateStream s(Seed);
  s->RandomHypergeometric(Results, M, K, N);
}

void RandomNegBinom(double R, double p, TVecInt& Results, int Seed) {
  if (p <= 0 || p > 1 || R <= 0) ERaise("RandomNegBinom: (p <= 0 ) or (p > 1) or (R <= 0)");
  Results.SetZero();
  TPrivateStream s(Seed);
  s->RandomNegbinomial(Results, R, p);
}

void RandomPoisson(double lambda, TVecInt& Results, int Seed) {
  TPrivateStream s(Seed);
  s->RandomPoisson(Results, lambda, Kalix::prmTransformedRejection);
}

void RandomUniformD(int N, TDenseKalix& Results, int Seed) {
  if (N < 0) ERaise("RandomUniformD: N < 0");
  if (Results.Complex()) ERaise("RandomUniformD : Results.Complex=true");
  try {
    TPrivateStream s(Seed);
    s->RandomUniform(Results, kOpenLow, kOpenHigh);
    Transform(Results, [&](double u) { return std::ceil(u * N); });
  } catch (...) {
    Kalix::ERaiseWithPrefix("RandomUniformD : ");
  }
}

}  // namespace StatRandom
