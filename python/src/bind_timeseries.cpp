// Autocovariance and partial autocorrelation, AR fits, exponential smoothing and forecasts,
// Box-Cox transforms, the Ljung-Box statistic and moving averages.
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
}

}  // namespace kalixpy
