// percentile: chosen percentiles of each column (per group) by a percentile rule.
#include "Commands.h"

#include <fmt/format.h>

namespace KalixCli {
namespace {

struct PercentileOptions {
  std::vector<double> p{0.05, 0.25, 0.5, 0.75, 0.95};
  std::string rule = "nplus";
};

void Run(const Common& common, const PercentileOptions& options) {
  const auto rule = PercentileRule(options.rule);
  for (double p : options.p)
    if (!(p >= 0.0 && p <= 1.0)) throw CliError(fmt::format("percentile: p = {} is outside 0 .. 1", p));
  const Table table = LoadTable(common);
  ResultTable result{"Percentiles of " + table.file, {"column"}, {}};
  if (!common.group.empty()) result.columns.push_back("group");
  result.columns.push_back("n");
  for (double p : options.p) result.columns.push_back(fmt::format("p{}", p));
  for (int c : ChosenColumns(table, common)) {
    for (const auto& [group, values] : SplitByGroup(table, common, c)) {
      std::vector<Cell> row{table.names[static_cast<std::size_t>(c)]};
      if (!common.group.empty()) row.emplace_back(group);
      row.emplace_back(static_cast<std::int64_t>(values.size()));
      std::vector<double> out(options.p.size(), std::nan(""));
      if (!values.empty()) Statistics::Percentile(ViewOf(values), options.p, out, rule);
      for (double v : out) row.emplace_back(v);
      result.rows.push_back(std::move(row));
    }
  }
  Emit({result}, common);
}

}  // namespace

void AddPercentileCommand(CLI::App& app, Common& common) {
  auto* sub = app.add_subcommand("percentile", "Percentiles of each column by a percentile rule");
  auto options = std::make_shared<PercentileOptions>();
  AddCommonOptions(*sub, common, kWithGroup);
  sub->add_option("-p,--p", options->p, "Probabilities in 0 .. 1 (comma-separated)")->delimiter(',')->capture_default_str();
  sub->add_option("--rule", options->rule, "Percentile rule: nplus, nminus, closest, edf, edfave")->capture_default_str();
  sub->callback([&common, options] { Run(common, *options); });
}

}  // namespace KalixCli
