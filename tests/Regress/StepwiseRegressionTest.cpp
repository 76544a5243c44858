#include <limits>
#include <sstream>

#include "support/TestSupport.h"

using namespace Kalix;
using namespace KalixTest;
using namespace Regress;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// R's mtcars: mpg, then cyl disp hp drat wt qsec vs am gear carb (columns 0..9 of A).
struct TCars {
  TVec y;
  TMtx A;
};

TCars LoadCars(TMtxFloatPrecision p = mvDouble, bool duplicateWt = false) {
  std::ifstream in(KALIX_NIST_DIR "/../mtcars.csv");
  std::string line;
  std::getline(in, line);
  std::vector<std::vector<double>> rows;
  while (std::getline(in, line)) {
    std::stringstream ss(line);
    rows.emplace_back();
    for (std::string cell; std::getline(ss, cell, ',');) rows.back().push_back(std::stod(cell));
  }
  const int n = static_cast<int>(rows.size()), k = duplicateWt ? 11 : 10;
  TCars c;
  c.y.Size(n, p);
  c.A.Size(n, k, p);
  for (int i = 0; i < n; ++i) {
    c.y[i] = rows[i][0];
    for (int j = 0; j < 10; ++j) c.A(i, j) = rows[i][j + 1];
    if (duplicateWt) c.A(i, 10) = 2 * rows[i][5] - rows[i][1];  // 2 wt - cyl: collinear
  }
  return c;
}

struct TStepRef {
  int col;
  bool entered;
  double F, p, sse, aic;  // F and p NaN where not checked
};

struct TStepCase {
  const char* name;
  TStepwiseMethod method;
  TStepwiseCriterion criterion;
  bool constant;
  std::vector<TStepRef> path;
  std::vector<int> selected;
  std::vector<double> b, se;  // se empty where not checked
};

// R 4.x on mtcars: add1/drop1(test = "F") applied step by step (enter below 0.05, remove
// above 0.10), and step() for AIC; summary(lm(...))$coefficients of the final model. The AIC
// runs retrace the F runs' paths (F and p not checked: NaN).
const std::vector<TStepRef> kForward{{4, true, 91.3753250037618, 1.29395870135052e-10, 278.321937543343, 73.2173628667772},
                                     {0, true, 13.2202917448166, 0.00106428178479493, 191.171966255962, 63.1979989461636}};
const std::vector<TStepRef> kBackward{
    {0, false, 0.0113719235742631, 0.916087375515971, 147.574301225497, 68.9150682646147},
    {6, false, 0.0400306940933227, 0.843258496576124, 147.842824030424, 66.9732418191552},
    {9, false, 0.1066375584664, 0.746958210119913, 148.528284803963, 65.1212642357204},
    {8, false, 0.25287636421045, 0.619640615802269, 150.093255330781, 63.4566688103994},
    {3, false, 0.557078858125097, 0.462401184664443, 153.437806502459, 62.1619012082929},
    {1, false, 1.12322379878791, 0.298972149878452, 160.06646019082, 61.5153024762213},
    {2, false, 1.55513948435994, 0.223087931975388, 169.285929537652, 61.3073047438021}};
std::vector<TStepRef> WithoutTests(std::vector<TStepRef> path) {
  for (auto& s : path) s.F = s.p = kNaN;
  return path;
}
const std::vector<double> kForwardB{39.68626148025295, -1.50779496825980, -3.19097213898375},
    kBackwardB{9.61778051456160, -3.91650372494249, 1.22588597158370, 2.93583719188942};

// clang-format off
const std::vector<TStepCase> kCases = {
    {"ForwardF", swForward, swcFTest, true, kForward, {0, 4}, kForwardB,
     {1.714984011620953, 0.414688288236114, 0.756906491950394}},
    {"BothF", swBoth, swcFTest, true, kForward, {0, 4}, kForwardB, {}},
    {"BackwardF", swBackward, swcFTest, true, kBackward, {4, 5, 7}, kBackwardB,
     {6.959592984818246, 0.711201634662253, 0.288669553911072, 1.41090451492715}},
    {"BothAIC", swBoth, swcAIC, true,
     {{4, true, 91.3753250037618, kNaN, 278.321937543343, 73.2173628667772},
      {0, true, 13.2202917448166, kNaN, 191.171966255962, 63.1979989461636},
      {2, true, kNaN, kNaN, 176.620520198822, 62.6645623851593}},
     {0, 2, 4}, {38.751787372865536, -0.9416168119907377, -0.0180381021431068, -3.1669731107485815}, {}},
    {"BackwardAIC", swBackward, swcAIC, true, WithoutTests(kBackward), {4, 5, 7}, kBackwardB, {}},
    // lm(mpg ~ 0 + ...): sums of squares about 0.
    {"ForwardFNoConstant", swForward, swcFTest, false,
     {{3, true, 647.535815696699, 2.44913223058493e-22, 641.545515991719, 97.9406153977995},
      {9, true, 27.9452489722802, 1.03775546495333e-05, 332.147429187139, 78.8749770037212},
      {8, true, 9.54751081866788, 0.00438861027007103, 249.880608160107, 71.7679146762027}},
     {3, 8, 9}, {3.85142334610757, 3.48835425113010, -2.36055514388328},
     {1.067886865311197, 1.128952065841768, 0.350142761922923}},
};
// clang-format on

