// describe: counts, moments and quartiles of each chosen column (per group with --group).
#include <algorithm>
#include <cmath>

#include "Commands.h"

namespace KalixCli {
namespace {

struct DescribeOptions {
  std::string rule = "nplus";
};

// Moment skewness m3 / m2^1.5 and excess kurtosis m4 / m2^2 - 3 (divisor n throughout).
std::pair<double, double> Shape(const Kalix::TVec& x, double mean) {
  const double m2 = Statistics::Moment(x, mean, 2);
  const double m3 = Statistics::Moment(x, mean, 3);
  const double m4 = Statistics::Moment(x, mean, 4);
  return {m3 / std::pow(m2, 1.5), m4 / (m2 * m2) - 3.0};
}

std::vector<Cell> Describe(const std::vector<double>& withMissing, Statistics::TPercentileMethod rule) {
  // Big columns without gaps are read in place, not copied.
  const bool complete = std::none_of(withMissing.begin(), withMissing.end(), [](double v) { return std::isnan(v); });
  std::vector<double> present;
  if (!complete) present = Present(withMissing);
  const std::vector<double>& values = complete ? withMissing : present;
  const auto missing = static_cast<std::int64_t>(withMissing.size() - values.size());
  const Kalix::TVec x = ViewOf(values);
  const double nan = std::nan("");
  double mean = nan, sd = nan, q1 = nan, median = nan, q3 = nan, lo = nan, hi = nan;
  std::pair<double, double> shape{nan, nan};
  if (!values.empty()) {
    mean = Kalix::Mean(x);
    sd = Kalix::StdDev(x, mean);
    Kalix::MaxMin(x, hi, lo);
    q1 = Statistics::Percentile(x, 0.25, rule);
    median = Statistics::Percentile(x, 0.5, rule);
    q3 = Statistics::Percentile(x, 0.75, rule);
    shape = Shape(x, mean);
  }
  return {static_cast<std::int64_t>(values.size()), missing, mean, sd, lo, q1, median, q3, hi, shape.first,
          shape.second};
}

void Run(const Common& common, const DescribeOptions& options) {
  const auto rule = PercentileRule(options.rule);
  const Table table = LoadTable(common);
  const std::vector<int> chosen = ChosenColumns(table, common);
  ResultTable result;
  result.title = "Summary of " + table.file;
  result.columns = {"column"};
  if (!common.group.empty()) result.columns.push_back("group");
  for (const char* c : {"n", "missing", "mean", "sd", "min", "q1", "median", "q3", "max", "skewness", "kurtosis"})
    result.columns.emplace_back(c);
  for (int c : chosen) {
    if (common.group.empty()) {
      std::vector<Cell> row{table.names[static_cast<std::size_t>(c)]};
      for (auto& cell : Describe(NumericColumn(table, c), rule)) row.push_back(std::move(cell));
      result.rows.push_back(std::move(row));
      continue;
    }
    for (const auto& [group, values] : SplitByGroup(table, common, c, true)) {
      std::vector<Cell> row{table.names[static_cast<std::size_t>(c)]};
      if (!common.group.empty()) row.emplace_back(group);
      for (auto& cell : Describe(values, rule)) row.push_back(std::move(cell));
      result.rows.push_back(std::move(row));
    }
  }
  Emit({result}, common);
}

}  // namespace

void AddDescribeCommand(CLI::App& app, Common& common) {
  auto* sub = app.add_subcommand("describe", "n, missing, mean, sd, quartiles, skewness, kurtosis, min, max");
  auto options = std::make_shared<DescribeOptions>();
  AddCommonOptions(*sub, common, kWithGroup);
  sub->add_option("--rule", options->rule, "Percentile rule: nplus, nminus, closest, edf, edfave")
      ->capture_default_str();
  sub->callback([&common, options] { Run(common, *options); });
}

}  // namespace KalixCli
