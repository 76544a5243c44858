#include "Commands.h"

namespace KalixCli {

void AddAnalysisCommands(CLI::App& app, Common& common) {
  AddDescribeCommand(app, common);
  AddChartCommand(app, common);
  AddProbPlotCommand(app, common);
}

}  // namespace KalixCli
