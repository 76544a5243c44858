// Reference results of the library called from C++ on fixed data, printed as hexadecimal
// floats ("name v1 v2 ..."), which the Python tests compare bit for bit with the bindings.
#include <cstdio>
#include <initializer_list>
#include <span>
#include <string>

#include "KalixStats.h"

using Kalix::TMtx;
using Kalix::TVec;

namespace {

void Put(const std::string& name, std::initializer_list<double> v) {
  std::printf("%s", name.c_str());
  for (double d : v) std::printf(" %a", d);
  std::printf("\n");
}

void Put(const std::string& name, const Kalix::TDenseKalix& v) {
  std::printf("%s", name.c_str());
  for (int i = 0; i < v.Length(); ++i) std::printf(" %a", v.Values(i));
  std::printf("\n");
}

}  // namespace

int main() {
  // The same data as python/tests/test_kalix.py.
  const TVec x({2.5, 3.1, 4.7, 1.2, 5.5, 3.3, 2.8, 4.1, 3.9, 6.2, 2.2, 3.6, 4.4, 5.1, 1.9, 3.0, 4.9, 2.6, 3.8, 4.0});
  const TVec y({1.1, 2.9, 4.2, 0.8, 5.9, 3.0, 2.1, 4.6, 3.3, 6.8, 2.4, 3.2, 4.1, 5.6, 1.5, 2.7, 5.2, 2.2, 4.0, 3.7});
  TMtx a(10, 2);
  for (int r = 0; r < 10; ++r) {
    a(r, 0) = x[r];
    a(r, 1) = x[r + 10];
  }
  using namespace Statistics;
  Put("percentile", {Percentile(x, 0.3), Percentile(x, 0.3, pctMethodEDFAve), InterQuartile(x)});
  Put("means", {MeanG(x), MeanH(x), MeanT(x, 0.2), Moment(x, 3.0, 3)});
  TMtx m;
  Covariance(a, m);
  Put("covariance", m);
  CorrCoef(x, y, m);
  Put("corr_coef", m);
  THypothesisResult h;
  double p;
  TTwoElmReal ci;
  double t = tTest(x, 3.5, h, p, ci, htRightTailed, 0.1);
  Put("t_test", {t, p, static_cast<double>(h), ci[0], ci[1]});
  t = MannWhitneyTest(x, y, h, p, ci, htLeftTailed);
  Put("mann_whitney_test", {t, p, static_cast<double>(h)});
  double mu, sigma;
  TTwoElmReal muci, sci;
  NormalFit(x, mu, sigma, muci, sci, 0.1);
  Put("normal_fit", {mu, sigma, muci[0], muci[1], sci[0], sci[1]});
  GammaFit(x, mu, sigma);
  Put("gamma_fit", {mu, sigma});
  TVec b, yc;
  TMtx a20(20, 1);
  for (int i = 0; i < 20; ++i) a20(i, 0) = x[i];
  Regress::MulLinRegress(y, a20, b, true, &yc);
  Put("mul_lin_regress", b);
  Regress::TRegStats s{};
  Regress::RegressTest(y, yc, 2, s);
  Put("regress_test", {s.R2, s.AdjustedR2, s.FStats.F, s.FStats.Signif});
  StatTimeSerAnalysis::ACF(x, b, 5);
  Put("acf", b);
  TVec phi(2);
  double var;
  StatTimeSerAnalysis::ARBurgFit(x, phi, var);
  Put("ar_burg_fit", {phi[0], phi[1], var});
  TVec r(6);
  StatRandom::RandomNormal(1.0, 2.0, r, 7);
  Put("random_normal", r);
  double cl, ucl, lcl;
  StatControlCharts::QCXChart(a, b, cl, ucl, lcl);
  Put("qc_x_chart", {cl, ucl, lcl});
  TVec px, py;
  double q[4];
  StatProbPlots::StatNormalPlot(x, px, py, q[0], q[1], q[2], q[3]);
  Put("stat_normal_plot", {q[0], q[1], q[2], q[3], py[0]});
  Kalix::NormalCDF(b, x, 3.0, 1.5);
  Put("normal_cdf", b);
  Put("student_cdf_inv", {Kalix::StudentCDFInv(0.975, 7.0)});
  Kalix::TVecInt counts;
  Histogram(x, 4, counts, b);
  Put("histogram", {double(counts[0]), double(counts[1]), double(counts[2]), double(counts[3])});
  const Regress::TANOVA1Result an = Regress::ANOVA1(a, p);
  Put("anova1", {an.FDist, p});
  return 0;
}
