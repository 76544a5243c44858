// Tests of normality: Lilliefors, Anderson-Darling (estimated and fully specified parameters),
// Jarque-Bera, Shapiro-Wilk and Shapiro-Francia.

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <vector>

#include "Statistics/Statistics.h"
#include "Statistics/detail/HypothesisRule.h"
#include "Statistics/detail/KolmogorovDistribution.h"
#include "Statistics/detail/SortedSample.h"

namespace Statistics {

using namespace Kalix;
using detail::AlphaInRange;
using detail::Decide;
using detail::QuietNan;
using detail::SortedCopy;
using detail::SortedHasNan;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInvSqrt2 = 0.70710678118654752440;

// A statistic and its upper-tail p-value.
struct TStatP {
  double stat = kNaN, p = kNaN;
};

double Finish(TStatP r, THypothesisResult& hRes, double& Signif, double Alpha) {
  Signif = r.p;
  hRes = Decide(r.p, r.stat, Alpha);
  return r.stat;
}

// Mean and sum of squared deviations of a span, in double.
template <class T>
void MeanSS(std::span<const T> x, double& mean, double& ss) {
  const double n = static_cast<double>(x.size());
  double s = 0;
  for (T v : x) s += static_cast<double>(v);
  mean = s / n;
  double c = 0, q = 0;  // corrected two-pass sum
  for (T v : x) {
    const double d = static_cast<double>(v) - mean;
    c += d;
    q += d * d;
  }
  ss = q - c * c / n;
}

double Poly(std::span<const double> c, double x) {
  double r = 0;
  for (std::size_t i = c.size(); i-- > 0;) r = r * x + c[i];
  return r;
}

// ---------------------------------------------------------------- Lilliefors

// Two-sided Kolmogorov D of the sorted sample against the normal with its own mean and sd.
template <class T>
double LillieD(std::span<const T> x) {
  double m, ss;
  MeanSS<T>(x, m, ss);
  const double n = static_cast<double>(x.size());
  const double sd = std::sqrt(ss / (n - 1.0));
  if (!(sd > 0.0)) return kNaN;  // constant data
  double d = 0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    const double z = NormalCDF((static_cast<double>(x[i]) - m) / sd, 0.0, 1.0);
    d = std::max({d, static_cast<double>(i + 1) / n - z, z - static_cast<double>(i) / n});
  }
  return d;
}

// Dallal & Wilkinson (1986): p-value of the Lilliefors D, fitted for p < 0.1; beyond 100 values
// the statistic is rescaled to n = 100.
double DallalWilkinson(double D, double n) {
  double Kd = D, nd = n;
  if (n > 100.0) {
    Kd = D * std::pow(n / 100.0, 0.49);
    nd = 100.0;
  }
  const double r = nd + 2.78019;
  const double p =
      std::exp(-7.01256 * Kd * Kd * r + 2.99587 * Kd * std::sqrt(r) - 0.122119 + 0.974598 / std::sqrt(nd) + 1.67997 / nd);
  return std::min(p, 1.0);
}

template <class T>
TStatP Lillie(const TVec& Data) {
  TVecScratch buf;
  auto x = SortedCopy<T>(Data, *buf);
  if (SortedHasNan<T>(x)) return {};
  const double D = LillieD<T>(x);
  return {D, DallalWilkinson(D, static_cast<double>(x.size()))};
}

// ---------------------------------------------------------------- Anderson-Darling

// ln(1 - Phi(z)) beyond the range of erfc (z > 37): the leading Mills-ratio term, so a far
// outlier gives a large finite A^2 instead of an infinite one.
double LogNormalTail(double z) { return -0.5 * z * z - std::log(z) - 0.91893853320467274178; }

