// Demo: an ARIMA(1,1,1) model with a seasonal difference fitted by maximum likelihood to the log
// airline passenger totals (examples/data/air_passengers.csv), its 1961 forecast with 95%
// prediction intervals, and the ARAR forecast of the same months for comparison.

#include <cmath>
#include <cstdio>
#include <string>

#include "DemoCsv.h"
#include "KalixStats.h"

void DemoARIMA(const std::string& dir) {
  using namespace StatTimeSerAnalysis;
  std::printf("\n== Airline passengers: ARIMA(1,1,1) with a seasonal difference, and ARAR\n");
  auto passengers = ReadColumns(dir + "/air_passengers.csv").at(2);
  for (auto& v : passengers) v = std::log(v);
  const Kalix::TVec y(passengers);
  Kalix::TVec phi(1), theta(1), se, f, fse, lo, hi;
  double mu = 0, var = 0;
  TARMAFitStats st;
  ARIMAMLFit(y, phi, theta, mu, var, 1, 1, 12, &se, &st);
  const Kalix::TVec &p = phi, &t = theta, &s = se;
  std::printf("log scale: phi %.3f (se %.3f)  theta %.3f (se %.3f)  sigma^2 %.2e  loglik %.1f  AICc %.1f\n", p[0], s[0],
              t[0], s[1], var, st.LogLik, st.AICc);
  ARIMAForecast(y, phi, theta, mu, var, f, &fse, &lo, &hi, 12, 1, 1, 12);
  Kalix::TVec ar;
  ARARForecast(Kalix::TVec(ReadColumns(dir + "/air_passengers.csv").at(2)), ar, nullptr, nullptr, nullptr, 12);
  const Kalix::TVec &fc = f, &l = lo, &u = hi, &a = ar;
  const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::printf("1961   ARIMA   95%% interval    ARAR\n");
  for (int h = 0; h < 12; ++h)
    std::printf("%s  %6.0f  [%4.0f, %4.0f]  %6.0f\n", months[h], std::exp(fc[h]), std::exp(l[h]), std::exp(u[h]), a[h]);
}