class StepwiseCases : public testing::TestWithParam<TStepCase> {};

void ExpectCase(const TStepCase& c, const TCars& cars, double tol, double r2 = kNaN) {
  TVecInt sel;
  TVec b, se;
  TRegStats st{};
  std::vector<TStepwiseStep> path;
  StepwiseRegress(cars.y, cars.A, sel, b, st, &se, &path, c.constant, c.method, c.criterion);
  ASSERT_EQ(path.size(), c.path.size());
  for (std::size_t s = 0; s < path.size(); ++s) {
    SCOPED_TRACE(s);
    EXPECT_EQ(path[s].Column, c.path[s].col);
    EXPECT_EQ(path[s].Entered, c.path[s].entered);
    EXPECT_CLOSE(c.path[s].F, std::isnan(c.path[s].F) ? c.path[s].F : path[s].F, tol);
    EXPECT_CLOSE(c.path[s].p, std::isnan(c.path[s].p) ? c.path[s].p : path[s].PValue, tol);
    EXPECT_CLOSE(c.path[s].sse, path[s].SSE, tol);
    EXPECT_CLOSE(c.path[s].aic, path[s].AIC, tol);
  }
  ASSERT_EQ(sel.Length(), static_cast<int>(c.selected.size()));
  for (int j = 0; j < sel.Length(); ++j) EXPECT_EQ(sel[j], c.selected[static_cast<std::size_t>(j)]);
  ExpectAllClose(c.b, b, tol);
  if (!c.se.empty()) ExpectAllClose(c.se, se, tol);
  EXPECT_CLOSE(c.path.back().sse, st.SSE, tol);
  EXPECT_EQ(st.dfE, cars.y.Length() - b.Length());
  EXPECT_CLOSE(std::isnan(r2) ? st.R2 : r2, st.R2, 1e-12);
}

}  // namespace

TEST_P(StepwiseCases, AgainstR) {
  ExpectCase(GetParam(), LoadCars(), 1e-9);
}

INSTANTIATE_TEST_SUITE_P(Stepwise, StepwiseCases, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<TStepCase>& i) { return std::string(i.param.name); });

TEST(Stepwise, SinglePrecisionCollinearColumnAndRSquared) {
  ExpectCase(kCases[2], LoadCars(mvSingle), 2e-4);
  // 2 wt - cyl duplicates what cyl and wt span: backward starts without it, and the path
  // and fit are those of the ten columns. R: summary(lm(mpg ~ wt + qsec + am))$r.squared
  ExpectCase(kCases[2], LoadCars(mvDouble, true), 1e-9, 0.849663556361707);
}

TEST(Stepwise, EmptySelectionIsTheMean) {
  // Nothing can enter at PEnter = 0: the fit is the intercept alone.
  const TVec y = Vec({1, 2, 4, 7});
  const TMtx A = Mtx({{1, 0}, {0, 1}, {1, 1}, {0, 0}});
  TVecInt sel;
  TVec b, se;
  TRegStats st{};
  StepwiseRegress(y, A, sel, b, st, &se, nullptr, true, swBoth, swcFTest, 0, 0.1);
  EXPECT_EQ(sel.Length(), 0);
  ASSERT_EQ(b.Length(), 1);
  EXPECT_CLOSE(3.5, b[0], 1e-15);
  EXPECT_CLOSE(std::sqrt(21.0 / 3 / 4), se[0], 1e-14);
}

TEST(Stepwise, BadInput) {
  const TVec y = Vec({1, 2, 3});
  const TMtx A = Mtx({{1, 0}, {0, 1}, {1, 1}});
  TVecInt sel;
  TVec b;
  TRegStats st{};
  auto call = [&](const TVec& yy, const TMtx& aa, int method, int crit, double pe, double pr) {
    StepwiseRegress(yy, aa, sel, b, st, nullptr, nullptr, true, static_cast<TStepwiseMethod>(method),
                    static_cast<TStepwiseCriterion>(crit), pe, pr);
  };
  EXPECT_RAISES(call(ComplexVec(), A, 0, 0, .05, .1), "StepwiseRegress: Y.Complex or A.Complex");
  EXPECT_RAISES(call(Vec({1, 2}), A, 0, 0, .05, .1), "StepwiseRegress: Y.Length <> A.Rows");
  EXPECT_RAISES(call(Vec({1, 2, 3}, mvSingle), A, 0, 0, .05, .1),
                "StepwiseRegress: Y.FloatPrecision <> A.FloatPrecision");
  EXPECT_RAISES(call(Vec({1, kNaN, 3}), A, 7, 0, .05, .1), "StepwiseRegress: Y or A is not finite");
  EXPECT_RAISES(call(y, A, 3, 0, .05, .1), "StepwiseRegress: unknown Method");
  EXPECT_RAISES(call(y, A, 0, 2, .05, .1), "StepwiseRegress: unknown Criterion");
  EXPECT_RAISES(call(y, A, 0, 0, kNaN, .1), "StepwiseRegress: PEnter or PRemove outside [0, 1]");
  EXPECT_RAISES(call(y, A, 0, 0, .2, .1), "StepwiseRegress: PEnter > PRemove");
  EXPECT_NO_THROW(call(y, A, 0, 1, .2, .1));  // the p-values do not matter for AIC
}
