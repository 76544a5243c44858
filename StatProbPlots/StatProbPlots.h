// StatProbPlots: the data of probability plots. Each routine returns the sample in ascending
// order (PlotX), the theoretical quantiles it is plotted against (PlotY, at the plotting
// positions (i + 0.5) / n), and the end points (MinX, MinY) and (MaxX, MaxY) of a reference line
// through the quartiles (pctMethodNPlus). A sorted flag set to true promises ascending data,
// which are then not sorted again. Drawing is left to the caller.
#pragma once

#include "../core/KalixCore.h"

namespace StatProbPlots {

using Kalix::TVec;

/// Normal probability plot: PlotY = standard normal quantiles. Bounds, if given, receives
/// sqrt(p(1 - p)/n) scaled by k sqrt(2 pi) exp(-0.5 / PlotY^2), k the line's slope. Raises
/// "StatNormalPlot: (Data.Complex)", then "StatNormalPlot: Data.Length < 1".
KALIX_EXPORT void StatNormalPlot(const TVec& Data, TVec& PlotX, TVec& PlotY, double& MinX, double& MaxX,
                                 double& MinY, double& MaxY, TVec* Bounds = nullptr, bool DataSorted = false);
/// Q-Q plot of two samples of one length: PlotX, PlotY are XData, YData ascending. The four
/// doubles are 0 on error. Raises "StatQQPlot: (XData.Complex) or YData.Complex", "StatQQPlot:
/// (XData.Length <> YData.Length", "StatQQPlot: XData.Length < 1", in that order.
KALIX_EXPORT void StatQQPlot(const TVec& XData, const TVec& YData, TVec& PlotX, TVec& PlotY, double& MinX,
                             double& MaxX, double& MinY, double& MaxY, bool XSorted = false, bool YSorted = false);
/// Q-Q plot of one sample against the standard normal quantiles (computed from the upper
/// positions 1 - (i + 0.5)/n). Its messages are those of the two-sample form (XData, YData).
KALIX_EXPORT void StatQQPlot(const TVec& Data, TVec& PlotX, TVec& PlotY, double& MinX, double& MaxX, double& MinY,
                             double& MaxY, bool DataSorted = false);
/// Weibull plot: PlotY = ln(ln(1/(1 - p))); the line is straight in ln x, through the lower
/// quartiles with the quartiles' slope. Raises "StatWeibullPlot: (Data.Complex)", then
/// "StatWeibullPlot: Data.Length < 1" (the four doubles are 0 first).
KALIX_EXPORT void StatWeibullPlot(const TVec& Data, TVec& PlotX, TVec& PlotY, double& MinX, double& MaxX,
                                  double& MinY, double& MaxY, bool DataSorted = false);
/// Exponential plot: PlotY = -ln(1 - p). Raises "StatExpPlot: (Data.Complex)", then
/// "StatExpPlot: Data.Length < 1" (the four doubles are 0 first).
KALIX_EXPORT void StatExpPlot(const TVec& Data, TVec& PlotX, TVec& PlotY, double& MinX, double& MaxX, double& MinY,
                              double& MaxY, bool DataSorted = false);

}  // namespace StatProbPlots
