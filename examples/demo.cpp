// Kalix Stats demo: loads the small real data sets shipped in examples/data and prints a
// readable summary with the library's routines.
//
//   build/release/examples/kalix_demo [data-directory]

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "DemoComponents.h"
#include "KalixStats.h"

void DemoQualityControl(const std::string& dir);  // DemoQuality.cpp
void DemoRandom();  // DemoRandom.cpp
void DemoTimeSeries(const std::string& dir);  // DemoTimeSeries.cpp

namespace {

using Kalix::TMtx;
using Kalix::TVec;

// A CSV file with a header line: column names and the numeric columns.
struct TTable {
  std::vector<std::string> names;
  std::vector<std::vector<double>> columns;

  TVec Column(const std::string& name) const {
    for (std::size_t i = 0; i < names.size(); ++i)
      if (names[i] == name) return TVec(columns[i]);
    throw std::runtime_error("no column " + name);
  }
  // The named columns side by side, one observation per row.
  TMtx Matrix(const std::vector<std::string>& cols) const {
    std::vector<TVec> vs;
    for (const auto& c : cols) vs.push_back(Column(c));
    TMtx m(vs.front().Length(), static_cast<int>(cols.size()));
    for (int r = 0; r < m.Rows(); ++r)
      for (int c = 0; c < m.Cols(); ++c) m(r, c) = vs[static_cast<std::size_t>(c)][r];
    return m;
  }
};

std::vector<std::string> SplitCsv(const std::string& line) {
  std::vector<std::string> out;
  std::stringstream ss(line);
  for (std::string cell; std::getline(ss, cell, ',');) {
    if (cell.size() >= 2 && cell.front() == '"' && cell.back() == '"') cell = cell.substr(1, cell.size() - 2);
    out.push_back(cell);
  }
  return out;
}

TTable ReadCsv(const std::string& path) {
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot open " + path);
  TTable t;
  std::string line;
  std::getline(in, line);
  t.names = SplitCsv(line);
  t.columns.resize(t.names.size());
  while (std::getline(in, line)) {
    if (line.empty()) continue;
    const auto cells = SplitCsv(line);
    for (std::size_t i = 0; i < cells.size() && i < t.columns.size(); ++i) t.columns[i].push_back(std::stod(cells[i]));
  }
  return t;
}

void Heading(const char* title) { std::printf("\n== %s\n", title); }

// Location, spread and percentiles of Michelson's speed-of-light measurements.
void SummariseMichelson(const TTable& michelson) {
  Heading("Michelson (1879): speed of light in air, 1000 km/s");
  const TVec c = michelson.Column("speed_of_light_1000km_s");
  using namespace Statistics;
  double max = 0, min = 0;
  Kalix::MaxMin(c, max, min);
  std::printf("n = %d   mean = %.4f   sd = %.5f   median = %.3f   range = [%.2f, %.2f]\n", c.Length(),
              Kalix::Mean(c), Kalix::StdDev(c), Kalix::Median(c), min, max);
  std::printf("quartiles by rule:          Q1        Q3       IQR\n");
  const struct {
    TPercentileMethod method;
    const char* name;
  } rules[] = {{pctMethodNPlus, "(n+1)p"}, {pctMethodNMinus, "(n-1)p+1"}, {pctMethodClosestN, "closest np"},
               {pctMethodEDF, "EDF"}, {pctMethodEDFAve, "EDF, averaged"}};
  for (const auto& r : rules) {
    std::printf("  %-22s %9.4f %9.4f %9.4f\n", r.name, Percentile(c, 0.25, r.method), Percentile(c, 0.75, r.method),
                InterQuartile(c, r.method));
  }
  std::vector<double> p{0.05, 0.5, 0.95}, q(3);
  Percentile(c, p, q, pctMethodNPlus);
  std::printf("5%% / 50%% / 95%% percentiles: %.3f / %.3f / %.3f\n", q[0], q[1], q[2]);
  TVec ranks;
  double tieSum = 0;
  TiedRanks(c, ranks, tieSum);
  const TVec& r = ranks;  // const access reads plain doubles
  std::printf("midranks of the first five runs: %.1f %.1f %.1f %.1f %.1f   (tie term %.0f: many repeated readings)\n",
              r[0], r[1], r[2], r[3], r[4], tieSum);
}

// Other means, the shape and a text histogram of Michelson's readings; how three of Longley's
// series move together.
void DescribeShapes(const TTable& michelson, const TTable& longley) {
  using namespace Statistics;
  Heading("Michelson: other means, shape and a histogram");
  const TVec c = michelson.Column("speed_of_light_1000km_s");
  const double mean = Kalix::Mean(c);
  std::printf("geometric %.4f   harmonic %.4f   10%% trimmed %.4f   mode %.2f\n", MeanG(c), MeanH(c), MeanT(c, 0.1),
              Mode(c));
  std::printf("skewness %.3f   kurtosis %.3f\n", Moment(c, mean, 3) / std::pow(Moment(c, mean, 2), 1.5),
              Moment(c, mean, 4) / std::pow(Moment(c, mean, 2), 2));
  Kalix::TVecInt counts;
  TVec centres;
  Histogram(c, 9, counts, centres, true);
  const Kalix::TVecInt& n = counts;  // const access reads plain values
  const TVec& mid = centres;
  for (int i = 0; i < n.Length(); ++i)
    std::printf("  %8.3f | %-30s %d\n", mid[i], std::string(static_cast<std::size_t>(n[i]), '#').c_str(), n[i]);

  Heading("Longley (1947-1962): correlations of GNP, unemployment and employment");
  const std::vector<std::string> names{"GNP", "Unemployed", "Employed"};
  const TMtx x = longley.Matrix(names);
  TMtx cov, cor;
  Covariance(x, cov);
  CorrCoef(x, cor);
  const TMtx& v = cov;
  const TMtx& r = cor;
  std::printf("%12s %12s %12s %12s %12s\n", "", "GNP", "Unemployed", "Employed", "sd");
  for (int i = 0; i < 3; ++i) {
    std::printf("%12s", names[static_cast<std::size_t>(i)].c_str());
    for (int j = 0; j < 3; ++j) std::printf(" %12.4f", r(i, j));
    std::printf(" %12.3f\n", std::sqrt(v(i, i)));
  }
}

// Longley's employment on the six other series: an ill-conditioned design that naive normal
// equations get wrong in the leading digits.
void RegressLongley(const TTable& longley) {
  Heading("Longley: Employed on the other six series, least squares by QR");
  const std::vector<std::string> names{"GNP.deflator", "GNP", "Unemployed", "Armed.Forces", "Population", "Year"};
  const TMtx a = longley.Matrix(names);
  const TVec y = longley.Column("Employed");
  TVec b, fitted, residuals, se;
  TMtx v;
  Regress::MulLinRegress(y, a, b, true, &fitted, &v, Regress::regSolveLQR);
  Regress::TRegStats st{};
  Regress::RegressTest(y, fitted, v, st, residuals, se);
  const TVec& cb = b;
  const TVec& cse = se;
  std::printf("%14s %16s %14s %8s\n", "", "estimate", "std. error", "t");
  for (int k = 0; k < cb.Length(); ++k)
    std::printf("%14s %16.8g %14.6g %8.3f\n", k == 0 ? "(intercept)" : names[static_cast<std::size_t>(k - 1)].c_str(),
                cb[k], cse[k], cb[k] / cse[k]);
  std::printf("residual sd %.6f on %d df   R2 %.6f   adjusted %.6f   F %.2f (p = %.2g)   PRESS %.4f\n",
              st.StdError, st.dfE, st.R2, st.AdjustedR2, st.FStats.F, st.FStats.Signif, Regress::PRESS(a, y));
}

// Do the two instruments give the same atomic weight of silver? One-way ANOVA by instrument.
void CompareSilverInstruments(const TTable& silver) {
  Heading("Silver atomic weight: one-way ANOVA of two instruments");
  const TVec w = silver.Column("atomic_weight");
  const TVec inst = silver.Column("instrument");
  Kalix::TVecInt group(inst.Length());
  for (int i = 0; i < inst.Length(); ++i) group[i] = static_cast<int>(inst[i]) - 1;
  double p = 0;
  const Regress::TANOVA1Result r = Regress::ANOVA1(w, group, p);
  std::printf("%10s %4s %14s %14s %9s\n", "", "df", "sum of sq.", "mean sq.", "F");
  std::printf("%10s %4.0f %14.6e %14.6e %9.4f   p = %.3g (F crit. %.3f at 5%%)\n", "between", r.Deg1, r.SS1, r.MS1,
              r.FDist, p, r.FCrit);
  std::printf("%10s %4.0f %14.6e %14.6e\n", "within", r.Deg2, r.SS2, r.MS2);
}

}  // namespace

