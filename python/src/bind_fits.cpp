// Distribution fits: estimates as named records; with alpha given, the interval form of the
// fit (where the library has one) adds the confidence intervals.
#include "KalixPy.h"

namespace kalixpy {

using namespace Statistics;

// A fit with two double estimates and, with alpha, two intervals.
#define KALIX_FIT2(PY, CPP, A, B, DOC)                                                                   \
  m.def(                                                                                                 \
      PY,                                                                                                \
      [](py::handle x, py::object alpha) {                                                               \
        InVec X = ArgVec(x, "x");                                                                        \
        double a = 0, b = 0;                                                                             \
        if (alpha.is_none()) {                                                                           \
          Unlocked([&] { CPP(X, a, b); });                                                               \
          const py::object type = RecordType(#CPP "Result", A " " B);                                   \
          return type(a, b);                                                                             \
        }                                                                                                \
        const double al = alpha.cast<double>();                                                          \
        TTwoElmReal ca{}, cb{};                                                                          \
        Unlocked([&] { CPP(X, a, b, ca, cb, al); });                                                     \
        const py::object type = RecordType(#CPP "CIResult", A " " B " " A "_ci " B "_ci");              \
        return type(a, b, Pair(ca), Pair(cb));                                                           \
      },                                                                                                 \
      "x"_a, "alpha"_a = py::none(), Doc("Statistics::" #CPP, DOC).c_str())
// A fit with one estimate of type T and, with alpha, its interval.
#define KALIX_FIT1(PY, CPP, T, A, DOC)                                                                   \
  m.def(                                                                                                 \
      PY,                                                                                                \
      [](py::handle x, py::object alpha) {                                                               \
        InVec X = ArgVec(x, "x");                                                                        \
        T a{};                                                                                           \
        if (alpha.is_none()) {                                                                           \
          Unlocked([&] { CPP(X, a); });                                                                  \
          const py::object type = RecordType(#CPP "Result", A);                                         \
          return type(a);                                                                                \
        }                                                                                                \
        const double al = alpha.cast<double>();                                                          \
        TTwoElmReal ca{};                                                                                \
        Unlocked([&] { CPP(X, a, ca, al); });                                                            \
        const py::object type = RecordType(#CPP "CIResult", A " " A "_ci");                             \
        return type(a, Pair(ca));                                                                        \
      },                                                                                                 \
      "x"_a, "alpha"_a = py::none(), Doc("Statistics::" #CPP, DOC).c_str())
// A point fit only, outputs of types T1, T2.
#define KALIX_FITP(PY, CPP, T1, T2, A, B, DOC)                                                           \
  m.def(                                                                                                 \
      PY,                                                                                                \
      [](py::handle x) {                                                                                 \
        InVec X = ArgVec(x, "x");                                                                        \
        T1 a{};                                                                                          \
        T2 b{};                                                                                          \
        Unlocked([&] { CPP(X, a, b); });                                                                 \
        const py::object type = RecordType(#CPP "Result", A " " B);                                     \
        return type(a, b);                                                                               \
      },                                                                                                 \
      "x"_a, Doc("Statistics::" #CPP, DOC).c_str())
// Maximum-likelihood fits: two estimates, optimiser settings, intervals with alpha.
#define KALIX_FITML(PY, CPP, A, B, DOC)                                                                  \
  m.def(                                                                                                 \
      PY,                                                                                                \
      [](py::handle x, int max_iter, double tol, py::object alpha) {                                     \
        InVec X = ArgVec(x, "x");                                                                        \
        double a = 0, b = 0;                                                                             \
        if (alpha.is_none()) {                                                                           \
          Unlocked([&] { CPP(X, a, b, max_iter, tol); });                                                \
          const py::object type = RecordType(#CPP "Result", A " " B);                                   \
          return type(a, b);                                                                             \
        }                                                                                                \
        const double al = alpha.cast<double>();                                                          \
        TTwoElmReal ca{}, cb{};                                                                          \
        Unlocked([&] { CPP(X, a, b, ca, cb, max_iter, tol, al); });                                      \
        const py::object type = RecordType(#CPP "CIResult", A " " B " " A "_ci " B "_ci");              \
        return type(a, b, Pair(ca), Pair(cb));                                                           \
      },                                                                                                 \
      "x"_a, "max_iter"_a = 500, "tolerance"_a = 1e-8, "alpha"_a = py::none(), Doc("Statistics::" #CPP, DOC).c_str())

void BindFits(py::module_& m) {
  KALIX_FIT2("normal_fit", NormalFit, "mu", "sigma", "Mean and standard deviation (n - 1).");
  KALIX_FIT2("log_normal_fit", LogNormalFit, "mu", "sigma", "Normal fit of ln x.");
  KALIX_FIT2("uniform_fit", UniformFit, "low", "high", "Minimum and maximum.");
  KALIX_FIT1("exponent_fit", ExponentFit, double, "mu", "Exponential mean.");
  KALIX_FIT1("poisson_fit", PoissonFit, double, "lam", "Poisson mean.");
  KALIX_FIT1("geometric_fit", GeometricFit, double, "p", "Geometric p = 1/(1 + mean).");
  KALIX_FIT1("uniform_d_fit", UniformDFit, int, "n", "Discrete uniform N = ceil(max x).");
  KALIX_FIT1("rayleigh_fit", RayleighFit, double, "b", "Rayleigh scale.");
  KALIX_FIT2("inverse_gaussian_fit", InverseGaussianFit, "mu", "lam",
             "Inverse Gaussian mean and shape (the interval form deliberately leaves its intervals as passed: NaN).");
  KALIX_FITP("laplace_fit", LaplaceFit, double, double, "mu", "b", "Laplace location (median) and scale.");
  KALIX_FITP("logistic_fit", LogisticFit, double, double, "mu", "s", "Logistic location and scale by moments.");
  KALIX_FITP("neg_binom_fit", NegBinomFit, double, double, "r", "p", "Negative binomial by moments.");
  KALIX_FITP("erlang_fit", ErlangFit, int, double, "k", "lam", "Erlang by moments.");
  KALIX_FITML("beta_fit", BetaFit, "a", "b", "Beta(a, b) by maximum likelihood.");
  KALIX_FITML("gamma_fit", GammaFit, "a", "b", "Gamma shape and scale by maximum likelihood.");
  KALIX_FITML("weibull_fit", WeibullFit, "a", "b", "Weibull by maximum likelihood.");
  KALIX_FITML("cauchy_fit", CauchyFit, "location", "scale", "Cauchy by maximum likelihood.");
  m.def(
      "maxwell_fit", [](py::handle x) { InVec X = ArgVec(x, "x"); double a = 0; Unlocked([&] { MaxwellFit(X, a); }); return a; },
      "x"_a, Doc("Statistics::MaxwellFit", "Maxwell scale.").c_str());
  m.def(
      "chi_square_fit", [](py::handle x) { InVec X = ArgVec(x, "x"); int d = 0; Unlocked([&] { ChiSquareFit(X, d); }); return d; },
      "x"_a, Doc("Statistics::ChiSquareFit", "Chi-square degrees of freedom, round(mean).").c_str());
  m.def(
      "binom_fit",
      [](py::handle x, py::handle n, py::object alpha) -> py::object {
        InVec X = ArgVec(x, "x");
        if (n.is_none()) {
          int N = 0;
          double p = 0;
          Unlocked([&] { BinomFit(X, N, p); });
          const py::object type = RecordType("BinomFitResult", "n p");
          return type(N, p);
        }
        TVec p;
        if (!PyFloat_Check(n.ptr()) && !PyLong_Check(n.ptr())) {
          InVec Nv = ArgVec(n, "n");
          Unlocked([&] { BinomFit(X.v, Nv.v, p); });
          return ToNumpy(std::move(p));
        }
        const double nn = n.cast<double>();
        if (alpha.is_none()) {
          Unlocked([&] { BinomFit(X.v, nn, p); });
          return ToNumpy(std::move(p));
        }
        const double al = alpha.cast<double>();
        TVec lo, hi;
        Unlocked([&] { BinomFit(X.v, nn, p, lo, hi, al); });
        return py::make_tuple(ToNumpy(std::move(p)), ToNumpy(std::move(lo)), ToNumpy(std::move(hi)));
      },
      "x"_a, "n"_a = py::none(), "alpha"_a = py::none(),
      Doc("Statistics::BinomFit",
          "Binomial (n, p) by moments; with n given, p = x / n element-wise, and with alpha also the "
          "Clopper-Pearson bounds (p, low, high).").c_str());
  m.def(
      "beta_like",
      [](py::handle pars, py::handle x) {
        InVec P = ArgVec(pars, "pars");
        TVec X = CopyVec(x, "x"), consts;
        TTwoElmReal se{};
        Kalix::TDenseKalix* objs[] = {&X};
        const double v = Unlocked([&] { return BetaLike(P.v, consts, Kalix::TObjConsts(objs), se); });
        return py::make_tuple(v, Pair(se));
      },
      "pars"_a, "x"_a,
      Doc("Statistics::BetaLike", "(-sum ln BetaPDF(x; pars), standard errors of both parameters).").c_str());
  m.def(
      "student_fit",
      [](py::handle x, int max_iter, double tol) {
        InVec X = ArgVec(x, "x");
        int d = 0;
        Unlocked([&] { StudentFit(X, d, max_iter, tol); });
        return d;
      },
      "x"_a, "max_iter"_a = 500, "tolerance"_a = 1e-8, Doc("Statistics::StudentFit", "Student's t degrees of freedom.").c_str());
  m.def(
      "f_fit",
      [](py::handle x, int max_iter, double tol) {
        InVec X = ArgVec(x, "x");
        int d1 = 0, d2 = 0;
        Unlocked([&] { FFit(X, d1, d2, max_iter, tol); });
        return py::make_tuple(d1, d2);
      },
      "x"_a, "max_iter"_a = 500, "tolerance"_a = 1e-8, Doc("Statistics::FFit", "F degrees of freedom (df1, df2).").c_str());
  m.def(
      "triangular_fit",
      [](py::handle x, int max_iter, double tol) {
        InVec X = ArgVec(x, "x");
        double a = 0, b = 0, c = 0;
        Unlocked([&] { TriangularFit(X, a, b, c, max_iter, tol); });
        const py::object type = RecordType("TriangularFitResult", "a b c");
        return type(a, b, c);
      },
      "x"_a, "max_iter"_a = 500, "tolerance"_a = 1e-8,
      Doc("Statistics::TriangularFit", "Triangular lower a, upper b and mode c.").c_str());
}

}  // namespace kalixpy
