#include <cstdio>
#include <numbers>
#include <stdexcept>

#include "support/TestSupport.h"

using namespace Kalix;
using namespace KalixTest;
using namespace Regress;

namespace {

using B = std::span<const double>;
constexpr double kPi = std::numbers::pi;

struct TNlsCase {
  const char* file;
  TRegressFun model;
  bool rSolvesStart1 = false;  // R's nls (default control, maxiter 1000) converges from start 1
};

// The models as the certified files state them. Nelson has two regressors and a logged
// response: X carries the observation's index into the captured columns.
std::vector<double> gNelsonX1, gNelsonX2;

double Chwirut(B b, double x) { return std::exp(-b[0] * x) / (b[1] + b[2] * x); }
double Gauss(B b, double x) {
  return b[0] * std::exp(-b[1] * x) + b[2] * std::exp(-std::pow(x - b[3], 2) / (b[4] * b[4])) +
         b[5] * std::exp(-std::pow(x - b[6], 2) / (b[7] * b[7]));
}
double Lanczos(B b, double x) { return b[0] * std::exp(-b[1] * x) + b[2] * std::exp(-b[3] * x) + b[4] * std::exp(-b[5] * x); }

const std::vector<TNlsCase>& NlsCases() {
  static const std::vector<TNlsCase> cases{
      {"Chwirut1.dat", Chwirut, true},
      {"DanWood.dat", [](B b, double x) { return b[0] * std::pow(x, b[1]); }, true},
      {"ENSO.dat",
       [](B b, double x) {
         const double w = 2 * kPi * x;
         return b[0] + b[1] * std::cos(w / 12) + b[2] * std::sin(w / 12) + b[4] * std::cos(w / b[3]) +
                b[5] * std::sin(w / b[3]) + b[7] * std::cos(w / b[6]) + b[8] * std::sin(w / b[6]);
       },
       true},
      {"Eckerle4.dat", [](B b, double x) { return b[0] / b[1] * std::exp(-0.5 * std::pow((x - b[2]) / b[1], 2)); }},
      {"Gauss1.dat", Gauss, true},
      {"Hahn1.dat",
       [](B b, double x) {
         return (b[0] + x * (b[1] + x * (b[2] + x * b[3]))) / (1 + x * (b[4] + x * (b[5] + x * b[6])));
       },
       true},
      {"Kirby2.dat", [](B b, double x) { return (b[0] + x * (b[1] + x * b[2])) / (1 + x * (b[3] + x * b[4])); }, true},
      {"Lanczos2.dat", Lanczos, false},
      {"Lanczos3.dat", Lanczos, true},
      {"MGH10.dat", [](B b, double x) { return b[0] * std::exp(b[1] / (x + b[2])); }, false},
      {"MGH17.dat", [](B b, double x) { return b[0] + b[1] * std::exp(-x * b[3]) + b[2] * std::exp(-x * b[4]); }},
      {"Misra1a.dat", [](B b, double x) { return b[0] * (1 - std::exp(-b[1] * x)); }, true},
      {"Misra1b.dat", [](B b, double x) { return b[0] * (1 - std::pow(1 + b[1] * x / 2, -2)); }, true},
      {"Misra1c.dat", [](B b, double x) { return b[0] * (1 - std::pow(1 + 2 * b[1] * x, -0.5)); }, true},
      {"Nelson.dat",
       [](B b, double i) {
         const auto k = static_cast<std::size_t>(i);
         return b[0] - b[1] * gNelsonX1[k] * std::exp(-b[2] * gNelsonX2[k]);
       },
       false},
      {"Rat43.dat", [](B b, double x) { return b[0] / std::pow(1 + std::exp(b[1] - b[2] * x), 1 / b[3]); }},
      {"Roszman1.dat", [](B b, double x) { return b[0] - b[1] * x - std::atan(b[2] / (x - b[3])) / kPi; }, true},
  };
  return cases;
}

struct TCertified {
  TVec x, y;
  std::vector<double> start[2];
  TVec b, sd;
  double rss = 0;
};

TCertified LoadNls(const std::string& file) {
  const TNistFile f = LoadNist(file, KALIX_NIST_NLS_DIR);
  TCertified c;
  std::vector<double> x, y;
  const bool nelson = file == "Nelson.dat";
  if (nelson) gNelsonX1.clear(), gNelsonX2.clear();
  for (const auto& row : f.data) {
    y.push_back(nelson ? std::log(row[0]) : row[0]);
    x.push_back(nelson ? static_cast<double>(x.size()) : row[1]);
    if (nelson) gNelsonX1.push_back(row[1]), gNelsonX2.push_back(row[2]);
  }
  c.x = Vec(x);
  c.y = Vec(y);
  // One line per parameter, "bj = start1 start2 certified deviation".
  const std::vector<double> at = f.NumbersAfter("Starting Values");
  std::vector<double> b, sd;
  for (int l = static_cast<int>(at.at(0)); l <= static_cast<int>(at.at(1)); ++l) {
    const std::vector<double> v = f.NumbersOn(l);
    c.start[0].push_back(v.at(1)), c.start[1].push_back(v.at(2)), b.push_back(v.at(3)), sd.push_back(v.at(4));
  }
  c.b = Vec(b), c.sd = Vec(sd);
  c.rss = f.NumbersAfter("Residual Sum of Squares:")[0];
  return c;
}

}  // namespace

