// Normality of a real sample: Michelson's 1879 measurements of the speed of light (100 values,
// recorded to 10 km/s, so with many ties) by Shapiro-Wilk, Anderson-Darling and Lilliefors side
// by side, with Shapiro-Francia and Jarque-Bera for comparison.

#include <cstdio>
#include <string>

#include "DemoCsv.h"
#include "KalixStats.h"

void DemoNormality(const std::string& dir) {
  using namespace Statistics;
  std::printf("\n== Michelson (1879): is the speed of light sample normal? (100 values)\n");
  const Kalix::TVec c(ReadColumns(dir + "/michelson.csv")[0]);
  struct TRow {
    const char* name;
    const char* stat;
    double (*test)(const Kalix::TVec&, THypothesisResult&, double&, double);
  };
  const TRow rows[] = {{"Shapiro-Wilk (Royston)", "W", ShapiroWilks},
                       {"Anderson-Darling (estimated)", "A2", AndersonDarling},
                       {"Lilliefors (Dallal-Wilkinson)", "D", GOFLillieTest},
                       {"Shapiro-Francia", "W'", ShapiroFrancia},
                       {"Jarque-Bera", "JB", GOFBeraJarqueTest}};
  for (const TRow& r : rows) {
    THypothesisResult h;
    double p;
    const double s = r.test(c, h, p, 0.05);
    std::printf("%-32s %-2s = %-8.4f p = %-10.4g -> %s\n", r.name, r.stat, s, p,
                h == hrReject ? "not normal at 5%" : h == hrNotReject ? "consistent with normal" : "undefined");
  }
}
