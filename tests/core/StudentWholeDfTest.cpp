// Student's t for whole degrees of freedom (closed series, Hill's start and Newton) against long-double Boost;
// the R values of the probability table pin the same path.
#include <boost/math/distributions/students_t.hpp>

#include "support/TestSupport.h"

namespace {

using Kalix::StudentCDF;
using Kalix::StudentCDFInv;

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