// Every certified nonlinear file from both starts, with numeric (central) derivatives.
TEST(NLinRegress, NistCertifiedValues) {
  int solved1 = 0, rSolved1 = 0;
  for (const TNlsCase& k : NlsCases()) {
    const TCertified c = LoadNls(k.file);
    for (int s = 0; s < 2; ++s) {
      TNLinStats st{};
      TVec b = Vec(c.start[s]), sd;
      NLinRegress(c.x, c.y, k.model, b, st, nullptr, nullptr, &sd, {}, nullptr, 1000);
      double db = 15, dsd = 15;  // the fewest digits over the parameters
      for (int j = 0; j < b.Length(); ++j)
        db = std::min(db, LRE(b[j], c.b[j])), dsd = std::min(dsd, LRE(sd[j], c.sd[j]));
      const double drss = LRE(st.SSE, c.rss);
      std::printf("%-13s start %d: LRE b %4.1f  sd %4.1f  RSS %4.1f  (%d iterations, stop %d)\n", k.file, s + 1, db,
                  dsd, drss, st.Iterations, st.StopReason);
      if (s == 1) {
        SCOPED_TRACE(k.file);
        EXPECT_TRUE(st.StopReason == optConverged && db >= 7 && drss >= 7 && dsd >= 6) << db << " " << dsd;
      } else {
        solved1 += db >= 7 && drss >= 7;
        rSolved1 += k.rSolvesStart1;
      }
    }
  }
  EXPECT_GE(solved1, rSolved1);
}

TEST(NLinRegress, AnalyticDerivativesWeightsAndSinglePrecision) {
  const TCertified c = LoadNls("Misra1a.dat");
  const TRegressFun f = [](B b, double x) { return b[0] * (1 - std::exp(-b[1] * x)); };
  const TDeriveProc d = [](const TRegressFun&, double x, double, B b, TVec& g) {
    g[0] = 1 - std::exp(-b[1] * x);
    g[1] = b[0] * x * std::exp(-b[1] * x);
  };
  TVec b = Vec(c.start[0]), yc, sd;
  TMtx cov;
  TNLinStats st{};
  NLinRegress(c.x, c.y, f, b, st, &yc, &cov, &sd, d);
  EXPECT_TRUE(st.StopReason == optConverged && st.dfE == 12);
  for (int j = 0; j < 2; ++j) {
    EXPECT_TRUE(LRE(b[j], c.b[j]) >= 9 && LRE(sd[j], c.sd[j]) >= 8) << j;
    EXPECT_CLOSE(sd[j] * sd[j], cov(j, j), 1e-12);
  }
  EXPECT_CLOSE(f(b.ToVector(), c.x[3]), yc[3], 1e-15);
  // Weights 1/x^2 (R: nls(y ~ b1*(1-exp(-b2*x)), weights = 1/x^2, start = list(b1 = 250, b2 = 5e-4))).
  TVec w(c.x.Length());
  for (int i = 0; i < w.Length(); ++i) w[i] = 1 / (c.x[i] * c.x[i]);
  b = Vec(c.start[1]);
  NLinRegress(c.x, c.y, f, b, st, nullptr, nullptr, &sd, d, &w);
  ExpectAllClose({229.166412380, 5.77380622132e-04}, b, 1e-7);
  ExpectAllClose({2.44478757144, 6.80867578775e-06}, sd, 1e-6);
  // Single precision: the estimate in single, to single's digits.
  TVec xs = Vec(c.x.ToVector(), mvSingle), ys = Vec(c.y.ToVector(), mvSingle);
  b = Vec(c.start[1]);
  NLinRegress(xs, ys, f, b, st, &yc, nullptr, &sd);
  EXPECT_TRUE(b.FloatPrecision() == mvSingle && yc.FloatPrecision() == mvSingle);
  ExpectAllClose(c.b.ToVector(), b, 1e-4);
}

