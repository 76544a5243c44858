// Random variates: size is a count or (rows, cols); dtype float64 or float32; the same
// explicit seed gives the same numbers, seed=-1 a fresh one.
#include "KalixPy.h"

namespace kalixpy {

using namespace StatRandom;

Kalix::TMtxFloatPrecision DrawPrecision(py::handle dtype) {
  if (dtype.is_none()) return Kalix::mvDouble;
  const py::dtype dt = py::dtype::from_args(py::reinterpret_borrow<py::object>(dtype));
  if (dt.equal(py::dtype::of<double>())) return Kalix::mvDouble;
  if (dt.equal(py::dtype::of<float>())) return Kalix::mvSingle;
  throw py::type_error("kalix: dtype must be float64 or float32, not " + std::string(py::str(py::handle(dt))));
}

namespace {

int Count(py::handle n) {
  const long long v = n.cast<long long>();
  if (v < 0 || v > 2147483647LL) Kalix::ERaise("kalix: size must be between 0 and 2147483647");
  return static_cast<int>(v);
}

// Draws into a vector (size a count) or a matrix (size a pair).
template <class F>
py::array Draw(py::handle size, py::handle dtype, F f) {
  const auto p = DrawPrecision(dtype);
  if (py::isinstance<py::tuple>(size) || py::isinstance<py::list>(size)) {
    auto shape = size.cast<std::vector<py::object>>();
    if (shape.size() == 2) {
      TMtx r(Count(shape[0]), Count(shape[1]), p);
      Unlocked([&] { f(static_cast<Kalix::TDenseKalix&>(r)); });
      return ToNumpy(std::move(r));
    }
    if (shape.size() != 1) throw py::type_error("kalix: size must be a count or (rows, cols)");
    size = shape[0];
  }
  TVec r(Count(size), p);
  Unlocked([&] { f(static_cast<Kalix::TDenseKalix&>(r)); });
  return ToNumpy(std::move(r));
}

template <class F>
py::array DrawInt(py::handle size, F f) {
  TVecInt r(Count(size));
  Unlocked([&] { f(r); });
  return ToNumpy(std::move(r));
}

}  // namespace

#define KALIX_ARGS "size"_a, "seed"_a = -1, "dtype"_a = py::none()

void BindRandom(py::module_& m) {
  const auto doc = [](const char* cpp, const char* text) { return Doc(cpp, text); };
  m.def("random_beta", [](double a, double b, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomBeta(a, b, r, seed); });
  }, "a"_a, "b"_a, KALIX_ARGS, doc("StatRandom::RandomBeta", "Beta(a, b) variates.").c_str());
  m.def("random_cauchy", [](double a, double b, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomCauchy(a, b, r, seed); });
  }, "a"_a, "b"_a, KALIX_ARGS, doc("StatRandom::RandomCauchy", "Cauchy(location a, scale b) variates.").c_str());
  m.def("random_chi_square", [](int k, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomChiSquare(k, r, seed); });
  }, "k"_a, KALIX_ARGS, doc("StatRandom::RandomChiSquare", "Chi-square(k) variates.").c_str());
  m.def("random_erlang", [](int k, double lam, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomErlang(k, lam, r, seed); });
  }, "k"_a, "lam"_a, KALIX_ARGS, doc("StatRandom::RandomErlang", "Erlang(k, rate lam) variates.").c_str());
  m.def("random_exponent", [](double mu, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomExponent(mu, r, seed); });
  }, "mu"_a, KALIX_ARGS, doc("StatRandom::RandomExponent", "Exponential variates with mean mu.").c_str());
  m.def("random_f", [](int n1, int n2, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomF(n1, n2, r, seed); });
  }, "nu1"_a, "nu2"_a, KALIX_ARGS, doc("StatRandom::RandomF", "F(nu1, nu2) variates.").c_str());
  m.def("random_gamma", [](double a, double b, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomGamma(a, b, r, seed); });
  }, "a"_a, "b"_a, KALIX_ARGS, doc("StatRandom::RandomGamma", "Gamma(shape a, scale b) variates.").c_str());
  m.def("random_gen_pareto", [](double k, double loc, double s, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomGenPareto(k, loc, s, r, seed); });
  }, "k"_a, "location"_a, "sigma"_a, KALIX_ARGS, doc("StatRandom::RandomGenPareto", "Generalised Pareto variates.").c_str());
  m.def("random_geometric", [](double p, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomGeometric(p, r, seed); });
  }, "p"_a, KALIX_ARGS, doc("StatRandom::RandomGeometric", "Failures before the first success.").c_str());
  m.def("random_gumbel", [](double loc, double beta, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomGumbel(loc, beta, r, seed); });
  }, "location"_a, "beta"_a, KALIX_ARGS, doc("StatRandom::RandomGumbel", "Gumbel (maxima) variates.").c_str());
  m.def("random_laplace", [](double a, double b, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomLaplace(a, b, r, seed); });
  }, "a"_a, "b"_a, KALIX_ARGS, doc("StatRandom::RandomLaplace", "Laplace(location a, scale b) variates.").c_str());
  m.def("random_logistic", [](double a, double b, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomLogistic(a, b, r, seed); });
  }, "a"_a, "b"_a, KALIX_ARGS, doc("StatRandom::RandomLogistic", "Logistic(location a, scale b) variates.").c_str());
  m.def("random_log_normal", [](double mu, double s, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomLogNormal(mu, s, r, seed); });
  }, "mu"_a, "sigma"_a, KALIX_ARGS, doc("StatRandom::RandomLogNormal", "exp(mu + sigma Z) variates.").c_str());
  m.def("random_maxwell", [](double a, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomMaxwell(a, r, seed); });
  }, "a"_a, KALIX_ARGS, doc("StatRandom::RandomMaxwell", "Maxwell-Boltzmann variates.").c_str());
  m.def("random_normal", [](double mu, double s, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomNormal(mu, s, r, seed); });
  }, "mu"_a, "sigma"_a, KALIX_ARGS, doc("StatRandom::RandomNormal", "Normal(mu, sigma) variates.").c_str());
  m.def("random_rayleigh", [](double b, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomRayleigh(b, r, seed); });
  }, "b"_a, KALIX_ARGS, doc("StatRandom::RandomRayleigh", "Rayleigh(scale b) variates.").c_str());
  m.def("random_student", [](int v, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomStudent(v, r, seed); });
  }, "v"_a, KALIX_ARGS, doc("StatRandom::RandomStudent", "Student's t(v) variates.").c_str());
  m.def("random_triangular", [](double a, double b, double c, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomTriangular(a, b, c, r, seed); });
  }, "a"_a, "b"_a, "c"_a, KALIX_ARGS, doc("StatRandom::RandomTriangular", "Triangular(a, b, mode c) variates.").c_str());
  m.def("random_uniform", [](double a, double b, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomUniform(a, b, r, seed); });
  }, "a"_a, "b"_a, KALIX_ARGS, doc("StatRandom::RandomUniform", "Uniform on [a, b).").c_str());
  m.def("random_uniform_d", [](int n, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomUniformD(n, r, seed); });
  }, "n"_a, KALIX_ARGS, doc("StatRandom::RandomUniformD", "Discrete uniform on 1..n.").c_str());
  m.def("random_weibull", [](double a, double b, py::handle size, int seed, py::handle dtype) {
    return Draw(size, dtype, [&](Kalix::TDenseKalix& r) { RandomWeibull(a, b, r, seed); });
  }, "a"_a, "b"_a, KALIX_ARGS, doc("StatRandom::RandomWeibull", "Weibull(a, b) variates.").c_str());
  // Integer variates (int32).
  m.def("random_binom", [](int n, double p, py::handle size, int seed) {
    return DrawInt(size, [&](TVecInt& r) { RandomBinom(n, p, r, seed); });
  }, "n"_a, "p"_a, "size"_a, "seed"_a = -1, doc("StatRandom::RandomBinom", "Binomial(n, p) counts.").c_str());
  m.def("random_hyp_geometric", [](int M, int K, int N, py::handle size, int seed) {
    return DrawInt(size, [&](TVecInt& r) { RandomHypGeometric(M, K, N, r, seed); });
  }, "M"_a, "K"_a, "N"_a, "size"_a, "seed"_a = -1, doc("StatRandom::RandomHypGeometric", "Hypergeometric counts.").c_str());
  m.def("random_neg_binom", [](double R, double p, py::handle size, int seed) {
    return DrawInt(size, [&](TVecInt& r) { RandomNegBinom(R, p, r, seed); });
  }, "r"_a, "p"_a, "size"_a, "seed"_a = -1, doc("StatRandom::RandomNegBinom", "Negative binomial counts.").c_str());
  m.def("random_poisson", [](double lam, py::handle size, int seed) {
    return DrawInt(size, [&](TVecInt& r) { RandomPoisson(lam, r, seed); });
  }, "lam"_a, "size"_a, "seed"_a = -1, doc("StatRandom::RandomPoisson", "Poisson(lam) counts.").c_str());
}

#undef KALIX_ARGS

}  // namespace kalixpy
