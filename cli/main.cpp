// kalix: the library's analyses on CSV files, from the command line.
#include <cstdio>
#include <exception>
#include <iostream>

#include <fmt/format.h>

#include "Commands.h"

int main(int argc, char** argv) {
  using namespace KalixCli;
  CLI::App app{"kalix: statistics on CSV files (tables for people, csv for pipes, json for programs)", "kalix"};
  app.require_subcommand(1);
  Common common;
  try {
    AddAnalysisCommands(app, common);
    try {
      app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
      // --help (of the tool or of a subcommand) prints the right help and succeeds.
      if (e.get_exit_code() == 0) return app.exit(e);
      throw CliError(e.what());
    }
    return 0;
  } catch (const std::exception& e) {
    // CliError, the library's EKalixError and anything else: one line, nothing on stdout.
    std::fflush(stdout);
    fmt::print(stderr, "kalix: {}\n", e.what());
    return 2;
  }
}
