// fit: parameter estimates of a distribution for one column (per group), with 1 - alpha
// intervals where the library gives them (NaN where it gives none).
#include <cmath>
#include <functional>
#include <limits>
#include <map>

#include <fmt/format.h>

#include "Commands.h"

namespace KalixCli {
namespace {

using Statistics::TTwoElmReal;

struct Estimate {
  std::string parameter;
  double value;
  TTwoElmReal ci;
};

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr TTwoElmReal kNoInterval{kNaN, kNaN};

struct FitOptions {
  std::string distribution;
  double alpha = 0.05;
  int maxIter = 500;
  double tolerance = 1e-8;
};

using Fitter = std::function<std::vector<Estimate>(const Kalix::TVec&, const FitOptions&)>;

// Two parameters with intervals, by a fit of the library's interval form.
template <class Fn>
Fitter Two(const char* a, const char* b, Fn fn) {
  return [=](const Kalix::TVec& x, const FitOptions& o) {
    double p = 0, q = 0;
    TTwoElmReal pci = kNoInterval, qci = kNoInterval;
    fn(x, p, q, pci, qci, o);
    return std::vector<Estimate>{{a, p, pci}, {b, q, qci}};
  };
}

template <class Fn>
Fitter One(const char* a, Fn fn) {
  return [=](const Kalix::TVec& x, const FitOptions& o) {
    double p = 0;
    TTwoElmReal pci = kNoInterval;
    fn(x, p, pci, o);
    return std::vector<Estimate>{{a, p, pci}};
  };
}

const std::map<std::string, Fitter>& Fitters() {
  using Kalix::TVec;
  using O = FitOptions;
  using R = TTwoElmReal;
  static const std::map<std::string, Fitter> fitters{
      {"normal", Two("mu", "sigma", [](const TVec& x, double& a, double& b, R& ac, R& bc, const O& o) {
         Statistics::NormalFit(x, a, b, ac, bc, o.alpha);
       })},
      {"lognormal", Two("mu", "sigma", [](const TVec& x, double& a, double& b, R& ac, R& bc, const O& o) {
         Statistics::LogNormalFit(x, a, b, ac, bc, o.alpha);
       })},
      {"exponential", One("mu", [](const TVec& x, double& a, R& ac, const O& o) { Statistics::ExponentFit(x, a, ac, o.alpha); })},
      {"poisson", One("lambda", [](const TVec& x, double& a, R& ac, const O& o) { Statistics::PoissonFit(x, a, ac, o.alpha); })},
      {"geometric", One("p", [](const TVec& x, double& a, R& ac, const O& o) { Statistics::GeometricFit(x, a, ac, o.alpha); })},
      {"rayleigh", One("b", [](const TVec& x, double& a, R& ac, const O& o) { Statistics::RayleighFit(x, a, ac, o.alpha); })},
      {"uniform", Two("low", "high", [](const TVec& x, double& a, double& b, R& ac, R& bc, const O& o) {
         Statistics::UniformFit(x, a, b, ac, bc, o.alpha);
       })},
      {"inversegaussian", Two("mu", "lambda", [](const TVec& x, double& a, double& b, R& ac, R& bc, const O& o) {
         Statistics::InverseGaussianFit(x, a, b, ac, bc, o.alpha);
       })},
      {"beta", Two("a", "b", [](const TVec& x, double& a, double& b, R& ac, R& bc, const O& o) {
         Statistics::BetaFit(x, a, b, ac, bc, o.maxIter, o.tolerance, o.alpha);
       })},
      {"gamma", Two("shape", "scale", [](const TVec& x, double& a, double& b, R& ac, R& bc, const O& o) {
         Statistics::GammaFit(x, a, b, ac, bc, o.maxIter, o.tolerance, o.alpha);
       })},
      {"weibull", Two("a", "b", [](const TVec& x, double& a, double& b, R& ac, R& bc, const O& o) {
         Statistics::WeibullFit(x, a, b, ac, bc, o.maxIter, o.tolerance, o.alpha);
       })},
      {"cauchy", Two("location", "scale", [](const TVec& x, double& a, double& b, R& ac, R& bc, const O& o) {
         Statistics::CauchyFit(x, a, b, ac, bc, o.maxIter, o.tolerance, o.alpha);
       })},
      {"uniformd", [](const TVec& x, const O& o) {
         int n = 0;
         R ci = kNoInterval;
         Statistics::UniformDFit(x, n, ci, o.alpha);
         return std::vector<Estimate>{{"n", static_cast<double>(n), ci}};
       }},
      // Estimates without intervals.
      {"laplace", [](const TVec& x, const O&) {
         double a = 0, b = 0;
         Statistics::LaplaceFit(x, a, b);
         return std::vector<Estimate>{{"mu", a, kNoInterval}, {"b", b, kNoInterval}};
       }},
      {"logistic", [](const TVec& x, const O&) {
         double a = 0, b = 0;
         Statistics::LogisticFit(x, a, b);
         return std::vector<Estimate>{{"mu", a, kNoInterval}, {"s", b, kNoInterval}};
       }},
      {"negbinom", [](const TVec& x, const O&) {
         double r = 0, p = 0;
         Statistics::NegBinomFit(x, r, p);
         return std::vector<Estimate>{{"r", r, kNoInterval}, {"p", p, kNoInterval}};
       }},
      {"maxwell", [](const TVec& x, const O&) {
         double a = 0;
         Statistics::MaxwellFit(x, a);
         return std::vector<Estimate>{{"a", a, kNoInterval}};
       }},
      {"chisquare", [](const TVec& x, const O&) {
         int df = 0;
         Statistics::ChiSquareFit(x, df);
         return std::vector<Estimate>{{"df", static_cast<double>(df), kNoInterval}};
       }},
      {"erlang", [](const TVec& x, const O&) {
         int k = 0;
         double lambda = 0;
         Statistics::ErlangFit(x, k, lambda);
         return std::vector<Estimate>{{"k", static_cast<double>(k), kNoInterval}, {"lambda", lambda, kNoInterval}};
       }},
      {"binomial", [](const TVec& x, const O&) {
         int n = 0;
         double p = 0;
         Statistics::BinomFit(x, n, p);
         return std::vector<Estimate>{{"n", static_cast<double>(n), kNoInterval}, {"p", p, kNoInterval}};
       }},
      {"student", [](const TVec& x, const O& o) {
         int df = 0;
         Statistics::StudentFit(x, df, o.maxIter, o.tolerance);
         return std::vector<Estimate>{{"df", static_cast<double>(df), kNoInterval}};
       }},
      {"f", [](const TVec& x, const O& o) {
         int d1 = 0, d2 = 0;
         Statistics::FFit(x, d1, d2, o.maxIter, o.tolerance);
         return std::vector<Estimate>{{"df1", static_cast<double>(d1), kNoInterval}, {"df2", static_cast<double>(d2), kNoInterval}};
       }},
      {"triangular", [](const TVec& x, const O& o) {
         double a = 0, b = 0, c = 0;
         Statistics::TriangularFit(x, a, b, c, o.maxIter, o.tolerance);
         return std::vector<Estimate>{{"a", a, kNoInterval}, {"b", b, kNoInterval}, {"c", c, kNoInterval}};
       }},
  };
  return fitters;
}

std::string Names() {
  std::string names;
  for (const auto& [name, fit] : Fitters()) names += (names.empty() ? "" : ", ") + name;
  return names;
}

void Run(const Common& common, const FitOptions& o) {
  const auto it = Fitters().find(o.distribution);
  if (it == Fitters().end())
    throw CliError(fmt::format("fit: unknown distribution \"{}\" ({})", o.distribution, Names()));
  if (!(o.alpha > 0.0 && o.alpha < 1.0)) throw CliError("fit: --alpha must lie in (0, 1)");
  const Table table = LoadTable(common);
  ResultTable result{fmt::format("{} fit ({}% intervals)", o.distribution, 100.0 * (1.0 - o.alpha)), {"column"}, {}};
  if (!common.group.empty()) result.columns.push_back("group");
  for (const char* c : {"n", "parameter", "estimate", "conf.low", "conf.high"}) result.columns.emplace_back(c);
  for (int c : ChosenColumns(table, common)) {
    for (const auto& [group, values] : SplitByGroup(table, common, c)) {
      const std::string& name = table.names[static_cast<std::size_t>(c)];
      NeedValues(values.size(), 2, "fit", group.empty() ? name : name + " in group " + group);
      for (const Estimate& e : it->second(ToVec(values), o)) {
        std::vector<Cell> row{name};
        if (!common.group.empty()) row.emplace_back(group);
        for (Cell cell : std::vector<Cell>{static_cast<std::int64_t>(values.size()), e.parameter, e.value, e.ci[0], e.ci[1]})
          row.push_back(std::move(cell));
        result.rows.push_back(std::move(row));
      }
    }
  }
  Emit({result}, common);
}

}  // namespace

void AddFitCommand(CLI::App& app, Common& common) {
  auto* sub = app.add_subcommand("fit", "Distribution fit with intervals: " + Names());
  auto options = std::make_shared<FitOptions>();
  sub->add_option("distribution", options->distribution, "Distribution to fit")->required();
  AddCommonOptions(*sub, common, kWithGroup);
  sub->add_option("--alpha", options->alpha, "1 - confidence level of the intervals")->capture_default_str();
  sub->add_option("--max-iter", options->maxIter, "Iteration limit of the likelihood fits")->capture_default_str();
  sub->add_option("--tolerance", options->tolerance, "Tolerance of the likelihood fits")->capture_default_str();
  sub->callback([&common, options] { Run(common, *options); });
}

}  // namespace KalixCli
