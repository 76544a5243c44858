// Linear, biased, nonlinear and generalised linear regression; analysis of variance.
#include <cmath>
#include <vector>

#include "KalixPy.h"

namespace kalixpy {

using namespace Regress;

namespace {

py::object Stats(const TRegStats& s) {
  const py::object f = RecordType("FStats", "sse ssr dfe dfr f signif");
  const py::object r = RecordType("RegStats", "sse sst ssr residual_var r2 adjusted_r2 dfe dft std_error f_stats");
  const auto& F = s.FStats;
  return r(s.SSE, s.SST, s.SSR, s.ResidualVar, s.R2, s.AdjustedR2, s.dfE, s.dfT, s.StdError,
           f(F.SSE, F.SSR, F.dFE, F.dFR, F.F, F.Signif));
}

py::object Anova1(const TANOVA1Result& a, double p) {
  const py::object t = RecordType("Anova1Result", "ss1 ss2 ss_total deg1 deg2 deg_total ms1 ms2 f f_crit pvalue");
  return t(a.SS1, a.SS2, a.SSTotal, a.Deg1, a.Deg2, a.DegTotal, a.MS1, a.MS2, a.FDist, a.FCrit, p);
}

TRegSolveMethod Solver(py::handle h) {
  return h.is_none() ? regSolveLQR : static_cast<TRegSolveMethod>(EnumArg(h, "method", {"qr", "svd", "lu"}));
}

// A Python model f(b, x) -> float as the library's model function (called with the lock held).
TRegressFun Model(py::function f) {
  return [f](std::span<const double> b, double x) {
    py::array_t<double> pb(static_cast<py::ssize_t>(b.size()), b.data());
    return f(pb, x).cast<double>();
  };
}

py::object Glm(bool logistic, py::handle y, py::handle a, bool constant, py::handle extra, int max_iter, double tol) {
  InVec Y = ArgVec(y, "y");
  InMtx A = ArgMtx(a, "a");
  auto E = ArgVecOpt(extra, logistic ? "trials" : "offset");
  TVec b, se, z, pv, yc;
  TMtx cov;
  TGLMStats s{};
  Unlocked([&] {
    if (logistic)
      LogisticRegress(Y, A, b, s, &se, &z, &pv, &cov, &yc, constant, E ? &E->v : nullptr, max_iter, tol);
    else
      PoissonRegress(Y, A, b, s, &se, &z, &pv, &cov, &yc, constant, E ? &E->v : nullptr, max_iter, tol);
  });
  const py::object st = RecordType("GLMStats", "deviance null_deviance log_lik aic df_residual df_null iterations converged");
  const py::object t = RecordType("GLMResult", "b std_err z pvalues cov fitted stats");
  return t(ToNumpy(std::move(b)), ToNumpy(std::move(se)), ToNumpy(std::move(z)), ToNumpy(std::move(pv)),
           ToNumpy(std::move(cov)), ToNumpy(std::move(yc)),
           st(s.Deviance, s.NullDeviance, s.LogLik, s.AIC, s.dfResidual, s.dfNull, s.Iterations, s.Converged));
}

}  // namespace

void BindRegress(py::module_& m) {
  static py::handle fit = RecordType("LinearFit", "b fitted v");
  m.def(
      "lin_regress",
      [](py::handle x, py::handle y, bool constant, py::handle weights) {
        InVec X = ArgVec(x, "x"), Y = ArgVec(y, "y");
        auto W = ArgVecOpt(weights, "weights");
        TVec b, yc;
        TMtx v;
        Unlocked([&] { LinRegress(X, Y, b, constant, W ? &W->v : nullptr, &yc, &v); });
        return fit(ToNumpy(std::move(b)), ToNumpy(std::move(yc)), ToNumpy(std::move(v)));
      },
      "x"_a, "y"_a, "constant"_a = true, "weights"_a = py::none(),
      Doc("Regress::LinRegress", "Straight-line fit: (b, fitted values, inverse normal matrix v).").c_str());
  m.def(
      "mul_lin_regress",
      [](py::handle y, py::handle a, bool constant, py::handle weights, py::handle method) {
        InVec Y = ArgVec(y, "y");
        InMtx A = ArgMtx(a, "a");
        auto W = ArgVecOpt(weights, "weights");
        const auto how = Solver(method);
        TVec b, yc;
        TMtx v;
        Unlocked([&] {
          if (W) MulLinRegress(Y, A, b, W->v, constant, &yc, &v, how);
          else MulLinRegress(Y, A, b, constant, &yc, &v, how);
        });
        return fit(ToNumpy(std::move(b)), ToNumpy(std::move(yc)), ToNumpy(std::move(v)));
      },
      "y"_a, "a"_a, "constant"_a = true, "weights"_a = py::none(), "method"_a = py::none(),
      Doc("Regress::MulLinRegress", "Least squares of y on [1 | a] (or a): (b, fitted, v); method 'qr', 'svd' or 'lu'.")
          .c_str());
  m.def(
      "regress_test",
      [](py::handle y, py::handle ycalc, py::handle v, bool constant, py::handle weights) -> py::object {
        InVec Y = ArgVec(y, "y"), YC = ArgVec(ycalc, "ycalc");
        auto W = ArgVecOpt(weights, "weights");
        TRegStats s{};
        if (PyLong_Check(v.ptr())) {
          const int k = v.cast<int>();
          Unlocked([&] { RegressTest(Y, YC, k, s, constant, W ? &W->v : nullptr); });
          return Stats(s);
        }
        InMtx V = ArgMtx(v, "v");
        TVec res, sd;
        Unlocked([&] { RegressTest(Y, YC, V, s, res, sd, constant, W ? &W->v : nullptr); });
        return py::make_tuple(Stats(s), ToNumpy(std::move(res)), ToNumpy(std::move(sd)));
      },
      "y"_a, "ycalc"_a, "v"_a, "constant"_a = true, "weights"_a = py::none(),
      Doc("Regress::RegressTest",
          "Regression statistics for num_params (an int), or with v (a matrix) also (residuals, parameter standard "
          "errors).").c_str());
  m.def("r2", [](py::handle y, py::handle yc) {
    InVec Y = ArgVec(y, "y"), YC = ArgVec(yc, "ycalc");
    return Unlocked([&] { return R2(Y, YC); });
  }, "y"_a, "ycalc"_a, Doc("Regress::R2", "1 - SSE/SST.").c_str());
  m.def("press", [](py::handle a, py::handle y) {
    InMtx A = ArgMtx(a, "a");
    InVec Y = ArgVec(y, "y");
    return Unlocked([&] { return PRESS(A, Y); });
  }, "a"_a, "y"_a, Doc("Regress::PRESS", "Prediction sum of squares of y on [1 | a].").c_str());
  m.def(
      "anova1",
      [](py::handle data, py::handle groups, double alpha) {
        double p = 0;
        TANOVA1Result r{};
        if (groups.is_none()) {
          InMtx D = ArgMtx(data, "data");
          Unlocked([&] { r = ANOVA1(D.m, p, alpha); });
        } else {
          InVec D = ArgVec(data, "data");
          InInt G = ArgInt(groups, "groups");
          Unlocked([&] { r = ANOVA1(D.v, G.v, p, alpha); });
        }
        return Anova1(r, p);
      },
      "data"_a, "groups"_a = py::none(), "alpha"_a = 0.05,
      Doc("Regress::ANOVA1", "One-way ANOVA of a matrix's columns, or of data with group numbers.").c_str());
  m.def(
      "anova2",
      [](py::handle data, int reps, double alpha) {
        InMtx D = ArgMtx(data, "data");
        double pr = 0, pc = 0, pi = 0;
        TANOVA2Result a{};
        Unlocked([&] { a = ANOVA2(D.m, pr, pc, pi, reps, alpha); });
        const py::object t = RecordType(
            "Anova2Result",
            "ss1 ss2 ss3 ss4 ss_total deg1 deg2 deg3 deg4 deg_total ms1 ms2 ms3 ms4 f1 f2 f3 f_crit1 f_crit2 f_crit3 "
            "p_rows p_cols p_inter");
        return t(a.SS1, a.SS2, a.SS3, a.SS4, a.SSTotal, a.Deg1, a.Deg2, a.Deg3, a.Deg4, a.DegTotal, a.MS1, a.MS2, a.MS3,
                 a.MS4, a.FDist1, a.FDist2, a.FDist3, a.FCrit1, a.FCrit2, a.FCrit3, pr, pc, pi);
      },
      "data"_a, "replications"_a = 1, "alpha"_a = 0.05, Doc("Regress::ANOVA2", "Two-way ANOVA.").c_str());
  m.def(
      "ridge_regress",
      [](py::handle y, py::handle a, double k, bool standardized) {
        InVec Y = ArgVec(y, "y");
        InMtx A = ArgMtx(a, "a");
        TVec b;
        Unlocked([&] { RidgeRegress(Y, A, k, b, standardized); });
        return ToNumpy(std::move(b));
      },
      "y"_a, "a"_a, "k"_a, "standardized"_a = false, Doc("Regress::RidgeRegress", "Ridge coefficients.").c_str());
  m.def(
      "ridge_optimal_k",
      [](py::handle y, py::handle a) {
        InVec Y = ArgVec(y, "y");
        InMtx A = ArgMtx(a, "a");
        double k = 0;
        Unlocked([&] { RidgeOptimalk(Y, A, k); });
        return k;
      },
      "y"_a, "a"_a, Doc("Regress::RidgeOptimalk", "Ridge constant minimising the mean squared error.").c_str());
  m.def(
      "pc_regress",
      [](py::handle y, py::handle a, int num_comp, py::handle weights) {
        InVec Y = ArgVec(y, "y");
        InMtx A = ArgMtx(a, "a");
        auto W = ArgVecOpt(weights, "weights");
        TVec b, yc, sd;
        Unlocked([&] {
          if (W) PCRegress(Y, A, b, W->v, &yc, &sd, num_comp);
          else PCRegress(Y, A, b, &yc, &sd, num_comp);
        });
        return py::make_tuple(ToNumpy(std::move(b)), ToNumpy(std::move(yc)), ToNumpy(std::move(sd)));
      },
      "y"_a, "a"_a, "num_comp"_a, "weights"_a = py::none(),
      Doc("Regress::PCRegress", "Principal-component regression: (b, fitted, slope standard deviations).").c_str());

  // Nonlinear least squares: the model is a Python callable f(b, x), so the lock stays held.
  m.def(
      "numeric_derive",
      [](py::function f, double x, double y, py::handle pars, bool central) {
        InVec P = ArgDoubles(pars, "pars");
        TVec g;
        NumericDerive(Model(f), x, y, P.v.Span<double>(), g, central);
        return ToNumpy(std::move(g));
      },
      "f"_a, "x"_a, "y"_a, "pars"_a, "central"_a = false,
      Doc("Regress::NumericDerive", "Gradient of f(b, x) with respect to b at pars by differences.").c_str());
  m.def(
      "multi_numeric_derive",
      [](py::function f, py::handle x, py::handle pars, bool central) {
        InVec X = ArgVec(x, "x"), P = ArgDoubles(pars, "pars");
        TMtx j;
        MultiNumericDerive(Model(f), X, P.v.Span<double>(), j, central);
        return ToNumpy(std::move(j));
      },
      "f"_a, "x"_a, "pars"_a, "central"_a = false,
      Doc("Regress::MultiNumericDerive", "Jacobian of f(b, x) at every x.").c_str());
  m.def(
      "nlin_regress",
      [](py::handle x, py::handle y, py::function f, py::handle b0, py::handle weights, int max_iter, double tol,
         bool central) {
        InVec X = ArgVec(x, "x"), Y = ArgVec(y, "y");
        auto W = ArgVecOpt(weights, "weights");
        TVec b = CopyVec(b0, "b0"), yc, sd;
        TMtx cov;
        TNLinStats s{};
        NLinRegress(X, Y, Model(f), b, s, &yc, &cov, &sd, {}, W ? &W->v : nullptr, max_iter, tol, central);
        const py::object st = RecordType("NLinStats", "sse residual_var dfe iterations stop_reason");
        const py::object t = RecordType("NLinResult", "b fitted cov std_err stats");
        return t(ToNumpy(std::move(b)), ToNumpy(std::move(yc)), ToNumpy(std::move(cov)), ToNumpy(std::move(sd)),
                 st(s.SSE, s.ResidualVar, s.dfE, s.Iterations, static_cast<int>(s.StopReason)));
      },
      "x"_a, "y"_a, "f"_a, "b0"_a, "weights"_a = py::none(), "max_iter"_a = 500, "tolerance"_a = 1e-13,
      "central"_a = true,
      Doc("Regress::NLinRegress", "Levenberg-Marquardt fit of y = f(b, x) from b0 (b0 itself is not changed).").c_str());
  m.def(
      "logistic_regress",
      [](py::handle y, py::handle a, bool constant, py::handle trials, int max_iter, double tol) {
        return Glm(true, y, a, constant, trials, max_iter, tol);
      },
      "y"_a, "a"_a, "constant"_a = true, "trials"_a = py::none(), "max_iter"_a = 100, "tolerance"_a = 1e-12,
      Doc("Regress::LogisticRegress", "Logistic regression by IRLS.").c_str());
  m.def(
      "poisson_regress",
      [](py::handle y, py::handle a, bool constant, py::handle offset, int max_iter, double tol) {
        return Glm(false, y, a, constant, offset, max_iter, tol);
      },
      "y"_a, "a"_a, "constant"_a = true, "offset"_a = py::none(), "max_iter"_a = 100, "tolerance"_a = 1e-12,
      Doc("Regress::PoissonRegress", "Poisson regression with log link by IRLS.").c_str());
  py::enum_<TStepwiseMethod>(m, "StepwiseMethod", "C++: Regress::TStepwiseMethod.")
      .value("forward", swForward)
      .value("backward", swBackward)
      .value("both", swBoth);
  py::enum_<TStepwiseCriterion>(m, "StepwiseCriterion", "C++: Regress::TStepwiseCriterion.")
      .value("f_test", swcFTest)
      .value("aic", swcAIC);
  m.def(
      "stepwise_regress",
      [](py::handle y, py::handle a, bool constant, py::handle method, py::handle criterion, double p_enter,
         double p_remove) {
        InVec Y = ArgVec(y, "y");
        InMtx A = ArgMtx(a, "a");
        const auto how = method.is_none() ? swBoth
                                          : static_cast<TStepwiseMethod>(
                                                EnumArg(method, "method", {"forward", "backward", "both"}));
        const auto by = criterion.is_none()
                            ? swcFTest
                            : static_cast<TStepwiseCriterion>(EnumArg(criterion, "criterion", {"f_test", "aic"}));
        TVecInt sel;
        TVec b, sd;
        TRegStats st{};
        std::vector<TStepwiseStep> path;
        Unlocked([&] { StepwiseRegress(Y, A, sel, b, st, &sd, &path, constant, how, by, p_enter, p_remove); });
        const py::object step = RecordType("StepwiseStep", "column entered f pvalue sse aic");
        py::list steps;
        for (const auto& s : path) steps.append(step(s.Column, s.Entered, s.F, s.PValue, s.SSE, s.AIC));
        const py::object t = RecordType("StepwiseResult", "selected b std_err stats path");
        return t(ToNumpy(std::move(sel)), ToNumpy(std::move(b)), ToNumpy(std::move(sd)), Stats(st), steps);
      },
      "y"_a, "a"_a, "constant"_a = true, "method"_a = py::none(), "criterion"_a = py::none(), "p_enter"_a = 0.05,
      "p_remove"_a = 0.10,
      Doc("Regress::StepwiseRegress", "Stepwise selection of the columns of a: selected columns, coefficients "
                                      "(intercept first), standard errors, statistics and every step taken.").c_str());
}

}  // namespace kalixpy
