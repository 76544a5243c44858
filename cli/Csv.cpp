#include "Csv.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <iterator>
#include <limits>
#include <string_view>

#include <fmt/format.h>

namespace KalixCli {
namespace {

constexpr double kMissing = std::numeric_limits<double>::quiet_NaN();

// The whole input as one block: a private read-only mapping of a regular file (no copy), or
// standard input and pipes read in large blocks.
class Input {
 public:
  explicit Input(const std::string& path) : path_(path) {
    if (path == "-") {
      buffer_.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
      view_ = buffer_;
      return;
    }
    fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0) Fail();
    struct stat st {};
    if (::fstat(fd_, &st) != 0) Fail();
    if (S_ISDIR(st.st_mode)) throw CliError(fmt::format("{}: is a directory", path));
    if (S_ISREG(st.st_mode) && st.st_size > 0) {
      const auto size = static_cast<std::size_t>(st.st_size);
      void* p = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd_, 0);
      if (p == MAP_FAILED) Fail();
      ::madvise(p, size, MADV_SEQUENTIAL);
      map_ = p;
      mapSize_ = size;
      view_ = std::string_view(static_cast<const char*>(p), size);
      return;
    }
    char block[1 << 16];
    for (;;) {
      const ssize_t got = ::read(fd_, block, sizeof block);
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) Fail();
      if (got == 0) break;
      buffer_.append(block, static_cast<std::size_t>(got));
    }
    view_ = buffer_;
  }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;
  ~Input() {
    if (map_ != nullptr) ::munmap(map_, mapSize_);
    if (fd_ >= 0) ::close(fd_);
  }
  std::string_view View() const { return view_; }

 private:
  [[noreturn]] void Fail() const { throw CliError(fmt::format("{}: {}", path_, std::strerror(errno))); }

  std::string path_;
  int fd_ = -1;
  void* map_ = nullptr;
  std::size_t mapSize_ = 0;
  std::string buffer_;
  std::string_view view_;
};

std::string_view Trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
  return s;
}

// A cell as a number: NaN for an empty or NA cell; false when it is not a number.
bool ParseNumber(std::string_view cell, double& value) {
  cell = Trim(cell);
  if (cell.empty() || cell == "NA") {
    value = kMissing;
    return true;
  }
  if (cell.front() == '+') cell.remove_prefix(1);
  const auto [end, ec] = std::from_chars(cell.data(), cell.data() + cell.size(), value);
  if (ec == std::errc::result_out_of_range) {
    // Beyond the double range (rare): strtod gives the signed infinity or the underflow.
    if (end != cell.data() + cell.size()) return false;
    value = std::strtod(std::string(cell).c_str(), nullptr);
    return true;
  }
  if (ec != std::errc()) return false;
  if (end != cell.data() + cell.size()) return false;
  return true;
}

// Walks the records of a CSV text, handing each field to a sink with its position.
class Parser {
 public:
  Parser(std::string_view text, char sep, const std::string& file) : p_(text.data()), end_(text.data() + text.size()),
                                                                     lineStart_(p_), sep_(sep), file_(file) {
    if (text.size() >= 3 && text.substr(0, 3) == "\xEF\xBB\xBF") p_ += 3, lineStart_ = p_;
  }

  bool AtEnd() const { return p_ >= end_; }
  std::size_t Line() const { return line_; }

  // Skips empty lines; false at the end of the input.
  bool NextRecord() {
    while (p_ < end_ && (*p_ == '\n' || *p_ == '\r')) {
      if (*p_ == '\r' && p_ + 1 < end_ && p_[1] == '\n') ++p_;
      NewLine(p_ + 1);
      ++p_;
    }
    return p_ < end_;
  }

  // Reads one field. Sets quoted content in scratch when it had to be unescaped; returns the
  // field text and whether the record goes on after it.
  std::string_view Field(bool& more, std::size_t& line, std::size_t& column) {
    line = line_;
    column = static_cast<std::size_t>(p_ - lineStart_) + 1;
    std::string_view field;
    if (p_ < end_ && *p_ == '"') {
      field = Quoted(line, column);
    } else {
      const char* start = p_;
      while (p_ < end_ && *p_ != sep_ && *p_ != '\n' && *p_ != '\r') ++p_;
      field = std::string_view(start, static_cast<std::size_t>(p_ - start));
    }
    more = EndField(line, column);
    return field;
  }

  // The common case of a cell that is a plain number: parsed straight from the input, with no
  // separate scan for its end. False (nothing consumed) for anything else.
  bool PlainNumber(double& value, bool& more) {
    if (p_ >= end_ || *p_ == '"' || *p_ == ' ' || *p_ == '\t' || *p_ == '+') return false;
    const auto [next, ec] = std::from_chars(p_, end_, value);
    if (ec != std::errc() || next == p_) return false;
    if (next < end_ && *next != sep_ && *next != '\n' && *next != '\r') return false;
    const std::size_t line = line_, column = static_cast<std::size_t>(p_ - lineStart_) + 1;
    p_ = next;
    more = EndField(line, column);
    return true;
  }

  [[noreturn]] void Fail(std::size_t line, std::size_t column, std::string_view message) const {
    throw CliError(fmt::format("{}:{}:{}: {}", file_, line, column, message));
  }

 private:
  void NewLine(const char* next) {
    ++line_;
    lineStart_ = next;
  }

