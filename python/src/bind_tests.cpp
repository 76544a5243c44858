// Hypothesis tests: each returns a TestResult (statistic, pvalue, decision,
// confidence_interval); alternative is "two-sided", "less" or "greater".
#include <cmath>
#include <limits>
#include <optional>

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
  // Goodness of fit and normality.
  m.def(
      "empirical_cdf",
      [](py::handle data, py::handle points) -> py::object {
        InVec D = ArgVec(data, "data");
        TVec x, f;
        if (points.is_none()) {
          Unlocked([&] { EmpiricalCDF(D.v, x, f); });
          return py::make_tuple(ToNumpy(std::move(x)), ToNumpy(std::move(f)));
        }
        InVec P = ArgDoubles(points, "points");
        Unlocked([&] { EmpiricalCDF(D.v, P.v.Span<double>(), f); });
        return ToNumpy(std::move(f));
      },
      "data"_a, "points"_a = py::none(),
      Doc("Statistics::EmpiricalCDF", "(sorted distinct values, fractions <= each); with points, the fractions "
                                      "<= each point.").c_str());
  m.def(
      "gof_kolmogorov",
      [](py::handle data, py::handle data2, py::handle alternative, double alpha) {
        const auto ht = Alternative(alternative);
        return OneOrTwo(
            data, data2,
            [&](const TVec& x, auto& h, auto& p, auto&) { return GOFKolmogorov(x, h, p, ht, alpha); },
            [&](const TVec& x, const TVec& y, auto& h, auto& p, auto&) { return GOFKolmogorov(x, y, h, p, ht, alpha); });
      },
      "data"_a, "data2"_a = py::none(), "alternative"_a = py::none(), "alpha"_a = 0.05,
      Doc("Statistics::GOFKolmogorov", "One-sample test from the hypothesised CDF at each observation (data), or the "
                                       "two-sample Smirnov test with data2; \"greater\" gives D+, \"less\" D-.").c_str());
  m.def(
      "gof_chi2_test",
      [](py::handle observed, py::handle expected, int num_estimated, double alpha) {
        InVec O = ArgVec(observed, "observed");
        InVec E = ArgVec(expected, "expected");
        THypothesisResult h = hrNan;
        double p = kNaN, stat = kNaN;
        int small = 0;
        Unlocked([&] { stat = GOFChi2Test(O, E, h, p, small, num_estimated, alpha); });
        const py::object t = RecordType("Chi2TestResult", "statistic pvalue decision small_count");
        return t(stat, p, h, small);
      },
      "observed"_a, "expected"_a, "num_estimated"_a = 0, "alpha"_a = 0.05,
      Doc("Statistics::GOFChi2Test", "Pearson chi-square of counts against probabilities or expected counts; "
                                     "small_count = cells expecting fewer than 5.").c_str());
  m.def(
      "anderson_darling",
      [](py::handle data, std::optional<double> mu, std::optional<double> sigma, double alpha) {
        if (mu.has_value() != sigma.has_value()) throw py::value_error("kalix: give both mu and sigma, or neither");
        return OneOrTwo(
            data, py::none(),
            [&](const TVec& x, auto& h, auto& p, auto&) {
              return mu ? AndersonDarling(x, *mu, *sigma, h, p, alpha) : AndersonDarling(x, h, p, alpha);
            },
            [](const TVec&, const TVec&, auto&, auto&, auto&) { return kNaN; });
      },
      "data"_a, "mu"_a = py::none(), "sigma"_a = py::none(), "alpha"_a = 0.05,
      Doc("Statistics::AndersonDarling", "A^2 test of normality with estimated mean and variance, or against "
                                         "Normal(mu, sigma) when both are given.").c_str());
