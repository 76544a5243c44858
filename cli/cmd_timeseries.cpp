// acf and forecast: autocorrelations of one column read as a series in row order, and its
// forecasts by exponential smoothing or an ARIMA model fitted by maximum likelihood.
#include <cmath>

#include <fmt/format.h>

#include "Charts.h"
#include "Commands.h"

namespace KalixCli {
namespace {

// The series: one column, in row order, without gaps (a missing value would shift time).
std::vector<double> Series(const Table& table, const Common& common, const std::string& what, std::size_t least,
                           std::string& name) {
  const int c = ExactColumns(table, common, 1, what)[0];
  name = table.names[static_cast<std::size_t>(c)];
  const auto& values = NumericColumn(table, c);
  for (std::size_t r = 0; r < values.size(); ++r)
    if (std::isnan(values[r])) throw CliError(fmt::format("{}: {} has a missing value in data row {}", what, name, r + 1));
  NeedValues(values.size(), least, what, name);
  return values;
}

struct AcfOptions {
  int lags = -1;
};

void RunAcf(const Common& common, const AcfOptions& options) {
  const Table table = LoadTable(common);
  std::string name;
  const std::vector<double> y = Series(table, common, "acf", 3, name);
  const Kalix::TVec x = ViewOf(y);
  const int n = static_cast<int>(y.size());
  const int lags = options.lags > 0 ? std::min(options.lags, n - 1)
                                    : std::min(n - 1, static_cast<int>(std::ceil(10.0 * std::log10(n))));
  Kalix::TVec r, gamma, partial;
  StatTimeSerAnalysis::ACF(x, r, lags + 1);
  StatTimeSerAnalysis::AutoCov(x, gamma, lags + 1);
  StatTimeSerAnalysis::PACF(gamma, partial);
  const double band = 1.96 / std::sqrt(static_cast<double>(n));
  ResultTable result{fmt::format("Autocorrelations of {} (n = {}, band +/-{:.4g})", name, n, band),
                     {"lag", "acf", "pacf", "band"}, {}};
  for (int k = 1; k <= lags; ++k)
    result.rows.push_back({static_cast<std::int64_t>(k), r[k], k - 1 < partial.Length() ? partial[k - 1] : std::nan(""), band});
  WriteAcfSvg({common.svg, common.png}, result, n, name);
  Emit({result}, common);
}

struct ForecastOptions {
  std::string method = "ses";
  int horizon = 12;
  int period = 12;
  std::vector<int> order{1, 0, 0};
  double alpha = 0.05;
};

ResultTable Steps(const std::string& title, const Kalix::TVec& forecast, int first, int h, const Kalix::TVec* se,
                  const Kalix::TVec* lower, const Kalix::TVec* upper) {
  ResultTable t{title, {"step", "forecast"}, {}};
  if (se != nullptr) t.columns.insert(t.columns.end(), {"std.error", "lower", "upper"});
  for (int i = 0; i < h; ++i) {
    std::vector<Cell> row{static_cast<std::int64_t>(i + 1), forecast[first + i]};
    if (se != nullptr) row.insert(row.end(), {(*se)[i], (*lower)[i], (*upper)[i]});
    t.rows.push_back(std::move(row));
  }
  return t;
}

void RunForecast(const Common& common, const ForecastOptions& o) {
  if (o.horizon < 1) throw CliError("forecast: --horizon must be at least 1");
  const Table table = LoadTable(common);
  std::string name;
  const std::vector<double> y = Series(table, common, "forecast", 4, name);
  const Kalix::TVec x = ViewOf(y);
  const int n = static_cast<int>(y.size());
  const int T = n + o.horizon;
  Kalix::TVec yhat;
  double mse = 0;
  std::vector<ResultTable> out;
  ResultTable model{"Model", {"parameter", "value"}, {}};
  if (o.method == "ses") {
    double a = 0.5;
    StatTimeSerAnalysis::SingleExpForecast(x, yhat, a, T, mse, 0);
    model.rows = {{std::string("alpha"), a}, {std::string("mse"), mse}};
    out.push_back(Steps("Forecast of " + name + " (single exponential smoothing)", yhat, n - 1, o.horizon, nullptr, nullptr, nullptr));
  } else if (o.method == "holt") {
    double a = 0.5, g = 0.5;
    StatTimeSerAnalysis::DoubleExpForecast(x, yhat, a, g, T, mse, 0);
    model.rows = {{std::string("alpha"), a}, {std::string("gamma"), g}, {std::string("mse"), mse}};
    out.push_back(Steps("Forecast of " + name + " (Holt)", yhat, n - 1, o.horizon, nullptr, nullptr, nullptr));
  } else if (o.method == "winters") {
    double a = 0.5, b = 0.5, g = 0.5;
    StatTimeSerAnalysis::TripleExpForecast(x, yhat, a, b, g, T, mse, o.period);
    model.rows = {{std::string("alpha"), a}, {std::string("beta"), b}, {std::string("gamma"), g}, {std::string("mse"), mse}};
    out.push_back(Steps("Forecast of " + name + " (Holt-Winters, period " + std::to_string(o.period) + ")", yhat,
                        n - o.period, o.horizon, nullptr, nullptr, nullptr));
  } else if (o.method == "arima") {
    if (o.order.size() != 3 || o.order[0] < 0 || o.order[1] < 0 || o.order[2] < 0)
      throw CliError("forecast: --order takes three non-negative numbers p,d,q");
    Kalix::TVec phi(o.order[0]), theta(o.order[2]), se, lower, upper;
    double mu = 0, variance = 0;
    const double loglik = StatTimeSerAnalysis::ARIMAMLFit(x, phi, theta, mu, variance, o.order[1], 0, 1, nullptr,
                                                          nullptr, o.order[1] == 0);
    StatTimeSerAnalysis::ARIMAForecast(x, phi, theta, mu, variance, yhat, &se, &lower, &upper, o.horizon, o.order[1], 0,
                                       1, o.alpha);
    for (int i = 0; i < phi.Length(); ++i) model.rows.push_back({fmt::format("ar{}", i + 1), phi[i]});
    for (int i = 0; i < theta.Length(); ++i) model.rows.push_back({fmt::format("ma{}", i + 1), theta[i]});
    model.rows.push_back({std::string("mean"), mu});
    model.rows.push_back({std::string("variance"), variance});
    model.rows.push_back({std::string("loglik"), loglik});
    out.push_back(Steps(fmt::format("Forecast of {} (ARIMA({},{},{}))", name, o.order[0], o.order[1], o.order[2]), yhat,
                        0, o.horizon, &se, &lower, &upper));
  } else {
    throw CliError(fmt::format("forecast: unknown method \"{}\" (ses, holt, winters or arima)", o.method));
  }
  out.push_back(std::move(model));
  WriteForecastSvg({common.svg, common.png}, y, out.front(), out.front().title);
  Emit(out, common);
}

}  // namespace

void AddAcfCommand(CLI::App& app, Common& common) {
  auto* sub = app.add_subcommand("acf", "Autocorrelations and partial autocorrelations of one column");
  auto options = std::make_shared<AcfOptions>();
  AddCommonOptions(*sub, common, kWithCharts);
  sub->add_option("--lags", options->lags, "Largest lag (default: ceil(10 log10 n))");
  sub->callback([&common, options] { RunAcf(common, *options); });
}

void AddForecastCommand(CLI::App& app, Common& common) {
  auto* sub = app.add_subcommand("forecast", "Forecasts of one column by exponential smoothing or ARIMA");
  auto options = std::make_shared<ForecastOptions>();
  AddCommonOptions(*sub, common, kWithCharts);
  sub->add_option("-m,--method", options->method, "ses, holt, winters or arima")->capture_default_str();
  sub->add_option("--horizon", options->horizon, "Steps ahead")->capture_default_str();
  sub->add_option("--period", options->period, "Season length (winters)")->capture_default_str();
  sub->add_option("--order", options->order, "ARIMA order p,d,q")->delimiter(',')->expected(3);
  sub->add_option("--alpha", options->alpha, "1 - coverage of the ARIMA prediction bounds")->capture_default_str();
  sub->callback([&common, options] { RunForecast(common, *options); });
}

}  // namespace KalixCli
