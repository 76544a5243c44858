// Hypothesis tests on real data: Student's (1908) sleep data for paired tests and the NIST
// silver atomic weights of two instruments for two-sample, rank and variance tests.

#include <cstdio>
#include <string>
#include <vector>

#include "DemoCsv.h"
#include "KalixStats.h"

namespace {

using Kalix::TVec;
using namespace Statistics;

const char* Decision(THypothesisResult h) {
  return h == hrReject ? "reject H0" : h == hrNotReject ? "keep H0" : "undefined";
}

void Report(const char* name, const char* statName, double stat, THypothesisResult h, double p,
            const TTwoElmReal* ci = nullptr) {
  std::printf("%-34s %-2s = %-10.4g p = %-10.4g", name, statName, stat, p);
  if (ci) std::printf("   interval [%.4g, %.4g]", (*ci)[0], (*ci)[1]);
  std::printf("   -> %s\n", Decision(h));
}

}  // namespace

void DemoHypothesisTests(const std::string& dir) {
  std::printf("\n== Student (1908): extra hours of sleep under two drugs, 10 patients (paired)\n");
  const auto sleep = ReadColumns(dir + "/sleep.csv");
  const TVec drug1(sleep[1]), drug2(sleep[2]);
  THypothesisResult h;
  double p;
  TTwoElmReal ci;
  double t = tTest(drug2, drug1, h, p, ci, true);
  Report("paired t test, drug 2 - drug 1", "t", t, h, p, &ci);
  double w = WilcoxonSign(drug2, drug1, h, p, ci);
  Report("signed-rank test (ties: midranks)", "W", w, h, p);
  double s = SignTest(drug2, drug1, h, p, ci);
  Report("sign test", "S", s, h, p);

  std::printf("\n== NIST AgWt: atomic weight of silver, instrument 1 vs instrument 2\n");
  const auto silver = ReadColumns(dir + "/silver_atomic_weight.csv");
  std::vector<double> one, two;
  for (std::size_t i = 0; i < silver[0].size(); ++i) (silver[0][i] == 1 ? one : two).push_back(silver[1][i]);
  const TVec a(one), b(two);
  const double half = tTest(a, b, h, p, ci, false);
  Report("pooled t test (returns half-width)", "h", half, h, p, &ci);
  const double u = MannWhitneyTest(a, b, h, p, ci);
  Report("Mann-Whitney exact (24 x 24)", "U", u, h, p);
  const double F = FTest(a, b, h, p, ci);
  Report("F test, Var(2) / Var(1)", "F", F, h, p, &ci);
}
