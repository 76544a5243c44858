// Random variates of 25 distributions, written into a container the caller has sized.
//
// Every function draws Results.Length() variates (rows x columns for a matrix) from a private
// generator (kind brgXoshiro256PlusPlus, one stream) seeded with Seed, and keeps no state: the
// same explicit Seed gives the same numbers. Seed = -1 takes a fresh seed from the process-wide
// Kalix::Random(), which is safe to call from several threads. Parameters are checked first,
// then the complexity of real Results; errors raise Kalix::EKalixError with the texts below.
#pragma once

#include "../core/Containers.h"

namespace StatRandom {

using Kalix::TDenseKalix;
using Kalix::TVecInt;

/// Beta(A, B) on [0, 1]. "RandomBeta: (A<=0) or (B<=)", "RandomBeta: Results.Complex=true".
KALIX_EXPORT void RandomBeta(double A, double B, TDenseKalix& Results, int Seed = -1);
/// Binomial(N trials, success probability P). "RandomBinom: (P < 0) or ( P > 1)".
KALIX_EXPORT void RandomBinom(int N, double P, TVecInt& Results, int Seed = -1);
/// Cauchy with location a and scale b. "RandomCauchy: Results.Complex=true".
KALIX_EXPORT void RandomCauchy(double a, double b, TDenseKalix& Results, int Seed = -1);
/// Chi-square with k degrees of freedom, as Gamma(k/2, 2); k <= 0 raises RandomGamma's message.
/// "RandomChiSquare : Results.Complex=true".
KALIX_EXPORT void RandomChiSquare(int k, TDenseKalix& Results, int Seed = -1);
/// Erlang with integer shape k and rate lambda. "RandomErlang : (k<=0) or (lambda<=0)",
/// "RandomErlang : Results.Complex=true".
KALIX_EXPORT void RandomErlang(int k, double lambda, TDenseKalix& Results, int Seed = -1);
/// Exponential with mean mu. "RandomExponent: mu <= 0!", "RandomExponent : Results.Complex=true".
KALIX_EXPORT void RandomExponent(double mu, TDenseKalix& Results, int Seed = -1);
/// F(ANu1, ANu2) as a ratio of scaled chi-squares drawn with the same Seed (so ANu1 = ANu2 with an
/// explicit seed gives all ones). "RandomF:(ANu1<=0) or (ANu2<=0)", "RandomF : Results.Complex=true".
KALIX_EXPORT void RandomF(int ANu1, int ANu2, TDenseKalix& Results, int Seed = -1);
/// Gamma with shape A and scale B. "RandomGamma: A<=0 or B<=0 ", "RandomGamma : Results.Complex=true".
KALIX_EXPORT void RandomGamma(double A, double B, TDenseKalix& Results, int Seed = -1);
/// Generalised Pareto: location + (sigma/k)(U^(-k) - 1), U uniform on [2^-52, 1).
/// "RandomGenPareto: sigma <= 0".
KALIX_EXPORT void RandomGenPareto(double k, double location, double sigma, TDenseKalix& Results, int Seed = -1);
/// Failures before the first success (0, 1, 2, ...) with success probability p.
/// "RandomGeometric: (p <= 0 ) or (p > 1)", "RandomGeometric : Results.Complex=true".
KALIX_EXPORT void RandomGeometric(double p, TDenseKalix& Results, int Seed = -1);
/// Gumbel for maxima, location and scale beta. "RandomGumbel: beta<=0", "RandomGumbel : Results.Complex=true".
KALIX_EXPORT void RandomGumbel(double location, double beta, TDenseKalix& Results, int Seed = -1);
/// Hypergeometric: successes in N draws without replacement from M items, K of them successes.
/// "RandomHypGeometric: ( M < 0 ) or ( K < 0 ) or ( N < 0 )", "RandomHypGeometric: M < Max(K ,N)".
KALIX_EXPORT void RandomHypGeometric(int M, int K, int N, TVecInt& Results, int Seed = -1);
/// Laplace with location a and scale b (b = 0 gives a). "RandomLaplace: b < 0",
/// "RandomLaplace : Results.Complex=true".
KALIX_EXPORT void RandomLaplace(double a, double b, TDenseKalix& Results, int Seed = -1);
/// Logistic with location a and scale b. "RandomLogistic: b<=0", "RandomLogistic: Results.Complex=true".
KALIX_EXPORT void RandomLogistic(double a, double b, TDenseKalix& Results, int Seed = -1);
/// Log-normal: exp(mu + sigma Z). "RandomLogNormal: sigma < 0", "RandomLogNormal : Results.Complex=true".
KALIX_EXPORT void RandomLogNormal(double mu, double sigma, TDenseKalix& Results, int Seed = -1);
/// Maxwell-Boltzmann with scale a. "RandomMaxwell: (a < 0 )", "RandomMaxwell : Results.Complex=true".
KALIX_EXPORT void RandomMaxwell(double a, TDenseKalix& Results, int Seed = -1);
/// Negative binomial: failures before the R-th success (R real). "RandomNegBinom: (p <= 0 ) or (p > 1) or (R <= 0)".
KALIX_EXPORT void RandomNegBinom(double R, double p, TVecInt& Results, int Seed = -1);
/// Normal(mu, sigma) by the ziggurat method. "RandomNormal: sigma < 0", "RandomNormal : Results.Complex=true";
/// errors while drawing are re-raised after "RandomNormal : ".
KALIX_EXPORT void RandomNormal(double mu, double sigma, TDenseKalix& Results, int Seed = -1);
/// Poisson(lambda); counts above 2^31 - 1 saturate. A negative lambda raises the stream's message.
KALIX_EXPORT void RandomPoisson(double lambda, TVecInt& Results, int Seed = -1);
/// Rayleigh with scale b: P(X <= x) = 1 - exp(-x^2/(2b^2)). "RandomRayleigh : Results.Complex=true".
KALIX_EXPORT void RandomRayleigh(double b, TDenseKalix& Results, int Seed = -1);
/// Student's t with v degrees of freedom. "RandomStudent: v <= 0", "RandomStudent : Results.Complex=true".
KALIX_EXPORT void RandomStudent(int v, TDenseKalix& Results, int Seed = -1);
/// Triangular on [a, b] with mode c, by inversion. "RandomTriangular: a > b",
/// "RandomTriangular: (c>b) or (c<a)", "RandomTriangular : Results.Complex=true".
KALIX_EXPORT void RandomTriangular(double a, double b, double c, TDenseKalix& Results, int Seed = -1);
/// Uniform on [a, b). "RandomUniform: a > b", "RandomUniform : Results.Complex=true"; errors while
/// drawing are re-raised after "RandomUniform : ".
KALIX_EXPORT void RandomUniform(double a, double b, TDenseKalix& Results, int Seed = -1);
/// Discrete uniform on 1..N (all 0 when N = 0). "RandomUniformD: N < 0", "RandomUniformD : Results.Complex=true";
/// errors while drawing are re-raised after "RandomUniformD : ".
KALIX_EXPORT void RandomUniformD(int N, TDenseKalix& Results, int Seed = -1);
/// Weibull with density a*b*x^(b-1)*exp(-a*x^b). "RandomWeibull: (a<=0) or (b<=0)",
/// "RandomWeibull : Results.Complex=true"; errors while drawing are re-raised after "RandomWeibull : ".
KALIX_EXPORT void RandomWeibull(double a, double b, TDenseKalix& Results, int Seed = -1);

}  // namespace StatRandom
