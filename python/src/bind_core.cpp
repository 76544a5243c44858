// Probability functions: each takes a number (and returns one) or an array (and returns an
// array of the same shape and precision).
#include "KalixPy.h"

namespace kalixpy {
namespace {

bool IsScalar(py::handle x) {
  if (py::isinstance<py::array>(x)) return py::reinterpret_borrow<py::array>(x).ndim() == 0;
  return PyFloat_Check(x.ptr()) || PyLong_Check(x.ptr()) || PyNumber_Check(x.ptr()) != 0;
}

template <class S, class V>
py::object Eval(py::handle x, S scalar, V vector) {
  if (IsScalar(x) && !py::isinstance<py::list>(x) && !py::isinstance<py::tuple>(x)) {
    const double v = x.cast<double>();
    return py::float_(Unlocked([&] { return scalar(v); }));
  }
  if (py::isinstance<py::array>(x) && py::reinterpret_borrow<py::array>(x).ndim() == 2) {
    InMtx a = ArgMtx(x, "x");
    TMtx out;
    Unlocked([&] { vector(out, a.m); });
    return ToNumpy(std::move(out));
  }
  InVec a = ArgVec(x, "x");
  TVec out;
  Unlocked([&] { vector(out, a.v); });
  return ToNumpy(std::move(out));
}

}  // namespace

void BindCore(py::module_& m) {
  // Generic lambdas cannot be bound directly: each arity gets its own typed lambda.
#define KALIX_D1(PY, CPP, DOC, A)                                                                      \
  m.def(                                                                                               \
      PY,                                                                                              \
      [](py::handle x, double a) {                                                                     \
        return Eval(                                                                                   \
            x, [=](double v) { return Kalix::CPP(v, a); },                                             \
            [=](Kalix::TDenseKalix& d, const Kalix::TDenseKalix& s) { Kalix::CPP(d, s, a); });          \
      },                                                                                               \
      "x"_a, A, Doc("Kalix::" #CPP, DOC).c_str())
#define KALIX_D2(PY, CPP, DOC, A, B)                                                                   \
  m.def(                                                                                               \
      PY,                                                                                              \
      [](py::handle x, double a, double b) {                                                           \
        return Eval(                                                                                   \
            x, [=](double v) { return Kalix::CPP(v, a, b); },                                          \
            [=](Kalix::TDenseKalix& d, const Kalix::TDenseKalix& s) { Kalix::CPP(d, s, a, b); });       \
      },                                                                                               \
      "x"_a, A, B, Doc("Kalix::" #CPP, DOC).c_str())
#define KALIX_D3(PY, CPP, DOC, A, B, C)                                                                \
  m.def(                                                                                               \
      PY,                                                                                              \
      [](py::handle x, double a, double b, double c) {                                                 \
        return Eval(                                                                                   \
            x, [=](double v) { return Kalix::CPP(v, a, b, c); },                                       \
            [=](Kalix::TDenseKalix& d, const Kalix::TDenseKalix& s) { Kalix::CPP(d, s, a, b, c); });    \
      },                                                                                               \
      "x"_a, A, B, C, Doc("Kalix::" #CPP, DOC).c_str())
  KALIX_D2("normal_pdf", NormalPDF, "Normal(mu, sigma) density.", "mu"_a = 0.0, "sigma"_a = 1.0);
  KALIX_D2("normal_cdf", NormalCDF, "Normal(mu, sigma) P(X <= x).", "mu"_a = 0.0, "sigma"_a = 1.0);
  KALIX_D2("normal_cdf_inv", NormalCDFInv, "Normal(mu, sigma) p-quantile.", "mu"_a = 0.0, "sigma"_a = 1.0);
  KALIX_D1("student_pdf", StudentPDF, "Student's t density.", "df"_a);
  KALIX_D1("student_cdf", StudentCDF, "Student's t P(T <= t).", "df"_a);
  KALIX_D1("student_cdf_inv", StudentCDFInv, "Student's t p-quantile.", "df"_a);
  KALIX_D1("chi_square_pdf", ChiSquarePDF, "Chi-square density.", "df"_a);
  KALIX_D1("chi_square_cdf", ChiSquareCDF, "Chi-square P(X <= x).", "df"_a);
  KALIX_D1("chi_square_cdf_inv", ChiSquareCDFInv, "Chi-square p-quantile.", "df"_a);
  KALIX_D2("f_pdf", FPDF, "F(df1, df2) density.", "df1"_a, "df2"_a);
  KALIX_D2("f_cdf", FCDF, "F(df1, df2) P(X <= x).", "df1"_a, "df2"_a);
  KALIX_D2("f_cdf_inv", FCDFInv, "F(df1, df2) p-quantile.", "df1"_a, "df2"_a);
  KALIX_D2("beta_pdf", BetaPDF, "Beta(a, b) density.", "a"_a, "b"_a);
  KALIX_D2("beta_cdf", BetaCDF, "Beta(a, b) P(X <= x).", "a"_a, "b"_a);
  KALIX_D2("gamma_pdf", GammaPDF, "Gamma(a shape, b scale) density.", "a"_a, "b"_a);
  KALIX_D2("gamma_cdf", GammaCDF, "Gamma(a shape, b scale) P(X <= x).", "a"_a, "b"_a);
  KALIX_D2("gamma_cdf_inv", GammaCDFInv, "Gamma(a shape, b scale) p-quantile.", "a"_a, "b"_a);
  KALIX_D2("cauchy_pdf", CauchyPDF, "Cauchy(m location, b scale) density.", "m"_a, "b"_a);
  KALIX_D2("weibull_pdf", WeibullPDF, "Weibull density a b x^(b-1) exp(-a x^b).", "a"_a, "b"_a);
  KALIX_D2("weibull_cdf", WeibullCDF, "Weibull P(X <= x) = 1 - exp(-a x^b).", "a"_a, "b"_a);
  KALIX_D3("triangular_pdf", TriangularPDF, "Triangular(a lower, b upper, c mode) density.", "a"_a, "b"_a, "c"_a);
  KALIX_D2("uniform_cdf", UniformCDF, "Uniform(a, b) P(X <= x).", "a"_a, "b"_a);
  KALIX_D1("exp_cdf", ExpCDF, "Exponential with mean mu: P(X <= x).", "mu"_a);
  KALIX_D2("erlang_cdf", ErlangCDF, "Erlang(k shape, lambda rate) P(X <= x).", "k"_a, "lam"_a);
  KALIX_D2("laplace_cdf", LaplaceCDF, "Laplace(m location, b scale) P(X <= x).", "m"_a, "b"_a);
  KALIX_D2("log_normal_cdf", LogNormalCDF, "Log-normal P(X <= x), mu and sigma of ln x.", "mu"_a, "sigma"_a);
  KALIX_D2("logistic_cdf_inv", LogisticCDFInv, "Logistic(m, b) p-quantile.", "m"_a, "b"_a);
  KALIX_D1("maxwell_cdf", MaxwellCDF, "Maxwell-Boltzmann P(X <= x) with scale a.", "a"_a);
  KALIX_D1("maxwell_cdf_inv", MaxwellCDFInv, "Maxwell-Boltzmann p-quantile with scale a.", "a"_a);
  KALIX_D1("rayleigh_cdf", RayleighCDF, "Rayleigh P(X <= x) with scale b.", "b"_a);
  KALIX_D2("binom_cdf", BinomCDF, "Binomial(n, p) P(X <= k).", "n"_a, "p"_a);
  KALIX_D1("poisson_cdf_inv", PoissonCDFInv, "Smallest k with Poisson(lambda) P(X <= k) >= p.", "lam"_a);
  m.def(
      "trigamma",
      [](py::handle x) {
        return Eval(
            x, [](double v) { return Kalix::trigamma(v); },
            [](Kalix::TDenseKalix& d, const Kalix::TDenseKalix& s) { Kalix::trigamma(d, s); });
      },
      "x"_a, Doc("Kalix::trigamma", "Second derivative of ln Gamma(x).").c_str());
  m.def("cauchy_cdf", [](double x, double a, double b) { return Unlocked([&] { return Kalix::CauchyCDF(x, a, b); }); },
        "x"_a, "m"_a, "b"_a, Doc("Kalix::CauchyCDF", "Cauchy(m, b) P(X <= x).").c_str());
  m.def("gumbel_cdf", [](double x, double a, double b) { return Unlocked([&] { return Kalix::GumbelCDF(x, a, b); }); },
        "x"_a, "m"_a, "b"_a, Doc("Kalix::GumbelCDF", "Gumbel (maxima) P(X <= x).").c_str());
  m.def("logistic_cdf", [](double x, double a, double b) { return Unlocked([&] { return Kalix::LogisticCDF(x, a, b); }); },
        "x"_a, "m"_a, "b"_a, Doc("Kalix::LogisticCDF", "Logistic(m, b) P(X <= x).").c_str());
  m.def("triangular_cdf",
        [](double x, double a, double b, double c) { return Unlocked([&] { return Kalix::TriangularCDF(x, a, b, c); }); },
        "x"_a, "a"_a, "b"_a, "c"_a, Doc("Kalix::TriangularCDF", "Triangular(a, b, c) P(X <= x).").c_str());
  m.def("gen_pareto_cdf",
        [](double x, double k, double a, double s) { return Unlocked([&] { return Kalix::GenParetoCDF(x, k, a, s); }); },
        "x"_a, "k"_a, "m"_a, "s"_a, Doc("Kalix::GenParetoCDF", "Generalised Pareto P(X <= x).").c_str());
  m.def("poisson_cdf", [](double k, double l) { return Unlocked([&] { return Kalix::PoissonCDF(k, l); }); }, "k"_a,
        "lam"_a, Doc("Kalix::PoissonCDF", "Poisson(lambda) P(X <= k).").c_str());
  m.def("neg_binom_cdf", [](double k, double r, double p) { return Unlocked([&] { return Kalix::NegBinomCDF(k, r, p); }); },
        "k"_a, "r"_a, "p"_a, Doc("Kalix::NegBinomCDF", "Negative binomial P(X <= k).").c_str());
  m.def("hyp_geometric_cdf",
        [](double k, double M, double K, double N) { return Unlocked([&] { return Kalix::HypGeometricCDF(k, M, K, N); }); },
        "k"_a, "M"_a, "K"_a, "N"_a, Doc("Kalix::HypGeometricCDF", "Hypergeometric P(X <= k).").c_str());
  m.def("geometric_cdf", [](double k, double p) { return Unlocked([&] { return Kalix::GeometricCDF(k, p); }); }, "k"_a,
        "p"_a, Doc("Kalix::GeometricCDF", "Geometric P(X <= k).").c_str());
#undef KALIX_D1
#undef KALIX_D2
#undef KALIX_D3
}

}  // namespace kalixpy
