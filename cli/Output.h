// Result tables of the command-line tool and their three printed forms.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <variant>
#include <vector>

namespace KalixCli {

/// One cell of a result: a number, a count or a text.
using Cell = std::variant<double, std::int64_t, std::string>;

/// A titled table of results, one row per term, statistic or group.
struct ResultTable {
  std::string title;
  std::vector<std::string> columns;
  std::vector<std::vector<Cell>> rows;
};

/// table: aligned text for people; csv: one header and rows per table (tables separated by a
/// blank line); json: an array of {"title", "columns", "rows": [{column: value}]} objects.
enum class Format { table, csv, json };

/// Formats tables into one string (nothing is written on failure); doubles round-trip in csv
/// and json, NaN is NA in csv and null in json.
std::string Render(const std::vector<ResultTable>& tables, Format format);

/// Render, then one write to out.
void Print(const std::vector<ResultTable>& tables, Format format, std::ostream& out);

}  // namespace KalixCli
