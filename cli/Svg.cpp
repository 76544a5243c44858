#include "Svg.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <stdexcept>

namespace KalixCli {

namespace {

constexpr const char* kFont = "DejaVu Sans, Helvetica, Arial, sans-serif";
constexpr const char* kAxisColour = "#333333";
constexpr const char* kGridColour = "#e3e3e3";

std::string Fixed(double V, int Decimals) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.*f", Decimals, V);
  std::string s = buf;
  if (s.find_first_not_of("-0.") == std::string::npos) return "0";
  return s;
}

// Pixel coordinates with one decimal: sharp enough, and short.
std::string P(double V) { return Fixed(std::round(V * 10.0) / 10.0, 1); }

void Extremes(std::span<const double> V, double& Lo, double& Hi) {
  for (double v : V)
    if (std::isfinite(v)) {
      Lo = std::min(Lo, v);
      Hi = std::max(Hi, v);
    }
}

}  // namespace

// Heckbert, "Nice numbers for graph labels", Graphics Gems (1990) 61-63.
double NiceNumber(double X, bool Round) {
  const double e = std::floor(std::log10(X)), f = X / std::pow(10.0, e);
  double nf;
  if (Round)
    nf = f < 1.5 ? 1 : f < 3 ? 2 : f < 7 ? 5 : 10;
  else
    nf = f <= 1 ? 1 : f <= 2 ? 2 : f <= 5 ? 5 : 10;
  return nf * std::pow(10.0, e);
}

TNiceScale NiceScale(double Lo, double Hi, int MaxTicks) {
  if (!std::isfinite(Lo) || !std::isfinite(Hi) || Lo > Hi) Lo = 0, Hi = 1;
  if (Hi - Lo <= 1e-12 * std::max(std::fabs(Lo), std::fabs(Hi))) {  // one value: a unit (or 10%) window
    const double pad = Lo == 0 ? 1.0 : 0.1 * std::fabs(Lo);
    Lo -= pad, Hi += pad;
  }
  TNiceScale s;
  const double range = NiceNumber(Hi - Lo, false);
  s.Step = NiceNumber(range / std::max(MaxTicks - 1, 1), true);
  s.Lo = std::floor(Lo / s.Step) * s.Step;
  s.Hi = std::ceil(Hi / s.Step) * s.Step;
  s.Decimals = std::clamp(static_cast<int>(-std::floor(std::log10(s.Step))), 0, 12);
  const int n = static_cast<int>(std::lround((s.Hi - s.Lo) / s.Step));
  for (int i = 0; i <= n; ++i) s.Ticks.push_back(s.Lo + i * s.Step);
  return s;
}

std::string FormatNumber(double V) {
  if (std::isnan(V)) return "NaN";
  if (std::isinf(V)) return V > 0 ? "Inf" : "-Inf";
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.6g", V);
  std::string s = buf;
  return s == "-0" ? "0" : s;
}

std::string XmlEscape(std::string_view Text) {
  std::string out;
  out.reserve(Text.size());
  for (char c : Text) switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&apos;"; break;
      default:
        // Control characters other than tab and newline are not allowed in XML 1.0.
        if (static_cast<unsigned char>(c) >= 0x20 || c == '\t' || c == '\n') out += c;
    }
  return out;
}

// ---------------------------------------------------------------- document

TSvgDocument::TSvgDocument(double Width, double Height) : width_(Width), height_(Height) {}

void TSvgDocument::Append(const std::string& Element) {
  body_ += Element;
  body_ += '\n';
}

void TSvgDocument::Text(double X, double Y, const std::string& Text, double Size, const std::string& Anchor,
                        const std::string& Class, const std::string& Extra) {
  Append("<text class=\"" + Class + "\" x=\"" + P(X) + "\" y=\"" + P(Y) + "\" font-size=\"" + FormatNumber(Size) +
         "\" text-anchor=\"" + Anchor + "\"" + Extra + ">" + XmlEscape(Text) + "</text>");
}

std::string TSvgDocument::NewId() { return "clip" + std::to_string(++ids_); }

