// probplot: normal probability plot (with a pointwise 95% band) or Q-Q plot (one column against
// the normal, two columns against each other): the plotted points and the reference line.
#include <cmath>

#include <fmt/format.h>

#include "Charts.h"
#include "Commands.h"

namespace KalixCli {
namespace {

struct ProbPlotOptions {
  std::string type = "normal", title;
};

std::vector<double> FromVec(const Kalix::TVec& v) {
  std::vector<double> out(static_cast<std::size_t>(v.Length()));
  for (int i = 0; i < v.Length(); ++i) out[static_cast<std::size_t>(i)] = v[i];
  return out;
}

std::vector<ResultTable> Tables(const TProbPlot& p) {
  const double slope = (p.MaxY - p.MinY) / (p.MaxX - p.MinX), intercept = p.MinY - slope * p.MinX;
  ResultTable points{p.Title, {"i", "x", "y", "line"}, {}};
  if (!p.Bounds.empty()) points.columns.insert(points.columns.end(), {"lower", "upper"});
  for (std::size_t i = 0; i < p.X.size(); ++i) {
    const double line = p.MinY + (p.X[i] - p.MinX) * slope;
    std::vector<Cell> row{static_cast<std::int64_t>(i + 1), p.X[i], p.Y[i], line};
    if (!p.Bounds.empty()) row.insert(row.end(), {line - p.Bounds[i], line + p.Bounds[i]});
    points.rows.push_back(std::move(row));
  }
  ResultTable line{"Reference line through the quartiles",
                   {"min.x", "min.y", "max.x", "max.y", "slope", "intercept"},
                   {{p.MinX, p.MinY, p.MaxX, p.MaxY, slope, intercept}}};
  return {points, line};
}

void Run(const Common& common, const ProbPlotOptions& o) {
  const Table table = LoadTable(common);
  const bool two = o.type == "qq" && common.columns.size() == 2;
  const std::vector<int> cols = ExactColumns(table, common, two ? 2 : 1, "probplot --type " + o.type);
  const auto name = [&](int c) { return table.names[static_cast<std::size_t>(c)]; };
  const std::vector<double> x = Present(NumericColumn(table, cols[0]));
  NeedValues(x.size(), 1, "probplot", name(cols[0]));
  TProbPlot p;
  Kalix::TVec px, py;
  if (o.type == "normal") {
    StatProbPlots::StatNormalPlot(ToVec(x), px, py, p.MinX, p.MaxX, p.MinY, p.MaxY);
    p.YLabel = "Normal quantile";
  } else if (two) {
    const std::vector<double> y = Present(NumericColumn(table, cols[1]));
    if (y.size() != x.size())
      throw CliError(fmt::format("probplot: {} has {} values and {} has {}; a Q-Q plot pairs equal samples",
                                 name(cols[0]), x.size(), name(cols[1]), y.size()));
    StatProbPlots::StatQQPlot(ToVec(x), ToVec(y), px, py, p.MinX, p.MaxX, p.MinY, p.MaxY);
    p.YLabel = name(cols[1]);
  } else {
    StatProbPlots::StatQQPlot(ToVec(x), px, py, p.MinX, p.MaxX, p.MinY, p.MaxY);
    p.YLabel = "Normal quantile";
  }
  p.X = FromVec(px);
  p.Y = FromVec(py);
  if (o.type == "normal") p.Bounds = NormalBandHalfWidths(p.Y);
  p.XLabel = name(cols[0]);
  p.Title = !o.title.empty() ? o.title
            : o.type == "normal" ? "Normal probability plot of " + name(cols[0])
            : two ? "Q-Q plot of " + name(cols[1]) + " against " + name(cols[0])
                  : "Normal Q-Q plot of " + name(cols[0]);
  WriteProbPlotSvg({common.svg, common.png}, p);  // before any output: nothing half-written on failure
  Emit(Tables(p), common);
}

}  // namespace

void AddProbPlotCommand(CLI::App& app, Common& common) {
  auto* sub = app.add_subcommand("probplot", "Normal probability or Q-Q plot: points and reference line");
  auto o = std::make_shared<ProbPlotOptions>();
  AddCommonOptions(*sub, common, kWithCharts);
  sub->add_option("-t,--type", o->type, "normal (with a 95% band) or qq (one column against the normal, or two)")
      ->check(CLI::IsMember({"normal", "qq"}))
      ->capture_default_str();
  sub->add_option("--title", o->title, "Chart title");
  sub->callback([&common, o] { Run(common, *o); });
}

}  // namespace KalixCli
