// A short quality-control report on Michelson's 1879 speed-of-light runs: five experiments of
// twenty runs, taken as twenty subgroups of five consecutive runs. The target is the
// modern speed of light in air, 299 705 km/s, with tolerance limits 100 km/s either side.

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "KalixStats.h"

namespace {

using Kalix::TMtx;
using Kalix::TVec;

constexpr double kTrueInAir = 299705.0;  // km/s: 299 792.458 / 1.000293
constexpr int kSubgroup = 5;

// The speed column of experiment,run,speed_km_s.
std::vector<double> ReadSpeeds(const std::string& path) {
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot open " + path);
  std::string line;
  std::getline(in, line);  // header
  std::vector<double> v;
  while (std::getline(in, line)) {
    if (line.empty()) continue;
    v.push_back(std::stod(line.substr(line.rfind(',') + 1)));
  }
  return v;
}

void ChartLimits(const TMtx& runs) {
  using namespace StatControlCharts;
  TVec xbar, ranges;
  double cl, ucl, lcl, rcl, rucl, rlcl;
  QCXChart(runs, xbar, cl, ucl, lcl, 0.9973);
  QCRChart(runs, ranges, rcl, rucl, rlcl, 0.9973);
  std::printf("x-bar chart: CL %.1f   limits [%.1f, %.1f] km/s\n", cl, lcl, ucl);
  std::printf("R chart:     CL %.1f   limits [%.1f, %.1f] km/s\n", rcl, rlcl, rucl);
  const TVec& x = xbar;
  const TVec& r = ranges;
  std::printf("subgroups outside:");
  int outside = 0;
  for (int i = 0; i < x.Length(); ++i) {
    const bool xo = x[i] > ucl || x[i] < lcl, ro = r[i] > rucl || r[i] < rlcl;
    if (!xo && !ro) continue;
    ++outside;
    std::printf("  #%d (runs %d-%d: mean %.0f%s, range %.0f%s)", i + 1, i * kSubgroup + 1, (i + 1) * kSubgroup, x[i],
                xo ? " out" : "", r[i], ro ? " out" : "");
  }
  std::printf(outside ? "\n" : " none\n");
}

void Capability(const TVec& speeds) {
  double frac, cp, cpk;
  Statistics::TTwoElmReal cpci, cpkci;
  StatControlCharts::QCCapIndexes(speeds, kTrueInAir - 100, kTrueInAir + 100, frac, cp, cpk, cpci, cpkci, 0.05);
  std::printf("capability against %.0f +- 100 km/s: Cp %.2f [%.2f, %.2f]   Cpk %.2f [%.2f, %.2f]   "
              "expected outside %.1f%%\n",
              kTrueInAir, cp, cpci[0], cpci[1], cpk, cpkci[0], cpkci[1], 100 * frac);
}

// Westgard codes against the true value and the within-subgroup spread: Michelson's bias shows
// as runs on one side (32) long before single points stray beyond 3 sd.
void Westgard(const TVec& speeds, double sigma) {
  TVec codes;
  StatControlCharts::QCWestgardRules(speeds, codes, kTrueInAir, sigma);
  const TVec& c = codes;
  int count[6] = {};
  for (int i = 0; i < c.Length(); ++i)
    for (int b = 0; b < 6; ++b) count[b] += (static_cast<int>(c[i]) >> b) & 1;
  std::printf("Westgard flags (of %d runs, sd %.1f): 1-3s %d, 1-2s %d, 2-2s %d, R-4s %d, 4-1s %d, 10x %d\n",
              c.Length(), sigma, count[0], count[1], count[2], count[3], count[4], count[5]);
}

void NormalPlot(const TVec& speeds) {
  TVec px, py;
  double minX, maxX, minY, maxY;
  StatProbPlots::StatNormalPlot(speeds, px, py, minX, maxX, minY, maxY);
  const TVec& x = px;
  const TVec& y = py;
  std::printf("normal plot: line from (%.0f, %.3f) to (%.0f, %.3f); points", minX, minY, maxX, maxY);
  for (int i : {0, 1, 24, 49, 74, 98, 99}) std::printf(" (%.0f, %.3f)", x[i], y[i]);
  std::printf("\n");
}

}  // namespace

void DemoQualityControl(const std::string& dir) {
  std::printf("\n== Michelson (1879) as a process: 20 subgroups of 5 runs, km/s\n");
  const std::vector<double> v = ReadSpeeds(dir + "/michelson_runs.csv");
  const TVec speeds(v);
  const int groups = static_cast<int>(v.size()) / kSubgroup;
  TMtx runs(groups, kSubgroup);
  for (int i = 0; i < groups * kSubgroup; ++i) runs.Values(i) = v[static_cast<std::size_t>(i)];
  ChartLimits(runs);
  Capability(speeds);
  TVec sd;
  Kalix::StdDevRows(runs, sd);
  // sigma = s-bar / c4(5), the unbiased within-subgroup estimate.
  const double c4 = std::sqrt(2.0 / (kSubgroup - 1)) * Kalix::Gamma(0.5 * kSubgroup) / Kalix::Gamma(0.5 * (kSubgroup - 1));
  Westgard(speeds, Kalix::Mean(sd) / c4);
  NormalPlot(speeds);
}
