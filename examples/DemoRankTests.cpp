// Rank tests on real data: New York air quality, May to September 1973 (ozone by month).

#include <cstdio>
#include <string>
#include <vector>

#include "DemoCsv.h"
#include "KalixStats.h"

void DemoRankTests(const std::string& dir) {
  using namespace Statistics;
  std::printf("\n== New York air quality 1973: ozone (ppb) by month, and against temperature\n");
  const auto air = ReadColumns(dir + "/airquality_ozone.csv");
  const Kalix::TVec ozone(air[1]), temp(air[2]);
  Kalix::TVecInt month(static_cast<int>(air[0].size()));
  for (std::size_t i = 0; i < air[0].size(); ++i) month[static_cast<int>(i)] = static_cast<int>(air[0][i]);
  THypothesisResult h;
  double p, tau;
  const double H = KruskalWallis(ozone, month, h, p);
  std::printf("%-34s H  = %-10.4g p = %-10.4g   -> %s\n", "Kruskal-Wallis, 5 months", H, p,
              h == hrReject ? "reject H0" : "keep H0");
  KendallTau(ozone, temp, tau, h, p);
  std::printf("%-34s tau= %-10.4g p = %-10.4g   -> %s\n", "Kendall tau-b, ozone vs temperature", tau, p,
              h == hrReject ? "reject H0" : "keep H0");
  // Early summer against late summer: many ties in whole-ppb readings.
  std::vector<double> early, late;
  for (std::size_t i = 0; i < air[0].size(); ++i) (air[0][i] <= 6 ? early : late).push_back(air[1][i]);
  const double u = MannWhitneyExact(Kalix::TVec(early), Kalix::TVec(late), h, p, htLeftTailed);
  std::printf("%-34s U  = %-10.4g p = %-10.4g   -> %s\n", "exact rank-sum with ties, May-Jun", u, p,
              h == hrReject ? "reject H0" : "keep H0");
}