// A^2 = -n - (1/n) sum (2i - 1)(ln p(i) + ln(1 - p(n+1-i))) with p = Phi((x - mu)/sigma), regrouped
// per element as (2i - 1) ln p(i) + (2n - 2i + 1) ln(1 - p(i)). One erfc per element gives the
// smaller of p and 1 - p to full relative accuracy, the other through log1p.
template <class T>
double AndersonA2(std::span<const T> x, double mu, double sigma) {
  const double n = static_cast<double>(x.size());
  double s = 0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    const double z = (static_cast<double>(x[i]) - mu) / sigma;
    double lnP, lnQ;
    if (z <= 0.0) {
      const double p = 0.5 * std::erfc(-z * kInvSqrt2);
      lnP = p > 0.0 ? std::log(p) : LogNormalTail(-z);
      lnQ = std::log1p(-p);
    } else {
      const double q = 0.5 * std::erfc(z * kInvSqrt2);
      lnP = std::log1p(-q);
      lnQ = q > 0.0 ? std::log(q) : LogNormalTail(z);
    }
    const double k = static_cast<double>(i + 1);
    s += (2.0 * k - 1.0) * lnP + (2.0 * n - 2.0 * k + 1.0) * lnQ;
  }
  return -n - s / n;
}

// Stephens' modified statistic and its p-value pieces (D'Agostino & Stephens 1986, table 4.9).
double AndersonEstimatedP(double A2, double n) {
  const double a = A2 * (1.0 + 0.75 / n + 2.25 / (n * n));
  if (a < 0.2) return 1.0 - std::exp(-13.436 + 101.14 * a - 223.73 * a * a);
  if (a < 0.34) return 1.0 - std::exp(-8.318 + 42.796 * a - 59.938 * a * a);
  if (a < 0.6) return std::exp(0.9177 - 4.279 * a - 1.38 * a * a);
  return std::exp(1.2937 - 5.709 * a + 0.0186 * a * a);
}

template <class T>
TStatP AndersonEstimated(const TVec& Data) {
  TVecScratch buf;
  auto x = SortedCopy<T>(Data, *buf);
  if (SortedHasNan<T>(x)) return {};
  double m, ss;
  MeanSS<T>(x, m, ss);
  const double n = static_cast<double>(x.size());
  const double A2 = AndersonA2<T>(x, m, std::sqrt(ss / (n - 1.0)));
  return {A2, std::isnan(A2) ? kNaN : AndersonEstimatedP(A2, n)};
}

template <class T>
TStatP AndersonSpecified(const TVec& Data, double Mu, double Sigma) {
  TVecScratch buf;
  auto x = SortedCopy<T>(Data, *buf);
  if (SortedHasNan<T>(x) || !std::isfinite(Mu) || !std::isfinite(Sigma)) return {};
  const double A2 = AndersonA2<T>(x, Mu, Sigma);
  return {A2, 1.0 - detail::AndersonDarlingCDF(static_cast<int>(x.size()), A2)};
}

// ---------------------------------------------------------------- Jarque-Bera

template <class T>
TStatP JarqueBera(const TVec& Data) {
  auto x = Data.Span<T>();
  double m, ss;
  MeanSS<T>(x, m, ss);
  const double n = static_cast<double>(x.size());
  double m3 = 0, m4 = 0;
  for (T v : x) {
    const double d = static_cast<double>(v) - m;
    const double d2 = d * d;
    m3 += d2 * d;
    m4 += d2 * d2;
  }
  const double m2 = ss / n;
  m3 /= n;
  m4 /= n;
  const double S = m3 / std::pow(m2, 1.5), K = m4 / (m2 * m2);
  const double JB = n / 6.0 * (S * S + 0.25 * (K - 3.0) * (K - 3.0));
  return {JB, std::exp(-0.5 * JB)};  // chi-square(2) upper tail
}

// ---------------------------------------------------------------- Shapiro-Wilk and Shapiro-Francia

// Royston (1995), algorithm AS R94: polynomial approximations in 1/sqrt(n) for the two largest
// coefficients, in n (n <= 11) or ln n for the mean and sd of the normalising transform.
constexpr double kC1[] = {0.0, 0.221157, -0.147981, -2.071190, 4.434685, -2.706056};
constexpr double kC2[] = {0.0, 0.042981, -0.293762, -1.752461, 5.682633, -3.582633};
constexpr double kC3[] = {0.5440, -0.39978, 0.025054, -6.714e-4};
constexpr double kC4[] = {1.3822, -0.77857, 0.062767, -0.0020322};
constexpr double kC5[] = {-1.5861, -0.31082, -0.083751, 0.0038915};
constexpr double kC6[] = {-0.4803, -0.082676, 0.0030302};
constexpr double kG[] = {-2.273, 0.459};

