// The vectorised Weibull log-likelihood against its element-by-element formula, and that
// formula against the density itself.

#include "Statistics/detail/WeibullLogLike.h"
#include "StatisticsTest.h"

namespace {

using detail::kWeibullFloor;
using detail::WeibullLogLikeSum;
using detail::WeibullLogLikeSumScalar;

// sum ln(a b x^(b-1) exp(-a x^b) + 2^-52) straight from the density.
double FromDensity(const std::vector<double>& lnX, double a, double b) {
  double s = 0;
  for (const double l : lnX) {
    const double x = std::exp(l);
    s += std::log(a * b * std::pow(x, b - 1) * std::exp(-a * std::pow(x, b)) + kWeibullFloor);
  }
  return s;
}

TEST(WeibullLogLike, VectorKernelMatchesTheFormula) {
  // Lengths off the vector width (tails), densities far below the floor (a x^b huge) mixed
  // with ordinary ones, exponents b ln x beyond the vector exp's range, shapes below 1, and
  // densities of 1e-7 .. 2e-5, where the floor's share 2^-52 / f is about 1e-11 of each term.
  struct TCase {
    int n;
    double a, b, extra;  // extra: one more ln x appended (0 for none)
  } const cases[] = {{1, 0.03, 1.5, 0},    {1000, 1e-6, 0.5, 0},   {37, 0.03, 1.5, 0},
                     {1000, 0.03, 1.5, 0}, {1001, 2.0, 3.0, 0},    {203, 1e-300, 0.7, 0},
                     {64, 0.5, 200.0, 0},  {99, 0.03, 1.5, 800.0}, {50, 1e-3, 2.0, -30.0}};
  for (const auto& c : cases) {
    std::vector<double> l;  // ln x of n values spread over (0, 20]: typical densities, none below the floor
    for (int i = 1; i <= c.n; ++i)
      l.push_back(std::log(20.0 * (i * 0.6180339887498949 - std::floor(i * 0.6180339887498949)) + 1e-3));
    if (c.extra != 0) l.insert(l.begin() + static_cast<long>(l.size() / 2), c.extra);
    const double scalar = WeibullLogLikeSumScalar(std::span<const double>(l), c.a, c.b);
    EXPECT_CLOSE(WeibullLogLikeSum(std::span<const double>(l), c.a, c.b), scalar, 1e-14) << c.n << " " << c.b;
    if (c.extra == 0) {
      EXPECT_CLOSE(scalar, FromDensity(l, c.a, c.b), 1e-13) << c.n << " " << c.b;
    }
    std::vector<float> f(l.begin(), l.end());
    EXPECT_CLOSE(WeibullLogLikeSum(std::span<const float>(f), c.a, c.b),
                 WeibullLogLikeSumScalar(std::span<const float>(f), c.a, c.b), 1e-6)
        << c.n << " " << c.b;
  }
}

}  // namespace
