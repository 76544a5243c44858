// regress: least squares of one column on others, with a constant unless --no-constant,
// optionally weighted; coefficients with t tests and intervals, then the fit.
#include "Commands.h"

#include <cmath>

#include <fmt/format.h>

namespace KalixCli {
namespace {

struct RegressOptions {
  std::string response, weights;
  bool noConstant = false;
  double alpha = 0.05;
};

void Run(const Common& common, const RegressOptions& options) {
  if (!(options.alpha > 0.0 && options.alpha < 1.0)) throw CliError("regress: --alpha must lie in (0, 1)");
  Common load = common;
  const Table table = LoadTable(load);
  const int y = ColumnIndex(table, options.response);
  NumericColumn(table, y);
  std::vector<int> xs;
  if (!common.columns.empty()) {
    xs = ChosenColumns(table, common);
  } else {
    for (int c : ChosenColumns(table, common))
      if (c != y && (options.weights.empty() || c != ColumnIndex(table, options.weights))) xs.push_back(c);
  }
  if (xs.empty()) throw CliError("regress: no predictor column");
  const int w = options.weights.empty() ? -1 : ColumnIndex(table, options.weights);
  if (w >= 0) NumericColumn(table, w);

  // Rows with a missing cell in any column used are left out.
  std::vector<std::size_t> rows;
  for (std::size_t r = 0; r < table.rows; ++r) {
    bool complete = !std::isnan(table.columns[static_cast<std::size_t>(y)][r]) &&
                    (w < 0 || !std::isnan(table.columns[static_cast<std::size_t>(w)][r]));
    for (int c : xs) complete = complete && !std::isnan(table.columns[static_cast<std::size_t>(c)][r]);
    if (complete) rows.push_back(r);
  }
  const bool constant = !options.noConstant;
  const std::size_t p = xs.size() + (constant ? 1 : 0);
  NeedValues(rows.size(), p + 1, "regress", "the complete rows");

  const int n = static_cast<int>(rows.size());
  Kalix::TVec Y(n), W(n);
  Kalix::TMtx A(n, static_cast<int>(xs.size()));
  for (int i = 0; i < n; ++i) {
    const std::size_t r = rows[static_cast<std::size_t>(i)];
    Y[i] = table.columns[static_cast<std::size_t>(y)][r];
    if (w >= 0) W[i] = table.columns[static_cast<std::size_t>(w)][r];
    for (std::size_t j = 0; j < xs.size(); ++j) A(i, static_cast<int>(j)) = table.columns[static_cast<std::size_t>(xs[j])][r];
  }
  Kalix::TVec B, YCalc, Residuals, BStdDev;
  Kalix::TMtx V;
  Regress::TRegStats stats{};
  if (w >= 0) {
    Regress::MulLinRegress(Y, A, B, W, constant, &YCalc, &V);
    Regress::RegressTest(Y, YCalc, V, stats, Residuals, BStdDev, constant, &W);
  } else {
    Regress::MulLinRegress(Y, A, B, constant, &YCalc, &V);
    Regress::RegressTest(Y, YCalc, V, stats, Residuals, BStdDev, constant);
  }

  const double df = stats.dfE;
  const double tCrit = Kalix::StudentCDFInv(1.0 - options.alpha / 2.0, df);
  ResultTable coef{fmt::format("Coefficients of {} ({} rows)", options.response, n),
                   {"term", "estimate", "std.error", "statistic", "p.value", "conf.low", "conf.high"},
                   {}};
  for (int k = 0; k < B.Length(); ++k) {
    const std::string term =
        constant && k == 0 ? "(Intercept)" : table.names[static_cast<std::size_t>(xs[static_cast<std::size_t>(k - (constant ? 1 : 0))])];
    const double est = B[k], se = BStdDev[k], t = est / se;
    const double pValue = 2.0 * Kalix::StudentCDF(-std::fabs(t), df);
    coef.rows.push_back({term, est, se, t, pValue, est - tCrit * se, est + tCrit * se});
  }
  ResultTable fit{"Fit", {"r.squared", "adj.r.squared", "sigma", "statistic", "p.value", "df", "df.residual", "nobs"}, {}};
  fit.rows.push_back({stats.R2, stats.AdjustedR2, stats.StdError, stats.FStats.F, stats.FStats.Signif,
                      static_cast<std::int64_t>(stats.FStats.dFR), static_cast<std::int64_t>(stats.dfE),
                      static_cast<std::int64_t>(n)});
  Emit({coef, fit}, common);
}

}  // namespace

void AddRegressCommand(CLI::App& app, Common& common) {
  auto* sub = app.add_subcommand("regress", "Linear regression of one column on others (-c), with a constant");
  auto options = std::make_shared<RegressOptions>();
  AddCommonOptions(*sub, common);
  sub->add_option("-y,--response", options->response, "Response column")->required();
  sub->add_option("-w,--weights", options->weights, "Column of weights (weighted least squares)");
  sub->add_flag("--no-constant", options->noConstant, "Fit without the constant term");
  sub->add_option("--alpha", options->alpha, "1 - confidence level of the intervals")->capture_default_str();
  sub->callback([&common, options] { Run(common, *options); });
}

}  // namespace KalixCli
