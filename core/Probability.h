// Probability functions: densities, distribution functions and their inverses.
//
// Scalar forms take the argument first and the parameters after it and return double.
// Vector forms fill Dst (sized like X, same precision) element-wise and compute in X's
// precision. Invalid parameters or arguments give NaN (or +-Inf at poles); nothing throws
// except the vector forms' refusal of complex data. Inverses return the lower-tail
// p-quantile; discrete inverses return the smallest k with CDF(k) >= p.
//
// Parameterisations (one per distribution, used throughout the library):
//   Normal(Mu, Sigma); Student(Df); ChiSquare(Df); F(Df1, Df2); Beta(a, b);
//   Gamma(a shape, b scale); Cauchy(m location, b scale);
//   Weibull(a, b): density a*b*x^(b-1)*exp(-a*x^b);
//   Triangular(a lower, b upper, c mode); Uniform(a, b); Exp(mu mean);
//   Erlang(k shape, lambda rate); Laplace(m location, b scale);
//   LogNormal(mu, sigma of ln x); Logistic(m location, b scale);
//   Maxwell(a scale): density sqrt(2/pi) x^2 exp(-x^2/(2a^2)) / a^3;
//   Rayleigh(b scale): CDF 1 - exp(-x^2/(2b^2)); Binom(n trials, p); Poisson(lambda).
#pragma once

#include "Containers.h"
#include "kalix_export.h"

