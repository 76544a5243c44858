// Random variates: every law's sample against the library's own distribution function
// (Kolmogorov-Smirnov or chi-square) and its theoretical mean and variance, the edge cases,
// the exact messages in their order, reproducibility and threads.
#include <algorithm>
#include <cstring>

#include "support/TestSupport.h"

using namespace Kalix;
using namespace KalixTest;
using namespace StatRandom;

namespace {

constexpr int kDraws = 100'000;
constexpr int kSeed = 20240611;

// sqrt(n) * D of the one-sample Kolmogorov-Smirnov test.
double KsStatistic(std::vector<double> x, const std::function<double(double)>& cdf) {
  std::sort(x.begin(), x.end());
  const double n = static_cast<double>(x.size());
  double d = 0.0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    const double f = cdf(x[i]);
    d = std::max({d, (static_cast<double>(i) + 1.0) / n - f, f - static_cast<double>(i) / n});
  }
  return std::sqrt(n) * d;
}
// Upper 0.1% point of the limiting Kolmogorov distribution (sqrt(-ln(0.0005)/2)).
constexpr double kKsCritical = 1.9495;

// Pearson chi-square p-value of integer counts against a discrete CDF, cells merged until each expects at least 10.
double ChiSquarePValue(const std::vector<double>& x, const std::function<double(double)>& cdf) {
  const double n = static_cast<double>(x.size());
  const double lo = *std::min_element(x.begin(), x.end()), hi = *std::max_element(x.begin(), x.end());
  std::vector<double> obs, expct;
  double o = 0, prev = 0, stat = 0;
  for (double k = lo; k <= hi; k += 1.0) {
    o += static_cast<double>(std::count(x.begin(), x.end(), k));
    const double c = k == hi ? 1.0 : cdf(k);
    if ((c - prev) * n >= 10.0 || k == hi) {
      obs.push_back(o);
      expct.push_back((c - prev) * n);
      prev = c;
      o = 0;
    }
  }
  for (std::size_t i = 0; i < obs.size(); ++i) stat += (obs[i] - expct[i]) * (obs[i] - expct[i]) / expct[i];
  return 1.0 - ChiSquareCDF(stat, static_cast<double>(obs.size() - 1));
}

struct TLaw {
  const char* name;
  std::function<void(TVec&, int)> draw;
  std::function<double(double)> cdf;
  double mean, variance;  // NaN where the moment does not exist
  bool discrete = false;
};

// An integer law drawn through a real vector, so that all laws share one table.
template <class F>
std::function<void(TVec&, int)> IntDraw(F f) {
  return [f](TVec& r, int seed) {
    TVecInt k(r.Length());
    f(k, seed);
    const auto c = k.ToVector();
    for (int i = 0; i < r.Length(); ++i) r[i] = c[static_cast<std::size_t>(i)];
  };
}

const double NaN = std::nan("");

// One row per law: its draw, its distribution function over the same parameters, and the
// textbook mean and variance (NaN where the moment does not exist).
#define ARGS(...) __VA_ARGS__
#define LAW(Rand, Cdf, Params, mean, var)                                                                      \
  {#Rand #Params, [](TVec& r, int s) { Rand(ARGS Params, r, s); }, [](double x) { return Cdf(x, ARGS Params); }, \
   mean, var}
#define INTLAW(Rand, Cdf, Params, mean, var)                                                                  \
  {#Rand #Params, IntDraw([](TVecInt& r, int s) { Rand(ARGS Params, r, s); }),                                  \
   [](double x) { return Cdf(x, ARGS Params); }, mean, var, true}

