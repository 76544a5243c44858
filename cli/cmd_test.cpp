// test: hypothesis tests on one column, two columns (or one column split into two groups by
// --group), and normality tests; one row per test with statistic, p-value, interval, decision.
#include <algorithm>
#include <cmath>
#include <functional>
#include <map>

#include <fmt/format.h>

#include "Commands.h"

namespace KalixCli {
namespace {

using Statistics::THypothesisResult;
using Statistics::TTwoElmReal;

struct TestOptions {
  std::string kind;
  double mu = 0.0;
  double sigma = std::nan("");
  std::string alternative = "two.sided";
  double alpha = 0.05;
  bool paired = false;
};

struct Samples {
  std::string label;
  std::vector<std::vector<double>> data;
};

// One sample per chosen column, or the two groups of --group; missing values dropped (pairwise
// for paired data and correlations, so rows stay matched).
Samples Gather(const Table& table, const Common& common, std::size_t count, bool matched) {
  Samples s;
  if (!common.group.empty() && count == 2) {
    const int c = ExactColumns(table, common, 1, "test")[0];
    auto groups = SplitByGroup(table, common, c);
    if (groups.size() != 2)
      throw CliError(fmt::format("test: --group {} has {} groups, 2 needed", common.group, groups.size()));
    s.label = fmt::format("{} by {}: {} vs {}", table.names[static_cast<std::size_t>(c)], common.group, groups[0].first,
                          groups[1].first);
    s.data = {std::move(groups[0].second), std::move(groups[1].second)};
    return s;
  }
  const std::vector<int> cols = ExactColumns(table, common, count, "test");
  for (int c : cols) {
    if (!s.label.empty()) s.label += matched ? " & " : " vs ";
    s.label += table.names[static_cast<std::size_t>(c)];
  }
  if (matched) {
    s.data.resize(count);
    for (std::size_t r = 0; r < table.rows; ++r) {
      bool complete = true;
      for (int c : cols) complete = complete && !std::isnan(table.columns[static_cast<std::size_t>(c)][r]);
      if (complete)
        for (std::size_t j = 0; j < count; ++j) s.data[j].push_back(table.columns[static_cast<std::size_t>(cols[j])][r]);
    }
  } else {
    for (int c : cols) s.data.push_back(Present(NumericColumn(table, c)));
  }
  return s;
}

struct Outcome {
  double statistic = std::nan("");
  double p = std::nan("");
  TTwoElmReal ci{std::nan(""), std::nan("")};
  THypothesisResult h = Statistics::hrNan;
  double df = std::nan("");
};

std::vector<Cell> RowOf(const std::string& test, const std::string& data, const Outcome& o) {
  return {test, data, o.statistic, o.df, o.p, o.ci[0], o.ci[1], Decision(o.h)};
}

// A test of one or two samples: how many, whether rows must stay matched, and the call.
struct TestEntry {
  std::string title;
  std::size_t samples;
  bool matched;
  std::size_t least;
  std::function<Outcome(const std::vector<Kalix::TVec>&, const TestOptions&, Statistics::THypothesisType)> run;
};

double NeedSigma(const TestOptions& o, const char* test) {
  if (std::isnan(o.sigma)) throw CliError(fmt::format("test {}: --sigma is needed", test));
  return o.sigma;
}

const std::map<std::string, TestEntry>& Tests() {
  using V = std::vector<Kalix::TVec>;
  using Statistics::THypothesisType;
  static const std::map<std::string, TestEntry> tests{
      {"t", {"One-sample t test", 1, false, 2, [](const V& x, const TestOptions& o, THypothesisType ht) {
               Outcome r;
               r.statistic = Statistics::tTest(x[0], o.mu, r.h, r.p, r.ci, ht, o.alpha);
               r.df = x[0].Length() - 1.0;
               return r;
             }}},
      {"t2", {"Two-sample t test (pooled variance)", 2, false, 2, [](const V& x, const TestOptions& o, THypothesisType ht) {
                Outcome r;
                Statistics::tTest(x[0], x[1], r.h, r.p, r.ci, false, ht, o.alpha);
                // The library returns the interval half-width: t is read off the two-sided interval.
                Outcome two;
                const double h = Statistics::tTest(x[0], x[1], two.h, two.p, two.ci, false, Statistics::htTwoTailed, o.alpha);
                r.df = x[0].Length() + x[1].Length() - 2.0;
                r.statistic = 0.5 * (two.ci[0] + two.ci[1]) / (h / Kalix::StudentCDFInv(1.0 - o.alpha / 2.0, r.df));
                return r;
              }}},
      {"paired", {"Paired t test", 2, true, 2, [](const V& x, const TestOptions& o, THypothesisType ht) {
                    Outcome r;
                    r.statistic = Statistics::tTest(x[0], x[1], r.h, r.p, r.ci, true, ht, o.alpha);
                    r.df = x[0].Length() - 1.0;
                    return r;
                  }}},
      {"welch", {"Welch two-sample t test", 2, false, 2, [](const V& x, const TestOptions& o, THypothesisType ht) {
                   Outcome r;
                   r.statistic = Statistics::tTestWelch(x[0], x[1], r.h, r.p, r.ci, r.df, ht, o.alpha);
                   return r;
                 }}},
      {"z", {"One-sample z test", 1, false, 1, [](const V& x, const TestOptions& o, THypothesisType ht) {
               Outcome r;
               r.statistic = Statistics::ZTest(x[0], o.mu, NeedSigma(o, "z"), r.h, r.p, r.ci, ht, o.alpha);
               return r;
             }}},
      {"sign", {"Sign test", 1, false, 1, [](const V& x, const TestOptions& o, THypothesisType ht) {
                  Outcome r;
                  r.statistic = Statistics::SignTest(x[0], o.mu, r.h, r.p, r.ci, ht, o.alpha);
                  r.ci = {std::nan(""), std::nan("")};
                  return r;
                }}},
      {"wilcoxon", {"Wilcoxon signed-rank test", 1, false, 1, [](const V& x, const TestOptions& o, THypothesisType ht) {
                      Outcome r;
                      r.statistic = Statistics::WilcoxonSign(x[0], o.mu, r.h, r.p, r.ci, ht, o.alpha);
                      return r;
                    }}},
      {"mann-whitney", {"Mann-Whitney rank-sum test", 2, false, 1, [](const V& x, const TestOptions& o, THypothesisType ht) {
                          Outcome r;
                          r.statistic = Statistics::MannWhitneyTest(x[0], x[1], r.h, r.p, r.ci, ht, o.alpha);
                          r.ci = {std::nan(""), std::nan("")};
                          return r;
                        }}},
      {"spearman", {"Spearman rank correlation", 2, true, 3, [](const V& x, const TestOptions& o, THypothesisType ht) {
                      Outcome r;
                      Statistics::SpearmanRankCorr(x[0], x[1], r.statistic, r.h, r.p, r.ci, ht, o.alpha);
                      return r;
                    }}},
      {"kendall", {"Kendall's tau-b", 2, true, 2, [](const V& x, const TestOptions& o, THypothesisType ht) {
                     Outcome r;
                     Statistics::KendallTau(x[0], x[1], r.statistic, r.h, r.p, ht, o.alpha);
                     return r;
                   }}},
      {"f", {"F test of two variances (second over first)", 2, false, 2, [](const V& x, const TestOptions& o, THypothesisType ht) {
               Outcome r;
               r.statistic = Statistics::FTest(x[0], x[1], r.h, r.p, r.ci, ht, o.alpha);
               return r;
             }}},
      {"chisq", {"Chi-square test of the standard deviation", 1, false, 2, [](const V& x, const TestOptions& o, THypothesisType ht) {
                   Outcome r;
                   const double sigma = NeedSigma(o, "chisq");
                   Statistics::ChiSquareTest(x[0], sigma, r.h, r.p, r.ci, ht, o.alpha);
                   // The routine gives no statistic: (n - 1) s^2 / sigma^2 is shown with it.
                   r.df = x[0].Length() - 1.0;
                   const double sd = Kalix::StdDev(x[0]);
                   r.statistic = r.df * sd * sd / (sigma * sigma);
                   return r;
                 }}},
      {"grubbs", {"Grubbs' outlier test", 1, false, 3, [](const V& x, const TestOptions& o, THypothesisType ht) {
                    Outcome r;
                    Statistics::GrubbsTest(x[0], r.h, r.p, r.ci, ht, o.alpha);
                    // The routine gives no statistic: G, the largest studentised deviation in
                    // the direction tested, is shown with it.
                    double hi = 0, lo = 0;
                    Kalix::MaxMin(x[0], hi, lo);
                    const double mean = Kalix::Mean(x[0]), sd = Kalix::StdDev(x[0], mean);
                    const double up = (hi - mean) / sd, down = (mean - lo) / sd;
                    r.statistic = ht == Statistics::htRightTailed  ? up
                                  : ht == Statistics::htLeftTailed ? down
                                                                   : std::max(up, down);
                    return r;
                  }}},
  };
  return tests;
}

// The normality tests, all on one sample.
void Normality(const std::vector<double>& values, const std::string& label, double alpha, ResultTable& result) {
  const Kalix::TVec x = ViewOf(values);
  using Fn = double (*)(const Kalix::TVec&, THypothesisResult&, double&, double);
  const std::pair<const char*, Fn> tests[] = {
      {"Shapiro-Wilk", Statistics::ShapiroWilks},
      {"Shapiro-Francia", Statistics::ShapiroFrancia},
      {"Anderson-Darling", static_cast<Fn>(Statistics::AndersonDarling)},
      {"Lilliefors", Statistics::GOFLillieTest},
      {"Jarque-Bera", Statistics::GOFBeraJarqueTest},
  };
  for (const auto& [name, fn] : tests) {
    Outcome r;
    r.statistic = fn(x, r.h, r.p, alpha);
    result.rows.push_back(RowOf(name, label, r));
  }
}

void Bartlett(const Table& table, const Common& common, double alpha, ResultTable& result) {
  const std::vector<int> cols = ChosenColumns(table, common);
  if (cols.size() < 2) throw CliError("test bartlett: needs at least 2 columns");
  Samples s = Gather(table, common, cols.size(), true);
  NeedValues(s.data[0].size(), 2, "test bartlett", "the complete rows");
  Kalix::TMtx data(static_cast<int>(s.data[0].size()), static_cast<int>(cols.size()));
  for (std::size_t j = 0; j < cols.size(); ++j)
    for (std::size_t i = 0; i < s.data[j].size(); ++i) data(static_cast<int>(i), static_cast<int>(j)) = s.data[j][i];
  int numComp = 0;
  Kalix::TVec signif;
  Statistics::BartlettTest(data, numComp, signif, alpha);
  for (int i = 0; i < signif.Length(); ++i) {
    Outcome r;
    r.p = signif[i];
    r.h = std::isnan(r.p) ? Statistics::hrNan : r.p <= alpha ? Statistics::hrReject : Statistics::hrNotReject;
    result.rows.push_back(RowOf(fmt::format("Bartlett: {} smallest eigenvalues equal", static_cast<int>(cols.size()) - i),
                                s.label, r));
  }
}

void Run(const Common& common, const TestOptions& o) {
  const Statistics::THypothesisType ht = Alternative(o.alternative);
  const Table table = LoadTable(common);
  ResultTable result{"Hypothesis tests (alternative " + o.alternative + fmt::format(", alpha {})", o.alpha),
                     {"test", "data", "statistic", "df", "p.value", "conf.low", "conf.high", "decision"}, {}};
  if (o.kind == "normality") {
    for (int c : ChosenColumns(table, common))
      for (const auto& [group, values] : SplitByGroup(table, common, c)) {
        const std::string label = table.names[static_cast<std::size_t>(c)] + (group.empty() ? "" : " [" + group + "]");
        NeedValues(values.size(), 8, "test normality", label);
        Normality(values, label, o.alpha, result);
      }
  } else if (o.kind == "bartlett") {
    Bartlett(table, common, o.alpha, result);
  } else {
    std::string kind = o.kind;
    if (kind == "t" && (o.paired || (common.columns.size() == 2) || !common.group.empty())) kind = o.paired ? "paired" : "t2";
    if ((kind == "sign" || kind == "wilcoxon") && o.paired) kind = "paired-" + kind;
    const auto& tests = Tests();
    if (kind == "paired-sign" || kind == "paired-wilcoxon") {
      Samples s = Gather(table, common, 2, true);
      NeedValues(s.data[0].size(), 1, "test " + o.kind, s.label);
      const Kalix::TVec a = ToVec(s.data[0]), b = ToVec(s.data[1]);
      Outcome r;
      r.statistic = kind == "paired-sign" ? Statistics::SignTest(a, b, r.h, r.p, r.ci, ht, o.alpha)
                                          : Statistics::WilcoxonSign(a, b, r.h, r.p, r.ci, ht, o.alpha);
      if (kind == "paired-sign") r.ci = {std::nan(""), std::nan("")};
      result.rows.push_back(RowOf(kind == "paired-sign" ? "Paired sign test" : "Paired Wilcoxon signed-rank test", s.label, r));
    } else {
      const auto it = tests.find(kind);
      if (it == tests.end())
        throw CliError(fmt::format("test: unknown test \"{}\" (t, welch, z, sign, wilcoxon, mann-whitney, spearman, "
                                   "kendall, f, chisq, grubbs, bartlett, normality)", o.kind));
      const TestEntry& entry = it->second;
      if (entry.samples == 1 && !common.group.empty()) {
        const int c = ExactColumns(table, common, 1, "test")[0];
        for (const auto& [group, values] : SplitByGroup(table, common, c)) {
          const std::string label = table.names[static_cast<std::size_t>(c)] + " [" + group + "]";
          NeedValues(values.size(), entry.least, "test " + o.kind, label);
          result.rows.push_back(RowOf(entry.title, label, entry.run({ToVec(values)}, o, ht)));
        }
      } else {
        Samples s = Gather(table, common, entry.samples, entry.matched);
        std::vector<Kalix::TVec> x;
        for (const auto& d : s.data) {
          NeedValues(d.size(), entry.least, "test " + o.kind, s.label);
          x.push_back(ToVec(d));
        }
        result.rows.push_back(RowOf(entry.title, s.label, entry.run(x, o, ht)));
      }
    }
  }
  Emit({result}, common);
}

}  // namespace

void AddTestCommand(CLI::App& app, Common& common) {
  auto* sub = app.add_subcommand(
      "test", "Hypothesis tests: t, welch, z, sign, wilcoxon, mann-whitney, spearman, kendall, f, chisq, grubbs, "
              "bartlett, normality");
  auto options = std::make_shared<TestOptions>();
  sub->add_option("test", options->kind, "Which test")->required();
  AddCommonOptions(*sub, common, kWithGroup);
  sub->add_option("--mu", options->mu, "Hypothesised mean or median (one sample)")->capture_default_str();
  sub->add_option("--sigma", options->sigma, "Known standard deviation (z) or hypothesised one (chisq)");
  sub->add_option("--alternative", options->alternative, "two.sided, greater or less")->capture_default_str();
  sub->add_option("--alpha", options->alpha, "Significance level")->capture_default_str();
  sub->add_flag("--paired", options->paired, "Paired samples (t, sign, wilcoxon on two columns)");
  sub->callback([&common, options] { Run(common, *options); });
}

}  // namespace KalixCli
