// Shared test kit: closeness checks that print 17 digits, exact-message checks, builders,
// NIST file reading, and a listener that fails any test leaving scratch borrowed.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "KalixStats.h"

namespace KalixTest {

using Kalix::TMtx;
using Kalix::TVec;
using Kalix::TVecInt;

/// Relative tolerances for closed forms; looser named constants live next to iterative tests.
inline constexpr double kTolDouble = 1e-12;
inline constexpr double kTolSingle = 1e-5;
/// The tolerance that suits a precision.
inline double TolFor(Kalix::TMtxFloatPrecision p) { return p == Kalix::mvSingle ? kTolSingle : kTolDouble; }

/// |e - a| / max(|e|, 1) <= relTol; NaN matches only NaN, an infinity only itself.
testing::AssertionResult IsClose(const char* eExpr, const char* aExpr, const char* tExpr, double expected,
                                 double actual, double relTol);
#define EXPECT_CLOSE(expected, actual, relTol) EXPECT_PRED_FORMAT3(::KalixTest::IsClose, expected, actual, relTol)
#define ASSERT_CLOSE(expected, actual, relTol) ASSERT_PRED_FORMAT3(::KalixTest::IsClose, expected, actual, relTol)

/// Element-wise EXPECT_CLOSE of a container, or of fields listed in braces, against expected values.
void ExpectAllClose(const std::vector<double>& expected, const Kalix::TDenseKalix& actual, double relTol);
void ExpectAllClose(const std::vector<double>& expected, const std::vector<double>& actual, double relTol);

/// stmt must raise an exception whose what() is exactly text.
#define EXPECT_RAISES(stmt, text) \
  EXPECT_THAT([&] { stmt; }, ::testing::ThrowsMessage<std::exception>(::testing::StrEq(text)))

/// Builders.
TVec Vec(std::initializer_list<double> v, Kalix::TMtxFloatPrecision p = Kalix::mvDouble);
TVec Vec(const std::vector<double>& v, Kalix::TMtxFloatPrecision p = Kalix::mvDouble);
TMtx Mtx(std::initializer_list<std::initializer_list<double>> rows, Kalix::TMtxFloatPrecision p = Kalix::mvDouble);
/// A one-element complex vector, for the complexity checks.
TVec ComplexVec(Kalix::TMtxFloatPrecision p = Kalix::mvDoubleComplex);
TMtx ComplexMtx();

/// Both real precisions, for value-parameterised sweeps.
inline const std::vector<Kalix::TMtxFloatPrecision> kRealPrecisions{Kalix::mvDouble, Kalix::mvSingle};
std::string PrecisionName(const testing::TestParamInfo<Kalix::TMtxFloatPrecision>& info);

/// Longley's data (R's datasets::longley): the six regressors, and Employed as a seventh column.
TMtx Longley(Kalix::TMtxFloatPrecision p = Kalix::mvDouble, bool employed = false);

/// A certified data file of NIST's Statistical Reference Datasets (tests/data/nist).
struct TNistFile {
  std::vector<std::string> lines;  // the whole file
  /// The numbers on the data lines (the "Data (lines a to b)" range of the header), one row per line.
  std::vector<std::vector<double>> data;
  /// The numbers on line `line` (one-based), in order.
  std::vector<double> NumbersOn(int line) const;
  /// The numbers on the first line whose text starts (after blanks) with label and has numbers after it.
  std::vector<double> NumbersAfter(const std::string& label) const;
};
/// dir: the folder of the file (the linear and univariate files by default).
TNistFile LoadNist(const std::string& name, const std::string& dir = KALIX_NIST_DIR);

/// Log relative error, capped at 15: the number of significant digits reproduced.
double LRE(double computed, double certified);

/// Runs work(t) on `threads` threads at once, `reps` times each, and counts the results that differ
/// from a single-threaded run of the same work(t). Work should include Kalix::ScratchOutstanding().
int ConcurrentMismatches(const std::function<std::vector<double>(int)>& work, int threads = 4, int reps = 5);

// Precision names most suites use.
using Kalix::mvDouble;
using Kalix::mvSingle;
using Kalix::TMtxFloatPrecision;

/// The numbers of tests/data/<name>.txt (lines starting with # are comments), e.g. a series from R.
inline std::vector<double> Series(const std::string& name) {
  std::ifstream in(KALIX_NIST_DIR "/../" + name + ".txt");
  std::vector<double> v;
  for (std::string tok; in >> tok;) {
    if (tok[0] == '#')
      std::getline(in, tok);
    else
      v.push_back(std::stod(tok));
  }
  return v;
}

}  // namespace KalixTest
