// Demo: distances between US states by their 1973 arrest rates, a two-dimensional classical
// scaling of them, a varimax rotation of the first two principal components, and Hotelling's
// two-sample T^2 test of Fisher's iris measurements (setosa against versicolor).

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "KalixStats.h"

namespace {

// Rows of numbers of a CSV file with a header line, the first `skip` cells of a row being labels.
std::vector<std::vector<double>> Rows(const std::string& path, std::size_t skip, std::vector<std::string>* labels) {
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot open " + path);
  std::string line;
  std::getline(in, line);
  std::vector<std::vector<double>> rows;
  while (std::getline(in, line)) {
    if (line.empty()) continue;
    std::stringstream ss(line);
    std::vector<double> r;
    std::size_t i = 0;
    for (std::string c; std::getline(ss, c, ','); ++i) {
      if (i >= skip) {
        r.push_back(std::stod(c));
      } else if (labels) {
        labels->push_back(c.size() >= 2 && c.front() == '"' ? c.substr(1, c.size() - 2) : c);
      }
    }
    rows.push_back(r);
  }
  return rows;
}

Kalix::TMtx ToMtx(const std::vector<std::vector<double>>& rows, std::size_t cols) {
  Kalix::TMtx m(static_cast<int>(rows.size()), static_cast<int>(cols));
  for (int r = 0; r < m.Rows(); ++r)
    for (int c = 0; c < m.Cols(); ++c) m(r, c) = rows[std::size_t(r)][std::size_t(c)];
  return m;
}

void ArrestMap(const std::string& dir) {
  std::vector<std::string> states;
  const Kalix::TMtx X = ToMtx(Rows(dir + "/usarrests.csv", 1, &states), 4);
  std::printf("\n== US arrests, 1973: standardised Euclidean distances, classical scaling, varimax\n");
  // Standardised columns, so assault (hundreds) does not swamp murder (tens).
  Kalix::TMtx Z(X.Rows(), X.Cols());
  for (int c = 0; c < X.Cols(); ++c) {
    double m = 0, s = 0;
    for (int r = 0; r < X.Rows(); ++r) m += X(r, c) / X.Rows();
    for (int r = 0; r < X.Rows(); ++r) s += (X(r, c) - m) * (X(r, c) - m) / (X.Rows() - 1);
    for (int r = 0; r < X.Rows(); ++r) Z(r, c) = (X(r, c) - m) / std::sqrt(s);
  }
  Kalix::TMtx D, coords;
  Kalix::TVec eig;
  Statistics::TTwoElmReal gof;
  Statistics::PairwiseDistance(Z, D);
  int a = 0, b = 1;
  for (int i = 0; i < D.Rows(); ++i)
    for (int j = 0; j < i; ++j)
      if (D(i, j) > D(a, b)) a = i, b = j;
  std::printf("most different states: %s and %s (distance %.2f)\n", states[std::size_t(a)].c_str(),
              states[std::size_t(b)].c_str(), double(D(a, b)));
  Statistics::ClassicalMDS(D, coords, eig, &gof, 2);
  std::printf("2-d map keeps %.1f%% of the scatter; first five states:\n", 100 * gof[0]);
  for (int i = 0; i < 5; ++i)
    std::printf("  %-12s %7.3f %7.3f\n", states[std::size_t(i)].c_str(), double(coords(i, 0)), double(coords(i, 1)));
  // Loadings of the first two components (eigenvector times sqrt(eigenvalue)), varimax-rotated.
  Kalix::TMtx pc, scores, L(4, 2), rotated, T;
  Kalix::TVec ev;
  Statistics::PCA(X, pc, scores, ev, nullptr, Statistics::PCACorrMat);
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 2; ++c) L(r, c) = pc(r, c) * std::sqrt(double(ev[c]));
  Statistics::OrthoRotate(L, rotated, T, Statistics::rotVarimax);
  const char* names[] = {"Murder", "Assault", "UrbanPop", "Rape"};
  std::printf("varimax loadings      F1      F2\n");
  for (int r = 0; r < 4; ++r) std::printf("  %-12s %7.3f %7.3f\n", names[r], double(rotated(r, 0)), double(rotated(r, 1)));
}

void IrisHotelling(const std::string& dir) {
  const auto rows = Rows(dir + "/iris.csv", 0, nullptr);
  std::vector<std::vector<double>> setosa, versicolor;
  for (const auto& r : rows) {
    if (r[4] == 1) setosa.push_back(r);
    if (r[4] == 2) versicolor.push_back(r);
  }
  Statistics::THypothesisResult h;
  double signif, F;
  Kalix::TVec half;
  const double t2 = Statistics::HotellingT2(ToMtx(setosa, 4), ToMtx(versicolor, 4), h, signif, &half, &F);
  std::printf("\n== Iris (Fisher 1936): setosa vs versicolor, Hotelling's two-sample T^2\n");
  std::printf("T2 = %.1f, F = %.1f, p = %.3g: %s equal mean vectors\n", t2, F, signif,
              h == Statistics::hrReject ? "reject" : "do not reject");
  std::printf("95%% simultaneous half-widths (cm): %.3f %.3f %.3f %.3f\n", double(half[0]), double(half[1]),
              double(half[2]), double(half[3]));
}

}  // namespace

void DemoMultivariate(const std::string& dir) {
  ArrestMap(dir);
  IrisHotelling(dir);
}