namespace Kalix {

/// Normal(Mu, Sigma) density; NaN unless Sigma > 0.
KALIX_EXPORT double NormalPDF(double x, double Mu, double Sigma);
/// Normal(Mu, Sigma) P(X <= x), accurate deep into the lower tail.
KALIX_EXPORT double NormalCDF(double x, double Mu, double Sigma);
/// Normal(Mu, Sigma) p-quantile; -Inf / +Inf at p = 0 / 1.
KALIX_EXPORT double NormalCDFInv(double p, double Mu, double Sigma);
/// Student's t density with Df > 0 degrees of freedom (Df may be +Inf: standard normal).
KALIX_EXPORT double StudentPDF(double x, double Df);
/// Student's t P(T <= t).
KALIX_EXPORT double StudentCDF(double t, double Df);
/// Student's t p-quantile; -Inf / +Inf at p = 0 / 1.
KALIX_EXPORT double StudentCDFInv(double p, double Df);
/// Chi-square density with Df > 0; 0 for x < 0 (at 0: Inf, 1/2 or 0 as Df <, =, > 2).
KALIX_EXPORT double ChiSquarePDF(double x, double Df);
/// Chi-square P(X <= x).
KALIX_EXPORT double ChiSquareCDF(double x, double Df);
/// Chi-square p-quantile; 0 / +Inf at p = 0 / 1.
KALIX_EXPORT double ChiSquareCDFInv(double p, double Df);
/// F(Df1, Df2) density; 0 for x < 0.
KALIX_EXPORT double FPDF(double x, double Df1, double Df2);
/// F(Df1, Df2) P(X <= x).
KALIX_EXPORT double FCDF(double x, double Df1, double Df2);
/// F(Df1, Df2) p-quantile; 0 / +Inf at p = 0 / 1.
KALIX_EXPORT double FCDFInv(double p, double Df1, double Df2);
/// Beta(a, b) density on [0, 1]; 0 outside.
KALIX_EXPORT double BetaPDF(double x, double a, double b);
/// Beta(a, b) P(X <= x): 0 below 0, 1 above 1.
KALIX_EXPORT double BetaCDF(double x, double a, double b);
/// Gamma density, shape a and scale b; 0 for x < 0.
KALIX_EXPORT double GammaPDF(double x, double a, double b);
/// Gamma(a shape, b scale) P(X <= x).
KALIX_EXPORT double GammaCDF(double x, double a, double b);
/// Gamma(a shape, b scale) p-quantile; 0 / +Inf at p = 0 / 1.
KALIX_EXPORT double GammaCDFInv(double p, double a, double b);
/// Cauchy density, location m and scale b > 0.
KALIX_EXPORT double CauchyPDF(double x, double m, double b);
/// Weibull density a*b*x^(b-1)*exp(-a*x^b), a, b > 0; 0 for x < 0.
KALIX_EXPORT double WeibullPDF(double x, double a, double b);
/// Weibull P(X <= x) = 1 - exp(-a*x^b).
KALIX_EXPORT double WeibullCDF(double x, double a, double b);
/// Triangular density, lower a < upper b, mode c in [a, b]; 0 outside [a, b].
KALIX_EXPORT double TriangularPDF(double x, double a, double b, double c);
/// Uniform(a, b) P(X <= x), a < b.
KALIX_EXPORT double UniformCDF(double x, double a, double b);
/// Exponential with mean mu > 0: P(X <= x) = 1 - exp(-x/mu).
KALIX_EXPORT double ExpCDF(double x, double mu);
/// Erlang P(X <= x), integer shape k >= 1 (NaN otherwise) and rate lambda.
KALIX_EXPORT double ErlangCDF(double x, double k, double lambda);
/// Laplace P(X <= x), location m and scale b > 0.
KALIX_EXPORT double LaplaceCDF(double x, double m, double b);
/// Log-normal P(X <= x), mu and sigma of ln x; 0 for x <= 0.
KALIX_EXPORT double LogNormalCDF(double x, double mu, double sigma);
/// Logistic p-quantile m + b*ln(p/(1-p)); -Inf / +Inf at p = 0 / 1.
KALIX_EXPORT double LogisticCDFInv(double p, double m, double b);
/// Maxwell-Boltzmann P(X <= x) with scale a >= 0 (a = 0: point mass at 0).
KALIX_EXPORT double MaxwellCDF(double x, double a);
/// Maxwell-Boltzmann p-quantile with scale a >= 0; +Inf at p = 1.
KALIX_EXPORT double MaxwellCDFInv(double p, double a);
/// Rayleigh P(X <= x) = 1 - exp(-x^2/(2b^2)), b > 0.
KALIX_EXPORT double RayleighCDF(double x, double b);
/// P(X <= k) for X ~ Binomial(n, p); k is floored, k < 0 gives 0 and k >= n gives 1;
/// non-integer n or p outside [0, 1] gives NaN.
KALIX_EXPORT double BinomCDF(double k, double n, double p);
/// Smallest k with P(X <= k) >= p for X ~ Poisson(lambda >= 0); +Inf at p = 1.
KALIX_EXPORT double PoissonCDFInv(double p, double lambda);
/// Second derivative of ln Gamma(x); +Inf at 0, -1, -2, ...
KALIX_EXPORT double trigamma(double x);

/// Vector forms: Dst[i] = F(X[i], parameters...), Dst sized like X and in its precision.
/// Complex X raises "<Name>: X.Complex" (e.g. "NormalCDF: X.Complex").
KALIX_EXPORT void NormalPDF(TDenseKalix& Dst, const TDenseKalix& X, double Mu, double Sigma);
KALIX_EXPORT void NormalCDF(TDenseKalix& Dst, const TDenseKalix& X, double Mu, double Sigma);
KALIX_EXPORT void NormalCDFInv(TDenseKalix& Dst, const TDenseKalix& P, double Mu, double Sigma);
KALIX_EXPORT void StudentPDF(TDenseKalix& Dst, const TDenseKalix& X, double Df);
KALIX_EXPORT void StudentCDF(TDenseKalix& Dst, const TDenseKalix& X, double Df);
KALIX_EXPORT void StudentCDFInv(TDenseKalix& Dst, const TDenseKalix& P, double Df);
KALIX_EXPORT void ChiSquarePDF(TDenseKalix& Dst, const TDenseKalix& X, double Df);
KALIX_EXPORT void ChiSquareCDF(TDenseKalix& Dst, const TDenseKalix& X, double Df);
KALIX_EXPORT void ChiSquareCDFInv(TDenseKalix& Dst, const TDenseKalix& P, double Df);
KALIX_EXPORT void FPDF(TDenseKalix& Dst, const TDenseKalix& X, double Df1, double Df2);
KALIX_EXPORT void FCDF(TDenseKalix& Dst, const TDenseKalix& X, double Df1, double Df2);
KALIX_EXPORT void FCDFInv(TDenseKalix& Dst, const TDenseKalix& P, double Df1, double Df2);
KALIX_EXPORT void BetaPDF(TDenseKalix& Dst, const TDenseKalix& X, double a, double b);
KALIX_EXPORT void BetaCDF(TDenseKalix& Dst, const TDenseKalix& X, double a, double b);
KALIX_EXPORT void GammaPDF(TDenseKalix& Dst, const TDenseKalix& X, double a, double b);
KALIX_EXPORT void GammaCDF(TDenseKalix& Dst, const TDenseKalix& X, double a, double b);
KALIX_EXPORT void GammaCDFInv(TDenseKalix& Dst, const TDenseKalix& P, double a, double b);
KALIX_EXPORT void CauchyPDF(TDenseKalix& Dst, const TDenseKalix& X, double m, double b);
KALIX_EXPORT void WeibullPDF(TDenseKalix& Dst, const TDenseKalix& X, double a, double b);
KALIX_EXPORT void WeibullCDF(TDenseKalix& Dst, const TDenseKalix& X, double a, double b);
KALIX_EXPORT void TriangularPDF(TDenseKalix& Dst, const TDenseKalix& X, double a, double b, double c);
KALIX_EXPORT void UniformCDF(TDenseKalix& Dst, const TDenseKalix& X, double a, double b);
KALIX_EXPORT void ExpCDF(TDenseKalix& Dst, const TDenseKalix& X, double mu);
KALIX_EXPORT void ErlangCDF(TDenseKalix& Dst, const TDenseKalix& X, double k, double lambda);
KALIX_EXPORT void LaplaceCDF(TDenseKalix& Dst, const TDenseKalix& X, double m, double b);
KALIX_EXPORT void LogNormalCDF(TDenseKalix& Dst, const TDenseKalix& X, double mu, double sigma);
KALIX_EXPORT void LogisticCDFInv(TDenseKalix& Dst, const TDenseKalix& P, double m, double b);
KALIX_EXPORT void MaxwellCDF(TDenseKalix& Dst, const TDenseKalix& X, double a);
KALIX_EXPORT void MaxwellCDFInv(TDenseKalix& Dst, const TDenseKalix& P, double a);
KALIX_EXPORT void RayleighCDF(TDenseKalix& Dst, const TDenseKalix& X, double b);
KALIX_EXPORT void BinomCDF(TDenseKalix& Dst, const TDenseKalix& K, double n, double p);
KALIX_EXPORT void PoissonCDFInv(TDenseKalix& Dst, const TDenseKalix& P, double lambda);
KALIX_EXPORT void trigamma(TDenseKalix& Dst, const TDenseKalix& X);

}  // namespace Kalix

