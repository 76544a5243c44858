// anova (one- and two-way, from a value column and factor columns), pca (principal components
// of the chosen columns) and capability (Cp, Cpk with intervals, per group).
#include <cmath>
#include <map>

#include <fmt/format.h>

#include "Commands.h"

namespace KalixCli {
namespace {

// Level numbers 0 .. k-1 of a text column in order of first appearance.
struct Levels {
  std::vector<std::string> names;
  std::vector<int> code;  // per row; -1 when missing
};

Levels LevelsOf(const std::vector<std::string>& text) {
  Levels l;
  std::map<std::string, int> where;
  for (const auto& t : text) {
    if (t.empty() || t == "NA") {
      l.code.push_back(-1);
      continue;
    }
    auto [it, fresh] = where.try_emplace(t, static_cast<int>(l.names.size()));
    if (fresh) l.names.push_back(t);
    l.code.push_back(it->second);
  }
  return l;
}

struct AnovaOptions {
  std::string by;
  double alpha = 0.05;
};

std::vector<Cell> Row(const std::string& term, double df, double ss, double ms, double f, double p) {
  return {term, df, ss, ms, f, p};
}

void RunAnova(const Common& common, const AnovaOptions& o) {
  if (common.group.empty()) throw CliError("anova: --group names the factor column");
  std::vector<std::string> text{common.group};
  if (!o.by.empty()) text.push_back(o.by);
  const Table table = ReadCsv(common.file, common.sep, text);
  const int c = ExactColumns(table, common, 1, "anova")[0];
  const auto& values = NumericColumn(table, c);
  const Levels a = LevelsOf(table.text[static_cast<std::size_t>(ColumnIndex(table, common.group))]);
  ResultTable result{"Analysis of variance of " + table.names[static_cast<std::size_t>(c)],
                     {"term", "df", "sumsq", "meansq", "statistic", "p.value"}, {}};
  const double nan = std::nan("");
  if (o.by.empty()) {
    std::vector<double> data;
    std::vector<int> group;
    for (std::size_t r = 0; r < values.size(); ++r)
      if (a.code[r] >= 0 && !std::isnan(values[r])) data.push_back(values[r]), group.push_back(a.code[r]);
    NeedValues(data.size(), 3, "anova", table.names[static_cast<std::size_t>(c)]);
    Kalix::TVecInt g(static_cast<int>(group.size()));
    for (std::size_t i = 0; i < group.size(); ++i) g[static_cast<int>(i)] = group[i];
    double p = nan;
    const Regress::TANOVA1Result r = Regress::ANOVA1(ToVec(data), g, p, o.alpha);
    result.rows.push_back(Row(common.group, r.Deg1, r.SS1, r.MS1, r.FDist, p));
    result.rows.push_back(Row("Residuals", r.Deg2, r.SS2, r.MS2, nan, nan));
    result.rows.push_back(Row("Total", r.DegTotal, r.SSTotal, nan, nan, nan));
    Emit({result}, common);
    return;
  }
  // Two-way: a balanced layout, rows factor --group, columns factor --by, equal replications.
  const Levels b = LevelsOf(table.text[static_cast<std::size_t>(ColumnIndex(table, o.by))]);
  const std::size_t ka = a.names.size(), kb = b.names.size();
  std::vector<std::vector<double>> cell(ka * kb);
  for (std::size_t r = 0; r < values.size(); ++r)
    if (a.code[r] >= 0 && b.code[r] >= 0 && !std::isnan(values[r]))
      cell[static_cast<std::size_t>(a.code[r]) * kb + static_cast<std::size_t>(b.code[r])].push_back(values[r]);
  const std::size_t reps = cell.empty() ? 0 : cell[0].size();
  for (const auto& v : cell)
    if (v.size() != reps || reps == 0)
      throw CliError("anova: a two-way layout needs the same number of values in every cell of the two factors");
  if (ka < 2 || kb < 2) throw CliError("anova: each factor needs at least two levels");
  Kalix::TMtx data(static_cast<int>(ka * reps), static_cast<int>(kb));
  for (std::size_t i = 0; i < ka; ++i)
    for (std::size_t j = 0; j < kb; ++j)
      for (std::size_t k = 0; k < reps; ++k) data(static_cast<int>(i * reps + k), static_cast<int>(j)) = cell[i * kb + j][k];
  double pRows = nan, pCols = nan, pInter = nan;
  const Regress::TANOVA2Result r = Regress::ANOVA2(data, pRows, pCols, pInter, static_cast<int>(reps), o.alpha);
  // The routine's own F is a product form kept for compatibility; analysts read the textbook
  // ratio of mean squares, so F and p are formed here from its sums of squares.
  const auto effect = [&](const std::string& term, double df, double ss, double ms) {
    const double f = ms / r.MS4;
    result.rows.push_back(Row(term, df, ss, ms, f, 1.0 - Kalix::FCDF(f, df, r.Deg4)));
  };
  effect(common.group, r.Deg1, r.SS1, r.MS1);
  effect(o.by, r.Deg2, r.SS2, r.MS2);
  if (reps > 1) effect(common.group + ":" + o.by, r.Deg3, r.SS3, r.MS3);
  result.rows.push_back(Row("Residuals", r.Deg4, r.SS4, r.MS4, nan, nan));
  result.rows.push_back(Row("Total", r.DegTotal, r.SSTotal, nan, nan, nan));
  Emit({result}, common);
}

struct PcaOptions {
  bool covariance = false;
};

void RunPca(const Common& common, const PcaOptions& o) {
  const Table table = LoadTable(common);
  const std::vector<int> cols = ChosenColumns(table, common);
  if (cols.size() < 2) throw CliError("pca: needs at least 2 columns");
  std::vector<std::size_t> rows;
  for (std::size_t r = 0; r < table.rows; ++r) {
    bool complete = true;
    for (int c : cols) complete = complete && !std::isnan(table.columns[static_cast<std::size_t>(c)][r]);
    if (complete) rows.push_back(r);
  }
  NeedValues(rows.size(), 2, "pca", "the complete rows");
  Kalix::TMtx data(static_cast<int>(rows.size()), static_cast<int>(cols.size()));
  for (std::size_t i = 0; i < rows.size(); ++i)
    for (std::size_t j = 0; j < cols.size(); ++j)
      data(static_cast<int>(i), static_cast<int>(j)) = table.columns[static_cast<std::size_t>(cols[j])][rows[i]];
  Kalix::TMtx pc, scores;
  Kalix::TVec eig, pct;
  Statistics::PCA(data, pc, scores, eig, &pct, o.covariance ? Statistics::PCACovMat : Statistics::PCACorrMat);
  ResultTable variance{o.covariance ? "Principal components (covariance)" : "Principal components (correlation)",
                       {"component", "eigenvalue", "percent", "cumulative"}, {}};
  double cumulative = 0;
  for (int k = 0; k < eig.Length(); ++k) {
    cumulative += pct[k];
    variance.rows.push_back({fmt::format("PC{}", k + 1), eig[k], pct[k], cumulative});
  }
  ResultTable loadings{"Loadings", {"column"}, {}};
  for (int k = 0; k < pc.Cols(); ++k) loadings.columns.push_back(fmt::format("PC{}", k + 1));
  for (std::size_t j = 0; j < cols.size(); ++j) {
    std::vector<Cell> row{table.names[static_cast<std::size_t>(cols[j])]};
    for (int k = 0; k < pc.Cols(); ++k) row.emplace_back(pc(static_cast<int>(j), k));
    loadings.rows.push_back(std::move(row));
  }
  Emit({variance, loadings}, common);
}

struct CapabilityOptions {
  double lsl = -HUGE_VAL, usl = HUGE_VAL, alpha = 0.05;
};

void RunCapability(const Common& common, const CapabilityOptions& o) {
  if (std::isinf(o.lsl) && std::isinf(o.usl)) throw CliError("capability: give --lsl, --usl or both");
  if (!(o.alpha > 0.0 && o.alpha < 1.0)) throw CliError("capability: --alpha must lie in (0, 1)");
  const Table table = LoadTable(common);
  ResultTable result{fmt::format("Process capability (LSL {}, USL {})", o.lsl, o.usl), {"column"}, {}};
  if (!common.group.empty()) result.columns.push_back("group");
  for (const char* c : {"n", "mean", "sd", "cp", "cp.low", "cp.high", "cpk", "cpk.low", "cpk.high", "fraction.out"})
    result.columns.emplace_back(c);
  for (int c : ChosenColumns(table, common)) {
    for (const auto& [group, values] : SplitByGroup(table, common, c)) {
      const std::string& name = table.names[static_cast<std::size_t>(c)];
      NeedValues(values.size(), 2, "capability", group.empty() ? name : name + " in group " + group);
      const Kalix::TVec x = ViewOf(values);
      double out = 0, cp = 0, cpk = 0;
      Statistics::TTwoElmReal cpCI{}, cpkCI{};
      StatControlCharts::QCCapIndexes(x, o.lsl, o.usl, out, cp, cpk, cpCI, cpkCI, o.alpha);
      const double mean = Kalix::Mean(x);
      std::vector<Cell> row{name};
      if (!common.group.empty()) row.emplace_back(group);
      for (Cell cellValue : std::vector<Cell>{static_cast<std::int64_t>(values.size()), mean, Kalix::StdDev(x, mean), cp,
                                              cpCI[0], cpCI[1], cpk, cpkCI[0], cpkCI[1], out})
        row.push_back(std::move(cellValue));
      result.rows.push_back(std::move(row));
    }
  }
  Emit({result}, common);
}

}  // namespace

void AddAnovaCommand(CLI::App& app, Common& common) {
  auto* sub = app.add_subcommand("anova", "One-way (--group) or two-way (--group and --by) analysis of variance");
  auto options = std::make_shared<AnovaOptions>();
  AddCommonOptions(*sub, common, kWithGroup);
  sub->add_option("--by", options->by, "Second factor column (two-way, balanced)");
  sub->add_option("--alpha", options->alpha, "Significance level")->capture_default_str();
  sub->callback([&common, options] { RunAnova(common, *options); });
}

void AddPcaCommand(CLI::App& app, Common& common) {
  auto* sub = app.add_subcommand("pca", "Principal components of the chosen columns");
  auto options = std::make_shared<PcaOptions>();
  AddCommonOptions(*sub, common);
  sub->add_flag("--covariance", options->covariance, "Decompose the covariance matrix (default: correlation)");
  sub->callback([&common, options] { RunPca(common, *options); });
}

void AddCapabilityCommand(CLI::App& app, Common& common) {
  auto* sub = app.add_subcommand("capability", "Process capability Cp, Cpk with intervals");
  auto options = std::make_shared<CapabilityOptions>();
  AddCommonOptions(*sub, common, kWithGroup);
  sub->add_option("--lsl", options->lsl, "Lower tolerance limit");
  sub->add_option("--usl", options->usl, "Upper tolerance limit");
  sub->add_option("--alpha", options->alpha, "1 - confidence level of the intervals")->capture_default_str();
  sub->callback([&common, options] { RunCapability(common, *options); });
}

}  // namespace KalixCli
