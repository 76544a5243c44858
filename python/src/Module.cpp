// The extension module kalix._kalix: one submodule per namespace of the library, registered
// in sys.modules so that the kalix.<area> Python modules can import from them.
#include "KalixPy.h"

namespace kalixpy {
namespace {

py::module_ Area(py::module_& m, const char* name, const char* doc) {
  py::module_ sub = m.def_submodule(name, doc);
  py::module_::import("sys").attr("modules")[py::str(std::string("kalix._kalix.") + name)] = sub;
  return sub;
}

}  // namespace
}  // namespace kalixpy

PYBIND11_MODULE(_kalix, m) {
  using namespace kalixpy;
  m.doc() = "Kalix Stats bindings (use the kalix package, not this module).";
  // The library's exception, with its message text unchanged; a ValueError to Python code.
  py::register_exception<Kalix::EKalixError>(m, "KalixError", PyExc_ValueError);
  RecordsHome() = m.def_submodule("_records", "Result record types.");
  m.def("_debug_views", &DebugViews, "Data addresses the calling thread read in place since the last call.");
  m.def("view_alignment", &Kalix::ViewAlignment,
        "C++: Kalix::ViewAlignment. Alignment in bytes an array needs to be read in place.");

  py::enum_<Statistics::THypothesisType>(m, "HypothesisType", "C++: Statistics::THypothesisType.")
      .value("two_sided", Statistics::htTwoTailed)
      .value("greater", Statistics::htRightTailed)
      .value("less", Statistics::htLeftTailed);
  py::enum_<Statistics::THypothesisResult>(m, "HypothesisResult", "C++: Statistics::THypothesisResult.")
      .value("not_reject", Statistics::hrNotReject)
      .value("reject", Statistics::hrReject)
      .value("nan", Statistics::hrNan);
  py::enum_<Statistics::TPercentileMethod>(m, "PercentileMethod", "C++: Statistics::TPercentileMethod.")
      .value("nplus", Statistics::pctMethodNPlus)
      .value("nminus", Statistics::pctMethodNMinus)
      .value("closest", Statistics::pctMethodClosestN)
      .value("edf", Statistics::pctMethodEDF)
      .value("edf_ave", Statistics::pctMethodEDFAve);

  py::module_ core = Area(m, "core", "Probability functions of the numeric core.");
  py::module_ statistics = Area(m, "statistics", "Descriptive statistics, fits and hypothesis tests.");
  py::module_ regress = Area(m, "regress", "Linear, nonlinear and generalised linear regression; ANOVA.");
  py::module_ regmodels = Area(m, "regmodels", "Ready-made regression models.");
  py::module_ timeseries = Area(m, "timeseries", "Autocorrelation, AR fits, smoothing and transforms.");
  py::module_ random = Area(m, "random", "Random variates.");
  py::module_ controlcharts = Area(m, "controlcharts", "Control charts, Westgard rules, capability.");
  py::module_ probplots = Area(m, "probplots", "Probability plots.");
  BindCore(core);
  BindDescriptive(statistics);
  BindFits(statistics);
  BindTests(statistics);
  BindRegress(regress);
  BindModels(regmodels);
  BindTimeSeries(timeseries);
  BindRandom(random);
  BindQuality(controlcharts);
  BindProbPlots(probplots);
  BindMultivariate(statistics);
  py::module_ partials = Area(m, "partials", "Mergeable partial results: add, merge, finish.");
  BindPartials(partials);
}
