#include "Commands.h"

#include <cmath>
#include <iostream>
#include <cstdint>
#include <limits>
#include <map>

#include <fmt/format.h>

namespace KalixCli {

void AddCommonOptions(CLI::App& sub, Common& common, unsigned which) {
  sub.add_option("file", common.file, "CSV file with a header row (- for standard input)")->required();
  sub.add_option("--sep", common.sep, "Field separator (one character; tab or \\t for a tab)")
      ->capture_default_str()
      ->transform([](std::string s) { return s == "tab" || s == "\\t" ? std::string("\t") : s; });
  sub.add_option("-c,--columns", common.columns, "Columns by name or 1-based number")->delimiter(',');
  const std::map<std::string, Format> formats{{"table", Format::table}, {"csv", Format::csv}, {"json", Format::json}};
  sub.add_option("--format", common.format, "Output: table, csv or json")
      ->transform(CLI::CheckedTransformer(formats, CLI::ignore_case));
  if (which & kWithGroup) sub.add_option("-g,--group", common.group, "Column whose values split the data into groups");
  if (which & kWithCharts) {
    sub.add_option("--svg", common.svg, "Also draw the chart into this SVG file");
    sub.add_option("--png", common.png, "Also draw the chart into this PNG file (needs rsvg-convert)");
  }
}

Table LoadTable(const Common& common) {
  std::vector<std::string> text;
  if (!common.group.empty()) text.push_back(common.group);
  return ReadCsv(common.file, common.sep, text);
}

std::vector<int> ChosenColumns(const Table& table, const Common& common) {
  std::vector<int> chosen;
  if (!common.columns.empty()) {
    for (const auto& c : common.columns) {
      chosen.push_back(ColumnIndex(table, c));
      NumericColumn(table, chosen.back());
    }
    return chosen;
  }
  const int group = common.group.empty() ? -1 : ColumnIndex(table, common.group);
  for (std::size_t i = 0; i < table.names.size(); ++i)
    if (table.notNumeric[i].empty() && static_cast<int>(i) != group) chosen.push_back(static_cast<int>(i));
  if (chosen.empty()) throw CliError(fmt::format("{}: no numeric column", table.file));
  return chosen;
}

std::vector<int> ExactColumns(const Table& table, const Common& common, std::size_t count, const std::string& what) {
  std::vector<int> chosen = ChosenColumns(table, common);
  if (common.columns.empty() && chosen.size() > count) chosen.resize(count);
  if (chosen.size() != count)
    throw CliError(fmt::format("{}: {} needs {} column{}, {} given", table.file, what, count, count == 1 ? "" : "s",
                               chosen.size()));
  return chosen;
}

std::vector<double> Present(const std::vector<double>& values) {
  std::vector<double> out;
  out.reserve(values.size());
  for (double v : values)
    if (!std::isnan(v)) out.push_back(v);
  return out;
}

std::vector<std::pair<std::string, std::vector<double>>> SplitByGroup(const Table& table, const Common& common,
                                                                        int column, bool keepMissing) {
  const auto& values = NumericColumn(table, column);
  std::vector<std::pair<std::string, std::vector<double>>> groups;
  if (common.group.empty()) {
    groups.emplace_back("", keepMissing ? values : Present(values));
    return groups;
  }
  const auto& keys = table.text[static_cast<std::size_t>(ColumnIndex(table, common.group))];
  std::map<std::string, std::size_t> where;
  for (std::size_t r = 0; r < values.size(); ++r) {
    if (keys[r].empty() || keys[r] == "NA") continue;
    auto [it, fresh] = where.try_emplace(keys[r], groups.size());
    if (fresh) groups.emplace_back(keys[r], std::vector<double>());
    if (keepMissing || !std::isnan(values[r])) groups[it->second].second.push_back(values[r]);
  }
  return groups;
}

void NeedValues(std::size_t n, std::size_t least, const std::string& what, const std::string& column) {
  if (n < least)
    throw CliError(fmt::format("{}: needs at least {} values, {} has {}", what, least, column, n));
}

Kalix::TVec ToVec(const std::vector<double>& values) { return Kalix::TVec(std::span<const double>(values)); }

Kalix::TVec ViewOf(const std::vector<double>& values) {
  const auto address = reinterpret_cast<std::uintptr_t>(values.data());
  if (values.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
    throw CliError(fmt::format("too many values ({})", values.size()));
  if (address % Kalix::ViewAlignment() != 0) return ToVec(values);
  return Kalix::TVec::View(values.data(), static_cast<int>(values.size()));
}

void Emit(const std::vector<ResultTable>& tables, const Common& common) { Print(tables, common.format, std::cout); }

std::string Decision(Statistics::THypothesisResult h) {
  switch (h) {
    case Statistics::hrReject: return "reject";
    case Statistics::hrNotReject: return "not rejected";
    default: return "NaN";
  }
}

Statistics::THypothesisType Alternative(const std::string& text) {
  if (text == "two.sided") return Statistics::htTwoTailed;
  if (text == "greater") return Statistics::htRightTailed;
  if (text == "less") return Statistics::htLeftTailed;
  throw CliError(fmt::format("unknown alternative \"{}\" (two.sided, greater or less)", text));
}

Statistics::TPercentileMethod PercentileRule(const std::string& text) {
  static const std::map<std::string, Statistics::TPercentileMethod> rules{
      {"nplus", Statistics::pctMethodNPlus}, {"nminus", Statistics::pctMethodNMinus},
      {"closest", Statistics::pctMethodClosestN}, {"edf", Statistics::pctMethodEDF},
      {"edfave", Statistics::pctMethodEDFAve}};
  const auto it = rules.find(text);
  if (it == rules.end())
    throw CliError(fmt::format("unknown percentile rule \"{}\" (nplus, nminus, closest, edf or edfave)", text));
  return it->second;
}

}  // namespace KalixCli