// The coefficients a(1..n/2) that weigh x(n+1-i) - x(i).
void SwilkCoefficients(std::size_t n, std::vector<double>& a) {
  const std::size_t nh = n / 2;
  a.assign(nh, 0.0);
  const double dn = static_cast<double>(n);
  if (n == 3) {
    a[0] = kInvSqrt2;
    return;
  }
  // m(i) = Phi^-1((i - 3/8)/(n + 1/4)) < 0, the lower half of the approximate normal scores.
  std::vector<double> m(nh);
  double summ2 = 0;
  for (std::size_t i = 0; i < nh; ++i) {
    m[i] = NormalCDFInv((static_cast<double>(i + 1) - 0.375) / (dn + 0.25), 0.0, 1.0);
    summ2 += m[i] * m[i];
  }
  summ2 *= 2.0;
  const double ssumm2 = std::sqrt(summ2), rsn = 1.0 / std::sqrt(dn);
  const double a1 = Poly(kC1, rsn) - m[0] / ssumm2;
  std::size_t i1;
  double fac;
  if (n > 5) {
    i1 = 2;
    const double a2 = -m[1] / ssumm2 + Poly(kC2, rsn);
    fac = std::sqrt((summ2 - 2.0 * m[0] * m[0] - 2.0 * m[1] * m[1]) / (1.0 - 2.0 * a1 * a1 - 2.0 * a2 * a2));
    a[1] = a2;
  } else {
    i1 = 1;
    fac = std::sqrt((summ2 - 2.0 * m[0] * m[0]) / (1.0 - 2.0 * a1 * a1));
  }
  a[0] = a1;
  for (std::size_t i = i1; i < nh; ++i) a[i] = -m[i] / fac;
}

// Upper-tail p-value of W (Royston 1995).
double SwilkP(double W, std::size_t n) {
  const double dn = static_cast<double>(n);
  if (n == 3) {
    // Exact for three values: 6/pi (asin(sqrt(W)) - pi/3).
    return std::max(0.0, 6.0 / 3.14159265358979323846 * (std::asin(std::sqrt(W)) - 1.04719755119659774615));
  }
  double y = std::log1p(-W), mu, sigma;
  if (n <= 11) {
    const double gamma = Poly(kG, dn);
    if (y >= gamma) return 1e-19;  // beyond the transform's range: smaller than any useful Alpha
    y = -std::log(gamma - y);
    mu = Poly(kC3, dn);
    sigma = std::exp(Poly(kC4, dn));
  } else {
    const double ln = std::log(dn);
    mu = Poly(kC5, ln);
    sigma = std::exp(Poly(kC6, ln));
  }
  return NormalCDF((mu - y) / sigma, 0.0, 1.0);
}

template <class T>
TStatP ShapiroWilk(const TVec& Data) {
  TVecScratch buf;
  auto x = SortedCopy<T>(Data, *buf);
  if (SortedHasNan<T>(x)) return {};
  const std::size_t n = x.size();
  std::vector<double> a;
  SwilkCoefficients(n, a);
  double m, ss;
  MeanSS<T>(x, m, ss);
  double num = 0;
  for (std::size_t i = 0; i < a.size(); ++i)
    num += a[i] * (static_cast<double>(x[n - 1 - i]) - static_cast<double>(x[i]));
  // Constant data: 0/0 gives NaN. Rounding may push W a hair above 1.
  const double W = std::min(num * num / ss, 1.0);
  return {W, std::isnan(W) ? kNaN : SwilkP(W, n)};
}

template <class T>
TStatP ShapiroFranciaKernel(const TVec& Data) {
  TVecScratch buf;
  auto x = SortedCopy<T>(Data, *buf);
  if (SortedHasNan<T>(x)) return {};
  const std::size_t n = x.size();
  const double dn = static_cast<double>(n);
  // Blom scores are antisymmetric, so their mean is 0 and only the lower half is evaluated.
  double xm, ss;
  MeanSS<T>(x, xm, ss);
  double sxy = 0, syy = 0;
  for (std::size_t i = 0; i < n / 2; ++i) {
    const double y = NormalCDFInv((static_cast<double>(i + 1) - 0.375) / (dn + 0.25), 0.0, 1.0);
    sxy += y * (static_cast<double>(x[i]) - static_cast<double>(x[n - 1 - i]));
    syy += 2.0 * y * y;
  }
  const double W = std::min(sxy * sxy / (syy * ss), 1.0);
  // Royston (1993): ln(1 - W') is close to normal with these mean and sd.
  const double u = std::log(dn), v = std::log(u);
  const double mu = -1.2725 + 1.0521 * (v - u), sigma = 1.0308 - 0.26758 * (v + 2.0 / u);
  const double z = (std::log1p(-W) - mu) / sigma;
  return {W, std::isnan(W) ? kNaN : NormalCDF(-z, 0.0, 1.0)};
}

}  // namespace

