// Demo: distribution fits with confidence intervals on failure times and on counts.

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "DemoCsv.h"
#include "KalixStats.h"

namespace {

void PrintCI(const char* name, double est, const Statistics::TTwoElmReal& ci) {
  std::printf("  %-8s %12.6g   95%% CI [%.6g, %.6g]\n", name, est, ci[0], ci[1]);
}

}  // namespace

// Bearing lifetimes fitted by Weibull and Gamma maximum likelihood; horse-kick deaths by Poisson.
void DemoFits(const std::string& dir) {
  using Statistics::TTwoElmReal;
  std::printf("\n== Ball-bearing lifetimes (millions of revolutions): maximum-likelihood fits\n");
  const Kalix::TVec life(ReadColumns(dir + "/ball_bearings.csv").at(0));
  double a, b;
  TTwoElmReal aCI, bCI;
  Statistics::WeibullFit(life, a, b, aCI, bCI, 2000, 1e-12);
  std::printf(" Weibull, density a b x^(b-1) exp(-a x^b); characteristic life a^(-1/b) = %.4g\n", std::pow(a, -1 / b));
  PrintCI("a", a, aCI);
  PrintCI("b", b, bCI);
  Statistics::GammaFit(life, a, b, aCI, bCI, 2000, 1e-12);
  std::printf(" Gamma, shape a and scale b; mean a b = %.4g\n", a * b);
  PrintCI("shape", a, aCI);
  PrintCI("scale", b, bCI);
  double mu, sigma;
  Statistics::LogNormalFit(life, mu, sigma, aCI, bCI);
  std::printf(" Log-normal, mu and sigma of ln x\n");
  PrintCI("mu", mu, aCI);
  PrintCI("sigma", sigma, bCI);

  std::printf("\n== Deaths by horse kick per Prussian army corps and year (200 corps-years)\n");
  const auto table = ReadColumns(dir + "/horse_kicks.csv");
  std::vector<double> deaths;
  for (std::size_t i = 0; i < table.at(0).size(); ++i)
    deaths.insert(deaths.end(), static_cast<std::size_t>(table[1][i]), table[0][i]);
  double lambda;
  TTwoElmReal lCI;
  Statistics::PoissonFit(Kalix::TVec(deaths), lambda, lCI);
  PrintCI("lambda", lambda, lCI);
  std::printf("  %-8s %12s %12s\n", "deaths", "observed", "expected");
  for (std::size_t i = 0; i < table[0].size(); ++i) {
    const double k = table[0][i];
    const double pk = std::exp(-lambda + k * std::log(lambda) - std::lgamma(k + 1));
    std::printf("  %-8.0f %12.0f %12.1f\n", k, table[1][i], 200 * pk);
  }
}
