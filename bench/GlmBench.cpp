// Logistic and Poisson regression on 1e6 x 10, and nonlinear fits of certified NIST files.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "BenchData.h"

namespace {

constexpr int kRows = 1'000'000, kCols = 10;

// A[i][j] = 2 Uniform(10 i + j) - 1; eta = 0.2 + sum_j (j - 4.5)/10 A[i][j];
// binary y = Uniform(1e7 + i) < 1/(1 + exp(-eta)); counts = floor(3 exp(eta) Uniform(2e7 + i)).
struct TGlmData {
  Kalix::TMtx A = Kalix::TMtx(kRows, kCols);
  Kalix::TVec y = Kalix::TVec(kRows), counts = Kalix::TVec(kRows);
  TGlmData() {
    auto a = A.Span<double>();
    auto v = y.Span<double>(), c = counts.Span<double>();
    for (std::size_t i = 0; i < kRows; ++i) {
      double eta = 0.2;
      for (std::size_t j = 0; j < kCols; ++j) {
        a[i * kCols + j] = 2 * KalixBench::Uniform(i * kCols + j) - 1;
        eta += (static_cast<double>(j) - 4.5) / 10 * a[i * kCols + j];
      }
      v[i] = KalixBench::Uniform(10'000'000 + i) < 1 / (1 + std::exp(-eta)) ? 1 : 0;
      c[i] = std::floor(3 * std::exp(eta) * KalixBench::Uniform(20'000'000 + i));
    }
  }
};

const TGlmData& Glm() {
  static const TGlmData d;
  return d;
}

void BM_LogisticRegress_1e6x10(benchmark::State& state) {
  const TGlmData& d = Glm();
  Kalix::TVec b, se;
  Regress::TGLMStats st{};
  for (auto _ : state) {
    Regress::LogisticRegress(d.y, d.A, b, st, &se);
    benchmark::DoNotOptimize(b.Data());
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_LogisticRegress_1e6x10)->Unit(benchmark::kMillisecond);

void BM_PoissonRegress_1e6x10(benchmark::State& state) {
  const TGlmData& d = Glm();
  Kalix::TVec b, se;
  Regress::TGLMStats st{};
  for (auto _ : state) {
    Regress::PoissonRegress(d.counts, d.A, b, st, &se);
    benchmark::DoNotOptimize(b.Data());
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_PoissonRegress_1e6x10)->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------- NIST nonlinear files

using B = std::span<const double>;

struct TNist {
  Kalix::TVec x, y;
  std::vector<double> start[2];
};

// Data lines and starting values of a certified file (columns y, x).
TNist LoadNist(const std::string& name) {
  std::ifstream in(std::string(KALIX_NIST_NLS_DIR) + "/" + name);
  std::vector<std::string> lines;
  for (std::string l; std::getline(in, l);) lines.push_back(l);
  TNist t;
  int first = 0, last = 0;
  std::vector<double> xs, ys;
  for (const std::string& l : lines) {
    if (l.find("Data") != std::string::npos && l.find("(lines") != std::string::npos)
      std::sscanf(l.c_str() + l.find("(lines"), "(lines %d to %d)", &first, &last);
    const auto eq = l.find(" = ");
    if (l.find("  b") == 0 && eq != std::string::npos) {
      double s1 = 0, s2 = 0;
      std::istringstream(l.substr(eq + 3)) >> s1 >> s2;
      t.start[0].push_back(s1);
      t.start[1].push_back(s2);
    }
  }
  for (int i = first; i <= last; ++i) {
    double yv = 0, xv = 0;
    std::istringstream(lines[static_cast<std::size_t>(i - 1)]) >> yv >> xv;
    ys.push_back(yv);
    xs.push_back(xv);
  }
  t.x = Kalix::TVec(xs);
  t.y = Kalix::TVec(ys);
  return t;
}

void FitNist(benchmark::State& state, const char* file, const Regress::TRegressFun& f) {
  const TNist t = LoadNist(file);
  const int s = static_cast<int>(state.range(0));
  Kalix::TVec b, sd;
  Regress::TNLinStats st{};
  for (auto _ : state) {
    b = Kalix::TVec(t.start[s]);
    Regress::NLinRegress(t.x, t.y, f, b, st, nullptr, nullptr, &sd);
    benchmark::DoNotOptimize(b.Data());
  }
  state.counters["iters"] = st.Iterations;
}

void BM_NLinRegress_Misra1a(benchmark::State& s) {
  FitNist(s, "Misra1a.dat", [](B b, double x) { return b[0] * (1 - std::exp(-b[1] * x)); });
}
void BM_NLinRegress_Chwirut1(benchmark::State& s) {
  FitNist(s, "Chwirut1.dat", [](B b, double x) { return std::exp(-b[0] * x) / (b[1] + b[2] * x); });
}
void BM_NLinRegress_MGH10(benchmark::State& s) {
  FitNist(s, "MGH10.dat", [](B b, double x) { return b[0] * std::exp(b[1] / (x + b[2])); });
}
void BM_NLinRegress_Hahn1(benchmark::State& s) {
  FitNist(s, "Hahn1.dat", [](B b, double x) {
    return (b[0] + x * (b[1] + x * (b[2] + x * b[3]))) / (1 + x * (b[4] + x * (b[5] + x * b[6])));
  });
}
void BM_NLinRegress_Gauss1(benchmark::State& s) {
  FitNist(s, "Gauss1.dat", [](B b, double x) {
    return b[0] * std::exp(-b[1] * x) + b[2] * std::exp(-(x - b[3]) * (x - b[3]) / (b[4] * b[4])) +
           b[5] * std::exp(-(x - b[6]) * (x - b[6]) / (b[7] * b[7]));
  });
}
BENCHMARK(BM_NLinRegress_Misra1a)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_NLinRegress_Chwirut1)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_NLinRegress_MGH10)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_NLinRegress_Hahn1)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_NLinRegress_Gauss1)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

}  // namespace