double GOFLillieTest(const TVec& Data, THypothesisResult& hRes, double& Signif, double Alpha) {
  if (Data.Complex()) ERaise("GOFLillieTest: Data.Complex = true");
  if (Data.Length() < 5) ERaise("GOFLillieTest: Data.Length < 5");
  if (!AlphaInRange(Alpha)) return QuietNan(hRes, Signif, nullptr);
  return Finish(WithPrecision(Data, [&](auto t) { return Lillie<typename decltype(t)::type>(Data); }), hRes, Signif,
                Alpha);
}

double AndersonDarling(const TVec& Data, THypothesisResult& hRes, double& Signif, double Alpha) {
  if (Data.Complex()) ERaise("AndersonDarling: Data.Complex = true");
  if (Data.Length() < 8) ERaise("AndersonDarling: Data.Length < 8");
  if (!AlphaInRange(Alpha)) return QuietNan(hRes, Signif, nullptr);
  return Finish(WithPrecision(Data, [&](auto t) { return AndersonEstimated<typename decltype(t)::type>(Data); }),
                hRes, Signif, Alpha);
}

double AndersonDarling(const TVec& Data, double Mu, double Sigma, THypothesisResult& hRes, double& Signif,
                       double Alpha) {
  if (Data.Complex()) ERaise("AndersonDarling: Data.Complex = true");
  if (Data.Length() == 0) ERaise("AndersonDarling: Data.Length = 0");
  if (Sigma <= 0.0) ERaise("AndersonDarling: Sigma <= 0");
  if (!AlphaInRange(Alpha)) return QuietNan(hRes, Signif, nullptr);
  return Finish(
      WithPrecision(Data, [&](auto t) { return AndersonSpecified<typename decltype(t)::type>(Data, Mu, Sigma); }), hRes,
      Signif, Alpha);
}

double GOFBeraJarqueTest(const TVec& Data, THypothesisResult& hRes, double& Signif, double Alpha) {
  if (Data.Complex()) ERaise("GOFBeraJarqueTest: Data.Complex = true");
  if (Data.Length() < 3) ERaise("GOFBeraJarqueTest: Data.Length < 3");
  if (!AlphaInRange(Alpha)) return QuietNan(hRes, Signif, nullptr);
  return Finish(WithPrecision(Data, [&](auto t) { return JarqueBera<typename decltype(t)::type>(Data); }), hRes,
                Signif, Alpha);
}

double ShapiroWilks(const TVec& Data, THypothesisResult& hRes, double& Signif, double Alpha) {
  if (Data.Complex()) ERaise("ShapiroWilks: Data.Complex = true");
  if (Data.Length() < 3) ERaise("ShapiroWilks: Data.Length < 3");
  if (!AlphaInRange(Alpha)) return QuietNan(hRes, Signif, nullptr);
  return Finish(WithPrecision(Data, [&](auto t) { return ShapiroWilk<typename decltype(t)::type>(Data); }), hRes,
                Signif, Alpha);
}

double ShapiroFrancia(const TVec& Data, THypothesisResult& hRes, double& Signif, double Alpha) {
  if (Data.Complex()) ERaise("ShapiroFrancia: Data.Complex = true");
  if (Data.Length() < 5) ERaise("ShapiroFrancia: Data.Length < 5");
  if (!AlphaInRange(Alpha)) return QuietNan(hRes, Signif, nullptr);
  return Finish(WithPrecision(Data, [&](auto t) { return ShapiroFranciaKernel<typename decltype(t)::type>(Data); }),
                hRes, Signif, Alpha);
}

}  // namespace Statistics
