#include "Output.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace KalixCli {
namespace {

// Six significant digits for people; the shortest round-trip text for machines.
std::string ForPeople(const Cell& cell) {
  if (const auto* d = std::get_if<double>(&cell)) {
    if (std::isnan(*d)) return "NaN";
    if (std::isinf(*d)) return *d > 0 ? "Inf" : "-Inf";
    return fmt::format("{:.6g}", *d);
  }
  if (const auto* i = std::get_if<std::int64_t>(&cell)) return fmt::format("{}", *i);
  return std::get<std::string>(cell);
}

std::string CsvQuoted(const std::string& s) {
  if (s.find_first_of(",\"\r\n") == std::string::npos) return s;
  std::string out = "\"";
  for (char c : s) {
    if (c == '"') out += '"';
    out += c;
  }
  return out + '"';
}

std::string ForCsv(const Cell& cell) {
  if (const auto* d = std::get_if<double>(&cell)) {
    if (std::isnan(*d)) return "NA";
    if (std::isinf(*d)) return *d > 0 ? "Inf" : "-Inf";
    return fmt::format("{}", *d);
  }
  if (const auto* i = std::get_if<std::int64_t>(&cell)) return fmt::format("{}", *i);
  return CsvQuoted(std::get<std::string>(cell));
}

nlohmann::ordered_json ForJson(const Cell& cell) {
  if (const auto* d = std::get_if<double>(&cell)) return std::isfinite(*d) ? nlohmann::ordered_json(*d) : nlohmann::ordered_json(nullptr);
  if (const auto* i = std::get_if<std::int64_t>(&cell)) return *i;
  return std::get<std::string>(cell);
}

void RenderTable(const ResultTable& t, std::string& out) {
  const std::size_t k = t.columns.size();
  std::vector<std::vector<std::string>> texts;
  std::vector<std::size_t> width(k);
  for (std::size_t j = 0; j < k; ++j) width[j] = t.columns[j].size();
  for (const auto& row : t.rows) {
    auto& line = texts.emplace_back();
    for (std::size_t j = 0; j < k; ++j) {
      line.push_back(j < row.size() ? ForPeople(row[j]) : std::string());
      width[j] = std::max(width[j], line.back().size());
    }
  }
  // Texts left-aligned, numbers right-aligned (by the first row's cells).
  std::vector<bool> left(k, false);
  if (!t.rows.empty())
    for (std::size_t j = 0; j < k && j < t.rows[0].size(); ++j) left[j] = std::holds_alternative<std::string>(t.rows[0][j]);
  if (!t.title.empty()) out += t.title + '\n';
  auto emit = [&](const std::vector<std::string>& cells) {
    std::string line;
    for (std::size_t j = 0; j < k; ++j) {
      if (j > 0) line += "  ";
      line += left[j] ? fmt::format("{:<{}}", cells[j], width[j]) : fmt::format("{:>{}}", cells[j], width[j]);
    }
    while (!line.empty() && line.back() == ' ') line.pop_back();
    out += line + '\n';
  };
  emit(t.columns);
  for (const auto& line : texts) emit(line);
}

void RenderCsv(const ResultTable& t, std::string& out) {
  for (std::size_t j = 0; j < t.columns.size(); ++j) {
    if (j > 0) out += ',';
    out += CsvQuoted(t.columns[j]);
  }
  out += '\n';
  for (const auto& row : t.rows) {
    for (std::size_t j = 0; j < row.size(); ++j) {
      if (j > 0) out += ',';
      out += ForCsv(row[j]);
    }
    out += '\n';
  }
}

}  // namespace

std::string Render(const std::vector<ResultTable>& tables, Format format) {
  std::string out;
  if (format == Format::json) {
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    for (const auto& t : tables) {
      nlohmann::ordered_json rows = nlohmann::ordered_json::array();
      for (const auto& row : t.rows) {
        nlohmann::ordered_json record = nlohmann::ordered_json::object();
        for (std::size_t j = 0; j < row.size() && j < t.columns.size(); ++j) record[t.columns[j]] = ForJson(row[j]);
        rows.push_back(std::move(record));
      }
      all.push_back({{"title", t.title}, {"columns", t.columns}, {"rows", std::move(rows)}});
    }
    return all.dump(2) + '\n';
  }
  for (std::size_t i = 0; i < tables.size(); ++i) {
    if (i > 0) out += '\n';
    if (format == Format::csv)
      RenderCsv(tables[i], out);
    else
      RenderTable(tables[i], out);
  }
  return out;
}

void Print(const std::vector<ResultTable>& tables, Format format, std::ostream& out) {
  const std::string text = Render(tables, format);
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  out.flush();
}

}  // namespace KalixCli
