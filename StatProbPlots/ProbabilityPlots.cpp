// Normal, Q-Q, Weibull and exponential probability plots: sorted sample, theoretical quantiles
// at the plotting positions (i + 0.5)/n (Hazen's rule), and a reference line through the
// quartiles (Chambers, Cleveland, Kleiner & Tukey, Graphical Methods for Data Analysis, 1983,
// sec. 6.2).

#include <cmath>
#include <span>
#include <utility>

#include "StatProbPlots/StatProbPlots.h"
#include "Statistics/Statistics.h"

namespace StatProbPlots {

using namespace Kalix;

namespace {

struct TQuartiles {
  double q1, q3;
};

// The pctMethodNPlus rule at position (n + 1) p of ascending data; (n + 1)/4 and 3(n + 1)/4 are
// exact in binary, so no position needs snapping.
template <class T>
double SortedPercentile(std::span<const T> s, double p) {
  const double n = static_cast<double>(s.size());
  if (s.size() <= 1) return static_cast<double>(s[0]);
  double k, f;
  TruncAndFrac((n + 1.0) * p, k, f);
  if (k < 1.0) return static_cast<double>(s[0]);
  if (k >= n) return static_cast<double>(s[s.size() - 1]);
  const auto i = static_cast<std::size_t>(k) - 1;
  if (f == 0.0) return static_cast<double>(s[i]);
  return static_cast<double>(s[i]) * (1.0 - f) + static_cast<double>(s[i + 1]) * f;
}

// Quartiles by pctMethodNPlus. Data sorted here are read by index; data the caller declared
// sorted go through Percentile, which does not rely on the order.
TQuartiles Quartiles(const TVec& v, bool sortedHere) {
  if (!sortedHere) return {Statistics::Percentile(v, 0.25), Statistics::Percentile(v, 0.75)};
  return WithPrecision(v, [&](auto t) {
    using T = typename decltype(t)::type;
    const auto s = v.Span<T>();
    return TQuartiles{SortedPercentile<T>(s, 0.25), SortedPercentile<T>(s, 0.75)};
  });
}

// PlotX = copy of Data, sorted unless the caller vouches for the order; MinX, MaxX its ends.
void SortedCopy(const TVec& Data, bool sorted, TVec& PlotX, double& MinX, double& MaxX) {
  PlotX.Copy(Data);
  if (!sorted) SortAscend(PlotX);
  MinX = PlotX[0];
  MaxX = PlotX[PlotX.Length() - 1];
}

// Line through (q1x, q1y) and (q3x, q3y), evaluated at MinX and MaxX; returns the slope.
double LineThroughQuartiles(TQuartiles x, TQuartiles y, double MinX, double MaxX, double& MinY, double& MaxY) {
  const double k = (y.q3 - y.q1) / (x.q3 - x.q1);
  const double cx = 0.5 * (x.q1 + x.q3), cy = 0.5 * (y.q1 + y.q3);
  MinY = (MinX - cx) * k + cy;
  MaxY = (MaxX - cx) * k + cy;
  return k;
}

// Standard normal quantiles at (i + 0.5)/n. The positions are symmetric about 1/2, so the upper
// half mirrors the lower: half the quantile evaluations, and no digits lost to 1 - p in the
// upper tail.
template <class T>
void NormalScores(std::span<T> y) {
  const std::size_t n = y.size();
  const double h = 1.0 / static_cast<double>(n);
  for (std::size_t i = 0; i < n / 2; ++i) {
    const double q = NormalCDFInv(0.5 * h + static_cast<double>(i) * h, 0.0, 1.0);
    y[i] = static_cast<T>(q);
    y[n - 1 - i] = static_cast<T>(-q);
  }
  if (n % 2) y[n / 2] = T(0);
}

// Deliberate: the standard error sqrt(p(1 - p)/n) is scaled by k sqrt(2 pi) exp(-0.5 (1/y)^2),
// with the reciprocal of the score in the exponent, not the score itself.
template <class T>
void NormalBounds(std::span<const T> y, double k, std::span<T> b) {
  const std::size_t n = y.size();
  const T h = T(1) / static_cast<T>(n);
  const T scale = static_cast<T>(k * SQRT2PI);
  for (std::size_t i = 0; i < n; ++i) {
    const T p = static_cast<T>(0.5 * static_cast<double>(h) + static_cast<double>(i) * static_cast<double>(h));
    const T r = T(1) / y[i];
    b[i] = std::sqrt((T(1) - p) * p * h) * scale * std::exp(T(-0.5) * r * r);
  }
}

// Ramp 1 - (i + 0.5)/n, the upper plotting positions the Weibull and exponential scores use.
void UpperPositions(TVec& y, const TVec& like) {
  const double h = 1.0 / like.Length();
  y.Size(like);
  Ramp(y, 1.0 - 0.5 * h, -h);
}

}  // namespace

void StatNormalPlot(const TVec& Data, TVec& PlotX, TVec& PlotY, double& MinX, double& MaxX, double& MinY,
                    double& MaxY, TVec* Bounds, bool DataSorted) {
  if (Data.Complex()) ERaise("StatNormalPlot: (Data.Complex)");
  if (Data.Length() < 1) ERaise("StatNormalPlot: Data.Length < 1");
  SortedCopy(Data, DataSorted, PlotX, MinX, MaxX);
  const TQuartiles qx = Quartiles(PlotX, !DataSorted);
  PlotY.Size(PlotX);
  WithPrecision(PlotY, [&](auto t) { NormalScores(PlotY.Span<typename decltype(t)::type>()); });
  const double k = LineThroughQuartiles(qx, Quartiles(PlotY, true), MinX, MaxX, MinY, MaxY);
  if (!Bounds) return;
  Bounds->Size(PlotY);
  WithPrecision(PlotY, [&](auto t) {
    using T = typename decltype(t)::type;
    NormalBounds<T>(std::as_const(PlotY).Span<T>(), k, Bounds->Span<T>());
  });
}

void StatQQPlot(const TVec& XData, const TVec& YData, TVec& PlotX, TVec& PlotY, double& MinX, double& MaxX,
                double& MinY, double& MaxY, bool XSorted, bool YSorted) {
  MinX = MaxX = MinY = MaxY = 0.0;
  if (XData.Complex() || YData.Complex()) ERaise("StatQQPlot: (XData.Complex) or YData.Complex");
  if (XData.Length() != YData.Length()) ERaise("StatQQPlot: (XData.Length <> YData.Length");
  if (XData.Length() < 1) ERaise("StatQQPlot: XData.Length < 1");
  double minY, maxY;
  SortedCopy(XData, XSorted, PlotX, MinX, MaxX);
  SortedCopy(YData, YSorted, PlotY, minY, maxY);
  LineThroughQuartiles(Quartiles(PlotX, !XSorted), Quartiles(PlotY, !YSorted), MinX, MaxX, MinY, MaxY);
}

void StatQQPlot(const TVec& Data, TVec& PlotX, TVec& PlotY, double& MinX, double& MaxX, double& MinY, double& MaxY,
                bool DataSorted) {
  // Descending normal scores at the upper positions; the two-sample form sorts them.
  TVecScratch q;
  q->Size(Data.Length(), Data.Complex() ? mvDouble : Data.FloatPrecision());
  const double h = 1.0 / Data.Length();
  Ramp(*q, 1.0 - 0.5 * h, -h);
  NormalCDFInv(*q, *q, 0.0, 1.0);
  StatQQPlot(Data, *q, PlotX, PlotY, MinX, MaxX, MinY, MaxY, DataSorted, false);
}

void StatWeibullPlot(const TVec& Data, TVec& PlotX, TVec& PlotY, double& MinX, double& MaxX, double& MinY,
                     double& MaxY, bool DataSorted) {
  MinX = MaxX = MinY = MaxY = 0.0;
  if (Data.Complex()) ERaise("StatWeibullPlot: (Data.Complex)");
  if (Data.Length() < 1) ERaise("StatWeibullPlot: Data.Length < 1");
  SortedCopy(Data, DataSorted, PlotX, MinX, MaxX);
  const TQuartiles qx = Quartiles(PlotX, !DataSorted);
  UpperPositions(PlotY, PlotX);  // ln(ln(1/(1 - p))) ascends with i
  Inv(PlotY);
  Ln(PlotY);
  Ln(PlotY);
  const TQuartiles qy = Quartiles(PlotY, true);
  // Straight in ln x and anchored at the lower quartiles; PlotX itself stays untransformed.
  const double k = (qy.q3 - qy.q1) / (std::log(qx.q3) - std::log(qx.q1));
  MinY = (std::log(MinX) - std::log(qx.q1)) * k + qy.q1;
  MaxY = (std::log(MaxX) - std::log(qx.q1)) * k + qy.q1;
}

void StatExpPlot(const TVec& Data, TVec& PlotX, TVec& PlotY, double& MinX, double& MaxX, double& MinY, double& MaxY,
                 bool DataSorted) {
  MinX = MaxX = MinY = MaxY = 0.0;
  if (Data.Complex()) ERaise("StatExpPlot: (Data.Complex)");
  if (Data.Length() < 1) ERaise("StatExpPlot: Data.Length < 1");
  SortedCopy(Data, DataSorted, PlotX, MinX, MaxX);
  const TQuartiles qx = Quartiles(PlotX, !DataSorted);
  UpperPositions(PlotY, PlotX);  // -ln(1 - p)
  Ln(PlotY);
  Sign(PlotY);
  LineThroughQuartiles(qx, Quartiles(PlotY, true), MinX, MaxX, MinY, MaxY);
}

}  // namespace StatProbPlots