std::string TSvgDocument::Str() const {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" +
         FormatNumber(width_) + "\" height=\"" + FormatNumber(height_) + "\" viewBox=\"0 0 " + FormatNumber(width_) +
         " " + FormatNumber(height_) + "\" font-family=\"" + kFont + "\">\n<rect width=\"100%\" height=\"100%\" " +
         "fill=\"white\"/>\n" + body_ + "</svg>\n";
}

void TSvgDocument::Save(const std::string& Path) const {
  std::ofstream f(Path, std::ios::binary);
  if (!f) throw std::runtime_error(Path + ": cannot write the chart");
  f << Str();
  if (!f.flush()) throw std::runtime_error(Path + ": cannot write the chart");
}

// ---------------------------------------------------------------- panel

TPlotPanel::TPlotPanel(TSvgDocument& Doc, double Left, double Top, double Width, double Height)
    : doc_(Doc), left_(Left), top_(Top), width_(Width), height_(Height) {}

double TPlotPanel::Px(double X) const { return left_ + (X - xs_.Lo) / (xs_.Hi - xs_.Lo) * width_; }
double TPlotPanel::Py(double Y) const { return top_ + height_ - (Y - ys_.Lo) / (ys_.Hi - ys_.Lo) * height_; }

void TPlotPanel::Frame(std::span<const double> XValues, std::span<const double> YValues, const std::string& Title,
                       const std::string& XLabel, const std::string& YLabel, bool TightX) {
  constexpr double inf = std::numeric_limits<double>::infinity();
  double xlo = inf, xhi = -inf, ylo = inf, yhi = -inf;
  Extremes(XValues, xlo, xhi);
  Extremes(YValues, ylo, yhi);
  xs_ = NiceScale(xlo, xhi, 10);
  if (TightX && xlo < xhi) {
    std::erase_if(xs_.Ticks, [&](double t) { return t < xlo - 1e-9 * xs_.Step || t > xhi + 1e-9 * xs_.Step; });
    xs_.Lo = xlo, xs_.Hi = xhi;
  }
  // A little headroom so that a point on a whole tick does not sit on the frame.
  // The headroom never pushes an axis across zero (counts, ranges and proportions start there).
  const double pad = std::isfinite(yhi - ylo) ? 0.03 * (yhi - ylo) : 0.0;
  ys_ = NiceScale(ylo >= 0 && ylo - pad < 0 ? 0.0 : ylo - pad, yhi <= 0 && yhi + pad > 0 ? 0.0 : yhi + pad, 6);
  clip_ = doc_.NewId();
  doc_.Append("<clipPath id=\"" + clip_ + "\"><rect x=\"" + P(left_) + "\" y=\"" + P(top_) + "\" width=\"" +
              P(width_) + "\" height=\"" + P(height_) + "\"/></clipPath>");
  doc_.Append("<rect class=\"frame\" x=\"" + P(left_) + "\" y=\"" + P(top_) + "\" width=\"" + P(width_) +
              "\" height=\"" + P(height_) + "\" fill=\"#fcfcfc\" stroke=\"" + kAxisColour + "\"/>");
  for (double t : xs_.Ticks) {
    const double x = Px(t);
    doc_.Append("<line class=\"grid\" x1=\"" + P(x) + "\" y1=\"" + P(top_) + "\" x2=\"" + P(x) + "\" y2=\"" +
                P(top_ + height_) + "\" stroke=\"" + kGridColour + "\"/>");
    doc_.Text(x, top_ + height_ + 16, Fixed(t, xs_.Decimals), 11, "middle", "tick");
  }
  for (double t : ys_.Ticks) {
    const double y = Py(t);
    doc_.Append("<line class=\"grid\" x1=\"" + P(left_) + "\" y1=\"" + P(y) + "\" x2=\"" + P(left_ + width_) +
                "\" y2=\"" + P(y) + "\" stroke=\"" + kGridColour + "\"/>");
    doc_.Text(left_ - 6, y + 4, Fixed(t, ys_.Decimals), 11, "end", "tick");
  }
  doc_.Text(left_ + width_ / 2, top_ - 10, Title, 15, "middle", "title", " font-weight=\"bold\"");
  doc_.Text(left_ + width_ / 2, top_ + height_ + 36, XLabel, 12, "middle", "xlabel");
  const double yl = left_ - 52, ym = top_ + height_ / 2;
  doc_.Text(yl, ym, YLabel, 12, "middle", "ylabel", " transform=\"rotate(-90 " + P(yl) + " " + P(ym) + ")\"");
}

