// Autocovariance and partial autocorrelation, AR fits, exponential smoothing and forecasts,
// Box-Cox transforms, the Ljung-Box statistic and moving averages.
#include <string>

#include "KalixPy.h"

namespace kalixpy {

using namespace StatTimeSerAnalysis;

namespace {

template <class F>
py::array OneOut(py::handle data, F f) {
  InVec X = ArgVec(data, "data");
  TVec r;
  Unlocked([&] { f(X.v, r); });
  return ToNumpy(std::move(r));
}

py::object ARFit(bool burg, py::handle data, int order) {
  InVec X = ArgVec(data, "data");
  TVec phi(order < 0 ? 0 : order), se;
  double var = 0;
  Unlocked([&] {
    if (burg) ARBurgFit(X, phi, var, &se);
    else ARYuleWalkerFit(X, phi, var, &se);
  });
  const py::object t = RecordType("ARFitResult", "phi variance std_err");
  return t(ToNumpy(std::move(phi)), var, ToNumpy(std::move(se)));
}

// Orders p, q as the lengths of the vectors the estimators fill.
TVec Order(int n) { return TVec(n < 0 ? 0 : n); }

py::object ARMAFit(py::handle data, int p, int q, int extra, bool innovations) {
  InVec X = ArgVec(data, "data");
  TVec phi = Order(p), theta = Order(q);
  double var = 0;
  Unlocked([&] {
    if (innovations) ARMAInnovationsFit(X, phi, theta, var, extra);
    else ARMAHannanRissanenFit(X, phi, theta, var, extra);
  });
  const py::object t = RecordType("ARMAFitResult", "phi theta variance");
  return t(ToNumpy(std::move(phi)), ToNumpy(std::move(theta)), var);
}

// A starting vector of exactly n elements, or zeros of that length when None.
TVec Start(py::handle v, int n, const char* name) {
  if (v.is_none()) return Order(n);
  TVec s = CopyVec(v, name);
  if (s.Length() != n) throw py::value_error(std::string("kalix: ") + name + " must have as many elements as the order");
  return s;
}

py::object MLResult(TVec&& phi, TVec&& theta, double mu, double var, TVec&& se, const TARMAFitStats& s) {
  const py::object t = RecordType(
      "ARMAMLResult", "phi theta mu variance std_err log_lik aic aicc bic iterations stop_reason");
  return t(ToNumpy(std::move(phi)), ToNumpy(std::move(theta)), mu, var, ToNumpy(std::move(se)), s.LogLik, s.AIC,
           s.AICc, s.BIC, s.Iterations, s.StopReason);
}

py::object Forecasts(TVec&& f, TVec&& se, TVec&& lo, TVec&& hi) {
  const py::object t = RecordType("ForecastResult", "forecast std_err lower upper");
  return t(ToNumpy(std::move(f)), ToNumpy(std::move(se)), ToNumpy(std::move(lo)), ToNumpy(std::move(hi)));
}

}  // namespace

void BindTimeSeries(py::module_& m) {
  m.def("auto_cov", [](py::handle d, int lags) { return OneOut(d, [&](const TVec& x, TVec& r) { AutoCov(x, r, lags); }); },
        "data"_a, "lag_count"_a = -1, Doc("StatTimeSerAnalysis::AutoCov", "Biased autocovariances.").c_str());
  m.def("acf", [](py::handle d, int lags) { return OneOut(d, [&](const TVec& x, TVec& r) { ACF(x, r, lags); }); },
        "data"_a, "lag_count"_a = -1, Doc("StatTimeSerAnalysis::ACF", "Autocorrelations.").c_str());
  m.def(
      "pacf",
      [](py::handle gamma, bool full) -> py::object {
        InVec G = ArgVec(gamma, "gamma");
        TVec phi, pc, var;
        if (!full) {
          Unlocked([&] { PACF(G.v, pc); });
          return ToNumpy(std::move(pc));
        }
        Unlocked([&] { PACF(G.v, phi, pc, var); });
        return py::make_tuple(ToNumpy(std::move(phi)), ToNumpy(std::move(pc)), ToNumpy(std::move(var)));
      },
      "gamma"_a, "full"_a = false,
      Doc("StatTimeSerAnalysis::PACF",
          "Partial autocorrelations of an autocovariance sequence; full=True gives (phi, pacf, variances).").c_str());
  m.def(
      "durbin_levinson",
      [](py::handle gamma, int num_evals, int capacity) {
        InVec G = ArgVec(gamma, "gamma");
        TVec phi(capacity > 0 ? capacity : (num_evals > 1 ? num_evals - 1 : 0)), v(phi.Length());
        double s2 = 0;
        Unlocked([&] { DurbinLevinson(G.v, phi, s2, num_evals, &v); });
        return py::make_tuple(ToNumpy(std::move(phi)), s2, ToNumpy(std::move(v)));
      },
      "gamma"_a, "num_evals"_a, "capacity"_a = 0,
      Doc("StatTimeSerAnalysis::DurbinLevinson",
          "(phi, innovation variance, variance per order) of AR order num_evals - 1; capacity sizes phi.").c_str());
  m.def("ar_yule_walker_fit", [](py::handle d, int order) { return ARFit(false, d, order); }, "data"_a, "order"_a,
        Doc("StatTimeSerAnalysis::ARYuleWalkerFit", "Yule-Walker AR(order): (phi, variance, std_err).").c_str());
  m.def("ar_burg_fit", [](py::handle d, int order) { return ARFit(true, d, order); }, "data"_a, "order"_a,
        Doc("StatTimeSerAnalysis::ARBurgFit", "Burg AR(order): (phi, variance, std_err).").c_str());

  // Smoothing: given constants, or fitted from those starting values when fit=True.
  m.def(
      "single_exp_smooth",
      [](py::handle y, double alpha, int init, bool fit) {
        InVec Y = ArgVec(y, "y");
        TVec s;
        double mse = 0;
        Unlocked([&] {
          if (fit) mse = SingleExpSmooth(Y, s, alpha, init);
          else SingleExpSmooth(Y, s, alpha, mse, init);
        });
        const py::object t = RecordType("SingleSmoothResult", "level mse alpha");
        return t(ToNumpy(std::move(s)), mse, alpha);
      },
      "y"_a, "alpha"_a, "init_method"_a = 0, "fit"_a = false,
      Doc("StatTimeSerAnalysis::SingleExpSmooth", "Single exponential smoothing (alpha fitted with fit=True).").c_str());
  m.def(
      "double_exp_smooth",
      [](py::handle y, double alpha, double gamma, int init, bool fit) {
        InVec Y = ArgVec(y, "y");
        TVec s, b;
        double mse = 0;
        Unlocked([&] {
          if (fit) mse = DoubleExpSmooth(Y, s, b, alpha, gamma, init);
          else DoubleExpSmooth(Y, s, b, alpha, gamma, mse, init);
        });
        const py::object t = RecordType("DoubleSmoothResult", "level trend mse alpha gamma");
        return t(ToNumpy(std::move(s)), ToNumpy(std::move(b)), mse, alpha, gamma);
      },
      "y"_a, "alpha"_a, "gamma"_a, "init_method"_a = 0, "fit"_a = false,
      Doc("StatTimeSerAnalysis::DoubleExpSmooth", "Holt's linear smoothing.").c_str());
  m.def(
      "triple_exp_smooth",
      [](py::handle y, double alpha, double beta, double gamma, int period, bool fit) {
        InVec Y = ArgVec(y, "y");
        TVec s, b, i;
        double mse = 0;
        Unlocked([&] {
          if (fit) mse = TripleExpSmooth(Y, s, b, i, alpha, beta, gamma, period);
          else TripleExpSmooth(Y, s, b, i, alpha, beta, gamma, mse, period);
        });
        const py::object t = RecordType("TripleSmoothResult", "level trend season mse alpha beta gamma");
        return t(ToNumpy(std::move(s)), ToNumpy(std::move(b)), ToNumpy(std::move(i)), mse, alpha, beta, gamma);
      },
      "y"_a, "alpha"_a, "beta"_a, "gamma"_a, "period"_a, "fit"_a = false,
      Doc("StatTimeSerAnalysis::TripleExpSmooth", "Holt-Winters multiplicative smoothing.").c_str());
  m.def(
      "single_exp_forecast",
      [](py::handle y, double alpha, int t_end, int init, bool fit) {
        InVec Y = ArgVec(y, "y");
        TVec f;
        double mse = 0;
        Unlocked([&] {
          if (fit) SingleExpForecast(Y, f, alpha, t_end, mse, init);
          else SingleExpForecast(Y, f, alpha, t_end, init);
        });
        return py::make_tuple(ToNumpy(std::move(f)), alpha, mse);
      },
      "y"_a, "alpha"_a, "t"_a, "init_method"_a = 0, "fit"_a = false,
      Doc("StatTimeSerAnalysis::SingleExpForecast", "(forecast, alpha, mse); mse is 0 unless fit=True.").c_str());
  m.def(
      "double_exp_forecast",
      [](py::handle y, double alpha, double gamma, int t_end, int init, bool fit) {
        InVec Y = ArgVec(y, "y");
        TVec f;
        double mse = 0;
        Unlocked([&] {
          if (fit) DoubleExpForecast(Y, f, alpha, gamma, t_end, mse, init);
          else DoubleExpForecast(Y, f, alpha, gamma, t_end, init);
        });
        return py::make_tuple(ToNumpy(std::move(f)), alpha, gamma, mse);
      },
      "y"_a, "alpha"_a, "gamma"_a, "t"_a, "init_method"_a = 0, "fit"_a = false,
      Doc("StatTimeSerAnalysis::DoubleExpForecast", "(forecast, alpha, gamma, mse).").c_str());
  m.def(
      "triple_exp_forecast",
      [](py::handle y, double alpha, double beta, double gamma, int t_end, int period, bool fit) {
        InVec Y = ArgVec(y, "y");
        TVec f;
        double mse = 0;
        Unlocked([&] {
          if (fit) TripleExpForecast(Y, f, alpha, beta, gamma, t_end, mse, period);
          else TripleExpForecast(Y, f, alpha, beta, gamma, t_end, period);
        });
        return py::make_tuple(ToNumpy(std::move(f)), alpha, beta, gamma, mse);
      },
      "y"_a, "alpha"_a, "beta"_a, "gamma"_a, "t"_a, "period"_a, "fit"_a = false,
      Doc("StatTimeSerAnalysis::TripleExpForecast", "(forecast, alpha, beta, gamma, mse).").c_str());

  m.def("box_cox", [](py::handle x, double l) { return OneOut(x, [&](const TVec& a, TVec& r) { BoxCox(a, r, l); }); },
        "x"_a, "lam"_a, Doc("StatTimeSerAnalysis::BoxCox", "Box-Cox transform (elements outside the domain dropped).").c_str());
  m.def("box_cox_inv", [](py::handle y, double l) { return OneOut(y, [&](const TVec& a, TVec& r) { BoxCoxInv(a, r, l); }); },
        "y"_a, "lam"_a, Doc("StatTimeSerAnalysis::BoxCoxInv", "Inverse Box-Cox transform.").c_str());
  m.def("box_ljung", [](py::handle x, int h) { InVec X = ArgVec(x, "x"); return Unlocked([&] { return BoxLjung(X, h); }); },
        "x"_a, "h"_a, Doc("StatTimeSerAnalysis::BoxLjung", "Ljung-Box Q over lags 1..h.").c_str());
  m.def(
      "moving_average",
      [](py::handle y, int n, bool centred) {
        InVec Y = ArgVec(y, "y");
        TVec ma;
        int off = 0;
        const double mse = Unlocked([&] { return MovingAverage(Y, n, ma, off, centred); });
        return py::make_tuple(ToNumpy(std::move(ma)), off, mse);
      },
      "y"_a, "n"_a, "centred"_a = false,
      Doc("StatTimeSerAnalysis::MovingAverage", "(moving averages, offset, mean squared deviation).").c_str());
  // ARMA, ARIMA and ARAR. phi has the sign of ar_yule_walker_fit, theta the plus sign.
  m.def("arma_innovations_fit", [](py::handle d, int p, int q, int m_) { return ARMAFit(d, p, q, m_, true); },
        "data"_a, "p"_a, "q"_a, "m"_a = -1,
        Doc("StatTimeSerAnalysis::ARMAInnovationsFit",
            "Preliminary ARMA(p, q) by the innovations algorithm of order m (m < 1: p + q): (phi, theta, variance).").c_str());
  m.def("arma_hannan_rissanen_fit",
        [](py::handle d, int p, int q, int ar_long_order) { return ARMAFit(d, p, q, ar_long_order, false); }, "data"_a,
        "p"_a, "q"_a, "ar_long_order"_a = -1,
        Doc("StatTimeSerAnalysis::ARMAHannanRissanenFit", "Hannan-Rissanen ARMA(p, q): (phi, theta, variance).").c_str());
  m.def(
      "arma_ml_fit",
      [](py::handle data, int p, int q, double mu, bool fit_mean, py::handle start_phi, py::handle start_theta,
         int max_iter, double tol) {
        InVec X = ArgVec(data, "data");
        TVec phi = Start(start_phi, p, "start_phi"), theta = Start(start_theta, q, "start_theta"), se;
        const bool use_start = !start_phi.is_none() || !start_theta.is_none();
        double var = 0;
        TARMAFitStats st;
        Unlocked([&] { ARMAMLFit(X, phi, theta, mu, var, &se, &st, fit_mean, use_start, max_iter, tol); });
        return MLResult(std::move(phi), std::move(theta), mu, var, std::move(se), st);
      },
      "data"_a, "p"_a, "q"_a, "mu"_a = 0.0, "fit_mean"_a = true, "start_phi"_a = py::none(),
      "start_theta"_a = py::none(), "max_iter"_a = 500, "tolerance"_a = 1e-12,
      Doc("StatTimeSerAnalysis::ARMAMLFit",
          "Exact Gaussian maximum-likelihood ARMA(p, q), from start_phi/start_theta when given (else Hannan-Rissanen); "
          "mu is estimated when fit_mean, else taken as given.").c_str());
  m.def(
      "arima_ml_fit",
      [](py::handle data, int p, int d, int q, int seasonal_d, int period, double mu, bool fit_mean) {
        InVec X = ArgVec(data, "data");
        TVec phi = Order(p), theta = Order(q), se;
        double var = 0;
        TARMAFitStats st;
        Unlocked([&] { ARIMAMLFit(X, phi, theta, mu, var, d, seasonal_d, period, &se, &st, fit_mean); });
        return MLResult(std::move(phi), std::move(theta), mu, var, std::move(se), st);
      },
      "data"_a, "p"_a, "d"_a, "q"_a, "seasonal_d"_a = 0, "period"_a = 1, "mu"_a = 0.0, "fit_mean"_a = false,
      Doc("StatTimeSerAnalysis::ARIMAMLFit",
          "arma_ml_fit of the series differenced d times at lag 1 and seasonal_d times at lag period.").c_str());
  m.def(
      "arma_forecast",
      [](py::handle data, py::handle phi, py::handle theta, double mu, double variance, int horizon, double alpha) {
        InVec X = ArgVec(data, "data"), P = ArgVec(phi, "phi"), T = ArgVec(theta, "theta");
        TVec f, se, lo, hi;
        Unlocked([&] { ARMAForecast(X, P, T, mu, variance, f, &se, &lo, &hi, horizon, alpha); });
        return Forecasts(std::move(f), std::move(se), std::move(lo), std::move(hi));
      },
      "data"_a, "phi"_a, "theta"_a, "mu"_a, "variance"_a, "horizon"_a, "alpha"_a = 0.05,
      Doc("StatTimeSerAnalysis::ARMAForecast", "Forecasts 1..horizon with standard errors and 1 - alpha bounds.").c_str());
  m.def(
      "arima_forecast",
      [](py::handle data, py::handle phi, py::handle theta, double mu, double variance, int horizon, int d,
         int seasonal_d, int period, double alpha) {
        InVec X = ArgVec(data, "data"), P = ArgVec(phi, "phi"), T = ArgVec(theta, "theta");
        TVec f, se, lo, hi;
        Unlocked([&] {
          ARIMAForecast(X, P, T, mu, variance, f, &se, &lo, &hi, horizon, d, seasonal_d, period, alpha);
        });
        return Forecasts(std::move(f), std::move(se), std::move(lo), std::move(hi));
      },
      "data"_a, "phi"_a, "theta"_a, "mu"_a, "variance"_a, "horizon"_a, "d"_a, "seasonal_d"_a = 0, "period"_a = 1,
      "alpha"_a = 0.05,
      Doc("StatTimeSerAnalysis::ARIMAForecast", "ARIMA forecasts (mu is the mean of the differenced series).").c_str());
  m.def(
      "arma_simulate",
      [](py::handle phi, py::handle theta, double mu, double variance, int n, int burn_in, int seed, py::handle dtype) {
        InVec P = ArgVec(phi, "phi"), T = ArgVec(theta, "theta");
        if (n < 0) Kalix::ERaise("kalix: n < 0");
        TVec r(n, DrawPrecision(dtype));
        Unlocked([&] { ARMASimulate(P, T, mu, variance, r, burn_in, seed); });
        return ToNumpy(std::move(r));
      },
      "phi"_a, "theta"_a, "mu"_a, "variance"_a, "n"_a, "burn_in"_a = -1, "seed"_a = -1, "dtype"_a = py::none(),
      Doc("StatTimeSerAnalysis::ARMASimulate", "n values of a Gaussian ARMA path; seed=-1 takes a fresh seed.").c_str());
  m.def(
      "arima_simulate",
      [](py::handle phi, py::handle theta, double mu, double variance, int n, int d, int seasonal_d, int period,
         int burn_in, int seed, py::handle dtype) {
        InVec P = ArgVec(phi, "phi"), T = ArgVec(theta, "theta");
        if (n < 0) Kalix::ERaise("kalix: n < 0");
        TVec r(n, DrawPrecision(dtype));
        Unlocked([&] { ARIMASimulate(P, T, mu, variance, r, d, seasonal_d, period, burn_in, seed); });
        return ToNumpy(std::move(r));
      },
      "phi"_a, "theta"_a, "mu"_a, "variance"_a, "n"_a, "d"_a, "seasonal_d"_a = 0, "period"_a = 1, "burn_in"_a = -1,
      "seed"_a = -1, "dtype"_a = py::none(),
      Doc("StatTimeSerAnalysis::ARIMASimulate", "n values of an ARIMA path (the ARMA path summed d and seasonal_d "
                                                "times).").c_str());
  m.def(
      "arar_forecast",
      [](py::handle data, int horizon, double alpha, int max_lag) {
        InVec X = ArgVec(data, "data");
        TVec f, se, lo, hi;
        TARARModel md;
        Unlocked([&] { ARARForecast(X, f, &se, &lo, &hi, horizon, alpha, max_lag, &md); });
        const py::object mt = RecordType("ARARModel", "shortening lags coeffs variance mean filter");
        const py::object t = RecordType("ARARResult", "forecast std_err lower upper model");
        py::object model = mt(ToNumpy(std::move(md.Shortening)), py::cast(md.Lags), py::cast(md.Coeffs), md.Variance,
                              md.Mean, ToNumpy(std::move(md.Filter)));
        return t(ToNumpy(std::move(f)), ToNumpy(std::move(se)), ToNumpy(std::move(lo)), ToNumpy(std::move(hi)), model);
      },
      "data"_a, "horizon"_a, "alpha"_a = 0.05, "max_lag"_a = 26,
      Doc("StatTimeSerAnalysis::ARARForecast", "ARAR forecasts with standard errors, bounds and the fitted model "
                                               "(max_lag 26 for monthly data, 13 for quarterly).").c_str());
}

}  // namespace kalixpy
