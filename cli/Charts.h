// The tool's charts: control charts computed with StatControlCharts, and writers for control
// charts, probability plots, histograms, ACF/PACF and forecasts. Each writer saves the SVG to
// Files.Svg and/or converts it to Files.Png (either may be empty), raising std::runtime_error
// when a file cannot be written.
#pragma once

#include <limits>
#include <string>
#include <vector>

#include "../core/KalixCore.h"
#include "Output.h"

namespace KalixCli {

/// Where a chart goes: an SVG file, a PNG file, both or neither.
struct TChartFiles {
  std::string Svg, Png;
  bool Any() const { return !Svg.empty() || !Png.empty(); }
};

/// One plotted series of a control-chart panel.
struct TChartSeries {
  std::string Name;
  std::vector<double> Values;
};

/// One panel: its series against a centre line and limits given per point.
struct TControlPanel {
  std::string Name;             ///< "xbar", "R", "S", "individuals", "MR", "p", ..., "ewma", "cusum"
  std::vector<double> Sample;   ///< sample numbers (1-based)
  std::vector<TChartSeries> Series;
  std::vector<double> Centre, Lower, Upper;
  std::vector<int> Westgard;    ///< Westgard codes of the first series (empty when not applicable)
  /// True when value i of series s lies beyond its limits.
  bool OutOfControl(std::size_t s, std::size_t i) const;
};

struct TControlChart {
  std::string Title;
  std::vector<TControlPanel> Panels;
};

/// Chart settings; NaN Confidence takes the chart family's default (0.9973 for x-bar, R, S and
/// individuals, 0.99865 for attributes and EWMA). K and H of the CUSUM are in standard errors of
/// the subgroup mean; NaN Target and Sigma are estimated from the data.
struct TChartOptions {
  std::string Type;
  double Confidence = std::numeric_limits<double>::quiet_NaN();
  double Lambda = 0.2, K = 0.5, H = 5.0;
  double Target = std::numeric_limits<double>::quiet_NaN();
  double Sigma = std::numeric_limits<double>::quiet_NaN();  ///< of single values
};

/// xbar-r, xbar-s, individuals, ewma or cusum of Subgroups (one row per subgroup; one column
/// for individuals). An EWMA of single values takes sigma from the moving range. Raises
/// std::invalid_argument for an unknown type or too few data.
TControlChart VariablesChart(const Kalix::TMtx& Subgroups, const TChartOptions& Options);
/// p, np, u or c chart of counts per sample; Sizes holds one size for all samples or one per
/// sample (ignored by the c chart).
TControlChart AttributesChart(const std::vector<double>& Counts, const std::vector<double>& Sizes,
                              const TChartOptions& Options);
/// Names of the Westgard rules in a code, e.g. "1-3s,2-2s"; empty for 0.
std::string WestgardNames(int Code);

/// Control chart: one stacked panel per chart panel, flagged points in red.
void WriteControlChartSvg(const TChartFiles& Files, const TControlChart& Chart);

/// Probability plot from StatProbPlots output: points, the reference line from (MinX, MinY) to
/// (MaxX, MaxY) and, when Bounds is not empty, the band line -+ Bounds (in Y units) at each X.
struct TProbPlot {
  std::string Title, XLabel, YLabel;
  std::vector<double> X, Y, Bounds;
  double MinX = 0, MaxX = 0, MinY = 0, MaxY = 0;
};
/// Half-widths of the pointwise 95% band of normal scores: 1.96 sqrt(p(1 - p)/n) / phi(y).
std::vector<double> NormalBandHalfWidths(const std::vector<double>& Scores);
void WriteProbPlotSvg(const TChartFiles& Files, const TProbPlot& Plot);

/// Histogram bars (Counts between Edges, one more edge than counts) with the normal fitted to
/// Data (Statistics::NormalFit) scaled to counts.
void WriteHistogramSvg(const TChartFiles& Files, const std::vector<double>& Data, const std::vector<double>& Edges,
                       const std::vector<int>& Counts, const std::string& Title);

/// Bar charts of the autocorrelations at lags 1, 2, ... (and of the partial ones when Pacf is
/// not empty) of a series of length N, with the band -+1.96 / sqrt(N).
void WriteAcfSvg(const TChartFiles& Files, const std::vector<double>& Acf, const std::vector<double>& Pacf, int N,
                 const std::string& Title);

/// The series, then the forecasts after it with their interval (Lower/Upper may be empty).
void WriteForecastSvg(const TChartFiles& Files, const std::vector<double>& History,
                      const std::vector<double>& Forecast, const std::vector<double>& Lower,
                      const std::vector<double>& Upper, const std::string& Title);

/// The same two charts from a result table with columns "acf" and "pacf" (one row per lag).
void WriteAcfSvg(const TChartFiles& Files, const ResultTable& Lags, int N, const std::string& Title);
/// The forecast chart from a result table with a "forecast" column and, when present, "lower"
/// and "upper" columns.
void WriteForecastSvg(const TChartFiles& Files, const std::vector<double>& History, const ResultTable& Steps,
                      const std::string& Title);

/// Converts an SVG file to PNG with rsvg-convert; raises std::runtime_error with
/// "--png needs rsvg-convert (Debian package librsvg2-bin)" when it is not on PATH.
void ConvertToPng(const std::string& SvgPath, const std::string& PngPath);

}  // namespace KalixCli