void DemoFits(const std::string& dir);  // DemoFits.cpp
void DemoHypothesisTests(const std::string& dir);  // DemoTests.cpp
void DemoNormality(const std::string& dir);  // DemoNormality.cpp
void DemoRankTests(const std::string& dir);  // DemoRankTests.cpp
void DemoRegressionModels(const std::string& dir);  // DemoRegressionModels.cpp
void DemoARIMA(const std::string& dir);  // DemoARIMA.cpp
void DemoMultivariate(const std::string& dir);  // DemoMultivariate.cpp

int main(int argc, char** argv) {
  const std::string dir = argc > 1 ? argv[1] : KALIX_DEMO_DATA;
  try {
    const TTable michelson = ReadCsv(dir + "/michelson.csv");
    const TTable longley = ReadCsv(dir + "/longley.csv");
    const TTable silver = ReadCsv(dir + "/silver_atomic_weight.csv");
    SummariseMichelson(michelson);
    DescribeShapes(michelson, longley);
    RegressLongley(longley);
    CompareSilverInstruments(silver);
    DemoComponents(dir);
    DemoQualityControl(dir);
    DemoRandom();
    DemoFits(dir);
    DemoTimeSeries(dir);
    DemoHypothesisTests(dir);
    DemoNormality(dir);
    DemoRankTests(dir);
    DemoRegressionModels(dir);
    DemoARIMA(dir);
    DemoMultivariate(dir);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "demo failed: %s\n", e.what());
    return 1;
  }
  return 0;
}