std::vector<TLaw> Laws() {
  const double pi = 3.14159265358979323846, g1 = std::tgamma(1 + 1 / 1.5);
  return {
      LAW(RandomBeta, BetaCDF, (2, 3), 0.4, 0.04),
      LAW(RandomBeta, BetaCDF, (0.3, 0.5), 0.375, 0.375 * 0.625 / 1.8),
      LAW(RandomCauchy, CauchyCDF, (1, 2), NaN, NaN),
      LAW(RandomChiSquare, ChiSquareCDF, (7), 7, 14),
      LAW(RandomErlang, ErlangCDF, (3, 2), 1.5, 0.75),
      LAW(RandomExponent, ExpCDF, (2), 2, 4),
      LAW(RandomF, FCDF, (5, 12), 1.2, 2 * 144.0 * 15 / (5 * 100 * 8)),
      LAW(RandomGamma, GammaCDF, (0.5, 2), 1, 2),
      LAW(RandomGamma, GammaCDF, (7.5, 1.5), 11.25, 16.875),
      LAW(RandomGenPareto, GenParetoCDF, (0.1, 1, 2), 1 + 2 / 0.9, 4 / (0.81 * 0.8)),
      LAW(RandomGenPareto, GenParetoCDF, (-0.3, 0, 1), 1 / 1.3, 1 / (1.69 * 1.6)),
      LAW(RandomGumbel, GumbelCDF, (1, 2), 1 + 2 * 0.57721566490153286, pi * pi / 6 * 4),
      LAW(RandomLaplace, LaplaceCDF, (1, 2), 1, 8),
      LAW(RandomLogistic, LogisticCDF, (1, 2), 1, 4 * pi * pi / 3),
      LAW(RandomLogNormal, LogNormalCDF, (0.5, 0.8), std::exp(0.82), std::expm1(0.64) * std::exp(1.64)),
      LAW(RandomMaxwell, MaxwellCDF, (1.5), 2 * 1.5 * std::sqrt(2 / pi), 2.25 * (3 * pi - 8) / pi),
      LAW(RandomNormal, NormalCDF, (1, 2), 1, 4),
      LAW(RandomRayleigh, RayleighCDF, (1.5), 1.5 * std::sqrt(pi / 2), (4 - pi) / 2 * 2.25),
      LAW(RandomStudent, StudentCDF, (1), NaN, NaN),
      LAW(RandomStudent, StudentCDF, (9), 0, 9.0 / 7),
      LAW(RandomTriangular, TriangularCDF, (0, 3, 1), 4.0 / 3, (9 + 1 - 3) / 18.0),
      LAW(RandomUniform, UniformCDF, (-1, 3), 1, 16.0 / 12),
      LAW(RandomWeibull, WeibullCDF, (2, 1.5), std::pow(2, -1 / 1.5) * g1,
          std::pow(2, -2 / 1.5) * (std::tgamma(1 + 2 / 1.5) - g1 * g1)),
      INTLAW(RandomBinom, BinomCDF, (20, 0.3), 6, 4.2),
      INTLAW(RandomBinom, BinomCDF, (200, 0.8), 160, 32),
      INTLAW(RandomHypGeometric, HypGeometricCDF, (100, 30, 20), 6, 20 * 0.3 * 0.7 * 80 / 99.0),
      INTLAW(RandomHypGeometric, HypGeometricCDF, (10000, 4000, 3000), 1200, 3000 * 0.4 * 0.6 * 7000 / 9999.0),
      INTLAW(RandomNegBinom, NegBinomCDF, (2.5, 0.3), 2.5 * 0.7 / 0.3, 2.5 * 0.7 / 0.09),
      INTLAW(RandomPoisson, PoissonCDF, (3.5), 3.5, 3.5),
      INTLAW(RandomPoisson, PoissonCDF, (75), 75, 75),
      {"RandomGeometric(0.2)", [](TVec& r, int s) { RandomGeometric(0.2, r, s); },
       [](double k) { return GeometricCDF(k, 0.2); }, 4, 20, true},
      {"RandomUniformD(6)", [](TVec& r, int s) { RandomUniformD(6, r, s); }, [](double k) { return std::floor(k) / 6; },
       3.5, 35.0 / 12, true},
  };
}

