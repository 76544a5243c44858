// Control charts, Westgard rules, capability indexes and probability plots.
#include <limits>

#include "KalixPy.h"

namespace kalixpy {

using namespace StatControlCharts;

namespace {

py::object ChartType() {
  return RecordType("ChartResult", "draw cl ucl lcl");
}

// A variables chart of the rows of a matrix: (points, CL, UCL, LCL).
template <class F>
py::object RowChart(py::handle data, F f) {
  InMtx D = ArgMtx(data, "data");
  TVec draw;
  double cl = 0, ucl = 0, lcl = 0;
  Unlocked([&] { f(D.m, draw, cl, ucl, lcl); });
  return ChartType()(ToNumpy(std::move(draw)), cl, ucl, lcl);
}

// An attributes chart with one sample size (an int) or one per sample (an array).
template <class Fixed, class Varying>
py::object AttrChart(py::handle data, py::handle size, Fixed fixed, Varying varying) {
  InVec D = ArgVec(data, "data");
  TVec draw;
  double cl = 0, ucl = 0, lcl = 0;
  if (PyLong_Check(size.ptr())) {
    const int n = size.cast<int>();
    Unlocked([&] { fixed(D.v, n, draw, cl, ucl, lcl); });
    return ChartType()(ToNumpy(std::move(draw)), cl, ucl, lcl);
  }
  InVec N = ArgVec(size, "sample_size");
  TVec u, l;
  Unlocked([&] { varying(D.v, N.v, draw, cl, u, l); });
  return ChartType()(ToNumpy(std::move(draw)), cl, ToNumpy(std::move(u)), ToNumpy(std::move(l)));
}

}  // namespace

void BindQuality(py::module_& m) {
  m.def("qc_x_chart", [](py::handle d, double c) {
    return RowChart(d, [&](const TMtx& x, TVec& v, double& a, double& b, double& e) { QCXChart(x, v, a, b, e, c); });
  }, "data"_a, "confidence"_a = 0.9973, Doc("StatControlCharts::QCXChart", "x-bar chart of the rows.").c_str());
  m.def("qc_s_chart", [](py::handle d, double c) {
    return RowChart(d, [&](const TMtx& x, TVec& v, double& a, double& b, double& e) { QCSChart(x, v, a, b, e, c); });
  }, "data"_a, "confidence"_a = 0.9973, Doc("StatControlCharts::QCSChart", "s chart of the rows.").c_str());
  m.def("qc_r_chart", [](py::handle d, double c) {
    return RowChart(d, [&](const TMtx& x, TVec& v, double& a, double& b, double& e) { QCRChart(x, v, a, b, e, c); });
  }, "data"_a, "confidence"_a = 0.9973, Doc("StatControlCharts::QCRChart", "R chart of the rows.").c_str());
  m.def(
      "qc_mr_chart",
      [](py::handle d, double c) {
        InVec D = ArgVec(d, "data");
        double cl = 0, ucl = 0, lcl = 0;
        Unlocked([&] { QCMRChart(D, cl, ucl, lcl, c); });
        return py::make_tuple(cl, ucl, lcl);
      },
      "data"_a, "confidence"_a = 0.9973, Doc("StatControlCharts::QCMRChart", "(CL, UCL, LCL) of individual values.").c_str());
  m.def(
      "qc_p_chart",
      [](py::handle d, py::handle n, double c) {
        return AttrChart(
            d, n, [&](const TVec& x, int k, TVec& v, double& a, double& u, double& l) { QCPChart(x, k, v, a, u, l, c); },
            [&](const TVec& x, const TVec& k, TVec& v, double& a, TVec& u, TVec& l) { QCPChart(x, k, v, a, u, l, c); });
      },
      "data"_a, "sample_size"_a, "confidence"_a = 0.99865, Doc("StatControlCharts::QCPChart", "p chart.").c_str());
  m.def(
      "qc_u_chart",
      [](py::handle d, py::handle n, double c) {
        return AttrChart(
            d, n, [&](const TVec& x, int k, TVec& v, double& a, double& u, double& l) { QCUChart(x, k, v, a, u, l, c); },
            [&](const TVec& x, const TVec& k, TVec& v, double& a, TVec& u, TVec& l) { QCUChart(x, k, v, a, u, l, c); });
      },
      "data"_a, "sample_size"_a, "confidence"_a = 0.99865, Doc("StatControlCharts::QCUChart", "u chart.").c_str());
  m.def(
      "qc_np_chart",
      [](py::handle d, py::handle n, double c) -> py::object {
        InVec D = ArgVec(d, "data");
        if (PyLong_Check(n.ptr())) {
          const int k = n.cast<int>();
          TVec draw;
          double cl = 0, ucl = 0, lcl = 0;
          Unlocked([&] { QCNPChart(D, k, draw, cl, ucl, lcl, c); });
          return ChartType()(ToNumpy(std::move(draw)), cl, ucl, lcl);
        }
        InVec N = ArgVec(n, "sample_size");
        TVec draw, cl, u, l;
        Unlocked([&] { QCNPChart(D.v, N.v, draw, cl, u, l, c); });
        return ChartType()(py::none(), ToNumpy(std::move(cl)), ToNumpy(std::move(u)), ToNumpy(std::move(l)));
      },
      "data"_a, "sample_size"_a, "confidence"_a = 0.99865,
      Doc("StatControlCharts::QCNPChart", "np chart (with sizes per sample: draw is None, plot data itself).").c_str());
  m.def(
      "qc_c_chart",
      [](py::handle d, double c) {
        InVec D = ArgVec(d, "data");
        TVec draw;
        double cl = 0, ucl = 0, lcl = 0;
        Unlocked([&] { QCCChart(D, draw, cl, ucl, lcl, c); });
        return ChartType()(ToNumpy(std::move(draw)), cl, ucl, lcl);
      },
      "data"_a, "confidence"_a = 0.99865, Doc("StatControlCharts::QCCChart", "c chart.").c_str());
  m.def(
      "ewma_chart",
      [](py::handle d, double lambda, double c, bool exact) -> py::object {
        InMtx D = ArgMtx(d, "data");
        TVec draw;
        double cl = 0;
        if (!exact) {
          double ucl = 0, lcl = 0;
          Unlocked([&] { EWMAChart(D.m, draw, cl, ucl, lcl, lambda, c); });
          return ChartType()(ToNumpy(std::move(draw)), cl, ucl, lcl);
        }
        TVec u, l;
        Unlocked([&] { EWMAChart(D.m, draw, cl, u, l, lambda, c); });
        return ChartType()(ToNumpy(std::move(draw)), cl, ToNumpy(std::move(u)), ToNumpy(std::move(l)));
      },
      "data"_a, "lam"_a = 0.2, "confidence"_a = 0.99865, "exact"_a = false,
      Doc("StatControlCharts::EWMAChart", "EWMA chart; exact=True gives limits per sample.").c_str());
  m.def(
      "qc_cum_sum_chart",
      [](py::handle d, double k, double h, double mu0, double sigma, double c) {
        InMtx D = ArgMtx(d, "data");
        TVec draw, cp, cm;
        Unlocked([&] { QCCumSumChart(D.m, draw, k, h, mu0, sigma, &cp, &cm, c); });
        return py::make_tuple(ToNumpy(std::move(draw)), ToNumpy(std::move(cp)), ToNumpy(std::move(cm)));
      },
      "data"_a, "k"_a, "h"_a, "mu0"_a, "sigma"_a, "confidence"_a = 0.99865,
      Doc("StatControlCharts::QCCumSumChart", "(cumulative sum, upper CUSUM, lower CUSUM).").c_str());
  m.def(
      "qc_westgard_rules",
      [](py::handle d, double mu, double sigma) {
        InVec D = ArgVec(d, "data");
        TVec r;
        Unlocked([&] { QCWestgardRules(D, r, mu, sigma); });
        return ToNumpy(std::move(r));
      },
      "data"_a, "mu"_a, "sigma"_a, Doc("StatControlCharts::QCWestgardRules", "Westgard rule codes per point.").c_str());
  m.def(
      "qc_cap_indexes",
      [](py::handle d, double lsl, double usl, double alpha) {
        InVec D = ArgVec(d, "data");
        double out = 0, cp = 0, cpk = 0;
        Statistics::TTwoElmReal cpci{std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::quiet_NaN()}, cpkci{std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::quiet_NaN()};
        Unlocked([&] { QCCapIndexes(D, lsl, usl, out, cp, cpk, cpci, cpkci, alpha); });
        const py::object t = RecordType("CapabilityResult", "fraction_out cp cpk cp_ci cpk_ci");
        return t(out, cp, cpk, Pair(cpci), Pair(cpkci));
      },
      "data"_a, "lsl"_a, "usl"_a, "alpha"_a = 0.05,
      Doc("StatControlCharts::QCCapIndexes", "Fraction outside the tolerance limits, Cp, Cpk and their intervals.").c_str());
}

void BindProbPlots(py::module_& m) {
  using namespace StatProbPlots;
  static py::handle plot = RecordType("PlotResult", "x y min_x max_x min_y max_y");
  m.def(
      "stat_normal_plot",
      [](py::handle d, bool sorted) {
        InVec D = ArgVec(d, "data");
        TVec x, y, b;
        double a = 0, c = 0, e = 0, f = 0;
        Unlocked([&] { StatNormalPlot(D, x, y, a, c, e, f, &b, sorted); });
        return py::make_tuple(plot(ToNumpy(std::move(x)), ToNumpy(std::move(y)), a, c, e, f), ToNumpy(std::move(b)));
      },
      "data"_a, "sorted"_a = false, Doc("StatProbPlots::StatNormalPlot", "(plot, bounds) of a normal probability plot.").c_str());
  m.def(
      "stat_qq_plot",
      [](py::handle d, py::handle d2, bool sorted, bool sorted2) {
        InVec D = ArgVec(d, "data");
        TVec x, y;
        double a = 0, c = 0, e = 0, f = 0;
        if (d2.is_none()) {
          Unlocked([&] { StatQQPlot(D, x, y, a, c, e, f, sorted); });
        } else {
          InVec D2 = ArgVec(d2, "data2");
          Unlocked([&] { StatQQPlot(D.v, D2.v, x, y, a, c, e, f, sorted, sorted2); });
        }
        return plot(ToNumpy(std::move(x)), ToNumpy(std::move(y)), a, c, e, f);
      },
      "data"_a, "data2"_a = py::none(), "sorted"_a = false, "sorted2"_a = false,
      Doc("StatProbPlots::StatQQPlot", "Q-Q plot against the normal, or of two samples.").c_str());
  m.def(
      "stat_weibull_plot",
      [](py::handle d, bool sorted) {
        InVec D = ArgVec(d, "data");
        TVec x, y;
        double a = 0, c = 0, e = 0, f = 0;
        Unlocked([&] { StatWeibullPlot(D, x, y, a, c, e, f, sorted); });
        return plot(ToNumpy(std::move(x)), ToNumpy(std::move(y)), a, c, e, f);
      },
      "data"_a, "sorted"_a = false, Doc("StatProbPlots::StatWeibullPlot", "Weibull plot.").c_str());
  m.def(
      "stat_exp_plot",
      [](py::handle d, bool sorted) {
        InVec D = ArgVec(d, "data");
        TVec x, y;
        double a = 0, c = 0, e = 0, f = 0;
        Unlocked([&] { StatExpPlot(D, x, y, a, c, e, f, sorted); });
        return plot(ToNumpy(std::move(x)), ToNumpy(std::move(y)), a, c, e, f);
      },
      "data"_a, "sorted"_a = false, Doc("StatProbPlots::StatExpPlot", "Exponential plot.").c_str());
}

}  // namespace kalixpy
