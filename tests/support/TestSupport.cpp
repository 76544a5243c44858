#include "TestSupport.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <limits>
#include <sstream>
#include <thread>

namespace KalixTest {

testing::AssertionResult IsClose(const char* eExpr, const char* aExpr, const char* tExpr, double expected,
                                 double actual, double relTol) {
  bool ok;
  if (std::isnan(expected) || std::isnan(actual)) {
    ok = std::isnan(expected) && std::isnan(actual);
  } else if (std::isinf(expected) || std::isinf(actual)) {
    ok = expected == actual;
  } else {
    ok = std::fabs(expected - actual) / std::max(std::fabs(expected), 1.0) <= relTol;
  }
  if (ok) return testing::AssertionSuccess();
  std::ostringstream os;
  os << std::setprecision(17) << aExpr << " = " << actual << " differs from " << eExpr << " = " << expected
     << " by more than " << tExpr << " = " << relTol << " (relative)";
  return testing::AssertionFailure() << os.str();
}

void ExpectAllClose(const std::vector<double>& expected, const std::vector<double>& actual, double relTol) {
  ASSERT_EQ(expected.size(), actual.size());
  for (std::size_t i = 0; i < actual.size(); ++i) {
    SCOPED_TRACE("element " + std::to_string(i));
    EXPECT_CLOSE(expected[i], actual[i], relTol);
  }
}

void ExpectAllClose(const std::vector<double>& expected, const Kalix::TDenseKalix& actual, double relTol) {
  ExpectAllClose(expected, actual.ToVector(), relTol);
}

TVec Vec(std::initializer_list<double> v, Kalix::TMtxFloatPrecision p) { return TVec(v, p); }
TVec Vec(const std::vector<double>& v, Kalix::TMtxFloatPrecision p) { return TVec(v, p); }
TMtx Mtx(std::initializer_list<std::initializer_list<double>> rows, Kalix::TMtxFloatPrecision p) {
  return TMtx(rows, p);
}

TVec ComplexVec(Kalix::TMtxFloatPrecision p) {
  TVec v(1, p);
  v.SetCValue(0, Kalix::TCplx(1.0, 1.0));
  return v;
}

TMtx ComplexMtx() { return TMtx(2, 2, Kalix::mvDoubleComplex); }

TMtx Longley(Kalix::TMtxFloatPrecision p, bool employed) {
  // clang-format off
  const double d[16][7] = {
      {83.0, 234.289, 235.6, 159.0, 107.608, 1947, 60.323}, {88.5, 259.426, 232.5, 145.6, 108.632, 1948, 61.122},
      {88.2, 258.054, 368.2, 161.6, 109.773, 1949, 60.171}, {89.5, 284.599, 335.1, 165.0, 110.929, 1950, 61.187},
      {96.2, 328.975, 209.9, 309.9, 112.075, 1951, 63.221}, {98.1, 346.999, 193.2, 359.4, 113.270, 1952, 63.639},
      {99.0, 365.385, 187.0, 354.7, 115.094, 1953, 64.989}, {100.0, 363.112, 357.8, 335.0, 116.219, 1954, 63.761},
      {101.2, 397.469, 290.4, 304.8, 117.388, 1955, 66.019}, {104.6, 419.180, 282.2, 285.7, 118.734, 1956, 67.857},
      {108.4, 442.769, 293.6, 279.8, 120.445, 1957, 68.169}, {110.8, 444.546, 468.1, 263.7, 121.950, 1958, 66.513},
      {112.6, 482.704, 381.3, 255.2, 123.366, 1959, 68.655}, {114.2, 502.601, 393.1, 251.4, 125.368, 1960, 69.564},
      {115.7, 518.173, 480.6, 257.2, 127.852, 1961, 69.331}, {116.9, 554.894, 400.7, 282.7, 130.081, 1962, 70.551}};
  // clang-format on
  TMtx m(16, employed ? 7 : 6, p);
  for (int i = 0; i < m.Rows(); ++i)
    for (int j = 0; j < m.Cols(); ++j) m(i, j) = d[i][j];
  return m;
}

std::string PrecisionName(const testing::TestParamInfo<Kalix::TMtxFloatPrecision>& info) {
  return info.param == Kalix::mvSingle ? "Single" : "Double";
}

namespace {

// The numbers in a line of text, in order (a sign belongs to a number only when it starts one).
std::vector<double> Numbers(const std::string& text) {
  std::vector<double> out;
  const char* p = text.c_str();
  while (*p != '\0') {
    const bool starts = std::isdigit(static_cast<unsigned char>(*p)) ||
                        ((*p == '-' || *p == '+' || *p == '.') && std::isdigit(static_cast<unsigned char>(p[1]))) ||
                        ((*p == '-' || *p == '+') && p[1] == '.' && std::isdigit(static_cast<unsigned char>(p[2])));
    if (!starts) {
      ++p;
      continue;
    }
    char* end = nullptr;
    out.push_back(std::strtod(p, &end));
    p = end;
  }
  return out;
}

// "Data (lines a to b)" in a NIST header: the one-based data line range.
bool DataRange(const std::string& l, int& first, int& last) {
  const std::size_t at = l.find("(lines");
  if (at == std::string::npos || l.find("Data") == std::string::npos || l.find("Data") > at) return false;
  const std::vector<double> nums = Numbers(l.substr(at));
  if (nums.size() < 2) return false;
  first = static_cast<int>(nums[0]);
  last = static_cast<int>(nums[1]);
  return true;
}

}  // namespace

std::vector<double> TNistFile::NumbersOn(int line) const { return Numbers(lines.at(static_cast<std::size_t>(line - 1))); }

std::vector<double> TNistFile::NumbersAfter(const std::string& label) const {
  for (const std::string& l : lines) {
    const auto start = l.find_first_not_of(' ');
    if (start == std::string::npos || l.compare(start, label.size(), label) != 0) continue;
    // A column heading may carry the same words as the certified line below it.
    std::vector<double> nums = Numbers(l.substr(start + label.size()));
    if (!nums.empty()) return nums;
  }
  ADD_FAILURE() << "label not found: " << label;
  return {};
}

TNistFile LoadNist(const std::string& name, const std::string& dir) {
  TNistFile f;
  std::ifstream in(dir + "/" + name);
  if (!in) {
    ADD_FAILURE() << "cannot open NIST file " << name;
    return f;
  }
  for (std::string l; std::getline(in, l);) {
    if (!l.empty() && l.back() == '\r') l.pop_back();
    f.lines.push_back(l);
  }
  for (const std::string& l : f.lines) {
    int first = 0, last = 0;
    if (DataRange(l, first, last)) {
      for (int i = first; i <= last && i <= static_cast<int>(f.lines.size()); ++i) f.data.push_back(f.NumbersOn(i));
      return f;
    }
  }
  // The univariate files give no line range: their data follow the last "Data: <names>" line.
  std::size_t start = f.lines.size();
  for (std::size_t i = 0; i < f.lines.size(); ++i) {
    const std::string& l = f.lines[i];
    const std::size_t v = l.find_first_not_of(' ', 5);
    if (l.rfind("Data:", 0) == 0 && v != std::string::npos && std::isalpha(static_cast<unsigned char>(l[v])))
      start = i + 1;
  }
  for (std::size_t i = start; i < f.lines.size(); ++i) {
    const std::string& l = f.lines[i];
    if (l.find_first_of("0123456789") == std::string::npos || l.find_first_not_of(" \t0123456789eE.+-") != std::string::npos)
      continue;
    f.data.push_back(Numbers(l));
  }
  return f;
}

double LRE(double computed, double certified) {
  if (computed == certified) return 15.0;
  const double err = certified == 0.0 ? std::fabs(computed) : std::fabs(computed - certified) / std::fabs(certified);
  return std::min(15.0, -std::log10(err));
}

int ConcurrentMismatches(const std::function<std::vector<double>(int)>& work, int threads, int reps) {
  std::vector<std::vector<double>> expected;
  for (int t = 0; t < threads; ++t) expected.push_back(work(t));
  std::atomic<int> mismatches{0};
  std::vector<std::thread> pool;
  for (int t = 0; t < threads; ++t)
    pool.emplace_back([&, t] {
      for (int rep = 0; rep < reps; ++rep) mismatches += work(t) != expected[static_cast<std::size_t>(t)];
    });
  for (auto& th : pool) th.join();
  return mismatches.load();
}

namespace {

// Fails the running test if it returned with scratch containers still borrowed.
class TScratchLeakListener : public testing::EmptyTestEventListener {
  void OnTestEnd(const testing::TestInfo&) override {
    EXPECT_EQ(Kalix::ScratchOutstanding(), 0) << "scratch containers were not returned to the pool";
  }
};

const bool kListenerInstalled = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new TScratchLeakListener);
  return true;
}();

}  // namespace

}  // namespace KalixTest
