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

KALIX_EXPORT double NormalPDF(double x, double Mu, double Sigma);
KALIX_EXPORT double NormalCDF(double x, double Mu, double Sigma);
KALIX_EXPORT double NormalCDFInv(double p, double Mu, double Sigma);
KALIX_EXPORT double StudentPDF(double x, double Df);
KALIX_EXPORT double StudentCDF(double t, double Df);
KALIX_EXPORT double StudentCDFInv(double p, double Df);
KALIX_EXPORT double ChiSquarePDF(double x, double Df);
KALIX_EXPORT double ChiSquareCDF(double x, double Df);
KALIX_EXPORT double ChiSquareCDFInv(double p, double Df);
KALIX_EXPORT double FPDF(double x, double Df1, double Df2);
KALIX_EXPORT double FCDF(double x, double Df1, double Df2);
KALIX_EXPORT double FCDFInv(double p, double Df1, double Df2);
KALIX_EXPORT double BetaPDF(double x, double a, double b);
KALIX_EXPORT double BetaCDF(double x, double a, double b);
KALIX_EXPORT double GammaPDF(double x, double a, double b);
KALIX_EXPORT double GammaCDF(double x, double a, double b);
KALIX_EXPORT double GammaCDFInv(double p, double a, double b);
KALIX_EXPORT double CauchyPDF(double x, double m, double b);
KALIX_EXPORT double WeibullPDF(double x, double a, double b);
KALIX_EXPORT double WeibullCDF(double x, double a, double b);
KALIX_EXPORT double TriangularPDF(double x, double a, double b, double c);
KALIX_EXPORT double UniformCDF(double x, double a, double b);
KALIX_EXPORT double ExpCDF(double x, double mu);
KALIX_EXPORT double ErlangCDF(double x, double k, double lambda);
KALIX_EXPORT double LaplaceCDF(double x, double m, double b);
KALIX_EXPORT double LogNormalCDF(double x, double mu, double sigma);
KALIX_EXPORT double LogisticCDFInv(double p, double m, double b);
KALIX_EXPORT double MaxwellCDF(double x, double a);
KALIX_EXPORT double MaxwellCDFInv(double p, double a);
KALIX_EXPORT double RayleighCDF(double x, double b);
/// P(X <= k) for X ~ Binomial(n, p); k is floored.
KALIX_EXPORT double BinomCDF(double k, double n, double p);
/// Smallest k with P(X <= k) >= p for X ~ Poisson(lambda).
KALIX_EXPORT double PoissonCDFInv(double p, double lambda);
/// Second derivative of ln Gamma(x).
KALIX_EXPORT double trigamma(double x);

// Vector forms: Dst[i] = F(X[i], parameters...).
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
