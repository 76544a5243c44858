// histogram: counts of one column in equal-width bins over its range (or --min .. --max).
#include "Charts.h"
#include "Commands.h"

#include <cmath>

#include <fmt/format.h>

namespace KalixCli {

HistogramData ComputeHistogram(const std::vector<double>& values, int bins, double lo, double hi) {
  if (bins <= 0) throw CliError(fmt::format("histogram: --bins {} is not positive", bins));
  NeedValues(values.size(), 1, "histogram", "the column");
  const Kalix::TVec x = ViewOf(values);
  Kalix::TVecInt counts;
  Kalix::TVec edges;
  if (std::isnan(lo) || std::isnan(hi)) {
    double dataMax = 0, dataMin = 0;
    Kalix::MaxMin(x, dataMax, dataMin);
    if (std::isnan(lo)) lo = dataMin;
    if (std::isnan(hi)) hi = dataMax;
  }
  if (!(lo <= hi)) throw CliError(fmt::format("histogram: --min {} is above --max {}", lo, hi));
  Statistics::Histogram(x, bins, counts, edges, false, lo, hi);
  HistogramData out;
  for (int i = 0; i < counts.Length(); ++i) out.counts.push_back(counts[i]);
  for (int i = 0; i < edges.Length(); ++i) out.edges.push_back(edges[i]);
  out.n = values.size();
  return out;
}

namespace {

struct HistogramOptions {
  int bins = 10;
  double lo = std::nan(""), hi = std::nan("");
};

void Run(const Common& common, const HistogramOptions& options) {
  const Table table = LoadTable(common);
  const int c = ExactColumns(table, common, 1, "histogram")[0];
  const HistogramData h = ComputeHistogram(Present(NumericColumn(table, c)), options.bins, options.lo, options.hi);
  ResultTable result{"Histogram of " + table.names[static_cast<std::size_t>(c)],
                     {"bin", "lower", "upper", "mid", "count", "density"}, {}};
  for (std::size_t i = 0; i < h.counts.size(); ++i) {
    const double width = h.edges[i + 1] - h.edges[i];
    result.rows.push_back({static_cast<std::int64_t>(i + 1), h.edges[i], h.edges[i + 1], 0.5 * (h.edges[i] + h.edges[i + 1]),
                           static_cast<std::int64_t>(h.counts[i]),
                           static_cast<double>(h.counts[i]) / (static_cast<double>(h.n) * width)});
  }
  WriteHistogramSvg({common.svg, common.png}, Present(NumericColumn(table, c)), h.edges, h.counts, result.title);
  Emit({result}, common);
}

}  // namespace

void AddHistogramCommand(CLI::App& app, Common& common) {
  auto* sub = app.add_subcommand("histogram", "Counts of one column in equal-width bins");
  auto options = std::make_shared<HistogramOptions>();
  AddCommonOptions(*sub, common, kWithCharts);
  sub->add_option("-b,--bins", options->bins, "Number of bins")->capture_default_str();
  sub->add_option("--min", options->lo, "Lower end of the first bin (default: the smallest value)");
  sub->add_option("--max", options->hi, "Upper end of the last bin (default: the largest value)");
  sub->callback([&common, options] { Run(common, *options); });
}

}  // namespace KalixCli
