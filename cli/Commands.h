// What every subcommand shares: the common options, loading the table, choosing columns and
// groups, and printing the results. Each subcommand lives in its own cmd_*.cpp and registers
// itself with one Add...Command call from main.cpp.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "Csv.h"
#include "Output.h"
#include "../KalixStats.h"

namespace KalixCli {

/// Options common to the subcommands (each subcommand adds those it uses).
struct Common {
  std::string file;
  char sep = ',';
  std::vector<std::string> columns;
  std::string group;
  Format format = Format::table;
  std::string svg, png;
};

/// Which of the common options a subcommand offers besides FILE, --sep, --columns, --format.
enum CommonOptions : unsigned { kWithGroup = 1u, kWithCharts = 2u };

/// Adds FILE (positional, "-" for standard input), --sep, -c/--columns, --format and, as asked,
/// --group and --svg/--png to sub, all stored in common.
void AddCommonOptions(CLI::App& sub, Common& common, unsigned which = 0);

/// Reads common.file with common.sep, keeping the texts of the --group column.
Table LoadTable(const Common& common);

/// The columns asked for with --columns (names or 1-based numbers), or every numeric column
/// but the group column when none is asked for. Raises when a chosen column is not numeric.
std::vector<int> ChosenColumns(const Table& table, const Common& common);

/// Exactly `count` columns from --columns (or the first `count` numeric columns when none is
/// given); raises "what needs N columns" otherwise.
std::vector<int> ExactColumns(const Table& table, const Common& common, std::size_t count, const std::string& what);

/// The values of a numeric column without its missing cells.
std::vector<double> Present(const std::vector<double>& values);

/// A column split by the values of the --group column, in order of first appearance (rows
/// whose group is missing dropped; missing values too unless keepMissing). Without --group
/// one group named "" holds everything.
std::vector<std::pair<std::string, std::vector<double>>> SplitByGroup(const Table& table, const Common& common,
                                                                        int column, bool keepMissing = false);

/// Parses a percentile rule: nplus, nminus, closest, edf or edfave.
Statistics::TPercentileMethod PercentileRule(const std::string& text);

/// Raises CliError "what: needs at least `least` values, COLUMN has n" when n < least.
void NeedValues(std::size_t n, std::size_t least, const std::string& what, const std::string& column);

/// A TVec holding values (copied).
Kalix::TVec ToVec(const std::vector<double>& values);

/// A read-only TVec over values: a view of the same memory when it is aligned for one, else a
/// copy. Only for routines that take a const vector; values must outlive it unchanged.
Kalix::TVec ViewOf(const std::vector<double>& values);

/// Prints the results to standard output in common.format, in one write.
void Emit(const std::vector<ResultTable>& tables, const Common& common);

/// Text for a hypothesis decision: "reject", "not rejected" or "NaN".
std::string Decision(Statistics::THypothesisResult h);

/// Parses a hypothesis alternative: two.sided, greater, less.
Statistics::THypothesisType Alternative(const std::string& text);

/// Counts of values in equal-width bins from lo to hi (NaN: the data's own end), for the
/// histogram table and its chart; edges has one more element than counts.
struct HistogramData {
  std::vector<int> counts;
  std::vector<double> edges;
  std::size_t n = 0;
};
HistogramData ComputeHistogram(const std::vector<double>& values, int bins, double lo, double hi);

/// Registers every analysis subcommand (describe .. capability) in the order of the help text.
void AddAnalysisCommands(CLI::App& app, Common& common);

/// Registration of each subcommand (one file each).
void AddDescribeCommand(CLI::App& app, Common& common);
void AddPercentileCommand(CLI::App& app, Common& common);
void AddHistogramCommand(CLI::App& app, Common& common);
void AddTestCommand(CLI::App& app, Common& common);
void AddFitCommand(CLI::App& app, Common& common);
void AddRegressCommand(CLI::App& app, Common& common);
void AddAnovaCommand(CLI::App& app, Common& common);
void AddPcaCommand(CLI::App& app, Common& common);
void AddAcfCommand(CLI::App& app, Common& common);
void AddForecastCommand(CLI::App& app, Common& common);
void AddCapabilityCommand(CLI::App& app, Common& common);

// Charts (cmd_chart.cpp, cmd_probplot.cpp).
void AddChartCommand(CLI::App& app, Common& common);
void AddProbPlotCommand(CLI::App& app, Common& common);

}  // namespace KalixCli