#define KALIX_NORMALITY(py_name, CPP, text)                                                                   \
  m.def(                                                                                                     \
      py_name,                                                                                               \
      [](py::handle data, double alpha) {                                                                    \
        return OneOrTwo(                                                                                     \
            data, py::none(), [&](const TVec& x, auto& h, auto& p, auto&) { return CPP(x, h, p, alpha); },   \
            [](const TVec&, const TVec&, auto&, auto&, auto&) { return kNaN; });                             \
      },                                                                                                     \
      "data"_a, "alpha"_a = 0.05, Doc("Statistics::" #CPP, text).c_str())
  KALIX_NORMALITY("gof_lillie_test", GOFLillieTest, "Lilliefors test of normality; the statistic is D.");
  KALIX_NORMALITY("gof_bera_jarque_test", GOFBeraJarqueTest, "Jarque-Bera test of normality.");
  KALIX_NORMALITY("shapiro_wilks", ShapiroWilks, "Shapiro-Wilk W test of normality.");
  KALIX_NORMALITY("shapiro_francia", ShapiroFrancia, "Shapiro-Francia W' test of normality.");
#undef KALIX_NORMALITY

  // Unequal-variance t, rank correlation and k-sample rank tests.
  m.def(
      "t_test_welch",
      [](py::handle data1, py::handle data2, py::handle alternative, double alpha) {
        const auto ht = Alternative(alternative);
        InVec X = ArgVec(data1, "data1");
        InVec Y = ArgVec(data2, "data2");
        THypothesisResult h = hrNan;
        double p = kNaN, stat = kNaN, df = kNaN;
        TTwoElmReal ci{kNaN, kNaN};
        Unlocked([&] { stat = tTestWelch(X, Y, h, p, ci, df, ht, alpha); });
        const py::object t = RecordType("WelchTestResult", "statistic pvalue decision confidence_interval df");
        return t(stat, p, h, Pair(ci), df);
      },
      "data1"_a, "data2"_a, "alternative"_a = py::none(), "alpha"_a = 0.05,
      Doc("Statistics::tTestWelch", "Welch's unequal-variance t test; df is Satterthwaite's, the interval is for "
                                    "mean(data1) - mean(data2).").c_str());
  m.def(
      "kendall_tau",
      [](py::handle x, py::handle y, py::handle alternative, double alpha) {
        const auto ht = Alternative(alternative);
        return OneOrTwo(
            x, y, [](const TVec&, auto&, auto&, auto&) { return kNaN; },
            [&](const TVec& a, const TVec& b, auto& h, auto& p, auto&) {
              double tau = kNaN;
              KendallTau(a, b, tau, h, p, ht, alpha);
              return tau;
            });
      },
      "x"_a, "y"_a, "alternative"_a = py::none(), "alpha"_a = 0.05,
      Doc("Statistics::KendallTau", "Kendall's tau-b (the statistic); \"greater\" tests positive association.").c_str());
  m.def(
      "kruskal_wallis",
      [](py::handle data, py::handle groups, double alpha) {
        InVec D = ArgVec(data, "data");
        InInt G = ArgInt(groups, "groups");
        THypothesisResult h = hrNan;
        double p = kNaN, stat = kNaN;
        Unlocked([&] { stat = KruskalWallis(D, G, h, p, alpha); });
        return TestResult(stat, p, h, {kNaN, kNaN});
      },
      "data"_a, "groups"_a, "alpha"_a = 0.05,
      Doc("Statistics::KruskalWallis", "Kruskal-Wallis H of the samples that the group numbers define.").c_str());
  m.def(
      "mann_whitney_exact",
      [](py::handle data1, py::handle data2, py::handle alternative, double alpha) {
        const auto ht = Alternative(alternative);
        return OneOrTwo(
            data1, data2, [](const TVec&, auto&, auto&, auto&) { return kNaN; },
            [&](const TVec& x, const TVec& y, auto& h, auto& p, auto&) { return MannWhitneyExact(x, y, h, p, ht, alpha); });
      },
      "data1"_a, "data2"_a, "alternative"_a = py::none(), "alpha"_a = 0.05,
      Doc("Statistics::MannWhitneyExact", "Exact rank-sum test with ties; the statistic is U1 of data1, \"greater\": "
                                          "data1 tends larger.").c_str());
}

}  // namespace kalixpy