std::string TPlotPanel::Stroke(const TStyle& Style) const {
  std::string s = " stroke=\"" + Style.Colour + "\" stroke-width=\"" + FormatNumber(Style.Width) + "\"";
  if (!Style.Dash.empty()) s += " stroke-dasharray=\"" + Style.Dash + "\"";
  if (Style.Opacity < 1) s += " stroke-opacity=\"" + FormatNumber(Style.Opacity) + "\"";
  return s + " clip-path=\"url(#" + clip_ + ")\"";
}

void TPlotPanel::Line(double X1, double Y1, double X2, double Y2, const TStyle& Style, const std::string& Class) {
  if (!std::isfinite(X1) || !std::isfinite(Y1) || !std::isfinite(X2) || !std::isfinite(Y2)) return;
  doc_.Append("<line class=\"" + Class + "\" x1=\"" + P(Px(X1)) + "\" y1=\"" + P(Py(Y1)) + "\" x2=\"" + P(Px(X2)) +
              "\" y2=\"" + P(Py(Y2)) + "\"" + Stroke(Style) + "/>");
}

void TPlotPanel::HLine(double Y, const TStyle& Style, const std::string& Class, const std::string& Label) {
  if (!std::isfinite(Y)) return;
  const double y = Py(Y);
  doc_.Append("<line class=\"" + Class + "\" x1=\"" + P(left_) + "\" y1=\"" + P(y) + "\" x2=\"" + P(left_ + width_) +
              "\" y2=\"" + P(y) + "\"" + Stroke(Style) + "/>");
  RightLabel(Y, Label, Style.Colour);
}

void TPlotPanel::RightLabel(double Y, const std::string& Label, const std::string& Colour) {
  const double y = Py(Y);
  if (!Label.empty() && std::isfinite(y) && y >= top_ - 1 && y <= top_ + height_ + 1)
    doc_.Text(left_ + width_ + 6, y + 4, Label, 11, "start", "linelabel", " fill=\"" + Colour + "\"");
}

void TPlotPanel::Polyline(std::span<const double> X, std::span<const double> Y, const TStyle& Style,
                          const std::string& Class) {
  std::string pts;
  const auto flush = [&] {
    if (pts.find(' ') != std::string::npos)  // two points at least
      doc_.Append("<polyline class=\"" + Class + "\" fill=\"none\" stroke-linejoin=\"round\" points=\"" + pts + "\"" +
                  Stroke(Style) + "/>");
    pts.clear();
  };
  for (std::size_t i = 0; i < std::min(X.size(), Y.size()); ++i) {
    if (!std::isfinite(X[i]) || !std::isfinite(Y[i])) {
      flush();
      continue;
    }
    if (!pts.empty()) pts += ' ';
    pts += P(Px(X[i])) + "," + P(Py(Y[i]));
  }
  flush();
}

void TPlotPanel::Steps(std::span<const double> X, std::span<const double> Y, const TStyle& Style,
                       const std::string& Class) {
  // Each value holds from halfway to the previous point to halfway to the next.
  std::vector<double> sx, sy;
  const std::size_t n = std::min(X.size(), Y.size());
  for (std::size_t i = 0; i < n; ++i) {
    const double a = i > 0 ? (X[i - 1] + X[i]) / 2 : X[i] - (n > 1 ? (X[1] - X[0]) / 2 : 0.5);
    const double b = i + 1 < n ? (X[i] + X[i + 1]) / 2 : X[i] + (n > 1 ? (X[i] - X[i - 1]) / 2 : 0.5);
    sx.insert(sx.end(), {a, b});
    sy.insert(sy.end(), {Y[i], Y[i]});
  }
  Polyline(sx, sy, Style, Class);
}

void TPlotPanel::Marker(double X, double Y, double Radius, const std::string& Colour, const std::string& Class) {
  if (!std::isfinite(X) || !std::isfinite(Y)) return;
  doc_.Append("<circle class=\"" + Class + "\" cx=\"" + P(Px(X)) + "\" cy=\"" + P(Py(Y)) + "\" r=\"" +
              FormatNumber(Radius) + "\" fill=\"" + Colour + "\" stroke=\"white\" stroke-width=\"0.8\"/>");
}