// ---- Distribution functions of the random-variate laws (goodness-of-fit checks and users).
namespace Kalix {
/// Cauchy P(X <= x), location m and scale b > 0.
KALIX_EXPORT double CauchyCDF(double x, double m, double b);
/// Gumbel (maxima) P(X <= x) = exp(-exp(-(x - m)/b)), b > 0.
KALIX_EXPORT double GumbelCDF(double x, double m, double b);
/// Logistic P(X <= x) = 1/(1 + exp(-(x - m)/b)), b > 0.
KALIX_EXPORT double LogisticCDF(double x, double m, double b);
/// Triangular P(X <= x), lower a < upper b, mode c in [a, b].
KALIX_EXPORT double TriangularCDF(double x, double a, double b, double c);
/// Generalised Pareto P(X <= x) = 1 - (1 + k(x - m)/s)^(-1/k) (k = 0: exponential), s > 0.
KALIX_EXPORT double GenParetoCDF(double x, double k, double m, double s);
/// P(X <= k) for X ~ Poisson(lambda >= 0); k is floored, k < 0 gives 0.
KALIX_EXPORT double PoissonCDF(double k, double lambda);
/// P(X <= k), X the failures before the R-th success, R > 0 real, p in (0, 1].
KALIX_EXPORT double NegBinomCDF(double k, double R, double p);
/// P(X <= k), X the successes in N draws without replacement from M items of which K succeed (M < 2^32).
KALIX_EXPORT double HypGeometricCDF(double k, double M, double K, double N);
/// P(X <= k), X the failures before the first success, p in (0, 1].
KALIX_EXPORT double GeometricCDF(double k, double p);
}  // namespace Kalix
