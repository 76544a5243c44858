// Compiles and runs against the installed headers and library (shared or static) only.
#include <kalixstats/KalixStats.h>

#include <cmath>
#include <cstdio>

int main() {
  const Kalix::TVec x{4.0, 1.0, 3.0, 2.0};
  const double median = Statistics::Percentile(x, 0.5, Statistics::pctMethodNPlus);
  try {
    Statistics::Percentile(x, 2.0);
    return 1;
  } catch (const Kalix::EKalixError& e) {
    std::printf("consumer: median %.2f, error text \"%s\"\n", median, e.what());
  }
  return std::fabs(median - 2.5) < 1e-15 ? 0 : 1;
}
