// A small RFC 4180 reader for the command-line tool: header row, quoted fields with doubled
// quotes, separators and newlines inside quotes, CRLF line ends, NA or empty cells as missing.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace KalixCli {

/// An error whose message is complete, usually "file:line:column: message".
class CliError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A CSV file read into columns.
struct Table {
  std::string file;
  std::vector<std::string> names;
  /// Numbers by column; NaN marks a missing cell (and every cell of a column that is not numeric).
  std::vector<std::vector<double>> columns;
  /// Cell texts, only for the columns asked for as text (e.g. a --group column); else empty.
  std::vector<std::vector<std::string>> text;
  /// Per column: empty when every cell is a number or missing, else the error for its first
  /// non-numeric cell ("file:line:column: ..."), raised when the column is used as numbers.
  std::vector<std::string> notNumeric;
  /// Number of data rows.
  std::size_t rows = 0;
};

/// Reads the CSV file at path ("-" for standard input) with separator sep; the columns named
/// (or numbered) in textColumns also keep their cell texts.
Table ReadCsv(const std::string& path, char sep, const std::vector<std::string>& textColumns);

/// The 0-based index of the column given by name or by 1-based number; raises CliError
/// "file: no column NAME" when there is none.
int ColumnIndex(const Table& table, const std::string& nameOrNumber);

/// The numbers of column index; raises the column's first non-numeric cell as a CliError.
const std::vector<double>& NumericColumn(const Table& table, int index);

}  // namespace KalixCli
