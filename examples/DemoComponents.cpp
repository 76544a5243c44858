// Demo: principal components of the US arrests data (variance explained per component, the
// loadings of the first two) and a ridge fit of Longley's data with its optimal constant.

#include "DemoComponents.h"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "KalixStats.h"

namespace {

// A CSV file with a header line: column names and the rows of numbers, skipping leading
// columns that hold text (labels).
struct TCsv {
  std::vector<std::string> names;
  std::vector<std::vector<double>> rows;
};

std::vector<std::string> Cells(const std::string& line) {
  std::vector<std::string> out;
  std::stringstream ss(line);
  for (std::string c; std::getline(ss, c, ',');) {
    if (c.size() >= 2 && c.front() == '"' && c.back() == '"') c = c.substr(1, c.size() - 2);
    out.push_back(c);
  }
  return out;
}

TCsv ReadNumbers(const std::string& path, std::size_t skip) {
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot open " + path);
  TCsv t;
  std::string line;
  std::getline(in, line);
  const auto head = Cells(line);
  t.names.assign(head.begin() + static_cast<long>(skip), head.end());
  while (std::getline(in, line)) {
    if (line.empty()) continue;
    const auto c = Cells(line);
    std::vector<double> r;
    for (std::size_t i = skip; i < c.size(); ++i) r.push_back(std::stod(c[i]));
    t.rows.push_back(r);
  }
  return t;
}

Kalix::TMtx Columns(const TCsv& t, std::size_t first, std::size_t count) {
  Kalix::TMtx m(static_cast<int>(t.rows.size()), static_cast<int>(count));
  for (int r = 0; r < m.Rows(); ++r)
    for (int c = 0; c < m.Cols(); ++c) m(r, c) = t.rows[std::size_t(r)][first + std::size_t(c)];
  return m;
}

void ArrestComponents(const std::string& dir) {
  std::printf("\n== US arrests by state, 1973: principal components of the correlation matrix\n");
  const TCsv t = ReadNumbers(dir + "/usarrests.csv", 1);
  const Kalix::TMtx X = Columns(t, 0, t.names.size());
  Kalix::TMtx pc, z;
  Kalix::TVec eig, pct;
  Statistics::PCA(X, pc, z, eig, &pct, Statistics::PCACorrMat);
  const Kalix::TVec &e = eig, &v = pct;  // read through const references: plain doubles
  const Kalix::TMtx& l = pc;
  std::printf("component   eigenvalue   variance %%   cumulative %%\n");
  double cum = 0;
  for (int j = 0; j < e.Length(); ++j) {
    cum += v[j];
    std::printf("PC%-9d %10.4f %12.2f %14.2f\n", j + 1, e[j], v[j], cum);
  }
  std::printf("loadings        PC1       PC2\n");
  for (int i = 0; i < l.Rows(); ++i)
    std::printf("%-10s %8.4f  %8.4f\n", t.names[std::size_t(i)].c_str(), l(i, 0), l(i, 1));
}

void LongleyRidge(const std::string& dir) {
  std::printf("\n== Longley (1967): ridge regression of Employed on the six regressors\n");
  const TCsv t = ReadNumbers(dir + "/longley.csv", 0);
  const Kalix::TMtx A = Columns(t, 0, 6);
  Kalix::TVec y(static_cast<int>(t.rows.size()));
  for (int i = 0; i < y.Length(); ++i) y[i] = t.rows[std::size_t(i)][6];
  double k = 0;
  Regress::RidgeOptimalk(y, A, k);
  Kalix::TVec fitK, fitLS, fitHalf;
  Regress::RidgeRegress(y, A, k, fitK);
  Regress::RidgeRegress(y, A, 0.5, fitHalf);
  Regress::MulLinRegress(y, A, fitLS);
  const Kalix::TVec &ridge = fitK, &ls = fitLS, &ridgeHalf = fitHalf;
  std::printf("optimal k = %.3g (the search's criterion falls towards k = 0)\n", k);
  std::printf("%-14s %14s %14s %14s\n", "", "least squares", "ridge, opt. k", "ridge, k = 0.5");
  std::printf("%-14s %14.6g %14.6g %14.6g\n", "(intercept)", ls[0], ridge[0], ridgeHalf[0]);
  for (int j = 0; j < 6; ++j)
    std::printf("%-14s %14.6g %14.6g %14.6g\n", t.names[std::size_t(j)].c_str(), ls[j + 1], ridge[j + 1],
                ridgeHalf[j + 1]);
}

}  // namespace

void DemoComponents(const std::string& dir) {
  ArrestComponents(dir);
  LongleyRidge(dir);
}
