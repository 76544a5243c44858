#include "Commands.h"

namespace KalixCli {

void AddAnalysisCommands(CLI::App& app, Common& common) {
  AddDescribeCommand(app, common);
  AddPercentileCommand(app, common);
  AddHistogramCommand(app, common);
  AddTestCommand(app, common);
  AddFitCommand(app, common);
  AddRegressCommand(app, common);
  AddAnovaCommand(app, common);
  AddPcaCommand(app, common);
  AddAcfCommand(app, common);
  AddForecastCommand(app, common);
  AddCapabilityCommand(app, common);
  AddChartCommand(app, common);
  AddProbPlotCommand(app, common);
}

}  // namespace KalixCli
