// Student's t for whole degrees of freedom (closed series, Hill's start and Newton) against R and long-double Boost.
#include <boost/math/distributions/students_t.hpp>
#include <cmath>

#include "support/TestSupport.h"

namespace {

using Kalix::StudentCDF;
using Kalix::StudentCDFInv;

TEST(StudentWholeDf, MatchesR) {
  // R: pt(t, df) and qt(p, df).
  struct TCase {
    double x, df, cdf;
  } const cdfs[] = {{-1.5, 7, 0.088649243494985014}, {0.3, 19, 0.616282669830368279}, {2, 1, 0.852416382349566737},
                    {-0.8, 64, 0.213335158602930897}, {1.1, 2, 0.806980064702271127}};
  for (const auto& c : cdfs) EXPECT_CLOSE(c.cdf, StudentCDF(c.x, c.df), 1e-14) << c.x << " " << c.df;
  struct TQuantile {
    double p, df, t;
  } const quantiles[] = {{0.975, 19, 2.09302405440830919}, {0.005, 3, -5.84090930973335620},
                         {0.9, 64, 1.29491981959517366},   {0.25, 2, -0.81649658092772592},
                         {0.6, 1, 0.32491969623290634},    {0.01, 30, -2.45726154240059191}};
  for (const auto& q : quantiles) EXPECT_CLOSE(q.t, StudentCDFInv(q.p, q.df), 1e-14) << q.p << " " << q.df;
}

// Every whole df up to past the series' limit, t and p from the centre into the far tails:
// within 2e-14 of Boost.Math in long double where the closed forms serve, monotone, and the quantile inverting the CDF.
TEST(StudentWholeDf, AgreesWithTheGeneralRoutineAndStaysMonotone) {
  for (int v = 1; v <= 70; ++v) {
    const boost::math::students_t_distribution<long double> law(v);
    double prev = 0;
    for (double t = -40; t <= 40; t += 0.0137) {
      const double p = StudentCDF(t, v);
      const auto ref = static_cast<double>(boost::math::cdf(law, static_cast<long double>(t)));
      ASSERT_NEAR(p, ref, 2e-14 * ref) << "t " << t << " df " << v;
      ASSERT_GE(p, prev) << "t " << t << " df " << v;
      prev = p;
    }
    double prevT = -INFINITY;
    for (double lp = -300; lp < -0.302; lp += 0.0731) {  // p = 10^lp, both tails
      for (const double p : {std::pow(10.0, lp), 1 - std::pow(10.0, lp)}) {
        if (p >= 1) continue;
        const double t = StudentCDFInv(p, v);
        const auto ref = static_cast<double>(boost::math::quantile(law, static_cast<long double>(p)));
        // Beyond the series' range the general routine answers, to its own 1e-12.
        const double tol = std::min(p, 1 - p) >= 0.004 ? 2e-14 : 1e-12;
        ASSERT_NEAR(t, ref, tol * std::fabs(ref)) << "p " << p << " df " << v;
      }
    }
    for (double p = 0.001; p < 0.999; p += 0.00093) {
      const double t = StudentCDFInv(p, v);
      ASSERT_GT(t, prevT) << "p " << p << " df " << v;
      prevT = t;
      EXPECT_NEAR(StudentCDF(t, v), p, 4e-15) << "p " << p << " df " << v;
    }
  }
}

}  // namespace
