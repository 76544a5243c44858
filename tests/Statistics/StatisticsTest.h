// What the Statistics suites share: the kit, the routines' namespace, the special values, the
// outputs of a hypothesis test, and quasi-random points that R rebuilds exactly.
#pragma once

#include <algorithm>
#include <limits>
#include <utility>

#include "support/TestSupport.h"

using namespace KalixTest;
using namespace Statistics;

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInf = std::numeric_limits<double>::infinity();

/// A test's statistic, decision, p-value and interval, the interval preset to show it is written.
struct TTestOut {
  double stat = 0;
  THypothesisResult hRes = hrNotReject;
  double signif = -1;
  TTwoElmReal ci{-7, -7};
};

/// R: (((1:n) * c) %% 1)^power.
inline std::vector<double> Frac(int n, double c, double power = 1.0) {
  std::vector<double> u(static_cast<std::size_t>(n));
  for (int i = 1; i <= n; ++i) u[static_cast<std::size_t>(i - 1)] = std::pow(std::fmod(i * c, 1.0), power);
  return u;
}

/// The tails that have a reference p-value (NaN: none), for tables of one row per data set.
inline std::vector<std::pair<THypothesisType, double>> Tails(double two, double right, double left) {
  std::vector<std::pair<THypothesisType, double>> t;
  for (const auto& [h, p] : {std::pair{htTwoTailed, two}, {htRightTailed, right}, {htLeftTailed, left}})
    if (!std::isnan(p)) t.emplace_back(h, p);
  return t;
}

/// Fresh outputs for each test of a suite (TEST_F through an alias): decision, p-value and an
/// interval preset to show whether it is written.
class TOutputs : public testing::Test {
 protected:
  THypothesisResult h = hrNotReject;
  double p = 0;
  TTwoElmReal ci{-7, -7};
};

/// A hypothesis test on fixed data in a precision, for a tail and an Alpha: fills o, returns the statistic.
using TRun = std::function<double(TMtxFloatPrecision, THypothesisType, double, TTestOut& o)>;