void TPlotPanel::Bar(double X, double Width, double Base, double Height, const TStyle& Style,
                     const std::string& Class) {
  if (!std::isfinite(X) || !std::isfinite(Height)) return;
  const double x0 = Px(X - Width / 2), x1 = Px(X + Width / 2), y0 = Py(Base), y1 = Py(Height);
  doc_.Append("<rect class=\"" + Class + "\" x=\"" + P(std::min(x0, x1)) + "\" y=\"" + P(std::min(y0, y1)) +
              "\" width=\"" + P(std::fabs(x1 - x0)) + "\" height=\"" + P(std::fabs(y1 - y0)) + "\" fill=\"" +
              Style.Colour + "\" fill-opacity=\"" + FormatNumber(Style.Opacity) +
              "\" stroke=\"white\" stroke-width=\"0.5\" clip-path=\"url(#" + clip_ + ")\"/>");
}

void TPlotPanel::Band(std::span<const double> X, std::span<const double> Lower, std::span<const double> Upper,
                      const TStyle& Style, const std::string& Class) {
  const std::size_t n = std::min({X.size(), Lower.size(), Upper.size()});
  std::size_t i = 0;
  while (i < n) {
    const auto ok = [&](std::size_t k) {
      return std::isfinite(X[k]) && std::isfinite(Lower[k]) && std::isfinite(Upper[k]);
    };
    if (!ok(i)) {
      ++i;
      continue;
    }
    std::size_t j = i;
    while (j < n && ok(j)) ++j;
    std::string pts;
    for (std::size_t k = i; k < j; ++k) pts += P(Px(X[k])) + "," + P(Py(Upper[k])) + " ";
    for (std::size_t k = j; k-- > i;) pts += P(Px(X[k])) + "," + P(Py(Lower[k])) + " ";
    pts.pop_back();
    doc_.Append("<polygon class=\"" + Class + "\" points=\"" + pts + "\" fill=\"" + Style.Colour +
                "\" fill-opacity=\"" + FormatNumber(Style.Opacity) + "\" stroke=\"none\" clip-path=\"url(#" + clip_ +
                ")\"/>");
    i = j;
  }
}

void TPlotPanel::Legend(const std::vector<TLegendEntry>& Entries, bool Left) {
  if (Entries.empty()) return;
  std::size_t longest = 0;
  for (const auto& e : Entries) longest = std::max(longest, e.Label.size());
  const double rowH = 17, w = 34 + 6.3 * static_cast<double>(longest), h = rowH * static_cast<double>(Entries.size()) + 8;
  const double x = Left ? left_ + 8 : left_ + width_ - w - 8, y = top_ + 8;
  doc_.Append("<rect class=\"legend\" x=\"" + P(x) + "\" y=\"" + P(y) + "\" width=\"" + P(w) + "\" height=\"" + P(h) +
              "\" fill=\"white\" fill-opacity=\"0.9\" stroke=\"#bbbbbb\"/>");
  for (std::size_t i = 0; i < Entries.size(); ++i) {
    const auto& e = Entries[i];
    const double cy = y + 4 + rowH * (static_cast<double>(i) + 0.5);
    if (e.Swatch)
      doc_.Append("<rect x=\"" + P(x + 6) + "\" y=\"" + P(cy - 5) + "\" width=\"20\" height=\"10\" fill=\"" +
                  e.Style.Colour + "\" fill-opacity=\"" + FormatNumber(e.Style.Opacity) + "\"/>");
    else
      doc_.Append("<line x1=\"" + P(x + 6) + "\" y1=\"" + P(cy) + "\" x2=\"" + P(x + 26) + "\" y2=\"" + P(cy) +
                  "\" stroke=\"" + e.Style.Colour + "\" stroke-width=\"" + FormatNumber(e.Style.Width) + "\"" +
                  (e.Style.Dash.empty() ? "" : " stroke-dasharray=\"" + e.Style.Dash + "\"") + "/>");
    doc_.Text(x + 32, cy + 4, e.Label, 11, "start", "legendtext");
  }
}

}  // namespace KalixCli
