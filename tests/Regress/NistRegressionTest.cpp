// NIST StRD linear regression and one-way ANOVA files: prints the digits reached and requires 9.
#include <cstdio>

#include "RegressData.h"

namespace {

using namespace KalixTest;
using namespace Regress;

constexpr double kMinDigits = 9.0;

// Checks digits and appends them to a report line.
void ExpectDigits(const char* what, double computed, double certified, std::string& report,
                  double minDigits = kMinDigits) {
  const double lre = LRE(computed, certified);
  char buf[48];
  std::snprintf(buf, sizeof buf, " %s %.1f", what, lre);
  report += buf;
  EXPECT_GE(lre, minDigits) << what << ": computed " << computed << ", certified " << certified;
}

struct TRegressionFile {
  const char* name;
  int degree;  // polynomial in x of this degree
  bool constant;
  double bDigits = kMinDigits;  // the Wampler polynomials (normal matrix near 1e13) keep 13
};

class NistRegression : public testing::TestWithParam<TRegressionFile> {};

// Fits y on the powers of x by QR; checks each certified coefficient and standard error (to
// bDigits), s, R2 and SSR, and prints the digits reached.
TEST_P(NistRegression, CertifiedCoefficientsDeviationsAndFit) {
  const TRegressionFile& c = GetParam();
  const TNistFile f = LoadNist(std::string(c.name) + ".dat");
  const TYA d = NistPolynomial(f, c.degree);
  TVec b, yc, res, sd;
  TMtx v;
  TRegStats st;
  MulLinRegress(d.y, d.A, b, c.constant, &yc, &v, regSolveLQR);
  RegressTest(d.y, yc, v, st, res, sd, c.constant);
  ASSERT_EQ(b.Length(), c.degree + (c.constant ? 1 : 0));
  std::string report = std::string(c.name) + ":";
  for (int k = 0; k < b.Length(); ++k) {
    // Certified parameters are named B0.. with a constant, B1.. without.
    const std::vector<double> cert = f.NumbersAfter(std::string(1, 'B') += std::to_string(c.constant ? k : k + 1));
    ExpectDigits("B", b[k], cert.at(0), report, c.bDigits);
    ExpectDigits("sd", sd[k], cert.at(1), report, c.bDigits);
  }
  ExpectDigits("s", st.StdError, f.NumbersAfter("Standard Deviation").at(0), report);
  ExpectDigits("R2", st.R2, f.NumbersAfter("R-Squared").at(0), report);
  ExpectDigits("SSR", st.SSR, f.NumbersAfter("Regression").at(1), report);
  std::printf("[ digits ] %s\n", report.c_str());
}

INSTANTIATE_TEST_SUITE_P(StRD, NistRegression,
                         testing::Values(TRegressionFile{"Norris", 1, true}, TRegressionFile{"Pontius", 2, true},
                                         TRegressionFile{"NoInt1", 1, false}, TRegressionFile{"NoInt2", 1, false},
                                         TRegressionFile{"Wampler1", 5, true, 13},
                                         TRegressionFile{"Wampler2", 5, true, 13},
                                         TRegressionFile{"Wampler3", 5, true, 13}),
                         [](const auto& pinfo) { return std::string(pinfo.param.name); });

// ---------------------------------------------------------------- one-way ANOVA

class NistAnova : public testing::TestWithParam<const char*> {};

TEST_P(NistAnova, CertifiedSumsOfSquaresMeanSquaresAndF) {
  const TNistFile f = LoadNist(std::string(GetParam()) + ".dat");
  const std::vector<double> between = f.NumbersAfter("Between"), within = f.NumbersAfter("Within");
  ASSERT_TRUE(between.size() == 4u && within.size() == 3u);
  TVec x;
  TVecInt g;
  NistGroups(f, x, g);
  // Every file is balanced, so the matrix form (one column per group) applies as well.
  const int k = static_cast<int>(between[0]) + 1;
  TMtx m(x.Length() / k, k);
  std::vector<int> filled(static_cast<std::size_t>(k), 0);
  for (int i = 0; i < x.Length(); ++i) m(filled[static_cast<std::size_t>(g[i])]++, g[i]) = x[i];
  double p1, p2;
  const TANOVA1Result forms[2] = {ANOVA1(x, g, p1), ANOVA1(m, p2)};
  const char* names[2] = {"indexed", "columns"};
  for (int form = 0; form < 2; ++form) {
    const TANOVA1Result& a = forms[form];
    std::string report = std::string(GetParam()) + " " + names[form] + ":";
    EXPECT_TRUE(a.Deg1 == between[0] && a.Deg2 == within[0]);
    const char* what[] = {"SSB", "MSB", "F", "SSW", "MSW"};
    const double got[] = {a.SS1, a.MS1, a.FDist, a.SS2, a.MS2},
                 cert[] = {between[1], between[2], between[3], within[1], within[2]};
    for (int j = 0; j < 5; ++j) ExpectDigits(what[j], got[j], cert[j], report);
    ExpectDigits("R2", a.SS1 / a.SSTotal, f.NumbersAfter("Certified R-Squared").at(0), report);
    ExpectDigits("s", std::sqrt(a.MS2), f.NumbersAfter("Standard Deviation").at(0), report);
    std::printf("[ digits ] %s\n", report.c_str());
  }
  EXPECT_CLOSE(p1, p2, 1e-9);
}

INSTANTIATE_TEST_SUITE_P(StRD, NistAnova, testing::Values("SiRstv", "SmLs01", "SmLs02", "SmLs03", "AtmWtAg"),
                         [](const auto& pinfo) { return std::string(pinfo.param); });

}  // namespace
