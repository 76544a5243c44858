// A small SVG writer for the tool's charts: plot panels with axes, ticks, labels, lines,
// markers, bars, shaded bands and a legend. Elements carry a class ("point", "point flagged",
// "centre", "limit", "bar", "band", ...) so that scripts can count what a chart shows.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace KalixCli {

/// Axis ticks from Heckbert's loose labelling: Lo and Hi enclose the data on multiples of Step.
struct TNiceScale {
  double Lo = 0, Hi = 1, Step = 0.2;
  int Decimals = 1;  ///< fraction digits that show every tick exactly
  std::vector<double> Ticks;
};

/// A "nice" number (1, 2, 5 or 10 times a power of ten) near X: rounded or not less than X.
double NiceNumber(double X, bool Round);
/// Loose ticks over [Lo, Hi] (about MaxTicks of them); a degenerate or non-finite range is widened.
TNiceScale NiceScale(double Lo, double Hi, int MaxTicks = 6);
/// Compact decimal form: up to 6 significant digits, no trailing zeros, "-0" as "0".
std::string FormatNumber(double V);
/// Text safe inside an XML element or attribute.
std::string XmlEscape(std::string_view Text);

/// Stroke and fill of one drawn element.
struct TStyle {
  std::string Colour = "#1f4e79";
  double Width = 1.5;
  std::string Dash;  ///< e.g. "6 4"; empty for solid
  double Opacity = 1.0;
};

/// One legend row: a line (or a filled swatch) and its label.
struct TLegendEntry {
  std::string Label;
  TStyle Style;
  bool Swatch = false;
};

class TSvgDocument;

/// A plot panel: a box on the page mapping data coordinates to pixels, clipped to the box.
class TPlotPanel {
 public:
  TPlotPanel(TSvgDocument& Doc, double Left, double Top, double Width, double Height);
  /// Sets the data ranges from the extremes to show (NaN and infinite values ignored) and draws
  /// the frame, grid, tick labels, axis labels and title. TightX keeps the x range to the
  /// values' extremes (sample numbers, lags) instead of widening it to whole ticks.
  void Frame(std::span<const double> XValues, std::span<const double> YValues, const std::string& Title,
             const std::string& XLabel, const std::string& YLabel, bool TightX = false);
  void Line(double X1, double Y1, double X2, double Y2, const TStyle& Style, const std::string& Class);
  /// A horizontal line across the panel, labelled at its right end (outside the box).
  void HLine(double Y, const TStyle& Style, const std::string& Class, const std::string& Label);
  /// A polyline, broken where a point is not finite.
  void Polyline(std::span<const double> X, std::span<const double> Y, const TStyle& Style, const std::string& Class);
  /// A label just right of the box at height Y (skipped when Y is off the panel).
  void RightLabel(double Y, const std::string& Label, const std::string& Colour);
  /// A step line through per-point values (limits that change from sample to sample).
  void Steps(std::span<const double> X, std::span<const double> Y, const TStyle& Style, const std::string& Class);
  void Marker(double X, double Y, double Radius, const std::string& Colour, const std::string& Class);
  /// A bar from the baseline Base to Height, centred at X, Width wide (data units).
  void Bar(double X, double Width, double Base, double Height, const TStyle& Style, const std::string& Class);
  /// A shaded band between Lower and Upper over X (non-finite points split the band).
  void Band(std::span<const double> X, std::span<const double> Lower, std::span<const double> Upper,
            const TStyle& Style, const std::string& Class);
  /// Legend in the top-right (or top-left) corner inside the box.
  void Legend(const std::vector<TLegendEntry>& Entries, bool Left = false);

  double Px(double X) const;
  double Py(double Y) const;

 private:
  std::string Stroke(const TStyle& Style) const;
  TSvgDocument& doc_;
  double left_, top_, width_, height_;
  TNiceScale xs_, ys_;
  std::string clip_;
};

/// The page: a white canvas that collects the panels' elements.
class TSvgDocument {
 public:
  TSvgDocument(double Width, double Height);
  void Append(const std::string& Element);
  /// A text element; Anchor is start, middle or end.
  void Text(double X, double Y, const std::string& Text, double Size, const std::string& Anchor,
            const std::string& Class, const std::string& Extra = "");
  std::string NewId();
  std::string Str() const;
  /// Writes the page; raises std::runtime_error when the file cannot be written.
  void Save(const std::string& Path) const;

 private:
  double width_, height_;
  std::string body_;
  int ids_ = 0;
};

}  // namespace KalixCli
