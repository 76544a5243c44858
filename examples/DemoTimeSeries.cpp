// Demo: Holt-Winters forecast of the monthly airline passenger totals 1949-1960 (R's data set
// AirPassengers, exported to examples/data/air_passengers.csv), with the autocorrelations and a
// Ljung-Box check of the seasonal pattern.

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "KalixStats.h"

namespace {

// The third column of the CSV (passengers, in thousands), skipping the header line.
Kalix::TVec ReadPassengers(const std::string& path) {
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot open " + path);
  std::vector<double> v;
  std::string line;
  std::getline(in, line);
  while (std::getline(in, line)) {
    std::stringstream ss(line);
    std::string cell;
    for (int c = 0; c < 3 && std::getline(ss, cell, ','); ++c)
      if (c == 2) v.push_back(std::stod(cell));
  }
  return Kalix::TVec(v);
}

}  // namespace

void DemoTimeSeries(const std::string& dir) {
  using namespace StatTimeSerAnalysis;
  std::printf("\n== Airline passengers 1949-1960 (thousands per month): Holt-Winters forecast\n");
  const Kalix::TVec y = ReadPassengers(dir + "/air_passengers.csv");
  Kalix::TVec acf;
  ACF(y, acf, 25);
  const Kalix::TVec& r = acf;
  std::printf("autocorrelation at lags 1, 6, 12, 24: %.3f %.3f %.3f %.3f   Ljung-Box Q(24) = %.1f\n", r[1], r[6],
              r[12], r[24], BoxLjung(y, 24));
  double alpha = 0.3, beta = 0.1, gamma = 0.1, mse = 0;
  Kalix::TVec yhat;
  const int period = 12, n = y.Length();
  TripleExpForecast(y, yhat, alpha, beta, gamma, n + period, mse, period);
  std::printf("fitted constants: level %.4f   season %.4f   trend %.4f   one-step RMSE %.2f\n", alpha, beta, gamma,
              std::sqrt(mse));
  const Kalix::TVec& f = yhat;
  const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::printf("1961 forecast:");
  for (int h = 0; h < period; ++h) std::printf(" %s %.0f", months[h], f[f.Length() - period + h]);
  std::printf("\n");
}
