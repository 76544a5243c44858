// chart: Shewhart, EWMA and CUSUM control charts of a CSV column (or of several columns, one
// subgroup per row), with every point, its limits, the out-of-control points and the Westgard
// flags in the output, and the chart itself with --svg/--png.
#include <algorithm>
#include <cmath>
#include <stdexcept>

#include <fmt/format.h>

#include "Charts.h"
#include "Commands.h"

namespace KalixCli {
namespace {

struct ChartCommandOptions {
  TChartOptions chart;
  int subgroupSize = 0;
  std::string subgroup, sizeColumn, title;
  double size = std::nan("");
};

bool IsAttributes(const std::string& type) { return type == "p" || type == "np" || type == "u" || type == "c"; }

// Values of a column with no missing cell (a chart's samples cannot have holes).
std::vector<double> Complete(const Table& table, int column) {
  const auto& v = NumericColumn(table, column);
  for (std::size_t r = 0; r < v.size(); ++r)
    if (std::isnan(v[r]))
      throw CliError(fmt::format("{}:{}: {} is missing; control charts need every value", table.file, r + 2,
                                 table.names[static_cast<std::size_t>(column)]));
  return v;
}

// The measured columns: those asked for, else every numeric column but the helper columns.
std::vector<int> DataColumns(const Table& table, const Common& common, const std::vector<int>& helpers) {
  std::vector<int> chosen = ChosenColumns(table, common);
  if (common.columns.empty())
    std::erase_if(chosen, [&](int c) { return std::find(helpers.begin(), helpers.end(), c) != helpers.end(); });
  if (chosen.empty()) throw CliError(fmt::format("{}: no numeric column to chart", table.file));
  return chosen;
}

// Consecutive rows with one value of the subgroup column form a subgroup; all must be equally large.
int SizeFromSubgroupColumn(const Table& table, int column, std::size_t rows) {
  const auto& keys = table.text[static_cast<std::size_t>(column)];
  std::size_t first = 0, size = 0;
  for (std::size_t r = 1; r <= rows; ++r) {
    if (r < rows && keys[r] == keys[r - 1]) continue;
    const std::size_t run = r - first;
    if (size != 0 && run != size)
      throw CliError(fmt::format("{}:{}: subgroup {} has {} values, the first has {}; charts need equal subgroups",
                                 table.file, first + 2, keys[first], run, size));
    size = run;
    first = r;
  }
  return static_cast<int>(size);
}

Kalix::TMtx Subgroups(const Table& table, const Common& common, const ChartCommandOptions& o, std::string& what) {
  const int sub = o.subgroup.empty() ? -1 : ColumnIndex(table, o.subgroup);
  const std::vector<int> cols = DataColumns(table, common, {sub});
  if (cols.size() > 1) {  // one subgroup per row
    if (o.subgroupSize > 0 || sub >= 0)
      throw CliError("chart: give one column with --subgroup-size or --subgroup, or several columns without them");
    std::vector<std::vector<double>> values;
    for (int c : cols) values.push_back(Complete(table, c));
    Kalix::TMtx m(static_cast<int>(table.rows), static_cast<int>(cols.size()));
    for (int r = 0; r < m.Rows(); ++r)
      for (int c = 0; c < m.Cols(); ++c) m(r, c) = values[static_cast<std::size_t>(c)][static_cast<std::size_t>(r)];
    what.clear();
    for (int c : cols) what += (what.empty() ? "" : ", ") + table.names[static_cast<std::size_t>(c)];
    if (cols.size() > 6) what = fmt::format("{} columns", cols.size());
    return m;
  }
  const std::vector<double> v = Complete(table, cols.front());
  what = table.names[static_cast<std::size_t>(cols.front())];
  const int n = sub >= 0 ? SizeFromSubgroupColumn(table, sub, v.size()) : std::max(o.subgroupSize, 1);
  if (v.size() % static_cast<std::size_t>(n) != 0)
    throw CliError(fmt::format("chart: {} values do not fill subgroups of {}", v.size(), n));
  Kalix::TMtx m(static_cast<int>(v.size()) / n, n);
  for (std::size_t i = 0; i < v.size(); ++i) m(static_cast<int>(i) / n, static_cast<int>(i) % n) = v[i];
  return m;
}

TControlChart Attributes(const Table& table, const Common& common, const ChartCommandOptions& o, std::string& what) {
  const int sizes = o.sizeColumn.empty() ? -1 : ColumnIndex(table, o.sizeColumn);
  const int counts = DataColumns(table, common, {sizes}).front();
  what = table.names[static_cast<std::size_t>(counts)];
  std::vector<double> n;
  if (sizes >= 0)
    n = Complete(table, sizes);
  else if (!std::isnan(o.size))
    n = {o.size};
  else if (o.chart.Type != "c")
    throw CliError(fmt::format("chart: a {} chart needs --size N or --size-column COLUMN", o.chart.Type));
  return AttributesChart(Complete(table, counts), n, o.chart);
}

std::string Label(const TControlPanel& p, std::size_t s) { return p.Series.size() > 1 ? p.Series[s].Name : p.Name; }

std::vector<ResultTable> Tables(const TControlChart& chart) {
  ResultTable points{chart.Title, {"chart", "sample", "value", "center", "lower", "upper", "out.of.control", "westgard"}, {}};
  ResultTable flagged{"Flagged points", {"chart", "sample", "value", "lower", "upper", "reason"}, {}};
  for (const auto& p : chart.Panels)
    for (std::size_t s = 0; s < p.Series.size(); ++s)
      for (std::size_t i = 0; i < p.Sample.size(); ++i) {
        const bool out = p.OutOfControl(s, i);
        const std::string rules = s == 0 && i < p.Westgard.size() ? WestgardNames(p.Westgard[i]) : "";
        const double v = p.Series[s].Values[i];
        const auto sample = static_cast<std::int64_t>(p.Sample[i]);
        points.rows.push_back({Label(p, s), sample, v, p.Centre[i], p.Lower[i], p.Upper[i],
                               std::int64_t{out}, rules});
        if (!out && rules.empty()) continue;
        std::string reason = out ? "beyond limits" : "";
        if (!rules.empty()) reason += (out ? "; westgard " : "westgard ") + rules;
        flagged.rows.push_back({Label(p, s), sample, v, p.Lower[i], p.Upper[i], reason});
      }
  return {points, flagged};
}

void Run(const Common& common, ChartCommandOptions o) {
  std::vector<std::string> text;
  if (!o.subgroup.empty()) text.push_back(o.subgroup);
  const Table table = ReadCsv(common.file, common.sep, text);
  std::string what;
  TControlChart chart;
  try {
    chart = IsAttributes(o.chart.Type) ? Attributes(table, common, o, what)
                                       : VariablesChart(Subgroups(table, common, o, what), o.chart);
  } catch (const std::invalid_argument& e) {
    throw CliError(std::string("chart: ") + e.what());
  }
  chart.Title = o.title.empty() ? what : o.title;
  WriteControlChartSvg({common.svg, common.png}, chart);  // before any output: nothing half-written on failure
  auto tables = Tables(chart);
  tables.front().title = o.chart.Type + " chart of " + chart.Title;
  Emit(tables, common);
}

}  // namespace

void AddChartCommand(CLI::App& app, Common& common) {
  auto* sub = app.add_subcommand("chart", "Control charts: xbar-r, xbar-s, individuals, p, np, u, c, ewma, cusum");
  auto o = std::make_shared<ChartCommandOptions>();
  AddCommonOptions(*sub, common, kWithCharts);
  sub->add_option("-t,--type", o->chart.Type, "Chart: xbar-r, xbar-s, individuals, p, np, u, c, ewma, cusum")
      ->required()
      ->check(CLI::IsMember({"xbar-r", "xbar-s", "individuals", "p", "np", "u", "c", "ewma", "cusum"}));
  sub->add_option("-n,--subgroup-size", o->subgroupSize, "Consecutive values per subgroup (one column)")
      ->check(CLI::PositiveNumber);
  sub->add_option("--subgroup", o->subgroup, "Column whose runs of equal values form the subgroups");
  sub->add_option("--size", o->size, "Items (p, np) or units (u) per sample");
  sub->add_option("--size-column", o->sizeColumn, "Column with the items or units of each sample");
  sub->add_option("--confidence", o->chart.Confidence,
                  "Limits' coverage (default 0.9973 two-sided for xbar, R, S, individuals; 0.99865 one-sided otherwise)")
      ->check(CLI::Range(0.0, 1.0));
  sub->add_option("--lambda", o->chart.Lambda, "EWMA weight")->capture_default_str();
  sub->add_option("--k", o->chart.K, "CUSUM allowance in standard errors")->capture_default_str();
  sub->add_option("--h", o->chart.H, "CUSUM decision interval in standard errors")->capture_default_str();
  sub->add_option("--target", o->chart.Target, "CUSUM target (default: the mean of the subgroup means)");
  sub->add_option("--sigma", o->chart.Sigma, "CUSUM process standard deviation (default: estimated)");
  sub->add_option("--title", o->title, "Chart title");
  sub->callback([&common, o] { Run(common, *o); });
}

}  // namespace KalixCli