TEST(RandomVariates, FitTheirDistributionAndMoments) {
  for (const TLaw& law : Laws()) {
    SCOPED_TRACE(law.name);
    TVec r(kDraws);
    law.draw(r, kSeed);
    const std::vector<double> x = r.ToVector();
    if (law.discrete)
      EXPECT_GT(ChiSquarePValue(x, law.cdf), 0.001);
    else
      EXPECT_LT(KsStatistic(x, law.cdf), kKsCritical);
    const double var = StdDev(r) * StdDev(r);
    if (!std::isnan(law.mean)) { EXPECT_NEAR(law.mean, Mean(r), 5 * std::sqrt(var / kDraws)); }
    if (!std::isnan(law.variance)) { EXPECT_NEAR(1.0, var / law.variance, 0.05); }
  }
}

// Single-precision results are the same draws rounded, for the stream laws and the transforms.
TEST(RandomVariates, SinglePrecisionRoundsTheDoubleDraws) {
  for (const TLaw& law : Laws()) {
    if (law.discrete) continue;
    SCOPED_TRACE(law.name);
    TVec d(1000), s(1000, mvSingle);
    law.draw(d, 7);
    law.draw(s, 7);
    int far = 0;
    for (int i = 0; i < d.Length(); ++i)
      if (!(std::fabs(d[i] - s[i]) <= 1e-4 * std::max(1.0, std::fabs(d[i])))) ++far;
    // Uniform-based laws draw 24 bits in single precision, so they agree only in distribution.
    const std::string n(law.name, std::strchr(law.name, '('));  // without the parameters
    if (std::string(" RandomNormal RandomGamma RandomExponent RandomBeta ").find(" " + n + " ") != std::string::npos)
      EXPECT_EQ(far, 0);
    else
      EXPECT_LT(KsStatistic(s.ToVector(), law.cdf), 2.5);
  }
}

TEST(RandomVariates, SeedsReproduceAndEdgeCases) {
  // A matrix draws rows x columns values in row-major order, the same as a vector of the same seed.
  TVec a(64), b(64), c(64);
  TMtx m(8, 8);
  RandomNormal(0, 1, a, 5);
  RandomNormal(0, 1, m, 5);
  RandomNormal(0, 1, b, -1);
  RandomNormal(0, 1, c, -1);
  EXPECT_TRUE(m.Rows() == 8 && m.ToVector() == a.ToVector());
  EXPECT_NE(a.ToVector(), c.ToVector());
  EXPECT_NE(b.ToVector(), c.ToVector());
  // Degenerate laws give their one value; tiny shapes and modes on an end stay in the support.
  const double big = 1.7e308;
  const struct {
    const char* name;
    std::function<void(TVec&, int)> draw;
    double lo, hi;
  } cases[] = {
      {"F(4,4)", [](TVec& x, int s) { RandomF(4, 4, x, s); }, 1, 1},  // deliberate: both chi-squares share the seed
      {"Geometric(1)", [](TVec& x, int s) { RandomGeometric(1, x, s); }, 0, 0},
      {"Geometric(1e-300)", [](TVec& x, int s) { RandomGeometric(1e-300, x, s); }, 0, big},
      {"UniformD(0)", [](TVec& x, int s) { RandomUniformD(0, x, s); }, 0, 0},
      {"UniformD(1)", [](TVec& x, int s) { RandomUniformD(1, x, s); }, 1, 1},
      {"Laplace(2.5,0)", [](TVec& x, int s) { RandomLaplace(2.5, 0, x, s); }, 2.5, 2.5},
      {"Triangular(0,2,0)", [](TVec& x, int s) { RandomTriangular(0, 2, 0, x, s); }, 0, 2},
      {"Triangular(0,2,2)", [](TVec& x, int s) { RandomTriangular(0, 2, 2, x, s); }, 0, 2},
      {"Beta(0.01,0.02)", [](TVec& x, int s) { RandomBeta(0.01, 0.02, x, s); }, 0, 1},  // no 0/0
      {"Gamma(0.01,1)", [](TVec& x, int s) { RandomGamma(0.01, 1, x, s); }, 0, big},
      {"Binom(50,1)", IntDraw([](TVecInt& k, int s) { RandomBinom(50, 1, k, s); }), 50, 50},
      {"Binom(0,0.5)", IntDraw([](TVecInt& k, int s) { RandomBinom(0, 0.5, k, s); }), 0, 0},
      {"NegBinom(3,1)", IntDraw([](TVecInt& k, int s) { RandomNegBinom(3, 1, k, s); }), 0, 0},
      {"HypGeometric(50,20,50)", IntDraw([](TVecInt& k, int s) { RandomHypGeometric(50, 20, 50, k, s); }), 20, 20},
      {"HypGeometric(50,0,10)", IntDraw([](TVecInt& k, int s) { RandomHypGeometric(50, 0, 10, k, s); }), 0, 0},
      // Beyond 32 bits: saturates, no endless loop.
      {"Poisson(1e12)", IntDraw([](TVecInt& k, int s) { RandomPoisson(1e12, k, s); }), 2147483647, 2147483647},
  };
  for (const auto& law : cases) {
    TVec x(1000);
    law.draw(x, 3);
    for (double v : x.ToVector()) ASSERT_TRUE(v >= law.lo && v <= law.hi) << law.name << " " << v;
  }
  // Nothing to draw: no error, even for laws whose stream would refuse the parameters.
  TVec e;
  TVecInt ek;
  EXPECT_NO_THROW(RandomStudent(1, e, 1));
  EXPECT_NO_THROW(RandomF(2, 3, e, 1));
  EXPECT_NO_THROW(RandomHypGeometric(10, 5, 5, ek, 1));
}

