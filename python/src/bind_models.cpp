// Ready-made regression models: evaluation at a point or over an array, fits, derivatives.
#include "KalixPy.h"

namespace kalixpy {

using namespace RegModels;

namespace {

// A model evaluated at a number (returns a number) or over an array (returns an array).
template <class S, class V>
py::object Eval(py::handle b, py::handle x, S scalar, V vector) {
  InVec B = ArgDoubles(b, "b");
  if (PyFloat_Check(x.ptr()) || PyLong_Check(x.ptr())) {
    const double v = x.cast<double>();
    return py::float_(Unlocked([&] { return scalar(B.v.Span<double>(), v); }));
  }
  InVec X = ArgVec(x, "x");
  TVec y;
  Unlocked([&] { vector(B.v.Span<double>(), X.v, y); });
  return ToNumpy(std::move(y));
}

// Fits write B; the weights are optional.
template <class F>
py::array Fit(py::handle x, py::handle y, py::handle weights, F fit) {
  InVec X = ArgVec(x, "x"), Y = ArgVec(y, "y");
  auto W = ArgVecOpt(weights, "weights");
  TVec b;
  Unlocked([&] { fit(b, X.v, Y.v, W ? &W->v : nullptr); });
  return ToNumpy(std::move(b));
}

}  // namespace

void BindModels(py::module_& m) {
  py::enum_<TRegressionModel>(m, "RegressionModel", "C++: RegModels::TRegressionModel.")
      .value("line", rmLine).value("power", rmPower).value("poly", rmPoly).value("exp", rmExp)
      .value("mul_lin", rmMulLi).value("logistic", rmLogistic).value("frac", rmFrac).value("ln", rmLn);
#define KALIX_EVAL(PY, CPP, DOC)                                                                          \
  m.def(                                                                                                  \
      PY,                                                                                                 \
      [](py::handle b, py::handle x) {                                                                    \
        return Eval(                                                                                      \
            b, x, [](std::span<const double> B, double v) { return CPP(B, v); },                          \
            [](std::span<const double> B, const TVec& X, TVec& Y) { CPP(B, X, Y); });                     \
      },                                                                                                  \
      "b"_a, "x"_a, Doc("RegModels::" #CPP, DOC).c_str())
  KALIX_EVAL("line_eval", LineEval, "b[0] + b[1] x.");
  KALIX_EVAL("power_eval", PowerEval, "b[0] x^b[1].");
  KALIX_EVAL("exp_eval", ExpEval, "b[0] exp(b[1] x).");
  KALIX_EVAL("ln_eval", LnEval, "b[0] + b[1] ln x.");
#undef KALIX_EVAL
  m.def(
      "logistic_eval",
      [](py::handle b, py::handle x, bool four) {
        return Eval(
            b, x, [&](std::span<const double> B, double v) { return LogisticEval(B, v, four); },
            [&](std::span<const double> B, const TVec& X, TVec& Y) { LogisticEval(B, X, Y, four); });
      },
      "b"_a, "x"_a, "four_param"_a = true, Doc("RegModels::LogisticEval", "Logistic model of 4 parameters.").c_str());
  m.def(
      "frac_eval",
      [](py::handle b, py::handle x, int num_deg, bool constant) {
        return Eval(
            b, x, [&](std::span<const double> B, double v) { return FracEval(B, v, num_deg, constant); },
            [&](std::span<const double> B, const TVec& X, TVec& Y) { FracEval(B, X, Y, num_deg, constant); });
      },
      "b"_a, "x"_a, "num_deg"_a, "constant"_a = true, Doc("RegModels::FracEval", "Rational model.").c_str());
  m.def(
      "mul_lin_eval",
      [](py::handle b, py::handle a, bool constant) -> py::object {
        InVec B = ArgDoubles(b, "b");
        auto arr = py::array::ensure(a);
        if (arr && arr.ndim() == 1) {
          InVec X = ArgVec(a, "a");
          return py::float_(Unlocked([&] { return MulLinEval(B.v.Span<double>(), X.v, constant); }));
        }
        InMtx A = ArgMtx(a, "a");
        TVec y;
        Unlocked([&] { MulLinEval(B.v.Span<double>(), A.m, y, constant); });
        return ToNumpy(std::move(y));
      },
      "b"_a, "a"_a, "constant"_a = true,
      Doc("RegModels::MulLinEval", "Multiple linear model at one design row (a vector) or every row of a matrix.").c_str());

  m.def("line_fit", [](py::handle x, py::handle y, py::handle w) {
    return Fit(x, y, w, [](TVec& b, const TVec& X, const TVec& Y, const TVec* W) { LineFit(b, X, Y, W); });
  }, "x"_a, "y"_a, "weights"_a = py::none(), Doc("RegModels::LineFit", "Least-squares line.").c_str());
  m.def("power_fit", [](py::handle x, py::handle y, py::handle w) {
    return Fit(x, y, w, [](TVec& b, const TVec& X, const TVec& Y, const TVec* W) { PowerFit(b, X, Y, W); });
  }, "x"_a, "y"_a, "weights"_a = py::none(), Doc("RegModels::PowerFit", "Power model through logarithms.").c_str());
  m.def("exp_fit", [](py::handle x, py::handle y, py::handle w) {
    return Fit(x, y, w, [](TVec& b, const TVec& X, const TVec& Y, const TVec* W) { ExpFit(b, X, Y, W); });
  }, "x"_a, "y"_a, "weights"_a = py::none(), Doc("RegModels::ExpFit", "Exponential model through ln y.").c_str());
  m.def("ln_fit", [](py::handle x, py::handle y, py::handle w) {
    return Fit(x, y, w, [](TVec& b, const TVec& X, const TVec& Y, const TVec* W) { LnFit(b, X, Y, W); });
  }, "x"_a, "y"_a, "weights"_a = py::none(), Doc("RegModels::LnFit", "Logarithmic model through ln x.").c_str());
  m.def("logistic_fit", [](py::handle x, py::handle y, bool four, py::handle w) {
    return Fit(x, y, w, [&](TVec& b, const TVec& X, const TVec& Y, const TVec* W) { LogisticFit(b, X, Y, four, W); });
  }, "x"_a, "y"_a, "four_param"_a = true, "weights"_a = py::none(),
     Doc("RegModels::LogisticFit", "Logistic model by linearisation.").c_str());
  m.def("frac_fit", [](py::handle x, py::handle y, int nd, int dd, bool constant, py::handle w) {
    return Fit(x, y, w,
               [&](TVec& b, const TVec& X, const TVec& Y, const TVec* W) { FracFit(b, X, Y, nd, dd, constant, W); });
  }, "x"_a, "y"_a, "num_deg"_a, "den_deg"_a, "constant"_a = true, "weights"_a = py::none(),
     Doc("RegModels::FracFit", "Rational model by linear least squares.").c_str());
  m.def(
      "mul_lin_fit",
      [](py::handle a, py::handle y, bool constant, py::handle weights) {
        InMtx A = ArgMtx(a, "a");
        InVec Y = ArgVec(y, "y");
        auto W = ArgVecOpt(weights, "weights");
        TVec b;
        Unlocked([&] { MulLinFit(b, A, Y, constant, W ? &W->v : nullptr); });
        return ToNumpy(std::move(b));
      },
      "a"_a, "y"_a, "constant"_a = true, "weights"_a = py::none(),
      Doc("RegModels::MulLinFit", "Multiple linear model by QR.").c_str());

  // The derivative routines use the model's value y, not a model function.
  m.def(
      "line_deriv",
      [](double x, double y, py::handle pars, bool single) {
        InVec P = ArgDoubles(pars, "pars");
        TVec g;
        const auto prec = single ? Kalix::mvSingle : Kalix::mvDouble;
        Unlocked([&] { LineDeriv({}, x, y, P.v.Span<double>(), g, prec); });
        return ToNumpy(std::move(g));
      },
      "x"_a, "y"_a, "pars"_a, "single"_a = false, Doc("RegModels::LineDeriv", "Gradient of the line, [0, x].").c_str());
  m.def(
      "power_deriv",
      [](double x, double y, py::handle pars) {
        InVec P = ArgDoubles(pars, "pars");
        TVec g(2);
        Unlocked([&] { PowerDeriv({}, x, y, P.v.Span<double>(), g); });
        return ToNumpy(std::move(g));
      },
      "x"_a, "y"_a, "pars"_a, Doc("RegModels::PowerDeriv", "Gradient of the power model from its value y.").c_str());
  m.def(
      "exp_deriv",
      [](double x, double y, py::handle pars, bool single) {
        InVec P = ArgDoubles(pars, "pars");
        TVec g;
        const auto prec = single ? Kalix::mvSingle : Kalix::mvDouble;
        Unlocked([&] { ExpDeriv({}, x, y, P.v.Span<double>(), g, prec); });
        return ToNumpy(std::move(g));
      },
      "x"_a, "y"_a, "pars"_a, "single"_a = false,
      Doc("RegModels::ExpDeriv", "Gradient of the exponential model from its value y.").c_str());
}

}  // namespace kalixpy
