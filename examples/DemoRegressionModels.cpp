// Demo: a certified nonlinear fit, a logistic regression and a stepwise selection on real data.

#include <cmath>
#include <cstdio>
#include <fstream>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "DemoCsv.h"
#include "KalixStats.h"

namespace {

// A certified nonlinear least-squares file: its data (y, x) and, per parameter, the first
// start, the certified value and its standard deviation.
struct TCertifiedFile {
  std::vector<double> x, y, start, value, sd;
  double sse = 0;
};

std::vector<double> Numbers(const std::string& line) {
  std::vector<double> out;
  std::stringstream ss(line);
  for (std::string tok; ss >> tok;) {
    try {
      std::size_t used = 0;
      const double v = std::stod(tok, &used);
      if (used == tok.size()) out.push_back(v);
    } catch (const std::exception&) {
    }
  }
  return out;
}

TCertifiedFile ReadCertified(const std::string& path) {
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot open " + path);
  TCertifiedFile f;
  bool data = false;
  for (std::string line; std::getline(in, line);) {
    std::stringstream ss(line);
    std::string first;
    ss >> first;
    const std::vector<double> v = Numbers(line);
    if (data && v.size() == 2) {
      f.y.push_back(v[0]);
      f.x.push_back(v[1]);
    } else if (first.size() >= 2 && first[0] == 'b' && v.size() == 4) {  // "b1 = start1 start2 value sd"
      f.start.push_back(v[0]);
      f.value.push_back(v[2]);
      f.sd.push_back(v[3]);
    } else if (line.rfind("Residual Sum of Squares:", 0) == 0 && !v.empty()) {
      f.sse = v.back();
    } else if (line.rfind("Data:", 0) == 0 && v.empty()) {  // "Data:  y  x", not the header's count
      data = true;
    }
  }
  return f;
}

// Misra1a (NIST StRD, dental research): y = b1 (1 - exp(-b2 x)) from the first, far start.
void CertifiedNonlinearFit(const std::string& dir) {
  std::printf("\n== Nonlinear least squares: NIST Misra1a, y = b1 (1 - exp(-b2 x)), first start\n");
  const TCertifiedFile f = ReadCertified(dir + "/Misra1a.dat");
  const Regress::TRegressFun model = [](std::span<const double> b, double x) {
    return b[0] * (1 - std::exp(-b[1] * x));
  };
  Kalix::TVec B(f.start), sd;
  Regress::TNLinStats st{};
  Regress::NLinRegress(Kalix::TVec(f.x), Kalix::TVec(f.y), model, B, st, nullptr, nullptr, &sd);
  std::printf("  %-4s %22s %22s %16s %16s\n", "", "estimate", "certified", "std. dev.", "certified");
  for (int j = 0; j < B.Length(); ++j)
    std::printf("  b%-3d %22.12e %22.12e %16.10e %16.10e\n", j + 1, double(B[j]), f.value[static_cast<std::size_t>(j)],
                double(sd[j]), f.sd[static_cast<std::size_t>(j)]);
  std::printf("  SSE  %22.12e %22.12e   (%d iterations)\n", st.SSE, f.sse, st.Iterations);
}

// Transmission (am = 1 manual) of the 32 cars of Motor Trend 1974 against weight and power.
void LogisticTransmission(const std::string& dir) {
  std::printf("\n== Logistic regression: manual transmission ~ weight (1000 lb) + horsepower, 32 cars\n");
  const auto cols = ReadColumns(dir + "/mtcars.csv");  // mpg cyl disp hp drat wt qsec vs am gear carb
  const Kalix::TVec am(cols.at(8));
  Kalix::TMtx A(static_cast<int>(am.Length()), 2);
  for (int i = 0; i < A.Rows(); ++i) {
    A(i, 0) = cols[5][static_cast<std::size_t>(i)];
    A(i, 1) = cols[3][static_cast<std::size_t>(i)];
  }
  Kalix::TVec B, se, z, p;
  Regress::TGLMStats st{};
  Regress::LogisticRegress(am, A, B, st, &se, &z, &p);
  const char* names[] = {"(Intercept)", "wt", "hp"};
  std::printf("  %-12s %12s %12s %9s %10s\n", "", "estimate", "std. error", "z", "p");
  for (int j = 0; j < B.Length(); ++j)
    std::printf("  %-12s %12.6g %12.6g %9.4f %10.4g\n", names[j], double(B[j]), double(se[j]), double(z[j]),
                double(p[j]));
  std::printf("  deviance %.6g on %d df (null %.6g on %d df), AIC %.6g, %d iterations\n", st.Deviance, st.dfResidual,
              st.NullDeviance, st.dfNull, st.AIC, st.Iterations);

  std::printf("\n== Stepwise regression of fuel economy (mpg) on the ten other columns, by AIC\n");
  const char* columns[] = {"cyl", "disp", "hp", "drat", "wt", "qsec", "vs", "am", "gear", "carb"};
  Kalix::TMtx X(A.Rows(), 10);
  for (int i = 0; i < X.Rows(); ++i)
    for (int j = 0; j < 10; ++j) X(i, j) = cols[static_cast<std::size_t>(j) + 1][static_cast<std::size_t>(i)];
  Kalix::TVecInt sel;
  Kalix::TVec b, bsd;
  Regress::TRegStats rs{};
  std::vector<Regress::TStepwiseStep> path;
  Regress::StepwiseRegress(Kalix::TVec(cols[0]), X, sel, b, rs, &bsd, &path, true, Regress::swBoth, Regress::swcAIC);
  for (const auto& s : path)
    std::printf("  %c %-5s F = %8.4f  p = %.3g  SSE = %8.3f  AIC = %.4f\n", s.Entered ? '+' : '-', columns[s.Column],
                s.F, s.PValue, s.SSE, s.AIC);
  std::printf("  mpg = %.4f", double(b[0]));
  for (int j = 0; j < sel.Length(); ++j) std::printf(" %+.4f %s", double(b[j + 1]), columns[sel[j]]);
  std::printf("   (R2 %.4f, residual s.e. %.4f)\n", rs.R2, rs.StdError);
}

}  // namespace

void DemoRegressionModels(const std::string& dir) {
  CertifiedNonlinearFit(dir);
  LogisticTransmission(dir);
}