TEST(RandomVariates, MessagesInTheirOrder) {
  TVec r(4), z = ComplexVec();
  TVecInt k(4);
  struct {
    std::function<void()> call;
    const char* text;
  } cases[] = {
      {[&] { RandomBeta(0, 1, z); }, "RandomBeta: (A<=0) or (B<=)"},  // deliberate typo; before the complex check
      {[&] { RandomBinom(3, 1.5, k); }, "RandomBinom: (P < 0) or ( P > 1)"},
      {[&] { RandomBinom(-3, 0.5, k); }, "TRngStream.RandomBinomial: N < 0"},
      {[&] { RandomChiSquare(0, r); }, "RandomGamma: A<=0 or B<=0 "},
      {[&] { RandomErlang(0, 1, z); }, "RandomErlang : (k<=0) or (lambda<=0)"},
      {[&] { RandomExponent(0, z); }, "RandomExponent: mu <= 0!"},
      {[&] { RandomF(1, 0, z); }, "RandomF:(ANu1<=0) or (ANu2<=0)"},
      {[&] { RandomGamma(1, 0, z); }, "RandomGamma: A<=0 or B<=0 "},
      {[&] { RandomGenPareto(0.1, 0, 0, z); }, "RandomGenPareto: sigma <= 0"},
      {[&] { RandomGeometric(0, z); }, "RandomGeometric: (p <= 0 ) or (p > 1)"},
      {[&] { RandomGumbel(0, 0, z); }, "RandomGumbel: beta<=0"},
      {[&] { RandomHypGeometric(-1, 20, 30, k); }, "RandomHypGeometric: ( M < 0 ) or ( K < 0 ) or ( N < 0 )"},
      {[&] { RandomHypGeometric(10, 2, 30, k); }, "RandomHypGeometric: M < Max(K ,N)"},
      {[&] { RandomLaplace(0, -1, z); }, "RandomLaplace: b < 0"},
      {[&] { RandomLogistic(0, 0, z); }, "RandomLogistic: b<=0"},
      {[&] { RandomLogNormal(0, -1, z); }, "RandomLogNormal: sigma < 0"},
      {[&] { RandomMaxwell(-1, z); }, "RandomMaxwell: (a < 0 )"},
      {[&] { RandomNegBinom(0, 0.5, k); }, "RandomNegBinom: (p <= 0 ) or (p > 1) or (R <= 0)"},
      {[&] { RandomNormal(0, -1, z); }, "RandomNormal: sigma < 0"},
      {[&] { RandomNormal(0, NAN, r); }, "RandomNormal : TRngStream.RandomGaussian: Sigma < 0"},
      {[&] { RandomPoisson(-1, k); }, "TRngStream.RandomPoisson: (Lambda < 0) or (Lambda = Inf)"},
      {[&] { RandomStudent(0, z); }, "RandomStudent: v <= 0"},
      {[&] { RandomTriangular(2, 1, 5, z); }, "RandomTriangular: a > b"},
      {[&] { RandomTriangular(0, 1, 5, z); }, "RandomTriangular: (c>b) or (c<a)"},
      {[&] { RandomUniform(1, 0, z); }, "RandomUniform: a > b"},
      {[&] { RandomUniform(NAN, 1, r); }, "RandomUniform : TRngStream.RandomUniform: Low > High"},
      {[&] { RandomUniformD(-1, z); }, "RandomUniformD: N < 0"},
      {[&] { RandomWeibull(0, 1, z); }, "RandomWeibull: (a<=0) or (b<=0)"},
      {[&] { RandomWeibull(1, NAN, r); }, "RandomWeibull : TRngStream.RandomWeibull: (Shape <= 0) or (Scale < 0)"},
  };
  for (const auto& c : cases) EXPECT_RAISES(c.call(), c.text);
  // Complex results, each law with its own spacing before the colon.
  const std::pair<std::function<void()>, std::string> complexResults[]{
      {[&] { RandomBeta(1, 1, z); }, "RandomBeta: "}, {[&] { RandomCauchy(0, 1, z); }, "RandomCauchy: "},
      {[&] { RandomChiSquare(0, z); }, "RandomChiSquare : "}, {[&] { RandomErlang(1, 1, z); }, "RandomErlang : "},
      {[&] { RandomExponent(1, z); }, "RandomExponent : "}, {[&] { RandomF(1, 1, z); }, "RandomF : "},
      {[&] { RandomGamma(1, 1, z); }, "RandomGamma : "}, {[&] { RandomGeometric(1, z); }, "RandomGeometric : "},
      {[&] { RandomGumbel(0, 1, z); }, "RandomGumbel : "}, {[&] { RandomLaplace(0, 1, z); }, "RandomLaplace : "},
      {[&] { RandomLogistic(0, 1, z); }, "RandomLogistic: "}, {[&] { RandomLogNormal(0, 1, z); }, "RandomLogNormal : "},
      {[&] { RandomMaxwell(1, z); }, "RandomMaxwell : "}, {[&] { RandomNormal(0, 1, z); }, "RandomNormal : "},
      {[&] { RandomRayleigh(1, z); }, "RandomRayleigh : "}, {[&] { RandomStudent(1, z); }, "RandomStudent : "},
      {[&] { RandomTriangular(0, 1, 0.5, z); }, "RandomTriangular : "},
      {[&] { RandomUniform(0, 1, z); }, "RandomUniform : "}, {[&] { RandomUniformD(1, z); }, "RandomUniformD : "},
      {[&] { RandomWeibull(1, 1, z); }, "RandomWeibull : "}};
  for (const auto& [call, name] : complexResults) EXPECT_RAISES(call(), name + "Results.Complex=true");
}

// Threads with their own seeds get what a sequential call gets (Student(1) uses two streams,
// F and Student(9) scratch vectors).
TEST(RandomVariates, ConcurrentCallsMatchSequential) {
  EXPECT_EQ(ConcurrentMismatches([](int t) {
              TVec a(2000), b(2000), c(2000);
              TVecInt k(2000);
              RandomNormal(0, 1, a, 100 + t);
              RandomStudent(1 + 8 * (t % 2), b, 100 + t);
              RandomF(3, 7, c, 100 + t);
              RandomPoisson(30, k, 100 + t);
              std::vector<double> out;
              for (int v : k.ToVector()) out.push_back(v);
              for (const TVec* v : {&a, &b, &c})
                for (double x : v->ToVector()) out.push_back(x);
              out.push_back(ScratchOutstanding());
              return out;
            }),
            0);
}

}  // namespace