TEST(NLinRegress, ModelFailuresStopTheFit) {
  const TVec x = Vec({1, 2, 3, 4, 5}), y = Vec({2.7, 7.4, 20.1, 54.6, 148.4});
  TNLinStats st{};
  // NaN at the start.
  TVec b = Vec({-1, 1});
  const TRegressFun sqrtModel = [](B p, double t) { return std::sqrt(p[0]) * std::exp(p[1] * t); };
  NLinRegress(x, y, sqrtModel, b, st);
  EXPECT_TRUE(st.StopReason == optBadStart && b[0] == -1);
  // The least-squares b1 is 1; a model that raises below 1.3 stops the fit with the best point met, not a crash.
  const TRegressFun raising = [](B p, double t) {
    if (p[1] < 1.3) throw std::runtime_error("out of range");
    return p[0] * std::exp(p[1] * t);
  };
  b = Vec({1, 1.4});
  TVec sd;
  NLinRegress(x, y, raising, b, st, nullptr, nullptr, &sd);
  EXPECT_EQ(st.StopReason, optNaNObjective);
  EXPECT_TRUE(std::isfinite(st.SSE) && b[1] >= 1.3 && std::isnan(sd[0]));
  // b0 and b1 enter only as their product: the Jacobian is singular.
  const TRegressFun product = [](B p, double t) { return p[0] * p[1] * t; };
  b = Vec({1, 1});
  NLinRegress(x, y, product, b, st, nullptr, nullptr, &sd);
  EXPECT_TRUE(st.StopReason == optSingular && std::isnan(sd[1]));
}

TEST(NLinRegress, ArgumentChecks) {
  // y2 breaks the length and the precision check: the length is reported first.
  const TVec x = Vec({1, 2, 3}), y = Vec({1, 2, 3}), ys = Vec({1, 2, 3}, mvSingle), y2 = Vec({1, 2}, mvSingle);
  const TRegressFun f = [](B p, double t) { return p[0] * t; };
  TVec b = Vec({1}), none;
  TNLinStats st{};
  const TVec wNeg = Vec({1, -1, 1}), wShort = Vec({1, 1});
  EXPECT_RAISES(NLinRegress(ComplexVec(), y, f, b, st), "NLinRegress: X.Complex or Y.Complex");
  TVec bc = ComplexVec();
  EXPECT_RAISES(NLinRegress(x, y, f, bc, st), "NLinRegress: B.Complex");
  EXPECT_RAISES(NLinRegress(x, y2, f, b, st), "NLinRegress: X.Length <> Y.Length");
  EXPECT_RAISES(NLinRegress(x, ys, f, b, st), "NLinRegress: X.FloatPrecision <> Y.FloatPrecision");
  EXPECT_RAISES(NLinRegress(x, y, f, none, st), "NLinRegress: B.Length = 0");
  TVec b4 = Vec({1, 1, 1, 1});
  EXPECT_RAISES(NLinRegress(x, y, f, b4, st), "NLinRegress: Y.Length < B.Length");
  EXPECT_RAISES(NLinRegress(x, y, f, b, st, nullptr, nullptr, nullptr, {}, &wShort),
                "NLinRegress: Weights.Length <> X.Length");
  EXPECT_RAISES(NLinRegress(x, y, f, b, st, nullptr, nullptr, nullptr, {}, &wNeg), "NLinRegress: Weights < 0");
  EXPECT_RAISES(NLinRegress(x, y, f, b, st, nullptr, nullptr, nullptr, {}, nullptr, -1), "NLinRegress: MaxIter < 0");
  EXPECT_RAISES(NumericDerive(f, 1, 1, {}, b), "NumericDerive: Pars.Length = 0");
  TMtx J;
  EXPECT_RAISES(MultiNumericDerive(f, ComplexVec(), b.ToVector(), J), "MultiNumericDerive: X.Complex");
}

TEST(NumericDerive, ForwardAndCentralAgainstTheAnalyticGradient) {
  // d/db of b0 * exp(b1 x) at x = 2, b = (3, 0.5): (e, 3 * 2 * e), e = exp(1).
  const TRegressFun f = [](B b, double x) { return b[0] * std::exp(b[1] * x); };
  const std::vector<double> b{3, 0.5};
  const double e = std::exp(1.0), y = 3 * e;
  TVec g;
  NumericDerive(f, 2, y, b, g);
  ExpectAllClose({e, 6 * e}, g, 1e-7);
  NumericDerive(f, 2, y, b, g, true);
  ExpectAllClose({e, 6 * e}, g, 1e-10);
  NumericDerive(f, 2, y, b, g, true, mvSingle);
  EXPECT_EQ(g.FloatPrecision(), mvSingle);
  ExpectAllClose({e, 6 * e}, g, 1e-4);
  // The Jacobian at every point agrees with the single-point form, row by row.
  TMtx J;
  const TVec x = Vec({0, 1, 2});
  MultiNumericDerive(f, x, b, J, true);
  ASSERT_TRUE(J.Rows() == 3 && J.Cols() == 2);
  ExpectAllClose({1, 0, std::exp(0.5), 3 * std::exp(0.5), e, 6 * e}, J, 1e-10);
}
