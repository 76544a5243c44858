#include "Charts.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "../StatControlCharts/StatControlCharts.h"
#include "../Statistics/Statistics.h"
#include "Svg.h"

extern char** environ;

namespace KalixCli {

using Kalix::TMtx;
using Kalix::TVec;

namespace {

constexpr const char* kBlue = "#1f4e79";
constexpr const char* kRed = "#d62728";
constexpr const char* kOrange = "#e08214";
constexpr const char* kGreen = "#2e7d32";
constexpr const char* kPurple = "#6a3d9a";
constexpr const char* kLimit = "#b2182b";
constexpr double kPageW = 860, kLeft = 78, kRight = 122, kTop = 48, kPanelH = 270, kGap = 96;

double ZTwoSided(double Confidence) { return Kalix::NormalCDFInv(0.5 * Confidence + 0.5, 0.0, 1.0); }
double ZOneSided(double Confidence) { return Kalix::NormalCDFInv(Confidence, 0.0, 1.0); }

std::vector<double> ToStd(const TVec& V) {
  std::vector<double> out(static_cast<std::size_t>(V.Length()));
  for (int i = 0; i < V.Length(); ++i) out[static_cast<std::size_t>(i)] = V[i];
  return out;
}

std::vector<double> Repeat(double V, std::size_t N) { return std::vector<double>(N, V); }

std::vector<double> Count(std::size_t N, std::size_t First) {
  std::vector<double> out(N);
  for (std::size_t i = 0; i < N; ++i) out[i] = static_cast<double>(First + i);
  return out;
}

TControlPanel Panel(std::string Name, const std::vector<double>& Values, std::vector<double> Centre,
                    std::vector<double> Lower, std::vector<double> Upper, std::size_t First = 1) {
  TControlPanel p;
  p.Name = std::move(Name);
  p.Sample = Count(Values.size(), First);
  p.Series.push_back({p.Name, Values});
  p.Centre = std::move(Centre);
  p.Lower = std::move(Lower);
  p.Upper = std::move(Upper);
  return p;
}

TControlPanel Panel(std::string Name, const TVec& Values, double Centre, double Lower, double Upper,
                    std::size_t First = 1) {
  const std::size_t n = static_cast<std::size_t>(Values.Length());
  return Panel(std::move(Name), ToStd(Values), Repeat(Centre, n), Repeat(Lower, n), Repeat(Upper, n), First);
}

// Westgard codes of the first series, each point standardised by its own limits so that limits
// that change from sample to sample (attribute charts with varying sizes) are handled alike.
void AddWestgard(TControlPanel& P, double Z) {
  const auto& v = P.Series[0].Values;
  TVec z(static_cast<int>(v.size()));
  for (std::size_t i = 0; i < v.size(); ++i) {
    const double d = v[i] - P.Centre[i];  // on the centre line counts as neither side, spread or not
    z[static_cast<int>(i)] = d == 0 ? 0.0 : d / ((P.Upper[i] - P.Centre[i]) / Z);
  }
  TVec codes;
  StatControlCharts::QCWestgardRules(z, codes, 0.0, 1.0);
  P.Westgard.resize(v.size());
  for (std::size_t i = 0; i < v.size(); ++i) P.Westgard[i] = static_cast<int>(codes[static_cast<int>(i)]);
}

// Pairs (x[i-1], x[i]) as rows: their ranges are the moving ranges.
TMtx Pairs(const TMtx& X) {
  TMtx pairs(X.Rows() - 1, 2);
  for (int i = 1; i < X.Rows(); ++i) {
    pairs(i - 1, 0) = X(i - 1, 0);
    pairs(i - 1, 1) = X(i, 0);
  }
  return pairs;
}

// Standard error of a subgroup mean: from the x-bar chart's limits, or for single values from
// the mean moving range (d2 = 1.128 for ranges of two).
double SigmaOfMean(const TMtx& S) {
  if (S.Cols() >= 2) {
    TVec draw;
    double cl, ucl, lcl;
    StatControlCharts::QCXChart(S, draw, cl, ucl, lcl, 0.9973);
    return (ucl - cl) / ZTwoSided(0.9973);
  }
  TVec mr;
  double mrbar, u, l;
  StatControlCharts::QCRChart(Pairs(S), mr, mrbar, u, l);
  return mrbar / 1.128;
}

double Or(double V, double Default) { return std::isnan(V) ? Default : V; }

void Require(bool Ok, const std::string& Message) {
  if (!Ok) throw std::invalid_argument(Message);
}

bool Constant(const std::vector<double>& V) {
  return std::all_of(V.begin(), V.end(), [&](double x) { return x == V.front() || (std::isnan(x) && std::isnan(V.front())); });
}

void Emit(const TSvgDocument& Doc, const TChartFiles& Files) {
  if (!Files.Svg.empty()) Doc.Save(Files.Svg);
  if (Files.Png.empty()) return;
  if (!Files.Svg.empty()) return ConvertToPng(Files.Svg, Files.Png);
  const std::string tmp = Files.Png + ".tmp.svg";
  Doc.Save(tmp);
  try {
    ConvertToPng(tmp, Files.Png);
  } catch (...) {
    std::filesystem::remove(tmp);
    throw;
  }
  std::filesystem::remove(tmp);
}

std::string PanelTitle(const std::string& Name) {
  if (Name == "xbar") return "X\u0304 chart";
  if (Name == "individuals") return "Individuals chart";
  if (Name == "MR") return "Moving-range chart";
  if (Name == "ewma") return "EWMA chart";
  if (Name == "cusum") return "Tabular CUSUM";
  return Name + " chart";
}

std::string YLabel(const std::string& Name) {
  if (Name == "xbar") return "Subgroup mean";
  if (Name == "R") return "Subgroup range";
  if (Name == "S") return "Subgroup standard deviation";
  if (Name == "individuals") return "Value";
  if (Name == "MR") return "Moving range";
  if (Name == "p") return "Proportion defective";
  if (Name == "np") return "Number defective";
  if (Name == "u") return "Defects per unit";
  if (Name == "c") return "Defects";
  if (Name == "ewma") return "EWMA";
  return "Cumulative sum";
}

// A centre line or limit: one labelled horizontal line when constant, else a step line.
void Level(TPlotPanel& Plot, const TControlPanel& P, const std::vector<double>& V, const TStyle& Style,
           const std::string& Class, const std::string& Label) {
  if (V.empty()) return;
  if (Constant(V))
    Plot.HLine(V.front(), Style, Class, Label + " = " + FormatNumber(V.front()));
  else {
    Plot.Steps(P.Sample, V, Style, Class);
    Plot.RightLabel(V.back(), Label, Style.Colour);
  }
}

void DrawControlPanel(TSvgDocument& Doc, const TControlPanel& P, double Top, const std::string& Title, double X0,
                      double X1) {
  TPlotPanel plot(Doc, kLeft, Top, kPageW - kLeft - kRight, kPanelH);
  std::vector<double> ys = P.Centre;
  for (const auto& s : P.Series) ys.insert(ys.end(), s.Values.begin(), s.Values.end());
  ys.insert(ys.end(), P.Lower.begin(), P.Lower.end());
  ys.insert(ys.end(), P.Upper.begin(), P.Upper.end());
  const std::vector<double> xs{X0, X1};  // panels share the sample axis
  plot.Frame(xs, ys, Title, "Sample", YLabel(P.Name), true);
  Level(plot, P, P.Centre, {kGreen, 1.5, "", 1}, "centre", "CL");
  Level(plot, P, P.Upper, {kLimit, 1.5, "7 4", 1}, "limit", P.Name == "cusum" ? "H" : "UCL");
  Level(plot, P, P.Lower, {kLimit, 1.5, "7 4", 1}, "limit", P.Name == "cusum" ? "-H" : "LCL");
  std::vector<TLegendEntry> legend;
  for (std::size_t s = 0; s < P.Series.size(); ++s) {
    const std::string colour = s == 0 ? kBlue : kPurple;
    plot.Polyline(P.Sample, P.Series[s].Values, {colour, 1.3, "", 0.8}, "series");
    for (std::size_t i = 0; i < P.Sample.size(); ++i) {
      const bool out = P.OutOfControl(s, i), warn = s == 0 && i < P.Westgard.size() && P.Westgard[i] != 0;
      plot.Marker(P.Sample[i], P.Series[s].Values[i], out ? 4.5 : 3, out ? kRed : warn ? kOrange : colour,
                  out ? "point flagged" : warn ? "point warning" : "point");
    }
    legend.push_back({P.Series[s].Name, {colour, 2, "", 1}, false});
  }
  if (P.Series.size() > 1) plot.Legend(legend);
}

template <class F>
std::vector<double> Generate(std::size_t N, F f) {
  std::vector<double> out(N);
  for (std::size_t i = 0; i < N; ++i) out[i] = f(i);
  return out;
}

}  // namespace

bool TControlPanel::OutOfControl(std::size_t s, std::size_t i) const {
  const double v = Series[s].Values[i];
  return v > Upper[i] || v < Lower[i];
}

std::string WestgardNames(int Code) {
  static const char* const names[] = {"1-3s", "1-2s", "2-2s", "R-4s", "4-1s", "10x"};
  std::string out;
  for (int b = 0; b < 6; ++b)
    if (Code & (1 << b)) out += (out.empty() ? "" : ",") + std::string(names[b]);
  return out;
}

// ---------------------------------------------------------------- computing the charts

TControlChart VariablesChart(const TMtx& S, const TChartOptions& O) {
  namespace QC = StatControlCharts;
  TControlChart chart;
  TVec draw, draw2;
  double cl, ucl, lcl, cl2, ucl2, lcl2;
  const double conf = Or(O.Confidence, 0.9973);
  if (O.Type == "xbar-r" || O.Type == "xbar-s") {
    Require(S.Cols() >= 2, O.Type + " needs subgroups of 2 or more values");
    Require(S.Rows() >= 2, O.Type + " needs 2 or more subgroups");
    QC::QCXChart(S, draw, cl, ucl, lcl, conf);
    chart.Panels.push_back(Panel("xbar", draw, cl, lcl, ucl));
    AddWestgard(chart.Panels.back(), ZTwoSided(conf));
    if (O.Type == "xbar-r")
      QC::QCRChart(S, draw2, cl2, ucl2, lcl2, conf);
    else
      QC::QCSChart(S, draw2, cl2, ucl2, lcl2, conf);
    chart.Panels.push_back(Panel(O.Type == "xbar-r" ? "R" : "S", draw2, cl2, lcl2, ucl2));
  } else if (O.Type == "individuals") {
    Require(S.Cols() == 1, "individuals takes one column of single values");
    Require(S.Rows() >= 3, "individuals needs 3 or more values");
    // Moving ranges as the ranges of consecutive pairs: the textbook mean absolute moving range.
    QC::QCRChart(Pairs(S), draw2, cl2, ucl2, lcl2, conf);
    TVec x(S.Rows());
    for (int i = 0; i < S.Rows(); ++i) x[i] = S(i, 0);
    const double centre = Kalix::Mean(x), half = ZTwoSided(conf) * cl2 / 1.128;
    chart.Panels.push_back(Panel("individuals", x, centre, centre - half, centre + half));
    AddWestgard(chart.Panels.back(), ZTwoSided(conf));
    chart.Panels.push_back(Panel("MR", draw2, cl2, lcl2, ucl2, 2));
  } else if (O.Type == "ewma") {
    Require(S.Rows() >= 2, "ewma needs 2 or more subgroups");
    Require(O.Lambda > 0 && O.Lambda <= 1, "ewma needs 0 < lambda <= 1");
    TVec upper, lower;
    const double oneSided = Or(O.Confidence, 0.99865);
    QC::EWMAChart(S, draw, cl, upper, lower, O.Lambda, oneSided);
    const std::size_t n = static_cast<std::size_t>(draw.Length());
    if (S.Cols() == 1) {
      // Single values have no within-subgroup spread: sigma from the moving range instead, with
      // the exact limits of Montgomery, Introduction to Statistical Quality Control, eq. 9.22.
      const double sigma = SigmaOfMean(S), z = ZOneSided(oneSided);
      for (int t = 0; t < draw.Length(); ++t) {
        const double half = z * sigma * std::sqrt(O.Lambda / (2 - O.Lambda) * (1 - std::pow(1 - O.Lambda, 2 * (t + 1))));
        upper[t] = cl + half;
        lower[t] = cl - half;
      }
    }
    chart.Panels.push_back(Panel("ewma", ToStd(draw), Repeat(cl, n), ToStd(lower), ToStd(upper)));
  } else if (O.Type == "cusum") {
    Require(S.Rows() >= 2, "cusum needs 2 or more subgroups");
    const double se = std::isnan(O.Sigma) ? SigmaOfMean(S) : O.Sigma / std::sqrt(static_cast<double>(S.Cols()));
    TVec xbar;
    QC::QCXChart(S, xbar, cl, ucl, lcl);
    const double mu0 = Or(O.Target, cl), k = O.K * se, h = O.H * se;
    TVec cplus, cminus;
    QC::QCCumSumChart(S, draw, k, h, mu0, se, &cplus, &cminus);
    std::vector<double> lowerSums = ToStd(cminus);
    for (double& v : lowerSums) v = -v;  // the lower CUSUM is drawn below zero
    const std::size_t n = lowerSums.size();
    chart.Panels.push_back(Panel("cusum", ToStd(cplus), Repeat(0.0, n), Repeat(-h, n), Repeat(h, n)));
    chart.Panels.back().Series[0].Name = "C+";
    chart.Panels.back().Series.push_back({"C-", lowerSums});
  } else {
    throw std::invalid_argument("unknown chart type '" + O.Type +
                                "' (xbar-r, xbar-s, individuals, p, np, u, c, ewma, cusum)");
  }
  return chart;
}

TControlChart AttributesChart(const std::vector<double>& Counts, const std::vector<double>& Sizes,
                              const TChartOptions& O) {
  namespace QC = StatControlCharts;
  Require(Counts.size() >= 2, O.Type + " needs 2 or more samples");
  const double conf = Or(O.Confidence, 0.99865);
  const TVec data(Counts);
  TVec draw;
  double cl, ucl, lcl;
  TControlChart chart;
  const bool known = O.Type == "p" || O.Type == "np" || O.Type == "u" || O.Type == "c";
  if (!known) throw std::invalid_argument("unknown chart type '" + O.Type + "'");
  if (O.Type == "c") {
    QC::QCCChart(data, draw, cl, ucl, lcl, conf);
    chart.Panels.push_back(Panel("c", draw, cl, lcl, ucl));
  } else if (Sizes.size() == 1) {
    const double n = Sizes.front();
    Require(n >= 1 && n <= 2147483647.0 && n == std::floor(n), O.Type + " needs a whole sample size of 1 or more");
    const int size = static_cast<int>(n);
    if (O.Type == "p") QC::QCPChart(data, size, draw, cl, ucl, lcl, conf);
    if (O.Type == "np") QC::QCNPChart(data, size, draw, cl, ucl, lcl, conf);
    if (O.Type == "u") QC::QCUChart(data, size, draw, cl, ucl, lcl, conf);
    chart.Panels.push_back(Panel(O.Type, draw, cl, lcl, ucl));
  } else {
    Require(Sizes.size() == Counts.size(), O.Type + " needs a sample size (--size N) or one size per sample");
    Require(std::all_of(Sizes.begin(), Sizes.end(), [](double v) { return v > 0; }),
            O.Type + " needs sample sizes above 0");
    const TVec sizes(Sizes);
    TVec upper, lower, centre;
    std::vector<double> values = Counts;
    if (O.Type == "np") {
      QC::QCNPChart(data, sizes, draw, centre, upper, lower, conf);
    } else {
      if (O.Type == "p") QC::QCPChart(data, sizes, draw, cl, upper, lower, conf);
      if (O.Type == "u") QC::QCUChart(data, sizes, draw, cl, upper, lower, conf);
      values = ToStd(draw);
      centre = TVec(std::vector<double>(values.size(), cl));
    }
    chart.Panels.push_back(Panel(O.Type, values, ToStd(centre), ToStd(lower), ToStd(upper)));
  }
  AddWestgard(chart.Panels.back(), ZOneSided(conf));
  return chart;
}

std::vector<double> NormalBandHalfWidths(const std::vector<double>& Scores) {
  // Var of the order statistic's score is p(1 - p) / (n phi(y)^2) (David & Nagaraja, Order
  // Statistics, 3rd ed., 2003, sec. 10.2), with p the score's normal probability.
  const double n = static_cast<double>(Scores.size());
  return Generate(Scores.size(), [&](std::size_t i) {
    const double y = Scores[i], p = Kalix::NormalCDF(y, 0.0, 1.0);
    return 1.959963984540054 * std::sqrt(p * (1.0 - p) / n) / Kalix::NormalPDF(y, 0.0, 1.0);
  });
}

// ---------------------------------------------------------------- writers

void WriteControlChartSvg(const TChartFiles& Files, const TControlChart& Chart) {
  if (!Files.Any()) return;
  const double n = static_cast<double>(Chart.Panels.size());
  TSvgDocument doc(kPageW, kTop + n * kPanelH + (n - 1) * kGap + 62);
  double x0 = 0.5, x1 = 1.5;
  for (const auto& p : Chart.Panels)
    if (!p.Sample.empty()) x0 = std::min(x0, p.Sample.front() - 0.5), x1 = std::max(x1, p.Sample.back() + 0.5);
  for (std::size_t i = 0; i < Chart.Panels.size(); ++i) {
    const auto& p = Chart.Panels[i];
    std::string title = PanelTitle(p.Name);
    if (!Chart.Title.empty()) title += ": " + Chart.Title;
    DrawControlPanel(doc, p, kTop + static_cast<double>(i) * (kPanelH + kGap), title, x0, x1);
  }
  Emit(doc, Files);
}

void WriteProbPlotSvg(const TChartFiles& Files, const TProbPlot& P) {
  if (!Files.Any()) return;
  TSvgDocument doc(kPageW, kTop + 360 + 62);
  TPlotPanel plot(doc, kLeft, kTop, kPageW - kLeft - 40, 360);
  const double slope = (P.MaxY - P.MinY) / (P.MaxX - P.MinX);
  const auto line = [&](double x) { return P.MinY + (x - P.MinX) * slope; };
  std::vector<double> lo, hi, ys = P.Y;
  if (!P.Bounds.empty()) {
    lo = Generate(P.X.size(), [&](std::size_t i) { return line(P.X[i]) - P.Bounds[i]; });
    hi = Generate(P.X.size(), [&](std::size_t i) { return line(P.X[i]) + P.Bounds[i]; });
    ys.insert(ys.end(), lo.begin(), lo.end());
    ys.insert(ys.end(), hi.begin(), hi.end());
  }
  plot.Frame(P.X, ys, P.Title, P.XLabel, P.YLabel);
  std::vector<TLegendEntry> legend;
  if (!P.Bounds.empty()) {
    plot.Band(P.X, lo, hi, {"#9ecae1", 0, "", 0.45}, "band");
    legend.push_back({"pointwise 95% band", {"#9ecae1", 0, "", 0.45}, true});
  }
  plot.Line(P.MinX, P.MinY, P.MaxX, P.MaxY, {kRed, 1.6, "", 1}, "refline");
  legend.push_back({"line through the quartiles", {kRed, 1.6, "", 1}, false});
  for (std::size_t i = 0; i < P.X.size(); ++i) plot.Marker(P.X[i], P.Y[i], 3, kBlue, "point");
  plot.Legend(legend, true);
  Emit(doc, Files);
}

void WriteHistogramSvg(const TChartFiles& Files, const std::vector<double>& Data, const std::vector<double>& Edges,
                       const std::vector<int>& Counts, const std::string& Title) {
  if (!Files.Any() || Counts.empty() || Edges.size() != Counts.size() + 1) return;
  double mu = 0, sigma = 0, total = 0;
  Statistics::NormalFit(TVec(Data), mu, sigma);
  std::vector<double> centres, heights, xs = Edges, ys{0.0};
  for (std::size_t b = 0; b < Counts.size(); ++b) {
    centres.push_back(0.5 * (Edges[b] + Edges[b + 1]));
    heights.push_back(Counts[b]);
    total += Counts[b];
  }
  const double width = (Edges.back() - Edges.front()) / static_cast<double>(Counts.size());
  const double a = Edges.front() - width, b = Edges.back() + width;
  const auto gx = Generate(201, [&](std::size_t i) { return a + (b - a) * static_cast<double>(i) / 200.0; });
  const auto gy = Generate(201, [&](std::size_t i) { return total * width * Kalix::NormalPDF(gx[i], mu, sigma); });
  xs.insert(xs.end(), {a, b});
  ys.insert(ys.end(), heights.begin(), heights.end());
  ys.insert(ys.end(), gy.begin(), gy.end());
  TSvgDocument doc(kPageW, kTop + 360 + 62);
  TPlotPanel plot(doc, kLeft, kTop, kPageW - kLeft - 40, 360);
  plot.Frame(xs, ys, Title, "Value", "Count");
  for (std::size_t i = 0; i < centres.size(); ++i) plot.Bar(centres[i], width, 0, heights[i], {"#6baed6", 0, "", 0.9}, "bar");
  plot.Polyline(gx, gy, {kRed, 2, "", 1}, "density");
  plot.Legend({{"counts", {"#6baed6", 0, "", 0.9}, true},
               {"normal fit: mean " + FormatNumber(mu) + ", sd " + FormatNumber(sigma), {kRed, 2, "", 1}, false}});
  Emit(doc, Files);
}

void WriteAcfSvg(const TChartFiles& Files, const std::vector<double>& Acf, const std::vector<double>& Pacf, int N,
                 const std::string& Title) {
  if (!Files.Any()) return;
  const bool two = !Pacf.empty();
  TSvgDocument doc(kPageW, kTop + (two ? 2 * kPanelH + kGap : kPanelH) + 62);
  const double band = 1.96 / std::sqrt(static_cast<double>(N));
  const auto draw = [&](const std::vector<double>& r, double top, const std::string& name) {
    TPlotPanel plot(doc, kLeft, top, kPageW - kLeft - kRight, kPanelH);
    const auto lags = Count(r.size(), 1);
    std::vector<double> ys = r;
    ys.insert(ys.end(), {band, -band, 0.0});
    const double last = static_cast<double>(r.size()) + 0.5;
    plot.Frame(std::vector<double>{0.5, last}, ys, name + (Title.empty() ? "" : ": " + Title), "Lag", name, true);
    plot.Band(std::vector<double>{0.0, last + 1}, std::vector<double>{-band, -band}, std::vector<double>{band, band},
              {"#9ecae1", 0, "", 0.35}, "band");
    plot.HLine(band, {"#4a90c2", 1, "5 4", 1}, "bandline", "+1.96/\u221an");
    plot.HLine(-band, {"#4a90c2", 1, "5 4", 1}, "bandline", "-1.96/\u221an");
    plot.HLine(0, {"#333333", 1, "", 1}, "zero", "");
    for (std::size_t i = 0; i < r.size(); ++i) {
      const bool sig = std::fabs(r[i]) > band;
      plot.Bar(lags[i], 0.3, 0, r[i], {sig ? kRed : kBlue, 0, "", 1}, sig ? "bar significant" : "bar");
    }
  };
  draw(Acf, kTop, "ACF");
  if (two) draw(Pacf, kTop + kPanelH + kGap, "PACF");
  Emit(doc, Files);
}

void WriteForecastSvg(const TChartFiles& Files, const std::vector<double>& History,
                      const std::vector<double>& Forecast, const std::vector<double>& Lower,
                      const std::vector<double>& Upper, const std::string& Title) {
  if (!Files.Any()) return;
  const auto th = Count(History.size(), 1), tf = Count(Forecast.size(), History.size() + 1);
  std::vector<double> xs = th, ys = History;
  xs.insert(xs.end(), tf.begin(), tf.end());
  for (const auto* v : {&Forecast, &Lower, &Upper}) ys.insert(ys.end(), v->begin(), v->end());
  TSvgDocument doc(kPageW, kTop + 360 + 62);
  TPlotPanel plot(doc, kLeft, kTop, kPageW - kLeft - 40, 360);
  xs.insert(xs.end(), {0.5, static_cast<double>(History.size() + Forecast.size()) + 0.5});
  plot.Frame(xs, ys, Title, "Time", "Value", true);
  std::vector<TLegendEntry> legend{{"series", {kBlue, 1.5, "", 1}, false}, {"forecast", {kOrange, 2, "", 1}, false}};
  if (!Lower.empty() && !Upper.empty()) {
    plot.Band(tf, Lower, Upper, {kOrange, 0, "", 0.25}, "band");
    legend.push_back({"prediction interval", {kOrange, 0, "", 0.25}, true});
  }
  plot.Polyline(th, History, {kBlue, 1.5, "", 1}, "series");
  // The forecast line starts at the last observation so that the two join.
  std::vector<double> fx = tf, fy = Forecast;
  if (!History.empty()) {
    fx.insert(fx.begin(), th.back());
    fy.insert(fy.begin(), History.back());
  }
  plot.Polyline(fx, fy, {kOrange, 2, "", 1}, "forecast");
  for (std::size_t i = 0; i < tf.size(); ++i) plot.Marker(tf[i], Forecast[i], 2.5, kOrange, "point");
  plot.Legend(legend, true);
  Emit(doc, Files);
}

namespace {

// A numeric column of a result table by name (empty when there is none; non-numbers as NaN).
std::vector<double> ColumnOf(const ResultTable& Table, const std::string& Name) {
  const auto it = std::find(Table.columns.begin(), Table.columns.end(), Name);
  if (it == Table.columns.end()) return {};
  const auto c = static_cast<std::size_t>(it - Table.columns.begin());
  std::vector<double> out;
  for (const auto& row : Table.rows) {
    const Cell& cell = row.at(c);
    out.push_back(std::holds_alternative<double>(cell)         ? std::get<double>(cell)
                  : std::holds_alternative<std::int64_t>(cell) ? static_cast<double>(std::get<std::int64_t>(cell))
                                                               : std::numeric_limits<double>::quiet_NaN());
  }
  return out;
}

}  // namespace

void WriteAcfSvg(const TChartFiles& Files, const ResultTable& Lags, int N, const std::string& Title) {
  WriteAcfSvg(Files, ColumnOf(Lags, "acf"), ColumnOf(Lags, "pacf"), N, Title);
}

void WriteForecastSvg(const TChartFiles& Files, const std::vector<double>& History, const ResultTable& Steps,
                      const std::string& Title) {
  WriteForecastSvg(Files, History, ColumnOf(Steps, "forecast"), ColumnOf(Steps, "lower"), ColumnOf(Steps, "upper"),
                   Title);
}

// ---------------------------------------------------------------- PNG

namespace {

std::string FindOnPath(const std::string& Name) {
  const char* path = std::getenv("PATH");
  std::string rest = path ? path : "";
  std::size_t start = 0;
  while (start <= rest.size()) {
    const std::size_t end = std::min(rest.find(':', start), rest.size());
    const std::string dir = rest.substr(start, end - start);
    const std::string full = (dir.empty() ? "." : dir) + "/" + Name;
    if (access(full.c_str(), X_OK) == 0) return full;
    start = end + 1;
  }
  return "";
}

}  // namespace

void ConvertToPng(const std::string& SvgPath, const std::string& PngPath) {
  const std::string exe = FindOnPath("rsvg-convert");
  if (exe.empty()) throw std::runtime_error("--png needs rsvg-convert (Debian package librsvg2-bin)");
  std::string a0 = "rsvg-convert", a1 = "-o", a2 = PngPath, a3 = SvgPath;
  char* argv[] = {a0.data(), a1.data(), a2.data(), a3.data(), nullptr};
  pid_t pid = 0;
  if (posix_spawn(&pid, exe.c_str(), nullptr, nullptr, argv, environ) != 0)
    throw std::runtime_error("cannot run rsvg-convert");
  int status = 0;
  while (waitpid(pid, &status, 0) < 0)
    if (errno != EINTR) throw std::runtime_error("cannot run rsvg-convert");
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    throw std::runtime_error(PngPath + ": rsvg-convert could not convert the chart");
}

}  // namespace KalixCli
