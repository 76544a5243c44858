// Hypothesis tests: each returns a TestResult (statistic, pvalue, decision,
// confidence_interval); alternative is "two-sided", "less" or "greater".
#include <cmath>
#include <limits>

#include "KalixPy.h"

namespace kalixpy {

using namespace Statistics;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// One-sample or paired/two-sample form of a test as data2 is None or an array.
template <class One, class Two>
py::object OneOrTwo(py::handle data, py::handle data2, One one, Two two) {
  InVec X = ArgVec(data, "data");
  THypothesisResult h = hrNan;
  double p = kNaN, stat = kNaN;
  TTwoElmReal ci{kNaN, kNaN};
  if (data2.is_none()) {
    Unlocked([&] { stat = one(X.v, h, p, ci); });
  } else {
    InVec Y = ArgVec(data2, "data2");
    Unlocked([&] { stat = two(X.v, Y.v, h, p, ci); });
  }
  return TestResult(stat, p, h, ci);
}

}  // namespace

void BindTests(py::module_& m) {
  m.def(
      "t_test",
      [](py::handle data, py::handle data2, double mean, bool paired, py::handle alternative, double alpha) {
        const auto ht = Alternative(alternative);
        return OneOrTwo(
            data, data2, [&](const TVec& x, auto& h, auto& p, auto& ci) { return tTest(x, mean, h, p, ci, ht, alpha); },
            [&](const TVec& x, const TVec& y, auto& h, auto& p, auto& ci) {
              return tTest(x, y, h, p, ci, paired, ht, alpha);
            });
      },
      "data"_a, "data2"_a = py::none(), "mean"_a = 0.0, "paired"_a = false, "alternative"_a = py::none(),
      "alpha"_a = 0.05,
      Doc("Statistics::tTest",
          "One-sample t test of mean, or paired / pooled two-sample test with data2 (the pooled form "
          "deliberately returns the interval half-width as its statistic).").c_str());
  m.def(
      "z_test",
      [](py::handle data, double mean, double sigma, py::handle alternative, double alpha) {
        const auto ht = Alternative(alternative);
        return OneOrTwo(
            data, py::none(),
            [&](const TVec& x, auto& h, auto& p, auto& ci) { return ZTest(x, mean, sigma, h, p, ci, ht, alpha); },
            [](const TVec&, const TVec&, auto&, auto&, auto&) { return kNaN; });
      },
      "data"_a, "mean"_a, "sigma"_a, "alternative"_a = py::none(), "alpha"_a = 0.05,
      Doc("Statistics::ZTest", "z test of mean with known sigma.").c_str());
  m.def(
      "sign_test",
      [](py::handle data, py::handle data2, double median, py::handle alternative, double alpha) {
        const auto ht = Alternative(alternative);
        return OneOrTwo(
            data, data2, [&](const TVec& x, auto& h, auto& p, auto& ci) { return SignTest(x, median, h, p, ci, ht, alpha); },
            [&](const TVec& x, const TVec& y, auto& h, auto& p, auto& ci) { return SignTest(x, y, h, p, ci, ht, alpha); });
      },
      "data"_a, "data2"_a = py::none(), "median"_a = 0.0, "alternative"_a = py::none(), "alpha"_a = 0.05,
      Doc("Statistics::SignTest", "Sign test of the median, or of data - data2 against 0.").c_str());
  m.def(
      "wilcoxon_sign",
      [](py::handle data, py::handle data2, double median, py::handle alternative, double alpha) {
        const auto ht = Alternative(alternative);
        return OneOrTwo(
            data, data2,
            [&](const TVec& x, auto& h, auto& p, auto& ci) { return WilcoxonSign(x, median, h, p, ci, ht, alpha); },
            [&](const TVec& x, const TVec& y, auto& h, auto& p, auto& ci) {
              return WilcoxonSign(x, y, h, p, ci, ht, alpha);
            });
      },
      "data"_a, "data2"_a = py::none(), "median"_a = 0.0, "alternative"_a = py::none(), "alpha"_a = 0.05,
      Doc("Statistics::WilcoxonSign", "Wilcoxon signed-rank test of the median, or of data - data2.").c_str());
  m.def(
      "mann_whitney_test",
      [](py::handle data1, py::handle data2, py::handle alternative, double alpha, bool normal_approx) {
        const auto ht = Alternative(alternative);
        return OneOrTwo(
            data1, data2, [](const TVec&, auto&, auto&, auto&) { return kNaN; },
            [&](const TVec& x, const TVec& y, auto& h, auto& p, auto& ci) {
              return MannWhitneyTest(x, y, h, p, ci, ht, alpha, normal_approx);
            });
      },
      "data1"_a, "data2"_a, "alternative"_a = py::none(), "alpha"_a = 0.05, "normal_approx"_a = false,
      Doc("Statistics::MannWhitneyTest", "Mann-Whitney rank-sum test; the statistic is the smaller U.").c_str());
  m.def("mann_w_cdf1", [](int n1, int n2, double u) { return Unlocked([&] { return MannWCDF1(n1, n2, u); }); }, "n1"_a,
        "n2"_a, "u"_a, Doc("Statistics::MannWCDF1", "P(U <= round(u)) for samples of n1 and n2 without ties.").c_str());
  m.def(
      "spearman_rank_corr",
      [](py::handle x, py::handle y, py::handle alternative, double alpha) {
        const auto ht = Alternative(alternative);
        return OneOrTwo(
            x, y, [](const TVec&, auto&, auto&, auto&) { return kNaN; },
            [&](const TVec& a, const TVec& b, auto& h, auto& p, auto& ci) {
              double rs = kNaN;
              SpearmanRankCorr(a, b, rs, h, p, ci, ht, alpha);
              return rs;
            });
      },
      "x"_a, "y"_a, "alternative"_a = py::none(), "alpha"_a = 0.05,
      Doc("Statistics::SpearmanRankCorr", "Spearman's rank correlation (the statistic) with its t-test p-value.").c_str());
  m.def(
      "f_test",
      [](py::handle data1, py::handle data2, py::handle alternative, double alpha) {
        const auto ht = Alternative(alternative);
        return OneOrTwo(
            data1, data2, [](const TVec&, auto&, auto&, auto&) { return kNaN; },
            [&](const TVec& x, const TVec& y, auto& h, auto& p, auto& ci) { return FTest(x, y, h, p, ci, ht, alpha); });
      },
      "data1"_a, "data2"_a, "alternative"_a = py::none(), "alpha"_a = 0.05,
      Doc("Statistics::FTest", "F test of two variances, F = var(data2) / var(data1).").c_str());
  m.def(
      "chi_square_test",
      [](py::handle data, double sigma, py::handle alternative, double alpha) {
        const auto ht = Alternative(alternative);
        return OneOrTwo(
            data, py::none(),
            [&](const TVec& x, auto& h, auto& p, auto& ci) {
              ChiSquareTest(x, sigma, h, p, ci, ht, alpha);
              return kNaN;
            },
            [](const TVec&, const TVec&, auto&, auto&, auto&) { return kNaN; });
      },
      "data"_a, "sigma"_a, "alternative"_a = py::none(), "alpha"_a = 0.05,
      Doc("Statistics::ChiSquareTest", "Chi-square test of the standard deviation (the statistic field is NaN: "
                                       "the routine returns none).").c_str());
  m.def(
      "grubbs_test",
      [](py::handle data, py::handle alternative, double alpha) {
        const auto ht = Alternative(alternative);
        return OneOrTwo(
            data, py::none(),
            [&](const TVec& x, auto& h, auto& p, auto& ci) {
              GrubbsTest(x, h, p, ci, ht, alpha);
              return kNaN;
            },
            [](const TVec&, const TVec&, auto&, auto&, auto&) { return kNaN; });
      },
      "data"_a, "alternative"_a = py::none(), "alpha"_a = 0.05,
      Doc("Statistics::GrubbsTest", "Grubbs' test for one outlier (statistic field NaN).").c_str());
  m.def(
      "bartlett_test",
      [](py::handle data, double alpha) {
        InMtx D = ArgMtx(data, "data");
        int k = 0;
        TVec p;
        Unlocked([&] { BartlettTest(D.m, k, p, alpha); });
        return py::make_tuple(k, ToNumpy(std::move(p)));
      },
      "data"_a, "alpha"_a = 0.05,
      Doc("Statistics::BartlettTest", "(number of components, p-values) of Bartlett's test of equal trailing "
                                      "eigenvalues.").c_str());
}

}  // namespace kalixpy