  std::string_view Quoted(std::size_t line, std::size_t column) {
    ++p_;
    const char* start = p_;
    bool doubled = false;
    for (;;) {
      if (p_ >= end_) Fail(line, column, "quoted field not closed");
      if (*p_ == '"') {
        if (p_ + 1 < end_ && p_[1] == '"') {
          doubled = true;
          p_ += 2;
          continue;
        }
        break;
      }
      if (*p_ == '\n') NewLine(p_ + 1);
      ++p_;
    }
    std::string_view raw(start, static_cast<std::size_t>(p_ - start));
    ++p_;  // the closing quote
    if (!doubled) return raw;
    scratch_.clear();
    for (std::size_t i = 0; i < raw.size(); ++i) {
      scratch_.push_back(raw[i]);
      if (raw[i] == '"') ++i;
    }
    return scratch_;
  }

  // After a field: a separator (true), a line end or the end of input (false).
  bool EndField(std::size_t line, std::size_t column) {
    if (p_ >= end_) return false;
    if (*p_ == sep_) {
      ++p_;
      return true;
    }
    if (*p_ == '\r') {
      ++p_;
      if (p_ < end_ && *p_ == '\n') ++p_;
      NewLine(p_);
      return false;
    }
    if (*p_ == '\n') {
      ++p_;
      NewLine(p_);
      return false;
    }
    Fail(line, column, "text after the closing quote of a field");
  }

  const char* p_;
  const char* end_;
  const char* lineStart_;
  std::size_t line_ = 1;
  char sep_;
  const std::string& file_;
  std::string scratch_;
};

std::string Shown(std::string_view cell) {
  constexpr std::size_t kLongest = 40;
  return cell.size() <= kLongest ? std::string(cell) : std::string(cell.substr(0, kLongest)) + "...";
}

}  // namespace

Table ReadCsv(const std::string& path, char sep, const std::vector<std::string>& textColumns) {
  if (sep == '"' || sep == '\n' || sep == '\r') throw CliError(fmt::format("{}: the separator cannot be a quote or a line end", path));
  Input input(path);
  Table table;
  table.file = path == "-" ? "<stdin>" : path;
  Parser parser(input.View(), sep, table.file);
  if (!parser.NextRecord()) throw CliError(fmt::format("{}: empty file (a header row is needed)", table.file));

  bool more = true;
  std::size_t line = 0, column = 0;
  while (more) table.names.emplace_back(Trim(parser.Field(more, line, column)));
  const std::size_t n = table.names.size();
  table.columns.resize(n);
  table.text.resize(n);
  table.notNumeric.resize(n);

  std::vector<char> keepText(n, 0);
  for (const auto& name : textColumns) keepText[static_cast<std::size_t>(ColumnIndex(table, name))] = 1;

  // Reserve from the first data line's length to avoid regrowing big columns.
  const std::size_t guess = std::min<std::size_t>(input.View().size() / std::max<std::size_t>(4 * n, 8) + 16, 1u << 26);
  for (auto& c : table.columns) {
    c.reserve(guess);
    // Large columns on huge pages: far fewer page faults while they fill.
    constexpr std::size_t kHuge = std::size_t{2} << 20;
    const auto begin = reinterpret_cast<std::uintptr_t>(c.data());
    const std::uintptr_t first = (begin + kHuge - 1) & ~(kHuge - 1);
    const std::uintptr_t last = (begin + guess * sizeof(double)) & ~(kHuge - 1);
    if (last > first) ::madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
  }

  while (parser.NextRecord()) {
    const std::size_t recordLine = parser.Line();
    std::size_t i = 0;
    for (more = true; more; ++i) {
      double value;
      if (i < n && !keepText[i] && parser.PlainNumber(value, more)) {
        table.columns[i].push_back(value);
        continue;
      }
      const std::string_view cell = parser.Field(more, line, column);
      if (i >= n) parser.Fail(line, column, fmt::format("more than the {} fields of the header row", n));
      if (!ParseNumber(cell, value)) {
        value = kMissing;
        if (table.notNumeric[i].empty())
          table.notNumeric[i] = fmt::format("{}:{}:{}: \"{}\" in column \"{}\" is not a number", table.file, line,
                                            column, Shown(cell), table.names[i]);
      }
      table.columns[i].push_back(value);
      if (keepText[i]) table.text[i].emplace_back(Trim(cell));
    }
    if (i < n) parser.Fail(recordLine, 1, fmt::format("{} fields where the header row has {}", i, n));
    ++table.rows;
  }
  return table;
}

int ColumnIndex(const Table& table, const std::string& nameOrNumber) {
  for (std::size_t i = 0; i < table.names.size(); ++i)
    if (table.names[i] == nameOrNumber) return static_cast<int>(i);
  int number = 0;
  const char* first = nameOrNumber.data();
  const char* last = first + nameOrNumber.size();
  const auto [end, ec] = std::from_chars(first, last, number);
  if (!nameOrNumber.empty() && ec == std::errc() && end == last && number >= 1 &&
      static_cast<std::size_t>(number) <= table.names.size())
    return number - 1;
  throw CliError(fmt::format("{}: no column \"{}\"", table.file, nameOrNumber));
}

const std::vector<double>& NumericColumn(const Table& table, int index) {
  const auto i = static_cast<std::size_t>(index);
  if (!table.notNumeric[i].empty()) throw CliError(table.notNumeric[i]);
  return table.columns[i];
}

}  // namespace KalixCli
